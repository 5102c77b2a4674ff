// The module under failures and under concurrency, on reference/all_tables.json
// (every table filled, a port without neighbours between ports with some),
// with every binding checked against the reference:
// - every platform operation a walk uses, failed at its k-th call: the walk
//   ends, answers nothing but the reference's bindings, leaves the lock free
//   and leaks nothing, and the next clean walk serves the whole MIB again;
// - several agent threads walking and GETting every table at once while the
//   clock moves: no torn or mixed rows, every GET of an existing row finds it
//   and every walk is complete (run under ThreadSanitizer too).
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <map>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "module_fixture.h"

namespace lldpmib_test {
namespace {

class RobustnessTest : public ModuleTest {
protected:
    const RefTopology* ref_ = nullptr;
    std::vector<std::string> want_;
    uint32_t copies_ = 0, lists_ = 0;

    void SetUp() override {
        ModuleTest::SetUp();
        ref_ = &use_topology(read_reference("all_tables.json"));
        want_ = reference_lines(ref_->mib);
        start();
        fresh_round();
        ASSERT_EQ(want_, walk_lines()) << "clean walk";
        // After a complete walk the snapshots are consumed; every later
        // clean walk must come back to this level.
        fresh_round();
        walk_count();
        copies_ = lldp_client_live_copies();
        lists_ = kel_list_live_count();
        take_lines();
    }
    // New counters, and a clock far enough on that every snapshot is stale.
    void fresh_round() {
        advance_clock(10);
        platform_fault_reset();
    }
    // A clean walk serves the whole MIB, frees the lock and leaves nothing
    // over.  A list whose destroy failed stays alive in the list library (the
    // module drops its handle by design): after one, that list may be left.
    void expect_clean_walk(const std::string& after, bool destroy_failed = false) {
        fresh_round();
        EXPECT_EQ(want_, walk_lines()) << "clean walk after " << after;
        EXPECT_TRUE(module_lock_free()) << after;
        EXPECT_EQ(copies_, lldp_client_live_copies()) << "client copies leaked after " << after;
        if (destroy_failed && kel_list_live_count() == lists_ + 1) ++lists_;
        EXPECT_EQ(lists_, kel_list_live_count()) << "lists leaked after " << after;
    }
};

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

TEST_F(RobustnessTest, EveryOperationFailedAtEveryCall) {
    // What SetUp's last clean walk called, and how often, is what the sweep fails.
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
                           "lldp_client_get_config", "lldp_client_iter_port_stats", "lldp_client_get_remote_stats",
                           "lldp_client_get_generation", "kel_list_create", "kel_list_insert", "MakeVarBind",
                           "InstToInt"})
        ASSERT_TRUE(ops.count(op)) << op << " not seen in a walk";

    size_t runs = 0, shortened = 0;
    for (const auto& [op, calls] : ops) {
        for (uint64_t k : sweep_points(calls)) {
            const std::string what = op + " failing at call " + std::to_string(k);
            fresh_round();
            platform_fault_fail_nth(op.c_str(), k, 5);
            std::vector<std::string> got = walk_lines();
            const bool fired = platform_fault_calls(op.c_str()) >= k;
            platform_fault_reset();
            shortened += got.size() < want_.size();
            for (const auto& line : got)
                EXPECT_EQ(ref_get(ref_->mib, *mib_router::parse_oid(line.substr(0, line.find(' ')))), line) << what;
            EXPECT_TRUE(module_lock_free()) << "lock held after the failed walk, " << what;
            expect_clean_walk(what, fired && op == "kel_list_destroy");
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

constexpr int kWalkers = 3, kGetters = 2, kWalksPerThread = 12, kGetsPerThread = 3000;
// A safety bound on the whole run, not a measure: slow sanitizers stop early.
constexpr auto kTimeBound = std::chrono::seconds(60);

class ConcurrencyTest : public RobustnessTest, public ::testing::WithParamInterface<bool> {
protected:
    void TearDown() override {
        kel_dt_configure("");
        kel_dt_set_output(0, nullptr);
        kel_dt::capture_start();
        RobustnessTest::TearDown();
    }
};

TEST_P(ConcurrencyTest, EveryBindingIsTheReferenceValue) {
    // Trace lines are formatted for real but thrown away: memory capture of a
    // long concurrent run would only measure the capture.
    kel_dt::capture_stop();
    kel_dt_set_output(1, nullptr);
    kel_dt_configure(GetParam() ? "all" : "");

    std::mutex mutex;
    std::vector<std::string> problems;  // the first few
    std::atomic<uint64_t> wrong{0};
    auto problem = [&](const std::string& text) {
        wrong++;
        std::lock_guard lock(mutex);
        if (problems.size() < 10) problems.push_back(text);
    };
    auto check = [&](const mib_router::Binding& b) {
        const std::string want = ref_get(ref_->mib, b.name);
        if (want != mib_router::format(b)) problem("got " + mib_router::format(b) + ", expected " + want);
    };
    const auto deadline = std::chrono::steady_clock::now() + kTimeBound;
    auto in_time = [&] { return std::chrono::steady_clock::now() < deadline; };
    std::vector<std::thread> threads;
    for (int w = 0; w < kWalkers; ++w)
        threads.emplace_back([&] {
            for (int i = 0; i < kWalksPerThread && in_time(); ++i) {
                size_t n = walk_visit([&](const mib_router::Binding& b) {
                    check(b);
                    return true;
                });
                if (n != want_.size()) problem("a walk saw " + std::to_string(n) + " bindings");
            }
        });
    for (int g = 0; g < kGetters; ++g)
        threads.emplace_back([&, g] {
            mib_router::Binding b;
            auto name = ref_->mib.begin();
            for (int i = 0; i < kGetsPerThread && in_time(); ++i) {
                for (int step = 0; step < 7 + g; ++step)  // a different order per getter
                    if (++name == ref_->mib.end()) name = ref_->mib.begin();
                // The daemon's data does not change: a GET of a row that
                // exists always finds it, whatever the others do meanwhile.
                if (lldpmib_router().get(name->first, &b) == mib_router::GetResult::Found)
                    check(b);
                else
                    problem("GET found nothing: " + mib_router::to_text(name->first));
            }
        });
    // The clock moves on meanwhile, so snapshots expire under the walkers.
    time_t t = advance_clock(0);
    std::atomic<bool> stop{false};
    std::thread clock([&] {
        while (!stop.load()) {
            std::this_thread::sleep_for(std::chrono::milliseconds(3));
            platform_set_fake_time(++t);
        }
    });
    for (auto& th : threads) th.join();
    stop = true;
    clock.join();

    std::string text;
    for (const auto& p : problems) text += "\n  " + p;
    EXPECT_EQ(0u, wrong.load()) << text;
    // Afterwards, alone again: the whole MIB, and nothing left over.
    kel_dt_configure("");
    advance_clock(t - advance_clock(0));
    expect_clean_walk("the concurrent run");
}

INSTANTIATE_TEST_SUITE_P(Trace, ConcurrencyTest, ::testing::Values(false, true),
                         [](const auto& info) { return info.param ? "all_flags" : "no_flags"; });

}  // namespace
}  // namespace lldpmib_test
