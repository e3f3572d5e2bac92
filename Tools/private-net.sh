#!/usr/bin/env bash
# Runs a command in a network namespace of its own with only loopback up. The plug-in
# broadcasts on every interface and its build loads it once (the LV2 step), so everything
# that can start a search runs in here and never reaches the machine's real interfaces.
set -euo pipefail
if [ "$(id -u)" -ne 0 ]; then
    exec sudo -E "$0" "$@"
fi
exec unshare --net --mount bash -c 'ip link set lo up && exec "$@"' private-net "$@"
