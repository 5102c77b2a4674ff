"""mibs/LLDP-MIB.txt: loads with net-snmp alone, names exactly what the module
serves, and lets snmptable / snmpwalk show the served tables by name."""
import ctypes
import json
import os
import re
import subprocess

import pytest

from conftest import BUILD, EXAMPLES, LLDP_MIB, REPO, run_walker

MIBS = REPO / "mibs"
LIBRARY = BUILD / "l2protocols" / "ethernet" / "lldp" / "liblldpmib.so"
# Only our module: the IETF modules net-snmp would add by default are not
# installed on Debian, and asking for them prints a page of errors.
MIB_OPTIONS = ["-M", f"+{MIBS}", "-m", "LLDP-MIB"]


@pytest.fixture(scope="module")
def snmp_env(tmp_path_factory):
    state = tmp_path_factory.mktemp("snmp-state")
    env = dict(os.environ, SNMP_PERSISTENT_DIR=str(state))
    # The first run in a fresh state directory announces the directories it
    # creates; get that out of the way.
    subprocess.run(["snmptranslate", "-m", "", "-On", "iso"], env=env, capture_output=True)
    return env


def translate(env, *args):
    r = subprocess.run(["snmptranslate", *MIB_OPTIONS, *args], env=env, capture_output=True,
                       text=True, timeout=30)
    return r


# ----------------------------------------------------------------------------
# The MIB as net-snmp reads it


def mib_identifiers(env):
    """name -> dotted identifier of every node the MIB defines under lldpMIB."""
    r = translate(env, "-Tz")
    assert r.returncode == 0, r.stderr
    nodes = {}
    for name, oid in re.findall(r'^"([^"]+)"\s+"([\d.]+)"$', r.stdout, re.M):
        if oid == LLDP_MIB or oid.startswith(LLDP_MIB + "."):
            nodes[name] = oid
    return nodes


def mib_tree(env):
    """name -> (access, type, index names) from the -Tp tree: access is the
    four-letter flag ('-R--', '----') or None for a node that is no object."""
    r = translate(env, "-Tp", "LLDP-MIB::lldpMIB")
    assert r.returncode == 0, r.stderr
    tree = {}
    last = None
    for line in r.stdout.splitlines():
        m = re.search(r"\+-- (\S{4}) (\S+)\s+(\w+)\(\d+\)$", line)
        if m:
            last = m.group(3)
            tree[last] = (m.group(1), m.group(2), [])
            continue
        m = re.search(r"\+--(\w+)\(\d+\)$", line)
        if m:
            last = m.group(1)
            tree[last] = (None, None, [])
            continue
        m = re.search(r"Index: (.*)$", line)
        if m:
            tree[last][2].extend(n.strip() for n in m.group(1).split(","))
    return tree


def test_mib_loads_without_a_word(snmp_env):
    r = translate(snmp_env, "-Tp", "-Pw", "LLDP-MIB::lldpMIB")
    assert r.returncode == 0
    assert r.stderr == ""
    assert "lldpRemSysName(9)" in r.stdout


def test_mib_adds_no_complaint_to_the_default_modules(snmp_env):
    # -m +LLDP-MIB also asks for the default IETF modules, which Debian does
    # not ship: net-snmp complains about those, never about ours.
    r = subprocess.run(["snmptranslate", "-M", f"+{MIBS}", "-m", "+LLDP-MIB", "-On",
                        "LLDP-MIB::lldpRemSysName"], env=snmp_env, capture_output=True,
                       text=True, timeout=30)
    assert r.stdout.strip() == "." + LLDP_MIB + ".1.4.1.1.9"
    assert "LLDP-MIB" not in r.stderr


# ----------------------------------------------------------------------------
# The module as the built library exports it


class Oid(ctypes.Structure):
    _fields_ = [("length", ctypes.c_int32), ("oid_ptr", ctypes.POINTER(ctypes.c_uint32))]


class ObjectInfo(ctypes.Structure):
    _fields_ = [("oid", Oid), ("value_type", ctypes.c_uint8), ("access", ctypes.c_uint8),
                ("nominator", ctypes.c_uint8), ("attribute", ctypes.c_uint8),
                ("get", ctypes.c_void_p), ("test", ctypes.c_void_p),
                ("reserved", ctypes.c_void_p)]


