#include "method_reply.h"

#include "apmib.h"
#include "core/log.h"
#include "dispatch.h"
#include "utf8_text.h"
#include "vespin_core.h"

#include <mutex>

#include <stdarg.h>
#include <stdio.h>
#include <string.h>

namespace {

// Finds key in params. false with *error set when params is not an object;
// otherwise true, with *value NULL when the member is absent.
bool member(json_object* params, const char* key, json_object** value, vespin_response** error) {
    *value = nullptr;
    if (!params) return true;
    if (!json_object_is_type(params, json_type_object)) {
        *error = method_error(VESPIN_ERR_INVALID_PARAM, "Invalid type of params");
        return false;
    }
    json_object_object_get_ex(params, key, value);
    return true;
}

bool typed_member(json_object* params, const char* key, json_type type, json_object** value,
                  vespin_response** error) {
    if (!member(params, key, value, error)) return false;
    if (*value && !json_object_is_type(*value, type)) {
        *error = method_error(VESPIN_ERR_INVALID_PARAM, "Invalid type of %s", key);
        return false;
    }
    return true;
}

bool required(json_object* value, const char* key, vespin_response** error) {
    if (value) return true;
    *error = method_error(VESPIN_ERR_MISSING_PARAM, "Missing %s", key);
    return false;
}

}  // namespace

vespin_response* method_error(int code, const char* format, ...) {
    char message[VESPIN_MESSAGE_SIZE];
    va_list args;
    va_start(args, format);
    vsnprintf(message, sizeof message, format, args);
    va_end(args);
    // The cut at 399 bytes may fall inside a character: it is dropped.
    return vespin_response_new(code, utf8_clean(message, strlen(message)).c_str(), nullptr);
}

vespin_response* method_result(json_object* result, node_post_action post) {
    vespin_response* response = vespin_response_new_with_post(VESPIN_OK, nullptr, result, (uintptr_t)post);
    json_object_put(result);
    return response;
}

bool param_text(json_object* params, const char* key, const char** out, vespin_response** error) {
    json_object* value;
    if (!typed_member(params, key, json_type_string, &value, error) || !required(value, key, error)) return false;
    *out = json_object_get_string(value);
    return true;
}

bool param_text_or(json_object* params, const char* key, const char* fallback, const char** out,
                   vespin_response** error) {
    json_object* value;
    if (!typed_member(params, key, json_type_string, &value, error)) return false;
    *out = value ? json_object_get_string(value) : fallback;
    return true;
}

bool param_int_or(json_object* params, const char* key, int32_t fallback, int32_t* out, vespin_response** error) {
    json_object* value;
    if (!typed_member(params, key, json_type_int, &value, error)) return false;
    if (!value) {
        *out = fallback;
        return true;
    }
    int64_t number = json_object_get_int64(value);
    if (number < INT32_MIN || number > INT32_MAX) {
        *error = method_error(VESPIN_ERR_INVALID_PARAM, "Invalid value of %s", key);
        return false;
    }
    *out = (int32_t)number;
    return true;
}

bool param_int(json_object* params, const char* key, int32_t* out, vespin_response** error) {
    json_object* value;
    if (!member(params, key, &value, error) || !required(value, key, error)) return false;
    return param_int_or(params, key, 0, out, error);
}

bool param_bool_or(json_object* params, const char* key, bool fallback, bool* out, vespin_response** error) {
    json_object* value;
    if (!typed_member(params, key, json_type_boolean, &value, error)) return false;
    *out = value ? json_object_get_boolean(value) : fallback;
    return true;
}

bool param_member(json_object* params, const char* key, json_type type, json_object** out, vespin_response** error) {
    return typed_member(params, key, type, out, error) && required(*out, key, error);
}

void flush_settings_after_reply(void) {
    std::lock_guard<std::mutex> hold(node_library_lock());
    int rv = flush_apmib(APMIB_CURRENT_SETTING);
    if (rv != 0) VLOG_ERROR("Fail to flush the settings: %d", rv);
}
