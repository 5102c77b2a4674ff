// Live backend on lldpd.  One control connection, opened on demand, talks
// through our own blocking socket callbacks: they never raise SIGPIPE when the
// daemon goes away and give up after a timeout instead of hanging the agent.
#include "lldpd_source.h"

#include <arpa/inet.h>
#include <lldp-const.h>
#include <lldpctl.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <condition_variable>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <mutex>
#include <set>
#include <thread>

#include "lldp_client.h"
#include "lldp_client_internal.h"
#include "lldp_client_model.h"
#include "platform_fault.h"

using namespace lldp_model;

namespace lldp_lldpd {

namespace {

bool printable(const uint8_t* b, size_t n) {
    if (n == 0) return false;
    for (size_t i = 0; i < n; ++i)
        if (b[i] < 0x20 || b[i] > 0x7e) return false;
    return true;
}

}  // namespace

// ---- Mapping ----

uint16_t map_capabilities(long lldpd_caps) {
    // lldpd keeps the TLV's bitmap as received: LLDP_CAP_OTHER is bit 0, as
    // in the records.  Errors (negative) mean "none".
    return lldpd_caps < 0 ? 0 : static_cast<uint16_t>(lldpd_caps & 0xffff);
}

bool parse_management_address(const char* text, long if_index, address* out) {
    if (!text || !out) return false;
    address a;
    if (inet_pton(AF_INET, text, a.octets.data()) == 1) {
        a.ipv6 = false;
    } else if (inet_pton(AF_INET6, text, a.octets.data()) == 1) {
        a.ipv6 = true;
    } else {
        return false;
    }
    a.subtype = a.ipv6 ? LLDP_MGMT_ADDR_IP6 : LLDP_MGMT_ADDR_IP4;
    a.if_id = if_index > 0 && if_index <= 0xffffffffL ? static_cast<uint32_t>(if_index) : 0;
    *out = a;
    return true;
}

std::string mac_dotted(const uint8_t* mac) {
    char buf[16];
    std::snprintf(buf, sizeof buf, "%02x%02x.%02x%02x.%02x%02x", mac[0], mac[1], mac[2], mac[3], mac[4],
                  mac[5]);
    return buf;
}

std::string id_text(id_kind kind, uint8_t subtype, const uint8_t* bytes, size_t len) {
    if (!bytes || len == 0) return {};
    bool chassis = kind == id_kind::chassis;
    if (subtype == (chassis ? LLDP_CHASSISID_SUBTYPE_LLADDR : LLDP_PORTID_SUBTYPE_LLADDR) && len == 6)
        return mac_dotted(bytes);
    if (subtype == (chassis ? LLDP_CHASSISID_SUBTYPE_ADDR : LLDP_PORTID_SUBTYPE_ADDR)) {
        constexpr uint8_t ipv4 = 1, ipv6 = 2;  // IANA address families
        char text[INET6_ADDRSTRLEN];
        if ((bytes[0] == ipv4 && len == 1 + 4 && inet_ntop(AF_INET, bytes + 1, text, sizeof text)) ||
            (bytes[0] == ipv6 && len == 1 + 16 && inet_ntop(AF_INET6, bytes + 1, text, sizeof text)))
            return text;
    }
    if (printable(bytes, len)) return std::string(reinterpret_cast<const char*>(bytes), len);
    std::string s;
    char hex[4];
    for (size_t i = 0; i < len; ++i) {
        std::snprintf(hex, sizeof hex, i ? ":%02x" : "%02x", bytes[i]);
        s += hex;
    }
    return s;
}

uint32_t oui_number(const uint8_t* oui, size_t len) {
    if (!oui || len < 3) return 0;
    return uint32_t(oui[0]) << 16 | uint32_t(oui[1]) << 8 | oui[2];
}

void number_org_def_tlvs(std::vector<org_def_tlv>& tlvs) {
    std::map<std::pair<uint32_t, uint8_t>, uint32_t> count;
    for (org_def_tlv& t : tlvs) t.index = ++count[{t.oui, t.subtype}];
}

uint32_t time_mark(int64_t changed, int64_t origin) {
    int64_t h = changed * 100 - origin;
    if (h <= 0) return 0;
    return h > int64_t(UINT32_MAX) ? UINT32_MAX : static_cast<uint32_t>(h);
}

uint8_t map_admin_status(long lldpd_status, bool receive_only) {
    // lldpd's LLDPD_RXTX_* values are not in its public headers; measured on 1.0.16.
    constexpr long tx_only = 1, rx_only = 2, disabled = 3;
    bool rx = lldpd_status != tx_only && lldpd_status != disabled;
    bool tx = lldpd_status != rx_only && lldpd_status != disabled && !receive_only;
    return rx ? (tx ? LLDP_ADMIN_TX_AND_RX : LLDP_ADMIN_RX_ONLY) : (tx ? LLDP_ADMIN_TX_ONLY : LLDP_ADMIN_DISABLED);
}

uint8_t tlvs_sent(long cap_advertise) {
    uint8_t always = LLDP_TLV_TX_PORT_DESC | LLDP_TLV_TX_SYS_NAME | LLDP_TLV_TX_SYS_DESC;
    return cap_advertise == 0 ? always : always | LLDP_TLV_TX_SYS_CAP;
}

uint64_t counter(long lldpd_value) { return lldpd_value < 0 ? 0 : static_cast<uint64_t>(lldpd_value); }

uint32_t last_change_time(int64_t newest_change, int64_t gone_at, int64_t origin) {
    int64_t h = std::max(newest_change > 0 ? newest_change * 100 : 0, gone_at) - origin;
    if (h <= 0) return 0;
    return h > int64_t(UINT32_MAX) ? UINT32_MAX : static_cast<uint32_t>(h);
}

std::vector<uint32_t> remote_index_map::assign(const std::vector<seen>& neighbours) {
    constexpr uint32_t max_index = 2147483647u;
    std::vector<uint32_t> out(neighbours.size(), 0);
    std::set<std::pair<uint32_t, uint32_t>> used;  // (port, index)
    std::map<std::pair<uint32_t, std::string>, uint32_t> kept;

    // Neighbours that already have an index of their own keep it.
    for (size_t i = 0; i < neighbours.size(); ++i) {
        const seen& n = neighbours[i];
        auto it = own_.find({n.port, n.identity});
        if (it == own_.end() || kept.count(it->first)) continue;
        out[i] = it->second;
        used.insert({n.port, it->second});
        kept.insert(*it);
    }
    // Then lldpd's chassis index, first come first served on each port.
    for (size_t i = 0; i < neighbours.size(); ++i) {
        const seen& n = neighbours[i];
        if (out[i] || n.chassis_index <= 0 || n.chassis_index > long(max_index)) continue;
        uint32_t idx = static_cast<uint32_t>(n.chassis_index);
        if (used.insert({n.port, idx}).second) out[i] = idx;
    }
    // The rest get numbers of their own.
    for (size_t i = 0; i < neighbours.size(); ++i) {
        if (out[i]) continue;
        const seen& n = neighbours[i];
        for (;;) {
            uint32_t idx = next_;
            next_ = next_ >= max_index ? 1000000000u : next_ + 1;
            if (used.insert({n.port, idx}).second) {
                out[i] = idx;
                kept[{n.port, n.identity}] = idx;
                break;
            }
        }
    }
    own_ = std::move(kept);
    return out;
}

org_ext map_org_ext(const org_ext_values& v, bool local) {
    auto in = [](long x, long lo, long hi) { return x >= lo && x <= hi; };
    org_ext x;
    if (in(v.pvid, 1, 4094)) x.port_vlan_id = uint16_t(v.pvid);
    x.port_vlan_tx = x.port_vlan_id.has_value();
    for (const auto& [id, status] : v.ppvids)
        if (in(id, 0, 4094))
            x.ppvids.push_back({uint16_t(id), status > 0 && (status & LLDP_PPVID_CAP_SUPPORTED),
                                status > 0 && (status & LLDP_PPVID_CAP_ENABLED), true});
    for (const auto& [id, name] : v.vlans)
        if (in(id, 1, 4094)) x.vlan_names.push_back({uint16_t(id), name.substr(0, 255), true});
    for (const auto& id : v.protocols)
        if (in(long(id.size()), 1, 255)) x.protocols.push_back({id, true});
    if (v.autoneg_support > 0 || v.autoneg_enabled > 0 || v.autoneg_advertised > 0 || v.mau_type > 0)
        x.mac_phy = dot3_mac_phy{v.autoneg_support > 0, v.autoneg_enabled > 0,
                                 uint16_t(std::max(v.autoneg_advertised, 0L) & 0xffff),
                                 uint32_t(std::clamp(v.mau_type, 0L, 2147483647L))};
    if (v.power_device_type == LLDP_DOT3_POWER_PSE || v.power_device_type == LLDP_DOT3_POWER_PD)
        x.power = dot3_power{uint8_t(v.power_device_type), v.power_supported > 0, v.power_enabled > 0,
                             v.power_pair_control > 0, uint8_t(std::clamp(v.power_pairs, 0L, 255L)),
                             uint8_t(std::clamp(v.power_class, 0L, 255L))};
    bool aggregated = in(v.aggregid, 1, 2147483647);
    if (aggregated || local) x.link_agg = dot3_link_agg{true, aggregated, aggregated ? uint32_t(v.aggregid) : 0};
    if (in(v.mfs, 1, 65535)) x.max_frame_size = uint16_t(v.mfs);
    x.dot3_tlvs_tx = LLDP_DOT3_TX_MAC_PHY | LLDP_DOT3_TX_LINK_AGG | (x.power ? LLDP_DOT3_TX_POWER : 0) |
                     (x.max_frame_size ? LLDP_DOT3_TX_MAX_FRAME_SIZE : 0);
    return x;
}

std::string default_ctl_socket() {
    const char* t = lldpctl_get_default_transport();
    return t ? t : "/run/lldpd.socket";
}

// ---- The source ----

namespace {

// A reference to an atom, released on every path.
class atom_ref {
public:
    explicit atom_ref(lldpctl_atom_t* a = nullptr) : a_(a) {}
    atom_ref(const atom_ref&) = delete;
    atom_ref& operator=(const atom_ref&) = delete;
    ~atom_ref() {
        if (a_) lldpctl_atom_dec_ref(a_);
    }
    lldpctl_atom_t* get() const { return a_; }
    explicit operator bool() const { return a_ != nullptr; }

private:
    lldpctl_atom_t* a_;
};

// Calls f(value) for each element of a list atom (none for a null list).
template <class F>
void for_each(lldpctl_atom_t* list, F f) {
    if (!list) return;
    for (lldpctl_atom_iter_t* it = lldpctl_atom_iter(list); it; it = lldpctl_atom_iter_next(list, it)) {
        atom_ref v(lldpctl_atom_iter_value(list, it));
        if (!v) break;
        f(v.get());
    }
}

std::string get_text(lldpctl_atom_t* a, lldpctl_key_t key) {
    const char* s = lldpctl_atom_get_str(a, key);
    return s ? s : "";
}

std::vector<uint8_t> get_bytes(lldpctl_atom_t* a, lldpctl_key_t key) {
    size_t n = 0;
    const uint8_t* b = lldpctl_atom_get_buffer(a, key, &n);
    if (!b) return {};
    return std::vector<uint8_t>(b, b + n);
}

uint8_t get_subtype(lldpctl_atom_t* a, lldpctl_key_t key, uint8_t fallback) {
    long v = lldpctl_atom_get_int(a, key);
    return v >= 0 && v <= 255 ? static_cast<uint8_t>(v) : fallback;
}

std::vector<address> management_addresses(lldpctl_atom_t* chassis) {
    std::vector<address> out;
    atom_ref list(lldpctl_atom_get(chassis, lldpctl_k_chassis_mgmt));
    for_each(list.get(), [&](lldpctl_atom_t* m) {
        address a;
        if (parse_management_address(lldpctl_atom_get_str(m, lldpctl_k_mgmt_ip),
                                     lldpctl_atom_get_int(m, lldpctl_k_mgmt_iface_index), &a))
            out.push_back(a);
    });
    return out;
}

// A local port's or a neighbour's 802.1 and 802.3 data (the same keys on both).
org_ext read_org_ext(lldpctl_atom_t* p, bool local) {
    auto get = [](lldpctl_atom_t* a, lldpctl_key_t key) { return lldpctl_atom_get_int(a, key); };
    org_ext_values v;
    v.pvid = get(p, lldpctl_k_port_vlan_pvid);
    v.mfs = get(p, lldpctl_k_port_dot3_mfs);
    v.aggregid = get(p, lldpctl_k_port_dot3_aggregid);
    v.autoneg_support = get(p, lldpctl_k_port_dot3_autoneg_support);
    v.autoneg_enabled = get(p, lldpctl_k_port_dot3_autoneg_enabled);
    v.autoneg_advertised = get(p, lldpctl_k_port_dot3_autoneg_advertised);
    v.mau_type = get(p, lldpctl_k_port_dot3_mautype);
    if (atom_ref power{lldpctl_atom_get(p, lldpctl_k_port_dot3_power)}) {
        v.power_device_type = get(power.get(), lldpctl_k_dot3_power_devicetype);
        v.power_supported = get(power.get(), lldpctl_k_dot3_power_supported);
        v.power_enabled = get(power.get(), lldpctl_k_dot3_power_enabled);
        v.power_pair_control = get(power.get(), lldpctl_k_dot3_power_paircontrol);
        v.power_pairs = get(power.get(), lldpctl_k_dot3_power_pairs);
        v.power_class = get(power.get(), lldpctl_k_dot3_power_class);
    }
    atom_ref vlans(lldpctl_atom_get(p, lldpctl_k_port_vlans));
    for_each(vlans.get(), [&](lldpctl_atom_t* e) {
        v.vlans.push_back({get(e, lldpctl_k_vlan_id), get_text(e, lldpctl_k_vlan_name)});
    });
    atom_ref ppvids(lldpctl_atom_get(p, lldpctl_k_port_ppvids));
    for_each(ppvids.get(), [&](lldpctl_atom_t* e) {
        v.ppvids.push_back({get(e, lldpctl_k_ppvid_id), get(e, lldpctl_k_ppvid_status)});
    });
    atom_ref pis(lldpctl_atom_get(p, lldpctl_k_port_pis));
    for_each(pis.get(), [&](lldpctl_atom_t* e) { v.protocols.push_back(get_bytes(e, lldpctl_k_pi_id)); });
    return map_org_ext(v, local);
}

struct fetch_error {
    std::string what;
};

class lldpd_source final : public topology_source {
public:
    explicit lldpd_source(options o) : opts_(std::move(o)) {
        if (opts_.ctl_socket.empty()) opts_.ctl_socket = default_ctl_socket();
    }
    ~lldpd_source() override {
        {
            std::lock_guard lock(mutex_);
            stopping_ = true;
        }
        wake_.notify_all();
        if (refresher_.joinable()) refresher_.join();
        disconnect();
    }

