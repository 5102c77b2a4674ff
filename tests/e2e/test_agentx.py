"""lldpmib-agentx as a process: it waits for a late master and reconnects to a
restarted one, stops cleanly on signals, and refuses bad command lines (its
own, lldpmib-walk's and the launcher's) with one clear line."""
import os
import signal
import socket
import time

import pytest

from conftest import AGENTX, BUILD, EXAMPLES, REPO, WALKER, Agent, run, stop_process
from reference import walk

DEFAULT = EXAMPLES / "default.json"  # the topology compiled into the client library


@pytest.mark.parametrize("sig,masters", [(signal.SIGTERM, 2), (signal.SIGINT, 1)], ids=["SIGTERM", "SIGINT"])
def test_subagent_waits_for_a_late_master_survives_its_restart_and_stops_on_a_signal(sig, masters):
    a = Agent(args=["--debug", "all"])
    try:
        a.start_subagent()
        for _ in range(masters):  # a late master, then a restarted one
            stop_process(a.snmpd)
            time.sleep(0.5)
            assert a.subagent.poll() is None
            a.start_master()
            a.wait_served()
            assert a.walk() == walk(DEFAULT)
        a.subagent.send_signal(sig)
        assert a.subagent.wait(10) == 0
        assert any(tag in a.log("subagent.log") for tag in ("TRACE[", "MIB[", "VERBOSE["))
    finally:
        a.close()


PROGRAMS = {"lldpmib-agentx": [AGENTX, "-f"], "lldpmib-walk": [WALKER],
            "run-agent": ["bash", REPO / "scripts" / "run-agent.sh"]}


@pytest.mark.parametrize("program,args,says", [
    ("lldpmib-agentx", ["--bogus"], None),
    ("lldpmib-agentx", ["--topology"], None),
    ("lldpmib-agentx", ["--topology", "/nonexistent/topology.json"], "/nonexistent/topology.json"),
    ("lldpmib-agentx", ["--topology", "{bad}"], "bad.json"),
    ("lldpmib-agentx", ["stray"], None),
    ("lldpmib-agentx", ["--topology", "x.json", "--lldpd"], None),
    ("lldpmib-walk", ["--bogus"], None),
    ("lldpmib-walk", ["get"], None),
    ("lldpmib-walk", ["get", "1.0.x"], None),
    ("lldpmib-walk", ["walk", "1.0", "1.1"], None),
    ("lldpmib-walk", ["frobnicate"], None),
    ("lldpmib-walk", ["--topology", "{bad}"], "bad.json"),
    ("run-agent", ["{busy}"], "in use"),
    ("run-agent", ["/nonexistent/topology.json"], "cannot read topology"),
])
def test_bad_command_line_gives_one_line_and_fails(program, args, says, tmp_path):
    (tmp_path / "bad.json").write_text("{ not json")
    with socket.socket(socket.AF_INET, socket.SOCK_DGRAM) as busy:
        busy.bind(("127.0.0.1", 0))
        args = [a.format(bad=tmp_path / "bad.json", busy=busy.getsockname()[1]) for a in args]
        r = run(*PROGRAMS[program], *args, env=dict(os.environ, LLDPMIB_BUILD_DIR=str(BUILD)))
    assert r.returncode != 0
    assert len(r.stderr.strip().splitlines()) == 1 and r.stderr.startswith(program + ": "), r.stderr
    assert says is None or says in r.stderr, r.stderr
