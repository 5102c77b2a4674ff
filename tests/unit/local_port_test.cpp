// The local port table: search semantics, the snapshot over a walk, expiry,
// LLDP disabled, and every failure answering nothing without leaking.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "local_tables.h"
#include "mib_walker.h"
#include "platform_fault.h"

using lldpmib_test::LocalTablesTest;

namespace {

const char kShim[] = "lldpmib_shim_local_port_entry_get";

std::string line(const char* level, const char* fn, const std::string& text) {
    return std::string(level) + "[" + fn + "] " + text;
}
std::string verbose(const std::string& text) { return line("VERBOSE", kShim, text); }

std::string topology(bool enabled, const std::string& port2_id = "Gi0/0/2",
                     const std::string& port2_desc = "access") {
    std::string lldp = enabled ? R"({"enabled": true, "node_enabled": true})"
                               : R"({"enabled": false, "node_enabled": false})";
    return R"({"router_type": 25, "node_id": 1, "lldp": )" + lldp + R"(,
      "local": {"chassis_id_subtype": 4, "chassis_id": "0011.2233.4455", "sys_name": "rtr-1",
                "sys_desc": "edge router", "supported_caps": 20, "enabled_caps": 16},
      "ports": [
        {"port_num": 1, "port_id_subtype": 5, "port_id": "Gi0/0/1", "port_desc": "uplink"},
        {"port_num": 2, "port_id_subtype": 7, "port_id": ")" + port2_id + R"(", "port_desc": ")" +
           port2_desc + R"("},
        {"port_num": 5, "port_id_subtype": 5, "port_id": "Gi0/0/5", "port_desc": "phones"}]})";
}

class LocalPort : public LocalTablesTest {
protected:
    void SetUp() override {
        LocalTablesTest::SetUp();
        serve(topology(true));
    }
    static lldpLocPortEntry_t* get(int nominator, int search, int32_t port) {
        return lldpmib_shim_local_port_entry_get(7, nullptr, nominator, search, port);
    }
    // The agent's walk of one column: NEXT from 0, then from each answer + 1.
    static std::vector<uint32_t> walk_column(int nominator) {
        std::vector<uint32_t> ports;
        int32_t from = 0;
        while (lldpLocPortEntry_t* row = get(nominator, NEXT, from)) {
            ports.push_back(row->lldpLocPortNum);
            from = (int32_t)row->lldpLocPortNum + 1;
        }
        return ports;
    }
};

// ---- Search semantics ----

struct Lookup {
    int search;
    int32_t port;
    uint32_t answer;  // 0: no row
};

class LocalPortLookup : public LocalPort, public ::testing::WithParamInterface<Lookup> {};

TEST_P(LocalPortLookup, AnswersTheRowTheSearchTypeSelects) {
    const Lookup& c = GetParam();
    lldpLocPortEntry_t* row = get(2, c.search, c.port);
    if (c.answer == 0) {
        EXPECT_EQ(nullptr, row);
    } else {
        ASSERT_NE(nullptr, row);
        EXPECT_EQ(c.answer, row->lldpLocPortNum);
    }
}

INSTANTIATE_TEST_SUITE_P(
    Ports125, LocalPortLookup,
    ::testing::Values(Lookup{NEXT, 0, 1}, Lookup{NEXT, 1, 1}, Lookup{NEXT, 2, 2},
                      Lookup{NEXT, 3, 5}, Lookup{NEXT, 5, 5}, Lookup{NEXT, 6, 0},
                      Lookup{NEXT, INT32_MAX, 0}, Lookup{EXACT, 1, 1}, Lookup{EXACT, 2, 2},
                      Lookup{EXACT, 3, 0},  // the walk answers 5 for 3
                      Lookup{EXACT, 5, 5}, Lookup{EXACT, 0, 0}, Lookup{EXACT, 6, 0}));

TEST_F(LocalPort, FillsEveryColumnFromTheInterfaceRecord) {
    lldpLocPortEntry_t* row = get(1, EXACT, 2);
    ASSERT_NE(nullptr, row);
    EXPECT_EQ(2u, row->lldpLocPortNum);
    EXPECT_EQ(7, row->lldpLocPortIdSubtype);
    EXPECT_EQ("Gi0/0/2", std::string((char*)row->lldpLocPortId->octet_ptr,
                                     row->lldpLocPortId->length));
    EXPECT_EQ("access", std::string((char*)row->lldpLocPortDesc->octet_ptr,
                                    row->lldpLocPortDesc->length));
}

