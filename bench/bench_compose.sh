#!/bin/sh
# vell compose end to end next to vips composite and ImageMagick convert, on
# a 3-layer stack (bottom Normal; Multiply at opacity 0.5; Overlay with a
# full-size mask) of 6000 x 4000 and of 3000 x 2000 RGBA PNGs: PNG -> PNG and
# PNG -> TIFF, best of 3 each, with the ratios; vell's peak memory against
# its layers, mask and result; the size of vell's PNG against vips pngsave's
# default for the same pixels; then the compositing step alone (the CPU
# compositor's reference arithmetic, its fast paths and a memcpy of one
# layer, from bench_compose) and one layer's PNG decode and TIFF write with
# Qt's codecs and the library's. vips and ImageMagick have no per-layer opacity
# or mask, so those are folded into the layers' alpha beforehand.
# Run as root: installs libvips-tools, imagemagick and xvfb when missing.
#   bench/bench_compose.sh [build-dir]
set -eu
root=$(cd "$(dirname "$0")/.." && pwd)
build=${1:-$root/build-bench}

. "$root/bench/vipscommon.sh"
if ! command -v convert >/dev/null 2>&1; then
    apt-get install -y --no-install-recommends imagemagick
fi

bench_setup vell bench_compose
vell=$build/apps/vell/vell
echo "load average: $(cut -d' ' -f1-3 /proc/loadavg); $(nproc) cores; vips $(vips --version | cut -d' ' -f1-2)"

# A command with its standard error dropped (vell's notes, vips' warnings).
quiet() {
    "$@" 2>/dev/null
}

# Peak resident memory of a command, in MB.
peak_mb() {
    /usr/bin/time -f '%M' -o "$work/rss" "$@" >/dev/null 2>&1
    echo $(( $(tail -n 1 "$work/rss") / 1024 ))
}

# An RGBA layer like a photograph: gradients and mild noise, opaque.
make_layer() {  # OUT W H SEED
    vips xyz "$work/xy.v" "$2" "$3"
    vips linear "$work/xy.v" "$work/rg.v" "$(echo "$2 $4" | awk '{ print 255 / $1 * (1 + $2 % 2) }') $(echo "$3" | awk '{ print 255 / $1 }')" "$(( $4 * 40 )) 0"
    vips remainder_const "$work/rg.v" "$work/rgm.v" 256
    vips gaussnoise "$work/n.v" "$2" "$3" --mean $(( 60 + $4 * 50 )) --sigma 8 --seed "$4"
    vips bandjoin "$work/rgm.v $work/n.v" "$work/rgb.v"
    vips bandjoin_const "$work/rgb.v" "$work/rgba.v" 255
    vips cast "$work/rgba.v" "$work/rgba8.v" uchar
    vips copy "$work/rgba8.v" "$1" --interpretation srgb
}

run_size() {  # W H
    w=$1 h=$2 d=$work/$1x$2
    mkdir -p "$d"
    for i in 0 1 2; do make_layer "$d/layer$i.png" "$w" "$h" "$i"; done
    vips xyz "$work/xy.v" "$w" "$h"
    vips extract_band "$work/xy.v" "$work/x.v" 0
    vips linear "$work/x.v" "$work/xm.v" "$(echo "$w" | awk '{ print 255 / $1 }')" 0
    vips cast "$work/xm.v" "$work/xm8.v" uchar
    vips copy "$work/xm8.v" "$d/mask.png" --interpretation b-w
    # The same stack for vips and ImageMagick: opacity and mask in the alpha.
    vips linear "$d/layer1.png" "$work/l1.v" "1 1 1 0.5" "0 0 0 0"
    vips cast "$work/l1.v" "$work/l18.v" uchar
    vips copy "$work/l18.v" "$d/folded1.png" --interpretation srgb
    vips extract_band "$d/layer2.png" "$work/rgb2.v" 0 --n 3
    vips extract_band "$d/layer2.png" "$work/a2.v" 3
    vips multiply "$work/a2.v" "$d/mask.png" "$work/am.v"
    vips linear "$work/am.v" "$work/am2.v" "$(awk 'BEGIN { print 1 / 255 }')" 0
    vips bandjoin "$work/rgb2.v $work/am2.v" "$work/f2.v"
    vips cast "$work/f2.v" "$work/f28.v" uchar
    vips copy "$work/f28.v" "$d/folded2.png" --interpretation srgb

    stack="$d/layer0.png $d/layer1.png --mode multiply --opacity 0.5 $d/layer2.png --mode overlay --mask $d/mask.png"
    # Blend modes as VipsBlendMode numbers: 14 multiply, 16 overlay.
    folded="$d/layer0.png $d/folded1.png $d/folded2.png"
    vp=$(best_ms quiet "$vell" compose -o "$d/vell.png" $stack)
    vt=$(best_ms quiet "$vell" compose -o "$d/vell.tif" $stack)
    sp=$(best_ms quiet vips composite "$folded" "$d/vips.png" "14 16")
    st=$(best_ms quiet vips composite "$folded" "$d/vips.tif" "14 16")
    mp=$(best_ms quiet convert "$d/layer0.png" "$d/folded1.png" -compose Multiply -composite \
        "$d/folded2.png" -compose Overlay -composite "$d/magick.png")
    mt=$(best_ms quiet convert "$d/layer0.png" "$d/folded1.png" -compose Multiply -composite \
        "$d/folded2.png" -compose Overlay -composite "$d/magick.tif")
    rss=$(peak_mb "$vell" compose -o "$d/vell.png" $stack)
    vips_rss=$(peak_mb vips composite "$folded" "$d/vips.png" "14 16")
    vips pngsave "$d/vell.png" "$d/vell-by-vips.png"
    ours=$(stat -c %s "$d/vell.png")
    theirs=$(stat -c %s "$d/vell-by-vips.png")
    echo
    echo "$w x $h (load average $(cut -d' ' -f1-3 /proc/loadavg))"
    awk -v vp="$vp" -v vt="$vt" -v sp="$sp" -v st="$st" -v mp="$mp" -v mt="$mt" 'BEGIN {
        printf "  PNG -> PNG:  vell %6d ms   vips %6d ms   convert %6d ms   vell / vips %.2f\n", vp, sp, mp, vp / sp
        printf "  PNG -> TIFF: vell %6d ms   vips %6d ms   convert %6d ms   vell / vips %.2f\n", vt, st, mt, vt / st }'
    # Layers, mask and result at 4, 1 and 4 bytes a pixel.
    awk -v r="$rss" -v v="$vips_rss" -v w="$w" -v h="$h" 'BEGIN {
        need = (3 * 4 + 1 + 4) * w * h / 1048576
        printf "  peak RSS: vell %d MB, layers + mask + result %.0f MB (+15%%: %.0f MB), %.2f of them; vips %d MB\n",
            r, need, need * 1.15, r / need, v }'
    awk -v o="$ours" -v t="$theirs" 'BEGIN {
        printf "  PNG size: vell %d bytes, vips pngsave default %d bytes, ratio %.3f\n", o, t, o / t }'
    "$build/bench/bench_compose" "$w" "$h" "$d/layer0.png" | sed 's/^/  /'
}

run_size 6000 4000
run_size 3000 2000
