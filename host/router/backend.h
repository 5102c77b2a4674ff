// What the walker and the host share besides routing: choosing where the LLDP
// client library reads from.
#pragma once
#include <stdint.h>

#include <optional>
#include <string>

namespace mib_router {

struct BackendChoice {
    std::optional<std::string> topology_file;  // in-memory daemon model from JSON
    bool lldpd = false;                        // a running lldpd instead
    std::string lldpd_socket;                  // empty: lldpd's default socket
    bool lldpd_time_marks = false;             // time marks from lldpd instead of 0
    bool lldpd_time_marks_given = false;       // said on the command line (either way)
};

// The options both programs take, parsed alike.
struct CommonOptions {
    BackendChoice backend;
    std::string debug;  // trace flags, as in LLDPMIB_DEBUG; empty turns all off
    bool debug_set = false;
};

// Their help lines, for an option column 24 characters wide.
extern const char* const kCommonOptionsHelp;

// Takes argv[*i] (and its value, advancing *i) when it is a common option:
// 1 taken, 0 not one of them, -1 bad (*error then says why).  is_operand
// tells whether the word after a bare --lldpd belongs to the program (a
// command) rather than being lldpd's socket.
int take_common_option(int argc, char** argv, int* i, CommonOptions* o, std::string* error,
                       bool (*is_operand)(const std::string&));

// SECONDS of a notification interval (5..3600); false when text is no such number.
bool parse_notification_interval(const std::string& text, int32_t* seconds);

// How a host spells the options in its messages.
struct OptionNames {
    const char* topology = "--topology";
    const char* lldpd = "--lldpd";
    const char* time_marks = "--lldpd-time-marks";
    const char* zero_time_marks = "--lldpd-zero-time-marks";
};

// The combinations the common options refuse; false with *error.
bool check_common_options(const CommonOptions& o, std::string* error, const OptionNames& names = {});

// Applies the choice before the module starts; nothing chosen keeps the
// embedded example topology.  A topology (file or embedded) also sets the
// platform identity (router type, node) the module reads; with lldpd it stays
// the platform's.  On failure *error holds one line.
bool use_backend(const BackendChoice& choice, std::string* error);

// Sets the platform identity from the topology being served now (whichever
// way it was loaded: file, text or the embedded default).  Call it before the
// module starts.  On failure *error holds one line.
bool use_topology_identity(std::string* error);

}  // namespace mib_router
