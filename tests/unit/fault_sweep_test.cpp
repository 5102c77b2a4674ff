// Every platform operation a walk uses, failed at its k-th call: the walk must
// end, answer nothing false, leave the lock free and leak nothing, and the next
// clean walk must serve the whole MIB again.
#include <gtest/gtest.h>

#include <map>
#include <set>
#include <string>
#include <vector>

#include "lldp_client_model.h"
#include "mib_walker.h"
#include "module_fixture.h"
#include "platform_fault.h"
#include "topology_gen.h"

namespace lldpmib_test {
namespace {

// The test's own instruments, not the module's operations.
const std::set<std::string> kNotSwept = {"platform_set_fake_time"};

// Every call up to this many is failed in turn; beyond it, calls are sampled.
constexpr uint64_t kExhaustive = 48;
constexpr int kStatus = 5;

std::shared_ptr<lldp_model::topology> sweep_topology(topology_shape* shape) {
    shape->ports = 3;
    shape->neighbors_per_port = 2;
    shape->addrs_per_neighbor = 3;
    shape->unknown_tlvs_per_neighbor = 2;
    shape->org_tlvs_per_neighbor = 2;
    shape->local_addr_records = 2;
    auto t = make_topology(*shape);
    // A port without neighbours, between ports that have some.
    lldp_model::port quiet;
    quiet.port_num = 9;
    quiet.port_id = "Gi0/0/0/9";
    quiet.port_desc = "no neighbours";
    t->ports.push_back(quiet);
    lldp_model::port last = t->ports[2];
    last.port_num = 12;
    last.port_id = "Gi0/0/0/12";
    t->ports.push_back(last);
    return t;
}

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
    void SetUp() override {
        ModuleTest::SetUp();
        topology_shape shape;
        use_topology_model(sweep_topology(&shape));
        // Ports 9 and 12: a local port row each, and port 12's two neighbours.
        expected_ = expected_bindings(shape) + 2 * 3 +
                    2 * (9 + 3 * shape.addrs_per_neighbor + shape.unknown_tlvs_per_neighbor +
                         shape.org_tlvs_per_neighbor);
        start();
        fresh_round();
        reference_ = walk_lines();
        for (const auto& line : reference_) by_name_.emplace(line.substr(0, line.find(' ')), line);
        // After a complete walk the snapshots are consumed; this is the level
        // every later clean walk must come back to.
        fresh_round();
        walk_count();
        copies_ = lldp_client_live_copies();
        lists_ = kel_list_live_count();
        take_lines();
    }

    void use_topology_model(std::shared_ptr<lldp_model::topology> t) { lldp_client_use_topology(t); }

    // New counters, and a clock far enough on that every snapshot is stale.
    void fresh_round() {
        advance_clock(10);
        platform_fault_reset();
    }

    // Operations a clean walk calls, with their call counts.
    std::map<std::string, uint64_t> operations_of_a_walk() {
        fresh_round();
        walk_count();
        std::map<std::string, uint64_t> ops;
        platform_fault_for_each(
            [](const char* op, void* arg) {
                uint64_t calls = platform_fault_calls(op);
                if (calls) (*static_cast<std::map<std::string, uint64_t>*>(arg))[op] = calls;
            },
            &ops);
        for (const auto& name : kNotSwept) ops.erase(name);
        take_lines();
        return ops;
    }

    // A walk with op failing at its k-th call.  Whatever it returns must be
    // true; false when the failure never fired (the walk called op fewer times).
    bool failed_walk(const std::string& op, uint64_t k) {
        fresh_round();
        platform_fault_fail_nth(op.c_str(), k, kStatus);
        std::vector<std::string> got = walk_lines();
        bool fired = platform_fault_calls(op.c_str()) >= k;
        platform_fault_reset();
        if (got.size() < reference_.size()) ++shortened_;
        for (const auto& line : got) {
            auto it = by_name_.find(line.substr(0, line.find(' ')));
            if (it == by_name_.end())
                ADD_FAILURE() << "binding not in the MIB: " << line;
            else
                EXPECT_EQ(it->second, line) << "wrong value";
        }
        EXPECT_TRUE(module_lock_free()) << "lock held after the failed walk";
        return fired;
    }

    // The clean walk after a failure: stale snapshots are purged by it, the
    // whole MIB comes back, and nothing is left over.  A list whose destroy
    // failed stays alive in the list library (the module drops its handle by
    // design), so such a run may leave exactly that one list behind.
    void check_recovered(bool failed_destroy) {
        fresh_round();
        EXPECT_EQ(reference_, walk_lines()) << "clean walk after the failure differs";
        EXPECT_TRUE(module_lock_free());
        EXPECT_EQ(copies_, lldp_client_live_copies()) << "client copies leaked";
        uint32_t lists = kel_list_live_count();
        if (failed_destroy && lists == lists_ + 1) lists_ = lists;
        EXPECT_EQ(lists_, lists) << "lists leaked";
        take_lines();
    }

    uint64_t expected_ = 0;
    size_t shortened_ = 0;  // failed walks that lost bindings
    std::vector<std::string> reference_;
    std::map<std::string, std::string> by_name_;
    uint32_t copies_ = 0, lists_ = 0;
};

TEST_F(FaultSweepTest, ReferenceWalkServesEveryTable) {
    EXPECT_EQ(expected_, reference_.size());
    // One object of each served table appears.
    for (const char* column :
         {"1.0.8802.1.1.2.1.3.1.0 ", "1.0.8802.1.1.2.1.3.7.1.2.", "1.0.8802.1.1.2.1.3.8.1.3.",
          "1.0.8802.1.1.2.1.4.1.1.4.", "1.0.8802.1.1.2.1.4.2.1.3.", "1.0.8802.1.1.2.1.4.3.1.2.",
          "1.0.8802.1.1.2.1.4.4.1.4."}) {
        bool seen = false;
        for (const auto& line : reference_) seen |= line.rfind(column, 0) == 0;
        EXPECT_TRUE(seen) << column;
    }
}

TEST_F(FaultSweepTest, WalkUsesClientListAndValueOperations) {
    auto ops = operations_of_a_walk();
    for (const char* op : {"lldp_client_iter_ne", "lldp_client_copy_neighbor_td",
                           "lldp_client_iter_intf_running", "lldp_client_get_next_if_local_ma",
                           "lldp_client_get_local_system_data", "kel_list_create",
                           "kel_list_insert", "MakeVarBind", "InstToInt"})
        EXPECT_TRUE(ops.count(op)) << op << " not seen in a walk";
}

TEST_F(FaultSweepTest, EveryOperationFailedAtEveryCall) {
    auto ops = operations_of_a_walk();
    ASSERT_FALSE(ops.empty());
    size_t runs = 0;
    for (const auto& [op, calls] : ops) {
        for (uint64_t k : sweep_points(calls)) {
            SCOPED_TRACE(op + " failing at call " + std::to_string(k));
            bool fired = failed_walk(op, k);
            check_recovered(fired && op == "kel_list_destroy");
            ++runs;
            if (::testing::Test::HasFailure()) return;  // one story is enough
            if (!fired) break;  // the walk completed without reaching call k
        }
    }
    RecordProperty("runs", static_cast<int>(runs));
    // The injected failures reach the module: many runs lose bindings.
    EXPECT_GT(shortened_, runs / 4) << "of " << runs << " runs";
}

}  // namespace
}  // namespace lldpmib_test
