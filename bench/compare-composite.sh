#!/usr/bin/env bash
# Times vistel-cli composite on the same 6000 x 4000 24-bit TIFF files, each whole process
# (read, work, write, one thread), taking turns within one run, and prints the medians and
# the ratios:
#
#   copy          vistel-cli convert without --to: the background read and written again,
#                 the floor of any verb that reads and writes the file
#   tiffcp        libtiff's tiffcp of the background, the same copy by the library's tools
#   blend         Composite "Blend" of a second picture of the same size, no alignment
#   perspective   the same with a 4-point perspective alignment (every pixel mapped, one
#                 divide a pixel, bilinear samples)
#   multiply      Composite "Filter" (b o / 255 through the blend table)
#   vips          vips composite2 "over" of the same two pictures (the overlay is opaque)
#   magick        ImageMagick composite of the same two pictures, one thread
#
#   bench/compare-composite.sh [BUILD_FOLDER] [RUNS]      (RUNS 7 unless given)
#
# A new row is one name in names, its command in commands, and a pair "ours:reference" in
# ratios.
set -euo pipefail
cd "$(dirname "$0")/.."
. bench/compare-common.sh
compare_start vistel-compare-composite 7 "$@"
# The overlay: the background mirrored, so that every pixel differs from the one under it.
[ -s overlay24.tif ] || { convert photo24.tif -flop overlay24.ppm &&
    pnmtotiff -truecolor overlay24.ppm >overlay24.tif 2>/dev/null && rm -f overlay24.ppm; }
# Corners moved inwards by different amounts: a true perspective, the overlay covering most of
# the background.
cat >perspective.txt <<'END'
0 0 40 25
5999 0 5950 60
0 3999 10 3980
5999 3999 5990 3930
END

names=(copy tiffcp blend perspective multiply vips magick)
declare -A commands=(
    [copy]="$cli convert photo24.tif out-copy.tif"
    [tiffcp]="tiffcp photo24.tif out-tiffcp.tif"
    [blend]="$cli composite --operation 0 --overlay overlay24.tif photo24.tif out-blend.tif"
    [perspective]="$cli composite --operation 0 --overlay overlay24.tif --alignment 5 --points perspective.txt photo24.tif out-perspective.tif"
    [multiply]="$cli composite --operation 3 --overlay overlay24.tif photo24.tif out-multiply.tif"
    [vips]="env VIPS_CONCURRENCY=1 vips composite2 photo24.tif overlay24.tif out-vips.tif over"
    [magick]="composite -limit thread 1 overlay24.tif photo24.tif out-magick.tif"
)
ratios=(blend:copy blend:tiffcp perspective:blend multiply:blend blend:vips blend:magick)

compare_turns "$runs" 24

echo "Medians of $runs runs taken in turn; 6000 x 4000 pixels, 24-bit uncompressed TIFF in $work"
compare_walls "wall seconds" 24
