// The libraries a host serves, as the host sees them.  Kept apart from the
// net-snmp side: the module's headers and net-snmp's declare clashing names.
#pragma once
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

}  // namespace lldpmib_host
