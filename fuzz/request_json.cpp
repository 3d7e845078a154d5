// Request texts from the network.
#include "fuzz_root.h"
#include "request.h"

#include <stdint.h>

#include <string>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    fuzz_run run;
    std::string text((const char*)data, size);
    vespin_request* request = vespin_request_new_from_json(text.c_str());
    if (!vespin_is_error(request)) {
        json_object_put(vespin_request_to_json(request));
        vespin_request_free(request);
    }
    return 0;
}
