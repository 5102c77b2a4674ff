"""The module on live LLDP data: one lldpd per network namespace, joined by veth
links, learns real neighbours; lldpmib-agentx runs in the router namespace with
--lldpd behind snmpd and must serve what lldpcli reports from the same daemon.

    alpha ──eth1── router ──eth2── hub (bridge, forwards LLDP) ─┬─ bravo
                                                                └─ charlie

bravo sends two organisationally specific TLVs with the same OUI and subtype."""
import ipaddress
import json
import os
import shutil
import signal
import subprocess
import tempfile
import time
import uuid

import pytest

from conftest import LLDP_MIB, Agent, stop_process, wait_until

LOCAL, LOC_PORT, LOC_MAN_ADDR = (LLDP_MIB + s for s in (".1.3", ".1.3.7.1", ".1.3.8.1"))
REM, REM_MAN_ADDR, REM_ORG_DEF = (LLDP_MIB + s for s in (".1.4.1.1", ".1.4.2.1", ".1.4.4.1"))
CHASSIS_SUBTYPES = {"ifalias": 2, "mac": 4, "ip": 5, "ifname": 6, "local": 7}
PORT_SUBTYPES = {"ifalias": 1, "mac": 3, "ip": 4, "ifname": 5, "local": 7}
CAPABILITY_BITS = {"Other": 0, "Repeater": 1, "Bridge": 2, "Wlan": 3, "Router": 4, "Tel": 5,
                   "Docsis": 6, "Station": 7}
NEIGHBOURS = {"alpha", "bravo", "charlie"}
# The module keeps a table's snapshot while it is read at least once a second:
# polls that look for a change leave longer gaps.
POLL = 1.5


def run(*args, ns=None, check=True):
    cmd = ["ip", "netns", "exec", ns, *args] if ns else list(args)
    return subprocess.run(cmd, check=check, timeout=20, capture_output=True, text=True)


