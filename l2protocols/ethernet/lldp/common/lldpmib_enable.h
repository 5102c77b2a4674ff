// Whether LLDP is to be served: the one rule the module and the extension
// library share.  Each caller writes its own trace lines from the answer.
#pragma once
#include <stdint.h>

extern "C" {

typedef enum lldpmib_lldp_state {
    LLDPMIB_LLDP_ORVIK = 0,         // Orvik platform: served without asking the daemon
    LLDPMIB_LLDP_ENABLED = 1,       // enabled globally or on the node
    LLDPMIB_LLDP_QUERY_FAILED = 2,  // the daemon could not be asked; *status holds why
    LLDPMIB_LLDP_DISABLED = 3,      // disabled globally and on the node
} lldpmib_lldp_state;

// Router types 7, 8 and 18 are the Orvik platform.
int lldpmib_is_orvik_router_type(uint32_t router_type);
// Asks the client (lldp_client_get_enable, then lldp_client_is_node_lldp_enabled
// when globally disabled) unless the router type is Orvik's.
lldpmib_lldp_state lldpmib_lldp_state_of(uint32_t router_type, int* status);
// Served: Orvik or enabled.
static inline int lldpmib_lldp_served(lldpmib_lldp_state state) {
    return state == LLDPMIB_LLDP_ORVIK || state == LLDPMIB_LLDP_ENABLED;
}

}  // extern "C"
