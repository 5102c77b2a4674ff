"""The Debian package: cpack -G DEB on the build directory, unpacked into a
scratch root with dpkg-deb -x; its files, dependencies and systemd unit, and its
agent serving behind an snmpd configured as on Debian plus the package's snippet."""
import filecmp

from conftest import BUILD, EXAMPLES, MIBS, Agent, run
from reference import walk

UNIT = "usr/lib/systemd/system/lldpmib-agentx.service"
SNIPPET = "etc/snmp/snmpd.conf.d/lldpmib-agentx.conf"
LIBS = ["liblldpmib.so", "liblldpmib_ext.so", "libsnmp_agent.so", "libkel_list.so", "libkel_dt.so",
        "libplatform_sys.so", "liblldp_client.so", "libplatform_fault.so"]
FILES = sorted(["usr/sbin/lldpmib-agentx", "usr/bin/lldpmib-walk", "usr/share/snmp/mibs/LLDP-MIB.txt",
                UNIT, SNIPPET, "usr/share/man/man8/lldpmib-agentx.8",
                "usr/share/man/man1/lldpmib-walk.1", *(f"usr/lib/lldpmib/{lib}" for lib in LIBS)])


def test_package_files_unit_and_unpacked_agent(tmp_path):
    # The build directory is up to date: cpack's preinstall step only checks it.
    r = run("cpack", "-G", "DEB", "--config", BUILD / "CPackConfig.cmake", "-B", tmp_path, timeout=600)
    assert r.returncode == 0, r.stdout + r.stderr
    (deb,) = tmp_path.glob("*.deb")
    root = tmp_path / "root"
    run("dpkg-deb", "-x", deb, root, check=True)
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
    # The agent behind snmpd: the community sees only Debian's default view, as on an
    # installed system; the snippet adds lldpMIB to it. Without it the community sees nothing.
    debian = "rocommunity public 127.0.0.1 -V systemonly\nview systemonly included .1.3.6.1.2.1.1\n"
    for snippet in (f"includeFile {root / SNIPPET}\n", ""):
        with Agent(binary=root / "usr/sbin/lldpmib-agentx",
                   access=debian + snippet + "rwcommunity private 127.0.0.1\n") as a:
            assert a.walk() == (walk(EXAMPLES / "default.json") if snippet else [])
