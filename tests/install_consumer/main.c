/* A small C program built against the installed library. It is a test: it
 * runs only inside an emulated root (VESPIN_ROOT), so that its log never
 * reaches the host's syslog. */
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include <vespin/request.h>
#include <vespin/response.h>

int main(void) {
    if (!getenv("VESPIN_ROOT")) {
        fprintf(stderr, "consumer: set VESPIN_ROOT to an emulated root\n");
        return 2;
    }
    vespin_request *request = vespin_request_new_from_json("{\"method\": \"system.info\"}");
    if (vespin_is_error(request)) {
        fprintf(stderr, "request: %d\n", vespin_error_code(request));
        return 1;
    }
    json_object *json = vespin_request_to_json(request);
    const char *text = json_object_to_json_string_ext(json, JSON_C_TO_STRING_PLAIN);
    int ok = strcmp(text, "{\"method\":\"system.info\"}") == 0;
    printf("%s\n", text);
    json_object_put(json);
    vespin_request_free(request);

    vespin_response *bad = vespin_response_new_from_json("not json");
    ok = ok && vespin_is_error(bad) && vespin_error_code(bad) == VESPIN_ERR_INVALID_JSON;
    return ok ? 0 : 1;
}
