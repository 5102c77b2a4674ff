// Several agent threads walking and GETting every table at once while the
// clock moves: every binding any of them gets must be the reference's
// value for that name (no torn or mixed rows), every GET of an existing row
// finds it and every walk is complete.  Run under ThreadSanitizer to catch
// data races as well.
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <mutex>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include "kel_dt.h"
#include "mib_walker.h"
#include "module_fixture.h"

namespace lldpmib_test {
namespace {

constexpr int kWalkers = 3, kGetters = 2, kWalksPerThread = 12, kGetsPerThread = 3000;
// A safety bound on the whole run, not a measure: slow sanitizers stop early.
constexpr auto kTimeBound = std::chrono::seconds(60);

class ConcurrencyTest : public ModuleTest, public ::testing::WithParamInterface<bool> {
protected:
    void TearDown() override {
        set_debug("");
        kel_dt_set_output(0, nullptr);
        kel_dt::capture_start();
        ModuleTest::TearDown();
    }

    std::atomic<uint64_t> checked_{0}, walks_{0}, wrong_{0};
    std::mutex mutex_;
    std::vector<std::string> problems_;  // the first few

    void problem(const std::string& text) {
        wrong_++;
        std::lock_guard lock(mutex_);
        if (problems_.size() < 10) problems_.push_back(text);
    }
};

TEST_P(ConcurrencyTest, EveryBindingIsTheReferenceValue) {
    const RefTopology& ref = use_topology(read_reference("all_tables.json"));
    std::vector<mib_router::Oid> names;
    for (const auto& binding : ref.mib) names.push_back(binding.first);
    start();
    set_debug("");
    // The level of copies and lists once every snapshot has been consumed.
    for (int i = 0; i < 2; ++i) {
        advance_clock(10);
        walk_count();
    }
    const uint32_t copies = lldp_client_live_copies(), lists = kel_list_live_count();
    take_lines();
    // Trace lines are formatted for real but thrown away: memory capture of a
    // long concurrent run would only measure the capture.
    kel_dt::capture_stop();
    kel_dt_set_output(1, nullptr);
    set_debug(GetParam() ? "all" : "");

    auto check = [&](const mib_router::Binding& b) {
        checked_++;
        const std::string want = ref_get(ref.mib, b.name);
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
                walks_++;
                if (n != ref.mib.size()) problem("a walk saw " + std::to_string(n) + " bindings");
            }
        });
    for (int g = 0; g < kGetters; ++g)
        threads.emplace_back([&, g] {
            std::mt19937 rng(1234 + g);
            std::uniform_int_distribution<size_t> pick(0, names.size() - 1);
            mib_router::Binding b;
            for (int i = 0; i < kGetsPerThread && in_time(); ++i) {
                const mib_router::Oid& name = names[pick(rng)];
                // The daemon's data does not change: a GET of a row that
                // exists always finds it, whatever the others do meanwhile.
                if (lldpmib_router().get(name, &b) == mib_router::GetResult::Found)
                    check(b);
                else
                    problem("GET found nothing: " + mib_router::to_text(name));
            }
        });
    // The clock moves on meanwhile, so snapshots expire under the walkers.
    time_t t = now();
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

    std::string problems;
    for (const auto& p : problems_) problems += "\n  " + p;
    EXPECT_GT(checked_.load(), 0u);
    EXPECT_GT(walks_.load(), 0u);
    EXPECT_EQ(0u, wrong_.load()) << problems;
    // Afterwards, alone again: the whole MIB, and nothing left over once the
    // snapshots have expired.
    set_debug("");
    advance_clock(t - now() + 100);
    EXPECT_EQ(reference_lines(ref.mib), walk_lines());
    EXPECT_EQ(copies, lldp_client_live_copies());
    EXPECT_EQ(lists, kel_list_live_count());
}

INSTANTIATE_TEST_SUITE_P(Trace, ConcurrencyTest, ::testing::Values(false, true),
                         [](const auto& info) { return info.param ? "all_flags" : "no_flags"; });

}  // namespace
}  // namespace lldpmib_test
