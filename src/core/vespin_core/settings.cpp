// The settings store's start, reload and flush, and the few plain settings
// that describe the node's role: work mode, initialisation flag, mesh settings.
#include "vespin_core.h"

#include "apmib.h"
#include "core/log.h"
#include "result_codes.h"

namespace {

const int kMibInitFlag = 2400;
const int kMibWorkMode = 2401;
const int kMibMeshFirst = 554;
const int kMibMeshSecond = 561;

}  // namespace

extern "C" {

int* set_global_wlan_idx(int radio) {
    wlan_idx = radio;
    return &wlan_idx;
}

int init_apmib(void) { return apmib_init(); }

int reinit_apmib(void) { return apmib_reinit(); }

int flush_apmib(int flags) {
    int init_flag = 0;
    if (!apmib_get(kMibInitFlag, &init_flag)) {
        VLOG_ERROR("Fail to get mib");
        return -1;
    }
    if (init_flag != 0) {
        init_flag = 0;
        if (!apmib_set(kMibInitFlag, &init_flag)) {
            VLOG_ERROR("Fail to set mib");
            return -1;
        }
    }
    int written = apmib_update(flags);
    if (written != 0) return written;
    if (flags & APMIB_CURRENT_SETTING) save_cs_to_file();
    return 0;
}

int get_work_mode(void) {
    int mode = 0;
    return apmib_get(kMibWorkMode, &mode) ? mode : -1;
}

int set_work_mode(int mode) { return apmib_set(kMibWorkMode, &mode) ? 0 : -1; }

int router_is_init(void) {
    int init_flag = -1;
    if (!apmib_get(kMibInitFlag, &init_flag)) {
        VLOG_ERROR("Fail to get mib");
        return -VESPIN_ERR_SETTING;
    }
    return init_flag;
}

int get_mesh_config(int* first, int* second) {
    set_global_wlan_idx(0);
    if (!first || !second) return VESPIN_ERR_SETTING;
    if (!apmib_get(kMibMeshFirst, first) || !apmib_get(kMibMeshSecond, second)) return VESPIN_ERR_SETTING;
    return 0;
}

}  // extern "C"
