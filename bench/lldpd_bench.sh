#!/usr/bin/env bash
# The lldpd backend at scale: a router namespace whose lldpd learns PEERS x
# PER_PEER neighbours, sent every 5 s by tools/lldpdu.py from PEERS peer
# namespaces (one veth each to the router).  Then the walker's whole walk of
# lldpMIB, timed per binding (lldpmib-walk-timing), on lldpd and on the topology
# backend serving the same neighbours (a topology file made from lldpcli's
# view), with lldpd's requests per walk; the ratio is what reading lldpd costs.
#
#   bench/lldpd_bench.sh [PEERS] [PER_PEER] [WALKS]      (defaults 8 8 5)
#
# Needs root, ip, lldpd and lldpcli.  BENCH_BUILD_DIR selects the build
# (default build-bench, configured and built here).  Namespaces, links and
# processes are removed on any exit.
set -euo pipefail
ROOT="$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)"
BUILD="${BENCH_BUILD_DIR:-$ROOT/build-bench}"
PEERS="${1:-8}"
PER_PEER="${2:-8}"
WALKS="${3:-5}"
NEIGHBOURS=$((PEERS * PER_PEER))
REMOTE_DATA=1.0.8802.1.1.2.1.4  # lldpRemoteSystemsData

[ "$(id -u)" -eq 0 ] || { echo "lldpd_bench: needs root" >&2; exit 1; }
for tool in ip lldpd lldpcli; do
    command -v "$tool" >/dev/null || { echo "lldpd_bench: $tool missing" >&2; exit 1; }
done
cmake -S "$ROOT" -B "$BUILD" -DCMAKE_BUILD_TYPE=Release -DLLDPMIB_BUILD_HOST=ON \
    -DLLDPMIB_BUILD_BENCH=ON >/dev/null
cmake --build "$BUILD" -j2 --target lldpmib-walk lldpmib-walk-timing >/dev/null

TAG="lb$$"
DIR="$(mktemp -d /tmp/lldpmib-lldpd-bench.XXXXXX)"
chmod 755 "$DIR"  # lldpd drops to _lldpd and must reach its socket
SOCK="$DIR/router.sock"
NAMESPACES=()
PIDS=()
cleanup() {
    for pid in "${PIDS[@]}"; do kill "$pid" 2>/dev/null || true; done
    for pid in "${PIDS[@]}"; do wait "$pid" 2>/dev/null || true; done
    ip link del "$TAG-a" 2>/dev/null || true  # left by a failed set-up
    for ns in "${NAMESPACES[@]}"; do
        # lldpd's privilege-separated child may outlive its parent for a moment.
        for pid in $(ip netns pids "$ns" 2>/dev/null); do kill -9 "$pid" 2>/dev/null || true; done
        ip netns del "$ns" 2>/dev/null || true
    done
    rm -rf "$DIR"
}
trap cleanup EXIT
trap 'exit 1' INT TERM

ROUTER="$TAG-r"
ip netns add "$ROUTER"
NAMESPACES+=("$ROUTER")
for p in $(seq "$PEERS"); do
    ip netns add "$TAG-p$p"
    NAMESPACES+=("$TAG-p$p")
    ip link add name "$TAG-a" type veth peer name "$TAG-b"
    ip link set "$TAG-a" netns "$ROUTER"
    ip -n "$ROUTER" link set "$TAG-a" name "eth$p" up
    ip link set "$TAG-b" netns "$TAG-p$p"
    ip -n "$TAG-p$p" link set "$TAG-b" name eth0 up
done

ip netns exec "$ROUTER" lldpd -d -O /dev/null -u "$SOCK" 2>"$DIR/lldpd.log" &
PIDS+=($!)
for _ in $(seq 100); do lldpcli -u "$SOCK" show chassis >/dev/null 2>&1 && break; sleep 0.1; done
lldpcli -u "$SOCK" show chassis >/dev/null || { echo "lldpd_bench: lldpd did not start" >&2; cat "$DIR/lldpd.log" >&2; exit 1; }
# lldpd keeps 32 neighbours per port unless told otherwise.
if [ "$PER_PEER" -gt 32 ]; then
    lldpcli -u "$SOCK" configure system max-neighbors "$PER_PEER" >/dev/null
fi

# Each peer's neighbours: own MAC, chassis and port ID, names, an address, a
# custom TLV; lldpdu.py's JSON form.
for p in $(seq "$PEERS"); do
    /usr/bin/python3 - "$p" "$PER_PEER" >"$DIR/peer$p.json" <<'PY'
