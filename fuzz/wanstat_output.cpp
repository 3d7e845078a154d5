// The output of the platform's "wanstat" as get_wan_status reads it.
#include "fuzz_root.h"
#include "vespin_core.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    fuzz_run run(std::string((const char*)data, size));
    wan_status status;
    get_wan_status(&status);
    return 0;
}
