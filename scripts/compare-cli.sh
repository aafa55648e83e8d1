#!/usr/bin/env bash
# Runs two vistel-cli builds on the same inputs and commands and says where they differ:
#   scripts/compare-cli.sh OLD/vistel-cli NEW/vistel-cli [WORK_DIR]
#
# For a change that must not alter what vistel-cli does (a reshaping of the code): every
# command's output file, its standard error and its exit status must be byte-identical. The
# inputs are made here by ImageMagick in every depth the program handles, plus the hostile
# files of the tests, read with "info" and converted.
set -u
old=$(realpath "$1")
new=$(realpath "$2")
work=${3:-$(mktemp -d)}
source=$(cd "$(dirname "$0")/.." && pwd)
mkdir -p "$work/in" "$work/old" "$work/new"
cd "$work"

# Inputs: a gradient with noise in each depth, small enough to be quick.
pattern=(-size 97x61 gradient:red-blue -attenuate 0.4 +noise Uniform -rotate 7)
convert "${pattern[@]}" -depth 8 in/c24.tif
convert "${pattern[@]}" -depth 16 in/c48.tif
convert "${pattern[@]}" -colorspace Gray -depth 8 in/g8.tif
convert "${pattern[@]}" -colorspace Gray -depth 16 in/g16.tif
convert "${pattern[@]}" -monochrome in/b1.tif
convert "${pattern[@]}" -depth 8 in/c24.png
convert "${pattern[@]}" -quality 90 in/c24.jpg
convert "${pattern[@]}" -colors 40 in/c8.gif
convert "${pattern[@]}" -colorspace Gray -compress lzw in/g8lzw.tif
convert "${pattern[@]}" in/c24.bmp

differences=0
# run NAME ARGS...: the arguments may name OUT, which becomes each side's own output file.
run() {
    local name=$1
    shift
    local side program
    for side in old new; do
        program=$old
        [ "$side" = new ] && program=$new
        local args=("${@//OUT/$side/$name}")
        "$program" "${args[@]}" >"$side/$name.stdout" 2>"$side/$name.stderr"
        echo $? >"$side/$name.status"
        sed -i "s#$side/#SIDE/#g" "$side/$name.stderr" "$side/$name.stdout"
    done
    local file
    for file in "$name" "$name.stdout" "$name.stderr" "$name.status"; do
        if [ -e "old/$file" ] || [ -e "new/$file" ]; then
            if ! cmp -s "old/$file" "new/$file"; then
                echo "differs: $file ($*)"
                differences=$((differences + 1))
            fi
        fi
    done
}

profile=/usr/share/color/icc/colord/AdobeRGB1998.icc
for input in in/*; do
    base=$(basename "$input")
    run "$base.info" info "$input"
    for format in tif jpg png gif bmp tga pcx fit rle eps; do
        run "$base.$format" convert "$input" "OUT"
    done
    for type in binary gray8 color24 gray16 color48; do
        run "$base.$type.tif" convert --to "$type" "$input" "OUT"
    done
    for factor in 0.45 1 2.2; do
        run "$base.gamma$factor.tif" gamma --factor "$factor" "$input" "OUT"
    done
    run "$base.negative.tif" negative "$input" "OUT"
    run "$base.negative.png" negative "$input" "OUT"
    if [ -n "$profile" ]; then
        for intent in 0 1 3; do
            run "$base.profile$intent.tif" profile --to "$profile" --intent "$intent" "$input" "OUT"
        done
    fi
done
run bad-gamma.tif gamma --factor 0 in/c24.tif OUT
run bad-verb.tif sharpen in/c24.tif OUT
run no-args.txt
run help.txt --help
for input in "$source"/tests/data/hostile/*; do
    base=$(basename "$input")
    run "hostile-$base.info" info "$input"
    run "hostile-$base.tif" convert "$input" OUT
    run "hostile-$base.partial.tif" convert --allow-partial "$input" OUT
done
echo "$differences difference(s)"
[ "$differences" -eq 0 ]
