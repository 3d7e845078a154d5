// The library's logging convention, on top of the platform logger: each
// message goes to stderr as "%s(%s:%d) " with function, source path and line,
// and to syslog as "(%s:%d) " at priority 3 (error) or 6 (information).
#pragma once

#include <stdarg.h>

#define VLOG_AT(priority, ...) vespin_log(priority, __func__, __FILE__, __LINE__, __VA_ARGS__)
#define VLOG_ERROR(...) VLOG_AT(3, __VA_ARGS__)
#define VLOG_INFO(...) VLOG_AT(6, __VA_ARGS__)

// Formats and reports one message.
void vespin_log(int priority, const char* function, const char* file, int line, const char* format, ...)
    __attribute__((format(printf, 5, 6)));

// Prints "prefix: <system error>" on stderr, as perror does.
void vespin_perror(const char* prefix);

// Prints a plain text on stdout (the few paths that print without the convention).
void vespin_print(const char* format, ...) __attribute__((format(printf, 1, 2)));
