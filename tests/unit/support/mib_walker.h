// The served MIB walked in-process through the module's method routines, with
// the same routing as the AgentX host (mib_router).  Shared by tests, benches
// and the fuzzer.
#pragma once
#include <stddef.h>

#include <functional>
#include <map>
#include <string>
#include <vector>

#include "mib_router.h"

namespace lldpmib_test {

// lldpMIB, 1.0.8802.1.1.2.
const mib_router::Oid& lldp_mib_root();

// The router over lldpmib_OidList, built once.
const mib_router::Router& lldpmib_router();

// Every binding under lldpMIB, as "<oid> <TYPE> <value>" lines, in walk order.
std::vector<std::string> walk_lines();
// The same, keyed by the binding's name (dotted text).
std::map<std::string, std::string> walk_map();
// Walks without keeping anything; the number of bindings.
size_t walk_count();
// Walks, handing each binding to visit (false stops).
size_t walk_visit(const std::function<bool(const mib_router::Binding&)>& visit);

// GET of one name through the router: the walker line, or "" for no binding.
std::string get_line(const mib_router::Oid& name);

}  // namespace lldpmib_test
