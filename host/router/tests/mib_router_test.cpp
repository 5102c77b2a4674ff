// Router over a small fake object list whose routines answer like the
// module's: a scalar, two columns of a table, an identifier-valued scalar, and
// objects that misbehave (answers that go backwards, leave their subtree or
// carry an unusable type).
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <random>
#include <thread>

#include "mib_router.h"
#include "snmp_agent.h"

using mib_router::Binding;
using mib_router::GetResult;
using mib_router::Oid;
using mib_router::Router;

namespace {

const Oid kScalar = {1, 3, 6, 1, 9, 1};
const Oid kColInt = {1, 3, 6, 1, 9, 2, 1, 2};
const Oid kColText = {1, 3, 6, 1, 9, 2, 1, 3};
const Oid kOidScalar = {1, 3, 6, 1, 9, 3};
const Oid kBackwards = {1, 3, 6, 1, 9, 4, 1, 1};
const Oid kElsewhere = {1, 3, 6, 1, 9, 5};
const Oid kBadType = {1, 3, 6, 1, 9, 6};
const Oid kLast = {1, 3, 6, 1, 9, 7};
const std::vector<uint32_t> kRows = {1, 3, 7};

Oid cat(Oid a, const Oid& b) {
    a.insert(a.end(), b.begin(), b.end());
    return a;
}

Oid instance_of(const OID* incoming, const ObjectInfo* object) {
    return Oid(incoming->oid_ptr + object->oid.length, incoming->oid_ptr + incoming->length);
}

VarBind* bind_int(const ObjectInfo* o, const Oid& inst, int32_t v) {
    OID i{static_cast<int32_t>(inst.size()), const_cast<uint32_t*>(inst.data())};
    return MakeVarBind(o, &i, &v);
}

VarBind* bind_text(const ObjectInfo* o, const Oid& inst, const std::string& text) {
    OID i{static_cast<int32_t>(inst.size()), const_cast<uint32_t*>(inst.data())};
    return MakeVarBind(o, &i, MakeOctetStringFromText(text.c_str()));
}

// Scalars: instance 0, answered for NEXT only on the bare object.
VarBind* scalar_get(OID* in, ObjectInfo* o, int type, void*, int) {
    Oid inst = instance_of(in, o);
    if (type == EXACT && inst != Oid{0}) return nullptr;
    if (type == NEXT && !inst.empty()) return nullptr;
    if (o->value_type == OBJECT_ID_TYPE) {
        uint32_t sids[] = {1, 3, 6, 1, 4, 1, 9};
        uint32_t zero_sid = 0;
        OID zero{1, &zero_sid};
        return MakeVarBind(o, &zero, MakeOID(sids, 7));
    }
    return bind_int(o, {0}, -5);
}

// Table column indexed by one integer, rows kRows.
VarBind* column_get(OID* in, ObjectInfo* o, int type, void*, int) {
    Oid inst = instance_of(in, o);
    for (uint32_t row : kRows) {
        bool hit = type == EXACT ? inst == Oid{row} : mib_router::compare(Oid{row}, inst) > 0;
        if (!hit) continue;
        if (o->value_type == INTEGER_TYPE) return bind_int(o, {row}, static_cast<int32_t>(row * 10));
        return bind_text(o, {row}, row == 3 ? "" : "r" + std::to_string(row));
    }
    return nullptr;
}

// Always answers its first rows, whatever was asked: a time mark that went back.
VarBind* backwards_get(OID* in, ObjectInfo* o, int type, void*, int) {
    Oid inst = instance_of(in, o);
    if (inst.empty()) return bind_int(o, {5}, 1);
    return bind_int(o, {2}, 2);
}

// Answers with a name outside its own subtree.
VarBind* elsewhere_get(OID* in, ObjectInfo* o, int type, void*, int) {
    VarBind* vb = bind_int(o, {0}, 1);
    vb->name->oid_ptr[vb->name->length - 2] = 99;
    return vb;
}

// Answers with a type the router cannot convert.
VarBind* badtype_get(OID*, ObjectInfo* o, int, void*, int) {
    VarBind* vb = bind_int(o, {0}, 1);
    vb->type = 0x40;  // IpAddress tag: not one the module may use
    return vb;
}

struct FakeList {
    std::vector<Oid> ids;
    std::vector<ObjectInfo> objects;

