// When lldpRemTablesChange is due: the extension library's decision, with a
// fake clock and the topology model as the daemon.  When due, its values must
// be the sums of the topology's own port counters.
#include <errno.h>
#include <gtest/gtest.h>

#include <cstring>
#include <functional>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "lldp_client.h"
#include "lldpmib_ext.h"
#include "lldpmib_ext_internal.h"
#include "lldpmib_ext_notify.h"
#include "platform_fault.h"

namespace {

struct Port {
    uint32_t num;
    bool notifies;
    uint32_t inserts = 0, deletes = 0, drops = 0, ageouts = 0;
    int neighbours = 0;
    std::string name = "a";  // its neighbours' system name
};

class NotificationTest : public ::testing::Test {
protected:
    std::vector<Port> ports = {{.num = 1, .notifies = true, .inserts = 3, .deletes = 1},
                               {.num = 2, .notifies = false, .inserts = 2, .neighbours = 1}};

    void SetUp() override {
        platform_fault_reset();
        lldpmib_ext_notify_reset();
        lldpmib_ext_set_notify_all_ports(0);
        ASSERT_EQ(0, lldpmib_ext_set_notification_interval(5));
        load();
    }
    void TearDown() override {
        platform_fault_reset();
        lldpmib_ext_set_notification_interval(30);
        lldpmib_ext_set_notify_all_ports(0);
    }

    // Serves `ports` as the daemon's.
    void load() {
        nlohmann::json doc = {{"local", {{"chassis_id", "0011.2233.4455"}}}, {"ports", nlohmann::json::array()}};
        for (const Port& p : ports) {
            auto& port = doc["ports"].emplace_back(nlohmann::json{
                {"port_num", p.num}, {"port_id", "p"}, {"notification_enable", p.notifies},
                {"neighbors", nlohmann::json::array()},
                {"statistics",
                 {{"inserts", p.inserts}, {"deletes", p.deletes}, {"drops", p.drops}, {"ageouts", p.ageouts}}}});
            for (int i = 1; i <= p.neighbours; ++i)
                port["neighbors"].push_back(
                    {{"rem_index", i}, {"chassis_id", "c"}, {"port_id", "p"}, {"sys_name", p.name}});
        }
        char err[256];
        ASSERT_EQ(0, lldp_client_use_topology_text(doc.dump().c_str(), "test", err, sizeof err)) << err;
    }

    // Due at time now?  When due, the values must be the topology's sums.
    bool due(time_t now) {
        lldpmib_ext_rem_tables_change out{}, want{};
        if (!lldpmib_ext_notification_due(now, &out)) return false;
        for (const Port& p : ports)
            want.inserts += p.inserts, want.deletes += p.deletes, want.drops += p.drops, want.ageouts += p.ageouts;
        EXPECT_EQ(0, std::memcmp(&want, &out, sizeof out));
        return true;
    }
};

// Which changes count: counters of a notifying port, and the neighbours while
// any port notifies.  At most one per interval (5 s here): a change inside it
// is held and sent once it has passed, with the counters of that moment.
TEST_F(NotificationTest, WhichChangesCountAndOnePerInterval) {
    Port &p1 = ports[0], &p2 = ports[1];
    const struct {
        time_t now;
        std::function<void()> change;  // the topology is served again after it
        bool due;
        const char* what;
    } steps[] = {{100, [] {}, false, "the first look only records the baseline"},
                 {110, [&] { p2.drops = 7; }, false, "a counter of port 2, which does not notify"},
                 {120, [&] { p1.inserts++; }, true, "inserts"},
                 {130, [] {}, false, "nothing changed since"},
                 {140, [&] { p1.deletes++; }, true, "deletes"},
                 {150, [&] { p1.drops++; }, true, "drops"},
                 {160, [&] { p1.ageouts++; }, true, "ageouts"},
                 {170, [&] { p2.neighbours = 2; }, true, "a neighbour on the silent port"},
                 {180, [&] { p2.name = "b"; }, true, "its neighbours renamed"},
                 {181, [&] { p1.inserts++; }, false, "inside the interval: held"},
                 {184, [&] { p1.deletes++; }, false, "another change while held"},
                 {185, [] {}, true, "the interval has passed: one for both"},
                 {200, [] {}, false, "nothing since"},
                 {201, [&] { p2.neighbours = 0; }, true, "a change long after the last one goes at once"},
                 {300, [&] { p1.notifies = false, p2.neighbours = 1, p1.inserts += 5; }, false, "no port notifies"},
                 {310, [&] { lldpmib_ext_set_notify_all_ports(1), p2.ageouts++; }, true, "every port notifies"}};
    for (const auto& s : steps) {
        s.change();
        load();
        EXPECT_EQ(s.due, due(s.now)) << s.now << ": " << s.what;
    }
}

// While the daemon cannot be asked nothing is sent and no change is lost.
TEST_F(NotificationTest, FailingDaemon) {
    platform_fault_fail_always("lldp_client_iter_port_stats", EIO);
    EXPECT_FALSE(due(10)) << "a failed first look takes no baseline";
    platform_fault_fail_always("lldp_client_iter_port_stats", 0);
    EXPECT_FALSE(due(11));

    for (const char* op : {"lldp_client_get_generation", "lldp_client_iter_port_stats",
                           "lldp_client_get_remote_stats"}) {
        SCOPED_TRACE(op);
        ports[0].ageouts += 1;
        load();
        platform_fault_fail_always(op, EIO);
        EXPECT_FALSE(due(100 + 10 * ports[0].ageouts));
        platform_fault_fail_always(op, 0);
        EXPECT_TRUE(due(105 + 10 * ports[0].ageouts));
    }
}

}  // namespace
