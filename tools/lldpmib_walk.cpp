// lldpmib-walk: the module's tables without an SNMP agent.  Loads the module
// and the extension library, starts them, and answers get / next / walk through its method routines the way
// the agent routes requests.
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include "backend.h"
#include "kel_dt.h"
#include "mib_router.h"
#include "module_glue.h"

namespace {

const char* const kUsageHead =
    "Usage: lldpmib-walk [OPTIONS] [COMMAND [OID...]]\n"
    "\n"
    "Starts the LLDP-MIB module in this process and answers requests through its\n"
    "method routines, as the SNMP agent would.\n"
    "\n"
    "Commands:\n"
    "  walk [OID]      every binding under OID (default 1.0.8802.1.1.2)\n"
    "  get OID...      GET of each OID\n"
    "  next OID...     GET-NEXT of each OID\n"
    "  (no command: walk 1.0.8802.1.1.2)\n"
    "\n"
    "Options:\n";
const char* const kUsageTail =
    "  -h, --help            this text\n"
    "\n"
    "Output, one line per binding:\n"
    "  <oid> INTEGER <decimal>\n"
    "  <oid> OCTETS <hex>     lower-case hex, no separators; an empty string\n"
    "                         leaves nothing after the space\n"
    "  <oid> OID <dotted>\n"
    "A GET without answer prints \"<oid> NOSUCHOBJECT\" or \"<oid> NOSUCHINSTANCE\",\n"
    "a GET-NEXT past the last object \"<oid> ENDOFMIBVIEW\".\n";

const char* const kLldpMib = "1.0.8802.1.1.2";

int usage_error(const std::string& message) {
    std::fprintf(stderr, "lldpmib-walk: %s (try --help)\n", message.c_str());
    return 2;
}

bool is_command(const std::string& s) { return s == "get" || s == "next" || s == "walk"; }

void print(const mib_router::Binding& b) { std::printf("%s\n", mib_router::format(b).c_str()); }

}  // namespace

int main(int argc, char** argv) {
    mib_router::CommonOptions opt;
    std::string command, error;
    std::vector<std::string> args;

    for (int i = 1; i < argc; ++i) {
        std::string a = argv[i];
        if (!command.empty()) {
            args.push_back(a);
        } else if (a == "-h" || a == "--help") {
            std::fputs(kUsageHead, stdout);
            std::fputs(mib_router::kCommonOptionsHelp, stdout);
            std::fputs(kUsageTail, stdout);
            return 0;
        } else if (int taken = mib_router::take_common_option(argc, argv, &i, &opt, &error, is_command)) {
            if (taken < 0) return usage_error(error);
        } else if (is_command(a)) {
            command = a;
        } else if (!a.empty() && a[0] == '-') {
            return usage_error("unknown option " + a);
        } else {
            return usage_error("unknown command " + a);
        }
    }
    if (!mib_router::check_common_options(opt, &error)) return usage_error(error);
    if (command.empty()) command = "walk";
    if (command == "walk" && args.size() > 1) return usage_error("walk takes at most one OID");
    if (command != "walk" && args.empty()) return usage_error(command + " needs an OID");
    if (command == "walk" && args.empty()) args.push_back(kLldpMib);

    std::vector<mib_router::Oid> oids;
    for (const std::string& text : args) {
        std::optional<mib_router::Oid> oid = mib_router::parse_oid(text);
        if (!oid) return usage_error("not a numeric OID: " + text);
        oids.push_back(*oid);
    }

    if (!mib_router::use_backend(opt.backend, &error)) {
        std::fprintf(stderr, "lldpmib-walk: %s\n", error.c_str());
        return 1;
    }
    if (opt.debug_set) kel_dt_configure(opt.debug.c_str());

    lldpmib_host::start_libraries(nullptr);
    {
        mib_router::Router router(lldpmib_host::object_lists());
        for (const mib_router::Oid& oid : oids) {
            mib_router::Binding b;
            if (command == "get") {
                switch (router.get(oid, &b)) {
                case mib_router::GetResult::Found:
                    print(b);
                    break;
                case mib_router::GetResult::NoSuchObject:
                    std::printf("%s NOSUCHOBJECT\n", mib_router::to_text(oid).c_str());
                    break;
                case mib_router::GetResult::NoSuchInstance:
                    std::printf("%s NOSUCHINSTANCE\n", mib_router::to_text(oid).c_str());
                    break;
                }
            } else if (command == "next") {
                if (router.next(oid, &b))
                    print(b);
                else
                    std::printf("%s ENDOFMIBVIEW\n", mib_router::to_text(oid).c_str());
            } else {
                size_t n = router.walk(oid, [](const mib_router::Binding& x) {
                    print(x);
                    return true;
                });
                // Like snmpwalk: a root that is itself an instance is read.
                if (n == 0 && router.get(oid, &b) == mib_router::GetResult::Found) print(b);
            }
        }
    }
    std::fflush(stdout);
    lldpmib_host::stop_libraries(nullptr);
    return 0;
}
