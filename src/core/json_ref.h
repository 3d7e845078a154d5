// The one owner type of json-c objects inside the library: it drops its
// reference when it goes out of scope.
#pragma once

#include <json-c/json.h>

#include <memory>

struct json_put {
    void operator()(json_object* object) const { json_object_put(object); }
};

using json_ref = std::unique_ptr<json_object, json_put>;

// Passes a json-c object the library has just built through the allocation
// seam: NULL stays NULL (json-c ran out of memory), and when the test
// countdown says this allocation fails the object is dropped and NULL
// returned, so that every check of a json-c constructor can be reached.
json_object* json_made(json_object* fresh);

// Adds value under key, the object taking over the value's reference: true,
// or false with the value dropped when it is NULL or cannot be added.
bool json_add(json_object* object, const char* key, json_object* value);

// Adds a member under a key that is a string literal, new in the object:
// json-c neither copies nor looks the key up. The object takes the value's
// reference.
inline void json_add_new_key(json_object* object, const char* literal_key, json_object* value) {
    json_object_object_add_ex(object, literal_key, value, JSON_C_OBJECT_ADD_KEY_IS_NEW | JSON_C_OBJECT_KEY_IS_CONSTANT);
}
