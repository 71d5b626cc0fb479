# What the benchmarks of the running host share; sourced by bench/*/run. Gives $workspace, a folder
# for the time of the run; programs whose process ids are added to `started` end with the script.

# The port is one of a kind on a machine: the acceptance tests wait for the same lock.
exec 9>"${TMPDIR:-/tmp}/velmora-viewer-host-port-9090.lock"
flock 9

workspace=$(mktemp -d)
started=()
clean_up() {
    for pid in "${started[@]}"; do
        kill "$pid" 2>/dev/null || true
    done
    wait 2>/dev/null || true
    rm -rf "$workspace"
}
trap clean_up EXIT
fail() {
    echo "$0: $1" >&2
    exit 1
}

# Starts a virtual X server with a screen of this size (WIDTHxHEIGHT) and names it in the
# environment; $screen is its process id.
start_screen() {
    export XAUTHORITY=$workspace/authority
    local cookie
    cookie=$(mcookie)
    : >"$XAUTHORITY"
    xauth -q add :0 . "$cookie"
    rm -f "$workspace/display"
    mkfifo "$workspace/display"
    Xvfb -displayfd 3 -screen 0 "$1x24" -noreset -nolisten tcp -auth "$XAUTHORITY" \
        3>"$workspace/display" >/dev/null 2>&1 9>&- &
    screen=$!
    started+=("$screen")
    DISPLAY=:$(head -n 1 "$workspace/display")
    export DISPLAY
    xauth -q add "$DISPLAY" . "$cookie"
}
