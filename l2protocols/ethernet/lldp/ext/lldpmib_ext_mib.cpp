// The method routines of the configuration and statistics groups: each
// decodes its instance, finds the row in the snapshot and binds one column.
#include <algorithm>
#include <vector>

#include "lldpmib_ext_internal.h"
#include "lldpmib_frame.h"

using namespace lldpmib_frame;

namespace {

// clang-format off
// Scalars of lldpConfiguration and lldpStatistics, by nominator.
enum { CONF_TX_INTERVAL, CONF_TX_HOLD, CONF_REINIT_DELAY, CONF_TX_DELAY, CONF_NOTIFICATION_INTERVAL };
enum { STATS_LAST_CHANGE, STATS_INSERTS, STATS_DELETES, STATS_DROPS, STATS_AGEOUTS };
// Columns, less one.
enum { PORT_CONFIG_ADMIN_STATUS = 1, PORT_CONFIG_NOTIFICATION_ENABLE = 2, PORT_CONFIG_TLVS_TX = 3 };
enum { TX_FRAMES = 1 };
enum { RX_DISCARDED = 1, RX_ERRORS, RX_FRAMES, RX_TLVS_DISCARDED, RX_TLVS_UNRECOGNIZED, RX_AGEOUTS };
// clang-format on

const int32_t kTruthTrue = 1, kTruthFalse = 2;
// A scalar's instance, ".0".  Not snmp_zeroOID(): that rewrites one static
// record on every call, which the module's scalars use under their own lock.
const uint32_t kScalarInstance[1] = {0};
// LldpPortList is at most 512 octets: ports 1..4096.
const uint32_t kPortListLastPort = 512 * 8;

// The row of port `port` (EXACT) or the first from it on (NEXT); null when none.
const lldp_port_stats* find_port(const std::vector<lldp_port_stats>& ports, int searchType,
                                 int32_t port) {
    auto it = std::lower_bound(
        ports.begin(), ports.end(), (uint32_t)port,
        [](const lldp_port_stats& p, uint32_t n) { return p.port_num < n; });
    if (it == ports.end()) return nullptr;
    if (searchType == EXACT && it->port_num != (uint32_t)port) return nullptr;
    return &*it;
}

// BITS position n is bit 7 - n of the first octet.
unsigned char tlvs_tx_octet(uint8_t tlvs) {
    unsigned char octet = 0;
    for (int n = 0; n < 4; n++)
        if (tlvs & (1u << n)) octet |= (unsigned char)(0x80u >> n);
    return octet;
}

// The ports whose man_addr_tx is set, as an LldpPortList: as many octets as
// the highest such port needs (none when there is none); ports past 4096
// have no bit.
OctetString* ports_tx_list(const std::vector<lldp_port_stats>& ports) {
    std::vector<unsigned char> bits;
    for (const lldp_port_stats& p : ports) {
        if (!p.man_addr_tx || p.port_num == 0 || p.port_num > kPortListLastPort) continue;
        uint32_t bit = p.port_num - 1;
        if (bits.size() <= bit / 8) bits.resize(bit / 8 + 1);
        bits[bit / 8] |= (unsigned char)(0x80u >> (bit % 8));
    }
    return MakeOctetString(bits.data(), (int32_t)bits.size());
}

// A local address's instance as compared: subtype, length, octets.
std::vector<uint32_t> man_addr_key(int32_t subtype, const unsigned char* octets, int32_t length) {
    std::vector<uint32_t> k = {(uint32_t)subtype, (uint32_t)length};
    k.insert(k.end(), octets, octets + length);
    return k;
}

// The frame of the three port tables: decodes the port, finds its row in the
// snapshot and binds the value column(row) gives (null: none).
template <typename Column>
VarBind* port_row_get(OID* incoming, ObjectInfo* object, int searchType, Column column) {
    int32_t port = 0;
    if (!decode_port_index(incoming, object, searchType, &port)) return nullptr;
    return lldpmib_ext_with_data([&](const lldpmib_ext_data& d) -> VarBind* {
        const lldp_port_stats* row = find_port(d.ports, searchType, port);
        if (row == nullptr) return nullptr;
        uint32_t inst[1] = {row->port_num};
        uint32_t number = 0;  // integers and counters are bound by address
        void* value = column(*row, &number);
        return value != nullptr ? bind_value(object, inst, 1, value) : nullptr;
    });
}

}  // namespace

