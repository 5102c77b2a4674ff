"""The Debian package: cpack -G DEB on the build directory, unpacked into a
scratch root with dpkg-deb -x; its files, dependencies and systemd unit, and its
agent serving behind an snmpd configured as on Debian plus the package's snippet."""
import filecmp

import pytest

from conftest import BUILD, EXAMPLES, MIBS, Agent, run
from reference import walk

UNIT = "usr/lib/systemd/system/lldpmib-agentx.service"
SNIPPET = "etc/snmp/snmpd.conf.d/lldpmib-agentx.conf"
LIBS = ["liblldpmib.so", "libsnmp_agent.so", "libkel_list.so", "libkel_dt.so",
        "libplatform_sys.so", "liblldp_client.so", "libplatform_fault.so"]
FILES = sorted(["usr/sbin/lldpmib-agentx", "usr/bin/lldpmib-walk", "usr/share/snmp/mibs/LLDP-MIB.txt",
                UNIT, SNIPPET, "usr/share/man/man8/lldpmib-agentx.8",
                "usr/share/man/man1/lldpmib-walk.1", *(f"usr/lib/lldpmib/{lib}" for lib in LIBS)])


@pytest.fixture(scope="module")
def package(tmp_path_factory):
    """(the .deb, the scratch root it is unpacked into)."""
    out = tmp_path_factory.mktemp("package")
    # The build directory is up to date: cpack's preinstall step only checks it.
    r = run("cpack", "-G", "DEB", "--config", BUILD / "CPackConfig.cmake", "-B", out, timeout=600)
    assert r.returncode == 0, r.stdout + r.stderr
    (deb,) = out.glob("*.deb")
    run("dpkg-deb", "-x", deb, out / "root", check=True)
    return deb, out / "root"


def test_package_files_dependencies_and_unit(package, tmp_path):
    deb, root = package
    assert sorted(str(p.relative_to(root)) for p in root.rglob("*") if not p.is_dir()) == FILES
    assert filecmp.cmp(root / "usr/share/snmp/mibs/LLDP-MIB.txt", MIBS / "LLDP-MIB.txt", shallow=False)
    r = run(root / "usr/bin/lldpmib-walk", "--help")
    assert r.returncode == 0 and r.stdout.startswith("Usage: "), r.stderr
    depends = run("dpkg-deb", "-f", deb, "Depends").stdout.strip().split(", ")
    assert {"libsnmp40", "lldpd"} <= {d.split()[0] for d in depends}
    unit = (root / UNIT).read_text()
    for line in ("After=snmpd.service lldpd.service", "Wants=snmpd.service lldpd.service",
                 "ExecStart=/usr/sbin/lldpmib-agentx -f --lldpd", "Restart=on-failure",
                 "WantedBy=multi-user.target"):
        assert line in unit.splitlines(), unit
    # The program is in the scratch root, not in /usr: point a copy there.
    copy = tmp_path / "lldpmib-agentx.service"
    copy.write_text(unit.replace("=/usr/sbin/", f"={root}/usr/sbin/"))
    r = run("systemd-analyze", "verify", "--man=no", copy)
    assert r.returncode == 0 and r.stderr == "", r.stderr


def test_unpacked_agent_serves_through_the_snippet(package):
    _, root = package
    # The community sees only Debian's default view, as on an installed system;
    # the snippet adds lldpMIB to it. Without it the read-only community sees nothing.
    debian = "rocommunity public 127.0.0.1 -V systemonly\nview systemonly included .1.3.6.1.2.1.1\n"
    for snippet in (f"includeFile {root / SNIPPET}\n", ""):
        with Agent(binary=root / "usr/sbin/lldpmib-agentx",
                   access=debian + snippet + "rwcommunity private 127.0.0.1\n") as a:
            assert a.walk() == (walk(EXAMPLES / "default.json") if snippet else [])
