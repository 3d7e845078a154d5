// DHCP server settings and static leases: codes, the pool checks, the
// identifiers and the table after each settings-store failure.
#include "apmib.h"
#include "core/internal/feature_state.h"
#include "internal_dhcp.h"
#include "platform_testing.h"
#include "result_codes.h"
#include "test_root.h"

#include <gtest/gtest.h>
#include <stdlib.h>
#include <string.h>

#include <string>
#include <vector>

namespace {

dhcp_service service(const char* lan, const char* start, const char* end, const char* mask = "") {
    dhcp_service s;
    memset(&s, 0, sizeof s);
    snprintf(s.lan_ip, sizeof s.lan_ip, "%s", lan);
    snprintf(s.start_ip, sizeof s.start_ip, "%s", start);
    snprintf(s.end_ip, sizeof s.end_ip, "%s", end);
    snprintf(s.netmask, sizeof s.netmask, "%s", mask);
    s.lease_time = 3600;
    return s;
}

static_lease lease(const char* name, const char* mac, const char* ip, int id = 0) {
    static_lease l;
    memset(&l, 0, sizeof l);
    snprintf(l.name, sizeof l.name, "%s", name);
    snprintf(l.mac, sizeof l.mac, "%s", mac);
    snprintf(l.ip, sizeof l.ip, "%s", ip);
    l.id = id;
    return l;
}

// The stored leases as "name:id:ip" texts, in table order.
std::vector<std::string> stored_leases() {
    mac_bond_ip list;
    int rv = static_dhcp_list(&list);
    std::vector<std::string> texts;
    for (int i = 0; rv == 0 && i < list.count; i++)
        texts.push_back(std::string(list.dev_bond_info[i].name) + ":" + std::to_string(list.dev_bond_info[i].id) +
                        ":" + list.dev_bond_info[i].ip);
    free(list.dev_bond_info);
    return rv == 0 ? texts : std::vector<std::string>{"<unreadable>"};
}

struct fresh_leases : test_root {
    fresh_leases() { static_dhcp_forget_state(); }
    ~fresh_leases() { static_dhcp_forget_state(); }
};

}  // namespace

TEST(DhcpServer, StoresAndReadsBackWithWholeMinutes) {
    test_root root;
    dhcp_service s = service("192.168.1.1", "192.168.1.10", "192.168.1.90");
    s.lease_time = 90;
    snprintf(s.domain_name, sizeof s.domain_name, "home.lan");
    ASSERT_EQ(0, set_dhcp_server(&s));
    dhcp_service got;
    memset(&got, 0x55, sizeof got);
    ASSERT_EQ(0, get_dhcp_server(&got));
    EXPECT_EQ(60, got.lease_time);
    EXPECT_STREQ("192.168.1.10", got.start_ip);
    EXPECT_STREQ("192.168.1.90", got.end_ip);
    EXPECT_STREQ("255.255.255.0", got.netmask);
    EXPECT_STREQ("home.lan", got.domain_name);
    EXPECT_STREQ("", got.reserved[0]);
    EXPECT_STREQ("", got.reserved[1]);

    EXPECT_EQ(VESPIN_ERR_INVALID_PARAM, set_dhcp_server(&(const dhcp_service&)service("", "1.1.1.1", "1.1.1.2")));
    EXPECT_EQ(VESPIN_ERR_OUTSIDE_POOL,
              set_dhcp_server(&(const dhcp_service&)service("192.168.1.1", "192.168.2.10", "192.168.2.20")));
    // The WAN (eth1, 10.0.0.2/24) and the LAN may not share a network.
    EXPECT_EQ(VESPIN_ERR_IP_CONFLICT,
              set_dhcp_server(&(const dhcp_service&)service("10.0.0.1", "10.0.0.10", "10.0.0.20")));

    plat_test_capture_log();
    plat_test_fail_setting(174, true, false);
    EXPECT_EQ(VESPIN_ERR_FAILURE, get_dhcp_server(&got));
    EXPECT_TRUE(plat_test_logged("Fail to set MIB_DHCP_CLIENT_START"));
    plat_test_fail_setting(945, false, true);
    EXPECT_EQ(VESPIN_ERR_FAILURE, set_dhcp_server(&s));
    EXPECT_TRUE(plat_test_logged("Fail to set MIB_DHCP_LEASE_TIME"));
}

