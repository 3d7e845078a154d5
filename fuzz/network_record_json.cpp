// Network records from the gateway, read over the local Wi-Fi settings of a
// private root and printed.
#include "fuzz_root.h"
#include "platform_testing.h"
#include "mesh_node.h"

#include <json-c/json.h>

#include <stdint.h>

#include <string>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    fuzz_root();
    plat_test_reset();
    plat_test_capture_log();
    std::string text((const char*)data, size);
    mbd* record = mbd_new_from_json(text.c_str());
    if (!vespin_is_error(record)) {
        json_object_put(mbd_to_json(record));
        mbd_free(record);
    }
    plat_test_reset();
    return 0;
}
