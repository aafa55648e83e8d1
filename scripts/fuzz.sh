#!/usr/bin/env bash
# Builds the libFuzzer targets with clang and runs each for a few seconds over a copy of its
# seed corpus: scripts/fuzz.sh [SECONDS]. A crash fails the run and leaves the input in
# build-fuzz/findings; add it to tests/data/hostile so that it replays in every build.
set -euo pipefail
cd "$(dirname "$0")/.."
seconds=${1:-15}
CC=clang-14 CXX=clang++-14 ./scripts/build.sh build-fuzz -DCMAKE_BUILD_TYPE=RelWithDebInfo \
    -DVISTEL_FUZZ=ON -DVISTEL_BENCH=OFF
mkdir -p build-fuzz/findings
status=0
for target in build-fuzz/tests/*Fuzz; do
    [ -x "$target" ] || continue
    name=$(basename "$target")
    work=build-fuzz/corpus/$name
    rm -rf "$work"
    mkdir -p "$work"
    if [ -d "tests/fuzz/corpus/$name" ]; then
        cp -r "tests/fuzz/corpus/$name/." "$work/"
    fi
    echo "-- $name for ${seconds}s"
    if ! "$target" -max_total_time="$seconds" -rss_limit_mb=2048 -timeout=10 \
        -artifact_prefix=build-fuzz/findings/"$name"- "$work" </dev/null \
        >build-fuzz/"$name".log 2>&1; then
        echo "$name found a failure:"
        tail -40 build-fuzz/"$name".log
        status=1
    else
        tail -1 build-fuzz/"$name".log
    fi
done
exit $status
