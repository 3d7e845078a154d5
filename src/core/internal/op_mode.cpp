// The operating mode the WAN state depends on.
#include "internal_diagnostics.h"

#include "apmib.h"

namespace {
const int kMibOpMode = 192;
}

extern "C" int vespin_get_op_mode(void) {
    int mode = 0;
    return apmib_get(kMibOpMode, &mode) ? mode : VESPIN_ERR_FAILURE;
}
