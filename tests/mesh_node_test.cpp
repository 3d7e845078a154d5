// The node record: its JSON form (key order, every load check with its code
// and message, the cuts at the record's capacity) and its rebuild from the
// emulated node (addresses, peers of both radios, stations).
#include "apmib.h"
#include "core/new_mesh/peer_list.h"
#include "mesh_node.h"
#include "platform_testing.h"
#include "result_codes.h"
#include "test_root.h"

#include <errno.h>
#include <gtest/gtest.h>
#include <json-c/json.h>
#include <string.h>

#include <string>

namespace {

std::string json_text(json_object* object) {
    std::string text = object ? json_object_to_json_string_ext(object, JSON_C_TO_STRING_PLAIN) : "(null)";
    json_object_put(object);
    return text;
}

// A node record with one value in every field.
mesh_node* sample_node() {
    mesh_node* node = (mesh_node*)calloc(1, sizeof(mesh_node));
    strcpy(node->ip, "192.168.1.2");
    strcpy(node->sn, "0224081231A1B2D");
    strcpy(node->customer_id, "0100");
    strcpy(node->mac_wlan0, "025600000202");
    strcpy(node->mac_wlan1, "025600000302");
    strcpy(node->mac_eth0, "025600000602");
    strcpy(node->mac_eth1, "025600000102");
    node->version = {1, 9, 7, 0};
    strcpy(node->name, "Lark-1B2D");
    strcpy(node->neighbors[0].mac, "025600000201");
    node->neighbors[0].rssi = 62;
    node->neighbor_count = 1;
    node->is_gw = 0;
    node->rpc_port = 10010;
    node->state = 3;
    node->cpu = 12.5;
    node->mem_total = 124000;
    node->mem_used = 61000;
    node->stations[0] = {"6c5ab5a1c2d3", 0, 7985, 24960, 121600, 3452210, 18432650, -38, 866700000};
    node->station_count = 1;
    node->guest_stations[0] = {"3c22fb445566", 1, 302, 248, 768, 40210, 120440, 2, -45, 325000000};
    node->guest_station_count = 1;
    node->uptime = 86461;
    return node;
}

const char kSampleJson[] =
    R"({"protocol_version":1,"ip":"192.168.1.2","sn":"0224081231A1B2D","customer_id":"0100","rpc_port":10010,)"
    R"("state":3,"macs":{"wlan0":"025600000202","wlan1":"025600000302","eth0":"025600000602",)"
    R"("eth1":"025600000102"},"is_gw":false,"version":"1.9.7","name":"Lark-1B2D",)"
    R"("neighbors":[{"mac":"025600000201","rssi":62}],)"
    R"("stations":[{"mac":"6c5ab5a1c2d3","band":0,"onlinetime":7985,"rtspeedup":24960,"rtspeeddown":121600,)"
    R"("rx_bytes":3452210,"tx_bytes":18432650,"rssi":-38,"negotiation_rate":866700000}],)"
    R"("guest_stations":[{"mac":"3c22fb445566","band":1,"onlinetime":302,"rtspeedup":248,"rtspeeddown":768,)"
    R"("rx_bytes":40210,"tx_bytes":120440,"guest_ap_id":2,"rssi":-45,"negotiation_rate":325000000}],)"
    R"("system_info":{"cpu":12.5,"mem":{"used":61000,"total":124000}},"uptime":86461})";

// The sample document with one member replaced (or removed when value is
// empty): path "macs.wlan0" reaches into an object.
std::string sample_with(const std::string& path, const std::string& value) {
    json_object* root = json_tokener_parse(kSampleJson);
    json_object* parent = root;
    std::string key = path;
    size_t dot = path.find('.');
    if (dot != std::string::npos) {
        parent = json_object_object_get(root, path.substr(0, dot).c_str());
        key = path.substr(dot + 1);
    }
    if (value.empty())
        json_object_object_del(parent, key.c_str());
    else
        json_object_object_add(parent, key.c_str(), json_tokener_parse(value.c_str()));
    return json_text(root);
}

class NodeJson : public testing::Test {
  protected:
    void SetUp() override {
        plat_test_reset();
        plat_test_capture_log();
    }
    void TearDown() override { plat_test_reset(); }
};

std::string peer(const std::string& mac, const std::string& rssi) {
    return " -- Mesh MP_info --\n    hwaddr: " + mac + "\n    state: 6\n    rssi: " + rssi + "\n";
}

}  // namespace

