#!/usr/bin/env bash
# Set-up, build and every test: the suite, then the sanitizer runs and the fuzz targets
# (Tools/run-hardening.sh). Each test program runs inside a network namespace of its own.
# MORVANE_QUICK=1 stops after the suite; MORVANE_FUZZ_SECONDS sets each fuzz target's time.
set -euo pipefail
here="$(cd "$(dirname "$0")/.." && pwd)"
"$here/Tools/setup-debian.sh"
"$here/Tools/build.sh" "$here/build"

log="$(mktemp)"
trap 'rm -f "$log"' EXIT
(cd "$here/build" && "$here/Tools/private-net.sh" ctest --output-on-failure -j2 --timeout 300 "$@") | tee "$log"
summary="$(grep -E '^[0-9]+% tests passed, [0-9]+ tests failed out of [0-9]+' "$log" | tail -n 1)"

if [ "${MORVANE_QUICK:-0}" != 1 ]; then
    "$here/Tools/run-hardening.sh" "${MORVANE_FUZZ_SECONDS:-20}"
fi

failed="$(sed -E 's/.* ([0-9]+) tests failed out of ([0-9]+)/\1/' <<<"$summary")"
total="$(sed -E 's/.* tests failed out of ([0-9]+)/\1/' <<<"$summary")"
echo "suite: $((total - failed)) passed, $failed failed"
