// Neighbour records in the snapshots of the four neighbour tables: their order,
// their release, and the request engine the four shims share.
#include "lldpmib_shim_remote.h"

#include <string.h>

namespace {

// The last port number a port walk can report; LLDP_CLIENT_NO_PORT ends it.
const uint32_t kLastPort = LLDP_CLIENT_NO_PORT - 1;
const uint32_t kMaxIndex = 2147483647u;

// ---- Known port ranges ----

using port_ranges = std::map<uint32_t, uint32_t>;

// The range holding port, or end.
port_ranges::const_iterator range_of(const port_ranges& r, uint32_t port) {
    auto it = r.upper_bound(port);
    if (it == r.begin()) return r.end();
    --it;
    return it->second >= port ? it : r.end();
}

// Every port of [first, last] is known.
bool ports_known(const port_ranges& r, uint32_t first, uint32_t last) {
    auto it = range_of(r, first);
    return it != r.end() && it->second >= last;
}

// The least port not below from that is not known; LLDP_CLIENT_NO_PORT when
// every port from there on is known.
uint32_t first_unknown_port(const port_ranges& r, uint32_t from) {
    auto it = range_of(r, from);
    if (it == r.end()) return from;
    return it->second >= kLastPort ? LLDP_CLIENT_NO_PORT : it->second + 1;
}

void mark_known(port_ranges& r, uint32_t first, uint32_t last) {
    auto it = r.upper_bound(first);
    if (it != r.begin()) {
        auto prev = std::prev(it);
        if (prev->second != UINT32_MAX && prev->second + 1 >= first) {
            first = prev->first;
            if (prev->second > last) last = prev->second;
            it = r.erase(prev);
        }
    }
    while (it != r.end() && (last == UINT32_MAX || it->first <= last + 1)) {
        if (it->second > last) last = it->second;
        it = r.erase(it);
    }
    r.emplace(first, last);
}

// ---- The snapshot ----

// Drops every row and known port; the copies are gone already.
void remote_drop(const lldpmib_remote_table* t) {
    lldpmib_remote_snapshot* s = t->snapshot;
    s->rows.clear();
    s->known_ports.clear();
    s->has_last_row = false;
    s->has_greatest = false;
}

// The first row not below key: the last search's row or the one after it
// when key lies there (a walk's next request), otherwise a search of the
// whole index.
lldpmib_row_index::const_iterator remote_lower_bound(lldpmib_remote_snapshot* s,
                                                     const lldpmib_row_key& key) {
    const lldpmib_row_index& rows = s->rows;
    if (s->has_last_row && !(key < s->last_row->first)) {
        if (!(s->last_row->first < key)) return s->last_row;
        auto after = std::next(s->last_row);
        if (after == rows.end() || !(after->first < key)) return after;
    }
    return rows.lower_bound(key);
}

// A port's iteration in progress: the copies its callback stored, the
// records it was given and the rows it counted.
struct remote_iteration {
    const lldpmib_remote_table* table;
    lldpmib_remote_snapshot* snapshot;
    std::vector<neighbor_td*> stored;
    uint32_t records;
    lldpmib_row_tally tally;
};

// Whether a row counts in its port's iteration (see lldpmib_row_tally).
bool tally_counts(const lldpmib_row_tally& t, const lldpmib_row_key& row) {
    const lldpmib_row_key& asked = t.rq->key;
    if (row[0] < t.time_mark_floor) return false;
    const uint32_t* a = asked.sid + 1;
    const uint32_t* a_end = asked.sid + asked.size();
    const uint32_t* r = row.sid + 1;
    const uint32_t* r_end = row.sid + row.size();
    bool below = std::lexicographical_compare(r, r_end, a, a_end);
    if (t.rq->search_type != EXACT) return !below;
    return !below && !std::lexicographical_compare(a, a_end, r, r_end);
}

// Puts a copy into the snapshot's list: in order at the tail when it is not
// below any copy put there in order, appended otherwise.  Null on failure.
kel_list_node_t* remote_list_put(lldpmib_remote_snapshot* s, kel_list_handle list,
                                 neighbor_td* copy) {
    bool keyed = copy->mib != nullptr;
    bool in_order = !s->has_greatest ||
                    (keyed && lldpmib_compare_key(copy->mib->port_num, copy->mib->rem_index,
                                                  s->greatest_port, s->greatest_index) >= 0);
    if (!in_order) return kel_list_enqueue(list, 0, copy);
    kel_list_node_t* node = kel_list_insert(list, 0, copy, lldpmib_neighbor_list_compare);
    // An unkeyed copy goes before every keyed one: only a keyed copy raises
    // the bound.
    if (node != nullptr && keyed) {
        s->has_greatest = true;
        s->greatest_port = copy->mib->port_num;
        s->greatest_index = copy->mib->rem_index;
    }
    return node;
}

// Iterates one port into the snapshot for rq.  A port whose iteration fails
// keeps none of its copies.
void remote_iterate_port(const lldpmib_remote_table* t, const lldpmib_remote_request* rq,
                         uint32_t port, uint32_t ifhandle) {
    lldpmib_remote_snapshot* s = t->snapshot;
    t->lines->attempt(t->fn, rq, port, ifhandle);
    bool asked_port = port == rq->key[1];
    uint32_t floor = asked_port || t->asked_time_mark_on_every_port ? rq->time_mark : 0;
    remote_iteration it{t, s, {}, 0, {rq, floor, 0}};
    lldp_client_filter filter;
    memset(&filter, 0, sizeof filter);
    filter.kind = LLDP_FILTER_NEIGHBORS;
    filter.ifhandle = ifhandle;
    int rc = lldp_client_iter_ne(&filter, 1, 1, t->callback, s->base.list, 1, &it);
    t->lines->iterated(t->fn, &s->base, it.records, it.tally.rows);
    if (rc == 0) {
        t->lines->found(t->fn, port);
        for (neighbor_td* copy : it.stored) t->add_rows(s, copy);
    } else {
        t->lines->failed(t->fn, port);
        for (neighbor_td* copy : it.stored) {
            kel_list_remove(s->base.list, 0, copy);
            lldp_client_free_neighbor_td(copy);
        }
    }
}

// Learns about the ports from port on: the client's walk names the next port
// with data, the ports before it are known to have none, and that port is
// iterated.  False when the port walk fails.
bool remote_learn_from(const lldpmib_remote_table* t, const lldpmib_remote_request* rq,
                       uint32_t port) {
    lldpmib_remote_snapshot* s = t->snapshot;
    uint32_t next = 0;
    uint32_t ifhandle = 0;
    int rc = t->next_port(port, &next, &ifhandle);
    if (t->port_walk_lines)
        LLDPMIB_VERBOSE(t->fn, "original port num :%d next port num to query:%d\n", (int)port,
                        (int)next);
    if (rc != 0) {
        LLDPMIB_ERROR(t->fn, "Error in getting next_port_num. if_index : %d", (int)port);
        return false;
    }
    // A walk that ends, or goes backwards, leaves no port from here on.
    if (next == LLDP_CLIENT_NO_PORT || next < port) {
        if (t->port_walk_lines) LLDPMIB_VERBOSE(t->fn, "End of port num reached");
        mark_known(s->known_ports, port, kLastPort);
        return true;
    }
    // A port the snapshot already holds is never iterated twice.
    if (!ports_known(s->known_ports, next, next)) {
        LLDPMIB_VERBOSE(t->fn, "Next port num to query:%d\n", (int)next);
        remote_iterate_port(t, rq, next, ifhandle);
    }
    mark_known(s->known_ports, port, next);
    return true;
}

// The row that answers rq, if the known ports prove it; *proven says whether
// they do.  A NEXT answer needs every port between the asked one and the
// answer's, and, when the answer's time mark is above the asked one, every
// port at all.
const lldpmib_row* remote_search(const lldpmib_remote_table* t, const lldpmib_remote_request* rq,
                                 bool* proven) {
    lldpmib_remote_snapshot* s = t->snapshot;
    const lldpmib_row_key& key = rq->key;
    uint32_t port = key[1];
    auto it = remote_lower_bound(s, key);
    if (it != s->rows.end()) {
        s->last_row = it;
        s->has_last_row = true;
    }
    if (rq->search_type == EXACT) {
        *proven = ports_known(s->known_ports, port, port);
        return it != s->rows.end() && !(key < it->first) ? &*it : nullptr;
    }
    bool all_known = first_unknown_port(s->known_ports, 0) == LLDP_CLIENT_NO_PORT;
    if (it == s->rows.end()) {
        *proven = all_known;
        return nullptr;
    }
    *proven = all_known ||
              (it->first[0] == key[0] && ports_known(s->known_ports, port, it->first[1]));
    return &*it;
}

// The port to learn about next for rq: the first unknown one from the asked
// port on, then from the first port.
uint32_t remote_port_to_learn(const lldpmib_remote_table* t, const lldpmib_remote_request* rq) {
    const port_ranges& known = t->snapshot->known_ports;
    uint32_t port = rq->key[1];
    if (rq->search_type == EXACT) return port;
    uint32_t u = first_unknown_port(known, port);
    return u != LLDP_CLIENT_NO_PORT ? u : first_unknown_port(known, 0);
}

}  // namespace

