// Topology files: what is accepted, what is refused and how the refusal reads.
#include <gtest/gtest.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <string>

#include "lldp_client_model.h"
#include "platform_fault.h"

using lldp_model::parse_topology;

namespace {

// A minimal valid file with one neighbour; cases splice their fragment in.
std::string with_neighbor(const std::string& extra) {
    return R"({"local": {"chassis_id": "0011.2233.4455"}, "ports": [{"port_num": 1, "port_id": "p1",
        "neighbors": [{"rem_index": 1, "chassis_id": "c", "port_id": "p")" +
           extra + "}]}]}";
}
std::string with_port(const std::string& extra) {
    return R"({"local": {"chassis_id": "x"}, "ports": [{"port_num": 1, "port_id": "p1")" + extra + "}]}";
}

struct bad_case {
    const char* name;
    std::string json;
    const char* fragment;  // expected in the message, after "t.json: "
};

std::ostream& operator<<(std::ostream& os, const bad_case& c) { return os << c.name; }

class RefusedTopology : public testing::TestWithParam<bad_case> {};

TEST_P(RefusedTopology, NamesFilePathAndProblem) {
    std::string err;
    auto t = parse_topology(GetParam().json, "t.json", &err);
    EXPECT_EQ(t, nullptr);
    EXPECT_EQ(err.rfind("t.json: ", 0), 0u) << err;
    EXPECT_NE(err.find(GetParam().fragment), std::string::npos) << err;
}

INSTANTIATE_TEST_SUITE_P(
    Loader, RefusedTopology,
    testing::Values(
        bad_case{"NotJson", "{", "invalid JSON"},
        bad_case{"TopNotObject", "[]", "top level: expected an object"},
        bad_case{"MissingLocal", "{}", "top level: missing required key \"local\""},
        bad_case{"MissingChassis", R"({"local": {}})", "local: missing required key \"chassis_id\""},
        bad_case{"UnknownTopKey", R"({"local": {"chassis_id": "x"}, "portz": []})", "portz: unknown key"},
        bad_case{"DuplicateKey", R"({"local": {"chassis_id": "x", "sys_name": "a", "sys_name": "b"}})",
                 "local.sys_name: duplicate key"},
        bad_case{"DuplicateKeyInArray", with_neighbor(R"(, "man_addrs": [{"addr": "1.2.3.4"},
                 {"addr": "1.2.3.5", "if_id": 1, "if_id": 2}])"),
                 "ports[0].neighbors[0].man_addrs[1].if_id: duplicate key"},
        bad_case{"RouterTypeNegative", R"({"router_type": -1, "local": {"chassis_id": "x"}})",
                 "router_type: out of range 0..4294967295: -1"},
        bad_case{"NodeIdTooBig", R"({"node_id": 4294967296, "local": {"chassis_id": "x"}})",
                 "node_id: out of range"},
        bad_case{"EnabledNotBool", R"({"lldp": {"enabled": 1}, "local": {"chassis_id": "x"}})",
                 "lldp.enabled: expected true or false"},
        bad_case{"LocalCapsTooBig", R"({"local": {"chassis_id": "x", "supported_caps": 65536}})",
                 "local.supported_caps: out of range 0..65535"},
        bad_case{"LocalSubtypeFloat", R"({"local": {"chassis_id": "x", "chassis_id_subtype": 4.5}})",
                 "local.chassis_id_subtype: expected an integer in 0..255, got a fractional number"},
        bad_case{"LocalTextNul", R"({"local": {"chassis_id": {"hex": "4100"}}})",
                 "local.chassis_id: text cannot hold a NUL byte"},
        bad_case{"LocalAddrsEmpty", R"({"local": {"chassis_id": "x"}, "local_man_addrs": [{"addrs": []}]})",
                 "local_man_addrs[0].addrs: expected a non-empty array"},
        bad_case{"LocalAddrMalformed",
                 R"({"local": {"chassis_id": "x"}, "local_man_addrs": [{"addrs": [{"addr": "192.0.2"}]}]})",
                 "local_man_addrs[0].addrs[0].addr: malformed address \"192.0.2\""},
        bad_case{"PortsNotArray", R"({"local": {"chassis_id": "x"}, "ports": {}})", "ports: expected an array"},
        bad_case{"PortNumZero", R"({"local": {"chassis_id": "x"}, "ports": [{"port_num": 0, "port_id": "a"}]})",
                 "ports[0].port_num: out of range 1..2147483647: 0"},
        bad_case{"PortNumTooBig",
                 R"({"local": {"chassis_id": "x"}, "ports": [{"port_num": 2147483648, "port_id": "a"}]})",
                 "ports[0].port_num: out of range 1..2147483647"},
        bad_case{"PortMissingId", R"({"local": {"chassis_id": "x"}, "ports": [{"port_num": 1}]})",
                 "ports[0]: missing required key \"port_id\""},
        bad_case{"DuplicatePort", R"({"local": {"chassis_id": "x"}, "ports": [{"port_num": 2, "port_id": "a"},
                 {"port_num": 3, "port_id": "b"}, {"port_num": 2, "port_id": "c"}]})",
                 "ports[2].port_num: duplicate port number 2 (also ports[0])"},
        bad_case{"DuplicateIfhandle", R"({"local": {"chassis_id": "x"}, "ports": [{"port_num": 2, "port_id": "a"},
                 {"port_num": 3, "port_id": "b", "ifhandle": 4098}]})",
                 "ports[1].ifhandle: duplicate ifhandle 4098 (also ports[0])"},
        bad_case{"IfhandleZero", with_port(R"(, "ifhandle": 0)"), "ports[0].ifhandle: out of range 1..4294967295"},
        bad_case{"UnknownPortKey", with_port(R"(, "neighbours": [])"), "ports[0].neighbours: unknown key"},
        bad_case{"RemIndexMissing", with_port(R"(, "neighbors": [{"chassis_id": "c", "port_id": "p"}])"),
                 "ports[0].neighbors[0]: missing required key \"rem_index\""},
        bad_case{"RemIndexZero", with_port(R"(, "neighbors": [{"rem_index": 0, "chassis_id": "c", "port_id": "p"}])"),
                 "ports[0].neighbors[0].rem_index: out of range 1..2147483647: 0"},
        bad_case{"DuplicateRemIndex", with_port(R"(, "neighbors": [
                 {"rem_index": 4, "chassis_id": "c", "port_id": "p"},
                 {"rem_index": 4, "chassis_id": "d", "port_id": "q"}])"),
                 "ports[0].neighbors[1].rem_index: duplicate remote index 4 on port 1 (also ports[0].neighbors[0])"},
        bad_case{"TimeMarkNegative", with_neighbor(R"(, "time_mark": -5)"),
                 "ports[0].neighbors[0].time_mark: out of range 0..4294967295: -5"},
        bad_case{"ChassisSubtypeTooBig", with_neighbor(R"(, "chassis_id_subtype": 256)"),
                 "ports[0].neighbors[0].chassis_id_subtype: out of range 0..255: 256"},
        bad_case{"PortSubtypeString", with_neighbor(R"(, "port_id_subtype": "3")"),
                 "ports[0].neighbors[0].port_id_subtype: expected an integer in 0..255, got a string"},
        bad_case{"EnabledCapsTooBig", with_neighbor(R"(, "enabled_caps": 70000)"),
                 "ports[0].neighbors[0].enabled_caps: out of range 0..65535"},
        bad_case{"SysNameTooLong", with_neighbor(R"(, "sys_name": ")" + std::string(256, 'n') + "\""),
                 "ports[0].neighbors[0].sys_name: length 256 above 255 bytes"},
        bad_case{"ChassisEmpty",
                 with_port(R"(, "neighbors": [{"rem_index": 1, "chassis_id": "", "port_id": "p"}])"),
                 "ports[0].neighbors[0].chassis_id: length 0 out of range 1..255 bytes"},
        bad_case{"ChassisWrongType",
                 with_port(R"(, "neighbors": [{"rem_index": 1, "chassis_id": 5, "port_id": "p"}])"),
                 "ports[0].neighbors[0].chassis_id: expected a string or {\"hex\": \"...\"}, got a number"},
        bad_case{"HexOdd", with_port(R"(, "neighbors": [{"rem_index": 1, "chassis_id": {"hex": "001"}, "port_id": "p"}])"),
                 "ports[0].neighbors[0].chassis_id.hex: bad hex: odd number of digits"},
        bad_case{"HexNotDigit",
                 with_port(R"(, "neighbors": [{"rem_index": 1, "chassis_id": {"hex": "00zz"}, "port_id": "p"}])"),
                 "ports[0].neighbors[0].chassis_id.hex: bad hex: 'z' is not a hex digit"},
        bad_case{"HexExtraKey",
                 with_port(R"(, "neighbors": [{"rem_index": 1, "chassis_id": {"hex": "00", "b64": ""}, "port_id": "p"}])"),
                 "ports[0].neighbors[0].chassis_id.b64: unknown key"},
        bad_case{"AddrMalformed", with_neighbor(R"(, "man_addrs": [{"addr": "10.0.0.1"}, {"addr": "10.0.0.1", "if_id": 1},
                 {"addr": "2001:db8::g"}])"),
                 "ports[0].neighbors[0].man_addrs[2].addr: malformed address \"2001:db8::g\""},
        bad_case{"AddrMissing", with_neighbor(R"(, "man_addrs": [{"if_id": 1}])"),
                 "ports[0].neighbors[0].man_addrs[0]: missing required key \"addr\""},
        bad_case{"AddrIfIdNegative", with_neighbor(R"(, "man_addrs": [{"addr": "10.0.0.1", "if_id": -1}])"),
                 "ports[0].neighbors[0].man_addrs[0].if_id: out of range 0..4294967295: -1"},
        bad_case{"AddrSubtypeZero", with_neighbor(R"(, "man_addrs": [{"addr": "10.0.0.1", "subtype": 0}])"),
                 "ports[0].neighbors[0].man_addrs[0].subtype: out of range 1..255: 0"},
        bad_case{"UnknownTlvType", with_neighbor(R"(, "unknown_tlvs": [{"type": 256}])"),
                 "ports[0].neighbors[0].unknown_tlvs[0].type: out of range 0..255: 256"},
        bad_case{"UnknownTlvTypeMissing", with_neighbor(R"(, "unknown_tlvs": [{"info": "a"}])"),
                 "ports[0].neighbors[0].unknown_tlvs[0]: missing required key \"type\""},
        bad_case{"UnknownTlvInfoTooLong",
                 with_neighbor(R"(, "unknown_tlvs": [{"type": 9, "info": ")" + std::string(512, 'i') + "\"}]"),
                 "ports[0].neighbors[0].unknown_tlvs[0].info: length 512 out of range 0..511 bytes"},
        bad_case{"OrgInfoTooLong",
                 with_neighbor(R"(, "org_def_tlvs": [{"oui": "00:80:c2", "subtype": 1, "index": 1, "info": ")" +
                               std::string(508, 'i') + "\"}]"),
                 "ports[0].neighbors[0].org_def_tlvs[0].info: length 508 out of range 0..507 bytes"},
        bad_case{"OrgOuiMalformed", with_neighbor(R"(, "org_def_tlvs": [{"oui": "00:80", "subtype": 1, "index": 1}])"),
                 "ports[0].neighbors[0].org_def_tlvs[0].oui: malformed OUI \"00:80\""},
        bad_case{"OrgOuiTooBig", with_neighbor(R"(, "org_def_tlvs": [{"oui": 16777216, "subtype": 1, "index": 1}])"),
                 "ports[0].neighbors[0].org_def_tlvs[0].oui: out of range 0..16777215"},
        bad_case{"OrgIndexZero", with_neighbor(R"(, "org_def_tlvs": [{"oui": "00:80:c2", "subtype": 1, "index": 0}])"),
                 "ports[0].neighbors[0].org_def_tlvs[0].index: out of range 1..2147483647: 0"},
        bad_case{"OrgSubtypeMissing", with_neighbor(R"(, "org_def_tlvs": [{"oui": "00:80:c2", "index": 1}])"),
                 "ports[0].neighbors[0].org_def_tlvs[0]: missing required key \"subtype\""},
        bad_case{"OrgUnknownKey",
                 with_neighbor(R"(, "org_def_tlvs": [{"oui": "00:80:c2", "subtype": 1, "index": 1, "len": 2}])"),
                 "ports[0].neighbors[0].org_def_tlvs[0].len: unknown key"}),
    [](const testing::TestParamInfo<bad_case>& i) { return std::string(i.param.name); });

