// The network record: the settings the gateway hands to every node.
#include "mesh_node.h"

#include "config_json.h"
#include "internal_sta_blacklist.h"
#include "internal_wifi.h"
#include "core/json_ref.h"
#include "life_id.h"
#include "core/log.h"
#include "node_json.h"
#include "record_new.h"
#include "platform.h"
#include "core/text.h"

#include <stdlib.h>
#include <string.h>

namespace {

// The station blacklist of the system, at most 100 entries kept.
int load_blacklist(mbd* record) {
    blacklist_entry* list = nullptr;
    int32_t count = 0;
    int code = sta_blacklist_list(&list, &count);
    if (code != 0) {
        VLOG_ERROR("Fail to list blacklist");
        return code;
    }
    if (count > MBD_BLACKLIST_MAX) count = MBD_BLACKLIST_MAX;
    for (int32_t i = 0; i < count; ++i) {
        copy_text(record->blacklist[i].mac, sizeof record->blacklist[i].mac, list[i].mac);
        copy_text(record->blacklist[i].name, sizeof record->blacklist[i].name, list[i].name);
    }
    record->blacklist_count = count < 0 ? 0 : count;
    free(list);
    return 0;
}

// "blacklist": an array of {"mac", "name"}, entries beyond 100 cut.
int read_blacklist(mbd* record, json_object* list) {
    if (!json_object_is_type(list, json_type_array)) {
        VLOG_ERROR("Invalid type of blacklist");
        return VESPIN_ERR_MISSING_VALUE;
    }
    return mesh_json_read_array(list, MBD_BLACKLIST_MAX, &record->blacklist_count, [record](int i, json_object* element) {
        json_object* mac = mesh_json_member(element, "mac");
        json_object* name = mesh_json_member(element, "name");
        if (!json_object_is_type(element, json_type_object) || !json_object_is_type(mac, json_type_string) ||
            !json_object_is_type(name, json_type_string) ||
            strlen(json_object_get_string(name)) >= MBD_BLACKLIST_NAME_SIZE) {
            VLOG_ERROR("Invalid blacklist");
            return VESPIN_ERR_MISSING_VALUE;
        }
        copy_text(record->blacklist[i].mac, sizeof record->blacklist[i].mac, json_object_get_string(mac));
        copy_text(record->blacklist[i].name, sizeof record->blacklist[i].name, json_object_get_string(name));
        return 0;
    });
}

// The readers of the embedded configuration records, in the order they are
// applied. Each failure logs the whole text.
int read_settings(mbd* record, json_object* object, const char* text) {
    int code = wifi_config_load(&record->wifi);
    json_object* member = nullptr;
    // A Wi-Fi object that changes nothing (600100) keeps the local values.
    if (code == 0 && json_object_object_get_ex(object, "wifi", &member)) {
        code = wifi_update_from_json(&record->wifi, member);
        if (code == VESPIN_ERR_NO_CHANGE) code = 0;
    }
    if (code == 0 && json_object_object_get_ex(object, "guest_wifis", &member))
        code = guest_wifi_config_update_from_json_object(&record->guest_wifis, member);
    if (code == 0 && json_object_object_get_ex(object, "mesh_band", &member))
        code = mesh_band_config_update_from_json_object(&record->mesh_band, member);
    if (code == 0 && json_object_object_get_ex(object, "led_time_limit", &member))
        code = mesh_led_time_limit_update_from_json_object(&record->led_time_limit, member);
    if (code == 0) code = admin_config_update_from_json_object(&record->admin, mesh_json_member(object, "admin"));
    if (code == 0) code = timezone_config_update_from_json_object(&record->timezone, mesh_json_member(object, "timezone"));
    if (code != 0) VLOG_ERROR("Fail to parse json: `%s`", text);
    return code;
}

}  // namespace

