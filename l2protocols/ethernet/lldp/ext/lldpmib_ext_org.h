// The tables of the IEEE 802.1 and 802.3 extensions (LLDP-EXT-DOT1-MIB,
// LLDP-EXT-DOT3-MIB): one engine, one descriptor per table.  A descriptor
// says whether the table describes local ports or neighbours and, for one
// port's or neighbour's record, which rows it has and their values.  The
// engine keeps every table's rows, sorted by instance, in the extension
// library's snapshot and answers GET and GET-NEXT from them by instance order.
#pragma once
#include <stdint.h>

#include <string>
#include <vector>

#include "lldp_client.h"
#include "snmp_agent.h"

namespace lldpmib_org {

// A column's value: an INTEGER or the octets of an OCTET STRING (BITS too).
struct value {
    bool is_octets = false;
    int32_t number = 0;
    std::string octets;
};

// One row: its instance after the entry's identifier and its values by
// column number (the index columns' slots stay unused).
struct row {
    std::vector<uint32_t> instance;
    std::vector<value> columns;
};

struct table {
    bool remote;  // rows start with (time mark, local port, remote index), else (local port)
    // Appends the rows of one record, each instance starting with key.
    void (*rows)(const lldp_org_ext& r, const std::vector<uint32_t>& key, std::vector<row>& out);
};

// The tables, in the order of lldpmib_ext_org_tables (one slot each in the
// snapshot).
extern const table* const all_tables[];
extern const int table_count;

// Every table's rows, each table sorted by instance; ok false when the client
// could not be asked.
struct rows_by_table {
    bool ok = false;
    std::vector<std::vector<row>> tables;
};
rows_by_table fetch_rows();

// The method routine of table `t` (its position in all_tables).
VarBind* table_get(int t, OID* incoming, ObjectInfo* object, int searchType);

// Helpers for the descriptors.
inline value integer(int32_t n) { return value{false, n, {}}; }
inline value truth(bool b) { return integer(b ? 1 : 2); }  // TruthValue
inline value octets(std::string o) { return value{true, 0, std::move(o)}; }
// BITS: bit n of `bits` (n from 0) is named bit n, the first octet's most significant first.
value bits(uint32_t bits, int count);
// A row with this instance and these columns (column 1 first).
row make_row(const std::vector<uint32_t>& key, std::initializer_list<uint32_t> own_index,
             std::vector<value> columns);

}  // namespace lldpmib_org
