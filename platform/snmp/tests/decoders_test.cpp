// Instance decoders: what GET decodes, and the NEXT property every method
// routine relies on, checked against a direct search over sub-identifiers.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <optional>
#include <random>
#include <string>
#include <vector>

#include "platform_fault.h"
#include "snmp_agent.h"

namespace {

using Sids = std::vector<uint32_t>;
using Bytes = std::vector<unsigned char>;

constexpr uint32_t kIntMax = INT32_MAX;
constexpr uint32_t kUMax = UINT32_MAX;
constexpr uint32_t kMax = MAX_OCTET_INDEX_LEN;

OID view(Sids& s) { return OID{static_cast<int32_t>(s.size()), s.data()}; }

std::string text(const Sids& s) {
    std::string out;
    for (uint32_t v : s) out += (out.empty() ? "" : ".") + std::to_string(v);
    return out;
}

// An index of a layout: its kind, the least value of an integer index, the
// length of a fixed string.
struct Index {
    int kind;
    uint32_t least = 0;
    int length = 0;
};
using Layout = std::vector<Index>;

// Decoded values, kept apart per index so InstToIndexes can write them.
struct Decoded {
    std::vector<int32_t> ints;
    std::vector<uint32_t> uints;
    std::vector<OctetString*> strings;
    explicit Decoded(size_t n) : ints(n, -7), uints(n, 7), strings(n, nullptr) {}
    ~Decoded() {
        for (OctetString* os : strings) FreeOctetString(os);
    }
};

// Runs InstToIndexes at position 0; the decoded instance, or nullopt.
std::optional<Sids> decode(const Layout& layout, Sids incoming, int search) {
    OID oid = view(incoming);
    Decoded d(layout.size());
    std::vector<InstIndex> ix;
    for (size_t i = 0; i < layout.size(); ++i) {
        void* out = layout[i].kind == INDEX_INT    ? static_cast<void*>(&d.ints[i])
                    : layout[i].kind == INDEX_UINT ? static_cast<void*>(&d.uints[i])
                                                   : static_cast<void*>(&d.strings[i]);
        ix.push_back(InstIndex{layout[i].kind, layout[i].length, layout[i].least, out});
    }
    int rc = InstToIndexes(&oid, 0, ix.data(), static_cast<int>(ix.size()), search);
    if (rc != 0) {
        for (OctetString* os : d.strings) EXPECT_EQ(os, nullptr);
        return std::nullopt;
    }
    Sids out;
    for (size_t i = 0; i < layout.size(); ++i) {
        if (layout[i].kind == INDEX_INT) {
            EXPECT_GE(d.ints[i], 0);
            out.push_back(static_cast<uint32_t>(d.ints[i]));
        } else if (layout[i].kind == INDEX_UINT) {
            out.push_back(d.uints[i]);
        } else {
            const OctetString* os = d.strings[i];
            if (layout[i].kind == INDEX_VAR_OCTETS) out.push_back(static_cast<uint32_t>(os->length));
            out.insert(out.end(), os->octet_ptr, os->octet_ptr + os->length);
        }
    }
    return out;
}

// ---- the reference: a direct search over sub-identifiers --------------------
//
// A valid instance is a sequence of sub-identifiers: per integer index one in
// [least, max]; per fixed string `length` octets in [0, 255]; per variable
// string a length in [0, MAX_OCTET_INDEX_LEN] and that many octets.  Sequences
// compare as SNMP identifiers do (a proper prefix is less).

struct Cursor {  // where in the layout the next sub-identifier belongs
    size_t index = 0;
    int64_t octets_left = -1;  // -1: at the start of an index
};

bool at_end(const Layout& l, Cursor c) { return c.index == l.size(); }

std::pair<uint64_t, uint64_t> range(const Layout& l, Cursor c) {
    const Index& ix = l[c.index];
    if (c.octets_left >= 0 || ix.kind == INDEX_FIXED_OCTETS) return {0, 255};
    if (ix.kind == INDEX_VAR_OCTETS) return {0, kMax};
    return {ix.least, ix.kind == INDEX_INT ? kIntMax : kUMax};
}

Cursor advance(const Layout& l, Cursor c, uint32_t v) {
    const Index& ix = l[c.index];
    if (c.octets_left < 0) {
        if (ix.kind == INDEX_VAR_OCTETS) c.octets_left = v;
        else if (ix.kind == INDEX_FIXED_OCTETS) c.octets_left = ix.length - 1;
        else c.octets_left = 0;
    } else {
        --c.octets_left;
    }
    // Past the index (or an empty string / zero-length fixed string): next one.
    while (c.index < l.size() && c.octets_left == 0) {
        ++c.index;
        c.octets_left = -1;
        if (c.index < l.size() && l[c.index].kind == INDEX_FIXED_OCTETS && l[c.index].length == 0)
            c.octets_left = 0;
    }
    return c;
}

Cursor start(const Layout& l) {
    Cursor c;
    while (c.index < l.size() && l[c.index].kind == INDEX_FIXED_OCTETS && l[c.index].length == 0)
        ++c.index;
    return c;
}

Sids least_from(const Layout& l, Cursor c) {
    Sids out;
    while (!at_end(l, c)) {
        uint32_t v = static_cast<uint32_t>(range(l, c).first);
        out.push_back(v);
        c = advance(l, c, v);
    }
    return out;
}

// The least valid sequence from c on that is strictly greater than x.
std::optional<Sids> least_after(const Layout& l, Cursor c, const uint32_t* x, size_t n) {
    if (at_end(l, c)) return std::nullopt;  // empty is not greater than anything
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
    Sids out{static_cast<uint32_t>(v)};
    Sids rest = least_from(l, advance(l, c, static_cast<uint32_t>(v)));
    out.insert(out.end(), rest.begin(), rest.end());
    return out;
}

std::optional<Sids> reference_next(const Layout& l, const Sids& incoming) {
    return least_after(l, start(l), incoming.data(), incoming.size());
}

// ---- random layouts and identifiers ------------------------------------------

class Gen {
public:
    explicit Gen(uint32_t seed) : rng_(seed) {}
    uint32_t below(uint32_t n) { return static_cast<uint32_t>(rng_() % n); }
    uint32_t pick(std::initializer_list<uint32_t> edges) { return *(edges.begin() + below(edges.size())); }

