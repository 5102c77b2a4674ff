#include "module_glue.h"

#include "lldpmib.h"

namespace lldpmib_host {

void start_module(void* agent_context) { init_lldpmib(agent_context, 1); }
void stop_module(void* agent_context) { init_lldpmib(agent_context, 0); }
ObjectInfo* object_list() { return lldpmib_OidList; }
int object_count() { return lldpmib_OidListNum; }

}  // namespace lldpmib_host
