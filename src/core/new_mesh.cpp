// Mesh protocol versions: parsing, printing and ordering.
#include "new_mesh.h"

#include "log.h"
#include "platform.h"

#include <regex.h>
#include <stdio.h>
#include <stdlib.h>

namespace {

const char version_pattern[] = "^[0-9]+(\\.[0-9]+){2}(-rc\\.[1-9][0-9]*)?$";

int compare_numbers(uint32_t a, uint32_t b) { return a > b ? 1 : (a < b ? -1 : 0); }

}  // namespace

version* version_new(uint32_t major, uint32_t minor, uint32_t patch, uint32_t rc) {
    version* v = (version*)plat_calloc(1, sizeof(version));
    if (!v) return VESPIN_ERROR_PTR(version*, VESPIN_ERR_NO_MEMORY);
    v->major = major;
    v->minor = minor;
    v->patch = patch;
    v->rc = rc;
    return v;
}

version* version_new_from_string(const char* text) {
    version* v = version_new(0, 0, 0, 0);
    if (vespin_is_error(v)) return v;
    int code = version_from_string(v, text);
    if (code != 0) {
        version_free(v);
        return VESPIN_ERROR_PTR(version*, code);
    }
    return v;
}

int version_from_string(version* v, const char* text) {
    if (!v || vespin_is_error(v)) return VESPIN_ERR_MISSING_VALUE;
    if (!text) {
        VLOG_ERROR("Invalid version: %s", "(null)");
        return VESPIN_ERR_MISSING_VALUE;
    }
    regex_t pattern;
    if (regcomp(&pattern, version_pattern, REG_EXTENDED | REG_NOSUB) != 0) {
        VLOG_ERROR("Compile error");
        return VESPIN_ERR_INTERNAL;
    }
    int matched = regexec(&pattern, text, 0, nullptr, 0);
    regfree(&pattern);
    if (matched == REG_NOMATCH) {
        VLOG_ERROR("Invalid version: %s", text);
        return VESPIN_ERR_MISSING_VALUE;
    }
    if (matched != 0) {
        VLOG_ERROR("Error occurs on regexec: %d", matched);
        return VESPIN_ERR_INTERNAL;
    }
    unsigned int major = 0, minor = 0, patch = 0, rc = 0;
    if (sscanf(text, "%u.%u.%u-rc.%u", &major, &minor, &patch, &rc) < 3) return VESPIN_ERR_MISSING_VALUE;
    v->major = major;
    v->minor = minor;
    v->patch = patch;
    v->rc = rc;
    return 0;
}

char* version_to_string(const version* v, char* buffer) {
    if (!buffer) return buffer;
    if (!v || vespin_is_error(v)) {
        *buffer = 0;
        return buffer;
    }
    if (v->rc == 0)
        snprintf(buffer, VESPIN_VERSION_TEXT_SIZE, "%u.%u.%u", v->major, v->minor, v->patch);
    else
        snprintf(buffer, VESPIN_VERSION_TEXT_SIZE, "%u.%u.%u-rc.%u", v->major, v->minor, v->patch, v->rc);
    return buffer;
}

int version_compare(const version* a, const version* b) {
    bool a_valid = a && !vespin_is_error(a);
    bool b_valid = b && !vespin_is_error(b);
    if (!a_valid || !b_valid) return a_valid ? 1 : (b_valid ? -1 : 0);
    if (int order = compare_numbers(a->major, b->major)) return order;
    if (int order = compare_numbers(a->minor, b->minor)) return order;
    if (int order = compare_numbers(a->patch, b->patch)) return order;
    if (a->rc == b->rc) return 0;
    if (a->rc == 0) return 1;  // a release is newer than its candidates
    if (b->rc == 0) return -1;
    return compare_numbers(a->rc, b->rc);
}

void version_free(version* v) {
    if (v && !vespin_is_error(v)) free(v);
}
