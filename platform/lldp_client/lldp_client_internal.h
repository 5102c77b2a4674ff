// Shared between the library's own sources; not installed for users.
#pragma once
#include <cstdint>

namespace lldp_client_internal {
// Allocations handed to the caller outside the copy operations (the local
// system data bag), so that lldp_client_live_copies sees them too.
void count_allocation();
void count_release();
// The time origin (lldp_client_set_time_origin) in hundredths of a second
// since the Unix epoch; until it is set, the moment the library was loaded.
int64_t time_origin_centiseconds();
}  // namespace lldp_client_internal
