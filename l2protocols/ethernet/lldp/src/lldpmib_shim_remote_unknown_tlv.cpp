// lldpRemUnknownTLVTable: rows are (neighbour, unrecognised TLV) pairs.
#include <string.h>

#include "lldpmib_shim_remote.h"

namespace {

const char kShim[] = "lldpmib_shim_remote_unknown_tlv_entry_get";
const char kCallback[] = "lldpmib_get_first_unknown_tlv_neighbor_td";
const char kFind[] = "lldpmib_find_unknown_tlv";

lldpRemUnknownTLVEntry_t lldpRemUnknownTLVEntry;
lldpmib_snapshot unknown_tlv_snapshot;

const lldpmib_snapshot_kind unknown_tlv_kind = {
    "LLDP MIB remote entry list",
    lldpmib_free_neighbor_copy,
    lldpmib_destroy_remote_entry_list,
    "VERBOSE[%s] Reset entry_unknown_count:0, total_unknown_entries:0, total_entries:0\n",
    "VERBOSE[%s] current timestamp not matching cached timestamp,cache deleted\n",
    "MIB[%s] Remote list create failed",
    "VERBOSE[%s] Removing Remote entry from LLDP MIB Remote Unknown TLV cache",
    "VERBOSE[%s] Destroying LLDP MIB Remote Unknown TLV cache\n",
    "VERBOSE[%s] Purging out LLDP MIB Remote Unknown TLV cache\n",
};

// ---- Element operations for the shared callback and search ----

void* tlv_head(const neighbor_td* n) { return n->mib != nullptr ? n->mib->unknown_tlvs : nullptr; }

void* tlv_exact(void* head, const void* key) {
    int32_t type = *(const int32_t*)key;
    for (unknown_tlv_element* e = (unknown_tlv_element*)head; e != nullptr; e = e->next)
        if ((int32_t)e->type == type) return e;
    return nullptr;
}

void* tlv_next(void* head, const void* key, int32_t* count) {
    return lldpmib_find_next_unknown_tlv((unknown_tlv_element*)head, *(const int32_t*)key, count);
}

void* tlv_smallest(void* head, int32_t* count) {
    return lldpmib_find_smallest_unknown_tlv((unknown_tlv_element*)head, count);
}

void tlv_find_end(const neighbor_td* best, const void* element) {
    LLDPMIB_VERBOSE(kFind, "results: best_neighbor:%s, unknown entry:%s\n",
                    best != nullptr ? "NON-NULL" : "NULL", element != nullptr ? "NON-NULL" : "NULL");
}

const lldpmib_tlv_ops unknown_tlv_ops = {
    kCallback, kFind, tlv_head, tlv_exact, tlv_next, tlv_smallest,
    "VERBOSE[%s] matching Unknown TLV",
    1,  // find_invalid_entry_is_mib
    1,  // callback_tail_line
    1,  // callback_key_line
    tlv_find_end,
};

lldpmib_tlv_view view_of(unknown_tlv_search_ctx* c) {
    return lldpmib_tlv_view{&c->best_neighbor, (void**)&c->unknown_entry, &c->query_time_mark,
                            &c->query_port_num, &c->query_rem_index, &c->neigh_count,
                            &c->tlv_count,      &c->searchType,      &c->query_tlv_type};
}

// ---- Hooks of the shared skeleton ----

struct unknown_tlv_request {
    unknown_tlv_search_ctx ctx;
    int32_t tlv_type;
    uint32_t walk_time_mark;
    int32_t walk_rem_index;
    int32_t walk_tlv_type;
};

unknown_tlv_request* tlv_req(lldpmib_remote_request* rq) {
    return (unknown_tlv_request*)rq->table;
}

void tlv_checking(lldpmib_remote_request* rq) {
    LLDPMIB_VERBOSE(kShim,
                    "Checking for timemark:%d, interface: %d,remindex:%d, remUnknownTLVType:%d\n",
                    (int)rq->time_mark, (int)rq->port, (int)rq->rem_index,
                    (int)tlv_req(rq)->tlv_type);
}

int tlv_find(lldpmib_remote_request* rq) {
    unknown_tlv_request* r = tlv_req(rq);
    r->ctx.unknown_entry =
        lldpmib_find_unknown_tlv(rq->search_type, rq->time_mark, rq->port, rq->rem_index,
                                 r->tlv_type, unknown_tlv_snapshot.list, &r->ctx.best_neighbor);
    if (r->ctx.unknown_entry == nullptr || r->ctx.best_neighbor == nullptr) return 0;
    const lldp_neighbor_mib* mib = r->ctx.best_neighbor->mib;
    if (mib != nullptr)
        LLDPMIB_VERBOSE(kShim, "Cached for timemark:%d, interface: %d,remindex:%d\n",
                        (int)mib->time_mark, (int)mib->port_num, (int)mib->rem_index);
    rq->answer = r->ctx.best_neighbor;
    rq->element = r->ctx.unknown_entry;
    return 1;
}

void tlv_walk_key(lldpmib_remote_request* rq, int from) {
    unknown_tlv_request* r = tlv_req(rq);
    bool asked = from == LLDPMIB_WALK_ASKED;
    r->walk_time_mark = from == LLDPMIB_WALK_FAILED ? 0 : rq->time_mark;
    r->walk_rem_index = asked ? rq->rem_index : 0;
    r->walk_tlv_type = asked ? r->tlv_type : 0;
}

void* tlv_prepare(lldpmib_remote_request* rq, uint32_t port, uint32_t ifhandle) {
    unknown_tlv_request* r = tlv_req(rq);
    memset(&r->ctx, 0, sizeof r->ctx);
    r->ctx.query_time_mark = r->walk_time_mark;
    r->ctx.query_port_num = (int32_t)port;
    r->ctx.query_rem_index = r->walk_rem_index;
    r->ctx.query_tlv_type = r->walk_tlv_type;
    r->ctx.searchType = rq->search_type;
    LLDPMIB_VERBOSE(kShim, "Attempt rem entry for port num:%d\n", (int)port);
    return &r->ctx;
}

void tlv_iterated(lldpmib_remote_request* rq) {
    unknown_tlv_request* r = tlv_req(rq);
    unknown_tlv_snapshot.neighbors += (uint32_t)r->ctx.neigh_count;
    unknown_tlv_snapshot.total_entries = (uint32_t)r->ctx.tlv_count;
    LLDPMIB_VERBOSE(kShim, "number of interfaces:%d\n", (int)unknown_tlv_snapshot.neighbors);
    LLDPMIB_VERBOSE(kShim, "number of unknown entries:%d\n",
                    (int)unknown_tlv_snapshot.total_entries);
}

int tlv_selected(lldpmib_remote_request* rq) {
    unknown_tlv_request* r = tlv_req(rq);
    if (r->ctx.best_neighbor == nullptr || r->ctx.unknown_entry == nullptr) return 0;
    rq->answer = r->ctx.best_neighbor;
    rq->element = r->ctx.unknown_entry;
    return 1;
}

int tlv_fill(lldpmib_remote_request* rq) {
    const unknown_tlv_element* e = (const unknown_tlv_element*)rq->element;
    lldpRemUnknownTLVEntry_t* row = &lldpRemUnknownTLVEntry;
    row->lldpRemUnknownTLVType = e->type;
    FreeOctetString(row->lldpRemUnknownTLVInfo);
    row->lldpRemUnknownTLVInfo = MakeOctetString(e->info, e->info_len);
    if (row->lldpRemUnknownTLVInfo == nullptr) {
        lldpmib_free_remote_unknown_tlv_row();
        return 0;
    }
    const lldp_neighbor_mib* mib = rq->answer->mib;
    if (mib != nullptr) {
        row->lldpRemTimeMark = mib->time_mark;
        row->lldpRemLocalPortNum = (int32_t)mib->port_num;
        row->lldpRemIndex = (int32_t)mib->rem_index;
    }
    return 1;
}

int tlv_last_element(const lldpmib_remote_request* rq) {
    return ((const unknown_tlv_element*)rq->element)->next == nullptr;
}

const lldpmib_remote_table unknown_tlv_table = {
    kShim,
    &unknown_tlv_snapshot,
    &unknown_tlv_kind,
    lldp_client_get_next_if_remote_unknown_tlv,
    lldpmib_get_first_unknown_tlv_neighbor_td,
    1,
    "VERBOSE[%s] Remote Unknown TLV cache already exist\n",
    "VERBOSE[%s] Creating Remote Unknown TLV table cache\n",
    "VERBOSE[%s] Found lldpRemUnknownTLVTable data forifIndex %d",
    "ERROR[%s] Failed retrieving lldpRemUnknownTLVTable datafor ifIndex %d",
    "VERBOSE[%s] total interfaces:%d, entry_count:%d,total_unknown_entries:%d\n",
    1,  // totals_with_neighbors
    0,  // port_walk_lines
    0,  // total_is_list_size
    1,  // consume_walked
    0,  // purge_walk_end
    1,  // purge_ports_exhausted: copies never served must not outlive the walk
    tlv_checking,
    tlv_find,
    tlv_walk_key,
    tlv_prepare,
    tlv_iterated,
    tlv_selected,
    tlv_fill,
    tlv_last_element,
};

}  // namespace

