// net_info: loading the LAN, WAN and VPN addressing from the emulated
// router's interfaces, routes and resolv.conf, and the JSON forms.
#include "status.h"

#include "apmib.h"
#include "platform_testing.h"
#include "test_root.h"
#include "uciconfig.h"

#include <gtest/gtest.h>
#include <string.h>

#include <string>

#include "core/json_ref.h"

namespace {

std::string text(json_object* json) {
    json_ref owned(json);
    return json ? json_object_to_json_string_ext(json, JSON_C_TO_STRING_PLAIN) : "(null)";
}

net_info zeroed() {
    net_info info;
    memset(&info, 0, sizeof info);
    return info;
}

}  // namespace

TEST(NetInfoLoad, InterfacesRoutesAndNameservers) {
    test_root root;
    root.write("/etc/resolv.conf", "search lan\nnameserver 2001:db8::53\nnameserver 10.0.0.1\nnameserver 8.8.8.8\n");
    net_info info = zeroed();
    ASSERT_EQ(0, lan_net_info_load(&info));
    EXPECT_EQ(
        "{\"ip\":\"192.168.1.1\",\"mask\":\"255.255.255.0\",\"gateway\":\"10.0.0.1\",\"dns\":[\"10.0.0.1\","
        "\"8.8.8.8\"]}",
        text(net_info_to_json(&info)));
    info = zeroed();
    ASSERT_EQ(0, wan_net_info_load(&info));
    EXPECT_STREQ("10.0.0.2", info.ip);
    const plat_command& last = plat_test_commands().back();
    EXPECT_EQ("awk '{if($1==\"nameserver\") print $2}' /etc/resolv.conf", last.text);

    // No nameserver: an empty "dns" and still 0; no default route: 0.0.0.0.
    root.write("/etc/resolv.conf", "");
    root.write("/proc/net/route", "Iface\tDestination\tGateway \tFlags\tRefCnt\tUse\tMetric\tMask\t\tMTU\tWindow\tIRTT\n");
    plat_test_capture_log();
    info = zeroed();
    ASSERT_EQ(0, net_info_load(&info, "eth1"));
    EXPECT_TRUE(plat_test_logged("Fail to get dns"));
    EXPECT_TRUE(plat_test_logged("Fail to get gateway"));
    EXPECT_EQ("{\"ip\":\"10.0.0.2\",\"mask\":\"255.255.255.0\",\"gateway\":\"0.0.0.0\",\"dns\":[]}",
              text(net_info_to_json(&info)));

    // A PPPoE WAN is ppp0, which is down: 600001.
    int pppoe = 3;
    ASSERT_NE(0, apmib_set(104, &pppoe));
    EXPECT_EQ(VESPIN_ERR_FAILURE, wan_net_info_load(&info));
    EXPECT_TRUE(plat_test_logged("Fail "));
    EXPECT_EQ(VESPIN_ERR_FAILURE, net_info_load(&info, "nosuch0"));
    plat_test_fail_setting(192, true, false);
    EXPECT_EQ(VESPIN_ERR_SETTING, wan_net_info_load(&info));
    EXPECT_TRUE(plat_test_logged("Fail to get op mode"));
}

TEST(NetInfoLoad, VpnTunnelChoice) {
    test_root root;
    net_info info = zeroed();
    strcpy(info.ip, "untouched");
    ASSERT_EQ(0, vpn_net_info_load(&info)) << "no VPN: nothing loaded";
    EXPECT_STREQ("untouched", info.ip);

    root.write("/etc/vespin/interfaces", "tun0 addr=10.8.0.6 netmask=255.255.255.0\n"
                                          "ppp0 addr=10.9.0.2 netmask=255.255.255.255\n"
                                          "ppp1 addr=10.10.0.2 netmask=255.255.255.255\n");
    ASSERT_EQ(0, vespin_uci_set(4, "vpn.globalcfg.enabled=1"));
    ASSERT_EQ(0, vespin_uci_set(4, "vpn.globalcfg.vpnid=1"));
    ASSERT_EQ(0, vespin_uci_set(4, "vpn.1.protocol=openvpn"));
    ASSERT_EQ(0, vpn_net_info_load(&info));
    EXPECT_STREQ("10.8.0.6", info.ip);
    ASSERT_EQ(0, vespin_uci_set(4, "vpn.1.protocol=l2tp"));
    ASSERT_EQ(0, vpn_net_info_load(&info));
    EXPECT_STREQ("10.9.0.2", info.ip) << "ppp0 over a DHCP WAN";
    int pppoe = 3;
    ASSERT_NE(0, apmib_set(104, &pppoe));
    ASSERT_EQ(0, vpn_net_info_load(&info));
    EXPECT_STREQ("10.10.0.2", info.ip) << "ppp1 when the WAN itself is ppp0";
}

