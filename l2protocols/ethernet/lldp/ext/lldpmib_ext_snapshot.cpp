// The one snapshot of what the client gave (configuration, port records,
// remote-table counters, local management addresses), reused while the
// freshness rule the module's snapshots follow allows, whatever asks in
// between.
#include <errno.h>
#include <pthread.h>
#include <string.h>

#include <algorithm>

#include "lldpmib_addr_key.h"
#include "lldpmib_enable.h"
#include "lldpmib_freshness.h"
#include "lldpmib_ext_internal.h"
#include "platform_sys.h"

uint32_t lldpmib_ext_router_type = 25;

namespace {

pthread_mutex_t data_mutex = PTHREAD_MUTEX_INITIALIZER;
lldpmib_ext_data data;
bool fetched = false;
lldpmib_data_stamp fetched_stamp;

int collect_port(void* record, void* context, void*) {
    static_cast<std::vector<lldp_port_stats>*>(context)->push_back(
        *static_cast<const lldp_port_stats*>(record));
    return 0;
}

// A local address as the module's lldpLocManAddrTable instance (IPv4 is held
// as a host-order number).
lldpmib_ext_man_addr man_addr_of(const lldp_addr_element* e) {
    if (e->addr_type != 0) return {2, std::vector<uint8_t>(e->addr, e->addr + 16)};
    uint32_t host;
    memcpy(&host, e->addr, sizeof host);
    return {1, {uint8_t(host >> 24), uint8_t(host >> 16), uint8_t(host >> 8), uint8_t(host)}};
}

struct man_addr_answer {
    bool found = false;
    lldp_addr_element element{};
};

// The client calls back with (record, list, context).
int take_first_address(void* record, void*, void* context) {
    const auto* rec = static_cast<const lldp_local_ma_td*>(record);
    auto* answer = static_cast<man_addr_answer*>(context);
    if (rec != nullptr && rec->addrs != nullptr) {
        answer->found = true;
        answer->element = *rec->addrs;
        answer->element.next = nullptr;
    }
    return 0;
}

// Every distinct local address in the order the client walks them, which is
// the module's instance order (IPv4 before IPv6, each by address).
bool fetch_man_addrs(std::vector<lldpmib_ext_man_addr>* out) {
    lldp_addr_element key{};
    for (;;) {
        man_addr_answer answer;
        if (lldp_client_get_next_if_local_ma(0, &key, take_first_address, &answer, nullptr) != 0)
            return false;
        if (!answer.found) return true;
        out->push_back(man_addr_of(&answer.element));
        key = answer.element;
        key.next = nullptr;
        if (!lldpmib_addr_key_after(&key)) return true;
    }
}

void fetch(lldpmib_ext_data* d) {
    *d = lldpmib_ext_data{};
    d->has_config = lldp_client_get_config(&d->config) == 0;
    d->has_ports = lldp_client_iter_port_stats(collect_port, &d->ports) == 0;
    if (!d->has_ports) d->ports.clear();
    std::stable_sort(d->ports.begin(), d->ports.end(),
                     [](const lldp_port_stats& a, const lldp_port_stats& b) {
                         return a.port_num < b.port_num;
                     });
    d->has_remote = lldp_client_get_remote_stats(&d->remote) == 0;
    d->has_man_addrs = fetch_man_addrs(&d->man_addrs);
    if (!d->has_man_addrs) d->man_addrs.clear();
}

}  // namespace

const lldpmib_ext_data* lldpmib_ext_data_lock(void) {
    int status = 0;
    if (!lldpmib_lldp_served(lldpmib_lldp_state_of(lldpmib_ext_router_type, &status)))
        return nullptr;
    pthread_mutex_lock(&data_mutex);
    lldpmib_data_stamp now = lldpmib_data_stamp_now();
    if (!fetched || !lldpmib_data_fresh(&fetched_stamp, &now)) {
        fetch(&data);
        fetched = true;
        fetched_stamp = now;
    }
    return &data;
}

void lldpmib_ext_data_unlock(void) { pthread_mutex_unlock(&data_mutex); }

void lldpmib_ext_data_drop(void) {
    pthread_mutex_lock(&data_mutex);
    data = lldpmib_ext_data{};
    fetched = false;
    pthread_mutex_unlock(&data_mutex);
}
