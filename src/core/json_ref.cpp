#include "json_ref.h"

#include "platform.h"

json_object* json_made(json_object* fresh) {
    if (fresh && plat_allocation_fails()) {
        json_object_put(fresh);
        return nullptr;
    }
    return fresh;
}

bool json_add(json_object* object, const char* key, json_object* value) {
    if (!value) return false;
    if (json_object_object_add(object, key, value) != 0) {
        json_object_put(value);  // json-c leaves the value with the caller when the add fails
        return false;
    }
    return true;
}
