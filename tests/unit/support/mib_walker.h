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

// What the libraries serve: lldpMIB, then lldpV2MIB.
const mib_router::Oid kEverything{1};

// Every binding served, as "<oid> <TYPE> <value>" lines, in walk order.
std::vector<std::string> walk_lines();
// Walks root, handing each binding to visit (false stops); the number of bindings.
size_t walk_visit(const std::function<bool(const mib_router::Binding&)>& visit,
                  const mib_router::Oid& root = kEverything);
// Walks root without keeping anything; the number of bindings.
inline size_t walk_count(const mib_router::Oid& root = kEverything) {
    return walk_visit([](const mib_router::Binding&) { return true; }, root);
}

// Moves the fake clock by seconds (and sets it, the first time); the new time.
time_t advance_clock(time_t seconds);

}  // namespace lldpmib_test
