// Every example topology against its reviewed reference files in reference/:
// NAME.walk.txt holds every binding of a full walk (written from the
// reference, tests/model/reference.py, and checked here against it too);
// NAME.trace.txt holds requests ("> GET oid", "> NEXT oid"), each followed by
// the trace lines it writes with every flag on
// (a newline inside a line written as \n) and its answer ("= binding" or
// "= none").  Each request starts from drained snapshots, except one written
// ">> GET oid" or ">> NEXT oid", which keeps the snapshots of the request
// before, in the same second (">>> ": a second later).  A request may end in
// failures, each " ! OPERATION N STATUS": the Nth call of the operation from
// the request's start fails with STATUS (the request must reach it).
// "STOP" is the module's stop as the agent makes it, with no answer; nothing
// the client copied is held after it, and the module is started again.
// Lines starting with "#" are comments.  Left out: the "updated
// max_if_index" line, which depends on every port the process saw.
#include <gtest/gtest.h>

#include <algorithm>
#include <sstream>

#include "module_fixture.h"

namespace lldpmib_test {
namespace {

std::string escaped(const std::string& s) {
    std::string out;
    for (char c : s) out += c == '\n' ? "\\n" : c == '\\' ? "\\\\" : std::string(1, c);
    return out;
}

class ReferenceWalk : public ::testing::TestWithParam<const char*> {
protected:
    std::vector<std::string> file(const char* suffix) const { return read_reference_lines(GetParam() + std::string(suffix)); }
};

// An "ENKT_ACTIVE" platform mirrors only capabilities 0-7, the only ones the
// examples' local system has: its walk reads the same.
TEST_P(ReferenceWalk, BindingsEqualTheReferenceFileWithAndWithoutEnkt) {
    const std::vector<std::string> want = file(".walk.txt");
    const std::string json = read_example(std::string(GetParam()) + ".json");
    EXPECT_EQ(want, reference_lines(reference_of(json).mib)) << "the file is not the reference's walk";
    ServedModule served(json);  // clears ENKT_ACTIVE
    EXPECT_EQ(want, walk_lines());
    setenv("ENKT_ACTIVE", "1", 1);
    drain_snapshots();
    EXPECT_EQ(want, walk_lines()) << "with ENKT_ACTIVE";
    unsetenv("ENKT_ACTIVE");
}

// LLDP-V2-MIB's remote table is lldpRemTable as served: the same neighbours
// and values, destination address 1 after the local port, each column one
// further on.
TEST_P(ReferenceWalk, V2RemoteTableIsLldpRemTable) {
    const mib_router::Oid rem = lldp("1.4.1.1"), v2_rem = *mib_router::parse_oid("1.3.111.2.802.1.1.13.1.4.1.1");
    ServedModule served(read_example(std::string(GetParam()) + ".json"));
    std::vector<mib_router::Binding> from_2005, from_v2;
    walk_visit([&](const mib_router::Binding& b) {
        if (mib_router::is_prefix(rem, b.name)) {
            mib_router::Binding v = b;  // column, time mark, port, remote index
            v.name = v2_rem;
            v.name.insert(v.name.end(), {b.name[rem.size()] + 1, b.name[rem.size() + 1], b.name[rem.size() + 2], 1,
                                         b.name[rem.size() + 3]});
            from_2005.push_back(v);
        } else if (mib_router::is_prefix(v2_rem, b.name) && b.name[v2_rem.size()] <= 13) {
            from_v2.push_back(b);
        }
        return true;
    });
    std::vector<std::string> want, got;
    for (const auto& b : from_2005) want.push_back(mib_router::format(b));
    for (const auto& b : from_v2) got.push_back(mib_router::format(b));
    std::sort(want.begin(), want.end());
    std::sort(got.begin(), got.end());
    EXPECT_EQ(want, got);
}

class ReferenceTrace : public ReferenceWalk {};

TEST_P(ReferenceTrace, TraceOfEachRequestEqualsTheReferenceFile) {
    const std::vector<std::string> file_lines = file(".trace.txt");
    ASSERT_FALSE(file_lines.empty());
    ServedModule served(read_example(std::string(GetParam()) + ".json"));
    // The local system row keeps the last answer's values: fill it first, so
    // that each request finds values to clean up.
    lldpmib_shim_local_system_data_get(0, nullptr, 0);
    std::vector<std::string> got;
    for (const std::string& l : file_lines) {
        if (l.rfind('#', 0) == 0) got.push_back(l);
        const size_t marks = l.find_first_not_of('>');
        if (marks == 0 || marks > 3 || l.compare(marks, 1, " ") != 0) continue;
        got.push_back(l);
        std::string request = l.substr(marks + 1);
        struct Failure {
            std::string op;
            uint64_t nth = 0;
            int status = 0;
        };
        std::vector<Failure> failures;
        for (size_t at; (at = request.rfind(" ! ")) != std::string::npos; request.erase(at)) {
            Failure f;
            std::stringstream(request.substr(at + 3)) >> f.op >> f.nth >> f.status;
            ASSERT_TRUE(f.nth > 0 && f.status != 0) << l;
            failures.push_back(f);
        }
        const bool stop = request == "STOP";
        const bool next = request.rfind("NEXT ", 0) == 0;
        auto name = mib_router::parse_oid(request.substr(next ? 5 : 4));
        ASSERT_TRUE(stop || name) << l;
        if (marks == 1) drain_snapshots();
        if (marks == 3) advance_clock(1);
        platform_fault_reset();
        for (const Failure& f : failures) platform_fault_fail_nth(f.op.c_str(), f.nth, f.status);
        kel_dt_configure("all");
        kel_dt::capture_start();
        mib_router::Router router(lldpmib_OidList, lldpmib_OidListNum);  // serial numbers from 1
        mib_router::Binding b;
        bool found = false;
        if (stop)
            init_lldpmib(nullptr, 0);
        else
            found = next ? router.next(*name, &b) : router.get(*name, &b) == mib_router::GetResult::Found;
        for (const std::string& t : kel_dt::capture_stop())
            if (t.find("updated max_if_index") == std::string::npos) got.push_back(escaped(t));
        kel_dt_configure("");
        for (const Failure& f : failures)
            EXPECT_GE(platform_fault_calls(f.op.c_str()), f.nth) << "never failed: " << l;
        platform_fault_reset();
        if (stop) {
            EXPECT_EQ(0u, lldp_client_live_copies()) << "copies held after " << l;
            init_lldpmib(nullptr, 1);
            continue;
        }
        got.push_back(found ? "= " + mib_router::format(b) : "= none");
    }
    EXPECT_EQ(file_lines, got);
}

std::string test_name(const ::testing::TestParamInfo<const char*>& info) {
    std::string n = info.param;
    std::erase(n, '-');
    return n;
}
INSTANTIATE_TEST_SUITE_P(Examples, ReferenceWalk,
                         ::testing::Values("default", "neighbours", "tlvs", "decreasing-timemarks", "lldp-disabled"),
                         test_name);
INSTANTIATE_TEST_SUITE_P(Examples, ReferenceTrace, ::testing::Values("default", "lldp-disabled"), test_name);

}  // namespace
}  // namespace lldpmib_test
