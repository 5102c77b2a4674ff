// Trace of one neighbour's row fill: the MAC-text conversion's lines come
// before the line that reports the chassis ID's type and length.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "module_fixture.h"

using namespace lldpmib_test;

namespace {

class RemoteEntryTrace : public ModuleTest {};

TEST_F(RemoteEntryTrace, ChassisLineFollowsTheMacConversion) {
    use_topology(R"({"local": {"chassis_id": "x"},
        "ports": [{"port_num": 1, "port_id": "g1", "neighbors": [
          {"time_mark": 0, "rem_index": 1, "chassis_id_subtype": 4,
           "chassis_id": "0011.2233.4455", "port_id_subtype": 5, "port_id": "eth0"}]}]})");
    start();
    take_lines();
    ASSERT_NE(nullptr, lldpmib_shim_remote_entry_get(0, nullptr, 4, EXACT, 0, 1, 1));

    std::vector<std::string> lines = take_lines();
    auto is_conversion = [](const std::string& l) {
        return l.find("VERBOSE[lldpmib_convert_macstr_pton] current string offset:") != std::string::npos;
    };
    const std::string chassis =
        "VERBOSE[lldpmib_shim_remote_entry_get] RemChassis ID  MAC type, length: 14";
    size_t at = lines.size();
    for (size_t i = 0; i < lines.size(); ++i)
        if (lines[i].find(chassis) != std::string::npos) at = i;
    ASSERT_LT(at, lines.size()) << "no chassis line";
    // Twelve hex digits, one line each, all before the chassis line.
    size_t before = 0, after = 0;
    for (size_t i = 0; i < lines.size(); ++i)
        if (is_conversion(lines[i])) (i < at ? before : after)++;
    EXPECT_EQ(before, 12u);
    EXPECT_EQ(after, 0u);
}

}  // namespace
