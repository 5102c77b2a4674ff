// What an LLDP daemon knows, as plain data: the model behind lldp_client_*.
//
// A topology is immutable once published: sources hand out shared pointers to
// const snapshots and build a new one when the daemon's view changes.  The
// model does not need the vectors sorted: it presents ports by port number,
// neighbours by remote index and each neighbour's elements in the order that
// lldp_client.h promises, whatever order they are listed in here.
#pragma once
#include <array>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace lldp_model {

// One management address.  Octets are in network order; an IPv4 address
// fills the first 4.  The model converts to the client records' own forms
// (local IPv4 as a host-order number) when it builds them.
struct address {
    bool ipv6 = false;                 // addr_type: 0 IPv4, 1 IPv6
    std::array<uint8_t, 16> octets{};
    uint32_t if_id = 0;
    uint8_t subtype = 0;               // IANA family reported; 0: 1 for IPv4, 2 for IPv6

    uint8_t effective_subtype() const { return subtype ? subtype : (ipv6 ? 2 : 1); }
    bool is_zero() const {
        for (size_t i = 0; i < (ipv6 ? 16u : 4u); ++i)
            if (octets[i]) return false;
        return true;
    }
};

// A TLV the daemon did not recognise.
struct unknown_tlv {
    uint8_t type = 0;
    std::vector<uint8_t> info;
};

// An organisationally defined TLV.
struct org_def_tlv {
    uint32_t oui = 0;      // 24 bits, first octet in bits 16-23
    uint8_t subtype = 0;
    uint32_t index = 0;    // 1..2147483647
    std::vector<uint8_t> info;
};

// IEEE 802.1 (OUI 00-80-C2) and 802.3 (OUI 00-12-0F) data: what a port
// advertises or a neighbour advertised.  An absent optional is a TLV not sent.
// `tx` fields say whether a local port sends the element (lldpXdot1Config*);
// neighbours' are unused.
struct dot1_ppvid {
    uint16_t vid = 0;                   // 0..4094
    bool supported = false;
    bool enabled = false;
    bool tx = true;
};
struct dot1_vlan_name {
    uint16_t vid = 1;                   // 1..4094
    std::string name;                   // as sent; served up to 32 octets
    bool tx = true;
};
struct dot1_protocol {
    std::vector<uint8_t> id;            // the protocol identity's octets
    bool tx = true;
};
struct dot3_mac_phy {
    bool autoneg_supported = false;
    bool autoneg_enabled = false;
    uint16_t advertised = 0;            // PMD auto-negotiation advertised capability, as sent
    uint32_t mau_type = 0;              // operational MAU type (IANA MAU MIB)
};
struct dot3_power {
    uint8_t port_class = 1;             // 1 PSE, 2 PD
    bool mdi_supported = false;
    bool mdi_enabled = false;
    bool pair_control = false;
    uint8_t pairs = 1;                  // 1 signal, 2 spare
    uint8_t power_class = 1;            // 1..5: class 0..4
};
struct dot3_link_agg {
    bool capable = false;
    bool enabled = false;
    uint32_t port_id = 0;               // aggregated port's ifIndex; 0: none
};
struct org_ext {
    std::optional<uint16_t> port_vlan_id;   // 0..4094
    bool port_vlan_tx = true;
    std::vector<dot1_ppvid> ppvids;          // the model hands them out by vid, first of equal vids
    std::vector<dot1_vlan_name> vlan_names;  // likewise
    std::vector<dot1_protocol> protocols;    // in order: index 1, 2, ...
    std::optional<dot3_mac_phy> mac_phy;
    std::optional<dot3_power> power;
    std::optional<dot3_link_agg> link_agg;
    std::optional<uint16_t> max_frame_size;
    uint8_t dot3_tlvs_tx = 0xF;              // LLDP_DOT3_TX_* bits of lldp_client.h
};

