#include "notifications.h"

#include <net-snmp/net-snmp-config.h>
#include <net-snmp/net-snmp-includes.h>
#include <net-snmp/agent/net-snmp-agent-includes.h>
#include <net-snmp/agent/agent_callbacks.h>

#include <sys/time.h>
#include <time.h>

#include <cstdint>
#include <cstdlib>

#include "module_glue.h"

namespace lldpmib_host {
namespace {

// clang-format off
const oid kSnmpTrapOid[]       = {1, 3, 6, 1, 6, 3, 1, 1, 4, 1, 0};
const oid kRemTablesChange[]   = {1, 0, 8802, 1, 1, 2, 0, 0, 1};
const oid kRemTablesInserts[]  = {1, 0, 8802, 1, 1, 2, 1, 2, 2, 0};
const oid kRemTablesDeletes[]  = {1, 0, 8802, 1, 1, 2, 1, 2, 3, 0};
const oid kRemTablesDrops[]    = {1, 0, 8802, 1, 1, 2, 1, 2, 4, 0};
const oid kRemTablesAgeouts[]  = {1, 0, 8802, 1, 1, 2, 1, 2, 5, 0};
// clang-format on

// A moved origin is passed on only beyond this (hundredths): each AgentX
// response resynchronises net-snmp's uptime to within a round trip.
const int64_t kOriginSlack = 50;

// Whether notifications reach the master now.  A subagent's session comes and
// goes with the master; inside snmpd there is no session to lose.
bool master_reachable = false;
unsigned int tick_alarm = 0;
bool origin_set = false;
int64_t last_origin = 0;

int64_t wall_centiseconds() {
    struct timeval tv {};
    gettimeofday(&tv, nullptr);
    return static_cast<int64_t>(tv.tv_sec) * 100 + tv.tv_usec / 10000;
}

// net-snmp's agent uptime is the master's sysUpTime in a subagent: every
// AgentX response the subagent receives (open, register, ping) carries the
// master's sysUpTime, and net-snmp sets its own start time from it.
void sync_time_origin() {
    int64_t origin = wall_centiseconds() - static_cast<int64_t>(netsnmp_get_agent_uptime());
    if (origin_set && std::llabs(origin - last_origin) <= kOriginSlack) return;
    origin_set = true;
    last_origin = origin;
    set_time_origin(origin);
    DEBUGMSGTL(("lldpmib/notify", "time origin %lld (sysUpTime %lu)\n",
                static_cast<long long>(origin), netsnmp_get_agent_uptime()));
}

void add_gauge(netsnmp_variable_list** vars, const oid* name, size_t len, uint32_t value) {
    u_long v = value;
    snmp_varlist_add_variable(vars, name, len, ASN_GAUGE, &v, sizeof v);
}

void send_rem_tables_change(const RemTablesChange& c) {
    netsnmp_variable_list* vars = nullptr;
    snmp_varlist_add_variable(&vars, kSnmpTrapOid, OID_LENGTH(kSnmpTrapOid), ASN_OBJECT_ID,
                              kRemTablesChange, sizeof kRemTablesChange);
    add_gauge(&vars, kRemTablesInserts, OID_LENGTH(kRemTablesInserts), c.inserts);
    add_gauge(&vars, kRemTablesDeletes, OID_LENGTH(kRemTablesDeletes), c.deletes);
    add_gauge(&vars, kRemTablesDrops, OID_LENGTH(kRemTablesDrops), c.drops);
    add_gauge(&vars, kRemTablesAgeouts, OID_LENGTH(kRemTablesAgeouts), c.ageouts);
    send_v2trap(vars);
    snmp_free_varbind(vars);
    snmp_log(LOG_INFO, "lldpRemTablesChange sent (inserts %u, deletes %u, drops %u, ageouts %u)\n",
             c.inserts, c.deletes, c.drops, c.ageouts);
}

// Once a second.  While the master cannot be reached the library is not asked:
// a change stays pending there and is notified once the master is back.
void tick(unsigned int, void*) {
    if (!master_reachable) return;
    sync_time_origin();
    struct timespec ts {};
    clock_gettime(CLOCK_MONOTONIC, &ts);
    RemTablesChange c{};
    if (rem_tables_change_due(ts.tv_sec, &c)) send_rem_tables_change(c);
}

int on_session_start(int, int, void*, void*) {
    master_reachable = true;
    sync_time_origin();  // a restarted master starts its sysUpTime again
    return SNMPERR_SUCCESS;
}

int on_session_stop(int, int, void*, void*) {
    master_reachable = false;
    return SNMPERR_SUCCESS;
}

}  // namespace

void start_notifications() {
    bool subagent = netsnmp_ds_get_boolean(NETSNMP_DS_APPLICATION_ID, NETSNMP_DS_AGENT_ROLE);
    master_reachable = !subagent;
    // The subagent learns of its session to the master through these.
    snmp_register_callback(SNMP_CALLBACK_APPLICATION, SNMPD_CALLBACK_INDEX_START,
                           on_session_start, nullptr);
    snmp_register_callback(SNMP_CALLBACK_APPLICATION, SNMPD_CALLBACK_INDEX_STOP, on_session_stop,
                           nullptr);
    tick_alarm = snmp_alarm_register(1, SA_REPEAT, tick, nullptr);
}

void stop_notifications() {
    if (tick_alarm) snmp_alarm_unregister(tick_alarm);
    tick_alarm = 0;
    snmp_unregister_callback(SNMP_CALLBACK_APPLICATION, SNMPD_CALLBACK_INDEX_START, on_session_start,
                             nullptr, 1);
    snmp_unregister_callback(SNMP_CALLBACK_APPLICATION, SNMPD_CALLBACK_INDEX_STOP, on_session_stop,
                             nullptr, 1);
}

}  // namespace lldpmib_host
