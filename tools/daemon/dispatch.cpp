#include "dispatch.h"

#include "core/log.h"
#include "log_limit.h"
#include "method_reply.h"
#include "methods.h"
#include "request.h"
#include "utf8_text.h"

#include <string.h>

namespace {

// The answer when not even the response record could be allocated.
const char kOutOfMemory[] = "{\"error\":{\"code\":600000,\"message\":\"Out of memory\"}}";

// Malformed requests reach the log at most 10 times a minute.
log_limit& malformed_log() {
    static log_limit limit(10, std::chrono::seconds(60));
    return limit;
}

// Logs one malformed request, unless the flood limit holds it back.
#define LOG_MALFORMED(...)                                                               \
    do {                                                                                 \
        int dropped = 0;                                                                 \
        if (malformed_log().allow(&dropped)) {                                           \
            if (dropped) VLOG_INFO("%d malformed requests were not logged", dropped);    \
            VLOG_INFO(__VA_ARGS__);                                                      \
        }                                                                                \
    } while (0)

vespin_response* answer(const char* text) {
    vespin_request* request = vespin_request_new_from_json(text);
    if (vespin_is_error(request)) {
        int code = vespin_error_code(request);
        if (code == VESPIN_ERR_INVALID_JSON) {
            LOG_MALFORMED("Request is not JSON");
            return method_error(code, "Invalid request: not JSON");
        }
        if (code == VESPIN_ERR_MISSING_PARAM) return method_error(code, "Missing method");
        return method_error(code, "Invalid request");
    }
    vespin_response* response;
    const node_method* method = node_method_find(request->method);
    if (method) {
        response = method->handle(request->params);
    } else {
        // The record keeps 79 bytes of the method, which may end inside a character.
        std::string name = utf8_clean(request->method, strlen(request->method));
        LOG_MALFORMED("Unknown method: %s", name.c_str());
        response = method_error(VESPIN_ERR_INVALID_PARAM, "Unknown method: %s", name.c_str());
    }
    vespin_request_free(request);
    return response;
}

std::string response_text(vespin_response* response, uintptr_t* post) {
    json_object* json = vespin_response_to_json(response);
    if (!json) {
        vespin_response_free(response);
        return kOutOfMemory;
    }
    // The serialiser passes bytes above 0x7f through: params echoed from a
    // request that is not UTF-8 would reach the caller as they came.
    std::string text = utf8_clean(json_object_to_json_string_ext(json, JSON_C_TO_STRING_PLAIN));
    json_object_put(json);
    *post = response->post;
    vespin_response_free(response);
    return text;
}

}  // namespace

std::mutex& node_library_lock() {
    static std::mutex lock;
    return lock;
}

std::string node_dispatch(const char* text, size_t length, uintptr_t* post) {
    *post = 0;
    std::string request_text = text && length ? std::string(text, strnlen(text, length)) : std::string();
    std::lock_guard<std::mutex> hold(node_library_lock());
    return response_text(answer(request_text.c_str()), post);
}

void node_run_post(uintptr_t post) {
    if (post) reinterpret_cast<node_post_action>(post)();
}
