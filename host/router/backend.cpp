#include "backend.h"

#include <errno.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "lldp_client.h"
#include "lldp_client_model.h"
#include "platform_sys.h"

namespace mib_router {

const char* const kCommonOptionsHelp =
    "  --topology FILE       serve the JSON topology FILE (default: the embedded\n"
    "                        example topology)\n"
    "  --lldpd [SOCKET]      read a running lldpd through its control socket\n"
    "                        (also --lldpd=SOCKET; default: lldpd's own socket)\n"
    "  --lldpd-time-marks    with --lldpd: time marks from the neighbours' last\n"
    "                        changes (lldpmib-agentx's default)\n"
    "  --lldpd-zero-time-marks\n"
    "                        with --lldpd: every time mark 0 (lldpmib-walk's default)\n"
    "  --debug FLAGS         module trace flags, as in LLDPMIB_DEBUG (\"all\",\n"
    "                        \"lldp/trace,lldp/verbose\", ...); lines go to stderr\n";

namespace {

// Whether a is --name or --name=VALUE.
bool names(const std::string& a, const char* name) {
    return a == name || a.rfind(std::string(name) + "=", 0) == 0;
}

// The value of --name VALUE or --name=VALUE; false when there is none.
bool value_of(int argc, char** argv, int* i, const std::string& a, const char* name,
              std::string* out) {
    if (a != name) {
        *out = a.substr(std::strlen(name) + 1);
        return true;
    }
    if (*i + 1 >= argc) return false;
    *out = argv[++*i];
    return true;
}

}  // namespace

int take_common_option(int argc, char** argv, int* i, CommonOptions* o, std::string* error,
                       bool (*is_operand)(const std::string&)) {
    const std::string a = argv[*i];
    std::string v;
    if (names(a, "--topology")) {
        if (!value_of(argc, argv, i, a, "--topology", &v) || v.empty()) {
            *error = "--topology needs a file";
            return -1;
        }
        o->backend.topology_file = v;
    } else if (a == "--lldpd") {
        o->backend.lldpd = true;
        if (*i + 1 < argc && argv[*i + 1][0] != '-' && !(is_operand && is_operand(argv[*i + 1])))
            o->backend.lldpd_socket = argv[++*i];
    } else if (names(a, "--lldpd")) {
        o->backend.lldpd = true;
        value_of(argc, argv, i, a, "--lldpd", &o->backend.lldpd_socket);
    } else if (a == "--lldpd-time-marks" || a == "--lldpd-zero-time-marks") {
        o->backend.lldpd_time_marks = a == "--lldpd-time-marks";
        o->backend.lldpd_time_marks_given = true;
    } else if (names(a, "--debug")) {
        if (!value_of(argc, argv, i, a, "--debug", &o->debug)) {
            *error = "--debug needs flags";
            return -1;
        }
        o->debug_set = true;
    } else {
        return 0;
    }
    return 1;
}

bool parse_notification_interval(const std::string& text, int32_t* seconds) {
    char* end = nullptr;
    errno = 0;
    long v = std::strtol(text.c_str(), &end, 10);
    if (text.empty() || *end != '\0' || errno != 0 || v < 5 || v > 3600) return false;
    *seconds = static_cast<int32_t>(v);
    return true;
}

bool check_common_options(const CommonOptions& o, std::string* error, const OptionNames& names) {
    if (o.backend.lldpd && o.backend.topology_file)
        *error = std::string(names.topology) + " and " + names.lldpd + " exclude each other";
    else if (o.backend.lldpd_time_marks_given && !o.backend.lldpd)
        *error = std::string(o.backend.lldpd_time_marks ? names.time_marks : names.zero_time_marks) + " needs " +
                 names.lldpd;
    else
        return true;
    return false;
}

bool use_backend(const BackendChoice& choice, std::string* error) {
    char err[512] = "";
    if (choice.lldpd) {
        // Each program has its default (README, "Time marks").
        const char* sock = choice.lldpd_socket.empty() ? nullptr : choice.lldpd_socket.c_str();
        if (lldp_client_use_lldpd(sock, choice.lldpd_time_marks ? 1 : 0, err, sizeof err) != 0) {
            *error = err[0] ? err : "cannot use lldpd";
            return false;
        }
        // Not fatal: nothing is served until lldpd answers.
        std::string why;
        if (!lldp_client_current_topology(&why)) std::fprintf(stderr, "warning: %s\n", why.c_str());
        return true;
    }
    if (choice.topology_file) {
        if (lldp_client_use_topology_file(choice.topology_file->c_str(), err, sizeof err) != 0) {
            *error = err[0] ? err : "cannot read topology " + *choice.topology_file;
            return false;
        }
    }
    return use_topology_identity(error);
}

bool use_topology_identity(std::string* error) {
    std::string why;
    std::shared_ptr<const lldp_model::topology> t = lldp_client_current_topology(&why);
    if (!t) {
        *error = why.empty() ? "no topology to serve" : why;
        return false;
    }
    platform_set_identity(t->router_type, t->node_id);
    return true;
}

}  // namespace mib_router
