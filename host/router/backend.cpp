#include "backend.h"

#include "lldp_client.h"

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
        return true;
    }
    if (choice.topology_file) {
        if (lldp_client_use_topology_file(choice.topology_file->c_str(), err, sizeof err) != 0) {
            *error = err[0] ? err : "cannot read topology " + *choice.topology_file;
            return false;
        }
    }
    return true;
}

}  // namespace mib_router
