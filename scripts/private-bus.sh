#!/usr/bin/env bash
# Starts a private bus configured like the system bus, with tessivo's policy
# file, on a socket in DIR. Prints the bus address; DIR/pid holds the
# daemon's pid (kill it to stop the bus). EXTRA is added to the bus's
# configuration, for instance '<limit name="max_outgoing_bytes">65536</limit>'.
# usage: scripts/private-bus.sh DIR [EXTRA]
set -euo pipefail
case ${1:-} in
    -h|--help)
        sed -n '2,/^set -euo/p' "$0" | grep '^#' | sed 's/^# \{0,1\}//'
        exit 0
        ;;
    -*) echo "private-bus.sh: unknown option '$1' (try scripts/private-bus.sh --help)" >&2; exit 2 ;;
esac
top=$(cd "$(dirname "$0")/.." && pwd)
dir=${1:?usage: private-bus.sh DIR [EXTRA]}
extra=${2:-}
mkdir -p "$dir"
chmod 755 "$dir"
sed -e "s|@SOCKET@|$dir/system_bus_socket|" \
    -e "s|@POLICY@|$top/dbus/com.norvale.tv.tessivo.conf|" \
    -e "s|</busconfig>|$extra</busconfig>|" \
    "$top/dbus/private-system-bus.conf.in" > "$dir/system-bus.conf"
setsid dbus-daemon --config-file="$dir/system-bus.conf" --nofork \
    --print-address=1 > "$dir/address" 2> "$dir/dbus-daemon.log" < /dev/null &
echo $! > "$dir/pid"
for _ in $(seq 100); do
    if [ -s "$dir/address" ]; then
        head -n 1 "$dir/address"
        exit 0
    fi
    if ! kill -0 "$(cat "$dir/pid")" 2>/dev/null; then
        break
    fi
    sleep 0.05
done
echo "dbus-daemon did not start:" >&2
cat "$dir/dbus-daemon.log" >&2
exit 1
