#!/usr/bin/python3
"""Random topologies, their reference walks and names to ask, for the
model-based tests (the in-process one runs this script; the e2e one imports it).

  cases.py cases FIRST_SEED COUNT   random topologies, seeds FIRST_SEED on
  cases.py changes FIRST_SEED COUNT each random topology, then VERSIONS - 1
                                    versions of it changed as a daemon's data
                                    changes
  cases.py walk FILE                the walk of one topology file

Each topology is written as "topology <JSON>", then its walk lines
("<oid> <TYPE> <value>", from reference.py), then "ask <oid>" lines (from
names_to_ask()), then "end"."""
import json
import pathlib
import random
import sys

from reference import MIB, dotted, reference

INDEX_MAX, SUB_MAX = 2**31 - 1, 2**32 - 1
# The columns the module and the extension library serve, by table: entry,
# first and last column.
COLUMNS = [MIB + entry + (c,) for entry, first, last in (
    ((1, 1), 1, 5), ((1, 1, 6, 1), 2, 4), ((1, 1, 7, 1), 1, 1), ((1, 2), 1, 5), ((1, 2, 6, 1), 2, 2),
    ((1, 2, 7, 1), 2, 7),
    ((1, 3), 1, 6), ((1, 3, 7, 1), 2, 4), ((1, 3, 8, 1), 3, 6), ((1, 4, 1, 1), 4, 12),
    ((1, 4, 2, 1), 3, 5), ((1, 4, 3, 1), 2, 2), ((1, 4, 4, 1), 4, 4)) for c in range(first, last + 1)]
TEXT = "abcdefghijklmnopqrstuvwxyz0123456789-./ ABCXYZ"


