// The node map, its file and JSON, the candidate scan and adding phase, and
// the driver's peer list read in full.
#include "mesh.h"

#include "beacon.h"
#include "core/mesh_maintainer/table_segment.h"
#include "mesh_maintainer.h"
#include "platform.h"
#include "platform_testing.h"
#include "test_root.h"
#include "vespin_core.h"

#include <apmib.h>
#include <errno.h>
#include <gtest/gtest.h>
#include <stdlib.h>
#include <string.h>

#include <string>

namespace {

mesh_node_meta meta(const char* sn, const char* ip, const char* mac0, const char* mac1, int port) {
    mesh_node_meta m = {};
    strcpy(m.sn, sn);
    strcpy(m.ip_lan, ip);
    strcpy(m.mac_wlan0, mac0);
    strcpy(m.mac_wlan1, mac1);
    m.mesh_port = port;
    return m;
}

TEST(MeshNodeMap, PutReportsChangesAndRefusesANewSnWhenFull) {
    EXPECT_EQ(nullptr, mesh_node_map_new(0));
    mesh_node_map* map = mesh_node_map_new(2);
    ASSERT_NE(nullptr, map);
    mesh_node_meta a = meta("0224081231A1001", "192.168.5.2", "025600000101", "025600000102", 1);
    mesh_node_meta b = meta("0224081231A1002", "192.168.5.3", "025600000201", "025600000202", 2);
    int changed = -1;
    EXPECT_EQ(0, mesh_node_map_put(map, &a, &changed));
    EXPECT_EQ(1, changed);
    EXPECT_EQ(0, mesh_node_map_put(map, &a, &changed));
    EXPECT_EQ(0, changed);  // identical: unchanged
    EXPECT_EQ(0, mesh_node_map_put(map, &b, &changed));
    mesh_node_meta moved = a;
    strcpy(moved.ip_lan, "192.168.5.9");
    EXPECT_EQ(0, mesh_node_map_put(map, &moved, &changed));
    EXPECT_EQ(1, changed);
    EXPECT_STREQ("192.168.5.9", map->entries[0].ip_lan);
    mesh_node_meta c = meta("0224081231A1003", "192.168.5.4", "025600000301", "025600000302", 3);
    EXPECT_EQ(12, mesh_node_map_put(map, &c, &changed));
    EXPECT_EQ(0, changed);
    EXPECT_EQ(22, mesh_node_map_put(map, nullptr, &changed));
    EXPECT_EQ(22, mesh_node_map_put(nullptr, &c, &changed));
    EXPECT_EQ(2, map->count);

    EXPECT_EQ(&map->entries[1], mesh_node_map_get_by_mac(map, "025600000202"));
    EXPECT_EQ(&map->entries[1], mesh_node_map_get_by_mac(map, "025600000201"));
    EXPECT_EQ(nullptr, mesh_node_map_get_by_mac(map, "0256000002"));
    EXPECT_EQ(&map->entries[0], mesh_node_map_get_by_ip(map, "192.168.5.9"));
    EXPECT_EQ(nullptr, mesh_node_map_get_by_ip(map, "192.168.5.2"));
    EXPECT_EQ(1, mesh_node_meta_cmp(&a, &b));
    b.mesh_port = 7;
    EXPECT_EQ(1, mesh_node_meta_cmp(&map->entries[1], &b));
    mesh_node_meta_copy(&c, &b);
    EXPECT_EQ(0, mesh_node_meta_cmp(&c, &b));
    mesh_node_map_free(map);
}

TEST(MeshNodeMap, FileAndJsonForms) {
    test_root root;
    mesh_node_map* map = mesh_node_map_new(3);
    mesh_node_meta a = meta("0224081231A1001", "192.168.5.2", "025600000101", "025600000102", 1);
    mesh_node_meta b = meta("0224081231A1002", "192.168.5.3", "025600000201", "025600000202", 2);
    int changed;
    mesh_node_map_put(map, &a, &changed);
    mesh_node_map_put(map, &b, &changed);
    ASSERT_EQ(0, mesh_node_map_to_file(map, MESH_NODE_MAP_FILE));
    EXPECT_EQ("0224081231A1001 192.168.5.2 025600000101 025600000102 1\n"
              "0224081231A1002 192.168.5.3 025600000201 025600000202 2\n",
              root.read(MESH_NODE_MAP_FILE));
    std::string json(MESH_NODE_MAP_JSON_SIZE(map->capacity), 'x');
    EXPECT_EQ(0, mesh_node_map_to_json(map, &json[0]));
    EXPECT_STREQ("[{\"sn\":\"0224081231A1001\",\"ip_lan\":\"192.168.5.2\",\"mac_wlan0\":\"025600000101\","
                 "\"mac_wlan1\":\"025600000102\",\"mesh_port\":1},{\"sn\":\"0224081231A1002\",\"ip_lan\":"
                 "\"192.168.5.3\",\"mac_wlan0\":\"025600000201\",\"mac_wlan1\":\"025600000202\",\"mesh_port\":2}]",
                 json.c_str());

    mesh_node_map* back = mesh_node_map_new_from_file(3, MESH_NODE_MAP_FILE);
    ASSERT_FALSE(vespin_is_error(back));
    ASSERT_EQ(2, back->count);
    EXPECT_EQ(0, mesh_node_meta_cmp(&a, &back->entries[0]));
    EXPECT_EQ(0, mesh_node_meta_cmp(&b, &back->entries[1]));
    mesh_node_map_free(back);

    EXPECT_EQ(-5, (int)(intptr_t)mesh_node_map_new_from_file(3, "/tmp/vespin/none"));
    EXPECT_EQ(-12, (int)(intptr_t)mesh_node_map_new_from_file(0, MESH_NODE_MAP_FILE));
    plat_test_fail_open("/tmp/vespin/x", EACCES);
    EXPECT_EQ(-5, mesh_node_map_to_file(map, "/tmp/vespin/x"));
    mesh_node_map_free(map);
}

TEST(MeshNodeMap, FileLongerThanTheCapacityOrWithLongLinesStaysInTheMap) {
    test_root root;
    std::string text;
    for (int i = 0; i < 30; i++)
        text += "0224081231A10" + std::to_string(10 + i) + " 192.168.5." + std::to_string(i) + " aa bb " +
                std::to_string(i) + "\n";
    // An over-long line: each text keeps 19 characters, the rest of the line is dropped.
    text = std::string(300, 'S') + " ip m0 m1 5\n" + "short line\n" + text;
    root.write(MESH_NODE_MAP_FILE, text);
    mesh_node_map* map = mesh_node_map_new_from_file(20, MESH_NODE_MAP_FILE);
    ASSERT_FALSE(vespin_is_error(map));
    ASSERT_EQ(20, map->count);
    EXPECT_STREQ("0224081231A1010", map->entries[0].sn);
    EXPECT_STREQ("0224081231A1029", map->entries[19].sn);
    EXPECT_EQ(19, map->entries[19].mesh_port);
    mesh_node_map_free(map);
}

// Candidates and the adding phase need the settings store and a node table.
class MeshCandidates : public ::testing::Test {
  protected:
    void SetUp() override {
        plat_test_set_clock(1700000000, 0);
        plat_test_capture_log();
        plat_test_hold_alarm();
        plat_test_set_command_script([](const plat_command&, plat_command_reply*) { return false; });
        ASSERT_TRUE(apmib_init());
    }
    void TearDown() override { mesh_table::forget_segment(true); }

