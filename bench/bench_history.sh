#!/bin/sh
# Swapping a 6000 x 4000 full-picture memo next to plain file I/O, then the
# peak resident size of 20 full-picture edits under the default 400 MiB
# budget and under 100 MiB (one process each: the budget is read once).
#   bench/bench_history.sh [build-dir]
set -eu
root=$(cd "$(dirname "$0")/.." && pwd)
build=${1:-$root/build-bench}
cmake --build "$build" --target bench_history >/dev/null
cd "$(mktemp -d)"
"$build/bench/bench_history" swap | grep -v -e '^Memory ' -e '^Swap Finished'
for budget in 400 100; do
    "$build/bench/bench_history" session $budget 20 | grep '^budget'
done
