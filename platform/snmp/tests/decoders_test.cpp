// Instance decoders: what GET decodes, and the NEXT property every method
// routine relies on, checked against a direct search over sub-identifiers.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <optional>
#include <random>
#include <vector>

#include "snmp_agent.h"

namespace {

using Sids = std::vector<uint32_t>;
constexpr uint32_t kIntMax = INT32_MAX, kUMax = UINT32_MAX, kMax = MAX_OCTET_INDEX_LEN;

struct Index {  // kind; least value of an integer; length of a fixed string
    int kind;
    uint32_t least = 0;
    int length = 0;
};
using Layout = std::vector<Index>;

// Runs InstToIndexes at position 0 and flattens what it decoded back into
// sub-identifiers; nullopt when it refused (leaving no string behind).
std::optional<Sids> decode(const Layout& l, Sids in, int search) {
    OID oid{static_cast<int32_t>(in.size()), in.data()};
    union Slot {
        int32_t i;
        uint32_t u;
        OctetString* s;
    };
    std::vector<Slot> slots(l.size(), Slot{.s = nullptr});
    std::vector<InstIndex> ix;
    for (size_t i = 0; i < l.size(); ++i) ix.push_back(InstIndex{l[i].kind, l[i].length, l[i].least, &slots[i]});
    const bool decoded = InstToIndexes(&oid, 0, ix.data(), static_cast<int>(ix.size()), search) == 0;
    Sids out;
    for (size_t i = 0; i < l.size(); ++i) {
        if (l[i].kind == INDEX_INT || l[i].kind == INDEX_UINT) {
            out.push_back(l[i].kind == INDEX_INT ? static_cast<uint32_t>(slots[i].i) : slots[i].u);
        } else if (OctetString* os = slots[i].s) {
            EXPECT_TRUE(decoded) << "a refused instance left a string";
            if (l[i].kind == INDEX_VAR_OCTETS) out.push_back(static_cast<uint32_t>(os->length));
            out.insert(out.end(), os->octet_ptr, os->octet_ptr + os->length);
            FreeOctetString(os);
        }
    }
    return decoded ? std::optional<Sids>(out) : std::nullopt;
}

// ---- the reference: a direct search over sub-identifiers --------------------
// A valid instance: per integer index one sub-identifier in [least, max]; per
// fixed string `length` octets in [0, 255]; per variable string a length in
// [0, MAX_OCTET_INDEX_LEN] and that many octets.  A proper prefix is less.
struct Cursor {
    size_t index = 0;
    int64_t octets_left = -1;  // -1: at the start of an index
};

Cursor skip_empty(const Layout& l, Cursor c) {  // past finished indices
    while (c.index < l.size() && (c.octets_left == 0 || (c.octets_left < 0 && l[c.index].kind == INDEX_FIXED_OCTETS &&
                                                          l[c.index].length == 0))) {
        ++c.index;
        c.octets_left = -1;
    }
    return c;
}

std::pair<uint64_t, uint64_t> range(const Layout& l, Cursor c) {
    const Index& ix = l[c.index];
    if (c.octets_left >= 0 || ix.kind == INDEX_FIXED_OCTETS) return {0, 255};
    if (ix.kind == INDEX_VAR_OCTETS) return {0, kMax};
    return {ix.least, ix.kind == INDEX_INT ? kIntMax : kUMax};
}

Cursor advance(const Layout& l, Cursor c, uint32_t v) {
    const Index& ix = l[c.index];
    if (c.octets_left >= 0) --c.octets_left;
    else c.octets_left = ix.kind == INDEX_VAR_OCTETS ? v : ix.kind == INDEX_FIXED_OCTETS ? ix.length - 1 : 0;
    return skip_empty(l, c);
}

Sids least_from(const Layout& l, Cursor c) {
    Sids out;
    for (; c.index < l.size(); c = advance(l, c, out.back())) out.push_back(static_cast<uint32_t>(range(l, c).first));
    return out;
}

// The least valid sequence from c on that is strictly greater than x[0..n).
std::optional<Sids> least_after(const Layout& l, Cursor c, const uint32_t* x, size_t n) {
    if (c.index == l.size()) return std::nullopt;
    if (n == 0) return least_from(l, c);
    auto [lo, hi] = range(l, c);
    if (x[0] >= lo && x[0] <= hi) {
        if (auto rest = least_after(l, advance(l, c, x[0]), x + 1, n - 1)) {
            rest->insert(rest->begin(), x[0]);
            return rest;
        }
    }
    uint64_t v = std::max<uint64_t>(lo, uint64_t{x[0]} + 1);
    if (v > hi) return std::nullopt;
    Sids out = least_from(l, advance(l, c, static_cast<uint32_t>(v)));
    out.insert(out.begin(), static_cast<uint32_t>(v));
    return out;
}

// GET takes exactly one whole instance, each index in its decoder's range
// (least values are NEXT's business, not GET's).
std::optional<Sids> exact(Layout l, const Sids& in) {
    for (Index& ix : l) ix.least = 0;
    Cursor c = skip_empty(l, {});
    for (uint32_t v : in) {
        if (c.index == l.size() || v < range(l, c).first || v > range(l, c).second) return std::nullopt;
        c = advance(l, c, v);
    }
    return c.index == l.size() ? std::optional<Sids>(in) : std::nullopt;
}

// ---- random layouts and identifiers at the edges of every range ---------------
struct Gen {
    std::mt19937 rng;
    uint32_t below(uint32_t n) { return static_cast<uint32_t>(rng() % n); }
    uint32_t pick(std::initializer_list<uint32_t> e) { return *(e.begin() + below(static_cast<uint32_t>(e.size()))); }
    uint32_t sid() {
        return pick({0, 1, 2, 8, 9, 10, 254, 255, 256, kMax - 1, kMax, kMax + 1, kIntMax - 1, kIntMax,
                     kIntMax + 1u, kUMax - 1, kUMax});
    }
    Layout layout() {
        Layout l;
        for (uint32_t i = 0, n = 1 + below(5); i < n; ++i) {
            uint32_t k = below(4);
            l.push_back(k == 0   ? Index{INDEX_INT, pick({0, 1, 9})}
                        : k == 1 ? Index{INDEX_UINT, pick({0, 1})}
                        : k == 2 ? Index{INDEX_VAR_OCTETS}
                                 : Index{INDEX_FIXED_OCTETS, 0, static_cast<int>(pick({0, 1, 3}))});
        }
        return l;
    }
    // Shaped like an instance of l, then cut short, extended or with one
    // sub-identifier replaced; strings of all 0 or all 255 test the carry.
    Sids incoming(const Layout& l) {
        Sids s;
        for (const Index& ix : l) {
            if (ix.kind == INDEX_INT || ix.kind == INDEX_UINT) {
                s.push_back(sid());
                continue;
            }
            uint32_t n = static_cast<uint32_t>(ix.length);
            if (ix.kind == INDEX_VAR_OCTETS) s.push_back(n = below(4) ? below(4) : pick({kMax - 1, kMax, kMax + 1}));
            int fill = below(5) == 0 ? static_cast<int>(pick({0, 255})) : -1;
            for (uint32_t j = 0; j < n; ++j) s.push_back(fill >= 0 ? fill : below(3) ? pick({0, 1, 254, 255}) : sid());
        }
        switch (below(4)) {
            case 0: s.resize(below(static_cast<uint32_t>(s.size()) + 1)); break;
            case 1: s.push_back(sid()); break;
            case 2: if (!s.empty()) s[below(static_cast<uint32_t>(s.size()))] = sid(); break;
        }
        return s;
    }
};

// Whatever a manager sends, NEXT decodes the least valid index tuple whose
// instance is strictly greater, or nothing when none is; GET decodes exactly
// a valid instance.
TEST(InstToIndexes, DecodesAsADirectSearchDoes) {
    Gen gen{std::mt19937(2024)};
    int valid = 0;
    for (int round = 0; round < 20000; ++round) {
        Layout l = gen.layout();
        Sids in = gen.incoming(l);
        std::optional<Sids> after = least_after(l, skip_empty(l, {}), in.data(), in.size()), get = exact(l, in);
        ASSERT_EQ(decode(l, in, NEXT), after) << "after " << testing::PrintToString(in);
        ASSERT_EQ(decode(l, in, EXACT), get) << "get " << testing::PrintToString(in);
        valid += get.has_value();
    }
    EXPECT_GT(valid, 2000) << "too few valid instances to test GET";
}

}  // namespace
