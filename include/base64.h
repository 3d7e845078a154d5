/* Base64 with the standard alphabet ("A"-"Z", "a"-"z", "0"-"9", "+", "/",
 * padding "="). */
#ifndef VESPIN_BASE64_H
#define VESPIN_BASE64_H

#include "vespin_export.h"

#ifdef __cplusplus
extern "C" {
#endif

/* Encodes length bytes into out, NUL-terminated, and returns the characters
 * written. When length is a multiple of 3 (0 included) one "=" is still
 * appended and counted: "abc" gives "YWJj=", nothing gives "=". out must hold
 * 4 x ceil(length / 3) + 2 bytes. A negative length writes "" and returns -1. */
VESPIN_API int enc64(char *out, const unsigned char *in, int length);
/* Decodes length characters of in into out, NUL-terminated, and returns the
 * bytes written. Characters outside the alphabet ("=", blanks, line ends)
 * are skipped; a trailing group of 2 or 3 characters gives 1 or 2 bytes.
 * out must hold 3 x (length / 4) + 3 bytes. A negative length writes "" and returns -1. */
VESPIN_API int dec64(unsigned char *out, const char *in, int length);

#ifdef __cplusplus
}
#endif

#endif
