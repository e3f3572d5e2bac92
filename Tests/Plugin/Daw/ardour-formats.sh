#!/usr/bin/env bash
# Morvane in a real DAW: Ardour's headless session tool (ardour7-lua, dummy audio backend)
# loads each built format, with a simulated unit on loopback, as ardour-formats.lua says.
#
#   ardour-formats.sh <plug-in artefacts folder | morvane_<version>_amd64.deb> <morvane-unit> [formats...]
#
# Given the Debian package, it takes the plug-ins the package installs (unpacked with dpkg -x).
# Runs in a network namespace of its own (it moves itself there). Prints the scan and load
# time of every format. Exit 77 when Ardour or root is missing (a failure on CI).
set -uo pipefail

here="$(cd "$(dirname "$0")" && pwd)"
artefacts="$1"
unitBinary="$2"
shift 2
formats=("$@")
[ ${#formats[@]} -gt 0 ] || formats=(VST2 VST3 LV2)

unavailable() {
    echo "ardour-formats: $*"
    [ "${CI:-}" = "true" ] && exit 1
    exit 77
}

command -v ardour7-lua >/dev/null || unavailable "ardour7-lua is not installed"
if [ -z "${MORVANE_OWN_NETWORK:-}" ]; then
    [ "$(id -u)" -eq 0 ] || unavailable "needs root for a network namespace of its own"
    export MORVANE_OWN_NETWORK=1
    exec unshare --net --mount bash -c 'ip link set lo up && exec "$0" "$@"' "$0" "$artefacts" "$unitBinary" \
        "${formats[@]}"
fi

work="$(mktemp -d /tmp/morvane-ardour.XXXXXX)"
unitPid=""
stopUnit() {
    if [ -n "$unitPid" ]; then
        kill "$unitPid" 2>/dev/null
        wait "$unitPid" 2>/dev/null
        unitPid=""
    fi
}
cleanUp() {
    stopUnit
    rm -rf "$work"
}
trap cleanUp EXIT
trap 'exit 1' INT TERM

# Ardour, its caches and the plug-in's files all live below the run's folder.
export HOME="$work/home" XDG_CONFIG_HOME="$work/config" XDG_CACHE_HOME="$work/cache"
export Home="$work/home" LV2_PATH="$work/plugins/lv2"
# Headless: without DISPLAY the framework would try :0, where another program's X server may
# come and go and take Ardour down with it.
export DISPLAY=":65535"
mkdir -p "$HOME" "$XDG_CONFIG_HOME/ardour7" "$work/plugins/vst" "$work/plugins/vst3" "$LV2_PATH"
if [[ "$artefacts" == *.deb ]]; then
    dpkg -x "$artefacts" "$work/package" || { echo "FAIL cannot unpack $artefacts"; exit 1; }
    vst="$work/package/usr/lib/vst/Morvane.so"
    vst3="$work/package/usr/lib/vst3/Morvane.vst3"
    lv2="$work/package/usr/lib/lv2/Morvane.lv2"
    echo "the plug-ins of $(basename "$artefacts")"
else
    vst="$artefacts/VST/libMorvane.so"
    vst3="$artefacts/VST3/Morvane.vst3"
    lv2="$artefacts/LV2/Morvane.lv2"
fi
cp "$vst" "$work/plugins/vst/libMorvane.so"
cp -r "$vst3" "$work/plugins/vst3/"
cp -r "$lv2" "$LV2_PATH/"
# Ardour takes a scanner's findings only when they are newer than the binary.
find "$work/plugins" -type f -exec touch -d '1 minute ago' {} +
cat >"$XDG_CONFIG_HOME/ardour7/config" <<EOF
<?xml version="1.0" encoding="UTF-8"?>
<Ardour>
  <Config>
    <Option name="hide-dummy-backend" value="0"/>
    <Option name="plugin-path-vst3" value="$work/plugins/vst3"/>
    <Option name="plugin-path-lxvst" value="$work/plugins/vst"/>
    <Option name="use-lxvst" value="1"/>
    <Option name="use-vst3" value="1"/>
  </Config>
</Ardour>
EOF
# Every phase starts as an instance that remembers the unit at 127.0.0.2 and nothing else, so
# it needs no broadcast, and no phase depends on what an earlier one left.
instanceFolder="$HOME/.config/Velmora Audio Works/Morvane/1"
rememberUnit() {
    mkdir -p "$instanceFolder"
    rm -f "$instanceFolder/GuiSettings.txt"
    printf '127.0.0.2' >"$instanceFolder/IP.txt"
}

export LD_LIBRARY_PATH="/usr/lib/ardour7${LD_LIBRARY_PATH:+:$LD_LIBRARY_PATH}"

millisecondsOf() {
    local start end
    start=$(date +%s%N)
    "$@" >"$work/last.log" 2>&1
    local result=$?
    end=$(date +%s%N)
    echo $(((end - start) / 1000000))
    return $result
}

# Ardour scans VST2 and VST3 binaries in helper programs that load them; LV2 it reads from
# the bundle's Turtle files without loading anything.
scan() {
    local ms
    ms=$(millisecondsOf /usr/lib/ardour7/ardour-vst-scanner -f "$work/plugins/vst/libMorvane.so") ||
        { cat "$work/last.log"; return 1; }
    echo "FIGURE VST2 scan_ms $ms"
    ms=$(millisecondsOf /usr/lib/ardour7/ardour-vst3-scanner -f "$work/plugins/vst3/Morvane.vst3") ||
        { cat "$work/last.log"; return 1; }
    echo "FIGURE VST3 scan_ms $ms"
    ms=$(millisecondsOf lv2ls) || return 1
    grep -qx "https://velmora-audio-works.example/plugins/morvane" "$work/last.log" ||
        { echo "FAIL LV2 scan: lv2ls lists $(cat "$work/last.log")"; return 1; }
    echo "FIGURE LV2 scan_ms $ms"
    # lv2info prints ports only; its Turtle description holds the 16 parameters.
    lv2info -p "$work/lv2info.ttl" https://velmora-audio-works.example/plugins/morvane >/dev/null 2>&1
    local controls
    controls=$(grep -o 'plugins/morvane:knob[0-9]*' "$work/lv2info.ttl" 2>/dev/null | sort -u | wc -l)
    [ "$controls" -eq 16 ] || { echo "FAIL LV2 scan: lv2info describes $controls of the 16 controls"; return 1; }
}

# A fresh unit for every phase: row 3 (Output L) at 700, mode 4, row 17 (Input R) at 600.
startUnit() {
    stopUnit
    rm -f "$work/unit.log" "$work/unit.ctl"
    printf 'set 3 700\nmode 4\nset 17 600\n' >"$work/unit.script"
    "$unitBinary" --address 127.0.0.2 --http-port 80 --log "$work/unit.log" --no-datagram-log \
        --script "$work/unit.script" --control "$work/unit.ctl" </dev/null >/dev/null 2>&1 &
    unitPid=$!
    for _ in $(seq 1 100); do
        [ -p "$work/unit.ctl" ] && grep -q START "$work/unit.log" 2>/dev/null && return 0
        sleep 0.05
    done
    echo "FAIL the simulated unit does not start"
    return 1
}

# One phase in a fresh Ardour process; passes when the script ran to its end without a fault.
phase() {
    local name=$1 format=$2 folder=$3
    rememberUnit
    startUnit || return 1
    timeout 60 ardour7-lua "$here/ardour-formats.lua" "$name" "$format" "$folder" "$work/unit.ctl" \
        "$work/unit.log" >"$work/ardour.log" 2>&1
    local result=$?
    grep -E '^(FAIL|FIGURE)' "$work/ardour.log"
    if [ $result -ne 0 ] || grep -q '^FAIL' "$work/ardour.log"; then
        echo "--- Ardour ($name $format, exit $result):"
        grep -v -E '^(FIGURE|\[WARNING\])' "$work/ardour.log" | tail -20
        echo "--- unit:"
        tail -20 "$work/unit.log"
        echo "--- plug-in:"
        cat "$instanceFolder/GuiSettings.txt" 2>/dev/null
        tail -20 "$HOME/.config/Velmora Audio Works/Morvane/Log.txt" 2>/dev/null
        return 1
    fi
    stopUnit
}

failures=0
scan && phase scan all "$work/sessions/scan" || failures=$((failures + 1))
for format in "${formats[@]}"; do
    phase create "$format" "$work/sessions/$format" || failures=$((failures + 1))
    phase reload "$format" "$work/sessions/$format" || failures=$((failures + 1))
done
# A VST3 session saved by 2.3.10, before the parameters had names of their own.
mkdir -p "$work/sessions/fx"
cp "$here/fixtures/vst3-2.3.10/fx.ardour" "$work/sessions/fx/"
phase restore VST3 "$work/sessions/fx" || failures=$((failures + 1))

[ $failures -eq 0 ] && echo "Ardour: every format passed" || echo "Ardour: $failures failed"
[ $failures -eq 0 ]