    std::shared_ptr<const topology> current(std::string* error) override {
        {
            std::lock_guard lock(mutex_);
            asked_at_ = std::chrono::steady_clock::now();
            if (!refresher_.joinable()) refresher_ = std::thread(&lldpd_source::refresh_ahead, this);
            if (fresh()) return cached_;
        }
        // Stale: fetch now, after any refresh in flight (which may make it fresh).
        std::lock_guard fetching(fetch_mutex_);
        {
            std::lock_guard lock(mutex_);
            if (fresh()) return cached_;
        }
        return refresh(error);
    }

private:
    // ---- Keeping the topology fresh ----

    // Under mutex_.
    bool fresh() const { return cached_ && std::chrono::steady_clock::now() - fetched_at_ < opts_.max_age; }

    // One fetch, under fetch_mutex_; its topology becomes the cached one (the
    // same object while nothing changed).  Null with the reason on failure,
    // after which nothing is cached.
    std::shared_ptr<const topology> refresh(std::string* error) {
        auto started = std::chrono::steady_clock::now();
        std::shared_ptr<topology> fetched;
        std::string failure;
        try {
            fetched = fetch();
        } catch (const fetch_error& e) {
            disconnect();
            failure = "lldpd at " + opts_.ctl_socket + ": " + e.what;
        }
        std::lock_guard lock(mutex_);
        if (!fetched) {
            cached_.reset();
            if (error) *error = failure;
            return nullptr;
        }
        fetched_at_ = started;
        fetch_took_ = std::chrono::steady_clock::now() - started;
        if (!cached_ || !lldp_model::same_topology(*cached_, *fetched)) cached_ = std::move(fetched);
        return cached_;
    }

