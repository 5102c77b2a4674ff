// The local system data group: the chassis ID forms, the capability octets
// under both "ENKT_ACTIVE" settings, the MAC text converter, the bit mirror,
// the scalar instance rules and the failures.
#include <gtest/gtest.h>
#include <stdio.h>
#include <stdlib.h>

#include <string>
#include <vector>

#include "local_tables.h"
#include "mib_walker.h"
#include "platform_fault.h"

using lldpmib_test::LocalTablesTest;
using Octets = std::vector<uint8_t>;

namespace {

const char kShim[] = "lldpmib_shim_local_system_data_get";

std::string line(const char* level, const char* fn, const std::string& text) {
    return std::string(level) + "[" + fn + "] " + text;
}

// Sets or clears "ENKT_ACTIVE" for one scope.
class EnktActive {
public:
    explicit EnktActive(const char* value) {
        if (const char* old = getenv("ENKT_ACTIVE")) saved_ = old, had_ = true;
        if (value != nullptr)
            setenv("ENKT_ACTIVE", value, 1);
        else
            unsetenv("ENKT_ACTIVE");
    }
    ~EnktActive() {
        if (had_)
            setenv("ENKT_ACTIVE", saved_.c_str(), 1);
        else
            unsetenv("ENKT_ACTIVE");
    }

private:
    std::string saved_;
    bool had_ = false;
};

std::string topology(int chassis_subtype, const std::string& chassis_id, bool enabled = true,
                     int supported = 20, int enabled_caps = 16) {
    return R"({"router_type": 25, "node_id": 1, "lldp": {"enabled": )" +
           std::string(enabled ? "true" : "false") + R"(, "node_enabled": )" +
           std::string(enabled ? "true" : "false") + R"(},
      "local": {"chassis_id_subtype": )" + std::to_string(chassis_subtype) +
           R"(, "chassis_id": ")" + chassis_id + R"(", "sys_name": "rtr-1",
                "sys_desc": "edge router", "supported_caps": )" + std::to_string(supported) +
           R"(, "enabled_caps": )" + std::to_string(enabled_caps) + R"(}})";
}

Octets octets(const OctetString* os) {
    if (os == nullptr) return {};
    return Octets(os->octet_ptr, os->octet_ptr + os->length);
}
Octets text(const std::string& s) { return Octets(s.begin(), s.end()); }

class LocalSystem : public LocalTablesTest {
protected:
    void SetUp() override {
        LocalTablesTest::SetUp();
        serve(topology(4, "0011.2233.4455"));
    }
    static lldpLocalSystemData_t* get(int nominator = 2) {
        return lldpmib_shim_local_system_data_get(7, nullptr, nominator);
    }
};

// ---- Chassis ID ----

struct Chassis {
    int subtype;
    const char* id;
    int32_t column1;
    Octets column2;
};

class LocalSystemChassis : public LocalSystem, public ::testing::WithParamInterface<Chassis> {};

TEST_P(LocalSystemChassis, ChassisIdByItsSubtype) {
    const Chassis& c = GetParam();
    serve(topology(c.subtype, c.id));
    lldpLocalSystemData_t* row = get();
    ASSERT_NE(nullptr, row);
    EXPECT_EQ(c.column1, row->lldpLocChassisIdSubtype);
    EXPECT_EQ(c.column2, octets(row->lldpLocChassisId));
    EXPECT_EQ(text("rtr-1"), octets(row->lldpLocSysName));
    EXPECT_EQ(text("edge router"), octets(row->lldpLocSysDesc));
}

INSTANTIATE_TEST_SUITE_P(
    Forms, LocalSystemChassis,
    ::testing::Values(Chassis{4, "0011.2233.4455", 4, {0x00, 0x11, 0x22, 0x33, 0x44, 0x55}},
                      Chassis{4, "aabb.ccdd.EEFF", 4, {0xaa, 0xbb, 0xcc, 0xdd, 0xee, 0xff}},
                      // Not the dotted form: the first 14 characters as they are.
                      Chassis{4, "00:11:22:33:44:55", 4, text("00:11:22:33:44")},
                      Chassis{4, "001122334455", 4, text("001122334455")},  // shorter than 14
                      Chassis{4, "", 4, {}},
                      Chassis{7, "rtr-1", 7, text("rtr-1")}));

