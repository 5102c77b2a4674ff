"""Hostile neighbours: hand-made LLDPDUs sent from a peer namespace to the
router's lldpd. Whatever lldpd keeps is served as lldpcli shows it, whatever it
drops is not, a neighbour lacking fields hides no later one, and neither the
agent nor an AddressSanitizer build of the walker trips over any of it.

    router ──eth1── peer (lldpdu.py, one neighbour per LLDPDU)"""
import json
import os

import lldpdu as L
from conftest import BUILD, LLDP_MIB, REPO, run, wait_until
from lldpd_lab import Lab
from lldpd_reference import comparable, reference
from reference import lines
from test_lldpd import V2_MIB, module_walk


def mac(n):
    return bytes([2, 0, 0, 0, 0, n])


def neighbour(n, *tlvs, chassis=None, port=None, ttl=120):
    """LLDPDU n: the chassis and port IDs (MAC n unless given), TTL, then tlvs."""
    return [L.chassis_id(*(chassis or (4, mac(n)))), L.port_id(*(port or (3, mac(n)))), L.ttl(ttl), *tlvs]




def vlan_name(vid, name):
    return L.org_specific("00:80:c2", 3, vid.to_bytes(2, "big") + bytes([len(name)]) + name)


# Every 802.1 and 802.3 TLV lldpd decodes: port VLAN, protocol VLANs (one of VLAN
# 0 without flags), VLAN names (extreme IDs, one twice, one of 33 octets),
# protocol identities, MAC/PHY, power (a PD), link aggregation, frame size.
DOT1_DOT3 = [L.org_specific("00:80:c2", 1, (4094).to_bytes(2, "big")),
             L.org_specific("00:80:c2", 2, b"\x06" + (200).to_bytes(2, "big")),
             L.org_specific("00:80:c2", 2, b"\x00\x00\x00"),
             vlan_name(4094, b"top"), vlan_name(1, b"default"), vlan_name(1, b"again"), vlan_name(300, b"v" * 33),
             L.org_specific("00:80:c2", 4, b"\x02\x88\x8e"), L.org_specific("00:80:c2", 4, b"\x04\x00\x26\x42\x42"),
             L.org_specific("00:12:0f", 1, b"\x03\x6c\x01\x00\x1e"),
             L.org_specific("00:12:0f", 2, b"\x0e\x01\x04"),
             L.org_specific("00:12:0f", 3, b"\x03" + (7).to_bytes(4, "big")),
             L.org_specific("00:12:0f", 4, (9216).to_bytes(2, "big"))]
