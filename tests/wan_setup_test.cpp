// Writing a WAN configuration: DHCP, PPPoE and static with the LAN moved out
// of the way (command text compared byte for byte), a failing settings
// store under every id of the static writer, the WAN statistics and the
// default gateway from the emulated router's tools.
#include "vespin_core.h"

#include "apmib.h"
#include "config_ipv6.h"
#include "platform_testing.h"
#include "test_root.h"
#include "uciconfig.h"

#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <string.h>

#include <memory>
#include <string>
#include <vector>

namespace {

std::string address(int id) {
    struct in_addr a = {0};
    EXPECT_NE(0, apmib_get(id, &a));
    return inet_ntoa(a);
}

int stored_int(int id) {
    int value = -1;
    EXPECT_NE(0, apmib_get(id, &value));
    return value;
}

void set_address(int id, const char* dotted) {
    struct in_addr a;
    ASSERT_NE(0, inet_aton(dotted, &a));
    ASSERT_NE(0, apmib_set(id, &a));
}

net_info static_info(const char* ip, const char* mask, const char* gateway, const char* dns1 = "",
                     const char* dns2 = "", const char* dns3 = "") {
    net_info info;
    memset(&info, 0, sizeof info);
    strcpy(info.ip, ip);
    strcpy(info.mask, mask);
    strcpy(info.gateway, gateway);
    strcpy(info.dns[0], dns1);
    strcpy(info.dns[1], dns2);
    strcpy(info.dns[2], dns3);
    return info;
}

std::vector<std::string> command_texts() {
    std::vector<std::string> texts;
    for (const auto& c : plat_test_commands()) texts.push_back(c.text);
    return texts;
}

}  // namespace

TEST(WanStatic, CollidingWanMovesTheLanAndItsPool) {
    test_root root;
    net_info info = static_info("192.168.1.20", "255.255.255.0", "192.168.1.254", "8.8.8.8");
    ASSERT_EQ(0, config_wan_static(&info));
    EXPECT_EQ(std::vector<std::string>{"killall udhcpd &"}, command_texts());
    EXPECT_EQ("10.168.1.1", address(170));
    EXPECT_EQ("10.168.1.100", address(174));
    EXPECT_EQ("10.168.1.200", address(175));
    EXPECT_EQ("0.0.0.0", address(172)) << "a zero LAN gateway is not rebased";
    EXPECT_EQ("192.168.1.20", address(101));
    EXPECT_EQ("255.255.255.0", address(102));
    EXPECT_EQ("192.168.1.254", address(103));
    EXPECT_EQ("8.8.8.8", address(176));
    EXPECT_EQ("0.0.0.0", address(177));
    EXPECT_STREQ("0.0.0.0", info.dns[1]) << "the empty second DNS is written back";
    EXPECT_EQ(0, stored_int(104));

    // A /8 WAN against a /24 LAN compares under the wider mask.
    set_address(170, "10.0.0.1");
    set_address(172, "10.0.0.254");
    set_address(174, "10.0.0.100");
    plat_test_reset();
    info = static_info("10.1.2.3", "255.0.0.0", "10.0.0.254");
    ASSERT_EQ(0, config_wan_static(&info));
    EXPECT_EQ("192.168.0.1", address(170));
    // Rebased under the /8: only the first octet comes from the new LAN.
    EXPECT_EQ("192.0.0.254", address(172));
    EXPECT_EQ("192.0.0.100", address(174));
    EXPECT_EQ("192.168.1.200", address(175)) << "host bits outside the /8 are kept";

    // 172.16.0.1 moves to 10.16.0.1; no collision moves nothing.
    set_address(170, "172.16.0.1");
    set_address(171, "255.255.0.0");
    info = static_info("172.16.9.9", "255.255.255.0", "172.16.9.1");
    ASSERT_EQ(0, config_wan_static(&info));
    EXPECT_EQ("10.16.0.1", address(170));
    plat_test_reset();
    info = static_info("203.0.113.2", "255.255.255.0", "203.0.113.1");
    ASSERT_EQ(0, config_wan_static(&info));
    EXPECT_TRUE(command_texts().empty());
    EXPECT_EQ("10.16.0.1", address(170));
}

