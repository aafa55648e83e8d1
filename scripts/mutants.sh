#!/usr/bin/env bash
# Proof that the suite catches faults: applies the deliberate faults of scripts/mutants.txt one
# at a time to a scratch copy of this checkout, rebuilds what changed, runs the tests that
# should notice, and prints which faults were caught. A tool to run by hand, not part of CI.
#
#   scripts/mutants.sh [-j JOBS] [-w FOLDER] [-t SECONDS] [-n] [-l] [ID ...]
#
#   -j JOBS     parallel jobs for ninja and ctest (default 2)
#   -w FOLDER   scratch folder, kept between runs so that only changes rebuild
#               (default ${TMPDIR:-/tmp}/vistel-mutants)
#   -t SECONDS  time limit of one test; a mutant that makes a test hang is caught by it
#               (default 120)
#   -n          skip the check that the selected tests pass before any fault is applied
#   -l          list the mutants and stop
#   ID ...      run these mutants only (default: all)
#
# A mutant is CAUGHT when a selected test fails, SURVIVED when they all pass, STALE when its
# snippet is missing from its file or not unique there, BUILD-FAILED when the fault does not
# compile, NO-TESTS when its selection names no test. The exit status is 0 only when every
# mutant run was caught. The checkout the script is run from is never written to.
set -uo pipefail

source_dir=$(cd "$(dirname "$0")/.." && pwd)
mutants_file="$source_dir/scripts/mutants.txt"
jobs=2
work="${TMPDIR:-/tmp}/vistel-mutants"
test_timeout=120
baseline=1
list_only=0

usage()
{
    sed -n '5,16p' "$0" | sed 's/^# \{0,1\}//'
    exit 2
}

while getopts "j:w:t:nlh" option; do
    case $option in
    j) jobs=$OPTARG ;;
    w) work=$OPTARG ;;
    t) test_timeout=$OPTARG ;;
    n) baseline=0 ;;
    l) list_only=1 ;;
    *) usage ;;
    esac
done
shift $((OPTIND - 1))

# --- The mutants: blocks of "key = value" lines under "[id]"; see scripts/mutants.txt. ---
ids=()
declare -A what file tests old new
current=""
line_number=0
while IFS= read -r line || [[ -n $line ]]; do
    line_number=$((line_number + 1))
    [[ $line =~ ^[[:space:]]*(#|$) ]] && continue
    if [[ $line =~ ^\[([A-Za-z0-9_.-]+)\]$ ]]; then
        current=${BASH_REMATCH[1]}
        if [[ -n ${what[$current]+set} ]]; then
            echo "mutants.txt:$line_number: mutant $current is defined twice" >&2
            exit 2
        fi
        ids+=("$current")
        what[$current]=""
        continue
    fi
    if [[ -z $current || ! $line =~ ^(what|file|tests|old|new)[[:space:]]*=[[:space:]]?(.*)$ ]]; then
        echo "mutants.txt:$line_number: cannot read: $line" >&2
        exit 2
    fi
    key=${BASH_REMATCH[1]}
    value=${BASH_REMATCH[2]}
    case $key in
    what) what[$current]=$value ;;
    file) file[$current]=$value ;;
    tests) tests[$current]=$value ;;
    old) old[$current]=$value ;;
    new) new[$current]=$value ;;
    esac
done <"$mutants_file"

for id in "${ids[@]}"; do
    for key in what file tests old new; do
        declare -n field=$key
        if [[ -z ${field[$id]:-} ]]; then
            echo "mutants.txt: mutant $id has no $key" >&2
            exit 2
        fi
        unset -n field
    done
    if [[ ${old[$id]} == "${new[$id]}" ]]; then
        echo "mutants.txt: mutant $id changes nothing" >&2
        exit 2
    fi
done