std::vector<uint8_t> bytes(const std::string& s) { return {s.begin(), s.end()}; }

TEST(TopologyJson, ByteFieldForms) {
    std::string err;
    auto t = parse_topology(with_port(R"(, "neighbors": [
        {"rem_index": 1, "chassis_id": "0011.2233.4455", "port_id": {"hex": "00:11 22-33aA"},
         "unknown_tlvs": [{"type": 9, "info": {"hex": ""}}, {"type": 10, "info": "a\u0000b"}]}])"),
                            "t.json", &err);
    ASSERT_NE(t, nullptr) << err;
    const auto& n = t->ports[0].neighbors[0];
    EXPECT_EQ(n.chassis_id, bytes("0011.2233.4455"));  // MAC text stays its 14 characters
    EXPECT_EQ(n.port_id, (std::vector<uint8_t>{0x00, 0x11, 0x22, 0x33, 0xaa}));
    EXPECT_TRUE(n.unknown_tlvs[0].info.empty());
    EXPECT_EQ(n.unknown_tlvs[1].info, (std::vector<uint8_t>{'a', 0, 'b'}));
}

TEST(TopologyJson, DefaultsOfOptionalKeys) {
    std::string err;
    auto t = parse_topology(with_neighbor(R"(, "man_addrs": [{"addr": "2001:db8::5"}, {"addr": "10.1.2.3"}],
        "org_def_tlvs": [{"oui": "0080C2", "subtype": 3, "index": 2}])"),
                            "t.json", &err);
    ASSERT_NE(t, nullptr) << err;
    EXPECT_EQ(t->router_type, 25u);
    EXPECT_EQ(t->node_id, 1u);
    EXPECT_TRUE(t->lldp_enabled);
    EXPECT_TRUE(t->node_enabled);
    EXPECT_EQ(t->local.chassis_id_subtype, 4);
    EXPECT_EQ(t->ports[0].ifhandle, 0x1001u);
    EXPECT_EQ(t->ports[0].port_id_subtype, 5);
    const auto& n = t->ports[0].neighbors[0];
    EXPECT_EQ(n.time_mark, 0u);
    EXPECT_EQ(n.chassis_id_subtype, 4);
    EXPECT_EQ(n.port_id_subtype, 5);
    ASSERT_EQ(n.man_addrs.size(), 2u);
    EXPECT_TRUE(n.man_addrs[0].ipv6);
    EXPECT_EQ(n.man_addrs[0].subtype, 2);
    EXPECT_FALSE(n.man_addrs[1].ipv6);
    EXPECT_EQ(n.man_addrs[1].subtype, 1);
    EXPECT_EQ(n.man_addrs[1].octets[0], 10);
    EXPECT_EQ(n.man_addrs[1].octets[3], 3);
    EXPECT_EQ(n.org_def_tlvs[0].oui, 0x0080c2u);
}

