#!/bin/sh
# A text layer's renderText of a 200-word paragraph (DejaVu Sans 12 pt) at
# 100 % and 200 % (bench_text) next to `vips text` of the same paragraph at
# the same pixel sizes (the screen's dpi and twice it), with the ratios.
# `vips black` of one pixel gives vips's process start, which the text
# timings include. Run as root: installs libvips-tools, xvfb and the DejaVu
# fonts when they are missing.
#   bench/bench_text.sh [build-dir]
set -eu
root=$(cd "$(dirname "$0")/.." && pwd)
build=${1:-$root/build-bench}

. "$root/bench/vipscommon.sh"
if ! fc-list | grep -q "DejaVu Sans"; then
    apt-get install -y --no-install-recommends fonts-dejavu-core
fi

bench_setup bench_text
xvfb-run -a "$build/bench/bench_text" "$work" >"$work/ours.txt"
grep -v '^Memory ' "$work/ours.txt"

dpi=$(awk '$1 == "font" { print $(NF - 1) }' "$work/ours.txt")
text=$(cat "$work/paragraph.txt")
v100=$(best_ms vips text "$work/t100.v" "$text" --font "DejaVu Sans 12" --dpi "$dpi")
v200=$(best_ms vips text "$work/t200.v" "$text" --font "DejaVu Sans 12" --dpi $((dpi * 2)))
start=$(best_ms vips black "$work/black.v" 1 1)
echo
echo "vips $(vips --version | cut -d' ' -f1-2): text at $dpi dpi $v100 ms," \
    "at $((dpi * 2)) dpi $v200 ms, process start (vips black 1 x 1) $start ms"
awk -v a="$(awk '$1 == "render_100_ms" { print $2 }' "$work/ours.txt")" \
    -v b="$(awk '$1 == "render_200_ms" { print $2 }' "$work/ours.txt")" \
    -v va="$v100" -v vb="$v200" -v s="$start" 'BEGIN {
    printf "vips / renderText: %.1f at 100 %%, %.1f at 200 %%; less vips start: %.1f, %.1f\n",
        va / a, vb / b, (va - s) / a, (vb - s) / b }'
