// Debug flags of the module and their registration with the trace facility.
#include <stdio.h>
#include <string.h>

#include "lldpmib.h"

extern "C" {

kel_dt_handle lldp_root = nullptr;
kel_dt_handle lldp_mib_root = nullptr;

kel_dt_handle lldp_debug_all = nullptr;
kel_dt_handle lldp_event_debug = nullptr;
kel_dt_handle lldp_error_debug = nullptr;
kel_dt_handle lldp_tlv_debug = nullptr;
kel_dt_handle lldp_packet_debug = nullptr;
kel_dt_handle lldp_pakdump_debug = nullptr;
kel_dt_handle lldp_injecttlv_debug = nullptr;
kel_dt_handle lldp_trace_debug = nullptr;
kel_dt_handle lldp_verbose_debug = nullptr;
kel_dt_handle lldp_mib_debug = nullptr;
kel_dt_handle lldp_fd_max_elem_debug = nullptr;

lldp_debug_row lldp_debug_arr_kel[12] = {
    {&lldp_debug_all, "lldp_debug_all", "All LLDP Debugs", "all", nullptr},
    {&lldp_event_debug, "lldp_event_debug", "LLDP Events", "events", nullptr},
    {&lldp_error_debug, "lldp_error_debug", "LLDP Errors", "errors", nullptr},
    {&lldp_tlv_debug, "lldp_tlv_debug", "LLDP TLVs", "tlvs", nullptr},
    {&lldp_packet_debug, "lldp_packet_debug", "LLDP Packets", "packets", nullptr},
    {&lldp_pakdump_debug, "lldp_pakdump_debug", "LLDP Packet dump", "packetdump", nullptr},
    {&lldp_injecttlv_debug, "lldp_injecttlv_debug", "LLDP Inject TLV", "injecttlv", nullptr},
    {&lldp_trace_debug, "lldp_trace_debug", "LLDP Traces", "trace", nullptr},
    {&lldp_verbose_debug, "lldp_verbose_debug", "LLDP Verbose", "verbose", nullptr},
    {&lldp_mib_debug, "lldp_mib_debug", "LLDP MIB", "enable", nullptr},
    {&lldp_fd_max_elem_debug, "lldp_fd_max_elem_debug", "Number of elements in debug table", "",
     nullptr},
    {nullptr, nullptr, nullptr, nullptr, nullptr},
};

// Blocks owned by the agent library and the daemon's shared definitions; the
// module only exports them.
snmp_mib_debug_flags lldpmib_debug_flags = {};
int32_t lldp_debug = 1;
uint64_t lldp_agent[8] = {};
uint64_t lldp_agent_shim[8] = {};
uint64_t lldp_ltrace_kel[8] = {};

enum { LLDP_ROW_MIB_FLAG = 9, LLDP_ROW_LAST_LLDP_FLAG = 8 };

void lldp_debug_init(void* table) {
    (void)table;
    if (kel_dt_flag_init(&lldp_root, "lldp", nullptr, 0, 0) != 0)
        printf("Failed to initialize LLDP root debug flag\n");
    lldp_shim_debug_init();
}

void lldp_shim_debug_init(void) {
    for (int row = 0; row <= LLDP_ROW_LAST_LLDP_FLAG; row++) {
        const lldp_debug_row* r = &lldp_debug_arr_kel[row];
        if (r->keyword == nullptr || r->keyword[0] == '\0') continue;
        if (kel_dt_flag_init(r->flag, r->keyword, lldp_root, 0, 0) != 0)
            printf("Failed to initialize %s\n", r->name);
    }
    if (kel_dt_flag_init(&lldp_mib_root, "snmp/mib/lldpmib", nullptr, 0, 0) != 0)
        printf("Failed to initialize LLDP MIB root debug flag\n");
    const lldp_debug_row* mib = &lldp_debug_arr_kel[LLDP_ROW_MIB_FLAG];
    if (kel_dt_flag_init(mib->flag, mib->keyword, lldp_mib_root, 0, 0) != 0)
        printf("Failed to initialize %s\n", "lldp_mib_debug");
}

int lldp_get_debug_flag_value(const char* text) {
    if (text == nullptr) return 0;
    if (strstr(lldp_debug_arr_kel[0].description, text) != nullptr)
        return kel_dt_flag_enabled(*lldp_debug_arr_kel[0].flag);
    for (int row = 1; lldp_debug_arr_kel[row].flag != nullptr; row++) {
        if (strstr(lldp_debug_arr_kel[row].description, text) != nullptr)
            return kel_dt_flag_enabled(*lldp_debug_arr_kel[row].flag);
    }
    return 0;
}

}  // extern "C"