    // Once a request has used the cached topology, the next one is fetched
    // just before it goes stale (twice the last fetch's duration before, at
    // least 10 ms), so that a manager polling again and again never waits for
    // lldpd, and lldpd still answers about one fetch per age.  Data nobody used
    // is not fetched again: an occasional manager costs one fetch more per
    // poll at most, an agent whose daemon failed fetches only when asked.
    void refresh_ahead() {
        using namespace std::chrono;
        std::unique_lock lock(mutex_);
        while (!stopping_) {
            auto margin = std::clamp<steady_clock::duration>(2 * fetch_took_, milliseconds(10), opts_.max_age / 2);
            auto due = fetched_at_ + opts_.max_age - margin;
            if (!cached_ || asked_at_ < fetched_at_) {
                wake_.wait_for(lock, opts_.max_age / 4);
            } else if (steady_clock::now() < due) {
                wake_.wait_until(lock, due);
            } else {
                lock.unlock();
                {
                    std::lock_guard fetching(fetch_mutex_);
                    if (steady_clock::now() >= due) refresh(nullptr);
                }
                lock.lock();
            }
        }
    }

    // ---- Connection ----

    void connect_daemon() {
        if (conn_ && peer_closed()) disconnect();  // lldpd restarted since the last fetch
        if (conn_) return;
        sockaddr_un sa{};
        sa.sun_family = AF_UNIX;
        if (opts_.ctl_socket.size() >= sizeof sa.sun_path) throw fetch_error{"socket path too long"};
        std::memcpy(sa.sun_path, opts_.ctl_socket.c_str(), opts_.ctl_socket.size() + 1);
        int fd = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
        if (fd < 0) throw fetch_error{std::string("socket: ") + std::strerror(errno)};
        if (connect(fd, reinterpret_cast<sockaddr*>(&sa), sizeof sa) != 0) {
            int e = errno;
            close(fd);
            throw fetch_error{std::string("cannot connect: ") + std::strerror(e)};
        }
        fd_ = fd;
        conn_ = lldpctl_new_name(opts_.ctl_socket.c_str(), send_cb, recv_cb, this);
        if (!conn_) {
            disconnect();
            throw fetch_error{"out of memory"};
        }
    }