TEST_F(LocalSystem, UnknownChassisSubtypeIsServedAsGivenWithAnEmptyId) {
    ASSERT_NE(nullptr, get());  // an earlier answer must not leak into the next one
    serve(topology(5, "whatever"));
    lldpLocalSystemData_t* row = get();
    ASSERT_NE(nullptr, row);
    EXPECT_EQ(5, row->lldpLocChassisIdSubtype);
    EXPECT_EQ(nullptr, row->lldpLocChassisId);

    // Column 2 answers nothing while the chassis ID is empty; column 1 answers 5.
    EXPECT_EQ("", lldpmib_test::get_line({1, 0, 8802, 1, 1, 2, 1, 3, 2, 0}));
    EXPECT_EQ("1.0.8802.1.1.2.1.3.1.0 INTEGER 5",
              lldpmib_test::get_line({1, 0, 8802, 1, 1, 2, 1, 3, 1, 0}));
}

// ---- Capabilities ----

struct Caps {
    const char* enkt;  // null: unset
    Octets supported;
    Octets enabled;
};

class LocalSystemCaps : public LocalSystem, public ::testing::WithParamInterface<Caps> {};

// Either way the octets are BITS: bridge (2) and router (4) are 0x28 in the
// first octet.
TEST_P(LocalSystemCaps, CapabilityOctetsAreBitsWhateverEnktActive) {
    EnktActive env(GetParam().enkt);
    lldpLocalSystemData_t* row = get();  // bridge + router supported, router enabled
    ASSERT_NE(nullptr, row);
    EXPECT_EQ(GetParam().supported, octets(row->lldpLocSysCapSupported));
    EXPECT_EQ(GetParam().enabled, octets(row->lldpLocSysCapEnabled));
}

INSTANTIATE_TEST_SUITE_P(Settings, LocalSystemCaps,
                         ::testing::Values(Caps{"1", {0x28, 0x00}, {0x08, 0x00}},
                                           Caps{"", {0x28, 0x00}, {0x08, 0x00}},
                                           Caps{nullptr, {0x28, 0x00}, {0x08, 0x00}}));

TEST_F(LocalSystem, CapabilityLinesPrintTheMirroredValue) {
    EnktActive env(nullptr);
    ASSERT_NE(nullptr, get());
    auto lines = take_lines();
    EXPECT_TRUE(has(lines, line("VERBOSE", kShim, "Supported caps: 2800\n")));
    EXPECT_TRUE(has(lines, line("VERBOSE", kShim, "Enabled caps: 800\n")));
}

struct Mirror {
    uint16_t in;
    const char* enkt;
    uint16_t out;
};

class BitMirror : public ::testing::TestWithParam<Mirror> {};

TEST_P(BitMirror, MirrorsSixteenOrEightBits) {
    EnktActive env(GetParam().enkt);
    EXPECT_EQ(GetParam().out, reverse_bits_uint16(GetParam().in));
}

INSTANTIATE_TEST_SUITE_P(
    Values, BitMirror,
    ::testing::Values(Mirror{0x0001, nullptr, 0x8000}, Mirror{0x0001, "1", 0x0080},
                      Mirror{0x0100, nullptr, 0x0080}, Mirror{0x0100, "1", 0x0000},
                      Mirror{0x8000, nullptr, 0x0001}, Mirror{0x0014, nullptr, 0x2800},
                      Mirror{0x0014, "", 0x0028}, Mirror{0xFF14, "1", 0x0028},
                      Mirror{0xFFFF, nullptr, 0xFFFF}, Mirror{0xFFFF, "1", 0x00FF},
                      Mirror{0x0000, nullptr, 0x0000}, Mirror{0x0000, "1", 0x0000}));

// ---- MAC text converter ----

struct MacText {
    const char* text;
    int result;
    Octets buffer;  // the six octets after the call, from a zeroed buffer
};

class MacConverter : public ::testing::TestWithParam<MacText> {};

TEST_P(MacConverter, ConvertsTheDottedForm) {
    unsigned char buf[7] = {0, 0, 0, 0, 0, 0, 0xA5};  // the last byte guards the end
    EXPECT_EQ(GetParam().result, lldpmib_convert_macstr_pton(GetParam().text, buf));
    EXPECT_EQ(GetParam().buffer, Octets(buf, buf + 6));
    EXPECT_EQ(0xA5, buf[6]);
}