TEST_F(LocalPort, NextPastTheLastPortEndsTheWalkWithItsLine) {
    EXPECT_EQ(nullptr, get(2, NEXT, 6));
    auto lines = take_lines();
    EXPECT_TRUE(has(lines, verbose("End of Local port num reached\n")));
    EXPECT_TRUE(has(lines, verbose("Purging out LLDP MIB Local Port Table cache\n")));
}

TEST_F(LocalPort, PortIdIsCutTo255OctetsAndTheDescriptionIsWhole) {
    std::string long_text(300, 'x');
    serve(topology(true, long_text, long_text));
    lldpLocPortEntry_t* row = get(2, EXACT, 2);
    ASSERT_NE(nullptr, row);
    EXPECT_EQ(255, row->lldpLocPortId->length);
    EXPECT_EQ(300, row->lldpLocPortDesc->length);
}

// ---- Through the method routine ----

using mib_router::Binding;
using mib_router::Oid;

Oid column(uint32_t col) { return Oid{1, 0, 8802, 1, 1, 2, 1, 3, 7, 1, col}; }
Oid with(Oid oid, uint32_t sub) {
    oid.push_back(sub);
    return oid;
}

TEST_F(LocalPort, GetAndGetNextThroughTheMethodRoutine) {
    const auto& router = lldpmib_test::lldpmib_router();
    Binding b;
    ASSERT_EQ(mib_router::GetResult::Found, router.get(with(column(3), 1), &b));
    EXPECT_EQ(std::vector<uint8_t>({'G', 'i', '0', '/', '0', '/', '1'}), b.octets);
    EXPECT_NE(mib_router::GetResult::Found, router.get(with(column(3), 3), &b));
    EXPECT_NE(mib_router::GetResult::Found, router.get(column(3), &b));

    ASSERT_TRUE(router.next(column(2), &b));  // no instance: the first port
    EXPECT_EQ(with(column(2), 1), b.name);
    EXPECT_EQ(5, b.integer);
    ASSERT_TRUE(router.next(with(column(2), 2), &b));
    EXPECT_EQ(with(column(2), 5), b.name);
    // Past the table: whatever follows is not a port row.
    if (router.next(with(column(4), 5), &b)) {
        EXPECT_FALSE(mib_router::is_prefix(Oid{1, 0, 8802, 1, 1, 2, 1, 3, 7}, b.name));
    }
}

// ---- The snapshot over a walk ----

TEST_F(LocalPort, WalkWithinASecondFetchesEachPortOnceAndLeavesNoSnapshot) {
    uint32_t lists_before = kel_list_live_count();
    EXPECT_EQ(std::vector<uint32_t>({1, 2, 5}), walk_column(1));
    EXPECT_EQ(lists_before + 1, kel_list_live_count());
    EXPECT_EQ(std::vector<uint32_t>({1, 2, 5}), walk_column(2));
    EXPECT_EQ(std::vector<uint32_t>({1, 2, 5}), walk_column(3));

    EXPECT_EQ(3u, platform_fault_calls("lldp_client_iter_intf_running"));
    EXPECT_EQ(lists_before, kel_list_live_count());
    EXPECT_EQ(copies_baseline_, lldp_client_live_copies());

    auto lines = take_lines();
    int cached = 0;
    for (const auto& l : lines)
        if (l.rfind(verbose("Interface: "), 0) == 0 && l.find("already cached") != std::string::npos)
            cached++;
    EXPECT_EQ(6, cached);
    EXPECT_EQ(1, count(lines, verbose("Destroying LLDP MIB Local Port Table cache\n")));
    EXPECT_TRUE(has(lines, verbose("entry_count:3, total_entries:3\n")));
    for (uint32_t port : {1u, 2u, 5u})
        EXPECT_EQ(1, count(lines, verbose("Removing LLDP MIB Local Port(" + std::to_string(port) +
                                          ") entry from LLDP MIB Local Port Table cache\n")));
}

