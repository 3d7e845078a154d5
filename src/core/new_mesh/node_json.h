// The node record's reader on an object already parsed (the node report
// holds one inside its own document).
#pragma once

#include "mesh_node.h"

#include <json-c/json.h>

// As mesh_node_load_json after the text was parsed: every check, code and
// message but "Invalid json".
int mesh_node_load_json_object(mesh_node* node, json_object* object);

// A new JSON string of a fixed field that may fill its capacity without a
// terminator.
json_object* mesh_json_field_string(const char* field, size_t capacity);
// A record's count held to its array's capacity (a record filled by hand
// may hold anything there).
int32_t mesh_held_count(int32_t count, int32_t capacity);
// The member under key, or NULL when absent (or object is no object).
json_object* mesh_json_member(json_object* object, const char* key);

// Reads the first elements of a JSON array, at most capacity of them (the
// rest is cut), with read(index, element) -> code; *count follows the
// elements read. The first failure is returned.
template <typename Read>
int mesh_json_read_array(json_object* list, int32_t capacity, int32_t* count, Read read) {
    size_t length = json_object_array_length(list);
    if (length > (size_t)capacity) length = (size_t)capacity;
    *count = 0;
    for (size_t i = 0; i < length; ++i) {
        int code = read((int)i, json_object_array_get_idx(list, i));
        if (code != 0) return code;
        *count = (int32_t)i + 1;
    }
    return 0;
}
