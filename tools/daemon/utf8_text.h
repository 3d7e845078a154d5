// Valid UTF-8 out of any bytes, so that every reply of the daemon is valid
// UTF-8 JSON whatever a request held.
#pragma once

#include <stddef.h>

#include <string>

// The bytes with every invalid UTF-8 sequence (a stray continuation byte, an
// overlong form, a surrogate, a code point above U+10FFFF) replaced by
// U+FFFD, and an incomplete sequence at the very end (a text cut inside a
// character) dropped.
std::string utf8_clean(const char* bytes, size_t length);
inline std::string utf8_clean(const std::string& text) { return utf8_clean(text.data(), text.size()); }
