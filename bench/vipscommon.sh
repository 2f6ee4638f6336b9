# Sourced by the benchmark scripts that compare with vips: installs what they
# need (as root) and defines best_ms.

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
