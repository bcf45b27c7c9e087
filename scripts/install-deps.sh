#!/usr/bin/env bash
# Installs the Debian packages tessivo needs to build, test and run its demo,
# when they are missing. Needs root (or sudo) only when something is missing.
# usage: scripts/install-deps.sh [fuzz]   (fuzz: also clang and libFuzzer)
set -euo pipefail

case ${1:-} in
    -h|--help)
        sed -n '2,/^set -euo/p' "$0" | grep '^#' | sed 's/^# \{0,1\}//'
        exit 0
        ;;
    ''|fuzz) ;;
    *) echo "install-deps.sh: unknown argument '$1' (try scripts/install-deps.sh --help)" >&2; exit 2 ;;
esac

packages=(
    build-essential cmake ninja-build pkg-config
    libglib2.0-dev libglib2.0-bin libjsoncpp-dev libkissfft-dev
    libgtest-dev libgmock-dev libbenchmark-dev
    dbus-daemon dbus-bin systemd util-linux procps
    libsoup-3.0-dev chromium
)
if [ "${1:-}" = fuzz ]; then
    packages+=(clang libclang-rt-dev)
fi

missing=()
for package in "${packages[@]}"; do
    if ! dpkg-query -W -f='${Status}' "$package" 2>/dev/null | grep -q "install ok installed"; then
        missing+=("$package")
    fi
done
[ ${#missing[@]} -eq 0 ] && exit 0

echo "installing: ${missing[*]}"
if [ "$(id -u)" -eq 0 ]; then
    sudo=()
elif command -v sudo >/dev/null; then
    sudo=(sudo)
else
    echo "missing packages (${missing[*]}) and no root to install them" >&2
    exit 1
fi
export DEBIAN_FRONTEND=noninteractive
"${sudo[@]}" apt-get update -qq
"${sudo[@]}" apt-get install -y -qq --no-install-recommends "${missing[@]}"
