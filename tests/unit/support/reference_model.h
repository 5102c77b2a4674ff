// The reference for the model-based tests: every binding the module serves for
// a topology, read straight from the topology's JSON text with rules of its
// own (no client library, no module code).  For a topology that does not
// change, a GET answers the binding of that name or none, and a GET-NEXT the
// least binding whose name is greater than the one asked, or the end.
#pragma once
#include <stdint.h>

#include <map>
#include <optional>
#include <string>
#include <vector>

namespace lldpmib_test {

using RefOid = std::vector<uint32_t>;

struct RefValue {
    enum Type : int { Integer = 2, Octets = 4, ObjectId = 6 };
    int type = Integer;
    int32_t integer = 0;
    std::vector<uint8_t> octets;
    RefOid oid;

    bool operator==(const RefValue&) const = default;
};

// std::vector's lexicographic order is SNMP's order of names.
using RefMib = std::map<RefOid, RefValue>;

// What the topology says about the platform, besides the bindings.
struct RefTopology {
    RefMib mib;
    uint32_t router_type = 25;
    uint32_t node_id = 1;
    bool served = true;        // LLDP enabled, or an Orvik router
    size_t ports = 0;          // interface records
    size_t neighbors = 0;      // neighbour records
    size_t local_records = 0;  // local management addresses (the local copy bound)
};

// Parses the topology text; nothing (with *error set) when it is not a
// topology this model understands.
std::optional<RefTopology> reference_model(const std::string& json, std::string* error);

// GET and GET-NEXT on the reference.
const RefValue* ref_get(const RefMib& mib, const RefOid& name);
// The least binding whose name is greater than name, or end.
RefMib::const_iterator ref_next(const RefMib& mib, const RefOid& name);

// "1.0.8802..." and the walker's value text ("INTEGER 5", "OCTETS 00ff", "OID 0.0").
std::string ref_oid_text(const RefOid& oid);
std::string ref_value_text(const RefValue& v);

// Object identifiers the model and the tests share.
namespace ref_oids {
RefOid mib_root();                                 // lldpMIB 1.0.8802.1.1.2
RefOid local_system();                             // lldpLocalSystemData ...1.3
RefOid loc_port_entry();                           // ...1.3.7.1
RefOid loc_man_addr_entry();                       // ...1.3.8.1
RefOid rem_entry();                                // ...1.4.1.1
RefOid rem_man_addr_entry();                       // ...1.4.2.1
RefOid rem_unknown_tlv_entry();                    // ...1.4.3.1
RefOid rem_org_def_entry();                        // ...1.4.4.1
RefOid column(const RefOid& entry, uint32_t col);  // entry + col
}  // namespace ref_oids

}  // namespace lldpmib_test
