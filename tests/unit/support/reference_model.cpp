// The reference model: the served bindings of a topology, by the rules a
// manager relies on, written from the topology format and the MIB alone.
//
// Choices where the rules leave room (each marked "Choice:" below):
// - the local chassis ID subtype is served as the daemon gives it, even for a
//   subtype whose chassis ID the module cannot encode (that ID answers none);
// - a local all-zero address (0.0.0.0, ::) is served like any other: the local
//   table lists every address of every record;
// - two local addresses that are equal give one row, the first in file order;
// - a MAC text whose first 14 characters hold more than 12 hex digits is not
//   converted (the test topologies avoid such texts).
#include "reference_model.h"

#include <arpa/inet.h>

#include <cstdio>
#include <nlohmann/json.hpp>
#include <set>
#include <stdexcept>

namespace lldpmib_test {

namespace ref_oids {
RefOid mib_root() { return {1, 0, 8802, 1, 1, 2}; }
static RefOid under(std::initializer_list<uint32_t> tail) {
    RefOid o = mib_root();
    o.insert(o.end(), tail);
    return o;
}
RefOid local_system() { return under({1, 3}); }
RefOid loc_port_entry() { return under({1, 3, 7, 1}); }
RefOid loc_man_addr_entry() { return under({1, 3, 8, 1}); }
RefOid rem_entry() { return under({1, 4, 1, 1}); }
RefOid rem_man_addr_entry() { return under({1, 4, 2, 1}); }
RefOid rem_unknown_tlv_entry() { return under({1, 4, 3, 1}); }
RefOid rem_org_def_entry() { return under({1, 4, 4, 1}); }
RefOid column(const RefOid& entry, uint32_t col) {
    RefOid o = entry;
    o.push_back(col);
    return o;
}
}  // namespace ref_oids

namespace {

using json = nlohmann::json;
using bytes = std::vector<uint8_t>;

[[noreturn]] void bad(const std::string& what) { throw std::runtime_error(what); }

RefValue integer(int64_t v) {
    RefValue r;
    r.type = RefValue::Integer;
    r.integer = static_cast<int32_t>(static_cast<uint32_t>(v));  // INTEGER columns are 32-bit
    return r;
}
RefValue octets(bytes b) {
    RefValue r;
    r.type = RefValue::Octets;
    r.octets = std::move(b);
    return r;
}
RefValue object_id(RefOid o) {
    RefValue r;
    r.type = RefValue::ObjectId;
    r.oid = std::move(o);
    return r;
}

int hex_digit(int c) {
    if (c >= '0' && c <= '9') return c - '0';
    if (c >= 'a' && c <= 'f') return c - 'a' + 10;
    if (c >= 'A' && c <= 'F') return c - 'A' + 10;
    return -1;
}

// A byte field: a JSON string, or {"hex": "..."} with ':', '-', ' ' between bytes.
bytes bytes_of(const json& v) {
    if (v.is_string()) {
        const std::string& s = v.get_ref<const std::string&>();
        return {s.begin(), s.end()};
    }
    std::string h = v.at("hex").get<std::string>();
    bytes out;
    int high = -1;
    for (char c : h) {
        if (c == ':' || c == '-' || c == ' ') continue;
        int d = hex_digit(static_cast<unsigned char>(c));
        if (d < 0) bad("bad hex");
        if (high < 0) {
            high = d;
        } else {
            out.push_back(static_cast<uint8_t>(high << 4 | d));
            high = -1;
        }
    }
    return out;
}

bytes field_bytes(const json& o, const char* key) { return o.contains(key) ? bytes_of(o.at(key)) : bytes{}; }
uint64_t field_int(const json& o, const char* key, uint64_t dflt) {
    return o.contains(key) ? o.at(key).get<uint64_t>() : dflt;
}
const json& field_array(const json& o, const char* key) {
    static const json empty = json::array();
    return o.contains(key) ? o.at(key) : empty;
}

uint32_t oui_of(const json& v) {
    if (v.is_number()) return v.get<uint32_t>();
    uint32_t oui = 0;
    for (char c : v.get<std::string>()) {
        int d = hex_digit(static_cast<unsigned char>(c));
        if (d >= 0) oui = oui << 4 | static_cast<uint32_t>(d);
    }
    return oui;
}

struct address {
    bool ipv6 = false;
    bytes octets;  // 4 or 16, network order
    uint32_t if_id = 0;
    uint32_t subtype = 0;  // as reported: 1 IPv4, 2 IPv6 unless given
    bool zero() const {
        for (uint8_t b : octets)
            if (b) return false;
        return true;
    }
};

address address_of(const json& a) {
    address r;
    std::string text = a.at("addr").get<std::string>();
    uint8_t buf[16] = {};
    if (inet_pton(AF_INET, text.c_str(), buf) == 1) {
        r.octets.assign(buf, buf + 4);
    } else if (inet_pton(AF_INET6, text.c_str(), buf) == 1) {
        r.ipv6 = true;
        r.octets.assign(buf, buf + 16);
    } else {
        bad("malformed address " + text);
    }
    r.if_id = static_cast<uint32_t>(field_int(a, "if_id", 0));
    r.subtype = static_cast<uint32_t>(field_int(a, "subtype", r.ipv6 ? 2 : 1));
    return r;
}

// MAC text "0011.2233.4455" to 6 octets: dots anywhere, two hex digits per
// octet, done after 14 characters; anything else (the end of the text
// included) before that is no MAC text.  Octets not reached stay zero.
std::optional<bytes> mac_text(const bytes& text) {
    bytes mac(6, 0);
    unsigned digits = 0, value = 0;
    for (size_t i = 0; i < 14; ++i) {
        if (i >= text.size()) return std::nullopt;
        int c = text[i];
        if (c == '.') continue;
        int d = hex_digit(c);
        if (d < 0) return std::nullopt;
        // Choice: a 13th hex digit would need a seventh octet: no MAC text.
        if (digits >= 12) return std::nullopt;
        value = value * 16 + static_cast<unsigned>(d);
        if (digits % 2 == 1) {
            mac[digits / 2] = static_cast<uint8_t>(value);
            value = 0;
        }
        ++digits;
    }
    return mac;
}

// LldpSystemCapabilitiesMap: capability bit n is bit n of the BITS value,
// bit 0 the most significant bit of the first octet.
RefValue capability_bits(int64_t caps) {
    bytes b(2, 0);
    for (int n = 0; n < 16; ++n)
        if (caps & (1 << n)) b[n / 8] |= static_cast<uint8_t>(0x80 >> (n % 8));
    return octets(b);
}

void put(RefMib& mib, const RefOid& column, const RefOid& instance, RefValue v) {
    RefOid name = column;
    name.insert(name.end(), instance.begin(), instance.end());
    mib.emplace(std::move(name), std::move(v));  // the first of equal names stays
}

void local_system(const json& l, RefMib& mib) {
    const RefOid g = ref_oids::local_system();
    const RefOid zero{0};
    uint32_t subtype = static_cast<uint32_t>(field_int(l, "chassis_id_subtype", 4));
    bytes chassis = bytes_of(l.at("chassis_id"));
    // Choice: the subtype is served as given, whatever it is.
    put(mib, ref_oids::column(g, 1), zero, integer(subtype));
    if (subtype == 4) {
        auto mac = mac_text(chassis);
        if (!mac) chassis.resize(std::min<size_t>(chassis.size(), 14));
        put(mib, ref_oids::column(g, 2), zero, octets(mac ? *mac : chassis));
    } else if (subtype == 7) {
        put(mib, ref_oids::column(g, 2), zero, octets(chassis));
    }  // any other subtype: no chassis ID can be made
    put(mib, ref_oids::column(g, 3), zero, octets(field_bytes(l, "sys_name")));
    put(mib, ref_oids::column(g, 4), zero, octets(field_bytes(l, "sys_desc")));
    for (auto [col, key] : {std::pair{5u, "supported_caps"}, std::pair{6u, "enabled_caps"}})
        put(mib, ref_oids::column(g, col), zero, capability_bits(field_int(l, key, 0)));
}

void local_port(const json& p, RefMib& mib) {
    const RefOid e = ref_oids::loc_port_entry();
    const RefOid inst{static_cast<uint32_t>(p.at("port_num").get<uint64_t>())};
    bytes id = bytes_of(p.at("port_id"));
    if (id.size() > 255) id.resize(255);
    put(mib, ref_oids::column(e, 2), inst, integer(field_int(p, "port_id_subtype", 5)));
    put(mib, ref_oids::column(e, 3), inst, octets(id));
    put(mib, ref_oids::column(e, 4), inst, octets(field_bytes(p, "port_desc")));
}

void local_address(const address& a, RefMib& mib) {
    // Choice: all-zero addresses are listed too; equal addresses keep the first.
    const RefOid e = ref_oids::loc_man_addr_entry();
    RefOid inst{a.ipv6 ? 2u : 1u, static_cast<uint32_t>(a.octets.size())};
    inst.insert(inst.end(), a.octets.begin(), a.octets.end());
    put(mib, ref_oids::column(e, 3), inst, integer(static_cast<int64_t>(a.octets.size()) + 1));
    put(mib, ref_oids::column(e, 4), inst, integer(2));
    put(mib, ref_oids::column(e, 5), inst, integer(a.if_id));
    // lldpLocManAddrOID (column 6) is never answered.
}

void neighbor(const json& n, uint32_t port, RefMib& mib) {
    const RefOid key{static_cast<uint32_t>(field_int(n, "time_mark", 0)), port,
                     static_cast<uint32_t>(n.at("rem_index").get<uint64_t>())};

    // lldpRemTable, columns 4 to 12.
    const RefOid e = ref_oids::rem_entry();
    uint32_t chassis_subtype = static_cast<uint32_t>(field_int(n, "chassis_id_subtype", 4));
    uint32_t port_subtype = static_cast<uint32_t>(field_int(n, "port_id_subtype", 5));
    // A 14-octet MAC text of a MAC-address subtype (chassis 4, port 3) is served as its 6 octets.
    auto id = [](bytes raw, bool mac_subtype) {
        if (mac_subtype && raw.size() == 14)
            if (auto mac = mac_text(raw)) return *mac;
        return raw;
    };
    put(mib, ref_oids::column(e, 4), key, integer(chassis_subtype));
    put(mib, ref_oids::column(e, 5), key, octets(id(bytes_of(n.at("chassis_id")), chassis_subtype == 4)));
    put(mib, ref_oids::column(e, 6), key, integer(port_subtype));
    put(mib, ref_oids::column(e, 7), key, octets(id(bytes_of(n.at("port_id")), port_subtype == 3)));
    put(mib, ref_oids::column(e, 8), key, octets(field_bytes(n, "port_desc")));
    put(mib, ref_oids::column(e, 9), key, octets(field_bytes(n, "sys_name")));
    put(mib, ref_oids::column(e, 10), key, octets(field_bytes(n, "sys_desc")));
    for (auto [col, k] : {std::pair{11u, "supported_caps"}, std::pair{12u, "enabled_caps"}})
        put(mib, ref_oids::column(e, col), key, capability_bits(field_int(n, k, 0)));

    // lldpRemManAddrTable: every address but the all-zero ones, instance
    // (key, subtype as reported, length, octets); the first of equal ones stays.
    const RefOid ma = ref_oids::rem_man_addr_entry();
    for (const json& a : field_array(n, "man_addrs")) {
        address addr = address_of(a);
        if (addr.zero()) continue;
        RefOid inst = key;
        inst.push_back(addr.subtype);
        inst.push_back(static_cast<uint32_t>(addr.octets.size()));
        inst.insert(inst.end(), addr.octets.begin(), addr.octets.end());
        put(mib, ref_oids::column(ma, 3), inst, integer(2));
        put(mib, ref_oids::column(ma, 4), inst, integer(addr.if_id));
        put(mib, ref_oids::column(ma, 5), inst, object_id({0, 0}));
    }

    // lldpRemUnknownTLVTable: types 9..126 (the MIB's range), first of equal types.
    const RefOid ut = ref_oids::rem_unknown_tlv_entry();
    for (const json& t : field_array(n, "unknown_tlvs")) {
        uint32_t type = t.at("type").get<uint32_t>();
        if (type < 9 || type > 126) continue;
        RefOid inst = key;
        inst.push_back(type);
        put(mib, ref_oids::column(ut, 2), inst, octets(field_bytes(t, "info")));
    }

    // lldpRemOrgDefInfoTable: subtypes 1..255, instance (key, OUI octets,
    // subtype, index), first of equal keys.
    const RefOid od = ref_oids::rem_org_def_entry();
    for (const json& t : field_array(n, "org_def_tlvs")) {
        uint32_t oui = oui_of(t.at("oui"));
        uint32_t subtype = t.at("subtype").get<uint32_t>();
        if (subtype < 1) continue;
        RefOid inst = key;
        inst.insert(inst.end(), {oui >> 16 & 0xFF, oui >> 8 & 0xFF, oui & 0xFF, subtype,
                                 t.at("index").get<uint32_t>()});
        put(mib, ref_oids::column(od, 4), inst, octets(field_bytes(t, "info")));
    }
}

}  // namespace

std::optional<RefTopology> reference_model(const std::string& text, std::string* error) {
    try {
        json t = json::parse(text);
        RefTopology r;
        r.router_type = static_cast<uint32_t>(field_int(t, "router_type", 25));
        r.node_id = static_cast<uint32_t>(field_int(t, "node_id", 1));
        bool enabled = true, node_enabled = true;
        if (t.contains("lldp")) {
            const json& l = t.at("lldp");
            if (l.contains("enabled")) enabled = l.at("enabled").get<bool>();
            if (l.contains("node_enabled")) node_enabled = l.at("node_enabled").get<bool>();
        }
        bool orvik = r.router_type == 7 || r.router_type == 8 || r.router_type == 18;
        r.served = orvik || enabled || node_enabled;

        const json& ports = field_array(t, "ports");
        const json& locals = field_array(t, "local_man_addrs");
        r.ports = ports.size();
        // The local address table fetches a record per address it learns:
        // its bound is one copy per local address.
        for (const json& rec : locals) r.local_records += field_array(rec, "addrs").size();
        for (const json& p : ports) r.neighbors += field_array(p, "neighbors").size();
        if (!r.served) return r;

        // The local system data is given for the platform's node, which is
        // the topology's node_id once the topology is loaded.
        local_system(t.at("local"), r.mib);
        for (const json& p : ports) {
            local_port(p, r.mib);
            uint32_t port = static_cast<uint32_t>(p.at("port_num").get<uint64_t>());
            for (const json& n : field_array(p, "neighbors")) neighbor(n, port, r.mib);
        }
        for (const json& rec : locals)
            for (const json& a : rec.at("addrs")) local_address(address_of(a), r.mib);
        return r;
    } catch (const std::exception& e) {
        if (error) *error = e.what();
        return std::nullopt;
    }
}

const RefValue* ref_get(const RefMib& mib, const RefOid& name) {
    auto it = mib.find(name);
    return it == mib.end() ? nullptr : &it->second;
}

RefMib::const_iterator ref_next(const RefMib& mib, const RefOid& name) { return mib.upper_bound(name); }

std::string ref_oid_text(const RefOid& oid) {
    std::string s;
    for (size_t i = 0; i < oid.size(); ++i) {
        if (i) s += '.';
        s += std::to_string(oid[i]);
    }
    return s;
}

std::string ref_value_text(const RefValue& v) {
    switch (v.type) {
    case RefValue::Integer: return "INTEGER " + std::to_string(v.integer);
    case RefValue::Octets: {
        std::string s = "OCTETS ";
        char buf[3];
        for (uint8_t b : v.octets) {
            std::snprintf(buf, sizeof buf, "%02x", b);
            s += buf;
        }
        return s;
    }
    case RefValue::ObjectId: return "OID " + ref_oid_text(v.oid);
    }
    return "?";
}

}  // namespace lldpmib_test