class OidName(ctypes.Structure):
    _fields_ = [("name", ctypes.c_char_p), ("dotted", ctypes.c_char_p)]


def dotted(ptr, length):
    return ".".join(str(ptr[i]) for i in range(length))


@pytest.fixture(scope="module")
def module_names():
    """What the library exports: the IDlldp* arrays (name -> dotted), the
    name/identifier table, and the served objects (dotted -> value type)."""
    lib = ctypes.CDLL(str(LIBRARY))
    symbols = subprocess.run(["nm", "-D", "--defined-only", "-S", str(LIBRARY)],
                             capture_output=True, text=True, check=True).stdout
    ids = {}
    for size, name in re.findall(r"^[0-9a-f]+ ([0-9a-f]+) R (IDlldp\w+)$", symbols, re.M):
        n = int(size, 16) // 4
        ids[name[2:]] = dotted((ctypes.c_uint32 * n).in_dll(lib, name), n)
    table = {}
    for entry in (OidName * 64).in_dll(lib, "lldpmib_oid_table"):
        if entry.name is None:
            break
        table[entry.name.decode()] = entry.dotted.decode()
    count = ctypes.c_int32.in_dll(lib, "lldpmib_OidListNum").value
    served = {}
    for obj in (ObjectInfo * count).in_dll(lib, "lldpmib_OidList"):
        served[dotted(obj.oid.oid_ptr, obj.oid.length)] = obj.value_type
    return ids, table, served


def test_the_library_names_what_the_module_serves(module_names):
    ids, table, served = module_names
    assert len(ids) == 48 and len(served) == 27
    assert set(served) <= set(ids.values())


def test_every_name_of_the_module_has_its_identifier_in_the_mib(snmp_env, module_names):
    ids, table, _ = module_names
    mib = mib_identifiers(snmp_env)
    names = dict(ids)
    names.update((n, o) for n, o in table.items() if n != "iso")
    assert {n: mib.get(n) for n in names} == names


def test_readable_objects_of_the_served_groups_are_the_served_objects(snmp_env, module_names):
    _, _, served = module_names
    mib = mib_identifiers(snmp_env)
    tree = mib_tree(snmp_env)
    kinds = {2: {"Integer32", "EnumVal"}, 4: {"String", "BitString"}, 6: {"ObjID"}}
    readable = {}
    for name, oid in mib.items():
        access, syntax, _ = tree[name]
        if access not in (None, "----") and oid.startswith(
                (LLDP_MIB + ".1.3.", LLDP_MIB + ".1.4.")):
            assert access == "-R--", name
            readable[oid] = syntax
    assert set(readable) == set(served)
    for oid, syntax in readable.items():
        assert syntax in kinds[served[oid]], (oid, syntax)


def test_every_other_node_is_a_table_or_an_index_column(snmp_env, module_names):
    ids, table, _ = module_names
    named = set(ids.values()) | set(table.values())
    mib = mib_identifiers(snmp_env)
    tree = mib_tree(snmp_env)
    by_oid = {oid: name for name, oid in mib.items()}
    indexes = {i for access, syntax, idx in tree.values() for i in idx}
    for name, oid in mib.items():
        if oid in named:
            continue
        parent = oid.rsplit(".", 1)[0]
        if oid + ".1" in named and by_oid[oid + ".1"].endswith("Entry"):
            assert name.endswith("Table"), name
        else:
            assert parent in named and by_oid[parent].endswith("Entry"), name
            assert tree[name][0] == "----", name
            assert name in indexes, name


# ----------------------------------------------------------------------------
# snmptable and snmpwalk by name, against a reference read from the topology

SUBTYPES_CHASSIS = {4: "macAddress", 7: "local"}
SUBTYPES_PORT = {3: "macAddress", 5: "interfaceName", 7: "local"}
MAC_TEXT = re.compile(r"^[0-9a-fA-F]{4}\.[0-9a-fA-F]{4}\.[0-9a-fA-F]{4}$")


def id_bytes(value, is_mac):
    if isinstance(value, dict):
        return bytes.fromhex(re.sub(r"[\s:-]", "", value["hex"]))
    if is_mac and MAC_TEXT.match(value):
        return bytes.fromhex(value.replace(".", ""))
    return value.encode()