TEST_F(NodeJson, PrintsEveryKeyInOrderAndReadsBackTheSameRecord) {
    mesh_node* node = sample_node();
    std::string text = json_text(mesh_node_to_json(node));
    EXPECT_EQ(kSampleJson, text);
    mesh_node* back = mesh_node_new_from_json(text.c_str());
    ASSERT_FALSE(vespin_is_error(back));
    // The JSON form shows every field: the same text is the same values.
    EXPECT_EQ(kSampleJson, json_text(mesh_node_to_json(back)));
    EXPECT_EQ(0, memcmp(node->neighbors, back->neighbors, sizeof node->neighbors));
    EXPECT_EQ(node->version.patch, back->version.patch);
    mesh_node_free(back);

    // "protocol_version" is 1 on output whatever was read.
    back = mesh_node_new_from_json(sample_with("protocol_version", "0").c_str());
    ASSERT_FALSE(vespin_is_error(back));
    EXPECT_STREQ("", back->customer_id);
    EXPECT_NE(std::string::npos, json_text(mesh_node_to_json(back)).find(R"({"protocol_version":1,)"));
    mesh_node_free(back);
    mesh_node_free(node);
    EXPECT_EQ(nullptr, mesh_node_to_json(nullptr));
    mesh_node_free(nullptr);
}

TEST_F(NodeJson, ProtocolVersionDecidesTheCustomerId) {
    mesh_node node;
    std::string old_node = sample_with("protocol_version", "");
    old_node = old_node.substr(0, old_node.find(R"("customer_id")")) + old_node.substr(old_node.find(R"("rpc_port")"));
    ASSERT_EQ(0, mesh_node_load_json(&node, old_node.c_str())) << old_node;
    EXPECT_STREQ("0001", node.customer_id);
    EXPECT_EQ(0, mesh_node_load_json(&node, sample_with("protocol_version", "-3").c_str()));
    EXPECT_STREQ("", node.customer_id);
    EXPECT_EQ(VESPIN_ERR_INVALID_PARAM, mesh_node_load_json(&node, sample_with("protocol_version", "\"1\"").c_str()));
    EXPECT_EQ(0, mesh_node_load_json(&node, sample_with("protocol_version", "2").c_str()));
    EXPECT_STREQ("0100", node.customer_id);
    EXPECT_EQ(VESPIN_ERR_MISSING_VALUE, mesh_node_load_json(&node, sample_with("customer_id", "\"01000\"").c_str()));
    EXPECT_TRUE(plat_test_logged("Missing customer id"));
}