TEST(DhcpServer, LeasesMustFitTheNewPool) {
    fresh_leases root;
    ASSERT_EQ(0, set_static_dhcp(STATIC_DHCP_ADD, &(const static_lease&)lease("tv", "a0b1c2d3e4f5", "192.168.1.150")));
    // Another /24 whose pool holds .150: accepted, the lease is not rewritten.
    EXPECT_EQ(0, set_dhcp_server(&(const dhcp_service&)service("192.168.5.1", "192.168.5.100", "192.168.5.200")));
    EXPECT_EQ((std::vector<std::string>{"tv:0:192.168.1.150"}), stored_leases());
    // A pool that leaves .150 out: refused, nothing stored.
    EXPECT_EQ(VESPIN_ERR_OUTSIDE_POOL,
              set_dhcp_server(&(const dhcp_service&)service("192.168.7.1", "192.168.7.10", "192.168.7.100")));
    dhcp_service got;
    ASSERT_EQ(0, get_dhcp_server(&got));
    EXPECT_STREQ("192.168.5.1", got.lan_ip);
}

TEST(StaticLeases, AddressAndMacChecks) {
    fresh_leases root;
    auto add = [](const char* mac, const char* ip) {
        static_lease l = lease("pc", mac, ip);
        return set_static_dhcp(STATIC_DHCP_ADD, &l);
    };
    plat_test_capture_log();
    EXPECT_EQ(VESPIN_ERR_IP_IS_LAN, add("a0b1c2d3e4f5", "192.168.1.1"));
    EXPECT_TRUE(plat_test_logged("Do not set ip to local lan ip"));
    EXPECT_EQ(VESPIN_ERR_INVALID_IP, add("a0b1c2d3e4f5", "192.168.2.100"));
    EXPECT_EQ(VESPIN_ERR_OUTSIDE_POOL, add("a0b1c2d3e4f5", "192.168.1.99"));
    EXPECT_EQ(VESPIN_ERR_OUTSIDE_POOL, add("a0b1c2d3e4f5", "192.168.1.201"));
    EXPECT_EQ(0, add("a0b1c2d3e4f5", "192.168.1.100"));  // the pool's first address
    EXPECT_EQ(0, add("a0b1c2d3e4f6", "192.168.1.200"));  // and its last
    EXPECT_EQ(VESPIN_ERR_LEASE_TABLE, add("a0b1c2d3e4f5", "192.168.1.120"));  // MAC taken
    EXPECT_EQ(VESPIN_ERR_LEASE_TABLE, add("A0B1C2D3E4F7", "192.168.1.100"));  // address taken
    for (const char* mac : {"a0b1c2d3e4f", "a0b1c2d3e4f5a", "a0b1c2d3e4fg", "a0b1c2.3e4f5", ""})
        EXPECT_EQ(VESPIN_ERR_INVALID_PARAM, add(mac, "192.168.1.150")) << mac;
    EXPECT_TRUE(plat_test_logged("Invalid mac"));
    static_lease long_name = lease(std::string(51, 'n').c_str(), "a0b1c2d3e4f9", "192.168.1.150");
    EXPECT_EQ(VESPIN_ERR_INVALID_PARAM, set_static_dhcp(STATIC_DHCP_ADD, &long_name));
    EXPECT_EQ(VESPIN_ERR_FAILURE, set_static_dhcp(9, &long_name));
    EXPECT_EQ(VESPIN_ERR_FAILURE, set_static_dhcp(STATIC_DHCP_ADD, nullptr));
    EXPECT_TRUE(plat_test_logged("Invalid pointer: p_mac_bond_ip"));
    EXPECT_EQ((std::vector<std::string>{"pc:0:192.168.1.100", "pc:1:192.168.1.200"}), stored_leases());

    uint32_t ip = 0;
    const uint8_t mac[6] = {1, 2, 3, 4, 5, 6};
    EXPECT_EQ(VESPIN_ERR_FAILURE, check_ip_mac(0, nullptr, mac, 0));
    EXPECT_EQ(VESPIN_ERR_FAILURE, check_ip_mac(0, &ip, nullptr, 0));
}

