// Topology files and switching backends: what is accepted and served as
// written, what is refused and how the refusal reads, and that a refused
// switch leaves the previous backend serving.
#include <gtest/gtest.h>

#include <atomic>
#include <cstdio>
#include <fstream>
#include <string>
#include <thread>

#include "lldp_client_model.h"
#include "platform_fault.h"

using lldp_model::parse_topology;

namespace {

struct bad_case {
    std::string name, fragment, json;
};
std::ostream& operator<<(std::ostream& os, const bad_case& c) { return os << c.name; }

// An unreadable file generates no cases, which GoogleTest reports as a failure.
std::vector<bad_case> bad_cases() {
    std::vector<bad_case> cases;
    std::ifstream in(LLDP_CLIENT_TESTS_DIR "/refused_topologies.txt");
    for (std::string line; std::getline(in, line);) {
        if (line.empty() || line[0] == '#') continue;
        size_t a = line.find('\t'), b = line.find('\t', a + 1);
        cases.push_back({line.substr(0, a), line.substr(a + 1, b - a - 1), line.substr(b + 1)});
    }
    return cases;
}

class RefusedTopology : public testing::TestWithParam<bad_case> {};

TEST_P(RefusedTopology, NamesFilePathAndProblem) {
    std::string err;
    EXPECT_EQ(parse_topology(GetParam().json, "t.json", &err), nullptr);
    EXPECT_EQ(err.rfind("t.json: " + GetParam().fragment, 0), 0u) << err;
}

INSTANTIATE_TEST_SUITE_P(Loader, RefusedTopology, testing::ValuesIn(bad_cases()),
                         [](const testing::TestParamInfo<bad_case>& i) { return i.param.name; });

class Backend : public testing::Test {
protected:
    void SetUp() override { platform_fault_reset(); }
    void TearDown() override {
        lldp_client_use_default();
        platform_fault_reset();
    }
};

int collect_rem_index(void* record, void* seen, void*) {  // 0 for a port's marker
    auto* rec = static_cast<neighbor_td*>(record);
    static_cast<std::vector<uint32_t>*>(seen)->push_back(rec->port_marker ? 0 : rec->mib->rem_index);
    return 0;
}

// An lldp_org_ext record in one line: absent TLVs as "-", flags as 0/1,
// protocol identities in hex.
int describe_org_ext(void* record, void* lines, void*) {
    const auto& r = *static_cast<const lldp_org_ext*>(record);
    auto hex = [](const uint8_t* b, size_t n) {
        std::string s;
        char d[3];
        for (size_t i = 0; i < n; ++i) std::snprintf(d, sizeof d, "%02x", b[i]), s += d;
        return s;
    };
    auto n = [](auto v) { return std::to_string(v); };
    std::string s = "port " + n(r.port_num) + " rem " + n(r.rem_index) + " mark " + n(r.time_mark) + " | pvid " +
                    (r.has_port_vlan_id ? n(r.port_vlan_id) : "-") + " tx " + n(r.port_vlan_tx) + " | ppvids";
    for (size_t i = 0; i < r.ppvid_count; ++i) {
        const lldp_dot1_ppvid& p = r.ppvids[i];
        s += " " + n(p.vid) + "/" + n(p.supported) + n(p.enabled) + n(p.tx_enable);
    }
    s += " | vlans";
    for (size_t i = 0; i < r.vlan_name_count; ++i) {
        const lldp_dot1_vlan_name& v = r.vlan_names[i];
        s += " " + n(v.vid) + "/'" + std::string(reinterpret_cast<const char*>(v.name), v.name_len) + "'/" +
             n(v.tx_enable);
    }
    s += " | pis";
    for (size_t i = 0; i < r.protocol_count; ++i)
        s += " " + hex(r.protocols[i].id, r.protocols[i].id_len) + "/" + n(r.protocols[i].tx_enable);
    s += " | mac/phy " + (r.has_mac_phy ? n(r.autoneg_supported) + n(r.autoneg_enabled) + " " +
                                              n(r.autoneg_advertised) + " " + n(r.mau_type)
                                        : "-");
    s += " | power " + (r.has_power ? n(r.power_port_class) + " " + n(r.power_mdi_supported) +
                                          n(r.power_mdi_enabled) + n(r.power_pair_control) + " " +
                                          n(r.power_pairs) + " " + n(r.power_class)
                                    : "-");
    s += " | agg " + (r.has_link_agg ? n(r.link_agg_capable) + n(r.link_agg_enabled) + " " + n(r.link_agg_port_id)
                                     : "-");
    s += " | mfs " + (r.has_max_frame_size ? n(r.max_frame_size) : "-") + " | tx " + n(r.dot3_tlvs_tx);
    static_cast<std::vector<std::string>*>(lines)->push_back(s);
    return 0;
}

// Hex with separators and either case, a 255-octet identifier, text holding
// a NUL, an OUI as text; a custom ifhandle reaches the port walk and the
// neighbour filter (the random topologies of the model-based test keep the
// default handles).  Its configuration and counters, at the ends of their
// ranges, are only loaded here: the model-based test checks such values.
TEST_F(Backend, AcceptedFileIsServedAsWritten) {
    char err[256] = "";
    ASSERT_EQ(0, lldp_client_use_topology_file(LLDP_CLIENT_TESTS_DIR "/accepted_topology.json", err, sizeof err))
        << err;
    const auto& n = lldp_client_current_topology(nullptr)->ports[0].neighbors[0];
    EXPECT_EQ(n.chassis_id, std::vector<uint8_t>(255, 0xaa));
    EXPECT_EQ(n.port_id, (std::vector<uint8_t>{0x00, 0x11, 0x22, 0x33, 0xaa}));
    EXPECT_TRUE(n.unknown_tlvs[0].info.empty());
    EXPECT_EQ(n.unknown_tlvs[1].info, (std::vector<uint8_t>{'a', 0, 'b'}));
    EXPECT_EQ(n.org_def_tlvs[0].oui, 0xffffffu);

    uint32_t next = 0, handle = 0;
    ASSERT_EQ(0, lldp_client_get_next_if_local(3, &next, &handle));
    EXPECT_EQ(next, 5u);
    EXPECT_EQ(handle, 0xffffffffu);
    lldp_client_filter f{};
    f.kind = LLDP_FILTER_NEIGHBORS, f.ifhandle = 0xffffffff;
    std::vector<uint32_t> seen;
    EXPECT_EQ(0, lldp_client_iter_ne(&f, 1, 1, collect_rem_index, &seen, 1, nullptr));
    EXPECT_EQ(seen, (std::vector<uint32_t>{0, 3}));

    // 802.1 and 802.3 data: by vid, the first of equal vids; a neighbour sends no tx flags.
    std::vector<std::string> local, remote;
    ASSERT_EQ(0, lldp_client_iter_local_org_ext(describe_org_ext, &local));
    EXPECT_EQ(local, (std::vector<std::string>{
                         "port 2 rem 0 mark 0 | pvid - tx 1 | ppvids | vlans | pis | mac/phy - | power - | agg - "
                         "| mfs - | tx 15",
                         "port 5 rem 0 mark 0 | pvid 4094 tx 0 | ppvids 0/011 20/100 | vlans 1/''/0 4094/'" +
                             std::string(255, 'n') +
                             "'/1 | pis 888e/0 78/1 | mac/phy 10 65535 2147483647 | power 2 001 2 5 "
                             "| agg 01 2147483647 | mfs 65535 | tx 0"}));
    ASSERT_EQ(0, lldp_client_iter_remote_org_ext(describe_org_ext, &remote));
    EXPECT_EQ(remote, (std::vector<std::string>{"port 5 rem 3 mark 77 | pvid 0 tx 0 | ppvids 4094/110 | "
                                                "vlans 7/'AB'/0 | pis ff/0 | mac/phy 00 0 0 | power 1 000 1 1 "
                                                "| agg 10 0 | mfs 0 | tx 0"}));
}

// A refetch that finds other 802.1 or 802.3 data (here a VLAN name) is a change.
TEST(SameTopology, ComparesOrgExtData) {
    const char* text = R"({"local": {"chassis_id": "x"}, "ports": [{"port_num": 1, "port_id": "p1",
        "dot1": {"vlan_names": [{"vid": 5, "name": "%s"}]},
        "neighbors": [{"rem_index": 1, "chassis_id": "c", "port_id": "p", "dot3": {"power": {"class": %d}}}]}]})";
    auto topo = [&](const char* name, int power_class) {
        char buf[512];
        std::snprintf(buf, sizeof buf, text, name, power_class);
        return parse_topology(buf, "t", nullptr);
    };
    EXPECT_TRUE(lldp_model::same_topology(*topo("a", 1), *topo("a", 1)));
    EXPECT_FALSE(lldp_model::same_topology(*topo("a", 1), *topo("b", 1)));
    EXPECT_TRUE(lldp_model::same_neighbors(*topo("a", 1), *topo("b", 1)));
    EXPECT_FALSE(lldp_model::same_neighbors(*topo("a", 1), *topo("a", 2)));
}

