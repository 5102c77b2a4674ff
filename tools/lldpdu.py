"""Hand-made LLDPDUs: TLV builders, Ethernet frames and a raw-socket sender.

Tests build exactly the bytes they want, wrong ones included, so nothing here
checks that a TLV makes sense: a builder only lays out what it is given.

    import lldpdu as L
    f = L.frame("02:00:00:00:00:01", [L.chassis_id(4, L.mac("02:00:00:00:00:01")),
                                      L.port_id(5, "eth0"), L.ttl(120), L.end()])
    L.send("eth0", [f])

Text arguments are sent as UTF-8, bytes as they are. frame() adds no End TLV
and no padding (a frame without End must be possible; the kernel sends short
frames on veths as they are).

Command line (root, in the sending namespace):

    ip netns exec NS /usr/bin/python3 lldpdu.py --iface eth0 [--every SECONDS] FILE|-

sends the LLDPDUs of FILE (or standard input) once, or again every SECONDS
until SIGTERM or SIGINT. FILE is JSON: a list of LLDPDUs, each
{"src": "02:00:00:00:00:01", "tlvs": [TLV, ...]}, each TLV a list naming a
builder of this module and its arguments in order:

    ["chassis_id", 4, {"hex": "02:00:00:00:00:01"}]
    ["port_id", 5, "eth0"]
    ["ttl", 120]
    ["system_name", "alpha"]
    ["capabilities", 20, 16]
    ["management_address", "10.0.0.2", 2, 3, "1.3.6.1.2.1.2.2.1.1"]
    ["org_specific", "00:80:c2", 1, {"hex": "0064"}]
    ["tlv", 9, "anything", 3]                      (type, value, length field)
    ["raw", {"hex": "1202abcd"}]                   (bytes as they are)
    ["end"]

An argument {"hex": "..."} is bytes (":" and "-" ignored), {"addr": "10.0.0.1"}
the family octet and address of network_address(); other JSON values are
passed as they are.
"""
import argparse
import ipaddress
import json
import signal
import socket
import sys

LLDP_MULTICAST = bytes.fromhex("0180c200000e")  # nearest bridge
ETHERTYPE = b"\x88\xcc"
MAX_LENGTH = 511  # the TLV header's 9-bit length field
# Address families (IANA) for network addresses and management addresses.
FAMILY_IPV4, FAMILY_IPV6 = 1, 2
# TLV types.
END, CHASSIS_ID, PORT_ID, TTL, PORT_DESCRIPTION, SYSTEM_NAME, SYSTEM_DESCRIPTION, CAPABILITIES, \
    MANAGEMENT_ADDRESS = range(9)
ORG_SPECIFIC = 127


def octets(value):
    """Text as UTF-8, bytes as they are."""
    return value.encode() if isinstance(value, str) else bytes(value)


def mac(text):
    """"02:00:00:00:00:01" (or with "-") as 6 bytes."""
    return hexbytes(text)


def hexbytes(text):
    return bytes.fromhex(text.replace(":", "").replace("-", ""))


def tlv(type, value=b"", length=None):
    """Any TLV: type 0..127, value of up to 511 octets; length, if given, is
    written in the header instead of the value's true length (malformed TLVs)."""
    value = octets(value)
    length = len(value) if length is None else length
    if not 0 <= type <= 127 or not 0 <= length <= MAX_LENGTH or len(value) > MAX_LENGTH:
        raise ValueError(f"TLV type {type} length {length} value of {len(value)} octets")
    return (type << 9 | length).to_bytes(2, "big") + value


def network_address(addr, family=None):
    """The family octet and the address: text IPv4 or IPv6 addresses get their
    family; bytes need family unless they are 4 (IPv4) or 16 (IPv6) long."""
    if isinstance(addr, str):
        ip = ipaddress.ip_address(addr)
        addr, guess = ip.packed, FAMILY_IPV4 if ip.version == 4 else FAMILY_IPV6
    else:
        addr, guess = bytes(addr), {4: FAMILY_IPV4, 16: FAMILY_IPV6}.get(len(addr))
    family = guess if family is None else family
    if family is None:
        raise ValueError(f"family of a {len(addr)}-octet address")
    return bytes([family]) + addr


def oid(dotted):
    """A dotted OID ("1.3.6.1") in BER without tag and length; bytes as they are."""
    if not isinstance(dotted, str):
        return bytes(dotted)
    if not dotted:
        return b""
    arcs = [int(a) for a in dotted.strip(".").split(".")]
    out = bytearray()
    for arc in [arcs[0] * 40 + arcs[1], *arcs[2:]]:
        chunk = [arc & 0x7F]
        while arc > 0x7F:
            arc >>= 7
            chunk.append(arc & 0x7F | 0x80)
        out += bytes(reversed(chunk))
    return bytes(out)


