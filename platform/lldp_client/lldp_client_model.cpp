// The in-memory daemon model: every lldp_client_* query is answered from the
// topology that the active source reports at that moment.  Records handed to
// callbacks are built for the call and dropped after it.
#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <mutex>
#include <unordered_map>
#include <vector>

#include "lldp_client.h"
#include "lldp_client_internal.h"
#include "lldp_client_model.h"
#include "platform_fault.h"

using namespace lldp_model;

namespace {

// Indexes over one topology snapshot, rebuilt when the source hands out a
// different snapshot.
struct view {
    std::shared_ptr<const topology> topo;

    struct port_entry {
        const port* p;
        uint32_t ifhandle;
        std::vector<const neighbor*> neighbors;  // by rem_index, stable
        bool any_man_addrs = false;
        bool any_unknown = false;
        bool any_org_def = false;
    };
    std::vector<port_entry> ports;  // by port_num; a repeated number keeps its first port
    std::unordered_map<uint32_t, size_t> by_ifhandle;

    // Each local record's addresses in (type, address) order, and every local
    // address in that order across records (record order breaks ties).
    std::vector<std::vector<const address*>> local_records;
    struct local_pos {
        size_t record;
        size_t pos;
    };
    std::vector<local_pos> local_sorted;
};

// (type, octets): IPv4 octets in network order sort as the 32-bit number.
int compare_address(bool a_v6, const uint8_t* a, bool b_v6, const uint8_t* b) {
    if (a_v6 != b_v6) return a_v6 ? 1 : -1;
    return std::memcmp(a, b, a_v6 ? 16 : 4);
}

bool address_less(const address* a, const address* b) {
    return compare_address(a->ipv6, a->octets.data(), b->ipv6, b->octets.data()) < 0;
}

std::shared_ptr<const view> build_view(std::shared_ptr<const topology> t) {
    auto v = std::make_shared<view>();
    v->topo = t;
    std::vector<const port*> ports;
    for (const port& p : t->ports) ports.push_back(&p);
    std::stable_sort(ports.begin(), ports.end(),
                     [](const port* a, const port* b) { return a->port_num < b->port_num; });
    for (const port* p : ports) {
        if (!v->ports.empty() && v->ports.back().p->port_num == p->port_num) continue;
        view::port_entry e{p, p->effective_ifhandle(), {}};
        for (const neighbor& n : p->neighbors) {
            e.neighbors.push_back(&n);
            e.any_man_addrs |= !n.man_addrs.empty();
            e.any_unknown |= !n.unknown_tlvs.empty();
            e.any_org_def |= !n.org_def_tlvs.empty();
        }
        std::stable_sort(e.neighbors.begin(), e.neighbors.end(),
                         [](const neighbor* a, const neighbor* b) { return a->rem_index < b->rem_index; });
        v->by_ifhandle.emplace(e.ifhandle, v->ports.size());
        v->ports.push_back(std::move(e));
    }
    for (const local_man_addr_record& r : t->local_man_addrs) {
        std::vector<const address*> addrs;
        for (const address& a : r.addrs) addrs.push_back(&a);
        std::stable_sort(addrs.begin(), addrs.end(), address_less);
        for (size_t i = 0; i < addrs.size(); ++i) v->local_sorted.push_back({v->local_records.size(), i});
        v->local_records.push_back(std::move(addrs));
    }
    std::stable_sort(v->local_sorted.begin(), v->local_sorted.end(),
                     [&](const view::local_pos& a, const view::local_pos& b) {
                         return address_less(v->local_records[a.record][a.pos],
                                             v->local_records[b.record][b.pos]);
                     });
    return v;
}

struct state {
    std::mutex mutex;
    std::shared_ptr<topology_source> source;  // null: the embedded default
    std::shared_ptr<const view> last;         // the view served last, kept across source switches
    // Bumped under the mutex whenever source or last changes.
    std::atomic<uint64_t> changes{0};
    // Change counts handed out by lldp_client_get_generation; under the mutex.
    lldp_client_generation generation{0, 0};
};

state& the_state() {
    static state* s = new state;  // outlives static destructors of callers
    return *s;
}

std::shared_ptr<topology_source> default_source(std::string* error) {
    static std::shared_ptr<topology_source> src = [] {
        std::string e;
        auto t = parse_topology(default_topology_text(), "embedded default.json", &e);
        return t ? std::make_shared<static_source>(t) : nullptr;
    }();
    if (!src && error) *error = "embedded default topology does not load";
    return src;
}

std::shared_ptr<const topology> current_topology(std::string* error) {
    state& s = the_state();
    std::shared_ptr<topology_source> src;
    {
        std::lock_guard lock(s.mutex);
        src = s.source;
    }
    if (!src) src = default_source(error);
    if (!src) return nullptr;
    std::string e;
    auto t = src->current(&e);
    if (!t && error) *error = e.empty() ? "LLDP daemon unreachable" : e;
    return t;
}

// The source and last view as this thread last took them from the state.
// Every client operation asks for the view, so a thread takes them (under the
// lock) only after they changed; until then it holds on to them.
struct thread_view {
    uint64_t changes = UINT64_MAX;
    std::shared_ptr<topology_source> source;
    std::shared_ptr<const view> last;
};

// The indexes of the current topology, or null with *status set.  The view
// is reused while the source reports the same topology.
std::shared_ptr<const view> current_view(int* status) {
    state& s = the_state();
    thread_local thread_view mine;
    if (mine.changes != s.changes.load(std::memory_order_acquire)) {
        std::lock_guard lock(s.mutex);
        mine.source = s.source;
        mine.last = s.last;
        mine.changes = s.changes.load(std::memory_order_relaxed);
    }
    std::shared_ptr<const view> last = mine.last;
    std::shared_ptr<topology_source> fallback;
    topology_source* src = mine.source.get();
    if (src == nullptr) {
        fallback = default_source(nullptr);
        src = fallback.get();
    }
    std::shared_ptr<const topology> t;
    if (src != nullptr) {
        std::string e;
        t = src->current(&e);
    }
    if (!t) {
        *status = ECONNREFUSED;
        return nullptr;
    }
    if (last && last->topo == t) return last;
    auto v = build_view(t);
    std::lock_guard lock(s.mutex);
    // The source was switched since this operation took it: serve what it
    // reported, but record nothing (a newer snapshot may be recorded already).
    if (s.source != mine.source) return v;
    // Other threads may have recorded a snapshot newer than t meanwhile: ask
    // again under the lock, so that recorded snapshots only move forward.
    std::shared_ptr<const topology> now = src->current(nullptr);
    if (now && now != t) {
        if (s.last && s.last->topo == now) return s.last;
        v = build_view(now);
    }
    if (s.last && s.last->topo == v->topo) return s.last;  // another thread got there first
    // A different snapshot is served from now on: count the change.
    ++s.generation.data;
    if (!s.last || !same_neighbors(*s.last->topo, *v->topo)) ++s.generation.neighbors;
    s.last = v;
    s.changes.fetch_add(1, std::memory_order_release);
    return v;
}

// The last view stays: the next snapshot served is compared with it.
void set_source(std::shared_ptr<topology_source> src) {
    state& s = the_state();
    std::lock_guard lock(s.mutex);
    s.source = std::move(src);
    s.changes.fetch_add(1, std::memory_order_release);
}

// Until lldp_client_set_time_origin, the moment the library was loaded.
std::atomic<int64_t> time_origin{int64_t(std::time(nullptr)) * 100};

const uint8_t empty_bytes[1] = {0};

// A neighbour record as the client hands it to a callback, valid while this
// object lives and until it is filled again; never moved once built.  One
// object serves a whole iteration, so its buffers are allocated once.
struct built_neighbor {
    neighbor_td td{};
    lldp_neighbor_mib mib{};
    lldp_neighbor_detail detail{};
    std::vector<uint8_t> chassis, port;  // NUL-terminated for printing
    std::vector<lldp_addr_element> addrs;
    std::vector<unknown_tlv_element> unknown;
    std::vector<org_def_tlv_element> org;
    // The neighbour's elements in the order they are handed out.
    std::vector<const address*> addr_order;
    std::vector<const unknown_tlv*> unknown_order;
    std::vector<const org_def_tlv*> org_order;

