// The router over the real module and each example topology: what the agent
// and the walker rely on.  Walks strictly increase and end, every walked
// binding reads back the same with GET and follows its predecessor with
// GET-NEXT, and nothing outside the served objects appears.
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <string>
#include <vector>

#include "lldpmib.h"
#include "mib_router.h"

using mib_router::Binding;
using mib_router::GetResult;
using mib_router::Oid;

namespace {

const Oid kLldpMib = {1, 0, 8802, 1, 1, 2};

std::vector<std::string> example_files() {
    std::vector<std::string> files;
    for (const auto& e : std::filesystem::directory_iterator(LLDPMIB_EXAMPLES_DIR))
        if (e.path().extension() == ".json") files.push_back(e.path().string());
    std::sort(files.begin(), files.end());
    return files;
}

class ModuleRoutingTest : public ::testing::TestWithParam<std::string> {
protected:
    void SetUp() override {
        // Snapshots outlive a stop; a clock far from the last test's makes them
        // stale, so each topology is read afresh.
        static time_t clock = 1000000;
        clock += 100;
        platform_set_fake_time(clock);
        char err[512] = "";
        ASSERT_EQ(lldp_client_use_topology_file(GetParam().c_str(), err, sizeof err), 0) << err;
        init_lldpmib(nullptr, 1);
    }
    void TearDown() override {
        init_lldpmib(nullptr, 0);
        platform_set_fake_time(0);
    }

    mib_router::Router router{lldpmib_OidList, lldpmib_OidListNum};

    std::vector<Binding> walk_all() {
        std::vector<Binding> out;
        router.walk(kLldpMib, [&](const Binding& b) {
            out.push_back(b);
            return out.size() < 100000;  // a runaway walk fails below instead of hanging
        });
        return out;
    }
};

TEST_P(ModuleRoutingTest, WalkIncreasesAndStaysInServedObjects) {
    std::vector<Binding> all = walk_all();
    ASSERT_LT(all.size(), 100000u);
    std::vector<Oid> objects = router.object_oids();
    for (size_t i = 0; i < all.size(); ++i) {
        if (i > 0) {
            EXPECT_LT(mib_router::compare(all[i - 1].name, all[i].name), 0) << i;
        }
        bool inside = false;
        for (const Oid& o : objects)
            if (mib_router::is_prefix(o, all[i].name) && all[i].name.size() > o.size()) inside = true;
        EXPECT_TRUE(inside) << mib_router::format(all[i]);
    }
}

// GETs take rows out of the module's snapshots, so they are not mixed into
// the walk: a pass of walks, then a pass of GETs.
TEST_P(ModuleRoutingTest, EveryWalkedBindingReadsBackWithGet) {
    std::vector<Binding> all = walk_all();
    for (const Binding& b : all) {
        Binding got;
        ASSERT_EQ(router.get(b.name, &got), GetResult::Found) << mib_router::format(b);
        EXPECT_EQ(mib_router::format(got), mib_router::format(b));
    }
}

TEST_P(ModuleRoutingTest, WalksRepeatAndEndOutsideLldpMib) {
    std::vector<Binding> first = walk_all();
    std::vector<Binding> second = walk_all();
    EXPECT_EQ(first, second);
    Binding after;
    if (!first.empty() && router.next(first.back().name, &after)) {
        EXPECT_FALSE(mib_router::is_prefix(kLldpMib, after.name)) << mib_router::format(after);
    }
}

TEST_P(ModuleRoutingTest, ConfigurationAndStatisticsAreNotServed) {
    Binding b;
    for (const Oid& o : {Oid{1, 0, 8802, 1, 1, 2, 1, 1, 1, 0}, Oid{1, 0, 8802, 1, 1, 2, 1, 2, 1, 0},
                         Oid{1, 0, 8802, 1, 1, 2, 1, 1, 6, 1, 2, 1}})
        EXPECT_EQ(router.get(o, &b), GetResult::NoSuchObject) << mib_router::to_text(o);
    size_t n = router.walk({1, 0, 8802, 1, 1, 2, 1, 1}, [](const Binding&) { return true; }) +
               router.walk({1, 0, 8802, 1, 1, 2, 1, 2}, [](const Binding&) { return true; });
    EXPECT_EQ(n, 0u);
}

INSTANTIATE_TEST_SUITE_P(Examples, ModuleRoutingTest, ::testing::ValuesIn(example_files()),
                         [](const auto& info) {
                             std::string n = std::filesystem::path(info.param).stem().string();
                             for (char& c : n)
                                 if (!isalnum(static_cast<unsigned char>(c))) c = '_';
                             return n;
                         });

}  // namespace
