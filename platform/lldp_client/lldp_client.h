// LLDP client library: how a process reads what the LLDP daemon knows.
//
// Records handed to callbacks belong to the library and are valid only during
// the call; copies made with lldp_client_copy_* belong to the caller and are
// released only with the matching lldp_client_free_*.  Callbacks run on the
// calling thread before the operation returns.
//
// Order guarantees: a neighbour's management addresses are listed with the
// unspecified (all-zero) addresses first, then by address type (IPv4 before
// IPv6) and address octets; its unknown TLVs by type; its organisationally
// defined TLVs by (OUI, subtype, index).  Equal keys keep the daemon's order.
//
// Layouts are those of the 64-bit platform; bytes marked client_* belong to the
// library.
#pragma once
#include <stddef.h>
#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

#define LLDP_CLIENT_NO_PORT 0xFFFFFFFFu

// Filter kinds.
#define LLDP_FILTER_INTERFACE 1  // one interface, by ifhandle
#define LLDP_FILTER_NODE 2       // one node, by node_id
#define LLDP_FILTER_NEIGHBORS 4  // the neighbours of one interface, by ifhandle

typedef struct lldp_client_filter {
    uint32_t kind;         // 0
    uint8_t client_4[12];
    uint32_t ifhandle;     // 16
    uint8_t client_20[12];
    uint32_t node_id;      // 32
    uint8_t client_36[4];
} lldp_client_filter;

typedef struct lldp_local_system_data_bag {
    char* chassis_id;            // 0: MAC in dotted text (subtype 4) or host name (7)
    uint8_t chassis_id_subtype;  // 8
    uint8_t client_9[7];
    char* sys_name;              // 16
    char* sys_desc;              // 24
    uint16_t supported_caps;     // 32: bit n = LldpSystemCapabilitiesMap bit n
    uint16_t enabled_caps;       // 34
    uint8_t client_36[4];
} lldp_local_system_data_bag;

typedef struct lldp_interface_td {
    uint8_t client_0[24];
    uint32_t port_num;        // 24
    uint8_t client_28[4];
    char* port_id;            // 32: text
    uint8_t port_id_subtype;  // 40
    uint8_t client_41[7];
    char* port_desc;          // 48
} lldp_interface_td;

// Management address element, local and remote.  Local records hold an IPv4
// address as a host-order 32-bit number in addr[0..3]; neighbour records hold
// its octets in network order.
typedef struct lldp_addr_element {
    struct lldp_addr_element* next;  // 0
    uint32_t addr_type;              // 8: 0 IPv4, 1 IPv6
    uint8_t client_12[4];
    uint8_t addr[16];                // 16
    uint8_t addr_subtype;            // 32: IANA family (1 IPv4, 2 IPv6)
    uint8_t client_33[3];
    uint32_t if_id;                  // 36
} lldp_addr_element;

typedef struct lldp_local_ma_td {
    lldp_addr_element* addrs;  // 0: chain of this record's addresses
    uint8_t client_8[8];
} lldp_local_ma_td;

typedef struct unknown_tlv_element {
    struct unknown_tlv_element* next;  // 0
    uint8_t type;                      // 8
    uint8_t client_9[7];
    int32_t info_len;                  // 16
    uint8_t client_20[4];
    uint8_t* info;                     // 24
} unknown_tlv_element;

typedef struct org_def_tlv_element {
    struct org_def_tlv_element* next;  // 0
    uint32_t oui;                      // 8: first octet in bits 16-23
    uint8_t subtype;                   // 12
    uint8_t client_13[3];
    int32_t index;                     // 16
    uint8_t client_20[4];
    int32_t info_len;                  // 24
    uint8_t client_28[4];
    uint8_t* info;                     // 32
} org_def_tlv_element;

typedef struct lldp_neighbor_mib {
    uint32_t time_mark;           // 0
    uint32_t port_num;            // 4
    uint32_t rem_index;           // 8
    uint8_t chassis_id_subtype;   // 12
    uint8_t client_13;
    uint16_t chassis_id_len;      // 14
    uint8_t port_id_subtype;      // 16
    uint8_t client_17;
    uint16_t port_id_len;         // 18
    uint16_t enabled_caps;        // 20
    uint16_t supported_caps;      // 22
    unknown_tlv_element* unknown_tlvs;  // 24
    org_def_tlv_element* org_def_tlvs;  // 32
} lldp_neighbor_mib;