    built_neighbor(const built_neighbor&) = delete;
    built_neighbor() = default;
};

template <typename T>
void chain(std::vector<T>& v) {
    for (size_t i = 0; i + 1 < v.size(); ++i) v[i].next = &v[i + 1];
    if (!v.empty()) v.back().next = nullptr;
}

template <typename T>
T* head(std::vector<T>& v) {
    return v.empty() ? nullptr : v.data();
}

void fill_neighbor(built_neighbor& b, const neighbor& n, uint32_t port_num) {
    b.mib.time_mark = n.time_mark;
    b.mib.port_num = port_num;
    b.mib.rem_index = n.rem_index;
    b.mib.chassis_id_subtype = n.chassis_id_subtype;
    b.mib.chassis_id_len = uint16_t(std::min<size_t>(n.chassis_id.size(), 0xFFFF));
    b.mib.port_id_subtype = n.port_id_subtype;
    b.mib.port_id_len = uint16_t(std::min<size_t>(n.port_id.size(), 0xFFFF));
    b.mib.enabled_caps = n.enabled_caps;
    b.mib.supported_caps = n.supported_caps;
    b.chassis.assign(n.chassis_id.begin(), n.chassis_id.end());
    b.chassis.push_back(0);
    b.port.assign(n.port_id.begin(), n.port_id.end());
    b.port.push_back(0);
    b.td.chassis_id = b.chassis.data();
    b.td.port_id = b.port.data();

    b.detail.port_desc = const_cast<char*>(n.port_desc.c_str());
    b.detail.sys_name = const_cast<char*>(n.sys_name.c_str());
    b.detail.sys_desc = const_cast<char*>(n.sys_desc.c_str());

    // Unspecified addresses first, then (type, octets); equal keys in the
    // neighbour's order (their addresses in its vector), so sorting needs no
    // buffer of its own.
    std::vector<const address*>& addrs = b.addr_order;
    addrs.clear();
    for (const address& a : n.man_addrs) addrs.push_back(&a);
    std::sort(addrs.begin(), addrs.end(), [](const address* a, const address* b) {
        if (a->is_zero() != b->is_zero()) return a->is_zero();
        if (address_less(a, b)) return true;
        return !address_less(b, a) && a < b;
    });
    b.addrs.clear();
    for (const address* a : addrs) {
        lldp_addr_element e{};
        e.addr_type = a->ipv6 ? 1 : 0;
        std::memcpy(e.addr, a->octets.data(), a->ipv6 ? 16 : 4);
        e.addr_subtype = a->effective_subtype();
        e.if_id = a->if_id;
        b.addrs.push_back(e);
    }
    chain(b.addrs);
    b.detail.man_addrs = head(b.addrs);

    std::vector<const unknown_tlv*>& unknown = b.unknown_order;
    unknown.clear();
    for (const unknown_tlv& u : n.unknown_tlvs) unknown.push_back(&u);
    std::sort(unknown.begin(), unknown.end(), [](const unknown_tlv* a, const unknown_tlv* b) {
        return a->type != b->type ? a->type < b->type : a < b;
    });
    b.unknown.clear();
    for (const unknown_tlv* u : unknown) {
        unknown_tlv_element e{};
        e.type = u->type;
        e.info_len = int32_t(u->info.size());
        e.info = const_cast<uint8_t*>(u->info.empty() ? empty_bytes : u->info.data());
        b.unknown.push_back(e);
    }
    chain(b.unknown);
    b.mib.unknown_tlvs = head(b.unknown);

    std::vector<const org_def_tlv*>& org = b.org_order;
    org.clear();
    for (const org_def_tlv& o : n.org_def_tlvs) org.push_back(&o);
    std::sort(org.begin(), org.end(), [](const org_def_tlv* a, const org_def_tlv* b) {
        if (a->oui != b->oui) return a->oui < b->oui;
        if (a->subtype != b->subtype) return a->subtype < b->subtype;
        if (a->index != b->index) return a->index < b->index;
        return a < b;
    });
    b.org.clear();
    for (const org_def_tlv* o : org) {
        org_def_tlv_element e{};
        e.oui = o->oui;
        e.subtype = o->subtype;
        e.index = int32_t(o->index);
        e.info_len = int32_t(o->info.size());
        e.info = const_cast<uint8_t*>(o->info.empty() ? empty_bytes : o->info.data());
        b.org.push_back(e);
    }
    chain(b.org);
    b.mib.org_def_tlvs = head(b.org);

    b.td.mib = &b.mib;
    b.td.detail = &b.detail;
}

// An lldp_org_ext record as handed to a callback, valid while this object
// lives and until it is filled again; one object serves a whole iteration.
struct built_ext {
    lldp_org_ext rec{};
    std::vector<lldp_dot1_ppvid> ppvids;
    std::vector<lldp_dot1_vlan_name> vlan_names;
    std::vector<lldp_dot1_protocol> protocols;
};

// By vid, the first of equal vids (in the model's order) only.
template <typename T>
void by_vid(std::vector<T>& v) {
    std::stable_sort(v.begin(), v.end(), [](const T& a, const T& b) { return a.vid < b.vid; });
    v.erase(std::unique(v.begin(), v.end(), [](const T& a, const T& b) { return a.vid == b.vid; }), v.end());
}

// What a neighbour sent has no transmit flags: they stay 0 unless local.
void fill_ext(built_ext& b, const org_ext& x, bool local) {
    lldp_org_ext& r = b.rec;
    r = {};
    r.has_port_vlan_id = x.port_vlan_id.has_value();
    r.port_vlan_id = x.port_vlan_id.value_or(0);
    r.port_vlan_tx = local && x.port_vlan_tx;
    b.ppvids.clear();
    for (const dot1_ppvid& p : x.ppvids)
        b.ppvids.push_back({p.vid, p.supported, p.enabled, uint8_t(local && p.tx)});
    by_vid(b.ppvids);
    b.vlan_names.clear();
    for (const dot1_vlan_name& v : x.vlan_names)
        b.vlan_names.push_back({v.vid, uint8_t(local && v.tx), uint16_t(v.name.size()),
                                reinterpret_cast<const uint8_t*>(v.name.data())});
    by_vid(b.vlan_names);
    b.protocols.clear();
    for (const dot1_protocol& p : x.protocols)
        b.protocols.push_back({uint8_t(local && p.tx), uint16_t(p.id.size()), p.id.data()});
    r.ppvid_count = b.ppvids.size();
    r.ppvids = head(b.ppvids);
    r.vlan_name_count = b.vlan_names.size();
    r.vlan_names = head(b.vlan_names);
    r.protocol_count = b.protocols.size();
    r.protocols = head(b.protocols);
    if (const auto& m = x.mac_phy) {
        r.has_mac_phy = 1;
        r.autoneg_supported = m->autoneg_supported;
        r.autoneg_enabled = m->autoneg_enabled;
        r.autoneg_advertised = m->advertised;
        r.mau_type = m->mau_type;
    }
    if (const auto& p = x.power) {
        r.has_power = 1;
        r.power_port_class = p->port_class;
        r.power_mdi_supported = p->mdi_supported;
        r.power_mdi_enabled = p->mdi_enabled;
        r.power_pair_control = p->pair_control;
        r.power_pairs = p->pairs;
        r.power_class = p->power_class;
    }
    if (const auto& l = x.link_agg) {
        r.has_link_agg = 1;
        r.link_agg_capable = l->capable;
        r.link_agg_enabled = l->enabled;
        r.link_agg_port_id = l->port_id;
    }
    r.has_max_frame_size = x.max_frame_size.has_value();
    r.max_frame_size = x.max_frame_size.value_or(0);
    r.dot3_tlvs_tx = local ? x.dot3_tlvs_tx : 0;
}

// Port walks share one rule: the first port not below `port` that `wanted` accepts.
template <typename Pred>
int next_port(uint32_t port, uint32_t* next, uint32_t* ifhandle, Pred wanted) {
    if (!next || !ifhandle) return EINVAL;
    int status = 0;
    auto v = current_view(&status);
    if (!v) return status;
    auto it = std::lower_bound(v->ports.begin(), v->ports.end(), port,
                               [](const view::port_entry& e, uint32_t p) { return e.p->port_num < p; });
    for (; it != v->ports.end(); ++it) {
        if (wanted(*it)) {
            *next = it->p->port_num;
            *ifhandle = it->ifhandle;
            return 0;
        }
    }
    *next = LLDP_CLIENT_NO_PORT;
    *ifhandle = 0;
    return 0;
}

const view::port_entry* port_by_handle(const view& v, uint32_t ifhandle) {
    auto it = v.by_ifhandle.find(ifhandle);
    return it == v.by_ifhandle.end() ? nullptr : &v.ports[it->second];
}

char* dup_text(const std::string& s) {
    char* p = static_cast<char*>(std::malloc(s.size() + 1));
    if (p) std::memcpy(p, s.c_str(), s.size() + 1);
    return p;
}

}  // namespace

