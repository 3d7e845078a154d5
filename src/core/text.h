// The one bounded copy of a text into a fixed field.
#pragma once

#include <stddef.h>

// Copies at most capacity - 1 bytes of src into dst and NUL-terminates it.
// A null src copies "". Returns the bytes copied.
size_t copy_text(char* dst, size_t capacity, const char* src);
