// Topology files: JSON into lldp_model::topology, strictly checked so that a
// typo is reported with the file, the JSON path and the problem rather than
// served as a silently different router.
#include <arpa/inet.h>

#include <cerrno>
#include <cstring>
#include <fstream>
#include <map>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>

#include "lldp_client_model.h"

using json = nlohmann::json;

namespace lldp_model {
namespace {

struct load_error {
    std::string path;
    std::string problem;
};

[[noreturn]] void fail(const std::string& path, const std::string& problem) {
    throw load_error{path, problem};
}

std::string child(const std::string& path, const std::string& key) {
    return path.empty() ? key : path + "." + key;
}
std::string item(const std::string& path, size_t i) { return path + "[" + std::to_string(i) + "]"; }

std::string kind_of(const json& j) {
    switch (j.type()) {
        case json::value_t::null: return "null";
        case json::value_t::boolean: return "a boolean";
        case json::value_t::string: return "a string";
        case json::value_t::array: return "an array";
        case json::value_t::object: return "an object";
        case json::value_t::number_float: return "a fractional number";
        default: return "a number";
    }
}

// Objects: every key must be known; lookups by key.
struct object {
    const json& j;
    std::string path;

    // Keys of port_only are known only where on_port (a local port's object).
    object(const json& value, std::string p, std::initializer_list<const char*> known_keys,
           std::initializer_list<const char*> port_only = {}, bool on_port = true)
        : j(value), path(std::move(p)) {
        if (!j.is_object()) fail(where(), "expected an object, got " + kind_of(j));
        std::vector<const char*> allowed(known_keys);
        if (on_port) allowed.insert(allowed.end(), port_only);
        for (auto it = j.begin(); it != j.end(); ++it) {
            bool known = false;
            for (const char* k : allowed) known |= it.key() == k;
            for (const char* k : port_only)
                if (!known && it.key() == k) fail(at(k), "allowed on local ports only, not on neighbours");
            if (!known) {
                std::string list;
                for (const char* k : allowed) list += (list.empty() ? "" : ", ") + std::string(k);
                fail(at(it.key()), "unknown key (expected one of: " + list + ")");
            }
        }
    }
    std::string where() const { return path.empty() ? "top level" : path; }
    std::string at(const std::string& key) const { return child(path, key); }
    const json* find(const char* key) const {
        auto it = j.find(key);
        return it == j.end() ? nullptr : &*it;
    }
    const json& need(const char* key) const {
        const json* v = find(key);
        if (!v) fail(where(), std::string("missing required key \"") + key + "\"");
        return *v;
    }

    uint64_t integer_or(const char* key, uint64_t lo, uint64_t hi, const uint64_t* dflt) const {
        const json* v = dflt ? find(key) : &need(key);
        if (!v) return *dflt;
        std::string range = std::to_string(lo) + ".." + std::to_string(hi);
        if (v->is_number_unsigned()) {
            uint64_t n = v->get<uint64_t>();
            if (n < lo || n > hi) fail(at(key), "out of range " + range + ": " + std::to_string(n));
            return n;
        }
        if (v->is_number_integer())
            fail(at(key), "out of range " + range + ": " + std::to_string(v->get<int64_t>()));
        fail(at(key), "expected an integer in " + range + ", got " + kind_of(*v));
    }
    uint64_t integer(const char* key, uint64_t lo, uint64_t hi, uint64_t dflt) const {
        return integer_or(key, lo, hi, &dflt);
    }
    uint64_t required_integer(const char* key, uint64_t lo, uint64_t hi) const {
        return integer_or(key, lo, hi, nullptr);
    }

    bool boolean(const char* key, bool dflt) const {
        const json* v = find(key);
        if (!v) return dflt;
        if (!v->is_boolean()) fail(at(key), "expected true or false, got " + kind_of(*v));
        return v->get<bool>();
    }

