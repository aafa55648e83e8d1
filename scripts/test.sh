#!/usr/bin/env bash
# Sets everything up and runs all tests: the whole suite, the same suite again under
# AddressSanitizer and UndefinedBehaviorSanitizer, and a short run of every fuzz target.
set -euo pipefail
cd "$(dirname "$0")/.."
./scripts/install-deps.sh
jobs=$(nproc)

echo "== Tests"
./scripts/build.sh build -DCMAKE_BUILD_TYPE=RelWithDebInfo
(cd build && ctest --output-on-failure -j"$jobs")

echo "== Tests under AddressSanitizer and UndefinedBehaviorSanitizer"
./scripts/build.sh build-asan -DCMAKE_BUILD_TYPE=Debug -DVISTEL_SANITIZE=ON -DVISTEL_BENCH=OFF
(cd build-asan && ASAN_OPTIONS=detect_leaks=1:abort_on_error=1 \
    UBSAN_OPTIONS=print_stacktrace=1:halt_on_error=1 ctest --output-on-failure -j"$jobs")

echo "== Fuzzing"
./scripts/fuzz.sh "${VISTEL_FUZZ_SECONDS:-15}"
echo "All tests passed."
