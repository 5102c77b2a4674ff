"""Model-based check through snmpd and lldpmib-agentx: scattered GETs and
GET-NEXTs, then a bulk walk of lldpMIB, all compared with a reference computed
here from the topology file (its own small implementation of the serving
rules: every binding the module serves, sorted by name).

Topology: model_topology.json, with mixed time marks (0, 100 ... 4294967295,
decreasing along port and index), several neighbours per port listed out of
order, a port without neighbours, all-zero and all-ones addresses, odd address
subtypes, TLV types and subtypes inside and outside the MIB's ranges, equal
element keys."""
import ipaddress
import json
import pathlib
import random

import pytest

from conftest import LLDP_MIB
from test_agentx import parse_snmp

TOPOLOGY = pathlib.Path(__file__).resolve().parent / "model_topology.json"
MIB = tuple(int(x) for x in LLDP_MIB.split("."))
INDEX_MAX = 2**31 - 1
SUB_MAX = 2**32 - 1


def _bytes(v):
    if isinstance(v, str):
        return v.encode()
    text = "".join(c for c in v["hex"] if c not in ":- ")
    return bytes.fromhex(text)


def _mac(raw):
    """Dotted MAC text to its 6 octets: dots anywhere, the first 14 characters
    decide; None when they are not such a text."""
    if len(raw) < 14:
        return None
    digits = ""
    for c in raw[:14].decode("latin-1"):
        if c == ".":
            continue
        if c not in "0123456789abcdefABCDEF":
            return None
        digits += c
    if len(digits) > 12:
        return None
    out = bytearray(6)
    for i in range(len(digits) // 2):
        out[i] = int(digits[2 * i:2 * i + 2], 16)
    return bytes(out)


def _caps(value):
    """BITS: capability n is bit n, bit 0 the first octet's most significant."""
    return int(f"{value & 0xFFFF:016b}"[::-1], 2).to_bytes(2, "big")


def _i32(v):
    return v - 2**32 if v >= 2**31 else v


def reference(topo):
    """{name tuple: 'TYPE value'} of every served binding."""
    ref = {}

    def put(column, instance, kind, value):
        name = MIB + column + tuple(instance)
        if name in ref:  # the first of equal keys stays
            return
        if kind == "OCTETS":
            ref[name] = "OCTETS " + value.hex()
        elif kind == "INTEGER":
            ref[name] = f"INTEGER {_i32(value)}"
        else:
            ref[name] = "OID " + value

    lldp = topo.get("lldp", {})
    if not (topo.get("router_type", 25) in (7, 8, 18)
            or lldp.get("enabled", True) or lldp.get("node_enabled", True)):
        return ref
    loc = topo["local"]
    subtype = loc.get("chassis_id_subtype", 4)
    put((1, 3, 1), [0], "INTEGER", subtype)
    chassis = _bytes(loc["chassis_id"])
    if subtype == 4:
        put((1, 3, 2), [0], "OCTETS", _mac(chassis) or chassis[:14])
    elif subtype == 7:
        put((1, 3, 2), [0], "OCTETS", chassis)
    put((1, 3, 3), [0], "OCTETS", _bytes(loc.get("sys_name", "")))
    put((1, 3, 4), [0], "OCTETS", _bytes(loc.get("sys_desc", "")))
    put((1, 3, 5), [0], "OCTETS", _caps(loc.get("supported_caps", 0)))
    put((1, 3, 6), [0], "OCTETS", _caps(loc.get("enabled_caps", 0)))
    for rec in topo.get("local_man_addrs", []):
        for a in rec["addrs"]:
            ip = ipaddress.ip_address(a["addr"])
            inst = [1 if ip.version == 4 else 2, len(ip.packed), *ip.packed]
            put((1, 3, 8, 1, 3), inst, "INTEGER", len(ip.packed) + 1)
            put((1, 3, 8, 1, 4), inst, "INTEGER", 2)
            put((1, 3, 8, 1, 5), inst, "INTEGER", a.get("if_id", 0))
    for p in topo.get("ports", []):
        port = p["port_num"]
        put((1, 3, 7, 1, 2), [port], "INTEGER", p.get("port_id_subtype", 5))
        put((1, 3, 7, 1, 3), [port], "OCTETS", _bytes(p["port_id"])[:255])
        put((1, 3, 7, 1, 4), [port], "OCTETS", _bytes(p.get("port_desc", "")))
        for n in p.get("neighbors", []):
            key = [n.get("time_mark", 0), port, n["rem_index"]]
            cs, ps = n.get("chassis_id_subtype", 4), n.get("port_id_subtype", 5)
            cid, pid = _bytes(n["chassis_id"]), _bytes(n["port_id"])
            if cs == 4 and len(cid) == 14 and _mac(cid):
                cid = _mac(cid)
            if ps == 3 and len(pid) == 14 and _mac(pid):
                pid = _mac(pid)
            put((1, 4, 1, 1, 4), key, "INTEGER", cs)
            put((1, 4, 1, 1, 5), key, "OCTETS", cid)
            put((1, 4, 1, 1, 6), key, "INTEGER", ps)
            put((1, 4, 1, 1, 7), key, "OCTETS", pid)
            put((1, 4, 1, 1, 8), key, "OCTETS", _bytes(n.get("port_desc", "")))
            put((1, 4, 1, 1, 9), key, "OCTETS", _bytes(n.get("sys_name", "")))
            put((1, 4, 1, 1, 10), key, "OCTETS", _bytes(n.get("sys_desc", "")))
            put((1, 4, 1, 1, 11), key, "OCTETS", _caps(n.get("supported_caps", 0)))
            put((1, 4, 1, 1, 12), key, "OCTETS", _caps(n.get("enabled_caps", 0)))
            for a in n.get("man_addrs", []):
                ip = ipaddress.ip_address(a["addr"])
                if not any(ip.packed):
                    continue
                inst = key + [a.get("subtype", 1 if ip.version == 4 else 2), len(ip.packed),
                              *ip.packed]
                put((1, 4, 2, 1, 3), inst, "INTEGER", 2)
                put((1, 4, 2, 1, 4), inst, "INTEGER", a.get("if_id", 0))
                put((1, 4, 2, 1, 5), inst, "OID", "0.0")
            for t in n.get("unknown_tlvs", []):
                if 9 <= t["type"] <= 126:
                    put((1, 4, 3, 1, 2), key + [t["type"]], "OCTETS", _bytes(t.get("info", "")))
            for t in n.get("org_def_tlvs", []):
                oui = t["oui"]
                if isinstance(oui, str):
                    oui = int("".join(c for c in oui if c not in ":-"), 16)
                if t["subtype"] < 1:
                    continue
                inst = key + [oui >> 16 & 255, oui >> 8 & 255, oui & 255, t["subtype"], t["index"]]
                put((1, 4, 4, 1, 4), inst, "OCTETS", _bytes(t.get("info", "")))
    return ref


def text(name):
    return ".".join(str(x) for x in name)


def scattered(ref, rng, count):
    """Names to ask: instances, prefixes, sub-identifiers at or past their
    range, too long, too short, bad string lengths."""
    names = sorted(ref)
    out = []
    while len(out) < count:
        n = list(rng.choice(names))
        how = rng.randrange(7)
        if how == 1:
            n = n[:rng.randrange(6, len(n))]
        elif how == 2:
            at = rng.randrange(11, len(n)) if len(n) > 11 else len(n) - 1
            n[at] = rng.choice([0, 1, INDEX_MAX, INDEX_MAX + 1, SUB_MAX, min(n[at] + 1, SUB_MAX), max(n[at] - 1, 0)])
        elif how == 3:
            n += [rng.choice([0, 1, SUB_MAX])]
        elif how == 4:
            n = n[:-1]
        elif how == 5 and len(n) > 15 and n[7] == 4 and n[8] == 2:
            n[15] = rng.choice([0, 3, 5, 17, 200])
        out.append(tuple(n))
    return out


@pytest.fixture(scope="module")
def model_agent():
    from conftest import Agent
    a = Agent(topology=TOPOLOGY)
    try:
        yield a.start()
    finally:
        a.stop()


def test_reference_covers_every_table():
    ref = reference(json.loads(TOPOLOGY.read_text()))
    tables = {name[6:10] for name in ref}
    assert {(1, 3, 1, 0), (1, 3, 7, 1), (1, 3, 8, 1), (1, 4, 1, 1), (1, 4, 2, 1), (1, 4, 3, 1),
            (1, 4, 4, 1)} <= tables


@pytest.mark.parametrize("seed", [11, 12, 13])
def test_scattered_requests_then_bulkwalk_answer_as_the_reference(model_agent, seed):
    ref = reference(json.loads(TOPOLOGY.read_text()))
    ordered = sorted(ref)
    rng = random.Random(seed)
    wrong = []

    names = scattered(ref, rng, 300)
    for i in range(0, len(names), 6):
        batch = [text(n) for n in names[i:i + 6]]
        for asked, got in zip(names[i:i + 6], parse_snmp(model_agent.snmp("snmpget", *batch).stdout)):
            want = f"{text(asked)} {ref[asked]}" if asked in ref else None
            if want is None and not got.endswith(("NOSUCHINSTANCE", "NOSUCHOBJECT")):
                wrong.append(f"GET {text(asked)}: got {got}, want no binding")
            elif want is not None and got != want:
                wrong.append(f"GET {text(asked)}: got {got}, want {want}")

    names = scattered(ref, rng, 300)
    for i in range(0, len(names), 6):
        batch = [text(n) for n in names[i:i + 6]]
        for asked, got in zip(names[i:i + 6], parse_snmp(model_agent.snmp("snmpgetnext", *batch).stdout)):
            after = [n for n in ordered if n > asked]
            if after:
                want = f"{text(after[0])} {ref[after[0]]}"
                if got != want:
                    wrong.append(f"GET-NEXT {text(asked)}: got {got}, want {want}")
            elif got.startswith(LLDP_MIB + "."):
                wrong.append(f"GET-NEXT {text(asked)}: got {got}, want the end of lldpMIB")

    r = model_agent.snmp("snmpbulkwalk", "-Cr20", LLDP_MIB)
    walked = [l for l in parse_snmp(r.stdout)
              if not l.endswith(("NOSUCHOBJECT", "NOSUCHINSTANCE", "ENDOFMIBVIEW"))]
    expected = [f"{text(n)} {ref[n]}" for n in ordered]
    if walked != expected:
        missing = [l for l in expected if l not in walked]
        extra = [l for l in walked if l not in expected]
        wrong.append(f"bulk walk: {len(walked)} bindings, want {len(expected)}; "
                     f"missing {missing[:10]}, unexpected {extra[:10]}")
    assert not wrong, f"{len(wrong)} answers differ from the reference:\n" + "\n".join(wrong[:40])
