"""Fixtures of the end-to-end suite: a private snmpd master with lldpmib-agentx
attached, on a free loopback port, stopped (subagent first) whatever happens.
Binaries are taken from LLDPMIB_BUILD_DIR (default: build/ in the repository)."""
import os
import pathlib
import shutil
import socket
import subprocess
import sys
import tempfile
import time

REPO = pathlib.Path(__file__).resolve().parents[2]
sys.path.insert(0, str(REPO / "tests" / "model"))  # the reference and the names to ask
sys.path.insert(0, str(REPO / "tools"))  # lldpdu, the hand-made LLDPDU sender
BUILD = pathlib.Path(os.environ.get("LLDPMIB_BUILD_DIR", REPO / "build"))
AGENTX = BUILD / "host" / "lldpmib-agentx"
DLMOD = BUILD / "host" / "lldpmib_snmpd.so"
HOSTS = ("agentx", "dlmod")  # the subagent, or the module loaded into snmpd
# lldpmib-agentx's options as the loaded module's snmpd.conf tokens.
TOKENS = {"--topology": "lldpmibTopology", "--lldpd": "lldpmibLldpd", "--debug": "lldpmibDebug",
          "--notification-interval": "lldpmibNotificationInterval", "--lldpd-time-marks": "lldpmibTimeMarks yes",
          "--lldpd-zero-time-marks": "lldpmibTimeMarks no", "--notify": "lldpmibNotifyAllPorts yes"}
WALKER = BUILD / "tools" / "lldpmib-walk"
EXAMPLES = REPO / "examples"
MIBS = REPO / "mibs"
LLDP_MIB = "1.0.8802.1.1.2"
LLDP_V2_MIB = "1.3.111.2.802.1.1.13"
ACCESS = "rocommunity public 127.0.0.1\nrwcommunity private 127.0.0.1\n"
NO_ANSWER = ("NOSUCHOBJECT", "NOSUCHINSTANCE", "ENDOFMIBVIEW")
VALUES = {"INTEGER: ": "INTEGER ", "Hex-STRING: ": "OCTETS ", '""': "OCTETS ", "OID: .": "OID ",
          "Counter32: ": "COUNTER32 ", "Gauge32: ": "GAUGE32 ", "Timeticks: (": "TIMETICKS ",
          "No Such Object": NO_ANSWER[0], "No Such Instance": NO_ANSWER[1], "No more variables": NO_ANSWER[2]}


def run(*cmd, timeout=60, **kw):
    """A command to its end, output captured as text; the CompletedProcess."""
    return subprocess.run([str(c) for c in cmd], capture_output=True, text=True, timeout=timeout, **kw)


def spawn(cmd, log, **kw):
    """A command in a session of its own, output appended to the file log."""
    with open(log, "ab") as out:
        return subprocess.Popen([str(c) for c in cmd], stdout=out, stderr=subprocess.STDOUT,
                                start_new_session=True, **kw)


def stop_process(proc):
    """SIGTERM, then SIGKILL after 5 s (None and ended processes are left alone)."""
    if proc and proc.poll() is None:
        proc.terminate()
        try:
            proc.wait(5)
        except subprocess.TimeoutExpired:
            proc.kill()
            proc.wait()


def free_udp_port():
    with socket.socket(socket.AF_INET, socket.SOCK_DGRAM) as s:
        s.bind(("127.0.0.1", 0))
        return s.getsockname()[1]