    FakeList() {
        add(kLast, INTEGER_TYPE, scalar_get);
        add(kColText, OCTET_PRIM_TYPE, column_get);
        add(kScalar, INTEGER_TYPE, scalar_get);
        add(kBadType, INTEGER_TYPE, badtype_get);
        add(kOidScalar, OBJECT_ID_TYPE, scalar_get);
        add(kElsewhere, INTEGER_TYPE, elsewhere_get);
        add(kColInt, INTEGER_TYPE, column_get);
        add(kBackwards, INTEGER_TYPE, backwards_get);
        for (size_t i = 0; i < ids.size(); ++i) {
            objects[i].oid.length = static_cast<int32_t>(ids[i].size());
            objects[i].oid.oid_ptr = ids[i].data();
        }
    }
    void add(const Oid& id, uint8_t type, GetMethod get) {
        ids.push_back(id);
        ObjectInfo o{};
        o.value_type = type;
        o.access = READ_ONLY_ACCESS;
        o.get = get;
        o.test = readOnly_test;
        objects.push_back(o);
    }
};

// The whole served tree, in order.
std::vector<std::string> expected_walk() {
    return {
        "1.3.6.1.9.1.0 INTEGER -5",
        "1.3.6.1.9.2.1.2.1 INTEGER 10",
        "1.3.6.1.9.2.1.2.3 INTEGER 30",
        "1.3.6.1.9.2.1.2.7 INTEGER 70",
        "1.3.6.1.9.2.1.3.1 OCTETS 7231",
        "1.3.6.1.9.2.1.3.3 OCTETS ",
        "1.3.6.1.9.2.1.3.7 OCTETS 7237",
        "1.3.6.1.9.3.0 OID 1.3.6.1.4.1.9",
        "1.3.6.1.9.4.1.1.5 INTEGER 1",
        "1.3.6.1.9.7.0 INTEGER -5",
    };
}

class RouterTest : public ::testing::Test {
protected:
    FakeList list;
    Router router{list.objects.data(), static_cast<int>(list.objects.size())};

