// What every table of the module shares, one body per property over a traits
// struct per table, on examples/default.json with expected values from the
// reference: nothing served while LLDP is off (unless on an Orvik
// router), a failing client call answers nothing, frees the lock and leaks
// nothing, and a snapshot serves for about a second, then the daemon's data.
#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include "model_driver.h"
#include "module_fixture.h"
#include "platform_fault.h"

namespace lldpmib_test {
namespace {

// entry: the table's entry (or group); column: the column asked; fetch: the
// client call that hands the table its records; keeps: whether a GET-NEXT
// leaves a snapshot that later requests use.
// clang-format off
struct LocalSystem { static RefOid entry() { return ref_oids::local_system(); }          static constexpr uint32_t column = 3; static constexpr const char* fetch = "lldp_client_get_local_system_data"; static constexpr bool keeps = false; };
struct LocalPort   { static RefOid entry() { return ref_oids::loc_port_entry(); }        static constexpr uint32_t column = 3; static constexpr const char* fetch = "lldp_client_iter_intf_running"; static constexpr bool keeps = true; };
struct LocalMa     { static RefOid entry() { return ref_oids::loc_man_addr_entry(); }    static constexpr uint32_t column = 5; static constexpr const char* fetch = "lldp_client_get_next_if_local_ma"; static constexpr bool keeps = true; };
struct Remote      { static RefOid entry() { return ref_oids::rem_entry(); }             static constexpr uint32_t column = 9; static constexpr const char* fetch = "lldp_client_iter_ne"; static constexpr bool keeps = true; };
struct RemoteMa    { static RefOid entry() { return ref_oids::rem_man_addr_entry(); }    static constexpr uint32_t column = 4; static constexpr const char* fetch = "lldp_client_iter_ne"; static constexpr bool keeps = true; };
struct UnknownTlv  { static RefOid entry() { return ref_oids::rem_unknown_tlv_entry(); } static constexpr uint32_t column = 2; static constexpr const char* fetch = "lldp_client_iter_ne"; static constexpr bool keeps = true; };
struct OrgDef      { static RefOid entry() { return ref_oids::rem_org_def_entry(); }     static constexpr uint32_t column = 4; static constexpr const char* fetch = "lldp_client_iter_ne"; static constexpr bool keeps = true; };
// clang-format on

using json = nlohmann::json;

// The first binding of the column (GET-NEXT from the column), as text.
std::string first_of(const RefOid& col) {
    mib_router::Binding b;
    if (!lldpmib_router().next(col, &b) || !mib_router::is_prefix(col, b.name))
        return "none";
    return mib_router::format(b);
}
std::string first_in(const json& topology, const RefOid& col) {
    return ref_next_under(reference_of(topology.dump()).mib, col, col);
}

template <typename T>
class TableProperty : public ModuleTest {
protected:
    RefOid col = ref_oids::column(T::entry(), T::column);
    json topo = json::parse(read_example("default.json"));
};

using Tables = ::testing::Types<LocalSystem, LocalPort, LocalMa, Remote, RemoteMa, UnknownTlv, OrgDef>;
TYPED_TEST_SUITE(TableProperty, Tables);

TYPED_TEST(TableProperty, LldpOffServesNothingButOnOrvikRouters) {
    for (auto [on, node_on] : {std::pair{true, false}, {false, true}, {false, false}}) {
        this->topo["lldp"] = {{"enabled", on}, {"node_enabled", node_on}};
        for (uint32_t type : {25u, 7u, 8u, 18u, 0u, 6u, 9u, 17u, 19u, 0x80000007u}) {
            this->topo["router_type"] = type;
            const std::string want = first_in(this->topo, this->col);
            ServedModule served(this->topo.dump());
            EXPECT_EQ(want, first_of(this->col)) << "router type " << type << ", lldp " << this->topo["lldp"];
            EXPECT_EQ(want == "none", !on && !node_on && type != 7 && type != 8 && type != 18);
        }
    }
    // Not knowing whether LLDP is on counts as off.
    this->topo["router_type"] = 25;
    this->topo["lldp"] = {{"enabled", true}, {"node_enabled", true}};
    ServedModule served(this->topo.dump());
    platform_fault_fail_always("lldp_client_get_enable", 5);
    EXPECT_EQ("none", first_of(this->col));
    platform_fault_reset();
}

TYPED_TEST(TableProperty, FailingClientCallAnswersNothingFreesTheLockAndLeaksNothing) {
    const RefTopology& ref = reference_of(this->topo.dump());
    const std::string want = first_in(this->topo, this->col);
    ASSERT_NE("none", want);
    ServedModule served(this->topo.dump());
    const uint64_t before = live_objects();
    for (int nth = 1; nth <= 3; ++nth) {
        advance_clock(10);
        platform_fault_reset();
        platform_fault_fail_nth(TypeParam::fetch, nth, 5);
        const std::string got = first_of(this->col);
        ASSERT_GE(platform_fault_calls(TypeParam::fetch), 1u) << "the table never calls " << TypeParam::fetch;
        if (got != "none") {  // whatever is answered is true
            auto name = *mib_router::parse_oid(got.substr(0, got.find(' ')));
            EXPECT_EQ(got, ref_get(ref.mib, name));
        }
        EXPECT_TRUE(module_lock_free());
        platform_fault_reset();
        served.drain();
        EXPECT_EQ(before, live_objects()) << "left behind after failing call " << nth;
    }
    advance_clock(10);
    EXPECT_EQ(want, first_of(this->col)) << "the next request after the failures";
}

TYPED_TEST(TableProperty, SnapshotServesForAboutASecondThenTheNewData) {
    json changed = this->topo;
    changed["local"]["sys_name"] = "renamed";
    changed["ports"][0]["port_id"] = "Gi9/9/9";
    changed["local_man_addrs"][0]["addrs"][0]["if_id"] = 77;
    for (json& n : changed["ports"][0]["neighbors"]) {
        n["sys_name"] = "renamed";
        n["man_addrs"][1]["if_id"] = 77;
        n["org_def_tlvs"][0]["info"] = "new";
    }
    changed["ports"][1]["neighbors"][0]["unknown_tlvs"][0]["info"] = "new";
    const std::string before = first_in(this->topo, this->col);
    const std::string after = first_in(changed, this->col);
    ASSERT_NE(before, after) << "the change must show in this column";

    ServedModule served(this->topo.dump());
    advance_clock(10);
    EXPECT_EQ(before, first_of(this->col));
    char err[256];
    ASSERT_EQ(0, lldp_client_use_topology_text(changed.dump().c_str(), "changed", err, sizeof err)) << err;
    advance_clock(1);
    EXPECT_EQ(TypeParam::keeps ? before : after, first_of(this->col)) << "one second on";
    advance_clock(2);
    EXPECT_EQ(after, first_of(this->col)) << "after a pause of two seconds";
}

}  // namespace
}  // namespace lldpmib_test