TEST_F(NodeJson, EveryCheckHasItsCodeAndMessage) {
    struct check {
        const char* path;
        const char* value;  // "" removes the member
        int code;
        const char* message;
    };
    const check checks[] = {
        {"ip", "\"192.168.100.1000\"", VESPIN_ERR_MISSING_VALUE, "Missing ip"},  // 16 characters
        {"ip", "\"\"", VESPIN_ERR_MISSING_VALUE, "Missing ip"},
        {"sn", "\"0224081231A1B2\"", VESPIN_ERR_MISSING_VALUE, "Missing sn"},  // 14
        {"sn", "\"0224081231A1B2DE\"", VESPIN_ERR_MISSING_VALUE, "Missing sn"},  // 16
        {"sn", "", VESPIN_ERR_MISSING_VALUE, "Missing sn"},
        {"name", "\"\"", VESPIN_ERR_MISSING_VALUE, "Missing name"},
        {"is_gw", "1", VESPIN_ERR_MISSING_VALUE, "Missing is_gw"},
        {"rpc_port", "\"10010\"", VESPIN_ERR_MISSING_VALUE, "Missing rpc_port"},
        {"state", "", VESPIN_ERR_MISSING_VALUE, "Missing state"},
        {"macs", "[]", VESPIN_ERR_MISSING_VALUE, "Missing macs"},
        {"macs.wlan0", "\"02:56:00:00:02:02\"", VESPIN_ERR_MISSING_VALUE, "Missing macs.wlan0"},
        {"macs.wlan1", "\"02:56:00:00:03:02\"", VESPIN_ERR_MISSING_VALUE, "Missing macs.wlan1"},
        {"macs.eth0", "", VESPIN_ERR_MISSING_VALUE, "Missing macs.eth0"},
        {"macs.eth1", "\"0256000001\"", VESPIN_ERR_MISSING_VALUE, "Missing macs.eth1"},
        {"version", "197", VESPIN_ERR_MISSING_VALUE, "Invalid version"},
        {"version", "\"1.9\"", VESPIN_ERR_MISSING_VALUE, "Wrong version: `1.9`"},
        {"neighbors", "{}", VESPIN_ERR_MISSING_VALUE, "Missing neighbors"},
        {"neighbors", "[7]", VESPIN_ERR_MISSING_VALUE, "Invalid neighbor"},
        {"neighbors", R"([{"mac":"a","rssi":1},{"rssi":1}])", VESPIN_ERR_MISSING_VALUE, "Missing neighbors[1].mac"},
        {"neighbors", R"([{"mac":"a","rssi":"1"}])", VESPIN_ERR_MISSING_VALUE, "Missing neighbors[0].rssi"},
        {"stations", "", VESPIN_ERR_MISSING_VALUE, "Missing stations"},
        {"stations", "[null]", VESPIN_ERR_MISSING_VALUE, "Invalid station"},
        {"stations", R"([{"band":"5"}])", VESPIN_ERR_INVALID_JSON, nullptr},
        {"guest_stations", "{}", VESPIN_ERR_INVALID_PARAM, "Invalid type of guest stations"},
        {"guest_stations", "[null]", VESPIN_ERR_MISSING_PARAM, nullptr},
        {"guest_stations", "[1]", VESPIN_ERR_MISSING_PARAM, nullptr},
    };
    for (const check& c : checks) {
        plat_test_capture_log();
        mesh_node* node = mesh_node_new_from_json(sample_with(c.path, c.value).c_str());
        EXPECT_EQ(c.code, vespin_error_code(node)) << c.path << " = " << c.value;
        if (c.message) EXPECT_TRUE(plat_test_logged(c.message)) << c.message;
        if (!vespin_is_error(node)) mesh_node_free(node);
    }
    // MAC texts of 12 digits pass whatever their digits say.
    mesh_node node;
    EXPECT_EQ(0, mesh_node_load_json(&node, sample_with("macs.wlan1", "\"ABCDEF012345\"").c_str()));
    EXPECT_STREQ("ABCDEF012345", node.mac_wlan1);

    EXPECT_EQ(VESPIN_ERR_MISSING_VALUE, mesh_node_load_json(&node, "{\"ip\":"));
    EXPECT_TRUE(plat_test_logged("Invalid json: {\"ip\":"));
    EXPECT_EQ(VESPIN_ERR_MISSING_VALUE, mesh_node_load_json(&node, "[1]"));
    EXPECT_EQ(VESPIN_ERR_MISSING_VALUE, mesh_node_load_json(&node, nullptr));
}

