"""The module on live LLDP data: one lldpd per network namespace, joined by veth
links, learns real neighbours; lldpmib-agentx runs in the router namespace with
--lldpd behind snmpd and must serve what lldpcli reports from the same daemon.

    alpha ──eth1── router ──eth2── hub (bridge, forwards LLDP) ─┬─ bravo
                                                                └─ charlie

bravo sends two organisationally specific TLVs with the same OUI and subtype."""
import pathlib
import threading
import time

import pytest

from conftest import LLDP_MIB, Agent, parse_snmp, run, wait_until
from lldpd_lab import Lab
from lldpd_reference import comparable, reference, value
from reference import lines

NEIGHBOURS = {"alpha", "bravo", "charlie"}
# Pause between walks that wait for a change (any rate shows a change).
POLL = 0.5
# An operator's poller: one GET-NEXT of lldpRemSysName this often; a change
# lldpcli shows must reach it within CHANGE_SHOWN seconds.
POLL_EVERY, CHANGE_SHOWN = 0.3, 2.0
HOSTS = ("router", "alpha", "hub", "bravo", "charlie")
NETWORK = """
link router eth1 alpha eth0; link router eth2 hub up0; link hub p1 bravo eth0; link hub p2 charlie eth0
# A bridge that forwards LLDP frames: bravo and charlie share the router's eth2.
ip -n $T-hub link add name br0 type bridge group_fwd_mask 0x4000
for p in up0 p1 p2; do ip -n $T-hub link set $p master br0; done
ip -n $T-hub link set br0 up
ip -n $T-router addr add 10.0.1.1/24 dev eth1; ip -n $T-router addr add fd00:1::1/64 dev eth1 nodad
ip -n $T-router addr add 10.0.2.1/24 dev eth2
ip -n $T-alpha addr add 10.0.1.2/24 dev eth0; ip -n $T-alpha addr add fd00:1::2/64 dev eth0 nodad
ip -n $T-bravo addr add 10.0.2.2/24 dev eth0; ip -n $T-charlie addr add 10.0.2.3/24 dev eth0
"""
# MAC port IDs on the router and alpha, interface names elsewhere.
CONFIG = {"router": "configure system capabilities enabled router\nconfigure lldp portidsubtype macaddress\n",
          "alpha": "configure lldp portidsubtype macaddress\n",
          "bravo": "configure lldp custom-tlv oui 33,44,55 subtype 1 oui-info 01,02\n"
                   "configure lldp custom-tlv add oui 33,44,55 subtype 1 oui-info 03\n"}


class RouterLab(Lab):
    def __init__(self, hosts):
        super().__init__(NETWORK, HOSTS, CONFIG, hosts)

    def wait_neighbours(self, names):
        """The router's neighbours once exactly these are known with final names and TLVs."""
        def settled():
            n = self.show("neighbors", "details")["lldp"][0].get("interface", [])
            named = {value(i["chassis"][0], "name"): i for i in n}
            tlvs = named.get("bravo", {}).get("unknown-tlvs", [{}])[0].get("unknown-tlv", [])
            return set(named) == names and ("bravo" not in names or len(tlvs) == 2) and n
        n = wait_until(settled, 30, 0.2)
        assert n, f"router did not learn exactly {sorted(names)}: {self.show('neighbors')}"
        return n


@pytest.fixture(scope="module")
def lab():
    with RouterLab(("router", "alpha", "bravo", "charlie")) as lab:
        lab.wait_neighbours(NEIGHBOURS)
        yield lab


def name_marks(agent):
    """{neighbour's system name: its time mark} as served."""
    return {bytes.fromhex(l.split()[2]).decode(): int(l.split(".")[11]) for l in agent.walk(LLDP_MIB + ".1.4.1.1.9")}


V2_MIB = "1.3.111.2.802.1.1.13.1"


