# What the side-by-side comparison scripts share; each sources it.
#
#   compare_work NAME   makes and enters the work folder, in memory where there is one
#   compare_pictures    the 6000 x 4000 pictures photo24.tif and photo48.tif in it, made once
#                       by ImageMagick (a plasma fractal, blurred, with a little noise, as a
#                       photograph might be) and written by pnmtotiff, one row a strip as
#                       libtiff's tools lay them out, uncompressed, without a profile
#   median FILE COLUMN  the median of a column of a file of runs (wall user sys ...); the
#                       column "us" is user + sys
#   compare_time FILE COMMAND...
#                       runs the command once, its output thrown away, and appends
#                       "wall user sys peak-KB" to FILE; a failure stops the script
#   compare_turns RUNS  RUNS times the script's own "measure 24" and "measure 48", so that
#                       every command takes its turn in each round
#   compare_ratio LABEL OURS REFERENCE
#                       one line of the table: the ratio of two files' median walls

compare_work() {
    if [ -d /dev/shm ] && [ -w /dev/shm ]; then
        work=/dev/shm/$1
    else
        work=/tmp/$1
    fi
    mkdir -p "$work"
    cd "$work"
}

compare_pictures() {
    [ -s photo48.tif ] && [ -s photo24.tif ] && return 0
    echo "Making the 6000 x 4000 pictures in $work ..." >&2
    convert -seed 7 -size 6000x4000 plasma:fractal -blur 0x2 -attenuate 0.15 +noise Gaussian \
        -depth 16 photo48.ppm
    convert photo48.ppm -depth 8 photo24.ppm
    # pnmtotiff writes no SampleFormat, which every reader takes as unsigned integers.
    pnmtotiff -truecolor photo48.ppm >photo48.tif 2>/dev/null
    pnmtotiff -truecolor photo24.ppm >photo24.tif 2>/dev/null
    rm -f photo48.ppm photo24.ppm
}

median() {
    awk -v c="$2" '{ v = c == "us" ? $2 + $3 : $c; print v }' "$1" | sort -g |
        awk '{ a[NR] = $1 } END { print NR % 2 ? a[(NR + 1) / 2] : (a[NR / 2] + a[NR / 2 + 1]) / 2 }'
}

compare_time() {
    local file=$1 TIMEFORMAT='%3R %3U %3S'
    shift
    { time /usr/bin/time -o memory.txt -f '%M' "$@" >/dev/null 2>err.txt; } 2>time.txt ||
        { echo "failed: $*" >&2; cat err.txt >&2; exit 1; }
    echo "$(cat time.txt) $(cat memory.txt)" >>"$file"
}

compare_turns() {
    rm -f times-*.txt
    local run
    for ((run = 0; run < $1; run++)); do
        measure 24
        measure 48
    done
}

compare_ratio() {
    awk -v n="$1" -v a="$(median "$2" 1)" -v b="$(median "$3" 1)" \
        'BEGIN { printf "  %-28s %5.2f\n", n, a / b }'
}
