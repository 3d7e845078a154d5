// Answers of the firmware service: the whole answer as the list reads it,
// and the text as one record.
#include "server.h"

#include "core/server/service_json.h"

#include <stdint.h>
#include <stdlib.h>
#include <string.h>

#include <string>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    std::string text((const char*)data, size);
    remote_firmware firmware;
    memset(&firmware, 0, sizeof firmware);
    remote_firmware_load_from_json(&firmware, text.c_str());
    free(firmware.changelog);
    json_ref answer = service_json_parse(text.data(), text.size());
    if (answer && json_object_is_type(answer.get(), json_type_array)) {
        for (size_t i = 0; i < json_object_array_length(answer.get()); i++) {
            memset(&firmware, 0, sizeof firmware);
            int rv = remote_firmware_load_from_json_object(&firmware, json_object_array_get_idx(answer.get(), i));
            free(firmware.changelog);
            if (rv != 0) break;
        }
    }
    return 0;
}
