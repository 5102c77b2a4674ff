"""lldpRemTablesChange and the time base on live LLDP data: the router's lldpd
learns neighbours while lldpmib-agentx (--lldpd --lldpd-time-marks --notify) runs
behind an snmpd that sends its notifications to a real snmptrapd. Time marks and
notifications must be in the master's sysUpTime base, which starts well before
the subagent; changes are notified at most once per interval, and a change made
while the master is down is notified once it is back."""
import json
import os
import shutil
import socket
import time

import pytest

from conftest import LLDP_MIB, Agent, run, spawn, stop_process, wait_until
from test_lldpd import NETWORK, Lab

SYS_UPTIME = "1.3.6.1.2.1.1.3.0"
LAST_CHANGE = "1.0.8802.1.1.2.1.2.1.0"  # lldpStatsRemTablesLastChangeTime
NOTIFICATION_INTERVAL = "1.0.8802.1.1.2.1.1.5.0"
TRAP_OID = "1.3.6.1.6.3.1.1.4.1.0"
REM_TABLES_CHANGE = "1.0.8802.1.1.2.0.0.1"
# lldpStatsRemTablesInserts, Deletes, Drops, Ageouts
COUNTERS = [f"{LLDP_MIB}.1.2.{n}.0" for n in (2, 3, 4, 5)]
INTERVAL = 5
ACCESS = "rocommunity public 127.0.0.1\nrwcommunity private 127.0.0.1\n"


class TrapReceiver:
    """snmptrapd on a free loopback port, logging each notification as one line."""

    def __init__(self, directory):
        self.log = directory / "traps.log"
        with socket.socket(socket.AF_INET, socket.SOCK_DGRAM) as s:
            s.bind(("127.0.0.1", 0))
            self.port = s.getsockname()[1]
        (directory / "snmptrapd.conf").write_text("disableAuthorization yes\n")
        env = dict(os.environ, SNMP_PERSISTENT_DIR=str(directory), MIBS="")
        self.proc = spawn(["snmptrapd", "-f", "-n", "-On", "-C", "-c", directory / "snmptrapd.conf",
                           "-Lf", self.log, "-F", "TRAP %v\n", f"udp:127.0.0.1:{self.port}"],
                          directory / "snmptrapd.out", env=env)
        assert wait_until(lambda: self.log.exists() and "NET-SNMP" in self.log.read_text(), 10)

    def traps(self):
        """Every lldpRemTablesChange so far (snmpd's own, coldStart, left out): a
        list of [(oid, value text)] in varbind order."""
        found = []
        for line in self.log.read_text().splitlines():
            if line.startswith("TRAP "):
                binds = [b.split(" = ", 1) for b in line[5:].split("\t") if b]
                found.append([(name.lstrip("."), value) for name, value in binds])
        return [t for t in found if (TRAP_OID, "OID: ." + REM_TABLES_CHANGE) in t]

    def close(self):
        stop_process(self.proc)


@pytest.fixture
def lab(tmp_path):
    """The lab's network with only the router's lldpd running."""
    if os.geteuid() != 0 or not all(map(shutil.which, ("ip", "lldpd", "lldpcli", "snmptrapd"))):
        pytest.skip("needs root, ip, lldpd, lldpcli and snmptrapd")
    lab = Lab()
    try:
        r = run("sh", "-e", "-c", NETWORK, env=dict(os.environ, T=lab.tag))
        assert r.returncode == 0, r.stderr
        lab.start("router")
        yield lab
    finally:
        lab.close()


def uptime(agent, oid=SYS_UPTIME):
    """The master's sysUpTime.0 (or another TimeTicks) in hundredths."""
    line = agent.snmp("snmpget", oid).stdout
    return int(line.split("(")[1].split(")")[0])


def time_marks(agent):
    """{neighbour's system name: time mark} as served."""
    return {bytes.fromhex(l.split()[2]).decode(): int(l.split(".")[11])
            for l in agent.walk(LLDP_MIB + ".1.4.1.1.9")}


