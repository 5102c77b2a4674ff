// lldpRemManAddrTable: rows are (neighbour, management address) pairs.
#include <string.h>

#include "lldpmib_shim_remote.h"

namespace {

const char kShim[] = "lldpmib_shim_remote_ma_entry_get";

lldpRemManAddrEntry_t lldpRemManAddrEntry;
lldpmib_snapshot remote_ma_snapshot;

const lldpmib_snapshot_kind remote_ma_kind = {
    "LLDP MIB remote entry list",
    lldpmib_free_neighbor_copy,
    lldpmib_destroy_remote_entry_list,
    "VERBOSE[%s] Reset entry_addr_count:0, total_addr_entries:0, total_entries:0\n",
    "VERBOSE[%s] current timestamp not matching cached timestamp,Remote management address "
    "table cache deleted\n",
    "MIB[%s] Remote list create failed",
    "VERBOSE[%s] Removing Remote entry from LLDP MIB Remote Management address cache",
    "VERBOSE[%s] Destroying LLDP MIB Remote Management address cache",
    "VERBOSE[%s] Purging out LLDP MIB Remote Management address cache\n",
};

struct remote_ma_request {
    ma_search_ctx ctx;
    const OctetString* addr;
    int32_t subtype;              // shown, never compared
    lldp_addr_element asked_key;  // built from the asked address
    lldp_addr_element walk_key;   // what the port iterations look for
    uint32_t walk_time_mark;
    uint32_t walk_rem_index;
};

remote_ma_request* ma_req(lldpmib_remote_request* rq) { return (remote_ma_request*)rq->table; }

bool all_zero(const uint8_t* bytes, size_t n) {
    for (size_t i = 0; i < n; i++)
        if (bytes[i] != 0) return false;
    return true;
}

// Only addresses of a known type that are not all zero make rows.
bool selectable(const lldp_addr_element* e) {
    if (e->addr_type == 0) return !all_zero(e->addr, 4);
    if (e->addr_type == 1) return !all_zero(e->addr, 16);
    return false;
}

void build_key(const OctetString* addr, lldp_addr_element* key) {
    memset(key, 0, sizeof *key);
    if (addr == nullptr || addr->octet_ptr == nullptr) return;
    if (addr->length == 16) {
        key->addr_type = 1;
        memcpy(key->addr, addr->octet_ptr, 16);
    } else if (addr->length == 4) {
        memcpy(key->addr, addr->octet_ptr, 4);
    }
}

int fill_remote_ma(const neighbor_td* n, const lldp_addr_element* e, int nominator) {
    lldpRemManAddrEntry_t* row = &lldpRemManAddrEntry;
    if (e->addr_type > 1) return 0;
    row->lldpRemManAddrSubtype = e->addr_subtype;
    row->lldpRemManAddr = MakeOctetString(e->addr, e->addr_type == 1 ? 16 : 4);
    row->lldpRemManAddrIfSubtype = 2;
    row->lldpRemManAddrIfId = (int32_t)e->if_id;
    row->lldpRemManAddrOID = nominator == 4 ? MakeOID(nullptr, 2) : nullptr;
    if (n->mib != nullptr) {
        row->lldpRemTimeMark = n->mib->time_mark;
        row->lldpRemLocalPortNum = (int32_t)n->mib->port_num;
        row->lldpRemIndex = (int32_t)n->mib->rem_index;
    }
    if (row->lldpRemManAddr == nullptr || (nominator == 4 && row->lldpRemManAddrOID == nullptr)) {
        lldpmib_free_remote_ma_row();
        return 0;
    }
    return 1;
}

// ---- Hooks of the shared skeleton ----

void ma_checking(lldpmib_remote_request* rq) {
    remote_ma_request* r = ma_req(rq);
    LLDPMIB_VERBOSE(kShim,
                    "checking for timemark:%d, interface: %d,remindex:%d, addrsubtype:%d, addr:",
                    (int)rq->time_mark, (int)rq->port, (int)rq->rem_index, (int)r->subtype);
    if (r->addr != nullptr && r->addr->octet_ptr != nullptr) {
        for (int32_t i = 0; i < r->addr->length; i++)
            LLDPMIB_VERBOSE(kShim, "%2.2x:", r->addr->octet_ptr[i]);
        LLDPMIB_VERBOSE(kShim, "\n");
    }
    build_key(r->addr, &r->asked_key);
}

int ma_find(lldpmib_remote_request* rq) {
    remote_ma_request* r = ma_req(rq);
    neighbor_td* n = nullptr;
    lldp_addr_element* e =
        lldpmib_find_remote_ma_entry(rq->search_type, rq->time_mark, rq->port, rq->rem_index,
                                     &r->asked_key, remote_ma_snapshot.list, &n);
    if (e == nullptr) return 0;
    LLDPMIB_VERBOSE(kShim, "Cached for timemark:%d, interface: %d,remindex:%d\n",
                    (int)rq->time_mark, (int)n->mib->port_num, (int)n->mib->rem_index);
    rq->answer = n;
    rq->element = e;
    return 1;
}

void ma_walk_key(lldpmib_remote_request* rq, int from) {
    remote_ma_request* r = ma_req(rq);
    r->walk_time_mark = from == LLDPMIB_WALK_FAILED ? 0 : rq->time_mark;
    if (from == LLDPMIB_WALK_ASKED) {
        r->walk_rem_index = (uint32_t)rq->rem_index;
        r->walk_key = r->asked_key;
    } else {
        r->walk_rem_index = 0;
        memset(&r->walk_key, 0, sizeof r->walk_key);
    }
}

void* ma_prepare(lldpmib_remote_request* rq, uint32_t port, uint32_t ifhandle) {
    remote_ma_request* r = ma_req(rq);
    memset(&r->ctx, 0, sizeof r->ctx);
    r->ctx.rem_time_mark = r->walk_time_mark;
    r->ctx.port_num = port;
    r->ctx.rem_index = r->walk_rem_index;
    r->ctx.key = &r->walk_key;
    r->ctx.search_type = (uint32_t)rq->search_type;
    LLDPMIB_VERBOSE(kShim, "Attempt rem entry for port num:%d\n", (int)port);
    return &r->ctx;
}

void ma_iterated(lldpmib_remote_request* rq) {
    remote_ma_snapshot.total_entries += ma_req(rq)->ctx.addr_entries;
    LLDPMIB_VERBOSE(kShim, "number of addr entries:%d\n", (int)remote_ma_snapshot.total_entries);
}

int ma_selected(lldpmib_remote_request* rq) {
    remote_ma_request* r = ma_req(rq);
    if (r->ctx.result == nullptr || r->ctx.result_addr == nullptr) return 0;
    rq->answer = r->ctx.result;
    rq->element = r->ctx.result_addr;
    return 1;
}

int ma_fill(lldpmib_remote_request* rq) {
    return fill_remote_ma(rq->answer, (const lldp_addr_element*)rq->element, rq->nominator);
}

int ma_last_element(const lldpmib_remote_request* rq) {
    return ((const lldp_addr_element*)rq->element)->next == nullptr;
}

const lldpmib_remote_table remote_ma_table = {
    kShim,
    &remote_ma_snapshot,
    &remote_ma_kind,
    lldp_client_get_next_if_remote_ma,
    lldpmib_get_first_ma_neighbor_td,
    4,
    "VERBOSE[%s] Remote MA cache already exist\n",
    "VERBOSE[%s] Creating Remote MA cache\n",
    "VERBOSE[%s] Found lldpRemManAddrTable data forifIndex %d",
    "ERROR[%s] Failed retrieving lldpRemManAddrTable datafor ifIndex %d",
    "VERBOSE[%s] entry_count:%d, total_entries:%d\n",
    0,  // totals_with_neighbors
    0,  // port_walk_lines
    0,  // total_is_list_size
    1,  // consume_walked
    0,  // purge_walk_end
    1,  // purge_ports_exhausted: copies never served must not outlive the walk
    ma_checking,
    ma_find,
    ma_walk_key,
    ma_prepare,
    ma_iterated,
    ma_selected,
    ma_fill,
    ma_last_element,
};

}  // namespace