    const json* array(const char* key) const {
        const json* v = find(key);
        if (v && !v->is_array()) fail(at(key), "expected an array, got " + kind_of(*v));
        return v;
    }
};

int hex_digit(char c) {
    if (c >= '0' && c <= '9') return c - '0';
    if (c >= 'a' && c <= 'f') return c - 'a' + 10;
    if (c >= 'A' && c <= 'F') return c - 'A' + 10;
    return -1;
}

// A byte field: a JSON string (its bytes) or {"hex": "00 11:22"}.
std::vector<uint8_t> bytes_of(const json& v, const std::string& path) {
    if (v.is_string()) {
        const std::string& s = v.get_ref<const std::string&>();
        return {s.begin(), s.end()};
    }
    if (!v.is_object())
        fail(path, "expected a string or {\"hex\": \"...\"}, got " + kind_of(v));
    object o(v, path, {"hex"});
    const json& h = o.need("hex");
    if (!h.is_string()) fail(o.at("hex"), "expected a string of hex digits, got " + kind_of(h));
    std::vector<uint8_t> out;
    int high = -1;
    for (char c : h.get_ref<const std::string&>()) {
        if (c == ':' || c == ' ' || c == '-') {
            if (high >= 0) fail(o.at("hex"), "bad hex: separator inside a byte");
            continue;
        }
        int d = hex_digit(c);
        if (d < 0) fail(o.at("hex"), std::string("bad hex: '") + c + "' is not a hex digit");
        if (high < 0) {
            high = d;
        } else {
            out.push_back(uint8_t(high << 4 | d));
            high = -1;
        }
    }
    if (high >= 0) fail(o.at("hex"), "bad hex: odd number of digits");
    return out;
}

std::vector<uint8_t> bytes_field(const object& o, const char* key, size_t lo, size_t hi, bool required) {
    const json* v = required ? &o.need(key) : o.find(key);
    if (!v) return {};
    auto b = bytes_of(*v, o.at(key));
    if (b.size() < lo || b.size() > hi)
        fail(o.at(key), "length " + std::to_string(b.size()) + " out of range " + std::to_string(lo) +
                            ".." + std::to_string(hi) + " bytes");
    return b;
}

// Text handed out NUL-terminated: same forms as bytes, without NUL bytes.
std::string text_field(const object& o, const char* key, size_t hi, bool required,
                       const std::string& dflt = "") {
    const json* v = required ? &o.need(key) : o.find(key);
    if (!v) return dflt;
    auto b = bytes_of(*v, o.at(key));
    if (b.size() > hi)
        fail(o.at(key), "length " + std::to_string(b.size()) + " above " + std::to_string(hi) + " bytes");
    for (uint8_t c : b)
        if (!c) fail(o.at(key), "text cannot hold a NUL byte");
    return {b.begin(), b.end()};
}

constexpr uint64_t u8max = 0xFF, u16max = 0xFFFF, u32max = 0xFFFFFFFF, index_max = 2147483647,
                   u64max = UINT64_MAX;
constexpr size_t unbounded = size_t(-1);

address address_of(const json& v, const std::string& path) {
    object o(v, path, {"addr", "if_id", "subtype"});
    const json& a = o.need("addr");
    if (!a.is_string()) fail(o.at("addr"), "expected IPv4 or IPv6 address text, got " + kind_of(a));
    const std::string& s = a.get_ref<const std::string&>();
    address r;
    if (inet_pton(AF_INET, s.c_str(), r.octets.data()) == 1) {
        r.ipv6 = false;
    } else if (inet_pton(AF_INET6, s.c_str(), r.octets.data()) == 1) {
        r.ipv6 = true;
    } else {
        fail(o.at("addr"), "malformed address \"" + s + "\" (expected IPv4 or IPv6 text)");
    }
    r.if_id = uint32_t(o.integer("if_id", 0, u32max, 0));
    r.subtype = uint8_t(o.integer("subtype", 1, u8max, uint64_t(r.ipv6 ? 2 : 1)));
    return r;
}

uint32_t oui_of(const json& v, const std::string& path) {
    if (v.is_number_unsigned()) {
        uint64_t n = v.get<uint64_t>();
        if (n > 0xFFFFFF) fail(path, "out of range 0..16777215: " + std::to_string(n));
        return uint32_t(n);
    }
    if (!v.is_string()) fail(path, "expected an OUI such as \"00:80:c2\", got " + kind_of(v));
    const std::string& s = v.get_ref<const std::string&>();
    std::string digits;
    for (size_t i = 0; i < s.size(); ++i) {
        bool sep_place = s.size() == 8 && (i == 2 || i == 5);
        if (sep_place && (s[i] == ':' || s[i] == '-')) continue;
        digits += s[i];
    }
    uint32_t oui = 0;
    bool ok = digits.size() == 6 && (s.size() == 6 || s.size() == 8);
    for (char c : digits) {
        int d = hex_digit(c);
        ok &= d >= 0;
        oui = oui << 4 | uint32_t(d < 0 ? 0 : d);
    }
    if (!ok) fail(path, "malformed OUI \"" + s + "\" (expected three hex octets such as \"00:80:c2\")");
    return oui;
}

// The 802.1 and 802.3 data of a port (local: with what it sends) or of a
// neighbour, from the keys "dot1" and "dot3" of its object.
org_ext org_ext_of(const object& o, bool local) {
    org_ext x;
    if (const json* d = o.find("dot1")) {
        object e(*d, o.at("dot1"), {"port_vlan_id", "ppvids", "vlan_names", "protocols"}, {"port_vlan_tx"}, local);
        if (e.find("port_vlan_id")) x.port_vlan_id = uint16_t(e.required_integer("port_vlan_id", 0, 4094));
        x.port_vlan_tx = e.boolean("port_vlan_tx", true);
        auto items = [&](const char* key, std::initializer_list<const char*> keys, auto read) {
            if (const json* a = e.array(key))
                for (size_t i = 0; i < a->size(); ++i) read(object((*a)[i], item(e.at(key), i), keys, {"tx"}, local));
        };
        items("ppvids", {"vid", "supported", "enabled"}, [&](const object& t) {
            x.ppvids.push_back({uint16_t(t.required_integer("vid", 0, 4094)), t.boolean("supported", false),
                                t.boolean("enabled", false), t.boolean("tx", true)});
        });
        items("vlan_names", {"vid", "name"}, [&](const object& t) {
            x.vlan_names.push_back(
                {uint16_t(t.required_integer("vid", 1, 4094)), text_field(t, "name", 255, true), t.boolean("tx", true)});
        });
        items("protocols", {"id"}, [&](const object& t) {
            x.protocols.push_back({bytes_field(t, "id", 1, 255, true), t.boolean("tx", true)});
        });
    }
    if (const json* d = o.find("dot3")) {
        object e(*d, o.at("dot3"), {"mac_phy", "power", "link_agg", "max_frame_size"}, {"tlvs_tx"}, local);
        if (const json* m = e.find("mac_phy")) {
            object t(*m, e.at("mac_phy"), {"autoneg_supported", "autoneg_enabled", "advertised", "mau_type"});
            x.mac_phy = dot3_mac_phy{t.boolean("autoneg_supported", false), t.boolean("autoneg_enabled", false),
                                     uint16_t(t.integer("advertised", 0, u16max, 0)),
                                     uint32_t(t.integer("mau_type", 0, index_max, 0))};
        }
        if (const json* m = e.find("power")) {
            object t(*m, e.at("power"), {"port_class", "mdi_supported", "mdi_enabled", "pair_control", "pairs", "class"});
            x.power = dot3_power{uint8_t(t.integer("port_class", 1, 2, 1)), t.boolean("mdi_supported", false),
                                 t.boolean("mdi_enabled", false),       t.boolean("pair_control", false),
                                 uint8_t(t.integer("pairs", 1, 2, 1)),  uint8_t(t.integer("class", 1, 5, 1))};
        }
        if (const json* m = e.find("link_agg")) {
            object t(*m, e.at("link_agg"), {"capable", "enabled", "port_id"});
            x.link_agg = dot3_link_agg{t.boolean("capable", false), t.boolean("enabled", false),
                                       uint32_t(t.integer("port_id", 0, index_max, 0))};
        }
        if (e.find("max_frame_size")) x.max_frame_size = uint16_t(e.required_integer("max_frame_size", 0, u16max));
        x.dot3_tlvs_tx = uint8_t(e.integer("tlvs_tx", 0, 15, 15));
    }
    return x;
}

neighbor neighbor_of(const json& v, const std::string& path) {
    object o(v, path,
             {"time_mark", "rem_index", "chassis_id_subtype", "chassis_id", "port_id_subtype", "port_id",
              "port_desc", "sys_name", "sys_desc", "supported_caps", "enabled_caps", "man_addrs",
              "unknown_tlvs", "org_def_tlvs", "dot1", "dot3"});
    neighbor n;
    n.time_mark = uint32_t(o.integer("time_mark", 0, u32max, 0));
    n.rem_index = uint32_t(o.required_integer("rem_index", 1, index_max));
    n.chassis_id_subtype = uint8_t(o.integer("chassis_id_subtype", 0, u8max, 4));
    n.chassis_id = bytes_field(o, "chassis_id", 1, 255, true);
    n.port_id_subtype = uint8_t(o.integer("port_id_subtype", 0, u8max, 5));
    n.port_id = bytes_field(o, "port_id", 1, 255, true);
    n.port_desc = text_field(o, "port_desc", 255, false);
    n.sys_name = text_field(o, "sys_name", 255, false);
    n.sys_desc = text_field(o, "sys_desc", 255, false);
    n.supported_caps = uint16_t(o.integer("supported_caps", 0, u16max, 0));
    n.enabled_caps = uint16_t(o.integer("enabled_caps", 0, u16max, 0));
    if (const json* a = o.array("man_addrs"))
        for (size_t i = 0; i < a->size(); ++i)
            n.man_addrs.push_back(address_of((*a)[i], item(o.at("man_addrs"), i)));
    if (const json* a = o.array("unknown_tlvs")) {
        for (size_t i = 0; i < a->size(); ++i) {
            object t((*a)[i], item(o.at("unknown_tlvs"), i), {"type", "info"});
            unknown_tlv u;
            u.type = uint8_t(t.required_integer("type", 0, u8max));
            u.info = bytes_field(t, "info", 0, 511, false);
            n.unknown_tlvs.push_back(std::move(u));
        }
    }
    if (const json* a = o.array("org_def_tlvs")) {
        for (size_t i = 0; i < a->size(); ++i) {
            object t((*a)[i], item(o.at("org_def_tlvs"), i), {"oui", "subtype", "index", "info"});
            org_def_tlv d;
            d.oui = oui_of(t.need("oui"), t.at("oui"));
            d.subtype = uint8_t(t.required_integer("subtype", 0, u8max));
            d.index = uint32_t(t.required_integer("index", 1, index_max));
            d.info = bytes_field(t, "info", 0, 507, false);
            n.org_def_tlvs.push_back(std::move(d));
        }
    }
    n.ext = org_ext_of(o, false);
    return n;
}

// Counters may exceed 2^32: the client hands them out modulo 2^32, as a
// daemon's wrapped 32-bit counter would read.
port_counters counters_of(const json& v, const std::string& path) {
    object o(v, path,
             {"tx_frames", "rx_frames", "rx_frames_discarded", "rx_frames_errors", "rx_tlvs_discarded",
              "rx_tlvs_unrecognized", "ageouts", "inserts", "deletes", "drops"});
    port_counters c;
    c.tx_frames = o.integer("tx_frames", 0, u64max, 0);
    c.rx_frames = o.integer("rx_frames", 0, u64max, 0);
    c.rx_frames_discarded = o.integer("rx_frames_discarded", 0, u64max, 0);
    c.rx_frames_errors = o.integer("rx_frames_errors", 0, u64max, 0);
    c.rx_tlvs_discarded = o.integer("rx_tlvs_discarded", 0, u64max, 0);
    c.rx_tlvs_unrecognized = o.integer("rx_tlvs_unrecognized", 0, u64max, 0);
    c.ageouts = o.integer("ageouts", 0, u64max, 0);
    c.inserts = o.integer("inserts", 0, u64max, 0);
    c.deletes = o.integer("deletes", 0, u64max, 0);
    c.drops = o.integer("drops", 0, u64max, 0);
    return c;
}

port port_of(const json& v, const std::string& path) {
    object o(v, path,
             {"port_num", "ifhandle", "port_id_subtype", "port_id", "port_desc", "neighbors", "admin_status",
              "notification_enable", "tlvs_tx", "man_addr_tx", "statistics", "dot1", "dot3"});
    port p;
    p.port_num = uint32_t(o.required_integer("port_num", 1, index_max));
    p.ifhandle = uint32_t(o.integer("ifhandle", 1, u32max, port::default_ifhandle(p.port_num)));
    p.port_id_subtype = uint8_t(o.integer("port_id_subtype", 0, u8max, 5));
    p.port_id = text_field(o, "port_id", unbounded, true);
    p.port_desc = text_field(o, "port_desc", unbounded, false);
    p.admin_status = uint8_t(o.integer("admin_status", 1, 4, 3));
    p.notification_enable = o.boolean("notification_enable", false);
    p.tlvs_tx = uint8_t(o.integer("tlvs_tx", 0, 15, 15));
    p.man_addr_tx = o.boolean("man_addr_tx", true);
    if (const json* s = o.find("statistics")) p.stats = counters_of(*s, o.at("statistics"));
    p.ext = org_ext_of(o, true);
    std::map<uint32_t, size_t> seen;
    if (const json* a = o.array("neighbors")) {
        for (size_t i = 0; i < a->size(); ++i) {
            std::string np = item(o.at("neighbors"), i);
            neighbor n = neighbor_of((*a)[i], np);
            auto [it, fresh] = seen.emplace(n.rem_index, i);
            if (!fresh)
                fail(child(np, "rem_index"),
                     "duplicate remote index " + std::to_string(n.rem_index) + " on port " +
                         std::to_string(p.port_num) + " (also " + item(o.at("neighbors"), it->second) + ")");
            p.neighbors.push_back(std::move(n));
        }
    }
    return p;
}

topology topology_of(const json& root) {
    object o(root, "",
             {"router_type", "node_id", "lldp", "local", "local_man_addrs", "ports", "config",
              "remote_tables_last_change"});
    topology t;
    t.router_type = uint32_t(o.integer("router_type", 0, u32max, 25));
    t.node_id = uint32_t(o.integer("node_id", 0, u32max, 1));
    if (const json* c = o.find("config")) {
        object e(*c, o.at("config"), {"tx_interval", "tx_hold", "reinit_delay", "tx_delay"});
        t.config.tx_interval = uint32_t(e.integer("tx_interval", 5, 32768, 30));
        t.config.tx_hold = uint32_t(e.integer("tx_hold", 2, 10, 4));
        t.config.reinit_delay = uint32_t(e.integer("reinit_delay", 1, 10, 2));
        t.config.tx_delay = uint32_t(e.integer("tx_delay", 1, 8192, 2));
    }
    t.remote_tables_last_change = uint32_t(o.integer("remote_tables_last_change", 0, u32max, 0));
    if (const json* l = o.find("lldp")) {
        object e(*l, o.at("lldp"), {"enabled", "node_enabled"});
        t.lldp_enabled = e.boolean("enabled", true);
        t.node_enabled = e.boolean("node_enabled", true);
    }
    {
        object l(o.need("local"), o.at("local"),
                 {"chassis_id_subtype", "chassis_id", "sys_name", "sys_desc", "supported_caps",
                  "enabled_caps"});
        t.local.chassis_id_subtype = uint8_t(l.integer("chassis_id_subtype", 0, u8max, 4));
        t.local.chassis_id = text_field(l, "chassis_id", unbounded, true);
        t.local.sys_name = text_field(l, "sys_name", unbounded, false);
        t.local.sys_desc = text_field(l, "sys_desc", unbounded, false);
        t.local.supported_caps = uint16_t(l.integer("supported_caps", 0, u16max, 0));
        t.local.enabled_caps = uint16_t(l.integer("enabled_caps", 0, u16max, 0));
    }
    if (const json* a = o.array("local_man_addrs")) {
        for (size_t i = 0; i < a->size(); ++i) {
            object r((*a)[i], item("local_man_addrs", i), {"addrs"});
            const json& addrs = r.need("addrs");
            if (!addrs.is_array() || addrs.empty())
                fail(r.at("addrs"), "expected a non-empty array of addresses");
            local_man_addr_record rec;
            for (size_t k = 0; k < addrs.size(); ++k)
                rec.addrs.push_back(address_of(addrs[k], item(r.at("addrs"), k)));
            t.local_man_addrs.push_back(std::move(rec));
        }
    }
    if (const json* a = o.array("ports")) {
        std::map<uint32_t, size_t> nums, handles;
        for (size_t i = 0; i < a->size(); ++i) {
            std::string pp = item("ports", i);
            port p = port_of((*a)[i], pp);
            auto [n, fresh_num] = nums.emplace(p.port_num, i);
            if (!fresh_num)
                fail(child(pp, "port_num"), "duplicate port number " + std::to_string(p.port_num) +
                                                " (also " + item("ports", n->second) + ")");
            auto [h, fresh_handle] = handles.emplace(p.effective_ifhandle(), i);
            if (!fresh_handle)
                fail(child(pp, "ifhandle"), "duplicate ifhandle " + std::to_string(p.effective_ifhandle()) +
                                                " (also " + item("ports", h->second) + ")");
            t.ports.push_back(std::move(p));
        }
    }
    return t;
}

// Tracks where the parser is so that a repeated key (which the JSON library
// would silently resolve to its last value) is reported with its path.
struct key_tracker {
    struct frame {
        bool is_array;
        size_t count = 0;
        std::string path;
        std::string key;
        std::set<std::string> keys;
    };
    std::vector<frame> frames;