typedef struct lldp_neighbor_detail {
    uint8_t client_0[8];
    char* port_desc;                // 8
    char* sys_name;                 // 16
    char* sys_desc;                 // 24
    uint8_t client_32[24];
    lldp_addr_element* man_addrs;   // 56
} lldp_neighbor_detail;

typedef struct neighbor_td {
    uint8_t client_0[24];
    uint8_t* chassis_id;            // 24: mib->chassis_id_len bytes
    uint8_t* port_id;               // 32: mib->port_id_len bytes
    uint8_t port_marker;            // 40: set on a port's marker record, never stored
    uint8_t client_41[23];
    lldp_neighbor_detail* detail;   // 64
    lldp_neighbor_mib* mib;         // 72
} neighbor_td;

// Callback of the iterations: (record, first argument, second argument).
typedef int (*lldp_client_callback)(void* record, void* arg1, void* arg2);

// ---- Session and state ----
int lldp_client_init(void* evm);
void lldp_client_term(void);
int lldp_client_get_enable(uint32_t* enabled);
int lldp_client_is_node_lldp_enabled(void);

// ---- Local system ----
int lldp_client_get_local_system_data(const lldp_client_filter* filter,
                                      lldp_local_system_data_bag* bag);
void lldp_client_free_local_system_data_bag(lldp_local_system_data_bag* bag);

// ---- Local ports ----
// Smallest local port number not below port, with its interface handle;
// *next = LLDP_CLIENT_NO_PORT when none remains.
int lldp_client_get_next_if_local(uint32_t port, uint32_t* next, uint32_t* ifhandle);
int lldp_client_iter_intf_running(const lldp_client_filter* filter, lldp_client_callback cb,
                                  void* list, int flags, void* context);
lldp_interface_td* lldp_client_copy_interface_td(const lldp_interface_td* rec);
void lldp_client_free_interface_td(lldp_interface_td* copy);

// ---- Local management addresses ----
// exact 1: the record whose address equals key; exact 0: the first local
// address not below key (type, then address).  The callback gets the record
// whose first element is the answer.
int lldp_client_get_next_if_local_ma(int exact, const lldp_addr_element* key,
                                     lldp_client_callback cb, void* context, void* list);
lldp_local_ma_td* lldp_client_copy_local_ma_td(const lldp_local_ma_td* rec);
void lldp_client_free_local_ma_td(lldp_local_ma_td* copy);

// ---- Neighbours ----
// Port walks: smallest local port not below port that has neighbours (with
// management addresses / unknown TLVs / organisationally defined TLVs).
int lldp_client_get_next_if_remote(uint32_t port, uint32_t* next, uint32_t* ifhandle);
int lldp_client_get_next_if_remote_ma(uint32_t port, uint32_t* next, uint32_t* ifhandle);
int lldp_client_get_next_if_remote_unknown_tlv(uint32_t port, uint32_t* next, uint32_t* ifhandle);
int lldp_client_get_next_if_remote_org_def_tlv(uint32_t port, uint32_t* next, uint32_t* ifhandle);
// Calls cb(record, arg1, arg2) for each neighbour the filter selects (a marker
// record for the port first).  Non-zero when the iteration failed, including
// when a callback returned non-zero.
int lldp_client_iter_ne(const lldp_client_filter* filter, int a, int b, lldp_client_callback cb,
                        void* arg1, int c, void* arg2);
neighbor_td* lldp_client_copy_neighbor_td(const neighbor_td* rec);
void lldp_client_free_neighbor_td(neighbor_td* copy);

// ---- Configuration and statistics ----
// The daemon's transmit configuration (LLDP-MIB lldpConfiguration).
typedef struct lldp_client_config {
    uint32_t tx_interval;   // seconds between frames (lldpMessageTxInterval)
    uint32_t tx_hold;       // TTL = tx_interval * tx_hold (lldpMessageTxHoldMultiplier)
    uint32_t reinit_delay;  // seconds (lldpReinitDelay)
    uint32_t tx_delay;      // seconds (lldpTxDelay)
} lldp_client_config;

