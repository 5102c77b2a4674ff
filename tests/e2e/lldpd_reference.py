"""What the agent must serve on lldpd, computed straight from lldpd's own view
(`lldpcli -f json0 show chassis | interfaces details | neighbors details |
configuration`) by the MIB's rules: {name tuple: 'TYPE value'}.  The counters
of lldpStatistics keep moving and are checked apart, against `show statistics`.

Time marks are 0: neighbours already known when an agent starts have none."""
import ipaddress
import pathlib
import re

from reference import DOT3, MIB, V2, caps, org_ext, port_list, typed, v2

# lldpcli's ID types and their subtype numbers.
CHASSIS_SUBTYPES = {"ifalias": 2, "mac": 4, "ip": 5, "ifname": 6, "local": 7}
PORT_SUBTYPES = {"ifalias": 1, "mac": 3, "ip": 4, "ifname": 5, "local": 7}
CAPABILITIES = ["Other", "Repeater", "Bridge", "Wlan", "Router", "Tel", "Docsis", "Station"]  # by bit
ADMIN_STATUS = {"TX only": 1, "RX only": 2, "RX and TX": 3, "disabled": 4}
FIRST_OWN_INDEX = 1000000000  # a second neighbour with lldpd's chassis index on one port


def value(node, key, default=""):
    return node.get(key, [{}])[0].get("value", default)


def id_octets(node, subtypes, unhandled):
    """A chassis or port ID: (subtype, octets in the MIB's form). lldpcli prints
    the component and circuit ID subtypes as 'unhandled' hex: unhandled maps
    such octets to the subtype they were sent with."""
    i = node["id"][0]
    kind, text = i["type"], i["value"]
    if kind == "mac":
        return subtypes[kind], bytes.fromhex(text.replace(":", ""))
    if kind == "unhandled":
        octets = bytes.fromhex(text.replace(" ", ""))
        return unhandled[octets], octets
    if kind == "ip":
        try:
            ip = ipaddress.ip_address(text)
            return subtypes[kind], bytes([1 if ip.version == 4 else 2]) + ip.packed
        except ValueError:  # another family: hex, the family octet first
            return subtypes[kind], bytes.fromhex(text.replace(" ", ""))
    return subtypes[kind], text.encode()


def capabilities(chassis):
    """(supported, enabled) as LldpSystemCapabilitiesMap octets."""
    have = [(1 << CAPABILITIES.index(c["type"]), c["enabled"]) for c in chassis.get("capability", [])]
    return caps(sum(bit for bit, _ in have)), caps(sum(bit for bit, on in have if on))


def addresses(chassis):
    """[(instance after the table's own index, interface number)] of the management addresses."""
    ips, ifaces = chassis.get("mgmt-ip", []), chassis.get("mgmt-iface", [])
    # lldpcli lists the numbers apart and leaves out an address's missing one.
    assert len(ifaces) in (0, len(ips)), f"which address has which interface number? {ips} {ifaces}"
    out = []
    for ip, iface in zip(ips, ifaces or [{"value": "0"}] * len(ips)):
        packed = ipaddress.ip_address(ip["value"]).packed
        out.append(([1 if len(packed) == 4 else 2, len(packed), *packed], int(iface["value"])))
    return out


# lldpcli's names of the auto-negotiation capabilities: (half duplex bit, full duplex bit)
# of the PMD advertised capability field (LLDP_DOT3_LINK_AUTONEG_* in lldp-const.h).
ADVERTISED = {"10Base-T": (0x4000, 0x2000), "100Base-T4": (0x1000, 0x1000), "100Base-TX": (0x0800, 0x0400),
              "100Base-T2": (0x0200, 0x0100), "1000Base-X": (0x0008, 0x0004), "1000Base-T": (0x0002, 0x0001)}
# MAU types by name, from liblldpctl's header (lldpcli prints "<name> - <description>").
MAU_TYPES = {m[1].lower(): int(m[2]) for m in re.finditer(r"#define LLDP_DOT3_MAU_(\w+) (\d+)",
                                                            pathlib.Path("/usr/include/lldp-const.h").read_text())}
UNKNOWN = "OCTETS ?"  # a column lldpcli does not show: not compared


