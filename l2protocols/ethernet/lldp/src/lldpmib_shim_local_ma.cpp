// The local management address table: a snapshot of local address record
// copies, each holding a chain of addresses, looked up by address; and the
// address order shared with the remote management address table.
#include <string.h>

#include <map>
#include <vector>

#include "lldpmib.h"
#include "lldpmib_addr_key.h"

namespace {

// lldpLocManAddrIfId, the column whose pass empties the snapshot.
const int kLastNominator = 4;
// lldpLocManAddrOID: never answered.
const int kOidNominator = 5;
const int32_t kIfIndexNumbering = 2;

lldpmib_snapshot local_ma_snapshot;

void* copy_local_ma(const void* record) {
    return lldp_client_copy_local_ma_td(static_cast<const lldp_local_ma_td*>(record));
}

void free_local_ma(void* copy) { lldp_client_free_local_ma_td(static_cast<lldp_local_ma_td*>(copy)); }

const lldpmib_snapshot_kind local_ma_kind = {
    "LLDP MIB local address list",
    free_local_ma,
    lldpmib_destroy_local_ma_list,
    "VERBOSE[%s] Reset entry_count:0, total_entries:0\n",
    "VERBOSE[%s] current timestamp not matching cached timestamp,cache deleted\n",
    "MIB[%s] kel_list_create failed",
    "VERBOSE[%s] Purging out LLDP MIB Local Management address cache\n",
    [](const char* fn, const void*) {
        LLDPMIB_VERBOSE(fn, "Removing LLDP MIB Local MA entry from Local Management address cache");
    },
    [](const char* fn) {
        LLDPMIB_VERBOSE(fn, "Destroying Local Management address cache\n");
    },
};

uint32_t load_be32(const uint8_t* p) {
    return (uint32_t)p[0] << 24 | (uint32_t)p[1] << 16 | (uint32_t)p[2] << 8 | (uint32_t)p[3];
}

// A local address as its row's instance: (subtype, length, octets).  IPv4 is
// held in the records as a host-order number.
using ma_key = std::vector<uint32_t>;

ma_key instance_of(const lldp_addr_element* e) {
    if (e->addr_type != 0) {
        ma_key k = {2, 16};
        k.insert(k.end(), e->addr, e->addr + 16);
        return k;
    }
    uint32_t host;
    memcpy(&host, e->addr, sizeof host);
    return {1, 4, host >> 24, (host >> 16) & 0xFF, (host >> 8) & 0xFF, host & 0xFF};
}

// The instance asked for, whatever its subtype and length.
ma_key instance_asked(int32_t subtype, const OctetString* addr) {
    ma_key k = {(uint32_t)subtype};
    bool has = addr != nullptr && addr->octet_ptr != nullptr;
    k.push_back(has ? (uint32_t)addr->length : 0);
    if (has) k.insert(k.end(), addr->octet_ptr, addr->octet_ptr + addr->length);
    return k;
}

// The client's key of an address instance; false for an instance that names
// no address the client can hold.
bool client_key(const ma_key& k, lldp_addr_element* key) {
    memset(key, 0, sizeof *key);
    if (k.size() == 6 && k[0] == 1 && k[1] == 4) {
        uint32_t host = k[2] << 24 | k[3] << 16 | k[4] << 8 | k[5];
        memcpy(key->addr, &host, sizeof host);
        return true;
    }
    if (k.size() == 18 && k[0] == 2 && k[1] == 16) {
        key->addr_type = 1;
        for (int i = 0; i < 16; i++) key->addr[i] = (uint8_t)k[2 + i];
        return true;
    }
    return false;
}

struct local_ma_row {
    lldp_local_ma_td* record;
    const lldp_addr_element* element;
};

// The snapshot's index.  The client answers an address with the rest of its
// record from that address on, so a row is taken only from the head of what
// the client handed back: the other addresses of the chain may be held again,
// earlier, by another record.  Kept copies are never suffixes of each other
// (a copy that is the tail of another is merged into it), so there are at
// most as many as records.  known_through: every address up to it is known;
// complete: every address is.
struct local_ma_index {
    std::map<ma_key, local_ma_row> rows;
    std::multimap<ma_key, local_ma_row> elements;  // every address of every kept copy
    bool started;
    lldp_addr_element known_through;
    bool complete;
};
local_ma_index local_ma_rows;

void local_ma_index_clear() {
    local_ma_rows.rows.clear();
    local_ma_rows.elements.clear();
    local_ma_rows.started = false;
    local_ma_rows.complete = false;
}

bool same_address(const lldp_addr_element* a, const lldp_addr_element* b) {
    return a->addr_type == b->addr_type && a->addr_subtype == b->addr_subtype &&
           a->if_id == b->if_id && memcmp(a->addr, b->addr, sizeof a->addr) == 0;
}

// Whether the chains from a and from b hold the same addresses to their ends.
bool same_tail(const lldp_addr_element* a, const lldp_addr_element* b) {
    for (; a != nullptr && b != nullptr; a = a->next, b = b->next)
        if (!same_address(a, b)) return false;
    return a == nullptr && b == nullptr;
}

// The kept chain from which the chain at e reads the same, or none.
const local_ma_row* kept_tail(const lldp_addr_element* e, bool heads_only) {
    auto [from, to] = local_ma_rows.elements.equal_range(instance_of(e));
    for (auto it = from; it != to; ++it) {
        const local_ma_row& kept = it->second;
        if ((!heads_only || kept.element == kept.record->addrs) && same_tail(kept.element, e))
            return &kept;
    }
    return nullptr;
}

void local_ma_free_copy(lldpmib_snapshot* s, lldp_local_ma_td* copy) {
    kel_list_remove(s->list, 0, copy);
    lldp_client_free_local_ma_td(copy);
}

// Moves the rows and addresses of the kept copy old into the chain at into,
// which reads the same, and frees old.
void local_ma_merge(lldpmib_snapshot* s, lldp_local_ma_td* old, lldp_local_ma_td* copy,
                    const lldp_addr_element* into) {
    auto& elements = local_ma_rows.elements;
    for (const lldp_addr_element* e = old->addrs; e != nullptr; e = e->next, into = into->next) {
        ma_key k = instance_of(e);
        auto row = local_ma_rows.rows.find(k);
        if (row != local_ma_rows.rows.end() && row->second.element == e) row->second = {copy, into};
        auto [from, to] = elements.equal_range(k);
        for (auto it = from; it != to; ++it)
            if (it->second.element == e) {
                elements.erase(it);
                break;
            }
    }
    local_ma_free_copy(s, old);
}

// Indexes the head of a fetched copy.  A copy whose addresses are already
// held is freed at once; kept copies that are its tail are merged into it.
void local_ma_index_copy(lldpmib_snapshot* s, lldp_local_ma_td* copy) {
    const lldp_addr_element* head = copy->addrs;
    if (const local_ma_row* kept = kept_tail(head, false)) {
        local_ma_rows.rows.emplace(instance_of(head), *kept);
        local_ma_free_copy(s, copy);
        return;
    }
    for (const lldp_addr_element* e = head; e != nullptr; e = e->next) {
        while (const local_ma_row* tail = kept_tail(e, true)) local_ma_merge(s, tail->record, copy, e);
    }
    for (const lldp_addr_element* e = head; e != nullptr; e = e->next)
        local_ma_rows.elements.emplace(instance_of(e), local_ma_row{copy, e});
    local_ma_rows.rows.emplace(instance_of(head), local_ma_row{copy, head});
}

// Asks the client for the address at key (exact) or the least one not below
// it, and indexes the record it hands back.  False when the client failed;
// *first is the client key of the address handed back, *found whether there
// was one.
bool local_ma_fetch(lldpmib_snapshot* s, int exact, const lldp_addr_element* key,
                    lldp_addr_element* first, bool* found) {
    local_ma_search_ctx context;
    memset(&context, 0, sizeof context);
    int rc = lldp_client_get_next_if_local_ma(exact, key, lldpmib_get_local_ma_td, &context,
                                              s->list);
    *found = rc == 0 && context.record != nullptr && context.element != nullptr;
    if (!*found) {
        LLDPMIB_ERROR("lldpmib_shim_local_ma_entry_get", "Error in getting next local MA addr");
        return rc == 0;
    }
    *first = *context.element;
    first->next = nullptr;
    local_ma_index_copy(s, context.record);
    return true;
}

// Learns the next address after what the index knows; false when the client failed.
bool local_ma_learn_next(lldpmib_snapshot* s) {
    lldp_addr_element key;
    memset(&key, 0, sizeof key);
    if (local_ma_rows.started) {
        key = local_ma_rows.known_through;
        if (!lldpmib_addr_key_after(&key)) {
            local_ma_rows.complete = true;
            return true;
        }
    }
    lldp_addr_element first;
    bool found = false;
    if (!local_ma_fetch(s, 0, &key, &first, &found)) return false;
    if (!found) {
        local_ma_rows.complete = true;
        return true;
    }
    local_ma_rows.started = true;
    local_ma_rows.known_through = first;
    return true;
}

// Every address up to row is known.
bool local_ma_known(const ma_key& row) {
    if (local_ma_rows.complete) return true;
    return local_ma_rows.started && row <= instance_of(&local_ma_rows.known_through);
}

// Finds the row answering the request, fetching from the client as needed:
// a GET asks for its address alone, a GET-NEXT learns the addresses in order
// until the index proves its answer.
const local_ma_row* local_ma_search(lldpmib_snapshot* s, int searchType, const ma_key& asked) {
    auto& rows = local_ma_rows.rows;
    if (searchType == EXACT) {
        auto it = rows.find(asked);
        lldp_addr_element key;
        if (it == rows.end() && !local_ma_known(asked) && client_key(asked, &key)) {
            lldp_addr_element first;
            bool found = false;
            local_ma_fetch(s, 1, &key, &first, &found);
            it = rows.find(asked);
        }
        return it != rows.end() ? &it->second : nullptr;
    }
    for (;;) {
        auto it = rows.lower_bound(asked);
        bool proven = it != rows.end() ? local_ma_known(it->first) : local_ma_rows.complete;
        if (proven) return it != rows.end() ? &it->second : nullptr;
        if (!local_ma_learn_next(s)) return nullptr;
    }
}

// Fills the row from e; false when the address could not be made.
bool local_ma_fill(const lldp_addr_element* e) {
    lldpLocManAddrEntry_t* row = &lldpLocManAddrEntryData;
    if (e->addr_type != 0) {
        row->lldpLocManAddrSubtype = 2;
        row->lldpLocManAddr = MakeOctetString(e->addr, 16);
    } else {
        uint32_t host;
        memcpy(&host, e->addr, sizeof host);
        unsigned char octets[4] = {(unsigned char)(host >> 24), (unsigned char)(host >> 16),
                                   (unsigned char)(host >> 8), (unsigned char)host};
        row->lldpLocManAddrSubtype = 1;
        row->lldpLocManAddr = MakeOctetString(octets, 4);
    }
    if (row->lldpLocManAddr == nullptr) return false;
    row->lldpLocManAddrLen = row->lldpLocManAddr->length + 1;
    row->lldpLocManAddrIfSubtype = kIfIndexNumbering;
    row->lldpLocManAddrIfId = (int32_t)e->if_id;
    return true;
}

}  // namespace

