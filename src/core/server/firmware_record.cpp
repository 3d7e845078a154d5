// One firmware record from one element of the firmware service's answer.
#include "server.h"

#include "core/log.h"
#include "platform/platform.h"
#include "core/server/service_json.h"
#include "core/text.h"

#include <stdlib.h>
#include <string.h>

namespace {

// The member of that type, or NULL (absent, or of another type).
json_object* member(json_object* object, const char* key, json_type type) {
    json_object* value = nullptr;
    if (!json_object_object_get_ex(object, key, &value) || !json_object_is_type(value, type)) return nullptr;
    return value;
}

int32_t digits_of(json_object* text) { return (int32_t)strtol(json_object_get_string(text), nullptr, 10); }

// Logs under the caller's name and line, as if the check had logged itself.
int invalid(const char* function, int line) {
    vespin_log(3, function, __FILE__, line, "INVALID JSON");
    return VESPIN_ERR_INVALID_JSON;
}

// Copies the serial numbers in order; at most the record's 50 slots.
void copy_sns(remote_firmware* firmware, json_object* sns) {
    size_t count = json_object_array_length(sns);
    for (size_t i = 0; i < count && i < REMOTE_FIRMWARE_SN_COUNT; i++)
        copy_text(firmware->sns[i], REMOTE_FIRMWARE_SN_SIZE, json_object_get_string(json_object_array_get_idx(sns, i)));
}

}  // namespace

extern "C" {

int remote_firmware_load_from_json_object(remote_firmware* firmware, json_object* object) {
    if (!firmware || !json_object_is_type(object, json_type_object)) return invalid(__func__, __LINE__);
    json_object* model = member(object, "model", json_type_object);
    if (!model) return invalid(__func__, __LINE__);
    json_object* model_version = member(model, "version", json_type_object);
    if (!model_version) return invalid(__func__, __LINE__);
    json_object* value = member(model_version, "id", json_type_string);
    if (!value) return invalid(__func__, __LINE__);
    firmware->model_version_id = digits_of(value);
    if (!(value = member(model, "id", json_type_string))) return invalid(__func__, __LINE__);
    firmware->model_id = digits_of(value);
    if (!(value = member(object, "url", json_type_string))) return invalid(__func__, __LINE__);
    copy_text(firmware->url, sizeof firmware->url, json_object_get_string(value));
    if (!(value = member(object, "version", json_type_string))) return invalid(__func__, __LINE__);
    copy_text(firmware->version, sizeof firmware->version, json_object_get_string(value));
    if (!(value = member(object, "size", json_type_int))) return invalid(__func__, __LINE__);
    firmware->size = json_object_get_int(value);
    if (!(value = member(object, "released_time", json_type_int))) return invalid(__func__, __LINE__);
    firmware->released_time = json_object_get_int(value);

    if ((value = member(object, "changelog", json_type_string))) {
        // The text may hold NUL bytes ("\u0000"): it is kept up to the first.
        char* changelog = plat_strdup(json_object_get_string(value));
        if (!changelog) return VESPIN_ERR_FAILURE;
        firmware->changelog = changelog;
    }
    if ((value = member(object, "sns", json_type_array))) copy_sns(firmware, value);
    return 0;
}

int remote_firmware_load_from_json(remote_firmware* firmware, const char* text) {
    json_ref document = text ? service_json_parse(text, strlen(text)) : nullptr;
    return remote_firmware_load_from_json_object(firmware, document.get());
}

}  // extern "C"
