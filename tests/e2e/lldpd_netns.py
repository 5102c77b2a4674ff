"""A small LLDP lab: network namespaces joined by veth links, one lldpd per
namespace with its own control socket.  Everything made is recorded and torn
down by close(), which is safe to call after a partial set-up."""

import json
import os
import shutil
import signal
import subprocess
import tempfile
import time
import uuid


def run(*args, check=True, timeout=20, ns=None):
    cmd = list(args)
    if ns:
        cmd = ["ip", "netns", "exec", ns] + cmd
    return subprocess.run(cmd, check=check, timeout=timeout, capture_output=True, text=True)


def namespaces_usable():
    """None when namespaces can be made here, else the reason they cannot."""
    if os.geteuid() != 0:
        return "network namespaces need root"
    for tool in ("ip", "lldpd", "lldpcli"):
        if not shutil.which(tool):
            return f"{tool} is not installed"
    probe = "lmprobe" + uuid.uuid4().hex[:8]
    r = subprocess.run(["ip", "netns", "add", probe], capture_output=True, text=True)
    if r.returncode != 0:
        return "this machine forbids network namespaces: " + r.stderr.strip()
    subprocess.run(["ip", "netns", "del", probe], capture_output=True)
    return None


class Lab:
    def __init__(self):
        self.tag = "lm" + uuid.uuid4().hex[:6]  # unique per run
        self.dir = tempfile.mkdtemp(prefix="lldpmib-lldpd-")
        os.chmod(self.dir, 0o755)  # lldpd drops to _lldpd and must reach its socket
        self.empty_conf = os.path.join(self.dir, "empty.conf")
        open(self.empty_conf, "w").close()
        self.namespaces = []
        self.procs = []  # (name, Popen)

    # ---- building ----

    def ns(self, short):
        name = f"{self.tag}-{short}"
        run("ip", "netns", "add", name)
        self.namespaces.append(name)
        run("ip", "link", "set", "lo", "up", ns=name)
        return name

    def veth(self, ns_a, if_a, ns_b, if_b):
        """A link between two namespaces; both ends up."""
        tmp_a, tmp_b = "v" + uuid.uuid4().hex[:10], "v" + uuid.uuid4().hex[:10]
        run("ip", "link", "add", "name", tmp_a, "type", "veth", "peer", "name", tmp_b)
        run("ip", "link", "set", tmp_a, "netns", ns_a)
        run("ip", "link", "set", tmp_b, "netns", ns_b)
        run("ip", "link", "set", tmp_a, "name", if_a, ns=ns_a)
        run("ip", "link", "set", tmp_b, "name", if_b, ns=ns_b)
        run("ip", "link", "set", if_a, "up", ns=ns_a)
        run("ip", "link", "set", if_b, "up", ns=ns_b)

    def bridge(self, ns, name, ports):
        """A bridge that forwards LLDP frames, so neighbours behind it share one port."""
        run("ip", "link", "add", "name", name, "type", "bridge", "group_fwd_mask", "0x4000", ns=ns)
        for p in ports:
            run("ip", "link", "set", p, "master", name, ns=ns)
        run("ip", "link", "set", name, "up", ns=ns)

    def address(self, ns, ifname, addr):
        extra = ["nodad"] if ":" in addr else []
        run("ip", "addr", "add", addr, "dev", ifname, *extra, ns=ns)

    def run_in(self, ns, *args):
        return run(*args, ns=ns)

    def ifindex(self, ns, ifname):
        out = run("ip", "-j", "link", "show", ifname, ns=ns).stdout
        return json.loads(out)[0]["ifindex"]

    # ---- lldpd ----

    def socket_of(self, ns):
        return os.path.join(self.dir, ns + ".sock")

    def start_lldpd(self, ns):
        sock = self.socket_of(ns)
        log = open(os.path.join(self.dir, ns + ".log"), "w")
        p = subprocess.Popen(["ip", "netns", "exec", ns, "lldpd", "-d", "-u", sock, "-O", self.empty_conf],
                             stdout=log, stderr=subprocess.STDOUT)
        log.close()
        self.procs.append((ns, p))
        deadline = time.monotonic() + 10
        while time.monotonic() < deadline:
            if p.poll() is not None:
                raise RuntimeError(f"lldpd in {ns} exited with {p.returncode}")
            if os.path.exists(sock) and run("lldpcli", "-u", sock, "show", "chassis", check=False).returncode == 0:
                return sock
            time.sleep(0.05)
        raise RuntimeError(f"lldpd in {ns} does not answer on {sock}")

    def stop_lldpd(self, ns):
        for name, p in self.procs:
            if name == ns and p.poll() is None:
                _stop(p)

    def lldpcli(self, sock, *args):
        return run("lldpcli", "-u", sock, *args).stdout

    def json0(self, sock, *args):
        return json.loads(self.lldpcli(sock, "-f", "json0", *args))

    def spawn(self, name, cmd, **kw):
        """Any other process of the scenario, stopped by close()."""
        p = subprocess.Popen(cmd, **kw)
        self.procs.append((name, p))
        return p

    # ---- tear-down ----

    def close(self):
        for _, p in reversed(self.procs):
            if p.poll() is None:
                _stop(p)
        self.procs.clear()
        for name in reversed(self.namespaces):
            _empty_namespace(name)
            subprocess.run(["ip", "netns", "del", name], capture_output=True)
        self.namespaces.clear()
        shutil.rmtree(self.dir, ignore_errors=True)


def _stop(p):
    p.send_signal(signal.SIGTERM)
    try:
        p.wait(timeout=5)
    except subprocess.TimeoutExpired:
        p.kill()
        p.wait(timeout=5)


def _empty_namespace(name, timeout=3):
    """Waits for what is left in our namespace (lldpd's privilege-separated
    child exits just after its parent) and kills whatever outlives the wait."""
    def pids():
        r = subprocess.run(["ip", "netns", "pids", name], capture_output=True, text=True)
        return [int(p) for p in r.stdout.split()] if r.returncode == 0 else []

    deadline = time.monotonic() + timeout
    while pids() and time.monotonic() < deadline:
        time.sleep(0.05)
    for pid in pids():
        try:
            os.kill(pid, signal.SIGKILL)
        except ProcessLookupError:
            pass


def wait_for(predicate, timeout=20, interval=0.2):
    """Polls until predicate() returns something true; returns it, or the last
    value after the timeout."""
    deadline = time.monotonic() + timeout
    value = predicate()
    while not value and time.monotonic() < deadline:
        time.sleep(interval)
        value = predicate()
    return value
