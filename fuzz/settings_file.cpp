// The emulated settings store's file, which people edit by hand.
#include "apmib.h"
#include "fuzz_root.h"
#include "platform.h"

#include <stdint.h>

#include <string>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    fuzz_root_once("/flash");
    plat_write_file_atomic("/flash/mib.conf", std::string((const char*)data, size));
    apmib_reinit();
    char value[512];
    int ids[] = {1, 170, 186, 2401, 2404, 293, 33062};
    for (int id : ids) {
        value[0] = 1;
        apmib_get(id, value);
    }
    apmib_update(APMIB_CURRENT_SETTING);
    return 0;
}
