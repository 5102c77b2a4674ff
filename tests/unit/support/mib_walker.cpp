#include "mib_walker.h"

#include "lldpmib.h"

namespace lldpmib_test {

const mib_router::Oid& lldp_mib_root() {
    static const mib_router::Oid root{1, 0, 8802, 1, 1, 2};
    return root;
}

const mib_router::Router& lldpmib_router() {
    static const mib_router::Router router(lldpmib_OidList, lldpmib_OidListNum);
    return router;
}

size_t walk_visit(const std::function<bool(const mib_router::Binding&)>& visit) {
    return lldpmib_router().walk(lldp_mib_root(), visit);
}

std::vector<std::string> walk_lines() {
    std::vector<std::string> out;
    walk_visit([&](const mib_router::Binding& b) {
        out.push_back(mib_router::format(b));
        return true;
    });
    return out;
}

std::map<std::string, std::string> walk_map() {
    std::map<std::string, std::string> out;
    walk_visit([&](const mib_router::Binding& b) {
        out.emplace(mib_router::to_text(b.name), mib_router::format(b));
        return true;
    });
    return out;
}

size_t walk_count() {
    return walk_visit([](const mib_router::Binding&) { return true; });
}

std::string get_line(const mib_router::Oid& name) {
    mib_router::Binding b;
    if (lldpmib_router().get(name, &b) != mib_router::GetResult::Found) return "";
    return mib_router::format(b);
}

}  // namespace lldpmib_test