INSTANTIATE_TEST_SUITE_P(
    Texts, MacConverter,
    ::testing::Values(
        MacText{"0011.2233.4455", 1, {0x00, 0x11, 0x22, 0x33, 0x44, 0x55}},
        MacText{"0011.2233.4455ZZ", 1, {0x00, 0x11, 0x22, 0x33, 0x44, 0x55}},  // past 14
        MacText{"0011.2233.445", 0, {0x00, 0x11, 0x22, 0x33, 0x44, 0x00}},     // NUL first
        MacText{"001122334455", 0, {0x00, 0x11, 0x22, 0x33, 0x44, 0x55}},
        MacText{"00:11:22:33:44:55", 0, {0x00, 0, 0, 0, 0, 0}},
        MacText{"A0b1.C2d3.E4f5", 1, {0xa0, 0xb1, 0xc2, 0xd3, 0xe4, 0xf5}},
        MacText{"..0011223344..", 1, {0x00, 0x11, 0x22, 0x33, 0x44, 0x00}},  // dots anywhere
        MacText{"00112233445566", 0, {0x00, 0x11, 0x22, 0x33, 0x44, 0x55}},  // a 7th octet
        MacText{"0g11.2233.4455", 0, {0, 0, 0, 0, 0, 0}}, MacText{"", 0, {0, 0, 0, 0, 0, 0}}));

class MacConverterLines : public LocalSystem {};

TEST_F(MacConverterLines, NullArgumentsAreReported) {
    unsigned char buf[6];
    EXPECT_EQ(0, lldpmib_convert_macstr_pton(nullptr, buf));
    EXPECT_EQ(0, lldpmib_convert_macstr_pton("0011.2233.4455", nullptr));
    auto lines = take_lines();
    EXPECT_TRUE(has(lines, line("ERROR", "lldpmib_convert_macstr_pton", "NULL Src Buffer")));
    EXPECT_TRUE(has(lines, line("ERROR", "lldpmib_convert_macstr_pton", "NULL Dst Buffer")));
}

TEST_F(MacConverterLines, EachDigitIsTraced) {
    unsigned char buf[6] = {};
    lldpmib_convert_macstr_pton("0a1b.", buf);
    auto lines = take_lines();
    const char* fn = "lldpmib_convert_macstr_pton";
    EXPECT_TRUE(has(lines, line("VERBOSE", fn,
                                "current string offset: 1, current macbuff offset:0, val:10")));
    EXPECT_TRUE(has(lines, line("VERBOSE", fn,
                                "current string offset: 3, current macbuff offset:1, val:27")));
}

// ---- Through the method routine ----

using mib_router::Oid;

TEST_F(LocalSystem, ScalarInstanceRules) {
    const Oid name{1, 0, 8802, 1, 1, 2, 1, 3, 3};
    auto with = [&](std::vector<uint32_t> inst) {
        Oid o = name;
        o.insert(o.end(), inst.begin(), inst.end());
        return o;
    };
    EXPECT_EQ("1.0.8802.1.1.2.1.3.3.0 OCTETS 7274722d31", lldpmib_test::get_line(with({0})));
    EXPECT_EQ("", lldpmib_test::get_line(with({1})));
    EXPECT_EQ("", lldpmib_test::get_line(name));
    EXPECT_EQ("", lldpmib_test::get_line(with({0, 0})));

    const auto& router = lldpmib_test::lldpmib_router();
    mib_router::Binding b;
    ASSERT_TRUE(router.next(name, &b));
    EXPECT_EQ(with({0}), b.name);
    ASSERT_TRUE(router.next(with({0}), &b));  // this object has no further instance
    EXPECT_EQ((Oid{1, 0, 8802, 1, 1, 2, 1, 3, 4, 0}), b.name);
}

