// Every platform operation a walk uses, failed at its k-th call: the walk must
// end, answer nothing but the reference's bindings, leave the lock free
// and leak nothing, and the next clean walk must serve the whole MIB again.
#include <gtest/gtest.h>

#include <map>
#include <string>
#include <vector>

#include "mib_walker.h"
#include "module_fixture.h"
#include "platform_fault.h"

namespace lldpmib_test {
namespace {

// Every call up to this many is failed in turn; beyond it, calls are sampled.
constexpr uint64_t kExhaustive = 48;

// The k values swept for an operation called `calls` times in a clean walk.
std::vector<uint64_t> sweep_points(uint64_t calls) {
    std::vector<uint64_t> ks;
    for (uint64_t k = 1; k <= calls + 1 && k <= kExhaustive; ++k) ks.push_back(k);
    for (uint64_t k = kExhaustive + 1; k <= calls + 1; k += k / 3) ks.push_back(k);
    if (calls + 1 > kExhaustive && ks.back() != calls) ks.push_back(calls);
    return ks;
}

class FaultSweepTest : public ModuleTest {
protected:
    // New counters, and a clock far enough on that every snapshot is stale.
    void fresh_round() {
        advance_clock(10);
        platform_fault_reset();
    }
};

TEST_F(FaultSweepTest, EveryOperationFailedAtEveryCall) {
    // Every table filled, and a port without neighbours between ports with some.
    const RefTopology& ref = use_topology(read_reference("all_tables.json"));
    const std::vector<std::string> want = reference_lines(ref.mib);
    start();
    fresh_round();
    ASSERT_EQ(want, walk_lines()) << "clean walk";
    // After a complete walk the snapshots are consumed; every later clean
    // walk must come back to this level.  The clean walk's operations and
    // their call counts are what the sweep fails.
    fresh_round();
    walk_count();
    std::map<std::string, uint64_t> ops;
    platform_fault_for_each(
        [](const char* op, void* arg) {
            if (uint64_t calls = platform_fault_calls(op))
                (*static_cast<std::map<std::string, uint64_t>*>(arg))[op] = calls;
        },
        &ops);
    ops.erase("platform_set_fake_time");  // the test's own instrument
    for (const char* op : {"lldp_client_iter_ne", "lldp_client_copy_neighbor_td", "lldp_client_iter_intf_running",
                           "lldp_client_get_next_if_local_ma", "lldp_client_get_local_system_data",
                           "kel_list_create", "kel_list_insert", "MakeVarBind", "InstToInt"})
        ASSERT_TRUE(ops.count(op)) << op << " not seen in a walk";
    uint32_t copies = lldp_client_live_copies(), lists = kel_list_live_count();
    take_lines();

    size_t runs = 0, shortened = 0;
    for (const auto& [op, calls] : ops) {
        for (uint64_t k : sweep_points(calls)) {
            SCOPED_TRACE(op + " failing at call " + std::to_string(k));
            fresh_round();
            platform_fault_fail_nth(op.c_str(), k, 5);
            std::vector<std::string> got = walk_lines();
            const bool fired = platform_fault_calls(op.c_str()) >= k;
            platform_fault_reset();
            shortened += got.size() < want.size();
            for (const auto& line : got)
                EXPECT_EQ(ref_get(ref.mib, *mib_router::parse_oid(line.substr(0, line.find(' ')))), line);
            EXPECT_TRUE(module_lock_free()) << "lock held after the failed walk";
            // The clean walk after it purges the stale snapshots, serves the
            // whole MIB and leaves nothing over.  A list whose destroy failed
            // stays alive in the list library (the module drops its handle by
            // design), so such a run may leave exactly that one list behind.
            fresh_round();
            EXPECT_EQ(want, walk_lines()) << "clean walk after the failure differs";
            EXPECT_TRUE(module_lock_free());
            EXPECT_EQ(copies, lldp_client_live_copies()) << "client copies leaked";
            if (fired && op == "kel_list_destroy" && kel_list_live_count() == lists + 1) ++lists;
            EXPECT_EQ(lists, kel_list_live_count()) << "lists leaked";
            take_lines();
            ++runs;
            if (HasFailure()) return;  // one story is enough
            if (!fired) break;         // the walk completed without reaching call k
        }
    }
    RecordProperty("runs", static_cast<int>(runs));
    // The injected failures reach the module: many runs lose bindings.
    EXPECT_GT(shortened, runs / 4) << "of " << runs << " runs";
}

}  // namespace
}  // namespace lldpmib_test
