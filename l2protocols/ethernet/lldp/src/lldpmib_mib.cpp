// The served objects, the method routines the agent calls for them, the row
// routines that forward to the shims, and the routines of the configuration
// and statistics groups, which serve nothing and refuse every change.
#include <stdlib.h>
#include <string.h>

#include "lldpmib.h"
#include "lldpmib_frame.h"

extern "C" {

// ======================= Identifiers =======================

extern const uint32_t IDlldpMessageTxInterval[] = {LLDP_MIB_PREFIX, 1, 1, 1};
extern const uint32_t IDlldpMessageTxHoldMultiplier[] = {LLDP_MIB_PREFIX, 1, 1, 2};
extern const uint32_t IDlldpReinitDelay[] = {LLDP_MIB_PREFIX, 1, 1, 3};
extern const uint32_t IDlldpTxDelay[] = {LLDP_MIB_PREFIX, 1, 1, 4};
extern const uint32_t IDlldpNotificationInterval[] = {LLDP_MIB_PREFIX, 1, 1, 5};
extern const uint32_t IDlldpPortConfigAdminStatus[] = {LLDP_MIB_PREFIX, 1, 1, 6, 1, 2};
extern const uint32_t IDlldpPortConfigNotificationEnable[] = {LLDP_MIB_PREFIX, 1, 1, 6, 1, 3};
extern const uint32_t IDlldpPortConfigTLVsTxEnable[] = {LLDP_MIB_PREFIX, 1, 1, 6, 1, 4};
extern const uint32_t IDlldpConfigManAddrPortsTxEnable[] = {LLDP_MIB_PREFIX, 1, 1, 7, 1, 1};
extern const uint32_t IDlldpStatsRemTablesLastChangeTime[] = {LLDP_MIB_PREFIX, 1, 2, 1};
extern const uint32_t IDlldpStatsRemTablesInserts[] = {LLDP_MIB_PREFIX, 1, 2, 2};
extern const uint32_t IDlldpStatsRemTablesDeletes[] = {LLDP_MIB_PREFIX, 1, 2, 3};
extern const uint32_t IDlldpStatsRemTablesDrops[] = {LLDP_MIB_PREFIX, 1, 2, 4};
extern const uint32_t IDlldpStatsRemTablesAgeouts[] = {LLDP_MIB_PREFIX, 1, 2, 5};
extern const uint32_t IDlldpStatsTxPortFramesTotal[] = {LLDP_MIB_PREFIX, 1, 2, 6, 1, 2};
extern const uint32_t IDlldpStatsRxPortFramesDiscardedTotal[] = {LLDP_MIB_PREFIX, 1, 2, 7, 1, 2};
extern const uint32_t IDlldpStatsRxPortFramesErrors[] = {LLDP_MIB_PREFIX, 1, 2, 7, 1, 3};
extern const uint32_t IDlldpStatsRxPortFramesTotal[] = {LLDP_MIB_PREFIX, 1, 2, 7, 1, 4};
extern const uint32_t IDlldpStatsRxPortTLVsDiscardedTotal[] = {LLDP_MIB_PREFIX, 1, 2, 7, 1, 5};
extern const uint32_t IDlldpStatsRxPortTLVsUnrecognizedTotal[] = {LLDP_MIB_PREFIX, 1, 2, 7, 1, 6};
extern const uint32_t IDlldpStatsRxPortAgeoutsTotal[] = {LLDP_MIB_PREFIX, 1, 2, 7, 1, 7};

extern const uint32_t IDlldpLocChassisIdSubtype[] = {LLDP_MIB_PREFIX, 1, 3, 1};
extern const uint32_t IDlldpLocChassisId[] = {LLDP_MIB_PREFIX, 1, 3, 2};
extern const uint32_t IDlldpLocSysName[] = {LLDP_MIB_PREFIX, 1, 3, 3};
extern const uint32_t IDlldpLocSysDesc[] = {LLDP_MIB_PREFIX, 1, 3, 4};
extern const uint32_t IDlldpLocSysCapSupported[] = {LLDP_MIB_PREFIX, 1, 3, 5};
extern const uint32_t IDlldpLocSysCapEnabled[] = {LLDP_MIB_PREFIX, 1, 3, 6};
extern const uint32_t IDlldpLocPortIdSubtype[] = {LLDP_MIB_PREFIX, 1, 3, 7, 1, 2};
extern const uint32_t IDlldpLocPortId[] = {LLDP_MIB_PREFIX, 1, 3, 7, 1, 3};
extern const uint32_t IDlldpLocPortDesc[] = {LLDP_MIB_PREFIX, 1, 3, 7, 1, 4};
extern const uint32_t IDlldpLocManAddrLen[] = {LLDP_MIB_PREFIX, 1, 3, 8, 1, 3};
extern const uint32_t IDlldpLocManAddrIfSubtype[] = {LLDP_MIB_PREFIX, 1, 3, 8, 1, 4};
extern const uint32_t IDlldpLocManAddrIfId[] = {LLDP_MIB_PREFIX, 1, 3, 8, 1, 5};
extern const uint32_t IDlldpLocManAddrOID[] = {LLDP_MIB_PREFIX, 1, 3, 8, 1, 6};
extern const uint32_t IDlldpRemChassisIdSubtype[] = {LLDP_MIB_PREFIX, 1, 4, 1, 1, 4};
extern const uint32_t IDlldpRemChassisId[] = {LLDP_MIB_PREFIX, 1, 4, 1, 1, 5};
extern const uint32_t IDlldpRemPortIdSubtype[] = {LLDP_MIB_PREFIX, 1, 4, 1, 1, 6};
extern const uint32_t IDlldpRemPortId[] = {LLDP_MIB_PREFIX, 1, 4, 1, 1, 7};
extern const uint32_t IDlldpRemPortDesc[] = {LLDP_MIB_PREFIX, 1, 4, 1, 1, 8};
extern const uint32_t IDlldpRemSysName[] = {LLDP_MIB_PREFIX, 1, 4, 1, 1, 9};
extern const uint32_t IDlldpRemSysDesc[] = {LLDP_MIB_PREFIX, 1, 4, 1, 1, 10};
extern const uint32_t IDlldpRemSysCapSupported[] = {LLDP_MIB_PREFIX, 1, 4, 1, 1, 11};
extern const uint32_t IDlldpRemSysCapEnabled[] = {LLDP_MIB_PREFIX, 1, 4, 1, 1, 12};
extern const uint32_t IDlldpRemManAddrIfSubtype[] = {LLDP_MIB_PREFIX, 1, 4, 2, 1, 3};
extern const uint32_t IDlldpRemManAddrIfId[] = {LLDP_MIB_PREFIX, 1, 4, 2, 1, 4};
extern const uint32_t IDlldpRemManAddrOID[] = {LLDP_MIB_PREFIX, 1, 4, 2, 1, 5};
extern const uint32_t IDlldpRemUnknownTLVInfo[] = {LLDP_MIB_PREFIX, 1, 4, 3, 1, 2};
extern const uint32_t IDlldpRemOrgDefInfo[] = {LLDP_MIB_PREFIX, 1, 4, 4, 1, 4};

const snmp_oid_name lldpmib_oid_table[22] = {
    {"iso", "1"},
    {"lldpMIB", "1.0.8802.1.1.2"},
    {"lldpNotifications", "1.0.8802.1.1.2.0"},
    {"lldpNotificationPrefix", "1.0.8802.1.1.2.0.0"},
    {"lldpRemTablesChange", "1.0.8802.1.1.2.0.0.1"},
    {"lldpObjects", "1.0.8802.1.1.2.1"},
    {"lldpConfiguration", "1.0.8802.1.1.2.1.1"},
    {"lldpPortConfigEntry", "1.0.8802.1.1.2.1.1.6.1"},
    {"lldpConfigManAddrEntry", "1.0.8802.1.1.2.1.1.7.1"},
    {"lldpStatistics", "1.0.8802.1.1.2.1.2"},
    {"lldpStatsTxPortEntry", "1.0.8802.1.1.2.1.2.6.1"},
    {"lldpStatsRxPortEntry", "1.0.8802.1.1.2.1.2.7.1"},
    {"lldpLocalSystemData", "1.0.8802.1.1.2.1.3"},
    {"lldpLocPortEntry", "1.0.8802.1.1.2.1.3.7.1"},
    {"lldpLocManAddrEntry", "1.0.8802.1.1.2.1.3.8.1"},
    {"lldpRemoteSystemsData", "1.0.8802.1.1.2.1.4"},
    {"lldpRemEntry", "1.0.8802.1.1.2.1.4.1.1"},
    {"lldpRemManAddrEntry", "1.0.8802.1.1.2.1.4.2.1"},
    {"lldpRemUnknownTLVEntry", "1.0.8802.1.1.2.1.4.3.1"},
    {"lldpRemOrgDefInfoEntry", "1.0.8802.1.1.2.1.4.4.1"},
    {"lldpExtensions", "1.0.8802.1.1.2.1.5"},
    {nullptr, nullptr},
};

ObjectInfo lldpmib_OidList[27] = {
    LLDPMIB_READ_ONLY_OBJECT(IDlldpLocChassisIdSubtype, INTEGER_TYPE, 0, lldpLocalSystemData_get),
    LLDPMIB_READ_ONLY_OBJECT(IDlldpLocChassisId, OCTET_PRIM_TYPE, 1, lldpLocalSystemData_get),
    LLDPMIB_READ_ONLY_OBJECT(IDlldpLocSysName, OCTET_PRIM_TYPE, 2, lldpLocalSystemData_get),
    LLDPMIB_READ_ONLY_OBJECT(IDlldpLocSysDesc, OCTET_PRIM_TYPE, 3, lldpLocalSystemData_get),
    LLDPMIB_READ_ONLY_OBJECT(IDlldpLocSysCapSupported, OCTET_PRIM_TYPE, 4, lldpLocalSystemData_get),
    LLDPMIB_READ_ONLY_OBJECT(IDlldpLocSysCapEnabled, OCTET_PRIM_TYPE, 5, lldpLocalSystemData_get),
    LLDPMIB_READ_ONLY_OBJECT(IDlldpLocPortIdSubtype, INTEGER_TYPE, 1, lldpLocPortEntry_get),
    LLDPMIB_READ_ONLY_OBJECT(IDlldpLocPortId, OCTET_PRIM_TYPE, 2, lldpLocPortEntry_get),
    LLDPMIB_READ_ONLY_OBJECT(IDlldpLocPortDesc, OCTET_PRIM_TYPE, 3, lldpLocPortEntry_get),
    LLDPMIB_READ_ONLY_OBJECT(IDlldpLocManAddrLen, INTEGER_TYPE, 2, lldpLocManAddrEntry_get),
    LLDPMIB_READ_ONLY_OBJECT(IDlldpLocManAddrIfSubtype, INTEGER_TYPE, 3, lldpLocManAddrEntry_get),
    LLDPMIB_READ_ONLY_OBJECT(IDlldpLocManAddrIfId, INTEGER_TYPE, 4, lldpLocManAddrEntry_get),
    LLDPMIB_READ_ONLY_OBJECT(IDlldpLocManAddrOID, OBJECT_ID_TYPE, 5, lldpLocManAddrEntry_get),
    LLDPMIB_READ_ONLY_OBJECT(IDlldpRemChassisIdSubtype, INTEGER_TYPE, 3, lldpRemEntry_get),
    LLDPMIB_READ_ONLY_OBJECT(IDlldpRemChassisId, OCTET_PRIM_TYPE, 4, lldpRemEntry_get),
    LLDPMIB_READ_ONLY_OBJECT(IDlldpRemPortIdSubtype, INTEGER_TYPE, 5, lldpRemEntry_get),
    LLDPMIB_READ_ONLY_OBJECT(IDlldpRemPortId, OCTET_PRIM_TYPE, 6, lldpRemEntry_get),
    LLDPMIB_READ_ONLY_OBJECT(IDlldpRemPortDesc, OCTET_PRIM_TYPE, 7, lldpRemEntry_get),
    LLDPMIB_READ_ONLY_OBJECT(IDlldpRemSysName, OCTET_PRIM_TYPE, 8, lldpRemEntry_get),
    LLDPMIB_READ_ONLY_OBJECT(IDlldpRemSysDesc, OCTET_PRIM_TYPE, 9, lldpRemEntry_get),
    LLDPMIB_READ_ONLY_OBJECT(IDlldpRemSysCapSupported, OCTET_PRIM_TYPE, 10, lldpRemEntry_get),
    LLDPMIB_READ_ONLY_OBJECT(IDlldpRemSysCapEnabled, OCTET_PRIM_TYPE, 11, lldpRemEntry_get),
    LLDPMIB_READ_ONLY_OBJECT(IDlldpRemManAddrIfSubtype, INTEGER_TYPE, 2, lldpRemManAddrEntry_get),
    LLDPMIB_READ_ONLY_OBJECT(IDlldpRemManAddrIfId, INTEGER_TYPE, 3, lldpRemManAddrEntry_get),
    LLDPMIB_READ_ONLY_OBJECT(IDlldpRemManAddrOID, OBJECT_ID_TYPE, 4, lldpRemManAddrEntry_get),
    LLDPMIB_READ_ONLY_OBJECT(IDlldpRemUnknownTLVInfo, OCTET_PRIM_TYPE, 1, lldpRemUnknownTLVEntry_get),
    LLDPMIB_READ_ONLY_OBJECT(IDlldpRemOrgDefInfo, OCTET_PRIM_TYPE, 3, lldpRemOrgDefInfoEntry_get),
};

int32_t lldpmib_OidListNum = 27;

}  // extern "C"

