// Reading the firmware service's JSON: strict about what the service may
// send, so that a hostile or broken answer is a clear error, never a crash,
// and the parsed tree stays a few MB at most.
#pragma once

#include <stddef.h>

#include "core/json_ref.h"

// The document in text[0..length) (text[length] must be NUL): NULL unless
// it is one JSON value, nested at most 32 levels, valid UTF-8, followed by
// nothing but blanks, with at most 4096 objects and arrays and 65536
// separators (',' and ':') outside strings: json-c spends some 500 bytes on
// an empty object, so a flood of "{}," would cost far more than its size.
json_ref service_json_parse(const char* text, size_t length);