TEST(NetInfoJson, FullLoadAndPartialUpdate) {
    test_root root;
    plat_test_capture_log();
    net_info info = zeroed();
    ASSERT_EQ(0, net_info_load_from_json(
                     &info, "{\"ip\":\"192.168.127.1\",\"mask\":\"255.255.255.0\",\"gateway\":\"0.0.0.0\","
                            "\"dns\":[\"1.1.1.1\",\"2.2.2.2\",\"3.3.3.3\",\"4.4.4.4\",\"5.5.5.5\"]}"));
    EXPECT_STREQ("3.3.3.3", info.dns[2]) << "the first three of five";
    EXPECT_EQ(
        "{\"ip\":\"192.168.127.1\",\"mask\":\"255.255.255.0\",\"gateway\":\"0.0.0.0\",\"dns\":[\"1.1.1.1\","
        "\"2.2.2.2\",\"3.3.3.3\"]}",
        text(net_info_to_json(&info)));

    // Only "dns": replaced, unused entries cleared.
    ASSERT_EQ(0, net_info_update_from_json(&info, "{\"dns\":[\"9.9.9.9\"]}"));
    EXPECT_STREQ("9.9.9.9", info.dns[0]);
    EXPECT_STREQ("", info.dns[1]);
    EXPECT_STREQ("192.168.127.1", info.ip);
    EXPECT_EQ(VESPIN_ERR_NO_CHANGE, net_info_update_from_json(&info, "{}"));
    EXPECT_EQ(VESPIN_ERR_INVALID_JSON, net_info_update_from_json(&info, "not json"));
    EXPECT_EQ(VESPIN_ERR_MISSING_PARAM, net_info_load_from_json(&info, "not json"));
    EXPECT_TRUE(plat_test_logged("Fail to parse: not json"));

    // Over-long values are cut to 15 characters.
    ASSERT_EQ(0, net_info_update_from_json(&info, "{\"gateway\":\"123456789012345678901234567890\"}"));
    EXPECT_STREQ("123456789012345", info.gateway);

    // Each required member and each wrong type, with what stays changed.
    const std::pair<const char*, const char*> refused[] = {
        {"{\"mask\":\"1\",\"gateway\":\"1\"}", "Missing ip"},
        {"{\"ip\":\"7.7.7.7\",\"gateway\":\"1\"}", "Missing mask"},
        {"{\"ip\":\"1\",\"mask\":\"1\"}", "Missing gateway"},
        {"{\"ip\":\"1\",\"mask\":\"1\",\"gateway\":\"1\",\"dns\":\"1.1.1.1\"}", "Invalid dns"},
        {"{\"ip\":\"1\",\"mask\":\"1\",\"gateway\":\"1\",\"dns\":[\"6.6.6.6\",1]}", "Invalid type of dns"},
        {"{\"ip\":1,\"mask\":\"1\",\"gateway\":\"1\"}", "Missing ip"},
    };
    for (const auto& r : refused) {
        EXPECT_EQ(VESPIN_ERR_MISSING_PARAM, net_info_load_from_json(&info, r.first)) << r.first;
        EXPECT_TRUE(plat_test_logged(r.second)) << r.second;
    }
    EXPECT_STREQ("6.6.6.6", info.dns[0]) << "entries copied before the bad one stay";
    EXPECT_STREQ("1", info.ip);
    EXPECT_EQ(VESPIN_ERR_MISSING_PARAM, net_info_update_from_json(&info, "{\"mask\":[]}"));
}
