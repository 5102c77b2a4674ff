// The lldpd backend without a daemon: the mapping of lldpd's values to the
// client records, and what the source does when the socket is missing, dead
// or silent.  Real neighbours are covered by tests/e2e/test_lldpd.py.
#include <gtest/gtest.h>
#include <lldp-const.h>
#include <lldpctl.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstdlib>
#include <string>
#include <thread>

#include "lldp_client.h"
#include "lldp_client_model.h"
#include "lldpd_source.h"

using namespace lldp_lldpd;
using lldp_model::address;
using lldp_model::org_def_tlv;

namespace {

// ---- Capabilities ----

struct caps_case {
    long lldpd;
    uint16_t expected;
};

class Capabilities : public ::testing::TestWithParam<caps_case> {};

TEST_P(Capabilities, KeepLldpBitOrder) { EXPECT_EQ(map_capabilities(GetParam().lldpd), GetParam().expected); }

INSTANTIATE_TEST_SUITE_P(
    Lldpd, Capabilities,
    ::testing::Values(caps_case{LLDP_CAP_OTHER, 0x0001}, caps_case{LLDP_CAP_REPEATER, 0x0002},
                      caps_case{LLDP_CAP_BRIDGE | LLDP_CAP_ROUTER, 0x0014}, caps_case{LLDP_CAP_STATION, 0x0080},
                      caps_case{LLDP_CAP_WLAN | LLDP_CAP_TELEPHONE | LLDP_CAP_DOCSIS, 0x0068},
                      caps_case{0x0100, 0x0100},             // C-VLAN component, beyond lldpd's names
                      caps_case{0x1ffff, 0xffff},            // only the TLV's 16 bits
                      caps_case{LLDPCTL_ERR_NOT_EXIST, 0}));  // no capabilities TLV

// ---- Management addresses ----

struct addr_case {
    const char* text;
    long if_index;
    bool ok;
    bool ipv6;
    std::vector<uint8_t> octets;
    uint32_t if_id;
};

class ManagementAddress : public ::testing::TestWithParam<addr_case> {};

TEST_P(ManagementAddress, ParsesTextAsLldpdGivesIt) {
    const addr_case& c = GetParam();
    address a;
    a.if_id = 77;
    ASSERT_EQ(parse_management_address(c.text, c.if_index, &a), c.ok);
    if (!c.ok) {
        EXPECT_EQ(a.if_id, 77u) << "untouched on failure";
        return;
    }
    EXPECT_EQ(a.ipv6, c.ipv6);
    EXPECT_EQ(a.effective_subtype(), c.ipv6 ? 2 : 1);
    EXPECT_EQ(std::vector<uint8_t>(a.octets.begin(), a.octets.begin() + c.octets.size()), c.octets);
    for (size_t i = c.octets.size(); i < 16; ++i) EXPECT_EQ(a.octets[i], 0) << i;
    EXPECT_EQ(a.if_id, c.if_id);
}

INSTANTIATE_TEST_SUITE_P(
    Lldpd, ManagementAddress,
    ::testing::Values(
        addr_case{"10.0.1.2", 6, true, false, {10, 0, 1, 2}, 6},
        addr_case{"0.0.0.0", 1, true, false, {0, 0, 0, 0}, 1},
        addr_case{"fd00:1::2", 13, true, true, {0xfd, 0, 0, 1, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 2}, 13},
        addr_case{"::ffff:10.1.2.3", 2, true, true, {0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0xff, 0xff, 10, 1, 2, 3}, 2},
        addr_case{"10.0.0.1", LLDPCTL_ERR_NOT_EXIST, true, false, {10, 0, 0, 1}, 0},  // no interface given
        addr_case{"10.0.0.256", 1, false, false, {}, 0},
        addr_case{"fe80::1%eth0", 1, false, false, {}, 0},
        addr_case{"", 1, false, false, {}, 0},
        addr_case{nullptr, 1, false, false, {}, 0}));

// ---- IDs as text ----

TEST(IdText, MacChassisIdBecomesDottedText) {
    const uint8_t mac[] = {0xa6, 0xdc, 0x89, 0xd4, 0xd1, 0x90};
    EXPECT_EQ(id_text(LLDP_CHASSISID_SUBTYPE_LLADDR, LLDP_CHASSISID_SUBTYPE_LLADDR, mac, 6), "a6dc.89d4.d190");
    EXPECT_EQ(id_text(LLDP_PORTID_SUBTYPE_LLADDR, LLDP_PORTID_SUBTYPE_LLADDR, mac, 6), "a6dc.89d4.d190");
}

TEST(IdText, OtherIdsAreTextOrHex) {
    const uint8_t name[] = {'e', 't', 'h', '0'};
    const uint8_t mac[] = {0xa6, 0xdc, 0x89, 0xd4, 0xd1, 0x90};
    const uint8_t addr[] = {1, 10, 0, 0, 1};
    // A name is kept as it is, whatever its subtype.
    EXPECT_EQ(id_text(LLDP_PORTID_SUBTYPE_IFNAME, LLDP_PORTID_SUBTYPE_LLADDR, name, 4), "eth0");
    // Six octets that are not a MAC by subtype are not dotted.
    EXPECT_EQ(id_text(LLDP_CHASSISID_SUBTYPE_LOCAL, LLDP_CHASSISID_SUBTYPE_LLADDR, mac, 6), "a6:dc:89:d4:d1:90");
    // A MAC subtype of the wrong length is not dotted either.
    EXPECT_EQ(id_text(LLDP_CHASSISID_SUBTYPE_LLADDR, LLDP_CHASSISID_SUBTYPE_LLADDR, mac, 5), "a6:dc:89:d4:d1");
    EXPECT_EQ(id_text(LLDP_CHASSISID_SUBTYPE_ADDR, LLDP_CHASSISID_SUBTYPE_LLADDR, addr, 5), "01:0a:00:00:01");
    EXPECT_EQ(id_text(LLDP_CHASSISID_SUBTYPE_LLADDR, LLDP_CHASSISID_SUBTYPE_LLADDR, nullptr, 0), "");
}

// ---- Organisationally defined TLVs ----

TEST(OrgDefTlvs, OuiIsFirstOctetHigh) {
    const uint8_t oui[] = {0x33, 0x44, 0x55};
    EXPECT_EQ(oui_number(oui, 3), 0x334455u);
    EXPECT_EQ(oui_number(oui, 2), 0u);
}

TEST(OrgDefTlvs, IndexCountsWithinOuiAndSubtype) {
    std::vector<org_def_tlv> t(6);
    const std::pair<uint32_t, uint8_t> keys[] = {{0x334455, 1}, {0x334455, 1}, {0x334455, 2},
                                                 {0x0080c2, 1}, {0x334455, 1}, {0x334455, 2}};
    for (size_t i = 0; i < t.size(); ++i) {
        t[i].oui = keys[i].first;
        t[i].subtype = keys[i].second;
        t[i].index = 99;
    }
    number_org_def_tlvs(t);
    const uint32_t expected[] = {1, 2, 1, 1, 3, 2};
    for (size_t i = 0; i < t.size(); ++i) EXPECT_EQ(t[i].index, expected[i]) << i;
}

// ---- Time marks ----

TEST(TimeMark, HundredthsSinceStartNeverNegative) {
    EXPECT_EQ(time_mark(1000, 1000), 0u);
    EXPECT_EQ(time_mark(999, 1000), 0u);     // changed before the library started
    EXPECT_EQ(time_mark(-503, 1000), 0u);    // lldpctl error code instead of an age
    EXPECT_EQ(time_mark(1001, 1000), 100u);
    EXPECT_EQ(time_mark(1000 + 3600, 1000), 360000u);
    EXPECT_EQ(time_mark(1000 + 42949672, 1000), 4294967200u);
    EXPECT_EQ(time_mark(1000 + 42949673, 1000), 4294967295u);  // saturates
}

// ---- Remote indexes ----

remote_index_map::seen n(uint32_t port, long chassis, const char* who) { return {port, chassis, who}; }

TEST(RemoteIndex, ChassisIndexWhereUniqueOnThePort) {
    remote_index_map m;
    // The same chassis on two ports keeps lldpd's one index on both.
    auto idx = m.assign({n(6, 1, "a"), n(8, 2, "b"), n(8, 3, "c"), n(9, 1, "a")});
    EXPECT_EQ(idx, (std::vector<uint32_t>{1, 2, 3, 1}));
}

TEST(RemoteIndex, SharedChassisIndexGetsOwnNumberKeptWhileSeen) {
    remote_index_map m;
    // Two ports of one remote chassis behind one local port.
    auto idx = m.assign({n(8, 4, "x-p1"), n(8, 4, "x-p2"), n(8, 5, "y")});
    EXPECT_EQ(idx, (std::vector<uint32_t>{4, 1000000000u, 5}));
    // Same again: nothing moves.
    EXPECT_EQ(m.assign({n(8, 4, "x-p1"), n(8, 4, "x-p2"), n(8, 5, "y")}), idx);
    // The first leaves; the second keeps its own number rather than taking 4.
    EXPECT_EQ(m.assign({n(8, 4, "x-p2"), n(8, 5, "y")}), (std::vector<uint32_t>{1000000000u, 5}));
    // Gone and back: it is a new neighbour and may take the chassis index.
    m.assign({n(8, 5, "y")});
    EXPECT_EQ(m.assign({n(8, 4, "x-p2"), n(8, 5, "y")}), (std::vector<uint32_t>{4, 5}));
}

TEST(RemoteIndex, MissingOrHugeChassisIndexGetsOwnNumber) {
    remote_index_map m;
    auto idx = m.assign({n(1, LLDPCTL_ERR_NOT_EXIST, "a"), n(1, 0, "b"), n(1, 3000000000L, "c")});
    EXPECT_EQ(idx, (std::vector<uint32_t>{1000000000u, 1000000001u, 1000000002u}));
    for (uint32_t i : idx) EXPECT_LE(i, 2147483647u);
}

// ---- The daemon's socket ----

// A Unix socket in a private directory that accepts connections and then
// either closes them at once (a daemon going away) or never answers.
class FakeDaemon {
public:
    enum mode { close_at_once, silent };
    explicit FakeDaemon(mode m) : mode_(m) {
        char tmpl[] = "/tmp/lldpd-source-test-XXXXXX";
        dir_ = mkdtemp(tmpl);
        path_ = dir_ + "/ctl.sock";
        fd_ = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
        sockaddr_un sa{};
        sa.sun_family = AF_UNIX;
        std::snprintf(sa.sun_path, sizeof sa.sun_path, "%s", path_.c_str());
        EXPECT_EQ(bind(fd_, reinterpret_cast<sockaddr*>(&sa), sizeof sa), 0);
        EXPECT_EQ(listen(fd_, 8), 0);
        thread_ = std::thread([this] { serve(); });
    }
    ~FakeDaemon() {
        shutdown(fd_, SHUT_RDWR);
        thread_.join();
        close(fd_);
        for (int c : held_) close(c);
        unlink(path_.c_str());
        rmdir(dir_.c_str());
    }
    const std::string& path() const { return path_; }
    int accepted() const { return accepted_.load(); }

private:
    void serve() {
        for (;;) {
            int c = accept(fd_, nullptr, nullptr);
            if (c < 0) return;
            ++accepted_;
            if (mode_ == close_at_once)
                close(c);
            else
                held_.push_back(c);
        }
    }

