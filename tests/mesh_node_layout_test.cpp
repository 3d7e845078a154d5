// The node, network and report records cross the C boundary and fill the
// shared mesh table (534073 bytes): their sizes and offsets are fixed.
#include "mesh_node.h"

#include <gtest/gtest.h>
#include <stddef.h>

static_assert(sizeof(vespin_sta) == 72, "station record");
static_assert(sizeof(vespin_guest_sta) == 72, "guest station record");
static_assert(offsetof(vespin_sta, rssi) == 56 && offsetof(vespin_sta, negotiation_rate) == 64, "station");
static_assert(offsetof(vespin_guest_sta, guest_ap_id) == 56 && offsetof(vespin_guest_sta, rssi) == 60,
              "guest station");
static_assert(sizeof(mesh_neighbor) == 20, "neighbour");
static_assert(sizeof(mesh_node) == 10432, "node record");
static_assert(offsetof(mesh_node, name) == 108 && offsetof(mesh_node, neighbors) == 148, "node head");
static_assert(offsetof(mesh_node, is_gw) == 1152 && offsetof(mesh_node, cpu) == 1168, "node middle");
static_assert(offsetof(mesh_node, stations) == 1192 && offsetof(mesh_node, guest_stations) == 5808, "stations");
static_assert(offsetof(mesh_node, uptime) == 10424, "node tail");
static_assert(sizeof(bmd) == 10440 && offsetof(bmd, last_mbd_sync_time) == 10432, "node report");
static_assert(sizeof(mbd) == 7720 && offsetof(mbd, blacklist) == 2059 && offsetof(mbd, life_id) == 7676,
              "network record");

// The mesh table: magic and a word, the local node, 50 keyed entries (key,
// node, update time), the count and two words, within 534073 bytes.
namespace {
struct table_entry {
    char key[16];
    mesh_node node;
    int64_t updated;
};
struct table_head {
    uint32_t magic;
    uint32_t reserved;
    mesh_node self;
    table_entry entries[50];
    int32_t count;
    int32_t reserved_2;
    int32_t beacon_loaded;
};
}  // namespace
static_assert(sizeof(table_entry) == 10456, "table entry");
static_assert(offsetof(table_head, count) == 533240 && sizeof(table_head) <= 534073, "mesh table");

TEST(MeshNodeLayout, RecordsKeepTheirDocumentedSizes) {
    // The checks above are made by the compiler; this names them in the run.
    EXPECT_EQ(10432u, sizeof(mesh_node));
    EXPECT_EQ(534073u - 821u, offsetof(table_head, beacon_loaded) + sizeof(int32_t));
}
