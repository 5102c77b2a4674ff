// lldpRemUnknownTLVTable and lldpRemOrgDefInfoTable shims (they share their
// search and callback code): selection rules, walks, GETs and failures.
#include <gtest/gtest.h>

#include <string>
#include <tuple>
#include <vector>

#include "module_fixture.h"
#include "platform_fault.h"
#include "remote_tables.h"

using namespace lldpmib_test;

namespace {

using TlvKey = std::tuple<uint32_t, int32_t, int32_t, int32_t>;  // tm, port, idx, type

class RemoteTlvTest : public ModuleTest {
protected:
    void serve(const std::vector<neighbor_spec>& n) {
        use_topology(neighbors_topology(n));
        start();
        flush_remote_snapshots();
        take_lines();
    }
    lldpRemUnknownTLVEntry_t* get(int type, const TlvKey& k) {
        auto* row = lldpmib_shim_remote_unknown_tlv_entry_get(0, nullptr, 1, type, std::get<0>(k),
                                                              std::get<1>(k), std::get<2>(k),
                                                              std::get<3>(k));
        EXPECT_TRUE(module_lock_free());
        return row;
    }
    std::vector<TlvKey> walk() {
        std::vector<TlvKey> rows;
        TlvKey at{0, 1, 1, 9};
        for (int guard = 0; guard < 100; guard++) {
            auto* r = get(NEXT, at);
            if (r == nullptr) break;
            rows.emplace_back(r->lldpRemTimeMark, r->lldpRemLocalPortNum, r->lldpRemIndex,
                              r->lldpRemUnknownTLVType);
            at = rows.back();
            std::get<3>(at)++;
        }
        return rows;
    }
};

const std::vector<neighbor_spec> kTlvs = {
    {1, 1, 0, "\"unknown_tlvs\":[{\"type\":12,\"info\":\"b\"},{\"type\":10,\"info\":\"a\"}],"},
    {1, 2, 0, ""},
    {2, 1, 3, "\"unknown_tlvs\":[{\"type\":9,\"info\":\"\"}],"},
    {4, 5, 3, "\"unknown_tlvs\":[{\"type\":200,\"info\":{\"hex\":\"0102\"}}],"}};

TEST_F(RemoteTlvTest, WalkVisitsEveryTlvInOrderAndLeavesNothing) {
    serve(kTlvs);
    std::vector<TlvKey> expected = {{0, 1, 1, 10}, {0, 1, 1, 12}, {3, 2, 1, 9}, {3, 4, 5, 200}};
    EXPECT_EQ(expected, walk());
    EXPECT_EQ(0u, lldp_client_live_copies());
    EXPECT_EQ(0u, kel_list_live_count());
}

TEST_F(RemoteTlvTest, GetAnswersEveryRowInAnyOrderAndHonoursTheTimeMark) {
    serve(kTlvs);
    for (const TlvKey& k : std::vector<TlvKey>{{3, 4, 5, 200}, {0, 1, 1, 12}, {2, 2, 1, 9},
                                                {0, 1, 1, 10}, {3, 2, 1, 9}}) {
        auto* r = get(EXACT, k);
        ASSERT_NE(nullptr, r);
        EXPECT_EQ(std::get<3>(k), r->lldpRemUnknownTLVType);
    }
    EXPECT_EQ(nullptr, get(EXACT, TlvKey{4, 2, 1, 9}));
    EXPECT_EQ(nullptr, get(EXACT, TlvKey{0, 1, 1, 11}));
    EXPECT_EQ(nullptr, get(NEXT, TlvKey{0, 99, 1, 9}));
    EXPECT_EQ(0u, lldp_client_live_copies());
}

TEST(RemoteTlvSelection, NextAndSmallestPickTheLeastQualifyingFirstOfEquals) {
    unknown_tlv_element e[3] = {};
    e[0].type = 10;
    e[1].type = 12;
    e[2].type = 12;
    e[0].next = &e[1];
    e[1].next = &e[2];
    int32_t count = 0;
    EXPECT_EQ(&e[1], lldpmib_find_next_unknown_tlv(e, 11, &count));
    EXPECT_EQ(2, count);
    EXPECT_EQ(nullptr, lldpmib_find_next_unknown_tlv(e, 13, nullptr));
    EXPECT_EQ(&e[0], lldpmib_find_smallest_unknown_tlv(e, &count));
    EXPECT_EQ(5, count);
    EXPECT_EQ(nullptr, lldpmib_find_smallest_unknown_tlv(nullptr, nullptr));
}

struct FailureCase {
    const char* op;
    uint64_t nth;
};
class RemoteTlvFailure : public RemoteTlvTest, public ::testing::WithParamInterface<FailureCase> {};

TEST_P(RemoteTlvFailure, AnswersNoneReleasesLockLeaksNothing) {
    serve(kTlvs);
    platform_fault_fail_nth(GetParam().op, GetParam().nth, 5);
    EXPECT_EQ(nullptr, get(EXACT, TlvKey{0, 1, 1, 12}));
    platform_fault_reset();
    EXPECT_NE(nullptr, get(EXACT, TlvKey{0, 1, 1, 12}));
    EXPECT_NE(nullptr, get(EXACT, TlvKey{0, 1, 1, 10}));
    EXPECT_EQ(nullptr, get(NEXT, TlvKey{0, 99, 1, 9}));
    EXPECT_EQ(0u, lldp_client_live_copies());
}
INSTANTIATE_TEST_SUITE_P(
    Ops, RemoteTlvFailure,
    ::testing::Values(FailureCase{"kel_list_create", 1}, FailureCase{"kel_list_insert", 1},
                      FailureCase{"lldp_client_copy_neighbor_td", 1},
                      FailureCase{"lldp_client_get_next_if_remote_unknown_tlv", 1},
                      FailureCase{"lldp_client_iter_ne", 1}, FailureCase{"MakeOctetString", 1}),
    [](const auto& info) { return std::string(info.param.op) + "_" + std::to_string(info.param.nth); });

}  // namespace
