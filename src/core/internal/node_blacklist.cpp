// The mesh-node blacklist in its settings-store table.
#include "internal_node_blacklist.h"

#include "apmib.h"
#include "core/text.h"
#include "device_text.h"
#include "result_codes.h"
#include "settings_table.h"
#include "vespin_core.h"

#include <ctype.h>
#include <stdlib.h>
#include <string.h>

namespace {

const int kMibCount = 2460;
const int kMibGet = 35229;
const int kMibAdd = 67998;
const int kMibDelete = 133535;
static_assert(sizeof(node_blacklist) == 32, "the table entry is 32 bytes");

bool valid_sn(const char* sn) {
    size_t n = strnlen(sn, sizeof(node_blacklist::sn));
    if (n == 0 || n >= sizeof(node_blacklist::sn)) return false;
    for (size_t i = 0; i < n; i++)
        if (!isalnum((unsigned char)sn[i])) return false;
    return true;
}

void copy_entry(const node_blacklist& stored, node_blacklist* out) { *out = stored; }

int read_all(node_blacklist** list, int32_t* count) {
    static const settings_table_messages messages = {"Fail to get node blacklist number",
                                                     "Fail to malloc node blacklist",
                                                     "Fail to get node blacklist entry"};
    return settings_table_read(kMibCount, kMibGet, copy_entry, messages, list, count) == 0 ? 0 : VESPIN_ERR_SETTING;
}

// The stored entry of a serial number; false when it is not listed.
bool find(const node_blacklist* list, int32_t count, const char* sn, node_blacklist* found) {
    for (int32_t i = 0; i < count; i++) {
        if (strncmp(list[i].sn, sn, sizeof list[i].sn) == 0) {
            *found = list[i];
            return true;
        }
    }
    return false;
}

}  // namespace

extern "C" {

int node_blacklist_add(const node_blacklist* node) {
    if (!node || !valid_sn(node->sn)) return VESPIN_ERR_INVALID_PARAM;
    node_blacklist entry;
    memset(&entry, 0, sizeof entry);
    copy_text(entry.sn, sizeof entry.sn, node->sn);
    copy_text(entry.mac, sizeof entry.mac, node->mac);
    if (entry.mac[0] && !is_device_mac_text(entry.mac)) return VESPIN_ERR_INVALID_PARAM;
    node_blacklist* list = nullptr;
    int32_t count = 0;
    int rv = read_all(&list, &count);
    node_blacklist found;
    bool listed = rv == 0 && find(list, count, entry.sn, &found);
    free(list);
    if (rv != 0) return rv;
    if (listed) return VESPIN_ERR_EXISTS;
    if (count >= NODE_BLACKLIST_MAX) return VESPIN_ERR_TABLE_FULL;
    if (!apmib_set(kMibAdd, &entry)) return VESPIN_ERR_SETTING;
    flush_apmib(APMIB_CURRENT_SETTING);
    return 0;
}

int node_blacklist_delete(const char* sn) {
    if (!sn) return VESPIN_ERR_INVALID_PARAM;
    node_blacklist* list = nullptr;
    int32_t count = 0;
    int rv = read_all(&list, &count);
    node_blacklist found;
    bool listed = rv == 0 && find(list, count, sn, &found);
    free(list);
    if (rv != 0) return rv;
    if (!listed) return VESPIN_ERR_NOT_FOUND;
    if (!apmib_set(kMibDelete, &found)) return VESPIN_ERR_SETTING;
    flush_apmib(APMIB_CURRENT_SETTING);
    return 0;
}

int node_blacklist_list(node_blacklist** list, int32_t* count) {
    if (!list || !count) return VESPIN_ERR_FAILURE;
    int rv = read_all(list, count);
    if (rv != 0) {
        free(*list);
        *list = nullptr;
        *count = 0;
    }
    return rv;
}

}  // extern "C"
