#!/bin/sh
# vell batch run over 20 images of 3000 x 2000 (PNG in and out): Brightness/
# Contrast, Gaussian Blur r = 5 (Invert when the plug-in is missing), resize
# to 50 %, in images per second, next to ImageMagick's mogrify and a vips
# pipeline over the same folder in the same run; then the presets table's
# thumbnail refresh with 12 presets (bench_batch_thumbs). Run as root:
# installs imagemagick and libvips-tools when missing.
#   bench/bench_batch.sh [build-dir]
set -eu
root=$(cd "$(dirname "$0")/.." && pwd)
build=${1:-$root/build-bench}

if ! command -v mogrify >/dev/null 2>&1; then
    apt-get update
    apt-get install -y --no-install-recommends imagemagick
fi
. "$root/bench/vipscommon.sh"

targets="vell brightnesscontrast invert bench_batch_thumbs"
[ -d "$root/plugins/gaussianblur" ] && targets="$targets gaussianblur"
bench_setup $targets
vell="$build/apps/vell/vell"
count=20
export XDG_DATA_HOME="$work/xdg"

# 20 different pictures: a gradient with a few shapes, offset per image, as
# 8-bit RGB PNGs (ImageMagick's gradients are 16-bit otherwise).
mkdir -p "$work/in"
for i in $(seq 1 $count); do
    convert -size 3000x2000 "gradient:#20$((i + 10))40-#f0c0$((i + 10))" \
        -fill "#3080c0" -draw "circle $((1000 + i * 40)),900 $((1300 + i * 40)),900" \
        -fill "#c04020" -draw "rectangle 200,$((200 + i * 20)) 900,$((800 + i * 20))" \
        -depth 8 -define png:compression-level=6 "PNG24:$work/in/img$(printf %02d "$i").png"
done

# The steps: brightness 10 and contrast 20, the blur, half the size.
xvfb-run -a "$vell" filter "$work/in/img01.png" "$work/first.png" --tool brightness-contrast \
    --param brightness=10 --param contrast=20 --record "$work/steps.vba" 2>/dev/null
if [ -d "$build/apps/vell/tools/gaussianblur" ]; then
    blur="Gaussian Blur r = 5"
    xvfb-run -a "$vell" filter "$work/first.png" "$work/second.png" --tool gaussian-blur --param radius=5 \
        --record "$work/steps.vba" 2>/dev/null
else
    blur="Invert (no Gaussian Blur plug-in)"
    xvfb-run -a "$vell" filter "$work/first.png" "$work/second.png" --tool invert --record "$work/steps.vba" 2>/dev/null
fi
"$vell" batch add "$work/steps.vba" --resize 1 50 50 2>/dev/null
"$vell" batch list "$work/steps.vba"

# One run each (the folder is large), into a fresh folder: the timing
# includes decode and encode. A run that fails or leaves fewer than $count
# images is reported as failed rather than timed.
run_ms() {
    rm -rf "$work/out"
    mkdir -p "$work/out"
    start=$(date +%s%N)
    if ! "$@" >"$work/run.log" 2>&1; then
        echo "failed: $* (see below)" >&2
        tail -5 "$work/run.log" >&2
        echo 0
        return
    fi
    end=$(date +%s%N)
    made=$(ls "$work/out" | grep -c '\.png$' || true)
    if [ "$made" -ne "$count" ]; then
        echo "failed: $* made $made of $count images" >&2
        echo 0
        return
    fi
    echo $(( (end - start) / 1000000 ))
}
best() {
    run_ms "$@"
}
jobs=$(nproc)
vell_ms=$(best xvfb-run -a "$vell" batch run "$work/steps.vba" "$work/in" "$work/out" --overwrite)
vell1_ms=$(best xvfb-run -a "$vell" batch run "$work/steps.vba" "$work/in" "$work/out" --overwrite --jobs 1)
magick_ms=$(best mogrify -path "$work/out" -brightness-contrast 10x20 -gaussian-blur 0x1.67 -resize 50% "$work/in/*.png")
vips_pipeline() {
    for f in "$work"/in/*.png; do
        n=$(basename "$f" .png)
        vips linear "$f" "$work/out/$n.v" "1.2 1.2 1.2" "0 0 0" --uchar
        vips gaussblur "$work/out/$n.v" "$work/out/$n.b.v" 1.67
        vips resize "$work/out/$n.b.v" "$work/out/$n.png" 0.5
        rm -f "$work/out/$n.v" "$work/out/$n.b.v"
    done
}
vips_ms=$(best vips_pipeline)

echo
echo "$count images of 3000 x 2000, PNG in and out; steps: Brightness/Contrast 10/20, $blur, resize 50 %"
echo "$(nproc) cores; $(vips --version | cut -d' ' -f1-2); $(convert -version | head -1 | cut -d' ' -f2-3)"
for row in "vell batch run --jobs $jobs:$vell_ms" "vell batch run --jobs 1:$vell1_ms" \
           "mogrify (one process):$magick_ms" "vips linear + gaussblur + resize:$vips_ms"; do
    name=${row%%:*}
    ms=${row##*:}
    awk -v n="$name" -v ms="$ms" -v c="$count" \
        'BEGIN { if (ms > 0) printf "%-40s %8d ms %6.2f images/s\n", n, ms, c * 1000 / ms; else printf "%-40s failed\n", n }'
done
echo
xvfb-run -a "$build/bench/bench_batch_thumbs" | grep -v '^Memory ' | grep -v thumbs_ms
