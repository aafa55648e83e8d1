# What the side-by-side comparison scripts share; each sources it.
#
#   compare_start NAME RUNS [BUILD_FOLDER] [RUNS]
#                       the script's own arguments after its name and its default number of
#                       runs: sets build, runs and cli (stopping when there is no vistel-cli),
#                       then compare_work NAME and compare_pictures
#   compare_work NAME   makes and enters the work folder, in memory where there is one
#   compare_pictures    the 6000 x 4000 pictures photo24.tif and photo48.tif in it, made once
#                       by ImageMagick (a plasma fractal, blurred, with a little noise, as a
#                       photograph might be) and written by pnmtotiff, one row a strip as
#                       libtiff's tools lay them out, uncompressed, without a profile
#   median FILE COLUMN  the median of a column of a file of runs (wall user sys ...); the
#                       column "us" is user + sys
#   compare_time FILE COMMAND...
#                       runs the command once, its output thrown away, and appends
#                       "wall user sys peak-KB faults" to FILE (the minor page faults); a
#                       failure stops the script
#   compare_turns RUNS DEPTH...
#                       RUNS times, for each depth, the script's commands in turn (the names
#                       in names, the commands by name in commands), so that every command
#                       takes its turn in each round, into times-DEPTH-NAME.txt. In a command,
#                       @IN stands for photoDEPTH.tif, @SMALL for smallDEPTH.tif and @BITS for
#                       the bits of a sample; a "DEPTH-NAME" in skips is left out
#   compare_ratio LABEL OURS REFERENCE
#                       one line of the table: the ratio of two files' median walls
#   compare_walls TITLE DEPTH
#                       an empty line, the title and the table of median walls at a depth:
#                       each of names that ran, then each pair "ours:reference" in ratios
#                       whose reference ran
#   compare_both LABEL WIDTH OURS REFERENCE
#                       the ratios of two commands' median walls and of their user + sys, the
#                       label WIDTH wide

compare_start() {
    build=${3:-build}
    runs=${4:-$2}
    cli=$(realpath "$build/vistel-cli")
    [ -x "$cli" ] || { echo "no $cli: build first (scripts/build.sh $build)" >&2; exit 1; }
    skips=()
    compare_work "$1"
    compare_pictures
}

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
    { time /usr/bin/time -o memory.txt -f '%M %R' "$@" >/dev/null 2>err.txt; } 2>time.txt ||
        { echo "failed: $*" >&2; cat err.txt >&2; exit 1; }
    echo "$(cat time.txt) $(cat memory.txt)" >>"$file"
}

compare_turns() {
    rm -f times-*.txt
    local count=$1 run depth name command
    shift
    for ((run = 0; run < count; run++)); do
        for depth in "$@"; do
            for name in "${names[@]}"; do
                [[ " ${skips[*]} " == *" $depth-$name "* ]] && continue
                command=${commands[$name]//@IN/photo$depth.tif}
                command=${command//@SMALL/small$depth.tif}
                command=${command//@BITS/$((depth / 3))}
                compare_time "times-$depth-$name.txt" $command
            done
        done
    done
}

compare_ratio() {
    awk -v n="$1" -v a="$(median "$2" 1)" -v b="$(median "$3" 1)" \
        'BEGIN { printf "  %-28s %5.2f\n", n, a / b }'
}

compare_walls() {
    local depth=$2 name pair ours reference
    echo
    echo "$1"
    for name in "${names[@]}"; do
        [ -s "times-$depth-$name.txt" ] || continue
        printf '  %-12s %7.3f\n' "$name" "$(median "times-$depth-$name.txt" 1)"
    done
    for pair in "${ratios[@]}"; do
        ours=${pair%%:*}
        reference=${pair#*:}
        [ -s "times-$depth-$reference.txt" ] || continue
        compare_ratio "$ours / $reference" "times-$depth-$ours.txt" "times-$depth-$reference.txt"
    done
}

compare_both() {
    awk -v n="$1" -v w="$2" -v ow="$(median "$3" 1)" -v tw="$(median "$4" 1)" \
        -v oc="$(median "$3" us)" -v tc="$(median "$4" us)" \
        'BEGIN { printf "  %-" w "s wall %5.2f   user + sys %5.2f\n", n, ow / tw, oc / tc }'
}
