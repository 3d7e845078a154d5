// The emulated settings store's file, which people edit by hand.
#include "apmib.h"
#include "fuzz_root.h"

#include <stdint.h>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    fuzz_run run;  // without the fsync of every write
    fuzz_write("/flash/mib.conf", data, size);
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
