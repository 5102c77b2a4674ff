"""scripts/run-agent.sh (what scripts/run.sh ends in): brings the pair up, prints
query commands that work, and leaves nothing behind on Ctrl-C."""
import os
import pathlib
import re
import shlex
import signal
import subprocess

from conftest import BUILD, EXAMPLES, LLDP_MIB, REPO, free_udp_port, parse_snmp, wait_until
from reference import walk


def alive_mentioning(text):
    """Processes (zombies aside) whose command line holds text."""
    return subprocess.run(["pgrep", "-r", "R,S,D,T", "-f", text], capture_output=True,
                          text=True).stdout.split()


def test_launcher_serves_prints_working_commands_and_stops_on_ctrl_c(tmp_path):
    topology, port = EXAMPLES / "tlvs.json", free_udp_port()
    out = tmp_path / "launcher.out"
    with open(out, "w") as stdout:
        proc = subprocess.Popen(["bash", str(REPO / "scripts" / "run-agent.sh"), str(topology), str(port)],
                                env=dict(os.environ, LLDPMIB_BUILD_DIR=str(BUILD)), stdout=stdout,
                                stderr=subprocess.STDOUT, start_new_session=True)
    try:
        m = wait_until(lambda: re.search(r"state in (\S+)\).*\n\s+(snmpwalk [^\n]+)\n\s+(snmpwalk [^\n]+)\n"
                                         r"\s+(snmptable [^\n]+)\n", out.read_text()), 30)
        assert m, "the launcher did not say how to query: " + out.read_text()
        state_dir, numeric, by_name, table = m.groups()
        target, by = f"127.0.0.1:{port}", f"-M +{REPO}/mibs -m LLDP-MIB"
        assert [numeric, by_name, table] == [
            f"snmpwalk -v2c -c public -On {target} {LLDP_MIB}",
            f"snmpwalk -v2c -c public {by} {target} LLDP-MIB::lldpMIB",
            f"snmptable -v2c -c public {by} {target} LLDP-MIB::lldpRemTable"]
        assert len(alive_mentioning(state_dir)) >= 2  # snmpd and the subagent

        def run(command, *extra):
            r = subprocess.run(shlex.split(command) + list(extra), capture_output=True, text=True,
                               timeout=60, env=dict(os.environ, MIBS="", SNMP_PERSISTENT_DIR=str(tmp_path)))
            assert r.returncode == 0 and "Cannot find" not in r.stderr, r.stderr
            return r.stdout.splitlines()
        expected = walk(topology)
        assert parse_snmp("\n".join(run(numeric, "-Ox"))) == expected
        named = run(by_name)
        assert len(named) == len(expected) and named[0].startswith("LLDP-MIB::lldpLocChassisIdSubtype.0 = ")
        rows = run(table)
        assert "lldpRemSysName" in rows[2]
        assert len(rows) == 3 + sum(l.startswith(LLDP_MIB + ".1.4.1.1.9.") for l in expected)

        os.killpg(proc.pid, signal.SIGINT)  # what Ctrl-C in its terminal does
        assert proc.wait(20) == 0
        assert alive_mentioning(state_dir) == []
        assert not pathlib.Path(state_dir).exists()
    finally:
        if proc.poll() is None:
            os.killpg(proc.pid, signal.SIGTERM)
            proc.wait(20)
