// The local port table: a snapshot of interface record copies, filled port by
// port from the client's port walk, and the steps both local tables share.
#include <string.h>

#include <map>

#include "lldpmib.h"

namespace {

// Longest port ID reported; the rest of a longer text is cut off.
const int32_t kMaxPortIdLength = 255;
// lldpLocPortDesc, the column whose pass empties the snapshot.
const int kLastNominator = 3;

lldpmib_snapshot local_port_snapshot;
// The snapshot's copies by port number, equal numbers in list order: a
// lookup goes straight to its copy instead of along the list.
std::multimap<uint32_t, lldp_interface_td*> local_port_index;
// Largest port number fetched so far; only traced, never reset.
uint32_t max_if_index;

void local_port_index_forget(const lldp_interface_td* copy) {
    auto [first, last] = local_port_index.equal_range(copy->port_num);
    for (auto it = first; it != last; ++it) {
        if (it->second == copy) {
            local_port_index.erase(it);
            return;
        }
    }
}

// The copies went with the list.
void local_port_index_sync() {
    if (local_port_snapshot.list == nullptr) local_port_index.clear();
}

void* copy_interface(const void* record) {
    return lldp_client_copy_interface_td(static_cast<const lldp_interface_td*>(record));
}

void free_interface(void* copy) {
    lldp_client_free_interface_td(static_cast<lldp_interface_td*>(copy));
}

// Written as a served record is taken out, and as that empties the list.
const char* const kRemovingLine =
    "VERBOSE[%s] Removing LLDP MIB Local Port(%d) entry from LLDP MIB Local Port Table cache\n";
const char* const kDestroyingLine = "VERBOSE[%s] Destroying LLDP MIB Local Port Table cache\n";

const lldpmib_snapshot_kind local_port_kind = {
    "LLDP MIB local intf list",
    free_interface,
    lldpmib_destroy_local_entry_list,
    "VERBOSE[%s] Reset entry_count:0, total_entries:0\n",
    "VERBOSE[%s] current timestamp not matching cached timestamp,cache deleted\n",
    "MIB[%s] kel_list_create failed",
    "VERBOSE[%s] Purging out LLDP MIB Local Port Table cache\n",
    nullptr,  // local port copies leave one by one, with their own lines
    nullptr,
};

// Walks the local ports from port for the record to answer: a copy already in
// the snapshot, or one fetched into it.  EXACT takes only port itself; NEXT
// passes over ports whose record cannot be fetched.
lldp_interface_td* local_port_search(lldpmib_snapshot* s, int nominator, int searchType,
                                     int32_t portNum, local_port_search_ctx* context) {
    uint32_t query = (uint32_t)portNum;
    for (;;) {
        LLDPMIB_VERBOSE("lldpmib_shim_local_port_entry_get", "checking interface: %d\n", query);
        uint32_t next = 0;
        uint32_t ifhandle = 0;
        int rc = lldp_client_get_next_if_local(query, &next, &ifhandle);
        LLDPMIB_VERBOSE("lldpmib_shim_local_port_entry_get",
                        "original port num :%d next port num to query:%d, next ifhandle:%x", query,
                        next, ifhandle);
        if (rc != 0) {
            LLDPMIB_ERROR("lldpmib_shim_local_port_entry_get",
                          "Error in getting next_port_numif_index: %d", query);
            return nullptr;
        }
        if (next == LLDP_CLIENT_NO_PORT || (searchType == EXACT && next != query)) {
            LLDPMIB_VERBOSE("lldpmib_shim_local_port_entry_get", "End of Local port num reached\n");
            return nullptr;
        }
        lldp_interface_td* cached = lldpmib_find_local_port_entry(next, s->list);
        if (cached != nullptr) {
            LLDPMIB_VERBOSE("lldpmib_shim_local_port_entry_get",
                            "Interface: %d already cached for column:%d !!!\n", portNum, nominator);
            return cached;
        }

        query = next;
        memset(context, 0, sizeof *context);
        lldp_client_filter filter;
        memset(&filter, 0, sizeof filter);
        filter.kind = LLDP_FILTER_INTERFACE;
        filter.ifhandle = ifhandle;
        rc = lldp_client_iter_intf_running(&filter, lldpmib_get_interface_td, s->list, 1, context);
        if (rc != 0 || context->copy == nullptr) {
            // A copy handed back by a failed fetch is not trusted: it goes now.
            if (context->copy != nullptr) {
                local_port_index_forget(context->copy);
                kel_list_remove(s->list, 0, context->copy);
                lldp_client_free_interface_td(context->copy);
                context->copy = nullptr;
            }
            LLDPMIB_ERROR("lldpmib_shim_local_port_entry_get",
                          "Failed retrieving lldpLocPortEntry datafor ifIndex %d", query);
            if (searchType == EXACT) return nullptr;
            query = query + 1;
            continue;
        }
        LLDPMIB_VERBOSE("lldpmib_shim_local_port_entry_get", "Found lldpLocPortEntry data forifIndex %d",
                        query);
        if (context->copy->port_num > max_if_index) {
            max_if_index = context->copy->port_num;
            LLDPMIB_VERBOSE("lldpmib_shim_local_port_entry_get", "updated max_if_index:%d\n",
                            max_if_index);
        }
        s->total_entries = kel_list_get_size(s->list);
        return context->copy;
    }
}

// Fills the row from r; false when a value could not be made.
bool local_port_fill(const lldp_interface_td* r) {
    lldpLocPortEntry_t* row = &lldpLocPortEntryData;
    row->lldpLocPortNum = r->port_num;
    row->lldpLocPortIdSubtype = r->port_id_subtype;
    row->lldpLocPortId = lldpmib_local_port_id(r->port_id_subtype, r->port_id);
    if (row->lldpLocPortId != nullptr && row->lldpLocPortId->length > kMaxPortIdLength)
        row->lldpLocPortId->length = kMaxPortIdLength;
    row->lldpLocPortDesc = MakeOctetStringFromText(r->port_desc);
    return row->lldpLocPortId != nullptr && row->lldpLocPortDesc != nullptr;
}

}  // namespace

