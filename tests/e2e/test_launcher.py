"""scripts/run-agent.sh (what scripts/run.sh ends in): brings the pair up, prints
query commands that work (snmpwalk by number and by name, snmptable with the
MIB file), and leaves nothing behind on Ctrl-C."""
import os
import pathlib
import re
import shlex
import signal

from conftest import LLDP_MIB, BUILD, EXAMPLES, REPO, parse_snmp, run, spawn, wait_until
from reference import MIB, dotted, reference, walk

COLUMNS = [f"lldpRem{c}" for c in ("ChassisIdSubtype", "ChassisId", "PortIdSubtype", "PortId", "PortDesc",
                                    "SysName", "SysDesc", "SysCapSupported", "SysCapEnabled")]
SYS_NAME = MIB + (1, 4, 1, 1, 9)


def alive_mentioning(text):
    """Processes (zombies aside) whose command line holds text."""
    return run("pgrep", "-r", "R,S,D,T", "-f", text).stdout.split()


def test_launcher_serves_prints_working_commands_and_stops_on_ctrl_c(tmp_path):
    topology, out = EXAMPLES / "tlvs.json", tmp_path / "launcher.out"
    # No port: the launcher takes 16161 when free, else any free one, and says which.
    proc = spawn(["bash", REPO / "scripts" / "run-agent.sh", topology], out,
                 env=dict(os.environ, LLDPMIB_BUILD_DIR=str(BUILD)))
    try:
        m = wait_until(lambda: re.search(r"state in (\S+)\).*\n\s+(snmpwalk [^\n]+)\n\s+(snmpwalk [^\n]+)\n"
                                         r"\s+(snmptable [^\n]+)\n", out.read_text()), 30)
        assert m, "the launcher did not say how to query: " + out.read_text()
        state_dir, numeric, by_name, table = m.groups()
        assert len(alive_mentioning(state_dir)) >= 2  # snmpd and the subagent
        (tmp_path / "cert_indexes").mkdir()  # else net-snmp reports making it
        env = dict(os.environ, MIBS="", SNMP_PERSISTENT_DIR=str(tmp_path))

        def query(command, *extra):
            r = run(*shlex.split(command), *extra, env=env)
            assert r.returncode == 0 and r.stderr == "", r.stderr
            return r.stdout.splitlines()
        expected = [l for l in walk(topology) if l.startswith(LLDP_MIB)]  # the printed walks: lldpMIB
        assert parse_snmp("\n".join(query(numeric, "-Ox"))) == expected
        # By name: every binding, named in the module, enumerations by their labels.
        named = query(by_name)
        assert len(named) == len(expected) and all(l.startswith(("LLDP-MIB::lldp", "LLDP-EXT-DOT1-MIB::lldpXdot1", "LLDP-EXT-DOT3-MIB::lldpXdot3"))
                                              for l in named), named
        assert "LLDP-MIB::lldpLocChassisIdSubtype.0 = INTEGER: macAddress(4)" in named
        # The table by name, a row per neighbour: its index, and the system name as text.
        rows = [l.split("|") for l in query(table, "-Ci", "-Cf", "|") if l]
        assert rows[:2] == [["SNMP table: LLDP-MIB::lldpRemTable"], ["index", *COLUMNS]]
        names = {dotted(n[11:]): bytes.fromhex(v.split()[1]).decode()
                 for n, v in reference(topology).items() if n[:11] == SYS_NAME}
        assert {r[0]: r[6] for r in rows[2:]} == names

        os.killpg(proc.pid, signal.SIGINT)  # what Ctrl-C in its terminal does
        assert proc.wait(20) == 0
        assert alive_mentioning(state_dir) == []
        assert not pathlib.Path(state_dir).exists()
    finally:
        if proc.poll() is None:
            os.killpg(proc.pid, signal.SIGTERM)
            proc.wait(20)
