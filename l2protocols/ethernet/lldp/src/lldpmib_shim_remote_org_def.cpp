// lldpRemOrgDefInfoTable: rows are (neighbour, organisationally defined TLV)
// pairs, ordered by the neighbour's key, then (OUI, subtype, index).
#include <string.h>

#include "lldpmib_shim_remote.h"

namespace {

const char kShim[] = "lldpmib_shim_remote_org_def_info_entry_get";
// Subtypes and indexes the MIB's index columns can name; others make no row.
const uint32_t kFirstSubtype = 1;
const uint32_t kLastSubtype = 255;
const int32_t kFirstIndex = 1;

lldpRemOrgDefInfoEntry_t lldpRemOrgDefInfoEntry;

const lldpmib_snapshot_kind oui_kind = {
    "LLDP MIB remote entry list",
    lldpmib_free_neighbor_copy,
    lldpmib_destroy_remote_entry_list,
    "VERBOSE[%s] Reset entry_oui_count:0, total_oui_entries:0, total_entries:0\n",
    "VERBOSE[%s] current timestamp not matching cached timestamp,cache deleted\n",
    "MIB[%s] Remote list create failed",
    "VERBOSE[%s] Purging out LLDP MIB Remote OUI cache\n",
    [](const char* fn, const void*) {
        LLDPMIB_VERBOSE(fn, "Removing Remote entry from LLDP MIB Remote OUI cache");
    },
    [](const char* fn) {
        LLDPMIB_VERBOSE(fn, "Destroying LLDP MIB Remote OUI cache\n");
    },
};

// (OUI octets, subtype, index) after the neighbour's part of the instance.
void append_org_key(lldpmib_row_key* key, uint32_t oui, uint32_t subtype, uint32_t index) {
    for (uint32_t v : {(oui >> 16) & 0xFF, (oui >> 8) & 0xFF, oui & 0xFF, subtype, index})
        key->push_back(v);
}

// ---- Hooks of the engine ----

void oui_checking(const lldpmib_remote_request* rq) {
    const lldpmib_row_key& k = rq->key;
    LLDPMIB_VERBOSE(kShim,
                    "checking for timemark:%d, interface: %d,remindex:%d, oui:%x:%x, "
                    "oui_subtype_index:%d\n",
                    (int)rq->time_mark, (int)rq->port, (int)rq->rem_index,
                    k[3] << 16 | k[4] << 8 | k[5], k[6], (int)k[7]);
}

void oui_add_rows(lldpmib_remote_snapshot* s, neighbor_td* copy) {
    const lldp_neighbor_mib* mib = copy->mib;
    for (const org_def_tlv_element* e = mib->org_def_tlvs; e != nullptr; e = e->next) {
        if (e->subtype < kFirstSubtype || e->subtype > kLastSubtype || e->index < kFirstIndex)
            continue;
        lldpmib_row_key key = lldpmib_remote_key(mib->time_mark, mib->port_num, mib->rem_index);
        append_org_key(&key, e->oui, e->subtype, (uint32_t)e->index);
        lldpmib_remote_add_row(s, std::move(key), copy, e);
    }
}

bool oui_fill(const lldpmib_remote_request*, const lldpmib_row_ref* row) {
    const org_def_tlv_element* e = (const org_def_tlv_element*)row->element;
    const lldp_neighbor_mib* mib = row->neighbor->mib;
    lldpRemOrgDefInfoEntry_t* r = &lldpRemOrgDefInfoEntry;
    r->lldpRemOrgDefInfoOUI = lldpmib_make_oui_octet_string(e->oui);
    LLDPMIB_VERBOSE(kShim, "OUI: 0x%x\n", e->oui);
    r->lldpRemOrgDefInfoSubtype = e->subtype;
    LLDPMIB_VERBOSE(kShim, "subtype:0x%x\n", (unsigned)e->subtype);
    r->lldpRemOrgDefInfoIndex = e->index;
    LLDPMIB_VERBOSE(kShim, "index: 0x%x\n", (unsigned)e->index);
    r->lldpRemOrgDefInfo = MakeOctetString(e->info, e->info_len);
    r->lldpRemTimeMark = mib->time_mark;
    r->lldpRemLocalPortNum = (int32_t)mib->port_num;
    r->lldpRemIndex = (int32_t)mib->rem_index;
    return r->lldpRemOrgDefInfoOUI != nullptr && r->lldpRemOrgDefInfo != nullptr;
}

bool oui_keep(const neighbor_td* n) { return n->mib != nullptr && n->mib->org_def_tlvs != nullptr; }

// The instance's (OUI, subtype, index) after the neighbour's part.
uint32_t key_oui(const lldpmib_row_key& k) { return k[3] << 16 | k[4] << 8 | k[5]; }

// The snapshot search's lines: its arguments, then how it ended.  A NEXT
// answer on the asked neighbour returns from the neighbour's own TLVs; any
// other NEXT answer ends with the best TLV found.
void oui_search(const lldpmib_remote_request* rq, const lldpmib_row* hit) {
    const char* find = "lldpmib_find_org_def_tlv";
    const lldpmib_row_key& k = rq->key;
    LLDPMIB_VERBOSE(find,
                    "searchType: %x, timeMark: %x, localPortNum: %x,remIndex: %x, OUI:%x:%x, "
                    "subtype index:%d\n",
                    (unsigned)rq->search_type, rq->time_mark, (unsigned)rq->port,
                    (unsigned)rq->rem_index, key_oui(k), k[6], (int)k[7]);
    if (hit == nullptr) return;
    if (rq->search_type == EXACT) {
        LLDPMIB_VERBOSE(find, "result found, matching unknown TLV type");
        LLDPMIB_VERBOSE(find, "result found");
        return;
    }
    const lldpmib_row_key& h = hit->first;
    LLDPMIB_VERBOSE(find, "ifIndex: %u, remIndex: %u\n", h[1], h[2]);
    if (h[1] == k[1] && h[2] == k[2])
        LLDPMIB_VERBOSE(find, "matching Org Def TLV");
    else
        LLDPMIB_VERBOSE(find, "best oui info, OUI:%x:%x subtypeindex:%d\n", key_oui(h), h[6],
                        (int)h[7]);
}

const lldpmib_remote_lines oui_lines = {
    .already =
        [](const char* fn, const lldpmib_remote_request*) {
            LLDPMIB_VERBOSE(fn, "Remote Org Def table cache already exist\n");
        },
    .creating =
        [](const char* fn) {
            LLDPMIB_VERBOSE(fn, "Creating Remote Org Def table Cache\n");
        },
    .attempt =
        [](const char* fn, const lldpmib_remote_request* rq, uint32_t port, uint32_t) {
            const lldpmib_row_key& k = rq->key;
            bool asked = port == k[1];
            LLDPMIB_VERBOSE(
                fn, "Attempt rem entry for port num:%d, rem_index:%d,oui:%x:%x, oui_index:%d\n",
                (int)port, asked ? (int)rq->rem_index : 0, asked ? key_oui(k) : 0, asked ? k[6] : 0,
                asked ? (int)k[7] : 0);
        },
    .found =
        [](const char* fn, uint32_t port) {
            LLDPMIB_VERBOSE(fn, "Found lldpRemOrgDefInfoTable data forifIndex %d", (int)port);
        },
    .failed =
        [](const char* fn, uint32_t port) {
            LLDPMIB_ERROR(fn, "Failed retrieving lldpRemOrgDefInfoTable datafor ifIndex %d",
                          (int)port);
        },
    .stored = nullptr,
    // neighbors: the records of every iteration since the reset;
    // total_entries: the TLVs counted by the last one.
    .iterated =
        [](const char*, lldpmib_snapshot* s, uint32_t records, uint32_t counted) {
            s->neighbors += records;
            s->total_entries = counted;
        },
    .search = oui_search,
    .cached =
        [](const char* fn, const lldpmib_remote_request*, const lldpmib_row* hit) {
            LLDPMIB_VERBOSE(fn, "Cached for timemark:%d, interface: %d,remindex:%d\n",
                            (int)hit->first[0], (int)hit->first[1], (int)hit->first[2]);
        },
    .totals = lldpmib_remote_totals_line,
};

lldpmib_remote_snapshot oui_snapshot;

const lldpmib_remote_table oui_table = {
    .fn = kShim,
    .snapshot = &oui_snapshot,
    .kind = &oui_kind,
    .lines = &oui_lines,
    .last_nominator = 3,
    .port_walk_lines = false,
    .asked_time_mark_on_every_port = true,
    .next_port = lldp_client_get_next_if_remote_org_def_tlv,
    .callback = lldpmib_get_first_oui_neighbor_td,
    .checking = oui_checking,
    .add_rows = oui_add_rows,
    .fill = oui_fill,
};

}  // namespace