// ======================= Method-routine frame =======================

namespace {

// Each table's row record is refilled by the next request of that table, so a
// method routine holds its table's row guard from the row routine's call until
// its binding is built: the row it reads is the one its own request filled.
// The guard is taken before the module lock, never after it.
pthread_mutex_t lldpmib_row_guard[7] = {
    PTHREAD_MUTEX_INITIALIZER, PTHREAD_MUTEX_INITIALIZER, PTHREAD_MUTEX_INITIALIZER,
    PTHREAD_MUTEX_INITIALIZER, PTHREAD_MUTEX_INITIALIZER, PTHREAD_MUTEX_INITIALIZER,
    PTHREAD_MUTEX_INITIALIZER,
};
enum {
    GUARD_LOCAL_SYSTEM,
    GUARD_LOCAL_PORT,
    GUARD_LOCAL_MA,
    GUARD_REMOTE_ENTRY,
    GUARD_REMOTE_MA,
    GUARD_REMOTE_UNKNOWN_TLV,
    GUARD_REMOTE_ORG_DEF,
};

// Index decoding and binding, shared with the extension library.
using namespace lldpmib_frame;

}  // namespace

extern "C" {

// ======================= Local system data =======================

VarBind* lldpLocalSystemData_get(OID* incoming, ObjectInfo* object, int searchType,
                                 void* contextInfo, int serialNum) {
    int d = instance_length(incoming, object);
    if (searchType == NEXT) {
        if (d > 0) return nullptr;
    } else if (searchType == EXACT) {
        if (d != 1 || incoming->oid_ptr[incoming->length - 1] != 0) return nullptr;
    } else {
        return nullptr;
    }
    int nominator = object->nominator;
    pthread_mutex_lock(&lldpmib_row_guard[GUARD_LOCAL_SYSTEM]);
    VarBind* vb = nullptr;
    lldpLocalSystemData_t* row = k_lldpLocalSystemData_get(serialNum, contextInfo, nominator);
    if (row != nullptr && nominator <= 5) {
        void* value = nullptr;
        switch (nominator) {
            case 0: value = &row->lldpLocChassisIdSubtype; break;
            case 1: value = clone_value(row->lldpLocChassisId); break;
            case 2: value = clone_value(row->lldpLocSysName); break;
            case 3: value = clone_value(row->lldpLocSysDesc); break;
            case 4: value = clone_value(row->lldpLocSysCapSupported); break;
            case 5: value = clone_value(row->lldpLocSysCapEnabled); break;
        }
        if (value != nullptr) vb = MakeVarBind(object, snmp_zeroOID(), value);
    }
    pthread_mutex_unlock(&lldpmib_row_guard[GUARD_LOCAL_SYSTEM]);
    return vb;
}

lldpLocalSystemData_t* k_lldpLocalSystemData_get(int serialNum, void* contextInfo, int nominator) {
    return lldpmib_shim_local_system_data_get(serialNum, contextInfo, nominator);
}

// ======================= Local port table =======================

VarBind* lldpLocPortEntry_get(OID* incoming, ObjectInfo* object, int searchType,
                              void* contextInfo, int serialNum) {
    LLDPMIB_TRACE("lldpLocPortEntry_get");
    int32_t port = 0;
    if (!decode_port_index(incoming, object, searchType, &port)) return nullptr;
    pthread_mutex_lock(&lldpmib_row_guard[GUARD_LOCAL_PORT]);
    VarBind* vb = nullptr;
    lldpLocPortEntry_t* row =
        k_lldpLocPortEntry_get(serialNum, contextInfo, object->nominator, searchType, port);
    if (row != nullptr) {
        uint32_t inst[1] = {row->lldpLocPortNum};
        void* value = nullptr;
        switch (object->nominator) {
            case 1: value = &row->lldpLocPortIdSubtype; break;
            case 2: value = clone_value(row->lldpLocPortId); break;
            case 3: value = clone_value(row->lldpLocPortDesc); break;
        }
        if (value != nullptr) vb = bind_value(object, inst, 1, value);
    }
    pthread_mutex_unlock(&lldpmib_row_guard[GUARD_LOCAL_PORT]);
    return vb;
}

lldpLocPortEntry_t* k_lldpLocPortEntry_get(int serialNum, void* contextInfo, int nominator,
                                           int searchType, int32_t portNum) {
    return lldpmib_shim_local_port_entry_get(serialNum, contextInfo, nominator, searchType,
                                             portNum);
}

// ======================= Local management address table =======================

VarBind* lldpLocManAddrEntry_get(OID* incoming, ObjectInfo* object, int searchType,
                                 void* contextInfo, int serialNum) {
    OctetString* addr = nullptr;
    int32_t subtype = 0;
    if (!decode_indexes(incoming, object, searchType, {int_index(&subtype), var_octets_index(&addr)}))
        return nullptr;
    pthread_mutex_lock(&lldpmib_row_guard[GUARD_LOCAL_MA]);
    VarBind* vb = nullptr;
    lldpLocManAddrEntry_t* row = k_lldpLocManAddrEntry_get(serialNum, contextInfo, object->nominator,
                                                           searchType, subtype, addr);
    uint32_t inst[kMaxInstance];
    int inst_len = 0;
    if (row != nullptr) {
        inst[inst_len++] = (uint32_t)row->lldpLocManAddrSubtype;
        if (append_octets(inst, &inst_len, row->lldpLocManAddr)) {
            void* value = nullptr;
            switch (object->nominator) {
                case 2: value = &row->lldpLocManAddrLen; break;
                case 3: value = &row->lldpLocManAddrIfSubtype; break;
                case 4: value = &row->lldpLocManAddrIfId; break;
                case 5:
                    value = row->lldpLocManAddrOID ? CloneOID(row->lldpLocManAddrOID) : nullptr;
                    break;
            }
            if (value != nullptr) vb = bind_value(object, inst, inst_len, value);
        }
    }
    pthread_mutex_unlock(&lldpmib_row_guard[GUARD_LOCAL_MA]);
    FreeOctetString(addr);
    return vb;
}

lldpLocManAddrEntry_t* k_lldpLocManAddrEntry_get(int serialNum, void* contextInfo, int nominator,
                                                 int searchType, int32_t subtype,
                                                 OctetString* addr) {
    return lldpmib_shim_local_ma_entry_get(serialNum, contextInfo, nominator, searchType, subtype,
                                           addr);
}

}  // extern "C"

