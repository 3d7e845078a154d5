// The mesh band switches and the mesh LED time limit as records and JSON.
#include "config_wifi.h"

#include "internal_wifi.h"
#include "result_codes.h"
#include "wifi_fields.h"

#include <json-c/json.h>
#include <string.h>

#include <utility>

namespace {

// Keeps the first 8 characters of a time: 8 fill the field without a terminator.
void copy_time(char* field, const char* text) {
    memset(field, 0, 8);
    strncpy(field, text, 8);
}

}  // namespace

extern "C" {

int mesh_band_config_load(mesh_band_config* config) {
    if (!config) return VESPIN_ERR_FAILURE;
    config->enabled_5g = 1;
    return vespin_get_24g_mesh_switch(&config->enabled_24g);
}

json_object* mesh_band_config_to_json(const mesh_band_config* config) {
    if (!config) return nullptr;
    json_object* object = json_object_new_object();
    json_object_object_add(object, "24g_enabled", json_object_new_boolean(config->enabled_24g != 0));
    json_object_object_add(object, "5g_enabled", json_object_new_boolean(config->enabled_5g != 0));
    return object;
}

int mesh_band_config_update_from_json_object(mesh_band_config* config, json_object* object) {
    if (!config || !json_object_is_type(object, json_type_object)) return VESPIN_ERR_INVALID_PARAM;
    json_object* member = nullptr;
    for (auto field : {std::make_pair("24g_enabled", &config->enabled_24g), std::make_pair("5g_enabled", &config->enabled_5g)}) {
        if (!json_object_object_get_ex(object, field.first, &member)) continue;
        if (!json_object_is_type(member, json_type_boolean)) return VESPIN_ERR_INVALID_PARAM;
        *field.second = json_object_get_boolean(member) ? 1 : 0;
    }
    return 0;
}

int mesh_led_time_limit_load(mesh_led_time_limit* config) { return vespin_mesh_led_time_limit_get(config); }

json_object* mesh_led_time_limit_to_json(const mesh_led_time_limit* config) {
    if (!config) return nullptr;
    json_object* object = json_object_new_object();
    json_object_object_add(object, "enabled", json_object_new_boolean(config->enabled != 0));
    json_object_object_add(object, "begin_time", json_object_new_string(WIFI_FIELD(*config, begin_time).c_str()));
    json_object_object_add(object, "end_time", json_object_new_string(WIFI_FIELD(*config, end_time).c_str()));
    return object;
}

int mesh_led_time_limit_update_from_json_object(mesh_led_time_limit* config, json_object* object) {
    json_object *enabled = nullptr, *begin = nullptr, *end = nullptr;
    if (!config || !object || !json_object_object_get_ex(object, "enabled", &enabled) ||
        !json_object_is_type(enabled, json_type_boolean) || !json_object_object_get_ex(object, "begin_time", &begin) ||
        !json_object_is_type(begin, json_type_string) || !json_object_object_get_ex(object, "end_time", &end) ||
        !json_object_is_type(end, json_type_string))
        return VESPIN_ERR_FAILURE;
    config->enabled = json_object_get_boolean(enabled) ? 1 : 0;
    copy_time(config->begin_time, json_object_get_string(begin));
    copy_time(config->end_time, json_object_get_string(end));
    return 0;
}

}  // extern "C"
