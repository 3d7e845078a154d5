/* The beacon-information module that mesh candidate discovery loads while it
 * adds a node: the module carries the candidate's serial number in the local
 * radios' beacons. */
#ifndef VESPIN_BEACON_H
#define VESPIN_BEACON_H

#include "result_codes.h"
#include "vespin_export.h"

#ifdef __cplusplus
extern "C" {
#endif

/* Loads the module and hands it the candidate's serial number: 0, or 600001
 * when the module cannot be loaded or fed (or sn is NULL). */
VESPIN_API int init_beacon_info(const char *sn);
/* Unloads the module: 0, or 600001 when it was not loaded or cannot be unloaded. */
VESPIN_API int exit_beacon_info(void);

#ifdef __cplusplus
}
#endif

#endif
