// lldpmib_snmpd.so: the lldpmib module and its extension library served from
// inside snmpd, loaded with "dlmod lldpmib_snmpd PATH".  Requests take the same
// path as in lldpmib-agentx (netsnmp_bridge -> mib_router -> method routines);
// only the settings differ: snmpd.conf tokens instead of options.
//
// snmpd calls init_lldpmib_snmpd when it reads the dlmod line, so it knows
// the tokens only from there on: one before the dlmod line gets snmpd's
// "Unknown token" warning and is dropped.  The module therefore takes its
// settings once snmpd has read all its configuration (the post-config
// callback), reading the same files again for its own tokens only, wherever
// they are.  A bad value is reported with its file and line, and the module
// then serves nothing; snmpd goes on.
#include <net-snmp/net-snmp-config.h>
#include <net-snmp/net-snmp-includes.h>
#include <net-snmp/agent/net-snmp-agent-includes.h>

#include <algorithm>
#include <cstring>
#include <iterator>
#include <memory>
#include <string>

#include "backend.h"
#include "kel_dt.h"
#include "mib_router.h"
#include "module_glue.h"
#include "netsnmp_bridge.h"
#include "notifications.h"

extern "C" {
__attribute__((visibility("default"))) void init_lldpmib_snmpd(void);
__attribute__((visibility("default"))) void deinit_lldpmib_snmpd(void);
}

