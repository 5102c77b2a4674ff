// Equality of topology snapshots: a source that refetches hands out its
// previous snapshot when nothing changed, and the change counts move only
// when the data (or the neighbours) really differ.
#include "topology.h"

namespace lldp_model {
namespace {

bool same(const address& a, const address& b) {
    return a.ipv6 == b.ipv6 && a.octets == b.octets && a.if_id == b.if_id && a.subtype == b.subtype;
}
bool same(const unknown_tlv& a, const unknown_tlv& b) { return a.type == b.type && a.info == b.info; }
bool same(const org_def_tlv& a, const org_def_tlv& b) {
    return a.oui == b.oui && a.subtype == b.subtype && a.index == b.index && a.info == b.info;
}
bool same(const dot1_ppvid& a, const dot1_ppvid& b) {
    return a.vid == b.vid && a.supported == b.supported && a.enabled == b.enabled && a.tx == b.tx;
}
bool same(const dot1_vlan_name& a, const dot1_vlan_name& b) {
    return a.vid == b.vid && a.name == b.name && a.tx == b.tx;
}
bool same(const dot1_protocol& a, const dot1_protocol& b) { return a.id == b.id && a.tx == b.tx; }
bool same(const dot3_mac_phy& a, const dot3_mac_phy& b) {
    return a.autoneg_supported == b.autoneg_supported && a.autoneg_enabled == b.autoneg_enabled &&
           a.advertised == b.advertised && a.mau_type == b.mau_type;
}
bool same(const dot3_power& a, const dot3_power& b) {
    return a.port_class == b.port_class && a.mdi_supported == b.mdi_supported && a.mdi_enabled == b.mdi_enabled &&
           a.pair_control == b.pair_control && a.pairs == b.pairs && a.power_class == b.power_class;
}
bool same(const dot3_link_agg& a, const dot3_link_agg& b) {
    return a.capable == b.capable && a.enabled == b.enabled && a.port_id == b.port_id;
}
template <class T>
bool same(const std::optional<T>& a, const std::optional<T>& b) {
    return a.has_value() == b.has_value() && (!a || same(*a, *b));
}
bool same(const neighbor& a, const neighbor& b);
bool same(const port& a, const port& b);
bool same(const local_man_addr_record& a, const local_man_addr_record& b);
template <class T>
bool same(const std::vector<T>& a, const std::vector<T>& b) {
    if (a.size() != b.size()) return false;
    for (size_t i = 0; i < a.size(); ++i)
        if (!same(a[i], b[i])) return false;
    return true;
}
bool same(const org_ext& a, const org_ext& b) {
    return a.port_vlan_id == b.port_vlan_id && a.port_vlan_tx == b.port_vlan_tx && same(a.ppvids, b.ppvids) &&
           same(a.vlan_names, b.vlan_names) && same(a.protocols, b.protocols) && same(a.mac_phy, b.mac_phy) &&
           same(a.power, b.power) && same(a.link_agg, b.link_agg) && a.max_frame_size == b.max_frame_size &&
           a.dot3_tlvs_tx == b.dot3_tlvs_tx;
}
bool same(const neighbor& a, const neighbor& b) {
    return a.time_mark == b.time_mark && a.rem_index == b.rem_index &&
           a.chassis_id_subtype == b.chassis_id_subtype && a.chassis_id == b.chassis_id &&
           a.port_id_subtype == b.port_id_subtype && a.port_id == b.port_id && a.port_desc == b.port_desc &&
           a.sys_name == b.sys_name && a.sys_desc == b.sys_desc && a.supported_caps == b.supported_caps &&
           a.enabled_caps == b.enabled_caps && same(a.man_addrs, b.man_addrs) &&
           same(a.unknown_tlvs, b.unknown_tlvs) && same(a.org_def_tlvs, b.org_def_tlvs) && same(a.ext, b.ext);
}
bool same(const port_counters& a, const port_counters& b) {
    return a.tx_frames == b.tx_frames && a.rx_frames == b.rx_frames &&
           a.rx_frames_discarded == b.rx_frames_discarded && a.rx_frames_errors == b.rx_frames_errors &&
           a.rx_tlvs_discarded == b.rx_tlvs_discarded && a.rx_tlvs_unrecognized == b.rx_tlvs_unrecognized &&
           a.ageouts == b.ageouts && a.inserts == b.inserts && a.deletes == b.deletes && a.drops == b.drops;
}
bool same(const port& a, const port& b) {
    return a.port_num == b.port_num && a.ifhandle == b.ifhandle && a.port_id_subtype == b.port_id_subtype &&
           a.port_id == b.port_id && a.port_desc == b.port_desc && same(a.neighbors, b.neighbors) &&
           a.admin_status == b.admin_status && a.notification_enable == b.notification_enable &&
           a.tlvs_tx == b.tlvs_tx && a.man_addr_tx == b.man_addr_tx && same(a.stats, b.stats) && same(a.ext, b.ext);
}
bool same(const local_man_addr_record& a, const local_man_addr_record& b) { return same(a.addrs, b.addrs); }

}  // namespace

bool same_topology(const topology& a, const topology& b) {
    const local_system &la = a.local, &lb = b.local;
    const lldp_config &ca = a.config, &cb = b.config;
    return a.router_type == b.router_type && a.node_id == b.node_id && a.lldp_enabled == b.lldp_enabled &&
           a.node_enabled == b.node_enabled && la.chassis_id_subtype == lb.chassis_id_subtype &&
           la.chassis_id == lb.chassis_id && la.sys_name == lb.sys_name && la.sys_desc == lb.sys_desc &&
           la.supported_caps == lb.supported_caps && la.enabled_caps == lb.enabled_caps &&
           same(a.local_man_addrs, b.local_man_addrs) && same(a.ports, b.ports) &&
           ca.tx_interval == cb.tx_interval && ca.tx_hold == cb.tx_hold && ca.reinit_delay == cb.reinit_delay &&
           ca.tx_delay == cb.tx_delay && a.remote_tables_last_change == b.remote_tables_last_change;
}

bool same_neighbors(const topology& a, const topology& b) {
    if (a.ports.size() != b.ports.size()) return false;
    for (size_t i = 0; i < a.ports.size(); ++i)
        if (a.ports[i].port_num != b.ports[i].port_num || !same(a.ports[i].neighbors, b.ports[i].neighbors))
            return false;
    return true;
}

}  // namespace lldp_model
