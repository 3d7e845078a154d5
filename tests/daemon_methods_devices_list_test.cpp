// The node daemon's device-list methods through its dispatcher, on the
// factory gateway: the request text in, the response text out.
#include "device_gateway.h"
#include "dispatch_call.h"

#include <gtest/gtest.h>

#include <string>

TEST(DeviceListMethods, AnswerWithTheGatewaysClients) {
    device_gateway root;
    std::string list = result(call("devices.list"));
    EXPECT_EQ(0u, list.find("[{\"name\":\"Pixel phone\",\"ip\":\"192.168.1.101\",\"mac\":\"6c5ab5a1c2d3\","
                            "\"wireless\":true,\"brand\":\"Tallwave Mobile\",\"band\":\"5g\",\"rx_avg_rate\":24960,"
                            "\"tx_avg_rate\":121600,\"link_time\":7985,\"rx_bytes\":3452210,\"tx_bytes\":18432650,"
                            "\"rssi\":-38,\"tx_rate\":866700000,\"node_sn\":\"0224081231A1B2C\","
                            "\"node_name\":\"Lark-1B2C\"},"))
        << list;
    EXPECT_EQ(100208, code(call("devices.list", "{\"probe_wired\":\"yes\"}")));
    EXPECT_EQ("[{\"ip\":\"192.168.1.101\",\"mac\":\"6c5ab5a1c2d3\"},{\"ip\":\"192.168.1.102\",\"mac\":\"a483e7112233\"},"
              "{\"ip\":\"192.168.1.103\",\"mac\":\"00e04c680102\"},{\"ip\":\"192.168.1.120\",\"mac\":\"3c22fb445566\"}]",
              result(call("devices.arp")));
    std::string guests = result(call("devices.guests"));
    EXPECT_EQ(0u, guests.find("[{\"mac\":\"3c22fb445566\",\"name\":\"visitor-laptop\",\"ip\":\"192.168.1.120\","
                              "\"ssid\":\"Vespin-Guest-5G\","))
        << guests;
    EXPECT_EQ("{\"online\":true,\"real_wired\":false}", result(call("devices.state", "{\"mac\":\"6c5ab5a1c2d3\"}")));
    EXPECT_EQ("{\"online\":false,\"real_wired\":true}", result(call("devices.state", "{\"mac\":\"8c1645aa0101\"}")));
    EXPECT_EQ(100200, code(call("devices.state")));
    EXPECT_EQ("{\"available\":true}", result(call("devices.probe", "{\"ip\":\"192.168.1.103\"}")));
    EXPECT_EQ("{\"available\":false}", result(call("devices.probe", "{\"ip\":\"192.168.1.104\"}")));
    std::string leases = result(call("devices.dhcp_clients"));
    EXPECT_EQ(0u, leases.find("[{\"name\":\"pixel-phone\",\"ip\":\"192.168.1.101\",\"mac\":\"6c5ab5a1c2d3\","
                              "\"expires\":86400},"))
        << leases;
}

TEST(DeviceListMethods, OfflineDevicesAreListedAndDeleted) {
    device_gateway root;
    EXPECT_EQ("[{\"mac\":\"8c1645aa0101\",\"name\":\"Old laptop\",\"online_duration\":7200,"
              "\"access_time\":1763600000000,\"offline_time\":1763607200000,\"tx_bytes\":5120000,"
              "\"rx_bytes\":20480000}]",
              result(call("devices.offline")));
    EXPECT_EQ(600001, code(call("devices.delete", "{\"mac\":\"8c16\"}")));
    EXPECT_EQ(0, code(call("devices.delete", "{\"mac\":\"8c1645aa0101\"}")));
    EXPECT_EQ("[]", result(call("devices.offline")));
}
