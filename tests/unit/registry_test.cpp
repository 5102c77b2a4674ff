// The registry data, the debug flags and the method-routine frame.
#include <gmock/gmock.h>

#include <map>
#include <string>
#include <vector>

#include "module_fixture.h"
#include "platform_fault.h"

using lldpmib_test::ModuleTest;

namespace {

std::string dotted(const OID& oid) {
    char buf[256];
    return snmp_oid_to_text(&oid, buf, sizeof buf);
}

// ---- The MIB's identifiers, written once ----
//
// NODE: a group or entry, named in the name table.  SERVED: a column or
// scalar the module serves (INTEGER, OCTETS or OID), with its identifier
// array.  UNSERVED: a configuration or statistics object with an identifier
// array but no object record.  Index columns have neither and are left out.
#define A "1.0.8802.1.1.2"
// clang-format off
#define LLDP_MIB(NODE, SERVED, UNSERVED)                                              \
    NODE(iso, "1")                                                                    \
    NODE(lldpMIB, A)                                                                  \
    NODE(lldpNotifications, A ".0")                                                   \
    NODE(lldpNotificationPrefix, A ".0.0")                                            \
    NODE(lldpRemTablesChange, A ".0.0.1")                                             \
    NODE(lldpObjects, A ".1")                                                         \
    NODE(lldpConfiguration, A ".1.1")                                                 \
    UNSERVED(lldpMessageTxInterval, A ".1.1.1")                                       \
    UNSERVED(lldpMessageTxHoldMultiplier, A ".1.1.2")                                 \
    UNSERVED(lldpReinitDelay, A ".1.1.3")                                             \
    UNSERVED(lldpTxDelay, A ".1.1.4")                                                 \
    UNSERVED(lldpNotificationInterval, A ".1.1.5")                                    \
    NODE(lldpPortConfigEntry, A ".1.1.6.1")                                           \
    UNSERVED(lldpPortConfigAdminStatus, A ".1.1.6.1.2")                               \
    UNSERVED(lldpPortConfigNotificationEnable, A ".1.1.6.1.3")                        \
    UNSERVED(lldpPortConfigTLVsTxEnable, A ".1.1.6.1.4")                              \
    NODE(lldpConfigManAddrEntry, A ".1.1.7.1")                                        \
    UNSERVED(lldpConfigManAddrPortsTxEnable, A ".1.1.7.1.1")                          \
    NODE(lldpStatistics, A ".1.2")                                                    \
    UNSERVED(lldpStatsRemTablesLastChangeTime, A ".1.2.1")                            \
    UNSERVED(lldpStatsRemTablesInserts, A ".1.2.2")                                   \
    UNSERVED(lldpStatsRemTablesDeletes, A ".1.2.3")                                   \
    UNSERVED(lldpStatsRemTablesDrops, A ".1.2.4")                                     \
    UNSERVED(lldpStatsRemTablesAgeouts, A ".1.2.5")                                   \
    NODE(lldpStatsTxPortEntry, A ".1.2.6.1")                                          \
    UNSERVED(lldpStatsTxPortFramesTotal, A ".1.2.6.1.2")                              \
    NODE(lldpStatsRxPortEntry, A ".1.2.7.1")                                          \
    UNSERVED(lldpStatsRxPortFramesDiscardedTotal, A ".1.2.7.1.2")                     \
    UNSERVED(lldpStatsRxPortFramesErrors, A ".1.2.7.1.3")                             \
    UNSERVED(lldpStatsRxPortFramesTotal, A ".1.2.7.1.4")                              \
    UNSERVED(lldpStatsRxPortTLVsDiscardedTotal, A ".1.2.7.1.5")                       \
    UNSERVED(lldpStatsRxPortTLVsUnrecognizedTotal, A ".1.2.7.1.6")                    \
    UNSERVED(lldpStatsRxPortAgeoutsTotal, A ".1.2.7.1.7")                             \
    NODE(lldpLocalSystemData, A ".1.3")                                               \
    SERVED(lldpLocChassisIdSubtype, A ".1.3.1", INTEGER_TYPE)                         \
    SERVED(lldpLocChassisId, A ".1.3.2", OCTET_PRIM_TYPE)                             \
    SERVED(lldpLocSysName, A ".1.3.3", OCTET_PRIM_TYPE)                               \
    SERVED(lldpLocSysDesc, A ".1.3.4", OCTET_PRIM_TYPE)                               \
    SERVED(lldpLocSysCapSupported, A ".1.3.5", OCTET_PRIM_TYPE)                       \
    SERVED(lldpLocSysCapEnabled, A ".1.3.6", OCTET_PRIM_TYPE)                         \
    NODE(lldpLocPortEntry, A ".1.3.7.1")                                              \
    SERVED(lldpLocPortIdSubtype, A ".1.3.7.1.2", INTEGER_TYPE)                        \
    SERVED(lldpLocPortId, A ".1.3.7.1.3", OCTET_PRIM_TYPE)                            \
    SERVED(lldpLocPortDesc, A ".1.3.7.1.4", OCTET_PRIM_TYPE)                          \
    NODE(lldpLocManAddrEntry, A ".1.3.8.1")                                           \
    SERVED(lldpLocManAddrLen, A ".1.3.8.1.3", INTEGER_TYPE)                           \
    SERVED(lldpLocManAddrIfSubtype, A ".1.3.8.1.4", INTEGER_TYPE)                     \
    SERVED(lldpLocManAddrIfId, A ".1.3.8.1.5", INTEGER_TYPE)                          \
    SERVED(lldpLocManAddrOID, A ".1.3.8.1.6", OBJECT_ID_TYPE)                         \
    NODE(lldpRemoteSystemsData, A ".1.4")                                             \
    NODE(lldpRemEntry, A ".1.4.1.1")                                                  \
    SERVED(lldpRemChassisIdSubtype, A ".1.4.1.1.4", INTEGER_TYPE)                     \
    SERVED(lldpRemChassisId, A ".1.4.1.1.5", OCTET_PRIM_TYPE)                         \
    SERVED(lldpRemPortIdSubtype, A ".1.4.1.1.6", INTEGER_TYPE)                        \
    SERVED(lldpRemPortId, A ".1.4.1.1.7", OCTET_PRIM_TYPE)                            \
    SERVED(lldpRemPortDesc, A ".1.4.1.1.8", OCTET_PRIM_TYPE)                          \
    SERVED(lldpRemSysName, A ".1.4.1.1.9", OCTET_PRIM_TYPE)                           \
    SERVED(lldpRemSysDesc, A ".1.4.1.1.10", OCTET_PRIM_TYPE)                          \
    SERVED(lldpRemSysCapSupported, A ".1.4.1.1.11", OCTET_PRIM_TYPE)                  \
    SERVED(lldpRemSysCapEnabled, A ".1.4.1.1.12", OCTET_PRIM_TYPE)                    \
    NODE(lldpRemManAddrEntry, A ".1.4.2.1")                                           \
    SERVED(lldpRemManAddrIfSubtype, A ".1.4.2.1.3", INTEGER_TYPE)                     \
    SERVED(lldpRemManAddrIfId, A ".1.4.2.1.4", INTEGER_TYPE)                          \
    SERVED(lldpRemManAddrOID, A ".1.4.2.1.5", OBJECT_ID_TYPE)                         \
    NODE(lldpRemUnknownTLVEntry, A ".1.4.3.1")                                        \
    SERVED(lldpRemUnknownTLVInfo, A ".1.4.3.1.2", OCTET_PRIM_TYPE)                    \
    NODE(lldpRemOrgDefInfoEntry, A ".1.4.4.1")                                        \
    SERVED(lldpRemOrgDefInfo, A ".1.4.4.1.4", OCTET_PRIM_TYPE)                        \
    NODE(lldpExtensions, A ".1.5")
// clang-format on

}  // namespace

