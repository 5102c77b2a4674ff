// Variable bindings and identifier order, as the router and the module use
// them: a binding's name is its object's identifier plus the instance, a
// binding that cannot be made frees the value it was given, and identifiers
// compare in SNMP order.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "platform_fault.h"
#include "snmp_agent.h"

namespace {

using Sids = std::vector<uint32_t>;

Sids sids(const OID* oid) { return Sids(oid->oid_ptr, oid->oid_ptr + oid->length); }

class Values : public ::testing::Test {
protected:
    void SetUp() override { platform_fault_reset(); }
    void TearDown() override { platform_fault_reset(); }
};

uint32_t kObjectSids[] = {1, 0, 8802, 1, 1, 2, 1, 3, 8, 1, 3};
const ObjectInfo kIntObject = {{11, kObjectSids}, INTEGER_TYPE, READ_ONLY_ACCESS, 2, 0x20,
                               nullptr, readOnly_test, nullptr};

ObjectInfo object_of(uint8_t type) {
    ObjectInfo o = kIntObject;
    o.value_type = type;
    return o;
}

TEST_F(Values, BindingNameIsObjectPlusInstance) {
    uint32_t inst[] = {1, 4, 10, 1, 1, 1};
    OID instance = {6, inst};
    int32_t value = 77;
    ObjectInfo object = object_of(INTEGER_TYPE);
    VarBind* vb = MakeVarBind(&object, &instance, &value);
    ASSERT_NE(vb, nullptr);
    value = 0;  // read during the call only
    EXPECT_EQ(vb->type, INTEGER_TYPE);
    EXPECT_EQ(vb->value.slval, 77);
    EXPECT_EQ(sids(vb->name), (Sids{1, 0, 8802, 1, 1, 2, 1, 3, 8, 1, 3, 1, 4, 10, 1, 1, 1}));
    EXPECT_EQ(vb->next, nullptr);
    FreeVarBind(vb);
}

TEST_F(Values, FailedBindingFreesTheValueItWasGiven) {
    // Run under the leak checker: the string and identifier must not leak.
    platform_fault_fail_always("MakeVarBind", 12);
    ObjectInfo os_object = object_of(OCTET_PRIM_TYPE);
    EXPECT_EQ(MakeVarBind(&os_object, nullptr, MakeOctetStringFromText("x")), nullptr);
    ObjectInfo oid_object = object_of(OBJECT_ID_TYPE);
    EXPECT_EQ(MakeVarBind(&oid_object, nullptr, MakeOID(nullptr, 2)), nullptr);
}

TEST(OidCompare, SnmpOrder) {
    struct {
        Sids a, b;
        int sign;
    } cases[] = {
        {{1, 3, 6}, {1, 3, 6}, 0},
        {{1, 3}, {1, 3, 6}, -1},         // prefix first
        {{1, 3, 7}, {1, 3, 6, 9}, 1},    // sub-identifiers before length
        {{1, 2, UINT32_MAX}, {1, 3}, -1},
        {{1, 3, 0x80000000u}, {1, 3, 5}, 1},  // unsigned, not signed
        {{}, {0}, -1},
        {{}, {}, 0},
    };
    for (auto& c : cases) {
        OID a = {static_cast<int32_t>(c.a.size()), c.a.data()};
        OID b = {static_cast<int32_t>(c.b.size()), c.b.data()};
        int r = CmpOID(&a, &b);
        EXPECT_EQ((r > 0) - (r < 0), c.sign);
        int back = CmpOID(&b, &a);
        EXPECT_EQ((back > 0) - (back < 0), -c.sign);
    }
}

}  // namespace