def module_walk(agent):
    """Everything but the statistics groups, whose counters keep moving (checked below apart)."""
    return [line for root in [f"{LLDP_MIB}.1.{g}" for g in (1, 3, 4, 5)] + [f"{V2_MIB}.{g}" for g in (1, 3, 4)]
            for line in agent.walk(root)]


def served(agent, lab, names, normalise=list):
    """Waits until the agent serves what lldpcli shows with these neighbours
    (lldpd and the module's snapshots settle after a change)."""
    def same():
        lab.wait_neighbours(names)
        ref = reference(lab.view(), lab.ifindex)
        got, want = comparable(normalise(module_walk(agent)), ref), lines(ref)
        return got == want or sorted(set(got) ^ set(want))[:12]  # what differs, either side
    assert wait_until(lambda: same() is True, 20, POLL) or same() is True, same()


def first_name(lab):
    """lldpcli's first neighbour in lldpRemTable's order without time marks
    (local port, then lldpd's remote index): its system name."""
    n = lab.show("neighbors", "details")["lldp"][0].get("interface", [])
    return min(((lab.ifindex[i["name"]], int(i["rid"])), value(i["chassis"][0], "name")) for i in n)[1] if n else None


def poll(agent, answers, done):
    """GET-NEXT of lldpRemSysName every POLL_EVERY seconds until done: (start time, name or the error)."""
    while not done.is_set():
        start = time.monotonic()
        r = agent.snmp("snmpgetnext", LLDP_MIB + ".1.4.1.1.9", check=False)
        lines = parse_snmp(r.stdout) if r.returncode == 0 else []
        ok = len(lines) == 1 and lines[0].startswith(LLDP_MIB + ".1.4.1.1.9.")
        answers.append((start, bytes.fromhex(lines[0].split()[2]).decode() if ok else f"failed: {r.stdout} {r.stderr}"))
        done.wait(max(0.0, start + POLL_EVERY - time.monotonic()))


def test_busy_poller_sees_each_change_within_two_seconds(lab):
    """A neighbour renames itself, leaves and comes back while a manager polls
    without pause: each change lldpcli shows reaches the poller within
    CHANGE_SHOWN seconds and stays, and no poll fails."""
    changes = [(lambda: None, {"alpha"}), (lambda: lab.cli("alpha", "configure system hostname renamed-1\n"),
                                           {"renamed-1"}),
               (lambda: lab.stop("alpha"), {"bravo", "charlie"}),  # the one lldpd numbered first
               (lambda: lab.start("alpha"), {"alpha"})]
    answers, done, seen = [], threading.Event(), []  # seen: (changed, lldpcli showed it, name)
    with lab.agent("--lldpd-zero-time-marks") as agent:  # lldpRemTable in first_name()'s order
        poller = threading.Thread(target=poll, args=(agent, answers, done), daemon=True)
        poller.start()
        try:
            for change, names in changes:
                changed = time.monotonic()
                change()
                assert wait_until(lambda: first_name(lab) in names, 15, 0.05), f"lldpcli never showed {names}"
                seen.append((changed, time.monotonic(), first_name(lab)))
                time.sleep(CHANGE_SHOWN + 1)
        finally:
            done.set()
            poller.join()
    failed = [a for a in answers if a[1].startswith("failed")]
    assert not failed and len(answers) > 30, failed[:3]
    for (_, shown, name), (until, _, _) in zip(seen, seen[1:] + [(float("inf"), 0, None)]):
        # From when lldpcli showed it to the next change: the old name for at most
        # CHANGE_SHOWN s, then this one for good.
        after = [(round(t - shown, 2), got) for t, got in answers if shown <= t < until]
        first = next((dt for dt, got in after if got == name), None)
        assert first is not None and all(got == name for dt, got in after if dt >= min(first, CHANGE_SHOWN)), \
            f"{name} shown by lldpcli; polls after it (s, answer): {after}"
        print(f"{name}: first polled {first} s after lldpcli showed it")
    lab.wait_neighbours(NEIGHBOURS)  # alpha back with its name and TLVs, for the next test


