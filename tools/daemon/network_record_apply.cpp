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
#include <string.h>

#include <string>

namespace {

// The member `key` of a record's JSON as text ("" when absent).
std::string part_text(json_object* record, const char* key) {
    json_object* member = nullptr;
    if (!record || !json_object_object_get_ex(record, key, &member)) return std::string();
    return json_object_to_json_string_ext(member, JSON_C_TO_STRING_PLAIN);
}

int replace_blacklist(const mbd* record) {
    uci_context* ctx = vespin_uci_ctx_new();
    if (vespin_is_error(ctx)) return VESPIN_ERR_NO_MEMORY;
    int rv = sta_blacklist_delete(ctx, nullptr);
    for (int32_t i = 0; rv == 0 && i < record->blacklist_count && i < STA_BLACKLIST_MAX; i++) {
        blacklist_entry entry = {};
        snprintf(entry.mac, sizeof entry.mac, "%s", record->blacklist[i].mac);
        snprintf(entry.name, sizeof entry.name, "%s", record->blacklist[i].name);
        rv = sta_blacklist_add(ctx, &entry);
        // A listed MAC (the gateway's list holds it twice) is no failure.
        if (rv == VESPIN_ERR_NO_CHANGE) rv = 0;
    }
    if (rv == 0 && sta_blacklist_commit(ctx) != 0) rv = VESPIN_ERR_FAILURE;
    vespin_uci_ctx_free(ctx);
    return rv;
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