extern "C" {

void lldpmib_free_remote_ma_row(void) {
    lldpRemManAddrEntry_t* row = &lldpRemManAddrEntry;
    FreeOctetString(row->lldpRemManAddr);
    row->lldpRemManAddr = nullptr;
    FreeOID(row->lldpRemManAddrOID);
    row->lldpRemManAddrOID = nullptr;
    memset(row, 0, sizeof *row);
}

int lldpmib_compare_ma_key(uint32_t port_a, uint32_t index_a, const lldp_addr_element* a,
                           uint32_t port_b, uint32_t index_b, const lldp_addr_element* b) {
    int cmp = lldpmib_compare_key(port_a, index_a, port_b, index_b);
    if (cmp != 0) return cmp;
    return lldpmib_compare_addr_entry(a, b);
}

lldp_addr_element* lldpmib_find_remote_ma_entry(int searchType, uint32_t timeMark,
                                                int32_t localPortNum, int32_t remIndex,
                                                const lldp_addr_element* key, kel_list_handle list,
                                                neighbor_td** result_out) {
    const char* fn = "lldpmib_find_remote_ma_entry";
    if (key == nullptr || result_out == nullptr) return nullptr;
    neighbor_td* best = nullptr;
    lldp_addr_element* best_addr = nullptr;
    for (kel_list_node_t* node = kel_list_get_head(list); node != nullptr;
         node = lldpmib_node_next(node)) {
        neighbor_td* n = (neighbor_td*)lldpmib_node_data(node);
        if (n == nullptr) continue;
        if (n->detail == nullptr || n->mib == nullptr) {
            LLDPMIB_VERBOSE(fn, "NO detail or mib, so skip it.");
            continue;
        }
        const lldp_neighbor_mib* mib = n->mib;
        if (mib->time_mark < timeMark) {
            LLDPMIB_VERBOSE(fn, "time mark does not qualify, so skip it.");
            continue;
        }
        for (lldp_addr_element* e = n->detail->man_addrs; e != nullptr; e = e->next) {
            if (!selectable(e)) continue;
            int cmp = lldpmib_compare_ma_key(mib->port_num, mib->rem_index, e,
                                             (uint32_t)localPortNum, (uint32_t)remIndex, key);
            if (searchType == EXACT) {
                if (cmp == 0) {
                    *result_out = n;
                    return e;
                }
            } else if (searchType == NEXT && cmp >= 0) {
                if (best_addr == nullptr ||
                    lldpmib_compare_ma_key(best->mib->port_num, best->mib->rem_index, best_addr,
                                           mib->port_num, mib->rem_index, e) > 0) {
                    best = n;
                    best_addr = e;
                }
            }
        }
    }
    *result_out = best;
    return best_addr;
}

int lldpmib_get_first_ma_neighbor_td(void* record, void* list, void* context) {
    const char* fn = "lldpmib_get_first_ma_neighbor_td";
    LLDPMIB_TRACE(fn);
    const neighbor_td* rec = (const neighbor_td*)record;
    ma_search_ctx* ctx = (ma_search_ctx*)context;
    if (rec == nullptr || ctx == nullptr) return 0;
    if (rec->port_marker != 0) {
        if (rec->mib != nullptr) ctx->port_num = rec->mib->port_num;
        return 0;
    }
    if (rec->detail == nullptr || rec->detail->man_addrs == nullptr) return 0;
    if (!kel_list_is_valid((kel_list_handle)list)) return 0;
    int rc = 0;
    neighbor_td* copy = lldpmib_store_neighbor(list, rec, fn, &rc);
    if (copy == nullptr) return rc;
    if (copy->detail == nullptr || copy->mib == nullptr) {
        LLDPMIB_VERBOSE(fn, "NO detail or mib, so skip it.");
        return 0;
    }
    const lldp_neighbor_mib* mib = copy->mib;
    if (mib->time_mark < ctx->rem_time_mark) {
        LLDPMIB_VERBOSE(fn, "time mark does not qualify, so skip it.");
        return 0;
    }
    if (ctx->key == nullptr) return 0;
    for (lldp_addr_element* e = copy->detail->man_addrs; e != nullptr; e = e->next) {
        if (!selectable(e)) continue;
        int cmp = lldpmib_compare_ma_key(mib->port_num, mib->rem_index, e, ctx->port_num,
                                         ctx->rem_index, ctx->key);
        if (ctx->search_type == NEXT) {
            if (cmp < 0) continue;
            ctx->addr_entries++;
            if (ctx->result_addr == nullptr ||
                lldpmib_compare_ma_key(ctx->result->mib->port_num, ctx->result->mib->rem_index,
                                       ctx->result_addr, mib->port_num, mib->rem_index, e) > 0) {
                ctx->result = copy;
                ctx->result_addr = e;
            }
        } else if (ctx->search_type == EXACT && cmp == 0) {
            ctx->result = copy;
            ctx->result_addr = e;
            ctx->addr_entries++;
            return 0;
        }
    }
    return 0;
}

lldpRemManAddrEntry_t* lldpmib_shim_remote_ma_entry_get(int serialNum, void* contextInfo,
                                                        int nominator, int searchType,
                                                        uint32_t timeMark, int32_t localPortNum,
                                                        int32_t remIndex, int32_t addrSubtype,
                                                        OctetString* addr) {
    LLDPMIB_TRACE(kShim);
    lldpmib_lock();
    remote_ma_request r;
    memset(&r, 0, sizeof r);
    r.addr = addr;
    r.subtype = addrSubtype;
    lldpmib_free_remote_ma_row();
    lldpmib_remote_request rq = {nominator, searchType, timeMark, localPortNum, remIndex,
                                 nullptr,   nullptr,    &r};
    int filled = lldpmib_remote_shim_run(&remote_ma_table, &rq);
    memset(&r, 0, sizeof r);
    lldpmib_unlock();
    return filled ? &lldpRemManAddrEntry : nullptr;
}

}  // extern "C"
