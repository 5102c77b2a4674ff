// Platform services the module's start-up, tear-down and leak checks rely on:
// timers expire on the platform clock, the earliest leaf of a tree first; the
// live counts of timers and connections go back down when things are freed.
#include <gtest/gtest.h>

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
        platform_sys_reset_for_tests();
    }
    uint32_t timers_before_ = 0;
    uint32_t conns_before_ = 0;
};

TEST_F(SysTest, EarliestStartedLeafOfTheTreeExpiresFirstOnThePlatformClock) {
    platform_set_fake_time(5000);
    event_record_t ev{};
    mgd_timer_tree_t* tree = mgd_timer_tree_new(&ev, 0);
    mgd_timer_tree_t* other = mgd_timer_tree_new(&ev, 0);
    mgd_timer_parent_t* parent = mgd_timer_parent_new(tree, 0);
    mgd_timer_leaf_t* late = mgd_timer_leaf_new(tree, parent, 0, 0);
    mgd_timer_leaf_t* early = mgd_timer_leaf_new(tree, parent, 1, 0);
    mgd_timer_leaf_t* foreign = mgd_timer_leaf_new(other, nullptr, 0, 0);
    ASSERT_TRUE(tree && other && parent && late && early && foreign);
    EXPECT_EQ(timers_before_ + 6, mgd_timer_live_count());
    EXPECT_EQ(nullptr, mgd_timer_tree_first_expired(tree));  // nothing started
    mgd_timer_leaf_start(late, 3000);
    mgd_timer_leaf_start(early, 1500);
    mgd_timer_leaf_start(foreign, 0);
    platform_set_fake_time(5001);
    EXPECT_EQ(nullptr, mgd_timer_tree_first_expired(tree));
    platform_set_fake_time(5002);
    EXPECT_EQ(early, mgd_timer_tree_first_expired(tree));
    EXPECT_EQ(early, mgd_timer_tree_first_expired(tree));  // until stopped
    mgd_timer_leaf_stop(early);
    EXPECT_EQ(nullptr, mgd_timer_tree_first_expired(tree));
    platform_set_fake_time(5003);
    EXPECT_EQ(late, mgd_timer_tree_first_expired(tree));
    EXPECT_EQ(foreign, mgd_timer_tree_first_expired(other));
    // Freeing the tree before its children is safe.
    mgd_timer_tree_free(tree);
    mgd_timer_leaf_stop(late);
    for (auto* l : {late, early, foreign}) mgd_timer_leaf_free(l);
    mgd_timer_parent_free(parent);
    mgd_timer_tree_free(other);
}

TEST_F(SysTest, ConnectionsAreCountedAndUnbindClearsTheHandle) {
    const uint32_t request = 9;
    void* im = nullptr;
    void* tovra = nullptr;
    ASSERT_EQ(0, imc_control_server_bind(&request, 2, &im));
    ASSERT_EQ(0, _tovra_bind(&tovra, "/", 4));
    EXPECT_EQ(conns_before_ + 2, platform_connection_live_count());
    EXPECT_EQ(0, imc_control_server_unbind(&im, 0));
    EXPECT_EQ(nullptr, im);
    EXPECT_EQ(0, _tovra_unbind(tovra));
    EXPECT_EQ(conns_before_, platform_connection_live_count());
    // A second unbind is refused, not a double free.
    EXPECT_EQ(PLATFORM_ERR_NOT_FOUND, _tovra_unbind(tovra));
    EXPECT_NE(0, imc_control_server_unbind(&im, 0));
}

}  // namespace
