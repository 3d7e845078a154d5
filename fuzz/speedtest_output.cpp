// The speed test's output, as wan_speed_test reads it.
#include "core/internal/diagnostics_parts.h"

#include <stdint.h>

#include <string>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    std::string text((const char*)data, size);
    int32_t values[8] = {0};
    speedtest_output_parse(text.c_str(), values);
    return 0;
}
