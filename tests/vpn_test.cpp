// VPN profiles: the tunnel state other areas ask about, the item parsers,
// add/update/delete with their codes, and what reaches UCI and the shell.
#include "config_vpn.h"
#include "platform_testing.h"
#include "test_root.h"
#include "uciconfig.h"

#include <gtest/gtest.h>

#include <string>

namespace {

void uci_set(const std::string& assignment) { ASSERT_EQ(0, vespin_uci_set(4, assignment.c_str())) << assignment; }

}  // namespace

TEST(VpnState, FactoryRootHasNoTunnel) {
    test_root root;
    EXPECT_EQ(0, is_vpn_enabled());
    EXPECT_EQ(0, is_openvpn_enabled());
    EXPECT_EQ(0, is_vpn_connected());
    EXPECT_TRUE(root.exists("/etc/vespin_config/openvpn"));
}

TEST(VpnState, SwitchAndDefaultProtocolDecide) {
    test_root root;
    uci_set("vpn.2.protocol=L2TP");
    uci_set("vpn.globalcfg.vpnid=2");
    EXPECT_EQ(0, is_vpn_enabled()) << "switched off";
    uci_set("vpn.globalcfg.enabled=1");
    EXPECT_EQ(1, is_vpn_enabled());
    EXPECT_EQ(0, is_openvpn_enabled());
    uci_set("vpn.2.protocol=pptp");
    EXPECT_EQ(1, is_vpn_enabled());
    uci_set("vpn.2.protocol=OpenVPN");
    EXPECT_EQ(0, is_vpn_enabled());
    EXPECT_EQ(1, is_openvpn_enabled());
    uci_set("vpn.globalcfg.vpnid=3");  // slot 3 has no protocol
    EXPECT_EQ(0, is_openvpn_enabled());
    EXPECT_EQ(0, is_vpn_enabled());
}

TEST(VpnState, ConnectedNeedsStatusAndConnectFile) {
    test_root root;
    uci_set("vpn.curstat.status=connected");
    EXPECT_EQ(0, is_vpn_connected()) << "no connect file";
    root.write("/var/run/connectfile.vpn", "");
    EXPECT_EQ(1, is_vpn_connected());
    uci_set("vpn.curstat.status=connecting");
    EXPECT_EQ(0, is_vpn_connected());
}

