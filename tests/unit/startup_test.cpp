// Start-up, tear-down and the module lock.
#include <gmock/gmock.h>
#include <stdlib.h>
#include <unistd.h>

#include <barrier>
#include <filesystem>
#include <fstream>
#include <functional>
#include <sstream>
#include <string>
#include <thread>

#include "module_fixture.h"

using lldpmib_test::ModuleTest;
using lldpmib_test::module_lock_free;

namespace {

// A scratch directory that platform_access looks into instead of "/".
struct AccessRoot {
    std::filesystem::path dir = std::filesystem::path(::testing::TempDir()) / ("root-" + std::to_string(getpid()));
    explicit AccessRoot(bool tovra_library) {
        std::filesystem::create_directories(dir / "pkg" / "lib");
        if (tovra_library) std::ofstream(dir / "pkg" / "lib" / "libtovra.so");
        platform_set_access_root(dir.c_str());
    }
    ~AccessRoot() {
        platform_set_access_root(nullptr);
        std::filesystem::remove_all(dir);
    }
};

class StartupTest : public ModuleTest {
protected:
    void SetUp() override {
        ModuleTest::SetUp();
        lldpmib_tovra_available = 0;
    }
    void expect_all_released() {
        EXPECT_EQ(nullptr, lldpmib_im_handle);
        EXPECT_EQ(nullptr, lldpmib_tovra_handle);
        EXPECT_EQ(nullptr, lldpmib_intf_cache_timer_tree);
        EXPECT_EQ(nullptr, lldpmib_intf_cache_timer_parent);
        EXPECT_EQ(nullptr, lldpmib_intf_cache_timer_leaf);
        EXPECT_EQ(0u, mgd_timer_live_count());
        EXPECT_EQ(0u, platform_connection_live_count());
        EXPECT_TRUE(module_lock_free());
    }
};

// One start and stop per scenario of reference/startup.trace.txt: the fault
// armed before the start, the whole trace of the start and the stop, and
// everything released after the stop.  Then many more rounds of the same,
// untraced, with threads locking and unlocking the module between the start
// and the stop (after a failed start the tear-down has destroyed the mutex):
// the lock never trips.
struct Scenario {
    std::string name, fault;  // fault: failed on its first call after arming, or "-"
    int status = 0;
    bool tovra_library = false;  // /pkg/lib/libtovra.so present
    bool start = false;          // false: a stop without a start
    bool running = false;        // the module holds its timers after the start
    std::vector<std::string> lines;
};

std::ostream& operator<<(std::ostream& o, const Scenario& s) { return o << s.name; }

std::vector<Scenario> scenarios() {
    std::vector<Scenario> out;
    for (const std::string& line : lldpmib_test::read_reference_lines("startup.trace.txt")) {
        if (line.rfind("== ", 0) != 0) {
            if (!line.empty() && line[0] != '#') out.back().lines.push_back(line);
            continue;
        }
        std::stringstream f(line.substr(3));
        std::string status, tovra, start, running;
        Scenario s;
        f >> s.name >> s.fault >> status >> tovra >> start >> running;
        s.status = status == "UNREACHABLE" ? PLATFORM_ERR_UNREACHABLE : std::stoi(status);
        s.tovra_library = tovra == "yes";
        s.start = start == "yes";
        s.running = running == "yes";
        out.push_back(s);
    }
    return out;
}

class StartStopTest : public StartupTest, public ::testing::WithParamInterface<Scenario> {
protected:
    void start_and_stop(const Scenario& s, const std::function<void()>& between) {
        if (s.fault != "-") platform_fault_fail_nth(s.fault.c_str(), 1, s.status);
        if (s.start) init_lldpmib(nullptr, 1);
        between();
        init_lldpmib(nullptr, 0);
    }
};

TEST_P(StartStopTest, TracesEveryStepReleasesEverythingAndLocksSafelyAfterwards) {
    const Scenario& s = GetParam();
    AccessRoot root(s.tovra_library);
    take_lines();
    start_and_stop(s, [&] {
        EXPECT_EQ(s.running, lldpmib_intf_cache_timer_leaf != nullptr);
        EXPECT_EQ(s.running && s.tovra_library, lldpmib_tovra_handle != nullptr);
    });
    EXPECT_EQ(s.lines, take_lines());
    expect_all_released();

    kel_dt_configure("");
    constexpr int kThreads = 4;
    constexpr int kRounds = 2000;
    bool done = false;
    std::barrier sync(kThreads + 1);
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t) {
        threads.emplace_back([&] {
            for (;;) {
                sync.arrive_and_wait();  // started (or failed to)
                if (done) return;
                for (int i = 0; i < 4; ++i) {
                    lldpmib_lock();
                    lldpmib_unlock();
                }
                sync.arrive_and_wait();
            }
        });
    }
    for (int round = 0; round < kRounds; ++round) {
        start_and_stop(s, [&] {
            sync.arrive_and_wait();
            sync.arrive_and_wait();
        });
    }
    done = true;
    sync.arrive_and_wait();
    for (std::thread& t : threads) t.join();
    expect_all_released();
}

INSTANTIATE_TEST_SUITE_P(Scenarios, StartStopTest, ::testing::ValuesIn(scenarios()),
                         [](const auto& info) { return info.param.name; });

TEST_F(StartupTest, TimerHandlerStopsExpiredLeavesUnderTheLock) {
    start();
    mgd_timer_leaf_start(lldpmib_intf_cache_timer_leaf, 500);
    lldpmib_test::advance_clock(2);
    ASSERT_EQ(lldpmib_intf_cache_timer_leaf,
              mgd_timer_tree_first_expired(lldpmib_intf_cache_timer_tree));
    lldpmib_timer_handler(nullptr, nullptr);
    EXPECT_EQ(nullptr, mgd_timer_tree_first_expired(lldpmib_intf_cache_timer_tree));
    EXPECT_TRUE(module_lock_free());
}

using StartupDeathTest = StartupTest;

TEST_F(StartupDeathTest, RelockAndStrayUnlockStopTheProcess) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    start();
    EXPECT_DEATH(
        {
            lldpmib_lock();
            lldpmib_lock();
        },
        "int_rc == 0");
    EXPECT_DEATH(lldpmib_unlock(), "int_rc == 0");
}

}  // namespace
