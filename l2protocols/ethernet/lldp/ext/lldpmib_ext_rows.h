// The extension library's table engine: tables kept as rows sorted by
// instance, answered by instance order.  Tables come in sets built together
// from one pass over their data (the 802.1/802.3 tables from the client's
// organisationally specific records, LLDP-V2-MIB's from what the module and
// this library serve); a set is built once per snapshot, when first asked.
// A table is a descriptor filled by name in its set's file.
#pragma once
#include <stdint.h>

#include <initializer_list>
#include <string>
#include <vector>

#include "lldp_client.h"
#include "snmp_agent.h"

struct lldpmib_ext_data;

namespace lldpmib_rows {

// A column's value: a number (bound as the object's type says), the octets of
// an OCTET STRING (BITS too), an OBJECT IDENTIFIER, or none (an index column,
// or a value the row does not have: the column skips the row).
struct value {
    enum { none, number, octets, oid } kind = none;
    uint32_t bits = 0;
    std::string text;
    std::vector<uint32_t> sids;
};

// One row: its instance after the entry's identifier and its values by
// column number less one (index columns' slots stay unused).
struct row {
    std::vector<uint32_t> instance;
    std::vector<value> columns;
};

using tables = std::vector<std::vector<row>>;

struct table_set {
    int count;
    // Appends each table's rows, in any order (the engine sorts them and
    // keeps the first of equal instances); false when the data could not be had.
    bool (*build)(const lldpmib_ext_data& d, tables& out);
};

// The set's tables of this snapshot, built on first use.
const tables& built(const lldpmib_ext_data& d, const table_set& set);

// GET (EXACT) or GET-NEXT of one column of a table.
VarBind* answer(const std::vector<row>& rows, OID* incoming, ObjectInfo* object, int searchType);

// The method routine of table T of a set.
VarBind* table_get(const table_set& set, int t, OID* incoming, ObjectInfo* object, int searchType);
template <const table_set& S, int T>
VarBind* get(OID* incoming, ObjectInfo* object, int searchType, void*, int) {
    return table_get(S, T, incoming, object, searchType);
}

// Values.
inline value integer(int32_t n) { return value{value::number, uint32_t(n), {}, {}}; }
inline value truth(bool b) { return integer(b ? 1 : 2); }  // TruthValue
inline value octets(std::string o) { return value{value::octets, 0, std::move(o), {}}; }
// BITS: bit n of `set` (n from 0) is named bit n, the first octet's most significant first.
value bits(uint32_t set, int count);
// A row with this instance and these columns (column 1 first).
row make_row(const std::vector<uint32_t>& key, std::initializer_list<uint32_t> own_index,
             std::vector<value> columns);

// The sets.
extern const table_set org_tables;  // LLDP-EXT-DOT1-MIB, LLDP-EXT-DOT3-MIB
extern const table_set v2_tables;   // LLDP-V2-MIB

}  // namespace lldpmib_rows
