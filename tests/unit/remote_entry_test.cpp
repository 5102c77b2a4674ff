// lldpRemTable shim: walks, GETs, time-mark filter, row fill and failures.
#include <gtest/gtest.h>

#include <string>
#include <tuple>
#include <vector>

#include "module_fixture.h"
#include "platform_fault.h"
#include "remote_tables.h"

using namespace lldpmib_test;

namespace {

using Key = std::tuple<uint32_t, int32_t, int32_t>;

class RemoteEntryTest : public ModuleTest {
protected:
    void serve(const std::vector<neighbor_spec>& n) {
        use_topology(neighbors_topology(n));
        start();
        flush_remote_snapshots();
        take_lines();
        baseline_ = lldp_client_live_copies();
    }
    lldpRemEntry_t* get(int nominator, int type, uint32_t tm, int32_t port, int32_t idx) {
        lldpRemEntry_t* row = lldpmib_shim_remote_entry_get(0, nullptr, nominator, type, tm, port, idx);
        EXPECT_TRUE(module_lock_free());
        return row;
    }
    // One column, as an agent walks it: each request past the previous row.
    std::vector<Key> walk(int nominator) {
        std::vector<Key> rows;
        Key at{0, 1, 1};
        for (int guard = 0; guard < 100; guard++) {
            lldpRemEntry_t* row = get(nominator, NEXT, std::get<0>(at), std::get<1>(at), std::get<2>(at));
            if (row == nullptr) break;
            rows.emplace_back(row->lldpRemTimeMark, row->lldpRemLocalPortNum, row->lldpRemIndex);
            at = Key{row->lldpRemTimeMark, row->lldpRemLocalPortNum, row->lldpRemIndex + 1};
        }
        return rows;
    }
    uint32_t baseline_ = 0;
};

const std::vector<neighbor_spec> kThreePorts = {
    {1, 1, 0, ""}, {1, 2, 5, ""}, {3, 1, 5, ""}, {3, 4, 9, ""}, {7, 2, 9, ""}};

TEST_F(RemoteEntryTest, WalkOfEveryColumnCostsOneIterationPerPortAndLeavesNothing) {
    serve(kThreePorts);
    std::vector<Key> expected = {{0, 1, 1}, {5, 1, 2}, {5, 3, 1}, {9, 3, 4}, {9, 7, 2}};
    for (int nominator = 3; nominator <= 11; nominator++)
        EXPECT_EQ(expected, walk(nominator)) << "nominator " << nominator;
    EXPECT_EQ(3u, platform_fault_calls("lldp_client_iter_ne"));
    EXPECT_EQ(baseline_, lldp_client_live_copies());
    EXPECT_EQ(1u, lines_with("Purging out LLDP MIB Remote Port Entry cache").size());
}

TEST_F(RemoteEntryTest, GetAnswersEveryRowInAnyOrderAfterOthersWereConsumed) {
    serve(kThreePorts);
    std::vector<Key> rows = {{9, 7, 2}, {0, 1, 1}, {5, 3, 1}, {5, 1, 2}, {9, 3, 4}};
    for (int pass = 0; pass < 2; pass++)
        for (int nominator : {8, 3, 11})
            for (const Key& k : rows) {
                lldpRemEntry_t* row = get(nominator, EXACT, std::get<0>(k), std::get<1>(k), std::get<2>(k));
                ASSERT_NE(nullptr, row);
                EXPECT_EQ(std::get<1>(k), row->lldpRemLocalPortNum);
                EXPECT_EQ(std::get<2>(k), row->lldpRemIndex);
            }
    // GETs take out only what they answer; the end of a last-column walk drops the rest.
    EXPECT_EQ(nullptr, get(11, NEXT, 0, 99, 1));
    EXPECT_EQ(baseline_, lldp_client_live_copies());
}

struct TimeMarkCase {
    uint32_t asked;
    bool answers;
};
class RemoteEntryTimeMark : public RemoteEntryTest,
                            public ::testing::WithParamInterface<TimeMarkCase> {};

TEST_P(RemoteEntryTimeMark, IsAFloorNotAMatch) {
    serve({{2, 3, 40, ""}});
    lldpRemEntry_t* row = get(8, EXACT, GetParam().asked, 2, 3);
    EXPECT_EQ(GetParam().answers, row != nullptr);
    if (row) {
        EXPECT_EQ(40u, row->lldpRemTimeMark);
    }
}
INSTANTIATE_TEST_SUITE_P(Floors, RemoteEntryTimeMark,
                         ::testing::Values(TimeMarkCase{0, true}, TimeMarkCase{39, true},
                                           TimeMarkCase{40, true}, TimeMarkCase{41, false}));

TEST_F(RemoteEntryTest, NextSkipsOlderNeighbourOfThePortAndPortAfterFailureUsesFloorZero) {
    // (1,2) is older than (1,1): a walk passes over it; port 2 holds only an older
    // neighbour and fails, so port 4 is searched with floor 0.
    serve({{1, 1, 50, ""}, {1, 2, 10, ""}, {2, 1, 10, ""}, {4, 1, 20, ""}});
    std::vector<Key> expected = {{50, 1, 1}, {20, 4, 1}};
    EXPECT_EQ(expected, walk(3));
    EXPECT_FALSE(lines_with("ERROR[lldpmib_shim_remote_entry_get] Failed retrieving lldpRemTable datafor ifIndex 2").empty());
}

TEST_F(RemoteEntryTest, ExpiryAfterTwoSecondsRebuilds) {
    serve(kThreePorts);
    ASSERT_NE(nullptr, get(3, NEXT, 0, 1, 1));
    advance_clock(1);
    ASSERT_NE(nullptr, get(3, NEXT, 0, 1, 2));
    EXPECT_EQ(1u, platform_fault_calls("lldp_client_iter_ne"));
    advance_clock(2);
    take_lines();
    ASSERT_NE(nullptr, get(3, NEXT, 5, 1, 3));
    EXPECT_EQ(1u, lines_with("VERBOSE[lldpmib_shim_remote_entry_get] current timestamp not matching "
                             "cached timestamp,cache deleted\n").size());
    EXPECT_EQ(3u, platform_fault_calls("lldp_client_iter_ne"));  // port 1 fails, port 3 answers
    ASSERT_EQ(nullptr, get(11, NEXT, 9, 7, 3));  // end of the last column purges
    EXPECT_EQ(baseline_, lldp_client_live_copies());
}

TEST_F(RemoteEntryTest, FillTurnsMacTextIntoOctetsAndMirrorsCapabilities) {
    unsetenv("ENKT_ACTIVE");
    serve({{1, 1, 0,
            "\"chassis_id_subtype\":4,\"chassis_id\":\"0011.2233.4455\",\"port_id_subtype\":3,"
            "\"port_id\":\"0a0b.0c0d.0e0f\",\"supported_caps\":20,\"enabled_caps\":4,"},
           {1, 2, 0, "\"chassis_id_subtype\":7,\"chassis_id\":\"0011.2233.4455\",\"port_id\":\"Eth1\","}});
    lldpRemEntry_t* row = get(4, EXACT, 0, 1, 1);
    ASSERT_NE(nullptr, row);
    EXPECT_EQ(std::string("\x00\x11\x22\x33\x44\x55", 6),
              std::string((char*)row->lldpRemChassisId->octet_ptr, row->lldpRemChassisId->length));
    EXPECT_EQ(std::string("\x0a\x0b\x0c\x0d\x0e\x0f", 6),
              std::string((char*)row->lldpRemPortId->octet_ptr, row->lldpRemPortId->length));
    EXPECT_EQ(std::string("\x28\x00", 2), std::string((char*)row->lldpRemSysCapSupported->octet_ptr, 2));
    EXPECT_EQ(1u, lines_with("VERBOSE[lldpmib_shim_remote_entry_get] RemChassis ID  MAC type, length: 14").size());
    EXPECT_EQ(1u, lines_with("VERBOSE[lldpmib_shim_remote_entry_get] Supported caps: 0028\n").size());
    EXPECT_EQ(1u, lines_with("ERROR[lldpmib_shim_remote_entry_get] chid:0011.2233.4455, chid_len:14").size());
    row = get(4, EXACT, 0, 1, 2);
    ASSERT_NE(nullptr, row);
    EXPECT_EQ(14, row->lldpRemChassisId->length);  // subtype 7: as received
    EXPECT_EQ(1u, lines_with("RemChassis ID NOT MAC type, length: 14").size());
}

TEST_F(RemoteEntryTest, DisabledAnswersNoneAndPurges) {
    use_topology("{\"lldp\":{\"enabled\":false,\"node_enabled\":false},\"local\":{\"chassis_id\":\"0011.2233.4455\"},\"ports\":[{\"port_num\":1,\"port_id\":\"p\","
                 "\"neighbors\":[{\"rem_index\":1,\"chassis_id\":\"c\",\"port_id\":\"p\"}]}]}");
    start();
    EXPECT_EQ(nullptr, get(3, NEXT, 0, 1, 1));
    EXPECT_EQ(0u, platform_fault_calls("lldp_client_iter_ne"));
    EXPECT_EQ(1u, lines_with("VERBOSE[lldpmib_shim_remote_entry_get] entry_count:0, total_entries:0\n").size());
    EXPECT_EQ(1u, lines_with("Purging out LLDP MIB Remote Port Entry cache").size());
}

// Every failure of an operation the shim uses answers none, releases the lock
// and leaves no copy behind once the snapshot is gone.
struct FailureCase {
    const char* op;
    uint64_t nth;
};
class RemoteEntryFailure : public RemoteEntryTest,
                           public ::testing::WithParamInterface<FailureCase> {};

TEST_P(RemoteEntryFailure, AnswersNoneReleasesLockLeaksNothing) {
    serve({{1, 1, 0, ""}, {1, 2, 0, ""}});
    platform_fault_fail_nth(GetParam().op, GetParam().nth, 5);
    // The GET of (1,2) after the failing one must still answer: nothing stuck.
    EXPECT_EQ(nullptr, get(4, EXACT, 0, 1, 1));
    platform_fault_reset();
    EXPECT_NE(nullptr, get(4, EXACT, 0, 1, 2));
    EXPECT_NE(nullptr, get(4, EXACT, 0, 1, 1));
    EXPECT_EQ(baseline_, lldp_client_live_copies());
}
INSTANTIATE_TEST_SUITE_P(
    Ops, RemoteEntryFailure,
    ::testing::Values(FailureCase{"kel_list_create", 1}, FailureCase{"kel_list_insert", 1},
                      FailureCase{"kel_list_insert", 2}, FailureCase{"lldp_client_copy_neighbor_td", 1},
                      FailureCase{"lldp_client_get_next_if_remote", 1},
                      FailureCase{"lldp_client_iter_ne", 1}, FailureCase{"MakeOctetString", 1},
                      FailureCase{"MakeOctetStringFromText", 2}),
    [](const auto& info) { return std::string(info.param.op) + "_" + std::to_string(info.param.nth); });

}  // namespace
