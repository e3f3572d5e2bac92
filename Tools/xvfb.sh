# Sourced by the scripts that run a program under a private X server:
#   source Tools/xvfb.sh; startXvfb LOGFILE [COMMAND-PREFIX...]
# starts Xvfb (1280 x 1024, no TCP) on a free display from :120 up and sets XVFB_PID and
# XVFB_DISPLAY; returns 1 when none starts. The low numbers stay free: the framework connects a
# program without DISPLAY to :0, and such a program must not meet our server there and lose it
# when we stop. COMMAND-PREFIX runs Xvfb in another namespace (ip netns exec NAME).
startXvfb() {
    local log=$1 n
    shift
    XVFB_PID=""
    XVFB_DISPLAY=""
    for n in $(seq 120 160); do
        [ -e "/tmp/.X$n-lock" ] || [ -e "/tmp/.X11-unix/X$n" ] && continue
        "$@" Xvfb ":$n" -screen 0 1280x1024x24 -nolisten tcp >>"$log" 2>&1 &
        XVFB_PID=$!
        for _ in $(seq 1 50); do
            [ -S "/tmp/.X11-unix/X$n" ] && { XVFB_DISPLAY=":$n"; return 0; }
            kill -0 "$XVFB_PID" 2>/dev/null || break # another server took the number first
            sleep 0.1
        done
        kill "$XVFB_PID" 2>/dev/null
        wait "$XVFB_PID" 2>/dev/null
        XVFB_PID=""
    done
    return 1
}