    void disconnect() {
        if (conn_) lldpctl_release(conn_);
        conn_ = nullptr;
        if (fd_ >= 0) close(fd_);
        fd_ = -1;
    }

    // Between requests the daemon sends nothing: anything readable on the
    // socket is its end of file.
    bool peer_closed() const {
        pollfd p{fd_, POLLIN, 0};
        return poll(&p, 1, 0) != 0;
    }

    bool wait_for(short events) {
        pollfd p{fd_, events, 0};
        for (;;) {
            int r = poll(&p, 1, static_cast<int>(opts_.io_timeout.count()));
            if (r > 0) return true;
            if (r == 0) {
                io_error_ = "no answer";
                return false;
            }
            if (errno != EINTR) {
                io_error_ = std::strerror(errno);
                return false;
            }
        }
    }

    static ssize_t send_cb(lldpctl_conn_t*, const uint8_t* data, size_t length, void* self) {
        auto* s = static_cast<lldpd_source*>(self);
        size_t done = 0;
        while (done < length) {
            if (!s->wait_for(POLLOUT)) return LLDPCTL_ERR_CALLBACK_FAILURE;
            ssize_t n = send(s->fd_, data + done, length - done, MSG_NOSIGNAL);
            if (n < 0) {
                if (errno == EINTR || errno == EAGAIN) continue;
                s->io_error_ = std::strerror(errno);
                return LLDPCTL_ERR_CALLBACK_FAILURE;
            }
            done += static_cast<size_t>(n);
        }
        return static_cast<ssize_t>(length);
    }

