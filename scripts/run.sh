#!/usr/bin/env bash
# Sets everything up and runs Vistel on the bundled sample picture. Without a display (or
# until the editor is built) it runs the headless demo through vistel-cli instead.
set -euo pipefail
cd "$(dirname "$0")/.."
./scripts/install-deps.sh
./scripts/build.sh build -DCMAKE_BUILD_TYPE=RelWithDebInfo

sample=data/samples/sample.tif
if [ -x build/vistel ] && { [ -n "${DISPLAY:-}" ] || [ -n "${WAYLAND_DISPLAY:-}" ]; }; then
    echo "Starting the editor on $sample"
    exec build/vistel "$(pwd)/$sample"
fi

if [ -x build/vistel ]; then
    echo "No display found: running the headless demo through vistel-cli instead."
else
    echo "The editor is not built yet: running the headless demo through vistel-cli."
fi
out=out/demo
mkdir -p "$out"
cli=build/vistel-cli
echo "\$ vistel-cli info $sample"
$cli info "$sample"
$cli gamma --factor 0.8 "$sample" "$out/gamma.tif"
$cli convert --to gray16 "$sample" "$out/gray16.tif"
$cli negative "$sample" "$out/negative.tif"
$cli convert --to binary "$out/gray16.tif" "$out/binary.tif"
echo
echo "Results in $(pwd)/$out:"
for file in "$out"/*.tif; do
    echo "  $file: $($cli info "$file" | head -1)"
done
