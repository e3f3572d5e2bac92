#!/usr/bin/env bash
# The main job: the Standalone Morvane with its real front panel, on a private studio network with
# a simulated unit whose gain reduction moves and whose panel is turned now and then. The program
# finds the unit by broadcast with nothing stored (a temporary home), as on a first start.
#
#   Tools/main-job.sh [-b BUILD] [-o SHOTS] [-t SECONDS] [--stay]
#     -b BUILD     the build folder (default: build)
#     -o SHOTS     where the screenshots go (default: BUILD/main-job-shots)
#     -t SECONDS   how long the window stays open (default: 20)
#     --stay       stays open until the window is closed or Ctrl-C
#
# With a display (DISPLAY set and reachable) the window opens there. Without one the job runs
# its own Xvfb and takes screenshots of the search, the panel connected, dual mono and the preset
# view. The program runs inside the network's computer namespace, so nothing reaches this
# machine's own interfaces; everything made in /tmp is removed at the end, also after an error
# or Ctrl-C. Needs root (the namespaces).
set -euo pipefail
here="$(cd "$(dirname "$0")/.." && pwd)"
if [ "$(id -u)" -ne 0 ]; then
    exec sudo -E "$0" "$@"
fi

build="$here/build"
shots=""
seconds=20
stay=0
while [ $# -gt 0 ]; do
    case $1 in
        -b) build=$(cd "$2" && pwd); shift 2 ;;
        -o) shots=$2; shift 2 ;;
        -t) seconds=$2; shift 2 ;;
        --stay) stay=1; shift ;;
        *) sed -n '5,9p' "$0" >&2; exit 2 ;;
    esac
done
[ -n "$shots" ] || shots="$build/main-job-shots"

program="$build/Morvane_artefacts/Release/Standalone/Morvane"
unitProgram="$build/Tools/MorvaneUnit/morvane-unit"
window="$build/Tools/WindowShot/morvane-window"
for f in "$program" "$unitProgram" "$window"; do
    [ -x "$f" ] || { echo "main job: $f is missing (build first: Tools/build.sh)" >&2; exit 1; }
done

started=$(date +%s.%N)
say() { printf '[%6.2f s] %s\n' "$(awk -v a="$started" -v b="$(date +%s.%N)" 'BEGIN { print b - a }')" "$*"; }

work=$(mktemp -d /tmp/morvane-main-XXXXXX)
prefix="mj$$"
host="$prefix-host"
net="$work/net"
home="$work/home"
programPid=""
xvfbPid=""
turnerPid=""

finish() {
    local status=$?
    trap - EXIT INT TERM
    set +e # every step of the clean-up runs, whatever the one before it did
    [ -n "$turnerPid" ] && kill "$turnerPid" 2>/dev/null
    if [ -n "$programPid" ] && kill -0 "$programPid" 2>/dev/null; then
        kill -INT "$programPid" 2>/dev/null # the framework's own way to quit
        for _ in $(seq 1 50); do kill -0 "$programPid" 2>/dev/null || break; sleep 0.1; done
        kill -KILL "$programPid" 2>/dev/null
    fi
    if [ -n "$xvfbPid" ]; then
        kill "$xvfbPid" 2>/dev/null
        for _ in $(seq 1 30); do kill -0 "$xvfbPid" 2>/dev/null || break; sleep 0.1; done
        kill -KILL "$xvfbPid" 2>/dev/null
    fi
    wait 2>/dev/null
    "$here/Tools/studio-net/studio-net.sh" down -p "$prefix" -d "$net" >/dev/null 2>&1
    rm -rf "$work"
    exit "$status"
}
trap finish EXIT
trap 'exit 130' INT TERM

# The program gets a home of its own, so the display's key is named where it lies.
xauthority="${XAUTHORITY:-${HOME:-/root}/.Xauthority}"
unit() { echo "$*" > "$net/u1.ctl"; }
inComputer() { ip netns exec "$host" env DISPLAY="$display" XAUTHORITY="$xauthority" "$@"; }

# The network and its unit: a sine on the gain reduction, a few knobs off their middle.
"$here/Tools/studio-net/studio-net.sh" up -n 1 -p "$prefix" -b "$unitProgram" -d "$net" \
    -a "--no-datagram-log --serial MORVAN0042" >/dev/null
say "studio network $prefix: computer 10.77.0.1, unit MORVAN0042 at 10.77.0.11 (its web page: http://10.77.0.11/ from the computer)"
for line in "program sine" "mode 4" "set 3 700" "set 8 420" "set 12 85"; do unit "$line"; done

# The display: the user's if it answers from inside the computer, else our own Xvfb there.
display="${DISPLAY:-}"
headless=1
if [ -n "$display" ] && inComputer "$window" probe; then
    headless=0
    say "display $display: the window opens there"