TEST_F(NodeJson, OptionalPartsReadAsZeroAndLongArraysAreCut) {
    mesh_node node;
    memset(&node, 0x5a, sizeof node);
    std::string text = sample_with("uptime", "");
    json_object* root = json_tokener_parse(text.c_str());
    json_object_object_del(root, "system_info");
    json_object_object_del(root, "guest_stations");
    ASSERT_EQ(0, mesh_node_load_json(&node, json_text(root).c_str()));
    EXPECT_EQ(0, node.uptime);
    EXPECT_EQ(0.0, node.cpu);
    EXPECT_EQ(0, node.mem_total);
    EXPECT_EQ(0, node.mem_used);
    EXPECT_EQ(0, node.guest_station_count);

    std::string neighbors = "[", stations = "[";
    for (int i = 0; i < 60; ++i) {
        neighbors += std::string(i ? "," : "") + R"({"mac":"0256000002)" + std::to_string(10 + i) + R"(","rssi":)" +
                     std::to_string(i) + "}";
        stations += std::string(i ? "," : "") + R"({"rssi":)" + std::to_string(-i) + "}";
    }
    for (int i = 60; i < 70; ++i) stations += R"(,{"rssi":1})";
    neighbors += "]";
    stations += "]";
    root = json_tokener_parse(sample_with("neighbors", neighbors).c_str());
    json_object_object_add(root, "stations", json_tokener_parse(stations.c_str()));
    json_object_object_add(root, "guest_stations", json_tokener_parse(stations.c_str()));
    ASSERT_EQ(0, mesh_node_load_json(&node, json_text(root).c_str()));
    EXPECT_EQ(MESH_NODE_NEIGHBOR_MAX, node.neighbor_count);
    EXPECT_STREQ("025600000259", node.neighbors[49].mac);
    EXPECT_EQ(MESH_NODE_STATION_MAX, node.station_count);
    EXPECT_EQ(MESH_NODE_STATION_MAX, node.guest_station_count);
    EXPECT_EQ(1, node.stations[63].rssi);

    // A record filled by hand with counts beyond its arrays prints what they hold.
    node.neighbor_count = 1000;
    node.station_count = -4;
    std::string printed = json_text(mesh_node_to_json(&node));
    EXPECT_NE(std::string::npos, printed.find(R"("stations":[],)"));
}

TEST_F(NodeJson, PeerListKeepsCompleteEntriesUpToTheLimit) {
    std::string text = "garbage before\n" + peer("025600000201", "62") +
                       " -- Mesh MP_info --\n    hwaddr:\n    rssi: 40\n" +  // no MAC: dropped
                       " -- Mesh MP_info --\n    hwaddr: 025600000203\n    rssi:  \n" +  // no rssi: dropped
                       " -- Mesh MP_info --\n  line without a colon\n    hwaddr: 0256000002040506070809\n" +
                       "    rssi: 71 dBm\n" + " -- Mesh MP_info --\n    hwaddr: 025600000205\n";  // cut off: kept
    FILE* file = fmemopen((void*)text.data(), text.size(), "r");
    mesh_neighbor neighbors[MESH_NODE_NEIGHBOR_MAX] = {};
    int32_t count = 0;
    mesh_peer_list_parse(file, neighbors, &count, MESH_NODE_NEIGHBOR_MAX);
    fclose(file);
    ASSERT_EQ(3, count);
    EXPECT_STREQ("025600000201", neighbors[0].mac);
    EXPECT_EQ(62, neighbors[0].rssi);
    EXPECT_STREQ("025600000204050", neighbors[1].mac);  // cut to 15
    EXPECT_EQ(71, neighbors[1].rssi);
    EXPECT_STREQ("025600000205", neighbors[2].mac);
    EXPECT_EQ(0, neighbors[2].rssi);
    EXPECT_TRUE(plat_test_logged("No matching hwaddr"));
    EXPECT_TRUE(plat_test_logged("No matching rssi"));

    // A full list takes nothing more.
    file = fmemopen((void*)text.data(), text.size(), "r");
    count = 2;
    mesh_peer_list_parse(file, neighbors, &count, 2);
    fclose(file);
    EXPECT_EQ(2, count);
}

TEST(NodeReload, TheEmulatedGatewayDescribesItself) {
    test_root root;
    root.write("/proc/uptime", "3600.25 7100.50\n");
    mesh_node* node = mesh_node_new();
    ASSERT_FALSE(vespin_is_error(node)) << vespin_error_code(node);
    EXPECT_STREQ("192.168.1.1", node->ip);
    EXPECT_STREQ("0224081231A1B2C", node->sn);
    EXPECT_STREQ("0100", node->customer_id);
    EXPECT_STREQ("025600000201", node->mac_wlan0);
    EXPECT_STREQ("025600000301", node->mac_wlan1);
    EXPECT_STREQ("025600000601", node->mac_eth0);
    EXPECT_STREQ("025600000101", node->mac_eth1);
    EXPECT_STREQ("Lark-1B2C", node->name);
    EXPECT_EQ(10010, node->rpc_port);
    EXPECT_EQ(1u, node->is_gw);
    char version[VESPIN_VERSION_TEXT_SIZE];
    EXPECT_STREQ("1.9.7", version_to_string(&node->version, version));
    ASSERT_EQ(1, node->neighbor_count);
    EXPECT_STREQ("025600000202", node->neighbors[0].mac);
    EXPECT_EQ(62, node->neighbors[0].rssi);
    EXPECT_GT(node->station_count, 0);
    EXPECT_EQ(0, node->stations[0].band);
    EXPECT_GT(node->guest_station_count, 0);
    EXPECT_EQ(3600, node->uptime);
    mesh_node_free(node);
}

