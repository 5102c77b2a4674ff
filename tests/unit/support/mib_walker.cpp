#include "mib_walker.h"

#include "lldpmib.h"
#include "lldpmib_ext.h"
#include "platform_sys.h"

namespace lldpmib_test {

void start_served() {
    init_lldpmib(nullptr, 1);
    init_lldpmib_ext(nullptr, 1);
}

void stop_served() {
    init_lldpmib_ext(nullptr, 0);
    init_lldpmib(nullptr, 0);
}

const mib_router::Router& lldpmib_router() {
    static const mib_router::Router router(
        {{lldpmib_OidList, lldpmib_OidListNum}, {lldpmib_ext_OidList, lldpmib_ext_OidListNum}});
    return router;
}

size_t walk_visit(const std::function<bool(const mib_router::Binding&)>& visit, const mib_router::Oid& root) {
    return lldpmib_router().walk(root, visit);
}

std::vector<std::string> walk_lines() {
    std::vector<std::string> out;
    walk_visit([&](const mib_router::Binding& b) {
        out.push_back(mib_router::format(b));
        return true;
    });
    return out;
}

time_t advance_clock(time_t seconds) {
    static time_t fake_now = 2000000000;
    platform_set_fake_time(fake_now += seconds);
    return fake_now;
}

}  // namespace lldpmib_test
