/* Mesh protocol versions: "MAJOR.MINOR.PATCH" for a release and
 * "MAJOR.MINOR.PATCH-rc.N" (N >= 1) for a release candidate. */
#ifndef VESPIN_NEW_MESH_H
#define VESPIN_NEW_MESH_H

#include <stdint.h>

#include "result_codes.h"
#include "vespin_export.h"

#ifdef __cplusplus
extern "C" {
#endif

/* Room for any version text, terminator included. */
#define VESPIN_VERSION_TEXT_SIZE 48

typedef struct version {
    uint32_t major;
    uint32_t minor;
    uint32_t patch;
    uint32_t rc; /* release-candidate number; 0 for a release */
} version;

/* New record (free with version_free); -600000 as a pointer when memory runs out. */
VESPIN_API version *version_new(uint32_t major, uint32_t minor, uint32_t patch, uint32_t rc);
/* New record parsed by version_from_string; its negated result code as a
 * pointer when the text is not a version (-600005) or the pattern fails (-109999). */
VESPIN_API version *version_new_from_string(const char *text);
/* Fills the record from a text matching ^[0-9]+(\.[0-9]+){2}(-rc\.[1-9][0-9]*)?$
 * (leading zeros in the three numbers are read as decimal). Returns 0;
 * 600005 with "Invalid version: %s" logged when the text (or NULL) is not a
 * version, the record then unchanged; 109999 when the pattern machinery fails.
 * Numbers past 32 bits are kept as the %u conversion yields them. */
VESPIN_API int version_from_string(version *v, const char *text);
/* Writes the text form into buffer (VESPIN_VERSION_TEXT_SIZE bytes) and returns buffer. */
VESPIN_API char *version_to_string(const version *v, char *buffer);
/* 1 when a is newer, -1 when older, 0 when equal; a release is newer than any
 * candidate of the same numbers. A NULL record is older than any version. */
VESPIN_API int version_compare(const version *a, const version *b);
/* Frees the record; NULL and error values are ignored. */
VESPIN_API void version_free(version *v);

#ifdef __cplusplus
}
#endif

#endif
