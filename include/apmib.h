/* The platform's settings store, addressed by numeric ids.
 *
 * On the router these are the vendor library's entry points. In a build
 * without it the library provides them: with VESPIN_ROOT set they reach the
 * emulated store of the root ("/flash/mib.conf", defaults in
 * "/flash/mib-default.conf"); without it every access fails.
 *
 * Values are addressed by id; per-radio ids use the global wlan_idx and
 * per-interface ids also vwlan_idx. Kinds: integer (an int), IPv4 address
 * (4 bytes, network order), text of N bytes (NUL-terminated, cut to N-1),
 * raw block of N bytes, and tables. A table has its own ids: the entry count
 * (an int), get entry n (1-based n in the buffer's first byte before the
 * call), add, delete (matched by content) and delete-all. */
#ifndef VESPIN_APMIB_H
#define VESPIN_APMIB_H

#include "vespin_export.h"

#ifdef __cplusplus
extern "C" {
#endif

/* apmib_update flags */
#define APMIB_HW_SETTING 1
#define APMIB_DEFAULT_SETTING 2
#define APMIB_CURRENT_SETTING 4

/* The radio (0: 5 GHz "wlan0", 1: 2.4 GHz "wlan1") that per-radio ids address. */
VESPIN_API extern int wlan_idx;
/* The virtual interface (0: the radio's own, 1.. guest interfaces) of per-interface ids. */
VESPIN_API extern int vwlan_idx;

/* Loads the store; non-zero on success. Accessors load it on first use too. */
VESPIN_API int apmib_init(void);
/* Drops what is held in memory and loads the store again; non-zero on success. */
VESPIN_API int apmib_reinit(void);
/* Reads a setting into value (sized by the caller for the id's kind); non-zero on success. */
VESPIN_API int apmib_get(int id, void *value);
/* Reads a setting's factory default; non-zero on success. */
VESPIN_API int apmib_getDef(int id, void *value);
/* Changes a setting in memory (or a table through its add/delete ids); non-zero on success. */
VESPIN_API int apmib_set(int id, void *value);
/* Makes the settings durable: 0 when written, -1 when the file could not be
 * replaced (the old file is then intact). flags: APMIB_*_SETTING bits. */
VESPIN_API int apmib_update(int flags);
/* Remembers wlan_idx and vwlan_idx; apmib_recov_wlanIdx restores them. Both return 1. */
VESPIN_API int apmib_save_wlanIdx(void);
VESPIN_API int apmib_recov_wlanIdx(void);
/* Writes the current settings to their file: 0 or -1. */
VESPIN_API int save_cs_to_file(void);

#ifdef __cplusplus
}
#endif

#endif
