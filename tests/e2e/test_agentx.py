"""lldpmib-agentx behind a real snmpd, checked against the in-process walker:
both route through the module's object list, so every binding must agree."""
import re
import signal
import subprocess
import time

import pytest

# parse_snmp, snmp_walk and walker_walk are imported from here by other test modules.
from conftest import (AGENTX, LLDP_MIB, WALKER, example_topologies, names, parse_snmp,
                      run_walker)

CONFIGURATION = LLDP_MIB + ".1.1"
STATISTICS = LLDP_MIB + ".1.2"


def walker_walk(topology=None, root=LLDP_MIB):
    return run_walker("walk", root, topology=topology)


def snmp_walk(agent, root=LLDP_MIB, tool="snmpwalk", *extra):
    """Agent.walk under the name other test modules import from here."""
    return agent.walk(root, tool, *extra)


def test_walk_equals_the_in_process_walker(agent):
    expected = walker_walk()
    # The example topology fills the scalars and every served table.
    for group in (".1.3.1", ".1.3.7.1", ".1.3.8.1", ".1.4.1.1", ".1.4.2.1", ".1.4.3.1",
                  ".1.4.4.1"):
        assert any(n.startswith(LLDP_MIB + group + ".") for n in names(expected)), group
    assert agent.walk() == expected


@pytest.mark.parametrize("topology", example_topologies(), ids=lambda p: p.name)
def test_walk_of_each_example_topology(make_agent, topology):
    expected = walker_walk(topology)
    a = make_agent(topology).start()
    assert a.walk() == expected


@pytest.mark.parametrize("reps", [1, 10, 50])
def test_bulkwalk_equals_the_walk(agent, reps):
    expected = walker_walk()
    assert agent.walk(LLDP_MIB, "snmpbulkwalk", f"-Cr{reps}") == expected


def test_walks_of_subtrees(agent):
    everything = walker_walk()
    for root in (LLDP_MIB + ".1.3", LLDP_MIB + ".1.4", LLDP_MIB + ".1.3.7.1.3",
                 LLDP_MIB + ".1.4.1.1"):
        expected = [l for l in everything if l.startswith(root + ".")]
        assert agent.walk(root) == expected, root


@pytest.mark.parametrize("tool", ["snmpget", "snmpgetnext"])
def test_get_and_getnext_of_every_walked_instance(agent, tool):
    """GET of each walked name, and GET-NEXT of its predecessor, answer its binding."""
    expected = walker_walk()
    asked = names(expected) if tool == "snmpget" else [LLDP_MIB] + names(expected)[:-1]
    assert agent.ask(tool, asked) == expected


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
        assert agent.walk(root) == []
    walked = names(agent.walk())
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
    assert agent.walk() == walker_walk()


def test_subagent_survives_a_master_restart(make_agent):
    a = make_agent().start()
    expected = a.walk()
    a.stop_master()
    time.sleep(0.5)
    assert a.subagent.poll() is None
    a.start_master()
    a.wait_served(timeout=15)
    assert a.subagent.poll() is None
    assert a.walk() == expected


def test_subagent_waits_for_a_late_master(make_agent):
    a = make_agent()
    a.start_subagent()
    time.sleep(1)
    assert a.subagent.poll() is None
    a.start_master()
    a.wait_served(timeout=15)
    assert a.walk() == walker_walk()


@pytest.mark.parametrize("sig", [signal.SIGTERM, signal.SIGINT], ids=["SIGTERM", "SIGINT"])
def test_signal_stops_the_subagent_cleanly(make_agent, sig):
    a = make_agent().start()
    a.subagent.send_signal(sig)
    assert a.subagent.wait(10) == 0


def test_debug_flags_reach_the_module(make_agent):
    a = make_agent(extra_args=["--debug", "all"]).start()
    a.snmp("snmpget", LLDP_MIB + ".1.3.3.0")
    assert a.stop_subagent() == 0
    assert re.search(r"(TRACE|MIB|VERBOSE)\[", a.log("subagent.log"))


def bad_topology(tmp_path):
    bad = tmp_path / "bad.json"
    bad.write_text("{ not json")
    return str(bad)


@pytest.mark.parametrize("program,args", [
    (AGENTX, ["--bogus"]),
    (AGENTX, ["--topology"]),
    (AGENTX, ["--topology", "/nonexistent/topology.json"]),
    (AGENTX, ["--topology", bad_topology]),
    (AGENTX, ["--agentx-socket"]),
    (AGENTX, ["stray"]),
    (AGENTX, ["--topology", "x.json", "--lldpd"]),
    (WALKER, ["--bogus"]),
    (WALKER, ["get"]),
    (WALKER, ["next"]),
    (WALKER, ["get", "1.0.x"]),
    (WALKER, ["walk", "1.0", "1.1"]),
    (WALKER, ["frobnicate"]),
    (WALKER, ["--topology"]),
    (WALKER, ["--topology", "/nonexistent/topology.json"]),
    (WALKER, ["--topology", bad_topology]),
], ids=lambda v: v.name if hasattr(v, "name") else None)
def test_bad_options_give_one_line_and_fail(program, args, tmp_path):
    args = [a(tmp_path) if callable(a) else a for a in args]
    cmd = [str(program)] + (["-f"] if program == AGENTX else []) + args
    r = subprocess.run(cmd, capture_output=True, text=True, timeout=10)
    assert r.returncode != 0
    assert len(r.stderr.strip().splitlines()) == 1, r.stderr
    assert r.stderr.startswith(program.name + ": ")
    if args[-1].endswith("bad.json"):
        assert "bad.json" in r.stderr


def test_agentx_help():
    r = subprocess.run([str(AGENTX), "--help"], capture_output=True, text=True, timeout=10)
    assert r.returncode == 0
    assert "--agentx-socket" in r.stdout and "--topology" in r.stdout
