// Model-based tests: for a topology that does not change, every GET and
// GET-NEXT through the method routines answers what the sorted table of all
// served bindings (the reference model, read from the topology text) answers,
// whatever came before, from several managers interleaved, with the clock
// moving less and more than a snapshot's second between requests; and the
// module never holds more record copies than the topology has records.
//
// LLDPMIB_MODEL_SEQUENCES (default 3000) and LLDPMIB_MODEL_SEED (default
// 1100) set how many random sequences run and the first one's seed; sequence
// i uses seed + i for its topology (model_cases.py) and its requests, so a
// failure reported for seed S reruns alone with LLDPMIB_MODEL_SEED=S
// LLDPMIB_MODEL_SEQUENCES=1.
#include <gtest/gtest.h>

#include "kel_dt.h"
#include "lldp_client.h"
#include "lldpmib.h"
#include "mib_walker.h"
#include "model_driver.h"
#include "module_fixture.h"
#include "platform_fault.h"
#include "platform_sys.h"
#include "reference.h"

namespace lldpmib_test {
namespace {

uint64_t env_number(const char* name, uint64_t dflt) {
    const char* v = getenv(name);
    return v && *v ? std::strtoull(v, nullptr, 0) : dflt;
}


class ModelBasedTest : public ::testing::Test {
protected:
    void SetUp() override {
        kel_dt_configure("");
        platform_fault_reset();
    }
    void TearDown() override { platform_fault_reset(); }
};

TEST_F(ModelBasedTest, RandomSequencesAnswerAsTheReference) {
    const uint64_t count = env_number("LLDPMIB_MODEL_SEQUENCES", 3000);
    const uint64_t base = env_number("LLDPMIB_MODEL_SEED", 1100);
    const std::vector<RefTopology> topologies = reference_cases(base, count);
    ASSERT_EQ(count, topologies.size());
    size_t failures = 0, requests = 0;
    std::string reports;
    for (uint64_t i = 0; i < count; ++i) {
        const uint64_t seed = base + i;
        const RefTopology& ref = topologies[i];
        std::mt19937_64 rng(seed);
        ModelCase c{random_requests(ref, rng)};
        requests += c.requests.size();
        ModelOutcome o = run_case(c, ref);
        if (o.ok) continue;
        if (++failures <= 3)
            reports += failure_report("sequence seed " + std::to_string(seed) + " (rerun: LLDPMIB_MODEL_SEED=" +
                                          std::to_string(seed) + " LLDPMIB_MODEL_SEQUENCES=1)",
                                      c, ref) +
                       "  first run: " + o.message + "\n";
    }
    EXPECT_EQ(0u, failures) << failures << " of " << count << " sequences (" << requests
                            << " requests) failed; the first ones, shrunk:\n" << reports;
}

// 1,000 walks of each table in one process, the clock moving between them by
// nothing or a second: no table keeps more copies than its records.
TEST_F(ModelBasedTest, ThousandWalksPerTableKeepCopiesWithinTheRecords) {
    const std::string json = read_example("default.json");
    const RefTopology& ref = reference_of(json);
    platform_set_identity(ref.router_type, ref.node_id);
    char err[256] = "";
    ASSERT_EQ(0, lldp_client_use_topology_text(json.c_str(), "default.json", err, sizeof err)) << err;
    init_lldpmib(nullptr, 1);
    struct table {
        RefOid entry;
        const char* copy;
        const char* free_op;
        size_t records;
    };
    const std::vector<table> tables{
        {ref_oids::loc_port_entry(), "lldp_client_copy_interface_td", "lldp_client_free_interface_td", ref.ports},
        {ref_oids::loc_man_addr_entry(), "lldp_client_copy_local_ma_td", "lldp_client_free_local_ma_td",
         ref.local_records},
        {ref_oids::rem_entry(), "lldp_client_copy_neighbor_td", "lldp_client_free_neighbor_td", ref.neighbors},
        {ref_oids::rem_man_addr_entry(), "lldp_client_copy_neighbor_td", "lldp_client_free_neighbor_td", ref.neighbors},
        {ref_oids::rem_unknown_tlv_entry(), "lldp_client_copy_neighbor_td", "lldp_client_free_neighbor_td",
         ref.neighbors},
        {ref_oids::rem_org_def_entry(), "lldp_client_copy_neighbor_td", "lldp_client_free_neighbor_td", ref.neighbors},
    };
    auto live = [](const table& t) {
        return static_cast<int64_t>(platform_fault_calls(t.copy)) - static_cast<int64_t>(platform_fault_calls(t.free_op));
    };
    time_t now = 2100000000;
    for (const table& t : tables) {
        std::vector<std::string> want;
        for (auto it = ref.mib.lower_bound(t.entry); it != ref.mib.end() && mib_router::is_prefix(t.entry, it->first); ++it)
            want.push_back(ref_line(*it));
        const int64_t before = live(t);
        int64_t most = 0;
        for (int w = 0; w < 1000; ++w) {
            now += w % 3 == 0 ? 1 : 0;
            platform_set_fake_time(now);
            std::vector<std::string> got;
            lldpmib_router().walk(t.entry, [&](const mib_router::Binding& b) {
                got.push_back(mib_router::format(b));
                return true;
            });
            if (w == 0 || w == 999) {
                EXPECT_EQ(want, got) << "walk " << w << " of " << mib_router::to_text(t.entry);
            }
            most = std::max(most, live(t) - before);
        }
        EXPECT_LE(most, static_cast<int64_t>(t.records))
            << mib_router::to_text(t.entry) << ": copies kept after 1,000 walks";
    }
    const table& neighbours = tables[2];
    EXPECT_LE(live(neighbours), static_cast<int64_t>(4 * ref.neighbors));
    init_lldpmib(nullptr, 0);
}

}  // namespace
}  // namespace lldpmib_test
