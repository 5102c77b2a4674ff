// Trace flags: which settings switch which lines on (LLDPMIB_DEBUG and --debug),
// where the lines go, and whole lines from concurrent writers.
#include <gtest/gtest.h>
#include <stdlib.h>
#include <unistd.h>

#include <fstream>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "kel_dt.h"
#include "platform_fault.h"

namespace {

class TraceTest : public ::testing::Test {
protected:
    void SetUp() override {
        unsetenv("LLDPMIB_DEBUG");
        unsetenv("LLDPMIB_TRACE_FILE");
        kel_dt::reset_for_tests();
        platform_fault_reset();
    }
    void TearDown() override {
        kel_dt::capture_stop();
        unsetenv("LLDPMIB_DEBUG");
        unsetenv("LLDPMIB_TRACE_FILE");
        kel_dt::reset_for_tests();
        platform_fault_reset();
    }

    // Registers a full slash-separated path as a chain of one-keyword flags.
    kel_dt_handle reg(const std::string& path) {
        kel_dt_handle parent = nullptr;
        std::stringstream in(path);
        std::string keyword;
        while (std::getline(in, keyword, '/')) {
            kel_dt_handle h = nullptr;
            EXPECT_EQ(0, kel_dt_flag_init(&h, keyword.c_str(), parent, 0, 0));
            parent = h;
        }
        return parent;
    }

    std::string temp_path(const char* name) {
        std::string p = ::testing::TempDir() + "kel_dt_" + std::to_string(getpid()) + "_" + name;
        unlink(p.c_str());
        return p;
    }
};

std::string read_file(const std::string& path) {
    std::ifstream in(path);
    std::stringstream s;
    s << in.rdbuf();
    return s.str();
}

struct GateCase {
    const char* setting;
    const char* path;
    bool on;
};

std::ostream& operator<<(std::ostream& o, const GateCase& c) {
    return o << "\"" << c.setting << "\" -> " << c.path;
}

const GateCase kGateCases[] = {
    {"", "lldp/trace", false},
    {"lldp", "lldp", true},
    {"lldp", "lldp/trace", true},
    {"lldp", "snmp/mib/lldpmib/enable", false},
    {"lldp/trace", "lldp/trace", true},
    {"lldp/trace", "lldp", false},
    {"lldp/trace", "lldp/verbose", false},
    {"lldp/tr", "lldp/trace", false},  // prefixes match whole keywords only
    {"lld", "lldp/trace", false},
    {"all", "lldp/verbose", true},
    {"all", "snmp/mib/lldpmib/enable", true},
    {"snmp/mib", "snmp/mib/lldpmib/enable", true},  // unregistered level still covers below
    {" lldp/errors , snmp/mib/lldpmib ", "snmp/mib/lldpmib/enable", true},
    {" lldp/errors , snmp/mib/lldpmib ", "lldp/errors", true},
    {" lldp/errors , snmp/mib/lldpmib ", "lldp/trace", false},
    {"lldp/trace,,lldp/verbose,", "lldp/verbose", true},
    {"lldp/all", "lldp/trace", false},  // a flag named all is just a flag
    {"lldp/all", "lldp/all", true},
    {"lldp/", "lldp/trace", true},
};

class TraceGateTest : public TraceTest, public ::testing::WithParamInterface<GateCase> {};

TEST_P(TraceGateTest, EnvironmentSettingGatesFlagsRegisteredAfterwards) {
    setenv("LLDPMIB_DEBUG", GetParam().setting, 1);
    kel_dt::reset_for_tests();
    EXPECT_EQ(GetParam().on, kel_dt_flag_enabled(reg(GetParam().path)) != 0);
}

TEST_P(TraceGateTest, ConfigureGatesFlagsAlreadyRegisteredAndTheirLines) {
    kel_dt_handle h = reg(GetParam().path);
    kel_dt_configure(GetParam().setting);
    EXPECT_EQ(GetParam().on, kel_dt_flag_enabled(h) != 0);
    int site = -1;
    kel_dt::capture_start();
    _kel_dt_log_filter_adv(h, 0, 0, 0, 0, 0, &site, "TRACE[%s] ", "f");
    EXPECT_EQ(GetParam().on ? 1u : 0u, kel_dt::capture_stop().size());
}

INSTANTIATE_TEST_SUITE_P(Settings, TraceGateTest, ::testing::ValuesIn(kGateCases));

TEST_F(TraceTest, ConfigureBeforeRegistrationWinsOverTheEnvironment) {
    setenv("LLDPMIB_DEBUG", "all", 1);
    kel_dt_configure("lldp/errors");
    EXPECT_FALSE(kel_dt_flag_enabled(reg("lldp/trace")));
    EXPECT_TRUE(kel_dt_flag_enabled(reg("lldp/errors")));
}

TEST_F(TraceTest, StandardErrorGetsOneNewlinePerLine) {
    kel_dt_handle h = reg("lldp/trace");
    kel_dt_configure("all");
    int site = -1;
    ::testing::internal::CaptureStderr();
    _kel_dt_log_filter_adv(h, 0, 0, 0, 0, 0, &site, "TRACE[%s] ", "a");
    _kel_dt_log_filter_adv(h, 0, 0, 0, 0, 0, &site, "VERBOSE[%s] done\n", "b");
    EXPECT_EQ("TRACE[a] \nVERBOSE[b] done\n", ::testing::internal::GetCapturedStderr());
}

TEST_F(TraceTest, TraceFileFromTheEnvironmentReceivesTheLines) {
    std::string path = temp_path("env.log");
    setenv("LLDPMIB_TRACE_FILE", path.c_str(), 1);
    setenv("LLDPMIB_DEBUG", "lldp/errors", 1);
    kel_dt::reset_for_tests();
    kel_dt_handle errors = reg("lldp/errors");
    kel_dt_handle trace = reg("lldp/trace");
    int site = -1;
    _kel_dt_log_filter_adv(errors, 0, 0, 0, 0, 0, &site, "ERROR[%s] code %d", "f", 5);
    _kel_dt_log_filter_adv(trace, 0, 0, 0, 0, 0, &site, "TRACE[%s] ", "f");
    _kel_dt_log_filter_adv(errors, 0, 0, 0, 0, 0, &site, "ERROR[%s] again\n", "g");
    EXPECT_EQ("ERROR[f] code 5\nERROR[g] again\n", read_file(path));
    kel_dt::reset_for_tests();
    unlink(path.c_str());
}

TEST_F(TraceTest, ConcurrentWritersProduceWholeLines) {
    kel_dt_handle h = reg("lldp/trace");
    kel_dt_configure("lldp");
    constexpr int kThreads = 4, kLines = 500;
    kel_dt::capture_start();
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t)
        threads.emplace_back([h, t] {
            static int site = -1;
            for (int i = 0; i < kLines; ++i)
                _kel_dt_log_filter_adv(h, 0, 0, 0, 0, 0, &site, "T%d line %d", t, i);
        });
    std::thread toggler([h] {
        for (int i = 0; i < 100; ++i) kel_dt_flag_enabled(h);
    });
    for (auto& th : threads) th.join();
    toggler.join();
    std::vector<std::string> lines = kel_dt::capture_stop();
    ASSERT_EQ(static_cast<size_t>(kThreads * kLines), lines.size());
    std::vector<int> next(kThreads, 0);
    for (const std::string& l : lines) {
        int t = -1, i = -1;
        ASSERT_EQ(2, sscanf(l.c_str(), "T%d line %d", &t, &i)) << l;
        ASSERT_EQ(next[t], i) << "lines of one thread out of order";
        ++next[t];
    }
}

}  // namespace
