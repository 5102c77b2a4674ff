"""Fixtures of the end-to-end suite: a private snmpd master with lldpmib-agentx
attached, on free loopback ports, stopped (subagent first) whatever happens.

Binaries are taken from LLDPMIB_BUILD_DIR (default: build/ in the repository).
"""
import os
import pathlib
import shutil
import signal
import socket
import subprocess
import tempfile
import time

import pytest

REPO = pathlib.Path(__file__).resolve().parents[2]
BUILD = pathlib.Path(os.environ.get("LLDPMIB_BUILD_DIR", REPO / "build"))
AGENTX = BUILD / "host" / "lldpmib-agentx"
WALKER = BUILD / "tools" / "lldpmib-walk"
EXAMPLES = REPO / "examples"

LLDP_MIB = "1.0.8802.1.1.2"
# lldpLocChassisIdSubtype.0: the master says noSuchObject until we are attached.
PROBE = LLDP_MIB + ".1.3.1.0"


def free_udp_port():
    with socket.socket(socket.AF_INET, socket.SOCK_DGRAM) as s:
        s.bind(("127.0.0.1", 0))
        return s.getsockname()[1]


def stop_process(proc, timeout=5.0):
    """SIGTERM, then SIGKILL; returns the exit status."""
    if proc.poll() is None:
        proc.send_signal(signal.SIGTERM)
        try:
            proc.wait(timeout)
        except subprocess.TimeoutExpired:
            proc.kill()
            proc.wait()
    return proc.returncode


