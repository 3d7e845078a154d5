/* MD5 digests: a one-call hex digest and the incremental form it is built on. */
#ifndef VESPIN_MD5_H
#define VESPIN_MD5_H

#include <stddef.h>
#include <stdint.h>

#include "vespin_export.h"

#ifdef __cplusplus
extern "C" {
#endif

/* Running state of an incremental digest (opaque). */
typedef struct md5_state md5_state;

/* The digest of length bytes as 32 lower-case hex digits, in one static
 * buffer overwritten by the next call (not thread-safe); NULL when the
 * working memory cannot be allocated. */
VESPIN_API char *md5sum(const void *data, size_t length);
/* Incremental digest. With digest NULL: absorbs the whole 64-byte blocks of
 * data (bytes past the last whole block are ignored) into state (NULL: a new
 * state) and returns the state, or NULL when memory runs out. With a digest:
 * absorbs all of data, pads, writes the 16 digest bytes, frees the state and
 * returns NULL (the digest stays untouched when no new state could be had). */
VESPIN_API md5_state *md5(const void *data, size_t length, unsigned char *digest, md5_state *state);
/* Writes length / 4 words as little-endian bytes (length in bytes). */
VESPIN_API void encode(unsigned char *output, const uint32_t *input, size_t length);
/* Reads length bytes as little-endian words into length / 4 words. */
VESPIN_API void decode(uint32_t *output, const unsigned char *input, size_t length);

#ifdef __cplusplus
}
#endif

#endif
