#include "text.h"

#include <string.h>

size_t copy_text(char* dst, size_t capacity, const char* src) {
    if (!dst || capacity == 0) return 0;
    size_t n = src ? strnlen(src, capacity - 1) : 0;
    if (n) memcpy(dst, src, n);
    dst[n] = 0;
    return n;
}
