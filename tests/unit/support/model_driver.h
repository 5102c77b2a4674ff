// Model-based driver shared by the model-based unit test and the fuzzer:
// request sequences from several managers interleaved over a topology, each
// answer checked against the reference, the module's live record copies
// checked against the topology's record counts, and the shrinking of a
// failing sequence.  A case runs the module as the agent does:
// identity from the topology, the module started, every request routed
// through mib_router over lldpmib_OidList with the fake clock moved before it,
// the module stopped at the end.
#pragma once
#include <stddef.h>
#include <stdint.h>

#include <random>
#include <string>
#include <vector>

#include "reference.h"

namespace lldpmib_test {

struct ModelRequest {
    enum Kind { Get, Next, Walk };
    Kind kind = Get;
    uint32_t manager = 0;
    uint32_t clock_step = 0;  // seconds the clock moves before the request
    // Get, Next: the name asked.  Walk: the subtree walked; the manager's
    // GET-NEXT continues from its last answer under it, or starts at it.
    RefOid name;
};

struct ModelCase {
    std::vector<ModelRequest> requests;
};

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

// Runs a case on the module; transcript (when given) gets one readable line
// per request run.
ModelOutcome run_case(const ModelCase& c, const RefTopology& ref,
                      std::vector<std::string>* transcript = nullptr);
// A shorter failing sequence, found by dropping requests while the case
// still fails.
ModelCase shrink_case(const ModelCase& c, const RefTopology& ref);
// The failure report: seed, topology, the shrunk sequence with answers.
std::string failure_report(const std::string& title, const ModelCase& original,
                           const RefTopology& ref);
// One request as text ("m1 +2s GET-NEXT 1.0.8802...").
std::string request_text(const ModelRequest& r);

// Every snapshot stale, then one missing GET per table (names not in mib), so
// that each table drops what it kept (best effort: copies a table keeps anyway
// do not count against a later case, which counts from its own start).
void drain_snapshots(const RefMib* mib = nullptr);

}  // namespace lldpmib_test