    Layout layout() {
        Layout l;
        for (uint32_t i = 0, n = 1 + below(5); i < n; ++i) {
            switch (below(4)) {
                case 0: l.push_back({INDEX_INT, pick({0, 1, 9})}); break;
                case 1: l.push_back({INDEX_UINT, pick({0, 1})}); break;
                case 2: l.push_back({INDEX_VAR_OCTETS}); break;
                default: l.push_back({INDEX_FIXED_OCTETS, 0, static_cast<int>(pick({0, 1, 3}))});
            }
        }
        return l;
    }
    // Sub-identifiers at the edges of every range: 0, the least, the top of
    // a range and just above it.
    uint32_t sid() {
        return pick({0, 1, 2, 8, 9, 10, 254, 255, 256, kMax - 1, kMax, kMax + 1, kIntMax - 1,
                     kIntMax, kIntMax + 1u, kUMax - 1, kUMax});
    }
    uint32_t octet() { return below(3) ? pick({0, 1, 254, 255}) : sid(); }
    // An identifier shaped like an instance of l, then cut short, extended or
    // with one sub-identifier replaced.
    Sids incoming(const Layout& l) {
        Sids s;
        for (const Index& ix : l) {
            if (ix.kind == INDEX_INT || ix.kind == INDEX_UINT) {
                s.push_back(sid());
                continue;
            }
            uint32_t n = static_cast<uint32_t>(ix.length);
            if (ix.kind == INDEX_VAR_OCTETS) {
                n = below(4) ? below(4) : pick({kMax - 1, kMax, kMax + 1});
                s.push_back(n);
            }
            uint32_t fill = below(5) == 0 ? pick({0, 255}) : 1000;  // uniform strings wrap
            for (uint32_t j = 0; j < n; ++j) s.push_back(fill == 1000 ? octet() : fill);
        }
        switch (below(4)) {
            case 0: s.resize(below(static_cast<uint32_t>(s.size()) + 1)); break;
            case 1: s.push_back(sid()); break;
            case 2:
                if (!s.empty()) s[below(static_cast<uint32_t>(s.size()))] = sid();
                break;
            default: break;
        }
        return s;
    }

private:
    std::mt19937 rng_;
};

// Any identifier a manager may send: NEXT decodes the least valid index tuple
// whose instance is strictly greater, or nothing when none is.
TEST(InstToIndexes, NextIsTheLeastValidInstanceAfterTheIncomingOne) {
    Gen gen(2024);
    for (int round = 0; round < 20000; ++round) {
        Layout l = gen.layout();
        Sids in = gen.incoming(l);
        std::optional<Sids> want = reference_next(l, in);
        std::optional<Sids> got = decode(l, in, NEXT);
        ASSERT_EQ(got.has_value(), want.has_value()) << text(in);
        if (got) {
            ASSERT_EQ(text(*got), text(*want)) << "after " << text(in);
        }
    }
}

// A walk by GET-NEXT of the previous answer through a table of random rows
// visits every row in order and ends (the module looks up the least row not
// below the decoded tuple).
TEST(InstToIndexes, WalkVisitsEveryRowInOrder) {
    Gen gen(77);
    for (int round = 0; round < 300; ++round) {
        Layout l = gen.layout();
        std::vector<Sids> rows;
        for (int r = 0; r < 12; ++r) {
            if (auto row = reference_next(l, gen.incoming(l))) rows.push_back(*row);
        }
        std::sort(rows.begin(), rows.end());
        rows.erase(std::unique(rows.begin(), rows.end()), rows.end());
        std::vector<Sids> visited;
        Sids at;
        while (std::optional<Sids> key = decode(l, at, NEXT)) {
            auto it = std::lower_bound(rows.begin(), rows.end(), *key);
            if (it == rows.end()) break;
            visited.push_back(*it);
            at = *it;
            ASSERT_LE(visited.size(), rows.size()) << "walk does not end";
        }
        ASSERT_EQ(visited, rows) << "round " << round;
    }
}

// GET: the instance is exactly the indices, each in its decoder's range
// (least values are NEXT's business, not GET's).
TEST(InstToIndexes, ExactTakesOnlyWholeInstancesInRange) {
    const Layout remote_address = {{INDEX_UINT}, {INDEX_INT, 1}, {INDEX_VAR_OCTETS}};
    const Layout org_def = {{INDEX_INT}, {INDEX_FIXED_OCTETS, 0, 3}, {INDEX_INT, 1}};
    struct Case {
        const char* name;
        const Layout& layout;
        Sids sids;
        bool found;
    } cases[] = {
        {"plain", remote_address, {7, 0, 2, 10, 255}, true},
        {"below_least", remote_address, {7, 0, 0}, true},
        {"empty_string", remote_address, {kUMax, kIntMax, 0}, true},
        {"int_too_big", remote_address, {7, kIntMax + 1u, 0}, false},
        {"string_short", remote_address, {7, 1, 3, 1, 2}, false},
        {"string_long", remote_address, {7, 1, 1, 1, 2}, false},
        {"octet_too_big", remote_address, {7, 1, 1, 256}, false},
        {"length_too_big", remote_address, {7, 1, kMax + 1}, false},
        {"missing", remote_address, {7, 1}, false},
        {"fixed", org_def, {1, 0, 0x12, 0xff, 4}, true},
        {"fixed_short", org_def, {1, 0, 0x12, 0xff}, false},
        {"fixed_octet_too_big", org_def, {1, 0, 0x100, 0, 4}, false},
        {"extra", org_def, {1, 0, 0x12, 0xff, 4, 0}, false},
    };
    for (const Case& c : cases) {
        std::optional<Sids> got = decode(c.layout, c.sids, EXACT);
        EXPECT_EQ(got.has_value(), c.found) << c.name;
        if (got) {
            EXPECT_EQ(*got, c.sids) << c.name;
        }
    }
}

// A decoder failure (injected) fails the whole decode and leaves no string.
TEST(InstToIndexes, InjectedDecoderFailureLeavesNoString) {
    const Layout l = {{INDEX_FIXED_OCTETS, 0, 3}, {INDEX_VAR_OCTETS}, {INDEX_INT}};
    for (const char* op : {"InstToInt", "InstToVariableOctetString", "InstToFixedOctetString"}) {
        platform_fault_reset();
        platform_fault_fail_nth(op, 1, 5);
        EXPECT_FALSE(decode(l, {1, 2, 3, 1, 9, 4}, NEXT).has_value()) << op;
        EXPECT_EQ(platform_fault_calls("MakeOctetString"), 0u)
            << "decoded strings must not count as the module's own strings";
    }
    platform_fault_reset();
}

}  // namespace