TEST(StaticLeases, IdentifiersEditAndTheTwentyFirst) {
    fresh_leases root;
    for (int i = 0; i < STATIC_DHCP_MAX; i++) {
        char mac[16], ip[24];
        snprintf(mac, sizeof mac, "0000000000%02x", i);
        snprintf(ip, sizeof ip, "192.168.1.%d", 100 + i);
        static_lease l = lease("d", mac, ip);
        ASSERT_EQ(0, set_static_dhcp(STATIC_DHCP_ADD, &l)) << i;
    }
    plat_test_capture_log();
    static_lease extra = lease("x", "0000000000ff", "192.168.1.150");
    EXPECT_EQ(VESPIN_ERR_TABLE_FULL, set_static_dhcp(STATIC_DHCP_ADD, &extra));
    EXPECT_TRUE(plat_test_logged("The number of static dhcp addresses reaches the limit MAX_DHCP_RSVD_IP_NUM: 20"));

    // Deleting identifiers 3 and 7 frees them; the next adds take 3, then 7.
    static_lease gone = lease("d", "", "", 7);
    ASSERT_EQ(0, set_static_dhcp(STATIC_DHCP_DELETE, &gone));
    gone.id = 3;
    ASSERT_EQ(0, set_static_dhcp(STATIC_DHCP_DELETE, &gone));
    ASSERT_EQ(0, set_static_dhcp(STATIC_DHCP_ADD, &extra));
    static_lease other = lease("y", "0000000000fe", "192.168.1.151");
    ASSERT_EQ(0, set_static_dhcp(STATIC_DHCP_ADD, &other));
    std::vector<std::string> leases = stored_leases();
    ASSERT_EQ(20u, leases.size());
    EXPECT_EQ("x:3:192.168.1.150", leases[18]);
    EXPECT_EQ("y:7:192.168.1.151", leases[19]);

    // Edit: a full table still takes it; another lease's address is refused.
    static_lease moved = lease("tv", "0000000000fe", "192.168.1.160", 7);
    EXPECT_EQ(0, set_static_dhcp(STATIC_DHCP_EDIT, &moved));
    EXPECT_EQ("tv:7:192.168.1.160", stored_leases()[19]);
    moved.ip[0] = 0;
    snprintf(moved.ip, sizeof moved.ip, "192.168.1.100");
    EXPECT_EQ(VESPIN_ERR_LEASE_TABLE, set_static_dhcp(STATIC_DHCP_EDIT, &moved));
    EXPECT_TRUE(plat_test_logged("Ip or mac has been occupied"));
    moved.id = 42;
    EXPECT_EQ(VESPIN_ERR_NOT_FOUND, set_static_dhcp(STATIC_DHCP_EDIT, &moved));
    // Committed: the durable file holds the table.
    EXPECT_NE(std::string::npos, root.read("/flash/mib.conf").find("33062 = "));
}

