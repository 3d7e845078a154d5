// One request through the daemon's dispatcher, for the daemon_methods_*
// tests (which link the daemon's parts): the response text, after-reply
// action run.
#pragma once

#include "dispatch.h"

#include <stdint.h>

#include <string>

inline std::string node_call(const std::string& method, const std::string& params = "") {
    std::string request = "{\"method\":\"" + method + "\"" + (params.empty() ? "" : ",\"params\":" + params) + "}";
    uintptr_t post = 0;
    std::string response = node_dispatch(request.c_str(), request.size(), &post);
    node_run_post(post);
    return response;
}