def chassis_id(subtype, value):
    return tlv(CHASSIS_ID, bytes([subtype]) + octets(value))


def port_id(subtype, value):
    return tlv(PORT_ID, bytes([subtype]) + octets(value))


def ttl(seconds):
    return tlv(TTL, seconds.to_bytes(2, "big"))


def port_description(text):
    return tlv(PORT_DESCRIPTION, text)


def system_name(text):
    return tlv(SYSTEM_NAME, text)


def system_description(text):
    return tlv(SYSTEM_DESCRIPTION, text)


def capabilities(supported, enabled):
    """Capability bits as numbers (bit 0 other, 2 bridge, 4 router, ...)."""
    return tlv(CAPABILITIES, supported.to_bytes(2, "big") + enabled.to_bytes(2, "big"))


def management_address(addr, if_subtype=2, if_number=0, object_id="", family=None, addr_len=None, oid_len=None):
    """addr as for network_address(); if_subtype 1 unknown, 2 ifIndex, 3 system
    port number. addr_len (counts the family octet) and oid_len, if given,
    replace the true lengths (malformed TLVs)."""
    address, encoded = network_address(addr, family), oid(object_id)
    return tlv(MANAGEMENT_ADDRESS, bytes([len(address) if addr_len is None else addr_len]) + address +
               bytes([if_subtype]) + if_number.to_bytes(4, "big") +
               bytes([len(encoded) if oid_len is None else oid_len]) + encoded)


def org_specific(oui, subtype, info=b""):
    """oui as 3 bytes or hex text ("00:80:c2")."""
    return tlv(ORG_SPECIFIC, (hexbytes(oui) if isinstance(oui, str) else bytes(oui)) + bytes([subtype]) + octets(info))


def end():
    return tlv(END)


def raw(data):
    """Bytes put in the LLDPDU as they are."""
    return octets(data)


def frame(src_mac, tlvs):
    """An Ethernet frame to the LLDP multicast address carrying the TLVs in order."""
    src = mac(src_mac) if isinstance(src_mac, str) else bytes(src_mac)
    return LLDP_MULTICAST + src + ETHERTYPE + b"".join(tlvs)


def send(iface, frames):
    """Each frame once on iface, in order."""
    with socket.socket(socket.AF_PACKET, socket.SOCK_RAW) as s:
        s.bind((iface, 0))
        for f in frames:
            s.send(f)


def send_every(iface, frames, seconds):
    """The frames on iface now and then every `seconds` until SIGTERM or SIGINT,
    which end it without a traceback (they are blocked and waited for here)."""
    stop = {signal.SIGTERM, signal.SIGINT}
    old = signal.pthread_sigmask(signal.SIG_BLOCK, stop)
    try:
        while True:
            send(iface, frames)
            if signal.sigtimedwait(stop, seconds):
                return
    finally:
        signal.pthread_sigmask(signal.SIG_SETMASK, old)


# The JSON form: builders by name, and argument objects.
BUILDERS = {f.__name__: f for f in (tlv, chassis_id, port_id, ttl, port_description, system_name,
                                    system_description, capabilities, management_address, org_specific, end, raw)}


def argument(value):
    if isinstance(value, dict) and value.keys() == {"hex"}:
        return hexbytes(value["hex"])
    if isinstance(value, dict) and value.keys() == {"addr"}:
        return network_address(value["addr"])
    return value


def frames_from_json(lldpdus):
    """Frames from the parsed JSON form described above."""
    return [frame(d["src"], [BUILDERS[t[0]](*map(argument, t[1:])) for t in d["tlvs"]]) for d in lldpdus]


def main(argv=None):
    p = argparse.ArgumentParser(description="Send hand-made LLDPDUs described in JSON (see the module's docstring).")
    p.add_argument("--iface", required=True, help="interface to send on")
    p.add_argument("--every", type=float, metavar="SECONDS", help="send again every SECONDS until SIGTERM")
    p.add_argument("file", help="JSON file, or - for standard input")
    a = p.parse_args(argv)
    with (sys.stdin if a.file == "-" else open(a.file)) as f:
        frames = frames_from_json(json.load(f))
    if a.every:
        send_every(a.iface, frames, a.every)
    else:
        send(a.iface, frames)


if __name__ == "__main__":
    main()
