#!/usr/bin/env bash
# The demo: tessivo on the simulated TV. Builds what is needed, starts a
# private system bus (unless DBUS_SYSTEM_BUS_ADDRESS names one), seeds the
# simulated TV (people walking in front of it), starts kae-service, the
# viewer (open the page it prints: the room from above, live) and two
# kae-test-console clients: one watching the service's broadcasts and one
# reading the presence distance every second. The viewer holds segment mode
# once the service's boot period (300 s of service time) is over: the radar
# streams and the tracks follow on the page, ten a second. The terminal
# shows the clients; the service's log goes to a file named at the start.
# Ctrl-C stops it all in order: the service says "BYE", then the clients and
# the bus end.
#
# usage: scripts/demo.sh [--duration SECONDS] [--keep-platform] [--listen ADDRESS:PORT]
#   --duration S     stop by itself after S seconds (for unattended runs)
#   --keep-platform  use the simulated TV in $TESSIVO_PLATFORM_DIR as it is,
#                    without seeding the default TV
#   --listen A:P     where the viewer serves its page (default 127.0.0.1:8090)
# Environment: TESSIVO_TIME_SCALE speeds up the service's timers (default 20
# here: the boot period takes 15 s); TESSIVO_LOG_LEVEL filters the service
# log (default info).
set -euo pipefail
top=$(cd "$(dirname "$0")/.." && pwd)
cd "$top"

duration=0
seed=1
listen=127.0.0.1:8090

fail() {
    echo "demo: $*" >&2
    exit 1
}
while [ $# -gt 0 ]; do
    case $1 in
        --duration) duration=${2:?--duration needs seconds}; shift 2 ;;
        --keep-platform) seed=0; shift ;;
        --listen) listen=${2:?--listen needs ADDRESS:PORT}; shift 2 ;;
        -h|--help) sed -n '2,/^set -euo/p' "$0" | grep '^#' | sed 's/^# \{0,1\}//'; exit 0 ;;
        *) echo "unknown option $1 (see --help)" >&2; exit 2 ;;
    esac
done

scripts/install-deps.sh
if [ ! -f build/build.ninja ]; then
    cmake --preset default >/dev/null
fi
work=$(mktemp -d /tmp/tessivo-demo-XXXXXX)
if ! cmake --build --preset default --target kae-service kae-test-console tessivo-platform \
        tessivo-viewer >"$work/build.log" 2>&1; then
    tail -n 30 "$work/build.log" >&2
    fail "the build failed (whole log: $work/build.log)"
fi
bin=$top/build/bin
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
    DBUS_SYSTEM_BUS_ADDRESS=$(scripts/private-bus.sh "$work/bus") ||
        fail "cannot start a private system bus"
    bus_pid=$(cat "$work/bus/pid")
fi
export DBUS_SYSTEM_BUS_ADDRESS
gdbus call --system --dest org.freedesktop.DBus --object-path /org/freedesktop/DBus \
    --method org.freedesktop.DBus.GetId >/dev/null 2>"$work/bus.err" ||
    fail "the system bus at $DBUS_SYSTEM_BUS_ADDRESS cannot be reached: $(cat "$work/bus.err")"
export TESSIVO_PLATFORM_DIR=${TESSIVO_PLATFORM_DIR:-$work/tv}
export TESSIVO_LOG_LEVEL=${TESSIVO_LOG_LEVEL:-info}
export TESSIVO_TIME_SCALE=${TESSIVO_TIME_SCALE:-20}

if [ "$seed" -eq 1 ]; then
    "$bin/tessivo-platform" init >/dev/null || fail "cannot seed the simulated TV"
fi

# Each in a session of its own, so Ctrl-C reaches this script alone and the
# order of stopping stays ours.
setsid "$bin/kae-test-console" watch &
watch_pid=$!
sleep 0.3
echo "--- kae-service log: $work/kae-service.log (clock ${TESSIVO_TIME_SCALE}x)"
setsid "$bin/kae-service" 2>"$work/kae-service.log" &
service_pid=$!
# The clients start once the service answers, so they begin with its first
# reading; a service that ends or never takes its name stops the demo.
serving=0
for _ in $(seq 100); do
    kill -0 "$service_pid" 2>/dev/null || break
    if "$bin/kae-test-console" enable >/dev/null 2>&1; then serving=1; break; fi
    sleep 0.1
done
if [ "$serving" -ne 1 ]; then
    tail -n 5 "$work/kae-service.log" >&2
    fail "kae-service did not take its name on the bus (log: $work/kae-service.log)"
fi
setsid "$bin/tessivo-viewer" --listen "$listen" --hold >"$work/viewer.out" 2>"$work/viewer.err" &
client_pids="$!"
for _ in $(seq 100); do
    grep -q '^page: ' "$work/viewer.out" 2>/dev/null && break
    kill -0 "$client_pids" 2>/dev/null || break
    sleep 0.1
done
grep -q '^page: ' "$work/viewer.out" ||
    fail "tessivo-viewer did not start: $(cat "$work/viewer.err")"
echo "--- open the room: $(sed -n 's/^page: //p' "$work/viewer.out")"
echo "--- other terminals: export DBUS_SYSTEM_BUS_ADDRESS='$DBUS_SYSTEM_BUS_ADDRESS' TESSIVO_PLATFORM_DIR='$TESSIVO_PLATFORM_DIR'"
setsid "$bin/kae-test-console" read distance --every 1000 &
client_pids="$client_pids $!"

if [ "$duration" != 0 ]; then
    # In the background and waited for: a TERM or Ctrl-C ends the demo at
    # once instead of after the sleep.
    sleep "$duration" &
    wait $! || true
else
    wait "$service_pid" || true
fi
