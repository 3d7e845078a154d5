// The node daemon's WAN, LAN, VLAN and IPv6 methods through its dispatcher:
// the request text in, the response text out, on an emulated gateway.
#include "dispatch_call.h"
#include "test_root.h"

#include <gtest/gtest.h>

#include <string>

TEST(NetworkMethods, StaticWanMovesTheLanVisibly) {
    test_root root;
    json_ref before = call("lan.get");
    EXPECT_NE(std::string::npos, result(before).find("\"ip_start\":\"192.168.1.100\""));
    json_ref set = call("wan.set", "{\"type\":\"static\",\"static\":{\"netinfo\":{\"ip\":\"192.168.1.20\","
                                   "\"mask\":\"255.255.255.0\",\"gateway\":\"192.168.1.254\",\"dns\":[\"8.8.8.8\"]}}}");
    ASSERT_EQ(0, code(set)) << result(set);
    EXPECT_EQ(
        "{\"wan\":{\"type\":\"static\",\"static\":{\"netinfo\":{\"ip\":\"192.168.1.20\",\"mask\":\"255.255.255.0\","
        "\"gateway\":\"192.168.1.254\",\"dns\":[\"8.8.8.8\"]}},\"vlan\":[]},\"lan\":{\"type\":\"dhcp_server\","
        "\"dhcp_server\":{\"ip_start\":\"10.168.1.100\",\"ip_end\":\"10.168.1.200\",\"lease\":86400,\"domain\":\"lan\","
        "\"netinfo\":{\"ip\":\"10.168.1.1\",\"mask\":\"255.255.255.0\",\"gateway\":\"0.0.0.0\",\"dns\":[]}}}}",
        result(set));
    EXPECT_NE(std::string::npos, root.read("/flash/mib.conf").find("170 = 10.168.1.1")) << "flushed";
    json_ref wan = call("wan.get");
    EXPECT_NE(std::string::npos, result(wan).find("\"type\":\"static\""));

    json_ref bad = call("wan.set", "{\"type\":\"pppoe\",\"pppoe\":{\"password\":\"a\\nb\"}}");
    EXPECT_EQ(100208, code(bad));
    EXPECT_EQ(100200, code(call("wan.set")));
    EXPECT_EQ(0, code(call("wan.gateway"))) << "static: the stored gateway";
    EXPECT_NE(std::string::npos, result(call("wan.gateway")).find("192.168.1.254"));
}

TEST(NetworkMethods, AddressingStatisticsVlanAndIpv6) {
    test_root root;
    EXPECT_EQ("{\"ip\":\"10.0.0.2\",\"mask\":\"255.255.255.0\",\"gateway\":\"10.0.0.1\",\"dns\":[\"10.0.0.1\","
              "\"8.8.8.8\"]}",
              result(call("netinfo.wan")));
    EXPECT_NE(std::string::npos, result(call("netinfo.lan")).find("\"ip\":\"192.168.1.1\""));
    EXPECT_EQ("{\"ip\":\"\",\"mask\":\"\",\"gateway\":\"\",\"dns\":[]}", result(call("netinfo.vpn")));
    EXPECT_EQ(
        "{\"traffic_dl\":1048576.5,\"traffic_ul\":262144.25,\"average_dl\":120,\"average_ul\":30,\"peak_dl\":9800,"
        "\"peak_ul\":2100,\"realtime_dl\":64,\"realtime_ul\":16,\"link\":0}",
        result(call("wan.status")));
    EXPECT_EQ("{\"gateway\":\"10.0.0.1\"}", result(call("wan.gateway")));

    EXPECT_NE(std::string::npos, result(call("ports.get")).find("\"name\":\"2g_vap1\""));
    json_ref vlan = call("vlan.set", "{\"vlan\":[{\"id\":10,\"enabled\":true,\"ports\":[{\"tagged\":true,"
                                     "\"port\":{\"id\":0}}]}]}");
    ASSERT_EQ(0, code(vlan)) << result(vlan);
    EXPECT_EQ(
        "{\"enabled\":true,\"vlan\":[{\"enabled\":true,\"id\":10,\"priority\":0,\"type\":\"NAT\",\"is_bridged\":false,"
        "\"ports\":[{\"port\":{\"id\":0,\"name\":\"wan\",\"type\":\"wan\"},\"tagged\":true}]}]}",
        result(call("vlan.get")));
    EXPECT_EQ(100208, code(call("vlan.set", "{\"vlan\":{}}")));

    EXPECT_EQ("{\"enabled\":false,\"type\":\"auto\",\"auto\":{\"dns\":[]}}", result(call("ipv6.get")));
    json_ref ipv6 = call("ipv6.set", "{\"enabled\":true,\"type\":\"auto\",\"auto\":{\"dns\":[{\"ip\":\"2001:db8::53\"}]}}");
    ASSERT_EQ(0, code(ipv6)) << result(ipv6);
    EXPECT_EQ("{\"enabled\":true,\"type\":\"auto\",\"auto\":{\"dns\":[{\"ip\":\"2001:db8::53\",\"prefix_length\":64}]}}",
              result(ipv6));
    EXPECT_NE(std::string::npos, result(call("ipv6.status")).find("2001:db8:0:1::2")) << "rdisc6 answered";
    EXPECT_EQ(100208, code(call("ipv6.set", "{\"enabled\":\"yes\"}")));
}
