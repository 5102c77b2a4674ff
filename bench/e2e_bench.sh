#!/usr/bin/env bash
# End-to-end speed: snmpbulkwalk of the whole lldpMIB through a private snmpd
# and lldpmib-agentx serving a synthetic topology, beside the same walk of an
# equal number of bindings from a plain static table (the SNMP path's own
# cost), and through the module loaded into a second snmpd (lldpmib_snmpd.so,
# no AgentX).  The ratios are what the module adds and what AgentX costs.
#
#   bench/e2e_bench.sh [NEIGHBOURS] [REPEATS]      (defaults 1000, 3)
#
# BENCH_BUILD_DIR selects the build (default build-bench, configured and built
# here).  The static table is served by lldpmib-agentx itself when it offers
# --static-table N, otherwise by lldpmib-static-subagent, a second subagent of
# the same master built from bench/.
set -euo pipefail
ROOT="$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)"
BUILD="${BENCH_BUILD_DIR:-$ROOT/build-bench}"
NEIGHBOURS="${1:-1000}"
REPEATS="${2:-3}"
LLDP_ROOT=1.0.8802.1.1.2
STATIC_ROOT=1.3.6.1.4.1.8072.9999.9999.1

for tool in snmpd snmpbulkwalk snmpget; do
    command -v "$tool" >/dev/null || { echo "e2e_bench: $tool missing (run scripts/setup.sh)" >&2; exit 1; }
done
cmake -S "$ROOT" -B "$BUILD" -DCMAKE_BUILD_TYPE=Release -DLLDPMIB_BUILD_HOST=ON \
    -DLLDPMIB_BUILD_BENCH=ON >/dev/null
cmake --build "$BUILD" -j2 --target lldpmib-agentx lldpmib_snmpd lldpmib-gen-topology lldpmib-static-subagent >/dev/null

