#!/usr/bin/env bash
# Times Little CMS's tificc on the picture of ProfileBench (6000 x 4000, 48 bits) with the same
# profiles, beside tiffcp copying the same file, which shows what reading and writing the TIFF
# costs on its own; then runs ProfileBench. Usage: bench/ProfileBench.sh [BUILD_FOLDER]
set -euo pipefail
cd "$(dirname "$0")/.."
build=${1:-build}
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
target=/usr/share/color/icc/compatibleWithAdobeRGB1998.icc

"$build/bench/ProfileBench" --write-ppm "$work/in.ppm"
pnmtotiff -truecolor "$work/in.ppm" >"$work/in.tif" 2>/dev/null
rm "$work/in.ppm"

best() { # the fastest of three runs of a command, in seconds
    local fastest=""
    for _ in 1 2 3; do
        local start end
        start=$(date +%s.%N)
        "$@" >/dev/null 2>&1
        end=$(date +%s.%N)
        fastest=$(echo "$start $end $fastest" | awk '{t = $2 - $1; if ($3 == "" || t < $3) print t; else print $3}')
    done
    echo "$fastest"
}

echo "tificc sRGB -> Adobe RGB, 16 bits: $(best tificc -w16 -t0 "-o$target" "$work/in.tif" "$work/out.tif") s"
echo "tiffcp of the same file:           $(best tiffcp "$work/in.tif" "$work/copy.tif") s"
"$build/bench/ProfileBench" --benchmark_repetitions=3 --benchmark_report_aggregates_only=true
