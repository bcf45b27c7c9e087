#!/usr/bin/env bash
# Subscribers that stop reading, measured. The sensing front
# (build/bin/pipeline_service, the radar streaming the default TV's scene),
# or with --full the whole kae-service (clock 20 times as fast, so segment
# mode comes after 15 s), runs on a private bus with one healthy subscriber
# and N subscribers that are stopped (SIGSTOP) after their first result; one
# presence read is made every second. Prints, per second: the results the healthy subscriber got,
# the read's round trip (or its failure), the service's private memory and
# the bus daemon's resident memory; then what the service logged of the
# stuck subscribers.
#
# usage: bench/stuck-subscribers.sh [--stuck N] [--seconds S] [--limit BYTES] [--full]
#   --stuck N      subscribers that stop reading (default 3)
#   --seconds S    how long to measure once they have stopped (default 40)
#   --limit BYTES  the bus's max_incoming_bytes and max_outgoing_bytes per
#                  connection (default: the system bus's own, 127 MB); a
#                  small one (65536) shows in seconds what a backlog does
#   --full         the whole service instead of the sensing front
set -euo pipefail
top=$(cd "$(dirname "$0")/.." && pwd)
cd "$top"

stuck=3
seconds=40
limit=""
service=pipeline_service
while [ $# -gt 0 ]; do
    case $1 in
        --stuck) stuck=${2:?--stuck needs a number}; shift 2 ;;
        --seconds) seconds=${2:?--seconds needs a number}; shift 2 ;;
        --limit) limit=${2:?--limit needs bytes}; shift 2 ;;
        --full) service=kae-service; shift ;;
        -h|--help) sed -n '2,/^set -euo/p' "$0" | grep '^#' | sed 's/^# \{0,1\}//'; exit 0 ;;
        *) echo "unknown option $1 (see --help)" >&2; exit 2 ;;
    esac
done

bin=$top/build/bin
for tool in "$service" kae-test-console tessivo-platform; do
    if [ ! -x "$bin/$tool" ]; then
        echo "$bin/$tool missing: cmake --preset default && cmake --build build" >&2
        exit 1
    fi
done

work=$(mktemp -d /tmp/tessivo-stuck-XXXXXX)
pids=()
stuck_pids=()
cleanup() {
    trap - INT TERM EXIT
    for pid in "${stuck_pids[@]}"; do
        kill -CONT "$pid" 2>/dev/null || true
    done
    for pid in "${pids[@]}"; do
        kill -TERM "$pid" 2>/dev/null && wait "$pid" 2>/dev/null || true
    done
    [ -f "$work/bus/pid" ] && kill -TERM "$(cat "$work/bus/pid")" 2>/dev/null || true
    rm -rf "$work"
}
trap cleanup EXIT INT TERM

extra=""
if [ -n "$limit" ]; then
    extra="<limit name=\"max_incoming_bytes\">$limit</limit>"
    extra+="<limit name=\"max_outgoing_bytes\">$limit</limit>"
fi
DBUS_SYSTEM_BUS_ADDRESS=$(scripts/private-bus.sh "$work/bus" "$extra")
export DBUS_SYSTEM_BUS_ADDRESS
export TESSIVO_PLATFORM_DIR=$work/tv
export TESSIVO_LOG_LEVEL=info
export TESSIVO_TIME_SCALE=20
"$bin/tessivo-platform" init >/dev/null

"$bin/$service" 2>"$work/service.log" &
service_pid=$!
pids+=("$service_pid")
for _ in $(seq 100); do
    grep -q "OnNameAcquired" "$work/service.log" && break
    sleep 0.05
done

"$bin/kae-test-console" subscribe --json >"$work/healthy.out" 2>/dev/null &
pids+=($!)
for i in $(seq "$stuck"); do
    "$bin/kae-test-console" subscribe --json >"$work/stuck$i.out" 2>/dev/null &
    pids+=($!)
    stuck_pids+=($!)
done
for i in $(seq "$stuck"); do
    for _ in $(seq 600); do
        [ -s "$work/stuck$i.out" ] && break
        sleep 0.05
    done
    kill -STOP "${stuck_pids[$((i - 1))]}"
done

private_kb() {
    awk '/^Private_(Clean|Dirty):/ {s += $2} END {print s}' "/proc/$1/smaps_rollup"
}
rss_kb() {
    awk '/^VmRSS:/ {print $2}' "/proc/$1/status"
}

echo "$service, stuck subscribers: $stuck, bus limit per connection: ${limit:-default}"
echo "second results read_ms service_private_kB daemon_rss_kB"
bus_pid=$(cat "$work/bus/pid")
previous=$(wc -l <"$work/healthy.out")
start=$(date +%s%N)
for second in $(seq "$seconds"); do
    before=$(date +%s%N)
    if "$bin/kae-test-console" read presence --timeout 2000 >/dev/null 2>&1; then
        read_ms=$(( ($(date +%s%N) - before) / 1000000 ))
    else
        read_ms=failed
    fi
    # Keep to one line a second whatever the read took.
    next=$(( start + second * 1000000000 ))
    now=$(date +%s%N)
    if [ "$now" -lt "$next" ]; then
        sleep "$(printf '0.%09d' $(( next - now )))"
    fi
    current=$(wc -l <"$work/healthy.out")
    echo "$second $(( current - previous )) $read_ms $(private_kb "$service_pid") $(rss_kb "$bus_pid")"
    previous=$current
done
echo "--- the service on the stuck subscribers:"
grep -E "read nothing for|left the bus|no response" "$work/service.log" | sed -e 's/^.*> //' -e 's/\x1b\[[0-9;]*m//g' || true
