// The engine of the 802.1 and 802.3 extension tables: rows fetched from the
// client once per snapshot, looked up by instance order.
#include "lldpmib_ext_org.h"

#include <algorithm>

#include "lldpmib_ext_internal.h"
#include "lldpmib_frame.h"

namespace lldpmib_org {

namespace {

struct fetch_context {
    rows_by_table* out;
    bool remote;
};

int add_record(void* record, void* context, void*) {
    const auto& r = *static_cast<const lldp_org_ext*>(record);
    const auto* c = static_cast<fetch_context*>(context);
    const std::vector<uint32_t> key = c->remote ? std::vector<uint32_t>{r.time_mark, r.port_num, r.rem_index}
                                                : std::vector<uint32_t>{r.port_num};
    for (int t = 0; t < table_count; ++t)
        if (all_tables[t]->remote == c->remote) all_tables[t]->rows(r, key, c->out->tables[t]);
    return 0;
}

bool before(const row& a, const row& b) { return a.instance < b.instance; }

}  // namespace

value bits(uint32_t set, int count) {
    std::string o((count + 7) / 8, '\0');
    for (int n = 0; n < count; ++n)
        if (set >> n & 1) o[n / 8] = char(o[n / 8] | 0x80 >> n % 8);
    return octets(std::move(o));
}

row make_row(const std::vector<uint32_t>& key, std::initializer_list<uint32_t> own_index,
             std::vector<value> columns) {
    row r{key, std::move(columns)};
    r.instance.insert(r.instance.end(), own_index);
    return r;
}

rows_by_table fetch_rows() {
    rows_by_table out;
    out.tables.resize(table_count);
    fetch_context local{&out, false}, remote{&out, true};
    out.ok = lldp_client_iter_local_org_ext(add_record, &local) == 0 &&
             lldp_client_iter_remote_org_ext(add_record, &remote) == 0;
    for (auto& rows : out.tables) {
        if (!out.ok) rows.clear();
        // One row per instance, the first the client gave.
        std::stable_sort(rows.begin(), rows.end(), before);
        rows.erase(std::unique(rows.begin(), rows.end(),
                               [](const row& a, const row& b) { return a.instance == b.instance; }),
                   rows.end());
    }
    return out;
}

VarBind* table_get(int t, OID* incoming, ObjectInfo* object, int searchType) {
    if (searchType != EXACT && searchType != NEXT) return nullptr;
    const int length = lldpmib_frame::instance_length(incoming, object);
    row asked;
    if (length > 0)
        asked.instance.assign(incoming->oid_ptr + object->oid.length, incoming->oid_ptr + incoming->length);
    return lldpmib_ext_with_data([&](const lldpmib_ext_data& d) -> VarBind* {
        const std::vector<row>& rows = lldpmib_ext_org_rows(d).tables[t];
        auto it = searchType == EXACT ? std::lower_bound(rows.begin(), rows.end(), asked, before)
                                      : std::upper_bound(rows.begin(), rows.end(), asked, before);
        if (it == rows.end() || (searchType == EXACT && it->instance != asked.instance)) return nullptr;
        if (object->nominator < 0 || size_t(object->nominator) >= it->columns.size()) return nullptr;
        const value& v = it->columns[object->nominator];
        int32_t number = v.number;  // bound by address
        void* bound = v.is_octets ? MakeOctetString(reinterpret_cast<const unsigned char*>(v.octets.data()),
                                                    int32_t(v.octets.size()))
                                  : static_cast<void*>(&number);
        if (bound == nullptr) return nullptr;
        return lldpmib_frame::bind_value(object, it->instance.data(), int(it->instance.size()), bound);
    });
}

}  // namespace lldpmib_org
