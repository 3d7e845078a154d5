// The driver's mesh peer list read in full ("/proc/wlan%d/mesh_assoc_mpinfo"),
// whatever the driver or a damaged file puts in it.
#include "core/mesh/peer_list.h"
#include "fuzz_root.h"

#include <stdint.h>
#include <stdio.h>
#include <string.h>

#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    FILE* file = fmemopen(const_cast<uint8_t*>(size ? data : (const uint8_t*)""), size ? size : 1, "r");
    if (!file) return 0;
    std::vector<mesh_peer> peers;
    mesh_peers::read_peer_list(file, 1, &peers);
    fclose(file);
    if (peers.size() > MESH_PEER_MAX) __builtin_trap();
    for (const mesh_peer& p : peers)
        if (strnlen(p.hwaddr, sizeof p.hwaddr) == sizeof p.hwaddr || strnlen(p.mode, sizeof p.mode) == sizeof p.mode)
            __builtin_trap();
    return 0;
}
