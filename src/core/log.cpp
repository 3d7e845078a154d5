#include "log.h"

#include "../platform/platform.h"

#include <stdio.h>

#include <string>

namespace {

std::string formatted(const char* format, va_list args) {
    char small[512];
    va_list copy;
    va_copy(copy, args);
    int n = vsnprintf(small, sizeof small, format, copy);
    va_end(copy);
    if (n < 0) return std::string();
    if ((size_t)n < sizeof small) return std::string(small, (size_t)n);
    std::string big((size_t)n + 1, '\0');
    vsnprintf(&big[0], big.size(), format, args);
    big.resize((size_t)n);
    return big;
}

}  // namespace

void vespin_log(int priority, const char* function, const char* file, int line, const char* format, ...) {
    va_list args;
    va_start(args, format);
    std::string message = formatted(format, args);
    va_end(args);
    plat_log(priority, function, file, line, message.c_str());
}

void vespin_perror(const char* prefix) { plat_perror(prefix); }

void vespin_print(const char* format, ...) {
    va_list args;
    va_start(args, format);
    std::string text = formatted(format, args);
    va_end(args);
    plat_print(text.c_str());
}
