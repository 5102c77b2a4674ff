// Call counting and failure injection shared by every platform layer.
//
// Each platform operation starts with PLATFORM_FAULT("operation_name"): the call
// is counted, and when a test has armed a failure for this call the macro yields
// the armed status (non-zero).  The operation then fails the way it would for
// real: an int-returning operation returns the status, a pointer-returning one
// returns null, a void one just counts.  Names are the operations' own names
// ("kel_list_create", "lldp_client_iter_ne", ...).
#pragma once
#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

typedef struct platform_fault_point platform_fault_point;

// The point of an operation, created on first use; stable for the process.
platform_fault_point* platform_fault_point_get(const char* op);
// Counts one call; returns 0, or the armed status when this call must fail.
int platform_fault_check(platform_fault_point* point);

// Fail the nth call (1 = the next one) of op from now on, once, with status.
void platform_fault_fail_nth(const char* op, uint64_t nth, int status);
// Fail every call of op with status (0 disarms).
void platform_fault_fail_always(const char* op, int status);
// Calls of op counted since the last reset.  Exact for calls made on one
// thread; while nothing is armed, calls of op made at the same instant on
// several threads may count once.
uint64_t platform_fault_calls(const char* op);
// The calls of every point whose name starts with prefix ("lldp_client_": the
// client's operations), summed.
uint64_t platform_fault_calls_prefixed(const char* prefix);
// Disarm everything and zero every counter.
void platform_fault_reset(void);

// Names of every point created so far, for sweeps: calls fn once per name.
void platform_fault_for_each(void (*fn)(const char* op, void* arg), void* arg);

#ifdef __cplusplus
}
#endif

// One static point per call site, looked up once.
#define PLATFORM_FAULT(op)                                                    \
    ({                                                                        \
        static platform_fault_point* platform_fault_point_ =                  \
            platform_fault_point_get(op);                                     \
        platform_fault_check(platform_fault_point_);                          \
    })
