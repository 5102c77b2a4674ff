"""lldpcli's view (json0) of a router's lldpd as a topology file, so that the
topology backend can serve the same neighbours (bench/lldpd_bench.sh).

    /usr/bin/python3 lldpcli_topology.py SOCKET NETNS > topology.json

writes the topology of every neighbour lldpd knows; NETNS is the daemon's
namespace, where its ports' interface indexes are read."""
import json
import subprocess
import sys

# lldpd's ID types that are sent as text, and MAC addresses.
CHASSIS_SUBTYPES = {"ifalias": 2, "mac": 4, "ifname": 6, "local": 7}
PORT_SUBTYPES = {"ifalias": 1, "mac": 3, "ifname": 5, "local": 7}
CAPABILITIES = ["Other", "Repeater", "Bridge", "Wlan", "Router", "Tel", "Docsis", "Station"]  # by bit


def value(node, key):
    return node.get(key, [{}])[0].get("value", "")


def ident(node, subtypes):
    """A chassis or port ID: its subtype and its octets."""
    i = node["id"][0]
    raw = bytes.fromhex(i["value"].replace(":", "")) if i["type"] == "mac" else i["value"].encode()
    return subtypes[i["type"]], {"hex": raw.hex()}


def chassis(c):
    subtype, cid = ident(c, CHASSIS_SUBTYPES)
    have = [(1 << CAPABILITIES.index(cap["type"]), cap["enabled"]) for cap in c.get("capability", [])]
    return {"chassis_id_subtype": subtype, "chassis_id": cid, "sys_name": value(c, "name"),
            "sys_desc": value(c, "descr"), "supported_caps": sum(bit for bit, _ in have),
            "enabled_caps": sum(bit for bit, on in have if on)}


def port(p, mac_text=False):
    """A port's ID and description; MAC addresses as dotted text if mac_text."""
    subtype, pid = ident(p, PORT_SUBTYPES)
    if mac_text and subtype == PORT_SUBTYPES["mac"]:
        pid = ".".join(pid["hex"][k:k + 4] for k in (0, 4, 8))
    return {"port_id_subtype": subtype, "port_id": pid, "port_desc": value(p, "descr")}


def man_addrs(c):
    return [{"addr": ip["value"], "if_id": int(iface["value"])}
            for ip, iface in zip(c.get("mgmt-ip", []), c.get("mgmt-iface", []))]


def topology(show, ifindex, neighbours):
    """The router with these neighbours (json0 interfaces of `show neighbors details`):
    ports numbered by interface index ({name: ifindex}), org-def TLVs numbered per OUI
    and subtype (lldpd drops TLVs of unknown types). show(*args) is lldpcli's json0
    answer to `show ARGS`."""
    ports = {}
    for i in show("interfaces")["lldp"][0]["interface"]:
        ports[i["name"]] = {"port_num": ifindex[i["name"]], **port(i["port"][0], mac_text=True),
                            "neighbors": []}
    for i in neighbours:
        seen, tlvs = {}, []
        for t in i.get("unknown-tlvs", [{}])[0].get("unknown-tlv", []):
            key = (t["oui"], t["subtype"])
            seen[key] = seen.get(key, 0) + 1
            tlvs.append({"oui": t["oui"].replace(",", ""), "subtype": int(t["subtype"]), "index": seen[key],
                         "info": {"hex": t["value"].replace(",", "")}})
        ports[i["name"]]["neighbors"].append({"rem_index": int(i["rid"]), **chassis(i["chassis"][0]),
                                              **port(i["port"][0]), "man_addrs": man_addrs(i["chassis"][0]),
                                              "org_def_tlvs": tlvs})
    local = show("chassis")["local-chassis"][0]["chassis"][0]
    return {"local": chassis(local), "local_man_addrs": [{"addrs": man_addrs(local)}],
            "ports": list(ports.values())}


def main(sock, netns):
    def show(*args):
        return json.loads(subprocess.run(["lldpcli", "-u", sock, "-f", "json0", "show", *args], check=True,
                                         capture_output=True, text=True).stdout)
    links = json.loads(subprocess.run(["ip", "-n", netns, "-j", "link", "show"], check=True, capture_output=True,
                                      text=True).stdout)
    ifindex = {l["ifname"]: l["ifindex"] for l in links}
    neighbours = show("neighbors", "details")["lldp"][0].get("interface", [])
    json.dump(topology(show, ifindex, neighbours), sys.stdout, indent=1)


if __name__ == "__main__":
    main(*sys.argv[1:])