// ---- C++ API ----

void lldp_client_use_topology(std::shared_ptr<const topology> topo) {
    set_source(std::make_shared<static_source>(std::move(topo)));
}

void lldp_client_use_source(std::shared_ptr<topology_source> source) { set_source(std::move(source)); }

void lldp_client_use_default(void) { set_source(nullptr); }

std::shared_ptr<const topology> lldp_client_current_topology(std::string* error) {
    return current_topology(error);
}

// ---- C API ----

namespace {

void write_error(char* err, size_t err_size, const std::string& msg) {
    if (!err || !err_size) return;
    size_t n = std::min(msg.size(), err_size - 1);
    std::memcpy(err, msg.data(), n);
    err[n] = 0;
}

}  // namespace

extern "C" {

int lldp_client_init(void* evm) {
    if (int rc = PLATFORM_FAULT("lldp_client_init")) return rc;
    return 0;
}

void lldp_client_term(void) { PLATFORM_FAULT("lldp_client_term"); }

int lldp_client_get_enable(uint32_t* enabled) {
    if (int rc = PLATFORM_FAULT("lldp_client_get_enable")) return rc;
    if (!enabled) return EINVAL;
    int status = 0;
    auto v = current_view(&status);
    if (!v) return status;
    *enabled = v->topo->lldp_enabled ? 1 : 0;
    return 0;
}

int lldp_client_is_node_lldp_enabled(void) {
    // No status of its own: a failure reads as "not enabled".
    int status = 0;
    auto v = current_view(&status);
    return v && v->topo->node_enabled ? 1 : 0;
}

int lldp_client_get_local_system_data(const lldp_client_filter* filter,
                                      lldp_local_system_data_bag* bag) {
    if (int rc = PLATFORM_FAULT("lldp_client_get_local_system_data")) return rc;
    if (!filter || !bag || filter->kind != LLDP_FILTER_NODE) return EINVAL;
    int status = 0;
    auto v = current_view(&status);
    if (!v) return status;
    if (filter->node_id != v->topo->node_id) return ENOENT;
    const local_system& l = v->topo->local;
    char* chassis = dup_text(l.chassis_id);
    char* name = dup_text(l.sys_name);
    char* desc = dup_text(l.sys_desc);
    if (!chassis || !name || !desc) {
        std::free(chassis), std::free(name), std::free(desc);
        return ENOMEM;
    }
    std::memset(bag, 0, sizeof *bag);
    bag->chassis_id = chassis;
    bag->chassis_id_subtype = l.chassis_id_subtype;
    bag->sys_name = name;
    bag->sys_desc = desc;
    bag->supported_caps = l.supported_caps;
    bag->enabled_caps = l.enabled_caps;
    lldp_client_internal::count_allocation();
    return 0;
}

void lldp_client_free_local_system_data_bag(lldp_local_system_data_bag* bag) {
    PLATFORM_FAULT("lldp_client_free_local_system_data_bag");
    if (!bag || !bag->chassis_id) return;
    std::free(bag->chassis_id);
    std::free(bag->sys_name);
    std::free(bag->sys_desc);
    bag->chassis_id = bag->sys_name = bag->sys_desc = nullptr;
    lldp_client_internal::count_release();
}

int lldp_client_get_next_if_local(uint32_t port, uint32_t* next, uint32_t* ifhandle) {
    if (int rc = PLATFORM_FAULT("lldp_client_get_next_if_local")) return rc;
    return next_port(port, next, ifhandle, [](const view::port_entry&) { return true; });
}

int lldp_client_iter_intf_running(const lldp_client_filter* filter, lldp_client_callback cb,
                                  void* list, int flags, void* context) {
    if (int rc = PLATFORM_FAULT("lldp_client_iter_intf_running")) return rc;
    if (!filter || !cb || filter->kind != LLDP_FILTER_INTERFACE) return EINVAL;
    int status = 0;
    auto v = current_view(&status);
    if (!v) return status;
    const view::port_entry* e = port_by_handle(*v, filter->ifhandle);
    if (!e) return ENODEV;
    lldp_interface_td rec{};
    rec.port_num = e->p->port_num;
    rec.port_id = const_cast<char*>(e->p->port_id.c_str());
    rec.port_id_subtype = e->p->port_id_subtype;
    rec.port_desc = const_cast<char*>(e->p->port_desc.c_str());
    return cb(&rec, list, context);
}

int lldp_client_get_next_if_local_ma(int exact, const lldp_addr_element* key,
                                     lldp_client_callback cb, void* context, void* list) {
    if (int rc = PLATFORM_FAULT("lldp_client_get_next_if_local_ma")) return rc;
    if (!key || !cb) return EINVAL;
    int status = 0;
    auto v = current_view(&status);
    if (!v) return status;

    // The key holds IPv4 as a host-order number, like the local records.
    bool key_v6 = key->addr_type != 0;
    uint8_t key_octets[16] = {};
    if (key_v6) {
        std::memcpy(key_octets, key->addr, 16);
    } else {
        uint32_t n;
        std::memcpy(&n, key->addr, 4);
        key_octets[0] = uint8_t(n >> 24), key_octets[1] = uint8_t(n >> 16);
        key_octets[2] = uint8_t(n >> 8), key_octets[3] = uint8_t(n);
    }
    auto addr_at = [&](const view::local_pos& p) { return v->local_records[p.record][p.pos]; };
    auto it = std::lower_bound(v->local_sorted.begin(), v->local_sorted.end(), 0,
                               [&](const view::local_pos& p, int) {
                                   const address* a = addr_at(p);
                                   return compare_address(a->ipv6, a->octets.data(), key_v6, key_octets) < 0;
                               });
    if (it == v->local_sorted.end()) return 0;
    if (exact) {
        const address* a = addr_at(*it);
        if (compare_address(a->ipv6, a->octets.data(), key_v6, key_octets) != 0) return 0;
    }

    // The record as the chain from the answer to the end of its record.
    const std::vector<const address*>& rec_addrs = v->local_records[it->record];
    std::vector<lldp_addr_element> chain_elems;
    for (size_t i = it->pos; i < rec_addrs.size(); ++i) {
        const address* a = rec_addrs[i];
        lldp_addr_element e{};
        e.addr_type = a->ipv6 ? 1 : 0;
        if (a->ipv6) {
            std::memcpy(e.addr, a->octets.data(), 16);
        } else {
            uint32_t n = uint32_t(a->octets[0]) << 24 | uint32_t(a->octets[1]) << 16 |
                         uint32_t(a->octets[2]) << 8 | a->octets[3];
            std::memcpy(e.addr, &n, 4);
        }
        e.addr_subtype = a->effective_subtype();
        e.if_id = a->if_id;
        chain_elems.push_back(e);
    }
    chain(chain_elems);
    lldp_local_ma_td rec{};
    rec.addrs = head(chain_elems);
    return cb(&rec, list, context);
}

int lldp_client_get_next_if_remote(uint32_t port, uint32_t* next, uint32_t* ifhandle) {
    if (int rc = PLATFORM_FAULT("lldp_client_get_next_if_remote")) return rc;
    return next_port(port, next, ifhandle,
                     [](const view::port_entry& e) { return !e.neighbors.empty(); });
}

int lldp_client_get_next_if_remote_ma(uint32_t port, uint32_t* next, uint32_t* ifhandle) {
    if (int rc = PLATFORM_FAULT("lldp_client_get_next_if_remote_ma")) return rc;
    return next_port(port, next, ifhandle, [](const view::port_entry& e) { return e.any_man_addrs; });
}

int lldp_client_get_next_if_remote_unknown_tlv(uint32_t port, uint32_t* next, uint32_t* ifhandle) {
    if (int rc = PLATFORM_FAULT("lldp_client_get_next_if_remote_unknown_tlv")) return rc;
    return next_port(port, next, ifhandle, [](const view::port_entry& e) { return e.any_unknown; });
}

int lldp_client_get_next_if_remote_org_def_tlv(uint32_t port, uint32_t* next, uint32_t* ifhandle) {
    if (int rc = PLATFORM_FAULT("lldp_client_get_next_if_remote_org_def_tlv")) return rc;
    return next_port(port, next, ifhandle, [](const view::port_entry& e) { return e.any_org_def; });
}

int lldp_client_iter_ne(const lldp_client_filter* filter, int a, int b, lldp_client_callback cb,
                        void* arg1, int c, void* arg2) {
    if (int rc = PLATFORM_FAULT("lldp_client_iter_ne")) return rc;
    if (!filter || !cb || filter->kind != LLDP_FILTER_NEIGHBORS) return EINVAL;
    int status = 0;
    auto v = current_view(&status);
    if (!v) return status;
    const view::port_entry* e = port_by_handle(*v, filter->ifhandle);
    if (!e) return ENODEV;

    // The port's marker first: it only names the port.
    {
        lldp_neighbor_mib mib{};
        mib.port_num = e->p->port_num;
        neighbor_td marker{};
        marker.port_marker = 1;
        marker.mib = &mib;
        if (int rc = cb(&marker, arg1, arg2)) return rc;
    }
    built_neighbor rec;
    for (const neighbor* n : e->neighbors) {
        fill_neighbor(rec, *n, e->p->port_num);
        // A record handed over without its detail part, as a client may: the
        // nth record of the iterations from arming.  Not named as a client
        // operation, so that counts of the client's calls leave it out.
        if (PLATFORM_FAULT("neighbor_record_without_detail")) rec.td.detail = nullptr;
        if (int rc = cb(&rec.td, arg1, arg2)) return rc;
    }
    return 0;
}

int lldp_client_use_topology_file(const char* path, char* err, size_t err_size) {
    if (!path) {
        write_error(err, err_size, "no topology file given");
        return EINVAL;
    }
    std::string error;
    auto t = load_topology_file(path, &error);
    if (!t) {
        write_error(err, err_size, error);
        return EINVAL;
    }
    lldp_client_use_topology(std::move(t));
    write_error(err, err_size, "");
    return 0;
}

int lldp_client_use_topology_text(const char* json, const char* origin, char* err, size_t err_size) {
    std::string where = origin ? origin : "<text>";
    if (!json) {
        write_error(err, err_size, where + ": no topology text given");
        return EINVAL;
    }
    std::string error;
    auto t = parse_topology(json, where, &error);
    if (!t) {
        write_error(err, err_size, error);
        return EINVAL;
    }
    lldp_client_use_topology(std::move(t));
    write_error(err, err_size, "");
    return 0;
}

}  // extern "C"

