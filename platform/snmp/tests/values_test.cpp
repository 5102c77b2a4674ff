// Values, variable bindings, registration and identifier helpers.
#include <gtest/gtest.h>

#include <cstring>
#include <functional>
#include <string>
#include <vector>

#include "platform_fault.h"
#include "snmp_agent.h"

namespace {

using Sids = std::vector<uint32_t>;

std::string octets(const OctetString* os) {
    return std::string(reinterpret_cast<const char*>(os->octet_ptr), static_cast<size_t>(os->length));
}

Sids sids(const OID* oid) { return Sids(oid->oid_ptr, oid->oid_ptr + oid->length); }

class Values : public ::testing::Test {
protected:
    void SetUp() override { platform_fault_reset(); }
    void TearDown() override { platform_fault_reset(); }
};

TEST_F(Values, OctetStringsCopyTheirBytes) {
    unsigned char raw[] = {0, 'a', 0xff, 0};
    OctetString* os = MakeOctetString(raw, 4);
    ASSERT_NE(os, nullptr);
    raw[1] = 'b';
    EXPECT_EQ(octets(os), std::string("\0a\xff\0", 4));

    OctetString* clone = CloneOctetString(os);
    ASSERT_NE(clone, nullptr);
    EXPECT_NE(clone->octet_ptr, os->octet_ptr);
    EXPECT_EQ(octets(clone), octets(os));
    FreeOctetString(os);
    FreeOctetString(clone);
}

TEST_F(Values, EmptyAndNullTextGiveUsableEmptyStrings) {
    std::vector<OctetString*> made = {MakeOctetStringFromText(nullptr), MakeOctetStringFromText(""),
                                      MakeOctetString(nullptr, 0)};
    for (OctetString* os : made) {
        ASSERT_NE(os, nullptr);
        EXPECT_EQ(os->length, 0);
        OctetString* clone = CloneOctetString(os);
        ASSERT_NE(clone, nullptr);
        EXPECT_EQ(clone->length, 0);
        FreeOctetString(clone);
        FreeOctetString(os);
    }
    OctetString hollow{nullptr, 0};  // someone else's empty string
    OctetString* clone = CloneOctetString(&hollow);
    ASSERT_NE(clone, nullptr);
    EXPECT_EQ(clone->length, 0);
    FreeOctetString(clone);
}

TEST_F(Values, RejectsNegativeLengthsAndNullSources) {
    EXPECT_EQ(MakeOctetString(reinterpret_cast<const unsigned char*>("x"), -1), nullptr);
    EXPECT_EQ(MakeOID(nullptr, -1), nullptr);
    EXPECT_EQ(CloneOctetString(nullptr), nullptr);
    EXPECT_EQ(CloneOID(nullptr), nullptr);
    FreeOctetString(nullptr);
    FreeOID(nullptr);
}

TEST_F(Values, OidsFromNullAreZeros) {
    OID* oid = MakeOID(nullptr, 2);
    ASSERT_NE(oid, nullptr);
    EXPECT_EQ(sids(oid), (Sids{0, 0}));
    OID* empty = MakeOID(nullptr, 0);
    ASSERT_NE(empty, nullptr);
    EXPECT_EQ(empty->length, 0);
    OID* clone = CloneOID(empty);
    ASSERT_NE(clone, nullptr);
    EXPECT_EQ(clone->length, 0);
    FreeOID(oid);
    FreeOID(empty);
    FreeOID(clone);
}

TEST_F(Values, OidsCopyTheirSubIdentifiers) {
    uint32_t raw[] = {1, 3, 6, 1, UINT32_MAX};
    OID* oid = MakeOID(raw, 5);
    ASSERT_NE(oid, nullptr);
    raw[0] = 9;
    OID* clone = CloneOID(oid);
    ASSERT_NE(clone, nullptr);
    EXPECT_NE(clone->oid_ptr, oid->oid_ptr);
    EXPECT_EQ(sids(clone), (Sids{1, 3, 6, 1, UINT32_MAX}));
    FreeOID(oid);
    FreeOID(clone);
}

// Every constructor fails alone, by its own name, and counts its calls.
struct Maker {
    const char* op;
    std::function<void*()> make;
    std::function<void(void*)> free;
};

class Constructors : public ::testing::TestWithParam<Maker> {
protected:
    void SetUp() override { platform_fault_reset(); }
    void TearDown() override { platform_fault_reset(); }
};

TEST_P(Constructors, InjectedFailureGivesNullAndCountsCall) {
    const Maker& m = GetParam();
    platform_fault_fail_nth(m.op, 2, 12);
    void* first = m.make();
    ASSERT_NE(first, nullptr);
    EXPECT_EQ(m.make(), nullptr);
    void* third = m.make();
    EXPECT_NE(third, nullptr);
    EXPECT_EQ(platform_fault_calls(m.op), 3u);
    m.free(first);
    m.free(third);
}

const OctetString kSample = {const_cast<unsigned char*>(reinterpret_cast<const unsigned char*>("ab")), 2};
uint32_t kSampleSids[] = {1, 3, 6};
const OID kSampleOid = {3, kSampleSids};
uint32_t kObjectSids[] = {1, 0, 8802, 1, 1, 2, 1, 3, 8, 1, 3};
const ObjectInfo kIntObject = {{11, kObjectSids}, INTEGER_TYPE, READ_ONLY_ACCESS, 2, 0x20,
                               nullptr, readOnly_test, nullptr};

void free_os(void* p) { FreeOctetString(static_cast<OctetString*>(p)); }
void free_oid(void* p) { FreeOID(static_cast<OID*>(p)); }

INSTANTIATE_TEST_SUITE_P(
    Each, Constructors,
    ::testing::Values(
        Maker{"MakeOctetString",
              [] { return static_cast<void*>(MakeOctetString(kSample.octet_ptr, 2)); }, free_os},
        Maker{"MakeOctetStringFromText",
              [] { return static_cast<void*>(MakeOctetStringFromText("x")); }, free_os},
        Maker{"CloneOctetString",
              [] { return static_cast<void*>(CloneOctetString(&kSample)); }, free_os},
        Maker{"MakeOID", [] { return static_cast<void*>(MakeOID(kSampleSids, 3)); }, free_oid},
        Maker{"CloneOID", [] { return static_cast<void*>(CloneOID(&kSampleOid)); }, free_oid},
        Maker{"MakeVarBind",
              [] {
                  int32_t v = 4;
                  return static_cast<void*>(MakeVarBind(&kIntObject, nullptr, &v));
              },
              [](void* p) { FreeVarBind(static_cast<VarBind*>(p)); }}),
    [](const auto& info) { return std::string(info.param.op); });

// ---- variable bindings --------------------------------------------------------

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

TEST_F(Values, BindingWithoutInstanceIsTheObject) {
    int32_t value = -3;
    VarBind* vb = MakeVarBind(&kIntObject, nullptr, &value);
    ASSERT_NE(vb, nullptr);
    EXPECT_EQ(sids(vb->name), Sids(kObjectSids, kObjectSids + 11));
    EXPECT_EQ(vb->value.slval, -3);
    FreeVarBind(vb);
}

TEST_F(Values, BindingTakesStringAndOidValues) {
    ObjectInfo os_object = object_of(OCTET_PRIM_TYPE);
    OctetString* os = MakeOctetStringFromText("eth0");
    EXPECT_EQ(octets(os), "eth0");
    VarBind* a = MakeVarBind(&os_object, snmp_zeroOID(), os);
    ASSERT_NE(a, nullptr);
    EXPECT_EQ(a->type, OCTET_PRIM_TYPE);
    EXPECT_EQ(a->value.os, os);

    ObjectInfo oid_object = object_of(OBJECT_ID_TYPE);
    OID* oid = MakeOID(nullptr, 2);
    VarBind* b = MakeVarBind(&oid_object, nullptr, oid);
    ASSERT_NE(b, nullptr);
    EXPECT_EQ(b->type, OBJECT_ID_TYPE);
    EXPECT_EQ(b->value.oid, oid);

    a->next = b;  // the chain is freed whole; the leak checker sees the rest
    FreeVarBind(a);
}

TEST_F(Values, FailedBindingFreesTheValueItWasGiven) {
    // Run under the leak checker: the string and identifier must not leak.
    platform_fault_fail_always("MakeVarBind", 12);
    ObjectInfo os_object = object_of(OCTET_PRIM_TYPE);
    EXPECT_EQ(MakeVarBind(&os_object, nullptr, MakeOctetStringFromText("x")), nullptr);
    ObjectInfo oid_object = object_of(OBJECT_ID_TYPE);
    EXPECT_EQ(MakeVarBind(&oid_object, nullptr, MakeOID(nullptr, 2)), nullptr);
}

TEST_F(Values, NullValueOrUnknownTypeGivesNoBinding) {
    EXPECT_EQ(MakeVarBind(&kIntObject, nullptr, nullptr), nullptr);
    ObjectInfo odd = object_of(0x41);
    int32_t v = 1;
    EXPECT_EQ(MakeVarBind(&odd, nullptr, &v), nullptr);
}

// ---- identifiers --------------------------------------------------------------

TEST(OidText, Dotted) {
    uint32_t raw[] = {1, 0, 8802, 4294967295u};
    OID oid = {4, raw};
    char buf[64];
    EXPECT_STREQ(snmp_oid_to_text(&oid, buf, sizeof buf), "1.0.8802.4294967295");
    OID empty = {0, raw};
    EXPECT_STREQ(snmp_oid_to_text(&empty, buf, sizeof buf), "");
    EXPECT_STREQ(snmp_oid_to_text(nullptr, buf, sizeof buf), "");
}

TEST(OidText, TruncatesButStaysTerminated) {
    uint32_t raw[] = {1, 0, 8802, 1};
    OID oid = {4, raw};
    char buf[8];
    memset(buf, 'z', sizeof buf);
    snmp_oid_to_text(&oid, buf, 6);
    EXPECT_EQ(strnlen(buf, 6), strlen(buf));
    EXPECT_EQ(std::string("1.0.8802.1").rfind(buf, 0), 0u) << buf;
    EXPECT_EQ(buf[6], 'z') << "wrote past size";
    EXPECT_EQ(snmp_oid_to_text(&oid, buf, 0), buf);
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

// ---- registration ---------------------------------------------------------------

class Registration : public Values {};

TEST_F(Registration, StoresWhatTheModuleHandsOver) {
    static const snmp_oid_name table[] = {{"lldpMIB", "1.0.8802.1.1.2"}, {nullptr, nullptr}};
    static snmp_mib_debug_flags flags{};
    int ctx;
    EXPECT_EQ(snmp_register_mib_debug(&ctx, &flags), 0);
    EXPECT_EQ(snmp_load_oid(&ctx, table), 0);
    EXPECT_EQ(snmp_loaded_oid_table(), table);
    EXPECT_EQ(snmp_registered_mib_debug(), &flags);
    EXPECT_EQ(platform_fault_calls("snmp_load_oid"), 1u);
    EXPECT_EQ(platform_fault_calls("snmp_register_mib_debug"), 1u);
}

TEST_F(Registration, InjectedFailureReturnsStatusAndStoresNothing) {
    static const snmp_oid_name first[] = {{nullptr, nullptr}};
    static const snmp_oid_name second[] = {{"x", "1"}, {nullptr, nullptr}};
    ASSERT_EQ(snmp_load_oid(nullptr, first), 0);
    platform_fault_fail_nth("snmp_load_oid", 1, 23);
    EXPECT_EQ(snmp_load_oid(nullptr, second), 23);
    EXPECT_EQ(snmp_loaded_oid_table(), first);
    platform_fault_fail_nth("snmp_register_mib_debug", 1, 9);
    snmp_mib_debug_flags flags{};
    EXPECT_EQ(snmp_register_mib_debug(nullptr, &flags), 9);
    EXPECT_NE(snmp_registered_mib_debug(), &flags);
}

TEST_F(Registration, EventManagerHandle) {
    snmp_set_evmh(nullptr);
    void* dflt = snmp_import_evmh();
    EXPECT_NE(dflt, nullptr);
    int evm;
    snmp_set_evmh(&evm);
    EXPECT_EQ(snmp_import_evmh(), &evm);
    platform_fault_fail_nth("snmp_import_evmh", 1, 12);
    EXPECT_EQ(snmp_import_evmh(), nullptr);
    snmp_set_evmh(nullptr);
    EXPECT_EQ(snmp_import_evmh(), dflt);
}

}  // namespace
