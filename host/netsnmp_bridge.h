// The net-snmp side of serving lldpMIB, shared by every host (the AgentX
// subagent and, inside snmpd, a loaded module): one handler registered on
// 1.0.8802.1.1.2 that routes each request through a mib_router::Router.
#pragma once

namespace mib_router {
class Router;
}

namespace lldpmib_host {

// Registers the handler for lldpMIB with the net-snmp agent library.  router
// and context (handed to the method routines) must outlive the registration.
// False when net-snmp refuses it.
bool register_lldp_mib(const mib_router::Router* router, void* context);

// Removes the registration made above, if any.
void unregister_lldp_mib();

}  // namespace lldpmib_host
