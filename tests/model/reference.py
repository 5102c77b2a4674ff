"""What the agent must serve for a topology file, computed here from the file
alone by a small model of the serving rules: {name tuple: 'TYPE value'}."""
import ipaddress
import json

MIB = (1, 0, 8802, 1, 1, 2)  # lldpMIB


def _bytes(v):
    return v.encode() if isinstance(v, str) else bytes.fromhex(
        "".join(c for c in v["hex"] if c not in ":- "))


def _mac(raw):
    """Dotted MAC text to its 6 octets (dots anywhere, the first 14 characters
    decide, missing digits are 0); None when it is no such text."""
    digits = raw[:14].decode("latin-1").replace(".", "")
    if len(raw) < 14 or len(digits) > 12 or any(c not in "0123456789abcdefABCDEF" for c in digits):
        return None
    return bytes.fromhex(digits[:len(digits) // 2 * 2]).ljust(6, b"\0")


def _address(raw):
    """Printed IPv4 or IPv6 text to the IANA family octet and the address; None
    when it is no such text."""
    try:
        ip = ipaddress.ip_address(raw.decode("latin-1"))
    except ValueError:
        return None
    return bytes([1 if ip.version == 4 else 2]) + ip.packed


def caps(value):
    """BITS: capability n is bit n, bit 0 the first octet's most significant."""
    return int(f"{value & 0xFFFF:016b}"[::-1], 2).to_bytes(2, "big")


def port_list(ports):
    """LldpPortList: port n is bit n-1 from the first octet's most significant
    bit, as many octets as the highest port needs; ports past 4096 (512
    octets) have no bit."""
    ports = [n for n in ports if 1 <= n <= 4096]
    bits = bytearray((max(ports) + 7) // 8 if ports else 0)
    for n in ports:
        bits[(n - 1) // 8] |= 0x80 >> ((n - 1) % 8)
    return bytes(bits)


STATS = ("tx_frames", "rx_frames_discarded", "rx_frames_errors", "rx_frames", "rx_tlvs_discarded",
         "rx_tlvs_unrecognized", "ageouts")


def configuration(topo, put):
    """lldpConfiguration and lldpStatistics (the extension library's groups)."""
    cfg = topo.get("config", {})
    for scalar, key, default in ((1, "tx_interval", 30), (2, "tx_hold", 4), (3, "reinit_delay", 2),
                                 (4, "tx_delay", 2)):
        put((1, 1, scalar), [0], "INTEGER", cfg.get(key, default))
    put((1, 1, 5), [0], "INTEGER", 30)  # lldpNotificationInterval: the library's default
    ports = topo.get("ports", [])
    total = {k: sum(p.get("statistics", {}).get(k, 0) for p in ports)
             for k in ("inserts", "deletes", "drops", "ageouts")}
    put((1, 2, 1), [0], "TIMETICKS", topo.get("remote_tables_last_change", 0))
    for scalar, key in ((2, "inserts"), (3, "deletes"), (4, "drops"), (5, "ageouts")):
        put((1, 2, scalar), [0], "GAUGE32", total[key])  # ZeroBasedCounter32
    for p in ports:
        port, stats = [p["port_num"]], p.get("statistics", {})
        tlvs = p.get("tlvs_tx", 15)
        put((1, 1, 6, 1, 2), port, "INTEGER", p.get("admin_status", 3))
        put((1, 1, 6, 1, 3), port, "INTEGER", 1 if p.get("notification_enable", False) else 2)
        put((1, 1, 6, 1, 4), port, "OCTETS", bytes([sum(0x80 >> n for n in range(4) if tlvs >> n & 1)]))
        put((1, 2, 6, 1, 2), port, "COUNTER32", stats.get("tx_frames", 0))
        for column, key in enumerate(STATS[1:], start=2):
            put((1, 2, 7, 1, column), port, "GAUGE32" if key == "ageouts" else "COUNTER32",
                stats.get(key, 0))


def typed(kind, value):
    """A value as the walk lines show it: 'TYPE value'."""
    return f"{kind} " + (
        value.hex() if kind == "OCTETS" else
        str(value - 2**32 if value >= 2**31 else value) if kind == "INTEGER" else
        str(value % 2**32) if kind in ("COUNTER32", "GAUGE32", "TIMETICKS") else value)


DOT1, DOT3 = (1, 5, 32962, 1), (1, 5, 4623, 1)  # lldpXdot1Objects, lldpXdot3Objects


def truth(b):
    return 1 if b else 2


def bits(value, count):
    """BITS: named bit n is bit n of value, the first octet's most significant first."""
    out = bytearray((count + 7) // 8)
    for n in range(count):
        if value >> n & 1:
            out[n // 8] |= 0x80 >> n % 8
    return bytes(out)


def by_vid(items):
    """The first element of each VLAN ID, by VLAN ID."""
    first = {}
    for i in items:
        first.setdefault(i["vid"], i)
    return [first[v] for v in sorted(first)]


def org_ext(ext, key, put, local):
    """The 802.1 and 802.3 extension tables' rows of one port (local) or neighbour."""
    dot1, dot3 = ext.get("dot1", {}), ext.get("dot3", {})
    group = 2 if local else 3
    if local:
        put(DOT1 + (1, 1, 1, 1), key, "INTEGER", truth(dot1.get("port_vlan_tx", True)))
        put(DOT3 + (1, 1, 1, 1), key, "OCTETS", bits(dot3.get("tlvs_tx", 15), 4))
    if local or "port_vlan_id" in dot1:
        put(DOT1 + (group, 1, 1, 1), key, "INTEGER", dot1.get("port_vlan_id", 0))
    for v in by_vid(dot1.get("ppvids", [])):
        if local:
            put(DOT1 + (1, 3, 1, 1), key + [v["vid"]], "INTEGER", truth(v.get("tx", True)))
        put(DOT1 + (group, 2, 1, 2), key + [v["vid"]], "INTEGER", truth(v.get("supported", False)))
        put(DOT1 + (group, 2, 1, 3), key + [v["vid"]], "INTEGER", truth(v.get("enabled", False)))
    for v in by_vid(dot1.get("vlan_names", [])):
        if local:
            put(DOT1 + (1, 2, 1, 1), key + [v["vid"]], "INTEGER", truth(v.get("tx", True)))
        put(DOT1 + (group, 3, 1, 2), key + [v["vid"]], "OCTETS", _bytes(v["name"])[:32])
    for i, pr in enumerate(dot1.get("protocols", []), 1):
        if local:
            put(DOT1 + (1, 4, 1, 1), key + [i], "INTEGER", truth(pr.get("tx", True)))
        put(DOT1 + (group, 4, 1, 2), key + [i], "OCTETS", _bytes(pr["id"]))
    if "mac_phy" in dot3:
        m = dot3["mac_phy"]
        for column, kind, v in ((1, "INTEGER", truth(m.get("autoneg_supported", False))),
                                (2, "INTEGER", truth(m.get("autoneg_enabled", False))),
                                (3, "OCTETS", m.get("advertised", 0).to_bytes(2, "big")),
                                (4, "INTEGER", m.get("mau_type", 0))):
            put(DOT3 + (group, 1, 1, column), key, kind, v)
    if "power" in dot3:
        w = dot3["power"]
        for column, v in enumerate((w.get("port_class", 1), truth(w.get("mdi_supported", False)),
                                    truth(w.get("mdi_enabled", False)), truth(w.get("pair_control", False)),
                                    w.get("pairs", 1), w.get("class", 1)), 1):
            put(DOT3 + (group, 2, 1, column), key, "INTEGER", v)
    if "link_agg" in dot3:
        a = dot3["link_agg"]
        put(DOT3 + (group, 3, 1, 1), key, "OCTETS", bits(a.get("capable", False) | a.get("enabled", False) << 1, 2))
        put(DOT3 + (group, 3, 1, 2), key, "INTEGER", a.get("port_id", 0))
    if "max_frame_size" in dot3:
        put(DOT3 + (group, 4, 1, 1), key, "INTEGER", dot3["max_frame_size"])


def reference(topo):
    if not isinstance(topo, dict):
        topo = json.loads(topo.read_text())
    ref = {}

    def put(column, instance, kind, value):
        # The first of equal keys stays.
        ref.setdefault(MIB + column + tuple(instance), typed(kind, value))

    lldp = topo.get("lldp", {})
    if not (topo.get("router_type", 25) in (7, 8, 18)
            or lldp.get("enabled", True) or lldp.get("node_enabled", True)):
        return ref
    loc = topo["local"]
    subtype, chassis = loc.get("chassis_id_subtype", 4), _bytes(loc["chassis_id"])
    put((1, 3, 1), [0], "INTEGER", subtype)
    if 1 <= subtype <= 7:  # MAC and network addresses as octets, other IDs as text
        put((1, 3, 2), [0], "OCTETS", (_mac(chassis) or chassis[:14]) if subtype == 4 else
            (_address(chassis) or chassis) if subtype == 5 else chassis)
    put((1, 3, 3), [0], "OCTETS", _bytes(loc.get("sys_name", "")))
    put((1, 3, 4), [0], "OCTETS", _bytes(loc.get("sys_desc", "")))
    put((1, 3, 5), [0], "OCTETS", caps(loc.get("supported_caps", 0)))
    put((1, 3, 6), [0], "OCTETS", caps(loc.get("enabled_caps", 0)))
    ports = topo.get("ports", [])
    for a in (a for rec in topo.get("local_man_addrs", []) for a in rec["addrs"]):
        ip = ipaddress.ip_address(a["addr"]).packed
        inst = [1 if len(ip) == 4 else 2, len(ip), *ip]
        for column, value in ((3, len(ip) + 1), (4, 2), (5, a.get("if_id", 0))):
            put((1, 3, 8, 1, column), inst, "INTEGER", value)
        put((1, 1, 7, 1, 1), inst, "OCTETS", port_list(
            p["port_num"] for p in ports if p.get("man_addr_tx", True)))
    configuration(topo, put)
    for p in topo.get("ports", []):
        port = p["port_num"]
        subtype, pid = p.get("port_id_subtype", 5), _bytes(p["port_id"])
        pid = (subtype == 3 and _mac(pid)) or (subtype == 4 and _address(pid)) or pid[:255]
        put((1, 3, 7, 1, 2), [port], "INTEGER", subtype)
        put((1, 3, 7, 1, 3), [port], "OCTETS", pid)
        put((1, 3, 7, 1, 4), [port], "OCTETS", _bytes(p.get("port_desc", "")))
        org_ext(p, [port], put, local=True)
        for n in p.get("neighbors", []):
            key = [n.get("time_mark", 0), port, n["rem_index"]]
            cs, ps = n.get("chassis_id_subtype", 4), n.get("port_id_subtype", 5)
            cid, pid = _bytes(n["chassis_id"]), _bytes(n["port_id"])
            cid = (cs == 4 and len(cid) == 14 and _mac(cid)) or cid
            pid = (ps == 3 and len(pid) == 14 and _mac(pid)) or pid
            for column, kind, value in (
                    (4, "INTEGER", cs), (5, "OCTETS", cid), (6, "INTEGER", ps), (7, "OCTETS", pid),
                    (8, "OCTETS", _bytes(n.get("port_desc", ""))),
                    (9, "OCTETS", _bytes(n.get("sys_name", ""))),
                    (10, "OCTETS", _bytes(n.get("sys_desc", ""))),
                    (11, "OCTETS", caps(n.get("supported_caps", 0))),
                    (12, "OCTETS", caps(n.get("enabled_caps", 0)))):
                put((1, 4, 1, 1, column), key, kind, value)
            org_ext(n, key, put, local=False)
            for a in n.get("man_addrs", []):
                ip = ipaddress.ip_address(a["addr"]).packed
                if any(ip):  # all-zero addresses are not served
                    inst = key + [a.get("subtype", 1 if len(ip) == 4 else 2), len(ip), *ip]
                    put((1, 4, 2, 1, 3), inst, "INTEGER", 2)
                    put((1, 4, 2, 1, 4), inst, "INTEGER", a.get("if_id", 0))
                    put((1, 4, 2, 1, 5), inst, "OID", "0.0")
            for t in n.get("unknown_tlvs", []):
                if 9 <= t["type"] <= 126:
                    put((1, 4, 3, 1, 2), key + [t["type"]], "OCTETS", _bytes(t.get("info", "")))
            for t in n.get("org_def_tlvs", []):
                oui = t["oui"]
                oui = int("".join(c for c in oui if c not in ":-"), 16) if isinstance(oui, str) else oui
                if t["subtype"] >= 1:
                    put((1, 4, 4, 1, 4), key + [*oui.to_bytes(3, "big"), t["subtype"], t["index"]],
                        "OCTETS", _bytes(t.get("info", "")))
    ref.update(v2(ref, topo))
    return ref


V2 = (1, 3, 111, 2, 802, 1, 1, 13, 1)  # lldpV2Objects
# LLDP-MIB columns served again by LLDP-V2-MIB: (2005 entry or group, its
# column) -> (V2 entry or group, column, type or None to keep it, remote).
V2_COLUMNS = {
    **{((1, 1), c): ((1,), c, "GAUGE32", False) for c in (1, 2, 3)},
    ((1, 1), 5): ((1,), 4, "GAUGE32", False),
    **{((1, 1, 6, 1), c): ((1, 8, 1), c + 1, None, False) for c in (2, 3, 4)},
    **{((1, 2), c): ((2,), c, None, False) for c in (1, 2, 3, 4, 5)},
    ((1, 2, 6, 1), 2): ((2, 6, 1), 3, None, False),
    **{((1, 2, 7, 1), c): ((2, 7, 1), c + 1, None, False) for c in range(2, 8)},
    **{((1, 3), c): ((3,), c, None, False) for c in range(1, 7)},
    **{((1, 3, 7, 1), c): ((3, 7, 1), c, None, False) for c in (2, 3, 4)},
    ((1, 3, 8, 1), 3): ((3, 8, 1), 3, "GAUGE32", False), ((1, 3, 8, 1), 4): ((3, 8, 1), 4, None, False),
    ((1, 3, 8, 1), 5): ((3, 8, 1), 5, "GAUGE32", False),
    **{((1, 4, 1, 1), c): ((4, 1, 1), c + 1, None, True) for c in range(4, 13)},
    ((1, 4, 2, 1), 3): ((4, 2, 1), 3, None, True), ((1, 4, 2, 1), 4): ((4, 2, 1), 4, "GAUGE32", True),
    ((1, 4, 2, 1), 5): ((4, 2, 1), 5, None, True),
    ((1, 4, 3, 1), 2): ((4, 3, 1), 2, None, True), ((1, 4, 4, 1), 4): ((4, 4, 1), 4, None, True)}
NEAREST_BRIDGE = 1
DEST_ADDRESSES = ("0180c200000e", "0180c2000003", "0180c2000000")


def v2(ref, topo):
    """LLDP-V2-MIB from LLDP-MIB's reference: the same values re-indexed (ports
    under destination address 1, remote rows with it after the local port),
    the 2009 MIB's own columns beside them."""
    out, ports = {}, {p["port_num"]: p for p in topo.get("ports", [])}
    for name, answer in ref.items():
        tail = name[len(MIB):]
        for split in (2, 4):
            entry, rest = tail[:split], tail[split:]
            if len(rest) < 2 or (entry, rest[0]) not in V2_COLUMNS:
                continue
            v2_entry, column, kind, remote = V2_COLUMNS[entry, rest[0]]
            instance = list(rest[1:])
            instance = instance[:2] + [NEAREST_BRIDGE] + instance[2:] if remote else \
                instance + [NEAREST_BRIDGE] if entry in ((1, 1, 6, 1), (1, 2, 6, 1), (1, 2, 7, 1)) else instance
            # Integer32 columns that LLDP-V2-MIB makes Unsigned32: the same 32 bits.
            out[V2 + v2_entry + (column,) + tuple(instance)] = \
                f"{kind} {int(answer.split()[1]) % 2**32}" if kind else answer
            break
    if not out:
        return out  # LLDP not served
    for column, value in ((5, 5), (6, 1), (7, 4)):  # lldpV2TxCreditMax, MessageFastTx, TxFastInit: defaults
        out[V2 + (1, column, 0)] = f"GAUGE32 {value}"
    for i, mac in enumerate(DEST_ADDRESSES, 1):
        out[V2 + (1, 9, 1, 2, i)] = f"OCTETS {mac}"
    addresses = [n[len(MIB) + 5:] for n in ref if n[len(MIB):len(MIB) + 5] == (1, 1, 7, 1, 1)]
    for num, p in ports.items():
        out[V2 + (2, 6, 1, 4, num, NEAREST_BRIDGE)] = "COUNTER32 0"  # lldpV2StatsTxLLDPDULengthErrors
        for a in addresses:
            out[V2 + (1, 10, 1, 5, num, NEAREST_BRIDGE) + a] = f"INTEGER {truth(p.get('man_addr_tx', True))}"
            out[V2 + (1, 10, 1, 6, num, NEAREST_BRIDGE) + a] = "INTEGER 1"  # active
    for name in [n for n in out if n[:len(V2) + 4] == V2 + (4, 1, 1, 5)]:
        key = name[len(V2) + 4:]
        drops = ports[key[1]].get("statistics", {}).get("drops", 0) % 2**32
        out[V2 + (4, 1, 1, 14) + key] = "INTEGER 2"  # lldpV2RemRemoteChanges
        out[V2 + (4, 1, 1, 15) + key] = f"INTEGER {truth(drops > 0)}"  # lldpV2RemTooManyNeighbors
    return out


def dotted(name):
    return ".".join(str(x) for x in name)


def lines(ref):
    """{name tuple: 'TYPE value'} in walk order, as '<oid> <TYPE> <value>' lines."""
    return [".".join(map(str, n)) + " " + ref[n] for n in sorted(ref)]


def walk(topo):
    """The whole served lldpMIB in walk order."""
    return lines(reference(topo))
