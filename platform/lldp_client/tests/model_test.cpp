// The in-memory daemon model as the module relies on it: element and port
// order, local address lookup, and failure injection at every operation.
#include <arpa/inet.h>
#include <gtest/gtest.h>

#include <cstring>
#include <functional>
#include <string>
#include <vector>

#include "lldp_client_model.h"
#include "platform_fault.h"

using namespace lldp_model;
using strings = std::vector<std::string>;

namespace {

address addr(const char* text, uint32_t if_id) {
    address a;
    a.ipv6 = std::strchr(text, ':') != nullptr;
    inet_pton(a.ipv6 ? AF_INET6 : AF_INET, text, a.octets.data());
    a.if_id = if_id;
    return a;
}

neighbor make_neighbor(uint32_t rem_index) {
    neighbor n;
    n.rem_index = rem_index, n.chassis_id = {'c'}, n.port_id = {'p'};
    return n;
}

port make_port(uint32_t num, std::vector<neighbor> neighbors = {}) {
    port p;
    p.port_num = num, p.port_id = "Gi" + std::to_string(num), p.neighbors = std::move(neighbors);
    return p;
}

// Text of an address element; local records hold IPv4 as a host-order number.
std::string text(const lldp_addr_element* e, bool local = false) {
    uint32_t v4;
    std::memcpy(&v4, e->addr, 4);
    if (local) v4 = htonl(v4);
    char buf[INET6_ADDRSTRLEN];
    inet_ntop(e->addr_type ? AF_INET6 : AF_INET, e->addr_type ? static_cast<const void*>(e->addr) : &v4, buf,
              sizeof buf);
    return std::string(buf) + "/" + std::to_string(e->if_id);
}

// What iter_ne hands out: "port N" for a port marker, else the neighbour's
// remote index with the texts of its listed elements.
int tag;
int collect(void* record, void* arg1, void* arg2) {
    EXPECT_EQ(arg2, &tag);  // both arguments reach the callback unchanged
    auto* rec = static_cast<neighbor_td*>(record);
    std::string s = rec->port_marker ? "port " + std::to_string(rec->mib->port_num) : "";
    if (!rec->port_marker) {
        neighbor_td* copy = lldp_client_copy_neighbor_td(rec);
        s = std::to_string(copy->mib->rem_index);
        for (auto* e = copy->detail->man_addrs; e; e = e->next) s += " " + text(e);
        char buf[40];
        for (auto* e = copy->mib->unknown_tlvs; e; e = e->next)
            s += (std::snprintf(buf, sizeof buf, " u%d:%d", e->type, e->info_len ? e->info[0] : -1), buf);
        for (auto* e = copy->mib->org_def_tlvs; e; e = e->next)
            s += (std::snprintf(buf, sizeof buf, " o%06x/%d/%d:%d", e->oui, e->subtype, e->index,
                                e->info_len ? e->info[0] : -1), buf);
        lldp_client_free_neighbor_td(copy);
    }
    static_cast<strings*>(arg1)->push_back(s);
    return 0;
}

class Model : public testing::Test {
protected:
    void SetUp() override { platform_fault_reset(); }
    void TearDown() override {
        lldp_client_use_default();
        platform_fault_reset();
        EXPECT_EQ(lldp_client_live_copies(), 0u);
    }
    void serve(topology t) { lldp_client_use_topology(std::make_shared<const topology>(std::move(t))); }
    strings iterate(uint32_t ifhandle) {
        lldp_client_filter f{};
        f.kind = LLDP_FILTER_NEIGHBORS, f.ifhandle = ifhandle;
        strings seen;
        EXPECT_EQ(0, lldp_client_iter_ne(&f, 1, 1, collect, &seen, 1, &tag));
        return seen;
    }
};

TEST_F(Model, IterNeMarkerFirstThenNeighborsAndElementsInIndexOrder) {
    neighbor n = make_neighbor(4);
    n.man_addrs = {addr("2001:db8::1", 1), addr("10.0.0.20", 2), addr("9.0.0.2", 3), addr("::", 4),
                   addr("10.0.0.3", 5), addr("0.0.0.0", 6), addr("10.0.0.3", 7), addr("::1", 8)};
    n.unknown_tlvs = {{12, {1}}, {9, {2}}, {126, {}}, {9, {3}}, {11, {4}}};
    n.org_def_tlvs = {{0x0080c2, 7, 1, {1}}, {0x00120f, 1, 2, {2}}, {0x0080c2, 1, 3, {3}},
                      {0x00120f, 1, 1, {4}}, {0x0080c2, 1, 1, {5}}, {0x0080c2, 1, 1, {6}}};
    topology t;
    t.ports = {make_port(1, {n, make_neighbor(1)}), make_port(2)};
    serve(t);
    // Addresses: all-zero first, then IPv4 by number, then IPv6; equal keys stable.
    EXPECT_EQ(iterate(0x1001),
              (strings{"port 1", "1",
                       "4 0.0.0.0/6 ::/4 9.0.0.2/3 10.0.0.3/5 10.0.0.3/7 10.0.0.20/2 ::1/8 2001:db8::1/1"
                       " u9:2 u9:3 u11:4 u12:1 u126:-1"
                       " o00120f/1/1:4 o00120f/1/2:2 o0080c2/1/1:5 o0080c2/1/1:6 o0080c2/1/3:3 o0080c2/7/1:1"}));
    EXPECT_EQ(iterate(0x1002), strings{"port 2"});  // no neighbours: the marker alone
}

// Ports: 2 (no neighbours), 3 (plain), 5 (addresses), 8 (unknown TLVs),
// 10 (org-def TLVs), 12 (everything, custom ifhandle); listed out of order.
TEST_F(Model, PortWalksYieldQualifyingPortsInOrder) {
    neighbor plain = make_neighbor(1), with_ma = plain, with_unknown = plain, with_org = plain;
    with_ma.man_addrs = {addr("10.0.0.1", 0)};
    with_unknown.unknown_tlvs = {{9, {}}};
    with_org.org_def_tlvs = {{0x0080c2, 1, 1, {}}};
    topology t;
    t.ports = {make_port(10, {with_org}), make_port(2), make_port(5, {plain}), make_port(3, {plain}),
               make_port(8, {with_unknown}), make_port(12, {with_ma, with_unknown, with_org})};
    t.ports[2].neighbors.push_back(with_ma), t.ports[2].neighbors[1].rem_index = 2;
    t.ports[5].neighbors[1].rem_index = 2, t.ports[5].neighbors[2].rem_index = 3;
    t.ports.back().ifhandle = 0xabc;
    serve(t);
    using walk_fn = int (*)(uint32_t, uint32_t*, uint32_t*);
    const std::pair<walk_fn, std::vector<uint32_t>> walks[] = {
        {lldp_client_get_next_if_local, {2, 3, 5, 8, 10, 12}}, {lldp_client_get_next_if_remote, {3, 5, 8, 10, 12}},
        {lldp_client_get_next_if_remote_ma, {5, 12}}, {lldp_client_get_next_if_remote_unknown_tlv, {8, 12}},
        {lldp_client_get_next_if_remote_org_def_tlv, {10, 12}}};
    for (const auto& [walk, expected] : walks) {
        std::vector<uint32_t> seen;  // walked as the shims do: from 0, then from each answer + 1
        uint32_t next = 0, handle = 0;
        for (uint32_t p = 0; seen.size() < 10 && walk(p, &next, &handle) == 0 && next != LLDP_CLIENT_NO_PORT;
             p = next + 1) {
            EXPECT_EQ(handle, next == 12 ? 0xabcu : 0x1000u + next);
            seen.push_back(next);
        }
        EXPECT_EQ(seen, expected);
        for (uint32_t p : expected) EXPECT_TRUE(walk(p, &next, &handle) == 0 && next == p);
        for (uint32_t p : {13u, 2147483647u, 0xFFFFFFFFu})
            EXPECT_TRUE(walk(p, &next, &handle) == 0 && next == LLDP_CLIENT_NO_PORT) << p;
    }
    EXPECT_EQ(iterate(0xabc), (strings{"port 12", "1 10.0.0.1/0", "2 u9:-1", "3 o0080c2/1/1:-1"}));
}

int take_ma(void* record, void* list, void*) {
    lldp_local_ma_td* copy = lldp_client_copy_local_ma_td(static_cast<lldp_local_ma_td*>(record));
    for (auto* e = copy->addrs; e; e = e->next) static_cast<strings*>(list)->push_back(text(e, true));
    lldp_client_free_local_ma_td(copy);
    return 0;
}

lldp_addr_element key(const char* text) {
    lldp_addr_element k{};
    address a = addr(text, 0);
    k.addr_type = a.ipv6;
    uint32_t net = 0;
    std::memcpy(&net, a.octets.data(), std::min<size_t>(4, a.octets.size()));
    uint32_t host = ntohl(net);
    std::memcpy(k.addr, a.ipv6 ? static_cast<void*>(a.octets.data()) : &host, a.ipv6 ? 16 : 4);
    return k;
}

// Record 0: 2001:db8:ffff::2, 192.0.2.7, 192.0.2.1; record 1: 10.255.0.2.  As
// numbers 10.255.0.2 comes first, though its bytes in host order would not.
TEST_F(Model, LocalManagementAddressExactAndNext) {
    topology t;
    t.local_man_addrs = {{{addr("2001:db8:ffff::2", 10), addr("192.0.2.7", 11), addr("192.0.2.1", 12)}},
                         {{addr("10.255.0.2", 13)}}};
    serve(t);
    const std::string a10 = "10.255.0.2/13", a1 = "192.0.2.1/12", a7 = "192.0.2.7/11", a6 = "2001:db8:ffff::2/10";
    const std::tuple<int, const char*, strings> cases[] = {
        {0, "0.0.0.0", {a10}}, {0, "10.255.0.2", {a10}}, {0, "10.255.0.3", {a1, a7, a6}}, {0, "192.0.2.2", {a7, a6}},
        {0, "255.255.255.255", {a6}}, {0, "::", {a6}}, {0, "2001:db8:ffff::3", {}},
        {1, "192.0.2.7", {a7, a6}}, {1, "2001:db8:ffff::2", {a6}}, {1, "192.0.2.2", {}},
        {1, "::c000:201", {}}};  // IPv4 bytes as IPv6 do not match
    for (const auto& [exact, k, expected] : cases) {
        strings chain;
        lldp_addr_element kk = key(k);
        EXPECT_EQ(0, lldp_client_get_next_if_local_ma(exact, &kk, take_ma, nullptr, &chain));
        EXPECT_EQ(chain, expected) << exact << " " << k;
    }
}

// Operations a walk never calls (the fault sweep covers those, the startup
// test lldp_client_init): each counts its calls and, armed, fails.
TEST_F(Model, FaultInjectionReachesBackendSwitches) {
    const std::pair<const char*, std::function<bool()>> ops[] = {
        {"lldp_client_use_topology_text", [] { return lldp_client_use_topology_text("{}", "x", nullptr, 0) == 77; }},
        {"lldp_client_use_topology_file", [] { return lldp_client_use_topology_file("/none", nullptr, 0) == 77; }},
        {"lldp_client_use_lldpd",  // a refused switch keeps the topology being served
         [] { return lldp_client_use_lldpd(nullptr, 0, nullptr, 0) == 77 && lldp_client_current_topology(nullptr); }},
        {"lldp_client_is_node_lldp_enabled", [] { return lldp_client_is_node_lldp_enabled() == 0; }}};
    serve({});  // enabled by default
    for (const auto& [op, fails] : ops) {
        platform_fault_reset();
        platform_fault_fail_nth(op, 1, 77);
        EXPECT_TRUE(fails()) << op;
        EXPECT_EQ(platform_fault_calls(op), 1u) << op;
    }
}

}  // namespace
