"""What the agent must serve on lldpd, computed straight from lldpd's own view
(`lldpcli -f json0 show chassis | interfaces | neighbors details |
configuration`) by the MIB's rules: {name tuple: 'TYPE value'}.  The counters
of lldpStatistics keep moving and are checked apart, against `show statistics`.

Time marks are 0: neighbours already known when an agent starts have none."""
import ipaddress

from reference import MIB, caps, port_list, typed

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


def reference(view, ifindex, unhandled=None, notify=False, interval=30):
    """view: {"chassis", "interfaces", "neighbors", "configuration"} as lldpcli
    prints them (json0); ifindex: {interface name: index}, lldpLocPortNum;
    unhandled: {ID octets: subtype} for IDs lldpcli prints as 'unhandled'."""
    unhandled = unhandled or {}
    ref = {}

    def put(column, instance, kind, v):
        ref.setdefault(MIB + column + tuple(instance), typed(kind, v))

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
        seen = {}
        for t in n.get("unknown-tlvs", [{}])[0].get("unknown-tlv", []):
            oui, subtype = bytes.fromhex(t["oui"].replace(",", "")), int(t["subtype"])
            seen[oui, subtype] = index = seen.get((oui, subtype), 0) + 1
            put((1, 4, 4, 1, 4), key + [*oui, subtype, index], "OCTETS",
                bytes.fromhex(t.get("value", "").replace(",", "")))  # no value when empty
    return ref
