/* Per-device speed limits. Each limited device has a section in the UCI
 * package "speedlimits", named by its MAC (12 hex digits) and of type "sta",
 * with options "mac" (the same text), "up" and "down" (kbit/s) and "enabled"
 * ("true"/"false"). The
 * limits are applied by the QoS program "vespin_qos": "vespin_qos flush"
 * drops every limit, "vespin_qos add MAC UP DOWN" sets one and "vespin_qos
 * del MAC" removes one. Only a MAC checked as 12 hex digits and numbers
 * printed from integers reach those command lines. */
#ifndef VESPIN_INTERNAL_SPEED_LIMIT_H
#define VESPIN_INTERNAL_SPEED_LIMIT_H

#include <stdint.h>

#include "vespin_export.h"

#ifdef __cplusplus
extern "C" {
#endif

/* Stores a device's limit (committed) and applies it at once: "vespin_qos
 * add" when enabled, else "vespin_qos del". 0; 600001 for a MAC that is not
 * 12 hex digits or when UCI fails; 100208 for a negative rate. */
VESPIN_API int mesh_device_speed_limit_set(const char *mac, int32_t up, int32_t down, uint32_t enabled);
/* A device's stored limit: 0, 600104 when it has none, 600001 for a bad MAC
 * or NULL outputs. */
VESPIN_API int mesh_device_speed_limit_get(const char *mac, int32_t *up, int32_t *down, uint32_t *enabled);
/* Removes a device's limit (section deleted and committed, "vespin_qos del
 * MAC" run). A device without one is no error: 0. 600001 for a bad MAC or
 * when UCI fails. */
VESPIN_API int mesh_device_speed_limit_delete(const char *mac);
/* Re-applies every stored limit: "vespin_qos flush", then "vespin_qos add"
 * for each enabled device (sections whose name is not a MAC are passed
 * over). 0, or 600001 when no UCI context can be had. */
VESPIN_API int device_speed_limit_restart(void);

#ifdef __cplusplus
}
#endif

#endif