extern "C" {

void lldpmib_release_remote_org_def_snapshot(void) { lldpmib_remote_release(&oui_table); }

void lldpmib_free_remote_org_def_info_row(void) {
    lldpRemOrgDefInfoEntry_t* row = &lldpRemOrgDefInfoEntry;
    FreeOctetString(row->lldpRemOrgDefInfoOUI);
    FreeOctetString(row->lldpRemOrgDefInfo);
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

int lldpmib_get_first_oui_neighbor_td(void* record, void* list, void* context) {
    return lldpmib_remote_store("lldpmib_get_first_oui_neighbor_td", oui_keep, record, list,
                                context);
}

lldpRemOrgDefInfoEntry_t* lldpmib_shim_remote_org_def_info_entry_get(
    int serialNum, void* contextInfo, int nominator, int searchType, uint32_t timeMark,
    int32_t localPortNum, int32_t remIndex, OctetString* oui, int32_t subtype, int32_t index) {
    LLDPMIB_TRACE(kShim);
    lldpmib_lock();
    lldpmib_free_remote_org_def_info_row();
    lldpmib_remote_request rq = {serialNum, nominator, searchType, timeMark, localPortNum, remIndex,
                                 lldpmib_remote_key(timeMark, (uint32_t)localPortNum,
                                                    (uint32_t)remIndex),
                                 nullptr};
    append_org_key(&rq.key, lldpmib_oui_to_uint(oui), (uint32_t)subtype, (uint32_t)index);
    int filled = lldpmib_remote_shim_run(&oui_table, &rq);
    lldpmib_unlock();
    return filled ? &lldpRemOrgDefInfoEntry : nullptr;
}

}  // extern "C"