class Lab:
    """The namespaces, links and daemons above; close() undoes whatever was made."""

    def __init__(self):
        self.tag = "lm" + uuid.uuid4().hex[:6]
        self.dir = tempfile.mkdtemp(prefix="lldpmib-lldpd-")
        os.chmod(self.dir, 0o755)  # lldpd drops to _lldpd and must reach its socket
        open(os.path.join(self.dir, "empty.conf"), "w").close()
        self.made, self.daemons = [], {}

    def build(self):
        for host in ("router", "alpha", "hub", "bravo", "charlie"):
            self.made.append(self.ns(host))
            r = run("ip", "netns", "add", self.ns(host), check=False)
            if r.returncode:
                pytest.skip("no network namespaces here: " + r.stderr.strip())
            run("ip", "link", "set", "lo", "up", ns=self.ns(host))
        for a, if_a, b, if_b in (("router", "eth1", "alpha", "eth0"), ("router", "eth2", "hub", "up0"),
                                 ("hub", "p1", "bravo", "eth0"), ("hub", "p2", "charlie", "eth0")):
            # Made under unique names in our namespace, renamed in theirs.
            tmp_a, tmp_b = ("v" + uuid.uuid4().hex[:10] for _ in range(2))
            run("ip", "link", "add", "name", tmp_a, "type", "veth", "peer", "name", tmp_b)
            for tmp, host, name in ((tmp_a, a, if_a), (tmp_b, b, if_b)):
                run("ip", "link", "set", tmp, "netns", self.ns(host))
                run("ip", "link", "set", tmp, "name", name, "up", ns=self.ns(host))
        hub = self.ns("hub")
        run("ip", "link", "add", "name", "br0", "type", "bridge", "group_fwd_mask", "0x4000", ns=hub)
        for port in ("up0", "p1", "p2"):
            run("ip", "link", "set", port, "master", "br0", ns=hub)
        run("ip", "link", "set", "br0", "up", ns=hub)
        for host, ifname, addr in (("router", "eth1", "10.0.1.1/24"), ("router", "eth1", "fd00:1::1/64"),
                                   ("router", "eth2", "10.0.2.1/24"), ("alpha", "eth0", "10.0.1.2/24"),
                                   ("alpha", "eth0", "fd00:1::2/64"), ("bravo", "eth0", "10.0.2.2/24"),
                                   ("charlie", "eth0", "10.0.2.3/24")):
            run("ip", "addr", "add", addr, "dev", ifname, *(["nodad"] if ":" in addr else []),
                ns=self.ns(host))
        for host in ("router", "alpha", "bravo", "charlie"):
            self.start(host)
        self.ifindex = {i: json.loads(run("ip", "-j", "link", "show", i, ns=self.ns("router")).stdout)
                        [0]["ifindex"] for i in ("eth1", "eth2")}
        self.wait_neighbours(NEIGHBOURS)

    def ns(self, host):
        return f"{self.tag}-{host}"

    def sock(self, host):
        return os.path.join(self.dir, host + ".sock")

    def start(self, host):
        with open(os.path.join(self.dir, host + ".log"), "a") as log:
            p = self.daemons[host] = subprocess.Popen(
                ["ip", "netns", "exec", self.ns(host), "lldpd", "-d", "-u", self.sock(host), "-O",
                 os.path.join(self.dir, "empty.conf")], stdout=log, stderr=subprocess.STDOUT)
        assert wait_until(lambda: p.poll() is not None or run(
            "lldpcli", "-u", self.sock(host), "show", "chassis", check=False).returncode == 0, 10)
        assert p.poll() is None, f"lldpd in {host} exited with {p.returncode}"
        settings = [("lldp", "tx-interval", "1"), ("system", "hostname", host),
                    ("system", "ip", "management", "pattern", "10.0.*,fd00:*")]
        if host == "router":
            settings.append(("system", "capabilities", "enabled", "router"))
        if host == "bravo":
            settings += [("lldp", "custom-tlv", "oui", "33,44,55", "subtype", "1", "oui-info", "01,02"),
                         ("lldp", "custom-tlv", "add", "oui", "33,44,55", "subtype", "1", "oui-info", "03")]
        for args in settings:
            self.lldpcli(host, "configure", *args)

    def stop(self, host):
        stop_process(self.daemons.pop(host))

    def lldpcli(self, host, *args):
        return run("lldpcli", "-u", self.sock(host), *args).stdout

    def show(self, *args):
        """The router's lldpcli view, as json0 (one-element lists stay lists)."""
        return json.loads(self.lldpcli("router", "-f", "json0", "show", *args))

    def settled(self, names):
        """The router's neighbours once exactly these are known with final names and TLVs."""
        n = self.show("neighbors", "details")["lldp"][0].get("interface", [])
        named = {value(i["chassis"][0], "name"): i for i in n}
        tlvs = named.get("bravo", {}).get("unknown-tlvs", [{}])[0].get("unknown-tlv", [])
        return set(named) == names and ("bravo" not in names or len(tlvs) == 2) and n

    def wait_neighbours(self, names, timeout=30):
        n = wait_until(lambda: self.settled(names), timeout, 0.2)
        assert n, f"router did not learn exactly {sorted(names)}: {self.show('neighbors')}"
        return n

    def close(self):
        for host in list(self.daemons):
            self.stop(host)
        for ns in self.made:
            # lldpd's privilege-separated child exits just after its parent.
            def pids():
                return [int(p) for p in run("ip", "netns", "pids", ns, check=False).stdout.split()]
            wait_until(lambda: not pids(), 3, 0.05)
            for pid in pids():
                os.kill(pid, signal.SIGKILL)
            run("ip", "netns", "del", ns, check=False)
        shutil.rmtree(self.dir, ignore_errors=True)


@pytest.fixture(scope="module")
def lab():
    if os.geteuid() != 0 or not all(map(shutil.which, ("ip", "lldpd", "lldpcli"))):
        pytest.skip("needs root, ip, lldpd and lldpcli")
    lab = Lab()
    try:
        lab.build()
        yield lab
    finally:
        lab.close()


