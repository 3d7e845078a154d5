// The one owner type of json-c objects inside the library: it drops its
// reference when it goes out of scope.
#pragma once

#include <json-c/json.h>

#include <memory>

struct json_put {
    void operator()(json_object* object) const { json_object_put(object); }
};

using json_ref = std::unique_ptr<json_object, json_put>;

// Adds a member under a key that is a string literal, new in the object:
// json-c neither copies nor looks the key up. The object takes the value's
// reference.
inline void json_add_new_key(json_object* object, const char* literal_key, json_object* value) {
    json_object_object_add_ex(object, literal_key, value, JSON_C_OBJECT_ADD_KEY_IS_NEW | JSON_C_OBJECT_KEY_IS_CONSTANT);
}
