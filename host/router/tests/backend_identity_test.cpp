// A chosen topology sets the platform identity the module reads (router type
// and node) before the module starts: local system data only for the
// topology's node; on router type 18 the tables are served with LLDP off.
#include <gtest/gtest.h>

#include <string>

#include "backend.h"
#include "lldp_client_model.h"
#include "lldpmib.h"
#include "mib_router.h"
#include "platform_sys.h"

namespace {

// The topologies are in tests/identity; none chosen serves examples/default.json.
TEST(BackendIdentity, TopologySetsIdentityBeforeTheModuleStarts) {
    const char* kLocSysName = "1.0.8802.1.1.2.1.3.3.0";
    const char* kLocPortId1 = "1.0.8802.1.1.2.1.3.7.1.3.1";
    const struct {
        const char* file;  // null: nothing chosen
        uint32_t router_type, node_id;
        const char* oid;
        bool served;
    } cases[] = {
        {"node3.json", 25, 3, kLocSysName, true},
        {"orvik_lldp_off.json", 18, 1, kLocPortId1, true},
        {"lldp_off.json", 25, 1, kLocPortId1, false},
        {nullptr, 25, 1, kLocSysName, true},
    };
    time_t clock = 2000000;
    for (const auto& c : cases) {
        SCOPED_TRACE(c.file ? c.file : "nothing chosen");
        platform_set_fake_time(clock += 100);  // snapshots of the last case go stale
        platform_set_identity(7, 99);          // whatever was there before
        lldp_client_use_default();             // as in a fresh process
        mib_router::BackendChoice choice;
        if (c.file) choice.topology_file = std::string(IDENTITY_TOPOLOGIES_DIR "/") + c.file;
        std::string error;
        ASSERT_TRUE(mib_router::use_backend(choice, &error)) << error;
        uint32_t node = 0;
        ASSERT_EQ(platform_get_my_nodeid(&node), 0);
        EXPECT_EQ(platform_get_router_type(), c.router_type);
        EXPECT_EQ(node, c.node_id);

        init_lldpmib(nullptr, 1);
        {
            mib_router::Router router(lldpmib_OidList, lldpmib_OidListNum);
            mib_router::Binding b;
            EXPECT_EQ(router.get(*mib_router::parse_oid(c.oid), &b) == mib_router::GetResult::Found, c.served);
        }
        init_lldpmib(nullptr, 0);
    }
    platform_sys_reset_for_tests();
}

}  // namespace
