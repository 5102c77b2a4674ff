// Router over a small fake object list, given out of order, whose routines
// answer like the module's (a scalar, a table column) or misbehave (answers
// that go backwards, leave their subtree or carry an unusable type).
#include <gtest/gtest.h>

#include "mib_router.h"
#include "snmp_agent.h"

using mib_router::Binding;
using mib_router::GetResult;
using mib_router::Oid;

namespace {

Oid cat(Oid a, const Oid& b) { return a.insert(a.end(), b.begin(), b.end()), a; }

const Oid kScalar = {1, 3, 6, 1, 9, 1}, kCol = {1, 3, 6, 1, 9, 2, 1, 2}, kBackwards = {1, 3, 6, 1, 9, 4, 1, 1},
          kElsewhere = {1, 3, 6, 1, 9, 5}, kBadType = {1, 3, 6, 1, 9, 6}, kLast = {1, 3, 6, 1, 9, 7};

VarBind* bind(const ObjectInfo* o, uint32_t inst, int32_t v) {
    OID i{1, &inst};
    return MakeVarBind(o, &i, &v);
}
Oid instance(const OID* in, const ObjectInfo* o) { return Oid(in->oid_ptr + o->oid.length, in->oid_ptr + in->length); }

// Scalar: instance 0, answered for NEXT only on the bare object.
VarBind* scalar_get(OID* in, ObjectInfo* o, int type, void*, int) {
    Oid inst = instance(in, o);
    return (type == EXACT ? inst == Oid{0} : inst.empty()) ? bind(o, 0, -5) : nullptr;
}
// Column with rows 1, 3 and 7.
VarBind* column_get(OID* in, ObjectInfo* o, int type, void*, int) {
    Oid inst = instance(in, o);
    for (uint32_t row : {1u, 3u, 7u})
        if (type == EXACT ? inst == Oid{row} : mib_router::compare(Oid{row}, inst) > 0)
            return bind(o, row, static_cast<int32_t>(row * 10));
    return nullptr;
}
// Answers row 5 on the bare object and row 2 otherwise, whatever was asked.
VarBind* backwards_get(OID* in, ObjectInfo* o, int, void*, int) { return bind(o, instance(in, o).empty() ? 5 : 2, 1); }
VarBind* elsewhere_get(OID*, ObjectInfo* o, int, void*, int) {
    VarBind* vb = bind(o, 0, 1);
    vb->name->oid_ptr[vb->name->length - 2] = 99;  // outside its own subtree
    return vb;
}
VarBind* badtype_get(OID*, ObjectInfo* o, int, void*, int) {
    VarBind* vb = bind(o, 0, 1);
    vb->type = 0x40;  // IpAddress: not a type the module may use
    return vb;
}

class RouterTest : public ::testing::Test {
protected:
    std::vector<Oid> ids = {kLast, kBadType, kScalar, kElsewhere, kCol, kBackwards};
    std::vector<ObjectInfo> objects;
    std::optional<mib_router::Router> router;
    void SetUp() override {
        GetMethod gets[] = {scalar_get, badtype_get, scalar_get, elsewhere_get, column_get, backwards_get};
        for (size_t i = 0; i < ids.size(); ++i) {
            ObjectInfo o{};
            o.oid = {static_cast<int32_t>(ids[i].size()), ids[i].data()};
            o.value_type = INTEGER_TYPE;
            o.access = READ_ONLY_ACCESS;
            o.get = gets[i];
            o.test = readOnly_test;
            objects.push_back(o);
        }
        router.emplace(objects.data(), static_cast<int>(objects.size()));
    }
};

// NEXT: the least usable name after the one asked, moving on to the next
// object when an object has nothing more (or only unusable answers).
TEST_F(RouterTest, NextChoosesTheNextObjectAtBoundaries) {
    const struct {
        Oid asked;
        const char* answer;  // null: past the served objects
    } cases[] = {
        {{}, "1.3.6.1.9.1.0 INTEGER -5"},
        {{1, 3, 6}, "1.3.6.1.9.1.0 INTEGER -5"},
        {kScalar, "1.3.6.1.9.1.0 INTEGER -5"},
        {cat(kScalar, {0}), "1.3.6.1.9.2.1.2.1 INTEGER 10"},
        {cat(kScalar, {0, 4}), "1.3.6.1.9.2.1.2.1 INTEGER 10"},
        {{1, 3, 6, 1, 9, 2, 1}, "1.3.6.1.9.2.1.2.1 INTEGER 10"},  // table entry
        {cat(kCol, {3, 1}), "1.3.6.1.9.2.1.2.7 INTEGER 70"},
        {cat(kCol, {7}), "1.3.6.1.9.4.1.1.5 INTEGER 1"},
        {cat(kCol, {4000000000u}), "1.3.6.1.9.4.1.1.5 INTEGER 1"},
        {cat(kBackwards, {5}), "1.3.6.1.9.7.0 INTEGER -5"},  // answer went back: dropped
        {cat(kBackwards, {1}), "1.3.6.1.9.4.1.1.2 INTEGER 1"},
        {kElsewhere, "1.3.6.1.9.7.0 INTEGER -5"},  // answer outside the object, and bad type
        {cat(kLast, {0}), nullptr},
        {{2}, nullptr},
    };
    for (const auto& c : cases) {
        Binding b;
        bool found = router->next(c.asked, &b);
        EXPECT_EQ(found ? mib_router::format(b) : "none", c.answer ? c.answer : "none") << testing::PrintToString(c.asked);
    }
}

// GET: no such object unless the name is inside a served object; no such
// instance when its answer is for another instance or unusable.
TEST_F(RouterTest, GetAnswersOnlyTheInstanceAsked) {
    const struct {
        Oid asked;
        GetResult result;
    } cases[] = {
        {cat(kCol, {3}), GetResult::Found},           {kScalar, GetResult::NoSuchInstance},
        {cat(kCol, {4}), GetResult::NoSuchInstance},  {cat(kBackwards, {5}), GetResult::NoSuchInstance},
        {cat(kBadType, {0}), GetResult::NoSuchInstance}, {{1, 3, 6, 1, 9, 2, 1}, GetResult::NoSuchObject},
        {{1, 3, 6, 1, 9, 2, 1, 9, 1}, GetResult::NoSuchObject}, {{}, GetResult::NoSuchObject},
    };
    for (const auto& c : cases) {
        Binding b;
        EXPECT_EQ(router->get(c.asked, &b), c.result) << testing::PrintToString(c.asked);
    }
}

TEST(ParseOid, ReadsDottedDecimalsOnly) {
    EXPECT_EQ(mib_router::parse_oid("1.0.8802.1.1.2"), (Oid{1, 0, 8802, 1, 1, 2}));
    EXPECT_EQ(mib_router::parse_oid(".1.3"), (Oid{1, 3}));
    EXPECT_EQ(mib_router::parse_oid("1.4294967295"), (Oid{1, 4294967295u}));
    for (const char* bad : {"1.4294967296", "", ".", "1..2", "1.2.", "1.-2", "1.+2", "1.2a", "iso.3", " 1.2"})
        EXPECT_EQ(mib_router::parse_oid(bad), std::nullopt) << bad;
}

TEST(Format, ConvertsEveryValueKind) {
    const std::pair<Binding, const char*> cases[] = {
        {{{1, 2}, INTEGER_TYPE, INT32_MIN, {}, {}}, "1.2 INTEGER -2147483648"},
        {{{1, 2}, OCTET_PRIM_TYPE, 0, {0x00, 0xab, 0x7f, 0xff}, {}}, "1.2 OCTETS 00ab7fff"},
        {{{1, 2}, OCTET_PRIM_TYPE, 0, {}, {}}, "1.2 OCTETS "},
        {{{1, 2}, OBJECT_ID_TYPE, 0, {}, {0, 0}}, "1.2 OID 0.0"},
    };
    for (const auto& [b, want] : cases) EXPECT_EQ(mib_router::format(b), want);
}

}  // namespace
