"""mibs/LLDP-MIB.txt: net-snmp reads it without a word and it gives every
identifier of the module the module's own number (snmptable and snmpwalk by
name: test_launcher)."""
import ctypes
import os
import re

from conftest import BUILD, LLDP_MIB, MIBS, run

LIBRARY = BUILD / "l2protocols" / "ethernet" / "lldp" / "liblldpmib.so"
# A state directory with nothing left to create: net-snmp reports every one it makes.
STATE = BUILD / "e2e-snmp-state"
os.makedirs(STATE / "cert_indexes", exist_ok=True)


def translate(*args, modules="LLDP-MIB"):
    return run("snmptranslate", "-M", f"+{MIBS}", "-m", modules, *args,
               env=dict(os.environ, SNMP_PERSISTENT_DIR=str(STATE)))


def test_mib_loads_without_a_word():
    r = translate("-Tp", "-Pw", "LLDP-MIB::lldpMIB")
    assert r.returncode == 0 and r.stderr == "" and "lldpRemSysName(9)" in r.stdout, r.stderr
    # Added to net-snmp's default modules (not shipped by Debian): no complaint about ours.
    r = translate("-On", "LLDP-MIB::lldpRemSysName", modules="+LLDP-MIB")
    assert r.stdout.strip() == f".{LLDP_MIB}.1.4.1.1.9" and "LLDP-MIB" not in r.stderr


def test_mib_identifiers_are_the_modules():
    """Every IDlldp* array the library exports (one per configuration, statistics or
    served object, none missing), against the number the MIB gives the name."""
    lib = ctypes.CDLL(str(LIBRARY))
    symbols = run("nm", "-D", "--defined-only", "-S", LIBRARY, check=True).stdout
    ids = {name[2:]: ".".join(map(str, (ctypes.c_uint32 * (int(size, 16) // 4)).in_dll(lib, name)))
           for size, name in re.findall(r"^[0-9a-f]+ ([0-9a-f]+) R (IDlldp\w+)$", symbols, re.M)}
    mib = dict(re.findall(r'^"([^"]+)"\s+"([\d.]+)"$', translate("-Tz").stdout, re.M))
    assert len(ids) == 48 and {n: mib.get(n) for n in ids} == ids  # the served and extension objects
