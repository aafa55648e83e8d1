#!/usr/bin/env bash
# Times vistel-cli against libtiff's tiffcp and Little CMS's tificc on the same 6000 x 4000
# TIFF files at 24 and 48 bits, taking turns within one run so that a busy machine disturbs
# both sides alike, and prints the medians and their ratios:
#
#   gamma --factor 1   a copy through the picture record   against tiffcp
#   gamma --factor 2   a table lookup of every sample      against tiffcp
#   profile            sRGB to Adobe RGB, perceptual       against tificc -t0 -e, writing
#                                                          the input's depth (-w8, -w16)
#
#   bench/compare-tiff.sh [BUILD_FOLDER] [RUNS] [BEFORE_CLI]      (RUNS 7 unless given)
#
# With BEFORE_CLI (another vistel-cli, a build of main say), its gamma and profile runs take
# their turns too, as gamma1-before and so on, for a table of before and after in one run.
#
# Each run is measured by the shell's time (wall, user and system seconds, to the
# millisecond) and /usr/bin/time (the peak resident memory and the minor page faults). The
# pictures are made once by ImageMagick (a plasma fractal, blurred, with a little noise, as a
# photograph might be) and written by pnmtotiff, one row a strip as libtiff's tools lay them
# out, uncompressed, without a profile, into a work folder in memory, where the outputs go
# too.
set -euo pipefail
cd "$(dirname "$0")/.."
. bench/compare-common.sh
before=
if [ -n "${3:-}" ]; then
    before=$(realpath "$3")
    [ -x "$before" ] || { echo "no $before" >&2; exit 1; }
fi
target=/usr/share/color/icc/compatibleWithAdobeRGB1998.icc
[ -s "$target" ] || { echo "no $target: run scripts/install-deps.sh" >&2; exit 1; }
compare_start vistel-compare-tiff 7 "$@"

# The commands, by name; "@IN" stands for the input file.
names=(gamma1 gamma2 tiffcp profile tificc)
declare -A commands=(
    [gamma1]="$cli gamma --factor 1 @IN out-gamma1.tif"
    [gamma2]="$cli gamma --factor 2 @IN out-gamma2.tif"
    [tiffcp]="tiffcp @IN out-tiffcp.tif"
    [profile]="$cli profile --to $target --intent 0 @IN out-profile.tif"
    [tificc]="tificc -t0 -e -w@BITS -o$target @IN out-tificc.tif"
)
pairs=(gamma1:tiffcp gamma2:tiffcp profile:tificc)
if [ -n "$before" ]; then
    names=(gamma1 gamma1-before gamma2 gamma2-before tiffcp profile profile-before tificc)
    commands[gamma1-before]="$before gamma --factor 1 @IN out-gamma1-before.tif"
    commands[gamma2-before]="$before gamma --factor 2 @IN out-gamma2-before.tif"
    commands[profile-before]="$before profile --to $target --intent 0 @IN out-profile-before.tif"
    pairs=(gamma1:tiffcp gamma1-before:tiffcp gamma2:tiffcp gamma2-before:tiffcp profile:tificc
           profile-before:tificc)
fi

compare_turns "$runs" 24 48

# The smallest and largest system time of a file, as "min-max".
spread() {
    sort -g -k3 "$1" | awk 'NR == 1 { low = $3 } { high = $3 } END { printf "%.3f-%.3f", low, high }'
}

echo "Medians of $runs runs taken in turn; 6000 x 4000 pixels, uncompressed TIFF in $work"
for depth in 24 48; do
    echo
    printf '%-8s %-14s %7s %7s %7s %11s %9s %8s\n' "$depth-bit" "" wall user sys "sys range" "peak MB" faults
    for name in "${names[@]}"; do
        f=times-$depth-$name.txt
        printf '%-8s %-14s %7.3f %7.3f %7.3f %11s %9.0f %8.0f\n' "" "$name" "$(median "$f" 1)" \
            "$(median "$f" 2)" "$(median "$f" 3)" "$(spread "$f")" \
            "$(awk -v k="$(median "$f" 4)" 'BEGIN { print k / 1024 }')" "$(median "$f" 5)"
    done
    for pair in "${pairs[@]}"; do
        ours=${pair%:*}
        theirs=${pair#*:}
        compare_both "$ours / $theirs" 25 "times-$depth-$ours.txt" "times-$depth-$theirs.txt"
    done
done