TEST_F(LocalSystem, EntryLineCarriesTheArguments) {
    int marker = 0;
    ASSERT_NE(nullptr, lldpmib_shim_local_system_data_get(42, &marker, 3));
    char expected[160];
    snprintf(expected, sizeof expected, "serialNum: 42, contextInfo: %p, nominator: 3",
             (void*)&marker);
    auto lines = take_lines();
    ASSERT_FALSE(lines.empty());
    EXPECT_EQ(line("TRACE", kShim, expected), lines.front());
    EXPECT_TRUE(has(lines, line("VERBOSE", kShim, "calling lldp_client_get_local_system_data")));
    EXPECT_TRUE(has(lines, line("VERBOSE", kShim, "lldp_client_get_local_system_data OK")));
    EXPECT_TRUE(has(lines, line("VERBOSE", kShim, "Chassis ID subtype: chassis MAC")));
}

// ---- Failures ----

TEST_F(LocalSystem, AFailedFetchAnswersNothingAndKeepsTheLastValues) {
    ASSERT_NE(nullptr, get());
    platform_fault_fail_nth("lldp_client_get_local_system_data", 1, 5);
    EXPECT_EQ("", lldpmib_test::get_line({1, 0, 8802, 1, 1, 2, 1, 3, 3, 0}));
    EXPECT_EQ(text("rtr-1"), octets(lldpLocalSystemDataData.lldpLocSysName));
    take_lines();

    // The next success replaces every value, cleaning up the earlier ones.
    ASSERT_NE(nullptr, get());
    auto lines = take_lines();
    for (const char* field : {"Clean up lldpLocalSystemDataData.lldpLocChassisId",
                              "Clean up lldpLocalSystemDataData.lldpLocSysName",
                              "Clean up lldpLocalSystemDataData.lldpLocSysDesc",
                              "Clean uplldpLocalSystemDataData.lldpLocSysCapSupported",
                              "Clean uplldpLocalSystemDataData.lldpLocSysCapEnabled"})
        EXPECT_EQ(1, count(lines, line("VERBOSE", kShim, field))) << field;
}

struct Failure {
    const char* op;
    uint64_t nth;
    const char* fn;    // null: no line of its own
    const char* text;  // the line's beginning after its prefix
};

class LocalSystemFailure : public LocalSystem, public ::testing::WithParamInterface<Failure> {};

TEST_P(LocalSystemFailure, AnswersNothingReleasesTheLockAndLeaksNothing) {
    const Failure& f = GetParam();
    platform_fault_fail_nth(f.op, f.nth, 5);
    EXPECT_EQ(nullptr, get());
    EXPECT_TRUE(lldpmib_test::module_lock_free());
    EXPECT_EQ(copies_baseline_, lldp_client_live_copies());
    if (f.fn != nullptr) {
        EXPECT_TRUE(has_prefix(take_lines(), line("MIB", f.fn, f.text)));
    }
    EXPECT_NE(nullptr, get());
}

INSTANTIATE_TEST_SUITE_P(
    EachOperation, LocalSystemFailure,
    ::testing::Values(
        Failure{"lldp_client_get_enable", 1, kShim, "lldp not enabled"},
        Failure{"platform_get_my_nodeid", 1, kShim, "failed to get current node ID"},
        Failure{"lldp_client_get_local_system_data", 1, kShim,
                "lldp_client_get_local_system_data FAILED, "},
        Failure{"MakeOctetString", 1, nullptr, nullptr},  // the chassis ID
        Failure{"MakeOctetString", 3, nullptr, nullptr},  // a capability string
        Failure{"MakeOctetStringFromText", 1, nullptr, nullptr}),
    [](const ::testing::TestParamInfo<Failure>& info) {
        return std::string(info.param.op) + "_" + std::to_string(info.param.nth);
    });

TEST_F(LocalSystem, LldpDisabledAnswersNothing) {
    serve(topology(4, "0011.2233.4455", false));
    EXPECT_EQ(nullptr, get());
    EXPECT_EQ(0u, platform_fault_calls("lldp_client_get_local_system_data"));
    EXPECT_TRUE(has(take_lines(), line("MIB", kShim, "lldp not enabled")));
}

TEST_F(LocalSystem, OrvikPlatformAnswersWithoutAskingWhetherLldpIsEnabled) {
    serve(topology(4, "0011.2233.4455", false));
    uint32_t saved = lldpmib_router_type;
    lldpmib_router_type = 8;
    EXPECT_NE(nullptr, get());
    lldpmib_router_type = saved;
    EXPECT_EQ(0u, platform_fault_calls("lldp_client_get_enable"));
}

}  // namespace
