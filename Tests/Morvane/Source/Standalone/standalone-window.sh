#!/usr/bin/env bash
# The Standalone as a controller, as a person meets it under Xvfb: its window carries the
# product's title and icon, opens without the framework's muted-input bar (the panel and the
# title bar only), keeps its settings in its instance folder below <home>, and comes back where
# it was left.
#
#   standalone-window.sh STANDALONE MORVANE-WINDOW
# Exit 0 when all holds, 1 on a failure, 77 (skipped) without root or Xvfb.
set -u
program=$1
window=$2

if [ -z "${MORVANE_OWN_NETWORK:-}" ]; then
    # The program searches its unit by broadcast: a network of its own, loopback only.
    if [ "$(id -u)" -ne 0 ] || ! command -v Xvfb >/dev/null; then
        echo "needs root and Xvfb"
        [ "${CI:-}" = true ] && exit 1
        exit 77
    fi
    exec env MORVANE_OWN_NETWORK=1 unshare --net bash -c 'ip link set lo up && exec "$0" "$@"' "$0" "$@"
fi

work=$(mktemp -d /tmp/morvane-standalone-XXXXXX)
xvfb=""
pid=""
failures=0
cleanUp() {
    [ -n "$pid" ] && kill -KILL "$pid" 2>/dev/null
    [ -n "$xvfb" ] && kill "$xvfb" 2>/dev/null && wait "$xvfb" 2>/dev/null
    rm -rf "$work"
}
trap cleanUp EXIT
trap 'exit 1' INT TERM

fail() { echo "FAILED: $*"; failures=$((failures + 1)); }

source "$(dirname "$0")/../../../../Tools/xvfb.sh"
startXvfb "$work/xvfb.log" || { cat "$work/xvfb.log"; echo "Xvfb did not start"; [ "${CI:-}" = true ] && exit 1; exit 77; }
xvfb=$XVFB_PID
export DISPLAY="$XVFB_DISPLAY" HOME="$work/home" Home="$work/home"
mkdir -p "$HOME"
settings="$HOME/.config/Velmora Audio Works/Morvane/1/Standalone.settings"

start() {
    "$program" >>"$work/program.log" 2>&1 &
    pid=$!
    "$window" wait Morvane 30 || { cat "$work/program.log"; fail "no window titled Morvane"; exit 1; }
    sleep 0.5
}
quit() {
    kill -INT "$pid"
    for _ in $(seq 1 100); do kill -0 "$pid" 2>/dev/null || break; sleep 0.1; done
    kill -0 "$pid" 2>/dev/null && fail "the program did not quit on SIGINT"
    wait "$pid" 2>/dev/null
    pid=""
}

start
read -r width height < <("$window" size Morvane)
# The panel is 880 x 240 at the default size; the framework's title bar and frame add 28 rows,
# its muted-input bar would add 30 more.
[ "$width" = 882 ] || fail "window width $width, not the panel's 880 and a frame"
[ "$height" -le 270 ] || fail "window height $height: more than the panel and the title bar (the muted-input bar?)"
read -r iconWidth iconHeight < <("$window" icon Morvane)
[ "$iconWidth" = 256 ] && [ "$iconHeight" = 256 ] || fail "icon $iconWidth x $iconHeight, not the product's 256 x 256"
if ls -l "/proc/$pid/fd" 2>/dev/null | grep -q "/dev/snd/"; then fail "an audio device is open"; fi
quit

[ -f "$settings" ] || fail "no settings in the instance folder ($settings)"
grep -q 'name="windowX"' "$settings" || fail "the window position was not kept"
[ -f "$HOME/.config/Morvane.settings" ] && fail "settings written outside the instance folder"

# Put where a user left it, it comes back there.
sed -i -e 's/name="windowX" val="[-0-9]*"/name="windowX" val="123"/' \
    -e 's/name="windowY" val="[-0-9]*"/name="windowY" val="77"/' "$settings"
start
read -r x y < <("$window" where Morvane)
[ "$x $y" = "123 77" ] || fail "window at $x $y, not where it was left (123 77)"
quit

[ "$failures" -eq 0 ] && echo "Standalone window: all holds"
[ "$failures" -eq 0 ]
