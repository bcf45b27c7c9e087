#!/usr/bin/env bash
# Checks the unit file: systemd accepts it, and its hardening keeps the
# exposure score that systemd-analyze gives it at or below a ceiling.
# usage: verify-unit.sh UNIT SERVICE_BINARY MAX_EXPOSURE
set -euo pipefail
unit=$1 binary=$2 max=$3
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
# verify wants the ExecStart binary to exist: point it at the one just built.
sed "s|^ExecStart=.*|ExecStart=$binary|" "$unit" > "$work/kae-service.service"
systemd-analyze verify "$work/kae-service.service"
report=$(systemd-analyze security --offline=true "$work/kae-service.service")
exposure=$(printf '%s\n' "$report" | sed -n 's/.*Overall exposure level for kae-service.service: \([0-9.]*\).*/\1/p')
if [ -z "$exposure" ]; then
    echo "no exposure level in:"; printf '%s\n' "$report"; exit 1
fi
echo "exposure $exposure (ceiling $max)"
awk -v e="$exposure" -v m="$max" 'BEGIN { exit !(e <= m) }'
