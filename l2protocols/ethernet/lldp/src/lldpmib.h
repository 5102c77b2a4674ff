// LLDP-MIB module: declarations shared by the module's sources and its tests.
#pragma once
#include <pthread.h>
#include <stddef.h>
#include <stdint.h>
#include <time.h>

#include "kel_dt.h"
#include "kel_list.h"
#include "lldp_client.h"
#include "lldpmib_freshness.h"
#include "platform_sys.h"
#include "snmp_agent.h"


extern "C" {

// ======================= Debug flags and trace lines =======================

typedef struct lldp_debug_row {
    kel_dt_handle* flag;
    const char* name;
    const char* description;
    const char* keyword;
    void* reserved;
} lldp_debug_row;

extern kel_dt_handle lldp_root, lldp_mib_root;
extern kel_dt_handle lldp_debug_all, lldp_event_debug, lldp_error_debug, lldp_tlv_debug,
    lldp_packet_debug, lldp_pakdump_debug, lldp_injecttlv_debug, lldp_trace_debug,
    lldp_verbose_debug, lldp_mib_debug, lldp_fd_max_elem_debug;
extern lldp_debug_row lldp_debug_arr_kel[12];
extern snmp_mib_debug_flags lldpmib_debug_flags;
extern int32_t lldp_debug;

void lldp_debug_init(void* table);
void lldp_shim_debug_init(void);
int lldp_get_debug_flag_value(const char* text);

}  // extern "C"

// Rows of lldp_debug_arr_kel whose flags gate the four kinds of line.
enum { LLDP_ROW_ERROR = 2, LLDP_ROW_TRACE = 7, LLDP_ROW_VERBOSE = 8, LLDP_ROW_MIB = 9 };

