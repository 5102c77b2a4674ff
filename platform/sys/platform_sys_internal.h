// Shared between the platform_sys sources; not part of the contract.
#pragma once
#include <stdint.h>

namespace platform_sys {
// Milliseconds on the platform clock: the fake clock when one is set, else
// the real time.  Does not count as a platform_time call.
int64_t clock_ms();
// Identity back to its defaults (router type 25, node 1).
void reset_identity();
}  // namespace platform_sys