int mbd_reload(mbd* record) {
    if (!record || vespin_is_error(record)) return VESPIN_ERR_FAILURE;
    char life_id[MBD_LIFE_ID_SIZE] = "";
    int code = mesh_life_id_get(life_id);
    if (code != 0) return code;

    memset(record, 0, sizeof *record);
    if ((code = wifi_config_load(&record->wifi)) != 0) return code;
    if ((code = admin_config_load(&record->admin)) != 0) return code;
    if ((code = timezone_config_load(&record->timezone)) != 0) return code;
    if ((code = guest_wifi_config_load(&record->guest_wifis)) != 0) return code;
    if ((code = mesh_band_config_load(&record->mesh_band)) != 0) return code;
    VLOG_INFO("2.4g: %d", record->mesh_band.enabled_24g);
    mesh_led_time_limit_load(&record->led_time_limit);

    uint32_t region_id = 0;
    if ((code = vespin_get_region_id(&region_id)) != 0) {
        VLOG_ERROR("Fail to get region id");
        return code;
    }
    record->region_id = (int32_t)region_id;
    if ((code = load_blacklist(record)) != 0) return code;
    copy_text(record->life_id, sizeof record->life_id, life_id);
    record->reload_time = (int64_t)plat_time();
    return 0;
}

int mbd_load_json(mbd* record, const char* text) {
    if (!record || vespin_is_error(record)) return VESPIN_ERR_MISSING_VALUE;
    json_ref object(text ? json_tokener_parse(text) : nullptr);
    if (!json_object_is_type(object.get(), json_type_object)) {
        VLOG_ERROR("Fail to parse json: `%s`", text ? text : "(null)");
        return VESPIN_ERR_MISSING_VALUE;
    }
    memset(record, 0, sizeof *record);
    int code = read_settings(record, object.get(), text);
    if (code != 0) return code;
    json_object* member = nullptr;
    if (json_object_object_get_ex(object.get(), "blacklist", &member) && (code = read_blacklist(record, member)) != 0)
        return code;
    if (json_object_object_get_ex(object.get(), "region_id", &member)) {
        if (!json_object_is_type(member, json_type_int)) {
            VLOG_ERROR("Invalid type of region_id");
            return VESPIN_ERR_MISSING_VALUE;
        }
        record->region_id = json_object_get_int(member);
    }
    if (json_object_object_get_ex(object.get(), "life_id", &member)) {
        if (!json_object_is_type(member, json_type_string)) {
            VLOG_ERROR("Invalid type of life_id");
            return VESPIN_ERR_MISSING_VALUE;
        }
        copy_text(record->life_id, sizeof record->life_id, json_object_get_string(member));
    }
    return 0;
}

json_object* mbd_to_json(const mbd* record) {
    if (!record || vespin_is_error(record)) return nullptr;
    json_object* object = json_object_new_object();
    if (!object) return nullptr;
    json_add_new_key(object, "wifi", wifi_config_to_json(&record->wifi));
    json_add_new_key(object, "admin", admin_config_to_json(&record->admin));
    json_add_new_key(object, "mesh_band", mesh_band_config_to_json(&record->mesh_band));
    json_add_new_key(object, "led_time_limit", mesh_led_time_limit_to_json(&record->led_time_limit));
    json_add_new_key(object, "timezone", timezone_config_to_json(&record->timezone));
    json_add_new_key(object, "guest_wifis", guest_wifi_to_json_array(&record->guest_wifis, 0));
    json_object* blacklist = json_object_new_array();
    int32_t count = mesh_held_count(record->blacklist_count, MBD_BLACKLIST_MAX);
    for (int32_t i = 0; i < count; ++i) {
        json_object* entry = json_object_new_object();
        json_add_new_key(entry, "mac", mesh_json_field_string(record->blacklist[i].mac, sizeof record->blacklist[i].mac));
        json_add_new_key(entry, "name",
                         mesh_json_field_string(record->blacklist[i].name, sizeof record->blacklist[i].name));
        json_object_array_add(blacklist, entry);
    }
    json_add_new_key(object, "blacklist", blacklist);
    json_add_new_key(object, "region_id", json_object_new_int(record->region_id));
    json_add_new_key(object, "life_id", mesh_json_field_string(record->life_id, sizeof record->life_id));
    return object;
}

mbd* mbd_new(void) { return mesh_record_new<mbd>([](auto* record) { return mbd_reload(record); }); }

mbd* mbd_new_from_json(const char* text) {
    return mesh_record_new<mbd>([text](auto* record) { return mbd_load_json(record, text); });
}

void mbd_free(mbd* record) { mesh_record_free(record); }