TEST(WanStatic, InvalidTextsAreRefusedInOrder) {
    test_root root;
    plat_test_capture_log();
    net_info info = static_info("300.1.1.1", "255.255.255.0", "1.1.1.1");
    EXPECT_EQ(VESPIN_ERR_INVALID_PARAM, config_wan_static(&info));
    EXPECT_TRUE(plat_test_logged("Invalid ip: 300.1.1.1"));
    info = static_info("1.2.3.4", "mask", "1.1.1.1");
    EXPECT_EQ(VESPIN_ERR_INVALID_PARAM, config_wan_static(&info));
    EXPECT_TRUE(plat_test_logged("INVALID mask: mask"));
    info = static_info("1.2.3.4", "255.255.255.0", "1.1.1.1;reboot");
    EXPECT_EQ(VESPIN_ERR_INVALID_PARAM, config_wan_static(&info));
    EXPECT_TRUE(plat_test_logged("Invalid gateway: 1.1.1.1;reboot"));
    EXPECT_EQ("1.2.3.4", address(101)) << "address and mask were stored before the gateway check";
    info = static_info("1.2.3.4", "255.255.255.0", "1.2.3.1", "1.1.1.1", "x");
    EXPECT_EQ(VESPIN_ERR_INVALID_PARAM, config_wan_static(&info));
    EXPECT_TRUE(plat_test_logged("Invalid dns: x"));
    EXPECT_EQ("1.1.1.1", address(176));
    // A field without its terminator is read as its 16 bytes, never beyond.
    memset(info.ip, '1', sizeof info.ip);
    EXPECT_EQ(VESPIN_ERR_INVALID_PARAM, config_wan_static(&info));
}

TEST(WanStatic, EveryFailingSettingEndsWithItsCodeAndKeepsEarlierWrites) {
    // The ids config_wan_static reads or writes, in the order it touches them.
    const int ids[] = {170, 171, 174, 175, 172, 101, 102, 103, 176, 177, 178, 104};
    test_root root;
    for (int id : ids) {
        for (int side = 0; side < 2; side++) {
            plat_test_reset();
            ASSERT_NE(0, apmib_reinit()) << "back to the factory settings (nothing was flushed)";
            set_address(172, "192.168.1.254");
            plat_test_fail_setting(id, side == 0, side == 1);
            net_info info = static_info("192.168.1.20", "255.255.255.0", "192.168.1.1", "8.8.8.8", "", "9.9.9.9");
            int rv = config_wan_static(&info);
            bool read = id == 170 || id == 171 || id == 174 || id == 175 || id == 172;
            bool written = id != 171;
            if ((side == 0 && !read) || (side == 1 && !written)) {
                EXPECT_EQ(0, rv) << id << " is never " << (side ? "written" : "read");
                continue;
            }
            EXPECT_EQ(VESPIN_ERR_SETTING, rv) << id << " side " << side;
            plat_test_reset();
            // Nothing is rolled back: writes before the failing id stay, later ones never happen.
            bool lan_moved = id != 170 && id != 171;
            bool wan_written = side == 1 && (id == 102 || id == 103 || id >= 176 || id == 104);
            EXPECT_EQ(lan_moved ? "10.168.1.1" : "192.168.1.1", address(170)) << id << " side " << side;
            EXPECT_EQ(wan_written ? "192.168.1.20" : "0.0.0.0", address(101)) << id << " side " << side;
            if (id == 177) {
                // The empty second DNS failing is remembered, the work goes on.
                EXPECT_EQ("9.9.9.9", address(178));
                EXPECT_EQ(0, stored_int(104));
            } else {
                EXPECT_EQ(1, stored_int(104)) << "the WAN type is written last";
            }
        }
    }
}

