// The WAN and LAN records: loading from the factory settings and from
// changed ones, their JSON forms, and the WAN update from a client's JSON
// with every code and the fields it leaves behind.
#include "config_wan.h"

#include "apmib.h"
#include "platform_testing.h"
#include "test_root.h"

#include <arpa/inet.h>
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

void set_int(int id, int value) { ASSERT_NE(0, apmib_set(id, &value)); }

void set_address(int id, const char* dotted) {
    struct in_addr a;
    ASSERT_NE(0, inet_aton(dotted, &a));
    ASSERT_NE(0, apmib_set(id, &a));
}

std::unique_ptr<wan_net_config> fresh_wan() {
    auto wan = std::make_unique<wan_net_config>();
    memset(wan.get(), 0, sizeof *wan);
    return wan;
}

}  // namespace

TEST(LanConfig, FactoryServerAndOtherModes) {
    test_root root;
    lan_net_config lan;
    ASSERT_EQ(0, lan_net_config_load(&lan));
    EXPECT_EQ(
        "{\"type\":\"dhcp_server\",\"dhcp_server\":{\"ip_start\":\"192.168.1.100\",\"ip_end\":\"192.168.1.200\","
        "\"lease\":86400,\"domain\":\"lan\",\"netinfo\":{\"ip\":\"192.168.1.1\",\"mask\":\"255.255.255.0\","
        "\"gateway\":\"0.0.0.0\",\"dns\":[]}}}",
        text(lan_net_config_to_json(&lan)));

    set_int(173, 0);
    ASSERT_EQ(0, lan_net_config_load(&lan));
    EXPECT_EQ(
        "{\"type\":\"dhcp_disabled\",\"dhcp_disabled\":{\"netinfo\":{\"ip\":\"192.168.1.1\",\"mask\":"
        "\"255.255.255.0\",\"gateway\":\"0.0.0.0\",\"dns\":[]}}}",
        text(lan_net_config_to_json(&lan)));
    set_int(173, 1);
    ASSERT_EQ(0, lan_net_config_load(&lan));
    EXPECT_EQ("{\"type\":\"dhcp_client\"}", text(lan_net_config_to_json(&lan)));
    set_int(173, 7);
    ASSERT_EQ(0, lan_net_config_load(&lan));
    EXPECT_STREQ("unknown", lan.type);

    // A long stored domain is cut to the record's 40 bytes.
    set_int(173, 2);
    std::string domain(63, 'd');
    ASSERT_NE(0, apmib_set(198, (void*)domain.c_str()));
    ASSERT_EQ(0, lan_net_config_load(&lan));
    EXPECT_EQ(std::string(39, 'd'), lan.domain);
}

TEST(LanConfig, BothPoolReadsReportDhcpStart) {
    // Deliberate: the end-of-pool read reports "Fail to get DHCP_START" too.
    test_root root;
    for (int id : {174, 175}) {
        plat_test_reset();
        plat_test_capture_log();
        plat_test_fail_setting(id, true, false);
        lan_net_config lan;
        EXPECT_EQ(VESPIN_ERR_SETTING, lan_net_config_load(&lan));
        EXPECT_TRUE(plat_test_logged("Fail to get DHCP_START")) << id;
    }
    const std::pair<int, const char*> others[] = {{173, "Fail to get DHCP"},
                                                  {945, "Fail to get DHCP_LEASE_TIME"},
                                                  {198, "Fail to get DHCP domain"},
                                                  {170, "Fail to get ip"},
                                                  {171, "Fail to get subnet"},
                                                  {172, "Fail to get gateway ip"}};
    for (const auto& other : others) {
        plat_test_reset();
        plat_test_capture_log();
        plat_test_fail_setting(other.first, true, false);
        lan_net_config lan;
        EXPECT_EQ(VESPIN_ERR_SETTING, lan_net_config_load(&lan));
        EXPECT_TRUE(plat_test_logged(other.second)) << other.first;
    }
}

