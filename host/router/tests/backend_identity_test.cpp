// A topology chosen for the walker or the agent also sets the platform
// identity the module reads (router type and node), as the README's topology
// table says: local system data only for the topology's node, and on router
// types 7, 8 and 18 the tables are served whether LLDP is enabled or not.
#include <gtest/gtest.h>

#include <unistd.h>

#include <fstream>
#include <optional>
#include <string>

#include "backend.h"
#include "lldp_client_model.h"
#include "lldpmib.h"
#include "mib_router.h"
#include "platform_sys.h"

namespace {

struct IdentityCase {
    const char* name;
    const char* json;  // null: nothing chosen, the embedded default
    uint32_t router_type;
    uint32_t node_id;
    const char* oid;  // a GET that must (or must not) answer
    bool served;
};

class BackendIdentity : public ::testing::TestWithParam<IdentityCase> {
protected:
    void TearDown() override {
        platform_sys_reset_for_tests();
        if (!path_.empty()) unlink(path_.c_str());
    }
    std::string path_;
};

TEST_P(BackendIdentity, TopologySetsIdentityBeforeTheModuleStarts) {
    const IdentityCase& c = GetParam();
    // Snapshots outlive a stop; a clock far from the last case's makes them stale.
    static time_t clock = 2000000;
    clock += 100;
    platform_set_fake_time(clock);
    platform_set_identity(7, 99);  // whatever was there before
    lldp_client_use_default();     // as in a fresh process

    mib_router::BackendChoice choice;
    if (c.json) {
        path_ = ::testing::TempDir() + "identity-" + c.name + ".json";
        std::ofstream(path_) << c.json;
        choice.topology_file = path_;
    }
    std::string error;
    ASSERT_TRUE(mib_router::use_backend(choice, &error)) << error;
    EXPECT_EQ(platform_get_router_type(), c.router_type);
    uint32_t node = 0;
    ASSERT_EQ(platform_get_my_nodeid(&node), 0);
    EXPECT_EQ(node, c.node_id);

    init_lldpmib(nullptr, 1);
    {
        mib_router::Router router(lldpmib_OidList, lldpmib_OidListNum);
        mib_router::Binding b;
        std::optional<mib_router::Oid> oid = mib_router::parse_oid(c.oid);
        ASSERT_TRUE(oid);
        EXPECT_EQ(router.get(*oid, &b) == mib_router::GetResult::Found, c.served) << c.oid;
    }
    init_lldpmib(nullptr, 0);
}

// lldpLocSysName.0 and lldpLocPortId.1.
constexpr const char* kLocSysName = "1.0.8802.1.1.2.1.3.3.0";
constexpr const char* kLocPortId1 = "1.0.8802.1.1.2.1.3.7.1.3.1";

INSTANTIATE_TEST_SUITE_P(
    Topologies, BackendIdentity,
    ::testing::Values(
        IdentityCase{"node_3", R"({"node_id": 3, "local": {"chassis_id": "x", "sys_name": "n3"}})",
                     25, 3, kLocSysName, true},
        IdentityCase{"orvik_lldp_off", R"({"router_type": 18,
            "lldp": {"enabled": false, "node_enabled": false},
            "local": {"chassis_id": "x"}, "ports": [{"port_num": 1, "port_id": "g1"}]})",
                     18, 1, kLocPortId1, true},
        IdentityCase{"lldp_off", R"({"router_type": 25,
            "lldp": {"enabled": false, "node_enabled": false},
            "local": {"chassis_id": "x"}, "ports": [{"port_num": 1, "port_id": "g1"}]})",
                     25, 1, kLocPortId1, false},
        // examples/default.json: router type 25, node 1.
        IdentityCase{"embedded_default", nullptr, 25, 1, kLocSysName, true}),
    [](const auto& info) { return std::string(info.param.name); });

}  // namespace