extern "C" {

lldpLocManAddrEntry_t lldpLocManAddrEntryData;

void lldpmib_free_local_ma_row(void) {
    FreeOctetString(lldpLocManAddrEntryData.lldpLocManAddr);
    FreeOID(lldpLocManAddrEntryData.lldpLocManAddrOID);
    memset(&lldpLocManAddrEntryData, 0, sizeof lldpLocManAddrEntryData);
}

lldpLocManAddrEntry_t* lldpmib_shim_local_ma_entry_get(int serialNum, void* contextInfo,
                                                       int nominator, int searchType,
                                                       int32_t subtype, OctetString* addr) {
    const char* fn = "lldpmib_shim_local_ma_entry_get";
    LLDPMIB_TRACE_ARGS(fn, "search type: %s, addr subtype: %s",
                       searchType == EXACT ? "exact" : "next",
                       subtype == 1 ? "IPv4" : subtype == 2 ? "IPv6" : "invalid");
    if (nominator == kOidNominator) return nullptr;
    if (searchType == EXACT && subtype != 1 && subtype != 2) return nullptr;

    lldpmib_snapshot* s = &local_ma_snapshot;
    lldpmib_lock();
    lldpmib_free_local_ma_row();
    if (!lldpmib_snapshot_usable(s, &local_ma_kind, fn)) local_ma_index_clear();

    lldpLocManAddrEntry_t* answer = nullptr;
    const local_ma_row* row = nullptr;
    bool list_failed = false;
    if (lldpmib_shim_is_lldp_enabled() == 0) {
        LLDPMIB_VERBOSE(fn, "length of Queried MA addr is %d\n", addr != nullptr ? addr->length : 0);
        if (s->list == nullptr && lldpmib_snapshot_create(s, &local_ma_kind, fn) != 0) {
            list_failed = true;
        } else {
            size_t known = local_ma_rows.rows.size();
            row = local_ma_search(s, searchType, instance_asked(subtype, addr));
            if (row != nullptr && known == local_ma_rows.rows.size())
                LLDPMIB_VERBOSE(fn, "Addr: cached for column:%d !!!\n", nominator);
            s->total_entries = (uint32_t)local_ma_rows.rows.size();
        }
    }

    if (row != nullptr) {
        if (nominator == kLastNominator) lldpmib_local_count_served(s, fn);
        if (local_ma_fill(row->element))
            answer = &lldpLocManAddrEntryData;
        else
            lldpmib_free_local_ma_row();
    } else if (!list_failed && (s->list == nullptr || kel_list_is_empty(s->list))) {
        // With LLDP disabled there is no list to drop; the line is written all the same.
        lldpmib_snapshot_purge(s, &local_ma_kind, fn);
        local_ma_index_clear();
    }
    lldpmib_unlock();
    return answer;
}

int lldpmib_get_local_ma_td(void* record, void* list, void* context) {
    LLDPMIB_TRACE("lldpmib_get_local_ma_td");
    int status = 0;
    void* copy = lldpmib_local_store_copy(record, list, copy_local_ma, free_local_ma,
                                          LLDP_ROW_ERROR, "ERROR[%s] kel_list_enqueue failed",
                                          "lldpmib_get_local_ma_td", &status);
    if (copy != nullptr && context != nullptr) {
        local_ma_search_ctx* ctx = static_cast<local_ma_search_ctx*>(context);
        ctx->record = static_cast<lldp_local_ma_td*>(copy);
        ctx->element = ctx->record->addrs;
    }
    return status;
}

void lldpmib_destroy_local_ma_list(kel_list_handle list) {
    lldpmib_destroy_copy_list(list, free_local_ma, "lldpmib_destroy_local_ma_list");
}

void lldpmib_release_local_ma_snapshot(void) {
    lldpmib_snapshot_release_at_stop(&local_ma_snapshot, &local_ma_kind,
                                     "lldpmib_shim_local_ma_entry_get");
    local_ma_index_clear();
}

int lldpmib_compare_addr_entry(const lldp_addr_element* a, const lldp_addr_element* b) {
    if (a->addr_type != b->addr_type) return (int32_t)(a->addr_type - b->addr_type);
    if (a->addr_type != 0) return memcmp(a->addr, b->addr, 16);
    uint32_t x = load_be32(a->addr);
    uint32_t y = load_be32(b->addr);
    LLDPMIB_VERBOSE("lldpmib_compare_addr_entry", "IPv4 addr1: %2.2x, addr2:%2.2x", x, y);
    if (x > y) return 1;
    if (x < y) return -1;
    return 0;
}

}  // extern "C"
