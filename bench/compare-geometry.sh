#!/usr/bin/env bash
# Times vistel-cli's geometric verbs against the peer tools that do the same on the same
# 6000 x 4000 TIFF files at 24 and 48 bits, each whole process (read, work, write, one
# thread), taking turns within one run so that a busy machine disturbs every side alike, and
# prints the medians and each of our verbs' ratio to the fastest of its peers:
#
#   rotate   vistel-cli rotate --orientation 1   a quarter turn clockwise
#            against vips rot d90 (VIPS_CONCURRENCY=1) and tiffcrop -R 90
#   reduce   vistel-cli resize to 1500 x 1000 by Lanczos 6x6 (--method 4)
#            against vips resize 0.25 --kernel lanczos3 and ImageMagick -filter Lanczos
#            -resize 25% (one thread each)
#   enlarge  vistel-cli resize of a 1500 x 1000 picture to 3000 x 2000 by Bicubic
#            against vips resize 2 --kernel cubic and GraphicsMagick -filter Cubic -resize 200%
#
#   bench/compare-geometry.sh [BUILD_FOLDER] [RUNS]      (RUNS 7 unless given)
#
# A new row is one name in names, its command in commands, and a group "ours:peer,peer" in
# groups. The pictures are made as bench/compare-tiff.sh makes them (a plasma fractal,
# blurred, with a little noise, one row a strip, uncompressed, without a profile) into a work
# folder in memory, where the outputs go too; each run is measured by the shell's time (wall,
# user and system seconds) and /usr/bin/time (the peak resident memory).
set -euo pipefail
cd "$(dirname "$0")/.."
. bench/compare-common.sh
compare_start vistel-compare-geometry 7 "$@"
# The picture to enlarge: the same, a quarter the size.
if [ ! -s small48.tif ] || [ ! -s small24.tif ]; then
    convert photo48.tif -filter Box -resize 1500x1000 -depth 16 small48.ppm
    convert small48.ppm -depth 8 small24.ppm
    pnmtotiff -truecolor small48.ppm >small48.tif 2>/dev/null
    pnmtotiff -truecolor small24.ppm >small24.tif 2>/dev/null
    rm -f small48.ppm small24.ppm
fi

# The commands, by name; "@IN" stands for the 6000 x 4000 input, "@SMALL" for the 1500 x 1000
# one.
names=(rotate vips-rot tiffcrop reduce vips-reduce magick-reduce enlarge vips-enlarge gm-enlarge)
declare -A commands=(
    [rotate]="$cli rotate --orientation 1 @IN out-rotate.tif"
    [vips-rot]="env VIPS_CONCURRENCY=1 vips rot @IN out-vips-rot.tif d90"
    [tiffcrop]="tiffcrop -R 90 @IN out-tiffcrop.tif"
    [reduce]="$cli resize --width 1500 --height 1000 --method 4 @IN out-reduce.tif"
    [vips-reduce]="env VIPS_CONCURRENCY=1 vips resize @IN out-vips-reduce.tif 0.25 --kernel lanczos3"
    [magick-reduce]="env MAGICK_THREAD_LIMIT=1 convert @IN -filter Lanczos -resize 25% out-magick-reduce.tif"
    [enlarge]="$cli resize --width 3000 --height 2000 --method 2 @SMALL out-enlarge.tif"
    [vips-enlarge]="env VIPS_CONCURRENCY=1 vips resize @SMALL out-vips-enlarge.tif 2 --kernel cubic"
    [gm-enlarge]="env OMP_NUM_THREADS=1 gm convert @SMALL -filter Cubic -resize 200% out-gm-enlarge.tif"
)
# Each of our verbs and the peers it is compared with.
groups=(rotate:vips-rot,tiffcrop reduce:vips-reduce,magick-reduce enlarge:vips-enlarge,gm-enlarge)

compare_turns "$runs" 24 48

echo "Medians of $runs runs taken in turn; 6000 x 4000 pixels, uncompressed TIFF in $work"
for depth in 24 48; do
    echo
    printf '%-8s %-12s %7s %7s %7s %9s\n' "$depth-bit" "" wall user sys "peak MB"
    for name in "${names[@]}"; do
        f=times-$depth-$name.txt
        printf '%-8s %-12s %7.3f %7.3f %7.3f %9.0f\n' "" "$name" "$(median "$f" 1)" \
            "$(median "$f" 2)" "$(median "$f" 3)" \
            "$(awk -v k="$(median "$f" 4)" 'BEGIN { print k / 1024 }')"
    done
    for group in "${groups[@]}"; do
        ours=${group%%:*}
        fastest=
        best=
        IFS=, read -ra peers <<<"${group#*:}"
        for peer in "${peers[@]}"; do
            wall=$(median "times-$depth-$peer.txt" 1)
            if [ -z "$best" ] || awk -v a="$wall" -v b="$best" 'BEGIN { exit !(a < b) }'; then
                best=$wall
                fastest=$peer
            fi
        done
        compare_both "$ours / $fastest (fastest peer)" 34 "times-$depth-$ours.txt" \
            "times-$depth-$fastest.txt"
    done
done
