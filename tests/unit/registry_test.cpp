// The registry data of the module and of the extension library, the
// extension's settings, the debug flags and the method-routine frame.
#include <gmock/gmock.h>

#include <dlfcn.h>

#include <algorithm>
#include <fstream>
#include <map>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "lldpmib_ext.h"
#include "module_fixture.h"

using lldpmib_test::ModuleTest;
using lldpmib_test::lldp;

namespace {

// The shipped libraries, each loaded on its own: the names the agent finds in them.
void* module_library() {
    static void* so = dlopen(LLDPMIB_LIBRARY, RTLD_NOW | RTLD_LOCAL);
    return so;
}
void* ext_library() {
    static void* so = dlopen(LLDPMIB_EXT_LIBRARY, RTLD_NOW | RTLD_LOCAL);
    return so;
}
template <typename T = void>
T* symbol(const std::string& name, void* so = module_library()) {
    return static_cast<T*>(dlsym(so, name.c_str()));
}

// They export what the agent and the tools reach by name, and hide the
// internals: reference/exports.txt.
TEST(Registry, LibrariesExportWhatTheAgentReachesByName) {
    ASSERT_NE(nullptr, module_library()) << dlerror();
    ASSERT_NE(nullptr, ext_library()) << dlerror();
    size_t names = 0;
    for (const std::string& line : lldpmib_test::read_reference_lines("exports.txt")) {
        std::stringstream f(line);
        std::string where, name;
        if (!(f >> where >> name) || where[0] == '#') continue;
        ++names;
        if (where == "hidden")
            for (void* so : {module_library(), ext_library()}) EXPECT_EQ(nullptr, symbol(name, so)) << "exported: " << name;
        else
            EXPECT_NE(nullptr, symbol(name, where == "module" ? module_library() : ext_library())) << where << ": " << name;
    }
    EXPECT_GT(names, 40u);
}

struct Object {
    std::string kind, name, type;
};

// reference/mib_objects.txt, by dotted identifier.
const std::map<std::string, Object>& reference_list() {
    static const std::map<std::string, Object> by_dotted = [] {
        std::map<std::string, Object> out;
        std::ifstream in(LLDPMIB_REFERENCE_DIR "/mib_objects.txt");
        for (std::string line; std::getline(in, line);) {
            if (line.empty() || line[0] == '#') continue;
            std::stringstream f(line);
            Object o;
            std::string d;
            f >> o.kind >> o.name >> d >> o.type;
            out[d] = o;
        }
        return out;
    }();
    return by_dotted;
}

// The object list a library exports as PREFIX_OidList: the reference list's
// objects of `kind`, ascending, each of its value type, read-only through
// readOnly_test, with its column less one as nominator.  Each comes with the
// name of its parent node.
std::vector<std::pair<const ObjectInfo*, std::string>> object_list(void* so, const std::string& prefix,
                                                                   const std::set<std::string>& kinds) {
    std::vector<std::pair<const ObjectInfo*, std::string>> out;
    const auto* list = symbol<const ObjectInfo>(prefix + "_OidList", so);
    const auto* count = symbol<const int32_t>(prefix + "_OidListNum", so);
    EXPECT_TRUE(list && count) << prefix << ": object list not exported";
    if (!list || !count) return out;
    const auto& ref = reference_list();
    EXPECT_EQ(std::count_if(ref.begin(), ref.end(), [&](const auto& r) { return kinds.count(r.second.kind); }), *count);
    static const std::map<int, std::string> kTypes = {
        {INTEGER_TYPE, "INTEGER"}, {OCTET_PRIM_TYPE, "OCTETS"},   {OBJECT_ID_TYPE, "OID"},
        {COUNTER_TYPE, "COUNTER32"}, {GAUGE_TYPE, "GAUGE32"}, {TIME_TICKS_TYPE, "TIMETICKS"}};
    for (int i = 0; i < *count; i++) {
        const ObjectInfo& o = list[i];
        const std::string d = mib_router::to_text(mib_router::Oid(o.oid.oid_ptr, o.oid.oid_ptr + o.oid.length));
        SCOPED_TRACE(prefix + " " + d);
        const auto it = ref.find(d);
        if (it == ref.end() || !kinds.count(it->second.kind)) {
            ADD_FAILURE() << "not " << *kinds.begin() << " in the reference list";
            continue;
        }
        EXPECT_EQ(it->second.type, kTypes.count(o.value_type) ? kTypes.at(o.value_type) : "?");
        EXPECT_EQ(o.oid.oid_ptr[o.oid.length - 1] - 1, o.nominator);
        EXPECT_EQ(READ_ONLY_ACCESS, o.access);
        EXPECT_EQ(symbol("readOnly_test", so), reinterpret_cast<void*>(o.test));
        if (i > 0) { EXPECT_LT(CmpOID(&list[i - 1].oid, &o.oid), 0); }
        out.push_back({&o, ref.at(d.substr(0, d.rfind('.'))).name});
    }
    return out;
}

// The module's name table and object list agree with the reference list and
// with the identifier arrays (whose numbers tests/e2e/test_mib.py checks
// against the MIB file).
TEST(Registry, IdentifiersNameTableAndObjectListMatchTheReferenceList) {
    ASSERT_NE(nullptr, module_library()) << dlerror();
    const size_t nodes = std::count_if(reference_list().begin(), reference_list().end(),
                                       [](const auto& r) { return r.second.kind == "node"; });
    ASSERT_GT(nodes, 20u);

    const auto* table = symbol<const snmp_oid_name>("lldpmib_oid_table");
    ASSERT_NE(nullptr, table) << "name table not exported";
    size_t n = 0;
    for (; table[n].name != nullptr; n++) {
        const auto it = reference_list().find(table[n].dotted);
        ASSERT_NE(it, reference_list().end()) << table[n].name;
        EXPECT_EQ("node", it->second.kind) << table[n].name;
        EXPECT_EQ(it->second.name, table[n].name);
    }
    EXPECT_EQ(nodes, n) << "nodes missing from the name table";

    for (const auto& [o, parent] : object_list(module_library(), "lldpmib", {"served"})) {
        const std::string d = mib_router::to_text(mib_router::Oid(o->oid.oid_ptr, o->oid.oid_ptr + o->oid.length));
        EXPECT_EQ(symbol("ID" + reference_list().at(d).name), o->oid.oid_ptr) << d;
        // The routine of an entry or group is named after it.
        EXPECT_EQ(symbol(parent + "_get"), reinterpret_cast<void*>(o->get)) << d << " in " << parent;
    }
}

// The extension library lists the extension objects, one routine per group or entry.
TEST(Registry, ExtensionObjectListMatchesTheReferenceList) {
    ASSERT_NE(nullptr, ext_library()) << dlerror();
    std::map<std::string, GetMethod> routine_of;  // parent -> its one method routine
    for (const auto& [o, parent] : object_list(ext_library(), "lldpmib_ext", {"extension", "library"}))
        EXPECT_TRUE(routine_of.emplace(parent, o->get).first->second == o->get) << "two routines in " << parent;
    EXPECT_EQ(6u + 21u + 14u, routine_of.size());
}

// The settings reach what is served (their defaults are the model-based
// test's); the interval keeps to its range.
TEST(ExtensionSettings, NotificationIntervalAndNotifyAllPorts) {
    lldpmib_test::ServedModule served(R"({"local": {"chassis_id": "r1"}, "ports": [{"port_num": 2, "port_id": "b"}]})");
    for (int32_t bad : {4, 3601, -1}) EXPECT_NE(0, lldpmib_ext_set_notification_interval(bad)) << bad;
    EXPECT_EQ(0, lldpmib_ext_set_notification_interval(3600));
    lldpmib_ext_set_notify_all_ports(1);
    mib_router::Binding interval, port2;
    lldpmib_test::lldpmib_router().get(lldp("1.1.5.0"), &interval);
    lldpmib_test::lldpmib_router().get(lldp("1.1.6.1.3.2"), &port2);
    lldpmib_ext_set_notify_all_ports(0);
    EXPECT_EQ(0, lldpmib_ext_set_notification_interval(30));
    EXPECT_EQ(mib_router::format(interval), mib_router::to_text(lldp("1.1.5.0")) + " INTEGER 3600");
    EXPECT_EQ(mib_router::format(port2), mib_router::to_text(lldp("1.1.6.1.3.2")) + " INTEGER 1");
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