// ======================= Remote tables: shared index prefix =======================

namespace {

// The (time mark, local port, remote index) prefix of every remote table,
// before the table's own indices.
struct rem_prefix {
    uint32_t time_mark;
    int32_t port;
    int32_t index;
};

int put_rem_prefix(uint32_t* inst, uint32_t time_mark, int32_t port, int32_t index) {
    inst[0] = time_mark;
    inst[1] = (uint32_t)port;
    inst[2] = (uint32_t)index;
    return 3;
}

}  // namespace

extern "C" {

// ======================= Remote entry table =======================

VarBind* lldpRemEntry_get(OID* incoming, ObjectInfo* object, int searchType, void* contextInfo,
                          int serialNum) {
    rem_prefix p = {};
    if (!decode_indexes(incoming, object, searchType,
                        {uint_index(&p.time_mark), int_index(&p.port, 1), int_index(&p.index, 1)}))
        return nullptr;
    pthread_mutex_lock(&lldpmib_row_guard[GUARD_REMOTE_ENTRY]);
    VarBind* vb = nullptr;
    lldpRemEntry_t* row = k_lldpRemEntry_get(serialNum, contextInfo, object->nominator, searchType,
                                             p.time_mark, p.port, p.index);
    if (row != nullptr) {
        uint32_t inst[3];
        put_rem_prefix(inst, row->lldpRemTimeMark, row->lldpRemLocalPortNum, row->lldpRemIndex);
        void* value = nullptr;
        switch (object->nominator) {
            case 3: value = &row->lldpRemChassisIdSubtype; break;
            case 4: value = take_value(&row->lldpRemChassisId); break;
            case 5: value = &row->lldpRemPortIdSubtype; break;
            case 6: value = take_value(&row->lldpRemPortId); break;
            case 7: value = take_value(&row->lldpRemPortDesc); break;
            case 8: value = take_value(&row->lldpRemSysName); break;
            case 9: value = take_value(&row->lldpRemSysDesc); break;
            case 10: value = take_value(&row->lldpRemSysCapSupported); break;
            case 11: value = take_value(&row->lldpRemSysCapEnabled); break;
        }
        if (value != nullptr) vb = bind_value(object, inst, 3, value);
    }
    pthread_mutex_unlock(&lldpmib_row_guard[GUARD_REMOTE_ENTRY]);
    return vb;
}

lldpRemEntry_t* k_lldpRemEntry_get(int serialNum, void* contextInfo, int nominator,
                                   int searchType, uint32_t timeMark, int32_t localPortNum,
                                   int32_t remIndex) {
    return lldpmib_shim_remote_entry_get(serialNum, contextInfo, nominator, searchType, timeMark,
                                         localPortNum, remIndex);
}

// ======================= Remote management address table =======================

VarBind* lldpRemManAddrEntry_get(OID* incoming, ObjectInfo* object, int searchType,
                                 void* contextInfo, int serialNum) {
    rem_prefix p = {};
    OctetString* addr = nullptr;
    int32_t subtype = 0;
    if (!decode_indexes(incoming, object, searchType,
                        {uint_index(&p.time_mark), int_index(&p.port, 1), int_index(&p.index, 1),
                         int_index(&subtype), var_octets_index(&addr)}))
        return nullptr;
    pthread_mutex_lock(&lldpmib_row_guard[GUARD_REMOTE_MA]);
    VarBind* vb = nullptr;
    lldpRemManAddrEntry_t* row =
        k_lldpRemManAddrEntry_get(serialNum, contextInfo, object->nominator, searchType,
                                  p.time_mark, p.port, p.index, subtype, addr);
    uint32_t inst[kMaxInstance];
    if (row != nullptr) {
        int len = put_rem_prefix(inst, row->lldpRemTimeMark, row->lldpRemLocalPortNum,
                                 row->lldpRemIndex);
        inst[len++] = (uint32_t)row->lldpRemManAddrSubtype;
        if (append_octets(inst, &len, row->lldpRemManAddr)) {
            void* value = nullptr;
            switch (object->nominator) {
                case 2: value = &row->lldpRemManAddrIfSubtype; break;
                case 3: value = &row->lldpRemManAddrIfId; break;
                case 4:
                    value = take_value(&row->lldpRemManAddrOID);
                    break;
            }
            if (value != nullptr) vb = bind_value(object, inst, len, value);
        }
    }
    pthread_mutex_unlock(&lldpmib_row_guard[GUARD_REMOTE_MA]);
    FreeOctetString(addr);
    return vb;
}

lldpRemManAddrEntry_t* k_lldpRemManAddrEntry_get(int serialNum, void* contextInfo, int nominator,
                                                 int searchType, uint32_t timeMark,
                                                 int32_t localPortNum, int32_t remIndex,
                                                 int32_t addrSubtype, OctetString* addr) {
    return lldpmib_shim_remote_ma_entry_get(serialNum, contextInfo, nominator, searchType,
                                            timeMark, localPortNum, remIndex, addrSubtype, addr);
}

// ======================= Remote unknown TLV table =======================

VarBind* lldpRemUnknownTLVEntry_get(OID* incoming, ObjectInfo* object, int searchType,
                                    void* contextInfo, int serialNum) {
    int nominator = object->nominator;
    rem_prefix p = {};
    int32_t type = 0;
    if (!decode_indexes(incoming, object, searchType,
                        {uint_index(&p.time_mark), int_index(&p.port, 1), int_index(&p.index, 1),
                         int_index(&type, 9)}))
        return nullptr;
    pthread_mutex_lock(&lldpmib_row_guard[GUARD_REMOTE_UNKNOWN_TLV]);
    VarBind* vb = nullptr;
    lldpRemUnknownTLVEntry_t* row = k_lldpRemUnknownTLVEntry_get(
        serialNum, contextInfo, nominator, searchType, p.time_mark, p.port, p.index, type);
    if (row != nullptr && nominator == 1) {
        uint32_t inst[4];
        int len = put_rem_prefix(inst, row->lldpRemTimeMark, row->lldpRemLocalPortNum,
                                 row->lldpRemIndex);
        inst[len++] = (uint32_t)row->lldpRemUnknownTLVType;
        void* value = take_value(&row->lldpRemUnknownTLVInfo);
        if (value != nullptr) vb = bind_value(object, inst, len, value);
    }
    pthread_mutex_unlock(&lldpmib_row_guard[GUARD_REMOTE_UNKNOWN_TLV]);
    return vb;
}

lldpRemUnknownTLVEntry_t* k_lldpRemUnknownTLVEntry_get(int serialNum, void* contextInfo,
                                                       int nominator, int searchType,
                                                       uint32_t timeMark, int32_t localPortNum,
                                                       int32_t remIndex, int32_t tlvType) {
    return lldpmib_shim_remote_unknown_tlv_entry_get(serialNum, contextInfo, nominator,
                                                     searchType, timeMark, localPortNum, remIndex,
                                                     tlvType);
}

// ======================= Remote organisationally defined info table =======================

VarBind* lldpRemOrgDefInfoEntry_get(OID* incoming, ObjectInfo* object, int searchType,
                                    void* contextInfo, int serialNum) {
    int nominator = object->nominator;
    rem_prefix p = {};
    OctetString* oui = nullptr;
    int32_t subtype = 0, index = 0;
    if (!decode_indexes(incoming, object, searchType,
                        {uint_index(&p.time_mark), int_index(&p.port, 1), int_index(&p.index, 1),
                         fixed_octets_index(&oui, 3), int_index(&subtype, 1),
                         int_index(&index, 1)}))
        return nullptr;
    pthread_mutex_lock(&lldpmib_row_guard[GUARD_REMOTE_ORG_DEF]);
    VarBind* vb = nullptr;
    lldpRemOrgDefInfoEntry_t* row =
        k_lldpRemOrgDefInfoEntry_get(serialNum, contextInfo, nominator, searchType, p.time_mark,
                                     p.port, p.index, oui, subtype, index);
    const OctetString* row_oui = row != nullptr ? row->lldpRemOrgDefInfoOUI : nullptr;
    if (row_oui != nullptr && row_oui->length == 3 && nominator == 3) {
        uint32_t inst[8];
        int len = put_rem_prefix(inst, row->lldpRemTimeMark, row->lldpRemLocalPortNum,
                                 row->lldpRemIndex);
        for (int i = 0; i < 3; i++) inst[len++] = row_oui->octet_ptr[i];
        inst[len++] = (uint32_t)row->lldpRemOrgDefInfoSubtype;
        inst[len++] = (uint32_t)row->lldpRemOrgDefInfoIndex;
        void* value = take_value(&row->lldpRemOrgDefInfo);
        if (value != nullptr) vb = bind_value(object, inst, len, value);
    }
    pthread_mutex_unlock(&lldpmib_row_guard[GUARD_REMOTE_ORG_DEF]);
    FreeOctetString(oui);
    return vb;
}

lldpRemOrgDefInfoEntry_t* k_lldpRemOrgDefInfoEntry_get(int serialNum, void* contextInfo,
                                                       int nominator, int searchType,
                                                       uint32_t timeMark, int32_t localPortNum,
                                                       int32_t remIndex, OctetString* oui,
                                                       int32_t subtype, int32_t index) {
    return lldpmib_shim_remote_org_def_info_entry_get(serialNum, contextInfo, nominator,
                                                      searchType, timeMark, localPortNum,
                                                      remIndex, oui, subtype, index);
}

// ======================= Configuration and statistics groups =======================

VarBind* lldpConfiguration_get(OID*, ObjectInfo*, int, void*, int) { return nullptr; }
void* k_lldpConfiguration_get(int, void*, int) { return nullptr; }

int lldpConfiguration_test(OID* incoming, ObjectInfo* object, ObjectSyntax* value,
                           doList_t* doHead, doList_t* doCur, void* contextInfo) {
    if (instance_length(incoming, object) != 1 || incoming->oid_ptr[incoming->length - 1] != 0)
        return NO_CREATION_ERROR;
    for (doList_t* d = doHead; d != nullptr; d = d->next) {
        if (d->set_routine == lldpConfiguration_set && d->data != nullptr) return GEN_ERROR;
    }
    doCur->data = calloc(1, sizeof(lldpConfiguration_t));
    if (doCur->data == nullptr) return RESOURCE_UNAVAILABLE_ERROR;
    doCur->set_routine = lldpConfiguration_set;
    doCur->cleanup_routine = lldpConfiguration_cleanup;
    doCur->undo_routine = nullptr;
    doCur->state = 1;
    return GEN_ERROR;
}

int lldpConfiguration_set(doList_t*, doList_t*, void*) { return GEN_ERROR; }

int lldpConfiguration_cleanup(doList_t* doCur) {
    lldpConfiguration_free((lldpConfiguration_t*)doCur->data);
    lldpConfiguration_free((lldpConfiguration_t*)doCur->undo_data);
    doCur->data = nullptr;
    doCur->undo_data = nullptr;
    return NO_ERROR;
}

void lldpConfiguration_free(lldpConfiguration_t* data) { free(data); }

int k_lldpConfiguration_test(OID*, ObjectInfo*, ObjectSyntax*, void*, doList_t*) {
    return NO_ERROR;
}

int k_lldpConfiguration_ready(OID*, ObjectInfo*, doList_t*, doList_t* doCur) {
    doCur->state = 3;
    return NO_ERROR;
}

int k_lldpConfiguration_set(lldpConfiguration_t*, void*, int) { return GEN_ERROR; }

VarBind* lldpPortConfigEntry_get(OID* incoming, ObjectInfo* object, int searchType, void*, int) {
    int32_t port = 0;
    decode_port_index(incoming, object, searchType, &port);
    return nullptr;
}

void* k_lldpPortConfigEntry_get(int, void*, int, int, int32_t) { return nullptr; }

int lldpPortConfigEntry_test(OID* incoming, ObjectInfo* object, ObjectSyntax* value,
                             doList_t* doHead, doList_t* doCur, void* contextInfo) {
    int32_t port = 0;
    if (!decode_port_index(incoming, object, EXACT, &port)) return NO_CREATION_ERROR;
    for (doList_t* d = doHead; d != nullptr; d = d->next) {
        if (d->set_routine == lldpPortConfigEntry_set && d->data != nullptr &&
            ((lldpPortConfigEntry_t*)d->data)->lldpPortConfigPortNum == port)
            return GEN_ERROR;
    }
    doCur->set_routine = lldpPortConfigEntry_set;
    doCur->cleanup_routine = lldpPortConfigEntry_cleanup;
    doCur->undo_routine = nullptr;
    doCur->state = 1;
    return NO_ACCESS_ERROR;
}

int lldpPortConfigEntry_set(doList_t*, doList_t*, void*) { return GEN_ERROR; }

int lldpPortConfigEntry_cleanup(doList_t* doCur) {
    lldpPortConfigEntry_free((lldpPortConfigEntry_t*)doCur->data);
    lldpPortConfigEntry_free((lldpPortConfigEntry_t*)doCur->undo_data);
    doCur->data = nullptr;
    doCur->undo_data = nullptr;
    return NO_ERROR;
}

void lldpPortConfigEntry_free(lldpPortConfigEntry_t* data) {
    if (data == nullptr) return;
    FreeOctetString(data->lldpPortConfigTLVsTxEnable);
    free(data);
}

lldpPortConfigEntry_t* Clone_lldpPortConfigEntry(const lldpPortConfigEntry_t* data) {
    if (data == nullptr) return nullptr;
    lldpPortConfigEntry_t* copy = (lldpPortConfigEntry_t*)malloc(sizeof *copy);
    if (copy == nullptr) return nullptr;
    memcpy(copy, data, sizeof *copy);
    copy->lldpPortConfigTLVsTxEnable = nullptr;
    if (data->lldpPortConfigTLVsTxEnable != nullptr) {
        copy->lldpPortConfigTLVsTxEnable = CloneOctetString(data->lldpPortConfigTLVsTxEnable);
        if (copy->lldpPortConfigTLVsTxEnable == nullptr) {
            free(copy);
            return nullptr;
        }
    }
    return copy;
}

int k_lldpPortConfigEntry_test(OID*, ObjectInfo*, ObjectSyntax*, void*, doList_t*) {
    return NO_ERROR;
}

int k_lldpPortConfigEntry_ready(OID*, ObjectInfo*, doList_t*, doList_t* doCur) {
    doCur->state = 3;
    return NO_ERROR;
}

int k_lldpPortConfigEntry_set(lldpPortConfigEntry_t*, void*, int) { return GEN_ERROR; }

int k_lldpPortConfigEntry_set_defaults(doList_t* doCur) {
    lldpPortConfigEntry_t* data = (lldpPortConfigEntry_t*)doCur->data;
    if (data == nullptr) {
        data = (lldpPortConfigEntry_t*)calloc(1, sizeof *data);
        if (data == nullptr) return RESOURCE_UNAVAILABLE_ERROR;
        doCur->data = data;
    }
    data->lldpPortConfigAdminStatus = 3;
    data->lldpPortConfigNotificationEnable = 2;
    FreeOctetString(data->lldpPortConfigTLVsTxEnable);
    data->lldpPortConfigTLVsTxEnable = MakeOctetStringFromText("");
    if (data->lldpPortConfigTLVsTxEnable == nullptr) return RESOURCE_UNAVAILABLE_ERROR;
    data->valid[0] = 0xff;
    return NO_ERROR;
}

VarBind* lldpStatistics_get(OID*, ObjectInfo*, int, void*, int) { return nullptr; }
void* k_lldpStatistics_get(int, void*, int) { return nullptr; }

VarBind* lldpStatsTxPortEntry_get(OID* incoming, ObjectInfo* object, int searchType, void*, int) {
    int32_t port = 0;
    decode_port_index(incoming, object, searchType, &port);
    return nullptr;
}

void* k_lldpStatsTxPortEntry_get(int, void*, int, int, int32_t) { return nullptr; }

VarBind* lldpStatsRxPortEntry_get(OID* incoming, ObjectInfo* object, int searchType, void*, int) {
    int32_t port = 0;
    decode_port_index(incoming, object, searchType, &port);
    return nullptr;
}

void* k_lldpStatsRxPortEntry_get(int, void*, int, int, int32_t) { return nullptr; }

int lldpLocManAddrEntry_test(OID*, ObjectInfo*, ObjectSyntax*, doList_t*, doList_t*, void*) {
    return NOT_WRITABLE_ERROR;
}

int32_t lldp_dummy_error_status(int32_t status) { return status; }

}  // extern "C"
