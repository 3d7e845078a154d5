// The speed test's output: eight "key:number" lines in a fixed order.
#include "core/internal/diagnostics_parts.h"

#include <ctype.h>
#include <stdint.h>
#include <string.h>

namespace {

const char* const kKeys[8] = {"code:", "up:", "down:", "loss_rate:", "min:", "max:", "avg:", "jitter:"};

const char* skip_space(const char* p) {
    while (isspace((unsigned char)*p)) p++;
    return p;
}

// "%d": optional blanks, an optional sign and at least one digit; the value
// is clamped to the 32-bit range. Null when there is no number.
const char* read_number(const char* p, int32_t* value) {
    p = skip_space(p);
    bool negative = *p == '-';
    if (*p == '-' || *p == '+') p++;
    if (!isdigit((unsigned char)*p)) return nullptr;
    int64_t magnitude = 0;
    for (; isdigit((unsigned char)*p); p++)
        if (magnitude <= INT32_MAX) magnitude = magnitude * 10 + (*p - '0');
    int64_t signed_value = negative ? -magnitude : magnitude;
    if (signed_value > INT32_MAX) signed_value = INT32_MAX;
    if (signed_value < INT32_MIN) signed_value = INT32_MIN;
    *value = (int32_t)signed_value;
    return p;
}

}  // namespace

int speedtest_output_parse(const char* output, int32_t values[8]) {
    if (!output) return 0;
    const char* p = output;
    for (int i = 0; i < 8; i++) {
        if (i > 0) p = skip_space(p);  // the "\n" before each key
        size_t key_length = strlen(kKeys[i]);
        if (strncmp(p, kKeys[i], key_length) != 0) return i;
        p = read_number(p + key_length, &values[i]);
        if (!p) return i;
    }
    return 8;
}
