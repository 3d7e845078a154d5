#include "core/server/service_json.h"

#include <stdint.h>
#include <string.h>

namespace {

const int kMaxDepth = 32;
const size_t kMaxContainers = 4096;
const size_t kMaxSeparators = 65536;

// Counts containers and separators outside strings; false past a limit.
bool within_limits(const char* text, size_t length) {
    size_t containers = 0, separators = 0;
    bool in_string = false, escaped = false;
    for (size_t i = 0; i < length; i++) {
        char c = text[i];
        if (in_string) {
            if (escaped) escaped = false;
            else if (c == '\\') escaped = true;
            else if (c == '"') in_string = false;
        } else if (c == '"') {
            in_string = true;
        } else if (c == '{' || c == '[') {
            if (++containers > kMaxContainers) return false;
        } else if (c == ',' || c == ':') {
            if (++separators > kMaxSeparators) return false;
        }
    }
    return true;
}

}  // namespace

json_ref service_json_parse(const char* text, size_t length) {
    if (!text || length > (size_t)INT32_MAX - 1 || !within_limits(text, length)) return nullptr;
    json_tokener* tokener = json_tokener_new_ex(kMaxDepth);
    if (!tokener) return nullptr;
    json_tokener_set_flags(tokener, JSON_TOKENER_VALIDATE_UTF8);
    // The terminator is handed over too: it ends a number at the very end.
    json_ref document(json_tokener_parse_ex(tokener, text, (int)length + 1));
    size_t end = json_tokener_get_parse_end(tokener);
    bool complete = json_tokener_get_error(tokener) == json_tokener_success;
    json_tokener_free(tokener);
    if (!complete) return nullptr;
    for (size_t i = end; i < length; i++)
        if (text[i] == '\0' || !strchr(" \t\r\n", text[i])) return nullptr;
    return document;
}
