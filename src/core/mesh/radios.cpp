#include "radios.h"

#include "apmib.h"
#include "vespin_core.h"

namespace mesh_radio {

bool read_setting(int radio, int id, int* value) {
    apmib_save_wlanIdx();
    set_global_wlan_idx(radio);
    vwlan_idx = 0;
    bool read = apmib_get(id, value) != 0;
    apmib_recov_wlanIdx();
    return read;
}

}  // namespace mesh_radio