    static ssize_t recv_cb(lldpctl_conn_t*, const uint8_t* data, size_t length, void* self) {
        auto* s = static_cast<lldpd_source*>(self);
        for (;;) {
            if (!s->wait_for(POLLIN)) return LLDPCTL_ERR_CALLBACK_FAILURE;
            ssize_t n = recv(s->fd_, const_cast<uint8_t*>(data), length, 0);
            if (n > 0) return n;
            if (n == 0) {
                s->io_error_ = "daemon closed the connection";
                return LLDPCTL_ERR_EOF;
            }
            if (errno == EINTR || errno == EAGAIN) continue;
            s->io_error_ = std::strerror(errno);
            return LLDPCTL_ERR_CALLBACK_FAILURE;
        }
    }

    [[noreturn]] void fail(const char* what) {
        std::string msg = std::string(what) + ": " + (conn_ ? lldpctl_last_strerror(conn_) : "no connection");
        if (!io_error_.empty()) msg += " (" + io_error_ + ")";
        throw fetch_error{msg};
    }

    // ---- Reading the daemon ----

    // Each request that reaches the daemon (the lldpctl_get_* calls; reading
    // the atoms they return is local) has a fault point of its own: benchmarks
    // count requests per walk, fault tests fail them as a broken daemon would.
    bool injected(int status) {
        if (status) io_error_ = "injected failure";
        return status != 0;
    }

