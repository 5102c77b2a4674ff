#include "lldpmib_enable.h"

#include "lldp_client.h"

extern "C" {

int lldpmib_is_orvik_router_type(uint32_t type) {
    if (type > 18) return 0;
    return (0x40180u >> type) & 1u;
}

lldpmib_lldp_state lldpmib_lldp_state_of(uint32_t router_type, int* status) {
    *status = 0;
    if (lldpmib_is_orvik_router_type(router_type)) return LLDPMIB_LLDP_ORVIK;
    uint32_t enabled = 0;
    *status = lldp_client_get_enable(&enabled);
    if (*status != 0) return LLDPMIB_LLDP_QUERY_FAILED;
    if (enabled != 0) return LLDPMIB_LLDP_ENABLED;
    if (lldp_client_is_node_lldp_enabled() != 0) return LLDPMIB_LLDP_ENABLED;
    return LLDPMIB_LLDP_DISABLED;
}

}  // extern "C"
