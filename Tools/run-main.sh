#!/usr/bin/env bash
# Set-up, build, and the main job: a plug-in instance finds a simulated unit by itself on a
# private studio network and stays in step with it.
set -euo pipefail
here="$(cd "$(dirname "$0")/.." && pwd)"
"$here/Tools/setup-debian.sh"
"$here/Tools/build.sh" "$here/build"
"$here/Tools/private-net.sh" "$here/build/Tools/MorvaneDemo/morvane-demo"
