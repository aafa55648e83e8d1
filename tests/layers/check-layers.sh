#!/usr/bin/env bash
# The layers hold by construction: check-layers.sh COMPILER SOURCE_DIR
#
# Every header of the editor's layers (ui, shell, platform and the dialog halves of the
# subsystems) must stop a build of the compute layer with the guard's message, and every
# header of the compute layer (core, files, color, the compute halves) must build there; the
# Qt platform's headers must stop any build without VISTEL_QT_PLATFORM.
set -u
compiler=$1
source=$2
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
failures=0

# Compiles a file that includes header, with the extra flags; answers the compiler's status
# and leaves its messages in $work/out.
compile() {
    local header=$1
    shift
    printf '#include "%s"\n' "$header" >"$work/probe.cpp"
    "$compiler" -std=c++20 -fsyntax-only -I"$source" "$@" "$work/probe.cpp" >"$work/out" 2>&1
}

cd "$source"
dialogHalf='(Dialog|Dialogs|Control|Tool)\.h$'
for header in core/*.h files/*.h color/*.h transforms/*.h masks/*.h tools/*.h pages/*.h \
    browse/*.h cli/*.h; do
    [ -f "$header" ] || continue
    if [[ $header =~ $dialogHalf ]]; then
        if compile "$header" -DVISTEL_COMPUTE_LAYER || ! grep -q "may not include" "$work/out"; then
            echo "not guarded: $header"
            failures=$((failures + 1))
        fi
    elif ! compile "$header" -DVISTEL_COMPUTE_LAYER; then
        echo "does not build in the compute layer: $header"
        head -5 "$work/out"
        failures=$((failures + 1))
    fi
done
for header in ui/*.h shell/*.h platform/*.h platform/headless/*.h; do
    if compile "$header" -DVISTEL_COMPUTE_LAYER || ! grep -q "may not include" "$work/out"; then
        echo "not guarded: $header"
        failures=$((failures + 1))
    fi
done
for header in platform/qt/*.h; do
    if compile "$header" || ! grep -q "may see the Qt platform" "$work/out"; then
        echo "not guarded against code outside the Qt platform: $header"
        failures=$((failures + 1))
    fi
done
echo "$failures header(s) break the layers"
[ "$failures" -eq 0 ]
