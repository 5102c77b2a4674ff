// The part of the four neighbour-table shims they have in common: the snapshot
// validity, the port walk, the fill and the conclusion of a request.  Each
// table describes what differs in an lldpmib_remote_table and supplies the
// request-specific steps as hooks.
#pragma once
#include "lldpmib.h"

extern "C" {

// One request in progress: what was asked, and what the table has chosen.
typedef struct lldpmib_remote_request {
    int nominator;
    int search_type;
    uint32_t time_mark;
    int32_t port;
    int32_t rem_index;
    neighbor_td* answer;  // the neighbour copy of the row (owned by the snapshot)
    void* element;        // the row's element inside answer (tables with elements)
    void* table;          // the table's own request data (search context, keys)
} lldpmib_remote_request;

// How the walk key is set before the first port of a walk.
enum lldpmib_remote_walk_from {
    LLDPMIB_WALK_ASKED = 0,  // the asked key, from the asked port
    LLDPMIB_WALK_AFTER = 1,  // a NEXT miss in a present snapshot: past the asked port
    LLDPMIB_WALK_FAILED = 2  // after a port that yielded nothing
};

typedef struct lldpmib_remote_table {
    const char* fn;  // the shim's name, written in its lines
    lldpmib_snapshot* snapshot;
    const lldpmib_snapshot_kind* kind;
    int (*next_port)(uint32_t port, uint32_t* next, uint32_t* ifhandle);
    lldp_client_callback callback;
    int last_nominator;             // the table's last column
    const char* already_line;       // a NEXT miss in a present snapshot
    const char* creating_line;      // before the list is created
    const char* found_line;         // VERBOSE, "%d" = the port
    const char* failed_line;        // ERROR, "%d" = the port
    const char* totals_line;        // VERBOSE; see totals_with_neighbors
    uint8_t totals_with_neighbors;  // totals_line takes (neighbors, entry_count, total)
    uint8_t port_walk_lines;        // the "original port num" and "End of port num" lines
    uint8_t total_is_list_size;     // total_entries = the list's size once a port answers
    uint8_t consume_walked;         // NEXT on the last column consumes after the last element
    uint8_t purge_walk_end;         // NEXT on the last column with no row purges (always)
    uint8_t purge_ports_exhausted;  // ... or only when the port walk ran out of ports

    void (*checking)(lldpmib_remote_request* rq);  // the request's lines and keys
    int (*find)(lldpmib_remote_request* rq);       // snapshot search; non-zero on a hit
    void (*walk_key)(lldpmib_remote_request* rq, int from);
    // Sets the context up for one port and writes its attempt line.
    void* (*prepare)(lldpmib_remote_request* rq, uint32_t port, uint32_t ifhandle);
    void (*iterated)(lldpmib_remote_request* rq);                 // bookkeeping after a port
    int (*selected)(lldpmib_remote_request* rq);  // takes the context's choice into rq
    int (*fill)(lldpmib_remote_request* rq);      // non-zero when the row was made
    int (*last_element)(const lldpmib_remote_request* rq);
} lldpmib_remote_table;

// Runs one request of a neighbour table under the module lock.  The caller has
// written its entry line, taken the lock, cleared its context and its row.
// Non-zero when the row was filled.
int lldpmib_remote_shim_run(const lldpmib_remote_table* t, lldpmib_remote_request* rq);

// Stores a deep copy of a neighbour record in a snapshot list, in key order.
// Returns the copy, which the list now owns, or null with *rc set to the
// callback's result: 0 when no copy could be made, 2 when the copy could not
// be inserted (it is freed and "kel_list_enqueue failed" written with fn).
neighbor_td* lldpmib_store_neighbor(void* list, const neighbor_td* rec, const char* fn, int* rc);

// Frees a neighbour copy (the snapshot kinds' free operation).
void lldpmib_free_neighbor_copy(void* copy);
// Frees every copy of a list and keeps the list.
void lldpmib_remote_drain(kel_list_handle list);
// Bounded, terminated text of a neighbour's chassis ID.
void lldpmib_chassis_text(const neighbor_td* n, char* out, size_t out_size);

// ---- The two element tables (unknown TLVs, organisationally defined TLVs) ----

// What differs between the two tables' callbacks and cache searches.
typedef struct lldpmib_tlv_ops {
    const char* callback_fn;
    const char* find_fn;
    void* (*head)(const neighbor_td* n);  // the neighbour's element list
    void* (*exact)(void* head, const void* key);
    void* (*next)(void* head, const void* key, int32_t* count);
    void* (*smallest)(void* head, int32_t* count);
    const char* find_matching_line;      // the search's line on an equal neighbour key
    uint8_t find_invalid_entry_is_mib;   // "invalid entry." as a MIB line, else VERBOSE
    uint8_t callback_tail_line;          // the callback ends with its counting line
    uint8_t callback_key_line;           // the callback shows both keys on NEXT
    void (*find_end_line)(const neighbor_td* best, const void* element);
} lldpmib_tlv_ops;

// The fields the two tables' search contexts have in common.
typedef struct lldpmib_tlv_view {
    neighbor_td** best;
    void** entry;
    uint32_t* time_mark;
    int32_t* port;
    int32_t* rem_index;
    int32_t* neigh_count;
    int32_t* tlv_count;
    int32_t* search_type;
    const void* key;  // the element key asked for
} lldpmib_tlv_view;

int lldpmib_tlv_callback(const lldpmib_tlv_ops* ops, void* record, void* list,
                         const lldpmib_tlv_view* v);
void* lldpmib_tlv_find(const lldpmib_tlv_ops* ops, int searchType, uint32_t timeMark,
                       int32_t localPortNum, int32_t remIndex, const void* key,
                       kel_list_handle list, neighbor_td** result);

}  // extern "C"
