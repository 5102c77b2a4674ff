#!/usr/bin/env bash
# Runs the LLDP-MIB behind a private snmpd: a master agent with its own config
# and state in a temporary directory (UDP on loopback, community "public"
# read-only, AgentX on a private unix socket) and lldpmib-agentx attached to it.
# Ctrl-C stops the subagent, then the master.
#
#   scripts/run-agent.sh [TOPOLOGY.json] [PORT]
#
# Without a topology the embedded example topology is served; without a port
# 16161 is used when free, else a free one.  LLDPMIB_BUILD_DIR selects the build
# directory (default: build/ in the repository; built when the binary is missing).
set -euo pipefail

repo=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
build=${LLDPMIB_BUILD_DIR:-$repo/build}
agentx_bin=$build/host/lldpmib-agentx

topology=""
port=""
for arg in "$@"; do
  case "$arg" in
    -h|--help) sed -n '2,12p' "$0" | sed 's/^# \{0,1\}//'; exit 0 ;;
    *[!0-9]*|"") [ -z "$topology" ] || { echo "run-agent: unexpected argument $arg" >&2; exit 2; }
                 topology=$arg ;;
    *) port=$arg ;;
  esac
done
if [ -n "$topology" ]; then
  [ -r "$topology" ] || { echo "run-agent: cannot read topology $topology" >&2; exit 2; }
  topology=$(cd "$(dirname "$topology")" && pwd)/$(basename "$topology")
fi
command -v snmpd >/dev/null || { echo "run-agent: snmpd not installed (run scripts/setup.sh)" >&2; exit 1; }

if [ ! -x "$agentx_bin" ]; then
  echo "run-agent: building lldpmib-agentx in $build"
  cmake -S "$repo" -B "$build" -DLLDPMIB_BUILD_HOST=ON >/dev/null
  cmake --build "$build" -j"$(nproc)" --target lldpmib-agentx >/dev/null
fi

port_free() {
  /usr/bin/python3 - "$1" <<'PY'
import socket, sys
s = socket.socket(socket.AF_INET, socket.SOCK_DGRAM)
try:
    s.bind(("127.0.0.1", int(sys.argv[1])))
except OSError:
    sys.exit(1)
PY
}
if [ -z "$port" ]; then
  port=16161
  if ! port_free "$port"; then
    port=$(/usr/bin/python3 -c 'import socket; s=socket.socket(socket.AF_INET, socket.SOCK_DGRAM); s.bind(("127.0.0.1", 0)); print(s.getsockname()[1])')
  fi
elif ! port_free "$port"; then
  echo "run-agent: udp 127.0.0.1:$port is in use" >&2; exit 1
fi

dir=$(mktemp -d /tmp/lldpmib-agent.XXXXXX)
# State apart from the config: snmpd saves its state as snmpd.conf there.
mkdir "$dir/state"
export SNMP_PERSISTENT_DIR=$dir/state MIBS=
cat >"$dir/master.conf" <<CONF
agentAddress udp:127.0.0.1:$port
rocommunity public 127.0.0.1
master agentx
agentXSocket unix:$dir/agentx.sock
dontLogTCPWrappersConnects yes
[snmp] persistentDir $dir/state
[snmp] mibs :
CONF

snmpd_pid=""
agent_pid=""
stopping=0
stop_all() {
  [ "$stopping" = 1 ] && return
  stopping=1
  # The subagent first: stopping both at once can trip net-snmp in the subagent.
  if [ -n "$agent_pid" ] && kill -0 "$agent_pid" 2>/dev/null; then
    kill -TERM "$agent_pid" 2>/dev/null || true
    wait "$agent_pid" 2>/dev/null || true
  fi
  if [ -n "$snmpd_pid" ] && kill -0 "$snmpd_pid" 2>/dev/null; then
    kill -TERM "$snmpd_pid" 2>/dev/null || true
    wait "$snmpd_pid" 2>/dev/null || true
  fi
  rm -rf "$dir"
}
trap 'echo; echo "run-agent: stopping"; stop_all; exit 0' INT TERM
trap stop_all EXIT

# Own sessions, so the terminal's Ctrl-C reaches only this script, which then
# stops the two in order.
setsid snmpd -f -I -smux -C -c "$dir/master.conf" -Lf "$dir/snmpd.log" -p "$dir/snmpd.pid" &
snmpd_pid=$!
for _ in $(seq 100); do
  [ -S "$dir/agentx.sock" ] && break
  kill -0 "$snmpd_pid" 2>/dev/null || { echo "run-agent: snmpd failed:" >&2; cat "$dir/snmpd.log" >&2; exit 1; }
  sleep 0.1
done

agent_args=(-f --agentx-socket "unix:$dir/agentx.sock")
[ -n "$topology" ] && agent_args+=(--topology "$topology")
setsid "$agentx_bin" "${agent_args[@]}" &
agent_pid=$!

# Served once the master stops answering noSuchObject for lldpMIB.
probe=1.0.8802.1.1.2.1.3.1.0
for _ in $(seq 100); do
  kill -0 "$agent_pid" 2>/dev/null || { echo "run-agent: lldpmib-agentx exited" >&2; exit 1; }
  out=$(snmpget -v2c -c public -On -t 0.5 -r 0 "127.0.0.1:$port" "$probe" 2>/dev/null || true)
  if [ -n "$out" ] && ! grep -q "No Such Object" <<<"$out"; then break; fi
  sleep 0.1
done

echo "run-agent: LLDP-MIB served on udp 127.0.0.1:$port (state in $dir); Ctrl-C stops it. Try:"
echo "  snmpwalk -v2c -c public -On 127.0.0.1:$port 1.0.8802.1.1.2"
# By name, with the MIB files of the repository (only those modules: Debian
# ships none of the IETF modules net-snmp would load besides).
echo "  snmpwalk -v2c -c public -M +$repo/mibs -m LLDP-MIB:LLDP-EXT-DOT1-MIB:LLDP-EXT-DOT3-MIB 127.0.0.1:$port LLDP-MIB::lldpMIB"
echo "  snmptable -v2c -c public -M +$repo/mibs -m LLDP-MIB 127.0.0.1:$port LLDP-MIB::lldpRemTable"
echo "  snmptable -Ci -v2c -c public -M +$repo/mibs -m LLDP-MIB:LLDP-EXT-DOT1-MIB 127.0.0.1:$port LLDP-EXT-DOT1-MIB::lldpXdot1RemVlanNameTable"
echo "  snmpwalk -v2c -c public -M +$repo/mibs -m LLDP-V2-MIB 127.0.0.1:$port LLDP-V2-MIB::lldpV2RemTable"

while kill -0 "$snmpd_pid" 2>/dev/null && kill -0 "$agent_pid" 2>/dev/null; do
  sleep 1 &
  wait $! || true
done
echo "run-agent: a process ended on its own" >&2
exit 1
