# A host that serves a picture which stands still; sourced by benchmarks after bench/screen.sh. Expects
# $build, and $server_core for the host.

# Waits at most 10 seconds for a command to succeed.
await() {
    for _ in {1..100}; do
        if "$@" 2>/dev/null; then
            return 0
        fi
        sleep 0.1
    done
    return 1
}

# A whole answer: fetch_all PORT PATH
fetch_all() {
    (
        exec 3<>"/dev/tcp/127.0.0.1/$1"
        printf 'GET %s HTTP/1.1\r\nHost: localhost\r\nConnection: close\r\n\r\n' "$2" >&3
        cat <&3
    )
}

# The body of an answer: fetch PORT PATH
fetch() {
    fetch_all "$1" "$2" | LC_ALL=C sed '1,/^\r$/d'
}

show_picture() {
    # Noise whose contrast is chosen so that its JPEG has about 30 kB, as that of a desktop has.
    awk 'BEGIN {
        srand(1); print "#define noise_width 480\n#define noise_height 270"
        printf "static char noise_bits[] = {\n"
        for (i = 0; i < 60 * 270; ++i) printf "0x%02x,\n", int(rand() * 256)
        print "};" }' >"$workspace/noise.xbm"
    xsetroot -bitmap "$workspace/noise.xbm" -fg '#808080' -bg '#b2b2b2'
}

start_host() {
    taskset -c "$server_core" "$build/bin/VelmoraViewerHost" >"$workspace/host.out" 9>&- &
    host=$!
    started+=("$host")
    await grep -q listening "$workspace/host.out" ||
        fail "the host does not listen; does another one use its port?"
}
