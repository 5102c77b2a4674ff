// The live backend: a topology_source that reads a running lldpd through
// liblldpctl.  Selected with lldp_client_use_lldpd() (lldp_client.h).
//
// What lldpd does not give is derived here: remote indexes (lldpd numbers
// chassis, not neighbours), time marks, organisationally defined TLV indexes,
// the remote tables' last change time (from neighbour ages and removals seen
// between fetches).  What it does not know at all (reinit and transmit delay,
// frame errors, discarded TLVs, drops) keeps the topology's defaults.
// Unknown TLVs (reserved types) are not exposed by lldpd at all, so every
// neighbour's unknown-TLV list is empty.
#pragma once
#include <chrono>
#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "topology.h"

namespace lldp_lldpd {

struct options {
    std::string ctl_socket;     // empty: lldpd's default control socket
    bool time_marks = false;    // false: every time mark is 0
    std::chrono::milliseconds max_age{1000};     // a fetched topology is served this long
    std::chrono::milliseconds io_timeout{3000};  // a silent daemon fails the request
};

// A source that fetches from lldpd at most once per max_age.  Thread-safe.
// Errors (daemon unreachable, restarted, answering garbage) make current()
// return null with the reason; the connection is then dropped and the next
// call reconnects.
std::shared_ptr<lldp_model::topology_source> make_source(options opts);

// The control socket lldpd listens on when none is given.
std::string default_ctl_socket();

// ---- Mapping, kept apart from the I/O so that it can be tested ----

// lldpd's capability mask (LLDP_CAP_*) as the client records want it.
uint16_t map_capabilities(long lldpd_caps);

// A management address as lldpd gives it (text) with its interface index.
// False for anything that is not an IPv4 or IPv6 address.
bool parse_management_address(const char* text, long if_index, lldp_model::address* out);

// "xxxx.xxxx.xxxx" of 6 octets.
std::string mac_dotted(const uint8_t* mac);

// A local chassis or port ID as the local records' text: a 6-octet MAC in
// dotted form, an IPv4 or IPv6 network address (IANA family octet first) as
// inet_ntop prints it, printable bytes as they are, anything else as hex
// octets joined by ':'.
enum class id_kind { chassis, port };
std::string id_text(id_kind kind, uint8_t subtype, const uint8_t* bytes, size_t len);

// 3 OUI octets as the 24-bit number of the records (first octet high).
uint32_t oui_number(const uint8_t* oui, size_t len);

// Numbers a neighbour's TLVs 1, 2, ... within each (OUI, subtype), in the
// order given.
void number_org_def_tlvs(std::vector<lldp_model::org_def_tlv>& tlvs);

// Hundredths of a second from the time origin (hundredths since the epoch)
// to changed (seconds since the epoch); 0 when changed is not after the
// origin, saturated at 2^32-1.
uint32_t time_mark(int64_t changed, int64_t origin);

// lldpd's port status (lldpctl_k_port_status as a number: 1 transmit only,
// 2 receive only, 3 disabled, 4 both, as lldpd 1.0.16 reports them) as
// LLDP_ADMIN_*; in receive-only mode (lldpd -r) no port sends.  Anything else
// reads as lldpd's default, both.
uint8_t map_admin_status(long lldpd_status, bool receive_only);

// The optional TLVs lldpd sends (LLDP_TLV_TX_*): port description, system
// name and description always, capabilities unless their advertisement is
// off (lldpctl_k_config_chassis_cap_advertise 0).
uint8_t tlvs_sent(long cap_advertise);

// A counter as lldpd gives it; errors (negative) read as 0.
uint64_t counter(long lldpd_value);

// The remote tables' last change, in hundredths of a second since the time
// origin (hundredths since the epoch): the later of the newest neighbour
// change (seconds since the epoch, lldpd's age) and the moment a neighbour
// was found gone (hundredths since the epoch, 0: never); 0 when not after the
// origin, saturated at 2^32-1.
uint32_t last_change_time(int64_t newest_change, int64_t gone_at, int64_t origin);

// A port's 802.1 and 802.3 data as liblldpctl reports it (lldpctl_atom_get_int
// values, negative for errors; lists as they come), the same keys on a local
// port and a neighbour.
struct org_ext_values {
    long pvid = 0, mfs = 0, aggregid = 0;
    long autoneg_support = 0, autoneg_enabled = 0, autoneg_advertised = 0, mau_type = 0;
    long power_device_type = 0, power_supported = 0, power_enabled = 0, power_pair_control = 0,
         power_pairs = 0, power_class = 0;
    std::vector<std::pair<long, std::string>> vlans;  // id, name
    std::vector<std::pair<long, long>> ppvids;        // id, status (LLDP_PPVID_CAP_*)
    std::vector<std::vector<uint8_t>> protocols;      // identities
};

// As the model holds it.  lldpd 1.0.16 keeps zeros for a TLV not received and
// nothing of the aggregation status, so: PVID 0, frame size 0, power device
// type 0, MAC/PHY all zero, aggregated port 0 read as no TLV; an aggregated
// port id reads as capable and aggregated.  local: what lldpd sends on its
// own port, measured on 1.0.16: MAC/PHY and link aggregation always (status
// capable, and aggregated with the port id when it has one), power when
// configured, the frame size never (it has none to send); every 802.1
// element it lists (not measured: these kernels make no VLAN interfaces).
lldp_model::org_ext map_org_ext(const org_ext_values& v, bool local);

// Remote indexes.  lldpd's chassis index (lldpcli's "rid") is used where it
// is unique on the port; a neighbour that shares it with an earlier one on the
// same port gets a number of its own from 1000000000 up, kept for as long as
// that neighbour stays.
class remote_index_map {
public:
    struct seen {
        uint32_t port = 0;
        long chassis_index = 0;
        std::string identity;  // chassis and port ID with subtypes
    };
    // One call per fetch with every neighbour in the daemon's order; returns
    // their indexes in that order and forgets neighbours no longer seen.
    std::vector<uint32_t> assign(const std::vector<seen>& neighbours);

private:
    std::map<std::pair<uint32_t, std::string>, uint32_t> own_;
    uint32_t next_ = 1000000000u;
};

}  // namespace lldp_lldpd
