// Shared between the library's own sources; not installed for users.
#pragma once

namespace lldp_client_internal {
// Allocations handed to the caller outside the copy operations (the local
// system data bag), so that lldp_client_live_copies sees them too.
void count_allocation();
void count_release();
}  // namespace lldp_client_internal
