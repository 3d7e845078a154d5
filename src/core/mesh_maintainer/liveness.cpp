// The liveness rule of the node table: 60 seconds of silence for any node,
// 160 for one that said it is upgrading (state 3).
#include "liveness.h"

#include "core/log.h"
#include "core/text.h"
#include "table_lock.h"

#include <string.h>

namespace mesh_table {

namespace {

const int64_t kSyncTimeout = 60;
const int64_t kUpgradeTimeout = 160;

bool key_is(const char* key, const char* sn) { return strncmp(key, sn, MESH_MAINTAINER_KEY_SIZE) == 0; }

}  // namespace

int64_t entry_age(int64_t updated, time_t now) {
    // The table was designed with a 32-bit time: compare the low 32 bits.
    return (int64_t)(int32_t)(uint32_t)now - (int64_t)(int32_t)(uint32_t)updated;
}

bool entry_is_valid(const entry_view& entry, time_t now, bool report) {
    int64_t age = entry_age(entry.updated, now);
    if (age < 0) return false;  // the clock went back: invalid, without a log line
    if (age <= kSyncTimeout) return true;
    if (report) VLOG_ERROR("Node(%s: %s) sync timeout", entry.sn, entry.ip);
    if (entry.state == MESH_NODE_STATE_UPGRADING_2 && age < kUpgradeTimeout) {
        if (report) VLOG_INFO("Node(%s: %s) is upgrading", entry.sn, entry.ip);
        return true;
    }
    if (report) VLOG_ERROR("Node(%s: %s) is offline", entry.sn, entry.ip);
    return false;
}

int read_entries(const mesh_maintainer* inst, entry_view* views) {
    int count = 0;
    read_consistent(inst, [&] {
        count = inst->count < 0 ? 0 : (inst->count > MESH_MAINTAINER_NODE_MAX ? MESH_MAINTAINER_NODE_MAX : inst->count);
        for (int i = 0; i < count; i++) {
            const mesh_node_entry& e = inst->entries[i];
            views[i].index = i;
            copy_text(views[i].key, sizeof views[i].key, e.key);
            copy_text(views[i].sn, sizeof views[i].sn, e.node.sn);
            copy_text(views[i].ip, sizeof views[i].ip, e.node.ip);
            views[i].state = e.node.state;
            views[i].updated = e.updated;
        }
    });
    return count;
}

int find_key(const mesh_maintainer* inst, const char* sn, bool last) {
    if (!sn) return -1;
    int found = -1;
    read_consistent(inst, [&] {
        found = -1;
        int count = inst->count > MESH_MAINTAINER_NODE_MAX ? MESH_MAINTAINER_NODE_MAX : inst->count;
        for (int i = 0; i < count; i++) {
            if (!key_is(inst->entries[i].key, sn)) continue;
            found = i;
            if (!last) break;
        }
    });
    return found;
}

}  // namespace mesh_table
