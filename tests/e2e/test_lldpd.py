"""The module on live LLDP data: a router namespace whose lldpd learns real
neighbours over veth links, read through `--lldpd`, checked against what
lldpcli reports from the same daemon.

    alpha ──eth1── router ──eth2── hub (bridge, forwards LLDP) ─┬─ bravo
                                                                └─ charlie

bravo sends two organisationally specific TLVs with the same OUI and subtype.
"""
import ipaddress
import os
import subprocess
import threading
import time

import pytest

from conftest import AGENTX, LLDP_MIB, WALKER, Agent
from lldpd_netns import Lab, namespaces_usable, wait_for
from test_agentx import parse_snmp

LOCAL_SYSTEM = LLDP_MIB + ".1.3"
LOC_PORT = LLDP_MIB + ".1.3.7.1"
LOC_MAN_ADDR = LLDP_MIB + ".1.3.8.1"
REM = LLDP_MIB + ".1.4.1.1"
REM_MAN_ADDR = LLDP_MIB + ".1.4.2.1"
REM_UNKNOWN = LLDP_MIB + ".1.4.3.1"
REM_ORG_DEF = LLDP_MIB + ".1.4.4.1"

CHASSIS_SUBTYPES = {"ifalias": 2, "mac": 4, "ip": 5, "ifname": 6, "local": 7}
PORT_SUBTYPES = {"ifalias": 1, "mac": 3, "ip": 4, "ifname": 5, "local": 7}
CAPABILITY_BITS = {"Other": 0, "Repeater": 1, "Bridge": 2, "Wlan": 3, "Router": 4,
                   "Tel": 5, "Docsis": 6, "Station": 7}
NEIGHBOURS = ("alpha", "bravo", "charlie")


class Scenario:
    def __init__(self, lab):
        self.lab = lab
        self.router = lab.ns("router")
        alpha, hub, bravo, charlie = (lab.ns(n) for n in ("alpha", "hub", "bravo", "charlie"))
        self.ns = {"router": self.router, "alpha": alpha, "bravo": bravo, "charlie": charlie}
        lab.veth(self.router, "eth1", alpha, "eth0")
        lab.veth(self.router, "eth2", hub, "up0")
        lab.veth(hub, "p1", bravo, "eth0")
        lab.veth(hub, "p2", charlie, "eth0")
        lab.bridge(hub, "br0", ["up0", "p1", "p2"])
        for ns, ifname, addr in ((self.router, "eth1", "10.0.1.1/24"), (self.router, "eth1", "fd00:1::1/64"),
                                 (self.router, "eth2", "10.0.2.1/24"), (alpha, "eth0", "10.0.1.2/24"),
                                 (alpha, "eth0", "fd00:1::2/64"), (bravo, "eth0", "10.0.2.2/24"),
                                 (charlie, "eth0", "10.0.2.3/24")):
            lab.address(ns, ifname, addr)
        self.sock = {}
        for host, ns in self.ns.items():
            self.start(host)
        self.ifindex = {i: lab.ifindex(self.router, i) for i in ("eth1", "eth2")}
        self.wait_neighbours(set(NEIGHBOURS))

    def start(self, host):
        ns = self.ns[host]
        sock = self.lab.start_lldpd(ns)
        self.sock[host] = sock
        for args in (("lldp", "tx-interval", "1"), ("system", "hostname", host),
                     ("system", "ip", "management", "pattern", "10.0.*,fd00:*")):
            self.lab.lldpcli(sock, "configure", *args)
        if host == "router":
            self.lab.lldpcli(sock, "configure", "system", "capabilities", "enabled", "router")
        if host == "bravo":
            self.lab.lldpcli(sock, "configure", "lldp", "custom-tlv", "oui", "33,44,55", "subtype", "1",
                             "oui-info", "01,02")
            self.lab.lldpcli(sock, "configure", "lldp", "custom-tlv", "add", "oui", "33,44,55", "subtype", "1",
                             "oui-info", "03")

    @property
    def router_sock(self):
        return self.sock["router"]

    def neighbours(self):
        j = self.lab.json0(self.router_sock, "show", "neighbors", "details")
        return j["lldp"][0].get("interface", [])

    def settled(self, names):
        """The neighbours when exactly these are known with final names and TLVs."""
        n = self.neighbours()
        got = {i["chassis"][0].get("name", [{}])[0].get("value") for i in n}
        if got != names:
            return None
        if "bravo" in names:
            bravo = [i for i in n if i["chassis"][0]["name"][0]["value"] == "bravo"][0]
            tlvs = bravo.get("unknown-tlvs", [{}])[0].get("unknown-tlv", [])
            if len(tlvs) != 2:
                return None
        return n

    def wait_neighbours(self, names, timeout=30):
        n = wait_for(lambda: self.settled(names), timeout)
        assert n, f"router did not learn exactly {sorted(names)}: {self.neighbours()}"
        return n

    def walk(self, root=LLDP_MIB, time_marks=False, sock=None):
        cmd = ["ip", "netns", "exec", self.router, str(WALKER), "--lldpd", sock or self.router_sock]
        if time_marks:
            cmd.append("--lldpd-time-marks")
        r = subprocess.run(cmd + ["walk", root], capture_output=True, text=True, timeout=60,
                           env=clean_env())
        assert r.returncode == 0, f"{' '.join(cmd)}: {r.stderr}"
        return r.stdout.splitlines()


