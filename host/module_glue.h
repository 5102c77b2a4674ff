// The libraries a host serves, as the host sees them.  Kept apart from the
// net-snmp side: the module's headers and net-snmp's declare clashing names.
#pragma once
#include <stdint.h>
#include <time.h>

#include <vector>

#include "mib_router.h"

namespace lldpmib_host {

// Starts (stops) every served library with the agent context its routines
// are handed: the module first, libraries beside it after (stopped in the
// opposite order).
void start_libraries(void* agent_context);
void stop_libraries(void* agent_context);
// Their exported object lists.
std::vector<mib_router::ObjectList> object_lists();


// Notification settings of the extension library (before start): interval in
// seconds (5..3600, false when out of range), every port notifying or not.
bool set_notification_settings(int32_t interval, bool all_ports);

// The values lldpRemTablesChange carries.
struct RemTablesChange {
    uint32_t inserts, deletes, drops, ageouts;
};
// Asks the extension library once a second (now: monotonic seconds); true when
// a notification is to be sent now, with *out filled.
bool rem_tables_change_due(time_t now, RemTablesChange* out);

// The wall-clock time at which the master's sysUpTime was 0, in hundredths of
// a second since the Unix epoch: the base of time marks and change times.
void set_time_origin(int64_t unix_centiseconds);

}  // namespace lldpmib_host
