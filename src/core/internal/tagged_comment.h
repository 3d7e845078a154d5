// Stored table comments that carry a name followed by a two-digit
// identifier ("%02d"), and the per-process map of identifiers in use
// (a 32-bit map of tools.h: identifiers from 31 up are not tracked).
#pragma once

#include <stddef.h>
#include <stdint.h>

#include <string>
#include <vector>

struct tagged_comment {
    std::string text;     // the whole comment, bounded by its field
    std::string id_text;  // its last two characters
    std::string name;     // the rest, or "null" for a comment of fewer than 3 characters
    int id;               // id_text as a decimal number
};

// Splits a comment field of `capacity` bytes (it need not be NUL-terminated).
tagged_comment tagged_comment_split(const char* field, size_t capacity);

// The identifiers in use: filled once from the stored ones, then kept in step.
struct identifier_map {
    uint32_t bits = 0;
    bool filled = false;
    void fill(const std::vector<int>& ids);
    int lowest_free() const;
    void take(int id);
    void release(int id);
};
