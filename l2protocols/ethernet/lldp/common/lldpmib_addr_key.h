// Walking the client's local management addresses in order, shared by the
// module's address table and the extension's address configuration table.
#pragma once
#include "lldp_client.h"

// The least client key above key (IPv4 as a host-order number, then IPv6 by
// octets); false past the last IPv6 address.
bool lldpmib_addr_key_after(lldp_addr_element* key);
