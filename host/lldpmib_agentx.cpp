// lldpmib-agentx: serves the LLDP-MIB module from a net-snmp AgentX subagent.
// The master (snmpd) hands us every request under lldpMIB; each is routed to
// the module's method routines through its object list.
#include <net-snmp/net-snmp-config.h>
#include <net-snmp/net-snmp-includes.h>
#include <net-snmp/agent/net-snmp-agent-includes.h>

#include <signal.h>
#include <stdlib.h>

#include <cstdio>
#include <cstring>
#include <memory>
#include <string>

#include "backend.h"
#include "kel_dt.h"
#include "mib_router.h"
#include "module_glue.h"
#include "netsnmp_bridge.h"
#include "notifications.h"

namespace {

const char* const kAppName = "lldpmib-agentx";
// Seconds between pings of the master: a restarted master serves us again
// within about this long.
const int kPingInterval = 2;

const char* const kUsageHead =
    "Usage: lldpmib-agentx [OPTIONS]\n"
    "\n"
    "AgentX subagent serving the LLDP-MIB (1.0.8802.1.1.2) from the lldpmib\n"
    "module.  Needs a master agent with AgentX enabled (snmpd: \"master agentx\").\n"
    "\n"
    "Options:\n";
const char* const kUsageTail =
    "  --agentx-socket ADDR  the master's AgentX address (unix path, or\n"
    "                        tcp:HOST:PORT; default: net-snmp's, /var/agentx/master)\n"
    "  --notification-interval SECONDS\n"
    "                        at most one lldpRemTablesChange per SECONDS (5..3600,\n"
    "                        default 30); also served as lldpNotificationInterval\n"
    "  --notify              notify neighbour changes on every port (otherwise on\n"
    "                        the ports the daemon enables notification on)\n"
    "  -f, --foreground      stay in the foreground and log to stderr (otherwise\n"
    "                        detach and log to syslog)\n"
    "  -h, --help            this text\n"
    "\n"
    "SIGTERM or SIGINT stops the module and exits 0.  The master may start later\n"
    "or restart: the subagent keeps reconnecting.  Notifications go to the master,\n"
    "which sends them to its trap receivers (trap2sink, trapsess in snmpd.conf).\n";

struct Options {
    mib_router::CommonOptions common;
    std::string agentx_socket;
    bool foreground = false;
    int32_t notification_interval = 30;
    bool notify_all_ports = false;
};

volatile sig_atomic_t stop_requested = 0;

void on_stop_signal(int) { stop_requested = 1; }

// The context the module is started with and its routines are handed.
struct HostContext {
    std::unique_ptr<mib_router::Router> router;
} host;

int usage_error(const std::string& message) {
    std::fprintf(stderr, "%s: %s (try --help)\n", kAppName, message.c_str());
    return 2;
}

// Returns -1 when options are fine, else the exit status.
int parse_options(int argc, char** argv, Options* o) {
    std::string error;
    // Real time marks by default: here they count in the master's sysUpTime
    // (README, "Time marks").
    o->common.backend.lldpd_time_marks = true;
    for (int i = 1; i < argc; ++i) {
        std::string a = argv[i];
        if (a == "-h" || a == "--help") {
            std::fputs(kUsageHead, stdout);
            std::fputs(mib_router::kCommonOptionsHelp, stdout);
            std::fputs(kUsageTail, stdout);
            return 0;
        } else if (int taken = mib_router::take_common_option(argc, argv, &i, &o->common, &error, nullptr)) {
            if (taken < 0) return usage_error(error);
        } else if (a == "-f" || a == "--foreground") {
            o->foreground = true;
        } else if (a == "--agentx-socket" || a.rfind("--agentx-socket=", 0) == 0) {
            if (a == "--agentx-socket" && i + 1 < argc)
                o->agentx_socket = argv[++i];
            else if (a != "--agentx-socket")
                o->agentx_socket = a.substr(std::strlen("--agentx-socket="));
            if (o->agentx_socket.empty()) return usage_error("--agentx-socket needs an address");
        } else if (a == "--notification-interval" || a.rfind("--notification-interval=", 0) == 0) {
            std::string v;
            if (a != "--notification-interval")
                v = a.substr(std::strlen("--notification-interval="));
            else if (i + 1 < argc)
                v = argv[++i];
            if (!mib_router::parse_notification_interval(v, &o->notification_interval))
                return usage_error("--notification-interval needs seconds in 5..3600, got \"" + v +
                                   "\"");
        } else if (a == "--notify") {
            o->notify_all_ports = true;
        } else if (!a.empty() && a[0] == '-') {
            return usage_error("unknown option " + a);
        } else {
            return usage_error("unexpected argument " + a);
        }
    }
    if (!mib_router::check_common_options(o->common, &error)) return usage_error(error);
    return -1;
}

}  // namespace