def dot1_dot3(i, local):
    """An interface of lldpcli's view (json0) as the topology file's dot1 and dot3
    sections, the reference's input; advertised capabilities None when lldpcli
    does not list them (it lists them only with auto-negotiation enabled, and
    never 'other' or the pause bits). Local ports: lldpd sends link aggregation
    (capable, not aggregated), MAC/PHY and, configured, power; no frame size."""
    p = i["port"][0]
    vlans = i.get("vlan", [])
    dot1 = {"port_vlan_tx": any(v["pvid"] for v in vlans),
            "vlan_names": [{"vid": int(v["vlan-id"]), "name": v["value"]} for v in vlans if "value" in v],
            "ppvids": [{"vid": int(v.get("value", 0)), "supported": v["supported"], "enabled": v["enabled"]}
                       for v in i.get("ppvid", [])],
            "protocols": [{"id": {"hex": v["value"]}} for v in i.get("pi", [])]}
    dot1.update({"port_vlan_id": int(v["vlan-id"]) for v in vlans if v["pvid"]})
    dot3 = {}
    if "auto-negotiation" in p:
        a = p["auto-negotiation"][0]
        advertised = None if "advertised" not in a else sum(
            bit for c in a["advertised"] for bit, on in zip(ADVERTISED[c["type"]], (c.get("hd", True), c.get("fd", False)))
            if on)
        mau = a.get("current", [{}])[0].get("value", "").split(" - ")[0].lower()
        dot3["mac_phy"] = {"autoneg_supported": a["supported"], "autoneg_enabled": a["enabled"],
                           "advertised": advertised, "mau_type": MAU_TYPES.get(mau, 0)}
    if "power" in p:
        w = p["power"][0]
        dot3["power"] = {"port_class": {"PSE": 1, "PD": 2}[value(w, "device-type")], "mdi_supported": w["supported"],
                         "mdi_enabled": w["enabled"], "pair_control": w["paircontrol"],
                         "pairs": {"signal": 1, "spare": 2}[value(w, "pairs")],
                         "class": int(value(w, "class").split()[1]) + 1}
    if "aggregation" in p:
        dot3["link_agg"] = {"capable": True, "enabled": True, "port_id": int(value(p, "aggregation"))}
    elif local:
        dot3["link_agg"] = {"capable": True}
    if "mfs" in p:
        dot3["max_frame_size"] = int(value(p, "mfs"))
    if local:
        dot3["tlvs_tx"] = 1 | 4 | (2 if "power" in dot3 else 0) | (8 if "max_frame_size" in dot3 else 0)
    return {"dot1": dot1, "dot3": dot3}


def extension_rows(interface, key, put, local):
    """The 802.1/802.3 tables' rows of one interface; an advertised capability
    lldpcli does not show is UNKNOWN."""
    ext = dot1_dot3(interface, local)
    mac_phy = ext["dot3"].get("mac_phy", {})
    shown = mac_phy.get("advertised") is not None
    if not shown and mac_phy:
        mac_phy["advertised"] = 0
    org_ext(ext, key, put, local)
    if not shown and mac_phy:
        put.unknown(MIB + DOT3 + (2 if local else 3, 1, 1, 3) + tuple(key))


def comparable(walked, ref):
    """The walk's lines, a value the reference does not know replaced as it is there."""
    out = []
    for line in walked:
        oid, _ = line.split(" ", 1)
        out.append(f"{oid} {UNKNOWN}" if ref.get(tuple(map(int, oid.split(".")))) == UNKNOWN else line)
    return out


