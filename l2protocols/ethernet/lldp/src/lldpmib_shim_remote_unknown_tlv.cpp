// lldpRemUnknownTLVTable: rows are (neighbour, unrecognised TLV) pairs.
#include <string.h>

#include "lldpmib_shim_remote.h"

namespace {

const char kShim[] = "lldpmib_shim_remote_unknown_tlv_entry_get";
// TLV types the MIB's lldpRemUnknownTLVType can name; others make no row.
const uint32_t kFirstType = 9;
const uint32_t kLastType = 126;

lldpRemUnknownTLVEntry_t lldpRemUnknownTLVEntry;

const lldpmib_snapshot_kind unknown_tlv_kind = {
    "LLDP MIB remote entry list",
    lldpmib_free_neighbor_copy,
    lldpmib_destroy_remote_entry_list,
    "VERBOSE[%s] Reset entry_unknown_count:0, total_unknown_entries:0, total_entries:0\n",
    "VERBOSE[%s] current timestamp not matching cached timestamp,cache deleted\n",
    "MIB[%s] Remote list create failed",
    "VERBOSE[%s] Purging out LLDP MIB Remote Unknown TLV cache\n",
    [](const char* fn, const void*) {
        LLDPMIB_VERBOSE(fn, "Removing Remote entry from LLDP MIB Remote Unknown TLV cache");
    },
    [](const char* fn) {
        LLDPMIB_VERBOSE(fn, "Destroying LLDP MIB Remote Unknown TLV cache\n");
    },
};

// ---- Hooks of the engine ----

void tlv_checking(const lldpmib_remote_request* rq) {
    LLDPMIB_VERBOSE(kShim,
                    "Checking for timemark:%d, interface: %d,remindex:%d, remUnknownTLVType:%d\n",
                    (int)rq->time_mark, (int)rq->port, (int)rq->rem_index, (int)rq->key[3]);
}

void tlv_add_rows(lldpmib_remote_snapshot* s, neighbor_td* copy) {
    const lldp_neighbor_mib* mib = copy->mib;
    for (const unknown_tlv_element* e = mib->unknown_tlvs; e != nullptr; e = e->next) {
        if (e->type < kFirstType || e->type > kLastType) continue;
        lldpmib_row_key key = lldpmib_remote_key(mib->time_mark, mib->port_num, mib->rem_index);
        key.push_back(e->type);
        lldpmib_remote_add_row(s, std::move(key), copy, e);
    }
}

bool tlv_fill(const lldpmib_remote_request*, const lldpmib_row_ref* row) {
    const unknown_tlv_element* e = (const unknown_tlv_element*)row->element;
    const lldp_neighbor_mib* mib = row->neighbor->mib;
    lldpRemUnknownTLVEntry_t* r = &lldpRemUnknownTLVEntry;
    r->lldpRemUnknownTLVType = e->type;
    r->lldpRemUnknownTLVInfo = MakeOctetString(e->info, e->info_len);
    r->lldpRemTimeMark = mib->time_mark;
    r->lldpRemLocalPortNum = (int32_t)mib->port_num;
    r->lldpRemIndex = (int32_t)mib->rem_index;
    return r->lldpRemUnknownTLVInfo != nullptr;
}

bool tlv_keep(const neighbor_td* n) { return n->mib != nullptr && n->mib->unknown_tlvs != nullptr; }

// The snapshot search's lines: its arguments, then how it ended.  A NEXT
// answer on the asked neighbour returns from the neighbour's own TLVs; any
// other NEXT answer, and a miss, end with the search's results line.
void tlv_search(const lldpmib_remote_request* rq, const lldpmib_row* hit) {
    const char* find = "lldpmib_find_unknown_tlv";
    LLDPMIB_VERBOSE(find, "searchType: %x, timeMark: %x, localPortNum: %x,remIndex: %x\n",
                    (unsigned)rq->search_type, rq->time_mark, (unsigned)rq->port,
                    (unsigned)rq->rem_index);
    if (hit != nullptr && rq->search_type == EXACT) {
        LLDPMIB_VERBOSE(find, "result found, matching unknown TLV type");
        LLDPMIB_VERBOSE(find, "result found");
        return;
    }
    if (hit != nullptr) {
        LLDPMIB_VERBOSE(find, "ifIndex: %u, remIndex: %u\n", hit->first[1], hit->first[2]);
        if (hit->first[1] == rq->key[1] && hit->first[2] == rq->key[2]) {
            LLDPMIB_VERBOSE(find, "matching Unknown TLV");
            return;
        }
    }
    const char* found = hit != nullptr ? "NON-NULL" : "NULL";
    LLDPMIB_VERBOSE(find, "results: best_neighbor:%s, unknown entry:%s\n", found, found);
}

const lldpmib_remote_lines unknown_tlv_lines = {
    .already =
        [](const char* fn, const lldpmib_remote_request*) {
            LLDPMIB_VERBOSE(fn, "Remote Unknown TLV cache already exist\n");
        },
    .creating =
        [](const char* fn) {
            LLDPMIB_VERBOSE(fn, "Creating Remote Unknown TLV table cache\n");
        },
    .attempt =
        [](const char* fn, const lldpmib_remote_request*, uint32_t port, uint32_t) {
            LLDPMIB_VERBOSE(fn, "Attempt rem entry for port num:%d\n", (int)port);
        },
    .found =
        [](const char* fn, uint32_t port) {
            LLDPMIB_VERBOSE(fn, "Found lldpRemUnknownTLVTable data forifIndex %d", (int)port);
        },
    .failed =
        [](const char* fn, uint32_t port) {
            LLDPMIB_ERROR(fn, "Failed retrieving lldpRemUnknownTLVTable datafor ifIndex %d",
                          (int)port);
        },
    .stored =
        [](const char*, uint32_t records, uint32_t counted) {
            LLDPMIB_VERBOSE("lldpmib_get_first_unknown_tlv_neighbor_td",
                            "Number of neigh:%d, total entries:%d\n", (int)records, (int)counted);
        },
    // neighbors: the records of every iteration since the reset;
    // total_entries: the TLVs counted by the last one.
    .iterated =
        [](const char* fn, lldpmib_snapshot* s, uint32_t records, uint32_t counted) {
            s->neighbors += records;
            s->total_entries = counted;
            LLDPMIB_VERBOSE(fn, "number of interfaces:%d\n", (int)s->neighbors);
            LLDPMIB_VERBOSE(fn, "number of unknown entries:%d\n", (int)s->total_entries);
        },
    .search = tlv_search,
    .cached =
        [](const char* fn, const lldpmib_remote_request*, const lldpmib_row* hit) {
            LLDPMIB_VERBOSE(fn, "Cached for timemark:%d, interface: %d,remindex:%d\n",
                            (int)hit->first[0], (int)hit->first[1], (int)hit->first[2]);
        },
    .totals =
        [](const char* fn, const lldpmib_snapshot* s) {
            LLDPMIB_VERBOSE(fn, "total interfaces:%d, entry_count:%d,total_unknown_entries:%d\n",
                            (int)s->neighbors, (int)s->entry_count, (int)s->total_entries);
        },
};

lldpmib_remote_snapshot unknown_tlv_snapshot;

const lldpmib_remote_table unknown_tlv_table = {
    .fn = kShim,
    .snapshot = &unknown_tlv_snapshot,
    .kind = &unknown_tlv_kind,
    .lines = &unknown_tlv_lines,
    .last_nominator = 1,
    .port_walk_lines = false,
    .asked_time_mark_on_every_port = false,
    .next_port = lldp_client_get_next_if_remote_unknown_tlv,
    .callback = lldpmib_get_first_unknown_tlv_neighbor_td,
    .checking = tlv_checking,
    .add_rows = tlv_add_rows,
    .fill = tlv_fill,
};

}  // namespace