    std::shared_ptr<topology> fetch() {
        io_error_.clear();
        origin_ = lldp_client_internal::time_origin_centiseconds();
        newest_change_ = 0;
        connect_daemon();
        auto t = std::make_shared<topology>();
        t->lldp_enabled = true;  // the daemon answers
        t->node_enabled = true;

        atom_ref config(injected(PLATFORM_FAULT("lldpctl_get_configuration")) ? nullptr
                                                                                : lldpctl_get_configuration(conn_));
        if (!config) fail("configuration");
        read_config(config.get(), *t);

        atom_ref chassis(injected(PLATFORM_FAULT("lldpctl_get_local_chassis")) ? nullptr
                                                                                : lldpctl_get_local_chassis(conn_));
        if (!chassis) fail("local chassis");
        read_local(chassis.get(), *t);

        atom_ref interfaces(injected(PLATFORM_FAULT("lldpctl_get_interfaces")) ? nullptr
                                                                                : lldpctl_get_interfaces(conn_));
        if (!interfaces) fail("interfaces");
        std::vector<remote_index_map::seen> seen;
        for_each(interfaces.get(), [&](lldpctl_atom_t* iface) {
            atom_ref p(injected(PLATFORM_FAULT("lldpctl_get_port")) ? nullptr : lldpctl_get_port(iface));
            if (!p) {
                // The interface went away since the list was made.
                if (lldpctl_last_error(conn_) == LLDPCTL_ERR_NOT_EXIST) return;
                fail("port");
            }
            read_port(p.get(), *t, seen);
        });

        std::vector<uint32_t> idx = indexes_.assign(seen);
        size_t i = 0;
        for (port& p : t->ports)
            for (neighbor& n : p.neighbors) n.rem_index = idx[i++];
        note_removals(*t, seen);
        t->remote_tables_last_change = last_change_time(newest_change_, gone_at_, origin_);
        return t;
    }

    // A neighbour of the last fetch missing now, or a port that counts more
    // removals than then: the neighbours changed, at the latest now.
    void note_removals(const topology& t, const std::vector<remote_index_map::seen>& seen) {
        std::set<std::pair<uint32_t, std::string>> present;
        for (const auto& n : seen) present.insert({n.port, n.identity});
        std::map<uint32_t, uint64_t> removed;
        for (const port& p : t.ports) removed[p.port_num] = p.stats.deletes + p.stats.ageouts;
        bool gone = false;
        for (const auto& n : present_) gone |= !present.count(n);
        for (const auto& [num, count] : removed) {
            auto before = removed_.find(num);
            gone |= before != removed_.end() && count > before->second;
        }
        if (gone) {
            auto now = std::chrono::system_clock::now().time_since_epoch();
            gone_at_ = std::chrono::duration_cast<std::chrono::milliseconds>(now).count() / 10;
        }
        present_ = std::move(present);
        removed_ = std::move(removed);
    }

    void read_config(lldpctl_atom_t* c, topology& t) {
        // lldpd 1.0.16 gives the interval in whole seconds, rounded up
        // (lldpctl_k_config_tx_interval_ms has the exact value); it has no
        // reinit or transmit delay of its own: those stay at the defaults.
        long interval = lldpctl_atom_get_int(c, lldpctl_k_config_tx_interval);
        long hold = lldpctl_atom_get_int(c, lldpctl_k_config_tx_hold);
        if (interval > 0 && interval <= long(UINT32_MAX)) t.config.tx_interval = static_cast<uint32_t>(interval);
        if (hold > 0 && hold <= long(UINT32_MAX)) t.config.tx_hold = static_cast<uint32_t>(hold);
        receive_only_ = lldpctl_atom_get_int(c, lldpctl_k_config_receiveonly) > 0;
        tlvs_tx_ = tlvs_sent(lldpctl_atom_get_int(c, lldpctl_k_config_chassis_cap_advertise));
        man_addr_tx_ = lldpctl_atom_get_int(c, lldpctl_k_config_chassis_mgmt_advertise) != 0;
    }

