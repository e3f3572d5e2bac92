#!/usr/bin/env bash
# Runs the fuzz targets, each for SECONDS seconds (default 20), all of them or those named
# (status device-pages broadcast-reply gui-settings ip-file preset-file session-state
# update-reply). They come from the address build (Tools/run-hardening.sh makes it; another
# folder with MORVANE_FUZZ_BUILD=<folder>, or its parent with MORVANE_HARDENING_BUILDS). Each starts from its seeds in
# Tests/Hardening/corpus/<target>; what it learns stays in <build>/fuzz-corpus, and a
# finding is written to <build>/fuzz-findings/<target>/ and makes the script fail.
set -euo pipefail
here="$(cd "$(dirname "$0")/.." && pwd)"
seconds="${1:-20}"
shift || true
build="${MORVANE_FUZZ_BUILD:-${MORVANE_HARDENING_BUILDS:-$here}/build-asan}"
seeds="$here/Tests/Hardening/corpus"

if [ "$#" -gt 0 ]; then
    targets=("$@")
else
    targets=()
    for dir in "$seeds"/*/; do targets+=("$(basename "$dir")"); done
fi

# Leaks are findings too; the undefined-behaviour checks already end the run at the first.
# libFuzzer's link puts libstdc++ ahead of the shared sanitizer runtime; libstdc++ replaces
# none of the functions the runtime intercepts, so the order does not matter here.
export ASAN_OPTIONS="${ASAN_OPTIONS:-detect_leaks=1:verify_asan_link_order=0}"
export UBSAN_OPTIONS="${UBSAN_OPTIONS:-print_stacktrace=1}"

failed=0
printf '%-16s %12s %8s %8s %s\n' target executions seconds corpus findings
for target in "${targets[@]}"; do
    program="$build/Tests/Hardening/fuzz-$target"
    if [ ! -x "$program" ]; then
        echo "no fuzz program $program: build with Tools/run-hardening.sh first" >&2
        exit 2
    fi
    learnt="$build/fuzz-corpus/$target"
    findings="$build/fuzz-findings/$target"
    log="$build/fuzz-findings/$target.log"
    mkdir -p "$learnt" "$findings"
    result=0
    "$here/Tools/private-net.sh" "$program" -max_total_time="$seconds" -timeout=10 -rss_limit_mb=2048 \
        -print_final_stats=1 -artifact_prefix="$findings/" "$learnt" "$seeds/$target" >"$log" 2>&1 ||
        result=$?
    runs="$(sed -n 's/^stat::number_of_executed_units: *//p' "$log" | tail -1)"
    took="$(sed -n 's/^stat::average_exec_per_sec: *//p' "$log" | tail -1)"
    count="$(find "$learnt" -type f | wc -l)"
    found="$(find "$findings" -type f | wc -l)"
    printf '%-16s %12s %8s %8s %s\n' "$target" "${runs:-?}" "$seconds" "$count" "$found (exec/s ${took:-?})"
    if [ "$result" -ne 0 ] || [ "$found" -ne 0 ]; then
        failed=1
        echo "---- $target: finding, see $log" >&2
        grep -A30 -m1 'ERROR\|runtime error' "$log" >&2 || tail -30 "$log" >&2
    fi
done
exit "$failed"
