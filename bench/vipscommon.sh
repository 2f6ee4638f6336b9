# Sourced by the benchmark scripts that compare with vips: installs what they
# need (as root) and defines best_ms and bench_setup.

if ! command -v vips >/dev/null 2>&1 || ! command -v xvfb-run >/dev/null 2>&1; then
    apt-get update
    apt-get install -y --no-install-recommends libvips-tools xvfb xauth
fi

# Best of three wall-clock runs of a command, in milliseconds.
best_ms() {
    best=
    for _ in 1 2 3; do
        start=$(date +%s%N)
        "$@" >/dev/null
        end=$(date +%s%N)
        ms=$(( (end - start) / 1000000 ))
        if [ -z "$best" ] || [ "$ms" -lt "$best" ]; then best=$ms; fi
    done
    echo "$best"
}

# Builds the named targets in the benchmark build folder $build (from the
# source tree $root) and makes the scratch folder $work, removed on exit.
bench_setup() {
    cmake -S "$root" -B "$build" -DVELL_BUILD_BENCH=ON >/dev/null
    cmake --build "$build" --target "$@" -j2 >/dev/null
    work=$(mktemp -d)
    trap 'rm -rf "$work"' EXIT
}
