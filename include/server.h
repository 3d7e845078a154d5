/* The remote firmware list: one HTTPS POST to the firmware service asks which
 * firmware is available for a set of mesh nodes, and the answer, a JSON array,
 * becomes an array of firmware records.
 *
 * The service's base URL is the UCI option "vespin_cloud.firmware.url"; when
 * the option is absent the build's default (CMake cache variable
 * VESPIN_FIRMWARE_URL) is used. The request goes to "<base>/v4/version"
 * (a base ending in '/' gives "//v4"), with the body
 * {"method": "firmware.get", "params": {"sns": [...]}} and the header
 * "Content-Type: application/json". The service's certificate is checked
 * against the CA bundle "/etc/ssl/certs/ca-certificates.crt" (of the
 * emulated root when VESPIN_ROOT is set) and nothing else, peer and host
 * name both. */
#ifndef VESPIN_SERVER_H
#define VESPIN_SERVER_H

#include <json-c/json.h>
#include <stdint.h>

#include "mesh_node.h"
#include "result_codes.h"
#include "vespin_export.h"

#ifdef __cplusplus
extern "C" {
#endif

#define REMOTE_FIRMWARE_VERSION_SIZE 20
#define REMOTE_FIRMWARE_URL_SIZE 200
#define REMOTE_FIRMWARE_SN_COUNT 50
#define REMOTE_FIRMWARE_SN_SIZE 17 /* 16 characters and the terminator */

/* One firmware image the service offers. Texts are cut to their field and
 * always NUL-terminated. */
typedef struct remote_firmware {
    int32_t model_id;         /* "model" -> "id", a text of digits read as strtol does (base 10) */
    int32_t model_version_id; /* "model" -> "version" -> "id", read the same way */
    char version[REMOTE_FIRMWARE_VERSION_SIZE];
    char url[REMOTE_FIRMWARE_URL_SIZE];
    int32_t size;             /* "size"; values beyond 32 bits are clamped */
    int32_t released_time;    /* "released_time"; clamped the same way */
    char *changelog;          /* "changelog", a new allocation the caller frees; NULL when absent */
    /* "sns", in the answer's order; the slots after the last one are left as
     * they were (all empty in the records of remote_firmware_list), so the
     * first empty slot ends the list. */
    char sns[REMOTE_FIRMWARE_SN_COUNT][REMOTE_FIRMWARE_SN_SIZE];
} remote_firmware;

/* Asks the service for the firmware of the first n nodes (only their sn
 * fields are used, in order; n <= 0 sends an empty list). On 0, *list is a
 * new array of *count records (NULL and 0 for an empty answer) that the
 * caller frees, each record's changelog first, then the array. On failure
 * *list and *count are NULL and 0:
 *   600000 "Fail to init session" (or no memory for the answer);
 *   600101 the request failed: time-outs (28) and failed look-ups (6, 5)
 *          are retried once ("HTTP request timeout: %d", "HTTP request
 *          retry: 1"), then "HTTP request failed: %d" with libcurl's code;
 *   600103 "HTTP request failed: %ld", the HTTP status, when not 200;
 *   100209 "Broken json from server: `...`" (not JSON), "Invalid json from
 *          server: `...`" (not an array), or an element that is no valid
 *          record ("Invalid json from server"; 600001 for a changelog that
 *          cannot be allocated). Answers are quoted up to 1024 bytes.
 * Session: peer and host name verified, redirects followed (at most 10;
 * 301, 302 and 303 stay POST, as 307 does), 60-s transfer and 5-s connect
 * time-outs, libcurl's verbose output on stderr. Blocks up to two attempts.
 * Safe paths: an answer longer than 1 MiB is not read (600101, libcurl's
 * code 23), nor one with more than 4096 objects and arrays or 65536
 * separators (100209), and a retry starts from an empty answer. NULL list
 * or count, or NULL nodes with n > 0: 600001, nothing sent. */
VESPIN_API int remote_firmware_list(remote_firmware **list, int *count, const mesh_node *nodes, int n);

/* Fills one record from one element of the service's answer. Checks, in this
 * order, each failure logging "INVALID JSON" and returning 100209: the value
 * is an object (NULL is not); "model" is an object; its "version" is an
 * object; that object's "id" is a string; the model's "id" is a string;
 * "url", "version" are strings; "size", "released_time" are integers. Each
 * value is stored as soon as it is checked, so a failure leaves the earlier
 * fields changed. Then, when present: "changelog" (a string) is copied into a
 * new allocation (600001 when none can be had; the old pointer is not freed:
 * the record may come from the caller uninitialised); "sns" (an array) is
 * copied element by element, 16 characters at most each (an element that is
 * not a string is copied as its JSON text, null as ""). Safe path: the
 * record has 50 serial-number slots and the service is trusted to send no
 * more; elements past the 50th are cut, never written past the record. */
VESPIN_API int remote_firmware_load_from_json_object(remote_firmware *firmware, json_object *object);
/* Parses a JSON text (not JSON, NULL, nested deeper than 32 levels, not valid
 * UTF-8, or followed by anything but blanks: a NULL value, so 100209) and
 * calls remote_firmware_load_from_json_object. */
VESPIN_API int remote_firmware_load_from_json(remote_firmware *firmware, const char *text);

#ifdef __cplusplus
}
#endif

#endif