lldp_client_generation generation() {
    lldp_client_generation g{};
    EXPECT_EQ(0, lldp_client_get_generation(&g));
    return g;
}

void serve(const char* json) {
    char err[256];
    ASSERT_EQ(0, lldp_client_use_topology_text(json, "t", err, sizeof err)) << err;
}

// Readers on other threads never see the counts go back, and a snapshot
// served to several threads at once counts once.
TEST_F(Backend, ChangeCountsAreThreadSafe) {
    const std::string texts[] = {R"({"local": {"chassis_id": "a"}})", R"({"local": {"chassis_id": "b"}})"};
    serve(texts[0].c_str());
    const uint32_t start = generation().data;
    std::atomic<bool> done{false};
    std::vector<std::thread> readers;
    for (int i = 0; i < 3; ++i)
        readers.emplace_back([&] {
            uint32_t last = start;
            while (!done) {
                uint32_t now = generation().data;
                EXPECT_GE(now - start, last - start);
                last = now;
            }
        });
    constexpr uint32_t switches = 300;
    for (uint32_t i = 1; i <= switches; ++i) {
        serve(texts[i % 2].c_str());
        generation();  // every snapshot is served at least once
    }
    done = true;
    for (auto& t : readers) t.join();
    EXPECT_EQ(generation().data - start, switches);
}

