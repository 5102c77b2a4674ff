// The local management address table: rows and instances, the refusals that
// take no lock, lookups from the cached address chains, removal rules, the
// address order, and every failure answering nothing without leaking.
#include <gtest/gtest.h>
#include <string.h>

#include <string>
#include <vector>

#include "local_tables.h"
#include "mib_walker.h"
#include "platform_fault.h"

using lldpmib_test::LocalTablesTest;
using mib_router::Oid;
using Octets = std::vector<uint8_t>;

namespace {

const char kShim[] = "lldpmib_shim_local_ma_entry_get";

std::string line(const char* level, const char* fn, const std::string& text) {
    return std::string(level) + "[" + fn + "] " + text;
}
std::string verbose(const std::string& text) { return line("VERBOSE", kShim, text); }

const Octets kV6 = {0x20, 0x01, 0x0d, 0xb8, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0x01};

std::string topology(bool enabled) {
    std::string flag = enabled ? "true" : "false";
    return R"({"router_type": 25, "node_id": 1,
      "lldp": {"enabled": )" + flag + R"(, "node_enabled": )" + flag + R"(},
      "local": {"chassis_id_subtype": 7, "chassis_id": "rtr-1", "sys_name": "rtr-1",
                "sys_desc": "edge router", "supported_caps": 20, "enabled_caps": 16},
      "local_man_addrs": [
        {"addrs": [{"addr": "192.0.2.1", "if_id": 1}, {"addr": "192.0.2.7", "if_id": 3}]},
        {"addrs": [{"addr": "10.1.1.1", "if_id": 4}]},
        {"addrs": [{"addr": "2001:db8::1", "if_id": 9}]}]})";
}

Octets octets(const OctetString* os) {
    if (os == nullptr) return {};
    return Octets(os->octet_ptr, os->octet_ptr + os->length);
}

class LocalMa : public LocalTablesTest {
protected:
    void SetUp() override {
        LocalTablesTest::SetUp();
        serve(topology(true));
    }
    static lldpLocManAddrEntry_t* get(int nominator, int search, int32_t subtype, Octets addr) {
        OctetString os{addr.data(), (int32_t)addr.size()};
        return lldpmib_shim_local_ma_entry_get(7, nullptr, nominator, search, subtype, &os);
    }
    // The agent's walk of one column: NEXT from nothing, then from just past
    // each answer (its address plus one, as the instance decoder advances).
    static std::vector<Octets> walk_column(int nominator) {
        std::vector<Octets> rows;
        int32_t subtype = 0;
        Octets addr;
        for (int guard = 0; guard < 20; guard++) {
            lldpLocManAddrEntry_t* row = get(nominator, NEXT, subtype, addr);
            if (row == nullptr) break;
            subtype = row->lldpLocManAddrSubtype;
            addr = octets(row->lldpLocManAddr);
            rows.push_back(addr);
            size_t i = addr.size();
            while (i > 0 && ++addr[i - 1] == 0) i--;
            if (i == 0) subtype++, addr.clear();
        }
        return rows;
    }
};

// ---- Rows and instances ----

TEST_F(LocalMa, Ipv4RowThroughTheMethodRoutine) {
    EXPECT_EQ("1.0.8802.1.1.2.1.3.8.1.5.1.4.10.1.1.1 INTEGER 4",
              lldpmib_test::get_line({1, 0, 8802, 1, 1, 2, 1, 3, 8, 1, 5, 1, 4, 10, 1, 1, 1}));
    lldpLocManAddrEntry_t* row = get(2, EXACT, 1, {10, 1, 1, 1});
    ASSERT_NE(nullptr, row);
    EXPECT_EQ(1, row->lldpLocManAddrSubtype);
    EXPECT_EQ(Octets({10, 1, 1, 1}), octets(row->lldpLocManAddr));
    EXPECT_EQ(5, row->lldpLocManAddrLen);
    EXPECT_EQ(2, row->lldpLocManAddrIfSubtype);
    EXPECT_EQ(4, row->lldpLocManAddrIfId);
}

TEST_F(LocalMa, Ipv6RowHasLength17AndASixteenOctetInstance) {
    Oid name{1, 0, 8802, 1, 1, 2, 1, 3, 8, 1, 3, 2, 16};
    name.insert(name.end(), kV6.begin(), kV6.end());
    EXPECT_EQ(mib_router::to_text(name) + " INTEGER 17", lldpmib_test::get_line(name));
    lldpLocManAddrEntry_t* row = get(4, EXACT, 2, kV6);
    ASSERT_NE(nullptr, row);
    EXPECT_EQ(2, row->lldpLocManAddrSubtype);
    EXPECT_EQ(kV6, octets(row->lldpLocManAddr));
    EXPECT_EQ(9, row->lldpLocManAddrIfId);
}

