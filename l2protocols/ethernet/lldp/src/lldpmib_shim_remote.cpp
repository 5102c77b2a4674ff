// Neighbour records in the snapshots of the four neighbour tables: their order,
// their release, and the request skeleton the four shims share.
#include "lldpmib_shim_remote.h"

#include <string.h>

extern "C" {

// ======================= Neighbour records =======================

int lldpmib_compare_key(uint32_t port_a, uint32_t index_a, uint32_t port_b, uint32_t index_b) {
    if (port_a != port_b) return (int32_t)(port_a - port_b);
    return (int32_t)(index_a - index_b);
}

int lldpmib_neighbor_list_compare(void* a, void* b) {
    LLDPMIB_TRACE("lldpmib_neighbor_list_compare");
    const neighbor_td* na = (const neighbor_td*)a;
    const neighbor_td* nb = (const neighbor_td*)b;
    // A copy without its MIB part has no key: it goes before every keyed copy.
    bool a_keyed = na != nullptr && na->mib != nullptr;
    bool b_keyed = nb != nullptr && nb->mib != nullptr;
    if (!a_keyed || !b_keyed) return (int)a_keyed - (int)b_keyed;
    return lldpmib_compare_key(na->mib->port_num, na->mib->rem_index, nb->mib->port_num,
                               nb->mib->rem_index);
}

void lldpmib_destroy_remote_entry_list(kel_list_handle list) {
    if (list == nullptr || !kel_list_is_valid(list)) {
        LLDPMIB_VERBOSE("lldpmib_destroy_remote_entry_list", "remote list is empty, returning\n");
        return;
    }
    int count = 0;
    while (!kel_list_is_empty(list)) {
        neighbor_td* copy = (neighbor_td*)kel_list_dequeue(list);
        if (copy == nullptr) continue;
        LLDPMIB_VERBOSE("lldpmib_destroy_remote_entry_list", "freeing node at count:%d\n", count);
        lldp_client_free_neighbor_td(copy);
        count++;
    }
    if (kel_list_destroy(&list) != 0)
        LLDPMIB_MIB("lldpmib_destroy_remote_entry_list", "kel_list_destroy failed");
}

neighbor_td* lldpmib_store_neighbor(void* list, const neighbor_td* rec, const char* fn, int* rc) {
    neighbor_td* copy = lldp_client_copy_neighbor_td(rec);
    if (copy == nullptr) {
        *rc = 0;
        return nullptr;
    }
    if (kel_list_insert((kel_list_handle)list, 0, copy, lldpmib_neighbor_list_compare) == nullptr) {
        LLDPMIB_MIB(fn, "kel_list_enqueue failed");
        lldp_client_free_neighbor_td(copy);
        *rc = 2;
        return nullptr;
    }
    return copy;
}

void lldpmib_free_neighbor_copy(void* copy) { lldp_client_free_neighbor_td((neighbor_td*)copy); }

void lldpmib_remote_drain(kel_list_handle list) {
    if (list == nullptr || !kel_list_is_valid(list)) return;
    while (!kel_list_is_empty(list)) {
        neighbor_td* copy = (neighbor_td*)kel_list_dequeue(list);
        if (copy != nullptr) lldp_client_free_neighbor_td(copy);
    }
}

void lldpmib_chassis_text(const neighbor_td* n, char* out, size_t out_size) {
    size_t len = 0;
    if (n != nullptr && n->chassis_id != nullptr && n->mib != nullptr) len = n->mib->chassis_id_len;
    if (len > 255) len = 255;
    if (len > out_size - 1) len = out_size - 1;
    if (len > 0) memcpy(out, n->chassis_id, len);
    out[len] = '\0';
}

// ======================= The shared request skeleton =======================

// Fills the snapshot from the client, port by port, until a port yields the
// answer or no port is left.  -1 when the list could not be created.
static int lldpmib_remote_fetch(const lldpmib_remote_table* t, lldpmib_remote_request* rq,
                                int usable, int* ports_exhausted) {
    lldpmib_snapshot* s = t->snapshot;
    const char* fn = t->fn;
    int from = LLDPMIB_WALK_ASKED;
    if (usable && rq->search_type == EXACT) {
        // The copy asked for may have been served and freed: start over from
        // the asked port so that a row that exists is always answered.
        LLDPMIB_VERBOSE(fn, "Search exact cache not valid");
        lldpmib_remote_drain(s->list);
    } else if (usable) {
        LLDPMIB_EMIT(LLDP_ROW_VERBOSE, t->already_line, fn);
        from = LLDPMIB_WALK_AFTER;
    } else {
        LLDPMIB_EMIT(LLDP_ROW_VERBOSE, t->creating_line, fn);
        if (lldpmib_snapshot_create(s, t->kind, fn) != 0) return -1;
    }
    t->walk_key(rq, from);
    uint32_t port = (uint32_t)rq->port + (from == LLDPMIB_WALK_AFTER ? 1u : 0u);
    for (;;) {
        uint32_t next = 0;
        uint32_t ifhandle = 0;
        int rc = t->next_port(port, &next, &ifhandle);
        if (t->port_walk_lines)
            LLDPMIB_VERBOSE(fn, "original port num :%d next port num to query:%d\n", (int)port,
                            (int)next);
        if (rc != 0) {
            LLDPMIB_ERROR(fn, "Error in getting next_port_num. if_index : %d", (int)port);
            return 0;
        }
        if (next == LLDP_CLIENT_NO_PORT) {
            if (t->port_walk_lines) LLDPMIB_VERBOSE(fn, "End of port num reached");
            *ports_exhausted = 1;
            break;
        }
        LLDPMIB_VERBOSE(fn, "Next port num to query:%d\n", (int)next);
        void* context = t->prepare(rq, next, ifhandle);
        lldp_client_filter filter;
        memset(&filter, 0, sizeof filter);
        filter.kind = LLDP_FILTER_NEIGHBORS;
        filter.ifhandle = ifhandle;
        rc = lldp_client_iter_ne(&filter, 1, 1, t->callback, s->list, 1, context);
        if (t->iterated != nullptr) t->iterated(rq);
        if (rc == 0 && t->selected(rq)) {
            LLDPMIB_EMIT(LLDP_ROW_VERBOSE, t->found_line, fn, (int)next);
            break;
        }
        LLDPMIB_EMIT(LLDP_ROW_ERROR, t->failed_line, fn, (int)next);
        // A choice made before the iteration failed is never served.
        rq->answer = nullptr;
        rq->element = nullptr;
        t->walk_key(rq, LLDPMIB_WALK_FAILED);
        port = next + 1;
    }
    uint32_t size = kel_list_get_size(s->list);
    if (size == 0) {
        rq->answer = nullptr;
        rq->element = nullptr;
    } else if (t->total_is_list_size && rq->answer != nullptr) {
        s->total_entries = size;
    }
    return 0;
}

int lldpmib_remote_shim_run(const lldpmib_remote_table* t, lldpmib_remote_request* rq) {
    lldpmib_snapshot* s = t->snapshot;
    const char* fn = t->fn;
    rq->answer = nullptr;
    rq->element = nullptr;
    int usable = lldpmib_snapshot_usable(s, t->kind, fn);
    int ports_exhausted = 0;
    int filled = 0;
    if (lldpmib_shim_is_lldp_enabled() == 0) {
        t->checking(rq);
        if (!t->find(rq)) {
            rq->answer = nullptr;
            rq->element = nullptr;
            if (lldpmib_remote_fetch(t, rq, usable, &ports_exhausted) < 0) return 0;
        }
        if (rq->answer != nullptr) {
            if (t->fill(rq)) {
                if (rq->nominator == t->last_nominator) s->entry_count++;
                lldpmib_snapshot_touch(s);
                filled = 1;
            } else {
                rq->answer = nullptr;
                rq->element = nullptr;
            }
        }
    }
    if (t->totals_with_neighbors)
        LLDPMIB_EMIT(LLDP_ROW_VERBOSE, t->totals_line, fn, (int)s->neighbors, (int)s->entry_count,
                     (int)s->total_entries);
    else
        LLDPMIB_EMIT(LLDP_ROW_VERBOSE, t->totals_line, fn, (int)s->entry_count,
                     (int)s->total_entries);
    bool walk_last_column = rq->search_type == NEXT && rq->nominator == t->last_nominator;
    if (!filled) {
        bool purge = s->total_entries == 0;
        if (walk_last_column &&
            (t->purge_walk_end || (t->purge_ports_exhausted && ports_exhausted)))
            purge = true;
        if (purge) lldpmib_snapshot_purge(s, t->kind, fn);
        return 0;
    }
    if (rq->search_type == EXACT ||
        (t->consume_walked && walk_last_column && t->last_element(rq)))
        lldpmib_snapshot_consume(s, t->kind, fn, rq->answer, 0);
    return 1;
}

// ======================= The two element tables =======================

static int lldpmib_tlv_callback_end(const lldpmib_tlv_ops* ops, const lldpmib_tlv_view* v) {
    if (ops->callback_tail_line)
        LLDPMIB_VERBOSE(ops->callback_fn, "Number of neigh:%d, total entries:%d\n",
                        (int)*v->neigh_count, (int)*v->tlv_count);
    return 0;
}

int lldpmib_tlv_callback(const lldpmib_tlv_ops* ops, void* record, void* list,
                         const lldpmib_tlv_view* v) {
    const char* fn = ops->callback_fn;
    LLDPMIB_TRACE(fn);
    if (record == nullptr || v == nullptr) return 0;
    const neighbor_td* rec = (const neighbor_td*)record;
    if (rec->port_marker != 0) {
        if (rec->mib != nullptr) *v->port = (int32_t)rec->mib->port_num;
        return 0;
    }
    (*v->neigh_count)++;
    if (rec->mib == nullptr || ops->head(rec) == nullptr) return 0;
    if (!kel_list_is_valid((kel_list_handle)list)) return lldpmib_tlv_callback_end(ops, v);
    int rc = 0;
    neighbor_td* copy = lldpmib_store_neighbor(list, rec, fn, &rc);
    if (copy == nullptr) return rc;
    if (copy->detail == nullptr || copy->mib == nullptr) {
        LLDPMIB_VERBOSE(fn, "NO detail or mib, so skip it.");
        return lldpmib_tlv_callback_end(ops, v);
    }
    const lldp_neighbor_mib* mib = copy->mib;
    if (mib->time_mark < *v->time_mark) {
        LLDPMIB_VERBOSE(fn, "time mark does not qualify, so skip it.");
        return lldpmib_tlv_callback_end(ops, v);
    }
    int cmp = lldpmib_compare_key(mib->port_num, mib->rem_index, (uint32_t)*v->port,
                                  (uint32_t)*v->rem_index);
    void* head = ops->head(copy);
    if (*v->search_type == EXACT) {
        if (cmp == 0) {
            LLDPMIB_VERBOSE(fn, "result found, matching unknown TLV type");
            void* e = ops->exact(head, v->key);
            if (e != nullptr) {
                LLDPMIB_VERBOSE(fn, "result found");
                *v->best = copy;
                *v->entry = e;
                (*v->tlv_count)++;
            }
        }
    } else if (*v->search_type == NEXT) {
        LLDPMIB_VERBOSE(fn, "ifIndex: %u, remIndex: %u\n", mib->port_num, mib->rem_index);
        if (ops->callback_key_line)
            LLDPMIB_VERBOSE(fn,
                            "curr_port_num:%d, curr_rem_index:%d,query_port_num:%d, "
                            "query_rem_index:%d\n",
                            (int)mib->port_num, (int)mib->rem_index, (int)*v->port,
                            (int)*v->rem_index);
        if (cmp == 0) {
            LLDPMIB_VERBOSE(fn, "matching Unknown TLV");
            void* e = ops->next(head, v->key, v->tlv_count);
            if (e != nullptr) {
                *v->best = copy;
                *v->entry = e;
            }
        } else if (cmp > 0) {
            void* e = ops->smallest(head, v->tlv_count);
            neighbor_td* best = *v->best;
            if (e != nullptr &&
                (best == nullptr || best->mib == nullptr ||
                 lldpmib_compare_key(mib->port_num, mib->rem_index, best->mib->port_num,
                                     best->mib->rem_index) <= 0)) {
                *v->best = copy;
                *v->entry = e;
            }
        }
    }
    return lldpmib_tlv_callback_end(ops, v);
}

void* lldpmib_tlv_find(const lldpmib_tlv_ops* ops, int searchType, uint32_t timeMark,
                       int32_t localPortNum, int32_t remIndex, const void* key,
                       kel_list_handle list, neighbor_td** result) {
    const char* fn = ops->find_fn;
    if (result == nullptr) {
        LLDPMIB_MIB(fn, "invalid result arg\n");
        return nullptr;
    }
    neighbor_td* best = nullptr;
    void* best_element = nullptr;
    for (kel_list_node_t* node = kel_list_get_head(list); node != nullptr;
         node = lldpmib_node_next(node)) {
        neighbor_td* n = (neighbor_td*)lldpmib_node_data(node);
        if (n == nullptr) {
            if (ops->find_invalid_entry_is_mib)
                LLDPMIB_MIB(fn, "invalid entry.");
            else
                LLDPMIB_VERBOSE(fn, "invalid entry.");
            continue;
        }
        if (n->detail == nullptr || n->mib == nullptr) {
            LLDPMIB_VERBOSE(fn, "NO detail or mib, so skip it.");
            continue;
        }
        const lldp_neighbor_mib* mib = n->mib;
        if (mib->time_mark < timeMark) {
            LLDPMIB_VERBOSE(fn, "time mark does not qualify, so skip it.");
            continue;
        }
        int cmp = lldpmib_compare_key(mib->port_num, mib->rem_index, (uint32_t)localPortNum,
                                      (uint32_t)remIndex);
        if (searchType == EXACT) {
            if (cmp != 0) continue;
            LLDPMIB_VERBOSE(fn, "result found, matching unknown TLV type");
            void* e = ops->exact(ops->head(n), key);
            if (e != nullptr) {
                LLDPMIB_VERBOSE(fn, "result found");
                *result = n;
                return e;
            }
        } else if (searchType == NEXT) {
            LLDPMIB_VERBOSE(fn, "ifIndex: %u, remIndex: %u\n", mib->port_num, mib->rem_index);
            if (cmp == 0) {
                LLDPMIB_EMIT(LLDP_ROW_VERBOSE, ops->find_matching_line, fn);
                void* e = ops->next(ops->head(n), key, nullptr);
                if (e != nullptr) {
                    *result = n;
                    return e;
                }
            } else if (cmp > 0) {
                if (best != nullptr && lldpmib_compare_key(mib->port_num, mib->rem_index,
                                                           best->mib->port_num,
                                                           best->mib->rem_index) > 0)
                    continue;
                void* e = ops->smallest(ops->head(n), nullptr);
                if (e != nullptr) {
                    best = n;
                    best_element = e;
                }
            }
        }
    }
    if (ops->find_end_line != nullptr) ops->find_end_line(best, best_element);
    *result = best;
    return best_element;
}

}  // extern "C"
