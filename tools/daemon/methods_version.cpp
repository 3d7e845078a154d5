// "version.compare": orders two mesh protocol versions.
#include "method_reply.h"
#include "methods.h"
#include "new_mesh.h"

namespace {

bool version_param(json_object* params, const char* key, version* out, vespin_response** error) {
    const char* text;
    if (!param_text(params, key, &text, error)) return false;
    int rv = version_from_string(out, text);
    if (rv == 0) return true;
    if (rv == VESPIN_ERR_MISSING_VALUE)
        *error = method_error(rv, "Invalid version: %.64s", text);
    else
        *error = method_error(rv, "Fail to check the version");
    return false;
}

}  // namespace

// Result: "compare" is 1 when a is newer, -1 when older, 0 when equal; "a"
// and "b" are the versions as the node reads them.
vespin_response* version_compare_method(json_object* params) {
    vespin_response* error = nullptr;
    version a = {}, b = {};
    if (!version_param(params, "a", &a, &error) || !version_param(params, "b", &b, &error)) return error;
    char text[VESPIN_VERSION_TEXT_SIZE];
    json_object* result = json_object_new_object();
    json_object_object_add(result, "a", json_object_new_string(version_to_string(&a, text)));
    json_object_object_add(result, "b", json_object_new_string(version_to_string(&b, text)));
    json_object_object_add(result, "compare", json_object_new_int(version_compare(&a, &b)));
    return method_result(result);
}
