#!/usr/bin/env bash
# Installs what building and testing Morvane needs on Debian bookworm, where it is missing.
set -euo pipefail

packages=(
    cmake ninja-build g++ pkg-config ccache clang clang-format libclang-rt-14-dev
    juce-modules-source fst-dev
    libgtest-dev libgmock-dev libbenchmark-dev
    libasound2-dev libfreetype-dev libfontconfig1-dev libcurl4-openssl-dev
    libx11-dev libxext-dev libxrandr-dev libxinerama-dev libxcursor-dev libxtst-dev
    libpng-dev libjpeg-dev zlib1g-dev fonts-dejavu-core libpugixml-dev
    iproute2 util-linux xvfb xauth
    chromium dpkg-dev file
    ardour jalv lilv-utils
)

missing=()
for package in "${packages[@]}"; do
    dpkg -s "$package" >/dev/null 2>&1 || missing+=("$package")
done

if [ ${#missing[@]} -gt 0 ]; then
    sudo_cmd=""
    [ "$(id -u)" -eq 0 ] || sudo_cmd="sudo"
    echo "Installing: ${missing[*]}"
    $sudo_cmd apt-get update -qq
    DEBIAN_FRONTEND=noninteractive $sudo_cmd apt-get install -y -qq "${missing[@]}" >/dev/null
fi
