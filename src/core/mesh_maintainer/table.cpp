// The node table's changes and lookups: one writer (the mesh agent) stores
// reports, removes and renames entries and moves their states; every process
// looks nodes up by serial number.
#include "mesh_maintainer.h"

#include "core/log.h"
#include "core/text.h"
#include "liveness.h"
#include "platform.h"
#include "table_lock.h"

#include <string.h>

using mesh_table::entry_view;
using mesh_table::write_guard;

namespace {

bool usable(const mesh_maintainer* inst) { return inst && !vespin_is_error(inst); }

// Removes the entry at index: later entries move one place forward and the
// freed last place is zeroed. The caller holds the write lock.
void remove_at(mesh_maintainer* inst, int index) {
    int count = inst->count;
    memmove(&inst->entries[index], &inst->entries[index + 1], (size_t)(count - index - 1) * sizeof(mesh_node_entry));
    memset(&inst->entries[count - 1], 0, sizeof(mesh_node_entry));
    inst->count = count - 1;
}

// Views of every entry that fails validation (with its log lines).
int invalid_entries(mesh_maintainer* inst, entry_view* views, bool report) {
    entry_view all[MESH_MAINTAINER_NODE_MAX];
    int count = mesh_table::read_entries(inst, all);
    time_t now = plat_time();
    int invalid = 0;
    for (int i = 0; i < count; i++)
        if (!mesh_table::entry_is_valid(all[i], now, report)) views[invalid++] = all[i];
    return invalid;
}

}  // namespace