    mode mode_;
    std::string dir_, path_;
    int fd_ = -1;
    std::vector<int> held_;
    std::atomic<int> accepted_{0};
    std::thread thread_;
};

options quick(const std::string& sock) {
    options o;
    o.ctl_socket = sock;
    o.max_age = std::chrono::milliseconds(0);  // every call asks the daemon
    o.io_timeout = std::chrono::milliseconds(100);
    return o;
}

TEST(LldpdSource, MissingSocketIsAnErrorNamingIt) {
    auto src = make_source(quick("/nonexistent/lldpd.sock"));
    std::string error;
    EXPECT_EQ(src->current(&error), nullptr);
    EXPECT_NE(error.find("/nonexistent/lldpd.sock"), std::string::npos) << error;
    EXPECT_NE(error.find("No such file"), std::string::npos) << error;
}

TEST(LldpdSource, DaemonClosingTheConnectionFailsEachRequestAndReconnects) {
    FakeDaemon d(FakeDaemon::close_at_once);
    auto src = make_source(quick(d.path()));
    for (int i = 1; i <= 3; ++i) {
        std::string error;
        EXPECT_EQ(src->current(&error), nullptr);
        EXPECT_NE(error.find(d.path()), std::string::npos) << error;
        EXPECT_EQ(d.accepted(), i) << "one fresh connection per request";
    }
}

TEST(LldpdSource, SilentDaemonTimesOut) {
    FakeDaemon d(FakeDaemon::silent);
    auto src = make_source(quick(d.path()));
    std::string error;
    EXPECT_EQ(src->current(&error), nullptr);
    EXPECT_NE(error.find("no answer"), std::string::npos) << error;
    EXPECT_EQ(src->current(&error), nullptr);
    EXPECT_EQ(d.accepted(), 2);
}

// ---- Through the client API ----

class UseLldpd : public ::testing::Test {
protected:
    void TearDown() override { lldp_client_use_default(); }
};

TEST_F(UseLldpd, UnreachableDaemonMakesEveryOperationFail) {
    char err[128] = "x";
    ASSERT_EQ(lldp_client_use_lldpd("/nonexistent/lldpd.sock", 0, err, sizeof err), 0);
    EXPECT_STREQ(err, "");
    uint32_t enabled = 7;
    EXPECT_NE(lldp_client_get_enable(&enabled), 0);
    uint32_t next = 0, ifhandle = 0;
    EXPECT_NE(lldp_client_get_next_if_local(0, &next, &ifhandle), 0);
    EXPECT_NE(lldp_client_get_next_if_remote(0, &next, &ifhandle), 0);
    std::string error;
    EXPECT_EQ(lldp_client_current_topology(&error), nullptr);
    EXPECT_NE(error.find("/nonexistent/lldpd.sock"), std::string::npos) << error;
    EXPECT_EQ(lldp_client_live_copies(), 0u);
}

TEST_F(UseLldpd, RefusesBadArgumentsAndKeepsTheBackend) {
    char err[128];
    EXPECT_EQ(lldp_client_use_lldpd(nullptr, 2, err, sizeof err), EINVAL);
    EXPECT_NE(std::string(err).find("time marks"), std::string::npos) << err;
    std::string long_path(200, 'x');
    EXPECT_EQ(lldp_client_use_lldpd(long_path.c_str(), 0, err, sizeof err), ENAMETOOLONG);
    EXPECT_NE(std::string(err).find("too long"), std::string::npos) << err;
    // The embedded example is still served.
    uint32_t enabled = 0;
    EXPECT_EQ(lldp_client_get_enable(&enabled), 0);
    // A tiny error buffer is still terminated.
    char small[4];
    EXPECT_EQ(lldp_client_use_lldpd(nullptr, -1, small, sizeof small), EINVAL);
    EXPECT_EQ(small[3], '\0');
}

}  // namespace
