"""mibs/LLDP-MIB.txt, its two extensions (LLDP-EXT-DOT1-MIB, LLDP-EXT-DOT3-MIB) and LLDP-V2-MIB:
net-snmp reads them without a word and LLDP-MIB gives every identifier of the
module the module's own number (snmptable and snmpwalk by name: test_launcher)."""
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


EXTENSIONS = {"LLDP-EXT-DOT1-MIB": {"lldpXdot1MIB": "1.5.32962", "lldpXdot1LocVlanName": "1.5.32962.1.2.3.1.2",
                                    "lldpXdot1RemProtocolId": "1.5.32962.1.3.4.1.2"},
              "LLDP-EXT-DOT3-MIB": {"lldpXdot3MIB": "1.5.4623", "lldpXdot3LocPowerClass": "1.5.4623.1.2.2.1.6",
                                    "lldpXdot3RemMaxFrameSize": "1.5.4623.1.3.4.1.1"}}


def test_mib_loads_without_a_word():
    for module, name, column in (("LLDP-MIB", "lldpMIB", "lldpRemSysName(9)"),
                                 ("LLDP-EXT-DOT1-MIB", "lldpXdot1MIB", "lldpXdot1RemVlanName(2)"),
                                 ("LLDP-EXT-DOT3-MIB", "lldpXdot3MIB", "lldpXdot3RemLinkAggPortId(2)"),
                                 ("LLDP-V2-MIB", "lldpV2MIB", "lldpV2RemTooManyNeighbors(15)")):
        r = translate("-Tp", "-Pw", f"{module}::{name}", modules="LLDP-MIB:LLDP-EXT-DOT1-MIB:LLDP-EXT-DOT3-MIB:LLDP-V2-MIB")
        assert r.returncode == 0 and r.stderr == "" and column in r.stdout, r.stderr
    # Added to net-snmp's default modules (not shipped by Debian): no complaint about ours.
    r = translate("-On", "LLDP-MIB::lldpRemSysName", modules="+LLDP-MIB")
    assert r.stdout.strip() == f".{LLDP_MIB}.1.4.1.1.9" and "LLDP-MIB" not in r.stderr
    for module, names in EXTENSIONS.items():  # numbers written by hand
        r = translate("-On", *(f"{module}::{n}" for n in names), modules=f"+{module}")
        assert r.stdout.split() == [f".{LLDP_MIB}.{n}" for n in names.values()] and "LLDP" not in r.stderr
    v2 = {"lldpV2RemSysName": "1.4.1.1.10", "lldpV2PortConfigTLVsTxEnable": "1.1.8.1.5",  # under 1.3.111.2.802.1.1.13
          "lldpV2StatsRxPortAgeoutsTotal": "1.2.7.1.8", "lldpV2RemOrgDefInfo": "1.4.4.1.4", "lldpV2RemTablesChange": "0.0.1"}
    r = translate("-On", *(f"LLDP-V2-MIB::{n}" for n in v2), modules="+LLDP-V2-MIB")
    assert r.stdout.split() == [f".1.3.111.2.802.1.1.13.{n}" for n in v2.values()] and "LLDP" not in r.stderr


def test_mib_identifiers_are_the_modules():
    """Every IDlldp* array the library exports (one per configuration, statistics or
    served object, none missing), against the number the MIB gives the name."""
    lib = ctypes.CDLL(str(LIBRARY))
    symbols = run("nm", "-D", "--defined-only", "-S", LIBRARY, check=True).stdout
    ids = {name[2:]: ".".join(map(str, (ctypes.c_uint32 * (int(size, 16) // 4)).in_dll(lib, name)))
           for size, name in re.findall(r"^[0-9a-f]+ ([0-9a-f]+) R (IDlldp\w+)$", symbols, re.M)}
    mib = dict(re.findall(r'^"([^"]+)"\s+"([\d.]+)"$', translate("-Tz").stdout, re.M))
    assert len(ids) == 48 and {n: mib.get(n) for n in ids} == ids  # the served and extension objects
