#!/bin/sh
# Brightness/Contrast on 6000 x 4000: the plug-in on the GPU (bench_filter:
# whole-layer apply, read-back, preview at 25 %, and a plain OpenMP loop of
# the same formula), then end to end from PNG to PNG with `vell filter` next
# to `vips linear` with the same line per channel. Run as root: installs
# libvips-tools when missing.
#   bench/bench_filter.sh [build-dir]
set -eu
root=$(cd "$(dirname "$0")/.." && pwd)
build=${1:-$root/build-bench}

. "$root/bench/vipscommon.sh"

bench_setup bench_filter vell invert brightnesscontrast
xvfb-run -a "$build/bench/bench_filter" "$work/in.png" | grep -v '^Memory ' | tee "$work/ours.txt"

# The plug-in's formula for brightness 0.2 and contrast 0.3 is one line per
# channel: out = a in + c (8-bit units), alpha kept.
a=$(awk 'BEGIN { s = sin(1.3 * 0.78539816) / cos(1.3 * 0.78539816); printf "%.6f", 0.8 * s }')
c=$(awk 'BEGIN { s = sin(1.3 * 0.78539816) / cos(1.3 * 0.78539816); printf "%.6f", 255 * ((0.2 - 0.5) * s + 0.5) }')
vell_ms=$(best_ms xvfb-run -a "$build/apps/vell/vell" filter "$work/in.png" "$work/vell.png" \
    --tool brightness-contrast --param brightness=20 --param contrast=30 --no-colour)
vips_ms=$(best_ms vips linear "$work/in.png" "$work/vips.png" "$a $a $a 1" "$c $c $c 0" --uchar)
vips copy "$work/in.png" "$work/in.v"
vips_mem_ms=$(best_ms vips linear "$work/in.v" "$work/vips.v" "$a $a $a 1" "$c $c $c 0" --uchar)
apply=$(awk '$1 == "apply_ms" { print $2 }' "$work/ours.txt")
read=$(awk '$1 == "readback_ms" { print $2 }' "$work/ours.txt")
cpu=$(awk '$1 == "cpu_openmp_ms" { print $2 }' "$work/ours.txt")
echo
echo "vips $(vips --version | cut -d' ' -f1-2), $(nproc) threads"
echo "end to end, PNG in and out: vell filter $vell_ms ms (with X server start), vips linear $vips_ms ms"
echo "vips linear on a .v file: $vips_mem_ms ms"
awk -v v="$vell_ms" -v p="$vips_ms" 'BEGIN { printf "vips / vell filter (end to end): %.2f\n", p / v }'
awk -v o="$apply" -v r="$read" -v p="$vips_mem_ms" -v c="$cpu" \
    'BEGIN { printf "vips .v / (apply + read-back): %.2f; CPU loop / (apply + read-back): %.2f\n", p / (o + r), c / (o + r) }'
