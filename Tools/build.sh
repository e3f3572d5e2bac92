#!/usr/bin/env bash
# Configures and builds into the folder given (default: build), with ccache.
set -euo pipefail
here="$(cd "$(dirname "$0")/.." && pwd)"
build="${1:-$here/build}"
shift || true
export CCACHE_BASEDIR="$(dirname "$here")" CCACHE_NOHASHDIR=true
cmake -S "$here" -B "$build" -G Ninja -DCMAKE_BUILD_TYPE=Release \
    -DCMAKE_C_COMPILER_LAUNCHER=ccache -DCMAKE_CXX_COMPILER_LAUNCHER=ccache "$@" >/dev/null
"$here/Tools/private-net.sh" cmake --build "$build" -j"$(nproc)"
