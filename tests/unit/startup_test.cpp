// Start-up, tear-down and the module lock.
#include <gmock/gmock.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <unistd.h>

#include <barrier>
#include <fstream>
#include <string>
#include <thread>

#include "module_fixture.h"
#include "platform_fault.h"

using lldpmib_test::ModuleTest;
using lldpmib_test::module_lock_free;
using ::testing::Contains;
using ::testing::HasSubstr;
using ::testing::Not;

namespace {

std::string text_of(int status) { return cerr_strerror(status); }

// A scratch directory that platform_access looks into instead of "/".
class AccessRoot {
public:
    AccessRoot() {
        char tmpl[] = "/tmp/lldpmib-root-XXXXXX";
        dir_ = mkdtemp(tmpl);
        platform_set_access_root(dir_.c_str());
    }
    ~AccessRoot() {
        platform_set_access_root(nullptr);
        std::string cmd = "rm -rf '" + dir_ + "'";
        (void)!system(cmd.c_str());
    }
    void add_tovra_library() {
        std::string cmd = "mkdir -p '" + dir_ + "/pkg/lib' && touch '" + dir_ + "/pkg/lib/libtovra.so'";
        ASSERT_EQ(0, system(cmd.c_str()));
    }

private:
    std::string dir_;
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

TEST_F(StartupTest, StartWithoutTovraLibraryBindsImOnlyAndStopReleasesEverything) {
    AccessRoot root;
    start();
    EXPECT_NE(nullptr, lldpmib_im_handle);
    EXPECT_EQ(nullptr, lldpmib_tovra_handle);
    EXPECT_NE(nullptr, lldpmib_intf_cache_timer_leaf);
    EXPECT_THAT(take_lines(), Contains("MIB[lldpmib_tovra_conn_init] Failed to bind to Tovra: " +
                                       text_of(PLATFORM_ERR_TOVRA_UNAVAILABLE)));
    init_lldpmib(nullptr, 0);
    started_ = false;
    expect_all_released();
    EXPECT_EQ(0u, platform_fault_calls("_tovra_unbind"));
}

TEST_F(StartupTest, TovraLibraryFoundLaterIsBoundAndUnbound) {
    AccessRoot root;
    EXPECT_NE(0, lldpmib_tovra_bind());  // not there yet: the flag stays clear
    EXPECT_EQ(0, lldpmib_tovra_available);
    root.add_tovra_library();
    start();
    EXPECT_NE(nullptr, lldpmib_tovra_handle);
    EXPECT_EQ(1, lldpmib_tovra_available);
    init_lldpmib(nullptr, 0);
    started_ = false;
    EXPECT_EQ(1u, platform_fault_calls("_tovra_unbind"));
    expect_all_released();
}

struct StartFailure {
    const char* op;
    int status;
    const char* mib_line;   // the step's own line, or null
    int returned;           // what lldpmib_init reports
};

class StartFailureTest : public StartupTest, public ::testing::WithParamInterface<StartFailure> {};

TEST_P(StartFailureTest, TearsDownWhatWasSetUpAndStopStaysSafe) {
    const StartFailure& f = GetParam();
    AccessRoot root;
    root.add_tovra_library();
    platform_fault_fail_nth(f.op, 1, f.status);
    start();
    std::vector<std::string> lines = take_lines();
    if (f.mib_line != nullptr)
        EXPECT_THAT(lines, Contains(std::string(f.mib_line) + text_of(12)));
    EXPECT_THAT(lines, Contains("ERROR[init_lldpmib] Failed to initialize the lldpmib library, err: " +
                                text_of(f.returned)));
    expect_all_released();
    // The stop call after a failed start must not trip over the destroyed mutex.
    init_lldpmib(nullptr, 0);
    started_ = false;
    expect_all_released();
    EXPECT_EQ(1u, platform_fault_calls("lldp_client_term"));
}

INSTANTIATE_TEST_SUITE_P(
    Steps, StartFailureTest,
    ::testing::Values(
        StartFailure{"event_async_attach_event", 22, nullptr, 22},
        StartFailure{"mgd_timer_tree_new", 12,
                     "MIB[lldpmib_init] Failed to allocate LLDP clnt cache timer tree: ", 12},
        StartFailure{"mgd_timer_parent_new", 12,
                     "MIB[lldpmib_init] Failed to allocate LLDP clnt cache timer parent: ", 12},
        StartFailure{"mgd_timer_leaf_new", 12,
                     "MIB[lldpmib_init] Failed to allocate LLDP clnt cache timer leaf: ", 12}));

TEST_F(StartupTest, AttachFailingWithoutErrnoIsPassedOver) {
    platform_fault_fail_nth("event_async_attach_event_errno0", 1, 1);
    start();
    EXPECT_NE(nullptr, lldpmib_intf_cache_timer_leaf);
    EXPECT_THAT(take_lines(), Not(Contains(HasSubstr("Failed to initialize the lldpmib library"))));
}

TEST_F(StartupTest, ImBindFailureIsTracedAndStartGoesOn) {
    platform_fault_fail_nth("imc_control_server_bind", 1, PLATFORM_ERR_UNREACHABLE);
    start();
    EXPECT_EQ(nullptr, lldpmib_im_handle);
    EXPECT_NE(nullptr, lldpmib_intf_cache_timer_tree);
    EXPECT_THAT(take_lines(), Contains("MIB[lldpmib_im_conn_init] Failed to bind to IM: " +
                                       text_of(PLATFORM_ERR_UNREACHABLE)));
}

TEST_F(StartupTest, ClientInitFailureEndsStartBeforeTheModuleInit) {
    platform_fault_fail_nth("lldp_client_init", 1, PLATFORM_ERR_UNREACHABLE);
    start();
    std::vector<std::string> lines = take_lines();
    EXPECT_THAT(lines, Contains("ERROR[init_lldpmib] Failed to initialize connection with LLDP "
                                "client library, error: " + text_of(PLATFORM_ERR_UNREACHABLE)));
    EXPECT_THAT(lines, Not(Contains("TRACE[lldpmib_init] ")));
    EXPECT_EQ(0u, platform_fault_calls("mgd_timer_tree_new"));
    EXPECT_EQ(0u, platform_fault_calls("imc_control_server_bind"));
}

TEST_F(StartupTest, StopWithoutStartOnlyLocksUnlocksAndClosesTheClient) {
    init_lldpmib(nullptr, 0);
    std::vector<std::string> lines = take_lines();
    EXPECT_EQ((std::vector<std::string>{"TRACE[lldpmib_term] ", "TRACE[lldpmib_lock] ",
                                        "TRACE[lldpmib_unlock] "}),
              lines);
    EXPECT_EQ(0u, platform_fault_calls("imc_control_server_unbind"));
    EXPECT_EQ(1u, platform_fault_calls("lldp_client_term"));
    EXPECT_TRUE(module_lock_free());
}

TEST_F(StartupTest, RegistersFlagsAndHandsTheAgentItsTables) {
    start();
    EXPECT_EQ(lldpmib_oid_table, snmp_loaded_oid_table());
    EXPECT_STREQ("lldp/trace", kel_dt_flag_path(lldp_trace_debug));
    EXPECT_STREQ("snmp/mib/lldpmib/enable", kel_dt_flag_path(lldp_mib_debug));
}

TEST_F(StartupTest, TimerHandlerStopsExpiredLeavesUnderTheLock) {
    start();
    mgd_timer_leaf_start(lldpmib_intf_cache_timer_leaf, 500);
    advance_clock(2);
    ASSERT_EQ(lldpmib_intf_cache_timer_leaf,
              mgd_timer_tree_first_expired(lldpmib_intf_cache_timer_tree));
    lldpmib_timer_handler(nullptr, nullptr);
    EXPECT_EQ(nullptr, mgd_timer_tree_first_expired(lldpmib_intf_cache_timer_tree));
    EXPECT_TRUE(module_lock_free());
}

TEST_F(StartupTest, SecondThreadBlocksOnTheLockUntilItIsReleased) {
    start();
    lldpmib_lock();
    std::thread other([] {
        lldpmib_lock();
        lldpmib_unlock();
    });
    while (ptd_blocked_count() == 0) std::this_thread::yield();
    lldpmib_unlock();
    other.join();
    EXPECT_EQ(0u, ptd_blocked_count());
}

// Requests on several threads right after a failed start (the tear-down has
// destroyed the mutex) lock and unlock a valid mutex: the lock never trips.
TEST_F(StartupTest, ThreadsLockingAfterAFailedStartNeverTrip) {
    lldpmib_test::set_debug("");
    constexpr int kThreads = 4;
    constexpr int kRounds = 30000;
    bool done = false;
    std::barrier sync(kThreads + 1);
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t) {
        threads.emplace_back([&] {
            for (;;) {
                sync.arrive_and_wait();  // the start has failed
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
        platform_fault_fail_nth("mgd_timer_leaf_new", 1, 12);
        init_lldpmib(nullptr, 1);
        sync.arrive_and_wait();
        sync.arrive_and_wait();
        init_lldpmib(nullptr, 0);
    }
    done = true;
    sync.arrive_and_wait();
    for (std::thread& t : threads) t.join();
    expect_all_released();
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

struct RouterType {
    uint32_t type;
    int orvik;
};

class OrvikTest : public ::testing::TestWithParam<RouterType> {};

TEST_P(OrvikTest, OnlyTypes7And8And18AreOrvik) {
    uint32_t saved = lldpmib_router_type;
    lldpmib_router_type = GetParam().type;
    EXPECT_EQ(GetParam().orvik, lldpmib_is_orvik_platform());
    lldpmib_router_type = saved;
}

INSTANTIATE_TEST_SUITE_P(Types, OrvikTest,
                         ::testing::Values(RouterType{7, 1}, RouterType{8, 1}, RouterType{18, 1},
                                           RouterType{0, 0}, RouterType{6, 0}, RouterType{9, 0},
                                           RouterType{17, 0}, RouterType{19, 0},
                                           RouterType{25, 0}, RouterType{0x80000007u, 0},
                                           RouterType{0xFFFFFFFFu, 0}));

struct Enablement {
    const char* lldp;   // the topology's "lldp" object
    const char* fail;   // client operation made to fail, or null
    int expected;
    const char* line;   // expected MIB line text after the prefix, or null for none
};

class EnablementTest : public ModuleTest, public ::testing::WithParamInterface<Enablement> {};

TEST_P(EnablementTest, AsksTheClientAndReportsDisabled) {
    const Enablement& e = GetParam();
    lldpmib_test::use_topology(std::string("{\"lldp\": ") + e.lldp +
                               ", \"local\": {\"chassis_id_subtype\": 7, \"chassis_id\": \"r\"}}");
    start();
    take_lines();
    if (e.fail) platform_fault_fail_nth(e.fail, 1, PLATFORM_ERR_UNREACHABLE);
    EXPECT_EQ(e.expected, lldpmib_shim_is_lldp_enabled());
    std::vector<std::string> mib = lines_with("MIB[lldpmib_shim_is_lldp_enabled]");
    if (e.line == nullptr) {
        EXPECT_TRUE(mib.empty());
    } else {
        std::string want = std::string("MIB[lldpmib_shim_is_lldp_enabled] ") + e.line;
        if (e.fail) want += text_of(PLATFORM_ERR_UNREACHABLE);
        EXPECT_THAT(mib, Contains(want));
    }
    if (e.fail) EXPECT_EQ(0u, platform_fault_calls("lldp_client_is_node_lldp_enabled"));
}

INSTANTIATE_TEST_SUITE_P(
    States, EnablementTest,
    ::testing::Values(
        Enablement{"{\"enabled\": true, \"node_enabled\": false}", nullptr, 0, nullptr},
        Enablement{"{\"enabled\": false, \"node_enabled\": true}", nullptr, 0, nullptr},
        Enablement{"{\"enabled\": false, \"node_enabled\": false}", nullptr, 2,
                   "LLDP disabled, no interface info returned"},
        Enablement{"{\"enabled\": true, \"node_enabled\": true}", "lldp_client_get_enable", 2,
                   "Failed to determine whether LLDP is enabled, assuming that it is disabled, no "
                   "interface info returned, error: "}));

TEST_F(ModuleTest, OrvikPlatformIsEnabledWithoutAskingTheClient) {
    platform_set_identity(8, 1);
    start();
    platform_set_identity(25, 1);
    take_lines();
    EXPECT_EQ(0, lldpmib_shim_is_lldp_enabled());
    EXPECT_EQ(0u, platform_fault_calls("lldp_client_get_enable"));
    EXPECT_THAT(take_lines(), Contains("MIB[lldpmib_shim_is_lldp_enabled] LLDP MIB enabled by "
                                       "default on Orvik platform"));
    lldpmib_router_type = 25;
}

}  // namespace
