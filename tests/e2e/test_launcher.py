"""scripts/run-agent.sh, the main job's launcher: brings the pair up, prints a
walk command that works, and stops everything on Ctrl-C."""
import os
import pathlib
import re
import select
import shlex
import signal
import socket
import subprocess
import time

from conftest import BUILD, EXAMPLES, LLDP_MIB, REPO, free_udp_port, parse_snmp, run_walker

SCRIPT = REPO / "scripts" / "run-agent.sh"


def processes_mentioning(text):
    pids = []
    for d in pathlib.Path("/proc").iterdir():
        if not d.name.isdigit():
            continue
        try:
            cmd = (d / "cmdline").read_bytes().replace(b"\0", b" ").decode(errors="replace")
        except OSError:
            continue
        if text in cmd:
            pids.append(int(d.name))
    return pids


def alive(pid):
    """Running (a zombie waiting for its parent does not count)."""
    try:
        stat = pathlib.Path(f"/proc/{pid}/stat").read_text()
    except OSError:
        return False
    return stat.rsplit(")", 1)[1].split()[0] != "Z"


def read_until(proc, pattern, timeout):
    out = ""
    deadline = time.monotonic() + timeout
    while time.monotonic() < deadline:
        # Unbuffered reads: select cannot see what a buffered reader holds.
        ready, _, _ = select.select([proc.stdout], [], [], 0.2)
        if ready:
            chunk = os.read(proc.stdout.fileno(), 4096)
            if not chunk:
                break
            out += chunk.decode(errors="replace")
            m = re.search(pattern, out)
            if m:
                return m, out
    raise AssertionError(f"launcher said nothing matching {pattern!r}: {out}")


def test_launcher_serves_and_stops_on_ctrl_c(tmp_path):
    topology = EXAMPLES / "tlvs.json"
    port = free_udp_port()
    env = dict(os.environ, LLDPMIB_BUILD_DIR=str(BUILD))
    proc = subprocess.Popen(["bash", str(SCRIPT), str(topology), str(port)], env=env,
                            stdout=subprocess.PIPE, stderr=subprocess.STDOUT,
                            start_new_session=True)
    try:
        m, _ = read_until(proc, r"state in (\S+)\).*\n\s+(snmpwalk [^\n]+)\n"
                                r"\s+(snmpwalk [^\n]+)\n\s+(snmptable [^\n]+)\n", 30)
        state_dir, command, by_name, table = m.group(1, 2, 3, 4)
        assert command == f"snmpwalk -v2c -c public -On 127.0.0.1:{port} {LLDP_MIB}"
        mib_options = f"-M +{REPO}/mibs -m LLDP-MIB"
        assert by_name == (f"snmpwalk -v2c -c public {mib_options} 127.0.0.1:{port} "
                           "LLDP-MIB::lldpMIB")
        assert table == (f"snmptable -v2c -c public {mib_options} 127.0.0.1:{port} "
                         "LLDP-MIB::lldpRemTable")
        children = processes_mentioning(state_dir)
        assert len(children) >= 2  # snmpd and the subagent
        env = dict(os.environ, MIBS="", SNMP_PERSISTENT_DIR=str(tmp_path))
        expected = run_walker("walk", topology=topology)
        walk = subprocess.run(shlex.split(command) + ["-Ox"], capture_output=True, text=True,
                              timeout=60, env=env)
        assert parse_snmp(walk.stdout) == expected
        # The named commands work as printed (tests/e2e/test_mib.py checks
        # their values).
        walk = subprocess.run(shlex.split(by_name), capture_output=True, text=True,
                              timeout=60, env=env)
        assert walk.returncode == 0 and "Cannot find" not in walk.stderr, walk.stderr
        assert len(walk.stdout.splitlines()) == len(expected)
        assert walk.stdout.startswith("LLDP-MIB::lldpLocChassisIdSubtype.0 = ")
        rows = subprocess.run(shlex.split(table), capture_output=True, text=True,
                              timeout=60, env=env)
        assert rows.returncode == 0, rows.stderr
        assert "lldpRemSysName" in rows.stdout.splitlines()[2]
        remote = LLDP_MIB + ".1.4.1.1.9."  # one row per lldpRemSysName
        assert len(rows.stdout.splitlines()) == 3 + sum(l.startswith(remote) for l in expected)
        os.killpg(proc.pid, signal.SIGINT)  # what Ctrl-C in its terminal does
        assert proc.wait(20) == 0
        assert not [p for p in children if alive(p)]
        assert not pathlib.Path(state_dir).exists()
    finally:
        if proc.poll() is None:
            os.killpg(proc.pid, signal.SIGTERM)
            proc.wait(20)


def test_launcher_refuses_a_busy_port():
    with socket.socket(socket.AF_INET, socket.SOCK_DGRAM) as s:
        s.bind(("127.0.0.1", 0))
        port = s.getsockname()[1]
        r = subprocess.run(["bash", str(SCRIPT), str(port)], capture_output=True, text=True,
                           timeout=30, env=dict(os.environ, LLDPMIB_BUILD_DIR=str(BUILD)))
    assert r.returncode != 0
    assert "in use" in r.stderr


def test_launcher_refuses_an_unreadable_topology():
    r = subprocess.run(["bash", str(SCRIPT), "/nonexistent/topology.json"], capture_output=True,
                       text=True, timeout=30, env=dict(os.environ, LLDPMIB_BUILD_DIR=str(BUILD)))
    assert r.returncode != 0
    assert "cannot read topology" in r.stderr
