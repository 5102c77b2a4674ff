#include <gtest/gtest.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstring>
#include <string>
#include <thread>
#include <vector>

#include "platform_fault.h"
#include "platform_sys.h"

namespace {

class SysTest : public ::testing::Test {
protected:
    void SetUp() override {
        platform_fault_reset();
        platform_sys_reset_for_tests();
        timers_before_ = mgd_timer_live_count();
        conns_before_ = platform_connection_live_count();
    }
    void TearDown() override {
        EXPECT_EQ(timers_before_, mgd_timer_live_count()) << "timer objects leaked";
        EXPECT_EQ(conns_before_, platform_connection_live_count()) << "connections leaked";
        platform_fault_reset();
        platform_sys_reset_for_tests();
    }
    uint32_t timers_before_ = 0;
    uint32_t conns_before_ = 0;
};

// ---- Event manager ----

int fired = 0;
void count_handler(void* ctx, event_record_t* ev) {
    ++fired;
    *static_cast<int*>(ctx) = ev->code;
}

TEST_F(SysTest, AttachFillsTheRecordAndFireRunsItsHandler) {
    event_record_t ev{};
    int seen = 0;
    int evm = 0;
    ASSERT_EQ(0, event_async_attach_event(&evm, 1, count_handler, &seen, &ev));
    EXPECT_EQ(&evm, ev.evm);
    EXPECT_EQ(1, ev.code);
    EXPECT_EQ(&seen, ev.ctx);
    event_record_t other{};
    ASSERT_EQ(0, event_async_attach_event(nullptr, 2, count_handler, &seen, &other));
    EXPECT_NE(ev.id, other.id);
    fired = 0;
    EXPECT_EQ(0, event_async_fire(&other));
    EXPECT_EQ(1, fired);
    EXPECT_EQ(2, seen);
    event_record_t empty{};
    EXPECT_NE(0, event_async_fire(&empty));
    EXPECT_NE(0, event_async_fire(nullptr));
}

struct AttachFailCase {
    const char* op;
    int status;
    int expected_errno;
};

class AttachFailTest : public SysTest, public ::testing::WithParamInterface<AttachFailCase> {};

TEST_P(AttachFailTest, InjectedFailureReturnsMinusOneWithErrno) {
    platform_fault_fail_nth(GetParam().op, 1, GetParam().status);
    event_record_t ev{};
    int ctx = 0;
    errno = 77;
    EXPECT_EQ(-1, event_async_attach_event(nullptr, 1, count_handler, &ctx, &ev));
    EXPECT_EQ(GetParam().expected_errno, errno);
    EXPECT_EQ(nullptr, ev.handler);
    EXPECT_EQ(0, event_async_attach_event(nullptr, 1, count_handler, &ctx, &ev));
    EXPECT_EQ(2u, platform_fault_calls("event_async_attach_event"));
}

INSTANTIATE_TEST_SUITE_P(Cases, AttachFailTest,
                         ::testing::Values(AttachFailCase{"event_async_attach_event", ENOMEM, ENOMEM},
                                           AttachFailCase{"event_async_attach_event", EBUSY, EBUSY},
                                           AttachFailCase{"event_async_attach_event_errno0", 1, 0}));

// ---- Managed timers ----

TEST_F(SysTest, LeafExpiresOnThePlatformClockAndStopsWhenStopped) {
    platform_set_fake_time(1000);
    event_record_t ev{};
    mgd_timer_tree_t* tree = mgd_timer_tree_new(&ev, 0);
    mgd_timer_parent_t* parent = mgd_timer_parent_new(tree, 0);
    mgd_timer_leaf_t* leaf = mgd_timer_leaf_new(tree, parent, 0, 0);
    ASSERT_TRUE(tree && parent && leaf);
    EXPECT_EQ(timers_before_ + 3, mgd_timer_live_count());
    EXPECT_EQ(nullptr, mgd_timer_tree_first_expired(tree));  // never started
    mgd_timer_leaf_start(leaf, 1500);
    EXPECT_EQ(nullptr, mgd_timer_tree_first_expired(tree));
    platform_set_fake_time(1001);
    EXPECT_EQ(nullptr, mgd_timer_tree_first_expired(tree));
    platform_set_fake_time(1002);
    EXPECT_EQ(leaf, mgd_timer_tree_first_expired(tree));
    EXPECT_EQ(leaf, mgd_timer_tree_first_expired(tree));  // stays expired until stopped
    mgd_timer_leaf_stop(leaf);
    EXPECT_EQ(nullptr, mgd_timer_tree_first_expired(tree));
    // Restarting counts from the new now.
    mgd_timer_leaf_start(leaf, 0);
    EXPECT_EQ(leaf, mgd_timer_tree_first_expired(tree));
    mgd_timer_leaf_free(leaf);
    EXPECT_EQ(nullptr, mgd_timer_tree_first_expired(tree));
    mgd_timer_parent_free(parent);
    mgd_timer_tree_free(tree);
}

TEST_F(SysTest, FirstExpiredIsTheEarliestLeafOfThatTreeOnly) {
    platform_set_fake_time(5000);
    event_record_t ev{};
    mgd_timer_tree_t* tree = mgd_timer_tree_new(&ev, 0);
    mgd_timer_tree_t* other = mgd_timer_tree_new(&ev, 0);
    mgd_timer_leaf_t* late = mgd_timer_leaf_new(tree, nullptr, 0, 0);
    mgd_timer_leaf_t* early = mgd_timer_leaf_new(tree, nullptr, 1, 0);
    mgd_timer_leaf_t* foreign = mgd_timer_leaf_new(other, nullptr, 0, 0);
    mgd_timer_leaf_start(late, 3000);
    mgd_timer_leaf_start(early, 1000);
    mgd_timer_leaf_start(foreign, 0);
    platform_set_fake_time(5010);
    EXPECT_EQ(early, mgd_timer_tree_first_expired(tree));
    mgd_timer_leaf_stop(early);
    EXPECT_EQ(late, mgd_timer_tree_first_expired(tree));
    EXPECT_EQ(foreign, mgd_timer_tree_first_expired(other));
    EXPECT_EQ(nullptr, mgd_timer_tree_first_expired(nullptr));
    for (auto* l : {late, early, foreign}) mgd_timer_leaf_free(l);
    mgd_timer_tree_free(tree);
    mgd_timer_tree_free(other);
}

TEST_F(SysTest, FreeingTheTreeBeforeItsChildrenIsSafe) {
    event_record_t ev{};
    mgd_timer_tree_t* tree = mgd_timer_tree_new(&ev, 0);
    mgd_timer_parent_t* parent = mgd_timer_parent_new(tree, 0);
    mgd_timer_leaf_t* leaf = mgd_timer_leaf_new(tree, parent, 0, 0);
    mgd_timer_leaf_start(leaf, 0);
    mgd_timer_tree_free(tree);
    mgd_timer_leaf_stop(leaf);
    mgd_timer_parent_free(parent);
    mgd_timer_leaf_free(leaf);
    mgd_timer_leaf_free(nullptr);
    mgd_timer_parent_free(nullptr);
    mgd_timer_tree_free(nullptr);
}

class TimerAllocFailTest : public SysTest, public ::testing::WithParamInterface<const char*> {};

TEST_P(TimerAllocFailTest, InjectedAllocationFailureGivesNull) {
    event_record_t ev{};
    platform_fault_fail_nth(GetParam(), 1, 12);
    mgd_timer_tree_t* tree = mgd_timer_tree_new(&ev, 0);
    mgd_timer_parent_t* parent = tree ? mgd_timer_parent_new(tree, 0) : nullptr;
    mgd_timer_leaf_t* leaf = parent ? mgd_timer_leaf_new(tree, parent, 0, 0) : nullptr;
    std::string op = GetParam();
    EXPECT_EQ(op == "mgd_timer_tree_new", tree == nullptr);
    EXPECT_EQ(op != "mgd_timer_leaf_new", parent == nullptr);
    EXPECT_EQ(nullptr, leaf);
    EXPECT_EQ(op == "mgd_timer_tree_new" ? 0u : op == "mgd_timer_parent_new" ? 1u : 2u,
              mgd_timer_live_count() - timers_before_);
    mgd_timer_leaf_free(leaf);
    mgd_timer_parent_free(parent);
    mgd_timer_tree_free(tree);
}

INSTANTIATE_TEST_SUITE_P(Ops, TimerAllocFailTest,
                         ::testing::Values("mgd_timer_tree_new", "mgd_timer_parent_new",
                                           "mgd_timer_leaf_new"));

// ---- Connections ----

TEST_F(SysTest, BindsAndUnbindsAreCountedAndHandlesCleared) {
    const uint32_t request = 9;
    void* im = nullptr;
    void* tovra = nullptr;
    ASSERT_EQ(0, imc_control_server_bind(&request, 2, &im));
    ASSERT_EQ(0, _tovra_bind(&tovra, "/", 4));
    ASSERT_NE(nullptr, im);
    ASSERT_NE(nullptr, tovra);
    EXPECT_NE(im, tovra);
    EXPECT_EQ(conns_before_ + 2, platform_connection_live_count());
    EXPECT_NE(0, _tovra_unbind(im));  // not a Tovra binding
    EXPECT_EQ(0, imc_control_server_unbind(&im, 0));
    EXPECT_EQ(nullptr, im);
    EXPECT_EQ(0, _tovra_unbind(tovra));
    EXPECT_EQ(conns_before_, platform_connection_live_count());
    // Repeated or empty unbinds are refused, not double frees.
    EXPECT_EQ(PLATFORM_ERR_NOT_FOUND, _tovra_unbind(tovra));
    EXPECT_NE(0, imc_control_server_unbind(&im, 0));
    EXPECT_NE(0, imc_control_server_unbind(nullptr, 0));
    EXPECT_NE(0, _tovra_bind(nullptr, "/", 4));
    EXPECT_EQ(1u, platform_fault_calls("imc_control_server_bind"));
    EXPECT_EQ(3u, platform_fault_calls("_tovra_unbind"));
}

struct BindFailCase {
    const char* op;
    int status;
};

class BindFailTest : public SysTest, public ::testing::WithParamInterface<BindFailCase> {};

TEST_P(BindFailTest, InjectedFailureReturnsTheStatusAndKeepsTheHandle) {
    const uint32_t request = 9;
    void* im = nullptr;
    void* tovra = nullptr;
    const std::string op = GetParam().op;
    if (op == "imc_control_server_unbind" || op == "_tovra_unbind") {
        ASSERT_EQ(0, imc_control_server_bind(&request, 2, &im));
        ASSERT_EQ(0, _tovra_bind(&tovra, "/", 4));
    }
    platform_fault_fail_nth(op.c_str(), 1, GetParam().status);
    int rc = 0;
    void* before_im = im;
    if (op == "imc_control_server_bind") rc = imc_control_server_bind(&request, 2, &im);
    if (op == "_tovra_bind") rc = _tovra_bind(&tovra, "/", 4);
    if (op == "imc_control_server_unbind") rc = imc_control_server_unbind(&im, 0);
    if (op == "_tovra_unbind") rc = _tovra_unbind(tovra);
    EXPECT_EQ(GetParam().status, rc);
    EXPECT_EQ(before_im, im);
    if (im) {
        EXPECT_EQ(0, imc_control_server_unbind(&im, 0));
    }
    if (tovra) {
        EXPECT_EQ(0, _tovra_unbind(tovra));
    }
}

INSTANTIATE_TEST_SUITE_P(
    Ops, BindFailTest,
    ::testing::Values(BindFailCase{"imc_control_server_bind", PLATFORM_ERR_UNREACHABLE},
                      BindFailCase{"_tovra_bind", PLATFORM_ERR_TOVRA_UNAVAILABLE},
                      BindFailCase{"imc_control_server_unbind", 5},
                      BindFailCase{"_tovra_unbind", PLATFORM_ERR_INVALID}));

// ---- Identity and error texts ----

TEST_F(SysTest, IdentityDefaultsCanBeSetAndNodeIdCanFail) {
    uint32_t node = 0;
    EXPECT_EQ(25u, platform_get_router_type());
    ASSERT_EQ(0, platform_get_my_nodeid(&node));
    EXPECT_EQ(1u, node);
    platform_set_identity(3, 0x2a);
    EXPECT_EQ(3u, platform_get_router_type());
    ASSERT_EQ(0, platform_get_my_nodeid(&node));
    EXPECT_EQ(0x2au, node);
    platform_fault_fail_nth("platform_get_my_nodeid", 1, PLATFORM_ERR_UNREACHABLE);
    node = 77;
    EXPECT_EQ(PLATFORM_ERR_UNREACHABLE, platform_get_my_nodeid(&node));
    EXPECT_EQ(77u, node);
    EXPECT_NE(0, platform_get_my_nodeid(nullptr));
}

struct TextCase {
    int status;
    const char* text;
};

class ErrorTextTest : public SysTest, public ::testing::WithParamInterface<TextCase> {};

TEST_P(ErrorTextTest, TextOfStatus) {
    const char* t = cerr_strerror(GetParam().status);
    ASSERT_NE(nullptr, t);
    EXPECT_STREQ(GetParam().text, t);
    EXPECT_EQ(t, cerr_strerror(GetParam().status));  // stable storage
}

INSTANTIATE_TEST_SUITE_P(
    Statuses, ErrorTextTest,
    ::testing::Values(TextCase{12, "Cannot allocate memory"}, TextCase{2, "No such file or directory"},
                      TextCase{16, "Device or resource busy"}, TextCase{0, "Success"},
                      TextCase{PLATFORM_ERR_TOVRA_UNAVAILABLE, "Tovra client library unavailable"},
                      TextCase{PLATFORM_ERR_NOT_FOUND, "Not found"},
                      TextCase{PLATFORM_ERR_UNREACHABLE, "Unreachable"},
                      TextCase{PLATFORM_ERR_INVALID, "Invalid argument"},
                      TextCase{static_cast<int>(0x8081c2ff), "status 0x8081c2ff"},
                      TextCase{-1, "status 0xffffffff"}, TextCase{3999, "status 0xf9f"}));

TEST_F(SysTest, ErrorTextsAreStableAcrossThreads) {
    std::vector<const char*> seen(4 * 50);
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t)
        threads.emplace_back([t, &seen] {
            for (int i = 0; i < 50; ++i) seen[t * 50 + i] = cerr_strerror(1000 + i);
        });
    for (auto& th : threads) th.join();
    for (int t = 1; t < 4; ++t)
        for (int i = 0; i < 50; ++i) EXPECT_EQ(seen[i], seen[t * 50 + i]);
    EXPECT_STREQ("status 0x3e8", seen[0]);
}

