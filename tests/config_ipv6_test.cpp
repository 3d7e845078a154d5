// The IPv6 WAN: JSON rules, the settings and UCI it writes for each mode,
// the LAN-side defaults and the live state read from the kernel's files
// (with one router solicitation through the rdisc6 stand-in).
#include "config_ipv6.h"

#include "apmib.h"
#include "platform_testing.h"
#include "test_root.h"
#include "uciconfig.h"

#include <gtest/gtest.h>
#include <string.h>

#include <memory>
#include <string>

#include "core/json_ref.h"

namespace {

std::string text(json_object* json) {
    json_ref owned(json);
    return json ? json_object_to_json_string_ext(json, JSON_C_TO_STRING_PLAIN) : "(null)";
}

int stored_int(int id) {
    int value = -1;
    EXPECT_NE(0, apmib_get(id, &value));
    return value;
}

std::string stored_addr(int id) {
    ipv6_mib_addr a;
    EXPECT_NE(0, apmib_get(id, &a));
    char out[IPV6_ADDR_TEXT_SIZE];
    EXPECT_EQ(0, ipv6_addr_to_string(a.groups, out));
    return std::string(out) + "/" + std::to_string(a.prefix_length);
}

int parse_wan(ipv6_wan_netcfg* config, const char* json) {
    json_ref doc(json_tokener_parse(json));
    EXPECT_TRUE(doc) << json;
    return ipv6_wan_netcfg_from_json(config, doc.get());
}

std::unique_ptr<ipv6_wan_netcfg> fresh() {
    auto config = std::make_unique<ipv6_wan_netcfg>();
    memset(config.get(), 0, sizeof *config);
    return config;
}

const char kStatic[] =
    "{\"enabled\":true,\"type\":\"static\",\"static\":{\"netinfo\":{\"address\":[{\"ip\":\"2001:DB8::10\"},"
    "{\"ip\":\"2001:db8::11\",\"prefix_length\":48}],\"gateway\":{\"ip\":\"2001:db8::1\"},"
    "\"dns\":[{\"ip\":\"2001:4860:4860::8888\"},{\"ip\":\"2001:4860:4860::8844\"}]}}}";

}  // namespace

TEST(Ipv6Address, TextsGroupsAndValidity) {
    uint16_t groups[8];
    ASSERT_EQ(0, ipv6_addr_from_string("2001:db8::ff00:42:8329", groups));
    EXPECT_EQ(0x2001, groups[0]);
    EXPECT_EQ(0x8329, groups[7]);
    char out[IPV6_ADDR_TEXT_SIZE];
    ASSERT_EQ(0, ipv6_addr_to_string(groups, out));
    EXPECT_STREQ("2001:db8::ff00:42:8329", out);
    ASSERT_EQ(0, ipv6_addr_format_string("2001:0DB8:0000::0001", out));
    EXPECT_STREQ("2001:db8::1", out);
    EXPECT_EQ(VESPIN_ERR_MISSING_PARAM, ipv6_addr_from_string("10.0.0.1", groups));
    ipv6_addr a = {64, "fe80::1"};
    EXPECT_EQ(1, is_valid_ipv6_addr(&a));
    a.prefix_length = 129;
    EXPECT_EQ(0, is_valid_ipv6_addr(&a));
    memset(a.addr, 'f', sizeof a.addr);
    a.prefix_length = 0;
    EXPECT_EQ(0, is_valid_ipv6_addr(&a)) << "an unterminated text is invalid, not over-read";
}

