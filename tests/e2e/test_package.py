"""The Debian package: cpack -G DEB on the build directory; lintian and systemd's own
security rating of its unit; its files unpacked with dpkg-deb -x; installed with apt-get,
its unit's ExecStart run as the unit's user against lldpd and snmpd in a namespace; and
an SNMPv3 read-only user limited to lldpMIB, as the README shows."""
import os
import pathlib
import re
import shutil
import socket

import pytest

from conftest import BUILD, EXAMPLES, LLDP_MIB, MIBS, Agent, run, wait_until
from reference import walk
from test_lldpd import RouterLab as Lab, name_marks

UNIT = "usr/lib/systemd/system/lldpmib-agentx.service"
SNIPPET = "etc/snmp/snmpd.conf.d/lldpmib-agentx.conf"
MIB_FILES = ("LLDP-MIB.txt", "LLDP-EXT-DOT1-MIB.txt", "LLDP-EXT-DOT3-MIB.txt", "LLDP-V2-MIB.txt")
FILES = sorted(["usr/sbin/lldpmib-agentx", "usr/bin/lldpmib-walk", *(f"usr/share/snmp/mibs/{m}" for m in MIB_FILES),
                UNIT, SNIPPET,
                "usr/share/man/man8/lldpmib-agentx.8.gz", "usr/share/man/man1/lldpmib-walk.1.gz",
                "usr/share/doc/lldpmib/changelog.gz", "usr/share/doc/lldpmib/copyright",
                "usr/lib/lldpmib/lldpmib_snmpd.so",
                *(f"usr/lib/lldpmib/lib{name}.so" for name in ("lldpmib", "lldpmib_ext", "snmp_agent", "kel_list",
                                                               "kel_dt", "platform_sys", "lldp_client", "platform_fault"))])
USER = "_lldpmib"


@pytest.fixture(scope="module")
def deb(tmp_path_factory):
    # The build directory is up to date: cpack's preinstall step only checks it.
    out = tmp_path_factory.mktemp("package")
    r = run("cpack", "-G", "DEB", "--config", BUILD / "CPackConfig.cmake", "-B", out, timeout=600)
    assert r.returncode == 0, r.stdout + r.stderr
    (deb,) = out.glob("*.deb")
    return deb


def test_package_is_lintian_clean_with_a_hardened_unit(deb, tmp_path):
    r = run("lintian", "--tag-display-limit", "0", deb, timeout=300)
    print("lintian:", r.stdout.strip() or "no tags")
    assert r.returncode == 0 and not re.search(r"^[EW]: ", r.stdout, re.M), r.stdout + r.stderr
    root = tmp_path / "root"
    run("dpkg-deb", "-x", deb, root, check=True)
    assert sorted(str(p.relative_to(root)) for p in root.rglob("*") if not p.is_dir()) == FILES
    assert all((root / "usr/share/snmp/mibs" / m).read_bytes() == (MIBS / m).read_bytes() for m in MIB_FILES)
    depends = {d.split()[0] for d in run("dpkg-deb", "-f", deb, "Depends").stdout.strip().split(", ")}
    assert {"libsnmp40", "lldpd", "adduser"} <= depends, depends
    # The program is in the scratch root, not in /usr: point a copy of the unit there.
    unit = tmp_path / "lldpmib-agentx.service"
    unit.write_text((root / UNIT).read_text().replace("=/usr/sbin/", f"={root}/usr/sbin/"))
    r = run("systemd-analyze", "verify", "--man=no", unit)
    assert r.returncode == 0 and r.stderr == "", r.stderr
    r = run("systemd-analyze", "security", "--offline=true", "--no-pager", unit)
    exposure = re.search(r"Overall exposure level for \S+: ([\d.]+)", r.stdout)
    print("systemd-analyze security:", exposure and exposure.group(0))
    assert exposure and float(exposure.group(1)) <= 2.0, r.stdout[-3000:]


