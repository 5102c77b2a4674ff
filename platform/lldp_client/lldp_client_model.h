// C++ side of the LLDP client library: choose what the in-memory daemon
// model serves, load topology files, and look at the topology being served.
#pragma once
#include <memory>
#include <string>

#include "lldp_client.h"
#include "topology.h"

namespace lldp_model {

// Parses topology JSON.  On failure returns null and sets *error to
// "<origin>: <JSON path>: <problem>".
std::shared_ptr<const topology> parse_topology(const std::string& text, const std::string& origin,
                                               std::string* error);
// Reads and parses a topology file; errors name the file.
std::shared_ptr<const topology> load_topology_file(const std::string& path, std::string* error);

// The example topology compiled into the library (examples/default.json).
const char* default_topology_text();

}  // namespace lldp_model

// Serve this topology from now on (tests build one in code).
void lldp_client_use_topology(std::shared_ptr<const lldp_model::topology> topo);
// Serve whatever this source reports at each operation.
void lldp_client_use_source(std::shared_ptr<lldp_model::topology_source> source);
// Back to the embedded example topology.
void lldp_client_use_default(void);
// The topology the active source reports now; null with *error when the
// daemon cannot be reached.  Does not count as a client operation.
std::shared_ptr<const lldp_model::topology> lldp_client_current_topology(std::string* error);
