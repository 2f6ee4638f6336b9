#!/bin/sh
# Times the texture transfers and the resize program (bench_gputransfer)
# against `vips resize` of the same 6000 x 4000 image with the matching
# kernel, and prints GPU time / vips time per kernel.
# Run as root: installs libvips-tools and xvfb when they are missing.
#   bench/bench_gpu.sh [build-dir]
set -eu
root=$(cd "$(dirname "$0")/.." && pwd)
build=${1:-$root/build-bench}

. "$root/bench/vipscommon.sh"

bench_setup bench_gputransfer
xvfb-run -a "$build/bench/bench_gputransfer" "$work/source.raw" >"$work/gpu.txt"
grep -v -e '^Memory ' -e '^GL Error before' -e '^readEntireTexture Time' "$work/gpu.txt"

vips rawload "$work/source.raw" "$work/source.v" 6000 4000 4

echo
echo "vips $(vips --version | cut -d' ' -f1-2), $(nproc) threads; load + save of the .v files: $(best_ms vips copy "$work/source.v" "$work/copy.v") ms"
printf '%-9s %12s %12s %14s\n' kernel "GPU ms" "vips ms" "GPU / vips"
for kernel in nearest linear cubic lanczos3; do
    gpu=$(awk -v k="$kernel" '$1 == "resize" && $2 == k { print $3 }' "$work/gpu.txt")
    cpu=$(best_ms vips resize "$work/source.v" "$work/out.v" 0.25 --kernel "$kernel")
    awk -v k="$kernel" -v g="$gpu" -v c="$cpu" 'BEGIN { printf "%-9s %12.1f %12d %14.2f\n", k, g, c, g / c }'
done
