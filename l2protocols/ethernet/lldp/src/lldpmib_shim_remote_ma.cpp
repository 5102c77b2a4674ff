// lldpRemManAddrTable: rows are (neighbour, management address) pairs.
#include <string.h>

#include "lldpmib_shim_remote.h"

namespace {

const char kShim[] = "lldpmib_shim_remote_ma_entry_get";
// lldpRemManAddrOID, the column made only when asked for.
const int kOidNominator = 4;
const int32_t kIfIndexNumbering = 2;

lldpRemManAddrEntry_t lldpRemManAddrEntry;

const lldpmib_snapshot_kind remote_ma_kind = {
    "LLDP MIB remote entry list",
    lldpmib_free_neighbor_copy,
    lldpmib_destroy_remote_entry_list,
    "VERBOSE[%s] Reset entry_addr_count:0, total_addr_entries:0, total_entries:0\n",
    "VERBOSE[%s] current timestamp not matching cached timestamp,Remote management address "
    "table cache deleted\n",
    "MIB[%s] Remote list create failed",
    "VERBOSE[%s] Purging out LLDP MIB Remote Management address cache\n",
    [](const char* fn, const void*) {
        LLDPMIB_VERBOSE(fn, "Removing Remote entry from LLDP MIB Remote Management address cache");
    },
    [](const char* fn) {
        LLDPMIB_VERBOSE(fn, "Destroying LLDP MIB Remote Management address cache");
    },
};

struct remote_ma_request {
    const OctetString* addr;
    int32_t subtype;
};

// The address bytes of an element: 4 for IPv4, 16 for IPv6, 0 for any other type.
int32_t addr_length(const lldp_addr_element* e) {
    return e->addr_type == 0 ? 4 : e->addr_type == 1 ? 16 : 0;
}

// Only addresses of a known type that are not all zero make rows.
bool selectable(const lldp_addr_element* e) {
    static const uint8_t zero[16] = {};
    int32_t n = addr_length(e);
    return n > 0 && memcmp(e->addr, zero, (size_t)n) != 0;
}

// (subtype, length, octets) after the neighbour's part of the instance.
void append_addr(lldpmib_row_key* key, int32_t subtype, const uint8_t* bytes, int32_t n) {
    key->push_back((uint32_t)subtype);
    key->push_back((uint32_t)n);
    for (int32_t i = 0; i < n; i++) key->push_back(bytes[i]);
}

bool fill_remote_ma(const neighbor_td* n, const lldp_addr_element* e, int nominator) {
    lldpRemManAddrEntry_t* row = &lldpRemManAddrEntry;
    row->lldpRemManAddrSubtype = e->addr_subtype;
    row->lldpRemManAddr = MakeOctetString(e->addr, addr_length(e));
    row->lldpRemManAddrIfSubtype = kIfIndexNumbering;
    row->lldpRemManAddrIfId = (int32_t)e->if_id;
    row->lldpRemManAddrOID = nominator == kOidNominator ? MakeOID(nullptr, 2) : nullptr;
    row->lldpRemTimeMark = n->mib->time_mark;
    row->lldpRemLocalPortNum = (int32_t)n->mib->port_num;
    row->lldpRemIndex = (int32_t)n->mib->rem_index;
    if (row->lldpRemManAddr == nullptr ||
        (nominator == kOidNominator && row->lldpRemManAddrOID == nullptr)) {
        lldpmib_free_remote_ma_row();
        return false;
    }
    return true;
}

// ---- Hooks of the engine ----

void ma_checking(const lldpmib_remote_request* rq) {
    const remote_ma_request* r = (const remote_ma_request*)rq->table;
    LLDPMIB_VERBOSE(kShim,
                    "checking for timemark:%d, interface: %d,remindex:%d, addrsubtype:%d, addr:",
                    (int)rq->time_mark, (int)rq->port, (int)rq->rem_index, (int)r->subtype);
    if (r->addr != nullptr && r->addr->octet_ptr != nullptr) {
        for (int32_t i = 0; i < r->addr->length; i++)
            LLDPMIB_VERBOSE(kShim, "%2.2x:", r->addr->octet_ptr[i]);
        LLDPMIB_VERBOSE(kShim, "\n");
    }
}

void ma_add_rows(lldpmib_remote_snapshot* s, neighbor_td* copy) {
    const lldp_neighbor_mib* mib = copy->mib;
    for (const lldp_addr_element* e = copy->detail->man_addrs; e != nullptr; e = e->next) {
        if (!selectable(e)) continue;
        lldpmib_row_key key = lldpmib_remote_key(mib->time_mark, mib->port_num, mib->rem_index);
        append_addr(&key, e->addr_subtype, e->addr, addr_length(e));
        lldpmib_remote_add_row(s, std::move(key), copy, e);
    }
}

bool ma_fill(const lldpmib_remote_request* rq, const lldpmib_row_ref* row) {
    return fill_remote_ma(row->neighbor, (const lldp_addr_element*)row->element, rq->nominator);
}

bool ma_keep(const neighbor_td* n) { return n->detail != nullptr && n->detail->man_addrs != nullptr; }

const lldpmib_remote_lines remote_ma_lines = {
    .already =
        [](const char* fn, const lldpmib_remote_request*) {
            LLDPMIB_VERBOSE(fn, "Remote MA cache already exist\n");
        },
    .creating =
        [](const char* fn) {
            LLDPMIB_VERBOSE(fn, "Creating Remote MA cache\n");
        },
    .attempt =
        [](const char* fn, const lldpmib_remote_request*, uint32_t port, uint32_t) {
            LLDPMIB_VERBOSE(fn, "Attempt rem entry for port num:%d\n", (int)port);
        },
    .found =
        [](const char* fn, uint32_t port) {
            LLDPMIB_VERBOSE(fn, "Found lldpRemManAddrTable data forifIndex %d", (int)port);
        },
    .failed =
        [](const char* fn, uint32_t port) {
            LLDPMIB_ERROR(fn, "Failed retrieving lldpRemManAddrTable datafor ifIndex %d",
                          (int)port);
        },
    .stored = nullptr,
    // total_entries: the addresses counted by every iteration since the reset.
    .iterated =
        [](const char* fn, lldpmib_snapshot* s, uint32_t, uint32_t counted) {
            s->total_entries += counted;
            LLDPMIB_VERBOSE(fn, "number of addr entries:%d\n", (int)s->total_entries);
        },
    // The address search writes no line of its own.
    .search = [](const lldpmib_remote_request*, const lldpmib_row*) {},
    .cached =
        [](const char* fn, const lldpmib_remote_request* rq, const lldpmib_row* hit) {
            LLDPMIB_VERBOSE(fn, "Cached for timemark:%d, interface: %d,remindex:%d\n",
                            (int)rq->time_mark, (int)hit->first[1], (int)hit->first[2]);
        },
    .totals = lldpmib_remote_totals_line,
};

lldpmib_remote_snapshot remote_ma_snapshot;

const lldpmib_remote_table remote_ma_table = {
    .fn = kShim,
    .snapshot = &remote_ma_snapshot,
    .kind = &remote_ma_kind,
    .lines = &remote_ma_lines,
    .last_nominator = 4,
    .port_walk_lines = false,
    .asked_time_mark_on_every_port = false,
    .next_port = lldp_client_get_next_if_remote_ma,
    .callback = lldpmib_get_first_ma_neighbor_td,
    .checking = ma_checking,
    .add_rows = ma_add_rows,
    .fill = ma_fill,
};

}  // namespace