else
    source "$here/Tools/xvfb.sh"
    startXvfb "$work/xvfb.log" ip netns exec "$host" ||
        { cat "$work/xvfb.log" >&2; echo "main job: Xvfb did not start" >&2; exit 1; }
    xvfbPid=$XVFB_PID
    display=$XVFB_DISPLAY
    say "no display: Xvfb $display, screenshots into $shots"
    mkdir -p "$shots"
    rm -f "$shots"/main-*.png
    unit "vanish" # off the network for the first moments, so that the search shows
fi

# A temporary home with the factory presets: nothing stored, as on a first start.
mkdir -p "$home/presets"
cp -r "$here/Resources/Presets/." "$home/presets/"
ip netns exec "$host" env DISPLAY="$display" XAUTHORITY="$xauthority" HOME="$home" Home="$home" \
    MORVANE_PRESET_ROOT="$home/presets" "$program" >"$work/program.log" 2>&1 &
programPid=$!
inComputer "$window" wait Morvane 30 || { cat "$work/program.log" >&2; exit 1; }
opened=$(date +%s)
say "the Standalone Morvane is open (pid $programPid), searching the network"

shot() {
    local name=$1 what=$2
    if inComputer "$window" shot Morvane "$shots/$name"; then
        say "screenshot $shots/$name: $what"
    else
        say "no screenshot of $what"
    fi
}
# Waits up to $1 seconds for the window's height to be $2 (=) or to leave it (!=).
waitHeight() {
    local limit=$1 test=$2 height=$3
    for _ in $(seq 1 $((limit * 10))); do
        [ "$(inComputer "$window" size Morvane | cut -d' ' -f2)" "$test" "$height" ] && return 0
        sleep 0.1
    done
    return 1
}
connectedWithin() {
    for _ in $(seq 1 $(($1 * 10))); do
        grep -q "GET /info" "$net/u1.log" 2>/dev/null && return 0
        sleep 0.1
    done
    return 1
}

if [ "$headless" -eq 1 ]; then
    sleep 0.6
    shot main-1-search.png "searching for the unit"
    unit "return"
fi
connectedWithin 30 || { say "the unit was not found within 30 s"; exit 1; }
say "found the unit by broadcast and connected: $(grep -c 'REQUEST' "$net/u1.log") requests so far"

if [ "$headless" -eq 1 ]; then
    sleep 2.5 # the pictures decode, and the panel takes every knob from the unit
    height=$(inComputer "$window" size Morvane | cut -d' ' -f2)
    unit "turn 2 200 600"
    sleep 0.7
    shot main-2-panel.png "the front panel connected, the unit's hand on Input L"
    unit "release 2"
    # The unit's channel switch, turned by hand: the held mode row makes the plug-in follow.
    unit "dual on"
    unit "touch 10"
    waitHeight 10 != "$height" || say "the window did not change to dual mono"
    unit "release 10"
    sleep 1.5
    shot main-3-dual-mono.png "dual mono, switched on the unit"
    unit "dual off"
    unit "touch 10"
    waitHeight 10 = "$height" || say "the window did not come back to stereo"
    unit "release 10"
    sleep 1
    # "Presets" is at (844, 16) of the panel (880 x 240 at the default size), which sits in the
    # window's frame below the framework's title bar.
    width=$(inComputer "$window" size Morvane | cut -d' ' -f1)
    border=$(((width - 880) / 2))
    top=$((height - border - 240))
    inComputer "$window" click Morvane $((border + 844)) $((top + 16))
    sleep 1.5
    inComputer "$window" click Morvane $((border + 60)) $((top + 53)) # the folder "Factory"
    sleep 1
    shot main-4-presets.png "the preset view"
    inComputer "$window" click Morvane $((border + 844)) $((top + 16)) # "Home", where "Presets" was
fi

# A hand on the unit's panel now and then: a knob glides to a value and back the next time.
(
    rows=(2 3 8 12 0)
    tops=(1023 1023 600 100 500)
    values=(300 900 150 40 250)
    for i in $(seq 0 1000); do
        sleep 3
        k=$((i % 5))
        unit "turn ${rows[k]} ${values[k]} 900"
        sleep 1.6
        unit "release all"
        values[k]=$((tops[k] - values[k]))
    done
) &
turnerPid=$!

while [ "$stay" -eq 1 ] || [ $(($(date +%s) - opened)) -lt "$seconds" ]; do
    kill -0 "$programPid" 2>/dev/null || { say "the window was closed"; break; }
    sleep 0.5
done
say "closing after $(($(date +%s) - opened)) s; the unit got $(grep -c 'KNOB' "$net/u1.log") knob moves"
[ "$headless" -eq 0 ] || say "screenshots in $shots"
