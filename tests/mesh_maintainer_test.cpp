// The shared node table: reports, the liveness rules, the image and the
// local state file, with the fake clock for every age.
#include "mesh_maintainer.h"

#include "core/mesh_maintainer/table_segment.h"
#include "platform.h"
#include "platform_testing.h"
#include "test_root.h"

#include <errno.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <stdlib.h>
#include <string.h>
#include <sys/stat.h>
#include <sys/time.h>
#include <sys/wait.h>
#include <unistd.h>

#include <memory>
#include <string>

namespace {

const long kStart = 1700000000;

// One test's root with its own segment, removed at the end.
class MeshTable : public ::testing::Test {
  protected:
    void SetUp() override {
        plat_test_set_clock(kStart, 0);
        plat_test_capture_log();
        inst_ = mesh_maintainer_get_inst();
        ASSERT_FALSE(vespin_is_error(inst_));
    }
    void TearDown() override { mesh_table::forget_segment(true); }

    // A fresh process after a restart: the segment is gone, the image stays.
    void restart() {
        mesh_table::forget_segment(true);
        inst_ = mesh_maintainer_get_inst();
        ASSERT_FALSE(vespin_is_error(inst_));
    }

    static std::unique_ptr<mesh_node> node(const std::string& sn, int state = 0, const char* name = "node") {
        std::unique_ptr<mesh_node> n(new mesh_node());
        snprintf(n->sn, sizeof n->sn, "%s", sn.c_str());
        snprintf(n->ip, sizeof n->ip, "192.168.5.%d", atoi(sn.c_str() + sn.size() - 2));
        snprintf(n->name, sizeof n->name, "%s", name);
        n->state = state;
        n->rpc_port = MESH_NODE_RPC_PORT;
        return n;
    }
    static std::string sn_of(int i) {
        char sn[16];
        snprintf(sn, sizeof sn, "0224081231A10%02d", i);
        return sn;
    }
    void put(const std::string& sn, int state = 0, const char* name = "node") {
        ASSERT_EQ(0, mesh_maintainer_put_node(inst_, node(sn, state, name).get()));
    }
    void advance(long seconds) { plat_test_advance_clock(seconds * 1000000L); }

