"""The Debian package: cpack -G DEB on the build directory, unpacked into a
scratch root; its files, its systemd unit, and its agent serving a topology
behind a private snmpd configured with the package's snippet."""
import configparser
import shutil
import subprocess
import time

import pytest

from conftest import BUILD, EXAMPLES, LLDP_MIB, Agent
from test_agentx import snmp_walk, walker_walk
from test_mib import check_remote_table

CPACK_CONFIG = BUILD / "CPackConfig.cmake"
UNIT = "usr/lib/systemd/system/lldpmib-agentx.service"
SNIPPET = "etc/snmp/snmpd.conf.d/lldpmib-agentx.conf"
LIBS = ["liblldpmib.so", "libsnmp_agent.so", "libkel_list.so", "libkel_dt.so",
        "libplatform_sys.so", "liblldp_client.so", "libplatform_fault.so"]
FILES = sorted([
    "usr/sbin/lldpmib-agentx",
    "usr/bin/lldpmib-walk",
    *(f"usr/lib/lldpmib/{lib}" for lib in LIBS),
    "usr/share/snmp/mibs/LLDP-MIB.txt",
    UNIT,
    SNIPPET,
    "usr/share/man/man8/lldpmib-agentx.8",
    "usr/share/man/man1/lldpmib-walk.1",
])


@pytest.fixture(scope="module")
def package(tmp_path_factory):
    """(the .deb, the scratch root it is unpacked into)."""
    if not CPACK_CONFIG.exists():
        pytest.fail(f"{CPACK_CONFIG} missing: configure the build directory again")
    out = tmp_path_factory.mktemp("package")
    # The build directory is up to date: cpack's preinstall step only checks it.
    r = subprocess.run(["cpack", "-G", "DEB", "--config", str(CPACK_CONFIG), "-B", str(out)],
                       capture_output=True, text=True, timeout=600)
    assert r.returncode == 0, r.stdout + r.stderr
    debs = list(out.glob("*.deb"))
    assert len(debs) == 1, debs
    root = out / "root"
    subprocess.run(["dpkg-deb", "-x", str(debs[0]), str(root)], check=True)
    return debs[0], root


def deb_field(deb, field):
    return subprocess.run(["dpkg-deb", "-f", str(deb), field], capture_output=True, text=True,
                          check=True).stdout.strip()


def test_package_holds_the_programs_libraries_mib_unit_snippet_and_man_pages(package):
    deb, root = package
    files = sorted(str(p.relative_to(root)) for p in root.rglob("*") if not p.is_dir())
    assert files == FILES
    for program in ("usr/sbin/lldpmib-agentx", "usr/bin/lldpmib-walk"):
        r = subprocess.run([str(root / program), "--help"], capture_output=True, text=True,
                           timeout=10)
        assert r.returncode == 0 and r.stdout.startswith("Usage: "), r.stderr


def test_package_declares_its_dependencies(package):
    deb, _ = package
    depends = [d.split()[0] for d in deb_field(deb, "Depends").split(", ")]
    assert "libsnmp40" in depends  # net-snmp's agent library
    assert "lldpd" in depends      # Debian ships liblldpctl in lldpd
    conffiles = subprocess.run(["dpkg-deb", "--ctrl-tarfile", str(deb)], capture_output=True,
                               check=True).stdout
    assert b"conffiles" in conffiles


def test_unit_runs_the_agent_on_lldpd_after_snmpd(package):
    _, root = package
    unit = configparser.ConfigParser(strict=False, interpolation=None)
    unit.optionxform = str
    unit.read(root / UNIT)
    for key in ("After", "Wants"):
        assert set(unit["Unit"][key].split()) == {"snmpd.service", "lldpd.service"}, key
    assert unit["Service"]["ExecStart"] == "/usr/sbin/lldpmib-agentx -f --lldpd"
    assert unit["Service"]["Restart"] == "on-failure"
    assert unit["Install"]["WantedBy"] == "multi-user.target"


@pytest.mark.skipif(not shutil.which("systemd-analyze"), reason="no systemd-analyze")
def test_unit_verifies(package, tmp_path):
    _, root = package
    # The program is in the scratch root, not in /usr: point the copy there.
    text = (root / UNIT).read_text()
    copy = tmp_path / "lldpmib-agentx.service"
    copy.write_text(text.replace("=/usr/sbin/", f"={root}/usr/sbin/"))
    r = subprocess.run(["systemd-analyze", "verify", "--man=no", str(copy)],
                       capture_output=True, text=True, timeout=60)
    assert r.returncode == 0 and r.stderr == "", r.stderr


def test_unpacked_agent_serves_behind_snmpd_with_the_snippet(package):
    _, root = package
    topology = EXAMPLES / "default.json"
    a = Agent(topology, binary=root / "usr/sbin/lldpmib-agentx")
    try:
        # The community sees only Debian's default view, as on an installed
        # system; the package's snippet adds lldpMIB to it.
        conf = a.dir / "master.conf"
        text = conf.read_text().replace(
            "rocommunity public 127.0.0.1\n",
            "rocommunity public 127.0.0.1 -V systemonly\n"
            "view systemonly included .1.3.6.1.2.1.1\n"
            f"includeFile {root / SNIPPET}\n")
        assert "-V systemonly" in text
        conf.write_text(text)
        a.start()
        assert snmp_walk(a) == walker_walk(topology)
        # Named, with the packaged MIB file.
        r = a.snmp("snmptable", "-Ci", "-Cf", "|", "LLDP-MIB::lldpRemTable",
                   options=("-M", str(root / "usr/share/snmp/mibs"), "-m", "LLDP-MIB"))
        check_remote_table(r.stdout, topology)
    finally:
        a.stop()


def test_without_the_snippet_the_view_hides_lldpmib(package):
    # The check above would pass for any config that shows everything.
    _, root = package
    a = Agent(binary=root / "usr/sbin/lldpmib-agentx")
    try:
        conf = a.dir / "master.conf"
        conf.write_text(conf.read_text().replace(
            "rocommunity public 127.0.0.1\n",
            "rocommunity public 127.0.0.1 -V systemonly\n"
            "view systemonly included .1.3.6.1.2.1.1\n"))
        a.start_master()
        a.start_subagent()
        # Served: the read-write community of the fixture sees every view.
        sys_name = LLDP_MIB + ".1.3.3.0"
        deadline = time.monotonic() + 15
        while "No Such Object" in a.snmp("snmpget", sys_name, community="private").stdout:
            assert time.monotonic() < deadline, a.log("subagent.log")
            time.sleep(0.1)
        assert "No Such Object" in a.snmp("snmpget", sys_name).stdout
    finally:
        a.stop()
