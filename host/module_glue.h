// The module as the host sees it.  Kept apart from the net-snmp side: the
// module's headers and net-snmp's declare clashing names.
#pragma once

struct ObjectInfo;

namespace lldpmib_host {

void start_module(void* agent_context);  // init_lldpmib(context, 1)
void stop_module(void* agent_context);   // init_lldpmib(context, 0)
ObjectInfo* object_list();
int object_count();

}  // namespace lldpmib_host
