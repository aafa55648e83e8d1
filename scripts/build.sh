#!/usr/bin/env bash
# Configures and builds one build folder: scripts/build.sh FOLDER [cmake options...]
set -euo pipefail
cd "$(dirname "$0")/.."
folder=$1
shift
cmake -S . -B "$folder" -G Ninja "$@" >/dev/null
cmake --build "$folder"
