#!/bin/sh
# Compositing a 3-layer 6000 x 4000 document (Normal, Multiply, Overlay at 0.5
# with a mask): the canvas's GPU export and the CPU compositor
# (bench_canvas) next to `vips composite` of the same layers, with the ratios.
# Run as root: installs libvips-tools and xvfb when they are missing.
#   bench/bench_canvas.sh [build-dir]
set -eu
root=$(cd "$(dirname "$0")/.." && pwd)
build=${1:-$root/build-bench}

. "$root/bench/vipscommon.sh"

bench_setup bench_canvas vellglcount
LD_PRELOAD="$build/bench/libvellglcount.so" xvfb-run -a "$build/bench/bench_canvas" "$work" >"$work/ours.txt"
grep -v -e '^Memory ' -e '^GL Error before' -e '^readEntireTexture Time' -e '_ms ' "$work/ours.txt"

for i in 0 1 2; do
    vips rawload "$work/layer$i.raw" "$work/layer$i.v" 6000 4000 4
    vips copy "$work/layer$i.v" "$work/layer$i.srgb.v" --interpretation srgb
done
layers="$work/layer0.srgb.v $work/layer1.srgb.v $work/layer2.srgb.v"
# Blend modes as VipsBlendMode numbers: 14 multiply, 16 overlay.
vips_ms=$(best_ms vips composite "$layers" "$work/out.v" "14 16")
io_ms=$(best_ms vips copy "$work/layer0.srgb.v" "$work/copy.v")
gpu=$(awk '$1 == "gpu_ms" { print $2 }' "$work/ours.txt")
cpu=$(awk '$1 == "cpu_ms" { print $2 }' "$work/ours.txt")
echo
echo "vips $(vips --version | cut -d' ' -f1-2), $(nproc) threads"
echo "vips composite (3 layers, one process): $vips_ms ms; load + save of one .v: $io_ms ms"
awk -v g="$gpu" -v c="$cpu" -v v="$vips_ms" 'BEGIN {
    printf "vips / GPU export: %.2f   vips / CPU compositor: %.2f\n", v / g, v / c }'
