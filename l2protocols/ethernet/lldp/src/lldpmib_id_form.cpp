// Local chassis and port IDs in the form their subtype defines.  The client
// hands them over as text: a MAC address in dotted form, a network address
// as printed by inet_ntop, anything else as it is sent.  Managers match a MAC
// ID against ifPhysAddress and a network address against the family-tagged
// form, so those two subtypes are served as octets.
#include <arpa/inet.h>
#include <ctype.h>
#include <string.h>

#include "lldpmib.h"

namespace {

const int kDottedMacLength = 14;
const int kMacOctets = 6;
// IANA address family numbers, the first octet of a network-address ID.
const unsigned char kFamilyIpv4 = 1, kFamilyIpv6 = 2;

// Dotted MAC text into buffer's six octets: 1 when it is such text, else 0.
int mac_text_octets(const char* text, unsigned char* buffer, bool traced) {
    if (text == nullptr) {
        if (traced) LLDPMIB_ERROR("lldpmib_convert_macstr_pton", "NULL Src Buffer");
        return 0;
    }
    if (buffer == nullptr) {
        LLDPMIB_ERROR("lldpmib_convert_macstr_pton", "NULL Dst Buffer");
        return 0;
    }
    int consumed = 0;
    int digits = 0;
    int value = 0;
    while (consumed < kDottedMacLength) {
        unsigned char c = (unsigned char)text[consumed];
        if (c == '.') {
            consumed++;
            continue;
        }
        if (!isxdigit(c)) return 0;  // the terminating NUL included
        int octet = digits / 2;
        // Twelve digits fill the buffer; a thirteenth would need a seventh octet.
        if (octet >= kMacOctets) return 0;
        value = value * 16 + (isdigit(c) ? c - '0' : tolower(c) - 'a' + 10);
        if (traced)
            LLDPMIB_VERBOSE("lldpmib_convert_macstr_pton",
                            "current string offset: %d, current macbuff offset:%d, val:%d",
                            consumed, octet, value);
        if (digits % 2 == 1) {
            buffer[octet] = (unsigned char)value;
            value = 0;
        }
        digits++;
        consumed++;
    }
    return 1;
}

// *id = the six octets of dotted MAC text; false when it is no such text.
// The local port table has always been quiet here; the chassis ID traces.
bool mac_octets(const char* text, bool traced, OctetString** id) {
    unsigned char mac[kMacOctets];
    memset(mac, 0, sizeof mac);
    if (mac_text_octets(text, mac, traced) != 1) return false;
    *id = MakeOctetString(mac, kMacOctets);
    return true;
}

// *id = the family octet and the address of printed IPv4 or IPv6 text;
// false when it is no such text.
bool network_address_octets(const char* text, OctetString** id) {
    unsigned char a[1 + 16];
    if (text == nullptr) return false;
    if (inet_pton(AF_INET, text, a + 1) == 1) {
        a[0] = kFamilyIpv4;
        *id = MakeOctetString(a, 1 + 4);
        return true;
    }
    if (inet_pton(AF_INET6, text, a + 1) == 1) {
        a[0] = kFamilyIpv6;
        *id = MakeOctetString(a, 1 + 16);
        return true;
    }
    return false;
}

}  // namespace

extern "C" {

int lldpmib_convert_macstr_pton(const char* text, unsigned char* buffer) {
    return mac_text_octets(text, buffer, true);
}

OctetString* lldpmib_local_chassis_id(int subtype, const char* text) {
    OctetString* id = nullptr;
    if (subtype == LLDP_CHASSIS_ID_MAC) {
        if (mac_octets(text, true, &id)) return id;
        // Not MAC text: at most the length of the dotted form, as it is.
        if (text == nullptr) return MakeOctetStringFromText(nullptr);
        return MakeOctetString(reinterpret_cast<const unsigned char*>(text),
                               (int32_t)strnlen(text, kDottedMacLength));
    }
    if (subtype == LLDP_CHASSIS_ID_NETWORK_ADDRESS && network_address_octets(text, &id)) return id;
    return MakeOctetStringFromText(text);
}

OctetString* lldpmib_local_port_id(int subtype, const char* text) {
    OctetString* id = nullptr;
    if (subtype == LLDP_PORT_ID_MAC && mac_octets(text, false, &id)) return id;
    if (subtype == LLDP_PORT_ID_NETWORK_ADDRESS && network_address_octets(text, &id)) return id;
    return MakeOctetStringFromText(text);
}

}  // extern "C"