TEST_F(LocalMa, WalkAnswersEveryAddressInIndexOrderAndNeverTheOidColumn) {
    const std::vector<Octets> order = {{10, 1, 1, 1}, {192, 0, 2, 1}, {192, 0, 2, 7}, kV6};
    for (int nominator = 2; nominator <= 4; nominator++)
        EXPECT_EQ(order, walk_column(nominator)) << "nominator " << nominator;
    EXPECT_TRUE(walk_column(5).empty());

    std::vector<std::string> ids;
    lldpmib_test::walk_visit([&](const mib_router::Binding& b) {
        if (mib_router::is_prefix(Oid{1, 0, 8802, 1, 1, 2, 1, 3, 8}, b.name))
            ids.push_back(mib_router::format(b));
        return true;
    });
    ASSERT_EQ(12u, ids.size());  // three columns of four rows
    EXPECT_EQ("1.0.8802.1.1.2.1.3.8.1.5.1.4.192.0.2.7 INTEGER 3", ids[10]);
    for (const auto& id : ids) EXPECT_EQ(std::string::npos, id.find("1.3.8.1.6."));
}

// ---- Refusals that take no lock ----

TEST_F(LocalMa, OidColumnIsRefusedBeforeTheLock) {
    for (int search : {EXACT, NEXT}) EXPECT_EQ(nullptr, get(5, search, 1, {10, 1, 1, 1}));
    auto lines = take_lines();
    EXPECT_EQ(0, count(lines, "TRACE[lldpmib_lock] "));
    EXPECT_EQ(0u, platform_fault_calls("lldp_client_get_enable"));
}

TEST_F(LocalMa, GetWithAnInvalidSubtypeIsRefusedBeforeTheLock) {
    EXPECT_EQ(nullptr, get(2, EXACT, 3, {10, 1, 1, 1}));
    auto lines = take_lines();
    ASSERT_EQ(1u, lines.size());
    EXPECT_EQ(line("TRACE", kShim, "search type: exact, addr subtype: invalid"), lines[0]);
}

TEST_F(LocalMa, NextWithAnInvalidSubtypeSearchesWithAnIpv4Key) {
    lldpLocManAddrEntry_t* row = get(2, NEXT, 3, {10, 1, 1, 1});
    ASSERT_NE(nullptr, row);
    EXPECT_EQ(Octets({10, 1, 1, 1}), octets(row->lldpLocManAddr));
    EXPECT_TRUE(has(take_lines(), verbose("length of Queried MA addr is 4\n")));
}

TEST_F(LocalMa, EntryLineNamesSearchTypeAndSubtype) {
    get(2, NEXT, 2, kV6);
    get(2, EXACT, 1, {10, 1, 1, 1});
    auto lines = take_lines();
    EXPECT_TRUE(has(lines, line("TRACE", kShim, "search type: next, addr subtype: IPv6")));
    EXPECT_TRUE(has(lines, line("TRACE", kShim, "search type: exact, addr subtype: IPv4")));
}

// ---- The cached chains ----

TEST_F(LocalMa, LaterAddressOfACachedRecordIsFoundInTheCache) {
    ASSERT_NE(nullptr, get(2, NEXT, 1, {192, 0, 2, 1}));
    lldpLocManAddrEntry_t* row = get(2, NEXT, 1, {192, 0, 2, 7});
    ASSERT_NE(nullptr, row);
    EXPECT_EQ(3, row->lldpLocManAddrIfId);
    EXPECT_EQ(1u, platform_fault_calls("lldp_client_get_next_if_local_ma"));
    EXPECT_TRUE(has(take_lines(), verbose("Addr: cached for column:2 !!!\n")));
}

TEST_F(LocalMa, LastColumnRemovesARecordOnlyAfterItsLastAddress) {
    uint32_t lists_before = kel_list_live_count();
    ASSERT_NE(nullptr, get(4, NEXT, 1, {192, 0, 2, 1}));
    EXPECT_EQ(lists_before + 1, kel_list_live_count());
    ASSERT_NE(nullptr, get(4, NEXT, 1, {192, 0, 2, 7}));
    EXPECT_EQ(lists_before, kel_list_live_count());
    EXPECT_EQ(1u, platform_fault_calls("lldp_client_get_next_if_local_ma"));
    auto lines = take_lines();
    EXPECT_EQ(1, count(lines, verbose("Removing LLDP MIB Local MA entry from Local Management "
                                      "address cache")));
    EXPECT_EQ(1, count(lines, verbose("Destroying Local Management address cache\n")));
    EXPECT_TRUE(has(lines, verbose("entry_count:2, total_entries:1\n")));
}