def topology(r):
    """Ports and neighbours out of order, mixed time marks, all-zero and
    all-ones addresses, odd address subtypes, equal element keys, TLV keys inside
    and outside the MIB's ranges, MAC-looking identifiers that are and are not
    MAC text, local addresses in any order and held twice, LLDP disabled;
    configuration and counters absent, at their extremes and past 2^32, ports
    past what a port list holds."""
    def text(lo, hi):
        return "".join(r.choices(TEXT, k=r.randint(lo, hi)))

    def raw(lo, hi):
        return r.randbytes(r.randint(lo, hi))

    def field(b):
        """A byte field, either form."""
        if all(0x20 <= c < 0x7F for c in b) and r.random() < 0.5:
            return b.decode()
        return {"hex": b.hex()}

    def mac_like():
        """Dotted MAC text, raw octets, and 14-character texts that are not MAC
        text; none has more than 12 hex digits in its first 14 characters."""
        form = r.randrange(6)
        if form == 5:
            return raw(6, 6)
        hx = "0123456789abcdefABCDEF"
        dots = {0: (4, 9), 1: (4, 9), 2: (0, 13), 3: (4, 9)}.get(form, (0, 3, 6, 9, 12))
        return "".join("." if i in dots else "z" if form == 3 and i == 6 else r.choice(hx)
                       for i in range(14)).encode()

    def address(remote):
        a = r.choice(["0.0.0.0", "::", "255.255.255.255", "ffff:ffff:ffff:ffff:ffff:ffff:ffff:ffff",
                      f"10.0.{r.randrange(3)}.{r.randrange(4)}", f"2001:db8::{r.randrange(4)}"])
        if not remote and a in ("0.0.0.0", "::") and r.random() < 0.7:
            a = f"192.0.2.{r.randrange(4)}"
        o = {"addr": a}
        if r.random() < 0.6:
            o["if_id"] = r.choice([0, 1, 7, 2**31, SUB_MAX, r.randrange(100000)])
        if remote and r.random() < 0.2:
            o["subtype"] = r.choice([1, 2, 3, 6, 255])
        return o

    def printed_address():
        """Network address text, now and then text that is none."""
        return r.choice(["192.0.2.1", "0.0.0.0", "::", "2001:db8::7", "::ffff:10.0.0.1", "1.2.3", "01.2.3.4",
                         text(1, 8)])

    def distinct(n, pool):
        out = []
        while len(out) < n:
            v = r.choice(pool) if r.random() < 0.6 else r.randint(1, 50)
            if v not in out:
                out.append(v)
        return out

    def optional(n, texts, caps):
        """Texts (key, shortest, longest, how often) and capabilities (key, values)."""
        for key, lo, hi, p in texts:
            if r.random() < p:
                n[key] = text(lo, hi)
        for key, values in caps:
            if r.random() < 0.6:
                n[key] = r.choice(values + [r.randrange(0x10000)])

    def org_ext(local):
        """802.1 and 802.3 data: equal and extreme VLAN IDs, names past 32 octets,
        MAU types at the range's edges, TLVs absent; tx flags on local ports."""
        ext, tx = {}, (lambda: {"tx": r.random() < 0.5} if local and r.random() < 0.3 else {})
        vid = lambda least: r.choice([least, 4094, 7, 7, r.randint(least, 4094)])
        flag = lambda: r.random() < 0.5
        if r.random() < 0.6:
            d1 = {}
            if r.random() < 0.6:
                d1["port_vlan_id"] = r.choice([0, 1, 4094, r.randint(1, 4094)])
            if local and r.random() < 0.3:
                d1["port_vlan_tx"] = flag()
            for key, make in (("ppvids", lambda: {"vid": vid(0), "supported": flag(), "enabled": flag(), **tx()}),
                              ("vlan_names", lambda: {"vid": vid(1), "name": text(*r.choice([(0, 40), (32, 33)])), **tx()}),
                              ("protocols", lambda: {"id": field(raw(1, 8)), **tx()})):
                if r.random() < 0.5:
                    d1[key] = [make() for _ in range(r.randrange(4))]
            ext["dot1"] = d1
        if r.random() < 0.6:
            d3 = {}
            if r.random() < 0.6:
                d3["mac_phy"] = {"autoneg_supported": flag(), "autoneg_enabled": flag(),
                                 "advertised": r.choice([0, 0x8000, 0x6c01, 0xFFFF]),
                                 "mau_type": r.choice([0, 1, 30, 54, SUB_MAX // 2, r.randrange(100)])}
            if r.random() < 0.5:
                d3["power"] = {"port_class": r.randint(1, 2), "mdi_supported": flag(), "mdi_enabled": flag(),
                               "pair_control": flag(), "pairs": r.randint(1, 2), "class": r.randint(1, 5)}
            if r.random() < 0.5:
                d3["link_agg"] = {"capable": flag(), "enabled": flag(),
                                  "port_id": r.choice([0, 1, SUB_MAX // 2, r.randrange(5000)])}
            if r.random() < 0.6:
                d3["max_frame_size"] = r.choice([0, 1518, 9216, 65535])
            if local and r.random() < 0.4:
                d3["tlvs_tx"] = r.randint(0, 15)
            ext["dot3"] = d3
        return ext

    def neighbor(rem_index):
        n = {"rem_index": rem_index}
        if r.random() < 0.85:
            n["time_mark"] = r.choice([0, 1, 100, 300, 500, 2**31, SUB_MAX, r.randrange(1000)])
        kind = r.randrange(10)
        n["chassis_id_subtype"] = 4 if kind < 6 else 7 if kind < 8 else r.randrange(256)
        n["chassis_id"] = (field(mac_like()) if kind < 6 else text(1, 20) if kind < 8
                           else field(raw(1, 20)))
        kind = r.randrange(4)
        if kind < 2 or r.random() < 0.5:
            n["port_id_subtype"] = 3 if kind == 0 else r.choice([0, 4, 7, 255]) if kind == 1 else 5
        n["port_id"] = field(mac_like()) if kind < 2 else text(1, 12)
        optional(n, [("port_desc", 0, 10, 0.6), ("sys_name", 0, 10, 0.7), ("sys_desc", 0, 30, 0.5)],
                 [("supported_caps", [0, 4, 20, 0x8000, 0xFFFF]), ("enabled_caps", [0, 16, 0x100, 0xFFFF])])
        addrs = [address(True) for _ in range(r.randrange(5))]
        if addrs or r.random() < 0.3:
            n["man_addrs"] = addrs
        tlvs = [{"type": r.choice([0, 1, 8, 9, 9, 10, 126, 127, 200, 255, r.randrange(256)])}
                for _ in range(r.randrange(5))]
        tlvs += [{"oui": r.choice([0, "00:80:c2", "00:80:c2", "00-12-0F", "ffffff", 0xFFFFFF,
                                   r.randrange(1 << 24)]),
                  "subtype": r.choice([0, 1, 1, 2, 255, r.randrange(256)]),
                  "index": r.choice([1, 1, 2, INDEX_MAX, r.randint(1, 1000)])}
                 for _ in range(r.randrange(5))]
        for t in tlvs:
            if r.random() < 0.8:
                t["info"] = field(raw(0, 6))
        if unknown := [t for t in tlvs if "type" in t]:
            n["unknown_tlvs"] = unknown
        if org := [t for t in tlvs if "oui" in t]:
            n["org_def_tlvs"] = org
        n.update(org_ext(local=False))
        return n

    t = {}
    if r.random() < 0.12:
        t["router_type"] = r.choice([7, 8, 18, 19, 0, 6, SUB_MAX])
    if r.random() < 0.12:
        t["node_id"] = r.choice([0, 2, 12345, SUB_MAX])
    if r.random() < 0.15:
        enabled = r.random() < 0.5
        t["lldp"] = {"enabled": enabled, "node_enabled": not enabled and r.random() < 0.5}
    elif r.random() < 0.3:
        t["lldp"] = {"enabled": True, "node_enabled": r.random() < 0.5}
    kind = r.randrange(20)
    if kind < 2:
        local = {"chassis_id_subtype": r.choice([0, 1, 2, 3, 5, 5, 6, 8, 255])}
        local["chassis_id"] = printed_address() if local["chassis_id_subtype"] == 5 else text(1, 16)
    elif kind < 8:
        local = {"chassis_id_subtype": 7, "chassis_id": text(1, 16)}
    else:
        mac = mac_like()
        local = {"chassis_id": mac.decode() if all(0x20 <= c < 0x7F for c in mac) else mac.hex()}
        if r.random() < 0.5:
            local["chassis_id_subtype"] = 4
    optional(local, [("sys_name", 0, 12, 0.7), ("sys_desc", 0, 30, 0.5)],
             [("supported_caps", [0, 20, 0x100, 0xFFFF]), ("enabled_caps", [0, 16, 0x8001])])
    t["local"] = local
    # The small address pool makes an address held by two records common.
    locals_ = [{"addrs": [address(False) for _ in range(r.randint(1, 3))]} for _ in range(r.randrange(4))]
    if locals_ or r.random() < 0.5:
        t["local_man_addrs"] = locals_
    if r.random() < 0.7:
        t["config"] = {k: r.choice([lo, hi, r.randint(lo, hi)]) for k, lo, hi in (
            ("tx_interval", 5, 32768), ("tx_hold", 2, 10), ("reinit_delay", 1, 10), ("tx_delay", 1, 8192))
            if r.random() < 0.7}
    if r.random() < 0.6:
        t["remote_tables_last_change"] = r.choice([0, 1, SUB_MAX, r.randrange(10**6)])
    t["ports"] = []
    for num in distinct(r.randrange(6), [1, 2, 3, 5, 7, 8, 9, 100, 4096, 4097, INDEX_MAX]):
        p = {"port_num": num}
        if r.random() < 0.4:
            p["admin_status"] = r.randint(1, 4)
        if r.random() < 0.5:
            p["notification_enable"] = r.random() < 0.5
        if r.random() < 0.4:
            p["tlvs_tx"] = r.randint(0, 15)
        if r.random() < 0.4:
            p["man_addr_tx"] = r.random() < 0.5
        if r.random() < 0.7:
            p["statistics"] = {k: r.choice([0, 1, 2**32 - 1, 2**32, 2**32 + 5, 2**64 - 1, r.randrange(10**6)])
                               for k in ("tx_frames", "rx_frames", "rx_frames_discarded", "rx_frames_errors",
                                         "rx_tlvs_discarded", "rx_tlvs_unrecognized", "ageouts", "inserts",
                                         "deletes", "drops") if r.random() < 0.6}
        if r.random() < 0.5:
            p["port_id_subtype"] = r.choice([0, 3, 3, 4, 4, 5, 7, 255])
        mac = mac_like()
        p["port_id"] = (text(256, 300) if r.random() < 0.03 else
                        printed_address() if r.random() < 0.3 else
                        mac.decode() if r.random() < 0.4 and all(0x20 <= c < 0x7F for c in mac) else text(1, 12))
        optional(p, [("port_desc", 0, 20, 0.6)], [])
        p.update(org_ext(local=True))
        count = 0 if r.random() < 0.3 else r.randint(1, 4)
        neighbors = [neighbor(i) for i in distinct(count, [1, 2, 3, 10, 1000, INDEX_MAX])]
        if neighbors or r.random() < 0.5:
            p["neighbors"] = neighbors
        t["ports"].append(p)
    return t


VERSIONS = 3


def changed(t, r):
    """t after one to three changes a live daemon makes: a neighbour renamed,
    gone, or new (a copy of one under a free index, renamed); the local name, a
    port description or a local address changed."""
    t = json.loads(json.dumps(t))
    ports = t["ports"]
    name = "".join(r.choices(TEXT, k=r.randint(1, 10)))
    for _ in range(r.randint(1, 3)):
        neighbours = [(p, n) for p in ports for n in p.get("neighbors", [])]
        how = r.randrange(6)
        if how == 0 and neighbours:
            r.choice(neighbours)[1]["sys_name"] = name
        elif how == 1 and neighbours:
            p, n = r.choice(neighbours)
            p["neighbors"].remove(n)
        elif how == 2 and neighbours:
            p = r.choice(ports)
            used = {n["rem_index"] for n in p.get("neighbors", [])}
            free = [i for i in (1, 2, 3, 4, 10, 1000, INDEX_MAX) if i not in used]
            if free:
                n = dict(r.choice(neighbours)[1], rem_index=r.choice(free), sys_name=name)
                p.setdefault("neighbors", []).append(n)
        elif how == 3:
            t["local"]["sys_name"] = name
        elif how == 4 and ports:
            r.choice(ports)["port_desc"] = name
        elif how == 5 and t.get("local_man_addrs"):
            r.choice(t["local_man_addrs"])["addrs"][0]["addr"] = f"192.0.2.{r.randrange(9)}"
    return t


def names_to_ask(names, r, count):
    """Names around the served ones: an existing name (from names) or a served
    column with sub-identifiers of its own, then as it is, a prefix, one
    sub-identifier of the instance at or past its range, too long, too short,
    a bad string length in an address index, or a neighbouring column."""
    def edge(x):
        return r.choice([0, 1, INDEX_MAX, INDEX_MAX + 1, SUB_MAX, (x + 1) % 2**32, (x - 1) % 2**32,
                         9, 126, 127, 255, 256])

    out = []
    for _ in range(count):
        if names and r.random() < 0.65:
            n = list(r.choice(names))
        else:
            n = list(r.choice(COLUMNS)) + [r.randrange(12) if r.random() < 0.7 else edge(0)
                                           for _ in range(r.randrange(12))]
        scalar = len(n) > 9 and n[6] == 1 and (n[7] in (1, 2) and n[8] <= 5 or n[7] == 3 and n[8] <= 6)
        instance = 9 if scalar else 11  # where it starts
        how = r.randrange(9)
        if how == 2:
            n = n[:r.randint(1, len(n))]
        elif how in (3, 4) and len(n) > instance:
            at = r.randrange(instance, len(n))
            n[at] = edge(n[at])
        elif how == 5:
            n += [0 if r.random() < 0.5 else edge(1) for _ in range(r.randint(1, 3))]
        elif how == 6:
            n = n[:max(1, len(n) - r.randint(1, 3))]
        elif how == 7 and (at := {(4, 2): 15, (3, 8): 12, (1, 7): 12}.get(tuple(n[7:9]), 0)) and at < len(n):
            n[at] = r.choice([0, 3, 5, 15, 17, 200, SUB_MAX])
        elif how == 8 and len(n) > 10:
            n[10] = r.choice([0, 1, 2, 3, 13, SUB_MAX])
        out.append(tuple(n[:128]))
    return out


def emit(topo, r):
    ref = reference(topo)
    print("topology", json.dumps(topo, separators=(",", ":")))
    print(*(f"{dotted(n)} {ref[n]}" for n in sorted(ref)),
          *(f"ask {dotted(n)}" for n in names_to_ask(list(ref), r, 40)), "end", sep="\n")


if __name__ == "__main__":
    if len(sys.argv) == 4 and sys.argv[1] == "cases":
        first, count = int(sys.argv[2]), int(sys.argv[3])
        for seed in range(first, first + count):
            r = random.Random(seed)
            emit(topology(r), r)
    elif len(sys.argv) == 4 and sys.argv[1] == "changes":
        first, count = int(sys.argv[2]), int(sys.argv[3])
        for seed in range(first, first + count):
            r = random.Random(seed)
            t = topology(r)
            emit(t, r)
            for _ in range(VERSIONS - 1):
                t = changed(t, r)
                emit(t, r)
    elif len(sys.argv) == 3 and sys.argv[1] == "walk":
        emit(json.loads(pathlib.Path(sys.argv[2]).read_text()), random.Random(0))
    else:
        sys.exit(__doc__)
