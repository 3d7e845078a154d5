#include "tagged_comment.h"

#include "tools.h"

#include <stdlib.h>
#include <string.h>

namespace {

bool tracked(int id) { return id >= 0 && id < 31; }

}  // namespace

tagged_comment tagged_comment_split(const char* field, size_t capacity) {
    tagged_comment c;
    c.text.assign(field, strnlen(field, capacity));
    size_t length = c.text.size();
    c.id_text = length >= 2 ? c.text.substr(length - 2) : c.text;
    c.id = atoi(c.id_text.c_str());
    c.name = length < 3 ? "null" : c.text.substr(0, length - 2);
    return c;
}

void identifier_map::fill(const std::vector<int>& ids) {
    init_bit_map(&bits);
    for (int id : ids) take(id);
    filled = true;
}

int identifier_map::lowest_free() const { return get_bit_map_first_zero(bits); }

void identifier_map::take(int id) {
    if (tracked(id)) set_bit_map_bit(&bits, id);
}

void identifier_map::release(int id) {
    if (tracked(id)) clear_bit_map_bit(&bits, id);
}