// ---- Thread diagnostics ----

TEST_F(SysTest, BlockedThreadsAreRecordedBetweenSetAndUnset) {
    pthread_mutex_t m = PTHREAD_MUTEX_INITIALIZER;
    EXPECT_EQ(0u, ptd_blocked_count());
    ptd_set_mutex_block(&m, "main", __LINE__);
    std::atomic<int> stage{0};
    std::thread other([&] {
        ptd_set_mutex_block(&m, "other", __LINE__);
        stage = 1;
        while (stage != 2) std::this_thread::yield();
        ptd_unset_mutex_block();
    });
    while (stage != 1) std::this_thread::yield();
    EXPECT_EQ(2u, ptd_blocked_count());
    ptd_set_mutex_block(&m, "main again", __LINE__);  // one record per thread
    EXPECT_EQ(2u, ptd_blocked_count());
    stage = 2;
    other.join();
    EXPECT_EQ(1u, ptd_blocked_count());
    ptd_unset_mutex_block();
    ptd_unset_mutex_block();  // harmless when not blocked
    EXPECT_EQ(0u, ptd_blocked_count());
}

// ---- Clock and files ----

TEST_F(SysTest, FakeClockOverridesTimeAndCountsButNeverFails) {
    time_t out = 0;
    platform_set_fake_time(123456);
    platform_fault_fail_always("platform_time", 5);
    EXPECT_EQ(123456, platform_time(&out));
    EXPECT_EQ(123456, out);
    EXPECT_EQ(123456, platform_time(nullptr));
    EXPECT_EQ(2u, platform_fault_calls("platform_time"));
    platform_set_fake_time(0);
    time_t before = time(nullptr);
    time_t now = platform_time(nullptr);
    EXPECT_LE(before, now);
    EXPECT_LE(now, time(nullptr));
}

