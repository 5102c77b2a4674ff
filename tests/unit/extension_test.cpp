// The extension library: what its shared object exports and the object list
// it hands the hosts (against reference/mib_objects.txt), how long a fetched
// snapshot is reused, and its settings.  Its values on random topologies are
// the model-based test's.
#include <gtest/gtest.h>

#include <dlfcn.h>

#include <fstream>
#include <map>
#include <sstream>

#include "lldpmib_ext.h"
#include "module_fixture.h"

namespace lldpmib_test {
namespace {

void* ext_library() {
    static void* so = dlopen(LLDPMIB_EXT_LIBRARY, RTLD_NOW | RTLD_LOCAL);
    return so;
}
void* ext_symbol(const char* name) { return dlsym(ext_library(), name); }

TEST(ExtensionRegistry, ExportsTheHostsNamesOnlyAndListsTheExtensionObjects) {
    ASSERT_NE(nullptr, ext_library()) << dlerror();
    for (const char* name : {"init_lldpmib_ext", "lldpmib_ext_OidList", "lldpmib_ext_OidListNum",
                             "lldpmib_ext_set_notification_interval", "lldpmib_ext_set_notify_all_ports",
                             "lldpmib_ext_notification_due"})
        EXPECT_NE(nullptr, ext_symbol(name)) << "not exported: " << name;
    // The shared rule and frame stay inside each library.
    for (const char* name : {"lldpmib_lldp_state_of", "lldpmib_ext_data_lock", "lldpExtConfiguration_get"})
        EXPECT_EQ(nullptr, ext_symbol(name)) << "internal routine exported: " << name;

    std::map<std::string, std::pair<std::string, std::string>> want;  // dotted -> name, type
    std::map<std::string, std::string> parents;                       // dotted -> node name
    std::ifstream in(LLDPMIB_REFERENCE_DIR "/mib_objects.txt");
    for (std::string line; std::getline(in, line);) {
        std::stringstream f(line);
        std::string kind, name, dotted, type;
        f >> kind >> name >> dotted >> type;
        if (kind == "extension") want[dotted] = {name, type};
        if (kind == "node") parents[dotted] = name;
    }
    ASSERT_EQ(21u, want.size());
    const auto* list = static_cast<const ObjectInfo*>(ext_symbol("lldpmib_ext_OidList"));
    const auto* count = static_cast<const int32_t*>(ext_symbol("lldpmib_ext_OidListNum"));
    ASSERT_TRUE(list && count);
    ASSERT_EQ(want.size(), static_cast<size_t>(*count));
    static const std::map<int, std::string> kTypes = {{INTEGER_TYPE, "INTEGER"}, {OCTET_PRIM_TYPE, "OCTETS"},
                                                      {COUNTER_TYPE, "COUNTER32"}, {GAUGE_TYPE, "GAUGE32"},
                                                      {TIME_TICKS_TYPE, "TIMETICKS"}};
    std::map<std::string, GetMethod> routine_of;  // parent -> its one method routine
    for (int i = 0; i < *count; i++) {
        const ObjectInfo& o = list[i];
        const std::string d = mib_router::to_text(mib_router::Oid(o.oid.oid_ptr, o.oid.oid_ptr + o.oid.length));
        SCOPED_TRACE(d);
        ASSERT_TRUE(want.count(d));
        EXPECT_EQ(want[d].second, kTypes.count(o.value_type) ? kTypes.at(o.value_type) : "?") << want[d].first;
        EXPECT_EQ(o.oid.oid_ptr[o.oid.length - 1] - 1, o.nominator);
        EXPECT_EQ(READ_ONLY_ACCESS, o.access);
        EXPECT_EQ(dlsym(ext_library(), "readOnly_test"), reinterpret_cast<void*>(o.test));
        const std::string parent = parents.at(d.substr(0, d.rfind('.')));
        EXPECT_TRUE(routine_of.emplace(parent, o.get).first->second == o.get) << "two routines in " << parent;
        if (i > 0) {
            EXPECT_LT(CmpOID(&list[i - 1].oid, &o.oid), 0);
        }
    }
    EXPECT_EQ(6u, routine_of.size());
}

const mib_router::Oid kNotifyPort1 = lldp("1.1.6.1.3.1"), kNotifyPort2 = lldp("1.1.6.1.3.2"),
                      kInterval = lldp("1.1.5.0");

std::string get(const mib_router::Oid& name) {
    mib_router::Binding b;
    return lldpmib_router().get(name, &b) == mib_router::GetResult::Found ? mib_router::format(b) : "none";
}

TEST(ExtensionSettings, NotificationIntervalAndNotifyAllPorts) {
    ServedModule served(R"({"local": {"chassis_id": "r1"}, "ports": [
                              {"port_num": 1, "port_id": "a", "notification_enable": true},
                              {"port_num": 2, "port_id": "b"}]})");
    EXPECT_EQ(mib_router::to_text(kInterval) + " INTEGER 30", get(kInterval)) << "default";
    for (int32_t bad : {4, 3601, -1}) EXPECT_NE(0, lldpmib_ext_set_notification_interval(bad)) << bad;
    EXPECT_EQ(0, lldpmib_ext_set_notification_interval(3600));
    EXPECT_EQ(mib_router::to_text(kInterval) + " INTEGER 3600", get(kInterval));
    EXPECT_EQ(mib_router::to_text(kNotifyPort2) + " INTEGER 2", get(kNotifyPort2));
    lldpmib_ext_set_notify_all_ports(1);
    EXPECT_EQ(mib_router::to_text(kNotifyPort1) + " INTEGER 1", get(kNotifyPort1));
    EXPECT_EQ(mib_router::to_text(kNotifyPort2) + " INTEGER 1", get(kNotifyPort2));
    lldpmib_ext_set_notify_all_ports(0);
    EXPECT_EQ(0, lldpmib_ext_set_notification_interval(30));
    EXPECT_EQ(mib_router::to_text(kNotifyPort2) + " INTEGER 2", get(kNotifyPort2));
}

}  // namespace
}  // namespace lldpmib_test
