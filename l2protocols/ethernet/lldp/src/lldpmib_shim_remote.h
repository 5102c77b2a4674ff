// The engine the four neighbour-table shims share.
//
// A neighbour table's snapshot holds deep copies of neighbour records (owned
// by a kel list, in (port, remote index) order), an ordered index of every row
// those copies make, keyed by the row's own instance (time mark, local port,
// remote index, then the table's element index), and the ranges of port
// numbers it knows completely: ports it has iterated, and ports the client's
// port walk passed over.  A request is answered from the index only when the
// known ports prove the answer; otherwise the engine iterates the next unknown
// port, each port at most once per snapshot.  So every answer is the one a
// sorted table of all rows would give, whatever requests came before, and a
// snapshot never holds more than one copy per neighbour.
//
// Adding a neighbour table:
//  1. its objects and method routine in lldpmib_mib.cpp (object list, name
//     table, exports map);
//  2. its row record in lldpmib.h;
//  3. a shim file with its lines, its hooks and an lldpmib_remote_table filled
//     by name;
//  4. its traits in the model-based test's table list;
//  5. its release at the module's stop (lldpmib_term).
#pragma once
#include <algorithm>
#include <initializer_list>
#include <map>
#include <vector>

#include "lldpmib.h"

// A row's instance: the sub-identifiers after the column's identifier, held
// in place (no allocation per request) and ordered as identifiers are.  The
// longest row instance has 21 sub-identifiers (a management address row with
// an IPv6 address); a longer asked instance keeps its first kCapacity ones,
// which orders it against every row exactly as the whole instance would.
struct lldpmib_row_key {
    static constexpr uint32_t kCapacity = 24;
    uint32_t length = 0;
    uint32_t sid[kCapacity];

    lldpmib_row_key() = default;
    lldpmib_row_key(std::initializer_list<uint32_t> values) {
        for (uint32_t v : values) push_back(v);
    }
    void push_back(uint32_t v) {
        if (length < kCapacity) sid[length++] = v;
    }
    uint32_t operator[](uint32_t i) const { return sid[i]; }
    uint32_t size() const { return length; }
    bool operator<(const lldpmib_row_key& o) const {
        return std::lexicographical_compare(sid, sid + length, o.sid, o.sid + o.length);
    }
};

// One row of a neighbour table: the neighbour copy and, in tables with one
// row per element, the element inside it.
struct lldpmib_row_ref {
    neighbor_td* neighbor;
    const void* element;
};

using lldpmib_row_index = std::map<lldpmib_row_key, lldpmib_row_ref>;

struct lldpmib_remote_request;
struct lldpmib_row_tally;

struct lldpmib_remote_snapshot {
    lldpmib_snapshot base;  // the copies, when they were fetched, the counters
    lldpmib_row_index rows;
    // Port ranges [first, last] the snapshot knows completely; disjoint.
    std::map<uint32_t, uint32_t> known_ports;
    // The row the last search ended on.  A walk asks next for the row after
    // it, which is then found from here in constant time.  Rows are only ever
    // added while the snapshot lives, so the position stays valid until the
    // rows are dropped.
    lldpmib_row_index::const_iterator last_row;
    bool has_last_row = false;
    // The greatest (port, remote index) put into the list in order.  A copy
    // not below it goes in at the tail with one comparison; one below it (a
    // port fetched out of order, for a GET) is appended, so that no copy ever
    // has to pass along the list.  The list's order is nobody's concern: the
    // rows index orders the answers.
    bool has_greatest = false;
    uint32_t greatest_port = 0;
    uint32_t greatest_index = 0;
    // While set, lldpmib_remote_add_row counts the rows it is given here
    // instead of indexing them.
    lldpmib_row_tally* tally = nullptr;
};

// The rows of a port's iteration that the request counts, as the trace lines
// report them: rows at or above the time mark floor whose instance after the
// time mark equals the asked one (EXACT) or is not below it (NEXT).
struct lldpmib_row_tally {
    const lldpmib_remote_request* rq;
    uint32_t time_mark_floor;
    uint32_t rows;
};

// One request in progress.
struct lldpmib_remote_request {
    int serial;
    int nominator;
    int search_type;
    uint32_t time_mark;
    int32_t port;
    int32_t rem_index;
    lldpmib_row_key key;  // the instance asked for (EXACT) or its floor (NEXT)
    const void* table;    // the table's own request data, for its hooks
};

using lldpmib_row = std::pair<const lldpmib_row_key, lldpmib_row_ref>;

