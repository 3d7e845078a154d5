// Whether a node entry is alive: the rule every lookup, listing and cleaning
// of the node table uses.
#pragma once

#include "mesh_maintainer.h"

#include <time.h>

namespace mesh_table {

// What the rule needs of one entry, copied under the sequence lock.
struct entry_view {
    int index;
    char key[MESH_MAINTAINER_KEY_SIZE];
    char sn[MESH_NODE_SN_SIZE];
    char ip[MESH_NODE_IP_SIZE];
    int32_t state;
    int64_t updated;
};

// Seconds since the entry was stored; only the low 32 bits of both times count.
int64_t entry_age(int64_t updated, time_t now);
// Valid when 0 to 60 seconds old, or in state 3 and less than 160 seconds
// old. With `report`, an entry older than 60 seconds logs "Node(%s: %s) sync
// timeout" and then "... is upgrading" or "... is offline".
bool entry_is_valid(const entry_view& entry, time_t now, bool report);
// Views of every entry in use, copied consistently.
int read_entries(const mesh_maintainer* inst, entry_view* views);
// Index of the first (or, with `last`, the last) entry whose key is sn, or -1.
int find_key(const mesh_maintainer* inst, const char* sn, bool last = false);

}  // namespace mesh_table
