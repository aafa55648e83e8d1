#!/usr/bin/env bash
# Times vips on one thread (VIPS_CONCURRENCY=1) and vistel-cli on the same JPEG and PNG files
# of a 6000 x 4000 24-bit picture: open and save (vips copy, vistel-cli convert) and open
# alone (vips avg, vistel-cli info). Each figure is the best of several runs, in seconds,
# with the ratio vistel / vips; our goal is at most 1.10.
#
#   bench/compare-formats.sh [BUILD_FOLDER] [RUNS]
#
# The picture is made once by ImageMagick (a plasma fractal, blurred, with a little noise,
# which compresses much as a photograph does) and kept in the work folder. The JPEG to open
# is cjpeg's at quality 90, the PNG ImageMagick's; both programs save JPEG at quality 97, the
# quality vistel-cli uses, and PNG with their own defaults (vips: zlib level 6, no row
# filter; we: adaptive filters with zlib's run-length strategy), whose file sizes are shown.
set -euo pipefail
cd "$(dirname "$0")/.."
build=${1:-build}
runs=${2:-5}
cli=$build/vistel-cli
[ -x "$cli" ] || { echo "no $cli: build first (scripts/build.sh $build)" >&2; exit 1; }
if [ -d /dev/shm ] && [ -w /dev/shm ]; then
    work=/dev/shm/vistel-compare
else
    work=/tmp/vistel-compare
fi
mkdir -p "$work"
export VIPS_CONCURRENCY=1

if [ ! -s "$work/photo.ppm" ]; then
    echo "Making the 6000 x 4000 picture in $work ..." >&2
    convert -seed 7 -size 6000x4000 plasma:fractal -blur 0x2 -attenuate 0.15 +noise Gaussian \
        -depth 8 "$work/photo.ppm"
fi
[ -s "$work/photo.jpg" ] || cjpeg -quality 90 "$work/photo.ppm" >"$work/photo.jpg"
[ -s "$work/photo.png" ] || convert "$work/photo.ppm" "$work/photo.png"

# Best wall time of $runs runs of a command, in seconds.
best() {
    local best=""
    for ((i = 0; i < runs; i++)); do
        local start end took
        start=$(date +%s.%N)
        "$@" >/dev/null 2>&1
        end=$(date +%s.%N)
        took=$(awk -v a="$start" -v b="$end" 'BEGIN { print b - a }')
        if [ -z "$best" ] || awk -v t="$took" -v b="$best" 'BEGIN { exit !(t < b) }'; then
            best=$took
        fi
    done
    printf '%.3f' "$best"
}

row() {
    local name=$1 vips=$2 ours=$3
    printf '%-24s %8s %8s %8.2f\n' "$name" "$vips" "$ours" \
        "$(awk -v a="$ours" -v b="$vips" 'BEGIN { print a / b }')"
}

printf '%-24s %8s %8s %8s\n' "6000 x 4000, 24-bit" "vips" "vistel" "ratio"
row "JPEG open + save Q97" \
    "$(best vips copy "$work/photo.jpg" "$work/vips.jpg[Q=97]")" \
    "$(best "$cli" convert "$work/photo.jpg" "$work/vistel.jpg")"
row "JPEG open" "$(best vips avg "$work/photo.jpg")" "$(best "$cli" info "$work/photo.jpg")"
row "PNG open + save" \
    "$(best vips copy "$work/photo.png" "$work/vips.png")" \
    "$(best "$cli" convert "$work/photo.png" "$work/vistel.png")"
row "PNG open" "$(best vips avg "$work/photo.png")" "$(best "$cli" info "$work/photo.png")"
echo
echo "Files saved (bytes):"
for name in vips.jpg vistel.jpg vips.png vistel.png; do
    printf '  %-12s %12d\n' "$name" "$(stat -c %s "$work/$name")"
done
