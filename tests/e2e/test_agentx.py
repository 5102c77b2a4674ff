"""lldpmib-agentx behind a real snmpd, checked against the in-process walker:
both route through the module's object list, so every binding must agree."""
import re
import subprocess
import time

import pytest

from conftest import (AGENTX, LLDP_MIB, WALKER, Agent, example_topologies, run_walker)

CONFIGURATION = LLDP_MIB + ".1.1"
STATISTICS = LLDP_MIB + ".1.2"


def parse_snmp(text):
    """net-snmp output (-On -Ox -Oe) as walker lines: '<oid> <TYPE> <value>'.

    Long hex strings continue on following lines; a record starts with '.'."""
    records = []
    for line in text.splitlines():
        if line.startswith(".") and " = " in line:
            records.append(line)
        elif records and line.strip():
            records[-1] += " " + line.strip()
    lines = []
    for rec in records:
        name, value = rec.split(" = ", 1)
        name = name[1:]
        value = value.strip()
        if value.startswith("INTEGER: "):
            lines.append(f"{name} INTEGER {value[len('INTEGER: '):]}")
        elif value.startswith("Hex-STRING: "):
            hexes = value[len("Hex-STRING: "):].split()
            lines.append(f"{name} OCTETS {''.join(hexes).lower()}")
        elif value == '""':
            lines.append(f"{name} OCTETS ")
        elif value.startswith("OID: "):
            lines.append(f"{name} OID {value[len('OID: '):].lstrip('.')}")
        elif value.startswith("No Such Instance"):
            lines.append(f"{name} NOSUCHINSTANCE")
        elif value.startswith("No Such Object"):
            lines.append(f"{name} NOSUCHOBJECT")
        elif value.startswith("No more variables"):
            lines.append(f"{name} ENDOFMIBVIEW")
        else:
            raise AssertionError(f"unexpected value: {rec}")
    return lines


def walker_walk(topology=None, root=LLDP_MIB):
    return run_walker("walk", root, topology=topology)


def snmp_walk(agent, root=LLDP_MIB, tool="snmpwalk", *extra):
    r = agent.snmp(tool, *extra, root)
    assert "OID not increasing" not in r.stderr, r.stderr
    return [l for l in parse_snmp(r.stdout)
            if not l.endswith(("NOSUCHOBJECT", "NOSUCHINSTANCE", "ENDOFMIBVIEW"))]


def names(lines):
    return [l.split(" ", 1)[0] for l in lines]


def test_parse_snmp_reads_every_value_kind():
    text = (".1.2.0 = INTEGER: -3\n"
            ".1.3.0 = Hex-STRING: 61 20 76 65 72 79 20 6C 6F 6E 67 20 64 65 73 63 \n"
            "72 69 \n"
            ".1.4.0 = \"\"\n"
            ".1.5.0 = OID: .1.3.6.1\n"
            ".1.6.0 = No Such Instance currently exists at this OID\n")
    assert parse_snmp(text) == [
        "1.2.0 INTEGER -3", "1.3.0 OCTETS 612076657279206c6f6e6720646573637269",
        "1.4.0 OCTETS ", "1.5.0 OID 1.3.6.1", "1.6.0 NOSUCHINSTANCE"]


def test_walk_equals_the_in_process_walker(agent):
    expected = walker_walk()
    # The example topology fills the scalars and every served table.
    for group in (".1.3.1", ".1.3.7.1", ".1.3.8.1", ".1.4.1.1", ".1.4.2.1", ".1.4.3.1",
                  ".1.4.4.1"):
        assert any(n.startswith(LLDP_MIB + group + ".") for n in names(expected)), group
    assert snmp_walk(agent) == expected


@pytest.mark.parametrize("topology", example_topologies(), ids=lambda p: p.name)
def test_walk_of_each_example_topology(make_agent, topology):
    expected = walker_walk(topology)
    a = make_agent(topology).start()
    assert snmp_walk(a) == expected


@pytest.mark.parametrize("reps", [1, 10, 50])
def test_bulkwalk_equals_the_walk(agent, reps):
    expected = walker_walk()
    assert snmp_walk(agent, LLDP_MIB, "snmpbulkwalk", f"-Cr{reps}") == expected


def test_walks_of_subtrees(agent):
    everything = walker_walk()
    for root in (LLDP_MIB + ".1.3", LLDP_MIB + ".1.4", LLDP_MIB + ".1.3.7.1.3",
                 LLDP_MIB + ".1.4.1.1"):
        expected = [l for l in everything if l.startswith(root + ".")]
        assert snmp_walk(agent, root) == expected, root


def test_get_of_every_walked_instance(agent):
    expected = walker_walk()
    got = []
    for i in range(0, len(expected), 20):
        batch = names(expected[i:i + 20])
        got += parse_snmp(agent.snmp("snmpget", *batch).stdout)
    assert got == expected


def test_getnext_from_each_walked_instance(agent):
    expected = walker_walk()
    asked = [LLDP_MIB] + names(expected)[:-1]
    got = []
    for i in range(0, len(asked), 20):
        got += parse_snmp(agent.snmp("snmpgetnext", *asked[i:i + 20]).stdout)
    assert got == expected


@pytest.mark.parametrize("oid", [
    LLDP_MIB + ".1.3.1",          # scalar without instance
    LLDP_MIB + ".1.3.1.1",        # scalar, wrong instance
    LLDP_MIB + ".1.3.7.1.3.999",  # port that does not exist
    LLDP_MIB + ".1.3.7.1.3",      # column without instance
])
def test_get_of_missing_instances(agent, oid):
    assert parse_snmp(agent.snmp("snmpget", oid).stdout) == [f"{oid} NOSUCHINSTANCE"]
    assert run_walker("get", oid) == [f"{oid} NOSUCHINSTANCE"]


