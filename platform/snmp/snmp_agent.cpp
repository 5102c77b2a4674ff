// Values, variable bindings, registration and identifier helpers of the agent
// library.  Allocation is plain malloc/free: the values cross into C code.
#include "snmp_agent.h"

#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "platform_fault.h"
#include "snmp_values_internal.h"

// The agent reads these records from the module by layout, so pin it.
static_assert(sizeof(OctetString) == 16);
static_assert(offsetof(OctetString, octet_ptr) == 0);
static_assert(offsetof(OctetString, length) == 8);
static_assert(sizeof(OID) == 16);
static_assert(offsetof(OID, length) == 0);
static_assert(offsetof(OID, oid_ptr) == 8);
static_assert(offsetof(ObjectInfo, oid) == 0);
static_assert(offsetof(ObjectInfo, oid) + offsetof(OID, length) == 0);
static_assert(offsetof(ObjectInfo, oid) + offsetof(OID, oid_ptr) == 8);
static_assert(offsetof(ObjectInfo, value_type) == 16);
static_assert(offsetof(ObjectInfo, access) == 17);
static_assert(offsetof(ObjectInfo, nominator) == 18);
static_assert(offsetof(ObjectInfo, attribute) == 19);
static_assert(offsetof(ObjectInfo, get) == 24);
static_assert(offsetof(ObjectInfo, test) == 32);
static_assert(offsetof(ObjectInfo, reserved) == 40);
static_assert(sizeof(ObjectInfo) == 48);
static_assert(offsetof(doList, set_routine) == 0);
static_assert(offsetof(doList, cleanup_routine) == 8);
static_assert(offsetof(doList, undo_routine) == 16);
static_assert(offsetof(doList, state) == 24);
static_assert(offsetof(doList, data) == 32);
static_assert(offsetof(doList, undo_data) == 40);
static_assert(offsetof(doList, next) == 48);
static_assert(sizeof(doList) == 56);
static_assert(offsetof(ObjectSyntax, type) == 0);
static_assert(offsetof(ObjectSyntax, u) == 8);
static_assert(offsetof(VarBind, name) == 0);
static_assert(offsetof(VarBind, type) == 8);
static_assert(offsetof(VarBind, value) == 16);
static_assert(offsetof(VarBind, next) == 24);

namespace snmp_internal {

OctetString* new_octet_string(const unsigned char* bytes, int32_t length) {
    if (length < 0) return nullptr;
    auto* os = static_cast<OctetString*>(malloc(sizeof(OctetString)));
    if (!os) return nullptr;
    // One spare byte keeps the octets terminated for anyone printing them.
    os->octet_ptr = static_cast<unsigned char*>(malloc(static_cast<size_t>(length) + 1));
    if (!os->octet_ptr) {
        free(os);
        return nullptr;
    }
    if (length > 0) {
        if (bytes)
            memcpy(os->octet_ptr, bytes, static_cast<size_t>(length));
        else
            memset(os->octet_ptr, 0, static_cast<size_t>(length));
    }
    os->octet_ptr[length] = 0;
    os->length = length;
    return os;
}

}  // namespace snmp_internal

namespace {

using snmp_internal::new_octet_string;

OID* new_oid(const uint32_t* first, int32_t first_len, const uint32_t* second,
             int32_t second_len) {
    if (first_len < 0 || second_len < 0) return nullptr;
    int64_t total = int64_t{first_len} + second_len;
    if (total > INT32_MAX) return nullptr;
    auto* oid = static_cast<OID*>(malloc(sizeof(OID)));
    if (!oid) return nullptr;
    oid->oid_ptr = static_cast<uint32_t*>(
        malloc(sizeof(uint32_t) * (total > 0 ? static_cast<size_t>(total) : 1)));
    if (!oid->oid_ptr) {
        free(oid);
        return nullptr;
    }
    // Parts without identifiers given are zeros.
    auto put = [](uint32_t* to, const uint32_t* from, int32_t len) {
        if (len <= 0) return;
        if (from)
            memcpy(to, from, sizeof(uint32_t) * static_cast<size_t>(len));
        else
            memset(to, 0, sizeof(uint32_t) * static_cast<size_t>(len));
    };
    put(oid->oid_ptr, first, first_len);
    put(oid->oid_ptr + first_len, second, second_len);
    if (total == 0) oid->oid_ptr[0] = 0;
    oid->length = static_cast<int32_t>(total);
    return oid;
}

// Frees a value of the given ASN.1 type that a binding owns.
void free_value(int32_t type, void* value) {
    if (type == OCTET_PRIM_TYPE)
        FreeOctetString(static_cast<OctetString*>(value));
    else if (type == OBJECT_ID_TYPE)
        FreeOID(static_cast<OID*>(value));
}

uint32_t zero_sid = 0;
OID zero_oid = {1, &zero_sid};

// Stand-in for the event manager handle when the agent set none.
int default_evm_dummy;

std::atomic<const snmp_oid_name*> loaded_oid_table{nullptr};
std::atomic<snmp_mib_debug_flags*> registered_debug{nullptr};
std::atomic<void*> evm_handle{nullptr};

}  // namespace

