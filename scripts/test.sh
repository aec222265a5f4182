#!/usr/bin/env bash
# Installs what the tests need, builds with AddressSanitizer and UBSan, and runs the whole suite, then the fuzzers.
set -euo pipefail
cd "$(dirname "$0")/.."

bash scripts/install-deps.sh --test
cmake -S . -B build-test -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo -DSCRIVLET_SANITIZE=ON
cmake --build build-test

export ASAN_OPTIONS="detect_leaks=1"
export LSAN_OPTIONS="suppressions=$PWD/tests/lsan.supp:print_suppressions=0"
export UBSAN_OPTIONS="print_stacktrace=1:halt_on_error=1"
ctest --test-dir build-test --output-on-failure --parallel 2 --timeout 300
bash scripts/fuzz.sh
