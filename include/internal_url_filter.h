/* Per-device URL filter: blocked web hosts kept in the UCI package
 * "urlfilters" and enforced by the URL-filter kernel module "vespin_knet",
 * to which every rule is sent over netlink (protocol 30, port id 100).
 *
 * Package layout: one section per device, type "sta", named by the device's
 * MAC as 12 hex digits, with options "mac" (the same text), "enabled"
 * ("true"/"false") and the list "host" (lower case, at most 30 characters,
 * at most 15 per device); "urlfilters.@global[0].mode" selects the mode.
 *
 * The setters take a UCI context (URL_filter_uci_ctx_new) and leave
 * committing to the caller (URL_filter_config_commit / _rollback / _free).
 *
 * Safety: a MAC must be exactly 12 hex digits and a host may hold only
 * letters, digits, '.', '-' and '_': either text ends up in a UCI path, and
 * anything else ('=', '[', whitespace, quotes ...) is refused before any
 * write. Hosts are lower-cased and bounded before they reach UCI or the
 * module. */
#ifndef VESPIN_INTERNAL_URL_FILTER_H
#define VESPIN_INTERNAL_URL_FILTER_H

#include <stdint.h>

#include "uciconfig.h"
#include "vespin_export.h"

#ifdef __cplusplus
extern "C" {
#endif

#define URL_FILTER_MAX_HOSTS 15
#define URL_FILTER_HOST_SIZE 31 /* 30 characters and a terminator */
#define URL_FILTER_ENABLED 0    /* enable state: filter on */
#define URL_FILTER_DISABLED 8   /* enable state: filter off */

/* Module operations carried in the first word of a rule. */
#define URL_FILTER_OP_ADD 2
#define URL_FILTER_OP_DELETE 3

/* One device of URL_filter_list. */
typedef struct url_filter_device {
    char mac[16];
    uint8_t enabled;                                       /* 1 when "enabled" is true */
    int32_t host_count;
    char hosts[URL_FILTER_MAX_HOSTS][URL_FILTER_HOST_SIZE];
} url_filter_device;

/* Adds a blocked host for a device. `unused` is not read. Codes: 100200 no
 * host or one of 31 characters or more; 600001 "Invalid MAC address" (not 12
 * hex digits); 100208 "Invalid host" (a character other than letters,
 * digits, '.', '-', '_'); 600200 the host is there already (any case);
 * 200201 the device has 15 hosts; else the UCI result, or, when the device's
 * filter is enabled, the module's result for operation 2. A device without a
 * section gets one ("sta", its mac, enabled=false). A failed UCI write is
 * returned before anything is sent. */
VESPIN_API int URL_filter_add(struct uci_context *ctx, const void *unused, const char *host, const char *mac);
/* Removes a host from the device's list and sends operation 3 for it.
 * Returns the UCI result when the removal fails; else, when the device's
 * filter is enabled, the module's result (600001 when it did not hold the
 * rule), and 0 when it is disabled (the module holds none of its rules).
 * Bad MAC: 600001; bad host: 100200 / 100208 as for URL_filter_add. */
VESPIN_API int URL_filter_delete(struct uci_context *ctx, const char *mac, const char *host);
/* *state_out = 0 when "urlfilters.<mac>.enabled" is true, else 8 (also when
 * it is missing). Returns 0; 600001 for a NULL output or a bad MAC. */
VESPIN_API int URL_filter_enable_get(int32_t *state_out, const char *mac);
/* Sets the enable state (8: off, anything else: on). A device without an
 * "enabled" option gets a section ("sta" with its mac) and counts as off.
 * An unchanged state does nothing more. Otherwise writes "enabled" and
 * sends operation 2 (on) or 3 (off) for each of its hosts: 0, the UCI
 * result when the write fails, or 600001 when the module refused a rule (all
 * hosts are still sent). Bad MAC: 600001. */
VESPIN_API int URL_filter_enable_set(struct uci_context *ctx, int32_t state, const char *mac);
/* Reloads the module ("rmmod vespin_knet && insmod /lib/vespin_knet.ko"),
 * then walks the device sections by position: an enabled device sends
 * operation 2 for each host; a disabled device without hosts loses its
 * section (committed at the end); the rest are skipped. Returns the UCI
 * result that ended the walk: 600104 when it ran to the end, as the
 * management server expects. */
VESPIN_API int URL_filter_restart(void);
/* In mode "blacklist" (urlfilters.@global[0].mode), a new array of the
 * devices in *list (caller frees; NULL when there are none) and their number
 * in *count; in any other mode none. A device's hosts beyond 15 are left
 * out. 0; 600000 when memory runs out; 600001 for NULL outputs or no UCI context. */
VESPIN_API int URL_filter_list(url_filter_device **list, int32_t *count);
/* Sends one rule to the module: operation 2 (add) or 3 (delete); 4 and 5
 * are sent too. Any other operation prints "Optype error!" and returns 0.
 * 0 when the module answers "ret:" with a number of 0 or more; else 600001
 * ("Create socket error", "Bind error", "Sendto error", "Recv form kernel
 * error" with the system error, a bad MAC or an empty host). A module that
 * does not answer within 2 seconds counts as a receive error, so that the
 * call cannot hang. After operation 2 or 4 runs "echo 2 > /proc/fast_nat". */
VESPIN_API int take_effect_URL_filter_rule(int operation, const char *mac, const char *host);

#ifdef __cplusplus
}
#endif

#endif
