#!/bin/sh
# The blur-based, block-divided and mask plug-ins on 6000 x 4000 (bench_bases:
# whole-layer applies on the GPU, the cascade levels, Mask Levels next to an
# OpenMP loop), then the same operations in vips and ImageMagick on the same
# picture, each reading and writing its own uncompressed format (.v, .mpc) so
# that PNG coding stays out of the figures. Run as root: installs
# libvips-tools and imagemagick when missing.
#   bench/bench_bases.sh [build-dir]     (CONVERT=path picks another ImageMagick convert)
set -eu
root=$(cd "$(dirname "$0")/.." && pwd)
build=${1:-$root/build-bench}

. "$root/bench/vipscommon.sh"
convert=${CONVERT:-convert}
if ! command -v "$convert" >/dev/null 2>&1; then
    apt-get install -y --no-install-recommends imagemagick
fi

bench_setup bench_bases gaussianblur unsharpmask median masklevels
xvfb-run -a "$build/bench/bench_bases" "$work/in.png" | grep -v '^Memory ' | tee "$work/ours.txt"
ours() { awk -v k="$1" '$1 == k { print $2 }' "$work/ours.txt"; }

vips copy "$work/in.png" "$work/in.v"
"$convert" "$work/in.png" "$work/in.mpc"
echo
echo "vips $(vips --version | cut -d' ' -f1-2), $("$convert" -version | head -1 | cut -d' ' -f2-3), $(nproc) threads"
ratio() { awk -v a="$1" -v b="$2" 'BEGIN { printf "%.2f", a / b }'; }
# One run, given up after $limit seconds: ImageMagick's -gaussian-blur is a
# full 2-D kernel, hours at large sigmas. A run that gives up reports the
# limit, so its ratio is a lower bound.
limit=${LIMIT:-300}
once_ms() {
    start=$(date +%s%N)
    if timeout "$limit" "$@" >/dev/null; then
        echo $(( ($(date +%s%N) - start) / 1000000 ))
    else
        echo $(( limit * 1000 ))
    fi
}
for r in 5 50 200; do
    sigma=$(awk -v r="$r" 'BEGIN { printf "%.4f", r / 3 }')
    v=$(best_ms vips gaussblur "$work/in.v" "$work/out.v" "$sigma")
    m=$(once_ms "$convert" "$work/in.mpc" -gaussian-blur "0x$sigma" "$work/out.mpc")
    b=$(once_ms "$convert" "$work/in.mpc" -blur "0x$sigma" "$work/out.mpc")
    o=$(ours "gaussian_r${r}_ms")
    echo "gaussian r $r (sigma $sigma): ours $o ms, vips $v ms, convert -gaussian-blur $m ms, convert -blur (separable) $b ms;" \
        "vips/ours $(ratio "$v" "$o"), gaussian-blur/ours $(ratio "$m" "$o"), blur/ours $(ratio "$b" "$o")"
done
m=$(best_ms "$convert" "$work/in.mpc" -unsharp 0x2+1.0+0 "$work/out.mpc")
o=$(ours unsharp_r6_ms)
echo "unsharp r 6 (sigma 2, amount 100 %): ours $o ms, convert $m ms; convert/ours $(ratio "$m" "$o")"
v=$(best_ms vips rank "$work/in.v" "$work/out.v" 5 5 12)
m=$(best_ms "$convert" "$work/in.mpc" -statistic Median 5x5 "$work/out.mpc")
o=$(ours median_k2_ms)
echo "median 5 x 5: ours $o ms, vips $v ms, convert $m ms; vips/ours $(ratio "$v" "$o"), convert/ours $(ratio "$m" "$o")"
o=$(ours mask_levels_ms)
c=$(ours mask_levels_cpu_openmp_ms)
echo "mask levels: ours $o ms, CPU loop $c ms; CPU/ours $(ratio "$c" "$o")"
echo "read-back of a layer to the host (not in the figures above): $(ours readback_ms) ms"