TEST(Ipv6Json, InputRulesAndGoldenOutput) {
    auto config = fresh();
    // {"enabled": false} needs no type.
    EXPECT_EQ(0, parse_wan(config.get(), "{\"enabled\":false}"));
    EXPECT_EQ(0, config->enabled);
    EXPECT_EQ(VESPIN_ERR_MISSING_PARAM, parse_wan(config.get(), "{\"type\":\"auto\"}"));
    EXPECT_EQ(VESPIN_ERR_INVALID_PARAM, parse_wan(config.get(), "{\"enabled\":1}"));
    EXPECT_EQ(VESPIN_ERR_MISSING_PARAM, parse_wan(config.get(), "{\"enabled\":true}"));
    // Another type text: 0, nothing more read, the type stays.
    config->type = IPV6_WAN_PPPOE;
    EXPECT_EQ(0, parse_wan(config.get(), "{\"enabled\":true,\"type\":\"6rd\"}"));
    EXPECT_EQ((uint32_t)IPV6_WAN_PPPOE, config->type);
    EXPECT_EQ(VESPIN_ERR_MISSING_PARAM, parse_wan(config.get(), "{\"enabled\":true,\"type\":\"auto\"}"));
    EXPECT_EQ(VESPIN_ERR_INVALID_PARAM, parse_wan(config.get(), "{\"enabled\":true,\"type\":\"auto\",\"auto\":[]}"));

    ASSERT_EQ(0, parse_wan(config.get(), kStatic));
    EXPECT_EQ(
        "{\"enabled\":true,\"type\":\"static\",\"static\":{\"netinfo\":{\"family\":\"ipv6\",\"address\":"
        "[{\"ip\":\"2001:DB8::10\",\"prefix_length\":64},{\"ip\":\"2001:db8::11\",\"prefix_length\":48}],"
        "\"gateway\":{\"ip\":\"2001:db8::1\",\"prefix_length\":64},\"dns\":[{\"ip\":\"2001:4860:4860::8888\","
        "\"prefix_length\":64},{\"ip\":\"2001:4860:4860::8844\",\"prefix_length\":64}]}}}",
        text(ipv6_wan_netcfg_to_json(config.get())));

    // Address arrays: six valid keep five; invalid ones are skipped; none valid is 100209.
    ipv6_addrs addrs;
    json_ref six(json_tokener_parse(
        "[{\"ip\":\"::1\"},{\"ip\":\"bad\"},{\"ip\":\"::2\",\"prefix_length\":129},{\"ip\":\"\"},{\"prefix_length\":1},"
        "{\"ip\":\"::3\"},{\"ip\":\"::4\"},{\"ip\":\"::5\"},{\"ip\":\"::6\",\"prefix_length\":0},{\"ip\":\"::7\"}]"));
    ASSERT_EQ(0, ipv6_addrs_from_json(&addrs, six.get()));
    ASSERT_EQ(5, addrs.count);
    EXPECT_STREQ("::3", addrs.addrs[1].addr);
    EXPECT_STREQ("::6", addrs.addrs[4].addr);
    EXPECT_EQ(0, addrs.addrs[4].prefix_length);
    json_ref invalid(json_tokener_parse("[{\"ip\":\"::1\",\"prefix_length\":129},{\"ip\":\"x\"}]"));
    EXPECT_EQ(VESPIN_ERR_INVALID_JSON, ipv6_addrs_from_json(&addrs, invalid.get()));
    EXPECT_EQ(0, ipv6_netdns_from_json(&addrs, invalid.get()));
    EXPECT_EQ(0, addrs.count);
    EXPECT_EQ("[]", text(ipv6_netdns_to_json(&addrs))) << "a DNS list may be empty";
    ipv6_addr one;
    json_ref wrong(json_tokener_parse("{\"ip\":\"::1\",\"prefix_length\":\"64\"}"));
    EXPECT_EQ(VESPIN_ERR_INVALID_PARAM, ipv6_addr_from_json(&one, wrong.get()));
    json_ref long_text(json_tokener_parse(("{\"ip\":\"" + std::string(100, '1') + "\"}").c_str()));
    EXPECT_EQ(VESPIN_ERR_INVALID_JSON, ipv6_addr_from_json(&one, long_text.get()));
    EXPECT_EQ(VESPIN_ERR_FAILURE, ipv6_addr_from_json(nullptr, wrong.get()));
    EXPECT_EQ(VESPIN_ERR_FAILURE, ipv6_wan_netcfg_from_json(config.get(), nullptr));

    // PPPoE: every member required; passwords are printable ASCII, cut to 39.
    const char* pppoe_missing = "{\"enabled\":true,\"type\":\"pppoe\",\"pppoe\":{\"share_ipv4_credentials\":true,"
                                "\"account\":\"a\",\"password\":\"b\"}}";
    EXPECT_EQ(VESPIN_ERR_MISSING_PARAM, parse_wan(config.get(), pppoe_missing));
    const char* pppoe_tab = "{\"enabled\":true,\"type\":\"pppoe\",\"pppoe\":{\"share_ipv4_credentials\":true,"
                            "\"account\":\"a\",\"password\":\"b\\tc\",\"dns\":[]}}";
    EXPECT_EQ(VESPIN_ERR_INVALID_PARAM, parse_wan(config.get(), pppoe_tab));
    std::string pppoe_long = "{\"enabled\":true,\"type\":\"pppoe\",\"pppoe\":{\"share_ipv4_credentials\":false,"
                             "\"account\":\"" + std::string(50, 'a') + "\",\"password\":\"pw\",\"dns\":[]}}";
    ASSERT_EQ(0, parse_wan(config.get(), pppoe_long.c_str()));
    EXPECT_EQ(std::string(39, 'a'), config->pppoe.account);
    ipv6_netinfo empty;
    memset(&empty, 0, sizeof empty);
    EXPECT_EQ("{\"netinfo\":{\"family\":\"ipv6\",\"address\":[],\"gateway\":{},\"dns\":[]}}",
              text(ipv6_wan_netinfo_to_json(&empty)));
}