def reference(view, ifindex, unhandled=None, notify=False, interval=30):
    """view: {"chassis", "interfaces", "neighbors", "configuration"} as lldpcli
    prints them (json0); ifindex: {interface name: index}, lldpLocPortNum;
    unhandled: {ID octets: subtype} for IDs lldpcli prints as 'unhandled'."""
    unhandled = unhandled or {}
    ref = {}

    def put(column, instance, kind, v):
        ref.setdefault(MIB + column + tuple(instance), typed(kind, v))
    put.unknown = lambda name: ref.__setitem__(name, UNKNOWN)

    conf = view["configuration"]["configuration"][0]["config"][0]
    for scalar, v in enumerate((int(value(conf, "tx-delay")), int(value(conf, "tx-hold")), 2, 2, interval), 1):
        put((1, 1, scalar), [0], "INTEGER", v)
    receive_only = value(conf, "rx-only") == "yes"
    # Descriptions and name always; lldpcli does not show whether capabilities
    # are advertised (they are unless turned off, which these tests never do).
    tlvs = 0xF0

    local = view["chassis"]["local-chassis"][0]["chassis"][0]
    subtype, cid = id_octets(local, CHASSIS_SUBTYPES, unhandled)
    supported, enabled = capabilities(local)
    for scalar, kind, v in ((1, "INTEGER", subtype), (2, "OCTETS", cid), (3, "OCTETS", value(local, "name").encode()),
                            (4, "OCTETS", value(local, "descr").encode()), (5, "OCTETS", supported),
                            (6, "OCTETS", enabled)):
        put((1, 3, scalar), [0], kind, v)
    ports = view["interfaces"]["lldp"][0]["interface"]
    every_port = port_list(ifindex[p["name"]] for p in ports)
    for inst, if_id in addresses(local):
        for column, v in ((3, inst[1] + 1), (4, 2), (5, if_id)):
            put((1, 3, 8, 1, column), inst, "INTEGER", v)
        put((1, 1, 7, 1, 1), inst, "OCTETS", every_port)
    for p in ports:
        num = [ifindex[p["name"]]]
        subtype, pid = id_octets(p["port"][0], PORT_SUBTYPES, unhandled)
        put((1, 3, 7, 1, 2), num, "INTEGER", subtype)
        put((1, 3, 7, 1, 3), num, "OCTETS", pid)
        put((1, 3, 7, 1, 4), num, "OCTETS", value(p["port"][0], "descr").encode())
        status = ADMIN_STATUS[value(p, "status")]
        if receive_only:  # nothing is sent
            status = {1: 4, 3: 2}.get(status, status)
        put((1, 1, 6, 1, 2), num, "INTEGER", status)
        put((1, 1, 6, 1, 3), num, "INTEGER", 1 if notify else 2)
        put((1, 1, 6, 1, 4), num, "OCTETS", bytes([tlvs]))
        extension_rows(p, num, put, local=True)

    own, used = FIRST_OWN_INDEX, set()
    for n in view["neighbors"]["lldp"][0].get("interface", []):
        port, rid = ifindex[n["name"]], int(n["rid"])
        if (port, rid) in used:
            rid, own = own, own + 1
        used.add((port, rid))
        key = [0, port, rid]
        c, p = n["chassis"][0], n["port"][0]
        (cs, cid), (ps, pid) = id_octets(c, CHASSIS_SUBTYPES, unhandled), id_octets(p, PORT_SUBTYPES, unhandled)
        supported, enabled = capabilities(c)
        for column, kind, v in ((4, "INTEGER", cs), (5, "OCTETS", cid), (6, "INTEGER", ps), (7, "OCTETS", pid),
                                (8, "OCTETS", value(p, "descr").encode()), (9, "OCTETS", value(c, "name").encode()),
                                (10, "OCTETS", value(c, "descr").encode()), (11, "OCTETS", supported),
                                (12, "OCTETS", enabled)):
            put((1, 4, 1, 1, column), key, kind, v)
        for inst, if_id in addresses(c):
            put((1, 4, 2, 1, 3), key + inst, "INTEGER", 2)
            put((1, 4, 2, 1, 4), key + inst, "INTEGER", if_id)
            put((1, 4, 2, 1, 5), key + inst, "OID", "0.0")
        extension_rows(n, key, put, local=False)
        seen = {}
        for t in n.get("unknown-tlvs", [{}])[0].get("unknown-tlv", []):
            oui, subtype = bytes.fromhex(t["oui"].replace(",", "")), int(t["subtype"])
            seen[oui, subtype] = index = seen.get((oui, subtype), 0) + 1
            put((1, 4, 4, 1, 4), key + [*oui, subtype, index], "OCTETS",
                bytes.fromhex(t.get("value", "").replace(",", "")))  # no value when empty
    # LLDP-V2-MIB (its counters too are checked apart): lldpd sends the addresses
    # on every port and drops no neighbour.
    ref.update((name, answer) for name, answer in v2(ref, {"ports": [{"port_num": ifindex[p["name"]]} for p in ports]})
               .items() if name[:len(V2) + 1] != V2 + (2,))
    return ref
