#include "network_record_apply.h"

#include "apmib.h"
#include "config_admin.h"
#include "config_timezone.h"
#include "config_wifi.h"
#include "internal_sta_blacklist.h"
#include "internal_wifi.h"
#include "core/json_ref.h"
#include "vespin_core.h"

#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include <string>

namespace {

// The member `key` of a record's JSON as text ("" when absent).
std::string part_text(json_object* record, const char* key) {
    json_object* member = nullptr;
    if (!record || !json_object_object_get_ex(record, key, &member)) return std::string();
    return json_object_to_json_string_ext(member, JSON_C_TO_STRING_PLAIN);
}

bool listed(const blacklist_entry* list, int32_t count, const char* mac, const char* name) {
    for (int32_t i = 0; i < count; i++)
        if (strcmp(list[i].mac, mac) == 0 && strcmp(list[i].name, name) == 0) return true;
    return false;
}

// Makes the node's blacklist the record's (its first STA_BLACKLIST_MAX
// entries): stations it no longer holds, or holds under another name, are
// deleted one by one, new ones added, and the whole is committed at once, so
// that a failure before the commit leaves the list as it was. (Deleting the
// whole list in one call would not say when one of its deletions failed.)
// The committed list is read back: 600001 when it is not the record's, so
// that the sync is not recorded and the next report tries again.
int replace_blacklist(const mbd* record) {
    blacklist_entry* current = nullptr;
    int32_t count = 0;
    int rv = sta_blacklist_list(&current, &count);
    if (rv != 0) return rv;
    blacklist_entry wanted[STA_BLACKLIST_MAX] = {};
    int32_t wanted_count = 0;
    for (int32_t i = 0; i < record->blacklist_count && wanted_count < STA_BLACKLIST_MAX; i++) {
        blacklist_entry& entry = wanted[wanted_count++];
        snprintf(entry.mac, sizeof entry.mac, "%s", record->blacklist[i].mac);
        snprintf(entry.name, sizeof entry.name, "%s", record->blacklist[i].name);
    }
    uci_context* ctx = vespin_uci_ctx_new();
    if (vespin_is_error(ctx)) {
        free(current);
        return VESPIN_ERR_NO_MEMORY;
    }
    bool changed = false;
    for (int32_t i = 0; rv == 0 && i < count; i++) {
        if (listed(wanted, wanted_count, current[i].mac, current[i].name)) continue;
        rv = sta_blacklist_delete(ctx, current[i].mac);
        changed = true;
    }
    for (int32_t i = 0; rv == 0 && i < wanted_count; i++) {
        if (listed(current, count, wanted[i].mac, wanted[i].name)) continue;
        rv = sta_blacklist_add(ctx, &wanted[i]);
        // The gateway's list may name a station twice.
        if (rv == VESPIN_ERR_NO_CHANGE) rv = 0;
        changed = true;
    }
    if (rv == 0 && changed && sta_blacklist_commit(ctx) != 0) rv = VESPIN_ERR_FAILURE;
    vespin_uci_ctx_free(ctx);
    free(current);
    if (rv != 0 || !changed) return rv;
    // An addition reports only its last write: read back what was committed
    // (the listing leaves the array alone when the list is empty).
    current = nullptr;
    count = 0;
    rv = sta_blacklist_list(&current, &count);
    if (rv != 0) return rv;
    bool same = count == wanted_count;
    for (int32_t i = 0; same && i < wanted_count; i++) same = listed(current, count, wanted[i].mac, wanted[i].name);
    free(current);
    return same ? 0 : VESPIN_ERR_FAILURE;
}

}  // namespace

int apply_network_record(const mbd* record, const char** part) {
    *part = "local";
    mbd* local = mbd_new();
    if (vespin_is_error(local)) return vespin_error_code(local);
    json_ref mine(mbd_to_json(local)), theirs(mbd_to_json(record));
    mbd_free(local);
    auto differs = [&](const char* key) {
        *part = key;
        return part_text(mine.get(), key) != part_text(theirs.get(), key);
    };
    int rv = 0;
    if (differs("wifi")) {
        wifi_config wifi = record->wifi;
        rv = config_wifi(&wifi);
    }
    if (rv == 0 && differs("guest_wifis")) rv = config_guest_wifi(&record->guest_wifis);
    if (rv == 0 && differs("admin")) rv = config_admin(&record->admin);
    if (rv == 0 && differs("timezone")) rv = config_timezone(&record->timezone);
    if (rv == 0 && differs("mesh_band")) rv = vespin_set_24g_mesh_switch(record->mesh_band.enabled_24g);
    if (rv == 0 && differs("led_time_limit")) rv = vespin_mesh_led_time_limit_set(&record->led_time_limit);
    if (rv == 0 && differs("blacklist")) rv = replace_blacklist(record);
    if (rv != 0) return rv;
    *part = "settings";
    return flush_apmib(APMIB_CURRENT_SETTING);
}