extern "C" {

VarBind* lldpExtConfiguration_get(OID* incoming, ObjectInfo* object, int searchType, void*,
                                  int) {
    if (!scalar_instance_asked(incoming, object, searchType)) return nullptr;
    return lldpmib_ext_with_data([&](const lldpmib_ext_data& d) -> VarBind* {
        int32_t value = 0;
        switch (object->nominator) {
            case CONF_NOTIFICATION_INTERVAL: value = lldpmib_ext_notification_interval(); break;
            case CONF_TX_INTERVAL: value = (int32_t)d.config.tx_interval; break;
            case CONF_TX_HOLD: value = (int32_t)d.config.tx_hold; break;
            case CONF_REINIT_DELAY: value = (int32_t)d.config.reinit_delay; break;
            case CONF_TX_DELAY: value = (int32_t)d.config.tx_delay; break;
            default: return nullptr;
        }
        if (!d.has_config && object->nominator != CONF_NOTIFICATION_INTERVAL) return nullptr;
        return bind_value(object, kScalarInstance, 1, &value);
    });
}

VarBind* lldpExtPortConfigEntry_get(OID* incoming, ObjectInfo* object, int searchType, void*,
                                    int) {
    return port_row_get(incoming, object, searchType, [&](const lldp_port_stats& row, uint32_t* n) -> void* {
        switch (object->nominator) {
            case PORT_CONFIG_ADMIN_STATUS: *n = row.admin_status; return n;
            case PORT_CONFIG_NOTIFICATION_ENABLE:
                *n = row.notification_enable || lldpmib_ext_notify_all_ports() ? kTruthTrue : kTruthFalse;
                return n;
            case PORT_CONFIG_TLVS_TX: {
                unsigned char octet = tlvs_tx_octet(row.tlvs_tx);
                return MakeOctetString(&octet, 1);
            }
            default: return nullptr;
        }
    });
}

VarBind* lldpExtConfigManAddrEntry_get(OID* incoming, ObjectInfo* object, int searchType, void*,
                                       int) {
    int32_t subtype = 0;
    OctetString* addr = nullptr;
    if (!decode_indexes(incoming, object, searchType, {int_index(&subtype), var_octets_index(&addr)}))
        return nullptr;
    const std::vector<uint32_t> asked =
        addr != nullptr ? man_addr_key(subtype, addr->octet_ptr, addr->length)
                        : man_addr_key(subtype, nullptr, 0);
    FreeOctetString(addr);
    return lldpmib_ext_with_data([&](const lldpmib_ext_data& d) -> VarBind* {
        if (object->nominator != 0 || !d.has_ports) return nullptr;
        auto key_of = [](const lldpmib_ext_man_addr& a) {
            return man_addr_key(a.subtype, a.octets.data(), (int32_t)a.octets.size());
        };
        auto it = std::lower_bound(d.man_addrs.begin(), d.man_addrs.end(), asked,
                                   [&](const lldpmib_ext_man_addr& a, const std::vector<uint32_t>& k) {
                                       return key_of(a) < k;
                                   });
        if (it == d.man_addrs.end()) return nullptr;
        std::vector<uint32_t> inst = key_of(*it);
        if (searchType == EXACT && inst != asked) return nullptr;
        if ((int)inst.size() > kMaxInstance) return nullptr;
        OctetString* value = ports_tx_list(d.ports);
        return value != nullptr ? bind_value(object, inst.data(), (int)inst.size(), value)
                                : nullptr;
    });
}

VarBind* lldpExtStatistics_get(OID* incoming, ObjectInfo* object, int searchType, void*, int) {
    if (!scalar_instance_asked(incoming, object, searchType)) return nullptr;
    return lldpmib_ext_with_data([&](const lldpmib_ext_data& d) -> VarBind* {
        if (!d.has_remote) return nullptr;
        uint32_t value = 0;
        switch (object->nominator) {
            case STATS_LAST_CHANGE: value = d.remote.last_change_time; break;
            case STATS_INSERTS: value = d.remote.inserts; break;
            case STATS_DELETES: value = d.remote.deletes; break;
            case STATS_DROPS: value = d.remote.drops; break;
            case STATS_AGEOUTS: value = d.remote.ageouts; break;
            default: return nullptr;
        }
        return bind_value(object, kScalarInstance, 1, &value);
    });
}

VarBind* lldpExtStatsTxPortEntry_get(OID* incoming, ObjectInfo* object, int searchType, void*,
                                     int) {
    return port_row_get(incoming, object, searchType, [&](const lldp_port_stats& row, uint32_t* n) -> void* {
        if (object->nominator != TX_FRAMES) return nullptr;
        *n = row.tx_frames;
        return n;
    });
}

VarBind* lldpExtStatsRxPortEntry_get(OID* incoming, ObjectInfo* object, int searchType, void*,
                                     int) {
    return port_row_get(incoming, object, searchType, [&](const lldp_port_stats& row, uint32_t* n) -> void* {
        switch (object->nominator) {
            case RX_DISCARDED: *n = row.rx_frames_discarded; return n;
            case RX_ERRORS: *n = row.rx_frames_errors; return n;
            case RX_FRAMES: *n = row.rx_frames; return n;
            case RX_TLVS_DISCARDED: *n = row.rx_tlvs_discarded; return n;
            case RX_TLVS_UNRECOGNIZED: *n = row.rx_tlvs_unrecognized; return n;
            case RX_AGEOUTS: *n = row.ageouts; return n;
            default: return nullptr;
        }
    });
}

}  // extern "C"