    static void read_local(lldpctl_atom_t* c, topology& t) {
        local_system& l = t.local;
        l.chassis_id_subtype = get_subtype(c, lldpctl_k_chassis_id_subtype, LLDP_CHASSISID_SUBTYPE_LLADDR);
        auto id = get_bytes(c, lldpctl_k_chassis_id);
        l.chassis_id = id_text(id_kind::chassis, l.chassis_id_subtype, id.data(), id.size());
        l.sys_name = get_text(c, lldpctl_k_chassis_name);
        l.sys_desc = get_text(c, lldpctl_k_chassis_descr);
        l.supported_caps = map_capabilities(lldpctl_atom_get_int(c, lldpctl_k_chassis_cap_available));
        l.enabled_caps = map_capabilities(lldpctl_atom_get_int(c, lldpctl_k_chassis_cap_enabled));
        for (const address& a : management_addresses(c)) t.local_man_addrs.push_back({{a}});
    }

    void read_port(lldpctl_atom_t* p, topology& t, std::vector<remote_index_map::seen>& seen) {
        long ifindex = lldpctl_atom_get_int(p, lldpctl_k_port_index);
        if (ifindex <= 0 || ifindex > 2147483647L) return;
        port lp;
        lp.port_num = static_cast<uint32_t>(ifindex);
        lp.ifhandle = lp.port_num;
        lp.port_id_subtype = get_subtype(p, lldpctl_k_port_id_subtype, LLDP_PORTID_SUBTYPE_IFNAME);
        auto id = get_bytes(p, lldpctl_k_port_id);
        lp.port_id = id_text(id_kind::port, lp.port_id_subtype, id.data(), id.size());
        lp.port_desc = get_text(p, lldpctl_k_port_descr);
        lp.admin_status = map_admin_status(lldpctl_atom_get_int(p, lldpctl_k_port_status), receive_only_);
        lp.notification_enable = false;  // lldpd notifies nobody; the agent may be told to
        lp.tlvs_tx = tlvs_tx_;
        lp.man_addr_tx = man_addr_tx_;
        port_counters& c = lp.stats;  // errors, discarded TLVs and drops: lldpd does not count them
        c.tx_frames = counter(lldpctl_atom_get_int(p, lldpctl_k_tx_cnt));
        c.rx_frames = counter(lldpctl_atom_get_int(p, lldpctl_k_rx_cnt));
        c.rx_frames_discarded = counter(lldpctl_atom_get_int(p, lldpctl_k_rx_discarded_cnt));
        c.rx_tlvs_unrecognized = counter(lldpctl_atom_get_int(p, lldpctl_k_rx_unrecognized_cnt));
        c.ageouts = counter(lldpctl_atom_get_int(p, lldpctl_k_ageout_cnt));
        c.inserts = counter(lldpctl_atom_get_int(p, lldpctl_k_insert_cnt));
        c.deletes = counter(lldpctl_atom_get_int(p, lldpctl_k_delete_cnt));
        lp.ext = read_org_ext(p, true);

        atom_ref neighbours(lldpctl_atom_get(p, lldpctl_k_port_neighbors));
        for_each(neighbours.get(), [&](lldpctl_atom_t* n) {
            // Other discovery protocols (CDP, EDP, ...) are not LLDP neighbours.
            if (lldpctl_atom_get_int(n, lldpctl_k_port_protocol) != LLDPD_MODE_LLDP) return;
            atom_ref chassis(lldpctl_atom_get(n, lldpctl_k_port_chassis));
            if (!chassis) return;
            lp.neighbors.push_back(read_neighbour(n, chassis.get()));
            const neighbor& r = lp.neighbors.back();
            std::string identity;
            identity += char(r.chassis_id_subtype);
            identity.append(r.chassis_id.begin(), r.chassis_id.end());
            identity += char(r.port_id_subtype);
            identity.append(r.port_id.begin(), r.port_id.end());
            seen.push_back({lp.port_num, lldpctl_atom_get_int(chassis.get(), lldpctl_k_chassis_index),
                            std::move(identity)});
        });
        t.ports.push_back(std::move(lp));
    }