extern "C" {

void lldpmib_free_remote_unknown_tlv_row(void) {
    FreeOctetString(lldpRemUnknownTLVEntry.lldpRemUnknownTLVInfo);
    lldpRemUnknownTLVEntry.lldpRemUnknownTLVInfo = nullptr;
    memset(&lldpRemUnknownTLVEntry, 0, sizeof lldpRemUnknownTLVEntry);
}

unknown_tlv_element* lldpmib_find_next_unknown_tlv(unknown_tlv_element* head, int32_t tlvType,
                                                   int32_t* count) {
    LLDPMIB_TRACE("lldpmib_find_next_unknown_tlv");
    unknown_tlv_element* answer = nullptr;
    int32_t counted = 0;
    for (unknown_tlv_element* e = head; e != nullptr; e = e->next) {
        if ((uint32_t)e->type < (uint32_t)tlvType) continue;
        counted++;
        if (answer == nullptr || e->type < answer->type) answer = e;
    }
    if (count != nullptr) *count += counted;
    return answer;
}

unknown_tlv_element* lldpmib_find_smallest_unknown_tlv(unknown_tlv_element* head, int32_t* count) {
    LLDPMIB_TRACE("lldpmib_find_smallest_unknown_tlv");
    unknown_tlv_element* answer = nullptr;
    int32_t counted = 0;
    for (unknown_tlv_element* e = head; e != nullptr; e = e->next) {
        counted++;
        if (answer == nullptr || e->type < answer->type) answer = e;
    }
    if (count != nullptr) *count += counted;
    return answer;
}

unknown_tlv_element* lldpmib_find_unknown_tlv(int searchType, uint32_t timeMark,
                                              int32_t localPortNum, int32_t remIndex,
                                              int32_t tlvType, kel_list_handle list,
                                              neighbor_td** result) {
    LLDPMIB_VERBOSE(kFind, "searchType: %x, timeMark: %x, localPortNum: %x,remIndex: %x\n",
                    (unsigned)searchType, timeMark, (unsigned)localPortNum, (unsigned)remIndex);
    return (unknown_tlv_element*)lldpmib_tlv_find(&unknown_tlv_ops, searchType, timeMark,
                                                  localPortNum, remIndex, &tlvType, list, result);
}

int lldpmib_get_first_unknown_tlv_neighbor_td(void* record, void* list, void* context) {
    if (context == nullptr) return lldpmib_tlv_callback(&unknown_tlv_ops, record, list, nullptr);
    lldpmib_tlv_view v = view_of((unknown_tlv_search_ctx*)context);
    return lldpmib_tlv_callback(&unknown_tlv_ops, record, list, &v);
}

lldpRemUnknownTLVEntry_t* lldpmib_shim_remote_unknown_tlv_entry_get(
    int serialNum, void* contextInfo, int nominator, int searchType, uint32_t timeMark,
    int32_t localPortNum, int32_t remIndex, int32_t tlvType) {
    LLDPMIB_TRACE(kShim);
    lldpmib_lock();
    unknown_tlv_request r;
    memset(&r, 0, sizeof r);
    r.tlv_type = tlvType;
    lldpmib_free_remote_unknown_tlv_row();
    lldpmib_remote_request rq = {nominator, searchType, timeMark, localPortNum, remIndex,
                                 nullptr,   nullptr,    &r};
    int filled = lldpmib_remote_shim_run(&unknown_tlv_table, &rq);
    memset(&r, 0, sizeof r);
    lldpmib_unlock();
    return filled ? &lldpRemUnknownTLVEntry : nullptr;
}

}  // extern "C"