class Agent:
    """snmpd on 127.0.0.1:<port> and lldpmib-agentx over a private AgentX socket."""

    def __init__(self, topology=None, extra_args=(), binary=AGENTX):
        self.binary = binary
        self.dir = pathlib.Path(tempfile.mkdtemp(prefix="lldpmib-e2e."))
        self.port = free_udp_port()
        self.topology = topology
        self.extra_args = list(extra_args)
        self.socket = self.dir / "agentx.sock"
        # Not the config's directory: snmpd saves its state as snmpd.conf there.
        self.state = self.dir / "state"
        self.state.mkdir()
        self.env = dict(os.environ, SNMP_PERSISTENT_DIR=str(self.state), MIBS="")
        self.snmpd = None
        self.subagent = None
        (self.dir / "master.conf").write_text(
            f"agentAddress udp:127.0.0.1:{self.port}\n"
            "rocommunity public 127.0.0.1\n"
            "rwcommunity private 127.0.0.1\n"
            "master agentx\n"
            f"agentXSocket unix:{self.socket}\n"
            "dontLogTCPWrappersConnects yes\n"
            f"[snmp] persistentDir {self.state}\n"
            "[snmp] mibs :\n")

    @property
    def target(self):
        return f"127.0.0.1:{self.port}"

    def start_master(self):
        if self.socket.exists():
            self.socket.unlink()
        self.snmpd_log = open(self.dir / "snmpd.out", "ab")
        self.snmpd = subprocess.Popen(
            ["snmpd", "-f", "-I", "-smux", "-C", "-c", str(self.dir / "master.conf"),
             "-Lf", str(self.dir / "snmpd.log"), "-p", str(self.dir / "snmpd.pid")],
            env=self.env, stdout=self.snmpd_log, stderr=subprocess.STDOUT,
            start_new_session=True)
        deadline = time.monotonic() + 10
        while not self.socket.exists():
            if self.snmpd.poll() is not None:
                raise RuntimeError("snmpd exited: " + self.log("snmpd.log"))
            if time.monotonic() > deadline:
                raise RuntimeError("snmpd did not open its AgentX socket")
            time.sleep(0.05)

    def stop_master(self):
        if self.snmpd:
            stop_process(self.snmpd)
            self.snmpd_log.close()
            self.snmpd = None

    def start_subagent(self):
        args = [str(self.binary), "-f", "--agentx-socket", f"unix:{self.socket}"]
        if self.topology:
            args += ["--topology", str(self.topology)]
        self.subagent_log = open(self.dir / "subagent.log", "ab")
        self.subagent = subprocess.Popen(args + self.extra_args, env=self.env,
                                         stdout=self.subagent_log, stderr=subprocess.STDOUT,
                                         start_new_session=True)

    def stop_subagent(self):
        status = None
        if self.subagent:
            status = stop_process(self.subagent)
            self.subagent_log.close()
            self.subagent = None
        return status

    def wait_served(self, timeout=15.0):
        deadline = time.monotonic() + timeout
        while time.monotonic() < deadline:
            if self.subagent and self.subagent.poll() is not None:
                raise RuntimeError("lldpmib-agentx exited: " + self.log("subagent.log"))
            r = self.snmp("snmpget", PROBE, timeout=0.5, check=False)
            if r.returncode == 0 and "No Such Object" not in r.stdout:
                return
            time.sleep(0.1)
        raise RuntimeError("lldpmib-agentx not served within %.0f s: %s"
                           % (timeout, self.log("subagent.log")))

    def start(self):
        self.start_master()
        self.start_subagent()
        self.wait_served()
        return self

    def stop(self):
        # The subagent first: stopping both at once can trip net-snmp in it.
        self.stop_subagent()
        self.stop_master()
        shutil.rmtree(self.dir, ignore_errors=True)

    def log(self, name):
        try:
            return (self.dir / name).read_text(errors="replace")[-2000:]
        except OSError:
            return ""

    def snmp(self, tool, *args, community="public", options=("-On", "-Ox", "-Oe"),
             timeout=2.0, check=True):
        cmd = [tool, "-v2c", "-c", community, *options, "-t", str(timeout), "-r", "1",
               self.target, *args]
        r = subprocess.run(cmd, env=self.env, capture_output=True, text=True, timeout=120)
        if check and r.returncode != 0:
            raise AssertionError(f"{' '.join(cmd)} failed ({r.returncode}): {r.stderr}")
        return r

    def walk(self, root=LLDP_MIB, tool="snmpwalk", *extra):
        """Served bindings under root, as walker lines."""
        r = self.snmp(tool, *extra, root)
        assert "OID not increasing" not in r.stderr, r.stderr
        return [l for l in parse_snmp(r.stdout)
                if not l.endswith(("NOSUCHOBJECT", "NOSUCHINSTANCE", "ENDOFMIBVIEW"))]

    def ask(self, tool, oids, batch=20):
        """snmpget / snmpgetnext of every name, batch names per request."""
        out = []
        for i in range(0, len(oids), batch):
            out += parse_snmp(self.snmp(tool, *oids[i:i + batch]).stdout)
        return out


def run_walker(*args, topology=None):
    cmd = [str(WALKER)]
    if topology:
        cmd += ["--topology", str(topology)]
    r = subprocess.run(cmd + list(args), capture_output=True, text=True, timeout=60)
    assert r.returncode == 0, f"{' '.join(cmd + list(args))}: {r.stderr}"
    return r.stdout.splitlines()


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


def names(lines):
    return [l.split(" ", 1)[0] for l in lines]


@pytest.fixture(scope="session", autouse=True)
def binaries():
    for path in (AGENTX, WALKER):
        if not os.access(path, os.X_OK):
            pytest.exit(f"{path} missing: build the project (LLDPMIB_BUILD_DIR={BUILD})", 2)
    if not shutil.which("snmpd") or not shutil.which("snmpwalk"):
        pytest.exit("snmpd / snmp tools missing: run scripts/setup.sh", 2)


def example_topologies():
    return sorted(EXAMPLES.glob("*.json"))


@pytest.fixture(scope="module")
def agent():
    """The pair serving the embedded example topology."""
    a = Agent()
    try:
        yield a.start()
    finally:
        a.stop()


@pytest.fixture
def make_agent():
    """Agents started by a test; all stopped at its end."""
    agents = []

    def make(*args, **kwargs):
        a = Agent(*args, **kwargs)
        agents.append(a)
        return a

    yield make
    for a in agents:
        a.stop()