#define DECLARE_NONE(name, dotted)
#define DECLARE_ID(name, dotted, ...) extern "C" const uint32_t ID##name[];
LLDP_MIB(DECLARE_NONE, DECLARE_ID, DECLARE_ID)

namespace {

struct MibOid {
    const char* name;
    const char* dotted;
    bool node;           // named in the name table
    const uint32_t* id;  // the identifier array, or null
    int served_type;     // the object record's value type; 0: not served
};

#define AS_NODE(name, dotted) {#name, dotted, true, nullptr, 0},
#define AS_SERVED(name, dotted, type) {#name, dotted, false, ID##name, type},
#define AS_UNSERVED(name, dotted) {#name, dotted, false, ID##name, 0},
const MibOid kMib[] = {LLDP_MIB(AS_NODE, AS_SERVED, AS_UNSERVED)};

const MibOid* by_dotted(const std::string& d) {
    for (const MibOid& m : kMib)
        if (d == m.dotted) return &m;
    return nullptr;
}

std::vector<uint32_t> parse(const std::string& d) {
    std::vector<uint32_t> out;
    size_t at = 0;
    while (at <= d.size()) {
        size_t dot = d.find('.', at);
        if (dot == std::string::npos) dot = d.size();
        out.push_back(static_cast<uint32_t>(std::stoul(d.substr(at, dot - at))));
        at = dot + 1;
    }
    return out;
}

// The method routine of the objects under each entry or group.
GetMethod routine_of(const std::string& node) {
    if (node == "lldpLocalSystemData") return lldpLocalSystemData_get;
    if (node == "lldpLocPortEntry") return lldpLocPortEntry_get;
    if (node == "lldpLocManAddrEntry") return lldpLocManAddrEntry_get;
    if (node == "lldpRemEntry") return lldpRemEntry_get;
    if (node == "lldpRemManAddrEntry") return lldpRemManAddrEntry_get;
    if (node == "lldpRemUnknownTLVEntry") return lldpRemUnknownTLVEntry_get;
    if (node == "lldpRemOrgDefInfoEntry") return lldpRemOrgDefInfoEntry_get;
    return nullptr;
}

// The identifier arrays, the name table and the object list agree with the
// MIB and with each other: a typo in any of them fails here.
TEST(Registry, IdentifiersNameTableAndObjectListMatchTheMib) {
    for (const MibOid& m : kMib) {
        if (!m.id) continue;
        std::vector<uint32_t> want = parse(m.dotted);
        EXPECT_EQ(want, std::vector<uint32_t>(m.id, m.id + want.size())) << "ID" << m.name;
    }

    std::map<std::string, std::string> names;  // dotted -> name, from the name table
    int n = 0;
    for (; lldpmib_oid_table[n].name != nullptr; n++) {
        const MibOid* m = by_dotted(lldpmib_oid_table[n].dotted);
        ASSERT_NE(nullptr, m) << lldpmib_oid_table[n].name;
        EXPECT_TRUE(m->node) << m->name;
        EXPECT_STREQ(m->name, lldpmib_oid_table[n].name);
        names[m->dotted] = m->name;
    }
    EXPECT_EQ(nullptr, lldpmib_oid_table[n].dotted);
    for (const MibOid& m : kMib) {
        if (m.node) {
            EXPECT_EQ(1u, names.count(m.dotted)) << m.name << " missing from the name table";
        }
    }

    int served = 0;
    for (const MibOid& m : kMib) served += m.served_type != 0;
    ASSERT_EQ(served, lldpmib_OidListNum);
    for (int i = 0; i < lldpmib_OidListNum; i++) {
        const ObjectInfo& o = lldpmib_OidList[i];
        std::string d = dotted(o.oid);
        const MibOid* m = by_dotted(d);
        ASSERT_NE(nullptr, m) << d;
        SCOPED_TRACE(m->name);
        EXPECT_NE(0, m->served_type);
        EXPECT_EQ(m->served_type, o.value_type);
        EXPECT_EQ(m->id, o.oid.oid_ptr);
        EXPECT_EQ(o.oid.oid_ptr[o.oid.length - 1] - 1, o.nominator);
        std::string parent = d.substr(0, d.rfind('.'));
        ASSERT_EQ(1u, names.count(parent));
        EXPECT_EQ(routine_of(names[parent]), o.get);
        EXPECT_EQ(READ_ONLY_ACCESS, o.access);
        EXPECT_EQ(readOnly_test, o.test);
        if (i > 0) {
            EXPECT_LT(CmpOID(&lldpmib_OidList[i - 1].oid, &o.oid), 0);
        }
    }
}

// ---- Debug flags ----

class DebugFlags : public ModuleTest {
protected:
    void SetUp() override {
        ModuleTest::SetUp();
        lldp_debug_init(lldp_debug_arr_kel);
    }
};

struct FlagLookup {
    const char* on;      // the only flag switched on
    const char* text;    // looked for
    int expected;
};

class FlagLookupTest : public DebugFlags, public ::testing::WithParamInterface<FlagLookup> {};

TEST_P(FlagLookupTest, SearchesDescriptionsOnly) {
    lldpmib_test::set_debug(GetParam().on);
    EXPECT_EQ(GetParam().expected, lldp_get_debug_flag_value(GetParam().text) != 0)
        << GetParam().text;
}

INSTANTIATE_TEST_SUITE_P(
    Lookups, FlagLookupTest,
    ::testing::Values(FlagLookup{"lldp/all", "", 1}, FlagLookup{"lldp/all", "LLDP", 1},
                      FlagLookup{"lldp/events", "LLDP", 0},  // "LLDP" names the first row
                      FlagLookup{"lldp/events", "Events", 1},
                      FlagLookup{"lldp/events", "events", 0},  // a keyword, not a description
                      FlagLookup{"lldp/packetdump", "dump", 1},
                      FlagLookup{"lldp/packetdump", "Packet", 0},  // row 4 comes first
                      FlagLookup{"lldp/packets", "Packet", 1},
                      FlagLookup{"snmp/mib/lldpmib/enable", "MIB", 1},
                      FlagLookup{"all", "Number of elements", 0},  // never registered
                      FlagLookup{"all", "no such flag", 0}));

TEST_F(DebugFlags, RegistersEveryKeywordUnderItsRootAndLeavesTheLastRowUnregistered) {
    EXPECT_STREQ("lldp/all", kel_dt_flag_path(lldp_debug_all));
    EXPECT_STREQ("lldp/verbose", kel_dt_flag_path(lldp_verbose_debug));
    EXPECT_STREQ("lldp/errors", kel_dt_flag_path(lldp_error_debug));
    EXPECT_STREQ("snmp/mib/lldpmib", kel_dt_flag_path(lldp_mib_root));
    EXPECT_EQ(nullptr, lldp_fd_max_elem_debug);
}

struct RegistrationFailure {
    uint64_t nth;  // which kel_dt_flag_init call of the registration fails
    const char* printed;
};

class RegistrationFailureTest : public DebugFlags,
                                public ::testing::WithParamInterface<RegistrationFailure> {};

TEST_P(RegistrationFailureTest, IsPrintedAndRegistrationGoesOn) {
    kel_dt_handle saved_root = lldp_root;
    lldp_root = nullptr;
    platform_fault_reset();
    platform_fault_fail_nth("kel_dt_flag_init", GetParam().nth, 1);
    testing::internal::CaptureStdout();
    lldp_debug_init(lldp_debug_arr_kel);
    EXPECT_EQ(GetParam().printed, testing::internal::GetCapturedStdout());
    EXPECT_EQ(12u, platform_fault_calls("kel_dt_flag_init"));  // row 10 is never registered
    if (lldp_root == nullptr) lldp_root = saved_root;
    lldp_debug_init(lldp_debug_arr_kel);  // back to the normal registration
}

INSTANTIATE_TEST_SUITE_P(
    Calls, RegistrationFailureTest,
    ::testing::Values(RegistrationFailure{1, "Failed to initialize LLDP root debug flag\n"},
                      RegistrationFailure{9, "Failed to initialize lldp_trace_debug\n"},
                      RegistrationFailure{11, "Failed to initialize LLDP MIB root debug flag\n"},
                      RegistrationFailure{12, "Failed to initialize lldp_mib_debug\n"}));

TEST_F(DebugFlags, LinesAreEmittedExactlyWhenTheirFlagIsOn) {
    lldpmib_test::set_debug("lldp/verbose");
    take_lines();
    lldpmib_is_orvik_platform();
    lldpmib_lock();
    lldpmib_unlock();
    LLDPMIB_VERBOSE("probe", "value %d", 7);
    LLDPMIB_MIB("probe", "hidden");
    EXPECT_EQ(std::vector<std::string>{"VERBOSE[probe] value 7"}, take_lines());
}

// ---- Method-routine frame ----

ObjectInfo* object_named(const char* dotted_oid) {
    for (int i = 0; i < lldpmib_OidListNum; i++)
        if (dotted(lldpmib_OidList[i].oid) == dotted_oid) return &lldpmib_OidList[i];
    return nullptr;
}

VarBind* call(const char* object_oid, std::vector<uint32_t> instance, int searchType) {
    ObjectInfo* o = object_named(object_oid);
    EXPECT_NE(nullptr, o) << object_oid;
    if (o == nullptr) return nullptr;
    std::vector<uint32_t> full(o->oid.oid_ptr, o->oid.oid_ptr + o->oid.length);
    full.insert(full.end(), instance.begin(), instance.end());
    OID incoming = {(int32_t)full.size(), full.data()};
    return o->get(&incoming, o, searchType, nullptr, 1);
}

struct Malformed {
    const char* object;
    std::vector<uint32_t> instance;
    int searchType;
};

class MalformedInstanceTest : public ModuleTest, public ::testing::WithParamInterface<Malformed> {};

TEST_P(MalformedInstanceTest, AnswersNothing) {
    start();
    VarBind* vb = call(GetParam().object, GetParam().instance, GetParam().searchType);
    EXPECT_EQ(nullptr, vb);
    FreeVarBind(vb);
}

INSTANTIATE_TEST_SUITE_P(
    Instances, MalformedInstanceTest,
    ::testing::Values(
        // Scalars: only .0 for GET; GET-NEXT only from the bare object.
        Malformed{"1.0.8802.1.1.2.1.3.3", {1}, EXACT},
        Malformed{"1.0.8802.1.1.2.1.3.3", {}, EXACT},
        Malformed{"1.0.8802.1.1.2.1.3.3", {0, 0}, EXACT},
        Malformed{"1.0.8802.1.1.2.1.3.3", {0}, NEXT},
        Malformed{"1.0.8802.1.1.2.1.3.3", {}, 99},
        // One-index table: exactly one sub-identifier for GET.
        Malformed{"1.0.8802.1.1.2.1.3.7.1.3", {1, 2}, EXACT},
        Malformed{"1.0.8802.1.1.2.1.3.7.1.3", {}, EXACT},
        Malformed{"1.0.8802.1.1.2.1.3.7.1.3", {0x80000000u}, EXACT},
        // Past the last possible port: the carry cannot be absorbed.
        Malformed{"1.0.8802.1.1.2.1.3.7.1.3", {0x7FFFFFFFu}, NEXT},
        // Remote entry: three index sub-identifiers.
        Malformed{"1.0.8802.1.1.2.1.4.1.1.9", {0, 1}, EXACT},
        Malformed{"1.0.8802.1.1.2.1.4.1.1.9", {0, 1, 1, 1}, EXACT},
        Malformed{"1.0.8802.1.1.2.1.4.1.1.9", {0xFFFFFFFFu, 0x7FFFFFFFu, 0x7FFFFFFFu}, NEXT},
        // Address index longer than its length says, or shorter.
        Malformed{"1.0.8802.1.1.2.1.3.8.1.5", {1, 4, 10, 0, 0, 1, 7}, EXACT},
        Malformed{"1.0.8802.1.1.2.1.3.8.1.5", {1, 4, 10, 0, 0}, EXACT},
        Malformed{"1.0.8802.1.1.2.1.4.2.1.4", {0, 1, 1, 1, 4, 10, 0, 0, 1, 9}, EXACT},
        Malformed{"1.0.8802.1.1.2.1.4.2.1.4", {0, 1, 1, 1, 4, 10, 0, 300, 1}, EXACT},
        // Unknown TLV: four indices; org-def: eight.
        Malformed{"1.0.8802.1.1.2.1.4.3.1.2", {0, 1, 1}, EXACT},
        Malformed{"1.0.8802.1.1.2.1.4.3.1.2", {0, 1, 1, 9, 9}, EXACT},
        Malformed{"1.0.8802.1.1.2.1.4.4.1.4", {0, 1, 1, 0, 128, 194, 1}, EXACT},
        Malformed{"1.0.8802.1.1.2.1.4.4.1.4", {0, 1, 1, 0, 128, 194, 1, 1, 1}, EXACT},
        Malformed{"1.0.8802.1.1.2.1.4.4.1.4", {0, 1, 1, 0, 256, 194, 1, 1}, EXACT}));

TEST_F(ModuleTest, ConfigurationAndStatisticsGroupsAnswerNothing) {
    start();
    ObjectInfo scalar{};
    scalar.oid = {9, const_cast<uint32_t*>(lldpmib_OidList[0].oid.oid_ptr)};
    uint32_t sids[] = {1, 0, 8802, 1, 1, 2, 1, 1, 1, 0};
    OID incoming = {10, sids};
    for (GetMethod m : {lldpConfiguration_get, lldpStatistics_get, lldpPortConfigEntry_get,
                        lldpStatsTxPortEntry_get, lldpStatsRxPortEntry_get}) {
        for (int st : {EXACT, NEXT}) EXPECT_EQ(nullptr, m(&incoming, &scalar, st, nullptr, 1));
    }
}

// ---- Refusing changes ----

OID oid_of(std::vector<uint32_t>& sids) { return OID{(int32_t)sids.size(), sids.data()}; }

TEST(SetRefusal, ConfigurationScalarsRefuseWithGenErrAndCleanUp) {
    std::vector<uint32_t> base = {1, 0, 8802, 1, 1, 2, 1, 1, 1};
    ObjectInfo obj{};
    obj.oid = oid_of(base);
    std::vector<uint32_t> good = base, bad1 = base, bad2 = base;
    good.push_back(0);
    bad1.push_back(1);
    bad2.insert(bad2.end(), {0, 0});
    OID g = oid_of(good), b1 = oid_of(bad1), b2 = oid_of(bad2);
    doList_t first = {}, second = {};
    EXPECT_EQ(NO_CREATION_ERROR, lldpConfiguration_test(&b1, &obj, nullptr, &first, &first, nullptr));
    EXPECT_EQ(NO_CREATION_ERROR, lldpConfiguration_test(&b2, &obj, nullptr, &first, &first, nullptr));
    EXPECT_EQ(GEN_ERROR, lldpConfiguration_test(&g, &obj, nullptr, &first, &first, nullptr));
    EXPECT_EQ(1, first.state);
    EXPECT_NE(nullptr, first.data);
    first.next = &second;
    EXPECT_EQ(GEN_ERROR, lldpConfiguration_test(&g, &obj, nullptr, &first, &second, nullptr));
    EXPECT_EQ(nullptr, second.data);  // refused before allocating
    EXPECT_EQ(GEN_ERROR, first.set_routine(&first, &first, nullptr));
    EXPECT_EQ(0, first.cleanup_routine(&first));
    EXPECT_EQ(0, k_lldpConfiguration_ready(nullptr, nullptr, &first, &second));
    EXPECT_EQ(3, second.state);
}

TEST(SetRefusal, PortConfigurationRefusesWithNoAccessOrGenErrForTheSamePort) {
    std::vector<uint32_t> base = {1, 0, 8802, 1, 1, 2, 1, 1, 6, 1, 2};
    ObjectInfo obj{};
    obj.oid = oid_of(base);
    std::vector<uint32_t> port4 = base;
    port4.push_back(4);
    OID p4 = oid_of(port4);
    doList_t head = {}, cur = {};
    EXPECT_EQ(NO_ACCESS_ERROR, lldpPortConfigEntry_test(&p4, &obj, nullptr, nullptr, &cur, nullptr));
    EXPECT_EQ(1, cur.state);
    EXPECT_EQ(nullptr, cur.data);
    EXPECT_EQ(0, k_lldpPortConfigEntry_set_defaults(&head));
    lldpPortConfigEntry_t* row = (lldpPortConfigEntry_t*)head.data;
    EXPECT_EQ(3, row->lldpPortConfigAdminStatus);
    EXPECT_EQ(2, row->lldpPortConfigNotificationEnable);
    head.set_routine = lldpPortConfigEntry_set;
    row->lldpPortConfigPortNum = 5;
    EXPECT_EQ(NO_ACCESS_ERROR, lldpPortConfigEntry_test(&p4, &obj, nullptr, &head, &cur, nullptr));
    row->lldpPortConfigPortNum = 4;
    EXPECT_EQ(GEN_ERROR, lldpPortConfigEntry_test(&p4, &obj, nullptr, &head, &cur, nullptr));
    lldpPortConfigEntry_t* copy = Clone_lldpPortConfigEntry(row);
    ASSERT_NE(nullptr, copy);
    lldpPortConfigEntry_free(copy);
    EXPECT_EQ(0, row->lldpPortConfigTLVsTxEnable->length);  // the source keeps its string
    EXPECT_EQ(0, lldpPortConfigEntry_cleanup(&head));
    EXPECT_EQ(nullptr, Clone_lldpPortConfigEntry(nullptr));
    EXPECT_EQ(NOT_WRITABLE_ERROR, lldpLocManAddrEntry_test(&p4, &obj, nullptr, nullptr, &cur, nullptr));
    EXPECT_EQ(13, lldp_dummy_error_status(13));
}

}  // namespace
