// The net-snmp side of lldpRemTablesChange and of the time base: a timer that
// asks the extension library once a second and sends the notification, and
// the time origin taken from the master agent's sysUpTime.
#pragma once

namespace lldpmib_host {

// Call after init_agent and before init_snmp (which opens the AgentX session
// and reports it through the callbacks registered here).
void start_notifications();
// Undoes start_notifications (a loaded module before it is unloaded).
void stop_notifications();

}  // namespace lldpmib_host
