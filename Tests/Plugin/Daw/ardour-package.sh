#!/usr/bin/env bash
# The Debian package in a real DAW: builds morvane_<version>_amd64.deb from the build with CPack
# into a temporary folder and has Ardour load the VST3 and LV2 it installs (ardour-formats.sh).
#
#   ardour-package.sh <build folder> <morvane-unit>
set -uo pipefail
here="$(cd "$(dirname "$0")" && pwd)"
build="$1"
unitBinary="$2"

command -v ardour7-lua >/dev/null && command -v dpkg >/dev/null ||
    { echo "ardour-package: Ardour or dpkg is missing"; [ "${CI:-}" = "true" ] && exit 1; exit 77; }
work="$(mktemp -d /tmp/morvane-ardour-package.XXXXXX)"
trap 'rm -rf "$work"' EXIT
trap 'exit 1' INT TERM

cpack --config "$build/CPackConfig.cmake" -B "$work" >"$work/cpack.log" 2>&1 ||
    { cat "$work/cpack.log"; echo "FAIL the package was not built"; exit 1; }
deb=$(ls "$work"/morvane_*_amd64.deb 2>/dev/null | head -n 1)
[ -n "$deb" ] || { cat "$work/cpack.log"; echo "FAIL no package in $work"; exit 1; }
"$here/ardour-formats.sh" "$deb" "$unitBinary" VST3 LV2
