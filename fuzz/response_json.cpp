// Response texts from other nodes.
#include "fuzz_root.h"
#include "response.h"

#include <stdint.h>

#include <string>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    fuzz_run run;  // keeps the fuzzer's output readable
    std::string text((const char*)data, size);
    vespin_response* response = vespin_response_new_from_json(text.c_str());
    if (!vespin_is_error(response)) {
        json_object_put(vespin_response_to_json(response));
        vespin_response_free(response);
    }
    return 0;
}
