// The local management address table: a snapshot of local address record
// copies, each holding a chain of addresses, looked up by address; and the
// address order shared with the remote management address table.
#include <string.h>

#include "lldpmib.h"

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
    "VERBOSE[%s] Removing LLDP MIB Local MA entry from Local Management address cache",
    "VERBOSE[%s] Destroying Local Management address cache\n",
    "VERBOSE[%s] Purging out LLDP MIB Local Management address cache\n",
};

uint32_t load_be32(const uint8_t* p) {
    return (uint32_t)p[0] << 24 | (uint32_t)p[1] << 16 | (uint32_t)p[2] << 8 | (uint32_t)p[3];
}

// The key of a requested address, in the local records' form: IPv4 as a
// host-order number, IPv6 as its octets.  An address of another length leaves
// the address zero.
void local_ma_key(int32_t subtype, const OctetString* addr, lldp_addr_element* key) {
    memset(key, 0, sizeof *key);
    key->addr_type = subtype == 2 ? 1 : 0;
    if (addr == nullptr || addr->octet_ptr == nullptr) return;
    if (addr->length == 16) {
        memcpy(key->addr, addr->octet_ptr, 16);
        key->addr_type = 1;
    } else if (addr->length == 4) {
        uint32_t host = load_be32(addr->octet_ptr);
        memcpy(key->addr, &host, sizeof host);
    }
}

// Unspecified addresses answer no lookup.
bool local_ma_unspecified(const lldp_addr_element* e) {
    static const uint8_t zero[16] = {};
    if (e->addr_type == 1) return memcmp(e->addr, zero, 16) == 0;
    if (e->addr_type == 0) return memcmp(e->addr, zero, 4) == 0;
    return false;
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
    LLDPMIB_TRACE_ARGS("lldpmib_shim_local_ma_entry_get", "search type: %s, addr subtype: %s",
                       searchType == EXACT ? "exact" : "next",
                       subtype == 1 ? "IPv4" : subtype == 2 ? "IPv6" : "invalid");
    if (nominator == kOidNominator) return nullptr;
    if (searchType == EXACT && subtype != 1 && subtype != 2) return nullptr;

    lldpmib_snapshot* s = &local_ma_snapshot;
    lldpmib_lock();
    local_ma_search_ctx context;
    memset(&context, 0, sizeof context);
    lldpmib_free_local_ma_row();
    int usable = lldpmib_snapshot_usable(s, &local_ma_kind, "lldpmib_shim_local_ma_entry_get");

    lldpLocManAddrEntry_t* answer = nullptr;
    lldp_local_ma_td* record = nullptr;
    lldp_addr_element* element = nullptr;
    bool list_failed = false;
    if (lldpmib_shim_is_lldp_enabled() == 0) {
        LLDPMIB_VERBOSE("lldpmib_shim_local_ma_entry_get", "length of Queried MA addr is %d\n",
                        addr != nullptr ? addr->length : 0);
        lldp_addr_element key;
        local_ma_key(subtype, addr, &key);
        element = lldpmib_find_local_ma_entry(s->list, &key, &context);
        if (element != nullptr) {
            LLDPMIB_VERBOSE("lldpmib_shim_local_ma_entry_get", "Addr: cached for column:%d !!!\n",
                            nominator);
            record = context.record;
        } else if (!usable && lldpmib_snapshot_create(s, &local_ma_kind,
                                                      "lldpmib_shim_local_ma_entry_get") != 0) {
            list_failed = true;
        } else {
            memset(&context, 0, sizeof context);
            int rc = lldp_client_get_next_if_local_ma(searchType == EXACT ? 1 : 0, &key,
                                                      lldpmib_get_local_ma_td, &context, s->list);
            if (rc != 0 || context.element == nullptr || kel_list_is_empty(s->list)) {
                // Whatever a failed call handed back stays in the list, unserved.
                LLDPMIB_ERROR("lldpmib_shim_local_ma_entry_get",
                              "Error in getting next local MA addr");
            } else {
                s->total_entries = kel_list_get_size(s->list);
                record = context.record;
                element = context.element;
            }
        }
    }

    if (record != nullptr && element != nullptr) {
        if (nominator == kLastNominator)
            lldpmib_local_count_served(s, "lldpmib_shim_local_ma_entry_get");
        bool filled = local_ma_fill(element);
        bool last_of_record = element->next == nullptr;
        lldpmib_snapshot_touch(s);
        if (searchType == EXACT || (nominator == kLastNominator && last_of_record))
            lldpmib_snapshot_consume(s, &local_ma_kind, "lldpmib_shim_local_ma_entry_get", record,
                                     0);
        if (filled)
            answer = &lldpLocManAddrEntryData;
        else
            lldpmib_free_local_ma_row();
    } else if (!list_failed) {
        lldpmib_local_lookup_miss(s, &local_ma_kind, "lldpmib_shim_local_ma_entry_get");
    }

    memset(&context, 0, sizeof context);
    lldpmib_unlock();
    return answer;
}

lldp_addr_element* lldpmib_find_local_ma_entry(kel_list_handle list, const lldp_addr_element* key,
                                               local_ma_search_ctx* context) {
    if (list == nullptr || key == nullptr || context == nullptr) return nullptr;
    context->record = nullptr;
    for (kel_list_node_t* node = kel_list_get_head(list); node != nullptr;
         node = lldpmib_node_next(node)) {
        lldp_local_ma_td* copy = static_cast<lldp_local_ma_td*>(lldpmib_node_data(node));
        if (copy == nullptr) continue;
        for (lldp_addr_element* e = copy->addrs; e != nullptr; e = e->next) {
            if (local_ma_unspecified(e)) continue;
            if (lldpmib_compare_addr_entry(key, e) == 0) {
                context->record = copy;
                return e;
            }
        }
    }
    return nullptr;
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