def router_agent(lab, *args):
    return Agent(args=["--lldpd", lab.sock("router"), *args], prefix=["ip", "netns", "exec", lab.ns("router")])


@pytest.fixture(scope="module")
def agent(lab):
    with router_agent(lab) as a:
        yield a


# ---- What lldpcli says, as '<oid> <TYPE> <value>' lines ----

def value(node, key):
    return node.get(key, [{}])[0].get("value", "")


def id_bytes(i):
    return (bytes.fromhex(i["value"].replace(":", "")) if i["type"] == "mac" else
            ipaddress.ip_address(i["value"]).packed if i["type"] == "ip" else i["value"].encode())


def caps(chassis, enabled_only, high_first=True):
    """LldpSystemCapabilitiesMap: capability 0 is the first octet's top bit; the
    local group writes its two octets the other way round."""
    mask = sum(1 << CAPABILITY_BITS[c["type"]] for c in chassis.get("capability", [])
               if c["enabled"] or not enabled_only)
    octets = int(f"{mask:016b}"[::-1], 2).to_bytes(2, "big")
    return (octets if high_first else octets[::-1]).hex()


def addr_index(text):
    a = ipaddress.ip_address(text).packed
    return ".".join(map(str, (1 if len(a) == 4 else 2, len(a), *a)))


def man_addrs(chassis):
    """(instance, address length, interface number) of each management address."""
    return [(addr_index(ip["value"]), len(ipaddress.ip_address(ip["value"]).packed), int(iface["value"]))
            for ip, iface in zip(chassis.get("mgmt-ip", []), chassis.get("mgmt-iface", []))]


def expected(lab, neighbours):
    """The remote tables and the local groups, in walk order."""
    lines = []
    for i in neighbours:
        inst = f"0.{lab.ifindex[i['name']]}.{i['rid']}"
        c, p = i["chassis"][0], i["port"][0]
        cid, pid = c["id"][0], p["id"][0]
        for column, v in ((4, f"INTEGER {CHASSIS_SUBTYPES[cid['type']]}"), (5, f"OCTETS {id_bytes(cid).hex()}"),
                          (6, f"INTEGER {PORT_SUBTYPES[pid['type']]}"), (7, f"OCTETS {id_bytes(pid).hex()}"),
                          (8, "OCTETS " + value(p, "descr").encode().hex()),
                          (9, "OCTETS " + value(c, "name").encode().hex()),
                          (10, "OCTETS " + value(c, "descr").encode().hex()),
                          (11, "OCTETS " + caps(c, False)), (12, "OCTETS " + caps(c, True))):
            lines.append(f"{REM}.{column}.{inst} {v}")
        lines += [f"{REM_MAN_ADDR}.{column}.{inst}.{a} {v}" for a, _, iface in man_addrs(c)
                  for column, v in ((3, "INTEGER 2"), (4, f"INTEGER {iface}"), (5, "OID 0.0"))]
        seen = {}
        for t in i.get("unknown-tlvs", [{}])[0].get("unknown-tlv", []):
            key = (".".join(str(int(o, 16)) for o in t["oui"].split(",")), int(t["subtype"]))
            seen[key] = seen.get(key, 0) + 1
            lines.append(f"{REM_ORG_DEF}.4.{inst}.{key[0]}.{key[1]}.{seen[key]} OCTETS "
                         + t["value"].replace(",", "").lower())
    chassis = lab.show("chassis")["local-chassis"][0]["chassis"][0]
    cid = chassis["id"][0]
    lines += [f"{LOCAL}.1.0 INTEGER {CHASSIS_SUBTYPES[cid['type']]}", f"{LOCAL}.2.0 OCTETS {id_bytes(cid).hex()}",
              f"{LOCAL}.3.0 OCTETS " + value(chassis, "name").encode().hex(),
              f"{LOCAL}.4.0 OCTETS " + value(chassis, "descr").encode().hex(),
              f"{LOCAL}.5.0 OCTETS " + caps(chassis, False, False),
              f"{LOCAL}.6.0 OCTETS " + caps(chassis, True, False)]
    lines += [f"{LOC_MAN_ADDR}.{column}.{a} INTEGER {v}" for a, length, iface in man_addrs(chassis)
              for column, v in ((3, length + 1), (4, 2), (5, iface))]
    # Ports: one row per LLDP interface, numbered by interface index; MAC port IDs as dotted text.
    for i in lab.show("interfaces")["lldp"][0]["interface"]:
        n, pid = lab.ifindex[i["name"]], i["port"][0]["id"][0]
        digits = pid["value"].replace(":", "")
        text = ".".join(digits[k:k + 4] for k in (0, 4, 8)) if pid["type"] == "mac" else pid["value"]
        lines += [f"{LOC_PORT}.2.{n} INTEGER {PORT_SUBTYPES[pid['type']]}",
                  f"{LOC_PORT}.3.{n} OCTETS {text.encode().hex()}",
                  f"{LOC_PORT}.4.{n} OCTETS " + value(i["port"][0], "descr").encode().hex()]
    return sorted(lines)


