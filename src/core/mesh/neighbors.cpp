// The mesh peers the local radios hear, each completed from the node map.
#include "mesh.h"

#include "core/log.h"
#include "core/text.h"
#include "peer_list.h"
#include "platform.h"
#include "radios.h"

#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include <vector>

namespace {

const int kMapCapacity = 20;

// The node map's entry for the peer's MAC, copied into the peer.
void complete(mesh_peer* peer, mesh_node_map* map) {
    mesh_node_meta* meta = mesh_node_map_get_by_mac(map, peer->hwaddr);
    if (!meta) {
        VLOG_ERROR("Missing meta of node: %s", peer->hwaddr);
        return;
    }
    copy_text(peer->sn, sizeof peer->sn, meta->sn);
    copy_text(peer->ip_lan, sizeof peer->ip_lan, meta->ip_lan);
    peer->mesh_port = meta->mesh_port;
}

}  // namespace

extern "C" {

int mesh_get_neighbors(mesh_peer** peers, int* count) {
    if (!peers || !count) return VESPIN_ERR_FAILURE;
    *peers = nullptr;
    *count = 0;
    mesh_node_map* map = mesh_node_map_new_from_file(kMapCapacity, MESH_NODE_MAP_FILE);
    // A map that cannot be made is not a missing map: "no peers" would be a lie.
    if (vespin_error_code(map) == 12) return 12;
    if (!map || vespin_is_error(map)) {
        VLOG_AT(4, "Fail to new from file: %s", MESH_NODE_MAP_FILE);
        return 0;
    }
    std::vector<mesh_peer> found;
    for (int radio = 0; radio <= 1; radio++) {
        int mesh_on = 0;
        if (!mesh_radio::read_setting(radio, mesh_radio::kMeshSwitch, &mesh_on)) {
            mesh_node_map_free(map);
            return VESPIN_ERR_SETTING;
        }
        if (!mesh_on) continue;
        char path[64];
        snprintf(path, sizeof path, "/proc/wlan%d/mesh_assoc_mpinfo", radio);
        FILE* file = plat_fopen(path, "r");
        if (!file) {
            VLOG_ERROR("Fail to open %s", path);
            continue;
        }
        mesh_peers::read_peer_list(file, radio, &found);
        fclose(file);
    }
    if (found.empty()) {
        mesh_node_map_free(map);
        return 0;
    }
    auto* list = static_cast<mesh_peer*>(plat_calloc(found.size(), sizeof(mesh_peer)));
    if (!list) {
        mesh_node_map_free(map);
        return 12;
    }
    for (size_t i = 0; i < found.size(); i++) {
        list[i] = found[i];
        complete(&list[i], map);
    }
    mesh_node_map_free(map);
    *peers = list;
    *count = (int)found.size();
    return 0;
}

}  // extern "C"
