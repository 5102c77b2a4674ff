#include "lldpmib_frame.h"

namespace lldpmib_frame {

bool decode_port_index(OID* incoming, ObjectInfo* object, int searchType, int32_t* port) {
    return decode_indexes(incoming, object, searchType, {int_index(port, 1)});
}

bool scalar_instance_asked(const OID* incoming, const ObjectInfo* object, int searchType) {
    int d = instance_length(incoming, object);
    if (searchType == NEXT) return d <= 0;
    if (searchType == EXACT) return d == 1 && incoming->oid_ptr[incoming->length - 1] == 0;
    return false;
}

bool append_octets(uint32_t* inst, int* len, const OctetString* os) {
    if (os == nullptr || *len + 1 + os->length > kMaxInstance) return false;
    inst[(*len)++] = (uint32_t)os->length;
    for (int i = 0; i < os->length; i++) inst[(*len)++] = os->octet_ptr[i];
    return true;
}

VarBind* bind_value(ObjectInfo* object, const uint32_t* inst, int len, void* value) {
    OID instance = {len, const_cast<uint32_t*>(inst)};
    return MakeVarBind(object, &instance, value);
}

}  // namespace lldpmib_frame
