#!/usr/bin/env bash
# Installs every Debian package that building, testing and running Vistel needs.
# Packages already present are left alone, so a second run costs a few milliseconds.
set -euo pipefail

PACKAGES=(
    # build
    build-essential cmake ninja-build pkg-config ccache clang-14 libclang-rt-14-dev
    # libraries
    libtiff-dev liblcms2-dev libjpeg62-turbo-dev libpng-dev libgif-dev libexiv2-dev
    libcfitsio-dev libraw-dev
    # the display's profile on X11 (the root window's _ICC_PROFILE, through xcb)
    libxcb1-dev
    # the editor on Qt 6 Widgets; libqt6gui6 holds the offscreen platform plugin of the UI
    # tests and the X11 one, and the UI tests draw text in the DejaVu fonts
    qt6-base-dev libqt6gui6 fonts-dejavu-core
    # tests and benchmarks
    libgtest-dev libbenchmark-dev
    # independent tools the tests compare against
    libtiff-tools libimage-exiftool-perl imagemagick icc-profiles-free liblcms2-utils
    libjpeg-turbo-progs pngcrush netpbm gifsicle libvips-tools graphicsmagick ghostscript
    # real ICC profiles beside icc-profiles-free: wide-gamut RGB spaces and printer profiles
    colord-data libgs-common
)

missing=()
for package in "${PACKAGES[@]}"; do
    if ! dpkg-query -W -f='${Status}' "$package" 2>/dev/null | grep -q "install ok installed"; then
        missing+=("$package")
    fi
done

if [ ${#missing[@]} -eq 0 ]; then
    exit 0
fi

echo "Installing: ${missing[*]}"
sudo=""
if [ "$(id -u)" -ne 0 ]; then
    sudo="sudo"
fi
export DEBIAN_FRONTEND=noninteractive
$sudo apt-get update -q </dev/null
$sudo apt-get install -y -q --no-install-recommends "${missing[@]}" </dev/null
