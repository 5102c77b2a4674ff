// When lldpRemTablesChange is due: the extension library's decision, with a
// fake clock and the topology model as the daemon.  Expected counter values
// are the sums of the topology's own port counters.
#include <errno.h>
#include <gtest/gtest.h>

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
            nlohmann::json neighbours = nlohmann::json::array();
            for (int i = 1; i <= p.neighbours; ++i)
                neighbours.push_back({{"rem_index", i}, {"chassis_id", "n" + std::to_string(i)},
                                      {"port_id", "eth0"}});
            doc["ports"].push_back({{"port_num", p.num}, {"port_id", "p" + std::to_string(p.num)},
                                    {"notification_enable", p.notifies},
                                    {"statistics", {{"inserts", p.inserts}, {"deletes", p.deletes},
                                                    {"drops", p.drops}, {"ageouts", p.ageouts}}},
                                    {"neighbors", neighbours}});
        }
        char err[256];
        ASSERT_EQ(0, lldp_client_use_topology_text(doc.dump().c_str(), "test", err, sizeof err)) << err;
    }

    // The notification's values as the topology gives them.
    lldpmib_ext_rem_tables_change sums() const {
        lldpmib_ext_rem_tables_change s{};
        for (const Port& p : ports) {
            s.inserts += p.inserts, s.deletes += p.deletes, s.drops += p.drops, s.ageouts += p.ageouts;
        }
        return s;
    }

    // Due at time now?  When due, the values must be the topology's sums.
    bool due(time_t now) {
        lldpmib_ext_rem_tables_change out{};
        if (!lldpmib_ext_notification_due(now, &out)) return false;
        auto want = sums();
        EXPECT_EQ(want.inserts, out.inserts);
        EXPECT_EQ(want.deletes, out.deletes);
        EXPECT_EQ(want.drops, out.drops);
        EXPECT_EQ(want.ageouts, out.ageouts);
        return true;
    }
};

// Which changes count: counters of a notifying port, and the neighbours while
// any port notifies; the first look only takes the baseline.
TEST_F(NotificationTest, ChangesThatCount) {
    EXPECT_FALSE(due(100)) << "the first look only records the baseline";
    EXPECT_FALSE(due(101));

    ports[1].drops = 7;  // port 2 does not notify
    load();
    EXPECT_FALSE(due(110));

    time_t now = 200;  // steps wider than the interval
    for (uint32_t Port::*counter : {&Port::inserts, &Port::deletes, &Port::drops, &Port::ageouts}) {
        ports[0].*counter += 1;
        load();
        EXPECT_TRUE(due(now += 10));
        EXPECT_FALSE(due(now += 10)) << "nothing changed since";
    }

    ports[1].neighbours = 2;  // a neighbour on the silent port, counters unchanged
    load();
    EXPECT_TRUE(due(400)) << "the neighbours changed while port 1 notifies";

    ports[0].notifies = false;
    load();
    EXPECT_FALSE(due(500));
    ports[1].neighbours = 0;
    ports[0].inserts += 5;
    load();
    EXPECT_FALSE(due(510)) << "no port notifies";

    lldpmib_ext_set_notify_all_ports(1);
    ports[1].ageouts += 1;
    load();
    EXPECT_TRUE(due(520)) << "every port notifies";
}

// At most one per interval: a change inside it is held and sent once it has
// passed, with the counters of that moment.
TEST_F(NotificationTest, OnePerInterval) {
    EXPECT_EQ(-1, lldpmib_ext_set_notification_interval(4));
    EXPECT_EQ(-1, lldpmib_ext_set_notification_interval(3601));
    EXPECT_EQ(0, lldpmib_ext_set_notification_interval(3600));
    EXPECT_EQ(3600, lldpmib_ext_notification_interval());
    EXPECT_EQ(0, lldpmib_ext_set_notification_interval(5));

    EXPECT_FALSE(due(1000));
    ports[0].inserts += 1;
    load();
    EXPECT_TRUE(due(1001));
    ports[0].inserts += 1;
    load();
    for (time_t t = 1002; t < 1006; ++t) EXPECT_FALSE(due(t)) << t;
    ports[0].deletes += 1;  // another change while held: still one notification
    load();
    EXPECT_TRUE(due(1006));
    EXPECT_FALSE(due(1020));

    ports[1].neighbours = 3;
    load();
    EXPECT_TRUE(due(1021)) << "a change long after the last one goes at once";
}

// While the daemon cannot be asked nothing is sent and no change is lost;
// the state outlives whatever the host does in between.
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