TEST_F(LocalPort, FirstLookupResetsAndASnapshotTwoSecondsOldIsRebuilt) {
    ASSERT_NE(nullptr, get(1, NEXT, 1));
    EXPECT_TRUE(has(take_lines(), verbose("Reset entry_count:0, total_entries:0\n")));

    advance_clock(1);  // still valid: found again
    ASSERT_NE(nullptr, get(2, NEXT, 1));
    EXPECT_EQ(1u, platform_fault_calls("lldp_client_iter_intf_running"));
    EXPECT_TRUE(has(take_lines(), verbose("Interface: 1 already cached for column:2 !!!\n")));

    advance_clock(2);
    ASSERT_NE(nullptr, get(2, NEXT, 1));
    EXPECT_EQ(2u, platform_fault_calls("lldp_client_iter_intf_running"));
    EXPECT_TRUE(has(take_lines(),
                    verbose("current timestamp not matching cached timestamp,cache deleted\n")));
}

TEST_F(LocalPort, GetTakesItsCopyOutOfTheSnapshot) {
    uint32_t lists_before = kel_list_live_count();
    ASSERT_NE(nullptr, get(1, EXACT, 2));
    EXPECT_EQ(lists_before, kel_list_live_count());
    EXPECT_TRUE(has(take_lines(), verbose("Destroying LLDP MIB Local Port Table cache\n")));
    ASSERT_NE(nullptr, get(1, EXACT, 2));
    EXPECT_EQ(2u, platform_fault_calls("lldp_client_iter_intf_running"));
}

TEST_F(LocalPort, LldpDisabledAnswersNothingAndPurges) {
    serve(topology(false));
    EXPECT_EQ(nullptr, get(1, NEXT, 0));
    EXPECT_EQ(nullptr, get(3, EXACT, 1));
    EXPECT_EQ(0u, platform_fault_calls("lldp_client_get_next_if_local"));
    auto lines = take_lines();
    EXPECT_EQ(2, count(lines, verbose("Purging out LLDP MIB Local Port Table cache\n")));
    EXPECT_TRUE(has(lines, line("MIB", "lldpmib_shim_is_lldp_enabled",
                                "LLDP disabled, no interface info returned")));
}

// ---- Records that cannot be fetched ----

TEST_F(LocalPort, NextSkipsAPortWhoseRecordCannotBeFetched) {
    platform_fault_fail_nth("lldp_client_iter_intf_running", 1, 5);
    lldpLocPortEntry_t* row = get(1, NEXT, 2);
    ASSERT_NE(nullptr, row);
    EXPECT_EQ(5u, row->lldpLocPortNum);
    EXPECT_TRUE(has(take_lines(), line("ERROR", kShim,
                                       "Failed retrieving lldpLocPortEntry datafor ifIndex 2")));
}

TEST_F(LocalPort, GetOfAPortWhoseRecordCannotBeFetchedAnswersNothing) {
    platform_fault_fail_nth("lldp_client_iter_intf_running", 1, 5);
    EXPECT_EQ(nullptr, get(1, EXACT, 2));
    EXPECT_EQ(1u, platform_fault_calls("lldp_client_iter_intf_running"));
}

// One failure per case, on a GET of port 1: nothing answered, the lock free,
// and nothing left once the snapshots are emptied.
struct Failure {
    const char* op;
    uint64_t nth;
    const char* level;  // the line that reports it, with fn
    const char* fn;
    const char* text;
};

class LocalPortFailure : public LocalPort, public ::testing::WithParamInterface<Failure> {};

TEST_P(LocalPortFailure, AnswersNothingReleasesTheLockAndLeaksNothing) {
    const Failure& f = GetParam();
    platform_fault_fail_nth(f.op, f.nth, 5);
    EXPECT_EQ(nullptr, get(2, EXACT, 1));
    EXPECT_TRUE(lldpmib_test::module_lock_free());
    EXPECT_EQ(nullptr, lldpLocPortEntryData.lldpLocPortId);
    if (f.level != nullptr) {
        EXPECT_TRUE(has_prefix(take_lines(), line(f.level, f.fn, f.text))) << f.op;
    }
    expect_nothing_left();
    // The failure was transient: the next lookup answers.
    EXPECT_NE(nullptr, get(2, EXACT, 1));
}

