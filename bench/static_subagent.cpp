// A plain AgentX subagent serving a static table from a std::map: the cost of
// the SNMP path itself, to set beside lldpmib-agentx walking the LLDP-MIB.
//
//   lldpmib-static-subagent --agentx-socket ADDR --bindings N
//
// Serves N bindings under 1.3.6.1.4.1.8072.9999.9999.1 (netSnmpPlaypen), in
// rows of four columns alternating INTEGER and OCTET STRING values of about
// the LLDP-MIB's sizes.  Stops on SIGTERM or SIGINT.
#include <net-snmp/net-snmp-config.h>
#include <net-snmp/net-snmp-includes.h>
#include <net-snmp/agent/net-snmp-agent-includes.h>

#include <signal.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include <map>
#include <string>
#include <vector>

namespace {

volatile sig_atomic_t keep_running = 1;
void stop(int) { keep_running = 0; }

struct value {
    bool integer;
    long number;
    std::string octets;
};
std::map<std::vector<oid>, value> table;
const oid kRoot[] = {1, 3, 6, 1, 4, 1, 8072, 9999, 9999, 1};
constexpr size_t kRootLen = sizeof kRoot / sizeof kRoot[0];

void fill(long bindings) {
    const long columns = 4;
    long rows = (bindings + columns - 1) / columns;
    for (long c = 1; c <= columns; ++c)
        for (long r = 1; r <= rows && static_cast<long>(table.size()) < bindings; ++r) {
            std::vector<oid> name(kRoot, kRoot + kRootLen);
            name.push_back(1);
            name.push_back(static_cast<oid>(c));
            name.push_back(static_cast<oid>(r));
            value v;
            v.integer = c % 2 == 1;
            v.number = r;
            v.octets = "static row " + std::to_string(r) + " column " + std::to_string(c);
            table.emplace(std::move(name), std::move(v));
        }
}

void set_value(netsnmp_variable_list* var, const value& v) {
    if (v.integer)
        snmp_set_var_typed_value(var, ASN_INTEGER, &v.number, sizeof v.number);
    else
        snmp_set_var_typed_value(var, ASN_OCTET_STR, v.octets.data(), v.octets.size());
}

int handler(netsnmp_mib_handler*, netsnmp_handler_registration*,
            netsnmp_agent_request_info* reqinfo, netsnmp_request_info* requests) {
    for (netsnmp_request_info* r = requests; r; r = r->next) {
        if (r->processed) continue;
        netsnmp_variable_list* var = r->requestvb;
        std::vector<oid> name(var->name, var->name + var->name_length);
        if (reqinfo->mode == MODE_GET) {
            auto it = table.find(name);
            if (it == table.end())
                netsnmp_set_request_error(reqinfo, r, SNMP_NOSUCHINSTANCE);
            else
                set_value(var, it->second);
        } else if (reqinfo->mode == MODE_GETNEXT) {
            // The least instance strictly after the name; nothing after the
            // last one leaves the binding to the agent.
            auto it = table.upper_bound(name);
            if (it != table.end()) {
                snmp_set_var_objid(var, it->first.data(), it->first.size());
                set_value(var, it->second);
            }
        }
    }
    return SNMP_ERR_NOERROR;
}

}  // namespace

int main(int argc, char** argv) {
    const char* socket = nullptr;
    long bindings = 0;
    for (int i = 1; i < argc; ++i) {
        if (!strcmp(argv[i], "--agentx-socket") && i + 1 < argc)
            socket = argv[++i];
        else if (!strcmp(argv[i], "--bindings") && i + 1 < argc)
            bindings = strtol(argv[++i], nullptr, 10);
        else {
            fprintf(stderr, "usage: %s --agentx-socket ADDR --bindings N\n", argv[0]);
            return 2;
        }
    }
    if (!socket || bindings <= 0) {
        fprintf(stderr, "%s: --agentx-socket and a positive --bindings are needed\n", argv[0]);
        return 2;
    }
    fill(bindings);
    snmp_enable_stderrlog();
    netsnmp_ds_set_boolean(NETSNMP_DS_APPLICATION_ID, NETSNMP_DS_AGENT_ROLE, 1);
    netsnmp_ds_set_string(NETSNMP_DS_APPLICATION_ID, NETSNMP_DS_AGENT_X_SOCKET, socket);
    init_agent("lldpmib-static");
    netsnmp_ds_set_int(NETSNMP_DS_APPLICATION_ID, NETSNMP_DS_AGENT_AGENTX_PING_INTERVAL, 2);
    netsnmp_handler_registration* reg = netsnmp_create_handler_registration(
        "lldpmibStaticTable", handler, kRoot, kRootLen, HANDLER_CAN_RONLY);
    if (!reg || netsnmp_register_handler(reg) != MIB_REGISTERED_OK) {
        fprintf(stderr, "%s: registration failed\n", argv[0]);
        return 1;
    }
    init_snmp("lldpmib-static");
    signal(SIGTERM, stop);
    signal(SIGINT, stop);
    while (keep_running) agent_check_and_process(1);
    snmp_shutdown("lldpmib-static");
    return 0;
}
