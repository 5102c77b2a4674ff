// lldpRemManAddrTable shim: address order, consumption on the last column,
// zero addresses, GETs after consumption and failures.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "module_fixture.h"
#include "platform_fault.h"
#include "remote_tables.h"

using namespace lldpmib_test;

namespace {

struct Row {
    uint32_t tm;
    int32_t port, idx;
    std::string addr;
    bool operator==(const Row& o) const {
        return tm == o.tm && port == o.port && idx == o.idx && addr == o.addr;
    }
};
std::ostream& operator<<(std::ostream& os, const Row& r) {
    os << r.tm << "." << r.port << "." << r.idx << ".";
    for (unsigned char c : r.addr) os << int(c) << ":";
    return os;
}

class RemoteMaTest : public ModuleTest {
protected:
    void serve(const std::vector<neighbor_spec>& n) {
        use_topology(neighbors_topology(n));
        start();
        flush_remote_snapshots();
        take_lines();
    }
    lldpRemManAddrEntry_t* get(int nominator, int type, const Row& k) {
        OctetString os{(unsigned char*)k.addr.data(), (int32_t)k.addr.size()};
        lldpRemManAddrEntry_t* row = lldpmib_shim_remote_ma_entry_get(
            0, nullptr, nominator, type, k.tm, k.port, k.idx, 1, k.addr.empty() ? nullptr : &os);
        EXPECT_TRUE(module_lock_free());
        return row;
    }
    static Row row_of(const lldpRemManAddrEntry_t* r) {
        return Row{r->lldpRemTimeMark, r->lldpRemLocalPortNum, r->lldpRemIndex,
                   std::string((char*)r->lldpRemManAddr->octet_ptr, r->lldpRemManAddr->length)};
    }
    // Past the given row as the agent's carry moves: the last octet + 1.
    std::vector<Row> walk(int nominator) {
        std::vector<Row> rows;
        Row at{0, 1, 1, ""};
        for (int guard = 0; guard < 100; guard++) {
            lldpRemManAddrEntry_t* r = get(nominator, NEXT, at);
            if (r == nullptr) break;
            rows.push_back(row_of(r));
            if (nominator == 4) {
                EXPECT_NE(nullptr, r->lldpRemManAddrOID);
            }
            at = rows.back();
            at.addr.back()++;
        }
        return rows;
    }
};

const std::string kA = std::string("\x0a\x00\x00\x01", 4);
const std::string kB = std::string("\x0a\x00\x00\x09", 4);
const std::string kV6 = std::string("\x20\x01\x0d\xb8", 4) + std::string(11, '\0') + "\x01";

const std::vector<neighbor_spec> kTopology = {
    {1, 1, 0,
     "\"man_addrs\":[{\"addr\":\"2001:db8::1\",\"if_id\":7},{\"addr\":\"10.0.0.9\",\"if_id\":2},"
     "{\"addr\":\"0.0.0.0\"},{\"addr\":\"10.0.0.1\",\"if_id\":3}],"},
    {1, 2, 0, "\"man_addrs\":[{\"addr\":\"0.0.0.0\"}],"},
    {3, 1, 4, "\"man_addrs\":[{\"addr\":\"10.0.0.1\"}],"}};

TEST_F(RemoteMaTest, WalkOrdersAddressesSkipsZeroAndLeavesNothing) {
    serve(kTopology);
    std::vector<Row> expected = {{0, 1, 1, kA}, {0, 1, 1, kB}, {0, 1, 1, kV6}, {4, 3, 1, kA}};
    for (int nominator = 2; nominator <= 4; nominator++)
        EXPECT_EQ(expected, walk(nominator)) << "nominator " << nominator;
    EXPECT_EQ(0u, lldp_client_live_copies());
    EXPECT_EQ(0u, kel_list_live_count());
    // Columns 3 and 4 each reach both ports once; column 5 is served from the
    // snapshot until the last port's copies run out.
    EXPECT_LE(platform_fault_calls("lldp_client_iter_ne"), 3u);
}

TEST_F(RemoteMaTest, LastColumnConsumesANeighbourAfterItsLastAddress) {
    serve(kTopology);
    ASSERT_NE(nullptr, get(4, NEXT, Row{0, 1, 1, ""}));
    ASSERT_NE(nullptr, get(4, NEXT, Row{0, 1, 1, std::string("\x0a\x00\x00\x02", 4)}));
    EXPECT_TRUE(lines_with("Removing Remote entry").empty());
    ASSERT_NE(nullptr, get(4, NEXT, Row{0, 1, 1, std::string("\x0a\x00\x00\x0a", 4)}));
    EXPECT_EQ(1u, lines_with("VERBOSE[lldpmib_shim_remote_ma_entry_get] Removing Remote entry from "
                             "LLDP MIB Remote Management address cache").size());
}

TEST_F(RemoteMaTest, GetAnswersEveryRowInAnyOrder) {
    serve(kTopology);
    std::vector<Row> rows = {{0, 1, 1, kB}, {4, 3, 1, kA}, {0, 1, 1, kV6}, {0, 1, 1, kA}};
    for (int nominator : {3, 4, 2})
        for (const Row& k : rows) {
            lldpRemManAddrEntry_t* r = get(nominator, EXACT, k);
            ASSERT_NE(nullptr, r) << k;
            EXPECT_EQ(k, row_of(r));
            EXPECT_EQ(2, r->lldpRemManAddrIfSubtype);
        }
    EXPECT_EQ(nullptr, get(4, EXACT, Row{0, 1, 1, std::string(4, '\0')}));  // zero: no row
    EXPECT_EQ(nullptr, get(3, EXACT, Row{5, 3, 1, kA}));  // above its time mark
}

TEST_F(RemoteMaTest, AddressBytesAreTracedOneLineEach) {
    serve(kTopology);
    get(3, EXACT, Row{0, 1, 1, kA});
    std::vector<std::string> lines = lines_with("VERBOSE[lldpmib_shim_remote_ma_entry_get] ");
    std::vector<std::string> bytes;
    for (const auto& l : lines)
        if (l.size() < 48) bytes.push_back(l);
    std::vector<std::string> expected = {"VERBOSE[lldpmib_shim_remote_ma_entry_get] 0a:",
                                         "VERBOSE[lldpmib_shim_remote_ma_entry_get] 00:",
                                         "VERBOSE[lldpmib_shim_remote_ma_entry_get] 00:",
                                         "VERBOSE[lldpmib_shim_remote_ma_entry_get] 01:",
                                         "VERBOSE[lldpmib_shim_remote_ma_entry_get] \n"};
    EXPECT_EQ(expected, bytes);
}

TEST_F(RemoteMaTest, UnknownAddressTypeIsNeverSelected) {
    built_neighbor b;
    build_neighbor(&b, 2, 1, 0);
    lldp_addr_element odd{}, v4{};
    odd.addr_type = 7;
    odd.addr[0] = 1;
    odd.next = &v4;
    v4.addr[0] = 10;
    v4.addr[3] = 5;
    b.detail.man_addrs = &odd;
    kel_list_handle list = nullptr;
    ASSERT_EQ(0, kel_list_create(&list, 0, "t", 2, 0));
    ASSERT_EQ(0, kel_list_enqueue(list, 0, &b.record) == nullptr);
    lldp_addr_element key{};
    neighbor_td* n = nullptr;
    EXPECT_EQ(&v4, lldpmib_find_remote_ma_entry(NEXT, 0, 1, 1, &key, list, &n));
    EXPECT_EQ(&b.record, n);
    kel_list_dequeue(list);
    kel_list_destroy(&list);
}

struct FailureCase {
    const char* op;
    uint64_t nth;
};
class RemoteMaFailure : public RemoteMaTest, public ::testing::WithParamInterface<FailureCase> {};

TEST_P(RemoteMaFailure, AnswersNoneReleasesLockLeaksNothing) {
    serve(kTopology);
    platform_fault_fail_nth(GetParam().op, GetParam().nth, 5);
    EXPECT_EQ(nullptr, get(4, EXACT, Row{0, 1, 1, kB}));
    platform_fault_reset();
    for (const Row& k : {Row{0, 1, 1, kB}, Row{0, 1, 1, kA}})
        EXPECT_NE(nullptr, get(4, EXACT, k)) << k;
    EXPECT_EQ(nullptr, get(4, NEXT, Row{0, 99, 1, ""}));
    EXPECT_EQ(0u, lldp_client_live_copies());
}
INSTANTIATE_TEST_SUITE_P(
    Ops, RemoteMaFailure,
    ::testing::Values(FailureCase{"kel_list_create", 1}, FailureCase{"kel_list_insert", 1},
                      FailureCase{"lldp_client_copy_neighbor_td", 1},
                      FailureCase{"lldp_client_get_next_if_remote_ma", 1},
                      FailureCase{"lldp_client_iter_ne", 1}, FailureCase{"MakeOctetString", 1},
                      FailureCase{"MakeOID", 1}),
    [](const auto& info) { return std::string(info.param.op) + "_" + std::to_string(info.param.nth); });

}  // namespace
