// Instance decoders: case tables per decoder, then the walk properties that the
// module's method routines rely on, checked against a brute-force oracle.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <optional>
#include <random>
#include <string>
#include <variant>
#include <vector>

#include "platform_fault.h"
#include "snmp_agent.h"

namespace {

using Sids = std::vector<uint32_t>;
using Bytes = std::vector<unsigned char>;

constexpr uint32_t kIntMax = INT32_MAX;
constexpr uint32_t kUMax = UINT32_MAX;

OID view(Sids& s) { return OID{static_cast<int32_t>(s.size()), s.data()}; }

Bytes bytes_of(const OctetString* os) {
    if (!os || os->length == 0) return {};
    return Bytes(os->octet_ptr, os->octet_ptr + os->length);
}

// ---- InstToInt / InstToUInt ------------------------------------------------

struct IntCase {
    const char* name;
    Sids sids;
    int pos;
    int search;
    int carry_in;
    int rc;             // 0 or -1
    int64_t value;      // checked when rc == 0
    int carry_out;      // checked for NEXT
};

class InstToIntTable : public ::testing::TestWithParam<IntCase> {};

TEST_P(InstToIntTable, Decodes) {
    IntCase c = GetParam();
    OID oid = view(c.sids);
    int32_t v = -7;
    int carry = c.carry_in;
    int rc = InstToInt(&oid, c.pos, &v, c.search, &carry);
    ASSERT_EQ(rc < 0 ? -1 : 0, c.rc);
    if (c.rc != 0) return;
    EXPECT_EQ(v, c.value);
    EXPECT_EQ(carry, c.search == EXACT ? c.carry_in : c.carry_out);
}

INSTANTIATE_TEST_SUITE_P(
    Cases, InstToIntTable,
    ::testing::Values(
        IntCase{"exact_plain", {9, 42}, 1, EXACT, 0, 0, 42, 0},
        IntCase{"exact_max", {kIntMax}, 0, EXACT, 0, 0, kIntMax, 0},
        IntCase{"exact_too_big", {kIntMax + 1u}, 0, EXACT, 0, -1, 0, 0},
        IntCase{"exact_missing", {5}, 1, EXACT, 0, -1, 0, 0},
        IntCase{"exact_negative_pos", {5}, -1, EXACT, 0, -1, 0, 0},
        IntCase{"next_no_carry", {5}, 0, NEXT, 0, 0, 5, 0},
        IntCase{"next_carry_increments", {5}, 0, NEXT, 1, 0, 6, 0},
        IntCase{"next_carry_at_max_wraps", {kIntMax}, 0, NEXT, 1, 0, 0, 1},
        IntCase{"next_max_without_carry", {kIntMax}, 0, NEXT, 0, 0, kIntMax, 0},
        IntCase{"next_too_big_sets_carry", {kIntMax + 1u}, 0, NEXT, 0, 0, 0, 1},
        IntCase{"next_too_big_keeps_carry", {kUMax}, 0, NEXT, 1, 0, 0, 1},
        IntCase{"next_missing_absorbs", {1, 2}, 2, NEXT, 1, 0, 0, 0},
        IntCase{"next_missing_without_carry", {}, 0, NEXT, 0, 0, 0, 0},
        IntCase{"other_type_is_next", {5}, 0, 999, 1, 0, 6, 0}),
    [](const auto& info) { return std::string(info.param.name); });

class InstToUIntTable : public ::testing::TestWithParam<IntCase> {};

TEST_P(InstToUIntTable, Decodes) {
    IntCase c = GetParam();
    OID oid = view(c.sids);
    uint32_t v = 7;
    int carry = c.carry_in;
    int rc = InstToUInt(&oid, c.pos, &v, c.search, &carry);
    ASSERT_EQ(rc < 0 ? -1 : 0, c.rc);
    if (c.rc != 0) return;
    EXPECT_EQ(v, static_cast<uint32_t>(c.value));
    EXPECT_EQ(carry, c.search == EXACT ? c.carry_in : c.carry_out);
}

INSTANTIATE_TEST_SUITE_P(
    Cases, InstToUIntTable,
    ::testing::Values(
        IntCase{"exact_above_int_range", {kIntMax + 1u}, 0, EXACT, 0, 0, kIntMax + 1u, 0},
        IntCase{"exact_max", {kUMax}, 0, EXACT, 0, 0, kUMax, 0},
        IntCase{"exact_missing", {}, 0, EXACT, 0, -1, 0, 0},
        IntCase{"next_carry_increments", {kIntMax}, 0, NEXT, 1, 0, kIntMax + 1u, 0},
        IntCase{"next_carry_at_max_wraps", {kUMax}, 0, NEXT, 1, 0, 0, 1},
        IntCase{"next_no_carry", {kUMax}, 0, NEXT, 0, 0, kUMax, 0},
        IntCase{"next_missing_absorbs", {3}, 1, NEXT, 1, 0, 0, 0}),
    [](const auto& info) { return std::string(info.param.name); });

// ---- octet-string decoders ---------------------------------------------------

struct StrCase {
    const char* name;
    Sids sids;
    int pos;
    int search;
    int carry_in;
    int fixed_len;  // -1: length-prefixed string
    int rc;
    Bytes value;
    int carry_out;
};

constexpr int kVar = -1;  // fixed_len of a length-prefixed string

class OctetStringTable : public ::testing::TestWithParam<StrCase> {};

TEST_P(OctetStringTable, Decodes) {
    StrCase c = GetParam();
    OID oid = view(c.sids);
    OctetString* os = reinterpret_cast<OctetString*>(0x1);  // must be overwritten
    int carry = c.carry_in;
    int rc = c.fixed_len == kVar
                 ? InstToVariableOctetString(&oid, c.pos, &os, c.search, &carry)
                 : InstToFixedOctetString(&oid, c.pos, &os, c.search, &carry, c.fixed_len);
    ASSERT_EQ(rc < 0 ? -1 : 0, c.rc);
    if (c.rc < 0) {
        EXPECT_EQ(os, nullptr);
        return;
    }
    ASSERT_NE(os, nullptr);
    EXPECT_EQ(bytes_of(os), c.value);
    EXPECT_EQ(carry, c.search == EXACT ? c.carry_in : c.carry_out);
    FreeOctetString(os);
}

constexpr int kMax = MAX_OCTET_INDEX_LEN;

Sids var_sids(uint32_t len, uint32_t fill, size_t present) {
    Sids s{len};
    s.insert(s.end(), present, fill);
    return s;
}

INSTANTIATE_TEST_SUITE_P(
    Variable, OctetStringTable,
    ::testing::Values(
        StrCase{"exact_plain", {1, 3, 10, 0, 255}, 1, EXACT, 0, kVar, 0, {10, 0, 255}, 0},
        StrCase{"exact_empty", {0}, 0, EXACT, 0, kVar, 0, {}, 0},
        StrCase{"exact_runs_past_end", {4, 1, 2}, 0, EXACT, 0, kVar, -1, {}, 0},
        StrCase{"exact_octet_too_big", {2, 1, 256}, 0, EXACT, 0, kVar, -1, {}, 0},
        StrCase{"exact_too_long", var_sids(kMax + 1, 0, kMax + 1), 0, EXACT, 0, kVar, -1, {}, 0},
        StrCase{"exact_longest", var_sids(kMax, 7, kMax), 0, EXACT, 0, kVar, 0, Bytes(kMax, 7), 0},
        StrCase{"exact_missing", {}, 0, EXACT, 0, kVar, -1, {}, 0},
        StrCase{"next_increments_last", {2, 1, 2}, 0, NEXT, 1, kVar, 0, {1, 3}, 0},
        StrCase{"next_increment_ripples", {2, 1, 255}, 0, NEXT, 1, kVar, 0, {2, 0}, 0},
        StrCase{"next_no_carry_as_given", {2, 1, 255}, 0, NEXT, 0, kVar, 0, {1, 255}, 0},
        StrCase{"next_all_ff_grows", {2, 255, 255}, 0, NEXT, 1, kVar, 0, {0, 0, 0}, 0},
        StrCase{"next_empty_grows", {0}, 0, NEXT, 1, kVar, 0, {0}, 0},
        StrCase{"next_missing_empty", {}, 0, NEXT, 1, kVar, 0, {}, 0},
        StrCase{"next_partial_zero_tail", {4, 9, 8}, 0, NEXT, 1, kVar, 0, {9, 8, 0, 0}, 0},
        StrCase{"next_length_only", {3}, 0, NEXT, 1, kVar, 0, {0, 0, 0}, 0},
        StrCase{"next_big_octet_moves_on", {3, 1, 300, 4}, 0, NEXT, 0, kVar, 0, {2, 0, 0}, 0},
        StrCase{"next_big_first_octet_grows", {2, 256, 0}, 0, NEXT, 0, kVar, 0, {0, 0, 0}, 0},
        StrCase{"next_too_long_carries", {kMax + 1, 1}, 0, NEXT, 0, kVar, 0, {}, 1},
        StrCase{"next_huge_length_carries", {kUMax}, 0, NEXT, 1, kVar, 0, {}, 1},
        StrCase{"next_longest_ff_carries", var_sids(kMax, 255, kMax), 0, NEXT, 1, kVar, 0, {}, 1},
        StrCase{"next_longest_ff_no_carry", var_sids(kMax, 255, kMax), 0, NEXT, 0, kVar, 0,
                Bytes(kMax, 255), 0},
        StrCase{"next_below_longest_grows", var_sids(kMax - 1, 255, kMax - 1), 0, NEXT, 1, kVar,
                0, Bytes(kMax, 0), 0}),
    [](const auto& info) { return std::string(info.param.name); });

INSTANTIATE_TEST_SUITE_P(
    Fixed, OctetStringTable,
    ::testing::Values(
        StrCase{"exact_plain", {9, 0, 0x12, 0xff}, 1, EXACT, 0, 3, 0, {0, 0x12, 0xff}, 0},
        StrCase{"exact_short", {0, 0x12}, 0, EXACT, 0, 3, -1, {}, 0},
        StrCase{"exact_octet_too_big", {0, 0x100, 1}, 0, EXACT, 0, 3, -1, {}, 0},
        StrCase{"exact_zero_length", {}, 0, EXACT, 0, 0, 0, {}, 0},
        StrCase{"exact_negative_length", {1}, 0, EXACT, 0, -2, -1, {}, 0},
        StrCase{"next_increments", {0, 0x12, 0xff}, 0, NEXT, 1, 3, 0, {0, 0x13, 0}, 0},
        StrCase{"next_wraps_keeps_carry", {255, 255, 255}, 0, NEXT, 1, 3, 0, {0, 0, 0}, 1},
        StrCase{"next_no_carry", {255, 255, 255}, 0, NEXT, 0, 3, 0, {255, 255, 255}, 0},
        StrCase{"next_partial_zero_tail", {0, 7}, 0, NEXT, 1, 3, 0, {0, 7, 0}, 0},
        StrCase{"next_missing_zeros", {1}, 1, NEXT, 1, 3, 0, {0, 0, 0}, 0},
        StrCase{"next_big_octet", {1, 999, 5}, 0, NEXT, 0, 3, 0, {2, 0, 0}, 0},
        StrCase{"next_big_octet_wraps", {255, 999, 5}, 0, NEXT, 0, 3, 0, {0, 0, 0}, 1},
        StrCase{"next_zero_length_passes_carry", {}, 0, NEXT, 1, 0, 0, {}, 1}),
    [](const auto& info) { return std::string(info.param.name); });

TEST(GetVariableIndexLength, CountsLengthAndOctets) {
    struct {
        Sids sids;
        int pos;
        int expected;
    } cases[] = {
        {{1, 4, 10, 1, 1, 1}, 1, 5},
        {{0}, 0, 1},
        {{1, 2}, 2, 0},
        {{1, 2}, -1, 0},
        {{kMax}, 0, kMax + 1},
        {{kMax + 1}, 0, kMax + 2},
        {{kUMax}, 0, kMax + 2},  // no overflow into a small or negative count
        {{kIntMax}, 0, kMax + 2},
    };
    for (auto& c : cases) {
        OID oid = view(c.sids);
        EXPECT_EQ(GetVariableIndexLength(&oid, c.pos), c.expected) << "pos " << c.pos;
    }
    EXPECT_EQ(GetVariableIndexLength(nullptr, 0), 0);
}

TEST(Decoders, NullArgumentsFail) {
    Sids s{1, 2, 3};
    OID oid = view(s);
    int carry = 1;
    EXPECT_LT(InstToInt(&oid, 0, nullptr, NEXT, &carry), 0);
    EXPECT_LT(InstToUInt(&oid, 0, nullptr, EXACT, &carry), 0);
    EXPECT_LT(InstToVariableOctetString(&oid, 0, nullptr, NEXT, &carry), 0);
    EXPECT_LT(InstToFixedOctetString(&oid, 0, nullptr, NEXT, &carry, 3), 0);
    int32_t v;
    EXPECT_LT(InstToInt(nullptr, 0, &v, EXACT, &carry), 0);
}

TEST(Decoders, InjectedFailuresLeaveNoString) {
    platform_fault_reset();
    Sids s{2, 1, 2};
    OID oid = view(s);
    for (const char* op : {"InstToVariableOctetString", "InstToFixedOctetString"}) {
        platform_fault_fail_nth(op, 1, 12);
        OctetString* os = nullptr;
        int carry = 1;
        int rc = std::string(op) == "InstToFixedOctetString"
                     ? InstToFixedOctetString(&oid, 0, &os, NEXT, &carry, 3)
                     : InstToVariableOctetString(&oid, 0, &os, NEXT, &carry);
        EXPECT_LT(rc, 0) << op;
        EXPECT_EQ(os, nullptr) << op;
    }
    platform_fault_fail_nth("InstToInt", 1, 5);
    int32_t v;
    int carry = 0;
    EXPECT_LT(InstToInt(&oid, 0, &v, EXACT, &carry), 0);
    EXPECT_EQ(platform_fault_calls("MakeOctetString"), 0u)
        << "decoded strings must not count as the module's own strings";
    platform_fault_reset();
}

// ---- walk properties ----------------------------------------------------------
//
// A table's index is a list of kinds; its rows are tuples of values.  The
// method routines decode NEXT from the last index to the first, then ask for
// the least row not below the decoded index.  That row must be the least row
// whose instance follows the incoming identifier.

enum class Kind { UInt, Int, Var, Fixed3 };
using Value = std::variant<uint32_t, Bytes>;
using Row = std::vector<Value>;

const Sids kPrefix = {1, 0, 8802, 1, 1, 2, 1, 4, 2, 1, 5};

int width(Kind k) { return k == Kind::Fixed3 ? 3 : 1; }  // Var comes last only

void encode_value(Kind k, const Value& v, Sids& out) {
    if (k == Kind::UInt || k == Kind::Int) {
        out.push_back(std::get<uint32_t>(v));
        return;
    }
    const Bytes& b = std::get<Bytes>(v);
    if (k == Kind::Var) out.push_back(static_cast<uint32_t>(b.size()));
    out.insert(out.end(), b.begin(), b.end());
}

Sids encode(const std::vector<Kind>& kinds, const Row& row) {
    Sids s = kPrefix;
    for (size_t i = 0; i < kinds.size(); ++i) encode_value(kinds[i], row[i], s);
    return s;
}

// Decodes as a method routine does; nullopt when the carry is left over.
std::optional<Row> decode_next(const std::vector<Kind>& kinds, Sids incoming) {
    OID oid = view(incoming);
    std::vector<int> pos(kinds.size());
    int p = static_cast<int>(kPrefix.size());
    for (size_t i = 0; i < kinds.size(); ++i) {
        pos[i] = p;
        p += width(kinds[i]);
    }
    Row row(kinds.size());
    int carry = 1;
    for (size_t i = kinds.size(); i-- > 0;) {
        int rc = 0;
        if (kinds[i] == Kind::UInt) {
            uint32_t v = 0;
            rc = InstToUInt(&oid, pos[i], &v, NEXT, &carry);
            row[i] = v;
        } else if (kinds[i] == Kind::Int) {
            int32_t v = 0;
            rc = InstToInt(&oid, pos[i], &v, NEXT, &carry);
            EXPECT_GE(v, 0);
            row[i] = static_cast<uint32_t>(v);
        } else {
            OctetString* os = nullptr;
            rc = kinds[i] == Kind::Var ? InstToVariableOctetString(&oid, pos[i], &os, NEXT, &carry)
                                       : InstToFixedOctetString(&oid, pos[i], &os, NEXT, &carry, 3);
            row[i] = bytes_of(os);
            FreeOctetString(os);
        }
        EXPECT_EQ(rc, 0);
    }
    if (carry) return std::nullopt;
    return row;
}

struct Table {
    std::vector<Kind> kinds;
    std::vector<Sids> rows;  // encoded, sorted, unique