TEST(NodeReload, PeersOfBothRadiosStopAtFiftyAndFollowTheMeshSwitch) {
    test_root root;
    std::string radio0, radio1;
    for (int i = 0; i < 30; ++i) {
        radio0 += peer("0a00000000" + std::to_string(10 + i), std::to_string(i));
        radio1 += peer("0b00000000" + std::to_string(10 + i), std::to_string(i));
    }
    root.write("/proc/wlan0/mesh_assoc_mpinfo", radio0);
    root.write("/proc/wlan1/mesh_assoc_mpinfo", radio1);
    mesh_node node;
    ASSERT_EQ(0, mesh_node_reload(&node));
    EXPECT_EQ(50, node.neighbor_count);
    EXPECT_STREQ("0a0000000039", node.neighbors[29].mac);
    EXPECT_STREQ("0b0000000010", node.neighbors[30].mac);
    EXPECT_STREQ("0b0000000029", node.neighbors[49].mac);

    int off = 0;
    wlan_idx = 0;
    ASSERT_TRUE(apmib_set(644, &off));
    ASSERT_EQ(0, mesh_node_reload(&node));
    EXPECT_EQ(30, node.neighbor_count);
    EXPECT_STREQ("0b0000000010", node.neighbors[0].mac);
    EXPECT_EQ(1, wlan_idx);  // left on the last radio read

    // A radio whose peer file cannot be opened adds nothing.
    plat_test_capture_log();
    unlink(root.path("/proc/wlan1/mesh_assoc_mpinfo").c_str());
    ASSERT_EQ(0, mesh_node_reload(&node));
    EXPECT_EQ(0, node.neighbor_count);
    EXPECT_TRUE(plat_test_logged("Fail to open: /proc/wlan1/mesh_assoc_mpinfo"));
}

TEST(NodeReload, FailuresOfTheLiveSystem) {
    test_root root;
    plat_test_capture_log();
    mesh_node node;
    // A node without eth0: only logged.
    std::string interfaces = root.read("/etc/vespin/interfaces");
    root.write("/etc/vespin/interfaces", interfaces.substr(0, interfaces.find("eth0 ")) +
                                             interfaces.substr(interfaces.find("eth1 ")));
    ASSERT_EQ(0, mesh_node_reload(&node));
    EXPECT_TRUE(plat_test_logged("Fail to get mac of eth0"));
    EXPECT_STREQ("", node.mac_eth0);

    plat_test_fail_setting(644, true, false);
    EXPECT_EQ(VESPIN_ERR_SETTING, mesh_node_reload(&node));
    EXPECT_TRUE(plat_test_logged("Fail to get MIB"));
    plat_test_reset();
    plat_test_capture_log();

    plat_test_fail_setting(4001, true, false);
    EXPECT_EQ(VESPIN_ERR_SETTING, vespin_error_code(mesh_node_new()));
    plat_test_reset();
    plat_test_capture_log();

    root.write("/etc/vespin/interfaces", "wlan0 hwaddr=02:56:00:00:02:01\n");
    EXPECT_EQ(VESPIN_ERR_FAILURE, mesh_node_reload(&node));
    EXPECT_TRUE(plat_test_logged("Fail to get ip of br0"));
    root.write("/etc/vespin/interfaces", "br0 addr=192.168.1.1 netmask=255.255.255.0\nwlan0 hwaddr=02:56:00:00:02:01\n");
    EXPECT_EQ(VESPIN_ERR_FAILURE, mesh_node_reload(&node));
    EXPECT_TRUE(plat_test_logged("Fail to get mac of wlan1"));
    root.write("/etc/vespin/interfaces", interfaces);
    EXPECT_EQ(VESPIN_ERR_FAILURE, mesh_node_reload(nullptr));
}