def shown(octets):
    """An octet string without display hint, as net-snmp's tables show it."""
    if octets and all(0x20 <= b < 0x7f for b in octets):
        return '"' + octets.decode() + '"'
    return '"' + "".join(f"{b:02X} " for b in octets) + '"'


def caps(mask):
    """Capability bit n is bit n of the BITS value: bit 0 the top of octet 0."""
    octets = bytearray(2)
    for n in range(16):
        if mask >> n & 1:
            octets[n // 8] |= 0x80 >> (n % 8)
    return bytes(octets)


def expected_remote_rows(topology):
    rows = {}
    for port in json.loads(topology.read_text())["ports"]:
        for nb in port.get("neighbors", []):
            cs, ps = nb.get("chassis_id_subtype", 4), nb.get("port_id_subtype", 5)
            index = (nb.get("time_mark", 0), port["port_num"], nb["rem_index"])
            rows[index] = {
                "lldpRemChassisIdSubtype": SUBTYPES_CHASSIS[cs],
                "lldpRemChassisId": shown(id_bytes(nb["chassis_id"], cs == 4)),
                "lldpRemPortIdSubtype": SUBTYPES_PORT[ps],
                "lldpRemPortId": shown(id_bytes(nb["port_id"], ps == 3)),
                "lldpRemPortDesc": nb.get("port_desc", ""),
                "lldpRemSysName": nb.get("sys_name", ""),
                "lldpRemSysDesc": nb.get("sys_desc", ""),
                "lldpRemSysCapSupported": shown(caps(nb.get("supported_caps", 0))),
                "lldpRemSysCapEnabled": shown(caps(nb.get("enabled_caps", 0))),
            }
    return rows


EXAMPLE = EXAMPLES / "default.json"


@pytest.fixture(scope="module")
def example_agent():
    from conftest import Agent
    a = Agent(EXAMPLE)
    try:
        yield a.start()
    finally:
        a.stop()


def named(agent, tool, *args):
    return agent.snmp(tool, *args, options=MIB_OPTIONS)


def remote_table(text):
    """snmptable -Ci -Cf '|' output of lldpRemTable: (column names, index ->
    {column: cell}) in the order printed."""
    lines = [l for l in text.splitlines() if l]
    assert lines[0] == "SNMP table: LLDP-MIB::lldpRemTable"
    header = lines[1].split("|")
    assert header[0] == "index"
    rows = {}
    for line in lines[2:]:
        cells = line.split("|")
        rows[tuple(int(x) for x in cells[0].split("."))] = dict(zip(header[1:], cells[1:]))
    return header[1:], rows


def check_remote_table(text, topology):
    columns, rows = remote_table(text)
    expected = expected_remote_rows(topology)
    assert columns == list(next(iter(expected.values())))
    assert list(rows) == sorted(expected)
    assert rows == expected


def test_snmptable_shows_the_neighbour_table(example_agent):
    r = named(example_agent, "snmptable", "-Ci", "-Cf", "|", "LLDP-MIB::lldpRemTable")
    assert r.stderr == ""
    check_remote_table(r.stdout, EXAMPLE)


def test_snmpwalk_by_name(example_agent):
    r = named(example_agent, "snmpwalk", "LLDP-MIB::lldpMIB")
    assert r.stderr == ""
    lines = r.stdout.splitlines()
    assert len(lines) == len(run_walker("walk", topology=EXAMPLE))
    assert all(l.startswith("LLDP-MIB::lldp") for l in lines), lines
    topo = json.loads(EXAMPLE.read_text())
    assert f"LLDP-MIB::lldpLocSysName.0 = STRING: {topo['local']['sys_name']}" in lines
    for port in topo["ports"]:
        assert (f"LLDP-MIB::lldpLocPortDesc.{port['port_num']} = STRING: "
                f"{port['port_desc']}") in lines
        for nb in port.get("neighbors", []):
            index = f"{nb.get('time_mark', 0)}.{port['port_num']}.{nb['rem_index']}"
            assert f"LLDP-MIB::lldpRemSysName.{index} = STRING: {nb['sys_name']}" in lines