    std::optional<Sids> least_at_or_after(const Sids& key) const {
        auto it = std::lower_bound(rows.begin(), rows.end(), key);
        if (it == rows.end()) return std::nullopt;
        return *it;
    }
    std::optional<Sids> least_after(const Sids& key) const {  // the oracle
        auto it = std::upper_bound(rows.begin(), rows.end(), key);
        if (it == rows.end()) return std::nullopt;
        return *it;
    }
    // What a GET-NEXT answers through the decoders.
    std::optional<Sids> answer(const Sids& incoming) const {
        std::optional<Row> index = decode_next(kinds, incoming);
        if (!index) return std::nullopt;
        return least_at_or_after(encode(kinds, *index));
    }
};

class Gen {
public:
    explicit Gen(uint32_t seed) : rng_(seed) {}

    uint32_t pick(std::initializer_list<uint32_t> edges, uint32_t hi) {
        if (rng_() % 3 == 0) return std::uniform_int_distribution<uint32_t>(0, hi)(rng_);
        return *(edges.begin() + rng_() % edges.size());
    }
    Bytes bytes(size_t n) {
        // Uniform strings reach the wrap-arounds at every length.
        if (rng_() % 4 == 0) return Bytes(n, rng_() % 2 ? 0xff : 0);
        Bytes b(n);
        for (auto& o : b) o = static_cast<unsigned char>(pick({0, 1, 0xfe, 0xff}, 0xff));
        return b;
    }
    Value value(Kind k) {
        switch (k) {
            case Kind::UInt: return pick({0, 1, 2, kUMax - 1, kUMax}, kUMax);
            case Kind::Int: return pick({0, 1, 2, kIntMax - 1, kIntMax}, kIntMax);
            case Kind::Fixed3: return bytes(3);
            case Kind::Var: return bytes(pick({0, 1, 2, 4, 16, kMax - 1, kMax}, kMax));
        }
        return uint32_t{0};
    }
    Table table(const std::vector<Kind>& kinds, size_t n) {
        Table t{kinds, {}};
        // Few distinct values per column, so rows share prefixes.
        std::vector<std::vector<Value>> pool(kinds.size());
        for (size_t i = 0; i < kinds.size(); ++i)
            for (int j = 0; j < 4; ++j) pool[i].push_back(value(kinds[i]));
        for (size_t r = 0; r < n; ++r) {
            Row row;
            for (size_t i = 0; i < kinds.size(); ++i)
                row.push_back(rng_() % 4 ? pool[i][rng_() % pool[i].size()] : value(kinds[i]));
            t.rows.push_back(encode(kinds, row));
        }
        std::sort(t.rows.begin(), t.rows.end());
        t.rows.erase(std::unique(t.rows.begin(), t.rows.end()), t.rows.end());
        return t;
    }
    // A manager's arbitrary identifier near a row: cut short, extended,
    // nudged, or with a sub-identifier out of any index's range.
    Sids probe(const Table& t) {
        Sids s = t.rows.empty() ? kPrefix : t.rows[rng_() % t.rows.size()];
        switch (rng_() % 5) {
            case 0: s.resize(kPrefix.size() + rng_() % (s.size() - kPrefix.size() + 1)); break;
            case 1: s.push_back(pick({0, 1, 255, 256, kUMax}, kUMax)); break;
            case 2:
            case 3: {
                if (s.size() == kPrefix.size()) break;
                size_t i = kPrefix.size() + rng_() % (s.size() - kPrefix.size());
                s[i] += (rng_() % 2) ? 1 : -1;  // may wrap, may leave the range
                if (rng_() % 2) s.resize(i + 1 + rng_() % (s.size() - i));
                break;
            }
            default: {
                if (s.size() == kPrefix.size()) break;
                size_t i = kPrefix.size() + rng_() % (s.size() - kPrefix.size());
                s[i] = pick({256, kIntMax + 1u, kUMax}, kUMax);
                break;
            }
        }
        return s;
    }
    std::mt19937& rng() { return rng_; }

private:
    std::mt19937 rng_;
};

struct Schema {
    const char* name;
    std::vector<Kind> kinds;
};

class WalkProperty : public ::testing::TestWithParam<Schema> {};

std::string text(const Sids& s) {
    std::string out;
    for (uint32_t v : s) out += (out.empty() ? "" : ".") + std::to_string(v);
    return out;
}

// Walking by "GET-NEXT of the previous answer" visits every row in order and
// ends, also when rows sit at the largest index values.
TEST_P(WalkProperty, WalkVisitsEveryRowInOrderAndEnds) {
    Gen gen(1234);
    for (int round = 0; round < 60; ++round) {
        Table t = gen.table(GetParam().kinds, 1 + round % 25);
        std::vector<Sids> visited;
        Sids incoming = kPrefix;
        while (std::optional<Sids> next = t.answer(incoming)) {
            ASSERT_GT(*next, incoming) << "answer does not follow " << text(incoming);
            visited.push_back(*next);
            incoming = *next;
            ASSERT_LE(visited.size(), t.rows.size()) << "walk does not end";
        }
        ASSERT_EQ(visited, t.rows) << "round " << round;
    }
}

// An index value whose successor is beyond every index of its kind: the carry
// survives and the walk ends instead of starting over.
TEST_P(WalkProperty, LargestInstanceHasNoNext) {
    Row row;
    for (Kind k : GetParam().kinds) {
        if (k == Kind::UInt) row.emplace_back(std::in_place_index<0>, kUMax);
        if (k == Kind::Int) row.emplace_back(std::in_place_index<0>, kIntMax);
        if (k == Kind::Fixed3) row.emplace_back(std::in_place_index<1>, 3, 0xff);
        if (k == Kind::Var) row.emplace_back(std::in_place_index<1>, kMax, 0xff);
    }
    EXPECT_FALSE(decode_next(GetParam().kinds, encode(GetParam().kinds, row)).has_value());
}

// Whether an index before the last present one holds an out-of-range
// sub-identifier: the one case where rows may be skipped.
bool skips_allowed(const std::vector<Kind>& kinds, const Sids& s) {
    size_t p = kPrefix.size();
    for (size_t i = 0; i + 1 < kinds.size(); ++i) {
        bool bad = false;
        for (int j = 0; j < width(kinds[i]) && p + j < s.size(); ++j) {
            uint32_t v = s[p + j];
            bad |= (kinds[i] == Kind::Int && v > kIntMax) || (kinds[i] == Kind::Fixed3 && v > 255);
        }
        p += width(kinds[i]);
        if (bad && p < s.size()) return true;
    }
    return false;
}

// For any identifier a manager may send, the answer is the least row after
// it; with an out-of-range sub-identifier early in the index, rows may be
// skipped but the answer still follows the identifier.
TEST_P(WalkProperty, AnswerIsLeastRowAfterAnyIdentifier) {
    Gen gen(99);
    int exact_checks = 0;
    for (int round = 0; round < 40; ++round) {
        Table t = gen.table(GetParam().kinds, 1 + round % 20);
        for (int probe = 0; probe < 60; ++probe) {
            Sids in = gen.probe(t);
            std::optional<Sids> got = t.answer(in);
            if (got) {
                ASSERT_GT(*got, in) << text(in);
            }
            if (skips_allowed(t.kinds, in)) continue;
            ++exact_checks;
            std::optional<Sids> want = t.least_after(in);
            ASSERT_EQ(got.has_value(), want.has_value()) << text(in);
            if (got) {
                ASSERT_EQ(*got, *want) << text(in);
            }
        }
    }
    EXPECT_GT(exact_checks, 1000);
}

INSTANTIATE_TEST_SUITE_P(
    Tables, WalkProperty,
    ::testing::Values(Schema{"time_port_index", {Kind::UInt, Kind::Int, Kind::Int}},
                      Schema{"subtype_address", {Kind::Int, Kind::Var}},
                      Schema{"remote_address",
                             {Kind::UInt, Kind::Int, Kind::Int, Kind::Int, Kind::Var}},
                      Schema{"org_def_info", {Kind::UInt, Kind::Int, Kind::Int, Kind::Fixed3,
                                              Kind::Int, Kind::Int}},
                      Schema{"address_only", {Kind::Var}}),
    [](const auto& info) { return std::string(info.param.name); });

}  // namespace
