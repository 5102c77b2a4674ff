// Test fixture for the module: a topology served by the in-memory client, the
// module started, trace lines captured, and checks that nothing leaked and the
// module lock is free after every test.
#pragma once
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "lldpmib.h"

namespace lldpmib_test {

// Serves the JSON topology text (fails the test on a bad topology).
void use_topology(const std::string& json);
// Turns trace flags on: a LLDPMIB_DEBUG-style list ("lldp/verbose,...", "all", "").
void set_debug(const std::string& spec);
// Non-zero when the module lock is free right now.
bool module_lock_free();

class ModuleTest : public ::testing::Test {
protected:
    // Each test gets a clock far from the previous test's, so snapshots left
    // by an earlier test are stale and rebuilt.
    void SetUp() override;
    void TearDown() override;

    // Starts the module (init_lldpmib with the start flag).
    void start();
    // Moves the fake clock.
    void advance_clock(time_t seconds);
    time_t now() const { return now_; }

    // Lines captured since the last call (or since SetUp).
    std::vector<std::string> take_lines();
    // Captured lines containing text.
    std::vector<std::string> lines_with(const std::string& text);

    bool started_ = false;
    time_t now_ = 0;
    std::vector<std::string> lines_;
};

}  // namespace lldpmib_test