def served(agent, lab, names):
    """The walk is exactly what lldpcli shows; nothing in lldpRemUnknownTLVTable,
    since lldpd drops TLVs of unknown types."""
    walked = agent.walk()
    assert sorted(walked) == expected(lab, lab.wait_neighbours(names))
    assert len([l for l in walked if l.startswith(REM + ".9.")]) == len(names)


def eventually(check, timeout=20):
    """Retries check() until it stops failing (lldpd and the module's snapshots
    settle after a change); the last failure is raised."""
    deadline = time.monotonic() + timeout
    while True:
        try:
            return check()
        except AssertionError:
            if time.monotonic() > deadline:
                raise
            time.sleep(POLL)


def test_agent_serves_what_lldpcli_shows(lab, agent):
    served(agent, lab, NEIGHBOURS)
    # Three neighbours on two ports, two of them behind the bridge.
    ports = sorted(int(l.split(".")[12]) for l in agent.walk(REM + ".9"))
    assert ports == sorted([lab.ifindex["eth1"]] + [lab.ifindex["eth2"]] * 2)


def test_neighbour_loss_and_daemon_restart(lab, agent):
    try:
        # charlie leaves: lldpd's shutdown frame removes it at once.
        lab.stop("charlie")
        eventually(lambda: served(agent, lab, {"alpha", "bravo"}))
        # The router's daemon goes away: nothing is served, the agent lives on.
        lab.stop("router")
        assert wait_until(lambda: agent.walk(LLDP_MIB + ".1") == [], 10, POLL)
        assert agent.subagent.poll() is None
        # It comes back on the same socket: the agent reconnects by itself.
        lab.start("router")
        eventually(lambda: served(agent, lab, {"alpha", "bravo"}))
        assert agent.subagent.poll() is None
    finally:  # the scenario as it was, for the tests that follow
        for host in {"router", "charlie"} - set(lab.daemons):
            lab.start(host)
        lab.wait_neighbours(NEIGHBOURS)


def test_time_marks(lab):
    with router_agent(lab, "--lldpd-time-marks") as agent:
        def marks():
            """{system name: time mark}"""
            return {bytes.fromhex(l.split()[2]).decode(): int(l.split(".")[11])
                    for l in agent.walk(REM + ".9")}
        assert marks() == dict.fromkeys(NEIGHBOURS, 0)
        # lldpd's ages are whole seconds: make the change fall after the start's second.
        time.sleep(1.5)
        lab.lldpcli("charlie", "configure", "system", "hostname", "charlie2")
        try:
            got = wait_until(lambda: "charlie2" in (m := marks()) and m, 20, POLL)
            assert got and got["charlie2"] > 0 and got["alpha"] == got["bravo"] == 0, (got, marks())
        finally:
            lab.lldpcli("charlie", "configure", "system", "hostname", "charlie")
            lab.wait_neighbours(NEIGHBOURS, 15)
