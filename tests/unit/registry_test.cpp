// The registry data, the debug flags and the method-routine frame.
#include <gmock/gmock.h>

#include <dlfcn.h>

#include <fstream>
#include <map>
#include <sstream>
#include <string>
#include <vector>

#include "module_fixture.h"

using lldpmib_test::ModuleTest;

namespace {

// The shipped library, loaded on its own: the names the agent finds in it.
void* library() {
    static void* so = dlopen(LLDPMIB_LIBRARY, RTLD_NOW | RTLD_LOCAL);
    return so;
}
template <typename T = void>
T* symbol(const std::string& name) {
    return static_cast<T*>(dlsym(library(), name.c_str()));
}

// It exports what the agent and the tools reach by name, and hides the
// module's internals.
TEST(Registry, LibraryExportsWhatTheAgentReachesByName) {
    ASSERT_NE(nullptr, library()) << dlerror();
    std::vector<std::string> wanted{"init_lldpmib", "lldpmib_init", "lldpmib_term", "lldpmib_oid_table",
                                    "lldpmib_OidList", "lldpmib_OidListNum",
                                    "lldp_debug_arr_kel", "lldp_debug_init", "lldp_shim_debug_init",
                                    "lldp_get_debug_flag_value", "lldp_trace_debug", "lldp_mib_debug",
                                    "lldpmib_debug_flags", "lldpmib_intf_cache_timer_tree",
                                    "lldpmib_intf_cache_timer_parent", "lldp_dummy_error_status"};
    for (std::string entry : {"LocalSystemData", "LocPortEntry", "LocManAddrEntry", "RemEntry", "RemManAddrEntry",
                              "RemUnknownTLVEntry", "RemOrgDefInfoEntry", "Configuration", "PortConfigEntry",
                              "Statistics", "StatsTxPortEntry", "StatsRxPortEntry"})
        wanted.insert(wanted.end(), {"lldp" + entry + "_get", "k_lldp" + entry + "_get"});
    for (const std::string& name : wanted) EXPECT_NE(nullptr, symbol(name)) << "not exported: " << name;
    for (const char* name : {"lldpmib_lock", "lldpmib_unlock", "lldpmib_remote_shim_run", "lldpmib_snapshot_usable",
                             "lldpmib_compare_addr_entry", "lldpmib_neighbor_list_compare"})
        EXPECT_EQ(nullptr, symbol(name)) << "internal routine exported: " << name;
}

// Its identifier arrays, name table and object list agree with the reference
// list (reference/mib_objects.txt) and with each other.
TEST(Registry, IdentifiersNameTableAndObjectListMatchTheReferenceList) {
    ASSERT_NE(nullptr, library()) << dlerror();
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
        // The identifier array exported under the object's name.
        const auto* id = symbol<const uint32_t>("ID" + o.name);
        ASSERT_NE(nullptr, id) << "ID" << o.name;
        const mib_router::Oid want = *mib_router::parse_oid(d);
        EXPECT_EQ(want, mib_router::Oid(id, id + want.size())) << "ID" << o.name;
    }
    ASSERT_GT(nodes, 20u);

    std::map<std::string, std::string> names;  // dotted -> name, from the name table
    const auto* table = symbol<const snmp_oid_name>("lldpmib_oid_table");
    ASSERT_NE(nullptr, table) << "name table not exported";
    size_t n = 0;
    for (; table[n].name != nullptr; n++) {
        const Object& o = by_dotted[table[n].dotted];
        EXPECT_EQ("node", o.kind) << table[n].name;
        EXPECT_EQ(o.name, table[n].name);
        names[table[n].dotted] = o.name;
    }
    EXPECT_EQ(nodes, n) << "nodes missing from the name table";