TEST(Ipv6Store, EachModeWritesItsSettings) {
    test_root root;
    auto config = fresh();
    ASSERT_EQ(0, parse_wan(config.get(), kStatic));
    ASSERT_EQ(0, set_ipv6_wan_net_config(config.get()));
    EXPECT_EQ(1, stored_int(382));
    EXPECT_EQ(0, stored_int(383));
    EXPECT_EQ(1, stored_int(384));
    EXPECT_EQ("2001:db8::10/64", stored_addr(378));
    EXPECT_EQ("2001:db8::1/64", stored_addr(379));
    EXPECT_EQ("2001:4860:4860::8888/64", stored_addr(381)) << "only the first DNS server is stored";
    EXPECT_EQ(0, stored_int(385));
    EXPECT_NE(std::string::npos, root.read("/flash/mib.conf").find("384 = 1")) << "flushed";
    // The LAN-side defaults and the router advertisement.
    EXPECT_EQ(1, stored_int(388));
    ipv6_radvd_param radvd;
    ASSERT_NE(0, apmib_get(370, &radvd));
    EXPECT_EQ(1u, radvd.enabled);
    EXPECT_STREQ("br0", radvd.interface);
    EXPECT_EQ(600u, radvd.max_adv_interval);
    EXPECT_EQ(198u, radvd.min_adv_interval);
    EXPECT_EQ(64u, radvd.cur_hop_limit);
    EXPECT_EQ(1800u, radvd.default_lifetime);
    EXPECT_STREQ("medium", radvd.default_preference);
    ipv6_dhcp6s_param dhcp6s;
    ASSERT_NE(0, apmib_get(372, &dhcp6s));
    EXPECT_EQ(1u, dhcp6s.enabled);
    // The block is written only when it differs: a second call writes nothing.
    plat_test_fail_setting(370, false, true);
    EXPECT_EQ(0, radvd_default_config());
    radvd.prefixes[1].enabled = 1;
    plat_test_reset();
    ASSERT_NE(0, apmib_set(370, &radvd));
    plat_test_fail_setting(370, false, true);
    EXPECT_EQ(VESPIN_ERR_SETTING, radvd_default_config()) << "a prefix entry to clear";
    plat_test_reset();

    auto loaded = fresh();
    ASSERT_EQ(0, get_ipv6_wan_net_config(loaded.get()));
    EXPECT_EQ(
        "{\"enabled\":true,\"type\":\"static\",\"static\":{\"netinfo\":{\"family\":\"ipv6\",\"address\":"
        "[{\"ip\":\"2001:db8::10\",\"prefix_length\":64}],\"gateway\":{\"ip\":\"2001:db8::1\",\"prefix_length\":64},"
        "\"dns\":[{\"ip\":\"2001:4860:4860::8888\",\"prefix_length\":64}]}}}",
        text(ipv6_wan_netcfg_to_json(loaded.get())));

    // PPPoE sharing the IPv4 credentials rewrites the IPv4 account too.
    ASSERT_EQ(0, parse_wan(config.get(), "{\"enabled\":true,\"type\":\"pppoe\",\"pppoe\":{\"share_ipv4_credentials\""
                                         ":true,\"account\":\"v6user\",\"password\":\"it's $(secret)\",\"dns\":[]}}"));
    ASSERT_EQ(0, set_ipv6_wan_net_config(config.get()));
    char stored[64] = {0};
    ASSERT_NE(0, apmib_get(106, stored));
    EXPECT_STREQ("v6user", stored);
    EXPECT_EQ(0, stored_int(382));
    EXPECT_EQ(1, stored_int(383));
    EXPECT_EQ(1, stored_int(385)) << "no DNS: from the network";
    EXPECT_NE(std::string::npos, root.read("/etc/config/ipv6").find("v6user")) << "committed to the package";
    ASSERT_EQ(0, get_ipv6_wan_net_config(loaded.get()));
    EXPECT_EQ((uint32_t)IPV6_WAN_PPPOE, loaded->type);
    EXPECT_STREQ("it's $(secret)", loaded->pppoe.password);
    EXPECT_EQ(1, loaded->pppoe.share_ipv4_credentials);
    EXPECT_TRUE(plat_test_commands().empty()) << "no setter runs a command";
    // Options missing from the package read as false and empty.
    ASSERT_EQ(0, vespin_uci_set(2, "ipv6.pppoe.share_credentials"));
    ASSERT_EQ(0, vespin_uci_set(2, "ipv6.pppoe.password"));
    ipv6_pppoe_netcfg from_uci;
    memset(&from_uci, 0x55, sizeof from_uci);
    ASSERT_EQ(0, get_ipv6_pppoe_from_uci(&from_uci));
    EXPECT_EQ(0, from_uci.share_ipv4_credentials);
    EXPECT_STREQ("v6user", from_uci.account);
    EXPECT_STREQ("", from_uci.password);
    ipv6_pppoe_netcfg broken = loaded->pppoe;
    strcpy(broken.password, "line\nbreak");
    EXPECT_EQ(VESPIN_ERR_INVALID_PARAM, save_ipv6_pppoe_to_uci(&broken));
    EXPECT_EQ(std::string::npos, root.read("/etc/config/ipv6").find("line"));

    // Unknown type and failing settings.
    plat_test_capture_log();
    config->type = 7;
    EXPECT_EQ(VESPIN_ERR_INVALID_PARAM, set_ipv6_wan_net_config(config.get()));
    EXPECT_TRUE(plat_test_logged("Unknown wan6 type"));
    EXPECT_TRUE(plat_test_logged("Fail to set ipv6 net config"));
    config->type = IPV6_WAN_AUTO;
    plat_test_fail_setting(370, true, false);
    EXPECT_EQ(VESPIN_ERR_SETTING, set_ipv6_wan_net_config(config.get()));
    EXPECT_TRUE(plat_test_logged("Fail to get MIB_IPV6_RADVD_PARAM"));
    plat_test_fail_setting(382, true, false);
    EXPECT_EQ(VESPIN_ERR_SETTING, get_ipv6_wan_net_config(loaded.get()));
    EXPECT_TRUE(plat_test_logged("Fail to get MIB_IPV6_ORIGIN_TYPE"));
    plat_test_reset();
    plat_test_fail_setting(385, true, false);
    ipv6_addrs dns;
    EXPECT_EQ(0, get_ipv6_dns(&dns));
    EXPECT_EQ(0, dns.count);
    plat_test_fail_setting(381, false, true);
    dns.count = 1;
    strcpy(dns.addrs[0].addr, "::1");
    EXPECT_EQ(VESPIN_ERR_FAILURE, set_ipv6_dns(&dns));
}