# How often a mutant's snippet stands in its file under root: 0 also for a missing file.
snippet_count()
{
    local id=$1 root=$2
    [[ -f $root/${file[$id]} ]] || { echo 0; return; }
    local content snippet=${old[$id]}
    content=$(cat "$root/${file[$id]}" && printf x)
    content=${content%x}
    local without=${content//"$snippet"/}
    echo $(((${#content} - ${#without}) / ${#snippet}))
}

if ((list_only)); then
    stale=0
    for id in "${ids[@]}"; do
        state=ok
        count=$(snippet_count "$id" "$source_dir")
        if ((count != 1)); then
            state="STALE ($count)"
            stale=$((stale + 1))
        fi
        printf '%-24s %-10s %-30s %s\n' "$id" "$state" "${file[$id]}" "${what[$id]}"
    done
    echo "${#ids[@]} mutants, $stale stale"
    ((stale == 0))
    exit
fi

selected=()
if (($# > 0)); then
    for id in "$@"; do
        if [[ -z ${what[$id]+set} ]]; then
            echo "unknown mutant: $id (scripts/mutants.sh -l lists them)" >&2
            exit 2
        fi
        selected+=("$id")
    done
else
    selected=("${ids[@]}")
fi

# --- The scratch copy: the checkout's files as they stand, committed or not. ---
scratch="$work/src"
build="$work/build"
logs="$work/logs"
mkdir -p "$scratch" "$build" "$logs"
rm -f "$logs"/*.log

echo "Copying $source_dir to $scratch"
listing=$(mktemp)
(cd "$source_dir" && git ls-files -co --exclude-standard) | sort >"$listing"
# A changed file is copied with a new time, never its own: an object built from the copy's
# earlier content may be newer than the checkout's file, and ninja would keep it.
while IFS= read -r path; do
    [[ -f $source_dir/$path ]] || continue
    if ! cmp -s "$source_dir/$path" "$scratch/$path"; then
        mkdir -p "$(dirname "$scratch/$path")"
        cp "$source_dir/$path" "$scratch/$path"
    fi
done <"$listing"
# Files the checkout no longer has would still be globbed into the build.
(cd "$scratch" && find . -type f | sed 's|^\./||' | sort) | comm -23 - "$listing" |
    while IFS= read -r path; do rm -f "$scratch/$path"; done
rm -f "$listing"

# Paths relative to the copy let ccache reuse what the checkout's own builds compiled.
export CCACHE_BASEDIR="$scratch"
if [[ ! -f $build/build.ninja ]]; then
    echo "Configuring $build"
    cmake -S "$scratch" -B "$build" -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo \
        -DVISTEL_BENCH=OFF >"$logs/configure.log" 2>&1 ||
        { echo "configure failed: $logs/configure.log" >&2; exit 2; }
fi
echo "Building the unchanged copy"
if ! ninja -C "$build" -j "$jobs" >"$logs/baseline-build.log" 2>&1; then
    echo "the unchanged copy does not build: $logs/baseline-build.log" >&2
    exit 2
fi

# The build targets behind a selection, into $targets: the executables its tests run, or all
# without jq. Remembered per selection.
declare -A targets_of
selection_targets()
{
    local selection=$1
    if [[ -n ${targets_of[$selection]+set} ]]; then
        targets=${targets_of[$selection]}
        return
    fi
    local -a arguments
    read -ra arguments <<<"$selection"
    local result=""
    if command -v jq >/dev/null; then
        result=$(cd "$build" && ctest -N --show-only=json-v1 "${arguments[@]}" 2>/dev/null |
            jq -r '.tests[].command[0] // empty' | sort -u |
            while IFS= read -r command; do
                [[ $command == "$build"/* ]] && echo "${command#"$build"/}"
            done | tr '\n' ' ')
    fi
    [[ -z $result ]] && result="all"
    targets_of[$selection]=$result
    targets=$result
}

selection_count()
{
    local -a arguments
    read -ra arguments <<<"$1"
    (cd "$build" && ctest -N "${arguments[@]}" 2>/dev/null) |
        sed -n 's/^Total Tests: \([0-9]*\)$/\1/p'
}

# Runs a selection; prints the first failing test, with "(timeout)" when it hung.
run_selection()
{
    local selection=$1 log=$2
    local -a arguments
    read -ra arguments <<<"$selection"
    (cd "$build" && ctest "${arguments[@]}" -j "$jobs" --timeout "$test_timeout" \
        --no-tests=error --output-on-failure) >"$log" 2>&1
    local status=$?
    ((status == 0)) && return 0
    local first
    first=$(sed -n '/^The following tests FAILED:/,$p' "$log" | sed -n '2p')
    if [[ $first =~ -\ (.+)\ \((.+)\)$ ]]; then
        local name=${BASH_REMATCH[1]} kind=${BASH_REMATCH[2]}
        if [[ $kind == Timeout ]]; then echo "$name (timeout)"; else echo "$name"; fi
    else
        echo "(ctest status $status)"
    fi
    return 1
}

# A mutant is judged only on tests that pass without it. Selections of the form "-R regex"
# are checked in runs of their union, a few at a time since ctest's regular expressions take
# at most nine groups; any other form is checked on its own.
if ((baseline)); then
    declare -A checked
    union=""
    groups=0
    others=()
    for id in "${selected[@]}"; do
        selection=${tests[$id]}
        [[ -n ${checked[$selection]+set} ]] && continue
        checked[$selection]=1
        if [[ $selection =~ ^-R\ ([^[:space:]]+)$ ]]; then
            regex=${BASH_REMATCH[1]}
            opening=${regex//[^(]/}
            if ((groups + ${#opening} > 9)); then
                others+=("-R $union")
                union=""
                groups=0
            fi
            union+="${union:+|}$regex"
            groups=$((groups + ${#opening}))
        else
            others+=("$selection")
        fi
    done
    [[ -n $union ]] && others+=("-R $union")
    for selection in "${others[@]}"; do
        echo "Checking the selected tests without faults"
        selection_targets "$selection"
        # shellcheck disable=SC2086 # a list of targets
        ninja -C "$build" -j "$jobs" $targets >"$logs/baseline-build.log" 2>&1
        if ! failing=$(run_selection "$selection" "$logs/baseline.log"); then
            echo "the unchanged copy fails $failing: $logs/baseline.log" >&2
            exit 2
        fi
    done
fi

# --- One mutant at a time. ---
backup="$work/original"
mutated=""
restore()
{
    # The restored file is newer than the mutant's objects, so the next build recompiles it.
    [[ -n $mutated ]] && cp "$backup" "$scratch/$mutated"
    mutated=""
}
trap restore EXIT
trap 'exit 130' INT TERM

declare -A status first_failure
bad=0
total=${#selected[@]}
number=0
for id in "${selected[@]}"; do
    number=$((number + 1))
    started=$SECONDS
    path=$scratch/${file[$id]}
    printf '[%d/%d] %-24s ' "$number" "$total" "$id"
    status[$id]=STALE
    first_failure[$id]=""
    if [[ ! -f $path ]]; then
        first_failure[$id]="no file ${file[$id]}"
    else
        occurrences=$(snippet_count "$id" "$scratch")
        if ((occurrences != 1)); then
            first_failure[$id]="snippet found $occurrences times"
        else
            # Read whole, trailing newlines included.
            content=$(cat "$path" && printf x)
            content=${content%x}
            cp "$path" "$backup"
            mutated=${file[$id]}
            printf '%s' "${content/"${old[$id]}"/"${new[$id]}"}" >"$path"
            log="$logs/$id.log"
            selection_targets "${tests[$id]}"
            # shellcheck disable=SC2086 # a list of targets
            if ! ninja -C "$build" -j "$jobs" $targets >"$logs/$id.build.log" 2>&1; then
                status[$id]=BUILD-FAILED
                first_failure[$id]="see $logs/$id.build.log"
            elif [[ $(selection_count "${tests[$id]}") == 0 ]]; then
                status[$id]=NO-TESTS
            elif failing=$(run_selection "${tests[$id]}" "$log"); then
                status[$id]=SURVIVED
            else
                status[$id]=CAUGHT
                first_failure[$id]=$failing
            fi
            restore
        fi
    fi
    [[ ${status[$id]} == CAUGHT ]] || bad=$((bad + 1))
    printf '%-12s %4ds  %s\n' "${status[$id]}" $((SECONDS - started)) "${first_failure[$id]}"
done

# --- The table. ---
{
    echo
    printf '%-24s %-12s %-60s %s\n' ID RESULT "FIRST FAILING TEST" FAULT
    for id in "${selected[@]}"; do
        printf '%-24s %-12s %-60s %s\n' "$id" "${status[$id]}" "${first_failure[$id]}" "${what[$id]}"
    done
    echo
    echo "$((total - bad)) of $total caught"
} | tee "$work/results.txt"
((bad == 0))
