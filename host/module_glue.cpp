#include "module_glue.h"

#include "lldpmib.h"
#include "lldpmib_ext.h"

namespace lldpmib_host {

void start_libraries(void* agent_context) {
    init_lldpmib(agent_context, 1);
    init_lldpmib_ext(agent_context, 1);
}
void stop_libraries(void* agent_context) {
    init_lldpmib_ext(agent_context, 0);
    init_lldpmib(agent_context, 0);
}
std::vector<mib_router::ObjectList> object_lists() {
    return {{lldpmib_OidList, lldpmib_OidListNum}, {lldpmib_ext_OidList, lldpmib_ext_OidListNum}};
}

}  // namespace lldpmib_host
