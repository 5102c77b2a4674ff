// Synthetic topologies of any size for the benches and the fuzzer:
// ports x neighbours per port, each neighbour with a given number of
// management addresses, unknown TLVs and organisationally defined TLVs.
// Deterministic for a given shape.
#pragma once
#include <stdint.h>

#include <memory>
#include <string>

#include "topology.h"

namespace lldpmib_test {

struct topology_shape {
    uint32_t ports = 2;
    uint32_t neighbors_per_port = 2;
    uint32_t addrs_per_neighbor = 2;    // alternating IPv4 and IPv6
    uint32_t unknown_tlvs_per_neighbor = 1;
    uint32_t org_tlvs_per_neighbor = 1;
    uint32_t local_addr_records = 1;    // each with one IPv4 and one IPv6 address
    uint32_t time_mark = 0;             // given to every neighbour
};

// A shape with about total neighbours, spread over ports of at most 64 each.
topology_shape shape_for_neighbors(uint32_t total);

std::shared_ptr<lldp_model::topology> make_topology(const topology_shape& shape);

// The topology as JSON text for lldp_client_use_topology_text or a topology
// file (byte fields as {"hex": ...}).
std::string topology_json(const lldp_model::topology& t);

// Bindings a full walk of that topology returns.
uint64_t expected_bindings(const topology_shape& shape);

}  // namespace lldpmib_test
