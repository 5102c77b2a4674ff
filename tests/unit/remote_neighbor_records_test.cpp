// Neighbour records in the snapshots: key order and list release.
#include <gtest/gtest.h>

#include "module_fixture.h"
#include "remote_tables.h"

using namespace lldpmib_test;

namespace {

class NeighborRecordsTest : public ModuleTest {};

TEST_F(NeighborRecordsTest, KeyOrderIgnoresTimeMarkAndPutsUnkeyedCopiesFirst) {
    built_neighbor a, b, c;
    build_neighbor(&a, 2, 5, 9);
    build_neighbor(&b, 2, 5, 1);
    build_neighbor(&c, 1, 7, 0);
    EXPECT_EQ(0, lldpmib_neighbor_list_compare(&a.record, &b.record));
    EXPECT_GT(lldpmib_neighbor_list_compare(&a.record, &c.record), 0);
    EXPECT_LT(lldpmib_compare_key(1, 9, 2, 1), 0);
    EXPECT_LT(lldpmib_compare_key(3, 1, 3, 2), 0);
    c.record.mib = nullptr;
    EXPECT_LT(lldpmib_neighbor_list_compare(&c.record, &a.record), 0);
    EXPECT_GT(lldpmib_neighbor_list_compare(&a.record, &c.record), 0);
    EXPECT_FALSE(lines_with("TRACE[lldpmib_neighbor_list_compare] ").empty());
}

TEST_F(NeighborRecordsTest, DestroyFreesEveryCopyAndCountsThem) {
    use_topology(neighbors_topology({{1, 1, 0, ""}, {1, 2, 0, ""}, {1, 3, 0, ""}}));
    start();
    flush_remote_snapshots();
    uint32_t before = lldp_client_live_copies();
    kel_list_handle list = nullptr;
    ASSERT_EQ(0, kel_list_create(&list, 0, "LLDP MIB remote entry list", 2, 0));
    remote_entry_search_ctx ctx{};
    ctx.search_type = NEXT;
    lldp_client_filter filter{};
    filter.kind = LLDP_FILTER_NEIGHBORS;
    uint32_t next = 0;
    ASSERT_EQ(0, lldp_client_get_next_if_remote(1, &next, &filter.ifhandle));
    ASSERT_EQ(0, lldp_client_iter_ne(&filter, 1, 1, lldpmib_get_first_neighbor_td, list, 1, &ctx));
    EXPECT_EQ(before + 3, lldp_client_live_copies());
    take_lines();
    lldpmib_destroy_remote_entry_list(list);
    EXPECT_EQ(before, lldp_client_live_copies());
    std::vector<std::string> freeing = lines_with("freeing node at count:");
    std::vector<std::string> expected = {
        "VERBOSE[lldpmib_destroy_remote_entry_list] freeing node at count:0\n",
        "VERBOSE[lldpmib_destroy_remote_entry_list] freeing node at count:1\n",
        "VERBOSE[lldpmib_destroy_remote_entry_list] freeing node at count:2\n"};
    EXPECT_EQ(expected, freeing);
    take_lines();
    lldpmib_destroy_remote_entry_list(nullptr);
    std::vector<std::string> lines = take_lines();
    ASSERT_EQ(1u, lines.size());
    EXPECT_EQ("VERBOSE[lldpmib_destroy_remote_entry_list] remote list is empty, returning\n", lines[0]);
}

TEST_F(NeighborRecordsTest, CallbacksTakeOnlyThePortFromAMarker) {
    built_neighbor m;
    build_neighbor(&m, 6, 0, 0);
    m.record.port_marker = 1;
    kel_list_handle list = nullptr;
    ASSERT_EQ(0, kel_list_create(&list, 0, "t", 2, 0));
    remote_entry_search_ctx e{};
    ma_search_ctx a{};
    unknown_tlv_search_ctx u{};
    org_def_search_ctx o{};
    EXPECT_EQ(0, lldpmib_get_first_neighbor_td(&m.record, list, &e));
    EXPECT_EQ(0, lldpmib_get_first_ma_neighbor_td(&m.record, list, &a));
    EXPECT_EQ(0, lldpmib_get_first_unknown_tlv_neighbor_td(&m.record, list, &u));
    EXPECT_EQ(0, lldpmib_get_first_oui_neighbor_td(&m.record, list, &o));
    EXPECT_EQ(6u, e.port_num);
    EXPECT_EQ(6u, a.port_num);
    EXPECT_EQ(6, u.query_port_num);
    EXPECT_EQ(6, o.query_port_num);
    EXPECT_EQ(0u, kel_list_get_size(list));
    m.record.mib = nullptr;
    EXPECT_EQ(0, lldpmib_get_first_neighbor_td(&m.record, list, &e));
    EXPECT_EQ(22, lldpmib_get_first_neighbor_td(nullptr, list, &e));
    EXPECT_EQ(0, lldpmib_get_first_unknown_tlv_neighbor_td(nullptr, list, &u));
    kel_list_destroy(&list);
}

}  // namespace
