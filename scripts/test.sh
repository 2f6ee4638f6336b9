#!/usr/bin/env bash
# Installs the dependencies, builds libVellCore with its hosts and tests, and
# runs every test twice under a virtual X server (GL tests need it): in the
# normal build, then in a sanitizer build (AddressSanitizer and
# UndefinedBehaviorSanitizer, every finding fatal), which also replays the
# fuzz harnesses' corpora and regression inputs.
set -euo pipefail
cd "$(dirname "$0")/.."

bash scripts/install-deps.sh

jobs=$(nproc)
start=$(date +%s)

cmake -S . -B build -DCMAKE_BUILD_TYPE=RelWithDebInfo -DVELL_WERROR=ON
cmake --build build -j"$jobs"
xvfb-run -a ctest --test-dir build --output-on-failure -j"$jobs"

# GL tests run on llvmpipe here too; tests/lsan.supp holds back only what
# Mesa, LLVM, fontconfig and Xlib keep until exit.
cmake -S . -B build-asan -DVELL_SANITIZE=ON -DCMAKE_BUILD_TYPE=Debug -DVELL_WERROR=ON \
    -DCMAKE_CXX_FLAGS=-fno-sanitize-recover=all
cmake --build build-asan -j"$jobs"
xvfb-run -a ctest --test-dir build-asan --output-on-failure -j"$jobs"

echo "All tests passed in $(( $(date +%s) - start )) s."