extern "C" {

OctetString* MakeOctetString(const unsigned char* bytes, int32_t length) {
    if (PLATFORM_FAULT("MakeOctetString")) return nullptr;
    return new_octet_string(bytes, length);
}

OctetString* MakeOctetStringFromText(const char* text) {
    if (PLATFORM_FAULT("MakeOctetStringFromText")) return nullptr;
    size_t n = text ? strlen(text) : 0;
    if (n > INT32_MAX) return nullptr;
    return new_octet_string(reinterpret_cast<const unsigned char*>(text),
                            static_cast<int32_t>(n));
}

OctetString* CloneOctetString(const OctetString* os) {
    if (PLATFORM_FAULT("CloneOctetString")) return nullptr;
    if (!os) return nullptr;
    return new_octet_string(os->octet_ptr, os->length);
}

void FreeOctetString(OctetString* os) {
    if (!os) return;
    free(os->octet_ptr);
    free(os);
}

OID* MakeOID(const uint32_t* sids, int32_t length) {
    if (PLATFORM_FAULT("MakeOID")) return nullptr;
    return new_oid(sids, length, nullptr, 0);
}

OID* CloneOID(const OID* oid) {
    if (PLATFORM_FAULT("CloneOID")) return nullptr;
    if (!oid) return nullptr;
    return new_oid(oid->oid_ptr, oid->length, nullptr, 0);
}

void FreeOID(OID* oid) {
    if (!oid) return;
    free(oid->oid_ptr);
    free(oid);
}

OID* snmp_zeroOID(void) {
    // Repaired on every call in case a caller wrote through it.
    zero_sid = 0;
    zero_oid.length = 1;
    zero_oid.oid_ptr = &zero_sid;
    return &zero_oid;
}

VarBind* MakeVarBind(const ObjectInfo* object, const OID* instance, void* value) {
    if (!value) return nullptr;
    // Without an object the value's type is unknown, so it cannot be freed.
    if (!object) return nullptr;
    int32_t type = object->value_type;
    if (type != INTEGER_TYPE && type != OCTET_PRIM_TYPE && type != OBJECT_ID_TYPE &&
        !snmp_is_unsigned_type(type))
        return nullptr;
    if (PLATFORM_FAULT("MakeVarBind")) {
        free_value(type, value);
        return nullptr;
    }
    auto* vb = static_cast<VarBind*>(calloc(1, sizeof(VarBind)));
    if (!vb) {
        free_value(type, value);
        return nullptr;
    }
    vb->name = new_oid(object->oid.oid_ptr, object->oid.length,
                       instance ? instance->oid_ptr : nullptr, instance ? instance->length : 0);
    if (!vb->name) {
        free(vb);
        free_value(type, value);
        return nullptr;
    }
    vb->type = type;
    if (type == INTEGER_TYPE)
        vb->value.slval = *static_cast<const int32_t*>(value);
    else if (snmp_is_unsigned_type(type))
        vb->value.ulval = *static_cast<const uint32_t*>(value);
    else if (type == OCTET_PRIM_TYPE)
        vb->value.os = static_cast<OctetString*>(value);
    else
        vb->value.oid = static_cast<OID*>(value);
    vb->next = nullptr;
    return vb;
}

void FreeVarBind(VarBind* vb) {
    while (vb) {
        VarBind* next = vb->next;
        FreeOID(vb->name);
        if (vb->type == OCTET_PRIM_TYPE)
            FreeOctetString(vb->value.os);
        else if (vb->type == OBJECT_ID_TYPE)
            FreeOID(vb->value.oid);
        free(vb);
        vb = next;
    }
}

int readOnly_test(OID* incoming, ObjectInfo* object, ObjectSyntax* value, doList_t* doHead,
                  doList_t* doCur, void* contextInfo) {
    return NOT_WRITABLE_ERROR;
}

int snmp_register_mib_debug(void* agent_context, snmp_mib_debug_flags* flags) {
    if (int status = PLATFORM_FAULT("snmp_register_mib_debug")) return status;
    registered_debug.store(flags);
    return 0;
}

int snmp_load_oid(void* agent_context, const snmp_oid_name* table) {
    if (int status = PLATFORM_FAULT("snmp_load_oid")) return status;
    loaded_oid_table.store(table);
    return 0;
}

void* snmp_import_evmh(void) {
    if (PLATFORM_FAULT("snmp_import_evmh")) return nullptr;
    void* evm = evm_handle.load();
    return evm ? evm : &default_evm_dummy;
}

const snmp_oid_name* snmp_loaded_oid_table(void) { return loaded_oid_table.load(); }

const snmp_mib_debug_flags* snmp_registered_mib_debug(void) { return registered_debug.load(); }

void snmp_set_evmh(void* evm) { evm_handle.store(evm); }

char* snmp_oid_to_text(const OID* oid, char* buf, size_t size) {
    if (!buf || size == 0) return buf;
    buf[0] = '\0';
    if (!oid || !oid->oid_ptr) return buf;
    size_t used = 0;
    for (int32_t i = 0; i < oid->length; ++i) {
        int n = snprintf(buf + used, size - used, i ? ".%u" : "%u", oid->oid_ptr[i]);
        if (n < 0 || static_cast<size_t>(n) >= size - used) break;  // truncated, terminated
        used += static_cast<size_t>(n);
    }
    return buf;
}

int CmpOID(const OID* a, const OID* b) {
    int32_t la = (a && a->oid_ptr) ? a->length : 0;
    int32_t lb = (b && b->oid_ptr) ? b->length : 0;
    if (la < 0) la = 0;
    if (lb < 0) lb = 0;
    int32_t n = la < lb ? la : lb;
    for (int32_t i = 0; i < n; ++i) {
        if (a->oid_ptr[i] != b->oid_ptr[i]) return a->oid_ptr[i] < b->oid_ptr[i] ? -1 : 1;
    }
    return la < lb ? -1 : (la > lb ? 1 : 0);
}

}  // extern "C"
