// When to send lldpRemTablesChange.  The host asks about once a second; the
// state lives here, so the host's AgentX session may come and go without
// losing a change or the time of the last notification.
#include <map>
#include <mutex>

#include "lldp_client.h"
#include "lldpmib_ext.h"
#include "lldpmib_ext_internal.h"
#include "lldpmib_ext_notify.h"

namespace {

// A port's remote table counters, compared as a whole.
struct PortCounts {
    uint32_t inserts = 0, deletes = 0, drops = 0, ageouts = 0;
    bool operator==(const PortCounts&) const = default;
};

struct PortState {
    PortCounts counts;
    bool notifies = false;
};

// What one call reads from the daemon.
struct Reading {
    std::map<uint32_t, PortState> ports;  // by port number
    uint32_t neighbors = 0;               // the neighbours' change count
    lldp_client_remote_stats remote{};
};

struct NotifyState {
    std::mutex mutex;
    bool have_baseline = false;
    std::map<uint32_t, PortCounts> ports;
    uint32_t neighbors = 0;
    bool pending = false;  // a change not yet notified
    bool sent_once = false;
    time_t last_sent = 0;
} state;

int collect_port(void* record, void* context, void*) {
    const auto* p = static_cast<const lldp_port_stats*>(record);
    auto* reading = static_cast<Reading*>(context);
    reading->ports[p->port_num] = {
        .counts = {.inserts = p->inserts, .deletes = p->deletes, .drops = p->drops,
                   .ageouts = p->ageouts},
        .notifies = p->notification_enable != 0,
    };
    return 0;
}

// False when the daemon cannot be asked: nothing is read then.
bool read_daemon(Reading* r) {
    lldp_client_generation gen{};
    if (lldp_client_get_generation(&gen) != 0) return false;
    if (lldp_client_iter_port_stats(collect_port, r) != 0) return false;
    if (lldp_client_get_remote_stats(&r->remote) != 0) return false;
    r->neighbors = gen.neighbors;
    return true;
}

// Whether the tables changed on a notifying port since the baseline.  A port
// the baseline does not know counts from zero (it appeared, or the daemon
// restarted).
bool changed_since(const NotifyState& s, const Reading& r, bool notify_all) {
    bool any_notifies = false;
    for (const auto& [num, port] : r.ports) {
        if (!notify_all && !port.notifies) continue;
        any_notifies = true;
        auto old = s.ports.find(num);
        if (port.counts != (old == s.ports.end() ? PortCounts{} : old->second)) return true;
    }
    return any_notifies && r.neighbors != s.neighbors;
}

}  // namespace

extern "C" int lldpmib_ext_notification_due(time_t now, lldpmib_ext_rem_tables_change* out) {
    Reading r;
    if (!read_daemon(&r)) return 0;  // the baseline stays: the change is seen later

    std::lock_guard lock(state.mutex);
    if (state.have_baseline && changed_since(state, r, lldpmib_ext_notify_all_ports() != 0))
        state.pending = true;
    state.have_baseline = true;
    state.neighbors = r.neighbors;
    state.ports.clear();
    for (const auto& [num, port] : r.ports) state.ports[num] = port.counts;

    if (!state.pending) return 0;
    // A clock that went back (a fake one in tests, a stepped one) does not hold
    // the change for ever.
    time_t since = now - state.last_sent;
    if (state.sent_once && since >= 0 && since < lldpmib_ext_notification_interval()) return 0;

    state.pending = false;
    state.sent_once = true;
    state.last_sent = now;
    *out = {.inserts = r.remote.inserts, .deletes = r.remote.deletes, .drops = r.remote.drops,
            .ageouts = r.remote.ageouts};
    return 1;
}

void lldpmib_ext_notify_reset(void) {
    std::lock_guard lock(state.mutex);
    state.have_baseline = state.pending = state.sent_once = false;
    state.ports.clear();
    state.neighbors = 0;
    state.last_sent = 0;
}