INSTANTIATE_TEST_SUITE_P(
    EachOperation, LocalPortFailure,
    ::testing::Values(
        Failure{"kel_list_create", 1, "MIB", kShim, "kel_list_create failed"},
        Failure{"lldp_client_get_next_if_local", 1, "ERROR", kShim,
                "Error in getting next_port_numif_index: 1"},
        Failure{"lldp_client_iter_intf_running", 1, "ERROR", kShim,
                "Failed retrieving lldpLocPortEntry datafor ifIndex 1"},
        Failure{"lldp_client_copy_interface_td", 1, "ERROR", kShim,
                "Failed retrieving lldpLocPortEntry datafor ifIndex 1"},
        Failure{"kel_list_enqueue", 1, "MIB", "lldpmib_get_interface_td",
                "kel_list_enqueue failed"},
        Failure{"MakeOctetStringFromText", 1, nullptr, nullptr, nullptr},
        Failure{"MakeOctetStringFromText", 2, nullptr, nullptr, nullptr},
        Failure{"lldp_client_get_enable", 1, "MIB", "lldpmib_shim_is_lldp_enabled",
                "Failed to determine whether LLDP is enabled, assuming that it is disabled, no "
                "interface info returned, error: "}),
    [](const ::testing::TestParamInfo<Failure>& info) {
        return std::string(info.param.op) + "_" + std::to_string(info.param.nth);
    });

TEST_F(LocalPort, FailedListCreationLeavesNoListAndTheNextLookupStartsOver) {
    platform_fault_fail_nth("kel_list_create", 1, 12);
    uint32_t lists_before = kel_list_live_count();
    EXPECT_EQ(nullptr, get(1, NEXT, 0));
    EXPECT_EQ(lists_before, kel_list_live_count());
    auto lines = take_lines();
    EXPECT_FALSE(has(lines, verbose("Purging out LLDP MIB Local Port Table cache\n")));
    EXPECT_NE(nullptr, get(1, NEXT, 0));
    EXPECT_TRUE(has(take_lines(), verbose("Reset entry_count:0, total_entries:0\n")));
}

TEST_F(LocalPort, FailedListDestroyIsReportedAndTheHandleCleared) {
    platform_fault_fail_nth("kel_list_destroy", 1, 16);
    ASSERT_NE(nullptr, get(1, EXACT, 1));
    EXPECT_TRUE(has(take_lines(), line("MIB", kShim, "kel_list_destroy failed")));
    EXPECT_EQ(copies_baseline_, lldp_client_live_copies());
    // The next lookup builds a new list: the old handle is not used again.
    ASSERT_NE(nullptr, get(1, NEXT, 0));
    EXPECT_TRUE(has(take_lines(), verbose("Reset entry_count:0, total_entries:0\n")));
    expect_nothing_left(false);  // the list the library refused to destroy stays
    served_ = false;
}

// Every counted operation of a full walk, failed at each of its calls in
// turn: whatever the walk answers, the lock is released and no copy is left.
TEST_F(LocalPort, EveryFailureOfAWalkLeavesNothingBehind) {
    for (int col = 1; col <= 3; col++) walk_column(col);
    struct Op {
        std::string name;
        uint64_t calls;
    };
    std::vector<Op> ops;
    platform_fault_for_each(
        [](const char* op, void* arg) {
            auto* v = static_cast<std::vector<Op>*>(arg);
            uint64_t calls = platform_fault_calls(op);
            std::string name(op);
            if (calls > 0 && name != "platform_time" && name != "_kel_dt_log_filter_adv")
                v->push_back({name, calls});
        },
        &ops);
    ASSERT_FALSE(ops.empty());
    for (const Op& op : ops) {
        for (uint64_t nth = 1; nth <= op.calls; nth++) {
            SCOPED_TRACE(op.name + " #" + std::to_string(nth));
            platform_fault_reset();
            platform_fault_fail_nth(op.name.c_str(), nth, 5);
            for (int col = 1; col <= 3; col++) walk_column(col);
            EXPECT_TRUE(lldpmib_test::module_lock_free());
            expect_nothing_left(op.name != "kel_list_destroy");
            lists_baseline_ = kel_list_live_count();  // lists the library refused to destroy
        }
    }
}

}  // namespace
