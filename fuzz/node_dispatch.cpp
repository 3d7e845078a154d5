// Requests that reach a node's daemon, over either transport: every input
// gets one reply that is a JSON object holding "error" or "result" (or
// nothing), and the params readers take any JSON without a crash.
#include "dispatch.h"
#include "fuzz_root.h"
#include "method_reply.h"

#include "core/json_ref.h"

#include <stdint.h>
#include <stdlib.h>

#include <string>

namespace {

void check_reply(const std::string& reply) {
    json_ref document(json_tokener_parse(reply.c_str()));
    if (!document || !json_object_is_type(document.get(), json_type_object)) abort();
    int members = json_object_object_length(document.get());
    bool has_error = json_object_object_get_ex(document.get(), "error", nullptr);
    bool has_result = json_object_object_get_ex(document.get(), "result", nullptr);
    if (members > 1 || (members == 1 && !has_error && !has_result)) abort();
}

// Every reader on every member of a params object; the responses are dropped.
void read_params(json_object* params) {
    json_object_object_foreach(params, key, value) {
        (void)value;
        vespin_response* error = nullptr;
        const char* text;
        int32_t number;
        bool flag;
        if (!param_text(params, key, &text, &error)) vespin_response_free(error);
        if (!param_text_or(params, key, "fallback", &text, &error)) vespin_response_free(error);
        if (!param_int(params, key, &number, &error)) vespin_response_free(error);
        if (!param_int_or(params, key, 7, &number, &error)) vespin_response_free(error);
        if (!param_bool_or(params, key, true, &flag, &error)) vespin_response_free(error);
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    fuzz_run run;  // commands are answered in-process; after-reply actions never run
    uintptr_t post = 0;
    check_reply(node_dispatch((const char*)data, size, &post));
    std::string text((const char*)data, size);
    json_ref document(json_tokener_parse(text.c_str()));
    json_object* params = nullptr;
    if (document && json_object_object_get_ex(document.get(), "params", &params) &&
        json_object_is_type(params, json_type_object))
        read_params(params);
    return 0;
}
