"""The module loaded into snmpd (dlmod): its tokens before or after the dlmod line,
a restarted snmpd serving again, and bad settings logged with snmpd serving on
without lldpMIB."""
import pytest

from conftest import EXAMPLES, LLDP_MIB, Agent, stop_process
from reference import walk

MODEL = EXAMPLES / "default.json"
TOPOLOGY = next(p for p in sorted(EXAMPLES.glob("*.json")) if p != MODEL)


@pytest.mark.parametrize("before", [False, True], ids=["after-dlmod", "before-dlmod"])
def test_tokens_anywhere_and_a_restarted_snmpd_serves_again(before):
    line = f"lldpmibTopology {TOPOLOGY}\n"
    with Agent(host="dlmod", conf=line if before else "", args=[] if before else ["--topology", TOPOLOGY]) as a:
        assert a.walk() == walk(TOPOLOGY)
        stop_process(a.snmpd)
        a.start_master()
        a.wait_served()
        assert a.walk(None, "-Cr20", tool="snmpbulkwalk") == walk(TOPOLOGY)


@pytest.mark.parametrize("lines,says", [
    (f"lldpmibTopology {MODEL}\nlldpmibNotificationInterval 2\n", 'lldpmibNotificationInterval needs seconds in 5..3600, got "2"'),
    ("lldpmibLldpd default\nlldpmibTimeMarks maybe\n", 'lldpmibTimeMarks needs yes or no, got "maybe"'),
    ("lldpmibTopology\n", "Blank line following lldpmibTopology token"),
    ("lldpmibTopology /nonexistent/topology.json\n", "/nonexistent/topology.json"),
    (f"lldpmibTopology {MODEL}\nlldpmibLldpd default\n", "lldpmibTopology and lldpmibLldpd exclude each other"),
])
def test_bad_setting_is_logged_and_snmpd_serves_on_without_lldpmib(lines, says):
    a = Agent(host="dlmod", conf=lines)
    try:
        a.start_master()
        uptime = a.get("1.3.6.1.2.1.1.3.0", community="private")
        assert a.snmpd.poll() is None and uptime and "TIMETICKS" in uptime[0]
        assert a.walk() == []
        log = a.log("snmpd.log")
        assert says in log and "lldpmib_snmpd: not serving lldpMIB and lldpV2MIB" in log, log
    finally:
        a.close()
