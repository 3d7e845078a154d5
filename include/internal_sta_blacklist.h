/* The station blacklist: devices refused by the whole mesh, kept in the UCI
 * package "mac_filter_black", one section of type "sta" per device named by
 * its MAC text, with options "mac" (the same text) and "name"; at most 30.
 *
 * The setters work in the caller's UCI context, which the caller commits
 * (sta_blacklist_commit) or drops (sta_blacklist_rollback, uciconfig.h).
 *
 * Safety: the MAC text names a UCI section, so one holding anything but
 * letters, digits and '_' (a '.', '=', '[', whitespace, quotes ...) is
 * refused with 100208 "Invalid mac" before any write. */
#ifndef VESPIN_INTERNAL_STA_BLACKLIST_H
#define VESPIN_INTERNAL_STA_BLACKLIST_H

#include <stdint.h>

#include "uciconfig.h"
#include "vespin_export.h"

#ifdef __cplusplus
extern "C" {
#endif

#define STA_BLACKLIST_MAX 30

/* One blacklisted device. */
typedef struct blacklist_entry {
    char mac[16];
    char name[64];
} blacklist_entry;

/* Adds a device. A NULL entry returns -600001 (negative, unlike every other
 * code); a MAC text shorter than 10 characters does nothing and returns 0.
 * 200201 when positions 0 and 29 are taken (the list is full); 600100 when
 * the MAC is listed already; else the result of the last of the three
 * writes (section, "mac", "name"). In work mode 1 it also deletes the
 * device's "devices.<mac>" section in a context of its own and commits
 * "devices" there. */
VESPIN_API int sta_blacklist_add(struct uci_context *ctx, const blacklist_entry *entry);
/* With a NULL or empty MAC deletes every section and returns 0. (Deleting by
 * increasing positions would skip every second section once the first is
 * gone, so position 0 is deleted until nothing is left.) A MAC shorter than
 * 11 characters does nothing and returns 0; one that is not listed gives
 * 600104; else the result of deleting its section. */
VESPIN_API int sta_blacklist_delete(struct uci_context *ctx, const char *mac);
/* A new array of the listed devices in *list (caller frees; not allocated
 * and left alone when there are none) and their number in *count, in
 * package order. 0; 600001 for NULL outputs, 600000 when memory runs out. */
VESPIN_API int sta_blacklist_list(blacklist_entry **list, int32_t *count);
/* Commits "mac_filter_black": 0 or -600001. */
VESPIN_API int sta_blacklist_commit(struct uci_context *ctx);

#ifdef __cplusplus
}
#endif

#endif
