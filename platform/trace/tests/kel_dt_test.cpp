// Trace flags: which settings switch which lines on (LLDPMIB_DEBUG and
// --debug), the exact lines the sinks receive, and whole lines from
// concurrent writers.
#include <gtest/gtest.h>
#include <stdlib.h>
#include <unistd.h>

#include <fstream>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "kel_dt.h"

namespace {

class TraceTest : public ::testing::Test {
protected:
    void SetUp() override { clear(); }
    void TearDown() override {
        kel_dt::capture_stop();
        clear();
    }
    static void clear() {
        unsetenv("LLDPMIB_DEBUG");
        unsetenv("LLDPMIB_TRACE_FILE");
        kel_dt::reset_for_tests();
    }
    // Registers a slash-separated path as a chain of one-keyword flags.
    static kel_dt_handle reg(const std::string& path) {
        kel_dt_handle parent = nullptr;
        std::stringstream in(path);
        for (std::string kw; std::getline(in, kw, '/');) {
            kel_dt_handle h = nullptr;
            EXPECT_EQ(0, kel_dt_flag_init(&h, kw.c_str(), parent, 0, 0));
            parent = h;
        }
        return parent;
    }
    int site_ = -1;
};

struct GateCase {
    std::string setting, path;
    bool on;
};
std::ostream& operator<<(std::ostream& o, const GateCase& c) { return o << '"' << c.setting << "\" -> " << c.path; }

// gates.txt; an unreadable file generates no cases, which GoogleTest reports as a failure.
std::vector<GateCase> gate_cases() {
    std::vector<GateCase> out;
    std::ifstream in(KEL_DT_TESTS_DIR "/gates.txt");
    for (std::string line; std::getline(in, line);) {
        const size_t a = line.find('\t'), b = line.find('\t', a + 1);
        if (line.empty() || line[0] == '#' || b == std::string::npos) continue;
        out.push_back({line.substr(0, a), line.substr(a + 1, b - a - 1), line.substr(b + 1) == "on"});
    }
    return out;
}

class TraceGateTest : public TraceTest, public ::testing::WithParamInterface<GateCase> {};

// The environment gates flags registered afterwards; --debug (configure)
// also gates flags already registered, and with them their lines.
TEST_P(TraceGateTest, SettingGatesFlagsAndTheirLines) {
    setenv("LLDPMIB_DEBUG", GetParam().setting.c_str(), 1);
    kel_dt::reset_for_tests();
    EXPECT_EQ(GetParam().on, kel_dt_flag_enabled(reg(GetParam().path)) != 0) << "environment";
    clear();
    kel_dt_handle h = reg(GetParam().path);
    kel_dt_configure(GetParam().setting.c_str());
    kel_dt::capture_start();
    _kel_dt_log_filter_adv(h, 0, 0, 0, 0, 0, &site_, "TRACE[%s] ", "f");
    EXPECT_EQ(GetParam().on ? 1u : 0u, kel_dt::capture_stop().size()) << "configure";
}

INSTANTIATE_TEST_SUITE_P(Settings, TraceGateTest, ::testing::ValuesIn(gate_cases()));

// Standard error, or the trace file when one is set (and then only the
// file): one newline per line.  --debug given before the flags register
// wins over the environment.
TEST_F(TraceTest, SinksGetExactlyTheEnabledLines) {
    const std::string path = ::testing::TempDir() + "kel_dt_" + std::to_string(getpid()) + ".log";
    for (bool to_file : {false, true}) {
        SCOPED_TRACE(to_file ? "trace file" : "standard error");
        unlink(path.c_str());
        if (to_file) setenv("LLDPMIB_TRACE_FILE", path.c_str(), 1);
        setenv("LLDPMIB_DEBUG", "all", 1);
        kel_dt::reset_for_tests();
        kel_dt_configure("lldp/errors");
        kel_dt_handle errors = reg("lldp/errors"), trace = reg("lldp/trace");
        ::testing::internal::CaptureStderr();
        _kel_dt_log_filter_adv(errors, 0, 0, 0, 0, 0, &site_, "ERROR[%s] code %d", "f", 5);
        _kel_dt_log_filter_adv(trace, 0, 0, 0, 0, 0, &site_, "TRACE[%s] ", "f");
        _kel_dt_log_filter_adv(errors, 0, 0, 0, 0, 0, &site_, "ERROR[%s] again\n", "g");
        const std::string err = ::testing::internal::GetCapturedStderr();
        kel_dt::reset_for_tests();  // closes the file
        std::stringstream file;
        file << std::ifstream(path).rdbuf();
        EXPECT_EQ(to_file ? file.str() : err, "ERROR[f] code 5\nERROR[g] again\n");
        EXPECT_EQ(to_file ? err : file.str(), "");
    }
    unlink(path.c_str());
}

TEST_F(TraceTest, ConcurrentWritersProduceWholeLinesInOrder) {
    kel_dt_handle h = reg("lldp/trace");
    kel_dt_configure("lldp");
    constexpr int kThreads = 4, kLines = 500;
    kel_dt::capture_start();
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t)
        threads.emplace_back([h, t] {
            static int site = -1;
            for (int i = 0; i < kLines; ++i) _kel_dt_log_filter_adv(h, 0, 0, 0, 0, 0, &site, "T%d line %d", t, i);
        });
    for (auto& th : threads) th.join();
    std::vector<std::string> lines = kel_dt::capture_stop();
    ASSERT_EQ(static_cast<size_t>(kThreads * kLines), lines.size());
    std::vector<int> next(kThreads, 0);
    for (const std::string& l : lines) {
        int t = -1, i = -1;
        ASSERT_EQ(2, sscanf(l.c_str(), "T%d line %d", &t, &i)) << l;
        ASSERT_EQ(next[t]++, i) << "lines of one thread out of order";
    }
}

}  // namespace