@pytest.fixture
def installed(deb):
    if os.geteuid() != 0 or not shutil.which("apt-get"):
        pytest.skip("needs root and apt-get")
    r = run("apt-get", "install", "-y", "-q", "--no-install-recommends", deb, timeout=600,
            env=dict(os.environ, DEBIAN_FRONTEND="noninteractive"))
    assert r.returncode == 0, r.stdout[-2000:] + r.stderr
    try:
        yield
    finally:
        run("apt-get", "purge", "-y", "-q", "lldpmib", timeout=300)


def test_installed_unit_command_serves_lldpd_as_its_user(installed):
    """apt-get resolves the dependencies and the maintainer script makes the user; the
    unit's ExecStart, run as that user with its groups, reaches lldpd's default socket and
    snmpd's default AgentX socket (opened to it by the packaged snippet) and nothing else."""
    groups = run("id", "-nG", USER).stdout.split()
    assert {USER, "_lldpd"} <= set(groups), groups
    command = re.search(r"^ExecStart=(.+)$", pathlib.Path("/", UNIT).read_text(), re.M).group(1).split()
    as_user = ["setpriv", f"--reuid={USER}", f"--regid={USER}", "--init-groups", "--"]
    for denied in (["ls", "/root"], ["touch", "/etc/lldpmib-probe"], ["touch", "/usr/lib/lldpmib/probe"],
                   ["touch", "/var/lib/lldpmib-probe"]):
        assert run(*as_user, *denied).returncode != 0, denied
    for default in ("/run/lldpd.socket", "/var/agentx/master"):
        with socket.socket(socket.AF_UNIX) as s:
            if s.connect_ex(default) == 0:
                pytest.skip(f"{default} is in use on this machine")
        if os.path.lexists(default):
            os.unlink(default)  # left by a daemon that is gone
    # Debian's community lines: "public" sees the view systemonly, which the snippet
    # extends by lldpMIB alone ("private" is the start-up probe's).
    access = ("rocommunity public 127.0.0.1 -V systemonly\nrwcommunity private 127.0.0.1\n"
              "view systemonly included .1.3.6.1.2.1.1\nview systemonly included .1.3.6.1.2.1.25.1\n"
              f"includeFile /{SNIPPET}\n")
    with Lab(("router", "alpha")) as lab:
        try:
            os.symlink(lab.sock["router"], "/run/lldpd.socket")
            with Agent(access=access, socket="/var/agentx/master",
                       command=["ip", "netns", "exec", lab.ns["router"], *as_user, *command]) as agent:
                lab.wait_neighbours({"alpha"})
                assert wait_until(lambda: set(name_marks(agent)) == {"alpha"}, 20, 0.5), agent.log("subagent.log")
                assert agent.subagent.poll() is None
                assert agent.walk("1.3.6.1.2.1.2") == [] and agent.walk("1.3.6.1.2.1.1.5")
        finally:
            if os.path.islink("/run/lldpd.socket"):
                os.unlink("/run/lldpd.socket")


def test_snmpv3_user_reads_lldpmib_only():
    """authPriv with SHA and AES, a view of lldpMIB and lldpV2MIB alone (the README's lines)."""
    users = ('createUser lldpmon SHA "lldpmon-auth-pass" AES "lldpmon-priv-pass"\n'
          "view lldponly included .1.0.8802.1.1.2\nview lldponly included .1.3.111.2.802.1.1.13\nrouser -s usm lldpmon authpriv -V lldponly\n"
          "rwcommunity private 127.0.0.1\n")
    with Agent(access=users) as a:
        v3 = ["-v3", "-l", "authPriv", "-u", "lldpmon", "-a", "SHA", "-x", "AES", "-X", "lldpmon-priv-pass", "-A"]
        assert a.walk(None, tool="snmpbulkwalk", auth=v3 + ["lldpmon-auth-pass"]) == walk(EXAMPLES / "default.json")
        assert a.walk("1.3.6.1.2.1.1", tool="snmpbulkwalk", auth=v3 + ["lldpmon-auth-pass"]) == []
        assert a.snmp("snmpget", LLDP_MIB + ".1.3.1.0", auth=v3 + ["wrong-pass-phrase"], check=False).returncode != 0