TEST_F(LocalMa, GetAlwaysTakesItsRecordOut) {
    ASSERT_NE(nullptr, get(2, NEXT, 1, {192, 0, 2, 1}));
    ASSERT_NE(nullptr, get(3, EXACT, 1, {192, 0, 2, 7}));  // found cached, record removed
    EXPECT_TRUE(has(take_lines(), verbose("Destroying Local Management address cache\n")));
    ASSERT_NE(nullptr, get(3, EXACT, 1, {192, 0, 2, 7}));
    EXPECT_EQ(2u, platform_fault_calls("lldp_client_get_next_if_local_ma"));
}

TEST_F(LocalMa, ExpiredSnapshotIsRebuilt) {
    ASSERT_NE(nullptr, get(2, NEXT, 1, {192, 0, 2, 1}));
    advance_clock(2);
    ASSERT_NE(nullptr, get(2, NEXT, 1, {192, 0, 2, 7}));
    EXPECT_EQ(2u, platform_fault_calls("lldp_client_get_next_if_local_ma"));
    EXPECT_TRUE(has(take_lines(),
                    verbose("current timestamp not matching cached timestamp,cache deleted\n")));
}

// The find routine over hand-made records: unspecified addresses never match.
TEST_F(LocalMa, FindPassesOverUnspecifiedAddresses) {
    auto v4 = [](uint32_t host) {
        lldp_addr_element e{};
        memcpy(e.addr, &host, 4);
        return e;
    };
    lldp_addr_element zero4 = v4(0), zero6{}, a = v4(0xC0000201), b = v4(0xC0000207);
    zero6.addr_type = 1;
    zero4.next = &zero6;
    zero6.next = &a;
    a.next = &b;
    lldp_local_ma_td rec{};
    rec.addrs = &zero4;
    kel_list_handle list = nullptr;
    ASSERT_EQ(0, kel_list_create(&list, 0, "find test", 2, 0));
    kel_list_enqueue(list, 0, nullptr);  // a node without a record is passed over
    kel_list_enqueue(list, 0, &rec);

    local_ma_search_ctx ctx{};
    lldp_addr_element key = v4(0);
    EXPECT_EQ(nullptr, lldpmib_find_local_ma_entry(list, &key, &ctx));
    key.addr_type = 1;
    EXPECT_EQ(nullptr, lldpmib_find_local_ma_entry(list, &key, &ctx));
    EXPECT_EQ(nullptr, ctx.record);
    key = v4(0xC0000207);
    EXPECT_EQ(&b, lldpmib_find_local_ma_entry(list, &key, &ctx));
    EXPECT_EQ(&rec, ctx.record);
    EXPECT_EQ(nullptr, lldpmib_find_local_ma_entry(nullptr, &key, &ctx));
    EXPECT_EQ(nullptr, lldpmib_find_local_ma_entry(list, &key, nullptr));
    ASSERT_EQ(0, kel_list_destroy(&list));
}

// ---- Address order ----

struct Order {
    uint32_t type_a;
    Octets a;
    uint32_t type_b;
    Octets b;
    int sign;
};

class AddrOrder : public ::testing::TestWithParam<Order> {};

TEST_P(AddrOrder, OrdersByTypeThenAddress) {
    const Order& o = GetParam();
    lldp_addr_element a{}, b{};
    a.addr_type = o.type_a;
    b.addr_type = o.type_b;
    if (!o.a.empty()) memcpy(a.addr, o.a.data(), o.a.size());
    if (!o.b.empty()) memcpy(b.addr, o.b.data(), o.b.size());
    int r = lldpmib_compare_addr_entry(&a, &b);
    EXPECT_EQ(o.sign, (r > 0) - (r < 0));
}

INSTANTIATE_TEST_SUITE_P(
    Pairs, AddrOrder,
    ::testing::Values(Order{0, {10, 0, 0, 1}, 1, {0x20, 0x01}, -1},  // IPv4 before IPv6
                      Order{1, {0x20, 0x01}, 0, {10, 0, 0, 1}, 1},
                      Order{0, {10, 0, 0, 1}, 0, {9, 0, 0, 2}, 1},  // octets in network order
                      Order{0, {9, 0, 0, 2}, 0, {10, 0, 0, 1}, -1},
                      Order{0, {10, 0, 0, 1}, 0, {10, 0, 0, 1}, 0},
                      Order{0, {0x80, 0, 0, 0}, 0, {0x7f, 0xff, 0xff, 0xff}, 1},  // unsigned
                      Order{1, {0x20, 0x01, 0x0d, 0xb8}, 1, {0x20, 0x01, 0x0d, 0xb9}, -1},
                      Order{1, {0xff}, 1, {0x01}, 1}, Order{2, {}, 1, {}, 1},
                      Order{1, kV6, 1, kV6, 0}));

