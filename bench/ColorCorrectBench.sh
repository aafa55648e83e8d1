#!/usr/bin/env bash
# Times vistel-cli color-correct beside vistel-cli gamma on one 6000 x 4000 24-bit TIFF, whole
# processes (read, transform, write), taking turns so that the machine's noise falls on both,
# and prints the best time of each and their ratio. The settings move red halfway to yellow
# with a brightness change, so that every pixel goes through the tables.
# Usage: bench/ColorCorrectBench.sh [BUILD_FOLDER] [RUNS]
set -euo pipefail
cd "$(dirname "$0")/.."
build=${1:-build}
runs=${2:-5}
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

convert -size 6000x4000 plasma:fractal -depth 8 -type TrueColor -compress none "$work/in.tif"
cat >"$work/move.colorcorrect" <<'EOF'
ColorCorrect 1.0
npts 7
radius 0.60
probesize 2
nonlinear 1
point 0 255 255 255 255 255 255 0.0000
point 1 255 128 0 255 0 0 0.2500
point 2 255 255 0 255 255 0 0.0000
point 3 0 255 0 0 255 0 0.0000
point 4 0 255 255 0 255 255 0.0000
point 5 0 0 255 0 0 255 0.0000
point 6 255 0 255 255 0 255 0.0000
end
EOF

seconds() { # one run of a command, in seconds
    local start end
    start=$(date +%s.%N)
    "$@" >/dev/null 2>"$work/errors" || { echo "failed: $* ($(cat "$work/errors"))" >&2; exit 1; }
    end=$(date +%s.%N)
    echo "$start $end" | awk '{print $2 - $1}'
}

gamma_best="" correct_best=""
"$build/vistel-cli" info "$work/in.tif"
for _ in $(seq "$runs"); do
    g=$(seconds "$build/vistel-cli" gamma --factor 1.4 "$work/in.tif" "$work/gamma.tif")
    c=$(seconds "$build/vistel-cli" color-correct "$work/move.colorcorrect" "$work/in.tif" \
        "$work/correct.tif")
    gamma_best=$(echo "$g $gamma_best" | awk '{if ($2 == "" || $1 < $2) print $1; else print $2}')
    correct_best=$(echo "$c $correct_best" | awk '{if ($2 == "" || $1 < $2) print $1; else print $2}')
done
echo "gamma:         $gamma_best s"
echo "color-correct: $correct_best s"
echo "ratio:         $(echo "$correct_best $gamma_best" | awk '{printf "%.2f", $1 / $2}')"
