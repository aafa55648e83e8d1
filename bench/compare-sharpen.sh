#!/usr/bin/env bash
# Times vistel-cli's Advanced Sharpen against vips sharpen and ImageMagick's unsharp mask on
# the same 6000 x 4000 TIFF files at 24 and 48 bits, each whole process (read, work, write,
# one thread), taking turns within one run, and prints the medians and the ratios:
#
#   sharpen      the Sharpen stage alone, radius 2, amount 100 %, thresholds 0 and 0
#   all-stages   Noise Reduction (radius 1, amount 50 %, thresholds 0..20), Speck Removal
#                (3x3, light and dark, a ring range under 40, a speck 40 levels from the
#                ring's mean) and the Sharpen above
#   vips         vips sharpen with its defaults
#   magick       convert -unsharp 0x2
#
#   bench/compare-sharpen.sh [BUILD_FOLDER] [RUNS]      (RUNS 5 unless given)
#
# A new row is one name in names, its command in commands, and a pair "ours:reference" in
# ratios.
set -euo pipefail
cd "$(dirname "$0")/.."
. bench/compare-common.sh
compare_start vistel-compare-sharpen 5 "$@"

printf 'AdvancedSharpen 1.0\r\nsharpenradius 2.0000\r\nsharpenamt 1.0000\r\nsharpenthresh 0 0\r\nend\r\n' >sharpen.as
printf 'AdvancedSharpen 1.0\r\nblurradius 1.0000\r\nbluramt 0.5000\r\nblurthresh 0 20\r\nspeckradius 2\r\nspeckthresh 40\r\nspeckdiffthresh 215\r\nremovewhitespecks 1\r\nremoveblackspecks 1\r\nsharpenradius 2.0000\r\nsharpenamt 1.0000\r\nsharpenthresh 0 0\r\nend\r\n' >all.as

names=(sharpen all-stages vips magick)
declare -A commands=(
    [sharpen]="$cli sharpen sharpen.as @IN out-sharpen.tif"
    [all-stages]="$cli sharpen all.as @IN out-all.tif"
    [vips]="env VIPS_CONCURRENCY=1 vips sharpen @IN out-vips.tif"
    [magick]="env MAGICK_THREAD_LIMIT=1 convert @IN -unsharp 0x2 out-magick.tif"
)
ratios=(sharpen:vips sharpen:magick all-stages:sharpen)

compare_turns "$runs" 24 48

echo "Medians of $runs runs taken in turn; 6000 x 4000 pixels, uncompressed TIFF in $work"
for depth in 24 48; do compare_walls "$depth-bit, wall seconds" $depth; done