def unmarked(walked):
    """Walk lines with every time mark 0, in walk order: a neighbour that changed
    has a mark, the reference knows none."""
    names = []
    for line in walked:
        oid, rest = line.split(" ", 1)
        name = [int(x) for x in oid.split(".")]
        # lldpRemTimeMark leads every remote table's index: lldpRemoteSystemsData's,
        # the extensions' remote data (lldpExtensions.<OUI>.1.3) and lldpV2RemoteSystemsData's.
        if name[6:8] == [1, 4]:
            name[11] = 0
        elif name[6:8] == [1, 5] and name[10] == 3:
            name[14] = 0
        elif name[:10] == [1, 3, 111, 2, 802, 1, 1, 13, 1, 4]:
            name[13] = 0
        names.append((name, rest))
    return [".".join(map(str, n)) + " " + rest for n, rest in sorted(names)]


def manager(agent, tool, walks, failures, done):
    """Walks lldpMIB with tool until done; each walk must end well, with every OID
    greater than the one before."""
    while not done.is_set():
        r = agent.snmp(tool, *(["-Cr10"] if tool == "snmpbulkwalk" else []), LLDP_MIB, check=False, timeout=5)
        names = [tuple(map(int, l.split(" ", 1)[0].split("."))) for l in parse_snmp(r.stdout)]
        if r.returncode or r.stderr.strip() or any(a >= b for a, b in zip(names, names[1:])):
            failures.append(f"{tool}: rc {r.returncode} {r.stderr.strip()[:200]}")
        walks.append(len(names))


CHURN_ROUNDS = 2


def test_three_managers_walk_through_churn(lab):
    """Neighbours rename, leave, come back and links flap while three managers walk
    lldpMIB without pause (real time marks, so rows move as they change): no walk
    fails or goes backwards, the agent stays up and its memory stays put; once lldpd
    settles, a walk is what lldpcli shows."""
    router, charlie = lab.ns["router"], lab.ns["charlie"]
    churn = [lambda: lab.cli("alpha", "configure system hostname alpha-2\n"), lambda: lab.stop("bravo"),
             lambda: run("ip", "-n", router, "link", "set", "eth1", "down"),
             lambda: run("ip", "-n", charlie, "link", "set", "eth0", "down"),
             lambda: lab.start("bravo"), lambda: run("ip", "-n", router, "link", "set", "eth1", "up"),
             lambda: lab.cli("alpha", "configure system hostname alpha\n"),
             lambda: run("ip", "-n", charlie, "link", "set", "eth0", "up")]
    with lab.agent() as agent:
        agent.walk()
        rss = [rss_kb(agent.subagent.pid)]
        walks, failures, done = [], [], threading.Event()
        managers = [threading.Thread(target=manager, args=(agent, tool, walks, failures, done), daemon=True)
                    for tool in ("snmpwalk", "snmpwalk", "snmpbulkwalk")]
        for m in managers:
            m.start()
        try:
            for change in churn * CHURN_ROUNDS:
                change()
                time.sleep(1.5)
        finally:
            done.set()
            for m in managers:
                m.join()
        assert agent.subagent.poll() is None and not failures, failures[:3]
        served(agent, lab, NEIGHBOURS, normalise=unmarked)
        rss.append(rss_kb(agent.subagent.pid))
        print(f"{len(walks)} walks of {min(walks)}..{max(walks)} bindings; "
              f"subagent RSS after the first walk {rss[0]} kB, after the churn {rss[1]} kB")
        assert len(walks) > 30 and rss[1] - rss[0] < 400


def rss_kb(pid):
    status = pathlib.Path(f"/proc/{pid}/status").read_text()
    return int(next(l.split()[1] for l in status.splitlines() if l.startswith("VmRSS:")))