    std::vector<std::string> walk(const Oid& root) {
        std::vector<std::string> lines;
        router.walk(root, [&](const Binding& b) {
            lines.push_back(mib_router::format(b));
            return true;
        });
        return lines;
    }
};

TEST_F(RouterTest, RoutesInIdentifierOrderWhateverTheListOrder) {
    std::vector<Oid> ids = router.object_oids();
    EXPECT_TRUE(std::is_sorted(ids.begin(), ids.end(),
                               [](const Oid& a, const Oid& b) { return mib_router::compare(a, b) < 0; }));
    std::mt19937 rng(7);
    for (int round = 0; round < 5; ++round) {
        std::vector<ObjectInfo> shuffled = list.objects;
        std::shuffle(shuffled.begin(), shuffled.end(), rng);
        Router r(shuffled.data(), static_cast<int>(shuffled.size()));
        std::vector<std::string> lines;
        r.walk({1, 3, 6, 1, 9}, [&](const Binding& b) {
            lines.push_back(mib_router::format(b));
            return true;
        });
        EXPECT_EQ(lines, expected_walk()) << "round " << round;
    }
}

TEST_F(RouterTest, WalkVisitsEveryInstanceOnceAndSkipsUnusableAnswers) {
    EXPECT_EQ(walk({1, 3, 6, 1, 9}), expected_walk());
    EXPECT_EQ(walk({1}), expected_walk());
    EXPECT_EQ(walk({}), expected_walk());
}

TEST_F(RouterTest, WalkStaysInsideItsSubtree) {
    const std::vector<std::string> all = expected_walk();
    EXPECT_EQ(walk({1, 3, 6, 1, 9, 2}), std::vector<std::string>(all.begin() + 1, all.begin() + 7));
    EXPECT_EQ(walk(kColText), std::vector<std::string>(all.begin() + 4, all.begin() + 7));
    EXPECT_TRUE(walk({1, 3, 6, 1, 8}).empty());
    EXPECT_TRUE(walk(cat(kScalar, {0})).empty());
}

struct NextCase {
    const char* what;
    Oid asked;
    const char* answer;  // null: end of the served objects
};

class RouterNextTest : public RouterTest, public ::testing::WithParamInterface<NextCase> {};

TEST_P(RouterNextTest, AnswersTheLeastNameAfterTheOneAsked) {
    Binding b;
    bool found = router.next(GetParam().asked, &b);
    if (!GetParam().answer) {
        EXPECT_FALSE(found) << mib_router::format(b);
        return;
    }
    ASSERT_TRUE(found);
    EXPECT_EQ(mib_router::format(b), GetParam().answer);
    EXPECT_GT(mib_router::compare(b.name, GetParam().asked), 0);
}

INSTANTIATE_TEST_SUITE_P(
    Cases, RouterNextTest,
    ::testing::Values(
        NextCase{"empty name", {}, "1.3.6.1.9.1.0 INTEGER -5"},
        NextCase{"before everything", {0, 1}, "1.3.6.1.9.1.0 INTEGER -5"},
        NextCase{"ancestor of the tree", {1, 3, 6}, "1.3.6.1.9.1.0 INTEGER -5"},
        NextCase{"bare scalar", kScalar, "1.3.6.1.9.1.0 INTEGER -5"},
        NextCase{"scalar instance", cat(kScalar, {0}), "1.3.6.1.9.2.1.2.1 INTEGER 10"},
        NextCase{"past the scalar instance", cat(kScalar, {0, 4}), "1.3.6.1.9.2.1.2.1 INTEGER 10"},
        NextCase{"table entry", {1, 3, 6, 1, 9, 2, 1}, "1.3.6.1.9.2.1.2.1 INTEGER 10"},
        NextCase{"between rows", cat(kColInt, {2}), "1.3.6.1.9.2.1.2.3 INTEGER 30"},
        NextCase{"row with more below", cat(kColInt, {3, 1}), "1.3.6.1.9.2.1.2.7 INTEGER 70"},
        NextCase{"last row of a column", cat(kColInt, {7}), "1.3.6.1.9.2.1.3.1 OCTETS 7231"},
        NextCase{"past the column", cat(kColInt, {4000000000u}), "1.3.6.1.9.2.1.3.1 OCTETS 7231"},
        NextCase{"between columns", {1, 3, 6, 1, 9, 2, 1, 2, 9, 9}, "1.3.6.1.9.2.1.3.1 OCTETS 7231"},
        NextCase{"empty string row", cat(kColText, {1}), "1.3.6.1.9.2.1.3.3 OCTETS "},
        NextCase{"identifier value", {1, 3, 6, 1, 9, 2, 2}, "1.3.6.1.9.3.0 OID 1.3.6.1.4.1.9"},
        NextCase{"backwards answer dropped", cat(kBackwards, {5}), "1.3.6.1.9.7.0 INTEGER -5"},
        NextCase{"backwards answer below the asked", cat(kBackwards, {1}),
                 "1.3.6.1.9.4.1.1.2 INTEGER 2"},
        NextCase{"foreign-subtree answer dropped", kElsewhere, "1.3.6.1.9.7.0 INTEGER -5"},
        NextCase{"unusable type dropped", kBadType, "1.3.6.1.9.7.0 INTEGER -5"},
        NextCase{"last instance", cat(kLast, {0}), nullptr},
        NextCase{"beyond everything", {2}, nullptr}),
    [](const auto& info) {
        std::string n = info.param.what;
        std::replace_if(n.begin(), n.end(), [](char c) { return !isalnum(static_cast<unsigned char>(c)); }, '_');
        return n;
    });

struct GetCase {
    const char* what;
    Oid asked;
    GetResult result;
    const char* answer;
};

class RouterGetTest : public RouterTest, public ::testing::WithParamInterface<GetCase> {};

TEST_P(RouterGetTest, AnswersOnlyTheInstanceAsked) {
    Binding b;
    EXPECT_EQ(router.get(GetParam().asked, &b), GetParam().result);
    if (GetParam().answer) {
        EXPECT_EQ(mib_router::format(b), GetParam().answer);
    }
}

INSTANTIATE_TEST_SUITE_P(
    Cases, RouterGetTest,
    ::testing::Values(
        GetCase{"scalar", cat(kScalar, {0}), GetResult::Found, "1.3.6.1.9.1.0 INTEGER -5"},
        GetCase{"bare scalar", kScalar, GetResult::NoSuchInstance, nullptr},
        GetCase{"scalar wrong instance", cat(kScalar, {1}), GetResult::NoSuchInstance, nullptr},
        GetCase{"row", cat(kColInt, {3}), GetResult::Found, "1.3.6.1.9.2.1.2.3 INTEGER 30"},
        GetCase{"missing row", cat(kColInt, {4}), GetResult::NoSuchInstance, nullptr},
        GetCase{"empty string", cat(kColText, {3}), GetResult::Found, "1.3.6.1.9.2.1.3.3 OCTETS "},
        GetCase{"answer for another instance", cat(kBackwards, {5}), GetResult::NoSuchInstance, nullptr},
        GetCase{"unusable type", cat(kBadType, {0}), GetResult::NoSuchInstance, nullptr},
        GetCase{"table entry", {1, 3, 6, 1, 9, 2, 1}, GetResult::NoSuchObject, nullptr},
        GetCase{"unknown column", {1, 3, 6, 1, 9, 2, 1, 9, 1}, GetResult::NoSuchObject, nullptr},
        GetCase{"empty name", {}, GetResult::NoSuchObject, nullptr}),
    [](const auto& info) {
        std::string n = info.param.what;
        std::replace_if(n.begin(), n.end(), [](char c) { return !isalnum(static_cast<unsigned char>(c)); }, '_');
        return n;
    });

TEST_F(RouterTest, ConcurrentWalksSeeTheSameTree) {
    std::vector<std::vector<std::string>> results(4);
    std::vector<std::thread> threads;
    for (auto& r : results)
        threads.emplace_back([&r, this] {
            for (int i = 0; i < 50; ++i) r = walk({1});
        });
    for (auto& t : threads) t.join();
    for (const auto& r : results) EXPECT_EQ(r, expected_walk());
}

struct ParseCase {
    const char* text;
    std::optional<Oid> oid;
};

class ParseOidTest : public ::testing::TestWithParam<ParseCase> {};

TEST_P(ParseOidTest, ReadsDottedDecimals) {
    EXPECT_EQ(mib_router::parse_oid(GetParam().text), GetParam().oid) << GetParam().text;
}

INSTANTIATE_TEST_SUITE_P(
    Cases, ParseOidTest,
    ::testing::Values(ParseCase{"1.0.8802.1.1.2", Oid{1, 0, 8802, 1, 1, 2}},
                      ParseCase{".1.3", Oid{1, 3}}, ParseCase{"0", Oid{0}},
                      ParseCase{"1.4294967295", Oid{1, 4294967295u}},
                      ParseCase{"1.4294967296", std::nullopt}, ParseCase{"", std::nullopt},
                      ParseCase{".", std::nullopt}, ParseCase{"1..2", std::nullopt},
                      ParseCase{"1.2.", std::nullopt}, ParseCase{"1.-2", std::nullopt},
                      ParseCase{"1.+2", std::nullopt}, ParseCase{"1.2a", std::nullopt},
                      ParseCase{"iso.3", std::nullopt}, ParseCase{" 1.2", std::nullopt}));

TEST(Format, ConvertsEveryValueKind) {
    Binding b;
    b.name = {1, 2};
    b.type = INTEGER_TYPE;
    b.integer = -2147483647 - 1;
    EXPECT_EQ(mib_router::format(b), "1.2 INTEGER -2147483648");
    b.type = OCTET_PRIM_TYPE;
    b.octets = {0x00, 0xab, 0x7f, 0xff};
    EXPECT_EQ(mib_router::format(b), "1.2 OCTETS 00ab7fff");
    b.octets.clear();
    EXPECT_EQ(mib_router::format(b), "1.2 OCTETS ");
    b.type = OBJECT_ID_TYPE;
    b.oid = {0, 0};
    EXPECT_EQ(mib_router::format(b), "1.2 OID 0.0");
}

}  // namespace
