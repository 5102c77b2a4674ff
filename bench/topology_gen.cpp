#include "topology_gen.h"

#include <arpa/inet.h>

#include <nlohmann/json.hpp>
#include <string>

namespace lldpmib_test {

namespace {

std::vector<uint8_t> bytes_of(const std::string& s) { return {s.begin(), s.end()}; }

lldp_model::address make_address(bool ipv6, uint32_t a, uint32_t b, uint32_t if_id) {
    lldp_model::address addr;
    addr.ipv6 = ipv6;
    addr.if_id = if_id;
    if (ipv6) {
        addr.octets[0] = 0x20;
        addr.octets[1] = 0x01;
        addr.octets[2] = 0x0d;
        addr.octets[3] = 0xb8;
        addr.octets[12] = static_cast<uint8_t>(a >> 8);
        addr.octets[13] = static_cast<uint8_t>(a);
        addr.octets[14] = static_cast<uint8_t>(b >> 8);
        addr.octets[15] = static_cast<uint8_t>(b);
    } else {
        addr.octets[0] = 10;
        addr.octets[1] = static_cast<uint8_t>(a);
        addr.octets[2] = static_cast<uint8_t>(b >> 8);
        addr.octets[3] = static_cast<uint8_t>(b);
    }
    return addr;
}

}  // namespace

topology_shape shape_for_neighbors(uint32_t total) {
    topology_shape s;
    if (total == 0) {
        s.ports = 1;
        s.neighbors_per_port = 0;
        return s;
    }
    s.ports = (total + 63) / 64;
    s.neighbors_per_port = (total + s.ports - 1) / s.ports;
    return s;
}

std::shared_ptr<lldp_model::topology> make_topology(const topology_shape& shape) {
    auto t = std::make_shared<lldp_model::topology>();
    t->local.chassis_id_subtype = 4;
    t->local.chassis_id = "0a1b.2c3d.4e5f";
    t->local.sys_name = "bench-router";
    t->local.sys_desc = "synthetic topology";
    t->local.supported_caps = 0x14;
    t->local.enabled_caps = 0x10;
    for (uint32_t r = 0; r < shape.local_addr_records; ++r) {
        lldp_model::local_man_addr_record rec;
        rec.addrs.push_back(make_address(false, 200, r, r + 1));
        rec.addrs.push_back(make_address(true, 200, r, r + 1));
        t->local_man_addrs.push_back(rec);
    }
    for (uint32_t p = 1; p <= shape.ports; ++p) {
        lldp_model::port port;
        port.port_num = p;
        port.port_id = "Gi0/0/0/" + std::to_string(p);
        port.port_desc = "port " + std::to_string(p);
        for (uint32_t n = 1; n <= shape.neighbors_per_port; ++n) {
            lldp_model::neighbor nb;
            std::string tag = std::to_string(p) + "-" + std::to_string(n);
            nb.time_mark = shape.time_mark;
            nb.rem_index = n;
            nb.chassis_id_subtype = 4;
            nb.chassis_id = {0x02, 0x00, static_cast<uint8_t>(p >> 8), static_cast<uint8_t>(p),
                             static_cast<uint8_t>(n >> 8), static_cast<uint8_t>(n)};
            nb.port_id_subtype = 5;
            nb.port_id = bytes_of("Eth" + tag);
            nb.port_desc = "uplink " + tag;
            nb.sys_name = "neighbour-" + tag;
            nb.sys_desc = "synthetic neighbour " + tag;
            nb.supported_caps = 0x14;
            nb.enabled_caps = static_cast<uint16_t>(n & 1 ? 0x04 : 0x14);
            for (uint32_t a = 0; a < shape.addrs_per_neighbor; ++a)
                nb.man_addrs.push_back(make_address(a & 1, p, n * 16 + a / 2, p));
            for (uint32_t u = 0; u < shape.unknown_tlvs_per_neighbor; ++u)
                nb.unknown_tlvs.push_back({static_cast<uint8_t>(9 + u % 118),
                                           bytes_of("unknown " + tag + "/" + std::to_string(u))});
            for (uint32_t o = 0; o < shape.org_tlvs_per_neighbor; ++o) {
                lldp_model::org_def_tlv tlv;
                tlv.oui = o & 1 ? 0x00120F : 0x0080C2;
                tlv.subtype = static_cast<uint8_t>(1 + o / 2 % 8);
                tlv.index = 1 + o / 16;
                tlv.info = bytes_of("org " + tag + "/" + std::to_string(o));
                nb.org_def_tlvs.push_back(tlv);
            }
            port.neighbors.push_back(std::move(nb));
        }
        t->ports.push_back(std::move(port));
    }
    return t;
}

namespace {

using nlohmann::json;

json hex_of(const std::vector<uint8_t>& bytes) {
    static const char digits[] = "0123456789abcdef";
    std::string s;
    for (uint8_t c : bytes) {
        s += digits[c >> 4];
        s += digits[c & 15];
    }
    return json{{"hex", s}};
}

json address_json(const lldp_model::address& a) {
    char text[INET6_ADDRSTRLEN] = "";
    inet_ntop(a.ipv6 ? AF_INET6 : AF_INET, a.octets.data(), text, sizeof text);
    return json{{"addr", text}, {"if_id", a.if_id}, {"subtype", a.effective_subtype()}};
}

}  // namespace

std::string topology_json(const lldp_model::topology& t) {
    json root;
    root["router_type"] = t.router_type;
    root["node_id"] = t.node_id;
    root["lldp"] = {{"enabled", t.lldp_enabled}, {"node_enabled", t.node_enabled}};
    root["local"] = {{"chassis_id_subtype", t.local.chassis_id_subtype},
                     {"chassis_id", t.local.chassis_id},
                     {"sys_name", t.local.sys_name},
                     {"sys_desc", t.local.sys_desc},
                     {"supported_caps", t.local.supported_caps},
                     {"enabled_caps", t.local.enabled_caps}};
    json locals = json::array();
    for (const auto& rec : t.local_man_addrs) {
        json addrs = json::array();
        for (const auto& a : rec.addrs) addrs.push_back(address_json(a));
        locals.push_back({{"addrs", addrs}});
    }
    root["local_man_addrs"] = locals;
    json ports = json::array();
    for (const auto& p : t.ports) {
        json neighbors = json::array();
        for (const auto& n : p.neighbors) {
            json addrs = json::array(), unknown = json::array(), org = json::array();
            for (const auto& a : n.man_addrs) addrs.push_back(address_json(a));
            for (const auto& u : n.unknown_tlvs)
                unknown.push_back({{"type", u.type}, {"info", hex_of(u.info)}});
            for (const auto& o : n.org_def_tlvs)
                org.push_back({{"oui", o.oui}, {"subtype", o.subtype}, {"index", o.index},
                               {"info", hex_of(o.info)}});
            neighbors.push_back({{"time_mark", n.time_mark},
                                 {"rem_index", n.rem_index},
                                 {"chassis_id_subtype", n.chassis_id_subtype},
                                 {"chassis_id", hex_of(n.chassis_id)},
                                 {"port_id_subtype", n.port_id_subtype},
                                 {"port_id", hex_of(n.port_id)},
                                 {"port_desc", n.port_desc},
                                 {"sys_name", n.sys_name},
                                 {"sys_desc", n.sys_desc},
                                 {"supported_caps", n.supported_caps},
                                 {"enabled_caps", n.enabled_caps},
                                 {"man_addrs", addrs},
                                 {"unknown_tlvs", unknown},
                                 {"org_def_tlvs", org}});
        }
        json port = {{"port_num", p.port_num},
                     {"port_id_subtype", p.port_id_subtype},
                     {"port_id", p.port_id},
                     {"port_desc", p.port_desc},
                     {"neighbors", neighbors}};
        if (p.ifhandle) port["ifhandle"] = p.ifhandle;
        ports.push_back(port);
    }
    root["ports"] = ports;
    return root.dump(1);
}

uint64_t expected_bindings(const topology_shape& s) {
    uint64_t neighbors = uint64_t{s.ports} * s.neighbors_per_port;
    // lldpLocManAddrOID is never answered: three columns per local address.
    uint64_t local = 6 + 3ull * s.ports + 3ull * 2 * s.local_addr_records;
    // The extension library: ten scalars, ten columns per port, one per local
    // address; and of the 802.1/802.3 tables, the three a port always has (the
    // generated ports and neighbours advertise no 802.1/802.3 data).
    uint64_t extension = 10 + (10ull + 3) * s.ports + 2ull * s.local_addr_records;
    return local + extension + neighbors * (9 + 3ull * s.addrs_per_neighbor + s.unknown_tlvs_per_neighbor +
                                s.org_tlvs_per_neighbor);
}

}  // namespace lldpmib_test
