/* Request records: a method name and its parameters, and their JSON form
 * {"method": <string>, "params": <any>} ("params" left out when absent). */
#ifndef VESPIN_REQUEST_H
#define VESPIN_REQUEST_H

#include <json-c/json.h>

#include "result_codes.h"
#include "vespin_export.h"

#ifdef __cplusplus
extern "C" {
#endif

#define VESPIN_METHOD_SIZE 80

typedef struct vespin_request {
    char method[VESPIN_METHOD_SIZE]; /* at most 79 characters, NUL-terminated */
    json_object *params;             /* one reference owned by the record, or NULL */
} vespin_request;

/* New request: copies up to 79 characters of method (NULL: empty) and takes a
 * reference on params (NULL allowed). Free with vespin_request_free.
 * Returns -600000 as a pointer when memory runs out. */
VESPIN_API vespin_request *vespin_request_new(const char *method, json_object *params);
/* Parses a request text: -100209 when it is not JSON (or NULL), -100200 with
 * "Missing method" logged when "method" is absent or not a string, -600000
 * when the record cannot be allocated. json-c reports running out of memory
 * while parsing as a failed parse, so that case reads as -100209. */
VESPIN_API vespin_request *vespin_request_new_from_json(const char *text);
/* New json-c object of the request (caller puts it); "params" shares the
 * record's object. NULL for a NULL or error-valued request, or when memory
 * runs out. */
VESPIN_API json_object *vespin_request_to_json(vespin_request *request);
/* Drops the params reference and frees the record; NULL and error values are ignored. */
VESPIN_API void vespin_request_free(vespin_request *request);

#ifdef __cplusplus
}
#endif

#endif
