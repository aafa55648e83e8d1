#!/usr/bin/env bash
# Times vistel-cli's tone and color verbs against Gamma Adjust on the same 6000 x 4000 TIFF
# files at 24 and 48 bits, and Brightness Curve against vips maplut with the very table the
# curve makes (24 bits: vips takes an 8-bit table there), each whole process (read, work,
# write, one thread), taking turns within one run, and prints the medians and the ratios:
#
#   brightness   Brightness Curve, RGB           against gamma, and vips maplut (24-bit)
#   curves-rgb   Color Curves, RGB               against gamma
#   curves-hsv   Color Curves, HSV               against gamma
#   balance      Color Balance, a cast in highlights, midtones and shadows   against gamma
#   correct      Color Correct, red moved halfway to yellow and brightened    against gamma
#
#   bench/compare-tone.sh [BUILD_FOLDER] [RUNS]      (RUNS 7 unless given)
#
# The curve is (0, 0), (100, 160), (255, 255), smooth, on every channel. A new row is one name
# in names, its command in commands, and a pair "ours:reference" in ratios.
set -euo pipefail
cd "$(dirname "$0")/.."
. bench/compare-common.sh
compare_start vistel-compare-tone 7 "$@"

# The settings files, and the curve's own table as a 256 x 1 picture for vips: the levels
# 0..255 put through Brightness Curve.
printf 'Curve 1.0\r\nnpts 3\r\nstyle spline\r\npoint 0 0 0\r\npoint 1 100 160\r\npoint 2 255 255\r\nend\r\n' >lift.crv
{
    printf 'ColorCurves 1.0\r\ncomponent 2\r\n'
    for c in 1 2 3; do
        printf 'npts%d 3\r\nstyle%d spline\r\npoint%d 0 0 0\r\npoint%d 1 100 160\r\npoint%d 2 255 255\r\n' \
            $c $c $c $c $c
    done
    printf 'end\r\n'
} >lift-body.txt
{ printf 'ColorCurves 1.0\r\ncolorspace 2\r\n'; tail -n +2 lift-body.txt; } >lift-rgb.cc
{ printf 'ColorCurves 1.0\r\ncolorspace 0\r\n'; tail -n +2 lift-body.txt; } >lift-hsv.cc
printf 'ColorBalance 1.0\r\nwhite 230 240 220 255 255 255\r\nneutral 1 120 110 100 118 118 118\r\nblack 12 8 20 0 0 0\r\nend\r\n' >cast.cb
cat >move.colorcorrect <<'END'
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
END
python3 -c "import sys; sys.stdout.buffer.write(b'P5 256 1 255\n' + bytes(range(256)))" >levels.pgm
convert levels.pgm -depth 8 levels.tif
"$cli" curves lift.crv levels.tif lut.tif

names=(gamma brightness curves-rgb curves-hsv balance correct vips-maplut)
declare -A commands=(
    [gamma]="$cli gamma --factor 0.8 @IN out-gamma.tif"
    [brightness]="$cli curves lift.crv @IN out-brightness.tif"
    [curves-rgb]="$cli curves lift-rgb.cc @IN out-curves-rgb.tif"
    [curves-hsv]="$cli curves lift-hsv.cc @IN out-curves-hsv.tif"
    [balance]="$cli color-balance cast.cb @IN out-balance.tif"
    [correct]="$cli color-correct move.colorcorrect @IN out-correct.tif"
    [vips-maplut]="env VIPS_CONCURRENCY=1 vips maplut @IN out-vips-maplut.tif lut.tif"
)
ratios=(brightness:gamma curves-rgb:gamma curves-hsv:gamma balance:gamma correct:gamma brightness:vips-maplut)
# vips takes the 8-bit table for 8-bit pictures only.
skips=(48-vips-maplut)

compare_turns "$runs" 24 48

echo "Medians of $runs runs taken in turn; 6000 x 4000 pixels, uncompressed TIFF in $work"
for depth in 24 48; do compare_walls "$depth-bit, wall seconds" $depth; done