TEST(WanDhcpAndPppoe, DnsModeServersAndTheIpv6Account) {
    test_root root;
    set_address(176, "4.4.4.4");
    char dns[2][16] = {"", ""};
    ASSERT_EQ(0, config_wan_enable_dhcp(dns));
    EXPECT_EQ(1, stored_int(104));
    EXPECT_EQ(0, stored_int(105));
    EXPECT_EQ("4.4.4.4", address(176)) << "automatic DNS leaves the servers alone";

    strcpy(dns[0], "1.1.1.1");
    ASSERT_EQ(0, config_wan_enable_dhcp(dns));
    EXPECT_EQ(1, stored_int(105));
    EXPECT_EQ("1.1.1.1", address(176));
    EXPECT_EQ("0.0.0.0", address(177));
    EXPECT_STREQ("0.0.0.0", dns[1]);
    strcpy(dns[1], "not-an-address");
    plat_test_capture_log();
    EXPECT_EQ(VESPIN_ERR_INVALID_PARAM, config_wan_enable_dhcp(dns));
    EXPECT_TRUE(plat_test_logged("Invalid dns: not-an-address"));
    EXPECT_EQ("0.0.0.0", address(177));
    plat_test_fail_setting(105, false, true);
    strcpy(dns[1], "");
    EXPECT_EQ(VESPIN_ERR_SETTING, config_wan_enable_dhcp(dns));
    EXPECT_TRUE(plat_test_logged("Fail to set MIB_DNS_MODE"));
    plat_test_reset();

    // PPPoE: the IPv6 account follows only when it shares the IPv4 credentials.
    char pppoe_dns[2][16] = {"", ""};
    ASSERT_EQ(0, config_wan_pppoe("isp-user", "p'a\"ss;$(x)", pppoe_dns));
    EXPECT_EQ(3, stored_int(104));
    char stored[64] = {0};
    ASSERT_NE(0, apmib_get(107, stored));
    EXPECT_STREQ("p'a\"ss;$(x)", stored);
    char value[128] = {0};
    vespin_uci_get("ipv6.pppoe.username", value);
    EXPECT_STREQ("", value) << "not shared: the IPv6 account is left alone";
    ASSERT_EQ(0, vespin_uci_set(4, "ipv6.pppoe.share_credentials=1"));
    ASSERT_EQ(0, config_wan_pppoe("isp-user", "p'a\"ss;$(x)", pppoe_dns));
    EXPECT_EQ(0, vespin_uci_get("ipv6.pppoe.username", value));
    EXPECT_STREQ("isp-user", value);
    memset(value, 0, sizeof value);
    EXPECT_EQ(0, vespin_uci_get("ipv6.pppoe.password", value));
    EXPECT_STREQ("p'a\"ss;$(x)", value);
    EXPECT_TRUE(plat_test_commands().empty()) << "no command carries the account";
}

TEST(WanConfigRecord, VlanFlagAndDispatch) {
    test_root root;
    auto wan = std::make_unique<wan_net_config>();
    memset(wan.get(), 0, sizeof *wan);
    wan->type = "bogus";
    vlan_config* entry = &wan->vlan.entries[0];
    entry->enabled = 1;
    entry->id = 77;
    entry->type = VLAN_TYPE_NAT;
    entry->port_count = 1;
    router_port_info_get(&entry->ports[0].port, 0);
    wan->vlan.count = 1;
    // An unknown type only applies the VLAN table.
    ASSERT_EQ(0, config_wan(wan.get()));
    EXPECT_EQ(1, stored_int(3414));
    EXPECT_EQ(1, stored_int(104)) << "the WAN type stays";

    // A PPPoE record applies its own table (empty here) instead.
    wan->type = "pppoe";
    strcpy(wan->pppoe.account, "u");
    ASSERT_EQ(0, config_wan(wan.get()));
    EXPECT_EQ(0, stored_int(3414));
    EXPECT_EQ(3, stored_int(104));

    wan->type = "static";
    wan->static_.netinfo = static_info("198.51.100.7", "255.255.255.0", "198.51.100.1");
    ASSERT_EQ(0, config_wan(wan.get()));
    EXPECT_EQ(0, stored_int(104));
    EXPECT_EQ(1, stored_int(3414));
    wan->type = "dhcp";
    ASSERT_EQ(0, config_wan(wan.get()));
    EXPECT_EQ(1, stored_int(104));

    plat_test_capture_log();
    plat_test_fail_setting(265562, false, true);
    EXPECT_EQ(VESPIN_ERR_SETTING, config_wan(wan.get()));
    EXPECT_TRUE(plat_test_logged("Fail to update vlan config, errcode: [600002]"));
}

