// Guest Wi-Fi entries and their list as JSON: the strict and the lenient
// parser, and the output with its hide rule.
#include "config_json.h"
#include "config_wifi.h"

#include "core/text.h"
#include "result_codes.h"
#include "wifi_fields.h"

#include <json-c/json.h>

namespace {

// An entry whose time runs out within this many seconds is shown off when hiding is asked.
const int32_t kHideBelowSeconds = 61;

// The strict parser's members, in order: the first failure's code.
int strict_member(json_object* object, const char* key, json_type type, json_object** member) {
    int error = 0;
    *member = json_object_check(object, &error, key, nullptr, type);
    return error;
}

// An optional member of the lenient parser: absent (false, *error 0), of
// the type (true), or of another type (false, *error 100208).
bool optional_member(json_object* object, const char* key, json_type type, json_object** member, int* error) {
    if (!json_object_object_get_ex(object, key, member)) return false;
    if (json_object_is_type(*member, type)) return true;
    *error = VESPIN_ERR_INVALID_PARAM;
    return false;
}

}  // namespace

extern "C" {

int json_to_guest_wifi(guest_wifi* entry, json_object* object) {
    if (!entry) return VESPIN_ERR_INVALID_PARAM;
    json_object* member = nullptr;
    int error = strict_member(object, "id", json_type_string, &member);
    if (error) return error;
    copy_text(entry->id, sizeof entry->id, json_object_get_string(member));
    if ((error = strict_member(object, "enabled", json_type_boolean, &member))) return error;
    entry->enabled = json_object_get_boolean(member) ? 1 : 0;
    if ((error = strict_member(object, "duration", json_type_int, &member))) return error;
    entry->duration = json_object_get_int(member);
    // An integer read as a boolean here, unlike the lenient parser.
    if ((error = strict_member(object, "security", json_type_int, &member))) return error;
    entry->security = json_object_get_int(member) != 0;
    json_object* bands = nullptr;
    if ((error = strict_member(object, "bands", json_type_object, &bands))) return error;
    if ((error = strict_member(bands, "2.4G", json_type_object, &member))) return error;
    // The main band parser stores "enabled" negated; guest output prints the
    // word as it stands, so a strict entry prints back inverted (kept as is).
    if ((error = json_to_band(&entry->band_24g, member))) return error;
    if ((error = strict_member(bands, "5G", json_type_object, &member))) return error;
    if ((error = json_to_band(&entry->band_5g, member))) return error;
    if ((error = strict_member(object, "smart_connect", json_type_boolean, &member))) return error;
    entry->smart_connect = json_object_get_boolean(member) ? 1 : 0;
    return 0;
}

int json_to_guest_wifi_option(guest_wifi* entry, json_object* object) {
    if (!entry) return VESPIN_ERR_INVALID_PARAM;
    json_object* member = nullptr;
    int error = strict_member(object, "id", json_type_string, &member);
    if (error) return error;
    copy_text(entry->id, sizeof entry->id, json_object_get_string(member));
    if (optional_member(object, "enabled", json_type_boolean, &member, &error))
        entry->enabled = json_object_get_boolean(member) ? 1 : 0;
    if (!error && optional_member(object, "duration", json_type_int, &member, &error))
        entry->duration = json_object_get_int(member);
    if (!error && optional_member(object, "remaining_duration", json_type_int, &member, &error))
        entry->remaining_duration = json_object_get_int(member);
    if (!error && optional_member(object, "security", json_type_boolean, &member, &error))
        entry->security = json_object_get_boolean(member) ? 1 : 0;
    json_object* bands = nullptr;
    if (!error && optional_member(object, "bands", json_type_object, &bands, &error)) {
        if (json_object_object_get_ex(bands, "2.4G", &member)) error = wifi_parse_band_head(&entry->band_24g, member, true);
        if (!error && json_object_object_get_ex(bands, "5G", &member)) error = wifi_parse_band_head(&entry->band_5g, member, true);
    }
    if (!error && optional_member(object, "smart_connect", json_type_boolean, &member, &error))
        entry->smart_connect = json_object_get_boolean(member) ? 1 : 0;
    return error;
}

int guest_wifi_config_update_from_json_object(guest_wifi_config* list, json_object* array) {
    if (!list || !array) return VESPIN_ERR_MISSING_PARAM;
    if (!json_object_is_type(array, json_type_array)) return VESPIN_ERR_INVALID_PARAM;
    size_t length = json_object_array_length(array);
    if (length > GUEST_WIFI_MAX) return VESPIN_ERR_INVALID_PARAM;
    list->count = (uint32_t)length;
    for (size_t i = 0; i < length; i++) {
        json_object* element = json_object_array_get_idx(array, i);
        if (!json_object_is_type(element, json_type_object)) return VESPIN_ERR_INVALID_PARAM;
        int error = json_to_guest_wifi_option(&list->entries[i], element);
        if (error) return error;
    }
    return 0;
}

json_object* guest_wifi_to_json(const guest_wifi* entry, int hide) {
    if (!entry) return nullptr;
    bool enabled = entry->enabled != 0;
    if (hide && entry->remaining_duration < kHideBelowSeconds && entry->duration != -1) enabled = false;
    json_object* object = json_object_new_object();
    json_object_object_add(object, "id", json_object_new_string(WIFI_FIELD(*entry, id).c_str()));
    json_object_object_add(object, "enabled_time", json_object_new_int(entry->enabled_time));
    json_object_object_add(object, "duration", json_object_new_int(entry->duration));
    json_object_object_add(object, "remaining_duration", json_object_new_int(entry->remaining_duration));
    json_object_object_add(object, "security", json_object_new_boolean(entry->security != 0));
    json_object_object_add(object, "enabled", json_object_new_boolean(enabled));
    json_object* bands = json_object_new_object();
    json_object_object_add(bands, "2.4G", guest_band_to_json(&entry->band_24g));
    json_object_object_add(bands, "5G", guest_band_to_json(&entry->band_5g));
    json_object_object_add(object, "bands", bands);
    json_object_object_add(object, "smart_connect", json_object_new_boolean(entry->smart_connect != 0));
    return object;
}

json_object* guest_wifi_to_json_array(const guest_wifi_config* list, int hide) {
    json_object* array = json_object_new_array();
    uint32_t count = list ? (list->count > GUEST_WIFI_MAX ? GUEST_WIFI_MAX : list->count) : 0;
    for (uint32_t i = 0; i < count; i++) json_object_array_add(array, guest_wifi_to_json(&list->entries[i], hide));
    return array;
}

}  // extern "C"
