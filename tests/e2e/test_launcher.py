"""scripts/run-agent.sh (what scripts/run.sh ends in): brings the pair up, prints
query commands that work (snmpwalk by number and by name, snmptable with the
MIB file), and leaves nothing behind on Ctrl-C."""
import os
import pathlib
import re
import shlex
import signal
import subprocess

from conftest import BUILD, EXAMPLES, LLDP_MIB, REPO, free_udp_port, parse_snmp, wait_until
from reference import MIB, reference, walk


def alive_mentioning(text):
    """Processes (zombies aside) whose command line holds text."""
    return subprocess.run(["pgrep", "-r", "R,S,D,T", "-f", text], capture_output=True,
                          text=True).stdout.split()


def remote_table(topology):
    """snmptable -Ci -Cf '|' -Ox -Oe of lldpRemTable as the reference gives it:
    {index: cells}, text columns (display hint) as text, other strings in hex."""
    rows = {}
    for name, value in sorted(reference(topology).items()):
        if name[:10] == MIB + (1, 4, 1, 1):
            kind, v = value.split(" ", 1)
            raw = bytes.fromhex(v) if kind == "OCTETS" else b""
            rows.setdefault(".".join(map(str, name[11:])), []).append(
                v if kind == "INTEGER" else raw.decode() if name[10] in (8, 9, 10) else
                '"' + "".join(f"{b:02X} " for b in raw) + '"')
    return rows


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

        (tmp_path / "cert_indexes").mkdir()  # else net-snmp reports making it

        def run(command, *extra):
            r = subprocess.run(shlex.split(command) + list(extra), capture_output=True, text=True,
                               timeout=60, env=dict(os.environ, MIBS="", SNMP_PERSISTENT_DIR=str(tmp_path)))
            assert r.returncode == 0 and r.stderr == "", r.stderr
            return r.stdout.splitlines()
        expected = walk(topology)
        assert parse_snmp("\n".join(run(numeric, "-Ox"))) == expected
        # By name: every binding, named in the module; enumerations and text as the MIB says.
        named = run(by_name)
        assert len(named) == len(expected) and all(l.startswith("LLDP-MIB::lldp") for l in named), named
        assert {"LLDP-MIB::lldpLocChassisIdSubtype.0 = INTEGER: macAddress(4)",
                "LLDP-MIB::lldpLocSysName.0 = STRING: core-rtr-1",
                "LLDP-MIB::lldpLocPortIdSubtype.1 = INTEGER: interfaceName(5)"} <= set(named)
        rows = [l.split("|") for l in run(table, "-Ci", "-Cf", "|", "-Ox", "-Oe") if l]
        assert rows[0] == ["SNMP table: LLDP-MIB::lldpRemTable"]
        assert rows[1][:3] == ["index", "lldpRemChassisIdSubtype", "lldpRemChassisId"]
        assert {r[0]: r[1:] for r in rows[2:]} == remote_table(topology)

        os.killpg(proc.pid, signal.SIGINT)  # what Ctrl-C in its terminal does
        assert proc.wait(20) == 0
        assert alive_mentioning(state_dir) == []
        assert not pathlib.Path(state_dir).exists()
    finally:
        if proc.poll() is None:
            os.killpg(proc.pid, signal.SIGTERM)
            proc.wait(20)