// ---- Configuration and statistics ----

int64_t lldp_client_internal::time_origin_centiseconds() { return time_origin.load(std::memory_order_relaxed); }

extern "C" {

int lldp_client_get_config(lldp_client_config* out) {
    if (int rc = PLATFORM_FAULT("lldp_client_get_config")) return rc;
    if (!out) return EINVAL;
    int status = 0;
    auto v = current_view(&status);
    if (!v) return status;
    const lldp_config& c = v->topo->config;
    *out = {c.tx_interval, c.tx_hold, c.reinit_delay, c.tx_delay};
    return 0;
}

int lldp_client_iter_port_stats(lldp_client_callback cb, void* context) {
    if (int rc = PLATFORM_FAULT("lldp_client_iter_port_stats")) return rc;
    if (!cb) return EINVAL;
    int status = 0;
    auto v = current_view(&status);
    if (!v) return status;
    for (const view::port_entry& e : v->ports) {
        const port& p = *e.p;
        const port_counters& c = p.stats;
        lldp_port_stats rec{};
        rec.port_num = p.port_num;
        rec.admin_status = p.admin_status;
        rec.notification_enable = p.notification_enable ? 1 : 0;
        rec.tlvs_tx = p.tlvs_tx;
        rec.man_addr_tx = p.man_addr_tx ? 1 : 0;
        // Modulo 2^32, as a 32-bit counter of the daemon would read.
        rec.tx_frames = uint32_t(c.tx_frames);
        rec.rx_frames_discarded = uint32_t(c.rx_frames_discarded);
        rec.rx_frames_errors = uint32_t(c.rx_frames_errors);
        rec.rx_frames = uint32_t(c.rx_frames);
        rec.rx_tlvs_discarded = uint32_t(c.rx_tlvs_discarded);
        rec.rx_tlvs_unrecognized = uint32_t(c.rx_tlvs_unrecognized);
        rec.ageouts = uint32_t(c.ageouts);
        rec.inserts = uint32_t(c.inserts);
        rec.deletes = uint32_t(c.deletes);
        rec.drops = uint32_t(c.drops);
        if (int rc = cb(&rec, context, nullptr)) return rc;
    }
    return 0;
}

int lldp_client_iter_local_org_ext(lldp_client_callback cb, void* context) {
    if (int rc = PLATFORM_FAULT("lldp_client_iter_local_org_ext")) return rc;
    if (!cb) return EINVAL;
    int status = 0;
    auto v = current_view(&status);
    if (!v) return status;
    built_ext b;
    for (const view::port_entry& e : v->ports) {
        fill_ext(b, e.p->ext, true);
        b.rec.port_num = e.p->port_num;
        if (int rc = cb(&b.rec, context, nullptr)) return rc;
    }
    return 0;
}

int lldp_client_iter_remote_org_ext(lldp_client_callback cb, void* context) {
    if (int rc = PLATFORM_FAULT("lldp_client_iter_remote_org_ext")) return rc;
    if (!cb) return EINVAL;
    int status = 0;
    auto v = current_view(&status);
    if (!v) return status;
    built_ext b;
    for (const view::port_entry& e : v->ports) {
        for (const neighbor* n : e.neighbors) {
            fill_ext(b, n->ext, false);
            b.rec.port_num = e.p->port_num;
            b.rec.time_mark = n->time_mark;
            b.rec.rem_index = n->rem_index;
            if (int rc = cb(&b.rec, context, nullptr)) return rc;
        }
    }
    return 0;
}

int lldp_client_get_remote_stats(lldp_client_remote_stats* out) {
    if (int rc = PLATFORM_FAULT("lldp_client_get_remote_stats")) return rc;
    if (!out) return EINVAL;
    int status = 0;
    auto v = current_view(&status);
    if (!v) return status;
    // Unsigned sums wrap: the sum modulo 2^64, then 2^32, is the sum modulo 2^32.
    uint64_t inserts = 0, deletes = 0, drops = 0, ageouts = 0;
    for (const view::port_entry& e : v->ports) {
        inserts += e.p->stats.inserts;
        deletes += e.p->stats.deletes;
        drops += e.p->stats.drops;
        ageouts += e.p->stats.ageouts;
    }
    *out = {v->topo->remote_tables_last_change, uint32_t(inserts), uint32_t(deletes), uint32_t(drops),
            uint32_t(ageouts)};
    return 0;
}

int lldp_client_get_generation(lldp_client_generation* out) {
    if (int rc = PLATFORM_FAULT("lldp_client_get_generation")) return rc;
    if (!out) return EINVAL;
    int status = 0;
    auto v = current_view(&status);  // counts a change the source reports now
    if (!v) return status;
    state& s = the_state();
    std::lock_guard lock(s.mutex);
    *out = s.generation;
    return 0;
}

void lldp_client_set_time_origin(int64_t unix_centiseconds) {
    PLATFORM_FAULT("lldp_client_set_time_origin");  // counted; setting cannot fail
    time_origin.store(unix_centiseconds, std::memory_order_relaxed);
}

}  // extern "C"
