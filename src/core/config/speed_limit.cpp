// A device's speed limit as JSON.
#include "config_speed_limit.h"

#include "core/log.h"
#include "result_codes.h"

#include <json-c/json.h>

extern "C" {

json_object* speed_limit_to_json(const speed_limit* limit) {
    if (!limit) return nullptr;
    json_object* object = json_object_new_object();
    if (limit->enabled == SPEED_LIMIT_MARKER) {
        json_object_object_add(object, "enabled", json_object_new_boolean(1));
        return object;
    }
    json_object_object_add(object, "enabled", json_object_new_boolean(limit->enabled != 0));
    json_object_object_add(object, "up", json_object_new_int(limit->up));
    json_object_object_add(object, "down", json_object_new_int(limit->down));
    return object;
}

int speed_limit_update_from_json_object(speed_limit* limit, json_object* object) {
    if (!limit || !json_object_is_type(object, json_type_object)) return VESPIN_ERR_INVALID_JSON;
    json_object* member = nullptr;
    if (json_object_object_get_ex(object, "up", &member)) {
        if (!json_object_is_type(member, json_type_int)) {
            VLOG_ERROR("Invalid upload rate");
            return VESPIN_ERR_INVALID_JSON;
        }
        limit->up = json_object_get_int(member);
    }
    if (json_object_object_get_ex(object, "down", &member)) {
        if (!json_object_is_type(member, json_type_int)) {
            VLOG_ERROR("Invalid download rate");
            return VESPIN_ERR_INVALID_JSON;
        }
        limit->down = json_object_get_int(member);
    }
    if (json_object_object_get_ex(object, "enabled", &member)) {
        if (!json_object_is_type(member, json_type_boolean)) {
            VLOG_ERROR("Invalid json field:'enabled'");
            return VESPIN_ERR_INVALID_JSON;
        }
        limit->enabled = json_object_get_boolean(member) ? 1 : 0;
    }
    return 0;
}

}  // extern "C"
