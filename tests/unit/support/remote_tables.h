// Helpers for the neighbour-table tests: topologies and hand-built records.
#pragma once
#include <cstdint>
#include <string>
#include <vector>

#include "lldpmib.h"

namespace lldpmib_test {

// One neighbour of a test topology, written as its JSON object.
struct neighbor_spec {
    uint32_t port;
    uint32_t rem_index;
    uint32_t time_mark;
    std::string extra;  // further JSON members, each followed by a comma
};

// A topology with LLDP enabled whose ports carry the given neighbours.
std::string neighbors_topology(const std::vector<neighbor_spec>& neighbors);

// Drops every neighbour-table snapshot a previous test left (their time
// stamps are stale by then) and zeroes the fault counters.
void flush_remote_snapshots();

// Hand-built neighbour records, for what the client never hands out.
struct built_neighbor {
    neighbor_td record{};
    lldp_neighbor_mib mib{};
    lldp_neighbor_detail detail{};
};
void build_neighbor(built_neighbor* b, uint32_t port, uint32_t rem_index, uint32_t time_mark);

}  // namespace lldpmib_test