    static void set_disabled(int radio, int disabled) {
        set_global_wlan_idx(radio);
        vwlan_idx = 0;
        ASSERT_TRUE(apmib_set(22, &disabled));
    }
    std::string journal() { return root_.exists("/var/log/commands") ? root_.read("/var/log/commands") : ""; }

    test_root root_;
};

TEST_F(MeshCandidates, ScanReturnsTheJoinableNodesOfEveryEnabledRadio) {
    root_.write("/var/scan/wlan1", "6 Neighbour\nmesh 0224081231A1005 025600000511 025600000510\n");
    root_.write("/var/scan/wlan0",
                "36 Neighbour-5G\nmesh 0224081231A1005 025600000511 025600000510\n"
                "mesh 0224081231A1006 025600000611 025600000610\nmesh broken\n");
    mesh_candidate* list = nullptr;
    int count = -1;
    ASSERT_EQ(0, mesh_candidate_scan(&list, &count));
    ASSERT_EQ(2, count);
    EXPECT_STREQ("0224081231A1005", list[0].sn);
    EXPECT_STREQ("025600000511", list[0].mac_24g);
    EXPECT_STREQ("025600000510", list[0].mac_5g);
    EXPECT_STREQ("0224081231A1006", list[1].sn);
    json_object* json = mesh_candidate_to_json(&list[1]);
    EXPECT_STREQ("{\"sn\":\"0224081231A1006\",\"mac\":{\"2.4G\":\"025600000611\",\"5G\":\"025600000610\"}}",
                 json_object_to_json_string_ext(json, JSON_C_TO_STRING_PLAIN));
    json_object_put(json);
    free(list);

    set_disabled(0, 1);
    set_disabled(1, 1);
    list = reinterpret_cast<mesh_candidate*>(1);
    EXPECT_EQ(600001, mesh_candidate_scan(&list, &count));
    EXPECT_EQ(nullptr, list);
}

TEST_F(MeshCandidates, AddingPhaseRunsFortyFiveTicksThenClearsTheFlag) {
    mesh_candidate candidate = {"0224081231A1005", "025600000511", "025600000510"};
    ASSERT_EQ(0, mesh_candidate_add(&candidate));
    mesh_maintainer* inst = mesh_maintainer_get_inst();
    EXPECT_EQ(1, mesh_maintainer_is_beacon_loaded(inst));
    EXPECT_EQ("0224081231A1005\n", root_.read("/proc/beacon_info"));
    EXPECT_NE(std::string::npos, root_.read("/proc/modules").find("beacon_info "));
    EXPECT_EQ(2u, plat_test_alarm_seconds());

    EXPECT_EQ(600008, mesh_candidate_add(&candidate));
    EXPECT_TRUE(plat_test_logged("Adding node now"));

    int ticks = 0;
    while (plat_test_fire_alarm()) ticks++;
    EXPECT_EQ(46, ticks);  // 45 counted ticks, and the one that ends the phase
    EXPECT_EQ(0, mesh_maintainer_is_beacon_loaded(inst));
    EXPECT_EQ(std::string::npos, root_.read("/proc/modules").find("beacon_info "));
    EXPECT_FALSE(root_.exists("/proc/beacon_info"));
    EXPECT_NE(std::string::npos, journal().find("rmmod beacon_info"));
}

TEST_F(MeshCandidates, PhaseEndsEarlyWhenTheCandidateReports) {
    mesh_candidate candidate = {"0224081231A1005", "025600000511", "025600000510"};
    ASSERT_EQ(0, mesh_candidate_add(&candidate));
    mesh_maintainer* inst = mesh_maintainer_get_inst();
    for (int i = 0; i < 3; i++) ASSERT_TRUE(plat_test_fire_alarm());
    mesh_node node = {};
    strcpy(node.sn, candidate.sn);
    ASSERT_EQ(0, mesh_maintainer_put_node(inst, &node));
    ASSERT_TRUE(plat_test_fire_alarm());
    EXPECT_EQ(0u, plat_test_alarm_seconds());
    EXPECT_EQ(0, mesh_maintainer_is_beacon_loaded(inst));
}

TEST_F(MeshCandidates, BothRadiosOffOrABeaconFailure) {
    mesh_candidate candidate = {"0224081231A1005", "025600000511", "025600000510"};
    set_disabled(0, 1);
    set_disabled(1, 1);
    EXPECT_EQ(600001, mesh_candidate_add(&candidate));
    EXPECT_TRUE(plat_test_logged("no interface open"));
    EXPECT_EQ(0u, plat_test_alarm_seconds());

    set_disabled(1, 0);
    root_.write("/proc/modules", "beacon_info 16384 0 - Live 0x00000000\n");  // insmod refuses: loaded already
    EXPECT_EQ(600001, mesh_candidate_add(&candidate));
    EXPECT_TRUE(plat_test_logged("Fail to init beacon"));
    // The phase runs all the same.
    EXPECT_EQ(1, mesh_maintainer_is_beacon_loaded(mesh_maintainer_get_inst()));
    EXPECT_EQ(2u, plat_test_alarm_seconds());
}

const char kPeerBlock[] =
    " -- Mesh MP_info --\n"
    "    state: 6\n"
    "    hwaddr: 025600000202\n"
    "    mode: 2\n"
    "    Tx Packets: 1204\n"
    "    Rx Packets: 1187\n"
    "    Authentication: 1\n"
    "    Assocation: 1\n"
    "    LocalLinkID: 11\n"
    "    PeerLinkID: 12\n"
    "    operating_CH: 36\n"
    "    CH_precedence: 0\n"
    "    R: 520\n"
    "    Ept: 0\n"
    "    rssi: 62\n"
    "    matric: 30\n"
    "    expire_Establish(jiffies): 28000\n"
    "    (Sec): 280\n"
    "    expire_BootSeq & LLSA(jiffies): 0\n"
    "    (mSec): 0\n"
    "    retry: 0\n";

TEST_F(MeshCandidates, NeighboursComeFromThePeerListsCompletedByTheNodeMap) {
    mesh_peer* peers = nullptr;
    int count = -1;
    root_.write("/proc/wlan0/mesh_assoc_mpinfo", kPeerBlock);
    plat_unlink(MESH_NODE_MAP_FILE);
    EXPECT_EQ(0, mesh_get_neighbors(&peers, &count));  // no map: no peers
    EXPECT_EQ(nullptr, peers);
    EXPECT_TRUE(plat_test_logged("Fail to new from file: /tmp/vespin/mesh_nodes"));

    root_.write(MESH_NODE_MAP_FILE, "0224081231A1002 192.168.5.3 025600000201 025600000202 7\n");
    std::string second = kPeerBlock;
    second.replace(second.find("025600000202"), 12, "0256000009ff");
    second.replace(second.find("rssi: 62"), 8, "rssi: 40");
    second.erase(second.find("    expire_Establish"));  // the file ends before "(Sec): ": never counted
    root_.write("/proc/wlan1/mesh_assoc_mpinfo", std::string(kPeerBlock) + "garbage\n" + second);
    ASSERT_EQ(0, mesh_get_neighbors(&peers, &count));
    ASSERT_EQ(2, count);
    EXPECT_EQ(0, peers[0].radio);
    EXPECT_EQ(6, peers[0].state);
    EXPECT_STREQ("025600000202", peers[0].hwaddr);
    EXPECT_STREQ("2", peers[0].mode);
    EXPECT_EQ(1204, peers[0].tx_packets);
    EXPECT_EQ(1187, peers[0].rx_packets);
    EXPECT_EQ(36, peers[0].operating_ch);
    EXPECT_EQ(520, peers[0].r);
    EXPECT_EQ(62, peers[0].rssi);
    EXPECT_EQ(280, peers[0].expire_sec);
    EXPECT_STREQ("0224081231A1002", peers[0].sn);
    EXPECT_STREQ("192.168.5.3", peers[0].ip_lan);
    EXPECT_EQ(7, peers[0].mesh_port);
    EXPECT_EQ(1, peers[1].radio);
    free(peers);

    // A peer whose MAC the map does not know is kept and named in the log;
    // a line in the place of another key gives that key an empty value.
    std::string unknown = kPeerBlock;
    unknown.replace(unknown.find("025600000202"), 12, "0256000009ff");
    unknown.replace(unknown.find("    R: 520"), 10, "    X: 520");
    root_.write("/proc/wlan1/mesh_assoc_mpinfo", unknown);
    root_.write("/proc/wlan0/mesh_assoc_mpinfo", "");
    ASSERT_EQ(0, mesh_get_neighbors(&peers, &count));
    ASSERT_EQ(1, count);
    EXPECT_EQ(0, peers[0].r);
    EXPECT_EQ(62, peers[0].rssi);
    EXPECT_STREQ("", peers[0].sn);
    EXPECT_TRUE(plat_test_logged("Missing meta of node: 0256000009ff"));
    free(peers);

    plat_test_fail_setting(644, true, false);
    EXPECT_EQ(600002, mesh_get_neighbors(&peers, &count));
}

}  // namespace
