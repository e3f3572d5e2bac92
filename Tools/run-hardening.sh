#!/usr/bin/env bash
# The sanitizer runs, each build in a folder of its own with ccache (Tools/build.sh):
#   build-asan  clang, AddressSanitizer + UndefinedBehaviorSanitizer + libFuzzer's coverage:
#               the whole test suite, then every fuzz target for SECONDS seconds (default 20)
#   build-tsan  clang, ThreadSanitizer: only the threaded test programs (labels sync,
#               discovery, instances: the loop, the search, the instances and the device watch)
# Usage: Tools/run-hardening.sh [SECONDS]. Fails on the first unclean run. The build folders
# stand beside Tools/ unless MORVANE_HARDENING_BUILDS names another parent folder.
set -euo pipefail
here="$(cd "$(dirname "$0")/.." && pwd)"
builds="${MORVANE_HARDENING_BUILDS:-$here}"
seconds="${1:-20}"
supp="$here/Tests/Hardening"
started=$(date +%s)
clang=(-DCMAKE_C_COMPILER=clang -DCMAKE_CXX_COMPILER=clang++)
threadedLabels='sync|discovery|instances'

phase() {
    echo "== $* (at $(($(date +%s) - started)) s)"
}

# The test programs of the threaded labels, as their CMakeLists.txt name them:
# morvane_add_test(<name> LABEL <label> ...) or gtest_discover_tests(<name> ... LABELS <label>).
threadedPrograms() {
    find "$here/Tests" -name CMakeLists.txt -print0 | xargs -0 awk -v labels="^($threadedLabels)\$" '
        match($0, /(morvane_add_[a-z_]*test|gtest_discover_tests)\([a-z_]+/) {
            split(substr($0, RSTART, RLENGTH), call, "("); name = call[2]
        }
        {
            for (i = 1; i < NF; ++i)
                if (($i == "LABEL" || $i == "LABELS") && $(i + 1) ~ labels && name != "") print name
        }' | sort -u
}

# Only the named programs of a build (the framework and our library come with them).
buildTargets() {
    local build="$1"
    shift
    local known wanted=()
    known="$(ninja -C "$build" -t targets all | cut -d: -f1)"
    for target in "$@"; do
        if grep -qx "$target" <<<"$known"; then wanted+=("$target"); fi
    done
    "$here/Tools/private-net.sh" cmake --build "$build" -j"$(nproc)" --target "${wanted[@]}"
}

inBuild() {
    local build="$1"
    shift
    (cd "$build" && "$here/Tools/private-net.sh" "$@")
}

phase "address build"
"$here/Tools/build.sh" "$builds/build-asan" "${clang[@]}" -DMORVANE_SANITIZE=address -DMORVANE_FUZZ=ON

phase "whole suite under AddressSanitizer and UndefinedBehaviorSanitizer"
ASAN_OPTIONS="detect_leaks=1:detect_stack_use_after_return=0" \
    LSAN_OPTIONS="suppressions=$supp/lsan.supp:print_suppressions=0" \
    UBSAN_OPTIONS="print_stacktrace=1" \
    inBuild "$builds/build-asan" ctest --output-on-failure -j2 --timeout 600

phase "thread build"
export CCACHE_BASEDIR="$(dirname "$here")" CCACHE_NOHASHDIR=true
cmake -S "$here" -B "$builds/build-tsan" -G Ninja -DCMAKE_BUILD_TYPE=Release "${clang[@]}" \
    -DCMAKE_C_COMPILER_LAUNCHER=ccache -DCMAKE_CXX_COMPILER_LAUNCHER=ccache -DMORVANE_SANITIZE=thread >/dev/null
mapfile -t programs < <(threadedPrograms)
buildTargets "$builds/build-tsan" "${programs[@]}"

phase "threaded tests under ThreadSanitizer: ${programs[*]}"
# A label whose programs were not found would pass by running nothing.
for label in ${threadedLabels//|/ }; do
    if ! inBuild "$builds/build-tsan" ctest -N -L "^$label\$" | grep -q '^Total Tests: [1-9]'; then
        echo "no $label tests in the thread build" >&2
        exit 1
    fi
done
TSAN_OPTIONS="suppressions=$supp/tsan.supp second_deadlock_stack=1" \
    inBuild "$builds/build-tsan" ctest --output-on-failure -j2 --timeout 600 -L "$threadedLabels"

phase "fuzz targets, $seconds s each"
MORVANE_FUZZ_BUILD="$builds/build-asan" "$here/Tools/fuzz.sh" "$seconds"

phase "hardening done"
