// The local system data group: fetched afresh from the LLDP client on every
// request (no snapshot), plus the capability bit mirror that the remote entry
// table uses as well.
#include <stdlib.h>
#include <string.h>

#include "lldpmib.h"

namespace {

// Replaces *field with value; the previous value goes first.  False when a
// value was wanted and could not be made.
bool lldpmib_set_string(OctetString** field, OctetString* value) {
    FreeOctetString(*field);
    *field = value;
    return value != nullptr;
}

// The capability octets of one value, as a string.
OctetString* lldpmib_caps_octets(uint16_t caps, uint16_t* mirrored) {
    unsigned char octets[2];
    lldpmib_caps_bits(caps, mirrored, octets);
    return MakeOctetString(octets, 2);
}

}  // namespace

extern "C" {

lldpLocalSystemData_t lldpLocalSystemDataData;

lldpLocalSystemData_t* lldpmib_shim_local_system_data_get(int serialNum, void* contextInfo,
                                                          int nominator) {
    LLDPMIB_TRACE_ARGS("lldpmib_shim_local_system_data_get",
                       "serialNum: %d, contextInfo: %p, nominator: %d", serialNum, contextInfo,
                       nominator);
    lldpmib_lock();
    if (lldpmib_shim_is_lldp_enabled() != 0) {
        LLDPMIB_MIB("lldpmib_shim_local_system_data_get", "lldp not enabled");
        lldpmib_unlock();
        return nullptr;
    }
    uint32_t node_id = 0;
    if (platform_get_my_nodeid(&node_id) != 0) {
        LLDPMIB_MIB("lldpmib_shim_local_system_data_get", "failed to get current node ID");
        lldpmib_unlock();
        return nullptr;
    }
    lldp_client_filter filter;
    memset(&filter, 0, sizeof filter);
    filter.kind = LLDP_FILTER_NODE;
    filter.node_id = node_id;

    lldp_local_system_data_bag bag;
    memset(&bag, 0, sizeof bag);
    LLDPMIB_VERBOSE("lldpmib_shim_local_system_data_get",
                    "calling lldp_client_get_local_system_data");
    int rc = lldp_client_get_local_system_data(&filter, &bag);
    if (rc != 0) {
        // The record keeps what the last successful call left in it.
        LLDPMIB_MIB("lldpmib_shim_local_system_data_get",
                    "lldp_client_get_local_system_data FAILED, %s", cerr_strerror(rc));
        lldpmib_unlock();
        return nullptr;
    }
    LLDPMIB_VERBOSE("lldpmib_shim_local_system_data_get", "lldp_client_get_local_system_data OK");

    lldpLocalSystemData_t* row = &lldpLocalSystemDataData;
    bool complete = true;

    if (row->lldpLocChassisId != nullptr) {
        LLDPMIB_VERBOSE("lldpmib_shim_local_system_data_get",
                        "Clean up lldpLocalSystemDataData.lldpLocChassisId");
        FreeOctetString(row->lldpLocChassisId);
        row->lldpLocChassisId = nullptr;
    }
    switch (bag.chassis_id_subtype) {
        case LLDP_CHASSIS_ID_MAC:
            LLDPMIB_VERBOSE("lldpmib_shim_local_system_data_get", "Chassis ID subtype: chassis MAC");
            break;
        case LLDP_CHASSIS_ID_LOCAL:
            LLDPMIB_VERBOSE("lldpmib_shim_local_system_data_get", "Chassis ID subtype: hostname");
            break;
    }
    row->lldpLocChassisIdSubtype = bag.chassis_id_subtype;
    // The MIB defines subtypes 1 to 7; a reserved one has no form to serve.
    if (bag.chassis_id_subtype >= 1 && bag.chassis_id_subtype <= 7)
        complete &= lldpmib_set_string(&row->lldpLocChassisId,
                                       lldpmib_local_chassis_id(bag.chassis_id_subtype, bag.chassis_id));

    if (row->lldpLocSysName != nullptr)
        LLDPMIB_VERBOSE("lldpmib_shim_local_system_data_get",
                        "Clean up lldpLocalSystemDataData.lldpLocSysName");
    complete &= lldpmib_set_string(&row->lldpLocSysName, MakeOctetStringFromText(bag.sys_name));

    if (row->lldpLocSysDesc != nullptr)
        LLDPMIB_VERBOSE("lldpmib_shim_local_system_data_get",
                        "Clean up lldpLocalSystemDataData.lldpLocSysDesc");
    complete &= lldpmib_set_string(&row->lldpLocSysDesc, MakeOctetStringFromText(bag.sys_desc));

    uint16_t supported = 0;
    OctetString* supported_octets = lldpmib_caps_octets(bag.supported_caps, &supported);
    LLDPMIB_VERBOSE("lldpmib_shim_local_system_data_get", "Supported caps: %x\n", supported);
    if (row->lldpLocSysCapSupported != nullptr)
        LLDPMIB_VERBOSE("lldpmib_shim_local_system_data_get",
                        "Clean uplldpLocalSystemDataData.lldpLocSysCapSupported");
    complete &= lldpmib_set_string(&row->lldpLocSysCapSupported, supported_octets);

    uint16_t enabled = 0;
    OctetString* enabled_octets = lldpmib_caps_octets(bag.enabled_caps, &enabled);
    LLDPMIB_VERBOSE("lldpmib_shim_local_system_data_get", "Enabled caps: %x\n", enabled);
    if (row->lldpLocSysCapEnabled != nullptr)
        LLDPMIB_VERBOSE("lldpmib_shim_local_system_data_get",
                        "Clean uplldpLocalSystemDataData.lldpLocSysCapEnabled");
    complete &= lldpmib_set_string(&row->lldpLocSysCapEnabled, enabled_octets);

    lldp_client_free_local_system_data_bag(&bag);
    lldpmib_unlock();
    // A value that could not be made leaves a hole in the group: answer
    // nothing rather than a partly filled record.
    return complete ? row : nullptr;
}

uint16_t reverse_bits_uint16(uint16_t value) {
    LLDPMIB_TRACE("reverse_bits_uint16");
    // Read on every call: the setting may change while the module runs.
    bool eight_bit = getenv("ENKT_ACTIVE") != nullptr;
    if (value == 0) return 0;
    uint16_t mirrored = 0;
    if (!eight_bit) {
        for (int i = 0; i < 16; i++)
            if (value & (1u << i)) mirrored |= (uint16_t)(1u << (15 - i));
    } else {
        for (int i = 0; i < 8; i++)
            if (value & (1u << i)) mirrored |= (uint16_t)(1u << (7 - i));
    }
    return mirrored;
}

// The 16-bit mirror holds capabilities 0-7 in its high byte; the 8-bit mirror
// of an "ENKT_ACTIVE" platform holds them in its low byte, with nothing above.
void lldpmib_caps_bits(uint16_t caps, uint16_t* mirrored, unsigned char octets[2]) {
    bool eight_bit = getenv("ENKT_ACTIVE") != nullptr;
    uint16_t m = reverse_bits_uint16(caps);
    unsigned char high = (unsigned char)(m >> 8), low = (unsigned char)(m & 0xFF);
    octets[0] = eight_bit ? low : high;
    octets[1] = eight_bit ? high : low;
    *mirrored = m;
}

}  // extern "C"
