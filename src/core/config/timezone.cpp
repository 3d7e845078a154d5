// The time zone record over setting 153.
#include "config_timezone.h"

#include "apmib.h"
#include "core/json_ref.h"
#include "core/log.h"
#include "result_codes.h"
#include "vespin_core.h"

#include <stdio.h>

#include <utility>

namespace {

const int kMibTimeZone = 153;
const int kZoneTextSize = 16;  // the setting's size

}  // namespace

extern "C" {

int timezone_config_load(timezone_config* config) {
    char text[kZoneTextSize + 1] = {0};
    if (!config || !apmib_get(kMibTimeZone, text)) return VESPIN_ERR_SETTING;
    int offset = 0, position = 0;
    if (sscanf(text, "%d %d", &offset, &position) != 2) {
        VLOG_ERROR("Wrong format of MIB_NTP_TIMEZONE: `%s`", text);
        return VESPIN_ERR_INTERNAL;
    }
    config->offset = offset;
    config->position = position;
    return 0;
}

json_object* timezone_config_to_json(const timezone_config* config) {
    if (!config) return nullptr;
    json_object* object = json_object_new_object();
    json_object_object_add(object, "offset", json_object_new_int(config->offset));
    json_object_object_add(object, "position", json_object_new_int(config->position));
    return object;
}

int timezone_config_update_from_json_object(timezone_config* config, json_object* object) {
    if (!config || !json_object_is_type(object, json_type_object)) return VESPIN_ERR_INVALID_JSON;
    bool touched = false;
    for (auto field : {std::make_pair("offset", &config->offset), std::make_pair("position", &config->position)}) {
        json_object* member = nullptr;
        if (!json_object_object_get_ex(object, field.first, &member)) continue;
        if (!json_object_is_type(member, json_type_int)) return VESPIN_ERR_MISSING_PARAM;
        *field.second = json_object_get_int(member);
        touched = true;
    }
    return touched ? 0 : VESPIN_ERR_NO_CHANGE;
}

int timezone_config_update_from_json(timezone_config* config, const char* text) {
    json_ref object(text ? json_tokener_parse(text) : nullptr);
    return timezone_config_update_from_json_object(config, object.get());
}

int config_timezone(const timezone_config* config) {
    if (!config) return VESPIN_ERR_SETTING;
    char text[32];
    snprintf(text, sizeof text, "%d %d", (int)config->offset, (int)config->position);
    if (!apmib_set(kMibTimeZone, text)) {
        VLOG_ERROR("Fail to set MIB_NTP_TIMEZONE: %s", text);
        return VESPIN_ERR_SETTING;
    }
    restart_ntp();
    return 0;
}

}  // extern "C"
