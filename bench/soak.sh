#!/usr/bin/env bash
# The whole service for a long while, its memory measured. kae-service runs
# on a private bus with the simulated TV at a fast clock (20 times as fast
# by default, so an hour is most of a day of the TV's time: boot period,
# timers, mode changes over and over), with two subscribers that stay, one
# that subscribes for a few seconds and leaves again and again, a presence
# read twice a second, and the application in front changing every 20 s
# (the TV viewer, a streaming app, the KIV app). Prints the service's
# private memory and resident set every --every seconds, and at the end the
# memory at the start, after the warm-up and at the end, with the growth
# per hour after the warm-up.
#
# usage: bench/soak.sh [--seconds S] [--warmup S] [--every S] [--scale X]
#   --seconds S   how long, in real time (default 3600)
#   --warmup S    the first seconds that do not count for growth (default 300)
#   --every S     seconds between two samples (default 60)
#   --scale X     how much faster the service's clock runs (default 20)
set -euo pipefail
top=$(cd "$(dirname "$0")/.." && pwd)
cd "$top"

seconds=3600
warmup=300
every=60
scale=20
while [ $# -gt 0 ]; do
    case $1 in
        --seconds) seconds=${2:?--seconds needs a number}; shift 2 ;;
        --warmup) warmup=${2:?--warmup needs a number}; shift 2 ;;
        --every) every=${2:?--every needs a number}; shift 2 ;;
        --scale) scale=${2:?--scale needs a number}; shift 2 ;;
        -h|--help) sed -n '2,/^set -euo/p' "$0" | grep '^#' | sed 's/^# \{0,1\}//'; exit 0 ;;
        *) echo "unknown option $1 (see --help)" >&2; exit 2 ;;
    esac
done
if [ "$warmup" -ge "$seconds" ]; then
    echo "--warmup must be shorter than --seconds" >&2
    exit 2
fi

bin=$top/build/bin
# shellcheck source=bench/service-run.sh
. "$top/bench/service-run.sh"
service_run_setup soak kae-service kae-test-console tessivo-platform
service_run_start kae-service "$scale"

for i in 1 2; do
    "$bin/kae-test-console" subscribe --json >/dev/null 2>&1 &
    pids+=($!)
done
"$bin/kae-test-console" read distance --every 500 >/dev/null 2>&1 &
pids+=($!)
# One that comes and goes: a subscription of 30 results, then a pause.
(
    while kill -0 "$service_pid" 2>/dev/null; do
        "$bin/kae-test-console" subscribe --count 30 >/dev/null 2>&1 || true
        sleep 5
    done
) &
pids+=($!)
(
    apps=(org.tizen.tv-viewer org.tizen.netflix-app org.tizen.tv-viewer org.tizen.kiv-app)
    i=0
    while kill -0 "$service_pid" 2>/dev/null; do
        sleep 20
        app=${apps[$((i % ${#apps[@]}))]}
        "$bin/tessivo-platform" dsf publish P/App/Change \
            "{\"EventType\":\"Launch\",\"AppId\":\"$app\"}" >/dev/null 2>&1 || true
        i=$((i + 1))
    done
) &
pids+=($!)

echo "kae-service for $seconds s at $scale times the clock; warm-up $warmup s"
echo "second private_kB rss_kB"
start=$(date +%s)
first_private=$(private_kb "$service_pid")
first_rss=$(rss_kb "$service_pid")
echo "0 $first_private $first_rss"
warm_private=""
warm_rss=""
last_private=$first_private
last_rss=$first_rss
second=0
while [ "$second" -lt "$seconds" ]; do
    step=$(( every < seconds - second ? every : seconds - second ))
    sleep "$step"
    second=$(( $(date +%s) - start ))
    if ! kill -0 "$service_pid" 2>/dev/null; then
        echo "the service ended after $second s; its log: $work/service.log" >&2
        trap - EXIT
        exit 1
    fi
    last_private=$(private_kb "$service_pid")
    last_rss=$(rss_kb "$service_pid")
    echo "$second $last_private $last_rss"
    if [ -z "$warm_private" ] && [ "$second" -ge "$warmup" ]; then
        warm_private=$last_private
        warm_rss=$last_rss
        warm_second=$second
    fi
done

echo "--- memory (kB): start, after the warm-up ($warm_second s), end ($second s)"
echo "private: $first_private $warm_private $last_private"
echo "rss:     $first_rss $warm_rss $last_rss"
awk -v a="$warm_private" -v b="$last_private" -v t="$(( second - warm_second ))" \
    'BEGIN { printf "private growth after the warm-up: %+d kB (%+.1f kB an hour)\n", b - a, (t > 0) ? (b - a) * 3600 / t : 0 }'
echo "mode changes: $(grep -c 'Mode Changed!' "$work/service.log" || true) ($(grep -c 'Mode Changed! Presence->Segment' "$work/service.log" || true) into segment mode)"