TEST(Ipv6Live, AddressesGatewayDnsAndOneSolicitation) {
    test_root root;
    root.write("/var/resolv_v6.conf", "nameserver fe80::1%eth1\nnameserver 2001:db8::53\nnameserver not-an-address\n");
    ipv6_netinfo info;
    memset(&info, 0, sizeof info);
    ASSERT_EQ(0, get_ipv6_wan_net_info(&info));
    EXPECT_EQ(0, info.address.count) << "only a link-local address on eth1";
    EXPECT_TRUE(plat_test_commands().empty()) << "IPv6 is off: no solicitation";
    ASSERT_EQ(2, info.dns.count);
    EXPECT_STREQ("fe80::1", info.dns.addrs[0].addr);

    // An automatic WAN asks for one solicitation: rdisc6 answers on eth1.
    auto config = fresh();
    ASSERT_EQ(0, parse_wan(config.get(), "{\"enabled\":true,\"type\":\"auto\",\"auto\":{\"dns\":[]}}"));
    ASSERT_EQ(0, set_ipv6_wan_net_config(config.get()));
    ASSERT_EQ(0, get_ipv6_wan_net_info(&info));
    ASSERT_EQ(1u, plat_test_commands().size());
    EXPECT_EQ("rdisc6 eth1", plat_test_commands()[0].text);
    EXPECT_EQ(
        "{\"netinfo\":{\"family\":\"ipv6\",\"address\":[{\"ip\":\"2001:db8:0:1::2\",\"prefix_length\":64}],"
        "\"gateway\":{\"ip\":\"fe80::1\",\"prefix_length\":64},\"dns\":[{\"ip\":\"fe80::1\",\"prefix_length\":64},"
        "{\"ip\":\"2001:db8::53\",\"prefix_length\":64}]}}",
        text(ipv6_wan_netinfo_to_json(&info)));
    root.write("/proc/net/if_inet6", "");
    ASSERT_EQ(0, get_ipv6_wan_net_info(&info));
    EXPECT_EQ(1u, plat_test_commands().size()) << "the request was served once";

    // No resolv_v6.conf: no DNS, still 0; a failing operating mode: 600002.
    root.write("/var/resolv_v6.conf", "");
    ASSERT_EQ(0, remove(root.path("/var/resolv_v6.conf").c_str()));
    ASSERT_EQ(0, get_ipv6_wan_net_info(&info));
    EXPECT_EQ(0, info.dns.count);
    plat_test_capture_log();
    plat_test_fail_setting(192, true, false);
    EXPECT_EQ(VESPIN_ERR_SETTING, get_ipv6_wan_net_info(&info));
    EXPECT_TRUE(plat_test_logged("Fail to get op mode"));
}