namespace {

const char* const kName = "lldpmib_snmpd";

struct Settings {
    mib_router::CommonOptions common;
    int32_t notification_interval = 30;
    bool notify_all_ports = false;
    bool bad = false;  // some token had a bad value (reported where it was read)
};
Settings settings;

// The context the libraries are started with and their routines are handed.
struct HostContext {
    std::unique_ptr<mib_router::Router> router;
    bool started = false;
} host;

std::string value_of(const char* line) {
    std::string v = line ? line : "";
    const char* space = " \t\r\n";
    v.erase(0, v.find_first_not_of(space));
    v.erase(v.find_last_not_of(space) + 1);
    return v;
}

void bad(const std::string& message) {
    config_perror(message.c_str());
    settings.bad = true;
}

// yes|no (also true/false, on/off, 1/0); false when it is neither.
bool parse_yes_no(const std::string& v, bool* out) {
    for (const char* yes : {"yes", "true", "on", "1"})
        if (strcasecmp(v.c_str(), yes) == 0) return *out = true;
    for (const char* no : {"no", "false", "off", "0"})
        if (strcasecmp(v.c_str(), no) == 0) return !(*out = false);
    return false;
}

void on_topology(const char*, char* line) {
    std::string v = value_of(line);
    if (v.empty()) return bad("lldpmibTopology needs a file");
    settings.common.backend.topology_file = v;
}

// net-snmp never hands a handler an empty value ("Blank line following ...
// token"), so lldpd's own socket is asked for by name.
void on_lldpd(const char*, char* line) {
    std::string v = value_of(line);
    settings.common.backend.lldpd = true;
    settings.common.backend.lldpd_socket = v == "default" ? "" : v;
}

void on_time_marks(const char*, char* line) {
    std::string v = value_of(line);
    if (!parse_yes_no(v, &settings.common.backend.lldpd_time_marks))
        return bad("lldpmibTimeMarks needs yes or no, got \"" + v + "\"");
    settings.common.backend.lldpd_time_marks_given = true;
}

void on_debug(const char*, char* line) {
    settings.common.debug = value_of(line);
    settings.common.debug_set = true;
}

void on_interval(const char*, char* line) {
    std::string v = value_of(line);
    if (!mib_router::parse_notification_interval(v, &settings.notification_interval))
        bad("lldpmibNotificationInterval needs seconds in 5..3600, got \"" + v + "\"");
}

void on_notify(const char*, char* line) {
    std::string v = value_of(line);
    if (!parse_yes_no(v, &settings.notify_all_ports))
        bad("lldpmibNotifyAllPorts needs yes or no, got \"" + v + "\"");
}

// The defaults, as lldpmib-agentx's.
void reset_settings() {
    settings = Settings{};
    settings.common.backend.lldpd_time_marks = true;
}

// clang-format off
const struct {
    const char* token;
    void (*parse)(const char*, char*);
    const char* help;
} kTokens[] = {
    {"lldpmibTopology",             on_topology,   "FILE"},
    {"lldpmibLldpd",                on_lldpd,      "SOCKET|default"},
    {"lldpmibTimeMarks",            on_time_marks, "yes|no"},
    {"lldpmibDebug",                on_debug,      "FLAGS"},
    {"lldpmibNotificationInterval", on_interval,   "SECONDS"},
    {"lldpmibNotifyAllPorts",       on_notify,     "yes|no"},
};
// clang-format on

// snmpd's own pass over the files: the lines are taken by reread_settings.
void later(const char*, char*) {}

// A pass of the configuration readers that runs these handlers only: net-snmp
// runs a handler when the pass's number is its own (NORMAL_CONFIG 0,
// PREMIB_CONFIG 1, EITHER_CONFIG 2 run others).
const char kOwnPass = 7;

// Every lldpmib token in the files snmpd read (its default files unless -C,
// then those of -c, and the files they include), in their order.
void reread_settings() {
    static config_line lines[std::size(kTokens)];
    for (size_t i = 0; i < std::size(kTokens); ++i)
        lines[i] = {.config_token = const_cast<char*>(kTokens[i].token), .parse_line = kTokens[i].parse,
                    .free_func = nullptr, .next = i + 1 < std::size(kTokens) ? &lines[i + 1] : nullptr,
                    .config_time = kOwnPass, .help = const_cast<char*>(kTokens[i].help)};
    reset_settings();
    // The other tokens are snmpd's business (already read, already warned of).
    const int quiet = netsnmp_ds_get_boolean(NETSNMP_DS_LIBRARY_ID, NETSNMP_DS_LIB_NO_TOKEN_WARNINGS);
    netsnmp_ds_set_boolean(NETSNMP_DS_LIBRARY_ID, NETSNMP_DS_LIB_NO_TOKEN_WARNINGS, 1);
    config_files ours = {.fileHeader = const_cast<char*>("snmpd"), .start = lines, .next = nullptr};
    read_config_files_of_type(kOwnPass, &ours);  // the default files (none with -C)
    // snmpd reads the files of -c itself, after the default ones.
    if (const char* optional = netsnmp_ds_get_string(NETSNMP_DS_LIBRARY_ID, NETSNMP_DS_LIB_OPTIONALCONFIG)) {
        std::string files = optional;
        for (size_t from = 0; from <= files.size();) {
            size_t comma = std::min(files.find(',', from), files.size());
            if (comma > from) read_config(files.substr(from, comma - from).c_str(), lines, kOwnPass);
            from = comma + 1;
        }
    }
    netsnmp_ds_set_boolean(NETSNMP_DS_LIBRARY_ID, NETSNMP_DS_LIB_NO_TOKEN_WARNINGS, quiet);
}

void not_serving(const std::string& why) {
    snmp_log(LOG_ERR, "%s: not serving lldpMIB and lldpV2MIB: %s\n", kName, why.c_str());
}

void stop() {
    if (!host.started) return;
    lldpmib_host::stop_notifications();
    lldpmib_host::unregister_lldp_mib();
    host.router.reset();
    lldpmib_host::stop_libraries(&host);
    host.started = false;
}

// Once snmpd has read its configuration.
int start(int, int, void*, void*) {
    if (host.started) {
        // Settings are taken at start: the libraries keep what they were given.
        snmp_log(LOG_INFO, "%s: configuration read again; restart snmpd for changed lldpmib settings\n", kName);
        return SNMPERR_SUCCESS;
    }
    reread_settings();
    if (settings.bad) return not_serving("bad lldpmib settings (see above)"), SNMPERR_SUCCESS;
    const mib_router::BackendChoice& b = settings.common.backend;
    std::string error;
    const mib_router::OptionNames tokens{"lldpmibTopology", "lldpmibLldpd", "lldpmibTimeMarks", "lldpmibTimeMarks"};
    if (!mib_router::check_common_options(settings.common, &error, tokens)) return not_serving(error), SNMPERR_SUCCESS;
    // No example data inside a production snmpd by mistake (a blank value is
    // dropped by snmpd with an error, so the token seems absent).
    if (!b.lldpd && !b.topology_file)
        return not_serving("no lldpmibTopology FILE or lldpmibLldpd SOCKET|default line"), SNMPERR_SUCCESS;
    if (!mib_router::use_backend(b, &error)) return not_serving(error), SNMPERR_SUCCESS;
    if (settings.common.debug_set) kel_dt_configure(settings.common.debug.c_str());
    lldpmib_host::set_notification_settings(settings.notification_interval, settings.notify_all_ports);

    lldpmib_host::start_libraries(&host);
    host.router = std::make_unique<mib_router::Router>(lldpmib_host::object_lists());
    host.started = true;
    if (!lldpmib_host::register_lldp_mib(host.router.get(), &host)) {
        stop();
        return not_serving("snmpd refused the registration of 1.0.8802.1.1.2 or 1.3.111.2.802.1.1.13"),
               SNMPERR_SUCCESS;
    }
    lldpmib_host::start_notifications();
    const char* from = b.lldpd ? "lldpd" : b.topology_file->c_str();
    snmp_log(LOG_INFO, "%s: serving 1.0.8802.1.1.2 and 1.3.111.2.802.1.1.13 (%zu objects) from %s\n", kName,
             host.router->object_count(), from);
    return SNMPERR_SUCCESS;
}

}  // namespace

void init_lldpmib_snmpd(void) {
    for (const auto& t : kTokens) register_config_handler("snmpd", t.token, later, nullptr, t.help);
    snmp_register_callback(SNMP_CALLBACK_LIBRARY, SNMP_CALLBACK_POST_READ_CONFIG, start, nullptr);
}

void deinit_lldpmib_snmpd(void) {
    snmp_unregister_callback(SNMP_CALLBACK_LIBRARY, SNMP_CALLBACK_POST_READ_CONFIG, start, nullptr, 1);
    for (const auto& t : kTokens) unregister_config_handler("snmpd", t.token);
    stop();
}
