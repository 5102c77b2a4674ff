// Debug and trace facility.
//
// A flag is a handle registered under a keyword path ("lldp/trace",
// "snmp/mib/lldpmib/enable").  A trace call names the handle that gates it; the
// line is emitted exactly when that flag is on.  A null handle is never on.
//
// Operators switch flags with LLDPMIB_DEBUG, a comma-separated list of keyword
// paths; a path turns on its flag and every flag registered below it, and "all"
// turns on everything.  Lines go to standard error, or to the file named by
// LLDPMIB_TRACE_FILE.  Both variables are read when the first flag is registered.
#pragma once
#include <stddef.h>

#ifdef __cplusplus
extern "C" {
#endif

typedef struct kel_dt_flag* kel_dt_handle;

// Registers *flag under keyword, below parent (null: at the root).  0 on success.
int kel_dt_flag_init(kel_dt_handle* flag, const char* keyword, kel_dt_handle parent,
                     int reserved1, int reserved2);
// Non-zero when the flag is on.
int kel_dt_flag_enabled(kel_dt_handle flag);
// Formats and emits one line when flag is on.  site points at the call site's
// own word (initially -1), which only the facility touches.
void _kel_dt_log_filter_adv(kel_dt_handle flag, int a1, int a2, int a3, int a4, int a5,
                            int* site, const char* format, ...)
    __attribute__((format(printf, 8, 9)));

// Operator control: same syntax as LLDPMIB_DEBUG; replaces the current setting.
void kel_dt_configure(const char* spec);
// The full keyword path of a flag ("" for null).
const char* kel_dt_flag_path(kel_dt_handle flag);
// Where lines go: 0 standard error, 1 discard (benchmarks), 2 the named file.
int kel_dt_set_output(int kind, const char* path);

#ifdef __cplusplus
}

#include <string>
#include <vector>

namespace kel_dt {
// Tests: while capturing, emitted lines are kept in memory, formatted exactly
// as written (no newline added), instead of being written out.
void capture_start();
std::vector<std::string> capture_stop();
// Forget every registration (handles already handed out stay valid but off).
void reset_for_tests();
}  // namespace kel_dt
#endif
