#!/bin/sh
# Layer geometry on 6000 x 4000 (bench_geometry: quarter turn, mirror, resize
# to 25 % and 200 %, free rotation by 15 degrees, each with its read-back),
# next to vips rot, flip, resize and rotate and ImageMagick's convert -rotate
# on the same picture in the same run. The peers read and write uncompressed
# files (vips .v, ImageMagick .mpc), so file formats cost them little. Run as
# root: installs libvips-tools and imagemagick when missing.
#   bench/bench_geometry.sh [build-dir]
set -eu
root=$(cd "$(dirname "$0")/.." && pwd)
build=${1:-$root/build-bench}

. "$root/bench/vipscommon.sh"
if [ ! -x /usr/bin/convert ]; then
    apt-get update
    apt-get install -y --no-install-recommends imagemagick
fi
# The packaged binary, whatever else is called convert on the PATH.
convert=/usr/bin/convert

bench_setup bench_geometry
xvfb-run -a "$build/bench/bench_geometry" "$work/in.png" | grep -v '^Memory \|^GL Error\|^readEntireTexture' \
    | tee "$work/ours.txt"

vips copy "$work/in.png" "$work/in.v"
"$convert" "$work/in.png" "$work/in.mpc"
rot=$(best_ms vips rot "$work/in.v" "$work/rot.v" d90)
flip=$(best_ms vips flip "$work/in.v" "$work/flip.v" horizontal)
down=$(best_ms vips resize "$work/in.v" "$work/down.v" 0.25)
up=$(best_ms vips resize "$work/in.v" "$work/up.v" 2)
turn=$(best_ms vips rotate "$work/in.v" "$work/turn.v" 15)
im=$(best_ms "$convert" "$work/in.mpc" -rotate 15 "$work/turn.mpc")

ours() { awk -v k="$1" '$1 == k { print $2 }' "$work/ours.txt"; }
echo
echo "vips $(vips --version | cut -d' ' -f1-2), $("$convert" -version | head -n 1 | cut -d' ' -f2-3), $(nproc) threads"
row() {
    awk -v what="$1" -v o="$2" -v peer="$3" -v p="$4" \
        'BEGIN { printf "%-22s vell %8.1f ms   %-24s %8.1f ms   peer / vell %.2f\n", what, o, peer, p, p / o }'
}
row "rotate 90" "$(ours rotate90_ms)" "vips rot d90" "$rot"
row "flip left-right" "$(ours flip_ms)" "vips flip horizontal" "$flip"
row "resize 25 %" "$(ours resize25_ms)" "vips resize 0.25" "$down"
row "resize 200 %" "$(ours resize200_ms)" "vips resize 2" "$up"
row "rotate 15 degrees" "$(ours rotate15_ms)" "vips rotate 15" "$turn"
row "rotate 15 degrees" "$(ours rotate15_ms)" "convert -rotate 15" "$im"
