/* A device's speed limit as JSON. */
#ifndef VESPIN_CONFIG_SPEED_LIMIT_H
#define VESPIN_CONFIG_SPEED_LIMIT_H

#include <stdint.h>

#include "vespin_export.h"

#ifdef __cplusplus
extern "C" {
#endif

struct json_object;

/* The enabled value that marks a limit shown as enabled without rates. */
#define SPEED_LIMIT_MARKER 8

typedef struct speed_limit {
    int32_t up;
    int32_t down;
    uint32_t enabled;
} speed_limit;

/* {"enabled": bool} with enabled = 8 (true), else {"enabled", "up", "down"}. */
VESPIN_API struct json_object *speed_limit_to_json(const speed_limit *limit);
/* "up", "down" (integers; else "Invalid upload rate" / "Invalid download
 * rate"), "enabled" (boolean; else "Invalid json field:'enabled'"), each
 * optional. Every failure, and a NULL or non-object argument, gives 100209. */
VESPIN_API int speed_limit_update_from_json_object(speed_limit *limit, struct json_object *object);

#ifdef __cplusplus
}
#endif

#endif