extern "C" {

lldpLocPortEntry_t lldpLocPortEntryData;

// ======================= Shared by the local tables =======================

void* lldpmib_local_store_copy(void* record, void* list, void* (*copy)(const void*),
                               void (*free_copy)(void*), int fail_row, const char* fail_line,
                               const char* fn, int* status) {
    *status = 0;
    kel_list_handle handle = static_cast<kel_list_handle>(list);
    if (record == nullptr || !kel_list_is_valid(handle)) return nullptr;
    void* made = copy(record);
    if (made == nullptr) return nullptr;
    if (kel_list_enqueue(handle, 0, made) == nullptr) {
        LLDPMIB_EMIT(fail_row, fail_line, fn);
        free_copy(made);
        *status = 2;
        return nullptr;
    }
    return made;
}

void lldpmib_local_count_served(lldpmib_snapshot* s, const char* fn) {
    s->entry_count++;
    LLDPMIB_VERBOSE(fn, "entry_count:%d, total_entries:%d\n", s->entry_count, s->total_entries);
}

void lldpmib_local_lookup_miss(lldpmib_snapshot* s, const lldpmib_snapshot_kind* kind,
                               const char* fn) {
    if (s->total_entries == 0) lldpmib_snapshot_purge(s, kind, fn);
}

// ======================= Local port table =======================

void lldpmib_free_local_port_row(void) {
    FreeOctetString(lldpLocPortEntryData.lldpLocPortId);
    FreeOctetString(lldpLocPortEntryData.lldpLocPortDesc);
    memset(&lldpLocPortEntryData, 0, sizeof lldpLocPortEntryData);
}

lldpLocPortEntry_t* lldpmib_shim_local_port_entry_get(int serialNum, void* contextInfo,
                                                      int nominator, int searchType,
                                                      int32_t portNum) {
    lldpmib_snapshot* s = &local_port_snapshot;
    lldpmib_lock();
    local_port_search_ctx context;
    memset(&context, 0, sizeof context);
    lldpmib_free_local_port_row();
    int usable = lldpmib_snapshot_usable(s, &local_port_kind, "lldpmib_shim_local_port_entry_get");
    if (!usable) local_port_index.clear();

    lldpLocPortEntry_t* answer = nullptr;
    lldp_interface_td* found = nullptr;
    bool list_failed = false;
    if (lldpmib_shim_is_lldp_enabled() == 0) {
        if (!usable &&
            lldpmib_snapshot_create(s, &local_port_kind, "lldpmib_shim_local_port_entry_get") != 0)
            list_failed = true;
        else
            found = local_port_search(s, nominator, searchType, portNum, &context);
    }

    if (found != nullptr) {
        if (nominator == kLastNominator)
            lldpmib_local_count_served(s, "lldpmib_shim_local_port_entry_get");
        bool filled = local_port_fill(found);
        if (searchType == EXACT || nominator == kLastNominator) {
            local_port_index_forget(found);
            lldpmib_snapshot_consume(s, &local_port_kind, "lldpmib_shim_local_port_entry_get",
                                     found, (int)lldpLocPortEntryData.lldpLocPortNum,
                                     kRemovingLine, kDestroyingLine);
            local_port_index_sync();
        }
        if (filled)
            answer = &lldpLocPortEntryData;
        else
            lldpmib_free_local_port_row();
    } else if (!list_failed) {
        lldpmib_local_lookup_miss(s, &local_port_kind, "lldpmib_shim_local_port_entry_get");
        local_port_index_sync();
    }

    memset(&context, 0, sizeof context);
    lldpmib_unlock();
    return answer;
}

lldp_interface_td* lldpmib_find_local_port_entry(uint32_t portNum, kel_list_handle list) {
    if (list == nullptr) {
        LLDPMIB_VERBOSE("lldpmib_find_local_port_entry", "list empty\n");
        return nullptr;
    }
    // The snapshot's own list: through its index.
    if (list == local_port_snapshot.list) {
        auto it = local_port_index.find(portNum);
        if (it == local_port_index.end()) return nullptr;
        LLDPMIB_VERBOSE("lldpmib_find_local_port_entry", "entry index:%d, search index:%d\n",
                        it->second->port_num, portNum);
        return it->second;
    }
    for (kel_list_node_t* node = kel_list_get_head(list); node != nullptr;
         node = lldpmib_node_next(node)) {
        lldp_interface_td* r = static_cast<lldp_interface_td*>(lldpmib_node_data(node));
        if (r == nullptr) continue;
        LLDPMIB_VERBOSE("lldpmib_find_local_port_entry", "entry index:%d, search index:%d\n",
                        r->port_num, portNum);
        if (r->port_num == portNum) return r;
    }
    return nullptr;
}

int lldpmib_get_interface_td(void* record, void* list, void* context) {
    LLDPMIB_TRACE("lldpmib_get_interface_td");
    int status = 0;
    void* copy = lldpmib_local_store_copy(record, list, copy_interface, free_interface, LLDP_ROW_MIB,
                                          "MIB[%s] kel_list_enqueue failed",
                                          "lldpmib_get_interface_td", &status);
    if (copy != nullptr && list == local_port_snapshot.list) {
        auto* made = static_cast<lldp_interface_td*>(copy);
        local_port_index.emplace(made->port_num, made);
    }
    if (copy != nullptr && context != nullptr)
        static_cast<local_port_search_ctx*>(context)->copy = static_cast<lldp_interface_td*>(copy);
    return status;
}

void lldpmib_destroy_local_entry_list(kel_list_handle list) {
    lldpmib_destroy_copy_list(list, free_interface, "lldpmib_destroy_local_entry_list");
}

void lldpmib_release_local_port_snapshot(void) {
    lldpmib_snapshot_release_at_stop(&local_port_snapshot, &local_port_kind,
                                     "lldpmib_shim_local_port_entry_get");
    local_port_index.clear();
}

}  // extern "C"
