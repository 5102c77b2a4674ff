// The registry data, the debug flags and the method-routine frame.
#include <gmock/gmock.h>

#include <dlfcn.h>

#include <fstream>
#include <map>
#include <sstream>
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

// The method routine of the objects under each entry or group.
const std::map<std::string, GetMethod> kRoutines = {
    {"lldpLocalSystemData", lldpLocalSystemData_get},       {"lldpLocPortEntry", lldpLocPortEntry_get},
    {"lldpLocManAddrEntry", lldpLocManAddrEntry_get},       {"lldpRemEntry", lldpRemEntry_get},
    {"lldpRemManAddrEntry", lldpRemManAddrEntry_get},       {"lldpRemUnknownTLVEntry", lldpRemUnknownTLVEntry_get},
    {"lldpRemOrgDefInfoEntry", lldpRemOrgDefInfoEntry_get}};

// The identifier arrays, the name table and the object list agree with the
// reference list (reference/mib_objects.txt) and with each other.
TEST(Registry, IdentifiersNameTableAndObjectListMatchTheReferenceList) {
    struct Object {
        std::string kind, name, type;
    };
    std::map<std::string, Object> by_dotted;
    std::ifstream in(LLDPMIB_REFERENCE_DIR "/mib_objects.txt");
    size_t served = 0, nodes = 0;
    for (std::string line; std::getline(in, line);) {
        if (line.empty() || line[0] == '#') continue;
        std::stringstream f(line);
        Object o;
        std::string d;
        f >> o.kind >> o.name >> d >> o.type;
        by_dotted[d] = o;
        served += o.kind == "served";
        nodes += o.kind == "node";
        if (o.kind == "node") continue;
        // The identifier array the module exports under the object's name.
        const auto* id = static_cast<const uint32_t*>(dlsym(RTLD_DEFAULT, ("ID" + o.name).c_str()));
        ASSERT_NE(nullptr, id) << "ID" << o.name;
        const mib_router::Oid want = *mib_router::parse_oid(d);
        EXPECT_EQ(want, mib_router::Oid(id, id + want.size())) << "ID" << o.name;
    }
    ASSERT_GT(nodes, 20u);

    std::map<std::string, std::string> names;  // dotted -> name, from the name table
    size_t n = 0;
    for (; lldpmib_oid_table[n].name != nullptr; n++) {
        const Object& o = by_dotted[lldpmib_oid_table[n].dotted];
        EXPECT_EQ("node", o.kind) << lldpmib_oid_table[n].name;
        EXPECT_EQ(o.name, lldpmib_oid_table[n].name);
        names[lldpmib_oid_table[n].dotted] = o.name;
    }
    EXPECT_EQ(nodes, n) << "nodes missing from the name table";

    ASSERT_EQ(served, static_cast<size_t>(lldpmib_OidListNum));
    static const std::map<int, std::string> kTypes = {{INTEGER_TYPE, "INTEGER"}, {OCTET_PRIM_TYPE, "OCTETS"},
                                                      {OBJECT_ID_TYPE, "OID"}};
    for (int i = 0; i < lldpmib_OidListNum; i++) {
        const ObjectInfo& o = lldpmib_OidList[i];
        const std::string d = dotted(o.oid);
        const Object& ref = by_dotted[d];
        SCOPED_TRACE(d + " " + ref.name);
        EXPECT_EQ("served", ref.kind);
        EXPECT_EQ(ref.type, kTypes.count(o.value_type) ? kTypes.at(o.value_type) : "?");
        EXPECT_EQ(dlsym(RTLD_DEFAULT, ("ID" + ref.name).c_str()), o.oid.oid_ptr);
        EXPECT_EQ(o.oid.oid_ptr[o.oid.length - 1] - 1, o.nominator);
        const std::string parent = names[d.substr(0, d.rfind('.'))];
        EXPECT_EQ(kRoutines.count(parent) ? kRoutines.at(parent) : nullptr, o.get) << parent;
        EXPECT_EQ(READ_ONLY_ACCESS, o.access);
        EXPECT_EQ(readOnly_test, o.test);
        if (i > 0) {
            EXPECT_LT(CmpOID(&lldpmib_OidList[i - 1].oid, &o.oid), 0);
        }
    }
}

// ---- Debug flags ----

using DebugFlags = ModuleTest;  // registers the flags, captures the trace

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

}  // namespace
