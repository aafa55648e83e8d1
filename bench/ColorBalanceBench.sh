#!/usr/bin/env bash
# Times vistel-cli color-balance beside vistel-cli gamma on the same 6000 x 4000 TIFF, at 24
# and at 48 bits, turn about in one run so that the machine's noise falls on both alike, and
# prints the best of five of each and their ratio. Both read, transform by tables and write
# the whole picture; the ratio says what Color Balance's three tables cost over Gamma's one.
# Usage: bench/ColorBalanceBench.sh [BUILD_FOLDER]
set -euo pipefail
cd "$(dirname "$0")/.."
build=${1:-build}
cli="$build/vistel-cli"
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

# Highlight and shadow both moved, with a midtone: every channel's table bends twice.
printf 'ColorBalance 1.0\r\nwhite 230 240 220 255 255 255\r\nneutral 1 120 110 100 118 118 118\r\nblack 12 8 20 0 0 0\r\nend\r\n' \
    >"$work/cast.cb"

best_of() { # the fastest of five runs of each of two commands, taken in turn
    local first="" second=""
    for _ in 1 2 3 4 5; do
        for which in 1 2; do
            local start end t
            start=$(date +%s.%N)
            if [ "$which" = 1 ]; then eval "$3" >/dev/null 2>&1; else eval "$4" >/dev/null 2>&1; fi
            end=$(date +%s.%N)
            t=$(echo "$start $end" | awk '{print $2 - $1}')
            if [ "$which" = 1 ]; then
                first=$(echo "$t $first" | awk '{if ($2 == "" || $1 < $2) print $1; else print $2}')
            else
                second=$(echo "$t $second" | awk '{if ($2 == "" || $1 < $2) print $1; else print $2}')
            fi
        done
    done
    echo "$1 $2 $first $second"
}

for depth in 8 16; do
    in="$work/in$depth.tif"
    convert -size 6000x4000 plasma:fractal -seed 5 -depth "$depth" -type TrueColor \
        -compress none "$in"
    read -r _ _ gamma balance < <(best_of gamma balance \
        "'$cli' gamma --factor 1.2 '$in' '$work/gamma.tif'" \
        "'$cli' color-balance '$work/cast.cb' '$in' '$work/balance.tif'")
    echo "$((depth * 3))-bit: gamma $gamma s, color-balance $balance s, ratio" \
        "$(echo "$balance $gamma" | awk '{printf "%.3f", $1 / $2}')"
    rm -f "$in" "$work/gamma.tif" "$work/balance.tif"
done
