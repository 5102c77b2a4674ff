"""lldpdu.py: its TLVs against bytes written out by hand from the TLV layouts,
and its command line sending over a veth in a namespace of its own."""
import json
import os
import shutil
import subprocess
import sys
import uuid

import pytest

import lldpdu as L
from conftest import REPO, run

# (name, built, expected hex: TLV header = type << 9 | length)
CASES = [
    ("chassis mac", L.chassis_id(4, L.mac("02:00:00:00:00:01")), "0207 04 020000000001"),
    ("port ifname", L.port_id(5, "eth0"), "0405 05 65746830"),
    ("ttl", L.ttl(120), "0602 0078"),
    ("port descr", L.port_description("p"), "0801 70"),
    ("sys name", L.system_name("ab"), "0a02 6162"),
    ("sys descr", L.system_description(""), "0c00"),
    ("caps", L.capabilities(0x14, 0x10), "0e04 0014 0010"),
    ("mgmt ipv4", L.management_address("10.0.0.2", 2, 3, "1.3.6.1.2.1.2.2.1.1"),
     "1015 05 01 0a000002 02 00000003 09 2b0601020102020101"),
    ("mgmt ipv6 no oid", L.management_address("fd00::1"), "1018 11 02 fd000000000000000000000000000001 02 00000000 00"),
    ("mgmt bad lengths", L.management_address(b"\x0a\0\0\x02", addr_len=30, oid_len=9), "100c 1e 01 0a000002 02 00000000 09"),
    ("network address odd family", L.chassis_id(5, L.network_address(b"\x01\x02\x03", family=6)), "0205 05 06 010203"),
    ("big oid arc", L.oid("1.3.6.1.4.1.311"), "2b 06 01 04 01 8237"),
    ("org", L.org_specific("00:80:c2", 1, b"\x00\x64"), "fe06 0080c2 01 0064"),
    ("end", L.end(), "0000"),
    ("reserved type, wrong length", L.tlv(9, "abc", 7), "1207 616263"),
    ("longest", L.tlv(126, bytes(511))[:2], "fdff"),
    ("raw", L.raw(b"\x12\x02\xab"), "1202ab"),
    ("frame", L.frame("02:00:00:00:00:01", [L.ttl(1), L.end()]),
     "0180c200000e 020000000001 88cc 06020001 0000"),
]


@pytest.mark.parametrize("built,expected", [c[1:] for c in CASES], ids=[c[0] for c in CASES])
def test_builders_lay_out_tlvs(built, expected):
    assert built.hex() == expected.replace(" ", "")


@pytest.mark.parametrize("bad", [lambda: L.tlv(128), lambda: L.tlv(1, bytes(512)), lambda: L.tlv(1, b"", 512),
                                 lambda: L.network_address(b"\x01\x02\x03")], ids=["type", "value", "length", "family"])
def test_builders_refuse_what_cannot_be_written(bad):
    with pytest.raises(ValueError):
        bad()


def test_json_form_gives_the_same_frames():
    text = json.dumps([{"src": "02:00:00:00:00:01", "tlvs": [
        ["chassis_id", 5, {"addr": "10.0.0.1"}], ["port_id", 3, {"hex": "02-00-00-00-00-01"}], ["ttl", 120],
        ["management_address", "10.0.0.2", 2, 3, "1.3.6.1"], ["org_specific", "00:12:0f", 4, {"hex": "05ee"}],
        ["tlv", 9, "x", 3], ["raw", {"hex": "0000"}]]}])
    assert L.frames_from_json(json.loads(text)) == [L.frame("02:00:00:00:00:01", [
        L.chassis_id(5, b"\x01\x0a\0\0\x01"), L.port_id(3, L.mac("02:00:00:00:00:01")), L.ttl(120),
        L.management_address("10.0.0.2", 2, 3, "1.3.6.1"), L.org_specific(b"\x00\x12\x0f", 4, b"\x05\xee"),
        L.tlv(9, b"x", 3), L.end()])]


# Counts LLDP frames arriving on eth1 until its standard input closes, then prints them as hex.
RECEIVER = """
import socket, sys, threading
s = socket.socket(socket.AF_PACKET, socket.SOCK_RAW, socket.htons(0x88cc)); s.bind(("eth1", 0))
got = []
def receive():
    while True:
        got.append(s.recv(2000).hex())
threading.Thread(target=receive, daemon=True).start()
print("ready", flush=True); sys.stdin.read(); print(*got)
"""


def test_command_line_sends_again_until_sigterm(tmp_path):
    if os.geteuid() != 0 or not shutil.which("ip"):
        pytest.skip("needs root and ip")
    ns, peer = "lm" + uuid.uuid4().hex[:6], None
    lldpdus = [{"src": f"02:00:00:00:00:0{i}", "tlvs": [["ttl", i], ["end"]]} for i in (1, 2)]
    (tmp_path / "f.json").write_text(json.dumps(lldpdus))
    try:
        assert run("ip", "netns", "add", ns).returncode == 0
        assert run("ip", "-n", ns, "link", "add", "name", "eth0", "type", "veth", "peer", "name", "eth1").returncode == 0
        run("ip", "-n", ns, "link", "set", "eth0", "up")
        run("ip", "-n", ns, "link", "set", "eth1", "up")
        peer = subprocess.Popen(["ip", "netns", "exec", ns, sys.executable, "-c", RECEIVER], stdin=subprocess.PIPE,
                                stdout=subprocess.PIPE, text=True)
        assert peer.stdout.readline() == "ready\n"
        sender = subprocess.Popen(["ip", "netns", "exec", ns, sys.executable, REPO / "tests/e2e/lldpdu.py",
                                   "--iface", "eth0", "--every", "0.2", tmp_path / "f.json"], stderr=subprocess.PIPE)
        try:
            sender.wait(0.9)
        except subprocess.TimeoutExpired:
            sender.terminate()
        assert sender.wait(5) == 0 and sender.stderr.read() == b""
        out, _ = peer.communicate("", timeout=5)
        frames = out.split()
        want = [f.hex() for f in L.frames_from_json(lldpdus)]
        assert len(frames) >= 6 and frames == want * (len(frames) // 2), frames
    finally:
        if peer and peer.poll() is None:
            peer.kill()
        run("ip", "netns", "del", ns)
