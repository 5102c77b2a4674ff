// The tables of LLDP-EXT-DOT1-MIB and LLDP-EXT-DOT3-MIB: each one descriptor,
// its rows from one port's or neighbour's record.  Local tables whose entry
// extends lldpPortConfigEntry or lldpXdot1LocTable's port have a row for
// every port; the others a row per element the port or neighbour advertises.
#include "lldpmib_ext_rows.h"

namespace lldpmib_rows {

namespace {

// A table of the set: whether it describes neighbours (rows start with time
// mark, local port, remote index) or local ports (the port), and the rows
// one record gives, each instance starting with key.
struct org_table {
    bool remote;
    void (*rows)(const lldp_org_ext& r, const std::vector<uint32_t>& key, std::vector<row>& out);
};

const value kIndex{};  // a not-accessible index column's slot
// LLDP-EXT-DOT1-MIB serves a VLAN name of at most 32 octets.
const size_t kVlanNameMax = 32;

std::string text(const uint8_t* p, size_t n) { return std::string(reinterpret_cast<const char*>(p), n); }

// ---- IEEE 802.1 ----

void port_vlan_tx(const lldp_org_ext& r, const std::vector<uint32_t>& key, std::vector<row>& out) {
    out.push_back(make_row(key, {}, {truth(r.port_vlan_tx)}));
}

void vlan_name_tx(const lldp_org_ext& r, const std::vector<uint32_t>& key, std::vector<row>& out) {
    for (size_t i = 0; i < r.vlan_name_count; ++i)
        out.push_back(make_row(key, {r.vlan_names[i].vid}, {truth(r.vlan_names[i].tx_enable)}));
}

void ppvid_tx(const lldp_org_ext& r, const std::vector<uint32_t>& key, std::vector<row>& out) {
    for (size_t i = 0; i < r.ppvid_count; ++i)
        out.push_back(make_row(key, {r.ppvids[i].vid}, {truth(r.ppvids[i].tx_enable)}));
}

void protocol_tx(const lldp_org_ext& r, const std::vector<uint32_t>& key, std::vector<row>& out) {
    for (size_t i = 0; i < r.protocol_count; ++i)
        out.push_back(make_row(key, {uint32_t(i + 1)}, {truth(r.protocols[i].tx_enable)}));
}

// Every local port has a port VLAN ID, 0 when it has none; a neighbour's row
// is there when it sent the TLV.
void local_port_vlan(const lldp_org_ext& r, const std::vector<uint32_t>& key, std::vector<row>& out) {
    out.push_back(make_row(key, {}, {integer(r.has_port_vlan_id ? r.port_vlan_id : 0)}));
}

void remote_port_vlan(const lldp_org_ext& r, const std::vector<uint32_t>& key, std::vector<row>& out) {
    if (r.has_port_vlan_id) local_port_vlan(r, key, out);
}

void ppvids(const lldp_org_ext& r, const std::vector<uint32_t>& key, std::vector<row>& out) {
    for (size_t i = 0; i < r.ppvid_count; ++i)
        out.push_back(make_row(key, {r.ppvids[i].vid},
                               {kIndex, truth(r.ppvids[i].supported), truth(r.ppvids[i].enabled)}));
}

void vlan_names(const lldp_org_ext& r, const std::vector<uint32_t>& key, std::vector<row>& out) {
    for (size_t i = 0; i < r.vlan_name_count; ++i) {
        const lldp_dot1_vlan_name& v = r.vlan_names[i];
        out.push_back(make_row(key, {v.vid}, {kIndex, octets(text(v.name, std::min<size_t>(v.name_len, kVlanNameMax)))}));
    }
}

void protocols(const lldp_org_ext& r, const std::vector<uint32_t>& key, std::vector<row>& out) {
    for (size_t i = 0; i < r.protocol_count; ++i)
        out.push_back(make_row(key, {uint32_t(i + 1)}, {kIndex, octets(text(r.protocols[i].id, r.protocols[i].id_len))}));
}

// ---- IEEE 802.3 ----

void dot3_tlvs_tx(const lldp_org_ext& r, const std::vector<uint32_t>& key, std::vector<row>& out) {
    out.push_back(make_row(key, {}, {bits(r.dot3_tlvs_tx, 4)}));
}

void mac_phy(const lldp_org_ext& r, const std::vector<uint32_t>& key, std::vector<row>& out) {
    if (!r.has_mac_phy) return;
    const char advertised[2] = {char(r.autoneg_advertised >> 8), char(r.autoneg_advertised & 0xff)};
    out.push_back(make_row(key, {}, {truth(r.autoneg_supported), truth(r.autoneg_enabled),
                                     octets(std::string(advertised, 2)), integer(int32_t(r.mau_type))}));
}

void power(const lldp_org_ext& r, const std::vector<uint32_t>& key, std::vector<row>& out) {
    if (!r.has_power) return;
    out.push_back(make_row(key, {}, {integer(r.power_port_class), truth(r.power_mdi_supported),
                                     truth(r.power_mdi_enabled), truth(r.power_pair_control),
                                     integer(r.power_pairs), integer(r.power_class)}));
}

void link_agg(const lldp_org_ext& r, const std::vector<uint32_t>& key, std::vector<row>& out) {
    if (!r.has_link_agg) return;
    out.push_back(make_row(key, {}, {bits(uint32_t(r.link_agg_capable) | uint32_t(r.link_agg_enabled) << 1, 2),
                                     integer(int32_t(r.link_agg_port_id))}));
}

void max_frame_size(const lldp_org_ext& r, const std::vector<uint32_t>& key, std::vector<row>& out) {
    if (r.has_max_frame_size) out.push_back(make_row(key, {}, {integer(r.max_frame_size)}));
}

// clang-format off
const org_table kDot1ConfigPortVlan{false, port_vlan_tx}, kDot1ConfigVlanName{false, vlan_name_tx},
    kDot1ConfigProtoVlan{false, ppvid_tx}, kDot1ConfigProtocol{false, protocol_tx},
    kDot1Loc{false, local_port_vlan}, kDot1LocProtoVlan{false, ppvids}, kDot1LocVlanName{false, vlan_names},
    kDot1LocProtocol{false, protocols},
    kDot1Rem{true, remote_port_vlan}, kDot1RemProtoVlan{true, ppvids}, kDot1RemVlanName{true, vlan_names},
    kDot1RemProtocol{true, protocols},
    kDot3PortConfig{false, dot3_tlvs_tx},
    kDot3LocPort{false, mac_phy}, kDot3LocPower{false, power}, kDot3LocLinkAgg{false, link_agg},
    kDot3LocMaxFrameSize{false, max_frame_size},
    kDot3RemPort{true, mac_phy}, kDot3RemPower{true, power}, kDot3RemLinkAgg{true, link_agg},
    kDot3RemMaxFrameSize{true, max_frame_size};
// clang-format on

// The order of the tables' numbers in lldpmib_ext_registry.cpp.
const org_table* const kTables[] = {
    &kDot1ConfigPortVlan, &kDot1ConfigVlanName, &kDot1ConfigProtoVlan, &kDot1ConfigProtocol,
    &kDot1Loc, &kDot1LocProtoVlan, &kDot1LocVlanName, &kDot1LocProtocol,
    &kDot1Rem, &kDot1RemProtoVlan, &kDot1RemVlanName, &kDot1RemProtocol,
    &kDot3PortConfig, &kDot3LocPort, &kDot3LocPower, &kDot3LocLinkAgg, &kDot3LocMaxFrameSize,
    &kDot3RemPort, &kDot3RemPower, &kDot3RemLinkAgg, &kDot3RemMaxFrameSize};
const int kCount = sizeof kTables / sizeof kTables[0];

struct fetch_context {
    tables* out;
    bool remote;
};

int add_record(void* record, void* context, void*) {
    const auto& r = *static_cast<const lldp_org_ext*>(record);
    const auto* c = static_cast<fetch_context*>(context);
    const std::vector<uint32_t> key = c->remote ? std::vector<uint32_t>{r.time_mark, r.port_num, r.rem_index}
                                                : std::vector<uint32_t>{r.port_num};
    for (int t = 0; t < kCount; ++t)
        if (kTables[t]->remote == c->remote) kTables[t]->rows(r, key, (*c->out)[t]);
    return 0;
}

// One pass over the client's local ports and one over its neighbours.
bool build(const lldpmib_ext_data&, tables& out) {
    fetch_context local{&out, false}, remote{&out, true};
    return lldp_client_iter_local_org_ext(add_record, &local) == 0 &&
           lldp_client_iter_remote_org_ext(add_record, &remote) == 0;
}

}  // namespace

const table_set org_tables{kCount, build};

}  // namespace lldpmib_rows
