/* Per-device metadata: the user's name for a device, kept in the UCI
 * package "assets" (file "/vespin/config/assets", reachable from the
 * configuration directory), one section of type "sta" per device named by
 * its MAC text with options "mac" and "name"; and the device list's names
 * ("devices.<mac>.name"). A MAC that is not 12 hexadecimal digits is
 * refused with 100208 before any UCI path is built. */
#ifndef VESPIN_CONFIG_ASSETS_H
#define VESPIN_CONFIG_ASSETS_H

#include "result_codes.h"
#include "vespin_export.h"

#ifdef __cplusplus
extern "C" {
#endif

struct json_object;
struct uci_context;

typedef struct device_meta {
    char mac[16];
    char name[40];
} device_meta;

/* The factory: one UCI context and the package name ("assets", static). */
typedef struct assets_factory {
    struct uci_context *ctx;
    const char *package;
} assets_factory;

/* {"mac", "name"}, new object. */
VESPIN_API struct json_object *device_meta_to_json(const device_meta *meta);
/* Both keys required strings (else 100209); a name of 40 characters or more
 * gives 100208; the MAC is cut to 15 characters. */
VESPIN_API int device_meta_load_from_json_object(device_meta *meta, struct json_object *object);

/* A new factory; the error value of the UCI context (-600001) when none can
 * be had; -600000 when the cell cannot be allocated. Free with
 * assets_factory_free (uncommitted changes are dropped). */
VESPIN_API assets_factory *assets_factory_new(void);
VESPIN_API void assets_factory_free(assets_factory *factory);
/* Commit: 0 or 600001 (the package file is then as it was). Rollback: 0,
 * or the code of vespin_uci_ctx_rollback. */
VESPIN_API int assets_factory_commit(assets_factory *factory);
VESPIN_API int assets_factory_rollback(assets_factory *factory);
/* Creates "/vespin/config/assets" with "touch /vespin/config/assets" when it
 * does not exist, then sets "%s.%s=sta", "%s.%s.mac=%s", "%s.%s.name=%s"
 * (package, MAC, ...), pending until the commit. The result of the last
 * write (0 or 600001), 100208 for a bad MAC. */
VESPIN_API int assets_factory_set(assets_factory *factory, const device_meta *meta);
/* A new record (free with free) with the MAC (at most 15 characters) and the
 * stored "%s.%s.name" (at most 39); NULL when the name is not stored;
 * -600000 out of memory; else the negated code (100208 for a bad MAC). */
VESPIN_API device_meta *assets_factory_get(assets_factory *factory, const char *mac);
/* With a context, writes "devices.%s.name=%s" and commits the device list
 * (vespin_device_list_commit): 0, or 600001. A NULL context gives 600001. */
VESPIN_API int set_device_list_name(struct uci_context *ctx, const device_meta *meta);

#ifdef __cplusplus
}
#endif

#endif
