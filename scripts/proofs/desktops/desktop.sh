# A desktop without a screen, for the proofs on real desktops; sourced by them in the other system. Has
# the ordinary user "nobody" run the sourcing script again, in a session of its own: a bus, folders,
# programs that end with it. What they wrote is shown when it fails.

here=$(dirname "$(readlink -f "$0")")
sources=$(readlink -f "$here/../../..")

if [ -z "${DESKTOP_FOLDER:-}" ]; then
    DESKTOP_FOLDER=$(mktemp -d)
    mkdir -p "$DESKTOP_FOLDER"/{run,log,bin,home/.config,home/.local/share/dbus-1/services}
    chmod 700 "$DESKTOP_FOLDER/run"
    if declare -F prepare >/dev/null; then
        prepare
    fi
    chown -R nobody: "$DESKTOP_FOLDER"
    status=0
    env -i PATH="$PATH" LANG=C.UTF-8 DESKTOP_FOLDER="$DESKTOP_FOLDER" \
        HOME="$DESKTOP_FOLDER/home" XDG_RUNTIME_DIR="$DESKTOP_FOLDER/run" \
        XDG_CONFIG_HOME="$DESKTOP_FOLDER/home/.config" \
        XDG_DATA_HOME="$DESKTOP_FOLDER/home/.local/share" \
        XDG_CACHE_HOME="$DESKTOP_FOLDER/home/.cache" \
        XDG_STATE_HOME="$DESKTOP_FOLDER/home/.local/state" \
        setpriv --reuid=nobody --regid=nogroup --clear-groups --inh-caps=-all --no-new-privs \
        dbus-run-session -- bash "$0" "$@" || status=$?
    if [ "$status" -ne 0 ]; then
        tail -n 12 "$DESKTOP_FOLDER"/log/* >&2
    fi
    rm -rf "$DESKTOP_FOLDER"
    exit "$status"
fi

export XDG_SESSION_TYPE=wayland LIBGL_ALWAYS_SOFTWARE=1 QT_LINUX_ACCESSIBILITY_ALWAYS_ON=1
export DBUS_SYSTEM_BUS_ADDRESS=unix:path=$XDG_RUNTIME_DIR/system_bus

started=()
end_desktop() {
    local i
    for ((i = ${#started[@]} - 1; i >= 0; i--)); do
        kill "${started[$i]}" 2>/dev/null || true
    done
    wait
}
trap end_desktop EXIT

# start NAME COMMAND…
start() {
    "${@:2}" >"$DESKTOP_FOLDER/log/$1" 2>&1 &
    started+=("$!")
}
# Looks again and again until the command succeeds.
await() {
    local looks
    for ((looks = 0; looks < 600; looks++)); do
        if "$@" >/dev/null 2>&1; then
            return
        fi
        sleep 0.05
    done
    echo "the desktop does not become ready: $*" >&2
    exit 1
}
# is_owned NAME [--system]
is_owned() {
    gdbus call "${2:---session}" -d org.freedesktop.DBus -o / \
        -m org.freedesktop.DBus.NameHasOwner "$1" | grep -q true
}
offers_screens() {
    gdbus introspect --session -d org.freedesktop.portal.Desktop \
        -o /org/freedesktop/portal/desktop | grep -q 'org.freedesktop.portal.ScreenCast '
}

start_pipewire() {
    start pipewire pipewire
    # Before there is a socket, a session manager leaves every stream as it is.
    await test -S "$XDG_RUNTIME_DIR/pipewire-0"
    start wireplumber wireplumber
}
# start_portal BACKEND-NAME BACKEND-COMMAND…
start_portal() {
    start backend "${@:2}"
    await is_owned "org.freedesktop.impl.portal.desktop.$1"
    start portal /usr/libexec/xdg-desktop-portal
    await is_owned org.freedesktop.portal.Desktop
    await offers_screens
}
# Paints outputs, each in the colour behind it: CONNECTOR RRGGBB…
paint() {
    local channel pipe
    while [ $# -gt 0 ]; do
        pipe=$DESKTOP_FOLDER/$1.paint
        mkfifo "$pipe"
        # Both ways, and for good: the painter ends when nobody can tell it anything any more.
        exec {channel}<>"$pipe"
        start "painter-$1" sh -c 'exec "$1" "$2" <"$3"' sh \
            "$sources/build/prove/bin/wayland_painter" "$1" "$pipe"
        echo "fill 0 0 100000 100000 $2" >&"$channel"
        await grep -q done "$DESKTOP_FOLDER/log/painter-$1"
        shift 2
    done
}
