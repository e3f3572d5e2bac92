#!/usr/bin/env bash
# Set-up, build, and the main job: the Standalone Morvane finds a simulated unit by itself on a
# private studio network and shows its front panel (see Tools/main-job.sh for the options, which
# this script passes on).
set -euo pipefail
here="$(cd "$(dirname "$0")/.." && pwd)"
"$here/Tools/setup-debian.sh"
"$here/Tools/build.sh" "$here/build"
"$here/Tools/main-job.sh" -b "$here/build" "$@"