TEST_F(LocalMa, Ipv4ComparisonIsTraced) {
    lldp_addr_element a{}, b{};
    memcpy(a.addr, "\x0a\x00\x00\x01", 4);
    memcpy(b.addr, "\x09\x00\x00\x02", 4);
    EXPECT_GT(lldpmib_compare_addr_entry(&a, &b), 0);
    EXPECT_TRUE(has(take_lines(), line("VERBOSE", "lldpmib_compare_addr_entry",
                                       "IPv4 addr1: a000001, addr2:9000002")));
}

// ---- LLDP disabled and failures ----

TEST_F(LocalMa, LldpDisabledAnswersNothingAndPurges) {
    serve(topology(false));
    EXPECT_EQ(nullptr, get(2, NEXT, 1, {}));
    EXPECT_EQ(nullptr, get(4, EXACT, 1, {10, 1, 1, 1}));
    EXPECT_EQ(0u, platform_fault_calls("lldp_client_get_next_if_local_ma"));
    EXPECT_EQ(2, count(take_lines(),
                       verbose("Purging out LLDP MIB Local Management address cache\n")));
}

TEST_F(LocalMa, PastTheLastAddressIsAnErrorAndPurges) {
    Octets past = kV6;
    past[15]++;
    EXPECT_EQ(nullptr, get(2, NEXT, 2, past));
    auto lines = take_lines();
    EXPECT_TRUE(has(lines, line("ERROR", kShim, "Error in getting next local MA addr")));
    EXPECT_TRUE(has(lines, verbose("Purging out LLDP MIB Local Management address cache\n")));
}

struct Failure {
    const char* op;
    uint64_t nth;
    const char* level;  // null: no line of its own
    const char* fn;
    const char* text;
};

class LocalMaFailure : public LocalMa, public ::testing::WithParamInterface<Failure> {};

TEST_P(LocalMaFailure, AnswersNothingReleasesTheLockAndLeaksNothing) {
    const Failure& f = GetParam();
    platform_fault_fail_nth(f.op, f.nth, 5);
    EXPECT_EQ(nullptr, get(3, NEXT, 1, {}));
    EXPECT_TRUE(lldpmib_test::module_lock_free());
    EXPECT_EQ(nullptr, lldpLocManAddrEntryData.lldpLocManAddr);
    if (f.level != nullptr) {
        EXPECT_TRUE(has_prefix(take_lines(), line(f.level, f.fn, f.text)));
    }
    expect_nothing_left();
    EXPECT_NE(nullptr, get(3, NEXT, 1, {}));
}

INSTANTIATE_TEST_SUITE_P(
    EachOperation, LocalMaFailure,
    ::testing::Values(
        Failure{"kel_list_create", 1, "MIB", kShim, "kel_list_create failed"},
        Failure{"lldp_client_get_next_if_local_ma", 1, "ERROR", kShim,
                "Error in getting next local MA addr"},
        Failure{"lldp_client_copy_local_ma_td", 1, "ERROR", kShim,
                "Error in getting next local MA addr"},
        Failure{"kel_list_enqueue", 1, "ERROR", "lldpmib_get_local_ma_td",
                "kel_list_enqueue failed"},
        Failure{"MakeOctetString", 1, nullptr, nullptr, nullptr},
        Failure{"lldp_client_get_enable", 1, "MIB", "lldpmib_shim_is_lldp_enabled",
                "Failed to determine whether LLDP is enabled"}),
    [](const ::testing::TestParamInfo<Failure>& info) {
        return std::string(info.param.op) + "_" + std::to_string(info.param.nth);
    });

// Every counted operation of a three-column walk, failed at each of its calls
// in turn: the lock is released and no copy is left.
TEST_F(LocalMa, EveryFailureOfAWalkLeavesNothingBehind) {
    for (int nominator = 2; nominator <= 4; nominator++) walk_column(nominator);
    struct Op {
        std::string name;
        uint64_t calls;
    };
    std::vector<Op> ops;
    platform_fault_for_each(
        [](const char* op, void* arg) {
            std::string name(op);
            uint64_t calls = platform_fault_calls(op);
            if (calls > 0 && name != "platform_time" && name != "_kel_dt_log_filter_adv")
                static_cast<std::vector<Op>*>(arg)->push_back({name, calls});
        },
        &ops);
    ASSERT_FALSE(ops.empty());
    for (const Op& op : ops) {
        for (uint64_t nth = 1; nth <= op.calls; nth++) {
            SCOPED_TRACE(op.name + " #" + std::to_string(nth));
            platform_fault_reset();
            platform_fault_fail_nth(op.name.c_str(), nth, 5);
            for (int nominator = 2; nominator <= 4; nominator++) walk_column(nominator);
            EXPECT_TRUE(lldpmib_test::module_lock_free());
            expect_nothing_left(op.name != "kel_list_destroy");
            lists_baseline_ = kel_list_live_count();  // lists the library refused to destroy
        }
    }
}

}  // namespace
