// Several agent threads walking and GETting every table at once while the
// clock moves: every binding any of them gets must be the reference model's
// value for that name (no torn or mixed rows).  Run under ThreadSanitizer to catch
// data races as well.
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <map>
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

constexpr int kWalkers = 3;
constexpr int kGetters = 2;
constexpr int kWalksPerThread = 12;
constexpr int kGetsPerThread = 3000;
// A safety bound on the whole run, not a measure: slow sanitizers stop early.
constexpr auto kTimeBound = std::chrono::seconds(60);

struct Verdicts {
    std::atomic<uint64_t> checked{0}, wrong{0}, unknown{0}, missed_gets{0};
    std::atomic<uint64_t> walks{0}, complete_walks{0};
    std::mutex mutex;
    std::vector<std::string> first_problems;

    void problem(const std::string& text) {
        std::lock_guard lock(mutex);
        if (first_problems.size() < 10) first_problems.push_back(text);
    }
};

class ConcurrencyTest : public ModuleTest, public ::testing::WithParamInterface<bool> {
protected:
    void SetUp() override {
        ModuleTest::SetUp();
        const RefTopology ref = use_topology(read_reference("all_tables.json"));
        for (const auto& line : reference_lines(ref.mib)) reference_.emplace(line.substr(0, line.find(' ')), line);
        for (const auto& [name, value] : ref.mib) names_.emplace_back(name.begin(), name.end());
        start();
        set_debug("");
        advance_clock(10);
        walk_count();  // the level of copies and lists once every snapshot has been consumed
        advance_clock(10);
        walk_count();
        copies_ = lldp_client_live_copies();
        lists_ = kel_list_live_count();
        take_lines();
        // Trace lines are formatted for real but thrown away: memory capture
        // of a long concurrent run would only measure the capture.
        kel_dt::capture_stop();
        kel_dt_set_output(1, nullptr);
        set_debug(GetParam() ? "all" : "");
    }

    void TearDown() override {
        set_debug("");
        kel_dt_set_output(0, nullptr);
        kel_dt::capture_start();
        ModuleTest::TearDown();
    }

    void check(const mib_router::Binding& b, Verdicts* v) {
        v->checked++;
        auto it = reference_.find(mib_router::to_text(b.name));
        if (it == reference_.end()) {
            v->unknown++;
            v->problem("not in the MIB: " + mib_router::format(b));
        } else if (it->second != mib_router::format(b)) {
            v->wrong++;
            v->problem("got " + mib_router::format(b) + ", expected " + it->second);
        }
    }

    std::map<std::string, std::string> reference_;  // name -> line, from the reference model
    std::vector<mib_router::Oid> names_;
    uint32_t copies_ = 0, lists_ = 0;
};

TEST_P(ConcurrencyTest, EveryBindingIsTheTopologysValue) {
    Verdicts v;
    auto deadline = std::chrono::steady_clock::now() + kTimeBound;
    std::atomic<bool> stop{false};
    std::vector<std::thread> threads;
    for (int w = 0; w < kWalkers; ++w)
        threads.emplace_back([&] {
            for (int i = 0; i < kWalksPerThread && std::chrono::steady_clock::now() < deadline; ++i) {
                size_t n = walk_visit([&](const mib_router::Binding& b) {
                    check(b, &v);
                    return true;
                });
                v.walks++;
                if (n == reference_.size()) v.complete_walks++;
            }
        });
    for (int g = 0; g < kGetters; ++g)
        threads.emplace_back([&, g] {
            std::mt19937 rng(1234 + g);
            std::uniform_int_distribution<size_t> pick(0, names_.size() - 1);
            mib_router::Binding b;
            for (int i = 0; i < kGetsPerThread && std::chrono::steady_clock::now() < deadline; ++i) {
                const mib_router::Oid& name = names_[pick(rng)];
                if (lldpmib_router().get(name, &b) == mib_router::GetResult::Found) {
                    check(b, &v);
                } else {
                    v.missed_gets++;
                    v.problem("GET found nothing: " + mib_router::to_text(name));
                }
            }
        });
    // The clock moves on meanwhile, so snapshots expire under the walkers.
    time_t t = now();
    std::thread clock([&] {
        while (!stop.load()) {
            std::this_thread::sleep_for(std::chrono::milliseconds(3));
            platform_set_fake_time(++t);
        }
    });
    for (auto& t : threads) t.join();
    stop = true;
    clock.join();

    std::string problems;
    for (const auto& p : v.first_problems) problems += "\n  " + p;
    EXPECT_GT(v.checked.load(), 0u);
    EXPECT_EQ(0u, v.wrong.load()) << problems;
    EXPECT_EQ(0u, v.unknown.load()) << problems;
    // The daemon's data does not change: a GET of a row that exists always
    // finds it, whatever the other threads do to the snapshots.
    EXPECT_EQ(0u, v.missed_gets.load()) << problems;
    // Every walk saw every binding, whatever the others asked meanwhile.
    EXPECT_GT(v.walks.load(), 0u);
    EXPECT_EQ(v.walks.load(), v.complete_walks.load()) << problems;

    // Afterwards, alone again: the whole MIB, and nothing left over once the
    // snapshots have expired.
    set_debug("");
    advance_clock(t - now() + 100);
    EXPECT_EQ(reference_, walk_map());
    EXPECT_EQ(copies_, lldp_client_live_copies());
    EXPECT_EQ(lists_, kel_list_live_count());
}

INSTANTIATE_TEST_SUITE_P(Trace, ConcurrencyTest, ::testing::Values(false, true),
                         [](const auto& info) { return info.param ? "all_flags" : "no_flags"; });

}  // namespace
}  // namespace lldpmib_test
