// The extension library's served objects.
#include "lldpmib_ext.h"

extern "C" {

ObjectInfo lldpmib_ext_OidList[1] = {};
int32_t lldpmib_ext_OidListNum = 0;

void init_lldpmib_ext(void*, int32_t) {}
int lldpmib_ext_set_notification_interval(int32_t seconds) {
    return seconds >= 5 && seconds <= 3600 ? 0 : -1;
}
void lldpmib_ext_set_notify_all_ports(int) {}
int lldpmib_ext_notification_due(time_t, lldpmib_ext_rem_tables_change*) { return 0; }

}  // extern "C"