def lldpd_counters(lab):
    """lldpd's own insert, delete and ageout counts over the router's ports."""
    out = json.loads(run("lldpcli", "-u", lab.sock["router"], "-f", "json0", "show", "statistics",
                         "summary", check=True).stdout)
    summary = out["lldp"][0]["summary"][0]
    return {key: int(summary[f"{key}_cnt"][0][f"{key}_cnt"]) for key in ("insert", "delete", "ageout")}


def check_change(trap, lab):
    """One lldpRemTablesChange with its four counters, lldpd's own counts."""
    assert [name for name, _ in trap] == [SYS_UPTIME, TRAP_OID, *COUNTERS], trap
    values = dict(trap)
    assert values[TRAP_OID] == "OID: ." + REM_TABLES_CHANGE
    want = lldpd_counters(lab)
    assert [values[c] for c in COUNTERS] == [
        f"Gauge32: {want['insert']}", f"Gauge32: {want['delete']}", "Gauge32: 0",
        f"Gauge32: {want['ageout']}"], (trap, want)
    return int(values[SYS_UPTIME].split("(")[1].split(")")[0])


def test_changes_notified_in_the_masters_time(lab, tmp_path):
    receiver = TrapReceiver(tmp_path)
    agent = Agent(args=["--lldpd", lab.sock["router"], "--lldpd-time-marks", "--notify",
                        "--notification-interval", str(INTERVAL)],
                  prefix=["ip", "netns", "exec", lab.ns["router"]],
                  access=ACCESS + f"trap2sink 127.0.0.1:{receiver.port} public\n")
    try:
        agent.start_master()
        time.sleep(4)  # the master's uptime runs well ahead of the subagent's
        agent.start_subagent()
        agent.wait_served()
        time.sleep(2)  # the first look only takes the baseline
        assert receiver.traps() == []

        # A neighbour appears: its time mark is the master's uptime then, within
        # lldpd's whole seconds; one notification goes out at once.
        before = uptime(agent)
        lab.start("alpha")
        lab.wait_neighbours({"alpha"})
        after = uptime(agent)
        assert wait_until(receiver.traps, 5), agent.log("subagent.log")
        first_seen = time.monotonic()
        first = receiver.traps()
        assert len(first) == 1
        sent = check_change(first[0], lab)
        assert before - 100 <= sent <= uptime(agent)
        mark = wait_until(lambda: time_marks(agent).get("alpha"), 10, 1.5)
        assert before - 100 <= mark <= after + 100, (before, mark, after)
        assert before - 100 <= uptime(agent, LAST_CHANGE) <= after + 100
        assert agent.get(NOTIFICATION_INTERVAL) == [f"{NOTIFICATION_INTERVAL} INTEGER {INTERVAL}"]

        # A second change inside the interval is held until the interval has passed.
        lab.start("bravo")
        lab.wait_neighbours({"alpha", "bravo"})
        while time.monotonic() < first_seen + INTERVAL - 0.5:
            assert len(receiver.traps()) == 1
            time.sleep(0.1)
        assert wait_until(lambda: len(receiver.traps()) == 2, INTERVAL + 3)
        assert check_change(receiver.traps()[1], lab) - sent >= (INTERVAL - 1) * 100

        # A change while the master is down is notified once it is back, and the
        # time base follows the restarted master.
        stop_process(agent.snmpd)
        lab.stop("bravo")  # its shutdown frame removes it at once
        lab.wait_neighbours({"alpha"})
        agent.start_master()
        agent.wait_served()
        assert wait_until(lambda: len(receiver.traps()) == 3, INTERVAL + 5), agent.log("subagent.log")
        check_change(receiver.traps()[2], lab)
        before = uptime(agent)
        lab.start("charlie")
        lab.wait_neighbours({"alpha", "charlie"})
        after = uptime(agent)
        mark = wait_until(lambda: time_marks(agent).get("charlie"), 10, 1.5)
        assert before - 100 <= mark <= after + 100, (before, mark, after)
    finally:
        agent.close()
        receiver.close()
