/* Response records: a code with its message, or a result, and their JSON form
 *   code != 0: {"error": {"code": <int>, "message": <string>}} (message left out when empty)
 *   code == 0: {"result": <any>}, or {} without a result. */
#ifndef VESPIN_RESPONSE_H
#define VESPIN_RESPONSE_H

#include <stdint.h>
#include <json-c/json.h>

#include "result_codes.h"
#include "vespin_export.h"

#ifdef __cplusplus
extern "C" {
#endif

#define VESPIN_MESSAGE_SIZE 400

typedef struct vespin_response {
    int32_t code;                       /* 0: success, else a result code */
    char message[VESPIN_MESSAGE_SIZE];  /* at most 399 characters; empty when none */
    json_object *result;                /* one reference owned by the record, or NULL */
    uintptr_t post;                     /* the serving side's after-reply action; never read here */
} vespin_response;

/* vespin_response_new_with_post with post 0. */
VESPIN_API vespin_response *vespin_response_new(int code, const char *message, json_object *result);
/* New response. code != 0: keeps code and up to 399 characters of message,
 * ignores result. code == 0: takes a reference on result (if any), ignores
 * message. Stores post. -600000 as a pointer when memory runs out. */
VESPIN_API vespin_response *vespin_response_new_with_post(int code, const char *message, json_object *result,
                                                          uintptr_t post);
/* Fills an existing record from a response text: 0, or 100209 for text that
 * is not JSON, not an object, or holds an "error" of the wrong shape. */
VESPIN_API int vespin_response_load_json(vespin_response *response, const char *text);
/* Parses a response text into a new record, or the negated code of the load
 * (-600000 when the record cannot be allocated). */
VESPIN_API vespin_response *vespin_response_new_from_json(const char *text);
/* New json-c object of the response (caller puts it); NULL for a NULL or
 * error value, or when memory runs out. */
VESPIN_API json_object *vespin_response_to_json(vespin_response *response);
/* Drops the result reference and frees the record; NULL and error values are ignored. */
VESPIN_API void vespin_response_free(vespin_response *response);

#ifdef __cplusplus
}
#endif

#endif