TEST(WanConfig, LoadEachTypeFromTheStore) {
    test_root root;
    auto wan = fresh_wan();
    ASSERT_EQ(0, wan_net_config_load(wan.get()));
    EXPECT_EQ("{\"type\":\"dhcp\",\"vlan\":[]}", text(wan_net_config_to_json(wan.get())));

    // Manual DNS for DHCP: 0.0.0.0 is an empty slot and left out.
    set_int(105, 1);
    set_address(176, "0.0.0.0");
    set_address(177, "9.9.9.9");
    ASSERT_EQ(0, wan_net_config_load(wan.get()));
    EXPECT_STREQ("", wan->dhcp.dns[0]);
    EXPECT_EQ("{\"type\":\"dhcp\",\"dhcp\":{\"dns\":[\"9.9.9.9\"]},\"vlan\":[]}", text(wan_net_config_to_json(wan.get())));

    set_int(104, 3);
    ASSERT_NE(0, apmib_set(106, (void*)"user@isp"));
    ASSERT_NE(0, apmib_set(107, (void*)"pass word"));
    ASSERT_EQ(0, wan_net_config_load(wan.get()));
    EXPECT_EQ(
        "{\"type\":\"pppoe\",\"pppoe\":{\"account\":\"user@isp\",\"password\":\"pass word\",\"dns\":[\"9.9.9.9\"],"
        "\"vlan\":[]},\"vlan\":[]}",
        text(wan_net_config_to_json(wan.get())));

    // A static WAN whose gateway cannot be read still loads, gateway empty.
    set_int(104, 0);
    set_address(101, "203.0.113.5");
    set_address(102, "255.255.255.0");
    set_address(176, "1.1.1.1");
    plat_test_capture_log();
    plat_test_fail_setting(103, true, false);
    ASSERT_EQ(0, wan_net_config_load(wan.get()));
    EXPECT_TRUE(plat_test_logged("Fail to read gateway"));
    EXPECT_EQ(
        "{\"type\":\"static\",\"static\":{\"netinfo\":{\"ip\":\"203.0.113.5\",\"mask\":\"255.255.255.0\","
        "\"gateway\":\"\",\"dns\":[\"1.1.1.1\",\"9.9.9.9\"]}},\"vlan\":[]}",
        text(wan_net_config_to_json(wan.get())));
    // ... and returns the VLAN loader's result.
    plat_test_fail_setting(3413, true, false);
    EXPECT_EQ(VESPIN_ERR_SETTING, wan_net_config_load(wan.get()));
    EXPECT_TRUE(plat_test_logged("Fail to get vlan config"));
    plat_test_reset();

    set_int(104, 2);
    ASSERT_EQ(0, wan_net_config_load(wan.get()));
    EXPECT_STREQ("unknown", wan->type);
    // A bridge (operating mode 1) is "dhcp" whatever is stored.
    set_int(192, 1);
    ASSERT_EQ(0, wan_net_config_load(wan.get()));
    EXPECT_STREQ("dhcp", wan->type);

    set_int(192, 0);
    set_int(104, 3);
    const std::pair<int, const char*> failures[] = {{104, "Fail to get DHCP"},
                                                    {192, "Fail to get op_mode"},
                                                    {106, "Fail to get PPPoE name"},
                                                    {107, "Fail to get PPPoE password"},
                                                    {105, "Fail to get MIB_DNS_MODE"},
                                                    {176, "Fail to get MIB_DNS1"},
                                                    {177, "Fail to get MIB_DNS2"}};
    for (const auto& failure : failures) {
        plat_test_capture_log();
        plat_test_fail_setting(failure.first, true, false);
        EXPECT_EQ(VESPIN_ERR_SETTING, wan_net_config_load(wan.get())) << failure.first;
        EXPECT_TRUE(plat_test_logged(failure.second)) << failure.second;
        plat_test_reset();
    }
}