TEST(TopologyJson, FullRangesAccepted) {
    std::string err;
    auto t = parse_topology(R"({"router_type": 4294967295, "node_id": 0,
        "local": {"chassis_id": "x", "supported_caps": 65535},
        "ports": [{"port_num": 2147483647, "ifhandle": 4294967295, "port_id": "p", "neighbors": [
          {"rem_index": 2147483647, "time_mark": 4294967295, "chassis_id": {"hex": ")" +
                                std::string(510, 'a') + R"("}, "port_id": "p",
           "man_addrs": [{"addr": "0.0.0.0", "if_id": 4294967295, "subtype": 255}],
           "unknown_tlvs": [{"type": 0}, {"type": 255}],
           "org_def_tlvs": [{"oui": "ff-ff-ff", "subtype": 255, "index": 2147483647}]}]}]})",
                            "t.json", &err);
    ASSERT_NE(t, nullptr) << err;
    EXPECT_EQ(t->ports[0].neighbors[0].chassis_id.size(), 255u);
    EXPECT_EQ(t->ports[0].neighbors[0].org_def_tlvs[0].oui, 0xffffffu);
}

TEST(TopologyJson, FileErrorsNameTheFile) {
    std::string err;
    EXPECT_EQ(lldp_model::load_topology_file("/nonexistent/x.json", &err), nullptr);
    EXPECT_EQ(err.rfind("/nonexistent/x.json: cannot read", 0), 0u) << err;
}

