// The LLDP-MIB extension library: what a Linux host serves beside the router
// module (liblldpmib.so) under lldpMIB: the configuration and statistics
// groups, read-only, and the lldpRemTablesChange notification's decision.
// Loaded by the hosts and registered as its own object list.
#pragma once
#include <stdint.h>
#include <time.h>

#include "snmp_agent.h"

extern "C" {

// Starts (start 1) or stops (start 0) the library; the hosts call it after
// the module's start and before its stop.
void init_lldpmib_ext(void* agent_context, int32_t start);

// The served objects, as the module's lldpmib_OidList.
extern ObjectInfo lldpmib_ext_OidList[];
extern int32_t lldpmib_ext_OidListNum;

// ---- Settings (before start) ----
// lldpNotificationInterval: seconds, 5..3600 (default 30).  Non-zero when
// out of range (nothing changes).
int lldpmib_ext_set_notification_interval(int32_t seconds);
// 1: every port notifies (lldpPortConfigNotificationEnable true on every
// port), whatever the daemon says; 0 (default): as the daemon says.
void lldpmib_ext_set_notify_all_ports(int on);

// ---- lldpRemTablesChange ----
typedef struct lldpmib_ext_rem_tables_change {
    uint32_t inserts;  // lldpStatsRemTablesInserts
    uint32_t deletes;  // lldpStatsRemTablesDeletes
    uint32_t drops;    // lldpStatsRemTablesDrops
    uint32_t ageouts;  // lldpStatsRemTablesAgeouts
} lldpmib_ext_rem_tables_change;

// Called by the host about once a second with the time in seconds: 1 when a
// notification is to be sent now (*out holds its varbinds' values), else 0.
int lldpmib_ext_notification_due(time_t now, lldpmib_ext_rem_tables_change* out);

}  // extern "C"
