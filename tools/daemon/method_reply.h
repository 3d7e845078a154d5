// Building a method's response and reading its params, with the codes and
// messages a caller sees: a missing member is 100200 "Missing <key>", a member
// of the wrong type 100208 "Invalid type of <key>".
#pragma once

#include <json-c/json.h>
#include <stdint.h>

#include "response.h"

// An action that runs after the reply has gone out (see message_post_action).
typedef void (*node_post_action)(void);

// After-reply action: makes the settings durable (flush_apmib of the
// current settings) under the library lock, once the caller has its answer.
void flush_settings_after_reply(void);

// An error response; the message is formatted, cut at 399 characters.
// An error response; the message is formatted, cut at 399 bytes (never
// inside a character) and made valid UTF-8.
vespin_response* method_error(int code, const char* format, ...) __attribute__((format(printf, 2, 3)));
// A success response holding `result` (its reference is taken over; NULL for
// none) and an optional after-reply action.
vespin_response* method_result(json_object* result, node_post_action post = nullptr);

// Params readers: true with *out set, or false with *error set to the
// response to return. params must be an object; a NULL params reads as
// missing. The _or forms give `fallback` when the member is absent.
bool param_text(json_object* params, const char* key, const char** out, vespin_response** error);
bool param_int(json_object* params, const char* key, int32_t* out, vespin_response** error);
bool param_int_or(json_object* params, const char* key, int32_t fallback, int32_t* out, vespin_response** error);
bool param_bool_or(json_object* params, const char* key, bool fallback, bool* out, vespin_response** error);
// A required member of a json-c type (an object, an array...), borrowed from params.
bool param_member(json_object* params, const char* key, json_type type, json_object** out, vespin_response** error);
bool param_text_or(json_object* params, const char* key, const char* fallback, const char** out,
                   vespin_response** error);

// After-reply action of the setters that leave their settings in memory: the
// settings store is flushed (flush_apmib(4)) once the caller has its answer.
void flush_settings_after_reply(void);
