#!/usr/bin/env bash
# Regenerates data/samples/adobergb.jpg: the bundled sample picture as a JPEG
# whose comment says "ICC profile: Adobe RGB (1998)", the way camera software
# names the colour space in its metadata. Needs vips (libvips-tools) and
# python3; the build never runs this.
set -euo pipefail
cd "$(dirname "$0")/.."

tmp=$(mktemp -d)
trap 'rm -rf "$tmp"' EXIT
# JPEG has no alpha: flatten the translucent corner onto white, as it shows.
vips flatten data/samples/sample.png "$tmp/flat.v" --background 255
vips copy "$tmp/flat.v" "$tmp/sample.jpg[Q=90,strip]"
python3 - "$tmp/sample.jpg" data/samples/adobergb.jpg <<'PY'
import struct, sys
data = open(sys.argv[1], 'rb').read()
assert data[:2] == b'\xff\xd8', 'not a JPEG'
text = b'ICC profile: Adobe RGB (1998)'
comment = b'\xff\xfe' + struct.pack('>H', len(text) + 2) + text   # COM segment after SOI
open(sys.argv[2], 'wb').write(data[:2] + comment + data[2:])
PY
