// The driver's mesh peer list of one radio.
#include "core/new_mesh/peer_list.h"
#include "platform_testing.h"

#include <stdint.h>
#include <stdio.h>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    plat_test_capture_log();
    if (size == 0) return 0;  // fmemopen refuses an empty buffer
    FILE* file = fmemopen((void*)data, size, "r");
    if (!file) return 0;
    mesh_neighbor neighbors[MESH_NODE_NEIGHBOR_MAX];
    int32_t count = 45;  // the other radio's peers fill most of the list
    mesh_peer_list_parse(file, neighbors, &count, MESH_NODE_NEIGHBOR_MAX);
    fclose(file);
    if (count < 45 || count > MESH_NODE_NEIGHBOR_MAX) __builtin_trap();
    plat_test_reset();
    return 0;
}
