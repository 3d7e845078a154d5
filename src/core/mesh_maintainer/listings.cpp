// Listings of the node table: the live neighbours, the topology with the
// local node first, and the upgrade watch.
#include "mesh_maintainer.h"

#include "liveness.h"
#include "platform.h"
#include "table_lock.h"

#include <stdlib.h>
#include <string.h>

using mesh_table::entry_view;

namespace {

bool usable(const mesh_maintainer* inst) { return inst && !vespin_is_error(inst); }

// Fills nodes[start...] with the records of the entries (every one, or only
// the valid ones) and returns how many it put.
int collect(mesh_maintainer* inst, mesh_node** nodes, int start, bool only_valid) {
    entry_view all[MESH_MAINTAINER_NODE_MAX];
    int count = mesh_table::read_entries(inst, all);
    time_t now = plat_time();
    int put = 0;
    for (int i = 0; i < count; i++)
        if (!only_valid || mesh_table::entry_is_valid(all[i], now, true)) nodes[start + put++] = &inst->entries[i].node;
    return put;
}

int topology(mesh_maintainer* inst, mesh_node*** nodes, int* count, bool only_valid) {
    if (!usable(inst) || !nodes || !count) return VESPIN_ERR_FAILURE;
    *nodes = nullptr;
    *count = 0;
    mesh_node* self = static_cast<mesh_node*>(plat_calloc(1, sizeof(mesh_node)));
    if (!self) return VESPIN_ERR_NO_MEMORY;
    int rv = mesh_node_reload(self);
    if (rv != 0) {
        free(self);
        return rv;
    }
    {
        mesh_table::write_guard lock(inst);
        memcpy(&inst->self, self, sizeof *self);
    }
    free(self);
    auto** list = static_cast<mesh_node**>(plat_calloc(1 + MESH_MAINTAINER_NODE_MAX, sizeof(mesh_node*)));
    if (!list) return VESPIN_ERR_NO_MEMORY;
    list[0] = &inst->self;
    *count = 1 + collect(inst, list, 1, only_valid);
    *nodes = list;
    return 0;
}

}  // namespace

extern "C" {

int mesh_maintainer_list_neighbors(mesh_maintainer* inst, mesh_node*** nodes, int* count) {
    if (!usable(inst) || !nodes || !count) return VESPIN_ERR_FAILURE;
    *nodes = nullptr;
    *count = 0;
    if (__atomic_load_n(&inst->count, __ATOMIC_ACQUIRE) <= 0) return 0;
    auto** list = static_cast<mesh_node**>(plat_calloc(MESH_MAINTAINER_NODE_MAX, sizeof(mesh_node*)));
    if (!list) return VESPIN_ERR_NO_MEMORY;
    *count = collect(inst, list, 0, true);
    *nodes = list;
    return 0;
}

int mesh_maintainer_network_top(mesh_maintainer* inst, mesh_node*** nodes, int* count) {
    return topology(inst, nodes, count, true);
}

int mesh_maintainer_network_top_all(mesh_maintainer* inst, mesh_node*** nodes, int* count) {
    return topology(inst, nodes, count, false);
}

int mesh_maintainer_is_anynode_upgrading(mesh_maintainer* inst) {
    if (mesh_node_state_is_upgrading()) return 1;
    if (!usable(inst)) return 0;
    mesh_table::write_guard lock(inst);
    time_t now = plat_time();
    for (int i = 0; i < inst->count && i < MESH_MAINTAINER_NODE_MAX; i++) {
        mesh_node& node = inst->entries[i].node;
        if (node.state != MESH_NODE_STATE_UPGRADING_2) continue;
        if (mesh_table::entry_age(inst->entries[i].updated, now) < 161) return 1;
        node.state = MESH_NODE_STATE_UPGRADE_LOST;
    }
    return 0;
}

}  // extern "C"