# IDs lldpcli prints as 'unhandled' hex, and their subtypes.
UNHANDLED = {b"cid-component": 1, b"\x01\x02": 3, b"\x00\x01\xfe": 2, b"circuit\x00id": 6}
ALIAS_3 = (2, "alias-3")  # a chassis sent on two ports of its own: two neighbours, one lldpd index
KEPT = [  # in arrival order, which is lldpd's index order: the bare ones first
    neighbour(1, L.end()),
    neighbour(2, L.port_description("p2"), L.end(), chassis=(1, b"cid-component"), port=(2, b"\x00\x01\xfe")),
    neighbour(3, L.system_name("three"), L.capabilities(0x14, 0x04), L.end(), chassis=ALIAS_3, port=(1, "alias-p")),
    neighbour(4, L.system_name("four"), L.end(), chassis=(3, b"\x01\x02"), port=(6, b"circuit\x00id")),
    neighbour(5, L.system_name("five"), L.management_address("10.0.0.5", 2, 5),
              L.management_address("fd00::5", 2, 7), L.management_address(bytes(6), 2, 9, family=99), L.end(),
              chassis=(5, L.network_address("192.0.2.5")), port=(4, L.network_address("2001:db8::5"))),
    neighbour(6, L.end(), chassis=(5, L.network_address(mac(6), family=6)),
              port=(4, L.network_address("10.9.9.9"))),
    neighbour(7, L.system_name("n" * 255), L.system_description("d" * 255), L.port_description("p" * 255),
              L.end(), chassis=(6, "ifname-7"), port=(5, "eth7")),
    neighbour(8, L.end(), chassis=(7, "c" * 255), port=(7, "q" * 255)),
    neighbour(9, L.end(), chassis=(4, mac(9) + b"\x09"), port=(3, mac(9)[:5])),  # MACs of 7 and 5 octets
    neighbour(10, L.org_specific("33:44:55", 1, b"\xab"), L.tlv(9, b"unknown"), L.org_specific("33:44:55", 1),
              L.org_specific("33:44:55", 2, (bytes(range(256)) * 2)[:507]), L.tlv(126, b"x"),
              L.org_specific("00:80:c2", 1, b"\x00\x64"), L.org_specific("00:12:0f", 4, b"\x05\xee"), L.end()),
    neighbour(11, L.system_name("first"), L.system_name("eleven"), L.capabilities(0x80, 0), L.capabilities(4, 4),
              L.management_address("10.0.0.11", 1, 40), L.end()),
    neighbour(12, L.system_name("three"), L.capabilities(0x14, 0x04), L.end(), chassis=ALIAS_3, port=(1, "alias-q")),
    neighbour(13, *DOT1_DOT3, L.end()),
]
DROPPED = [
    neighbour(20, L.end(), chassis=(0, mac(20))),                       # reserved subtype
    neighbour(21, L.chassis_id(4, mac(21)), L.end()),                   # chassis ID twice
    [L.chassis_id(4, mac(22)), L.port_id(3, mac(22)), L.end()],         # no TTL
    neighbour(23, L.tlv(5, b"name", 40)),                               # past the frame's end
    neighbour(24, L.org_specific("00:12:0f", 4, b"\x05"), L.end()),     # a decoded TLV too short
    neighbour(25, L.end(), ttl=0),                                      # shutdown: gone at once
]
LAST = neighbour(30, L.port_description("eth0"), L.system_name("last"), L.system_description("all there"),
                 L.capabilities(0x14, 0x10), L.management_address("10.0.0.30", 2, 3), L.end())


def test_hostile_lldpdus_are_served_as_lldpd_keeps_them():
    # A non-default MTU on the router: its maximum frame size is as lldpcli shows it.
    with Lab("link router eth1 peer eth0\nip -n $T-router link set eth1 mtu 9000\n", ("router", "peer"), {},
             ("router",)) as lab:
        frames = lab.dir / "frames.json"
        frames.write_text(json.dumps([{"src": ":".join(f"{b:02x}" for b in mac(n)),
                                       "tlvs": [["raw", {"hex": b"".join(tlvs).hex()}]]}
                                      for n, tlvs in enumerate(KEPT + DROPPED + [LAST], 1)]))
        lab.spawn("peer", ["/usr/bin/python3", REPO / "tools" / "lldpdu.py", "--iface", "eth0", "--every",
                           "1", frames])

        def settled():
            n = lab.show("neighbors", "details")["lldp"][0].get("interface", [])
            return len(n) == len(KEPT) + 1
        assert wait_until(settled, 20, 0.2), lab.show("neighbors", "details")
        ref = reference(lab.view(), lab.ifindex, UNHANDLED)
        want = lines(ref)
        assert any(".1.4.1.1.9.0.%d.1000000000 " % lab.ifindex["eth1"] in l for l in want)  # the shared chassis

        with lab.agent("--lldpd-zero-time-marks") as agent:
            walked = lambda: comparable(module_walk(agent), ref)
            assert wait_until(lambda: walked() == want, 10, 0.5) or walked() == want
            assert agent.subagent.poll() is None

        walker = BUILD.parent / "build-asan" / "tools" / "lldpmib-walk"
        if walker.exists():  # built by the test command before the e2e tests
            r = run("ip", "netns", "exec", lab.ns["router"], walker, "--lldpd", lab.sock["router"], "walk", "1",
                    env=dict(os.environ, ASAN_OPTIONS="detect_leaks=1", UBSAN_OPTIONS="halt_on_error=1"))
            assert r.returncode == 0 and "runtime error" not in r.stderr, r.stderr[-3000:]
            served = [l for l in r.stdout.splitlines() if not l.startswith((LLDP_MIB + ".1.2.", V2_MIB + ".2."))]
            assert comparable(served, ref) == want
