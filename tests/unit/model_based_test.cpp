// Model-based tests: for a topology that does not change, every GET and
// GET-NEXT through the method routines answers what the sorted table of all
// served bindings (the reference, computed from the topology text) answers,
// whatever came before, from several managers interleaved, with the clock
// moving less and more than a snapshot's second between requests; and the
// module never holds more record copies than the topology has records.  For
// data that changes between requests, every answer is the reference's for
// data served within the second of the request, however fast the requests
// come.
//
// LLDPMIB_MODEL_SEQUENCES (default 3000) and LLDPMIB_MODEL_SEED (default
// 1100) set how many random sequences run and the first one's seed; sequence
// i uses seed + i for its topology (tests/model/cases.py) and its requests, so a
// failure reported for seed S reruns alone with LLDPMIB_MODEL_SEED=S
// LLDPMIB_MODEL_SEQUENCES=1.
#include <gtest/gtest.h>

#include "module_fixture.h"

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

// Runs a random sequence on each topology; seed base + i for topology i.
void expect_sequences_answer_as_the_reference(const std::vector<RefTopology>& topologies, uint64_t base) {
    const size_t count = topologies.size();
    size_t failures = 0, requests = 0;
    std::string reports;
    for (uint64_t i = 0; i < count; ++i) {
        const uint64_t seed = base + i;
        const RefTopology& ref = topologies[i];
        std::mt19937_64 rng(seed);
        ModelCase c = random_requests(ref, rng);
        requests += c.size();
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

TEST_F(ModelBasedTest, RandomSequencesAnswerAsTheReference) {
    const uint64_t count = env_number("LLDPMIB_MODEL_SEQUENCES", 3000);
    const uint64_t base = env_number("LLDPMIB_MODEL_SEED", 1100);
    const std::vector<RefTopology> topologies = reference_cases(base, count);
    ASSERT_EQ(count, topologies.size());
    expect_sequences_answer_as_the_reference(topologies, base);
}

// The data changes now and then (a neighbour renamed, gone or new, a local
// value changed), with or without the clock moving; with and without the
// client's change counts.
TEST_F(ModelBasedTest, ChangingDataAnswersAsTheReferenceOfTheLastSecond) {
    const uint64_t count = std::max<uint64_t>(1, env_number("LLDPMIB_MODEL_SEQUENCES", 3000) / 3);
    const uint64_t base = env_number("LLDPMIB_MODEL_SEED", 1100);
    const std::vector<RefTopology> topologies = reference_changes(base, count);
    ASSERT_EQ(count, topologies.size());
    expect_sequences_answer_as_the_reference(topologies, base);
    // A client that cannot report changes: the age bound alone.
    platform_fault_fail_always("lldp_client_get_generation", ENOSYS);
    expect_sequences_answer_as_the_reference(topologies, base);
}

}  // namespace
}  // namespace lldpmib_test