// Every shipped example loads, and the embedded default is examples/default.json.
TEST(TopologyJson, EveryExampleLoads) {
    int seen = 0;
    for (const auto& entry : std::filesystem::directory_iterator(LLDP_EXAMPLES_DIR)) {
        if (entry.path().extension() != ".json") continue;
        std::string err;
        EXPECT_NE(lldp_model::load_topology_file(entry.path().string(), &err), nullptr) << err;
        ++seen;
    }
    EXPECT_GE(seen, 5);
    std::ifstream in(std::string(LLDP_EXAMPLES_DIR) + "/default.json");
    std::string file((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
    EXPECT_EQ(file, lldp_model::default_topology_text());
    std::string err;
    EXPECT_NE(parse_topology(lldp_model::default_topology_text(), "default", &err), nullptr) << err;
}

// A refused file leaves the previous backend serving.
TEST(TopologyJson, BadFileChangesNothing) {
    platform_fault_reset();
    char err[256];
    ASSERT_EQ(0, lldp_client_use_topology_text(R"({"node_id": 7, "local": {"chassis_id": "x"}})", "good", err,
                                               sizeof err))
        << err;
    std::string path = testing::TempDir() + "/bad_topology.json";
    {
        std::ofstream out(path);
        out << R"({"node_id": 9, "local": {"chassis_id": "x"}, "ports": [{"port_num": 1}]})";
    }
    EXPECT_NE(0, lldp_client_use_topology_file(path.c_str(), err, sizeof err));
    EXPECT_EQ(std::string(err), path + ": ports[0]: missing required key \"port_id\"");
    EXPECT_NE(0, lldp_client_use_topology_text("{", "inline", err, sizeof err));
    EXPECT_EQ(std::string(err).rfind("inline: invalid JSON", 0), 0u) << err;
    EXPECT_EQ(lldp_client_current_topology(nullptr)->node_id, 7u);

    // A tiny buffer still gets a terminated prefix.
    char small[8];
    EXPECT_NE(0, lldp_client_use_topology_text("{", "inline", small, sizeof small));
    EXPECT_STREQ(small, "inline:");
    std::remove(path.c_str());
    lldp_client_use_default();
}

}  // namespace
