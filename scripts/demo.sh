#!/usr/bin/env bash
# The demo: tessivo on the simulated TV. Builds what is needed, starts a
# private system bus (unless DBUS_SYSTEM_BUS_ADDRESS names one), seeds the
# simulated TV, starts kae-service and watches everything it says on the bus
# with kae-test-console. Ctrl-C stops it all in order: the service says "BYE",
# then the watcher and the bus end.
#
# usage: scripts/demo.sh [--duration SECONDS] [--keep-platform]
#   --duration S     stop by itself after S seconds (for unattended runs)
#   --keep-platform  use the simulated TV in $TESSIVO_PLATFORM_DIR as it is,
#                    without seeding the default TV
# Environment: TESSIVO_TIME_SCALE speeds up the service's timers;
# TESSIVO_LOG_LEVEL filters the service log (default info).
set -euo pipefail
top=$(cd "$(dirname "$0")/.." && pwd)
cd "$top"

duration=0
seed=1
while [ $# -gt 0 ]; do
    case $1 in
        --duration) duration=${2:?--duration needs seconds}; shift 2 ;;
        --keep-platform) seed=0; shift ;;
        -h|--help) sed -n '2,15p' "$0" | sed 's/^# \{0,1\}//'; exit 0 ;;
        *) echo "unknown option $1 (see --help)" >&2; exit 2 ;;
    esac
done

scripts/install-deps.sh
if [ ! -f build/build.ninja ]; then
    cmake --preset default >/dev/null
fi
cmake --build --preset default --target kae-service kae-test-console tessivo-platform >/dev/null
bin=$top/build/bin

work=$(mktemp -d /tmp/tessivo-demo-XXXXXX)
service_pid="" watch_pid="" bus_pid=""

cleanup() {
    trap - INT TERM EXIT
    if [ -n "$service_pid" ] && kill -0 "$service_pid" 2>/dev/null; then
        echo "--- stopping kae-service"
        kill -TERM "$service_pid"
        wait "$service_pid" 2>/dev/null || true
    fi
    # Give the watcher a moment to print the service's goodbye.
    sleep 0.3
    [ -n "$watch_pid" ] && kill -TERM "$watch_pid" 2>/dev/null && wait "$watch_pid" 2>/dev/null || true
    [ -n "$bus_pid" ] && kill -TERM "$bus_pid" 2>/dev/null || true
    echo "--- service log: $work/kae-service.log"
}
trap cleanup EXIT
trap 'exit 0' INT TERM

if [ -z "${DBUS_SYSTEM_BUS_ADDRESS:-}" ]; then
    DBUS_SYSTEM_BUS_ADDRESS=$(scripts/private-bus.sh "$work/bus")
    bus_pid=$(cat "$work/bus/pid")
    echo "--- private system bus: $DBUS_SYSTEM_BUS_ADDRESS"
fi
export DBUS_SYSTEM_BUS_ADDRESS
export TESSIVO_PLATFORM_DIR=${TESSIVO_PLATFORM_DIR:-$work/tv}
export TESSIVO_LOG_LEVEL=${TESSIVO_LOG_LEVEL:-info}

if [ "$seed" -eq 1 ]; then
    "$bin/tessivo-platform" init
fi

# Each in a session of its own, so Ctrl-C reaches this script alone and the
# order of stopping stays ours.
setsid "$bin/kae-test-console" watch &
watch_pid=$!
sleep 0.3
echo "--- starting kae-service (log: $work/kae-service.log)"
setsid "$bin/kae-service" 2> >(trap '' INT TERM; exec tee "$work/kae-service.log" >&2) &
service_pid=$!

if [ "$duration" != 0 ]; then
    sleep "$duration"
else
    wait "$service_pid" || true
fi
