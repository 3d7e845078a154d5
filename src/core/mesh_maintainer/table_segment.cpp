// The node table's segment: found or made on first use, restored from the
// image after a restart, and saved back to it.
#include "mesh_maintainer.h"

#include "core/log.h"
#include "platform.h"
#include "table_lock.h"
#include "table_segment.h"
#include "vespin_core.h"

#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include <memory>

namespace {

mesh_maintainer* mapped = nullptr;  // the process's mapping (process-wide cache)

// The image is host data, but a damaged file must not lead a later loop or
// log line out of its record: counts are bounded and texts terminated.
bool image_is_sound(const mesh_maintainer* inst) { return inst->count >= 0 && inst->count <= MESH_MAINTAINER_NODE_MAX; }

void terminate_texts(mesh_node* node) {
    node->ip[sizeof node->ip - 1] = 0;
    node->sn[sizeof node->sn - 1] = 0;
    node->name[sizeof node->name - 1] = 0;
    if (node->neighbor_count < 0 || node->neighbor_count > MESH_NODE_NEIGHBOR_MAX) node->neighbor_count = 0;
    if (node->station_count < 0 || node->station_count > MESH_NODE_STATION_MAX) node->station_count = 0;
    if (node->guest_station_count < 0 || node->guest_station_count > MESH_NODE_STATION_MAX)
        node->guest_station_count = 0;
}

// The first process after a restart: an empty table, filled from the image
// when one can be read; the restored entries are offline until they report.
void initialise(mesh_maintainer* inst) {
    memset(inst, 0, MESH_MAINTAINER_SEGMENT_SIZE - 1);
    inst->magic = MESH_MAINTAINER_MAGIC;
    if (mesh_topo_state_reload(inst) && image_is_sound(inst)) {
        inst->magic = MESH_MAINTAINER_MAGIC;
        inst->sequence = 0;
        terminate_texts(&inst->self);
        inst->self.is_gw = get_work_mode() == 1;
        inst->beacon_loaded = 0;
        inst->self.rpc_port = 0;
        for (int i = 0; i < inst->count; i++) {
            mesh_node_entry& e = inst->entries[i];
            e.key[sizeof e.key - 1] = 0;
            terminate_texts(&e.node);
            if (e.node.state == MESH_NODE_STATE_NONE) e.node.state = MESH_NODE_STATE_OFFLINE;
            e.node.rpc_port = 0;
        }
        return;
    }
    plat_unlink(MESH_TOPO_FILE);
    memset(inst, 0, MESH_MAINTAINER_SEGMENT_SIZE - 1);
    inst->magic = MESH_MAINTAINER_MAGIC;
}

}  // namespace

namespace mesh_table {

void forget_segment(bool remove) {
    plat_shm_detach(mapped);
    mapped = nullptr;
    if (remove) plat_shm_remove(plat_shm_key());
}

}  // namespace mesh_table

extern "C" {

mesh_maintainer* mesh_maintainer_get_inst(void) {
    if (mapped) return mapped;
    int id = plat_shm_get(plat_shm_key(), MESH_MAINTAINER_SEGMENT_SIZE);
    if (id < 0) {
        vespin_perror("shmget");
        return VESPIN_ERROR_PTR(mesh_maintainer*, VESPIN_ERR_FAILURE);
    }
    auto* inst = static_cast<mesh_maintainer*>(plat_shm_attach(id));
    if (!inst) {
        VLOG_ERROR("Fail to map the share memory");
        return VESPIN_ERROR_PTR(mesh_maintainer*, VESPIN_ERR_FAILURE);
    }
    if (inst->magic != MESH_MAINTAINER_MAGIC) initialise(inst);
    mapped = inst;
    return inst;
}

void* mesh_topo_state_reload(void* buffer) {
    if (!buffer) return nullptr;
    FILE* file = plat_fopen(MESH_TOPO_FILE, "rb");
    if (!file) return nullptr;
    bool whole = fseek(file, 0, SEEK_END) == 0 && ftell(file) == MESH_MAINTAINER_SEGMENT_SIZE &&
                 fseek(file, 0, SEEK_SET) == 0 &&
                 fread(buffer, 1, MESH_MAINTAINER_SEGMENT_SIZE, file) == MESH_MAINTAINER_SEGMENT_SIZE;
    fclose(file);
    return whole ? buffer : nullptr;
}

int mesh_topo_state_save(void) {
    mesh_maintainer* inst = mesh_maintainer_get_inst();
    if (vespin_is_error(inst)) return VESPIN_ERR_FAILURE;
    mesh_maintainer_check_node_status(inst);
    std::unique_ptr<char[]> image(new (std::nothrow) char[MESH_MAINTAINER_SEGMENT_SIZE]);
    if (!image) return VESPIN_ERR_FAILURE;
    mesh_table::read_consistent(inst, [&] { memcpy(image.get(), inst, MESH_MAINTAINER_SEGMENT_SIZE); });
    FILE* file = plat_fopen(MESH_TOPO_FILE, "wb+");
    if (!file) {
        vespin_perror(MESH_TOPO_FILE);
        return VESPIN_ERR_FAILURE;
    }
    bool written = fwrite(image.get(), 1, MESH_MAINTAINER_SEGMENT_SIZE, file) == MESH_MAINTAINER_SEGMENT_SIZE;
    if (fclose(file) != 0 || !written) {
        vespin_perror(MESH_TOPO_FILE);
        return VESPIN_ERR_FAILURE;
    }
    return 0;
}

void mesh_topo_state_debug(void) {}

}  // extern "C"
