// The in-memory daemon model as the module sees it through lldp_client_*.
#include <arpa/inet.h>
#include <gtest/gtest.h>

#include <cstring>
#include <functional>
#include <string>
#include <vector>

#include "lldp_client_model.h"
#include "platform_fault.h"

using namespace lldp_model;

namespace {

address v4(const char* text, uint32_t if_id = 0) {
    address a;
    inet_pton(AF_INET, text, a.octets.data());
    a.if_id = if_id;
    return a;
}
address v6(const char* text, uint32_t if_id = 0) {
    address a;
    a.ipv6 = true;
    inet_pton(AF_INET6, text, a.octets.data());
    a.if_id = if_id;
    return a;
}
std::vector<uint8_t> bytes(const std::string& s) { return {s.begin(), s.end()}; }

neighbor make_neighbor(uint32_t rem_index, uint32_t time_mark = 0) {
    neighbor n;
    n.rem_index = rem_index;
    n.time_mark = time_mark;
    n.chassis_id = bytes("0050.5600.0" + std::to_string(rem_index));
    n.port_id = bytes("eth" + std::to_string(rem_index));
    n.sys_name = "n" + std::to_string(rem_index);
    return n;
}

port make_port(uint32_t num, std::vector<neighbor> neighbors = {}) {
    port p;
    p.port_num = num;
    p.port_id = "Gi" + std::to_string(num);
    p.port_desc = "desc " + std::to_string(num);
    p.neighbors = std::move(neighbors);
    return p;
}

lldp_client_filter neighbors_of(uint32_t ifhandle) {
    lldp_client_filter f{};
    f.kind = LLDP_FILTER_NEIGHBORS;
    f.ifhandle = ifhandle;
    return f;
}

// Collects what iter_ne hands out; the callback copies each record.
struct collected {
    std::vector<neighbor_td*> copies;
    std::vector<bool> markers;
    std::vector<uint32_t> marker_ports;
    int stop_after = -1;  // return non-zero from this call on
    int calls = 0;
    ~collected() {
        for (neighbor_td* c : copies) lldp_client_free_neighbor_td(c);
    }
};

int collect(void* record, void* arg1, void* arg2) {
    auto* c = static_cast<collected*>(arg1);
    EXPECT_EQ(arg2, &c->calls);  // both arguments reach the callback unchanged
    auto* rec = static_cast<neighbor_td*>(record);
    if (c->stop_after >= 0 && c->calls >= c->stop_after) return 9;
    ++c->calls;
    if (rec->port_marker) {
        c->markers.push_back(true);
        c->marker_ports.push_back(rec->mib ? rec->mib->port_num : 0);
        return 0;
    }
    c->markers.push_back(false);
    c->copies.push_back(lldp_client_copy_neighbor_td(rec));
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
    int iterate(uint32_t ifhandle, collected& c) {
        lldp_client_filter f = neighbors_of(ifhandle);
        return lldp_client_iter_ne(&f, 1, 1, collect, &c, 1, &c.calls);
    }
};

// ---- Element order ----

std::string addr_text(const lldp_addr_element* e) {
    char buf[INET6_ADDRSTRLEN];
    inet_ntop(e->addr_type ? AF_INET6 : AF_INET, e->addr, buf, sizeof buf);
    return std::string(buf) + "/" + std::to_string(e->if_id);
}

TEST_F(Model, NeighborElementsComeInPromisedOrderWhateverTheListing) {
    neighbor n = make_neighbor(1);
    n.man_addrs = {v6("2001:db8::1", 1), v4("10.0.0.20", 2), v4("9.0.0.2", 3), v6("::", 4),
                   v4("10.0.0.3", 5), v4("0.0.0.0", 6), v4("10.0.0.3", 7), v6("::1", 8)};
    n.unknown_tlvs = {{12, {1}}, {9, {2}}, {126, {}}, {9, {3}}, {11, {4}}};
    n.org_def_tlvs = {{0x0080c2, 7, 1, {1}}, {0x00120f, 1, 2, {2}}, {0x0080c2, 1, 3, {3}},
                      {0x00120f, 1, 1, {4}}, {0x0080c2, 1, 1, {5}}, {0x0080c2, 1, 1, {6}}};
    topology t;
    t.ports = {make_port(1, {n})};
    serve(t);

    collected c;
    ASSERT_EQ(0, iterate(0x1001, c));
    ASSERT_EQ(c.copies.size(), 1u);
    const neighbor_td* r = c.copies[0];

    std::vector<std::string> addrs;
    for (auto* e = r->detail->man_addrs; e; e = e->next) addrs.push_back(addr_text(e));
    // All-zero first, then IPv4 by number, then IPv6; equal keys stable.
    EXPECT_EQ(addrs, (std::vector<std::string>{"0.0.0.0/6", "::/4", "9.0.0.2/3", "10.0.0.3/5", "10.0.0.3/7",
                                               "10.0.0.20/2", "::1/8", "2001:db8::1/1"}));

    std::vector<std::pair<int, int>> unknown;
    for (auto* e = r->mib->unknown_tlvs; e; e = e->next)
        unknown.push_back({e->type, e->info_len ? e->info[0] : -1});
    EXPECT_EQ(unknown, (std::vector<std::pair<int, int>>{{9, 2}, {9, 3}, {11, 4}, {12, 1}, {126, -1}}));

    std::vector<std::tuple<uint32_t, int, int, int>> org;
    for (auto* e = r->mib->org_def_tlvs; e; e = e->next)
        org.push_back({e->oui, e->subtype, e->index, e->info[0]});
    EXPECT_EQ(org, (std::vector<std::tuple<uint32_t, int, int, int>>{{0x00120f, 1, 1, 4},
                                                                      {0x00120f, 1, 2, 2},
                                                                      {0x0080c2, 1, 1, 5},
                                                                      {0x0080c2, 1, 1, 6},
                                                                      {0x0080c2, 1, 3, 3},
                                                                      {0x0080c2, 7, 1, 1}}));
}

// ---- Port walks ----

using walk_fn = int (*)(uint32_t, uint32_t*, uint32_t*);

struct walk_case {
    const char* name;
    walk_fn walk;
    std::vector<uint32_t> ports;  // every port the walk yields, in order
};
std::ostream& operator<<(std::ostream& os, const walk_case& c) { return os << c.name; }

class PortWalk : public Model, public testing::WithParamInterface<walk_case> {};

// Ports: 2 (no neighbours), 3 (plain neighbour), 5 (addresses), 8 (unknown TLVs),
// 10 (org-def TLVs), 12 (everything, custom ifhandle).
topology walk_topology() {
    neighbor plain = make_neighbor(1);
    neighbor with_ma = make_neighbor(1);
    with_ma.man_addrs = {v4("10.0.0.1")};
    neighbor with_unknown = make_neighbor(2);
    with_unknown.unknown_tlvs = {{9, {}}};
    neighbor with_org = make_neighbor(1);
    with_org.org_def_tlvs = {{0x0080c2, 1, 1, {}}};
    topology t;
    t.ports = {make_port(10, {with_org}), make_port(2), make_port(5, {plain, with_ma}),
               make_port(3, {plain}), make_port(8, {plain, with_unknown}),
               make_port(12, {with_ma, with_unknown, with_org})};
    t.ports[3].neighbors[0].rem_index = 4;
    t.ports.back().neighbors[1].rem_index = 2;
    t.ports.back().neighbors[2].rem_index = 3;
    t.ports.back().ifhandle = 0xabc;
    return t;
}

TEST_P(PortWalk, NextPortNotBelowAskedThenNoPort) {
    serve(walk_topology());
    const walk_case& c = GetParam();
    // Walk as the shims do: from 0, then from each answer + 1.
    std::vector<uint32_t> seen;
    uint32_t next = 0, handle = 0;
    for (uint32_t p = 0;; p = next + 1) {
        ASSERT_EQ(0, c.walk(p, &next, &handle));
        if (next == LLDP_CLIENT_NO_PORT) break;
        ASSERT_GE(next, p);
        EXPECT_EQ(handle, next == 12 ? 0xabcu : 0x1000u + next);
        seen.push_back(next);
        ASSERT_LE(seen.size(), 10u);
    }
    EXPECT_EQ(seen, c.ports);
    // Asking for a port that qualifies answers that very port.
    for (uint32_t p : c.ports) {
        ASSERT_EQ(0, c.walk(p, &next, &handle));
        EXPECT_EQ(next, p);
    }
    // Beyond every port, including the largest numbers.
    for (uint32_t p : {13u, 2147483647u, 0xFFFFFFFFu}) {
        next = 1;
        ASSERT_EQ(0, c.walk(p, &next, &handle));
        EXPECT_EQ(next, LLDP_CLIENT_NO_PORT);
    }
    EXPECT_NE(0, c.walk(0, nullptr, &handle));
    EXPECT_NE(0, c.walk(0, &next, nullptr));
}

INSTANTIATE_TEST_SUITE_P(
    Model, PortWalk,
    testing::Values(walk_case{"Local", lldp_client_get_next_if_local, {2, 3, 5, 8, 10, 12}},
                    walk_case{"Remote", lldp_client_get_next_if_remote, {3, 5, 8, 10, 12}},
                    walk_case{"RemoteMa", lldp_client_get_next_if_remote_ma, {5, 12}},
                    walk_case{"RemoteUnknownTlv", lldp_client_get_next_if_remote_unknown_tlv, {8, 12}},
                    walk_case{"RemoteOrgDefTlv", lldp_client_get_next_if_remote_org_def_tlv, {10, 12}}),
    [](const testing::TestParamInfo<walk_case>& i) { return std::string(i.param.name); });

// ---- Neighbour iteration ----

TEST_F(Model, IterNeMarkerFirstThenNeighborsByIndex) {
    serve(walk_topology());
    collected c;
    ASSERT_EQ(0, iterate(0xabc, c));
    EXPECT_EQ(c.markers, (std::vector<bool>{true, false, false, false}));
    EXPECT_EQ(c.marker_ports, (std::vector<uint32_t>{12}));
    std::vector<uint32_t> order;
    for (auto* n : c.copies) order.push_back(n->mib->rem_index);
    EXPECT_EQ(order, (std::vector<uint32_t>{1, 2, 3}));

    // Listed 4 then 1 in the topology: handed out 1 then 4.
    topology t;
    t.ports = {make_port(1, {make_neighbor(4), make_neighbor(1)})};
    serve(t);
    collected d;
    ASSERT_EQ(0, iterate(0x1001, d));
    ASSERT_EQ(d.copies.size(), 2u);
    EXPECT_EQ(d.copies[0]->mib->rem_index, 1u);
    EXPECT_EQ(d.copies[1]->mib->rem_index, 4u);

    // A port without neighbours still gets its marker.
    serve(walk_topology());
    collected e;
    ASSERT_EQ(0, iterate(0x1002, e));
    EXPECT_EQ(e.markers, (std::vector<bool>{true}));
    EXPECT_EQ(e.marker_ports, (std::vector<uint32_t>{2}));
}

// ---- Local management addresses ----

struct ma_answer {
    int calls = 0;
    std::vector<std::string> chain;
};

std::string local_text(const lldp_addr_element* e) {
    if (e->addr_type) return addr_text(e);
    uint32_t host;
    std::memcpy(&host, e->addr, 4);  // local records: a host-order number
    uint32_t net = htonl(host);
    char buf[INET_ADDRSTRLEN];
    inet_ntop(AF_INET, &net, buf, sizeof buf);
    return std::string(buf) + "/" + std::to_string(e->if_id);
}

int take_ma(void* record, void* list, void* context) {
    auto* a = static_cast<ma_answer*>(context);
    EXPECT_EQ(list, &a->chain);
    ++a->calls;
    lldp_local_ma_td* copy = lldp_client_copy_local_ma_td(static_cast<lldp_local_ma_td*>(record));
    for (auto* e = copy->addrs; e; e = e->next) a->chain.push_back(local_text(e));
    lldp_client_free_local_ma_td(copy);
    return 0;
}

lldp_addr_element key4(const char* text) {
    lldp_addr_element k{};
    in_addr a;
    inet_pton(AF_INET, text, &a);
    uint32_t host = ntohl(a.s_addr);
    std::memcpy(k.addr, &host, 4);
    return k;
}
lldp_addr_element key6(const char* text) {
    lldp_addr_element k{};
    k.addr_type = 1;
    inet_pton(AF_INET6, text, k.addr);
    return k;
}

struct ma_case {
    const char* name;
    int exact;
    lldp_addr_element key;
    std::vector<std::string> chain;  // empty: no answer, no callback
};
std::ostream& operator<<(std::ostream& os, const ma_case& c) { return os << c.name; }

class LocalMa : public Model, public testing::WithParamInterface<ma_case> {};

// Record 0: 2001:db8:ffff::2, 192.0.2.7, 192.0.2.1; record 1: 10.255.0.2.  As
// numbers 10.255.0.2 comes first, though its bytes in host order would not.
TEST_P(LocalMa, ExactAndNext) {
    topology t;
    t.local_man_addrs = {{{v6("2001:db8:ffff::2", 10), v4("192.0.2.7", 11), v4("192.0.2.1", 12)}},
                         {{v4("10.255.0.2", 13)}}};
    serve(t);
    const ma_case& c = GetParam();
    ma_answer a;
    ASSERT_EQ(0, lldp_client_get_next_if_local_ma(c.exact, &c.key, take_ma, &a, &a.chain));
    EXPECT_EQ(a.calls, c.chain.empty() ? 0 : 1);
    EXPECT_EQ(a.chain, c.chain);
}

INSTANTIATE_TEST_SUITE_P(
    Model, LocalMa,
    testing::Values(
        ma_case{"NextFromZero", 0, key4("0.0.0.0"), {"10.255.0.2/13"}},
        ma_case{"NextFromEqual", 0, key4("10.255.0.2"), {"10.255.0.2/13"}},
        ma_case{"NextAfterFirst", 0, key4("10.255.0.3"),
                {"192.0.2.1/12", "192.0.2.7/11", "2001:db8:ffff::2/10"}},
        ma_case{"NextInsideRecord", 0, key4("192.0.2.2"), {"192.0.2.7/11", "2001:db8:ffff::2/10"}},
        ma_case{"NextFromIpv4PastAllIpv4", 0, key4("255.255.255.255"), {"2001:db8:ffff::2/10"}},
        ma_case{"NextFromIpv6Zero", 0, key6("::"), {"2001:db8:ffff::2/10"}},
        ma_case{"NextPastEnd", 0, key6("2001:db8:ffff::3"), {}},
        ma_case{"ExactIpv4", 1, key4("192.0.2.7"), {"192.0.2.7/11", "2001:db8:ffff::2/10"}},
        ma_case{"ExactIpv6", 1, key6("2001:db8:ffff::2"), {"2001:db8:ffff::2/10"}},
        ma_case{"ExactMiss", 1, key4("192.0.2.2"), {}},
        ma_case{"ExactIpv4BytesAsIpv6Miss", 1, key6("::c000:201"), {}}),
    [](const testing::TestParamInfo<ma_case>& i) { return std::string(i.param.name); });

// ---- Local system and enablement ----

TEST_F(Model, LocalSystemDataForThisNodeOnly) {
    topology t;
    t.node_id = 3;
    t.local = {7, "rtr.example.net", "rtr", "an edge router", 0x14, 0x10};
    serve(t);
    lldp_client_filter f{};
    f.kind = LLDP_FILTER_NODE;
    f.node_id = 3;
    lldp_local_system_data_bag bag{};
    ASSERT_EQ(0, lldp_client_get_local_system_data(&f, &bag));
    EXPECT_STREQ(bag.chassis_id, "rtr.example.net");
    EXPECT_EQ(bag.chassis_id_subtype, 7);
    EXPECT_STREQ(bag.sys_name, "rtr");
    EXPECT_STREQ(bag.sys_desc, "an edge router");
    EXPECT_EQ(bag.supported_caps, 0x14);
    EXPECT_EQ(bag.enabled_caps, 0x10);
    EXPECT_EQ(lldp_client_live_copies(), 1u);
    lldp_client_free_local_system_data_bag(&bag);
    EXPECT_EQ(lldp_client_live_copies(), 0u);

    f.node_id = 1;
    EXPECT_NE(0, lldp_client_get_local_system_data(&f, &bag));
    f.node_id = 3;
    f.kind = LLDP_FILTER_INTERFACE;
    EXPECT_NE(0, lldp_client_get_local_system_data(&f, &bag));
    EXPECT_NE(0, lldp_client_get_local_system_data(nullptr, &bag));
}

TEST_F(Model, EmbeddedDefaultServedUntilChosen) {
    lldp_client_use_default();
    lldp_client_filter f{};
    f.kind = LLDP_FILTER_NODE;
    f.node_id = 1;
    lldp_local_system_data_bag bag{};
    ASSERT_EQ(0, lldp_client_get_local_system_data(&f, &bag));
    EXPECT_STREQ(bag.chassis_id, "0011.2233.4455");  // dotted MAC text, as the local bag holds it
    EXPECT_EQ(bag.chassis_id_subtype, 4);
    lldp_client_free_local_system_data_bag(&bag);
}

struct enable_case {
    bool enabled, node_enabled;
};

TEST_F(Model, EnablementFollowsTopology) {
    for (enable_case c : {enable_case{true, true}, {true, false}, {false, true}, {false, false}}) {
        topology t;
        t.lldp_enabled = c.enabled;
        t.node_enabled = c.node_enabled;
        serve(t);
        uint32_t enabled = 7;
        ASSERT_EQ(0, lldp_client_get_enable(&enabled));
        EXPECT_EQ(enabled, c.enabled ? 1u : 0u);
        EXPECT_EQ(lldp_client_is_node_lldp_enabled(), c.node_enabled ? 1 : 0);
    }
    EXPECT_NE(0, lldp_client_get_enable(nullptr));

    char err[256];
    ASSERT_EQ(0, lldp_client_use_topology_file(LLDP_EXAMPLES_DIR "/lldp-disabled.json", err, sizeof err)) << err;
    uint32_t enabled = 7;
    ASSERT_EQ(0, lldp_client_get_enable(&enabled));
    EXPECT_EQ(enabled, 0u);
    EXPECT_EQ(lldp_client_is_node_lldp_enabled(), 0);
}

// ---- Failure injection ----

struct fault_case {
    const char* op;
    std::function<bool(int status)> fails;  // runs the operation armed; true when it failed as expected
};
std::ostream& operator<<(std::ostream& os, const fault_case& c) { return os << c.op; }

int never_called(void*, void*, void*) {
    ADD_FAILURE() << "callback of a failed operation";
    return 0;
}

std::vector<fault_case> fault_cases() {
    static neighbor_td nrec{};
    static lldp_interface_td irec{};
    static lldp_local_ma_td mrec{};
    static lldp_addr_element key{};
    auto walk = [](walk_fn fn) {
        return [fn](int status) {
            uint32_t next, handle;
            return fn(1, &next, &handle) == status;
        };
    };
    return {
        {"lldp_client_init", [](int s) { return lldp_client_init(nullptr) == s; }},
        {"lldp_client_get_enable", [](int s) { uint32_t e; return lldp_client_get_enable(&e) == s; }},
        // No status of its own: failing reads as "not enabled".
        {"lldp_client_is_node_lldp_enabled", [](int) { return lldp_client_is_node_lldp_enabled() == 0; }},
        {"lldp_client_get_local_system_data",
         [](int s) {
             lldp_client_filter f{};
             f.kind = LLDP_FILTER_NODE;
             f.node_id = 1;
             lldp_local_system_data_bag bag{};
             return lldp_client_get_local_system_data(&f, &bag) == s && !bag.chassis_id;
         }},
        {"lldp_client_get_next_if_local", walk(lldp_client_get_next_if_local)},
        {"lldp_client_get_next_if_remote", walk(lldp_client_get_next_if_remote)},
        {"lldp_client_get_next_if_remote_ma", walk(lldp_client_get_next_if_remote_ma)},
        {"lldp_client_get_next_if_remote_unknown_tlv", walk(lldp_client_get_next_if_remote_unknown_tlv)},
        {"lldp_client_get_next_if_remote_org_def_tlv", walk(lldp_client_get_next_if_remote_org_def_tlv)},
        {"lldp_client_iter_intf_running",
         [](int s) {
             lldp_client_filter f{};
             f.kind = LLDP_FILTER_INTERFACE;
             f.ifhandle = 0x1001;
             return lldp_client_iter_intf_running(&f, never_called, nullptr, 1, nullptr) == s;
         }},
        {"lldp_client_get_next_if_local_ma",
         [](int s) { return lldp_client_get_next_if_local_ma(0, &key, never_called, nullptr, nullptr) == s; }},
        {"lldp_client_iter_ne",
         [](int s) {
             lldp_client_filter f = neighbors_of(0x1001);
             return lldp_client_iter_ne(&f, 1, 1, never_called, nullptr, 1, nullptr) == s;
         }},
        {"lldp_client_copy_neighbor_td", [](int) { return !lldp_client_copy_neighbor_td(&nrec); }},
        {"lldp_client_copy_interface_td", [](int) { return !lldp_client_copy_interface_td(&irec); }},
        {"lldp_client_copy_local_ma_td", [](int) { return !lldp_client_copy_local_ma_td(&mrec); }},
        {"lldp_client_use_topology_text",
         [](int s) { return lldp_client_use_topology_text("{}", "x", nullptr, 0) == s; }},
        {"lldp_client_use_topology_file",
         [](int s) { return lldp_client_use_topology_file("/nonexistent", nullptr, 0) == s; }},
        // A refused switch keeps the topology being served.
        {"lldp_client_use_lldpd",
         [](int s) {
             return lldp_client_use_lldpd(nullptr, 0, nullptr, 0) == s &&
                    lldp_client_current_topology(nullptr) != nullptr;
         }},
        // Void operations are counted only.
        {"lldp_client_term", [](int) { lldp_client_term(); return true; }},
        {"lldp_client_free_neighbor_td", [](int) { lldp_client_free_neighbor_td(nullptr); return true; }},
        {"lldp_client_free_interface_td", [](int) { lldp_client_free_interface_td(nullptr); return true; }},
        {"lldp_client_free_local_ma_td", [](int) { lldp_client_free_local_ma_td(nullptr); return true; }},
        {"lldp_client_free_local_system_data_bag",
         [](int) { lldp_client_free_local_system_data_bag(nullptr); return true; }},
    };
}

class Fault : public Model, public testing::WithParamInterface<fault_case> {};

TEST_P(Fault, EveryOperationCountsAndFailsWhenArmed) {
    serve(walk_topology());
    const fault_case& c = GetParam();
    platform_fault_fail_nth(c.op, 1, 77);
    EXPECT_TRUE(c.fails(77));
    EXPECT_EQ(platform_fault_calls(c.op), 1u);
    // Armed once: the next call is not refused by the injection.
    platform_fault_fail_always(c.op, 0);
    EXPECT_EQ(platform_fault_calls(c.op), 1u);
}

INSTANTIATE_TEST_SUITE_P(Model, Fault, testing::ValuesIn(fault_cases()),
                         [](const testing::TestParamInfo<fault_case>& i) {
                             return std::string(i.param.op).substr(std::strlen("lldp_client_"));
                         });

}  // namespace
