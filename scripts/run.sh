#!/usr/bin/env bash
# Installs the dependencies, builds the host and runs the main job on the
# bundled sample: prints what the library knows of this machine, then reads
# the sample into a picture host, streams it to out/sample.vph and writes it
# back as out/sample.png; then converts the Adobe RGB sample to sRGB as
# out/adobergb-srgb.png.
set -euo pipefail
cd "$(dirname "$0")/.."

bash scripts/install-deps.sh

cmake -S . -B build -DCMAKE_BUILD_TYPE=RelWithDebInfo >/dev/null
cmake --build build -j"$(nproc)" --target vell

mkdir -p out
# With no display of its own, give info a virtual one so it can ask the GL driver.
if [ -n "${DISPLAY:-}" ]; then
    ./build/apps/vell/vell info
else
    xvfb-run -a ./build/apps/vell/vell info
fi
./build/apps/vell/vell pack data/samples/sample.png out/sample.vph
./build/apps/vell/vell unpack out/sample.vph out/sample.png
./build/apps/vell/vell icc data/samples/adobergb.jpg out/adobergb-srgb.png
