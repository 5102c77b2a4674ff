// Router over a small fake object list, given out of order, whose routines
// answer like the module's (a scalar, a table column) or misbehave (answers
// that go backwards, leave their subtree or carry an unusable type).
#include <gtest/gtest.h>

#include <fstream>
#include <string>

#include "mib_router.h"
#include "snmp_agent.h"

using mib_router::Binding;
using mib_router::Oid;

namespace {

const Oid kScalar = {1, 3, 6, 1, 9, 1}, kCol = {1, 3, 6, 1, 9, 2, 1, 2}, kBackwards = {1, 3, 6, 1, 9, 4, 1, 1},
          kElsewhere = {1, 3, 6, 1, 9, 5}, kBadType = {1, 3, 6, 1, 9, 6}, kLast = {1, 3, 6, 1, 9, 7},
          kCounter = {1, 3, 6, 1, 9, 8}, kGauge = {1, 3, 6, 1, 9, 9}, kTicks = {1, 3, 6, 1, 9, 10};

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
    std::vector<Oid> ids = {kLast, kBadType, kScalar, kElsewhere, kCol, kBackwards, kTicks, kGauge, kCounter};
    std::vector<int> types = {INTEGER_TYPE, INTEGER_TYPE, INTEGER_TYPE, INTEGER_TYPE, INTEGER_TYPE,
                              INTEGER_TYPE, TIME_TICKS_TYPE, GAUGE_TYPE, COUNTER_TYPE};
    std::vector<ObjectInfo> objects;
    std::optional<mib_router::Router> router;
    void SetUp() override {
        GetMethod gets[] = {scalar_get, badtype_get, scalar_get,  elsewhere_get, column_get,
                            backwards_get, scalar_get, scalar_get, scalar_get};
        for (size_t i = 0; i < ids.size(); ++i) {
            ObjectInfo o{};
            o.oid = {static_cast<int32_t>(ids[i].size()), ids[i].data()};
            o.value_type = static_cast<uint8_t>(types[i]);
            o.access = READ_ONLY_ACCESS;
            o.get = gets[i];
            o.test = readOnly_test;
            objects.push_back(o);
        }
        router.emplace(objects.data(), static_cast<int>(objects.size()));
    }
};

// Each request of router_requests.txt and its answer.  NEXT: the least usable
// name after the one asked, moving on to the next object when an object has
// nothing more (or only unusable answers); names around well-behaved objects
// get random coverage in the model-based test.  GET: no such object unless the
// name is inside a served object; no such instance when its answer is for
// another instance or unusable.
TEST_F(RouterTest, AnswersAsTheRequestsFileSays) {
    const char* results[] = {"found", "no such object", "no such instance"};  // in GetResult's order
    std::ifstream in(ROUTER_TESTS_DIR "/router_requests.txt");
    int requests = 0;
    for (std::string line; std::getline(in, line);) {
        if (line.empty() || line[0] == '#') continue;
        const size_t a = line.find('\t'), b = line.find('\t', a + 1);
        const std::string asked = line.substr(a + 1, b - a - 1);
        const Oid name = asked == "-" ? Oid{} : mib_router::parse_oid(asked).value();
        Binding bound;
        const std::string got = line.rfind("next", 0) == 0
                                    ? (router->next(name, &bound) ? mib_router::format(bound) : "none")
                                    : results[static_cast<int>(router->get(name, &bound))];
        EXPECT_EQ(got, line.substr(b + 1)) << line;
        ++requests;
    }
    EXPECT_GE(requests, 19);
}

TEST(ParseOid, ReadsDottedDecimalsOnly) {
    EXPECT_EQ(mib_router::parse_oid("1.0.8802.1.1.2"), (Oid{1, 0, 8802, 1, 1, 2}));
    EXPECT_EQ(mib_router::parse_oid(".1.3"), (Oid{1, 3}));
    EXPECT_EQ(mib_router::parse_oid("1.4294967295"), (Oid{1, 4294967295u}));
    for (const char* bad : {"1.4294967296", "", ".", "1..2", "1.2.", "1.-2", "1.+2", "1.2a", "iso.3", " 1.2"})
        EXPECT_EQ(mib_router::parse_oid(bad), std::nullopt) << bad;
}

}  // namespace
