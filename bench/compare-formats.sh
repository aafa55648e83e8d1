#!/usr/bin/env bash
# Times vips on one thread (VIPS_CONCURRENCY=1) and vistel-cli on the same JPEG and PNG files
# of a 6000 x 4000 24-bit picture: open and save (vips copy, vistel-cli convert) and open
# alone (vips avg, vistel-cli info). Each figure is the best of several runs, in seconds of
# wall time and of processor time, with the ratio vistel / vips; our goal is at most 1.10.
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

# The best of $runs runs of a command: "wall cpu" in seconds, the processor time being user
# and system time together, which a machine busy with other work disturbs less.
best() {
    local wall="" cpu="" line
    for ((i = 0; i < runs; i++)); do
        line=$( { TIMEFORMAT='%R %U %S'; time "$@" >/dev/null 2>&1; } 2>&1 )
        read -r w u s <<<"$line"
        local c
        c=$(awk -v u="$u" -v s="$s" 'BEGIN { print u + s }')
        if [ -z "$wall" ] || awk -v a="$w" -v b="$wall" 'BEGIN { exit !(a < b) }'; then wall=$w; fi
        if [ -z "$cpu" ] || awk -v a="$c" -v b="$cpu" 'BEGIN { exit !(a < b) }'; then cpu=$c; fi
    done
    echo "$wall $cpu"
}

row() {
    local name=$1 vips ours
    read -r -a vips <<<"$2"
    read -r -a ours <<<"$3"
    awk -v n="$name" -v vw="${vips[0]}" -v vc="${vips[1]}" -v ow="${ours[0]}" -v oc="${ours[1]}" \
        'BEGIN { printf "%-22s %7.3f %7.3f %6.2f   %7.3f %7.3f %6.2f\n", n, vw, ow, ow / vw, vc, oc, oc / vc }'
}

printf '%-22s %7s %7s %6s   %7s %7s %6s\n' "6000 x 4000, 24-bit" "vips" "vistel" "ratio" \
    "vips" "vistel" "ratio"
printf '%-22s %22s   %22s\n' "" "wall time, s" "processor time, s"
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
