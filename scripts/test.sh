#!/usr/bin/env bash
# The test command: installs what is missing, then configures, builds and
# runs every test in the normal build, the address + undefined-behaviour
# sanitizer build and the thread sanitizer build, and gives every fuzz target
# a short run (the smoke: they still build and run; scripts/fuzz.sh runs
# them for longer).
# usage: scripts/test.sh [default|asan|tsan|fuzz ...]   (all four when none given)
set -euo pipefail
cd "$(dirname "$0")/.."

for preset in "$@"; do
    case $preset in
        -h|--help)
            sed -n '2,/^set -euo/p' "$0" | grep '^#' | sed 's/^# \{0,1\}//'
            exit 0
            ;;
        default|asan|tsan|fuzz) ;;
        *) echo "test.sh: unknown preset '$preset' (default, asan, tsan or fuzz; see --help)" >&2; exit 2 ;;
    esac
done

scripts/install-deps.sh

presets=("$@")
[ ${#presets[@]} -eq 0 ] && presets=(default asan tsan fuzz)

jobs=$(nproc)
for preset in "${presets[@]}"; do
    if [ "$preset" = fuzz ]; then
        echo "=== fuzz: build and smoke-run every fuzz target ==="
        scripts/fuzz.sh --smoke
        continue
    fi
    echo "=== $preset: configure and build ==="
    cmake --preset "$preset" >/dev/null
    cmake --build --preset "$preset" -j "$jobs"
    echo "=== $preset: test ==="
    ctest --preset "$preset" -j "$jobs"
done
