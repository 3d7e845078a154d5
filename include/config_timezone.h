/* The time zone as a record: an hour offset and a position (the index of
 * the client's zone list), stored together in setting 153
 * ("MIB_NTP_TIMEZONE") as the text "%d %d". */
#ifndef VESPIN_CONFIG_TIMEZONE_H
#define VESPIN_CONFIG_TIMEZONE_H

#include <stdint.h>

#include "vespin_export.h"

#ifdef __cplusplus
extern "C" {
#endif

struct json_object;

typedef struct timezone_config {
    int32_t offset;
    int32_t position;
} timezone_config;

/* Reads setting 153 (failure 600002) and parses "%d %d"; a text that does
 * not give two numbers logs "Wrong format of MIB_NTP_TIMEZONE: `%s`" and
 * returns 109999 with the record unchanged. */
VESPIN_API int timezone_config_load(timezone_config *config);
/* {"offset", "position"} (integers), new object. */
VESPIN_API struct json_object *timezone_config_to_json(const timezone_config *config);
/* "offset" and "position", integers, each optional (wrong type 100200);
 * neither present: 600100; not an object: 100209. */
VESPIN_API int timezone_config_update_from_json_object(timezone_config *config, struct json_object *object);
/* Parses the text (not JSON: 100209), then the object form. */
VESPIN_API int timezone_config_update_from_json(timezone_config *config, const char *text);
/* Writes "%d %d" to setting 153 (failure logs "Fail to set
 * MIB_NTP_TIMEZONE: %s" and gives 600002), then restarts the NTP client
 * (restart_ntp, which writes "/etc/TZ"). 0 or 600002. The settings are not
 * flushed here: callers flush with flush_apmib. */
VESPIN_API int config_timezone(const timezone_config *config);

#ifdef __cplusplus
}
#endif

#endif
