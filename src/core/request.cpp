#include "request.h"

#include "json_ref.h"
#include "log.h"
#include "platform.h"
#include "text.h"

#include <stdlib.h>
#include <string.h>

vespin_request* vespin_request_new(const char* method, json_object* params) {
    auto* request = static_cast<vespin_request*>(plat_calloc(1, sizeof(vespin_request)));
    if (!request) return VESPIN_ERROR_PTR(vespin_request*, VESPIN_ERR_NO_MEMORY);
    copy_text(request->method, sizeof request->method, method);
    request->params = params ? json_object_get(params) : nullptr;
    return request;
}

vespin_request* vespin_request_new_from_json(const char* text) {
    json_ref document(text ? json_tokener_parse(text) : nullptr);
    if (!document) return VESPIN_ERROR_PTR(vespin_request*, VESPIN_ERR_INVALID_JSON);
    json_object* method = nullptr;
    if (!json_object_object_get_ex(document.get(), "method", &method) ||
        !json_object_is_type(method, json_type_string)) {
        VLOG_ERROR("Missing method");
        return VESPIN_ERROR_PTR(vespin_request*, VESPIN_ERR_MISSING_PARAM);
    }
    json_object* params = nullptr;
    json_object_object_get_ex(document.get(), "params", &params);
    return vespin_request_new(json_object_get_string(method), params);
}

json_object* vespin_request_to_json(vespin_request* request) {
    if (!request || vespin_is_error(request)) return nullptr;
    json_ref object(json_made(json_object_new_object()));
    if (!object) return nullptr;
    // A caller may have filled the field without a NUL: read at most 79 characters.
    size_t method_length = strnlen(request->method, sizeof request->method - 1);
    if (!json_add(object.get(), "method", json_made(json_object_new_string_len(request->method, (int)method_length))))
        return nullptr;
    if (request->params && !json_add(object.get(), "params", json_object_get(request->params))) return nullptr;
    return object.release();
}

void vespin_request_free(vespin_request* request) {
    if (!request || vespin_is_error(request)) return;
    json_object_put(request->params);
    free(request);
}