    test_root root_;
    mesh_maintainer* inst_ = nullptr;
};

TEST_F(MeshTable, InstanceHasTheDocumentedLayout) {
    EXPECT_EQ(533256u, sizeof(mesh_maintainer));
    EXPECT_EQ(4u, offsetof(mesh_maintainer, sequence));
    EXPECT_EQ(8u, offsetof(mesh_maintainer, self));
    EXPECT_EQ(533240u, offsetof(mesh_maintainer, count));
    EXPECT_EQ(533248u, offsetof(mesh_maintainer, beacon_loaded));
    EXPECT_EQ(10456u, sizeof(mesh_node_entry));
    EXPECT_EQ((uint32_t)MESH_MAINTAINER_MAGIC, inst_->magic);
    EXPECT_EQ(inst_, mesh_maintainer_get_inst());  // one mapping per process
}

TEST_F(MeshTable, ReportOfAKnownNodeReplacesItInPlaceWithoutWritingTheImage) {
    put(sn_of(1), 0, "first");
    put(sn_of(2), 0, "second");
    std::string image = root_.read(MESH_TOPO_FILE);
    ASSERT_EQ((size_t)MESH_MAINTAINER_SEGMENT_SIZE, image.size());
    advance(30);
    put(sn_of(1), 2, "renamed");
    EXPECT_EQ(2, inst_->count);
    EXPECT_STREQ(sn_of(1).c_str(), inst_->entries[0].key);
    EXPECT_STREQ("renamed", inst_->entries[0].node.name);
    EXPECT_EQ(kStart + 30, inst_->entries[0].updated);
    EXPECT_EQ(image, root_.read(MESH_TOPO_FILE));  // an update leaves the image alone

    EXPECT_EQ(0, mesh_maintainer_set_name(inst_, sn_of(2).c_str(), std::string(60, 'n').c_str()));
    EXPECT_EQ(std::string(39, 'n'), inst_->entries[1].node.name);
    EXPECT_NE(image, root_.read(MESH_TOPO_FILE));  // a rename writes it
    EXPECT_EQ(600005, mesh_maintainer_set_name(inst_, "nobody", "x"));
    EXPECT_EQ(600005, mesh_maintainer_set_node_state(inst_, "nobody", 1));
    EXPECT_EQ(0, mesh_maintainer_set_node_state(inst_, sn_of(2).c_str(), 4));
    EXPECT_EQ(4, mesh_maintainer_get_node_by_sn(inst_, sn_of(2).c_str())->node.state);
}

TEST_F(MeshTable, DeleteMovesLaterEntriesForwardAndZeroesTheFreedPlace) {
    for (int i = 1; i <= 3; i++) put(sn_of(i));
    mesh_maintainer_delete_node(inst_, sn_of(1).c_str());
    ASSERT_EQ(2, inst_->count);
    EXPECT_STREQ(sn_of(2).c_str(), inst_->entries[0].key);
    EXPECT_STREQ(sn_of(3).c_str(), inst_->entries[1].key);
    mesh_node_entry zero = {};
    EXPECT_EQ(0, memcmp(&zero, &inst_->entries[2], sizeof zero));
    mesh_maintainer_delete_node(inst_, "unknown");
    EXPECT_EQ(2, inst_->count);
}

TEST_F(MeshTable, FiftyFirstNodeIsRefusedUntilASilentOneIsCleanedAway) {
    for (int i = 0; i < 50; i++) put(sn_of(i));
    EXPECT_EQ(200201, mesh_maintainer_put_node(inst_, node(sn_of(50)).get()));
    EXPECT_TRUE(plat_test_logged("Too many nodes now: 50"));
    EXPECT_EQ(50, inst_->count);

    advance(61);
    for (int i = 0; i < 50; i++)
        if (i != 7) put(sn_of(i));  // all but one keep reporting
    ASSERT_EQ(0, mesh_maintainer_put_node(inst_, node(sn_of(50)).get()));
    EXPECT_TRUE(plat_test_logged("Node(" + sn_of(7) + ") is invalid"));
    EXPECT_TRUE(plat_test_logged("Node(" + sn_of(7) + ": 192.168.5.7) is offline"));
    EXPECT_EQ(50, inst_->count);
    EXPECT_STREQ(sn_of(8).c_str(), inst_->entries[7].key);
    EXPECT_STREQ(sn_of(50).c_str(), inst_->entries[49].key);
    EXPECT_EQ(nullptr, mesh_maintainer_get_node_by_sn(inst_, sn_of(7).c_str()));
}

TEST_F(MeshTable, SilenceRulesForOrdinaryAndUpgradingNodes) {
    put(sn_of(1));
    put(sn_of(3), MESH_NODE_STATE_UPGRADING_2);
    advance(60);
    EXPECT_NE(nullptr, mesh_maintainer_get_neighbor_by_sn(inst_, sn_of(1).c_str()));
    advance(1);  // 61 s
    EXPECT_EQ(nullptr, mesh_maintainer_get_neighbor_by_sn(inst_, sn_of(1).c_str()));
    EXPECT_TRUE(plat_test_logged("Node(" + sn_of(1) + ": 192.168.5.1) sync timeout"));
    EXPECT_TRUE(plat_test_logged("Node(" + sn_of(1) + ": 192.168.5.1) is offline"));
    EXPECT_EQ(nullptr, mesh_maintainer_get_neighbor_by_sn_nodebug(inst_, sn_of(1).c_str()));

    advance(159 - 61);  // the upgrading node, 159 s
    EXPECT_NE(nullptr, mesh_maintainer_get_neighbor_by_sn(inst_, sn_of(3).c_str()));
    EXPECT_TRUE(plat_test_logged("Node(" + sn_of(3) + ": 192.168.5.3) is upgrading"));
    mesh_node** nodes = nullptr;
    int count = -1;
    ASSERT_EQ(0, mesh_maintainer_list_neighbors(inst_, &nodes, &count));
    ASSERT_EQ(1, count);
    EXPECT_STREQ(sn_of(3).c_str(), nodes[0]->sn);
    free(nodes);
    advance(1);  // 160 s: no longer valid, still reported as upgrading
    EXPECT_EQ(nullptr, mesh_maintainer_get_neighbor_by_sn(inst_, sn_of(3).c_str()));
    EXPECT_EQ(1, mesh_maintainer_is_anynode_upgrading(inst_));
    EXPECT_EQ(MESH_NODE_STATE_UPGRADING_2, inst_->entries[1].node.state);
    advance(1);  // 161 s: given up
    EXPECT_EQ(0, mesh_maintainer_is_anynode_upgrading(inst_));
    EXPECT_EQ(MESH_NODE_STATE_UPGRADE_LOST, inst_->entries[1].node.state);

    mesh_maintainer_check_node_status(inst_);
    EXPECT_EQ(MESH_NODE_STATE_OFFLINE, inst_->entries[0].node.state);
    EXPECT_EQ(MESH_NODE_STATE_OFFLINE, inst_->entries[1].node.state);
    EXPECT_EQ(2, inst_->count);  // marked, not removed
    EXPECT_EQ(0, mesh_maintainer_clean_dead_node(inst_));
    EXPECT_EQ(0, inst_->count);
    nodes = reinterpret_cast<mesh_node**>(1);
    ASSERT_EQ(0, mesh_maintainer_list_neighbors(inst_, &nodes, &count));
    EXPECT_EQ(nullptr, nodes);
    EXPECT_EQ(0, count);
}

TEST_F(MeshTable, ClockGoingBackMakesAnEntryInvalidWithoutALogLine) {
    put(sn_of(1));
    size_t logged = plat_test_log().size();
    plat_test_set_clock(kStart - 5, 0);
    EXPECT_EQ(nullptr, mesh_maintainer_get_neighbor_by_sn(inst_, sn_of(1).c_str()));
    EXPECT_EQ(logged, plat_test_log().size());
}

TEST_F(MeshTable, RestartRestoresTheImageWithRestoredNodesOffline) {
    put(sn_of(1), 0);
    put(sn_of(2), 4);
    mesh_maintainer_set_beacon_load_flag(inst_);
    inst_->self.rpc_port = MESH_NODE_RPC_PORT;
    ASSERT_EQ(0, mesh_topo_state_save());
    restart();
    ASSERT_EQ(2, inst_->count);
    EXPECT_EQ(MESH_NODE_STATE_OFFLINE, inst_->entries[0].node.state);  // 0 becomes 6
    EXPECT_EQ(4, inst_->entries[1].node.state);
    EXPECT_EQ(0, inst_->entries[0].node.rpc_port);
    EXPECT_EQ(0, inst_->self.rpc_port);
    EXPECT_EQ(0, mesh_maintainer_is_beacon_loaded(inst_));
    EXPECT_EQ(1, inst_->self.is_gw);  // the factory work mode is 1
    EXPECT_TRUE(root_.exists(MESH_TOPO_FILE));
}

TEST_F(MeshTable, ImageOfAnyOtherSizeIsDeletedAndTheTableStartsEmpty) {
    put(sn_of(1));
    for (size_t size : {(size_t)0, (size_t)MESH_MAINTAINER_SEGMENT_SIZE - 1, (size_t)MESH_MAINTAINER_SEGMENT_SIZE + 1}) {
        root_.write(MESH_TOPO_FILE, std::string(size, '\x01'));
        restart();
        EXPECT_EQ(0, inst_->count) << size;
        EXPECT_FALSE(root_.exists(MESH_TOPO_FILE)) << size;
    }
    // The right size with a count no table can hold is as good as missing.
    std::string image(MESH_MAINTAINER_SEGMENT_SIZE, '\0');
    int32_t count = 51;
    memcpy(&image[offsetof(mesh_maintainer, count)], &count, sizeof count);
    root_.write(MESH_TOPO_FILE, image);
    restart();
    EXPECT_EQ(0, inst_->count);
    EXPECT_FALSE(root_.exists(MESH_TOPO_FILE));
    char buffer[16];
    EXPECT_EQ(nullptr, mesh_topo_state_reload(buffer));
}

TEST_F(MeshTable, ImageThatCannotBeWrittenFailsTheSaveButNotThePut) {
    plat_test_fail_open(MESH_TOPO_FILE, ENOSPC);
    EXPECT_EQ(600001, mesh_topo_state_save());
    put(sn_of(1));  // the table takes it all the same
    EXPECT_EQ(1, inst_->count);
    EXPECT_FALSE(root_.exists(MESH_TOPO_FILE));
    bool printed = false;
    for (const auto& e : plat_test_log()) printed = printed || (e.channel == PLAT_LOG_PERROR && e.text.find(MESH_TOPO_FILE) == 0);
    EXPECT_TRUE(printed);
}

TEST_F(MeshTable, BeaconFlagAndNeighbourMacs) {
    EXPECT_EQ(0, mesh_maintainer_is_beacon_loaded(inst_));
    EXPECT_EQ(0, mesh_maintainer_set_beacon_load_flag(inst_));
    EXPECT_EQ(1, mesh_maintainer_is_beacon_loaded(inst_));
    EXPECT_EQ(0, mesh_maintainer_clear_beacon_load_flag(inst_));
    EXPECT_EQ(0, mesh_maintainer_is_beacon_loaded(inst_));
    auto n = node(sn_of(1));
    n->neighbor_count = 2;
    strcpy(n->neighbors[0].mac, "0256000000a1");
    strcpy(n->neighbors[1].mac, "0256000000a2");
    strcpy(n->neighbors[2].mac, "0256000000a3");  // beyond the count
    EXPECT_EQ(1, mesh_node_mac_is_neighbor(n.get(), "0256000000a2"));
    EXPECT_EQ(0, mesh_node_mac_is_neighbor(n.get(), "0256000000a3"));
    EXPECT_EQ(0, mesh_node_mac_is_neighbor(n.get(), "0256000000a"));
}

TEST_F(MeshTable, LocalStateFileLastsLessThan160Seconds) {
    EXPECT_EQ(0, mesh_node_state_get());  // no file
    EXPECT_EQ(600005, mesh_node_state_set(7));
    EXPECT_EQ(600005, mesh_node_state_set(-1));
    ASSERT_EQ(0, mesh_node_state_set(3));
    EXPECT_EQ("3", root_.read(MESH_NODE_STATE_FILE));
    struct stat st;
    ASSERT_EQ(0, stat(root_.path(MESH_NODE_STATE_FILE).c_str(), &st));
    plat_test_set_clock(st.st_mtime + 159, 0);
    EXPECT_EQ(3, mesh_node_state_get());
    EXPECT_EQ(1, mesh_node_state_is_upgrading());
    EXPECT_EQ(1, mesh_maintainer_is_anynode_upgrading(inst_));
    plat_test_set_clock(st.st_mtime + 160, 0);
    EXPECT_EQ(0, mesh_node_state_get());
    EXPECT_FALSE(root_.exists(MESH_NODE_STATE_FILE));
    EXPECT_EQ(0, mesh_node_state_is_upgrading());

    plat_test_fail_open(MESH_NODE_STATE_FILE, EACCES);
    EXPECT_EQ(600001, mesh_node_state_set(2));
    EXPECT_TRUE(plat_test_logged("Fail to set node state"));
}

// The one writer keeps replacing entries whose bytes all carry one value;
// the reader, in another process, must never see two values in one entry.
TEST_F(MeshTable, ReaderInAnotherProcessNeverSeesAHalfCopiedEntry) {
    std::unique_ptr<mesh_node> uniform(new mesh_node());  // every byte after the sn is 0
    for (int i = 0; i < 4; i++) {
        snprintf(uniform->sn, sizeof uniform->sn, "%s", sn_of(i).c_str());
        ASSERT_EQ(0, mesh_maintainer_put_node(inst_, uniform.get()));
    }
    fflush(nullptr);
    pid_t writer = fork();
    ASSERT_GE(writer, 0);
    if (writer == 0) {
        std::unique_ptr<mesh_node> n(new mesh_node());
        for (unsigned round = 1;; round++) {
            for (int i = 0; i < 4; i++) {
                memset(n.get(), (int)(round & 0xff), sizeof *n);
                snprintf(n->sn, sizeof n->sn, "%s", sn_of(i).c_str());
                mesh_maintainer_put_node(inst_, n.get());
            }
        }
    }
    std::unique_ptr<mesh_maintainer> copy(new mesh_maintainer());
    const size_t from = offsetof(mesh_node, name);
    long reads = 0, torn = 0, changing = 0;
    unsigned char last = 0;
    struct timeval begin, now;
    gettimeofday(&begin, nullptr);
    do {
        ASSERT_EQ(0, mesh_maintainer_snapshot(inst_, copy.get()));
        for (int i = 0; i < 4; i++) {
            const unsigned char* bytes = reinterpret_cast<const unsigned char*>(&copy->entries[i].node);
            for (size_t b = from; b < sizeof(mesh_node); b++)
                if (bytes[b] != bytes[from]) {
                    torn++;
                    break;
                }
            if (bytes[from] != last) changing++;
            last = bytes[from];
        }
        reads++;
        gettimeofday(&now, nullptr);
    } while ((now.tv_sec - begin.tv_sec) * 1000000L + (now.tv_usec - begin.tv_usec) < 2000000L);
    kill(writer, SIGKILL);
    waitpid(writer, nullptr, 0);
    EXPECT_EQ(0, torn) << reads << " reads";
    EXPECT_GT(changing, 10) << "the writer did not run";
}

}  // namespace

namespace {

TEST_F(MeshTable, NetworkTopPutsTheRebuiltLocalNodeFirst) {
    mesh_node** nodes = nullptr;
    int count = 0;
    ASSERT_EQ(0, mesh_maintainer_network_top(inst_, &nodes, &count));
    ASSERT_EQ(1, count);  // an empty table: self alone
    EXPECT_EQ(&inst_->self, nodes[0]);
    EXPECT_EQ(MESH_NODE_RPC_PORT, nodes[0]->rpc_port);
    EXPECT_EQ(15u, strlen(nodes[0]->sn));
    free(nodes);

    put(sn_of(1));
    put(sn_of(2));
    advance(61);
    put(sn_of(2));
    ASSERT_EQ(0, mesh_maintainer_network_top(inst_, &nodes, &count));
    ASSERT_EQ(2, count);
    EXPECT_STREQ(sn_of(2).c_str(), nodes[1]->sn);
    free(nodes);
    ASSERT_EQ(0, mesh_maintainer_network_top_all(inst_, &nodes, &count));
    ASSERT_EQ(3, count);
    EXPECT_STREQ(sn_of(1).c_str(), nodes[1]->sn);
    free(nodes);
}

}  // namespace
