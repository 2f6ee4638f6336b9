#!/bin/sh
# Our OpenRaster files as other programs composite them: for every blend mode
# (and masks written both ways) `vell compose` writes a small .ora; LazPaint
# (command-line conversion) and MyPaint's Python library (load, background
# hidden, save a flat PNG) composite it, and each result is compared with the
# merged image we stored. Prints a mode x peer table (Markdown).
# Run as root: installs lazpaint-qt5 and mypaint when they are missing.
#   tests/interop/run-ora-peers.sh [build-dir [work-dir]]
set -eu
here=$(cd "$(dirname "$0")" && pwd)
root=$(cd "$here/../.." && pwd)
build=${1:-$root/build}
work=${2:-$(mktemp -d /tmp/ora-peers.XXXXXX)}
vell="$build/apps/vell/vell"

if [ ! -x "$vell" ]; then
    echo "no $vell: build the vell target first" >&2
    exit 1
fi

missing=
command -v lazpaint >/dev/null 2>&1 || missing="$missing lazpaint-qt5"
[ -f /usr/lib/mypaint/lib/document.py ] || missing="$missing mypaint"
if [ -n "$missing" ]; then
    apt-get update -qq
    DEBIAN_FRONTEND=noninteractive apt-get install -y -qq --no-install-recommends $missing >/dev/null
fi

mkdir -p "$work"
# MyPaint's library and its numpy and GdkPixbuf bindings are Debian's, for
# Debian's Python: never a python3 found first on PATH.
exec /usr/bin/python3 "$here/orapeers.py" "$vell" "$work"
