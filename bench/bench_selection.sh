#!/bin/sh
# The selection's CPU work on 6000 x 4000 (bench_selection) next to
# `vips gaussblur` of the same elliptical coverage, one band, with the same
# sigma (radius 20: sigma 20 / 3), and the ratio. Run as root: installs
# libvips-tools when missing.
#   bench/bench_selection.sh [build-dir]
set -eu
root=$(cd "$(dirname "$0")/.." && pwd)
build=${1:-$root/build-bench}

. "$root/bench/vipscommon.sh"

bench_setup bench_selection
"$build/bench/bench_selection" "$work" | grep -v '^Memory ' >"$work/ours.txt"
grep -v '^feather_ms ' "$work/ours.txt"

vips rawload "$work/ellipse.raw" "$work/ellipse.v" 6000 4000 1
# min-ampl 0.01 puts the mask's edge near our kernel's three sigmas.
vips_ms=$(best_ms vips gaussblur "$work/ellipse.v" "$work/blur.v" 6.6667 --min-ampl 0.01)
ours=$(awk '$1 == "feather_ms" { print $2 }' "$work/ours.txt")
echo
echo "vips $(vips --version | cut -d' ' -f1-2), $(nproc) threads"
echo "vips gaussblur sigma 6.67 (one band, one process with load and save): $vips_ms ms"
awk -v o="$ours" -v v="$vips_ms" 'BEGIN { printf "vips / feather(20): %.2f\n", v / o }'
