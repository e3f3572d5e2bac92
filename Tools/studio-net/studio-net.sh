#!/usr/bin/env bash
# studio-net.sh: a private studio network of network namespaces on this machine, with simulated
# Morvane units in it. Needs root. Nothing is attached to the machine's own interfaces: the bridge
# lives in a namespace of its own, and every link is a veth pair between namespaces of the run.
#
#   studio-net.sh run  [-n UNITS] [-p PREFIX] [-b BINARY] [-d DIR] [-a "UNIT ARGS"] [-- COMMAND ...]
#       build the network, start the units, run COMMAND in the computer's namespace (without a
#       COMMAND: wait for Ctrl-C), then tear everything down, also on error or signal.
#   studio-net.sh up   [same options, no COMMAND]   build and start, leave it running
#   studio-net.sh down -p PREFIX [-d DIR]           stop the units of that run, remove its namespaces
#
# Layout, subnet 10.77.0.0/24 (private to the run, so two runs never meet):
#   PREFIX-sw     the switch: bridge br0 and one veth end per namespace
#   PREFIX-host   the computer that runs the plug-in: 10.77.0.1 on eth0
#   PREFIX-uK     unit K (1..80): 10.77.0.(10+K) on eth0, and 10.77.0.(100+K) as the sender of
#                 the fault "foreign"; morvane-unit runs there on port 80 with status port 7001,
#                 serial MORVAN0001 + K - 1, log DIR/uK.log, line commands through the pipe DIR/uK.ctl
#                 (echo "turn 2 800 1000" > DIR/uK.ctl).
# Defaults: UNITS 2, PREFIX sn<pid>, BINARY $MORVANE_UNIT or morvane-unit on the PATH,
# DIR /tmp/studio-net-PREFIX.
set -u

subnet=10.77.0
units=2
prefix="sn$$"
binary="${MORVANE_UNIT:-morvane-unit}"
dir=""
unitArgs=""

die() { echo "studio-net: $*" >&2; exit 1; }

netnsOf() { echo "$prefix-$1"; }

# Links namespace $1 to the switch as port $2, with address $3 (and optional second address $4).
attach() {
    local ns=$1 port=$2 address=$3 extra=${4:-}
    ip netns add "$ns" || return 1
    ip -n "$prefix-sw" link add "$port" type veth peer name eth0 netns "$ns" || return 1
    ip -n "$prefix-sw" link set "$port" master br0 up || return 1
    ip -n "$ns" link set lo up || return 1
    ip -n "$ns" addr add "$address/24" broadcast "$subnet.255" dev eth0 || return 1
    if [ -n "$extra" ]; then
        ip -n "$ns" addr add "$extra/24" dev eth0 || return 1
    fi
    ip -n "$ns" link set eth0 up
}

build() {
    [ "$(id -u)" = 0 ] || die "needs root"
    [ "$units" -ge 1 ] && [ "$units" -le 80 ] || die "1 to 80 units"
    ip netns add "$prefix-sw" || die "cannot make namespace $prefix-sw"
    ip -n "$prefix-sw" link add br0 type bridge || return 1
    ip -n "$prefix-sw" link set br0 up || return 1
    attach "$prefix-host" host "$subnet.1" || return 1
    for k in $(seq 1 "$units"); do
        attach "$(netnsOf "u$k")" "u$k" "$subnet.$((10 + k))" "$subnet.$((100 + k))" || return 1
    done
}

startUnits() {
    mkdir -p "$dir" || return 1
    : > "$dir/pids"
    for k in $(seq 1 "$units"); do
        # shellcheck disable=SC2086
        ip netns exec "$(netnsOf "u$k")" "$binary" --address "$subnet.$((10 + k))" \
            --foreign-address "$subnet.$((100 + k))" --http-port 80 --status-port 7001 \
            --serial "$(printf 'MORVAN%04d' "$k")" --log "$dir/u$k.log" --control "$dir/u$k.ctl" \
            $unitArgs < /dev/null > "$dir/u$k.out" 2>&1 &
        echo $! >> "$dir/pids"
    done
    # Each unit is up when it has logged its start.
    for k in $(seq 1 "$units"); do
        for _ in $(seq 1 50); do
            grep -q " START " "$dir/u$k.log" 2>/dev/null && break
            sleep 0.1
        done
        grep -q " START " "$dir/u$k.log" 2>/dev/null || { cat "$dir/u$k.out" >&2; return 1; }
    done
    echo "studio-net $prefix: computer $subnet.1 in $prefix-host, units $subnet.11..$subnet.$((10 + units)), logs in $dir"
}

teardown() {
    if [ -f "$dir/pids" ]; then
        for pid in $(cat "$dir/pids"); do kill "$pid" 2>/dev/null; done
        for pid in $(cat "$dir/pids"); do
            for _ in $(seq 1 30); do kill -0 "$pid" 2>/dev/null || break; sleep 0.1; done
            kill -9 "$pid" 2>/dev/null
        done
        rm -f "$dir/pids"
    fi
    for ns in $(ip netns list | awk '{print $1}' | grep -E "^$prefix-(sw|host|u[0-9]+)$"); do
        ip netns del "$ns"
    done
}

mode=${1:-}
[ -n "$mode" ] || { sed -n '2,22p' "$0"; exit 2; }
shift
while [ $# -gt 0 ]; do
    case $1 in
        -n) units=$2; shift 2 ;;
        -p) prefix=$2; shift 2 ;;
        -b) binary=$2; shift 2 ;;
        -d) dir=$2; shift 2 ;;
        -a) unitArgs=$2; shift 2 ;;
        --) shift; break ;;
        *) die "unknown option $1" ;;
    esac
done
[ -n "$dir" ] || dir="/tmp/studio-net-$prefix"

case $mode in
    run)
        trap teardown EXIT
        trap 'exit 130' INT TERM
        build || die "cannot build the network"
        startUnits || die "units did not start"
        if [ $# -gt 0 ]; then
            ip netns exec "$prefix-host" "$@"
            exit $?
        fi
        echo "Ctrl-C ends it"
        while :; do sleep 1; done
        ;;
    up)
        build || { teardown; die "cannot build the network"; }
        startUnits || { teardown; die "units did not start"; }
        echo "ip netns exec $prefix-host COMMAND   runs a command on the computer; studio-net.sh down -p $prefix ends it"
        ;;
    down)
        teardown
        ;;
    *)
        die "run, up or down"
        ;;
esac