extern "C" {

int mesh_maintainer_put_node(mesh_maintainer* inst, const mesh_node* node) {
    if (!usable(inst) || !node) return VESPIN_ERR_FAILURE;
    char key[MESH_MAINTAINER_KEY_SIZE];
    copy_text(key, sizeof key, node->sn);
    write_guard lock(inst);
    int index = mesh_table::find_key(inst, key);
    if (index >= 0) {
        memmove(&inst->entries[index].node, node, sizeof *node);
        inst->entries[index].updated = plat_time();
        return 0;
    }
    if (inst->count >= MESH_MAINTAINER_NODE_MAX) mesh_maintainer_clean_dead_node(inst);
    if (inst->count >= MESH_MAINTAINER_NODE_MAX) {
        VLOG_ERROR("Too many nodes now: %d", inst->count);
        return VESPIN_ERR_TABLE_FULL;
    }
    mesh_node_entry& entry = inst->entries[inst->count];
    memcpy(entry.key, key, sizeof key);
    memmove(&entry.node, node, sizeof *node);
    entry.updated = plat_time();
    inst->count++;
    mesh_topo_state_save();
    return 0;
}

void mesh_maintainer_delete_node(mesh_maintainer* inst, const char* sn) {
    if (!usable(inst)) return;
    {
        write_guard lock(inst);
        int index = mesh_table::find_key(inst, sn);
        if (index < 0) return;
        remove_at(inst, index);
    }
    mesh_topo_state_save();
}

int mesh_maintainer_clean_dead_node(mesh_maintainer* inst) {
    if (!usable(inst)) return 0;
    entry_view dead[MESH_MAINTAINER_NODE_MAX];
    int count = invalid_entries(inst, dead, true);
    for (int i = 0; i < count; i++) VLOG_ERROR("Node(%s) is invalid", dead[i].key);
    for (int i = 0; i < count; i++) mesh_maintainer_delete_node(inst, dead[i].key);
    return 0;
}

void mesh_maintainer_check_node_status(mesh_maintainer* inst) {
    if (!usable(inst)) return;
    entry_view dead[MESH_MAINTAINER_NODE_MAX];
    int count = invalid_entries(inst, dead, true);
    if (count == 0) return;
    write_guard lock(inst);
    for (int i = 0; i < count; i++) {
        int index = mesh_table::find_key(inst, dead[i].key);
        if (index >= 0) inst->entries[index].node.state = MESH_NODE_STATE_OFFLINE;
    }
}

int mesh_maintainer_set_node_state(mesh_maintainer* inst, const char* sn, int state) {
    if (!usable(inst)) return VESPIN_ERR_MISSING_VALUE;
    write_guard lock(inst);
    int index = mesh_table::find_key(inst, sn);
    if (index < 0) return VESPIN_ERR_MISSING_VALUE;
    inst->entries[index].node.state = state;
    return 0;
}

int mesh_maintainer_set_name(mesh_maintainer* inst, const char* sn, const char* name) {
    if (!usable(inst)) return VESPIN_ERR_MISSING_VALUE;
    {
        write_guard lock(inst);
        int index = mesh_table::find_key(inst, sn);
        if (index < 0) return VESPIN_ERR_MISSING_VALUE;
        mesh_node& node = inst->entries[index].node;
        copy_text(node.name, sizeof node.name, name);
    }
    mesh_topo_state_save();
    return 0;
}

mesh_node_entry* mesh_maintainer_get_node_by_sn(mesh_maintainer* inst, const char* sn) {
    if (!usable(inst)) return nullptr;
    int index = mesh_table::find_key(inst, sn);
    return index < 0 ? nullptr : &inst->entries[index];
}

mesh_node* mesh_maintainer_get_neighbor_by_sn(mesh_maintainer* inst, const char* sn) {
    if (!usable(inst) || !sn) return nullptr;
    entry_view all[MESH_MAINTAINER_NODE_MAX];
    int count = mesh_table::read_entries(inst, all);
    for (int i = 0; i < count; i++) {
        if (strncmp(all[i].key, sn, MESH_MAINTAINER_KEY_SIZE) != 0) continue;
        return mesh_table::entry_is_valid(all[i], plat_time(), true) ? &inst->entries[i].node : nullptr;
    }
    return nullptr;
}

mesh_node_entry* mesh_maintainer_get_neighbor_by_sn_nodebug(mesh_maintainer* inst, const char* sn) {
    if (!usable(inst) || !sn) return nullptr;
    entry_view all[MESH_MAINTAINER_NODE_MAX];
    int count = mesh_table::read_entries(inst, all);
    for (int i = count - 1; i >= 0; i--) {
        if (strncmp(all[i].key, sn, MESH_MAINTAINER_KEY_SIZE) != 0) continue;
        return mesh_table::entry_is_valid(all[i], plat_time(), false) ? &inst->entries[i] : nullptr;
    }
    return nullptr;
}

int mesh_node_mac_is_neighbor(const mesh_node* node, const char* mac) {
    if (!node || !mac) return 0;
    int count = node->neighbor_count;
    if (count > MESH_NODE_NEIGHBOR_MAX) count = MESH_NODE_NEIGHBOR_MAX;
    for (int i = 0; i < count; i++)
        if (strncmp(node->neighbors[i].mac, mac, MESH_NEIGHBOR_MAC_SIZE) == 0) return 1;
    return 0;
}

int mesh_maintainer_set_beacon_load_flag(mesh_maintainer* inst) {
    if (!usable(inst)) return 0;
    write_guard lock(inst);
    inst->beacon_loaded = 1;
    return 0;
}

int mesh_maintainer_clear_beacon_load_flag(mesh_maintainer* inst) {
    if (!usable(inst)) return 0;
    write_guard lock(inst);
    inst->beacon_loaded = 0;
    return 0;
}

int mesh_maintainer_is_beacon_loaded(mesh_maintainer* inst) {
    if (!usable(inst)) return 0;
    return __atomic_load_n(&inst->beacon_loaded, __ATOMIC_ACQUIRE);
}

int mesh_maintainer_snapshot(const mesh_maintainer* inst, mesh_maintainer* copy) {
    if (!usable(inst) || !copy || vespin_is_error(copy)) return VESPIN_ERR_FAILURE;
    mesh_table::read_consistent(inst, [&] { memcpy(copy, inst, sizeof *copy); });
    return 0;
}

}  // extern "C"
