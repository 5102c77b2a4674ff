// lldpRemOrgDefInfoTable shim: key order, OUI conversions, subtypes past an
// octet, walks, GETs and failures.
#include <gtest/gtest.h>

#include <string>
#include <tuple>
#include <vector>

#include "module_fixture.h"
#include "platform_fault.h"
#include "remote_tables.h"

using namespace lldpmib_test;

namespace {

// tm, port, idx, oui, subtype, index
using OrgKey = std::tuple<uint32_t, int32_t, int32_t, uint32_t, int32_t, int32_t>;

class RemoteOrgDefTest : public ModuleTest {
protected:
    void serve(const std::vector<neighbor_spec>& n) {
        use_topology(neighbors_topology(n));
        start();
        flush_remote_snapshots();
        take_lines();
    }
    lldpRemOrgDefInfoEntry_t* get(int type, const OrgKey& k) {
        OctetString* oui = lldpmib_make_oui_octet_string(std::get<3>(k));
        auto* row = lldpmib_shim_remote_org_def_info_entry_get(
            0, nullptr, 3, type, std::get<0>(k), std::get<1>(k), std::get<2>(k), oui,
            std::get<4>(k), std::get<5>(k));
        FreeOctetString(oui);
        EXPECT_TRUE(module_lock_free());
        return row;
    }
    static OrgKey key_of(const lldpRemOrgDefInfoEntry_t* r) {
        return OrgKey{r->lldpRemTimeMark, r->lldpRemLocalPortNum, r->lldpRemIndex,
                      lldpmib_oui_to_uint(r->lldpRemOrgDefInfoOUI), r->lldpRemOrgDefInfoSubtype,
                      r->lldpRemOrgDefInfoIndex};
    }
    std::vector<OrgKey> walk() {
        std::vector<OrgKey> rows;
        OrgKey at{0, 1, 1, 0, 1, 1};
        for (int guard = 0; guard < 100; guard++) {
            auto* r = get(NEXT, at);
            if (r == nullptr) break;
            rows.push_back(key_of(r));
            at = rows.back();
            std::get<5>(at)++;
        }
        return rows;
    }
};

const std::vector<neighbor_spec> kOrg = {
    {1, 1, 0,
     "\"org_def_tlvs\":[{\"oui\":\"00:00:0b\",\"subtype\":1,\"index\":1,\"info\":\"x\"},"
     "{\"oui\":\"00:00:0a\",\"subtype\":9,\"index\":7,\"info\":\"y\"},"
     "{\"oui\":\"00:00:0a\",\"subtype\":2,\"index\":3,\"info\":\"z\"}],"},
    {1, 2, 0, ""},
    {5, 1, 2, "\"org_def_tlvs\":[{\"oui\":\"00:80:c2\",\"subtype\":1,\"index\":1,\"info\":\"\"}],"}};

TEST_F(RemoteOrgDefTest, WalkVisitsEveryTlvInKeyOrderAndLeavesNothing) {
    serve(kOrg);
    std::vector<OrgKey> expected = {{0, 1, 1, 0x0a, 2, 3},
                                    {0, 1, 1, 0x0a, 9, 7},
                                    {0, 1, 1, 0x0b, 1, 1},
                                    {2, 5, 1, 0x0080c2, 1, 1}};
    EXPECT_EQ(expected, walk());
    EXPECT_EQ(0u, lldp_client_live_copies());
    EXPECT_EQ(0u, kel_list_live_count());
}

TEST_F(RemoteOrgDefTest, GetAnswersEveryRowInAnyOrder) {
    serve(kOrg);
    for (const OrgKey& k : std::vector<OrgKey>{{0, 1, 1, 0x0b, 1, 1},
                                                {2, 5, 1, 0x0080c2, 1, 1},
                                                {0, 1, 1, 0x0a, 2, 3},
                                                {0, 1, 1, 0x0a, 9, 7}}) {
        auto* r = get(EXACT, k);
        ASSERT_NE(nullptr, r);
        EXPECT_EQ(k, key_of(r));
    }
    EXPECT_EQ(nullptr, get(EXACT, OrgKey{3, 5, 1, 0x0080c2, 1, 1}));  // above its time mark
    EXPECT_EQ(nullptr, get(EXACT, OrgKey{0, 1, 1, 0x0a, 2 + 256, 3}));
    EXPECT_EQ(nullptr, get(NEXT, OrgKey{0, 99, 1, 0, 1, 1}));
    EXPECT_EQ(0u, lldp_client_live_copies());
}

// A NEXT whose subtype is past 255 never answers an element of that OUI.
TEST_F(RemoteOrgDefTest, SubtypePastAnOctetMovesToTheNextOui) {
    serve(kOrg);
    auto* r = get(NEXT, OrgKey{0, 1, 1, 0x0a, 256 + 2, 1});
    ASSERT_NE(nullptr, r);
    EXPECT_EQ((OrgKey{0, 1, 1, 0x0b, 1, 1}), key_of(r));
    r = get(NEXT, OrgKey{0, 1, 1, 0xFFFFFF, 300, 1});
    ASSERT_NE(nullptr, r);
    EXPECT_EQ((OrgKey{2, 5, 1, 0x0080c2, 1, 1}), key_of(r));
}

TEST(RemoteOrgDefKeys, ConversionsAndComparison) {
    unsigned char three[3] = {0, 128, 194};
    OctetString os{three, 3};
    EXPECT_EQ(0x0080c2u, lldpmib_oui_to_uint(&os));
    os.length = 2;
    EXPECT_EQ(0u, lldpmib_oui_to_uint(&os));
    EXPECT_EQ(0u, lldpmib_oui_to_uint(nullptr));
    OctetString* made = lldpmib_make_oui_octet_string(0xAB0080c2u);
    ASSERT_NE(nullptr, made);
    EXPECT_EQ(std::string("\x00\x80\xc2", 3), std::string((char*)made->octet_ptr, made->length));
    FreeOctetString(made);

    org_def_tlv_element a{}, b{};
    a.oui = 0x0a;
    a.subtype = 200;
    a.index = 9;
    b.oui = 0x0b;
    EXPECT_LT(lldpmib_cmp_org_def_info_node(&a, &b), 0);
    b.oui = 0x0a;
    b.subtype = 3;
    EXPECT_GT(lldpmib_cmp_org_def_info_node(&a, &b), 0);
    EXPECT_EQ(0, lldpmib_cmp_org_def_info(&a, 0x0a, 200 + 256, 9));  // low 8 bits only
    EXPECT_GT(lldpmib_cmp_org_def_info(&a, 0x0a, 200, INT32_MIN), 0);
}

struct FailureCase {
    const char* op;
    uint64_t nth;
};
class RemoteOrgDefFailure : public RemoteOrgDefTest,
                            public ::testing::WithParamInterface<FailureCase> {};

TEST_P(RemoteOrgDefFailure, AnswersNoneReleasesLockLeaksNothing) {
    serve(kOrg);
    platform_fault_fail_nth(GetParam().op, GetParam().nth, 5);
    EXPECT_EQ(nullptr, get(EXACT, OrgKey{0, 1, 1, 0x0a, 9, 7}));
    platform_fault_reset();
    EXPECT_NE(nullptr, get(EXACT, OrgKey{0, 1, 1, 0x0a, 9, 7}));
    EXPECT_NE(nullptr, get(EXACT, OrgKey{0, 1, 1, 0x0b, 1, 1}));
    EXPECT_EQ(nullptr, get(NEXT, OrgKey{0, 99, 1, 0, 1, 1}));
    EXPECT_EQ(0u, lldp_client_live_copies());
}
INSTANTIATE_TEST_SUITE_P(
    Ops, RemoteOrgDefFailure,
    ::testing::Values(FailureCase{"kel_list_create", 1}, FailureCase{"kel_list_insert", 1},
                      FailureCase{"lldp_client_copy_neighbor_td", 1},
                      FailureCase{"lldp_client_get_next_if_remote_org_def_tlv", 1},
                      FailureCase{"lldp_client_iter_ne", 1},
                      // the first is the test's own OUI string, the second the row's
                      FailureCase{"MakeOctetString", 2}, FailureCase{"MakeOctetString", 3}),
    [](const auto& info) { return std::string(info.param.op) + "_" + std::to_string(info.param.nth); });

}  // namespace