int main(int argc, char** argv) {
    Options opt;
    if (int status = parse_options(argc, argv, &opt); status >= 0) return status;

    std::string error;
    if (!mib_router::use_backend(opt.common.backend, &error)) {
        std::fprintf(stderr, "%s: %s\n", kAppName, error.c_str());
        return 1;
    }
    if (opt.common.debug_set) kel_dt_configure(opt.common.debug.c_str());
    lldpmib_host::set_notification_settings(opt.notification_interval, opt.notify_all_ports);

    // A subagent needs no MIB files and keeps no state of its own.
    setenv("MIBS", "", 0);
    netsnmp_ds_set_boolean(NETSNMP_DS_LIBRARY_ID, NETSNMP_DS_LIB_DISABLE_PERSISTENT_LOAD, 1);
    netsnmp_ds_set_boolean(NETSNMP_DS_LIBRARY_ID, NETSNMP_DS_LIB_DISABLE_PERSISTENT_SAVE, 1);
    if (opt.foreground)
        snmp_enable_stderrlog();
    else
        snmp_enable_syslog_ident(kAppName, LOG_DAEMON);

    netsnmp_ds_set_boolean(NETSNMP_DS_APPLICATION_ID, NETSNMP_DS_AGENT_ROLE, 1);
    if (!opt.agentx_socket.empty())
        netsnmp_ds_set_string(NETSNMP_DS_APPLICATION_ID, NETSNMP_DS_AGENT_X_SOCKET,
                              opt.agentx_socket.c_str());
    if (init_agent(kAppName) != 0) {
        std::fprintf(stderr, "%s: cannot initialise the net-snmp agent library\n", kAppName);
        return 1;
    }
    // init_agent resets it, so it is set here.
    netsnmp_ds_set_int(NETSNMP_DS_APPLICATION_ID, NETSNMP_DS_AGENT_AGENTX_PING_INTERVAL,
                       kPingInterval);

    if (!opt.foreground && netsnmp_daemonize(1, 0) != 0) {
        std::fprintf(stderr, "%s: cannot detach\n", kAppName);
        return 1;
    }

    lldpmib_host::start_libraries(&host);
    host.router = std::make_unique<mib_router::Router>(lldpmib_host::object_lists());

    if (!lldpmib_host::register_lldp_mib(host.router.get(), &host)) {
        std::fprintf(stderr, "%s: cannot register 1.0.8802.1.1.2 and 1.3.111.2.802.1.1.13\n", kAppName);
        lldpmib_host::stop_libraries(&host);
        return 1;
    }

    lldpmib_host::start_notifications();
    init_snmp(kAppName);

    struct sigaction sa {};
    sa.sa_handler = on_stop_signal;
    sigemptyset(&sa.sa_mask);
    sa.sa_flags = 0;  // no SA_RESTART: the wait for requests returns at once
    sigaction(SIGTERM, &sa, nullptr);
    sigaction(SIGINT, &sa, nullptr);
    signal(SIGPIPE, SIG_IGN);

    snmp_log(LOG_INFO, "%s: serving 1.0.8802.1.1.2 and 1.3.111.2.802.1.1.13 (%zu objects)\n", kAppName,
             host.router->object_count());
    while (!stop_requested) agent_check_and_process(1);

    snmp_log(LOG_INFO, "%s: stopping\n", kAppName);
    snmp_shutdown(kAppName);
    host.router.reset();
    lldpmib_host::stop_libraries(&host);
    return 0;
}
