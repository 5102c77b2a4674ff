// Model-based testing, shared by the unit tests and the fuzzer.
//
// The reference: every binding a topology serves, computed from the topology
// text alone by the Python reference (tests/model/reference.py, run through
// tests/model/cases.py), which shares no code with the module.  For a
// topology that does not change, a GET answers the binding of that name or
// none, and a GET-NEXT the least binding whose name is greater than the one
// asked, or the end.
//
// The driver: request sequences from several managers interleaved over a
// topology, each answer checked against the reference, the module's live
// record copies checked against the topology's record counts, and the
// shrinking of a failing sequence.  A case runs the libraries as the agent
// does: identity from the topology, the module and the extension library
// started, every request routed through mib_router over both object lists
// with the fake clock moved before it, both stopped at the end.
#pragma once
#include <stddef.h>
#include <stdint.h>

#include <map>
#include <random>
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
    // Changing data: later versions of this topology, the daemon's data as it
    // changes (platform facts unchanged); requests say which one is served.
    std::vector<RefTopology> later;
};

// The random topologies of seeds first_seed .. first_seed + count - 1.
std::vector<RefTopology> reference_cases(uint64_t first_seed, size_t count);
// The same with later versions of each (cases.py changes); names to ask of
// every version.
std::vector<RefTopology> reference_changes(uint64_t first_seed, size_t count);
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

// ---- The driver ----

struct ModelRequest {
    enum Kind { Get, Next, Walk };
    Kind kind = Get;
    uint32_t manager = 0;
    uint32_t clock_step = 0;  // seconds the clock moves before the request
    // Get, Next: the name asked.  Walk: the subtree walked; the manager's
    // GET-NEXT continues from its last answer under it, or starts at it.
    RefOid name;
    // Changing data: the version served from this request on (0 the topology
    // itself, i its later[i - 1]), switched before the request.  A request
    // may answer from any version served within its second of the clock: a
    // module may use data fetched in that second.  When the client cannot
    // report changes, the clock moves a second at each switch, since the
    // module only bounds the age of its data then.
    uint32_t data = 0;
};

using ModelCase = std::vector<ModelRequest>;

struct ModelOutcome {
    bool ok = true;
    size_t failed_at = 0;  // index of the failing request
    std::string message;
    std::vector<RefOid> asked;  // the name each request run asked (a walk step's too)
};

// A random request sequence over a topology whose reference is ref: walks,
// and GETs and GET-NEXTs of the names the reference gives to ask.
std::vector<ModelRequest> random_requests(const RefTopology& ref, std::mt19937_64& rng,
                                          size_t max_requests = 120);
// The subtrees walks go over.
const std::vector<RefOid>& walk_roots();

// Serves ref's topology text with the platform identity it names; false and
// the client's message when the client refuses it.
bool serve_topology(const RefTopology& ref, std::string* error);
// Runs a case on the module; transcript (when given) gets one readable line
// per request run.
ModelOutcome run_case(const ModelCase& c, const RefTopology& ref,
                      std::vector<std::string>* transcript = nullptr);
// The failure report: seed, topology, the shrunk sequence with answers.
std::string failure_report(const std::string& title, const ModelCase& original,
                           const RefTopology& ref);

// Every snapshot stale, then one missing GET per table (names not in mib), so
// that each table drops what it kept (best effort: copies a table keeps anyway
// do not count against a later case, which counts from its own start); then
// the clock a second on, so that whatever is left is stale.
void drain_snapshots(const RefMib* mib = nullptr);

}  // namespace lldpmib_test
