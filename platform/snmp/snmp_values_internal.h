// Constructors shared inside the agent library, without fault points.
#pragma once
#include "snmp_agent.h"

namespace snmp_internal {

// New string of length octets copied from bytes (zeros when bytes is null);
// null for a negative length or out of memory.
OctetString* new_octet_string(const unsigned char* bytes, int32_t length);

}  // namespace snmp_internal
