// Topology files: what is accepted, what is refused and how the refusal reads.
#include <gtest/gtest.h>

#include <cstdio>
#include <fstream>
#include <string>

#include "lldp_client_model.h"

using lldp_model::parse_topology;

namespace {

struct bad_case {
    std::string name, fragment, json;
};
std::ostream& operator<<(std::ostream& os, const bad_case& c) { return os << c.name; }

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

TEST(TopologyJson, RefusedCasesFileRead) { EXPECT_GE(bad_cases().size(), 40u); }

INSTANTIATE_TEST_SUITE_P(Loader, RefusedTopology, testing::ValuesIn(bad_cases()),
                         [](const testing::TestParamInfo<bad_case>& i) { return i.param.name; });

TEST(TopologyJson, HexFormsAndFullRangesAccepted) {
    std::string err;
    auto t = parse_topology(R"({"router_type": 4294967295, "node_id": 0,
        "local": {"chassis_id": "x", "supported_caps": 65535},
        "ports": [{"port_num": 2147483647, "ifhandle": 4294967295, "port_id": "p", "neighbors": [
          {"rem_index": 2147483647, "time_mark": 4294967295, "chassis_id": {"hex": ")" +
                                std::string(510, 'a') + R"("}, "port_id": {"hex": "00:11 22-33aA"},
           "man_addrs": [{"addr": "0.0.0.0", "if_id": 4294967295, "subtype": 255}],
           "unknown_tlvs": [{"type": 0, "info": {"hex": ""}}, {"type": 255, "info": "a\u0000b"}],
           "org_def_tlvs": [{"oui": "ff-ff-ff", "subtype": 255, "index": 2147483647}]}]}]})",
                            "t.json", &err);
    ASSERT_NE(t, nullptr) << err;
    const auto& n = t->ports[0].neighbors[0];
    EXPECT_EQ(n.chassis_id, std::vector<uint8_t>(255, 0xaa));
    EXPECT_EQ(n.port_id, (std::vector<uint8_t>{0x00, 0x11, 0x22, 0x33, 0xaa}));
    EXPECT_TRUE(n.unknown_tlvs[0].info.empty());
    EXPECT_EQ(n.unknown_tlvs[1].info, (std::vector<uint8_t>{'a', 0, 'b'}));
    EXPECT_EQ(n.org_def_tlvs[0].oui, 0xffffffu);
}

// Every example loads in the reference walk tests; the embedded default is examples/default.json.
TEST(TopologyJson, EmbeddedDefaultIsTheExample) {
    std::ifstream in(std::string(LLDP_EXAMPLES_DIR) + "/default.json");
    EXPECT_EQ(std::string(std::istreambuf_iterator<char>(in), {}), lldp_model::default_topology_text());
}

// A refused file leaves the previous backend serving; the message names the file.
TEST(TopologyJson, BadFileChangesNothing) {
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
    lldp_client_use_default();
}

}  // namespace
