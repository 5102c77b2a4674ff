// The extension library's own declarations, shared by its sources and the
// unit tests.
#pragma once
#include <stdint.h>

#include <map>
#include <vector>

#include "lldp_client.h"
#include "lldpmib_ext.h"
#include "lldpmib_ext_rows.h"

// ---- Settings (lldpmib_ext_settings.cpp) ----
int32_t lldpmib_ext_notification_interval(void);
bool lldpmib_ext_notify_all_ports(void);

// ---- Start-up (lldpmib_ext_registry.cpp) ----
// The router type read at start, for the rule whether LLDP is served.
extern uint32_t lldpmib_ext_router_type;

// ---- Snapshot (lldpmib_ext_snapshot.cpp) ----

// A local management address as its lldpLocManAddrTable instance: subtype,
// then the address octets.
struct lldpmib_ext_man_addr {
    int32_t subtype;
    std::vector<uint8_t> octets;
};

// What the client gave at one moment.  Each part is present only when its
// fetch succeeded; a set of tables' rows is built when first asked for
// (lldpmib_rows::built).
struct lldpmib_ext_data {
    bool has_config = false;
    lldp_client_config config{};
    bool has_ports = false;
    std::vector<lldp_port_stats> ports;  // by port number
    bool has_remote = false;
    lldp_client_remote_stats remote{};
    bool has_man_addrs = false;
    std::vector<lldpmib_ext_man_addr> man_addrs;  // in instance order
    // Filled under the snapshot's lock by lldpmib_rows::built.
    mutable std::map<const lldpmib_rows::table_set*, lldpmib_rows::tables> rows;
};

// Runs use(data) under the library's mutex on the snapshot, refetched first
// when it was fetched more than about a second ago.  Null when LLDP is not
// to be served (nothing is fetched then).
template <typename F>
auto lldpmib_ext_with_data(F&& use) -> decltype(use(*(const lldpmib_ext_data*)nullptr));

// The snapshot's lock and access, for lldpmib_ext_with_data.
const lldpmib_ext_data* lldpmib_ext_data_lock(void);  // null (and unlocked) when not served
void lldpmib_ext_data_unlock(void);
// Drops the snapshot (stop, and tests).
void lldpmib_ext_data_drop(void);

template <typename F>
auto lldpmib_ext_with_data(F&& use) -> decltype(use(*(const lldpmib_ext_data*)nullptr)) {
    const lldpmib_ext_data* d = lldpmib_ext_data_lock();
    if (d == nullptr) return nullptr;
    auto result = use(*d);
    lldpmib_ext_data_unlock();
    return result;
}

// ---- Method routines (lldpmib_ext_mib.cpp) ----
extern "C" {
VarBind* lldpExtConfiguration_get(OID* incoming, ObjectInfo* object, int searchType,
                                  void* contextInfo, int serialNum);
VarBind* lldpExtPortConfigEntry_get(OID* incoming, ObjectInfo* object, int searchType,
                                    void* contextInfo, int serialNum);
VarBind* lldpExtConfigManAddrEntry_get(OID* incoming, ObjectInfo* object, int searchType,
                                       void* contextInfo, int serialNum);
VarBind* lldpExtStatistics_get(OID* incoming, ObjectInfo* object, int searchType,
                               void* contextInfo, int serialNum);
VarBind* lldpExtStatsTxPortEntry_get(OID* incoming, ObjectInfo* object, int searchType,
                                     void* contextInfo, int serialNum);
VarBind* lldpExtStatsRxPortEntry_get(OID* incoming, ObjectInfo* object, int searchType,
                                     void* contextInfo, int serialNum);
}  // extern "C"