def clean_env():
    env = dict(os.environ)
    env.pop("ENKT_ACTIVE", None)  # the capability octets below are the standard ones
    return env


@pytest.fixture(scope="module")
def scenario():
    reason = namespaces_usable()
    if reason:
        pytest.skip(reason)
    lab = Lab()
    try:
        yield Scenario(lab)
    finally:
        lab.close()


# ---- What lldpcli says, as walker lines ----

def hexstr(text):
    return text.encode().hex()


def id_bytes(kind, value):
    if kind == "mac":
        return bytes.fromhex(value.replace(":", ""))
    if kind == "ip":
        return ipaddress.ip_address(value).packed
    return value.encode()


def caps(capabilities, enabled_only):
    mask = 0
    for c in capabilities:
        if not enabled_only or c["enabled"]:
            mask |= 1 << CAPABILITY_BITS[c["type"]]
    return mask


def bits_octets(mask):
    """LldpSystemCapabilitiesMap: capability 0 is the first octet's top bit."""
    octets = [0, 0]
    for n in range(16):
        if mask & (1 << n):
            octets[n // 8] |= 0x80 >> (n % 8)
    return octets


def value(node, key):
    return node.get(key, [{}])[0].get("value", "")


def addr_index(text):
    a = ipaddress.ip_address(text)
    subtype = 1 if a.version == 4 else 2
    return f"{subtype}.{len(a.packed)}." + ".".join(str(b) for b in a.packed)


def expected_remote(s, neighbours):
    rem, man, org = [], [], []
    for i in neighbours:
        port, rid = s.ifindex[i["name"]], int(i["rid"])
        inst = f"0.{port}.{rid}"
        c, p = i["chassis"][0], i["port"][0]
        cid, pid = c["id"][0], p["id"][0]
        sup = bits_octets(caps(c.get("capability", []), False))
        ena = bits_octets(caps(c.get("capability", []), True))
        rem += [f"{REM}.4.{inst} INTEGER {CHASSIS_SUBTYPES[cid['type']]}",
                f"{REM}.5.{inst} OCTETS {id_bytes(cid['type'], cid['value']).hex()}",
                f"{REM}.6.{inst} INTEGER {PORT_SUBTYPES[pid['type']]}",
                f"{REM}.7.{inst} OCTETS {id_bytes(pid['type'], pid['value']).hex()}",
                f"{REM}.8.{inst} OCTETS {hexstr(value(p, 'descr'))}",
                f"{REM}.9.{inst} OCTETS {hexstr(value(c, 'name'))}",
                f"{REM}.10.{inst} OCTETS {hexstr(value(c, 'descr'))}",
                f"{REM}.11.{inst} OCTETS {sup[0]:02x}{sup[1]:02x}",
                f"{REM}.12.{inst} OCTETS {ena[0]:02x}{ena[1]:02x}"]
        for ip, iface in zip(c.get("mgmt-ip", []), c.get("mgmt-iface", [])):
            man.append((f"{inst}.{addr_index(ip['value'])}", int(iface["value"])))
        seen = {}
        for t in i.get("unknown-tlvs", [{}])[0].get("unknown-tlv", []):
            oui = ".".join(str(int(o, 16)) for o in t["oui"].split(","))
            key = (oui, int(t["subtype"]))
            seen[key] = seen.get(key, 0) + 1
            info = t["value"].replace(",", "").lower()
            org.append(f"{REM_ORG_DEF}.4.{inst}.{oui}.{key[1]}.{seen[key]} OCTETS {info}")
    return rem, man, org


def rows_of(lines, column_prefix):
    """{instance: value} of one column."""
    out = {}
    for line in lines:
        oid, rest = line.split(" ", 1)
        if oid.startswith(column_prefix + "."):
            out[oid[len(column_prefix) + 1:]] = rest
    return out


def check_remote_tables(s, lines, neighbours):
    rem, man, org = expected_remote(s, neighbours)
    assert sorted(l for l in lines if l.startswith(REM + ".")) == sorted(rem)
    assert sorted(l for l in lines if l.startswith(REM_ORG_DEF + ".")) == sorted(org)
    # Management addresses: every one lldpcli shows, with its interface number.
    if_ids = rows_of(lines, REM_MAN_ADDR + ".4")
    assert sorted(if_ids) == sorted(inst for inst, _ in man)
    for inst, iface in man:
        assert if_ids[inst] == f"INTEGER {iface}", inst
    # lldpd does not expose TLVs of unknown types.
    assert [l for l in lines if l.startswith(REM_UNKNOWN + ".")] == []


def check_local_groups(s, lines):
    chassis = s.lab.json0(s.router_sock, "show", "chassis")["local-chassis"][0]["chassis"][0]
    cid = chassis["id"][0]
    sup = bits_octets(caps(chassis.get("capability", []), False))
    ena = bits_octets(caps(chassis.get("capability", []), True))
    system = [l for l in lines if l.startswith(LOCAL_SYSTEM + ".") and l.split(" ")[0].count(".") == 9]
    assert system == [
        f"{LOCAL_SYSTEM}.1.0 INTEGER {CHASSIS_SUBTYPES[cid['type']]}",
        f"{LOCAL_SYSTEM}.2.0 OCTETS {id_bytes(cid['type'], cid['value']).hex()}",
        f"{LOCAL_SYSTEM}.3.0 OCTETS {hexstr(value(chassis, 'name'))}",
        f"{LOCAL_SYSTEM}.4.0 OCTETS {hexstr(value(chassis, 'descr'))}",
        # This group writes its two octets the other way round.
        f"{LOCAL_SYSTEM}.5.0 OCTETS {sup[1]:02x}{sup[0]:02x}",
        f"{LOCAL_SYSTEM}.6.0 OCTETS {ena[1]:02x}{ena[0]:02x}",
    ]

    # Ports: one row per LLDP interface, numbered by interface index.
    ports = s.lab.json0(s.router_sock, "show", "interfaces")["lldp"][0]["interface"]
    expected = []
    for i in ports:
        n, pid = s.ifindex[i["name"]], i["port"][0]["id"][0]
        if pid["type"] == "mac":
            digits = pid["value"].replace(":", "")
            text = ".".join(digits[k:k + 4] for k in (0, 4, 8))  # MAC ports as dotted text
        else:
            text = pid["value"]
        expected += [f"{LOC_PORT}.2.{n} INTEGER {PORT_SUBTYPES[pid['type']]}",
                     f"{LOC_PORT}.3.{n} OCTETS {hexstr(text)}",
                     f"{LOC_PORT}.4.{n} OCTETS {hexstr(value(i['port'][0], 'descr'))}"]
    assert sorted(l for l in lines if l.startswith(LOC_PORT + ".")) == sorted(expected)

    # Management addresses with their interface numbers.
    want = {addr_index(ip["value"]): int(iface["value"])
            for ip, iface in zip(chassis.get("mgmt-ip", []), chassis.get("mgmt-iface", []))}
    got = rows_of(lines, LOC_MAN_ADDR + ".5")
    assert {k: int(v.split()[1]) for k, v in got.items()} == want


# ---- Tests ----

def test_walk_matches_lldpcli(scenario):
    s = scenario
    lines = s.walk()
    check_remote_tables(s, lines, s.wait_neighbours(set(NEIGHBOURS)))
    check_local_groups(s, lines)
    # Three neighbours on two ports, two of them behind the bridge.
    ports = sorted(int(k.split(".")[1]) for k in rows_of(lines, REM + ".9"))
    assert ports == sorted([s.ifindex["eth1"], s.ifindex["eth2"], s.ifindex["eth2"]])


def test_unreachable_daemon_serves_nothing(scenario):
    r = subprocess.run([str(WALKER), "--lldpd", scenario.lab.dir + "/nobody.sock", "walk", LLDP_MIB],
                       capture_output=True, text=True, timeout=60)
    assert r.returncode == 0, r.stderr
    assert [l for l in r.stdout.splitlines() if l.startswith((REM, LOCAL_SYSTEM))] == []


# ---- Through snmpd and lldpmib-agentx in the router namespace ----

class RouterAgent(Agent):
    """lldpmib-agentx started inside the router namespace; its master stays
    outside (the AgentX socket is a path, reachable from any namespace)."""

    def __init__(self, netns, sock, time_marks=False):
        extra = ["--lldpd", sock] + (["--lldpd-time-marks"] if time_marks else [])
        super().__init__(extra_args=extra)
        self.netns = netns
        self.env.pop("ENKT_ACTIVE", None)

    def start_subagent(self):
        args = ["ip", "netns", "exec", self.netns, str(AGENTX), "-f", "--agentx-socket",
                f"unix:{self.socket}"] + self.extra_args
        self.subagent_log = open(self.dir / "subagent.log", "ab")
        self.subagent = subprocess.Popen(args, env=self.env, stdout=self.subagent_log,
                                         stderr=subprocess.STDOUT, start_new_session=True)


@pytest.fixture
def router_agent(scenario):
    agents = []

    def make(time_marks=False):
        a = RouterAgent(scenario.router, scenario.router_sock, time_marks)
        agents.append(a)
        return a.start()

    yield make
    for a in agents:
        a.stop()


def snmp_lines(agent, root=LLDP_MIB):
    r = agent.snmp("snmpwalk", root)
    assert "OID not increasing" not in r.stderr, r.stderr
    return [l for l in parse_snmp(r.stdout)
            if not l.endswith(("NOSUCHOBJECT", "NOSUCHINSTANCE", "ENDOFMIBVIEW"))]


def test_agentx_matches_lldpcli(scenario, router_agent):
    s = scenario
    agent = router_agent()
    lines = snmp_lines(agent)
    check_remote_tables(s, lines, s.wait_neighbours(set(NEIGHBOURS)))
    check_local_groups(s, lines)
    assert agent.subagent.poll() is None


# The module keeps a table's snapshot while it is read at least once a second:
# polls that look for a change leave longer gaps.
POLL = 1.5


def eventually(check, timeout=20):
    """Retries check() until it stops failing (lldpd and the module's
    snapshots settle after a change); the last failure is raised."""
    deadline = time.monotonic() + timeout
    while True:
        try:
            return check()
        except AssertionError:
            if time.monotonic() > deadline:
                raise
            time.sleep(POLL)


def test_agentx_survives_neighbour_loss_and_daemon_restart(scenario, router_agent):
    s = scenario
    agent = router_agent()

    def served(names):
        lines = snmp_lines(agent)
        assert len(rows_of(lines, REM + ".9")) == len(names)
        check_remote_tables(s, lines, s.wait_neighbours(names))

    try:
        # charlie leaves: lldpd's shutdown frame removes it at once.
        s.lab.stop_lldpd(s.ns["charlie"])
        eventually(lambda: served({"alpha", "bravo"}))

        # The router's daemon goes away: nothing is served, the agent lives on.
        s.lab.stop_lldpd(s.router)
        assert wait_for(lambda: snmp_lines(agent, REM) == [], timeout=10, interval=POLL)
        assert agent.subagent.poll() is None

        # It comes back on the same socket: the agent reconnects by itself.
        s.start("router")
        eventually(lambda: served({"alpha", "bravo"}))
        assert agent.subagent.poll() is None
    finally:
        # Put the scenario back for the tests that follow.
        for host in ("router", "charlie"):
            if not any(name == s.ns[host] and p.poll() is None for name, p in s.lab.procs):
                s.start(host)
        s.wait_neighbours(set(NEIGHBOURS))


def test_agentx_time_marks(scenario, router_agent):
    s = scenario
    agent = router_agent(time_marks=True)
    before = rows_of(snmp_lines(agent, REM + ".9"), REM + ".9")
    assert len(before) == 3 and all(k.startswith("0.") for k in before), before
    # lldpd's ages are whole seconds: make the change fall after the start's second.
    time.sleep(1.5)
    s.lab.lldpcli(s.sock["charlie"], "configure", "system", "hostname", "charlie2")
    try:
        def changed():
            rows = rows_of(snmp_lines(agent, REM + ".9"), REM + ".9")
            return [k for k, v in rows.items() if v == f"OCTETS {hexstr('charlie2')}"] and rows
        rows = wait_for(changed, timeout=20, interval=POLL)
        assert rows, ("the changed name was not served: %s; lldpcli: %s"
                      % (snmp_lines(agent, REM + ".9"), s.neighbours()))
        marks = {v: int(k.split(".")[0]) for k, v in rows.items()}
        assert marks[f"OCTETS {hexstr('charlie2')}"] > 0
        assert marks[f"OCTETS {hexstr('alpha')}"] == 0
        assert marks[f"OCTETS {hexstr('bravo')}"] == 0
    finally:
        s.lab.lldpcli(s.sock["charlie"], "configure", "system", "hostname", "charlie")
        wait_for(lambda: s.settled(set(NEIGHBOURS)), 15)


def test_interfaces_and_neighbours_churning_during_walks(scenario, router_agent):
    """Ports appear and vanish and neighbours come and go while managers walk:
    every walk completes in order, the agent stays up, and once things calm
    down the tables match lldpcli again."""
    s = scenario
    agent = router_agent()
    stop = threading.Event()
    errors = []

    def churn():
        try:
            k = 0
            while not stop.is_set():
                # A veth pair inside the router: two LLDP ports that hear each other.
                a, b = f"ch{k}a", f"ch{k}b"
                s.lab.run_in(s.router, "ip", "link", "add", "name", a, "type", "veth", "peer", "name", b)
                s.lab.run_in(s.router, "ip", "link", "set", a, "up")
                s.lab.run_in(s.router, "ip", "link", "set", b, "up")
                s.lab.run_in(s.router, "ip", "link", "set", "eth1", "down")
                time.sleep(0.4)
                s.lab.run_in(s.router, "ip", "link", "set", "eth1", "up")
                s.lab.run_in(s.router, "ip", "link", "del", a)
                time.sleep(0.3)
                k += 1
        except Exception as e:  # reported by the test, not lost in the thread
            errors.append(e)

    t = threading.Thread(target=churn)
    t.start()
    try:
        deadline = time.monotonic() + 8
        walks = 0
        while time.monotonic() < deadline:
            snmp_lines(agent)          # asserts the agent's answers keep increasing
            s.walk()                   # a fresh process each time: fresh connections
            walks += 1
        assert walks >= 2
    finally:
        stop.set()
        t.join()
    assert not errors, errors
    assert agent.subagent.poll() is None, agent.log("subagent.log")

    def calm():
        lines = snmp_lines(agent)
        check_remote_tables(s, lines, s.wait_neighbours(set(NEIGHBOURS)))
        check_local_groups(s, lines)
    eventually(calm)