// A remote system learnt on a local port.
struct neighbor {
    uint32_t time_mark = 0;
    uint32_t rem_index = 0;             // 1..2147483647, unique on its port
    uint8_t chassis_id_subtype = 4;
    std::vector<uint8_t> chassis_id;    // raw bytes: 6 octets or MAC text, as learnt
    uint8_t port_id_subtype = 5;
    std::vector<uint8_t> port_id;
    std::string port_desc;
    std::string sys_name;
    std::string sys_desc;
    uint16_t supported_caps = 0;        // bit n = LldpSystemCapabilitiesMap bit n
    uint16_t enabled_caps = 0;
    std::vector<address> man_addrs;
    std::vector<unknown_tlv> unknown_tlvs;
    std::vector<org_def_tlv> org_def_tlvs;
    org_ext ext;
};

// A port's LLDP counters as the daemon keeps them; handed out modulo 2^32.
struct port_counters {
    uint64_t tx_frames = 0;
    uint64_t rx_frames = 0;
    uint64_t rx_frames_discarded = 0;
    uint64_t rx_frames_errors = 0;
    uint64_t rx_tlvs_discarded = 0;
    uint64_t rx_tlvs_unrecognized = 0;
    uint64_t ageouts = 0;
    uint64_t inserts = 0;
    uint64_t deletes = 0;   // ageouts included
    uint64_t drops = 0;     // neighbours not kept for lack of room
};

// A local port on which LLDP runs.
struct port {
    uint32_t port_num = 0;              // 1..2147483647, unique
    uint32_t ifhandle = 0;              // 0: default_ifhandle(port_num); unique
    uint8_t port_id_subtype = 5;
    std::string port_id;                // text
    std::string port_desc;
    std::vector<neighbor> neighbors;
    uint8_t admin_status = 3;           // LLDP_ADMIN_* of lldp_client.h; 3 sends and receives
    bool notification_enable = false;
    uint8_t tlvs_tx = 0xF;              // LLDP_TLV_TX_* bits
    bool man_addr_tx = true;            // the local management addresses are sent here
    port_counters stats;
    org_ext ext;

    static constexpr uint32_t default_ifhandle(uint32_t port_num) { return 0x1000u + port_num; }
    uint32_t effective_ifhandle() const { return ifhandle ? ifhandle : default_ifhandle(port_num); }
};

// The local system as its LLDP agent advertises it.
struct local_system {
    uint8_t chassis_id_subtype = 4;     // 4: chassis_id is dotted MAC text; 7: host name
    std::string chassis_id = "0000.0000.0000";
    std::string sys_name;
    std::string sys_desc;
    uint16_t supported_caps = 0;
    uint16_t enabled_caps = 0;
};

// One local management address record: several addresses in one chain.
struct local_man_addr_record {
    std::vector<address> addrs;
};

// The daemon's transmit configuration; the defaults are lldpd's (and the MIB's).
struct lldp_config {
    uint32_t tx_interval = 30;  // seconds
    uint32_t tx_hold = 4;
    uint32_t reinit_delay = 2;  // seconds
    uint32_t tx_delay = 2;      // seconds
};

struct topology {
    uint32_t router_type = 25;
    uint32_t node_id = 1;
    bool lldp_enabled = true;           // lldp_client_get_enable
    bool node_enabled = true;           // lldp_client_is_node_lldp_enabled
    local_system local;
    std::vector<local_man_addr_record> local_man_addrs;
    std::vector<port> ports;
    lldp_config config;
    // When the neighbours last changed: hundredths of a second since the time
    // origin (lldp_client_set_time_origin), 0 for none since.
    uint32_t remote_tables_last_change = 0;
};

// Whether two topologies hold the same data, and the same neighbours on the
// same ports (listed in the same order).
bool same_topology(const topology& a, const topology& b);
bool same_neighbors(const topology& a, const topology& b);

// Where the model gets the daemon's current view.  current() is called once
// per client operation; it returns null and sets *error when the daemon cannot
// be reached (the operation then fails).  Returning the same pointer as last
// time lets the model reuse its indexes.
class topology_source {
public:
    virtual ~topology_source() = default;
    virtual std::shared_ptr<const topology> current(std::string* error) = 0;
};

// A source that always serves the same topology (files, text, code-built).
class static_source final : public topology_source {
public:
    explicit static_source(std::shared_ptr<const topology> t) : topo_(std::move(t)) {}
    std::shared_ptr<const topology> current(std::string*) override { return topo_; }

private:
    std::shared_ptr<const topology> topo_;
};

}  // namespace lldp_model