@pytest.mark.parametrize("oid", [
    CONFIGURATION + ".1.0",        # lldpMessageTxInterval
    CONFIGURATION + ".6.1.2.1",    # lldpPortConfigAdminStatus.1
    STATISTICS + ".1.0",           # lldpStatsRemTablesLastChangeTime
    STATISTICS + ".6.1.2.1",       # lldpStatsTxPortFramesTotal.1
    LLDP_MIB + ".1.3.7.1.1.1",     # lldpLocPortNum.1: index, not accessible
    LLDP_MIB + ".2.1.0",           # conformance: never served
])
def test_objects_not_served_are_absent(agent, oid):
    assert parse_snmp(agent.snmp("snmpget", oid).stdout) == [f"{oid} NOSUCHOBJECT"]


def test_configuration_and_statistics_groups_absent_from_walks(agent):
    for root in (CONFIGURATION, STATISTICS):
        assert snmp_walk(agent, root) == []
    walked = names(snmp_walk(agent))
    assert not [n for n in walked
                if n.startswith((CONFIGURATION + ".", STATISTICS + "."))]


def test_getnext_leaves_lldpmib_at_its_end(agent):
    last = names(walker_walk())[-1] if walker_walk() else LLDP_MIB
    r = parse_snmp(agent.snmp("snmpgetnext", last).stdout)
    assert len(r) == 1
    assert not r[0].startswith(LLDP_MIB + "."), r


@pytest.mark.parametrize("community,reason", [("private", "notWritable"),
                                              ("public", "noAccess")])
def test_set_refused(agent, community, reason):
    for oid, kind, value in ((LLDP_MIB + ".1.3.3.0", "s", "x"),   # lldpLocSysName
                             (LLDP_MIB + ".1.3.1.0", "i", "4"),   # lldpLocChassisIdSubtype
                             (CONFIGURATION + ".1.0", "i", "30")):  # lldpMessageTxInterval
        r = agent.snmp("snmpset", oid, kind, value, community=community, check=False)
        assert r.returncode != 0
        assert reason in r.stderr + r.stdout, (oid, r.stderr)
    # Nothing changed.
    assert snmp_walk(agent) == walker_walk()


def test_subagent_survives_a_master_restart(make_agent):
    a = make_agent().start()
    expected = snmp_walk(a)
    a.stop_master()
    time.sleep(0.5)
    assert a.subagent.poll() is None
    a.start_master()
    a.wait_served(timeout=15)
    assert a.subagent.poll() is None
    assert snmp_walk(a) == expected


def test_subagent_waits_for_a_late_master(make_agent):
    a = make_agent()
    a.start_subagent()
    time.sleep(1)
    assert a.subagent.poll() is None
    a.start_master()
    a.wait_served(timeout=15)
    assert snmp_walk(a) == walker_walk()


def test_sigterm_stops_the_subagent_cleanly(make_agent):
    a = make_agent().start()
    assert a.stop_subagent() == 0


def test_sigint_stops_the_subagent_cleanly(make_agent):
    a = make_agent().start()
    a.subagent.send_signal(2)
    assert a.subagent.wait(10) == 0


def test_debug_flags_reach_the_module(make_agent):
    a = make_agent(extra_args=["--debug", "all"]).start()
    a.snmp("snmpget", LLDP_MIB + ".1.3.3.0")
    assert a.stop_subagent() == 0
    assert re.search(r"(TRACE|MIB|VERBOSE)\[", a.log("subagent.log"))


@pytest.mark.parametrize("args", [
    ["--bogus"],
    ["--topology"],
    ["--topology", "/nonexistent/topology.json"],
    ["--agentx-socket"],
    ["stray"],
    ["--topology", "x.json", "--lldpd"],
])
def test_agentx_bad_options(args):
    r = subprocess.run([str(AGENTX), "-f", *args], capture_output=True, text=True, timeout=10)
    assert r.returncode != 0
    assert len(r.stderr.strip().splitlines()) == 1, r.stderr
    assert r.stderr.startswith("lldpmib-agentx: ")


def test_agentx_bad_topology_file(tmp_path):
    bad = tmp_path / "bad.json"
    bad.write_text("{ not json")
    r = subprocess.run([str(AGENTX), "-f", "--topology", str(bad)],
                       capture_output=True, text=True, timeout=10)
    assert r.returncode != 0
    assert len(r.stderr.strip().splitlines()) == 1, r.stderr
    assert "bad.json" in r.stderr


def test_agentx_help():
    r = subprocess.run([str(AGENTX), "--help"], capture_output=True, text=True, timeout=10)
    assert r.returncode == 0
    assert "--agentx-socket" in r.stdout and "--topology" in r.stdout


@pytest.mark.parametrize("args", [
    ["--bogus"],
    ["get"],
    ["next"],
    ["get", "1.0.x"],
    ["walk", "1.0", "1.1"],
    ["frobnicate"],
    ["--topology"],
    ["--topology", "/nonexistent/topology.json"],
])
def test_walker_bad_arguments(args):
    r = subprocess.run([str(WALKER), *args], capture_output=True, text=True, timeout=10)
    assert r.returncode != 0
    assert len(r.stderr.strip().splitlines()) == 1, r.stderr
    assert r.stderr.startswith("lldpmib-walk: ")