DIR="$(mktemp -d /tmp/lldpmib-e2e.XXXXXX)"
PIDS=()
cleanup() {
    # Subagents before the master.
    for ((i = ${#PIDS[@]} - 1; i >= 0; i--)); do
        kill "${PIDS[$i]}" 2>/dev/null || true
        wait "${PIDS[$i]}" 2>/dev/null || true
    done
    rm -rf "$DIR"
}
trap cleanup EXIT

PORT=$(/usr/bin/python3 -c 'import socket; s=socket.socket(socket.AF_INET, socket.SOCK_DGRAM); s.bind(("127.0.0.1", 0)); print(s.getsockname()[1])')
SOCK="$DIR/agentx.sock"
cat >"$DIR/snmpd.conf" <<CONF
agentAddress udp:127.0.0.1:$PORT
rocommunity public 127.0.0.1
master agentx
agentXSocket unix:$SOCK
dontLogTCPWrappersConnects yes
[snmp] persistentDir $DIR
[snmp] mibs :
CONF
export SNMP_PERSISTENT_DIR="$DIR" MIBS=""

"$BUILD/bench/lldpmib-gen-topology" "$NEIGHBOURS" >"$DIR/topology.json" 2>"$DIR/gen.txt"
EXPECTED=$(awk '{print $1}' "$DIR/gen.txt")

snmpd -f -I -smux -C -c "$DIR/snmpd.conf" -Lf "$DIR/snmpd.log" -p "$DIR/snmpd.pid" &
PIDS+=($!)
for _ in $(seq 50); do [ -S "$SOCK" ] && break; sleep 0.1; done
[ -S "$SOCK" ] || { echo "e2e_bench: snmpd did not come up" >&2; cat "$DIR/snmpd.log" >&2; exit 1; }

AGENTX="$BUILD/host/lldpmib-agentx"
STATIC_IN_HOST=0
if "$AGENTX" --help 2>&1 | grep -q -- '--static-table'; then STATIC_IN_HOST=1; fi
if [ $STATIC_IN_HOST -eq 1 ]; then
    "$AGENTX" -f --topology "$DIR/topology.json" --agentx-socket "unix:$SOCK" \
        --static-table "$EXPECTED" 2>"$DIR/agentx.log" &
    PIDS+=($!)
else
    "$AGENTX" -f --topology "$DIR/topology.json" --agentx-socket "unix:$SOCK" 2>"$DIR/agentx.log" &
    PIDS+=($!)
    "$BUILD/bench/lldpmib-static-subagent" --agentx-socket "unix:$SOCK" --bindings "$EXPECTED" \
        2>"$DIR/static.log" &
    PIDS+=($!)
fi

SNMP=(-v2c -c public -On -t 20 -r 0 "127.0.0.1:$PORT")
ready() { snmpget "${SNMP[@]}" "$1" 2>/dev/null | grep -qv 'No Such'; }
for _ in $(seq 100); do
    ready "$LLDP_ROOT.1.3.3.0" && ready "$STATIC_ROOT.1.1.1" && break
    sleep 0.2
done
ready "$LLDP_ROOT.1.3.3.0" || { echo "e2e_bench: lldpmib-agentx not served" >&2; cat "$DIR/agentx.log" >&2; exit 1; }
ready "$STATIC_ROOT.1.1.1" || { echo "e2e_bench: static table not served" >&2; exit 1; }

# walk ROOT: prints "<bindings> <seconds>" of the fastest of REPEATS walks.
walk() {
    local best="" count=0
    for _ in $(seq "$REPEATS"); do
        local t0 t1 n
        t0=$(date +%s.%N)
        n=$(snmpbulkwalk -Cr50 "${SNMP[@]}" "$1" | grep -c "^\.$1\." || true)
        t1=$(date +%s.%N)
        local s
        s=$(awk -v a="$t0" -v b="$t1" 'BEGIN { printf "%.6f", b - a }')
        count=$n
        if [ -z "$best" ] || awk -v s="$s" -v b="$best" 'BEGIN { exit !(s < b) }'; then best=$s; fi
    done
    echo "$count $best"
}

read -r LN LS < <(walk "$LLDP_ROOT")
read -r SN SS < <(walk "$STATIC_ROOT")

# The same topology from the module loaded into a second snmpd (no AgentX).
PORT2=$(/usr/bin/python3 -c 'import socket; s=socket.socket(socket.AF_INET, socket.SOCK_DGRAM); s.bind(("127.0.0.1", 0)); print(s.getsockname()[1])')
cat >"$DIR/inproc.conf" <<CONF
agentAddress udp:127.0.0.1:$PORT2
rocommunity public 127.0.0.1
dontLogTCPWrappersConnects yes
[snmp] persistentDir $DIR
[snmp] mibs :
dlmod lldpmib_snmpd $BUILD/host/lldpmib_snmpd.so
lldpmibTopology $DIR/topology.json
CONF
snmpd -f -I -smux -C -c "$DIR/inproc.conf" -Lf "$DIR/inproc.log" -p "$DIR/inproc.pid" &
PIDS+=($!)
SNMP=(-v2c -c public -On -t 20 -r 0 "127.0.0.1:$PORT2")
for _ in $(seq 100); do ready "$LLDP_ROOT.1.3.3.0" && break; sleep 0.2; done
ready "$LLDP_ROOT.1.3.3.0" || { echo "e2e_bench: in-process module not served" >&2; cat "$DIR/inproc.log" >&2; exit 1; }
read -r IN IS < <(walk "$LLDP_ROOT")
rate() { awk -v n="$1" -v s="$2" 'BEGIN { printf "%d", n / s }'; }
echo "machine: $(nproc) cores, $(grep -m1 'model name' /proc/cpuinfo | cut -d: -f2 | sed 's/^ //')"
echo "topology: $NEIGHBOURS neighbours, $EXPECTED bindings expected; best of $REPEATS snmpbulkwalk -Cr50"
printf 'lldpMIB (in snmpd, dlmod):  %6d bindings in %6.3f s  %8d bindings/s\n' "$IN" "$IS" "$(rate "$IN" "$IS")"
printf 'lldpMIB (lldpmib-agentx):  %6d bindings in %6.3f s  %8d bindings/s\n' "$LN" "$LS" "$(rate "$LN" "$LS")"
if [ $STATIC_IN_HOST -eq 1 ]; then where="same subagent"; else where="separate subagent, same master"; fi
printf 'static table (%s): %6d bindings in %6.3f s  %8d bindings/s\n' "$where" "$SN" "$SS" "$(rate "$SN" "$SS")"
printf 'module cost ratio (lldpMIB time / static time, per binding): %.2f\n' \
    "$(awk -v a="$LS" -v b="$LN" -v c="$SS" -v d="$SN" 'BEGIN { print (a / b) / (c / d) }')"
printf 'in-process / static AgentX table (bindings/s): %.2f\n' \
    "$(awk -v a="$IS" -v b="$IN" -v c="$SS" -v d="$SN" 'BEGIN { print (b / a) / (d / c) }')"
# Both hosts serve the same bindings.  (lldpmib-gen-topology's count predates
# the extension library's objects, so it is the static table's size only.)
[ "$IN" -eq "$LN" ] || { echo "e2e_bench: in-process walk returned $IN bindings, lldpmib-agentx $LN" >&2; exit 1; }
[ "$LN" -eq "$EXPECTED" ] || { echo "e2e_bench: lldpMIB walk returned $LN bindings, expected $EXPECTED" >&2; exit 1; }
