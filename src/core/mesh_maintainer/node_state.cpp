// The local node's state: a decimal number in "/tmp/mesh_node_state", in
// force for 160 seconds after it was written.
#include "mesh_maintainer.h"

#include "core/log.h"
#include "platform.h"

#include <stdio.h>
#include <sys/stat.h>

namespace {

const time_t kStateLifetime = 160;

}  // namespace

extern "C" {

int mesh_node_state_get(void) {
    struct stat st;
    if (plat_stat(MESH_NODE_STATE_FILE, &st) != 0) return 0;
    if (plat_time() - st.st_mtime >= kStateLifetime) {
        plat_unlink(MESH_NODE_STATE_FILE);
        return 0;
    }
    FILE* file = plat_fopen(MESH_NODE_STATE_FILE, "r");
    if (!file) return 0;
    int state = 0;
    if (fscanf(file, "%d", &state) != 1) state = 0;
    fclose(file);
    return state;
}

int mesh_node_state_set(int state) {
    if ((unsigned)state >= MESH_NODE_STATE_LIMIT) return VESPIN_ERR_MISSING_VALUE;
    FILE* file = plat_fopen(MESH_NODE_STATE_FILE, "w");
    if (!file) {
        VLOG_ERROR("Fail to set node state");
        return VESPIN_ERR_FAILURE;
    }
    bool written = fprintf(file, "%d", state) > 0;
    if (fclose(file) != 0 || !written) {
        VLOG_ERROR("Fail to set node state");
        return VESPIN_ERR_FAILURE;
    }
    return 0;
}

int mesh_node_state_is_upgrading(void) {
    int state = mesh_node_state_get();
    return state == MESH_NODE_STATE_UPGRADING || state == MESH_NODE_STATE_UPGRADING_2;
}

}  // extern "C"
