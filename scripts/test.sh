#!/usr/bin/env bash
# Installs the dependencies, builds libVellCore with its hosts and tests, and
# runs every test: all of them under a virtual X server (GL tests need it),
# then the tests that need no GL context again in a sanitizer build.
set -euo pipefail
cd "$(dirname "$0")/.."

bash scripts/install-deps.sh

jobs=$(nproc)
start=$(date +%s)

cmake -S . -B build -DCMAKE_BUILD_TYPE=RelWithDebInfo -DVELL_WERROR=ON
cmake --build build -j"$jobs"
xvfb-run -a ctest --test-dir build --output-on-failure -j"$jobs"

cmake -S . -B build-asan -DVELL_SANITIZE=ON -DCMAKE_BUILD_TYPE=Debug -DVELL_WERROR=ON
cmake --build build-asan -j"$jobs"
ctest --test-dir build-asan --output-on-failure -j"$jobs" -L nogl

echo "All tests passed in $(( $(date +%s) - start )) s."
