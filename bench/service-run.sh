# Sourced by the bench scripts that run the service on a private bus with
# the simulated TV: the tools' check, a scratch folder cleaned up on exit
# (processes in `pids` ended, those in `stopped_pids` continued first), the
# bus and the TV, the service's start, and its memory.
# Needs: top (the repository), bin (its build/bin).

pids=()
stopped_pids=()

# service_run_setup NAME TOOL...: the tools exist; $work is a new scratch
# folder, removed with everything started in it on exit.
service_run_setup() {
    local name=$1
    shift
    local tool
    for tool in "$@"; do
        if [ ! -x "$bin/$tool" ]; then
            echo "$bin/$tool missing: cmake --preset default && cmake --build build" >&2
            exit 1
        fi
    done
    work=$(mktemp -d "/tmp/tessivo-$name-XXXXXX")
    trap service_run_cleanup EXIT INT TERM
}

service_run_cleanup() {
    trap - INT TERM EXIT
    local pid
    for pid in "${stopped_pids[@]}"; do
        kill -CONT "$pid" 2>/dev/null || true
    done
    for pid in "${pids[@]}"; do
        kill -TERM "$pid" 2>/dev/null && wait "$pid" 2>/dev/null || true
    done
    [ -f "$work/bus/pid" ] && kill -TERM "$(cat "$work/bus/pid")" 2>/dev/null || true
    rm -rf "$work"
}

# service_run_start SERVICE SCALE [BUS_CONFIG]: a private bus (with extra
# configuration), the default TV, the service with its clock SCALE times as
# fast; returns once it owns its name, with $service_pid set.
service_run_start() {
    DBUS_SYSTEM_BUS_ADDRESS=$("$top/scripts/private-bus.sh" "$work/bus" "${3:-}")
    export DBUS_SYSTEM_BUS_ADDRESS
    export TESSIVO_PLATFORM_DIR=$work/tv
    export TESSIVO_LOG_LEVEL=info
    export TESSIVO_TIME_SCALE=$2
    "$bin/tessivo-platform" init >/dev/null
    "$bin/$1" 2>"$work/service.log" &
    service_pid=$!
    pids+=("$service_pid")
    local _
    for _ in $(seq 100); do
        grep -q "OnNameAcquired" "$work/service.log" && break
        sleep 0.05
    done
}

private_kb() {
    awk '/^Private_(Clean|Dirty):/ {s += $2} END {print s}' "/proc/$1/smaps_rollup"
}
rss_kb() {
    awk '/^VmRSS:/ {print $2}' "/proc/$1/status"
}