// Each settings-store access of set_static_dhcp fails in turn, for each
// command. A failed call ends in its code and the next call restores what
// the table held.
TEST(StaticLeases, EachSettingsFailureEndsInItsCodeAndTheTableIsRecovered) {
    struct {
        int command;
        std::vector<std::string> success;
    } commands_tried[] = {
        {STATIC_DHCP_ADD, {"a:0:192.168.1.110", "b:1:192.168.1.111", "c:2:192.168.1.112"}},
        {STATIC_DHCP_EDIT, {"b:1:192.168.1.111", "c:0:192.168.1.112"}},
        {STATIC_DHCP_DELETE, {"b:1:192.168.1.111"}},
    };
    test_root root;
    for (const auto& tried : commands_tried) {
        for (int id : {293, 33062, 65831, 131368, 262441, 170, 174}) {
            for (bool on_get : {true, false}) {
                static_dhcp_forget_state();
                static_lease_stored none = {};
                ASSERT_TRUE(apmib_set(262441, &none));
                static_lease a = lease("a", "00000000000a", "192.168.1.110");
                static_lease b = lease("b", "00000000000b", "192.168.1.111");
                ASSERT_EQ(0, set_static_dhcp(STATIC_DHCP_ADD, &a));
                ASSERT_EQ(0, set_static_dhcp(STATIC_DHCP_ADD, &b));
                static_lease c = lease("c", "00000000000c", "192.168.1.112", 0);
                plat_test_capture_log();
                plat_test_fail_setting(id, on_get, !on_get);
                int rv = set_static_dhcp(tried.command, &c);
                std::vector<std::string> after = stored_leases();
                plat_test_reset();
                std::string what = "command " + std::to_string(tried.command) + " id " + std::to_string(id) +
                                   (on_get ? " get" : " set");
                if (rv == 0) {
                    EXPECT_EQ(tried.success, after) << what;
                    continue;
                }
                EXPECT_TRUE(rv == VESPIN_ERR_FAILURE || rv == VESPIN_ERR_INVALID_IP) << what << ": " << rv;
                if (id == 65831 && !on_get && tried.command != STATIC_DHCP_ADD) {
                    EXPECT_GT(2u, after.size()) << what << ": the table is left short";
                }
                static_lease d = lease("d", "00000000000d", "192.168.1.113");
                ASSERT_EQ(0, set_static_dhcp(STATIC_DHCP_ADD, &d)) << what;
                EXPECT_EQ((std::vector<std::string>{"a:0:192.168.1.110", "b:1:192.168.1.111", "d:2:192.168.1.113"}),
                          stored_leases())
                    << what;
            }
        }
    }
    static_dhcp_forget_state();
}

// Each store of set_dhcp_server fails in turn: 600001, the ones before it
// stay changed (no rollback), the ones after it keep their old values.
TEST(DhcpServer, EachFailedStoreEndsTheCallWithWhatCameBeforeKept) {
    test_root root;
    const int order[] = {170, 174, 175, 171, 945, 198};
    for (size_t failing = 0; failing < sizeof order / sizeof order[0]; failing++) {
        apmib_reinit();  // back to the factory values
        dhcp_service s = service("192.168.1.2", "192.168.1.20", "192.168.1.30", "255.255.255.0");
        s.lease_time = 120;
        snprintf(s.domain_name, sizeof s.domain_name, "office");
        plat_test_capture_log();
        plat_test_fail_setting(order[failing], false, true);
        EXPECT_EQ(VESPIN_ERR_FAILURE, set_dhcp_server(&s)) << order[failing];
        plat_test_reset();
        dhcp_service got;
        ASSERT_EQ(0, get_dhcp_server(&got));
        EXPECT_STREQ(failing > 0 ? "192.168.1.2" : "192.168.1.1", got.lan_ip) << order[failing];
        EXPECT_STREQ(failing > 1 ? "192.168.1.20" : "192.168.1.100", got.start_ip) << order[failing];
        EXPECT_STREQ(failing > 2 ? "192.168.1.30" : "192.168.1.200", got.end_ip) << order[failing];
        EXPECT_EQ(failing > 4 ? 120 : 86400, got.lease_time) << order[failing];
        EXPECT_STREQ("lan", got.domain_name) << order[failing];
    }
}