extern "C" {

// ======================= Neighbour records =======================

int lldpmib_compare_key(uint32_t port_a, uint32_t index_a, uint32_t port_b, uint32_t index_b) {
    if (port_a != port_b) return port_a < port_b ? -1 : 1;
    if (index_a != index_b) return index_a < index_b ? -1 : 1;
    return 0;
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

int lldpmib_remote_store(const char* fn, bool (*keep)(const neighbor_td* record), void* record,
                         void* list, void* context) {
    LLDPMIB_TRACE(fn);
    const neighbor_td* rec = (const neighbor_td*)record;
    remote_iteration* it = (remote_iteration*)context;
    if (rec == nullptr || it == nullptr || !kel_list_is_valid((kel_list_handle)list)) return 22;
    // A port's marker record only names the port; it is never stored.
    if (rec->port_marker != 0) return 0;
    it->records++;
    if (!keep(rec)) return 0;
    neighbor_td* copy = lldp_client_copy_neighbor_td(rec);
    if (copy == nullptr) return 0;
    if (remote_list_put(it->snapshot, (kel_list_handle)list, copy) == nullptr) {
        LLDPMIB_MIB(fn, "kel_list_enqueue failed");
        lldp_client_free_neighbor_td(copy);
        return 2;
    }
    const lldpmib_remote_table* t = it->table;
    if (copy->detail == nullptr || copy->mib == nullptr) {
        LLDPMIB_VERBOSE(fn, "NO detail or mib, so skip it.");
    } else {
        it->stored.push_back(copy);
        // The rows counted serve only the lines: weighed while they are written.
        if (lldpmib_lines_on(LLDP_ROW_VERBOSE)) {
            it->snapshot->tally = &it->tally;
            t->add_rows(it->snapshot, copy);
            it->snapshot->tally = nullptr;
        }
    }
    if (t->lines->stored != nullptr) t->lines->stored(fn, it->records, it->tally.rows);
    return 0;
}

void lldpmib_remote_totals_line(const char* fn, const lldpmib_snapshot* s) {
    LLDPMIB_VERBOSE(fn, "entry_count:%d, total_entries:%d\n", (int)s->entry_count,
                    (int)s->total_entries);
}

void lldpmib_free_neighbor_copy(void* copy) { lldp_client_free_neighbor_td((neighbor_td*)copy); }

void lldpmib_chassis_text(const neighbor_td* n, char* out, size_t out_size) {
    size_t len = 0;
    if (n != nullptr && n->chassis_id != nullptr && n->mib != nullptr) len = n->mib->chassis_id_len;
    if (len > 255) len = 255;
    if (len > out_size - 1) len = out_size - 1;
    if (len > 0) memcpy(out, n->chassis_id, len);
    out[len] = '\0';
}

void lldpmib_remote_release(const lldpmib_remote_table* t) {
    lldpmib_snapshot_release_at_stop(&t->snapshot->base, t->kind, t->fn);
    remote_drop(t);
}

// ======================= The request engine =======================

int lldpmib_remote_shim_run(const lldpmib_remote_table* t, lldpmib_remote_request* rq) {
    lldpmib_remote_snapshot* s = t->snapshot;
    const lldpmib_remote_lines* lines = t->lines;
    const char* fn = t->fn;
    if (!lldpmib_snapshot_usable(&s->base, t->kind, fn)) remote_drop(t);
    const lldpmib_row* hit = nullptr;
    bool filled = false;
    if (lldpmib_shim_is_lldp_enabled() == 0) {
        t->checking(rq);
        bool proven = false;
        hit = remote_search(t, rq, &proven);
        lines->search(rq, proven ? hit : nullptr);
        if (proven && hit != nullptr) lines->cached(fn, rq, hit);
        if (!proven) {
            if (s->base.list == nullptr) {
                lines->creating(fn);
                if (lldpmib_snapshot_create(&s->base, t->kind, fn) != 0) return 0;
            } else {
                lines->already(fn, rq);
            }
            while (!proven) {
                hit = nullptr;
                if (!remote_learn_from(t, rq, remote_port_to_learn(t, rq))) break;
                hit = remote_search(t, rq, &proven);
            }
        }
        if (hit != nullptr && t->fill(rq, &hit->second)) {
            if (rq->nominator == t->last_nominator) s->base.entry_count++;
            filled = true;
        }
    }
    lines->totals(fn, &s->base);
    // A fruitless request drops a snapshot without a single copy (with LLDP
    // disabled there is none to drop, and the line is written all the same).
    if (!filled && (s->base.list == nullptr || kel_list_get_size(s->base.list) == 0)) {
        lldpmib_snapshot_purge(&s->base, t->kind, fn);
        remote_drop(t);
    }
    return filled ? 1 : 0;
}

}  // extern "C"

void lldpmib_remote_add_row(lldpmib_remote_snapshot* s, lldpmib_row_key key, neighbor_td* copy,
                            const void* element) {
    if (key[1] < 1 || key[1] > kMaxIndex || key[2] < 1 || key[2] > kMaxIndex) return;
    if (s->tally != nullptr) {
        if (tally_counts(*s->tally, key)) s->tally->rows++;
        return;
    }
    s->rows.emplace(std::move(key), lldpmib_row_ref{copy, element});
}

lldpmib_row_key lldpmib_remote_key(uint32_t time_mark, uint32_t port, uint32_t rem_index) {
    return lldpmib_row_key{time_mark, port, rem_index};
}