TEST(WanConfig, UpdateFromJsonRulesAndLeftovers) {
    test_root root;
    auto wan = fresh_wan();
    ASSERT_EQ(0, wan_net_config_load(wan.get()));
    plat_test_capture_log();

    // Without "type" the current type stays and the type's members apply.
    ASSERT_EQ(0, wan_net_config_update_from_json(wan.get(), "{\"dhcp\":{\"dns\":[\"8.8.8.8\",\"8.8.4.4\",\"1.1.1.1\"]}}"));
    EXPECT_STREQ("dhcp", wan->type);
    EXPECT_STREQ("8.8.8.8", wan->dhcp.dns[0]);
    EXPECT_STREQ("8.8.4.4", wan->dhcp.dns[1]) << "a third server is ignored";
    // A "dhcp" type without a "dhcp" object empties both slots.
    ASSERT_EQ(0, wan_net_config_update_from_json(wan.get(), "{\"type\":\"dhcp\"}"));
    EXPECT_STREQ("", wan->dhcp.dns[0]);
    EXPECT_STREQ("", wan->dhcp.dns[1]);

    // PPPoE: account, password, DNS and VLAN.
    ASSERT_EQ(0, wan_net_config_update_from_json(
                     wan.get(), "{\"type\":\"pppoe\",\"pppoe\":{\"account\":\"a\",\"password\":\"with space ~\","
                                "\"dns\":[\"1.0.0.1\"],\"vlan\":[{\"id\":35,\"enabled\":true,\"ports\":"
                                "[{\"tagged\":true,\"port\":{\"id\":0}}]}]},\"vlan\":[{\"id\":36,\"enabled\":false,"
                                "\"ports\":[{\"tagged\":false,\"port\":{\"id\":1}}]}]}"));
    EXPECT_STREQ("pppoe", wan->type);
    EXPECT_STREQ("with space ~", wan->pppoe.password);
    EXPECT_EQ(1, wan->pppoe.vlan.count);
    EXPECT_EQ(35, wan->pppoe.vlan.entries[0].id);
    EXPECT_EQ(36, wan->vlan.entries[0].id);
    EXPECT_EQ(
        "{\"type\":\"pppoe\",\"pppoe\":{\"account\":\"a\",\"password\":\"with space ~\",\"dns\":[\"1.0.0.1\"],"
        "\"vlan\":[{\"enabled\":true,\"id\":35,\"priority\":0,\"type\":\"NAT\",\"is_bridged\":false,\"ports\":"
        "[{\"port\":{\"id\":0,\"name\":\"wan\",\"type\":\"wan\"},\"tagged\":true}]}]},\"vlan\":[{\"enabled\":false,"
        "\"id\":36,\"priority\":0,\"type\":\"NAT\",\"is_bridged\":false,\"ports\":[{\"port\":{\"id\":1,"
        "\"name\":\"eth0\",\"type\":\"lan\"},\"tagged\":false}]}]}",
        text(wan_net_config_to_json(wan.get())));
    // An update without "vlan" empties the WAN VLAN table (and a PPPoE object
    // without one its own).
    ASSERT_EQ(0, wan_net_config_update_from_json(wan.get(), "{\"pppoe\":{}}"));
    EXPECT_EQ(0, wan->vlan.count);
    EXPECT_EQ(0, wan->pppoe.vlan.count);
    EXPECT_STREQ("a", wan->pppoe.account) << "absent members keep their value";

    // Passwords with a tab, DEL, a non-ASCII byte or a NUL are refused.
    const char* bad_passwords[] = {"{\"pppoe\":{\"password\":\"a\\tb\"}}", "{\"pppoe\":{\"password\":\"a\\u007fb\"}}",
                                   "{\"pppoe\":{\"password\":\"caf\\u00e9\"}}",
                                   "{\"pppoe\":{\"password\":\"a\\u0000b\"}}"};
    for (const char* json : bad_passwords) {
        EXPECT_EQ(VESPIN_ERR_INVALID_PARAM, wan_net_config_update_from_json(wan.get(), json)) << json;
        EXPECT_TRUE(plat_test_logged("Invalid password"));
    }
    EXPECT_STREQ("with space ~", wan->pppoe.password);

    // A second DNS of the wrong type fails after the first was copied.
    EXPECT_EQ(VESPIN_ERR_MISSING_PARAM,
              wan_net_config_update_from_json(wan.get(), "{\"dhcp\":{\"dns\":[\"4.4.4.4\",5]}}"));
    EXPECT_TRUE(plat_test_logged("Invalid json type of dns"));
    EXPECT_STREQ("4.4.4.4", wan->dhcp.dns[0]);

    // Static netinfo goes through the partial net_info update; long texts are cut.
    ASSERT_EQ(0, wan_net_config_update_from_json(
                     wan.get(), "{\"type\":\"static\",\"static\":{\"netinfo\":{\"ip\":\"203.0.113.9\","
                                "\"mask\":\"255.255.255.0123456789\"}}}"));
    EXPECT_STREQ("static", wan->type);
    EXPECT_STREQ("203.0.113.9", wan->static_.netinfo.ip);
    EXPECT_STREQ("255.255.255.012", wan->static_.netinfo.mask);

    // Codes and messages for each wrong shape.
    const std::pair<const char*, const char*> refused[] = {
        {"{\"type\":5}", "Missing type"},
        {"{\"type\":\"unknown\"}", "Unknown type:unknown"},
        {"{\"pppoe\":[]}", "Missing pppoe"},
        {"{\"pppoe\":{\"account\":1}}", "Missing pppoe.account"},
        {"{\"pppoe\":{\"password\":true}}", "Missing pppoe.password"},
        {"{\"pppoe\":{\"dns\":\"1.1.1.1\"}}", "Missing pppoe.dns"},
        {"{\"pppoe\":{\"vlan\":{}}}", "Missing pppoe.vlan"},
        {"{\"static\":1}", "Missing static"},
        {"{\"static\":{\"netinfo\":[]}}", "Missing static.netinfo"},
        {"{\"static\":{\"netinfo\":{}}}", "Fail to parse static.netinfo"},
        {"{\"dhcp\":[]}", "Invalid dhcp type"},
        {"{\"dhcp\":{\"dns\":{}}}", "Invalid dhcp.dns"},
        {"{\"vlan\":{}}", "Missing vlan"},
    };
    for (const auto& r : refused) {
        int expected = strcmp(r.second, "Fail to parse static.netinfo") == 0 ? VESPIN_ERR_NO_CHANGE
                                                                             : VESPIN_ERR_MISSING_PARAM;
        EXPECT_EQ(expected, wan_net_config_update_from_json(wan.get(), r.first)) << r.first;
        EXPECT_TRUE(plat_test_logged(r.second)) << r.second;
    }
    EXPECT_STREQ("static", wan->type) << "a failed update keeps the type";
    EXPECT_EQ(VESPIN_ERR_INVALID_JSON, wan_net_config_update_from_json(wan.get(), "{\"type\":"));
    EXPECT_TRUE(plat_test_logged("Fail to parse json: `{\"type\":`"));
    EXPECT_EQ(VESPIN_ERR_INVALID_JSON, wan_net_config_update_from_json(wan.get(), "[]"));
    EXPECT_EQ(VESPIN_ERR_INVALID_JSON, wan_net_config_update_from_json(wan.get(), nullptr));
}

TEST(WanConfig, SetIpv4PppoeWritesUserThenPassword) {
    test_root root;
    std::string long_user(60, 'u');
    ASSERT_EQ(0, set_ipv4_pppoe(long_user.c_str(), "secret"));
    char stored[64] = {0};
    ASSERT_NE(0, apmib_get(106, stored));
    EXPECT_EQ(std::string(39, 'u'), stored);
    plat_test_capture_log();
    plat_test_fail_setting(107, false, true);
    EXPECT_EQ(VESPIN_ERR_SETTING, set_ipv4_pppoe("new", "other"));
    EXPECT_TRUE(plat_test_logged("Fail to set MIB_PPP_PASSWORD"));
    ASSERT_NE(0, apmib_get(106, stored));
    EXPECT_STREQ("new", stored) << "the user written before the failure stays";
    plat_test_fail_setting(106, false, true);
    EXPECT_EQ(VESPIN_ERR_SETTING, set_ipv4_pppoe("x", "y"));
    EXPECT_TRUE(plat_test_logged("Fail to set MIB_PPP_USER_NAME"));
    EXPECT_EQ(VESPIN_ERR_FAILURE, set_ipv4_pppoe(nullptr, "y"));
}
