#!/usr/bin/env bash
# Builds the fuzz targets (the fuzz preset: clang, libFuzzer, address and
# undefined-behaviour sanitizers) and runs each of them, one after the
# other, for a given time. Each run starts from a scratch copy of the
# target's committed seeds (fuzz/corpus/NAME), so what a run finds never
# lands in the tree, with the target's dictionary (fuzz/dict/json.dict and
# fuzz/dict/NAME.dict). At the end it prints executions and coverage per
# target; a crash, a hang, a leak or a sanitizer report fails the run, and
# the input that caused it is kept and named.
#
# usage: scripts/fuzz.sh [--seconds N] [--smoke] [--no-build] [--keep DIR] [TARGET...]
#   --seconds N  how long each target runs (default 60)
#   --smoke      the CI smoke: a few seconds per target, only to show that
#                every target still builds and runs
#   --no-build   use the targets already built in build-fuzz
#   --keep DIR   keep each target's corpus in DIR/NAME and start from it the
#                next time, so that long runs add up
#   TARGET       context_data, dbus_request, ... (or fuzz_context_data, ...);
#                every target when none is named
# Crash inputs go to build-fuzz/crashes/NAME/, the libFuzzer log of each run
# to build-fuzz/fuzz-logs/NAME.log. Reproduce a crash with
#   build-fuzz/bin/fuzz_NAME build-fuzz/crashes/NAME/crash-...
set -euo pipefail
top=$(cd "$(dirname "$0")/.." && pwd)
cd "$top"

seconds=60
build=1
keep=
targets=()
while [ $# -gt 0 ]; do
    case $1 in
        --seconds) seconds=${2:?--seconds needs a number}; shift 2 ;;
        --smoke) seconds=5; shift ;;
        --no-build) build=0; shift ;;
        --keep) keep=${2:?--keep needs a folder}; shift 2 ;;
        -h|--help) sed -n '2,/^set -euo/p' "$0" | grep '^#' | sed 's/^# \{0,1\}//'; exit 0 ;;
        -*) echo "unknown option $1 (see --help)" >&2; exit 2 ;;
        *) targets+=("${1#fuzz_}"); shift ;;
    esac
done
case $seconds in
    ''|*[!0-9]*|0) echo "--seconds needs a whole number of seconds above 0" >&2; exit 2 ;;
esac

all=()
for source in fuzz/fuzz_*.cpp; do
    name=${source#fuzz/fuzz_}
    all+=("${name%.cpp}")
done
[ ${#targets[@]} -eq 0 ] && targets=("${all[@]}")
for target in "${targets[@]}"; do
    if [ ! -f "fuzz/fuzz_$target.cpp" ]; then
        echo "no fuzz target $target (there are: ${all[*]})" >&2
        exit 2
    fi
done

if [ "$build" -eq 1 ]; then
    scripts/install-deps.sh fuzz
    cmake --preset fuzz >/dev/null
    cmake --build --preset fuzz -j "$(nproc)"
fi

# The targets that reach the simulated TV write its files on every input: a
# memory file system keeps that from costing disk writes.
scratch_base=${TMPDIR:-/tmp}
[ -d /dev/shm ] && [ -w /dev/shm ] && scratch_base=/dev/shm
scratch=$(mktemp -d "$scratch_base/tessivo-fuzz-XXXXXX")
trap 'rm -rf "$scratch"' EXIT

logs=build-fuzz/fuzz-logs
mkdir -p "$logs"
summary=()
failed=()
for target in "${targets[@]}"; do
    binary=build-fuzz/bin/fuzz_$target
    if [ ! -x "$binary" ]; then
        echo "$binary is not built (run without --no-build)" >&2
        exit 2
    fi
    corpus=$scratch/$target/corpus
    [ -n "$keep" ] && corpus=$keep/$target
    mkdir -p "$corpus" "$scratch/$target/tmp"
    cp fuzz/corpus/"$target"/* "$corpus"/
    options=(-max_total_time="$seconds" -timeout=25 -rss_limit_mb=2048 -print_final_stats=1
             -close_fd_mask=2 -artifact_prefix="build-fuzz/crashes/$target/")
    if [ -f "fuzz/dict/$target.dict" ]; then
        cat fuzz/dict/json.dict "fuzz/dict/$target.dict" >"$scratch/$target/dict"
        options+=(-dict="$scratch/$target/dict")
    fi
    mkdir -p "build-fuzz/crashes/$target"
    log=$logs/$target.log
    echo "=== fuzz_$target: $seconds s"
    started=$(date +%s)
    status=0
    # The service's log would drown libFuzzer's (standard error is closed
    # for the target); the simulated TV and scratch files go to memory.
    TMPDIR=$scratch/$target/tmp UBSAN_OPTIONS=print_stacktrace=1 \
        "$binary" "${options[@]}" "$corpus" >"$log" 2>&1 || status=$?
    elapsed=$(( $(date +%s) - started ))
    done_line=$(grep -E '^#[0-9]+[[:space:]]+DONE' "$log" | tail -n 1 || true)
    runs=$(sed -n 's/^stat::number_of_executed_units: *//p' "$log" | tail -n 1)
    cov=$(sed -n 's/.* cov: \([0-9]*\).*/\1/p' <<<"$done_line")
    ft=$(sed -n 's/.* ft: \([0-9]*\).*/\1/p' <<<"$done_line")
    corp=$(sed -n 's/.* corp: \([0-9]*\/[0-9a-zA-Z]*\).*/\1/p' <<<"$done_line")
    if [ "$status" -ne 0 ]; then
        echo "fuzz_$target FAILED (exit $status); the end of $log:"
        tail -n 40 "$log"
        reproducer=$(sed -n 's/.*Test unit written to \(.*\)$/\1/p' "$log" | tail -n 1)
        echo "reproducer: ${reproducer:-none written (see $log)}"
        failed+=("fuzz_$target: ${reproducer:-see $log}")
        summary+=("$(printf '%-22s %6ss %12s %8s %8s %12s  FAILED' "fuzz_$target" "$elapsed" \
            "${runs:-?}" "${cov:-?}" "${ft:-?}" "${corp:-?}")")
    else
        summary+=("$(printf '%-22s %6ss %12s %8s %8s %12s  ok' "fuzz_$target" "$elapsed" \
            "${runs:-?}" "${cov:-?}" "${ft:-?}" "${corp:-?}")")
    fi
done

echo
printf '%-22s %7s %12s %8s %8s %12s\n' target time executions cov ft corpus
printf '%s\n' "${summary[@]}"
if [ ${#failed[@]} -gt 0 ]; then
    echo
    echo "failed:"
    printf '  %s\n' "${failed[@]}"
    exit 1
fi
