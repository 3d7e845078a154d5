// The one owner type of json-c objects inside the library: it drops its
// reference when it goes out of scope.
#pragma once

#include <json-c/json.h>

#include <memory>

struct json_put {
    void operator()(json_object* object) const { json_object_put(object); }
};

using json_ref = std::unique_ptr<json_object, json_put>;
