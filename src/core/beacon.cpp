// Start and stop of the beacon-information module, through the platform's
// radio seam (emulated: the root's insmod and rmmod stand-ins).
#include "beacon.h"

#include "platform.h"

extern "C" {

int init_beacon_info(const char* sn) { return sn && plat_beacon_start(sn) ? 0 : VESPIN_ERR_FAILURE; }

int exit_beacon_info(void) { return plat_beacon_stop() ? 0 : VESPIN_ERR_FAILURE; }

}  // extern "C"
