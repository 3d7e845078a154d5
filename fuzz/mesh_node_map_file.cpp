// The node map file, which the mesh agent writes and any process reads back:
// whatever it holds, the map stays within its capacity and its texts bounded.
#include "fuzz_root.h"

#include <sys/stat.h>
#include "platform.h"
#include "platform_testing.h"
#include "mesh.h"

#include <stdint.h>
#include <string.h>

#include <string>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    fuzz_root();
    plat_test_reset();
    mkdir((fuzz_root() + "/tmp").c_str(), 0755);
    plat_write_file_atomic("/tmp/mesh_nodes", std::string((const char*)data, size));
    mesh_node_map* map = mesh_node_map_new_from_file(4, "/tmp/mesh_nodes");
    if (map && !vespin_is_error(map)) {
        if (map->count > map->capacity) __builtin_trap();
        std::string json(MESH_NODE_MAP_JSON_SIZE(map->capacity), 0);
        mesh_node_map_to_json(map, &json[0]);
        for (int i = 0; i < map->count; i++) {
            mesh_node_meta* m = &map->entries[i];
            if (strnlen(m->sn, sizeof m->sn) == sizeof m->sn) __builtin_trap();
            mesh_node_map_get_by_mac(map, m->mac_wlan1);
            mesh_node_map_get_by_ip(map, m->ip_lan);
        }
        mesh_node_map_to_file(map, "/tmp/mesh_nodes.out");
        mesh_node_map_free(map);
    }
    return 0;
}
