#!/bin/sh
# Times VellColorProfileConverter::convertToSRGB (bench_color) against
# `vips icc_transform` to sRGB of the same 6000 x 4000 pixels with the same
# profile and intent, checks that both give the same pixels, and prints
# vips time / our time. Run as root: installs libvips-tools when missing.
#   bench/bench_color.sh [build-dir] [colour space name]
set -eu
root=$(cd "$(dirname "$0")/.." && pwd)
build=${1:-$root/build-bench}
name=${2:-Adobe RGB}

. "$root/bench/vipscommon.sh"

bench_setup bench_color vell-iccprofile-data
# The converter reads ./data/iccprofiles: run where the build put them.
ln -s "$build/apps/vell/data" "$work/data"
cd "$work"
"$build/bench/bench_color" source.raw ours.raw "$name" | grep -v '^Memory ' >bench.txt
grep -v '^result ' bench.txt
ours=$(awk '$1 == "result" { print $2 }' bench.txt)

profile=$(case "$name" in
    "Adobe RGB") echo Adobe98 ;; "Apple RGB") echo AppleRGB ;; *) echo "$name" ;;
    esac)
vips rawload source.raw raw.v 6000 4000 4
vips copy raw.v source.v --interpretation srgb
vips rawload ours.raw ours.v 6000 4000 4

copy=$(best_ms vips copy source.v copy.v)
theirs=$(best_ms vips icc_transform source.v vips.v srgb \
    --input-profile "data/iccprofiles/$profile.icc" --intent perceptual)
vips subtract vips.v ours.v diff.v
vips abs diff.v absdiff.v
echo "vips $(vips --version | cut -d' ' -f1-2), $(nproc) cores:"
echo "  icc_transform $theirs ms (a process that loads and saves .v files; vips copy alone: $copy ms)"
echo "  largest difference from vips, any channel: $(vips max absdiff.v)"
awk -v o="$ours" -v t="$theirs" -v c="$copy" 'BEGIN {
    printf "vips / convertToSRGB: %.2f (%.2f without vips'"'"' load and save)\n", t / o, (t - c) / o }'
