#include "module_glue.h"

#include "lldp_client.h"
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


bool set_notification_settings(int32_t interval, bool all_ports) {
    if (lldpmib_ext_set_notification_interval(interval) != 0) return false;
    lldpmib_ext_set_notify_all_ports(all_ports ? 1 : 0);
    return true;
}
bool rem_tables_change_due(time_t now, RemTablesChange* out) {
    lldpmib_ext_rem_tables_change c{};
    if (!lldpmib_ext_notification_due(now, &c)) return false;
    *out = {.inserts = c.inserts, .deletes = c.deletes, .drops = c.drops, .ageouts = c.ageouts};
    return true;
}
void set_time_origin(int64_t unix_centiseconds) { lldp_client_set_time_origin(unix_centiseconds); }

}  // namespace lldpmib_host
