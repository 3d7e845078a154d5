// The driver's mesh peer list ("/proc/wlan%d/mesh_assoc_mpinfo") read in
// full: after a line holding "Mesh MP_info", one line per key in a fixed
// order ("state: ", "hwaddr: ", ... "retry: "), leading blanks allowed.
#pragma once

#include "mesh.h"

#include <stdio.h>

#include <vector>

namespace mesh_peers {

// Appends the peers of one radio's file to `peers`, at most MESH_PEER_MAX
// in all. A peer counts once its "(Sec): " line has been read; a line without
// its expected key gives that key an empty value (0 or "").
void read_peer_list(FILE* file, int radio, std::vector<mesh_peer>* peers);

}  // namespace mesh_peers
