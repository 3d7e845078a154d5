// Calls a method of the node daemon's dispatcher in-process, as the method
// tests (daemon_methods_*) do: the request text in, the response as JSON out.
#pragma once

#include "dispatch.h"

#include <gtest/gtest.h>
#include <json-c/json.h>

#include <string>

#include "core/json_ref.h"

// The response of one request, as a JSON object (its after-reply action run).
inline json_ref call(const std::string& method, const std::string& params = "") {
    std::string request = "{\"method\":\"" + method + "\"" + (params.empty() ? "" : ",\"params\":" + params) + "}";
    uintptr_t post = 0;
    std::string response = node_dispatch(request.c_str(), request.size(), &post);
    node_run_post(post);
    json_ref parsed(json_tokener_parse(response.c_str()));
    EXPECT_TRUE(parsed) << response;
    return parsed;
}

// The response's error code, 0 for a success.
inline int code(const json_ref& response) {
    json_object *error = nullptr, *value = nullptr;
    if (!json_object_object_get_ex(response.get(), "error", &error)) return 0;
    return json_object_object_get_ex(error, "code", &value) ? json_object_get_int(value) : -1;
}

// The response's result printed plain, or "(none)".
inline std::string result(const json_ref& response) {
    json_object* value = nullptr;
    if (!json_object_object_get_ex(response.get(), "result", &value)) return "(none)";
    return json_object_to_json_string_ext(value, JSON_C_TO_STRING_PLAIN);
}