TEST_F(SysTest, AccessRootMakesTheTovraLibraryAppearAndVanish) {
    std::string root = ::testing::TempDir() + "platform_sys_root_" + std::to_string(getpid());
    std::string dir = root + "/pkg/lib";
    std::string file = dir + "/libtovra.so";
    ASSERT_EQ(0, system(("mkdir -p " + dir).c_str()));
    platform_set_access_root(root.c_str());
    errno = 0;
    EXPECT_EQ(-1, platform_access("/pkg/lib/libtovra.so", R_OK));
    EXPECT_EQ(ENOENT, errno);
    int fd = open(file.c_str(), O_CREAT | O_WRONLY, 0644);
    ASSERT_GE(fd, 0);
    close(fd);
    EXPECT_EQ(0, platform_access("/pkg/lib/libtovra.so", R_OK));
    platform_fault_fail_nth("platform_access", 1, EACCES);
    EXPECT_EQ(-1, platform_access("/pkg/lib/libtovra.so", R_OK));
    EXPECT_EQ(EACCES, errno);
    unlink(file.c_str());
    EXPECT_EQ(-1, platform_access("/pkg/lib/libtovra.so", R_OK));
    // Without a root the real path is checked.
    platform_set_access_root(nullptr);
    EXPECT_EQ(0, platform_access(root.c_str(), R_OK));
    EXPECT_EQ(-1, platform_access(nullptr, R_OK));
    EXPECT_EQ(0, system(("rm -rf " + root).c_str()));
}

}  // namespace
