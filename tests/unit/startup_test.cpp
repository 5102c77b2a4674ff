// Start-up, tear-down and the module lock.
#include <gmock/gmock.h>
#include <stdlib.h>
#include <unistd.h>

#include <barrier>
#include <functional>
#include <string>
#include <thread>

#include "module_fixture.h"
#include "platform_fault.h"

using lldpmib_test::ModuleTest;
using lldpmib_test::module_lock_free;

namespace {

// A scratch directory that platform_access looks into instead of "/".
struct AccessRoot {
    std::string dir = [] {
        char tmpl[] = "/tmp/lldpmib-root-XXXXXX";
        return std::string(mkdtemp(tmpl));
    }();
    explicit AccessRoot(bool tovra_library) {
        platform_set_access_root(dir.c_str());
        if (tovra_library) {
            EXPECT_EQ(0, system(("mkdir -p '" + dir + "/pkg/lib' && touch '" + dir + "/pkg/lib/libtovra.so'").c_str()));
        }
    }
    ~AccessRoot() {
        platform_set_access_root(nullptr);
        (void)!system(("rm -rf '" + dir + "'").c_str());
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

// One start and stop per row: the fault armed before the start, the whole
// trace of the start and the stop, and everything released after the stop.
// Then many more rounds of the same, untraced, with threads locking and
// unlocking the module between the start and the stop (after a failed start
// the tear-down has destroyed the mutex): the lock never trips.
struct Scenario {
    const char* name;
    const char* fault;  // failed on its first call after arming, or null
    int status;
    bool tovra_library;  // /pkg/lib/libtovra.so present
    bool start;          // false: a stop without a start
    bool running;        // the module holds its timers after the start
    std::vector<std::string> lines;
};

std::ostream& operator<<(std::ostream& o, const Scenario& s) { return o << s.name; }

// Texts as the platform gives them.
const std::string kNoMemory = "Cannot allocate memory";
const std::string kInvalid = "Invalid argument";
const std::string kNoTovra = "Tovra client library unavailable";
const std::string kUnreachable = "Unreachable";

// Trace lines of a start up to the timer tree, with or without Tovra.
std::vector<std::string> start_lines(bool tovra) {
    std::vector<std::string> l = {"TRACE[lldpmib_init] ", "TRACE[lldpmib_im_conn_init] ",
                                  "TRACE[lldpmib_tovra_conn_init] "};
    if (!tovra) l.push_back("MIB[lldpmib_tovra_conn_init] Failed to bind to Tovra: " + kNoTovra);
    return l;
}
const std::vector<std::string> kStop = {"TRACE[lldpmib_term] ", "TRACE[lldpmib_lock] ",
                                        "TRACE[lldpmib_unlock] "};

std::vector<std::string> join(std::initializer_list<std::vector<std::string>> parts) {
    std::vector<std::string> out;
    for (const auto& p : parts) out.insert(out.end(), p.begin(), p.end());
    return out;
}

std::vector<std::string> failed_start(const std::string& mib_line, const std::string& err) {
    std::vector<std::string> mib;
    if (!mib_line.empty()) mib.push_back("MIB[lldpmib_init] " + mib_line + kNoMemory);
    return join({start_lines(true), mib, kStop,
                 {"ERROR[init_lldpmib] Failed to initialize the lldpmib library, err: " + err},
                 kStop});
}

const Scenario kScenarios[] = {
    {"no_tovra_library", nullptr, 0, false, true, true, join({start_lines(false), kStop})},
    {"tovra_library", nullptr, 0, true, true, true, join({start_lines(true), kStop})},
    {"stop_without_start", nullptr, 0, true, false, false, kStop},
    {"attach_fails", "event_async_attach_event", 22, true, true, false, failed_start("", kInvalid)},
    {"attach_fails_without_errno", "event_async_attach_event_errno0", 1, true, true, true,
     join({start_lines(true), kStop})},
    {"timer_tree_fails", "mgd_timer_tree_new", 12, true, true, false,
     failed_start("Failed to allocate LLDP clnt cache timer tree: ", kNoMemory)},
    {"timer_parent_fails", "mgd_timer_parent_new", 12, true, true, false,
     failed_start("Failed to allocate LLDP clnt cache timer parent: ", kNoMemory)},
    {"timer_leaf_fails", "mgd_timer_leaf_new", 12, true, true, false,
     failed_start("Failed to allocate LLDP clnt cache timer leaf: ", kNoMemory)},
    {"im_bind_fails", "imc_control_server_bind", PLATFORM_ERR_UNREACHABLE, true, true, true,
     join({{"TRACE[lldpmib_init] ", "TRACE[lldpmib_im_conn_init] ",
            "MIB[lldpmib_im_conn_init] Failed to bind to IM: " + kUnreachable,
            "TRACE[lldpmib_tovra_conn_init] "},
           kStop})},
    {"client_init_fails", "lldp_client_init", PLATFORM_ERR_UNREACHABLE, true, true, false,
     join({{"ERROR[init_lldpmib] Failed to initialize connection with LLDP client library, "
            "error: " + kUnreachable},
           kStop})},
};

class StartStopTest : public StartupTest, public ::testing::WithParamInterface<Scenario> {
protected:
    void start_and_stop(const Scenario& s, const std::function<void()>& between) {
        if (s.fault) platform_fault_fail_nth(s.fault, 1, s.status);
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

    lldpmib_test::set_debug("");
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

INSTANTIATE_TEST_SUITE_P(Scenarios, StartStopTest, ::testing::ValuesIn(kScenarios),
                         [](const auto& info) { return std::string(info.param.name); });

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