extern "C" {

void lldpmib_release_remote_ma_snapshot(void) { lldpmib_remote_release(&remote_ma_table); }

void lldpmib_free_remote_ma_row(void) {
    lldpRemManAddrEntry_t* row = &lldpRemManAddrEntry;
    FreeOctetString(row->lldpRemManAddr);
    row->lldpRemManAddr = nullptr;
    FreeOID(row->lldpRemManAddrOID);
    row->lldpRemManAddrOID = nullptr;
    memset(row, 0, sizeof *row);
}

int lldpmib_get_first_ma_neighbor_td(void* record, void* list, void* context) {
    return lldpmib_remote_store("lldpmib_get_first_ma_neighbor_td", ma_keep, record, list,
                                context);
}

lldpRemManAddrEntry_t* lldpmib_shim_remote_ma_entry_get(int serialNum, void* contextInfo,
                                                        int nominator, int searchType,
                                                        uint32_t timeMark, int32_t localPortNum,
                                                        int32_t remIndex, int32_t addrSubtype,
                                                        OctetString* addr) {
    LLDPMIB_TRACE(kShim);
    lldpmib_lock();
    lldpmib_free_remote_ma_row();
    remote_ma_request r = {addr, addrSubtype};
    lldpmib_remote_request rq = {serialNum, nominator, searchType, timeMark, localPortNum, remIndex,
                                 lldpmib_remote_key(timeMark, (uint32_t)localPortNum,
                                                    (uint32_t)remIndex),
                                 &r};
    bool has_addr = addr != nullptr && addr->octet_ptr != nullptr;
    append_addr(&rq.key, addrSubtype, has_addr ? addr->octet_ptr : nullptr,
                has_addr ? addr->length : 0);
    int filled = lldpmib_remote_shim_run(&remote_ma_table, &rq);
    lldpmib_unlock();
    return filled ? &lldpRemManAddrEntry : nullptr;
}

}  // extern "C"
