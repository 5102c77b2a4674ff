"""lldpRemTablesChange on live LLDP data, what only the real path shows: the router's
lldpd learns neighbours while lldpmib-agentx (--lldpd --lldpd-time-marks --notify)
runs behind an snmpd that sends its notifications to a real snmptrapd. One
notification per change with lldpd's counts, none inside the interval, one for a
change made while the master was down; time marks in the master's sysUpTime base,
which starts well before the subagent. When a change is due in detail (fake clock):
tests/unit/notification_test.cpp."""
import contextlib
import os
import shutil
import time

import pytest

from conftest import ACCESS, LLDP_MIB, free_udp_port, spawn, stop_process, wait_until
from test_lldpd import RouterLab as Lab, name_marks

SYS_UPTIME, TRAP_OID = "1.3.6.1.2.1.1.3.0", "1.3.6.1.6.3.1.1.4.1.0"
REM_TABLES_CHANGE = "OID: .1.0.8802.1.1.2.0.0.1"
LAST_CHANGE = LLDP_MIB + ".1.2.1.0"  # lldpStatsRemTablesLastChangeTime
COUNTERS = [f"{LLDP_MIB}.1.2.{n}.0" for n in (2, 3, 4, 5)]  # lldpStatsRemTables Inserts, Deletes, Drops, Ageouts
INTERVAL = 5


@pytest.fixture
def received(tmp_path):
    """snmptrapd on a free loopback port (received.port): received() gives every
    lldpRemTablesChange so far (snmpd's coldStart left out) as [(oid, value text)]."""
    if not shutil.which("snmptrapd"):
        pytest.skip("needs snmptrapd")
    log, port = tmp_path / "traps.log", free_udp_port()
    (tmp_path / "snmptrapd.conf").write_text("disableAuthorization yes\n")
    proc = spawn(["snmptrapd", "-f", "-n", "-On", "-C", "-c", tmp_path / "snmptrapd.conf", "-Lf", log,
                  "-F", "TRAP %v\n", f"udp:127.0.0.1:{port}"], tmp_path / "snmptrapd.out",
                 env=dict(os.environ, SNMP_PERSISTENT_DIR=str(tmp_path), MIBS=""))

    def received():
        traps = [[tuple(b.lstrip(".").split(" = ", 1)) for b in line[5:].split("\t") if b]
                 for line in log.read_text().splitlines() if line.startswith("TRAP ")]
        return [t for t in traps if (TRAP_OID, REM_TABLES_CHANGE) in t]
    received.port = port
    try:
        assert wait_until(lambda: log.exists() and "NET-SNMP" in log.read_text(), 10)
        yield received
    finally:
        stop_process(proc)


def test_changes_notified_once_per_interval_in_the_masters_time(received):
    with Lab(["router"]) as lab, contextlib.closing(lab.agent(
            "--lldpd-time-marks", "--notify", "--notification-interval", str(INTERVAL),
            access=ACCESS + f"trap2sink 127.0.0.1:{received.port} public\n")) as agent:
        def uptime(oid=SYS_UPTIME):
            return int(agent.get(oid)[0].split()[2])

        def appears(host, names):
            """host's lldpd starts until the router knows names: the master's uptime before and after."""
            before = uptime()
            lab.start(host)
            lab.wait_neighbours(names)
            return before - 100, uptime() + 100  # lldpd counts whole seconds

        def notified(n):
            """The n-th notification, the last so far, with lldpd's counts then: its sysUpTime."""
            assert wait_until(lambda: len(received()) >= n, INTERVAL + 5), agent.log("subagent.log")
            traps = received()
            stats = [sum(p[f"{k}_cnt"] for p in lab.statistics().values()) for k in ("insert", "delete", "ageout")]
            assert len(traps) == n and traps[-1][1:] == [(TRAP_OID, REM_TABLES_CHANGE), *zip(COUNTERS, (
                f"Gauge32: {v}" for v in (stats[0], stats[1], 0, stats[2])))], (traps, stats)
            assert traps[-1][0][0] == SYS_UPTIME
            return int(traps[-1][0][1].split("(")[1].split(")")[0])  # Timeticks: (n) ...

        agent.start_master()
        time.sleep(4)  # the master's uptime runs well ahead of the subagent's
        agent.start_subagent()
        agent.wait_served()
        assert agent.get(LLDP_MIB + ".1.1.5.0") == [f"{LLDP_MIB}.1.1.5.0 INTEGER {INTERVAL}"]  # the interval
        time.sleep(2)  # the first look only takes the baseline
        assert received() == []

        # A neighbour appears: one notification at once. A second change inside
        # the interval is held until the interval has passed.
        alpha = appears("alpha", {"alpha"})
        sent = notified(1)
        assert alpha[0] <= sent <= uptime()
        bravo = appears("bravo", {"alpha", "bravo"})
        assert bravo[1] - 100 < sent + (INTERVAL - 1) * 100, "bravo came too late to be held"
        assert notified(2) - sent >= (INTERVAL - 1) * 100
        # Time marks and the last change time are the master's uptime at the change.
        assert alpha[0] <= name_marks(agent)["alpha"] <= alpha[1] and \
            bravo[0] <= name_marks(agent)["bravo"] <= bravo[1] and bravo[0] <= uptime(LAST_CHANGE) <= bravo[1]

        # A change while the master is down is notified once it is back, and the
        # time base follows the restarted master.
        stop_process(agent.snmpd)
        lab.stop("bravo")  # its shutdown frame removes it at once
        lab.wait_neighbours({"alpha"})
        agent.start_master()
        agent.wait_served()
        notified(3)
        charlie = appears("charlie", {"alpha", "charlie"})
        mark = wait_until(lambda: name_marks(agent).get("charlie"), 10, 1.5)
        assert charlie[0] <= mark <= charlie[1], (charlie, mark)