// A refused file leaves the previous backend serving; the message names the file.
TEST_F(Backend, BadFileChangesNothing) {
    char err[256];
    ASSERT_EQ(0, lldp_client_use_topology_text(R"({"node_id": 7, "local": {"chassis_id": "x"}})", "good", err,
                                               sizeof err))
        << err;
    std::string path = testing::TempDir() + "/bad_topology.json";
    std::ofstream(path) << R"({"node_id": 9, "local": {"chassis_id": "x"}, "ports": [{"port_num": 1}]})";
    EXPECT_NE(0, lldp_client_use_topology_file(path.c_str(), err, sizeof err));
    EXPECT_EQ(std::string(err), path + ": ports[0]: missing required key \"port_id\"");
    EXPECT_NE(0, lldp_client_use_topology_file("/nonexistent/x.json", err, sizeof err));
    EXPECT_EQ(std::string(err).rfind("/nonexistent/x.json: cannot read", 0), 0u) << err;
    EXPECT_EQ(lldp_client_current_topology(nullptr)->node_id, 7u);
    char small[8];  // a tiny buffer still gets a terminated prefix
    EXPECT_NE(0, lldp_client_use_topology_text("{", "inline", small, sizeof small));
    EXPECT_STREQ(small, "inline:");
    std::remove(path.c_str());
}

}  // namespace
