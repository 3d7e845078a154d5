// The driver's list of mesh peers of one radio ("/proc/wlan%d/mesh_assoc_mpinfo"):
// blocks that each start with a line holding "Mesh MP_info", followed by
// "key: value" lines, among them "hwaddr" and "rssi".
#pragma once

#include "mesh_node.h"

#include <stdint.h>
#include <stdio.h>

// Appends the peers of the file to neighbors[*count ...] until the file ends
// or *count reaches max. An entry is complete at its "rssi" line; one with an
// empty hwaddr ("No matching hwaddr") is dropped, one with an empty rssi ("No
// matching rssi") too; an entry cut off by the end of the file is kept as it
// stands. Lines are read 512 characters at a time.
void mesh_peer_list_parse(FILE* file, mesh_neighbor* neighbors, int32_t* count, int32_t max);
