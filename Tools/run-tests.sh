#!/usr/bin/env bash
# Set-up, build and every test, each test program inside a network namespace of its own.
set -euo pipefail
here="$(cd "$(dirname "$0")/.." && pwd)"
"$here/Tools/setup-debian.sh"
"$here/Tools/build.sh" "$here/build"
cd "$here/build"
"$here/Tools/private-net.sh" ctest --output-on-failure -j2 --timeout 300 "$@"