# lldpConfiguration and lldpStatistics, and lldpcli's names for the counters served.
CONFIGURATION, STATISTICS = LLDP_MIB + ".1.1", LLDP_MIB + ".1.2"
# None: lldpd has no such counter (frame errors, TLVs discarded, table drops), 0 is served.
PORT_COUNTERS = {"6.1.2": "tx", "7.1.4": "rx", "7.1.2": "rx_discarded_cnt", "7.1.6": "rx_unrecognized_cnt",
                 "7.1.7": "ageout_cnt", "7.1.3": None, "7.1.5": None}  # lldpStatsTx/RxPortTable columns
TABLE_SUMS = {"2.0": "insert_cnt", "3.0": "delete_cnt", "4.0": None, "5.0": "ageout_cnt"}  # lldpStatsRemTables*


def numbers(agent, root):
    """{oid: integer} of the numbers in the walk of root."""
    return {oid: int(v) for oid, kind, v in (l.split(" ", 2) for l in agent.walk(root))
            if kind in ("INTEGER", "COUNTER32", "GAUGE32", "TIMETICKS")}


def test_agent_follows_lldpd_with_its_counters_and_time_marks(lab):
    """What lldpcli shows: lldpConfiguration; every counter between lldpcli's readings
    just before and just after the walk, the remote table counts between their sums.
    Neighbours known when the agent starts have time mark 0 (served() expects that),
    later ones the agent's uptime at their arrival. Last: it leaves the lab changed."""
    lab.cli("router", "configure lldp tx-hold 5\n")  # not the MIB's default; reset by the router's restart below
    with lab.agent("--lldpd-time-marks") as agent:
        served(agent, lab, NEIGHBOURS)
        assert numbers(agent, CONFIGURATION)[f"{CONFIGURATION}.2.0"] == 5
        # The agent serves data at most a second old: read lldpd first, then walk.
        before = lab.statistics()
        time.sleep(1.1)
        counted, after = numbers(agent, STATISTICS), lab.statistics()
        assert set(before) == set(after) == {lab.ifindex["eth1"], lab.ifindex["eth2"]}
        assert sum(p["tx"] for p in before.values()) > 0  # the lab has sent frames
        for port in before:
            for column, name in PORT_COUNTERS.items():
                assert before[port].get(name, 0) <= counted[f"{STATISTICS}.{column}.{port}"] <= \
                    after[port].get(name, 0), (port, column)
        for column, name in TABLE_SUMS.items():
            total = [sum(p.get(name, 0) for p in s.values()) for s in (before, after)]
            assert total[0] <= counted[f"{STATISTICS}.{column}"] <= total[1], column

        # charlie leaves: lldpd's shutdown frame removes it at once.
        lab.stop("charlie")
        served(agent, lab, {"alpha", "bravo"})
        # The router's daemon goes away: nothing is served, the agent lives on.
        lab.stop("router")
        assert wait_until(lambda: module_walk(agent) == [], 10, POLL)
        # It comes back on the same socket: the agent reconnects by itself and serves
        # the neighbours it learns again, as new ones.
        lab.start("router")
        fresh = wait_until(lambda: (m := name_marks(agent)).keys() == {"alpha", "bravo"} and min(m.values()) > 0,
                           20, POLL)
        assert fresh and agent.subagent.poll() is None, name_marks(agent)


def test_module_in_snmpd_follows_lldpd_going_away_and_back(lab):
    """The in-process module (after the test above: alpha and bravo): lldpd stops,
    nothing is served and snmpd lives on; it comes back and is served again."""
    # snmpd in this namespace (the managers' loopback): lldpd's socket is a file.
    with Agent(args=["--lldpd", lab.sock["router"]], host="dlmod") as agent:
        assert wait_until(lambda: name_marks(agent).keys() == {"alpha", "bravo"}, 20, POLL), name_marks(agent)
        lab.stop("router")
        assert wait_until(lambda: module_walk(agent) == [], 10, POLL)
        lab.start("router")
        assert wait_until(lambda: name_marks(agent).keys() == {"alpha", "bravo"}, 20, POLL)
        assert agent.subagent.poll() is None  # snmpd itself
