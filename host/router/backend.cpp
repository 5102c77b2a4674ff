#include "backend.h"

#include <cstdio>

#include "lldp_client.h"
#include "lldp_client_model.h"
#include "platform_sys.h"

namespace mib_router {

bool use_backend(const BackendChoice& choice, std::string* error) {
    char err[512] = "";
    if (choice.lldpd) {
        // Time marks stay 0 unless asked for: a walk passes over neighbours
        // whose time mark is below an earlier row's.
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
