// The node record fills the shared mesh table (534073 bytes, saved byte for
// byte): the table's layout follows from the record's size. The records' own
// sizes are checked where they are built (node.cpp), on every target the
// library is compiled for.
#include "mesh_maintainer.h"
#include "mesh_node.h"

#include <gtest/gtest.h>
#include <stddef.h>

// Magic and a word, the local node, 50 keyed entries (key, node, update
// time), the count and two words.
static_assert(sizeof(mesh_node_entry) == 16 + 10432 + 8, "table entry");
static_assert(offsetof(mesh_maintainer, self) == 8, "local node");
static_assert(offsetof(mesh_maintainer, count) == 533240, "count");
static_assert(sizeof(mesh_maintainer) <= MESH_MAINTAINER_SEGMENT_SIZE, "the table fits its segment");

TEST(MeshNodeLayout, TheTableLeavesSpareBytesInItsSegment) {
    EXPECT_EQ(821u, MESH_MAINTAINER_SEGMENT_SIZE - (offsetof(mesh_maintainer, beacon_loaded) + sizeof(int32_t)));
}