    std::string child_path() const {
        if (frames.empty()) return "";
        const frame& f = frames.back();
        return f.is_array ? item(f.path, f.count) : child(f.path, f.key);
    }
    void element_done() {
        if (!frames.empty() && frames.back().is_array) ++frames.back().count;
    }
    bool operator()(int, json::parse_event_t event, json& parsed) {
        switch (event) {
            case json::parse_event_t::object_start:
            case json::parse_event_t::array_start:
                frames.push_back({event == json::parse_event_t::array_start, 0, child_path(), {}, {}});
                break;
            case json::parse_event_t::object_end:
            case json::parse_event_t::array_end:
                frames.pop_back();
                element_done();
                break;
            case json::parse_event_t::key: {
                frame& f = frames.back();
                f.key = parsed.get<std::string>();
                if (!f.keys.insert(f.key).second) fail(child(f.path, f.key), "duplicate key");
                break;
            }
            case json::parse_event_t::value:
                element_done();
                break;
        }
        return true;
    }
};

}  // namespace

std::shared_ptr<const topology> parse_topology(const std::string& text, const std::string& origin,
                                               std::string* error) {
    try {
        key_tracker tracker;
        json root = json::parse(text, std::ref(tracker));
        return std::make_shared<const topology>(topology_of(root));
    } catch (const load_error& e) {
        if (error) *error = origin + ": " + (e.path.empty() ? "top level" : e.path) + ": " + e.problem;
    } catch (const json::parse_error& e) {
        // "[json.exception.parse_error.101] parse error at line 3, column 5: ..."
        std::string what = e.what();
        auto pos = what.find("] ");
        if (error) *error = origin + ": invalid JSON: " + (pos == std::string::npos ? what : what.substr(pos + 2));
    } catch (const std::exception& e) {
        if (error) *error = origin + ": " + e.what();
    }
    return nullptr;
}

std::shared_ptr<const topology> load_topology_file(const std::string& path, std::string* error) {
    std::ifstream in(path, std::ios::binary);
    if (!in) {
        if (error) *error = path + ": cannot read: " + std::strerror(errno);
        return nullptr;
    }
    std::ostringstream text;
    text << in.rdbuf();
    if (in.bad()) {
        if (error) *error = path + ": cannot read: " + std::strerror(errno);
        return nullptr;
    }
    return parse_topology(text.str(), path, error);
}

}  // namespace lldp_model
