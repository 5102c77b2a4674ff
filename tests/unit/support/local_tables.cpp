#include "local_tables.h"

#include <algorithm>

#include "platform_fault.h"

namespace lldpmib_test {

void LocalTablesTest::serve(const std::string& json) {
    use_topology(json);
    if (!started_) start();
    drain_local_tables();
    copies_baseline_ = lldp_client_live_copies();
    lists_baseline_ = kel_list_live_count();
    platform_fault_reset();
    take_lines();
    served_ = true;
}

void LocalTablesTest::drain_local_tables() {
    advance_clock(5);
    lldpmib_shim_local_port_entry_get(0, nullptr, 1, NEXT, INT32_MAX);
    static const unsigned char top[16] = {0xff, 0xff, 0xff, 0xff, 0xff, 0xff, 0xff, 0xff,
                                          0xff, 0xff, 0xff, 0xff, 0xff, 0xff, 0xff, 0xff};
    OctetString* addr = MakeOctetString(top, 16);
    lldpmib_shim_local_ma_entry_get(0, nullptr, 2, NEXT, 2, addr);
    FreeOctetString(addr);
    lldpmib_free_local_port_row();
    lldpmib_free_local_ma_row();
}

void LocalTablesTest::expect_nothing_left(bool lists_too) {
    platform_fault_reset();
    drain_local_tables();
    EXPECT_EQ(copies_baseline_, lldp_client_live_copies()) << "client copies leaked";
    if (lists_too) {
        EXPECT_EQ(lists_baseline_, kel_list_live_count()) << "lists leaked";
    }
}

void LocalTablesTest::TearDown() {
    if (served_) expect_nothing_left();
    ModuleTest::TearDown();
}

int LocalTablesTest::count(const std::vector<std::string>& lines, const std::string& line) {
    return (int)std::count(lines.begin(), lines.end(), line);
}

bool LocalTablesTest::has_prefix(const std::vector<std::string>& lines, const std::string& prefix) {
    for (const auto& l : lines)
        if (l.rfind(prefix, 0) == 0) return true;
    return false;
}

}  // namespace lldpmib_test
