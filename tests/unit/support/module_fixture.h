// The module served on a topology as the agent serves it, for the unit tests:
// identity from the topology, the module started, snapshots drained before
// and after, the fake clock well clear of any earlier test's.
#pragma once
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "kel_dt.h"
#include "lldpmib.h"
#include "mib_walker.h"
#include "model_driver.h"
#include "platform_fault.h"

namespace lldpmib_test {

// examples/NAME, and the reference directory's NAME, as text; the latter's lines.
std::string read_example(const std::string& name);
std::string read_reference(const std::string& name);
std::vector<std::string> read_reference_lines(const std::string& name);
// True when the module lock is free (a destroyed mutex is free too).
bool module_lock_free();

// Loads json as the client's topology (failing the test on a refusal) with
// the platform identity it names; its reference.
const RefTopology& use_topology(const std::string& json);
// The reference's bindings as walker lines ("<oid> <TYPE> <value>"), in order.
std::vector<std::string> reference_lines(const RefMib& mib);

class ServedModule {
public:
    // Loads json (failing the test on a refusal) and starts the module,
    // snapshots drained (every one stale, then a missing GET per table).
    explicit ServedModule(const std::string& json);
    ~ServedModule();
};

// Base of tests that start the module themselves: fault counters and trace
// flags clean before and after, and the lock free afterwards.
class ModuleTest : public ::testing::Test {
protected:
    void SetUp() override;
    void TearDown() override;
    // Starts the module; TearDown stops it.
    void start();
    // Lines captured since the last call.
    std::vector<std::string> take_lines();
    bool started_ = false;
};

}  // namespace lldpmib_test
