#!/usr/bin/env bash
# Installs the dependencies, builds the host and runs the main job on the
# bundled sample: prints what the library knows of this machine, then reads
# the sample into a picture host, streams it to out/sample.vph and writes it
# back as out/sample.png; converts the Adobe RGB sample to sRGB as
# out/adobergb-srgb.png; and composes the layered sample (three layers, one
# with a mask, in Multiply and Hard Light) into out/compose.png,
# with a text layer on top, saving the document as out/compose.vdoc; then
# applies the example Brightness/Contrast filter plug-in to the sample as
# out/sample-filtered.png, and records that filter and a resize as batch
# steps replayed over data/samples/batch/ into out/batch/.
set -euo pipefail
cd "$(dirname "$0")/.."

bash scripts/install-deps.sh

cmake -S . -B build -DCMAKE_BUILD_TYPE=RelWithDebInfo >/dev/null
cmake --build build -j"$(nproc)" --target vell invert brightnesscontrast masklevels

mkdir -p out
# With no display of its own, give info and compose a virtual one so they can
# use the GL driver (compose falls back to the CPU without one).
gl() {
    if [ -n "${DISPLAY:-}" ]; then "$@"; else xvfb-run -a "$@"; fi
}
gl ./build/apps/vell/vell info
./build/apps/vell/vell pack data/samples/sample.png out/sample.vph
./build/apps/vell/vell unpack out/sample.vph out/sample.png
./build/apps/vell/vell icc data/samples/adobergb.jpg out/adobergb-srgb.png
samples=data/samples/compose
gl ./build/apps/vell/vell compose -o out/compose.png --save out/compose.vdoc \
    $samples/background.png \
    $samples/shapes.png --mode multiply --opacity 0.85 --offset 60,40 --mask $samples/shapes-mask.png \
    $samples/stripes.png --mode hard-light --offset -40,150 \
    --text "Hello, Vell" --at 20,20 --font "DejaVu Sans,28" --color "#d02010"
gl ./build/apps/vell/vell filter data/samples/sample.png out/sample-filtered.png \
    --tool brightness-contrast --param brightness=15 --param contrast=25
# The saved document turned a quarter clockwise as a whole (layers, mask and
# text alike) into an OpenRaster file, and what it holds.
gl ./build/apps/vell/vell transform out/compose.vdoc out/compose-turned.ora --rotate -90
./build/apps/vell/vell info out/compose-turned.ora
# A mask filter: the shapes' mask through Mask Levels.
gl ./build/apps/vell/vell filter $samples/shapes.png out/shapes-mask-levels.png \
    --tool mask-levels --mask $samples/shapes-mask.png --param black=40 --param white=200
# Record the filter and a resize as batch steps, then replay them over the
# bundled folder of three images into out/batch/.
rm -f out/steps.vba
gl ./build/apps/vell/vell filter data/samples/batch/dawn.png out/dawn-filtered.png \
    --tool brightness-contrast --param brightness=20 --param contrast=10 --record out/steps.vba
./build/apps/vell/vell batch add out/steps.vba --resize 2 256 256
./build/apps/vell/vell batch list out/steps.vba
gl ./build/apps/vell/vell batch run out/steps.vba data/samples/batch out/batch --overwrite
