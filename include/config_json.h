/* The JSON member checker that every configuration parser shares: it looks up
 * a member of a json-c object and checks its type in one step. */
#ifndef VESPIN_CONFIG_JSON_H
#define VESPIN_CONFIG_JSON_H

#include <json-c/json.h>

#include "vespin_export.h"

#ifdef __cplusplus
extern "C" {
#endif

/* Size of the message buffer that json_object_check writes into (at most
 * 399 characters and the terminator, the size of a response message). */
#define JSON_CHECK_MESSAGE_SIZE 400

/* Looks up `key` in `object` and checks that it has json-c type `type`
 * (json_type_object 4, json_type_array 5, json_type_string 6, ...).
 * - present and of that type: returns the member; *error is left alone;
 * - absent (or `object` is NULL or not an object): sets *error to 100200,
 *   writes "Missing <key>" into `message` when it is not NULL, returns NULL;
 * - present with another type: sets *error to 100208, writes
 *   "Invalid type of <key>" into `message`, and returns the wrongly typed
 *   member, so that callers test *error and not only the pointer.
 * The returned member is borrowed from `object`. `message`, when given, holds
 * JSON_CHECK_MESSAGE_SIZE bytes; a longer text is cut. A NULL `key` counts
 * as absent; a NULL `error` is not written. A member whose value is JSON null
 * has type json_type_null: for any other `type` it gives 100208 and NULL. */
VESPIN_API json_object *json_object_check(json_object *object, int *error, const char *key, char *message,
                                          json_type type);

#ifdef __cplusplus
}
#endif

#endif
