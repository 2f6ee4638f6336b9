#!/usr/bin/env bash
# Fuzzes every reader with libFuzzer: builds the library and the harnesses of
# tests/fuzz with clang (-fsanitize=fuzzer,address,undefined), then runs each
# harness in turn for SECONDS (default 60), starting from its seed corpus and
# regression inputs, and prints per harness the executions, executions per
# second, coverage, corpus size and crashes. Not part of the test run.
#
#   bash tests/fuzz/run.sh [SECONDS] [HARNESS ...]
#
# Environment: VELL_FUZZ_BUILD (build folder, default /tmp/vell-fuzz-build),
# VELL_FUZZ_OUT (new corpus entries and crash inputs, default
# $VELL_FUZZ_BUILD/out; nothing is written into the repository), JOBS.
# A crash input lands in $VELL_FUZZ_OUT/<harness>/crash-*; once fixed, copy
# it to tests/fuzz/regressions/<harness>/ so the test suite replays it.
set -euo pipefail
cd "$(dirname "$0")/../.."
source=$PWD
seconds=${1:-60}
shift || true
build=${VELL_FUZZ_BUILD:-/tmp/vell-fuzz-build}
out=${VELL_FUZZ_OUT:-$build/out}
jobs=${JOBS:-$(nproc)}

# Debian's clang with its runtime libraries (libFuzzer, the sanitizers) and
# OpenMP for clang.
need=()
command -v clang++ >/dev/null || need+=(clang)
compgen -G "/usr/lib/llvm-*/lib/clang/*/lib/linux/libclang_rt.fuzzer-x86_64.a" >/dev/null \
    || need+=(libclang-rt-dev)
compgen -G "/usr/lib/llvm-*/lib/libomp.so" >/dev/null || need+=(libomp-dev)
if ((${#need[@]})); then
    echo "installing ${need[*]}"
    apt-get update -qq && DEBIAN_FRONTEND=noninteractive apt-get install -y -qq --no-install-recommends "${need[@]}"
fi

harnesses=$(sed -n '/^set(VELL_FUZZ_HARNESSES/,/)/p' tests/fuzz/CMakeLists.txt \
    | tr -d '()' | sed 's/set//; s/VELL_FUZZ_HARNESSES//' | xargs)
if (($#)); then harnesses="$*"; fi

flags="-fsanitize=fuzzer-no-link,address,undefined -fno-sanitize-recover=all -fno-omit-frame-pointer -g"
# The build runs its own tools (the shader encipherer), which need not be leak-free.
export ASAN_OPTIONS=detect_leaks=0
cmake -S "$source" -B "$build" -DCMAKE_BUILD_TYPE=RelWithDebInfo \
    -DCMAKE_C_COMPILER=clang -DCMAKE_CXX_COMPILER=clang++ \
    -DCMAKE_CXX_FLAGS="$flags" -DCMAKE_EXE_LINKER_FLAGS="-fsanitize=address,undefined" \
    -DCMAKE_SHARED_LINKER_FLAGS="-fsanitize=address,undefined" \
    -DVELL_FUZZ_LIBFUZZER=ON -DVELL_BUILD_BENCH=OFF >"$build.configure.log" 2>&1 \
    || { cat "$build.configure.log"; exit 1; }
targets=()
for h in $harnesses; do targets+=(--target "fuzz_$h"); done
cmake --build "$build" -j"$jobs" "${targets[@]}" >"$build.build.log" 2>&1 \
    || { tail -40 "$build.build.log"; exit 1; }

export ASAN_OPTIONS=detect_leaks=1:abort_on_error=1:symbolize=1
export LSAN_OPTIONS=suppressions=$source/tests/lsan.supp:print_suppressions=0
export UBSAN_OPTIONS=print_stacktrace=1:halt_on_error=1
export QT_QPA_PLATFORM=offscreen
summary=()
status=0
for h in $harnesses; do
    work=$out/$h
    mkdir -p "$work/corpus"
    seeds=()
    for kind in corpus regressions; do
        [[ -d tests/fuzz/$kind/$h ]] && seeds+=("tests/fuzz/$kind/$h")
    done
    log=$work/fuzz.log
    # Qt's actions load fontconfig, whose caches live until exit; the fast
    # unwinder cannot see past fontconfig's frames, so the suppression in
    # tests/lsan.supp needs the slow one there.
    unwind=
    [[ $h == commandxml ]] && unwind=:fast_unwind_on_malloc=0
    echo "== $h: ${seconds} s"
    # The new corpus is the first folder (the fuzzer writes there); the
    # repository's folders are only read.
    touch "$work/.started"   # crash inputs of earlier runs stay, but are not counted again
    set +e
    (cd "$work" && ASAN_OPTIONS=$ASAN_OPTIONS$unwind \
        XDG_DATA_HOME=$work/xdg-data XDG_CONFIG_HOME=$work/xdg-config \
        "$build/tests/fuzz/fuzz_$h" -max_total_time="$seconds" -malloc_limit_mb=512 \
        -rss_limit_mb=2048 -timeout=10 -print_final_stats=1 -artifact_prefix="$work/" \
        "$work/corpus" "${seeds[@]/#/$source/}") >"$log" 2>&1
    rc=$?
    set -e
    execs=$(grep -o 'stat::number_of_executed_units: *[0-9]*' "$log" | grep -o '[0-9]*$' || echo 0)
    speed=$(grep -o 'stat::average_exec_per_sec: *[0-9]*' "$log" | grep -o '[0-9]*$' || echo 0)
    last=$(grep -E '^#[0-9]+' "$log" | tail -1)
    cov=$(sed -n 's/.*cov: \([0-9]*\).*/\1/p' <<<"$last")
    ft=$(sed -n 's/.*ft: \([0-9]*\).*/\1/p' <<<"$last")
    corp=$(sed -n 's/.*corp: \([0-9]*\/[0-9A-Za-z]*\).*/\1/p' <<<"$last")
    crashes=$(find "$work" -maxdepth 1 -newer "$work/.started" \( -name 'crash-*' -o -name 'leak-*' \
        -o -name 'timeout-*' -o -name 'oom-*' -o -name 'slow-unit-*' \) | wc -l)
    line=$(printf '%-14s execs %9s  exec/s %6s  cov %6s  ft %6s  corpus %-12s crashes %s' \
        "$h" "$execs" "$speed" "${cov:-?}" "${ft:-?}" "${corp:-?}" "$crashes")
    echo "$line"
    if ((rc != 0 || crashes > 0)); then
        status=1
        echo "   exit $rc; see $log"
        grep -m3 -E 'ERROR|vellfuzz:|runtime error' "$log" | sed 's/^/   /' || true
    fi
    summary+=("$line")
done
echo
echo "== summary (${seconds} s per harness)"
printf '%s\n' "${summary[@]}"
exit $status
