// Fixture for the local table tests: the module started on a topology, both
// local table snapshots emptied around each test, and a check that nothing
// the test made (copies, lists) is left once they are emptied again.
#pragma once
#include <stdint.h>

#include <string>
#include <vector>

#include "module_fixture.h"

namespace lldpmib_test {

class LocalTablesTest : public ModuleTest {
protected:
    void TearDown() override;

    // Serves json, starts the module, empties the local snapshots and takes
    // the leak baselines; the lines written so far are dropped.
    void serve(const std::string& json);
    // Makes both local snapshots stale and lets a lookup that finds nothing
    // purge them.  Faults must be disarmed.
    void drain_local_tables();
    // Drains, then expects copies and lists back at the baselines.
    void expect_nothing_left(bool lists_too = true);

    // Lines taken since the last call equal to line.
    static int count(const std::vector<std::string>& lines, const std::string& line);
    static bool has(const std::vector<std::string>& lines, const std::string& line) {
        return count(lines, line) > 0;
    }
    // A line that begins with prefix (lines ending in an error text).
    static bool has_prefix(const std::vector<std::string>& lines, const std::string& prefix);

    bool served_ = false;
    uint32_t copies_baseline_ = 0;
    uint32_t lists_baseline_ = 0;
};

}  // namespace lldpmib_test
