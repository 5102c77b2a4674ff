#include <gtest/gtest.h>

#include <algorithm>
#include <set>
#include <atomic>
#include <string>
#include <thread>
#include <vector>

#include "platform_fault.h"

namespace {

class FaultTest : public ::testing::Test {
protected:
    void SetUp() override { platform_fault_reset(); }
    void TearDown() override { platform_fault_reset(); }
};

// One call site per op name, as the platform layers have.
int call(const char* op) { return platform_fault_check(platform_fault_point_get(op)); }

// Statuses of n successive calls of op.
std::vector<int> run(const char* op, int n) {
    std::vector<int> out;
    for (int i = 0; i < n; ++i) out.push_back(call(op));
    return out;
}

struct NthCase {
    int calls_before;  // calls made before arming
    uint64_t nth;
    int expected_failing_call;  // 1-based, counted after arming
};

class FaultNthTest : public FaultTest, public ::testing::WithParamInterface<NthCase> {};

TEST_P(FaultNthTest, FailsExactlyTheNthCallFromNowOnce) {
    const NthCase& c = GetParam();
    run("nth_op", c.calls_before);
    platform_fault_fail_nth("nth_op", c.nth, 7);
    std::vector<int> got = run("nth_op", 8);
    std::vector<int> want(8, 0);
    want[c.expected_failing_call - 1] = 7;
    EXPECT_EQ(want, got);
    EXPECT_EQ(static_cast<uint64_t>(c.calls_before + 8), platform_fault_calls("nth_op"));
}

INSTANTIATE_TEST_SUITE_P(Cases, FaultNthTest,
                         ::testing::Values(NthCase{0, 1, 1}, NthCase{0, 5, 5}, NthCase{3, 1, 1},
                                           NthCase{3, 2, 2}, NthCase{10, 8, 8}));

TEST_F(FaultTest, SeveralNthFailuresOfOneOpAllFire) {
    platform_fault_fail_nth("multi_op", 4, 11);
    platform_fault_fail_nth("multi_op", 2, 22);
    EXPECT_EQ((std::vector<int>{0, 22, 0, 11, 0, 0}), run("multi_op", 6));
}

TEST_F(FaultTest, ArmingOneOpLeavesOthersAlone) {
    platform_fault_fail_nth("armed_op", 1, 3);
    platform_fault_fail_always("always_armed_op", 4);
    EXPECT_EQ((std::vector<int>{0, 0}), run("quiet_op", 2));
    EXPECT_EQ(3, call("armed_op"));
}

TEST_F(FaultTest, AlwaysFailsEveryCallUntilDisarmedAndStillCounts) {
    platform_fault_fail_always("always_op", 9);
    EXPECT_EQ((std::vector<int>{9, 9, 9}), run("always_op", 3));
    platform_fault_fail_always("always_op", 0);
    EXPECT_EQ((std::vector<int>{0, 0}), run("always_op", 2));
    EXPECT_EQ(5u, platform_fault_calls("always_op"));
}

TEST_F(FaultTest, ArmingBeforeTheFirstCallWorks) {
    platform_fault_fail_nth("never_called_yet", 1, 5);
    EXPECT_EQ(5, call("never_called_yet"));
}

TEST_F(FaultTest, ResetDisarmsEverythingAndZeroesCounters) {
    run("reset_a", 3);
    platform_fault_fail_nth("reset_a", 2, 1);
    platform_fault_fail_always("reset_b", 1);
    platform_fault_reset();
    EXPECT_EQ(0u, platform_fault_calls("reset_a"));
    EXPECT_EQ(0u, platform_fault_calls("reset_b"));
    EXPECT_EQ((std::vector<int>{0, 0, 0}), run("reset_a", 3));
    EXPECT_EQ((std::vector<int>{0, 0, 0}), run("reset_b", 3));
    // Counting restarts from zero, so nth is relative to the reset.
    platform_fault_fail_nth("reset_a", 1, 6);
    EXPECT_EQ(6, call("reset_a"));
}

TEST_F(FaultTest, MacroKeepsOnePointPerSiteAndSitesShareTheOpCounter) {
    auto site_a = [] { return PLATFORM_FAULT("macro_op"); };
    auto site_b = [] { return PLATFORM_FAULT("macro_op"); };
    site_a();
    site_a();
    site_b();
    EXPECT_EQ(3u, platform_fault_calls("macro_op"));
    platform_fault_fail_nth("macro_op", 2, 8);
    EXPECT_EQ(0, site_b());
    EXPECT_EQ(8, site_a());
}

TEST_F(FaultTest, ForEachListsEveryCreatedPointAndAllowsArmingFromTheCallback) {
    call("sweep_one");
    platform_fault_fail_always("sweep_two", 0);  // arming creates the point too
    EXPECT_EQ(0u, platform_fault_calls("sweep_never"));  // asking does not
    std::vector<std::string> names;
    platform_fault_for_each(
        [](const char* op, void* arg) {
            static_cast<std::vector<std::string>*>(arg)->push_back(op);
            platform_fault_fail_nth(op, 1, 1);  // must not deadlock
        },
        &names);
    auto has = [&](const char* n) { return std::find(names.begin(), names.end(), n) != names.end(); };
    EXPECT_TRUE(has("sweep_one"));
    EXPECT_TRUE(has("sweep_two"));
    EXPECT_FALSE(has("sweep_never"));
    EXPECT_EQ(std::set<std::string>(names.begin(), names.end()).size(), names.size());
    EXPECT_EQ(1, call("sweep_one"));
}

TEST_F(FaultTest, CountingAndNthFailureAreExactUnderConcurrency) {
    constexpr int kThreads = 4;
    constexpr int kCalls = 20000;
    platform_fault_fail_nth("mt_op", kThreads * kCalls / 2, 13);
    std::atomic<int> failures{0};
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t)
        threads.emplace_back([&] {
            for (int i = 0; i < kCalls; ++i)
                if (PLATFORM_FAULT("mt_op") == 13) failures.fetch_add(1);
        });
    for (auto& th : threads) th.join();
    EXPECT_EQ(static_cast<uint64_t>(kThreads * kCalls), platform_fault_calls("mt_op"));
    EXPECT_EQ(1, failures.load());
}

}  // namespace
