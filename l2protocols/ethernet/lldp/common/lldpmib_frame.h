// The method routines' frame shared by the module and the extension library:
// instance decoding and binding.
#pragma once
#include <stddef.h>
#include <stdint.h>

#include "snmp_agent.h"

// lldpMIB, the start of every identifier both libraries serve.
#define LLDP_MIB_PREFIX 1, 0, 8802, 1, 1, 2

// One read-only object of an object list: identifier array, value type,
// nominator and method routine (the attribute byte is the agent's 0x20).
#define LLDPMIB_READ_ONLY_OBJECT(id, type, nominator, method)                                \
    {{(int32_t)(sizeof(id) / sizeof(id[0])), const_cast<uint32_t*>(id)}, type,               \
     READ_ONLY_ACCESS, nominator, 0x20, method, readOnly_test, nullptr}

namespace lldpmib_frame {

// The longest instance a table with a string index answers.
constexpr int kMaxInstance = 128;

inline int instance_length(const OID* incoming, const ObjectInfo* object) {
    return incoming->length - object->oid.length;
}

// Index lists for InstToIndexes, first index first; `least` is where a NEXT
// search starts an index whose values begin above 0.
inline InstIndex int_index(int32_t* value, uint32_t least = 0) {
    return InstIndex{.kind = INDEX_INT, .length = 0, .least = least, .value = value};
}
inline InstIndex uint_index(uint32_t* value) {
    return InstIndex{.kind = INDEX_UINT, .length = 0, .least = 0, .value = value};
}
inline InstIndex var_octets_index(OctetString** value) {
    return InstIndex{.kind = INDEX_VAR_OCTETS, .length = 0, .least = 0, .value = value};
}
inline InstIndex fixed_octets_index(OctetString** value, int length) {
    return InstIndex{.kind = INDEX_FIXED_OCTETS, .length = length, .least = 0, .value = value};
}

// Decodes the instance after the object's identifier.
template <size_t N>
bool decode_indexes(OID* incoming, const ObjectInfo* object, int searchType, InstIndex (&&ix)[N]) {
    return InstToIndexes(incoming, object->oid.length, ix, static_cast<int>(N), searchType) == 0;
}

// Decodes the single port-number index of the port-indexed tables.
bool decode_port_index(OID* incoming, ObjectInfo* object, int searchType, int32_t* port);

// Whether a scalar's instance is the one asked: EXACT ".0", NEXT the bare
// object (or anything before its ".0").
bool scalar_instance_asked(const OID* incoming, const ObjectInfo* object, int searchType);

// Appends an octet string index: its length, then one sub-identifier per octet.
bool append_octets(uint32_t* inst, int* len, const OctetString* os);

// Builds the binding for one column (MakeVarBind's ownership rules).
VarBind* bind_value(ObjectInfo* object, const uint32_t* inst, int len, void* value);

inline void* clone_value(const OctetString* os) {
    return os != nullptr ? CloneOctetString(os) : nullptr;
}

// Hands a value of a row over to the binding without copying it.
template <typename T>
void* take_value(T** field) {
    T* value = *field;
    *field = nullptr;
    return value;
}

}  // namespace lldpmib_frame
