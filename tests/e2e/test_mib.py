"""mibs/LLDP-MIB.txt: net-snmp reads it without a word, it gives every
identifier of the module the module's own number, and snmptable / snmpwalk
show the served tables by name."""
import ctypes
import os
import re
import subprocess

from conftest import BUILD, BY_NAME, EXAMPLES, LLDP_MIB, MIBS, Agent
from reference import MIB, reference

LIBRARY = BUILD / "l2protocols" / "ethernet" / "lldp" / "liblldpmib.so"
EXAMPLE = EXAMPLES / "default.json"
# A state directory with nothing left to create: net-snmp reports every one it makes.
STATE = BUILD / "e2e-snmp-state"
os.makedirs(STATE / "cert_indexes", exist_ok=True)


def translate(*args, options=BY_NAME):
    return subprocess.run(["snmptranslate", *options, *args], capture_output=True, text=True,
                          timeout=30, env=dict(os.environ, SNMP_PERSISTENT_DIR=str(STATE)))


def test_mib_loads_without_a_word():
    r = translate("-Tp", "-Pw", "LLDP-MIB::lldpMIB")
    assert r.returncode == 0 and r.stderr == "" and "lldpRemSysName(9)" in r.stdout, r.stderr
    # Added to net-snmp's default modules (not shipped by Debian): no complaint about ours.
    r = translate("-On", "LLDP-MIB::lldpRemSysName", options=("-M", f"+{MIBS}", "-m", "+LLDP-MIB"))
    assert r.stdout.strip() == f".{LLDP_MIB}.1.4.1.1.9" and "LLDP-MIB" not in r.stderr


class ObjectInfo(ctypes.Structure):
    _fields_ = [("length", ctypes.c_int32), ("oid", ctypes.POINTER(ctypes.c_uint32)),
                ("value_type", ctypes.c_uint8), ("access", ctypes.c_uint8),
                ("nominator", ctypes.c_uint8), ("attribute", ctypes.c_uint8),
                ("get", ctypes.c_void_p), ("test", ctypes.c_void_p), ("reserved", ctypes.c_void_p)]


def module_identifiers():
    """What the library exports: {name: dotted} from its IDlldp* arrays and its
    name table, and {dotted: value type} of the objects it serves."""
    lib = ctypes.CDLL(str(LIBRARY))
    symbols = subprocess.run(["nm", "-D", "--defined-only", "-S", str(LIBRARY)],
                             capture_output=True, text=True, check=True).stdout
    ids = {}
    for size, name in re.findall(r"^[0-9a-f]+ ([0-9a-f]+) R (IDlldp\w+)$", symbols, re.M):
        ids[name[2:]] = ".".join(map(str, (ctypes.c_uint32 * (int(size, 16) // 4)).in_dll(lib, name)))
    for entry in ((ctypes.c_char_p * 2) * 64).in_dll(lib, "lldpmib_oid_table"):
        if entry[0] is None:
            break
        if entry[0] != b"iso":
            ids[entry[0].decode()] = entry[1].decode()
    count = ctypes.c_int32.in_dll(lib, "lldpmib_OidListNum").value
    served = {".".join(str(o.oid[i]) for i in range(o.length)): o.value_type
              for o in (ObjectInfo * count).in_dll(lib, "lldpmib_OidList")}
    return ids, served


def test_mib_identifiers_are_the_modules():
    ids, served = module_identifiers()
    r = translate("-Tz")
    mib = {n: o for n, o in re.findall(r'^"([^"]+)"\s+"([\d.]+)"$', r.stdout, re.M)
           if o == LLDP_MIB or o.startswith(LLDP_MIB + ".")}
    assert len(ids) >= 48 and {n: mib.get(n) for n in ids} == ids
    # Readable objects of the served groups, with their syntax, from the -Tp tree.
    tree = translate("-Tp", "LLDP-MIB::lldpMIB").stdout
    readable = {mib[n]: syntax for syntax, n in re.findall(r"\+-- -R-- (\S+)\s+(\w+)\(\d+\)$", tree, re.M)
                if mib[n].startswith((LLDP_MIB + ".1.3.", LLDP_MIB + ".1.4."))}
    kinds = {2: {"Integer32", "EnumVal"}, 4: {"String", "BitString"}, 6: {"ObjID"}}
    assert set(readable) == set(served)
    assert all(readable[o] in kinds[t] for o, t in served.items()), readable


COLUMNS = ["lldpRemChassisIdSubtype", "lldpRemChassisId", "lldpRemPortIdSubtype", "lldpRemPortId",
           "lldpRemPortDesc", "lldpRemSysName", "lldpRemSysDesc", "lldpRemSysCapSupported",
           "lldpRemSysCapEnabled"]
ENUMS = {4: {4: "macAddress", 7: "local"}, 6: {3: "macAddress", 5: "interfaceName", 7: "local"}}


def cell(column, value):
    """A reference value as snmptable shows it: enumerations by label, the
    three text columns as text, other strings (no display hint) quoted."""
    v = value.split(" ", 1)[1]
    if column in ENUMS:
        return ENUMS[column][int(v)]
    octets = bytes.fromhex(v)
    if column in (8, 9, 10):
        return octets.decode()
    printable = octets.isascii() and octets.decode().isprintable()
    return '"' + (octets.decode() if printable else "".join(f"{b:02X} " for b in octets)) + '"'


def check_remote_table(text, topology):
    """snmptable -Ci -Cf '|' of lldpRemTable against the reference's rows."""
    want = {}
    for name, value in sorted(reference(topology).items()):
        if name[:10] == MIB + (1, 4, 1, 1):
            want.setdefault(".".join(map(str, name[11:])), {})[COLUMNS[name[10] - 4]] = \
                cell(name[10], value)
    lines = [l for l in text.splitlines() if l]
    assert lines[:2] == ["SNMP table: LLDP-MIB::lldpRemTable", "|".join(["index"] + COLUMNS)]
    got = [l.split("|") for l in lines[2:]]
    assert [c[0] for c in got] == list(want)
    assert {c[0]: dict(zip(COLUMNS, c[1:])) for c in got} == want


def test_snmptable_and_walk_by_name():
    with Agent(EXAMPLE) as a:
        r = a.snmp("snmptable", "-Ci", "-Cf", "|", "LLDP-MIB::lldpRemTable", options=BY_NAME)
        assert r.stderr == ""
        check_remote_table(r.stdout, EXAMPLE)
        r = a.snmp("snmpwalk", "LLDP-MIB::lldpMIB", options=BY_NAME)
    lines = r.stdout.splitlines()
    assert r.stderr == "" and len(lines) == len(reference(EXAMPLE))
    assert all(l.startswith("LLDP-MIB::lldp") for l in lines), lines
    assert "LLDP-MIB::lldpLocSysName.0 = STRING: edge-rtr-1" in lines  # the other names: snmptable