extern "C" {

void lldpmib_release_remote_unknown_tlv_snapshot(void) {
    lldpmib_remote_release(&unknown_tlv_table);
}

void lldpmib_free_remote_unknown_tlv_row(void) {
    FreeOctetString(lldpRemUnknownTLVEntry.lldpRemUnknownTLVInfo);
    memset(&lldpRemUnknownTLVEntry, 0, sizeof lldpRemUnknownTLVEntry);
}

int lldpmib_get_first_unknown_tlv_neighbor_td(void* record, void* list, void* context) {
    return lldpmib_remote_store("lldpmib_get_first_unknown_tlv_neighbor_td", tlv_keep, record,
                                list, context);
}

lldpRemUnknownTLVEntry_t* lldpmib_shim_remote_unknown_tlv_entry_get(
    int serialNum, void* contextInfo, int nominator, int searchType, uint32_t timeMark,
    int32_t localPortNum, int32_t remIndex, int32_t tlvType) {
    LLDPMIB_TRACE(kShim);
    lldpmib_lock();
    lldpmib_free_remote_unknown_tlv_row();
    lldpmib_remote_request rq = {serialNum, nominator, searchType, timeMark, localPortNum, remIndex,
                                 lldpmib_remote_key(timeMark, (uint32_t)localPortNum,
                                                    (uint32_t)remIndex),
                                 nullptr};
    rq.key.push_back((uint32_t)tlvType);
    int filled = lldpmib_remote_shim_run(&unknown_tlv_table, &rq);
    lldpmib_unlock();
    return filled ? &lldpRemUnknownTLVEntry : nullptr;
}

}  // extern "C"
