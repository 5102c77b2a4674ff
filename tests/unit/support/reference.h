// The reference the unit tests check the module against: every binding a
// topology serves, computed from the topology text alone by the Python
// reference (tests/model/reference.py, run through tests/model/cases.py),
// which shares no code with the module.  For a topology that does not change,
// a GET answers the binding of that name or none, and a GET-NEXT the least
// binding whose name is greater than the one asked, or the end.
#pragma once
#include <stdint.h>

#include <map>
#include <string>
#include <vector>

#include "mib_router.h"

namespace lldpmib_test {

using RefOid = mib_router::Oid;
// Name -> "TYPE value", as the walker writes it; std::vector's
// lexicographic order is SNMP's order of names.
using RefMib = std::map<RefOid, std::string>;

// A topology, its bindings, names to ask around them, and what it says about
// the platform.
struct RefTopology {
    std::string json;
    RefMib mib;
    std::vector<RefOid> names;
    uint32_t router_type = 25;
    uint32_t node_id = 1;
    size_t ports = 0;          // interface records
    size_t neighbors = 0;      // neighbour records
    size_t local_records = 0;  // local management addresses (the local copy bound)
};

// The random topologies of seeds first_seed .. first_seed + count - 1.
std::vector<RefTopology> reference_cases(uint64_t first_seed, size_t count);
// The reference of one topology text (kept, so asking again costs nothing).
const RefTopology& reference_of(const std::string& json);

// A binding as the walker writes it, "<oid> <TYPE> <value>".
std::string ref_line(const RefMib::value_type& binding);
// GET: the binding of name as a line, or "none".
std::string ref_get(const RefMib& mib, const RefOid& name);
// GET-NEXT inside prefix: the first binding after name under prefix, or "none".
std::string ref_next_under(const RefMib& mib, const RefOid& name, const RefOid& prefix);

// An identifier under lldpMIB, 1.0.8802.1.1.2: lldp("1.4.1.1") is
// lldpRemEntry, lldp("") lldpMIB itself.
RefOid lldp(const std::string& tail);

}  // namespace lldpmib_test
