// Builds without the lldpd backend.
#include <cerrno>
#include <cstring>

#include "lldp_client.h"

extern "C" int lldp_client_use_lldpd(const char* ctl_socket, int time_marks, char* err,
                                     size_t err_size) {
    if (err && err_size) {
        std::strncpy(err, "this build has no lldpd backend", err_size - 1);
        err[err_size - 1] = 0;
    }
    return ENOTSUP;
}