class Agent:
    """snmpd on 127.0.0.1:<port> and lldpmib-agentx over a private AgentX socket. `access`
    replaces the community lines (keep the read-write community `private`: the start-up
    probe uses it); `prefix` runs the subagent under another command (ip netns exec ...);
    `command` replaces the subagent's whole command line, `socket` the AgentX socket.
    host "dlmod": no subagent; snmpd (under `prefix`) loads the module, `args` become its
    tokens (after the dlmod line; `conf` adds lines, before it), and `subagent` is snmpd."""

    def __init__(self, topology=None, args=(), binary=AGENTX, prefix=(), access=ACCESS, socket=None, command=None,
                 host="agentx", conf=""):
        self.dir = pathlib.Path(tempfile.mkdtemp(prefix="lldpmib-e2e."))
        self.port = free_udp_port()
        self.socket = pathlib.Path(socket or self.dir / "agentx.sock")
        self.command = command or [*prefix, binary, "-f", "--agentx-socket", f"unix:{self.socket}",
                                   *(["--topology", topology] if topology else []), *args]
        # Not the config's directory: snmpd saves its state as snmpd.conf there.
        state = self.dir / "state"
        state.mkdir()
        # ENKT_ACTIVE keeps only capabilities 0-7 locally: the references assume it unset.
        self.env = dict(os.environ, SNMP_PERSISTENT_DIR=str(state), MIBS="")
        self.env.pop("ENKT_ACTIVE", None)
        self.snmpd = self.subagent = None
        self.in_snmpd, self.prefix = host == "dlmod", list(prefix)
        module = f"{conf}dlmod lldpmib_snmpd {DLMOD}\n" + tokens(self.command[len(prefix) + 1:], not conf) if self.in_snmpd else ""
        (self.dir / "master.conf").write_text(
            f"agentAddress udp:127.0.0.1:{self.port}\n{access}master agentx\n"
            f"agentXSocket unix:{self.socket}\ndontLogTCPWrappersConnects yes\n"
            f"[snmp] persistentDir {state}\n[snmp] mibs :\n{module}")

    def start_master(self):
        self.socket.unlink(missing_ok=True)
        self.snmpd = spawn([*(self.prefix if self.in_snmpd else []), "snmpd", "-f", "-I", "-smux", "-C",
                            "-c", self.dir / "master.conf", "-Lf", self.dir / "snmpd.log"],
                           self.dir / "snmpd.out", env=self.env)
        assert wait_until(lambda: self.socket.exists() or self.snmpd.poll() is not None, 10) \
            and self.socket.exists(), "snmpd did not start: " + self.log("snmpd.log")
        if self.in_snmpd:
            self.subagent = self.snmpd

    def start_subagent(self):
        if not self.in_snmpd:
            self.subagent = spawn(self.command, self.dir / "subagent.log", env=self.env)

    def wait_served(self):
        """Until lldpLocChassisIdSubtype.0 is served (to `private`, which sees every view)."""
        def served():
            assert self.subagent.poll() is None, "subagent exited: " + self.log("subagent.log")
            got = self.get(LLDP_MIB + ".1.3.1.0", timeout=0.5, check=False, community="private")
            return got and not got[0].endswith("NOSUCHOBJECT")
        assert wait_until(served, 15), "not served: " + self.log("subagent.log")

    def __enter__(self):
        try:
            self.start_master()
            self.start_subagent()
            self.wait_served()
        except BaseException:
            self.close()
            raise
        return self

    def __exit__(self, *exc):
        self.close()

    def close(self):
        # The subagent first: stopping both at once can trip net-snmp in it.
        stop_process(self.subagent)
        stop_process(self.snmpd)
        shutil.rmtree(self.dir, ignore_errors=True)

    def log(self, name):
        if self.in_snmpd and name == "subagent.log":
            name = "snmpd.log"
        path = self.dir / name
        return path.read_text(errors="replace")[-2000:] if path.exists() else ""

    def snmp(self, tool, *args, community="public", auth=None, timeout=2.0, check=True):
        """One net-snmp command against this agent (v2c with community unless auth gives
        other options); the CompletedProcess."""
        r = run(tool, *(auth or ["-v2c", "-c", community]), "-On", "-Ox", "-Oe", "-t", timeout, "-r", "1",
                f"127.0.0.1:{self.port}", *args, env=self.env)
        assert not check or r.returncode == 0, f"{' '.join(r.args)}: {r.stderr}"
        return r

    def get(self, *oids, tool="snmpget", **kw):
        """Answers of one GET (or GET-NEXT) of oids, as '<oid> <TYPE> <value>' lines."""
        return parse_snmp(self.snmp(tool, *oids, **kw).stdout)

    def walk(self, root=None, *extra, tool="snmpwalk", **kw):
        """Served bindings under root (default: lldpMIB, then lldpV2MIB), as
        '<oid> <TYPE> <value>' lines."""
        if root is None:
            return [l for r in (LLDP_MIB, LLDP_V2_MIB) for l in self.walk(r, *extra, tool=tool, **kw)]
        r = self.snmp(tool, *extra, root, **kw)
        assert "OID not increasing" not in r.stderr, r.stderr
        return [l for l in parse_snmp(r.stdout) if not l.endswith(NO_ANSWER)]


def tokens(args, backend):
    """lldpmib-agentx's command-line options (after the program, -f and --agentx-socket) as
    snmpd.conf lines of the loaded module; `backend`: its default topology when args name none."""
    lines, args = [], [str(a) for a in args if str(a) != "-f"]
    for i, a in enumerate(args):
        if a in TOKENS:
            value = args[i + 1] if i + 1 < len(args) and not args[i + 1].startswith("-") else ""
            lines.append(f"{TOKENS[a]} {value or ('default' if a == '--lldpd' else '')}".strip())
        elif a.startswith("-"):
            assert a == "--agentx-socket", f"{a}: no such token"
    if backend and not any(l.startswith(("lldpmibTopology", "lldpmibLldpd")) for l in lines):
        lines.append(f"lldpmibTopology {EXAMPLES / 'default.json'}")  # lldpmib-agentx's default
    return "".join(l + "\n" for l in lines)


def wait_until(predicate, timeout, interval=0.1):
    """Polls predicate() until it returns something true; returns its last value."""
    deadline = time.monotonic() + timeout
    while not (value := predicate()) and time.monotonic() < deadline:
        time.sleep(interval)
    return value


def parse_snmp(text):
    """net-snmp output (-On -Ox -Oe) as '<oid> <TYPE> <value>' lines, strings in
    lower-case hex. Long hex strings continue on following lines."""
    records = []
    for line in text.splitlines():
        if line.startswith(".") and " = " in line:
            name, value = line[1:].split(" = ", 1)
            prefix = next((p for p in VALUES if value.startswith(p)), None)
            assert prefix, f"unexpected value: {line}"
            records.append([name, VALUES[prefix], value[len(prefix):] if VALUES[prefix][-1] == " " else ""])
        elif records and line.strip():
            records[-1][2] += " " + line
    # Timeticks come as "(950) 0:00:09.50": the number is the value.
    return [f"{name} {kind}" + ("".join(rest.split()).lower() if kind == "OCTETS " else
                                rest.split(")")[0].strip() if kind == "TIMETICKS " else rest.strip())
            for name, kind, rest in records]

