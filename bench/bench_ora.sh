#!/bin/sh
# OpenRaster files of a 3-layer 6000 x 4000 document with one mask (bench_ora)
# next to LazPaint and MyPaint handling the same layers: writing (a LazPaint
# script loading the layers, with and without saving them as .ora, start-up
# timed apart; MyPaint's save_ora) and reading plus compositing to a PNG
# (`lazpaint in.ora out.png`, MyPaint's load and save_png) of the file we
# wrote, with the ratios. Run as root: installs lazpaint-qt5 and mypaint when
# they are missing.
#   bench/bench_ora.sh [build-dir]
set -eu
root=$(cd "$(dirname "$0")/.." && pwd)
build=${1:-$root/build-bench}

missing=
command -v lazpaint >/dev/null 2>&1 || missing="$missing lazpaint-qt5"
[ -f /usr/lib/mypaint/lib/document.py ] || missing="$missing mypaint"
command -v unzip >/dev/null 2>&1 || missing="$missing unzip"
if [ -n "$missing" ]; then
    apt-get update -qq
    DEBIAN_FRONTEND=noninteractive apt-get install -y -qq --no-install-recommends $missing >/dev/null
fi
cmake -S "$root" -B "$build" -DVELL_BUILD_BENCH=ON >/dev/null
cmake --build "$build" --target bench_ora -j2 >/dev/null
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

"$build/bench/bench_ora" "$work" 2>/dev/null | grep -v '^Memory ' | tee "$work/ours.txt"
ours() { awk -v what="$1" 'index($0, what) == 1 { for (i = 1; i <= NF; ++i) if ($i == "ms") print $(i - 1) }' "$work/ours.txt"; }

ora="$work/bench-stacks.ora"
unzip -q -o "$ora" 'data/*' -d "$work/layers"
layers="$work/layers/data"

# Milliseconds of one run of a command, or "failed". LazPaint 7.2.2 at
# times dies at start-up on an access violation and then waits on an error
# box that nobody can close: a run past 2 minutes is tried again, twice at
# most.
ms_of() {
    for _ in 1 2 3; do
        start=$(date +%s%N)
        if timeout 120 "$@" >/dev/null 2>&1; then
            end=$(date +%s%N)
            echo $(( (end - start) / 1000000 ))
            return
        fi
    done
    echo failed
}
minus() { case "$1$2" in *failed*) echo failed ;; *) echo $(( $1 - $2 )) ;; esac; }
ratio() { case "$1$2" in *failed*) echo "-" ;; *) awk -v a="$1" -v b="$2" 'BEGIN { printf "%.2f", a / b }' ;; esac; }

# LazPaint: Debian's python3 first on PATH (its scripts run on python3), on
# Qt's offscreen platform (under xvfb-run it dies at start-up). The mask is a
# layer in LazPaint's Mask mode.
cat >"$work/lazpaint-layers.py" <<EOF
import os
from lazpaint import image, layer
image.open('$layers/layer0.png', ignore_modified=True)
layer.add_from_file('$layers/layer1.png')
layer.set_blend_op(layer.BLEND_MULTIPLY)
layer.add_from_file('$layers/mask1.png')
layer.set_blend_op(layer.BLEND_MASK)
layer.add_from_file('$layers/layer2.png')
layer.set_blend_op(layer.BLEND_OVERLAY)
layer.set_opacity(128)
if os.environ.get('SAVE_ORA'):
    image.save_as('$work/lazpaint.ora', validate=True, overwrite=True, skip_options=True)
EOF
echo 'from lazpaint import image' >"$work/lazpaint-nothing.py"
lp="env PATH=/usr/bin:$PATH QT_QPA_PLATFORM=offscreen"
lp_start=$(ms_of $lp lazpaint -script "$work/lazpaint-nothing.py" -quit)
lp_load=$(ms_of $lp lazpaint -script "$work/lazpaint-layers.py" -quit)
lp_save=$(ms_of $lp SAVE_ORA=1 lazpaint -script "$work/lazpaint-layers.py" -quit)
lp_write=$(minus "$lp_save" "$lp_load")
lp_mb=$( [ -f "$work/lazpaint.ora" ] && awk -v s="$(stat -c %s "$work/lazpaint.ora")" 'BEGIN { printf "%.1f", s / 1e6 }' || echo -)
lp_read=$(ms_of $lp lazpaint "$ora" "$work/lazpaint.png")
lp_read_net=$(minus "$lp_read" "$lp_start")

# MyPaint's library, timed inside one process (imports apart), in its 1.x
# mode as in run-ora-peers.sh; the timings do not depend on it.
cat >"$work/mypaint.py" <<'EOF'
import sys, time
sys.path.insert(0, '/usr/lib/mypaint')
import lib.document, lib.eotf
lib.eotf.set_base_eotf(1.0)
lib.eotf.set_eotf(1.0)
src, work = sys.argv[1], sys.argv[2]
doc = lib.document.Document()
t0 = time.time()
doc.load(src)
t1 = time.time()
doc.layer_stack.background_visible = False
doc.set_frame_enabled(True)
doc.save(work + '/mypaint.png', alpha=True)
t2 = time.time()
doc.save(work + '/mypaint.ora')
t3 = time.time()
print('%d %d %d' % ((t1 - t0) * 1000, (t2 - t1) * 1000, (t3 - t2) * 1000))
doc.cleanup()
EOF
set -- $(/usr/bin/python3 "$work/mypaint.py" "$ora" "$work" 2>/dev/null || echo failed failed failed)
mp_load=$1 mp_png=$2 mp_ora=$3
mp_read=$(case "$mp_load$mp_png" in *failed*) echo failed ;; *) echo $(( mp_load + mp_png )) ;; esac)
mp_mb=$( [ -f "$work/mypaint.ora" ] && awk -v s="$(stat -c %s "$work/mypaint.ora")" 'BEGIN { printf "%.1f", s / 1e6 }' || echo -)

write=$(ours "write .ora, mask as stack")
read=$(ours "read .ora, composite, write a PNG")
echo
echo "LazPaint $(dpkg-query -W -f '${Version}' lazpaint-qt5), MyPaint $(dpkg-query -W -f '${Version}' mypaint), $(nproc) threads"
echo "LazPaint start-up: $lp_start ms; its script loading the layers: $(minus "$lp_load" "$lp_start") ms after it"
echo "write: ours $write ms; LazPaint save as .ora $lp_write ms ($lp_mb MB); MyPaint save_ora $mp_ora ms ($mp_mb MB)"
echo "read and composite to PNG: ours $read ms; lazpaint in.ora out.png $lp_read_net ms after start-up;" \
     "MyPaint load $mp_load ms + save_png $mp_png ms"
echo "LazPaint / ours: write $(ratio "$lp_write" "$write"), read $(ratio "$lp_read_net" "$read")"
echo "MyPaint / ours: write $(ratio "$mp_ora" "$write"), read $(ratio "$mp_read" "$read")"
