// lldpRemOrgDefInfoTable: rows are (neighbour, organisationally defined TLV)
// pairs, ordered by the neighbour's key, then (OUI, subtype, index).
#include <string.h>

#include "lldpmib_shim_remote.h"

namespace {

const char kShim[] = "lldpmib_shim_remote_org_def_info_entry_get";
const char kCallback[] = "lldpmib_get_first_oui_neighbor_td";
const char kFind[] = "lldpmib_find_org_def_tlv";
// Above every 24-bit OUI: a key past all of a neighbour's elements.
const uint32_t kPastEveryOui = 0x1000000u;

lldpRemOrgDefInfoEntry_t lldpRemOrgDefInfoEntry;
lldpmib_snapshot oui_snapshot;

const lldpmib_snapshot_kind oui_kind = {
    "LLDP MIB remote entry list",
    lldpmib_free_neighbor_copy,
    lldpmib_destroy_remote_entry_list,
    "VERBOSE[%s] Reset entry_oui_count:0, total_oui_entries:0, total_entries:0\n",
    "VERBOSE[%s] current timestamp not matching cached timestamp,cache deleted\n",
    "MIB[%s] Remote list create failed",
    "VERBOSE[%s] Removing Remote entry from LLDP MIB Remote OUI cache",
    "VERBOSE[%s] Destroying LLDP MIB Remote OUI cache\n",
    "VERBOSE[%s] Purging out LLDP MIB Remote OUI cache\n",
};

struct org_def_key {
    uint32_t oui;
    int32_t subtype;
    int32_t index;
};

// Differences clamped to 32 bits so that only their sign matters.
int clamp_difference(int64_t d) {
    if (d > INT32_MAX) return INT32_MAX;
    if (d < INT32_MIN) return INT32_MIN;
    return (int)d;
}

int compare_org_key(uint32_t oui_a, uint8_t subtype_a, int32_t index_a, uint32_t oui_b,
                    uint8_t subtype_b, int32_t index_b) {
    if (oui_a != oui_b) return clamp_difference((int64_t)oui_a - (int64_t)oui_b);
    if (subtype_a != subtype_b) return (int)subtype_a - (int)subtype_b;
    return clamp_difference((int64_t)index_a - (int64_t)index_b);
}

// ---- Element operations for the shared callback and search ----

void* oui_head(const neighbor_td* n) { return n->mib != nullptr ? n->mib->org_def_tlvs : nullptr; }

// Full-width subtype in the callback's key; the search hands its 8-bit one.
void* oui_exact(void* head, const void* key) {
    const org_def_key* k = (const org_def_key*)key;
    for (org_def_tlv_element* e = (org_def_tlv_element*)head; e != nullptr; e = e->next)
        if (e->oui == k->oui && (int32_t)e->subtype == k->subtype && e->index == k->index) return e;
    return nullptr;
}

void* oui_next(void* head, const void* key, int32_t* count) {
    const org_def_key* k = (const org_def_key*)key;
    return lldpmib_find_next_org_def_info((org_def_tlv_element*)head, k->oui, k->subtype, k->index,
                                          count);
}

void* oui_smallest(void* head, int32_t* count) {
    return lldpmib_find_smallest_org_def_info((org_def_tlv_element*)head, count);
}

void oui_find_end(const neighbor_td* best, const void* element) {
    const org_def_tlv_element* e = (const org_def_tlv_element*)element;
    if (e != nullptr)
        LLDPMIB_VERBOSE(kFind, "best oui info, OUI:%x:%x subtypeindex:%d\n", e->oui,
                        (unsigned)e->subtype, (int)e->index);
}

const lldpmib_tlv_ops oui_ops = {
    kCallback, kFind, oui_head, oui_exact, oui_next, oui_smallest,
    "VERBOSE[%s] matching Org Def TLV",
    0,  // find_invalid_entry_is_mib
    0,  // callback_tail_line
    0,  // callback_key_line
    oui_find_end,
};

struct oui_request {
    org_def_search_ctx ctx;
    org_def_key asked;  // after normalisation of the subtype
    org_def_key shown;  // as asked, for the lines
    uint32_t walk_rem_index;
    org_def_key walk;
};

oui_request* oui_req(lldpmib_remote_request* rq) { return (oui_request*)rq->table; }

// ---- Hooks of the shared skeleton ----

void oui_checking(lldpmib_remote_request* rq) {
    oui_request* r = oui_req(rq);
    LLDPMIB_VERBOSE(kShim,
                    "checking for timemark:%d, interface: %d,remindex:%d, oui:%x:%x, "
                    "oui_subtype_index:%d\n",
                    (int)rq->time_mark, (int)rq->port, (int)rq->rem_index, r->shown.oui,
                    (unsigned)r->shown.subtype, (int)r->shown.index);
}

int oui_find(lldpmib_remote_request* rq) {
    oui_request* r = oui_req(rq);
    r->ctx.oui_entry = lldpmib_find_org_def_tlv(
        rq->search_type, rq->time_mark, rq->port, rq->rem_index, r->asked.oui,
        (uint8_t)r->asked.subtype, r->asked.index, oui_snapshot.list, &r->ctx.best_neighbor);
    if (r->ctx.oui_entry == nullptr || r->ctx.best_neighbor == nullptr) return 0;
    const lldp_neighbor_mib* mib = r->ctx.best_neighbor->mib;
    if (mib != nullptr)
        LLDPMIB_VERBOSE(kShim, "Cached for timemark:%d, interface: %d,remindex:%d\n",
                        (int)mib->time_mark, (int)mib->port_num, (int)mib->rem_index);
    rq->answer = r->ctx.best_neighbor;
    rq->element = r->ctx.oui_entry;
    return 1;
}

// The time mark asked for applies on every port of the walk.
void oui_walk_key(lldpmib_remote_request* rq, int from) {
    oui_request* r = oui_req(rq);
    if (from == LLDPMIB_WALK_ASKED) {
        r->walk_rem_index = (uint32_t)rq->rem_index;
        r->walk = r->asked;
    } else {
        r->walk_rem_index = 0;
        memset(&r->walk, 0, sizeof r->walk);
    }
}

void* oui_prepare(lldpmib_remote_request* rq, uint32_t port, uint32_t ifhandle) {
    oui_request* r = oui_req(rq);
    memset(&r->ctx, 0, sizeof r->ctx);
    r->ctx.query_time_mark = rq->time_mark;
    r->ctx.query_port_num = (int32_t)port;
    r->ctx.query_rem_index = (int32_t)r->walk_rem_index;
    r->ctx.query_oui = r->walk.oui;
    r->ctx.query_subtype = r->walk.subtype;
    r->ctx.query_index = r->walk.index;
    r->ctx.searchType = rq->search_type;
    LLDPMIB_VERBOSE(kShim,
                    "Attempt rem entry for port num:%d, rem_index:%d,oui:%x:%x, oui_index:%d\n",
                    (int)port, (int)r->walk_rem_index, r->walk.oui, (unsigned)r->walk.subtype,
                    (int)r->walk.index);
    return &r->ctx;
}

void oui_iterated(lldpmib_remote_request* rq) {
    oui_request* r = oui_req(rq);
    oui_snapshot.neighbors += (uint32_t)r->ctx.neigh_count;
    oui_snapshot.total_entries = (uint32_t)r->ctx.tlv_count;
}

int oui_selected(lldpmib_remote_request* rq) {
    oui_request* r = oui_req(rq);
    if (r->ctx.best_neighbor == nullptr || r->ctx.oui_entry == nullptr) return 0;
    rq->answer = r->ctx.best_neighbor;
    rq->element = r->ctx.oui_entry;
    return 1;
}

int oui_fill(lldpmib_remote_request* rq) {
    const org_def_tlv_element* e = (const org_def_tlv_element*)rq->element;
    lldpRemOrgDefInfoEntry_t* row = &lldpRemOrgDefInfoEntry;
    FreeOctetString(row->lldpRemOrgDefInfoOUI);
    row->lldpRemOrgDefInfoOUI = lldpmib_make_oui_octet_string(e->oui);
    LLDPMIB_VERBOSE(kShim, "OUI: 0x%x\n", e->oui);
    row->lldpRemOrgDefInfoSubtype = e->subtype;
    LLDPMIB_VERBOSE(kShim, "subtype:0x%x\n", (unsigned)e->subtype);
    row->lldpRemOrgDefInfoIndex = e->index;
    LLDPMIB_VERBOSE(kShim, "index: 0x%x\n", (unsigned)e->index);
    FreeOctetString(row->lldpRemOrgDefInfo);
    row->lldpRemOrgDefInfo = MakeOctetString(e->info, e->info_len);
    if (row->lldpRemOrgDefInfoOUI == nullptr || row->lldpRemOrgDefInfo == nullptr) {
        lldpmib_free_remote_org_def_info_row();
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

int oui_last_element(const lldpmib_remote_request* rq) {
    return ((const org_def_tlv_element*)rq->element)->next == nullptr;
}

const lldpmib_remote_table oui_table = {
    kShim,
    &oui_snapshot,
    &oui_kind,
    lldp_client_get_next_if_remote_org_def_tlv,
    lldpmib_get_first_oui_neighbor_td,
    3,
    "VERBOSE[%s] Remote Org Def table cache already exist\n",
    "VERBOSE[%s] Creating Remote Org Def table Cache\n",
    "VERBOSE[%s] Found lldpRemOrgDefInfoTable data forifIndex %d",
    "ERROR[%s] Failed retrieving lldpRemOrgDefInfoTable datafor ifIndex %d",
    "VERBOSE[%s] entry_count:%d, total_entries:%d\n",
    0,  // totals_with_neighbors
    0,  // port_walk_lines
    0,  // total_is_list_size
    1,  // consume_walked
    0,  // purge_walk_end
    1,  // purge_ports_exhausted: copies never served must not outlive the walk
    oui_checking,
    oui_find,
    oui_walk_key,
    oui_prepare,
    oui_iterated,
    oui_selected,
    oui_fill,
    oui_last_element,
};

}  // namespace

extern "C" {

void lldpmib_free_remote_org_def_info_row(void) {
    lldpRemOrgDefInfoEntry_t* row = &lldpRemOrgDefInfoEntry;
    FreeOctetString(row->lldpRemOrgDefInfoOUI);
    row->lldpRemOrgDefInfoOUI = nullptr;
    FreeOctetString(row->lldpRemOrgDefInfo);
    row->lldpRemOrgDefInfo = nullptr;
    memset(row, 0, sizeof *row);
}

uint32_t lldpmib_oui_to_uint(const OctetString* oui) {
    if (oui == nullptr || oui->length != 3 || oui->octet_ptr == nullptr) return 0;
    const unsigned char* o = oui->octet_ptr;
    return ((uint32_t)o[0] << 16) | ((uint32_t)o[1] << 8) | (uint32_t)o[2];
}

OctetString* lldpmib_make_oui_octet_string(uint32_t oui) {
    unsigned char octets[3] = {(unsigned char)(oui >> 16), (unsigned char)(oui >> 8),
                               (unsigned char)oui};
    return MakeOctetString(octets, 3);
}

int lldpmib_cmp_org_def_info(const org_def_tlv_element* element, uint32_t oui, int32_t subtype,
                             int32_t index) {
    LLDPMIB_TRACE("lldpmib_cmp_org_def_info");
    return compare_org_key(element->oui, element->subtype, element->index, oui, (uint8_t)subtype,
                           index);
}

int lldpmib_cmp_org_def_info_node(const org_def_tlv_element* first,
                                  const org_def_tlv_element* second) {
    LLDPMIB_TRACE("lldpmib_cmp_org_def_info_node");
    return compare_org_key(first->oui, first->subtype, first->index, second->oui, second->subtype,
                           second->index);
}

org_def_tlv_element* lldpmib_find_next_org_def_info(org_def_tlv_element* head, uint32_t oui,
                                                    int32_t subtype, int32_t index,
                                                    int32_t* count) {
    const char* fn = "lldpmib_find_next_org_def_info";
    LLDPMIB_TRACE(fn);
    subtype &= 0xff;
    org_def_tlv_element* answer = nullptr;
    int32_t counted = 0;
    for (org_def_tlv_element* e = head; e != nullptr; e = e->next) {
        if (lldpmib_cmp_org_def_info(e, oui, subtype, index) < 0) continue;
        counted++;
        if (answer == nullptr || lldpmib_cmp_org_def_info_node(answer, e) > 0) answer = e;
    }
    if (count != nullptr) *count += counted;
    if (answer != nullptr)
        LLDPMIB_VERBOSE(fn, "OUI: 0x%x, subtype: 0x%x, index: 0x%x", answer->oui,
                        (unsigned)answer->subtype, (unsigned)answer->index);
    return answer;
}

org_def_tlv_element* lldpmib_find_smallest_org_def_info(org_def_tlv_element* head,
                                                        int32_t* count) {
    LLDPMIB_TRACE("lldpmib_find_smallest_org_def_info");
    org_def_tlv_element* answer = nullptr;
    int32_t counted = 0;
    for (org_def_tlv_element* e = head; e != nullptr; e = e->next) {
        counted++;
        if (answer == nullptr || lldpmib_cmp_org_def_info_node(answer, e) > 0) answer = e;
    }
    if (count != nullptr) *count += counted;
    return answer;
}

org_def_tlv_element* lldpmib_find_org_def_tlv(int searchType, uint32_t timeMark,
                                              int32_t localPortNum, int32_t remIndex, uint32_t oui,
                                              uint8_t subtype, int32_t index, kel_list_handle list,
                                              neighbor_td** result) {
    LLDPMIB_VERBOSE(kFind,
                    "searchType: %x, timeMark: %x, localPortNum: %x,remIndex: %x, OUI:%x:%x, "
                    "subtype index:%d\n",
                    (unsigned)searchType, timeMark, (unsigned)localPortNum, (unsigned)remIndex, oui,
                    (unsigned)subtype, (int)index);
    org_def_key key = {oui, subtype, index};
    return (org_def_tlv_element*)lldpmib_tlv_find(&oui_ops, searchType, timeMark, localPortNum,
                                                  remIndex, &key, list, result);
}

int lldpmib_get_first_oui_neighbor_td(void* record, void* list, void* context) {
    if (context == nullptr) return lldpmib_tlv_callback(&oui_ops, record, list, nullptr);
    org_def_search_ctx* c = (org_def_search_ctx*)context;
    org_def_key key = {c->query_oui, c->query_subtype, c->query_index};
    lldpmib_tlv_view v = {&c->best_neighbor, (void**)&c->oui_entry, &c->query_time_mark,
                          &c->query_port_num, &c->query_rem_index, &c->neigh_count,
                          &c->tlv_count,      &c->searchType,      &key};
    return lldpmib_tlv_callback(&oui_ops, record, list, &v);
}

lldpRemOrgDefInfoEntry_t* lldpmib_shim_remote_org_def_info_entry_get(
    int serialNum, void* contextInfo, int nominator, int searchType, uint32_t timeMark,
    int32_t localPortNum, int32_t remIndex, OctetString* oui, int32_t subtype, int32_t index) {
    oui_request r;
    memset(&r, 0, sizeof r);
    r.asked.oui = lldpmib_oui_to_uint(oui);
    r.asked.subtype = subtype;
    r.asked.index = index;
    r.shown = r.asked;
    LLDPMIB_TRACE(kShim);
    lldpmib_lock();
    lldpmib_free_remote_org_def_info_row();
    int filled = 0;
    // Subtypes are octets.  Past 255 a GET names no row; a GET-NEXT starts at
    // the least key after every subtype of the OUI (before every subtype when
    // below 0), so that no answer precedes the index asked for.
    if (subtype < 0 || subtype > 255) {
        if (searchType == EXACT) {
            lldpmib_unlock();
            return nullptr;
        }
        if (subtype > 255) r.asked.oui = r.asked.oui >= 0xFFFFFFu ? kPastEveryOui : r.asked.oui + 1;
        r.asked.subtype = 0;
        r.asked.index = INT32_MIN;
    }
    lldpmib_remote_request rq = {nominator, searchType, timeMark, localPortNum, remIndex,
                                 nullptr,   nullptr,    &r};
    filled = lldpmib_remote_shim_run(&oui_table, &rq);
    memset(&r, 0, sizeof r);
    lldpmib_unlock();
    return filled ? &lldpRemOrgDefInfoEntry : nullptr;
}

}  // extern "C"
