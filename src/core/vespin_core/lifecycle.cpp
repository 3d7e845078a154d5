// The lifecycle id: made once per device from the local time and four
// random bytes, then kept in the settings store.
#include "vespin_core.h"

#include "apmib.h"
#include "core/log.h"
#include "platform/platform.h"
#include "result_codes.h"
#include "core/text.h"

#include <stdio.h>
#include <time.h>

namespace {

const int kMibLifecycle = 2403;

// Four random bytes as a number, in host order (the router's own reading of
// them: they are random either way); 0 when the device cannot be opened.
uint32_t urandom() {
    uint32_t value = 0;
    FILE* device = plat_fopen("/dev/urandom", "rb");
    if (!device) {
        VLOG_ERROR("Fail to open: /dev/urandom");
        return 0;
    }
    if (fread(&value, sizeof value, 1, device) != 1) value = 0;
    fclose(device);
    return value;
}

}  // namespace

extern "C" {

int get_lifecycle(char* out) {
    if (!apmib_get(kMibLifecycle, out)) return VESPIN_ERR_SETTING;
    if (out[0]) {
        VLOG_INFO("Lifecycle existed: %s", out);
        return 0;
    }
    time_t now = plat_time();
    struct tm local;
    if (!localtime_r(&now, &local)) return VESPIN_ERR_FAILURE;
    uint32_t random = urandom();
    char id[VESPIN_LIFECYCLE_SIZE];
    snprintf(id, sizeof id, "%02d%02d%02d%02d%02d%04x", local.tm_mon + 1, local.tm_mday, local.tm_hour,
             local.tm_min, local.tm_sec, random);
    copy_text(out, VESPIN_LIFECYCLE_SIZE, id);
    VLOG_INFO("Set lifecycle_id: %s", out);
    return apmib_set(kMibLifecycle, out) ? 0 : VESPIN_ERR_SETTING;
}

}  // extern "C"
