// Node reports from other nodes: the report and the node record inside it,
// read, printed and read back.
#include "mesh_node.h"

#include <json-c/json.h>
#include "platform_testing.h"

#include <stdint.h>
#include <string.h>

#include <string>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    plat_test_capture_log();  // keeps the fuzzer's output readable
    std::string text((const char*)data, size);
    bmd* report = bmd_new_from_json(text.c_str());
    if (!vespin_is_error(report)) {
        json_object* printed = bmd_to_json(report);
        bmd* again = bmd_new_from_json(json_object_to_json_string(printed));
        // What was read reads back, but for a record of a sender without a
        // customer id: it is printed as protocol version 1 with an empty one.
        if (vespin_is_error(again) && strlen(report->node.customer_id) == 4) __builtin_trap();
        bmd_free(again);
        json_object_put(printed);
        bmd_free(report);
    }
    mesh_node* node = mesh_node_new_from_json(text.c_str());
    if (!vespin_is_error(node)) {
        json_object_put(mesh_node_to_json(node));
        mesh_node_free(node);
    }
    plat_test_reset();
    return 0;
}
