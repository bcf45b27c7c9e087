#!/usr/bin/env bash
# The demo: tessivo on the simulated TV. Builds what is needed, starts a
# private system bus (unless DBUS_SYSTEM_BUS_ADDRESS names one), seeds the
# simulated TV (people walking in front of it), starts kae-service and three
# kae-test-console clients: one watching the service's broadcasts, one reading
# the presence distance every second and one subscribed to the tracks. The
# service first stays in presence mode for its boot period (300 s of service
# time), so only presence values show; then the subscription takes it to
# segment mode, the radar streams and the tracks follow, ten a second.
# Ctrl-C stops it all in order: the service says "BYE", then the clients and
# the bus end.
#
# usage: scripts/demo.sh [--duration SECONDS] [--keep-platform]
#   --duration S     stop by itself after S seconds (for unattended runs)
#   --keep-platform  use the simulated TV in $TESSIVO_PLATFORM_DIR as it is,
#                    without seeding the default TV
# Environment: TESSIVO_TIME_SCALE speeds up the service's timers (default 20
# here: the boot period takes 15 s); TESSIVO_LOG_LEVEL filters the service
# log (default info).
set -euo pipefail
top=$(cd "$(dirname "$0")/.." && pwd)
cd "$top"

duration=0
seed=1
while [ $# -gt 0 ]; do
    case $1 in
        --duration) duration=${2:?--duration needs seconds}; shift 2 ;;
        --keep-platform) seed=0; shift ;;
        -h|--help) sed -n '2,/^set -euo/p' "$0" | grep '^#' | sed 's/^# \{0,1\}//'; exit 0 ;;
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
service_pid="" watch_pid="" client_pids="" bus_pid=""

cleanup() {
    trap - INT TERM EXIT
    if [ -n "$service_pid" ] && kill -0 "$service_pid" 2>/dev/null; then
        echo "--- stopping kae-service"
        kill -TERM "$service_pid"
        wait "$service_pid" 2>/dev/null || true
    fi
    # Give the watcher a moment to print the service's goodbye.
    sleep 0.3
    for pid in $client_pids $watch_pid; do
        kill -TERM "$pid" 2>/dev/null && wait "$pid" 2>/dev/null || true
    done
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
export TESSIVO_TIME_SCALE=${TESSIVO_TIME_SCALE:-20}

if [ "$seed" -eq 1 ]; then
    "$bin/tessivo-platform" init
fi

# Each in a session of its own, so Ctrl-C reaches this script alone and the
# order of stopping stays ours.
setsid "$bin/kae-test-console" watch &
watch_pid=$!
sleep 0.3
echo "--- starting kae-service (log: $work/kae-service.log), clock ${TESSIVO_TIME_SCALE}x"
setsid "$bin/kae-service" 2> >(trap '' INT TERM; exec tee "$work/kae-service.log" >&2) &
service_pid=$!
# The clients start once the service answers, so they begin with its first
# reading.
for _ in $(seq 100); do
    "$bin/kae-test-console" enable >/dev/null 2>&1 && break
    sleep 0.1
done
setsid "$bin/kae-test-console" read distance --every 1000 &
client_pids="$!"
setsid "$bin/kae-test-console" subscribe &
client_pids="$client_pids $!"

if [ "$duration" != 0 ]; then
    sleep "$duration"
else
    wait "$service_pid" || true
fi
