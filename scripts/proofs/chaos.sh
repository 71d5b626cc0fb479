# What the proofs by bad company share; sourced by them. Runs and their logs are in $folder.

name=$(basename "$0")
folder=build/prove/$name
mkdir -p "$folder"

build_chaos() {
    scripts/packages build test
    cmake --preset test >/dev/null
    cmake --build --preset test --target chaos_tests
    commit="$(git describe --always --dirty) $(date --utc +%F)"
}

# play SUITE SECONDS RESTARTS SEED: appends the run to the report, or shows why it failed.
play() {
    local log=$folder/$1.log
    if ! VIEWER_CHAOS_SECONDS=$2 VIEWER_CHAOS_RESTARTS=$3 VIEWER_CHAOS_SEED=$4 \
        build/test/bin/chaos_tests --gtest_filter="$1.*" >"$log" 2>&1; then
        tail -n 60 "$log" >&2
        exit 1
    fi
    sed -n "s/^[a-z0-9]* seed=/$commit &/p" "$log" >>"$folder/report"
}

# Every run of the report, each number under its name.
show_report() {
    awk '
        NR == 1 {
            printf "%-22s %-10s %-9s", "commit", "date", "run"
            for (i = 4; i <= NF; ++i) printf " %11s", substr($i, 1, index($i, "=") - 1)
            print ""
        }
        {
            printf "%-22s %-10s %-9s", $1, $2, $3
            for (i = 4; i <= NF; ++i) printf " %11s", substr($i, index($i, "=") + 1)
            print ""
        }' "$folder/report"
}