    neighbor read_neighbour(lldpctl_atom_t* n, lldpctl_atom_t* c) {
        neighbor r;
        long changed = lldpctl_atom_get_int(n, lldpctl_k_port_age);
        newest_change_ = std::max<int64_t>(newest_change_, changed);
        if (opts_.time_marks) r.time_mark = time_mark(changed, origin_);
        r.chassis_id_subtype = get_subtype(c, lldpctl_k_chassis_id_subtype, 0);
        r.chassis_id = get_bytes(c, lldpctl_k_chassis_id);
        r.port_id_subtype = get_subtype(n, lldpctl_k_port_id_subtype, 0);
        r.port_id = get_bytes(n, lldpctl_k_port_id);
        r.port_desc = get_text(n, lldpctl_k_port_descr);
        r.sys_name = get_text(c, lldpctl_k_chassis_name);
        r.sys_desc = get_text(c, lldpctl_k_chassis_descr);
        r.supported_caps = map_capabilities(lldpctl_atom_get_int(c, lldpctl_k_chassis_cap_available));
        r.enabled_caps = map_capabilities(lldpctl_atom_get_int(c, lldpctl_k_chassis_cap_enabled));
        r.man_addrs = management_addresses(c);
        atom_ref tlvs(lldpctl_atom_get(n, lldpctl_k_custom_tlvs));
        for_each(tlvs.get(), [&](lldpctl_atom_t* tlv) {
            auto oui = get_bytes(tlv, lldpctl_k_custom_tlv_oui);
            if (oui.size() < 3) return;
            org_def_tlv o;
            o.oui = oui_number(oui.data(), oui.size());
            o.subtype = get_subtype(tlv, lldpctl_k_custom_tlv_oui_subtype, 0);
            o.info = get_bytes(tlv, lldpctl_k_custom_tlv_oui_info_string);
            r.org_def_tlvs.push_back(std::move(o));
        });
        number_org_def_tlvs(r.org_def_tlvs);
        r.ext = read_org_ext(n, false);
        return r;
    }

    options opts_;
    // mutex_ guards the cached topology and the refresher's state; fetch_mutex_
    // makes fetches one at a time and guards everything below it.
    std::mutex mutex_;
    std::condition_variable wake_;
    std::shared_ptr<const topology> cached_;
    std::chrono::steady_clock::time_point fetched_at_, asked_at_;
    std::chrono::steady_clock::duration fetch_took_{};
    bool stopping_ = false;
    std::thread refresher_;
    std::mutex fetch_mutex_;
    int fd_ = -1;
    lldpctl_conn_t* conn_ = nullptr;
    std::string io_error_;
    remote_index_map indexes_;
    int64_t origin_ = 0;  // the time origin as this fetch reads it
    // This fetch's configuration.
    bool receive_only_ = false;
    uint8_t tlvs_tx_ = 0;
    bool man_addr_tx_ = true;
    // When the neighbours changed: the newest change this fetch saw (seconds
    // since the epoch), the last fetch that found one gone (hundredths).
    int64_t newest_change_ = 0;
    int64_t gone_at_ = 0;
    // What the last fetch saw: (port, identity) of every neighbour, and each
    // port's deletes + age-outs.
    std::set<std::pair<uint32_t, std::string>> present_;
    std::map<uint32_t, uint64_t> removed_;
};

}  // namespace

std::shared_ptr<topology_source> make_source(options opts) {
    return std::make_shared<lldpd_source>(std::move(opts));
}

}  // namespace lldp_lldpd

extern "C" int lldp_client_use_lldpd(const char* ctl_socket, int time_marks, char* err, size_t err_size) {
    auto say = [&](const std::string& m) {
        if (!err || !err_size) return;
        size_t n = std::min(m.size(), err_size - 1);
        std::memcpy(err, m.data(), n);
        err[n] = 0;
    };
    if (time_marks != 0 && time_marks != 1) {
        say("time marks must be 0 or 1");
        return EINVAL;
    }
    lldp_lldpd::options o;
    o.ctl_socket = ctl_socket && *ctl_socket ? ctl_socket : lldp_lldpd::default_ctl_socket();
    o.time_marks = time_marks == 1;
    if (o.ctl_socket.size() >= sizeof(sockaddr_un::sun_path)) {
        say("control socket path too long: " + o.ctl_socket);
        return ENAMETOOLONG;
    }
    // An unreachable daemon is not an error here: the agent serves nothing
    // until lldpd answers.
    lldp_client_use_source(lldp_lldpd::make_source(std::move(o)));
    say("");
    return 0;
}
