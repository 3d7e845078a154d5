/* Marks the library's exported functions; everything else stays hidden. */
#ifndef VESPIN_EXPORT_H
#define VESPIN_EXPORT_H

#if defined(__GNUC__)
#define VESPIN_API __attribute__((visibility("default")))
#else
#define VESPIN_API
#endif

#endif