// A neighbour table's trace lines.  Their texts are kept word for word (odd
// spacing included) because operators' scripts match them; each is written by
// a hook of its own, so that the compiler checks its values against its
// format.  "fn" is the shim's name unless said otherwise.
struct lldpmib_remote_lines {
    // More ports asked in a live snapshot for rq.
    void (*already)(const char* fn, const lldpmib_remote_request* rq);
    void (*creating)(const char* fn);  // before the snapshot list is made
    // Before a port's iteration.  The iteration starts from the asked key on
    // the asked port and from the port's first row on any other.
    void (*attempt)(const char* fn, const lldpmib_remote_request* rq, uint32_t port,
                    uint32_t ifhandle);
    void (*found)(const char* fn, uint32_t port);   // a port iterated
    void (*failed)(const char* fn, uint32_t port);  // a port's iteration failed
    // The iteration callback's line after it stored a copy: the records it
    // was given and the rows counted so far in this port's iteration.  Null
    // when the callback writes none.
    void (*stored)(const char* fn, uint32_t records, uint32_t counted);
    // After a port's iteration, before its found or failed line: updates the
    // table's counters from the records the callback was given and the rows
    // it counted, and writes the table's count lines.
    void (*iterated)(const char* fn, lldpmib_snapshot* s, uint32_t records, uint32_t counted);
    // The snapshot's search, written once per request before any port is
    // asked: its own function's name, its arguments and its outcome (hit is
    // null when the snapshot could not prove an answer).
    void (*search)(const lldpmib_remote_request* rq, const lldpmib_row* hit);
    // The answer proven by the snapshot alone.
    void (*cached)(const char* fn, const lldpmib_remote_request* rq, const lldpmib_row* hit);
    // The request's closing counters line.
    void (*totals)(const char* fn, const lldpmib_snapshot* s);
};

// A neighbour table.  Every hook is required unless said otherwise.
struct lldpmib_remote_table {
    const char* fn;        // the shim's name, written in its lines
    lldpmib_remote_snapshot* snapshot;
    const lldpmib_snapshot_kind* kind;
    const lldpmib_remote_lines* lines;
    int last_nominator;    // the table's last column
    bool port_walk_lines;  // write the port walk's "original port num" and "End of port num" lines
    // Rows on ports other than the asked one are counted with the asked time
    // mark as their floor (otherwise with none).
    bool asked_time_mark_on_every_port;
    // The client's walk of the ports that have data for this table.
    int (*next_port)(uint32_t port, uint32_t* next, uint32_t* ifhandle);
    // The iteration callback given to lldp_client_iter_ne (stores copies).
    lldp_client_callback callback;
    // Writes the request's "Checking for ..." line; runs once per request
    // while LLDP is enabled.
    void (*checking)(const lldpmib_remote_request* rq);
    // Called for each neighbour copy a port's iteration stored: adds the rows
    // it makes with lldpmib_remote_add_row.
    void (*add_rows)(lldpmib_remote_snapshot* s, neighbor_td* copy);
    // Fills the table's row record from an indexed row; true when every value
    // could be made.  The row record was cleared before the request.
    bool (*fill)(const lldpmib_remote_request* rq, const lldpmib_row_ref* row);
};

extern "C" {

// The module's stop: the table's snapshot released as at expiry, its rows
// and known ports dropped.
void lldpmib_remote_release(const lldpmib_remote_table* t);

// Runs one request of a neighbour table under the module lock (the caller
// took it, wrote its entry line and cleared its row record).  Non-zero when
// the row was filled.
int lldpmib_remote_shim_run(const lldpmib_remote_table* t, lldpmib_remote_request* rq);

// The body of the four iteration callbacks: stores a copy of record in list
// when keep(record) says so.  context is the engine's port iteration.
int lldpmib_remote_store(const char* fn, bool (*keep)(const neighbor_td* record), void* record,
                         void* list, void* context);

// "entry_count:%d, total_entries:%d" with the snapshot's two counters.
void lldpmib_remote_totals_line(const char* fn, const lldpmib_snapshot* s);

// Frees a neighbour copy (the snapshot kinds' free operation).
void lldpmib_free_neighbor_copy(void* copy);
// Bounded, terminated text of a neighbour's chassis ID.
void lldpmib_chassis_text(const neighbor_td* n, char* out, size_t out_size);

}  // extern "C"

// Indexes one row of copy (or counts it, while the snapshot has a tally).
// Rows whose port or remote index lie outside 1..2147483647 are not served;
// of two rows with one instance the first stays.
void lldpmib_remote_add_row(lldpmib_remote_snapshot* s, lldpmib_row_key key, neighbor_td* copy,
                            const void* element);
// The (time mark, local port, remote index) start of every neighbour row.
lldpmib_row_key lldpmib_remote_key(uint32_t time_mark, uint32_t port, uint32_t rem_index);
