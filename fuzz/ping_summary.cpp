// ping's output, as the round-trip time reads it.
#include "core/internal/diagnostics_parts.h"

#include <stdint.h>

#include <string>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    std::string text((const char*)data, size);
    uint32_t ms = 0;
    ping_summary_average_ms(text.c_str(), &ms);
    return 0;
}
