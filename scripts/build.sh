#!/usr/bin/env bash
# Configures and builds one build folder: scripts/build.sh FOLDER [cmake options...]
set -euo pipefail
cd "$(dirname "$0")/.."
# Paths relative to the checkout let ccache share results between clones and worktrees.
export CCACHE_BASEDIR="$(pwd)"
folder=$1
shift
cmake -S . -B "$folder" -G Ninja "$@" >/dev/null
cmake --build "$folder"
