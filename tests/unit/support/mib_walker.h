// The served MIB walked in-process through the method routines of the module
// and the extension library, with the same routing as the AgentX host
// (mib_router), and the fake clock both read.  Shared by tests, benches and the fuzzer.
#pragma once
#include <stddef.h>
#include <time.h>

#include <functional>
#include <string>
#include <vector>

#include "mib_router.h"

namespace lldpmib_test {

// Starts (stops) the module and the extension library, as the hosts do.
void start_served();
void stop_served();

// The router over lldpmib_OidList and lldpmib_ext_OidList, built once.
const mib_router::Router& lldpmib_router();

// Every binding under lldpMIB, as "<oid> <TYPE> <value>" lines, in walk order.
std::vector<std::string> walk_lines();
// Walks, handing each binding to visit (false stops); the number of bindings.
size_t walk_visit(const std::function<bool(const mib_router::Binding&)>& visit);
// Walks without keeping anything; the number of bindings.
inline size_t walk_count() {
    return walk_visit([](const mib_router::Binding&) { return true; });
}

// Moves the fake clock by seconds (and sets it, the first time); the new time.
time_t advance_clock(time_t seconds);

}  // namespace lldpmib_test
