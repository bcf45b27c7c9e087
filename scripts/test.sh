#!/usr/bin/env bash
# The test command: installs what is missing, then configures, builds and
# runs every test in the normal build, the address + undefined-behaviour
# sanitizer build and the thread sanitizer build.
# usage: scripts/test.sh [default|asan|tsan ...]   (all three when none given)
set -euo pipefail
cd "$(dirname "$0")/.."

scripts/install-deps.sh

presets=("$@")
[ ${#presets[@]} -eq 0 ] && presets=(default asan tsan)

jobs=$(nproc)
for preset in "${presets[@]}"; do
    echo "=== $preset: configure and build ==="
    cmake --preset "$preset" >/dev/null
    cmake --build --preset "$preset" -j "$jobs"
    echo "=== $preset: test ==="
    ctest --preset "$preset" -j "$jobs"
done
