// The lldpd backend without a daemon: the mappings of lldpd's values that no
// neighbour shows (local IDs, capability bits past lldpcli's names, time
// marks, remote index collisions) or that the e2e tests do not compare
// (802.1 and 802.3 data), and a daemon that never answers.  Real and hand-made
// neighbours, management addresses and organisationally defined TLVs, a
// daemon going away and coming back: tests/e2e/test_lldpd*.py.
#include <gtest/gtest.h>
#include <lldp-const.h>
#include <lldpctl.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <string>

#include "lldp_client_model.h"
#include "lldpd_source.h"
#include "platform_fault.h"

using namespace lldp_lldpd;
using lldp_model::address;
using u8s = std::vector<uint8_t>;

namespace {

TEST(Lldpd, CapabilitiesKeepLldpBitOrder) {
    const std::pair<long, uint16_t> cases[] = {
        {LLDP_CAP_OTHER, 0x0001}, {LLDP_CAP_REPEATER, 0x0002}, {LLDP_CAP_BRIDGE | LLDP_CAP_ROUTER, 0x0014},
        {LLDP_CAP_STATION, 0x0080}, {LLDP_CAP_WLAN | LLDP_CAP_TELEPHONE | LLDP_CAP_DOCSIS, 0x0068},
        {0x0100, 0x0100},  // C-VLAN component, beyond lldpd's names
        {0x1ffff, 0xffff},  // only the TLV's 16 bits
        {LLDPCTL_ERR_NOT_EXIST, 0}};  // no capabilities TLV
    for (auto [lldpd, expected] : cases) EXPECT_EQ(map_capabilities(lldpd), expected) << lldpd;
}

TEST(Lldpd, IdsAreDottedMacAddressTextOrHex) {
    const uint8_t mac[] = {0xa6, 0xdc, 0x89, 0xd4, 0xd1, 0x90}, name[] = {'e', 't', 'h', '0'};
    const uint8_t v4[] = {1, 192, 0, 2, 9}, v6[] = {2, 0x20, 1, 0xd, 0xb8, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 7};
    const auto c = id_kind::chassis, p = id_kind::port;
    EXPECT_EQ(id_text(c, LLDP_CHASSISID_SUBTYPE_LLADDR, mac, 6), "a6dc.89d4.d190");
    EXPECT_EQ(id_text(p, LLDP_PORTID_SUBTYPE_LLADDR, mac, 6), "a6dc.89d4.d190");
    EXPECT_EQ(id_text(p, LLDP_CHASSISID_SUBTYPE_LLADDR, mac, 6), "a6:dc:89:d4:d1:90");  // the chassis MAC subtype
    EXPECT_EQ(id_text(c, LLDP_CHASSISID_SUBTYPE_ADDR, v4, 5), "192.0.2.9");
    EXPECT_EQ(id_text(p, LLDP_PORTID_SUBTYPE_ADDR, v6, 17), "2001:db8::7");
    EXPECT_EQ(id_text(p, LLDP_PORTID_SUBTYPE_ADDR, v6, 16), "02:20:01:0d:b8:00:00:00:00:00:00:00:00:00:00:00");
    EXPECT_EQ(id_text(p, LLDP_PORTID_SUBTYPE_IFNAME, name, 4), "eth0");
    EXPECT_EQ(id_text(c, LLDP_CHASSISID_SUBTYPE_LOCAL, mac, 6), "a6:dc:89:d4:d1:90");
    EXPECT_EQ(id_text(c, LLDP_CHASSISID_SUBTYPE_LLADDR, mac, 5), "a6:dc:89:d4:d1");  // not a MAC length
    EXPECT_EQ(id_text(c, LLDP_CHASSISID_SUBTYPE_LLADDR, nullptr, 0), "");
}

// Hundredths of a second since the origin (hundredths since the epoch), 0 up
// to it, saturating; the last change is the later of the newest change and a
// removal, and with no removal the newest change's time mark.
TEST(Lldpd, TimeMarkAndLastChangeInHundredthsSinceTheOrigin) {
    const struct {
        int64_t changed, gone_at, origin;
        uint32_t expected;
    } cases[] = {{1000, 0, 100000, 0}, {999, 0, 100000, 0}, {-503, 0, 100000, 0},  // up to the origin; lldpctl error
                 {0, 0, 100000, 0}, {1001, 0, 100000, 100}, {1000 + 42949672, 0, 100000, 4294967200u},
                 {1000 + 42949673, 0, 100000, 4294967295u},
                 {1001, 0, 100030, 70}, {1000, 0, 100030, 0},  // an origin between two seconds
                 {1002, 100250, 100000, 250},                  // one went later
                 {1003, 100250, 100000, 300},                  // one changed later than the other went
                 {LLDPCTL_ERR_NOT_EXIST, 100001, 100000, 1}};
    for (const auto& c : cases) {
        EXPECT_EQ(last_change_time(c.changed, c.gone_at, c.origin), c.expected) << c.changed << " " << c.gone_at;
        if (c.gone_at == 0) {
            EXPECT_EQ(time_mark(c.changed, c.origin), c.expected) << c.changed << " " << c.origin;
        }
    }
}

// lldpd's numbers as measured on 1.0.16 (lldpcli "configure ports P lldp status ...").
TEST(Lldpd, AdminStatusFromPortStatusAndReceiveOnlyMode) {
    const struct {
        long lldpd;  // 1 tx-only, 2 rx-only, 3 disabled, 4 rx-and-tx
        bool receive_only;
        uint8_t expected;
    } cases[] = {{1, false, LLDP_ADMIN_TX_ONLY},      {2, false, LLDP_ADMIN_RX_ONLY},
                 {3, false, LLDP_ADMIN_DISABLED},     {4, false, LLDP_ADMIN_TX_AND_RX},
                 {4, true, LLDP_ADMIN_RX_ONLY},       {2, true, LLDP_ADMIN_RX_ONLY},
                 {1, true, LLDP_ADMIN_DISABLED},      {3, true, LLDP_ADMIN_DISABLED},
                 {LLDPCTL_ERR_NOT_EXIST, false, LLDP_ADMIN_TX_AND_RX}};
    for (const auto& c : cases)
        EXPECT_EQ(map_admin_status(c.lldpd, c.receive_only), c.expected) << c.lldpd << " " << c.receive_only;
    EXPECT_EQ(tlvs_sent(1), 0xF);
    EXPECT_EQ(tlvs_sent(0), LLDP_TLV_TX_PORT_DESC | LLDP_TLV_TX_SYS_NAME | LLDP_TLV_TX_SYS_DESC);
    EXPECT_EQ(counter(LLDPCTL_ERR_NOT_EXIST), 0u);
    EXPECT_EQ(counter(5000000000L), 5000000000u);
}

remote_index_map::seen n(uint32_t port, long chassis, const char* who) { return {port, chassis, who}; }

// What lldpd reads for TLVs not sent, and for its own ports: the cases hand-made
// neighbours (tests/e2e/test_lldpd_hostile.py) cannot show against lldpcli.
TEST(Lldpd, OrgExtOfTlvsNotSentAndOfLocalPorts) {
    // No TLV, or PVID 0, MFS 0, aggregated port 0, MAC/PHY all zero, power never configured.
    org_ext_values none;
    none.mfs = none.aggregid = LLDPCTL_ERR_NOT_EXIST;
    lldp_model::org_ext x = map_org_ext(none, false);
    EXPECT_TRUE(!x.port_vlan_id && !x.mac_phy && !x.power && !x.link_agg && !x.max_frame_size);
    // lldpd's own veth port sends MAC/PHY 00 8000 0036 and aggregation 01 0, nothing else.
    none.autoneg_advertised = 0x8000, none.mau_type = 54;
    x = map_org_ext(none, true);
    ASSERT_TRUE(x.mac_phy && x.link_agg);
    EXPECT_TRUE(x.mac_phy->advertised == 0x8000 && x.mac_phy->mau_type == 54 && !x.mac_phy->autoneg_supported);
    EXPECT_TRUE(x.link_agg->capable && !x.link_agg->enabled && x.link_agg->port_id == 0);
    EXPECT_TRUE(!x.port_vlan_id && !x.port_vlan_tx && !x.power && !x.max_frame_size);
    EXPECT_EQ(x.dot3_tlvs_tx, LLDP_DOT3_TX_MAC_PHY | LLDP_DOT3_TX_LINK_AGG);
}

TEST(Lldpd, RemoteIndexIsChassisIndexWhereUniqueOnThePort) {
    remote_index_map m;
    // The same chassis on two ports keeps lldpd's one index on both.
    EXPECT_EQ(m.assign({n(6, 1, "a"), n(8, 2, "b"), n(9, 1, "a")}), (std::vector<uint32_t>{1, 2, 1}));
    // Two ports of one remote chassis behind one local port: the second gets its own number...
    EXPECT_EQ(m.assign({n(8, 4, "x1"), n(8, 4, "x2"), n(8, 5, "y")}), (std::vector<uint32_t>{4, 1000000000u, 5}));
    // ...and keeps it when the first leaves; gone and back, it may take the chassis index.
    EXPECT_EQ(m.assign({n(8, 4, "x2"), n(8, 5, "y")}), (std::vector<uint32_t>{1000000000u, 5}));
    m.assign({n(8, 5, "y")});
    EXPECT_EQ(m.assign({n(8, 4, "x2"), n(8, 5, "y")}), (std::vector<uint32_t>{4, 5}));
    // Missing, zero or too large for the index range.
    EXPECT_EQ(remote_index_map().assign({n(1, LLDPCTL_ERR_NOT_EXIST, "a"), n(1, 0, "b"), n(1, 3000000000L, "c")}),
              (std::vector<uint32_t>{1000000000u, 1000000001u, 1000000002u}));
}

// A control socket the kernel accepts connections on and nobody ever answers.
class SilentDaemon {
public:
    SilentDaemon() {
        EXPECT_NE(mkdtemp(dir_), nullptr);
        path = std::string(dir_) + "/ctl.sock";
        fd_ = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
        sockaddr_un sa{};
        sa.sun_family = AF_UNIX;
        std::snprintf(sa.sun_path, sizeof sa.sun_path, "%s", path.c_str());
        EXPECT_EQ(bind(fd_, reinterpret_cast<sockaddr*>(&sa), sizeof sa), 0);
        EXPECT_EQ(listen(fd_, 8), 0);
    }
    ~SilentDaemon() {
        close(fd_);
        unlink(path.c_str());
        rmdir(dir_);
    }
    std::string path;

private:
    char dir_[64] = "/tmp/lldpd-source-test-XXXXXX";
    int fd_ = -1;
};

options quick(const std::string& sock) {
    options o;
    o.ctl_socket = sock, o.max_age = std::chrono::milliseconds(0), o.io_timeout = std::chrono::milliseconds(100);
    return o;
}

TEST(Lldpd, SilentOrMissingDaemonFailsWithAMessage) {
    SilentDaemon daemon;
    for (std::string sock : {daemon.path, std::string("/nonexistent/lldpd.sock")}) {
        std::string error;
        EXPECT_EQ(make_source(quick(sock))->current(&error), nullptr);
        EXPECT_NE(error.find(sock == daemon.path ? "no answer" : "/nonexistent/lldpd.sock"), std::string::npos)
            << error;
    }
}

// The first request is the configuration; an injected failure stops the fetch
// there, before anything is sent, and says so.
TEST(Lldpd, InjectedRequestFailureFailsTheFetch) {
    SilentDaemon daemon;
    platform_fault_reset();
    platform_fault_fail_always("lldpctl_get_configuration", 5);
    std::string error;
    EXPECT_EQ(make_source(quick(daemon.path))->current(&error), nullptr);
    EXPECT_NE(error.find("configuration"), std::string::npos) << error;
    EXPECT_NE(error.find("injected failure"), std::string::npos) << error;
    EXPECT_EQ(platform_fault_calls("lldpctl_get_configuration"), 1u);
    EXPECT_EQ(platform_fault_calls("lldpctl_get_local_chassis"), 0u);
    platform_fault_reset();
}

}  // namespace
