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
# shellcheck source=bench/service-run.sh
. "$top/bench/service-run.sh"
service_run_setup stuck "$service" kae-test-console tessivo-platform

extra=""
if [ -n "$limit" ]; then
    extra="<limit name=\"max_incoming_bytes\">$limit</limit>"
    extra+="<limit name=\"max_outgoing_bytes\">$limit</limit>"
fi
service_run_start "$service" 20 "$extra"

"$bin/kae-test-console" subscribe --json >"$work/healthy.out" 2>/dev/null &
pids+=($!)
for i in $(seq "$stuck"); do
    "$bin/kae-test-console" subscribe --json >"$work/stuck$i.out" 2>/dev/null &
    pids+=($!)
    stopped_pids+=($!)
done
for i in $(seq "$stuck"); do
    for _ in $(seq 600); do
        [ -s "$work/stuck$i.out" ] && break
        sleep 0.05
    done
    kill -STOP "${stopped_pids[$((i - 1))]}"
done

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