import json, sys
p, count = int(sys.argv[1]), int(sys.argv[2])
out = []
for n in range(1, count + 1):
    mac = f"02:{p:02x}:00:00:{n >> 8:02x}:{n & 255:02x}"
    out.append({"src": mac, "tlvs": [
        ["chassis_id", 4, {"hex": mac}], ["port_id", 5, f"port-{n}"], ["ttl", 120],
        ["port_description", f"peer {p} port {n}"], ["system_name", f"peer{p}-n{n}"],
        ["system_description", f"bench neighbour {n} behind peer {p}"], ["capabilities", 0x14, 0x10],
        ["management_address", f"10.{p}.{n >> 8}.{n & 255}", 2, n], ["org_specific", "33:44:55", 1, {"hex": f"{n:04x}"}],
        ["end"]]})
json.dump(out, sys.stdout)
PY
    ip netns exec "$TAG-p$p" /usr/bin/python3 "$ROOT/tools/lldpdu.py" --iface eth0 --every 5 \
        "$DIR/peer$p.json" 2>>"$DIR/senders.log" &
    PIDS+=($!)
done

known() {
    lldpcli -u "$SOCK" -f json0 show neighbors |
        /usr/bin/python3 -c 'import json, sys; print(len(json.load(sys.stdin)["lldp"][0].get("interface", [])))'
}
for _ in $(seq 300); do [ "$(known)" -ge "$NEIGHBOURS" ] && break; sleep 0.1; done
[ "$(known)" -eq "$NEIGHBOURS" ] || { echo "lldpd_bench: lldpd knows $(known) neighbours, not $NEIGHBOURS" >&2; exit 1; }

/usr/bin/python3 "$ROOT/bench/lldpcli_topology.py" "$SOCK" "$ROUTER" >"$DIR/topology.json"

WALKER="$BUILD/tools/lldpmib-walk"
TIMING="$BUILD/bench/lldpmib-walk-timing"
# Both backends must serve the same remote tables, or the comparison means nothing.
ip netns exec "$ROUTER" "$WALKER" --lldpd "$SOCK" walk "$REMOTE_DATA" >"$DIR/remote.lldpd"
"$WALKER" --topology "$DIR/topology.json" walk "$REMOTE_DATA" >"$DIR/remote.topology"
if cmp -s "$DIR/remote.lldpd" "$DIR/remote.topology"; then
    same="same on both backends"
else
    same="DIFFERENT: $(diff "$DIR/remote.lldpd" "$DIR/remote.topology" | grep -c '^[<>]') lines differ"
fi

# A busy manager (walks 1.1 s apart: the source refreshes ahead) and an
# occasional one (3 s apart: each walk waits for a fetch).
ip netns exec "$ROUTER" "$TIMING" --lldpd "$SOCK" --walks "$WALKS" --pause 1.1 >"$DIR/lldpd.txt"
ip netns exec "$ROUTER" "$TIMING" --lldpd "$SOCK" --walks "$WALKS" --pause 3 >"$DIR/lldpd-idle.txt"
"$TIMING" --topology "$DIR/topology.json" --walks "$WALKS" >"$DIR/topology.txt"
get() { awk -v k="$1" '$1 == k { print $2 }' "$2"; }

echo "machine: $(nproc) cores, $(grep -m1 'model name' /proc/cpuinfo | cut -d: -f2 | sed 's/^ //'); lldpd $(lldpd -v)"
echo "neighbours: $NEIGHBOURS ($PEERS ports x $PER_PEER); remote tables ($(wc -l <"$DIR/remote.lldpd") bindings): $same"
echo "whole lldpMIB walk, lldpmib-walk in process, median of $WALKS walks, snapshots rebuilt each walk"
echo "(lldpd: walks 1.1 s apart, the source refreshing ahead; lldpd-idle: 3 s apart, each walk waits for a fetch):"
printf '%-10s %9s %12s %12s %16s %12s\n' backend bindings "wall us/b" "cpu us/b" "lldpd req/walk" "client ops"
for b in lldpd lldpd-idle topology; do
    printf '%-10s %9s %12s %12s %16s %12s\n' "$b" "$(get bindings "$DIR/$b.txt")" \
        "$(get wall_us_per_binding "$DIR/$b.txt")" "$(get cpu_us_per_binding "$DIR/$b.txt")" \
        "$(get lldpd_requests_per_walk "$DIR/$b.txt")" "$(get client_ops_per_walk "$DIR/$b.txt")"
done
for b in lldpd lldpd-idle; do
    printf 'ratio %s / topology (wall time per binding): %.2f\n' "$b" \
        "$(awk -v a="$(get wall_us_per_binding "$DIR/$b.txt")" -v b="$(get wall_us_per_binding "$DIR/topology.txt")" \
            'BEGIN { print a / b }')"
done