// Admin status of a port (LLDP-MIB lldpPortConfigAdminStatus).
#define LLDP_ADMIN_TX_ONLY 1
#define LLDP_ADMIN_RX_ONLY 2
#define LLDP_ADMIN_TX_AND_RX 3
#define LLDP_ADMIN_DISABLED 4

// Optional TLVs a port sends: bit n is position n of lldpPortConfigTLVsTxEnable.
#define LLDP_TLV_TX_PORT_DESC 0x1
#define LLDP_TLV_TX_SYS_NAME 0x2
#define LLDP_TLV_TX_SYS_DESC 0x4
#define LLDP_TLV_TX_SYS_CAP 0x8

// One local LLDP port's configuration and counters.  Counters are the
// daemon's, modulo 2^32.
typedef struct lldp_port_stats {
    uint32_t port_num;                // as lldpLocPortNum
    uint8_t admin_status;             // LLDP_ADMIN_*
    uint8_t notification_enable;      // 1: neighbour changes on this port are notified
    uint8_t tlvs_tx;                  // LLDP_TLV_TX_* bits
    uint8_t man_addr_tx;              // 1: the local management addresses are sent here
    uint32_t tx_frames;               // lldpStatsTxPortFramesTotal
    uint32_t rx_frames_discarded;     // lldpStatsRxPortFramesDiscardedTotal
    uint32_t rx_frames_errors;        // lldpStatsRxPortFramesErrors
    uint32_t rx_frames;               // lldpStatsRxPortFramesTotal
    uint32_t rx_tlvs_discarded;       // lldpStatsRxPortTLVsDiscardedTotal
    uint32_t rx_tlvs_unrecognized;    // lldpStatsRxPortTLVsUnrecognizedTotal
    uint32_t ageouts;                 // lldpStatsRxPortAgeoutsTotal
    uint32_t inserts;                 // neighbours inserted on this port
    uint32_t deletes;                 // neighbours deleted on this port (ageouts included)
    uint32_t drops;                   // neighbours not kept for lack of room
} lldp_port_stats;

// The remote tables' change counters (LLDP-MIB lldpStatsRemTables*): each
// the sum of the ports' counters, modulo 2^32.
typedef struct lldp_client_remote_stats {
    uint32_t last_change_time;  // hundredths of a second since the time origin; 0: none since
    uint32_t inserts;
    uint32_t deletes;
    uint32_t drops;
    uint32_t ageouts;
} lldp_client_remote_stats;

int lldp_client_get_config(lldp_client_config* out);
// Calls cb(record, context, null) for every local LLDP port in port-number
// order; the record is a const lldp_port_stats*.  Non-zero when the daemon
// cannot be asked or a callback returned non-zero.
int lldp_client_iter_port_stats(lldp_client_callback cb, void* context);
int lldp_client_get_remote_stats(lldp_client_remote_stats* out);

// ---- IEEE 802.1 and 802.3 organisationally specific data ----
// What a local port advertises, or a neighbour advertised, in the 802.1
// (OUI 00-80-C2) and 802.3 (OUI 00-12-0F) TLVs.  A has_* of 0 is a TLV not
// sent.  tx_enable fields and dot3_tlvs_tx say what a local port sends; a
// neighbour's are 0.  Arrays and texts belong to the record, which lives until
// the callback returns.
typedef struct lldp_dot1_ppvid {
    uint16_t vid;         // 0..4094
    uint8_t supported;
    uint8_t enabled;
    uint8_t tx_enable;
} lldp_dot1_ppvid;

typedef struct lldp_dot1_vlan_name {
    uint16_t vid;         // 1..4094
    uint8_t tx_enable;
    uint16_t name_len;    // as sent (the MIB serves at most 32 octets)
    const uint8_t* name;
} lldp_dot1_vlan_name;

typedef struct lldp_dot1_protocol {
    uint8_t tx_enable;
    uint16_t id_len;
    const uint8_t* id;
} lldp_dot1_protocol;

