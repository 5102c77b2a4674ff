// The extension library's table engine: sorted rows, answered by instance order.
#include "lldpmib_ext_rows.h"

#include <algorithm>

#include "lldpmib_ext_internal.h"
#include "lldpmib_frame.h"

namespace lldpmib_rows {

namespace {

bool before(const row& a, const row& b) { return a.instance < b.instance; }

// A value as MakeVarBind takes it; numbers are read through `number`.
void* bindable(const value& v, uint32_t* number) {
    switch (v.kind) {
        case value::octets:
            return MakeOctetString(reinterpret_cast<const unsigned char*>(v.text.data()), int32_t(v.text.size()));
        case value::oid:
            return MakeOID(v.sids.data(), int32_t(v.sids.size()));
        default:  // a number
            *number = v.bits;
            return number;
    }
}

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

const tables& built(const lldpmib_ext_data& d, const table_set& set) {
    auto it = d.rows.find(&set);
    if (it != d.rows.end()) return it->second;
    tables t(set.count);
    if (!set.build(d, t)) t.assign(set.count, {});
    for (auto& rows : t) {
        std::stable_sort(rows.begin(), rows.end(), before);
        rows.erase(std::unique(rows.begin(), rows.end(),
                               [](const row& a, const row& b) { return a.instance == b.instance; }),
                   rows.end());
    }
    return d.rows.emplace(&set, std::move(t)).first->second;
}

VarBind* answer(const std::vector<row>& rows, OID* incoming, ObjectInfo* object, int searchType) {
    if (searchType != EXACT && searchType != NEXT) return nullptr;
    row asked;
    if (lldpmib_frame::instance_length(incoming, object) > 0)
        asked.instance.assign(incoming->oid_ptr + object->oid.length, incoming->oid_ptr + incoming->length);
    const size_t column = object->nominator;
    auto has = [&](const row& r) { return column < r.columns.size() && r.columns[column].kind != value::none; };
    auto it = searchType == EXACT ? std::lower_bound(rows.begin(), rows.end(), asked, before)
                                  : std::find_if(std::upper_bound(rows.begin(), rows.end(), asked, before),
                                                 rows.end(), has);
    if (it == rows.end() || !has(*it) || (searchType == EXACT && it->instance != asked.instance)) return nullptr;
    uint32_t number = 0;
    void* bound = bindable(it->columns[object->nominator], &number);
    if (bound == nullptr) return nullptr;
    return lldpmib_frame::bind_value(object, it->instance.data(), int(it->instance.size()), bound);
}

VarBind* table_get(const table_set& set, int t, OID* incoming, ObjectInfo* object, int searchType) {
    return lldpmib_ext_with_data([&](const lldpmib_ext_data& d) -> VarBind* {
        return answer(built(d, set)[t], incoming, object, searchType);
    });
}

}  // namespace lldpmib_rows