    const ObjectInfo* list = symbol<const ObjectInfo>("lldpmib_OidList");
    const int* count_of = symbol<const int>("lldpmib_OidListNum");
    ASSERT_TRUE(list && count_of) << "object list not exported";
    const int count = *count_of;
    ASSERT_EQ(served, static_cast<size_t>(count));
    static const std::map<int, std::string> kTypes = {{INTEGER_TYPE, "INTEGER"}, {OCTET_PRIM_TYPE, "OCTETS"},
                                                      {OBJECT_ID_TYPE, "OID"}};
    for (int i = 0; i < count; i++) {
        const ObjectInfo& o = list[i];
        const std::string d = mib_router::to_text(mib_router::Oid(o.oid.oid_ptr, o.oid.oid_ptr + o.oid.length));
        const Object& ref = by_dotted[d];
        SCOPED_TRACE(d + " " + ref.name);
        EXPECT_EQ("served", ref.kind);
        EXPECT_EQ(ref.type, kTypes.count(o.value_type) ? kTypes.at(o.value_type) : "?");
        EXPECT_EQ(symbol("ID" + ref.name), o.oid.oid_ptr);
        EXPECT_EQ(o.oid.oid_ptr[o.oid.length - 1] - 1, o.nominator);
        // The routine of an entry or group is named after it.
        const std::string parent = names[d.substr(0, d.rfind('.'))];
        EXPECT_EQ(symbol(parent + "_get"), reinterpret_cast<void*>(o.get)) << parent;
        EXPECT_EQ(READ_ONLY_ACCESS, o.access);
        EXPECT_EQ(symbol("readOnly_test"), reinterpret_cast<void*>(o.test));
        if (i > 0) {
            EXPECT_LT(CmpOID(&list[i - 1].oid, &o.oid), 0);
        }
    }
}

// ---- Debug flags ----

using DebugFlags = ModuleTest;  // registers the flags, captures the trace

// The lookup finds the first row whose description holds the text, and
// tells whether its flag is on.
TEST_F(DebugFlags, LookupSearchesDescriptionsOnly) {
    const struct {
        const char* on;  // the only flag switched on
        const char* text;
        bool found;
    } cases[] = {{"lldp/all", "", true},
                 {"lldp/all", "LLDP", true},
                 {"lldp/events", "LLDP", false},  // "LLDP" names the first row
                 {"lldp/events", "Events", true},
                 {"lldp/events", "events", false},  // a keyword, not a description
                 {"lldp/packetdump", "dump", true},
                 {"lldp/packetdump", "Packet", false},  // row 4 comes first
                 {"lldp/packets", "Packet", true},
                 {"snmp/mib/lldpmib/enable", "MIB", true},
                 {"all", "Number of elements", false},  // never registered
                 {"all", "no such flag", false}};
    for (const auto& c : cases) {
        kel_dt_configure(c.on);
        EXPECT_EQ(c.found, lldp_get_debug_flag_value(c.text) != 0) << c.on << ": " << c.text;
    }
}

// A flag that fails to register is printed, and registration goes on.
TEST_F(DebugFlags, RegistrationFailureIsPrintedAndRegistrationGoesOn) {
    const std::pair<uint64_t, const char*> cases[] = {  // which kel_dt_flag_init call fails
        {1, "Failed to initialize LLDP root debug flag\n"},
        {9, "Failed to initialize lldp_trace_debug\n"},
        {11, "Failed to initialize LLDP MIB root debug flag\n"},
        {12, "Failed to initialize lldp_mib_debug\n"}};
    for (const auto& [nth, printed] : cases) {
        kel_dt_handle saved_root = lldp_root;
        lldp_root = nullptr;
        platform_fault_reset();
        platform_fault_fail_nth("kel_dt_flag_init", nth, 1);
        testing::internal::CaptureStdout();
        lldp_debug_init(lldp_debug_arr_kel);
        EXPECT_EQ(printed, testing::internal::GetCapturedStdout());
        EXPECT_EQ(12u, platform_fault_calls("kel_dt_flag_init"));  // row 10 is never registered
        if (lldp_root == nullptr) lldp_root = saved_root;
        lldp_debug_init(lldp_debug_arr_kel);  // back to the normal registration
    }
}

TEST_F(DebugFlags, LinesAreEmittedExactlyWhenTheirFlagIsOn) {
    kel_dt_configure("lldp/verbose");
    take_lines();
    lldpmib_is_orvik_platform();
    lldpmib_lock();
    lldpmib_unlock();
    LLDPMIB_VERBOSE("probe", "value %d", 7);
    LLDPMIB_MIB("probe", "hidden");
    EXPECT_EQ(std::vector<std::string>{"VERBOSE[probe] value 7"}, take_lines());
}

}  // namespace