// lldpXdot3PortConfigTLVsTxEnable bits.
enum {
    LLDP_DOT3_TX_MAC_PHY = 1,
    LLDP_DOT3_TX_POWER = 2,
    LLDP_DOT3_TX_LINK_AGG = 4,
    LLDP_DOT3_TX_MAX_FRAME_SIZE = 8
};

typedef struct lldp_org_ext {
    uint32_t port_num;                  // the local port
    uint32_t time_mark;                 // neighbours: as lldpRemTimeMark
    uint32_t rem_index;                 // neighbours: as lldpRemIndex
    // 802.1
    uint8_t has_port_vlan_id;
    uint8_t port_vlan_tx;
    uint16_t port_vlan_id;              // 0..4094
    size_t ppvid_count;                 // by vid, each vid once
    const lldp_dot1_ppvid* ppvids;
    size_t vlan_name_count;             // by vid, each vid once
    const lldp_dot1_vlan_name* vlan_names;
    size_t protocol_count;              // as advertised: index 1, 2, ...
    const lldp_dot1_protocol* protocols;
    // 802.3
    uint8_t has_mac_phy;
    uint8_t autoneg_supported;
    uint8_t autoneg_enabled;
    uint16_t autoneg_advertised;        // the TLV's 16 bits, first octet high
    uint32_t mau_type;
    uint8_t has_power;
    uint8_t power_port_class;           // 1 PSE, 2 PD
    uint8_t power_mdi_supported;
    uint8_t power_mdi_enabled;
    uint8_t power_pair_control;
    uint8_t power_pairs;                // 1 signal, 2 spare
    uint8_t power_class;                // 1..5
    uint8_t has_link_agg;
    uint8_t link_agg_capable;
    uint8_t link_agg_enabled;
    uint32_t link_agg_port_id;
    uint8_t has_max_frame_size;
    uint16_t max_frame_size;
    uint8_t dot3_tlvs_tx;               // LLDP_DOT3_TX_* bits
} lldp_org_ext;

// Calls cb(record, context, null) with a const lldp_org_ext* for every local
// LLDP port in port-number order, or every neighbour in (port, remote index)
// order.  Non-zero when the daemon cannot be asked or a callback returned
// non-zero.
int lldp_client_iter_local_org_ext(lldp_client_callback cb, void* context);
int lldp_client_iter_remote_org_ext(lldp_client_callback cb, void* context);

// Change counts: `data` changes whenever a different snapshot is served
// (anything the daemon reports changed, or another topology was chosen, even
// an equal one), `neighbors` only when the neighbours differ from those served
// before.  Each snapshot counts once, whichever thread sees it first.  No round
// trip beyond the backend's own refresh.
typedef struct lldp_client_generation {
    uint32_t data;
    uint32_t neighbors;
} lldp_client_generation;
int lldp_client_get_generation(lldp_client_generation* out);

// The time origin of time marks and of last_change_time: the wall-clock time,
// in hundredths of a second since the Unix epoch, at which the agent's
// sysUpTime was 0.  Until it is set, the moment the library was loaded.  Used
// by the lldpd backend from its next refresh on; topology files give their
// times as they are served.
void lldp_client_set_time_origin(int64_t unix_centiseconds);

// ---- Backends ----
// The daemon the library talks to.  Until one is chosen, the embedded example
// topology is served.  On failure a message naming the file, the JSON path and
// the problem is written to err (always terminated) and nothing changes.
int lldp_client_use_topology_file(const char* path, char* err, size_t err_size);
int lldp_client_use_topology_text(const char* json, const char* origin, char* err,
                                  size_t err_size);
// A running lldpd reached through its control socket (null: the default one).
// time_marks: 0 reports every time mark as 0; 1 reports the neighbour's last
// change in hundredths of a second since the time origin.
int lldp_client_use_lldpd(const char* ctl_socket, int time_marks, char* err, size_t err_size);
// Copies made and not yet freed, by kind (leak checks in tests).
uint32_t lldp_client_live_copies(void);

#ifdef __cplusplus
}
#endif