// One trace line: the gating flag read through its table row at the moment of
// the call, a site word of the call site's own, the format with its level
// prefix and the writing function's name for that prefix's "%s".  The facility
// is called when the flag is on, and once per site before (it marks the site
// seen); otherwise the line's arguments are not even worked out.
#define LLDPMIB_EMIT(row, format, fn, ...)                                           \
    do {                                                                             \
        static int lldpmib_site_word_ = -1;                                          \
        kel_dt_handle lldpmib_flag_ = *lldp_debug_arr_kel[row].flag;                 \
        if (__atomic_load_n(&lldpmib_site_word_, __ATOMIC_RELAXED) == -1 ||          \
            kel_dt_flag_enabled(lldpmib_flag_))                                      \
            _kel_dt_log_filter_adv(lldpmib_flag_, 0, 0, 0, 0, 0, &lldpmib_site_word_, \
                                   format, fn, ##__VA_ARGS__);                       \
    } while (0)
#define LLDPMIB_LINE(row, prefix, fn, fmt, ...) LLDPMIB_EMIT(row, prefix fmt, fn, ##__VA_ARGS__)

// Whether the lines a row gates are written now.  Values worked out only to
// be shown in a line are worked out only while it is.
inline bool lldpmib_lines_on(int row) {
    return kel_dt_flag_enabled(*lldp_debug_arr_kel[row].flag) != 0;
}

#define LLDPMIB_TRACE(fn) LLDPMIB_LINE(LLDP_ROW_TRACE, "TRACE[%s] ", fn, "")
#define LLDPMIB_TRACE_ARGS(fn, fmt, ...) LLDPMIB_LINE(LLDP_ROW_TRACE, "TRACE[%s] ", fn, fmt, ##__VA_ARGS__)
#define LLDPMIB_VERBOSE(fn, fmt, ...) LLDPMIB_LINE(LLDP_ROW_VERBOSE, "VERBOSE[%s] ", fn, fmt, ##__VA_ARGS__)
#define LLDPMIB_MIB(fn, fmt, ...) LLDPMIB_LINE(LLDP_ROW_MIB, "MIB[%s] ", fn, fmt, ##__VA_ARGS__)
#define LLDPMIB_ERROR(fn, fmt, ...) LLDPMIB_LINE(LLDP_ROW_ERROR, "ERROR[%s] ", fn, fmt, ##__VA_ARGS__)

extern "C" {

// ======================= Registry =======================

extern const snmp_oid_name lldpmib_oid_table[22];
extern ObjectInfo lldpmib_OidList[27];
extern int32_t lldpmib_OidListNum;

// ======================= Start-up, shut-down and lock =======================

extern uint32_t lldpmib_router_type;
extern void* lldpmib_im_handle;
extern void* lldpmib_tovra_handle;
extern uint8_t lldpmib_tovra_available;
extern mgd_timer_tree_t* lldpmib_intf_cache_timer_tree;
extern mgd_timer_parent_t* lldpmib_intf_cache_timer_parent;
extern mgd_timer_leaf_t* lldpmib_intf_cache_timer_leaf;
extern pthread_mutex_t lldpmib_mutex;

void init_lldpmib(void* agent_context, int32_t start);
int32_t lldpmib_init(void* evm);
void lldpmib_term(void);
void lldpmib_lock(void);
void lldpmib_unlock(void);
void lldpmib_timer_handler(void* ctx, event_record_t* ev);
void lldpmib_im_conn_init(void);
void lldpmib_tovra_conn_init(void);
int lldpmib_tovra_bind(void);
void lldpmib_tovra_unbind(void* handle);
int lldpmib_mutexattr_init(pthread_mutexattr_t* attr);
int lldpmib_mutex_init(pthread_mutexattr_t* attr);
int lldpmib_mutex_destroy(void);

// ======================= Enablement =======================

int32_t lldpmib_shim_is_lldp_enabled(void);
int lldpmib_is_orvik_platform(void);

// ======================= Snapshot caches =======================

// What differs between the tables' snapshots: names, lines and the copies'
// free operation.  Lines are whole formats with their level prefix
// ("VERBOSE[%s] ..."; create_failed_line "MIB[%s] ..."), whose "%s" is the
// writing shim's name.
typedef struct lldpmib_snapshot_kind {
    const char* list_name;
    void (*free_copy)(void* copy);
    void (*destroy_list)(kel_list_handle list);  // frees every copy, destroys the list
    const char* reset_line;       // the list found not live
    const char* expired_line;     // the list found stale
    const char* create_failed_line;
    const char* purging_line;
    // Written when a snapshot's copies are released at once (at expiry and at
    // the module's stop): one removing line per copy, then the destroying
    // line before the list goes.  Null: the kind writes none.
    void (*removing)(const char* fn, const void* copy);
    void (*destroying)(const char* fn);
} lldpmib_snapshot_kind;

// One table's snapshot: the list of copies and its bookkeeping.
typedef struct lldpmib_snapshot {
    kel_list_handle list;
    lldpmib_data_stamp fetched;  // when its data was fetched (the list made)
    uint32_t total_entries;      // what decides a purge (per table)
    uint32_t entry_count;        // rows served for the last column
    uint32_t neighbors;          // neighbours counted by iterations (TLV tables)
} lldpmib_snapshot;

// Validity at the start of a lookup: a list not live resets the counters
// (reset_line); a list whose data was fetched in an earlier second, or before
// the client reported a change, is released (the kind's removing and
// destroying lines, its destroy routine, then expired_line).  Non-zero when
// the snapshot can be used.
int lldpmib_snapshot_usable(lldpmib_snapshot* s, const lldpmib_snapshot_kind* kind,
                            const char* fn);
// The module's stop: a live snapshot's copies released as at expiry (the
// kind's removing and destroying lines, fn the table's shim, then its destroy
// routine) and the handle cleared; nothing for a list not live.
void lldpmib_snapshot_release_at_stop(lldpmib_snapshot* s, const lldpmib_snapshot_kind* kind,
                                      const char* fn);
// Each table's release at the module's stop (its index of the copies dropped
// with them), called by lldpmib_term in the tables' order.
void lldpmib_release_local_port_snapshot(void);
void lldpmib_release_local_ma_snapshot(void);
void lldpmib_release_remote_entry_snapshot(void);
void lldpmib_release_remote_ma_snapshot(void);
void lldpmib_release_remote_unknown_tlv_snapshot(void);
void lldpmib_release_remote_org_def_snapshot(void);
// Creates the list (the lookup before stamped its data); on failure writes
// create_failed_line.  0 on success.
int lldpmib_snapshot_create(lldpmib_snapshot* s, const lldpmib_snapshot_kind* kind,
                            const char* fn);
// Takes a served record out: removing_line (its "%s" is fn, its "%d" port),
// remove, destroying_line and destroy the list when that emptied it, free the
// record.
void lldpmib_snapshot_consume(lldpmib_snapshot* s, const lldpmib_snapshot_kind* kind,
                              const char* fn, void* record, int port, const char* removing_line,
                              const char* destroying_line);
// Drops the whole snapshot: purging_line, destroy_list, handle cleared.
void lldpmib_snapshot_purge(lldpmib_snapshot* s, const lldpmib_snapshot_kind* kind,
                            const char* fn);
// The destroy routine of the local tables: dequeue and free every copy, then
// destroy the list ("MIB[%s] kel_list_destroy failed" names fn).
void lldpmib_destroy_copy_list(kel_list_handle list, void (*free_copy)(void*), const char* fn);
// The list's node walk: both answer null for a null node.
kel_list_node_t* lldpmib_node_next(kel_list_node_t* node);
void* lldpmib_node_data(kel_list_node_t* node);

// ======================= Local system data =======================

typedef struct lldpLocalSystemData_t {
    int32_t lldpLocChassisIdSubtype;
    OctetString* lldpLocChassisId;
    OctetString* lldpLocSysName;
    OctetString* lldpLocSysDesc;
    OctetString* lldpLocSysCapSupported;
    OctetString* lldpLocSysCapEnabled;
} lldpLocalSystemData_t;
extern lldpLocalSystemData_t lldpLocalSystemDataData;

lldpLocalSystemData_t* lldpmib_shim_local_system_data_get(int serialNum, void* contextInfo,
                                                          int nominator);
int lldpmib_convert_macstr_pton(const char* text, unsigned char* buffer);
// The subtypes whose IDs are not served as text.
enum { LLDP_CHASSIS_ID_MAC = 4, LLDP_CHASSIS_ID_NETWORK_ADDRESS = 5, LLDP_CHASSIS_ID_LOCAL = 7 };
enum { LLDP_PORT_ID_MAC = 3, LLDP_PORT_ID_NETWORK_ADDRESS = 4 };
// A local ID given as text in the form its subtype defines: dotted MAC text
// as its six octets, network address text as the IANA family octet and the
// address, anything else as the text.  A chassis MAC ID that is not MAC text
// is its first 14 characters.
OctetString* lldpmib_local_chassis_id(int subtype, const char* text);
OctetString* lldpmib_local_port_id(int subtype, const char* text);
uint16_t reverse_bits_uint16(uint16_t value);
// Capabilities as the MIB's BITS octets: capability 0 in the first octet's
// most significant bit, capability 8 in the second's.  *mirrored is
// reverse_bits_uint16(caps), which the trace lines show.
void lldpmib_caps_bits(uint16_t caps, uint16_t* mirrored, unsigned char octets[2]);

// ======================= Local tables: shared steps =======================

// The body of a local table's iteration callback after its entry line: copies
// the record (copy may answer null) and appends the copy to the list.  On an
// append failure writes fail_line (a whole format with its prefix, gated by
// the flag of row fail_row, "%s" = fn), frees the copy and sets *status to 2.
// The appended copy, or null.
void* lldpmib_local_store_copy(void* record, void* list, void* (*copy)(const void*),
                               void (*free_copy)(void*), int fail_row, const char* fail_line,
                               const char* fn, int* status);
// A row served for the table's last column: counted and traced.
void lldpmib_local_count_served(lldpmib_snapshot* s, const char* fn);
// A lookup that found no record: the snapshot goes when it counts no record.
void lldpmib_local_lookup_miss(lldpmib_snapshot* s, const lldpmib_snapshot_kind* kind,
                               const char* fn);
// Row clears: strings freed, fields zeroed.
void lldpmib_free_local_port_row(void);
void lldpmib_free_local_ma_row(void);

// ======================= Local port table =======================

typedef struct lldpLocPortEntry_t {
    uint32_t lldpLocPortNum;
    int32_t lldpLocPortIdSubtype;
    OctetString* lldpLocPortId;
    OctetString* lldpLocPortDesc;
} lldpLocPortEntry_t;
extern lldpLocPortEntry_t lldpLocPortEntryData;

typedef struct local_port_search_ctx {
    lldp_interface_td* copy;
} local_port_search_ctx;

lldpLocPortEntry_t* lldpmib_shim_local_port_entry_get(int serialNum, void* contextInfo,
                                                      int nominator, int searchType,
                                                      int32_t portNum);
lldp_interface_td* lldpmib_find_local_port_entry(uint32_t portNum, kel_list_handle list);
int lldpmib_get_interface_td(void* record, void* list, void* context);
void lldpmib_destroy_local_entry_list(kel_list_handle list);

// ======================= Local management address table =======================

typedef struct lldpLocManAddrEntry_t {
    int32_t lldpLocManAddrSubtype;
    OctetString* lldpLocManAddr;
    int32_t lldpLocManAddrLen;
    int32_t lldpLocManAddrIfSubtype;
    int32_t lldpLocManAddrIfId;
    OID* lldpLocManAddrOID;
} lldpLocManAddrEntry_t;
extern lldpLocManAddrEntry_t lldpLocManAddrEntryData;

typedef struct local_ma_search_ctx {
    lldp_local_ma_td* record;
    lldp_addr_element* element;
} local_ma_search_ctx;

lldpLocManAddrEntry_t* lldpmib_shim_local_ma_entry_get(int serialNum, void* contextInfo,
                                                       int nominator, int searchType,
                                                       int32_t subtype, OctetString* addr);
int lldpmib_get_local_ma_td(void* record, void* list, void* context);
void lldpmib_destroy_local_ma_list(kel_list_handle list);
int lldpmib_compare_addr_entry(const lldp_addr_element* a, const lldp_addr_element* b);

// ======================= Neighbour records =======================

int lldpmib_compare_key(uint32_t port_a, uint32_t index_a, uint32_t port_b, uint32_t index_b);
int lldpmib_neighbor_list_compare(void* a, void* b);
void lldpmib_destroy_remote_entry_list(kel_list_handle list);

// ======================= Remote entry table =======================

typedef struct lldpRemEntry_t {
    uint32_t lldpRemTimeMark;
    int32_t lldpRemLocalPortNum;
    int32_t lldpRemIndex;
    int32_t lldpRemChassisIdSubtype;
    OctetString* lldpRemChassisId;
    int32_t lldpRemPortIdSubtype;
    OctetString* lldpRemPortId;
    OctetString* lldpRemPortDesc;
    OctetString* lldpRemSysName;
    OctetString* lldpRemSysDesc;
    OctetString* lldpRemSysCapSupported;
    OctetString* lldpRemSysCapEnabled;
    uint8_t valid[2];
} lldpRemEntry_t;

lldpRemEntry_t* lldpmib_shim_remote_entry_get(int serialNum, void* contextInfo, int nominator,
                                              int searchType, uint32_t timeMark,
                                              int32_t localPortNum, int32_t remIndex);
int lldpmib_get_first_neighbor_td(void* record, void* list, void* context);
void lldpmib_free_remote_entry_row(void);

// ======================= Remote management address table =======================

typedef struct lldpRemManAddrEntry_t {
    int32_t lldpRemManAddrSubtype;
    OctetString* lldpRemManAddr;
    int32_t lldpRemManAddrIfSubtype;
    int32_t lldpRemManAddrIfId;
    OID* lldpRemManAddrOID;
    uint32_t lldpRemTimeMark;
    int32_t lldpRemLocalPortNum;
    int32_t lldpRemIndex;
    uint8_t valid[1];
} lldpRemManAddrEntry_t;

lldpRemManAddrEntry_t* lldpmib_shim_remote_ma_entry_get(int serialNum, void* contextInfo,
                                                        int nominator, int searchType,
                                                        uint32_t timeMark, int32_t localPortNum,
                                                        int32_t remIndex, int32_t addrSubtype,
                                                        OctetString* addr);
int lldpmib_get_first_ma_neighbor_td(void* record, void* list, void* context);
void lldpmib_free_remote_ma_row(void);

// ======================= Remote unknown TLV table =======================

typedef struct lldpRemUnknownTLVEntry_t {
    int32_t lldpRemUnknownTLVType;
    OctetString* lldpRemUnknownTLVInfo;
    uint32_t lldpRemTimeMark;
    int32_t lldpRemLocalPortNum;
    int32_t lldpRemIndex;
} lldpRemUnknownTLVEntry_t;

lldpRemUnknownTLVEntry_t* lldpmib_shim_remote_unknown_tlv_entry_get(
    int serialNum, void* contextInfo, int nominator, int searchType, uint32_t timeMark,
    int32_t localPortNum, int32_t remIndex, int32_t tlvType);
int lldpmib_get_first_unknown_tlv_neighbor_td(void* record, void* list, void* context);
void lldpmib_free_remote_unknown_tlv_row(void);

// ======================= Remote organisationally defined info table =======================

typedef struct lldpRemOrgDefInfoEntry_t {
    OctetString* lldpRemOrgDefInfoOUI;
    int32_t lldpRemOrgDefInfoSubtype;
    int32_t lldpRemOrgDefInfoIndex;
    OctetString* lldpRemOrgDefInfo;
    uint32_t lldpRemTimeMark;
    int32_t lldpRemLocalPortNum;
    int32_t lldpRemIndex;
} lldpRemOrgDefInfoEntry_t;

lldpRemOrgDefInfoEntry_t* lldpmib_shim_remote_org_def_info_entry_get(
    int serialNum, void* contextInfo, int nominator, int searchType, uint32_t timeMark,
    int32_t localPortNum, int32_t remIndex, OctetString* oui, int32_t subtype, int32_t index);
int lldpmib_get_first_oui_neighbor_td(void* record, void* list, void* context);
void lldpmib_free_remote_org_def_info_row(void);
uint32_t lldpmib_oui_to_uint(const OctetString* oui);
OctetString* lldpmib_make_oui_octet_string(uint32_t oui);

// ======================= Method and row routines =======================

VarBind* lldpLocalSystemData_get(OID* incoming, ObjectInfo* object, int searchType,
                                 void* contextInfo, int serialNum);
VarBind* lldpLocPortEntry_get(OID* incoming, ObjectInfo* object, int searchType,
                              void* contextInfo, int serialNum);
VarBind* lldpLocManAddrEntry_get(OID* incoming, ObjectInfo* object, int searchType,
                                 void* contextInfo, int serialNum);
VarBind* lldpRemEntry_get(OID* incoming, ObjectInfo* object, int searchType, void* contextInfo,
                          int serialNum);
VarBind* lldpRemManAddrEntry_get(OID* incoming, ObjectInfo* object, int searchType,
                                 void* contextInfo, int serialNum);
VarBind* lldpRemUnknownTLVEntry_get(OID* incoming, ObjectInfo* object, int searchType,
                                    void* contextInfo, int serialNum);
VarBind* lldpRemOrgDefInfoEntry_get(OID* incoming, ObjectInfo* object, int searchType,
                                    void* contextInfo, int serialNum);

lldpLocalSystemData_t* k_lldpLocalSystemData_get(int serialNum, void* contextInfo, int nominator);
lldpLocPortEntry_t* k_lldpLocPortEntry_get(int serialNum, void* contextInfo, int nominator,
                                           int searchType, int32_t portNum);
lldpLocManAddrEntry_t* k_lldpLocManAddrEntry_get(int serialNum, void* contextInfo, int nominator,
                                                 int searchType, int32_t subtype,
                                                 OctetString* addr);
lldpRemEntry_t* k_lldpRemEntry_get(int serialNum, void* contextInfo, int nominator,
                                   int searchType, uint32_t timeMark, int32_t localPortNum,
                                   int32_t remIndex);
lldpRemManAddrEntry_t* k_lldpRemManAddrEntry_get(int serialNum, void* contextInfo, int nominator,
                                                 int searchType, uint32_t timeMark,
                                                 int32_t localPortNum, int32_t remIndex,
                                                 int32_t addrSubtype, OctetString* addr);
lldpRemUnknownTLVEntry_t* k_lldpRemUnknownTLVEntry_get(int serialNum, void* contextInfo,
                                                       int nominator, int searchType,
                                                       uint32_t timeMark, int32_t localPortNum,
                                                       int32_t remIndex, int32_t tlvType);
lldpRemOrgDefInfoEntry_t* k_lldpRemOrgDefInfoEntry_get(int serialNum, void* contextInfo,
                                                       int nominator, int searchType,
                                                       uint32_t timeMark, int32_t localPortNum,
                                                       int32_t remIndex, OctetString* oui,
                                                       int32_t subtype, int32_t index);

// ======================= Configuration and statistics groups =======================

typedef struct lldpPortConfigEntry_t {
    int32_t lldpPortConfigPortNum;
    int32_t lldpPortConfigAdminStatus;
    int32_t lldpPortConfigNotificationEnable;
    OctetString* lldpPortConfigTLVsTxEnable;
    uint8_t valid[1];
} lldpPortConfigEntry_t;

typedef struct lldpConfiguration_t {
    int32_t lldpMessageTxInterval;
    int32_t lldpMessageTxHoldMultiplier;
    int32_t lldpReinitDelay;
    int32_t lldpTxDelay;
    int32_t lldpNotificationInterval;
    uint8_t valid[1];
} lldpConfiguration_t;

VarBind* lldpConfiguration_get(OID* incoming, ObjectInfo* object, int searchType,
                               void* contextInfo, int serialNum);
void* k_lldpConfiguration_get(int serialNum, void* contextInfo, int nominator);
int lldpConfiguration_test(OID* incoming, ObjectInfo* object, ObjectSyntax* value,
                           doList_t* doHead, doList_t* doCur, void* contextInfo);
int lldpConfiguration_set(doList_t* doHead, doList_t* doCur, void* contextInfo);
int lldpConfiguration_cleanup(doList_t* doCur);
void lldpConfiguration_free(lldpConfiguration_t* data);
int k_lldpConfiguration_test(OID* incoming, ObjectInfo* object, ObjectSyntax* value,
                             void* contextInfo, doList_t* doCur);
int k_lldpConfiguration_ready(OID* incoming, ObjectInfo* object, doList_t* doHead,
                              doList_t* doCur);
int k_lldpConfiguration_set(lldpConfiguration_t* data, void* contextInfo, int function);

VarBind* lldpPortConfigEntry_get(OID* incoming, ObjectInfo* object, int searchType,
                                 void* contextInfo, int serialNum);
void* k_lldpPortConfigEntry_get(int serialNum, void* contextInfo, int nominator,
                                int searchType, int32_t portNum);
int lldpPortConfigEntry_test(OID* incoming, ObjectInfo* object, ObjectSyntax* value,
                             doList_t* doHead, doList_t* doCur, void* contextInfo);
int lldpPortConfigEntry_set(doList_t* doHead, doList_t* doCur, void* contextInfo);
int lldpPortConfigEntry_cleanup(doList_t* doCur);
void lldpPortConfigEntry_free(lldpPortConfigEntry_t* data);
lldpPortConfigEntry_t* Clone_lldpPortConfigEntry(const lldpPortConfigEntry_t* data);
int k_lldpPortConfigEntry_test(OID* incoming, ObjectInfo* object, ObjectSyntax* value,
                               void* contextInfo, doList_t* doCur);
int k_lldpPortConfigEntry_ready(OID* incoming, ObjectInfo* object, doList_t* doHead,
                                doList_t* doCur);
int k_lldpPortConfigEntry_set(lldpPortConfigEntry_t* data, void* contextInfo, int function);
int k_lldpPortConfigEntry_set_defaults(doList_t* doCur);

VarBind* lldpStatistics_get(OID* incoming, ObjectInfo* object, int searchType,
                            void* contextInfo, int serialNum);
void* k_lldpStatistics_get(int serialNum, void* contextInfo, int nominator);
VarBind* lldpStatsTxPortEntry_get(OID* incoming, ObjectInfo* object, int searchType,
                                  void* contextInfo, int serialNum);
void* k_lldpStatsTxPortEntry_get(int serialNum, void* contextInfo, int nominator,
                                 int searchType, int32_t portNum);
VarBind* lldpStatsRxPortEntry_get(OID* incoming, ObjectInfo* object, int searchType,
                                  void* contextInfo, int serialNum);
void* k_lldpStatsRxPortEntry_get(int serialNum, void* contextInfo, int nominator,
                                 int searchType, int32_t portNum);
int lldpLocManAddrEntry_test(OID* incoming, ObjectInfo* object, ObjectSyntax* value,
                             doList_t* doHead, doList_t* doCur, void* contextInfo);
int32_t lldp_dummy_error_status(int32_t status);

}  // extern "C"