TEST(WanStatus, EightLinesOfWanstatAndTheGateway) {
    test_root root;
    int link = 1;
    ASSERT_NE(0, apmib_set(2405, &link));
    wan_status status;
    ASSERT_EQ(0, get_wan_status(&status));
    EXPECT_DOUBLE_EQ(1048576.50, status.traffic_dl);
    EXPECT_DOUBLE_EQ(262144.25, status.traffic_ul);
    EXPECT_EQ(120, status.average_dl);
    EXPECT_EQ(30, status.average_ul);
    EXPECT_EQ(9800, status.peak_dl);
    EXPECT_EQ(2100, status.peak_ul);
    EXPECT_EQ(64, status.realtime_dl);
    EXPECT_EQ(16, status.realtime_ul);
    EXPECT_EQ(1, status.link);
    EXPECT_EQ(std::vector<std::string>{"wanstat"}, command_texts());

    // Seven lines, or nothing at all, fail with 600001.
    root.write("/etc/vespin/wanstat",
               "traffic_dl: 1\ntraffic_ul: 2\naverage_dl: 3\naverage_ul: 4\npeak_dl: 5\npeak_ul: 6\nrealtime_dl: 7\n");
    plat_test_capture_log();
    EXPECT_EQ(VESPIN_ERR_FAILURE, get_wan_status(&status));
    EXPECT_TRUE(plat_test_logged("wan status pieces"));
    root.write("/etc/vespin/wanstat", "");
    EXPECT_EQ(VESPIN_ERR_FAILURE, get_wan_status(&status));
    EXPECT_TRUE(plat_test_logged("Fail to get output of wanstat"));
    root.write("/etc/vespin/wanstat", "traffic_dl: 1\ntraffic_ul: 2\naverage_dl: 3\naverage_ul: 4\npeak_dl: 5\n"
                                      "peak_ul: 6\nrealtime_dl: 7\nrealtime_ul: 8\n");
    plat_test_fail_setting(2405, true, false);
    EXPECT_EQ(VESPIN_ERR_SETTING, get_wan_status(&status));
    plat_test_reset();

    // The gateway of a dynamic WAN is the root's default route.
    char gateway[16];
    ASSERT_EQ(0, get_gateway(gateway));
    EXPECT_STREQ("10.0.0.1", gateway);
    EXPECT_EQ(std::vector<std::string>{"route -n | awk '/^0.0.0.0/{print $2}'"}, command_texts());
    root.write("/proc/net/route", "Iface\tDestination\tGateway \tFlags\tRefCnt\tUse\tMetric\tMask\t\tMTU\tWindow\tIRTT\n"
                                  "eth1\t0000000A\t00000000\t0001\t0\t0\t0\t00FFFFFF\t0\t0\t0\n");
    plat_test_capture_log();
    EXPECT_EQ(VESPIN_ERR_FAILURE, get_gateway(gateway));
    EXPECT_TRUE(plat_test_logged("Fail to scanf ip"));
    // A static WAN's gateway is its stored one.
    int fixed = 0;
    ASSERT_NE(0, apmib_set(104, &fixed));
    set_address(103, "203.0.113.1");
    ASSERT_EQ(0, get_gateway(gateway));
    EXPECT_STREQ("203.0.113.1", gateway);
    plat_test_fail_setting(104, true, false);
    EXPECT_EQ(VESPIN_ERR_FAILURE, get_gateway(gateway));
    EXPECT_TRUE(plat_test_logged("Fail to get DHCP"));
}
