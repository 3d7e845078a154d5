#include "response.h"

#include "json_ref.h"
#include "log.h"
#include "platform.h"
#include "text.h"

#include <stdlib.h>
#include <string.h>

vespin_response* vespin_response_new(int code, const char* message, json_object* result) {
    return vespin_response_new_with_post(code, message, result, 0);
}

vespin_response* vespin_response_new_with_post(int code, const char* message, json_object* result,
                                               uintptr_t post) {
    auto* response = static_cast<vespin_response*>(plat_calloc(1, sizeof(vespin_response)));
    if (!response) return VESPIN_ERROR_PTR(vespin_response*, VESPIN_ERR_NO_MEMORY);
    response->code = code;
    if (code != 0)
        copy_text(response->message, sizeof response->message, message);
    else if (result)
        response->result = json_object_get(result);
    response->post = post;
    return response;
}

namespace {

// Reads {"code": <int>, "message": <string>} into the record.
int load_error(vespin_response* response, json_object* error) {
    json_object* code = nullptr;
    if (!json_object_is_type(error, json_type_object) || !json_object_object_get_ex(error, "code", &code) ||
        !json_object_is_type(code, json_type_int))
        return VESPIN_ERR_INVALID_JSON;
    response->code = json_object_get_int(code);
    json_object* message = nullptr;
    if (json_object_object_get_ex(error, "message", &message)) {
        if (!json_object_is_type(message, json_type_string)) return VESPIN_ERR_INVALID_JSON;
        copy_text(response->message, sizeof response->message, json_object_get_string(message));
    }
    return 0;
}

}  // namespace

int vespin_response_load_json(vespin_response* response, const char* text) {
    if (!response || vespin_is_error(response)) return VESPIN_ERR_INVALID_JSON;
    json_ref document(text ? json_tokener_parse(text) : nullptr);
    if (!document) {
        VLOG_ERROR("Invalid json: %s", text ? text : "(null)");
        return VESPIN_ERR_INVALID_JSON;
    }
    if (!json_object_is_type(document.get(), json_type_object)) return VESPIN_ERR_INVALID_JSON;
    json_object* error = nullptr;
    bool has_error = json_object_object_get_ex(document.get(), "error", &error);
    if (has_error) {
        int code = load_error(response, error);
        if (code) return code;
    }
    json_object* result = nullptr;
    bool has_result = json_object_object_get_ex(document.get(), "result", &result);
    if (has_result) {
        json_object_put(response->result);  // a reloaded record keeps one reference only
        response->result = json_object_get(result);
    }
    if (!has_error && !has_result) VLOG_ERROR("Missing error and result");
    return 0;
}

vespin_response* vespin_response_new_from_json(const char* text) {
    auto* response = static_cast<vespin_response*>(plat_calloc(1, sizeof(vespin_response)));
    if (!response) return VESPIN_ERROR_PTR(vespin_response*, VESPIN_ERR_NO_MEMORY);
    int code = vespin_response_load_json(response, text);
    if (code) {
        vespin_response_free(response);
        return VESPIN_ERROR_PTR(vespin_response*, code);
    }
    return response;
}

json_object* vespin_response_to_json(vespin_response* response) {
    if (!response || vespin_is_error(response)) return nullptr;
    json_ref object(json_made(json_object_new_object()));
    if (!object) return nullptr;
    if (response->code != 0) {
        json_object* error = json_made(json_object_new_object());
        if (!json_add(object.get(), "error", error)) return nullptr;
        if (!json_add(error, "code", json_made(json_object_new_int(response->code)))) return nullptr;
        // A caller may have filled the field without a NUL: read at most 399 characters.
        size_t message_length = strnlen(response->message, sizeof response->message - 1);
        if (message_length &&
            !json_add(error, "message", json_made(json_object_new_string_len(response->message, (int)message_length))))
            return nullptr;
    } else if (response->result) {
        if (!json_add(object.get(), "result", json_object_get(response->result))) return nullptr;
    }
    return object.release();
}

void vespin_response_free(vespin_response* response) {
    if (!response || vespin_is_error(response)) return;
    json_object_put(response->result);
    free(response);
}
