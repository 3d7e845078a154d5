// The shared JSON member checker of the configuration parsers.
#include "config_json.h"

#include "result_codes.h"

#include <stdio.h>

json_object* json_object_check(json_object* object, int* error, const char* key, char* message, json_type type) {
    json_object* member = nullptr;
    if (key == nullptr || object == nullptr || !json_object_object_get_ex(object, key, &member)) {
        if (error != nullptr) *error = VESPIN_ERR_MISSING_PARAM;
        if (message != nullptr) snprintf(message, JSON_CHECK_MESSAGE_SIZE, "Missing %s", key ? key : "");
        return nullptr;
    }
    if (!json_object_is_type(member, type)) {
        if (error != nullptr) *error = VESPIN_ERR_INVALID_PARAM;
        if (message != nullptr) snprintf(message, JSON_CHECK_MESSAGE_SIZE, "Invalid type of %s", key);
    }
    return member;
}
