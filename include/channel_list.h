/* Country to regulatory domain, the channels allowed in each domain on the
 * 2.4 GHz and 5 GHz radios, and the choice of the least crowded channel from
 * a fresh site survey. Countries are ISO 3166-1 numeric ids ("region ids")
 * or two-letter codes; the tables are constant and searched in order. */
#ifndef VESPIN_CHANNEL_LIST_H
#define VESPIN_CHANNEL_LIST_H

#include <stdint.h>

#include "vespin_export.h"

#ifdef __cplusplus
extern "C" {
#endif

/* Countries known to the tables. */
#define VESPIN_REGION_COUNT 101
/* Most channels a domain allows on one band. */
#define VESPIN_MAX_CHANNELS 25

/* Domains of the first row with this region id: 0, or -1 when no row has it
 * or an output is NULL (nothing is then written). */
VESPIN_API int get_regulatory_domain_id(uint32_t region_id, uint32_t *domain_2g, uint32_t *domain_5g);
/* Writes all 101 region ids in table order into out (room for 101 needed);
 * returns 101 (0 for a NULL out). */
VESPIN_API int get_all_region_id(uint32_t *out);
/* Region id of the first row whose code begins with the same two characters
 * (case-sensitive: "US" is 840, "us" is unknown): 0, or -1 when none matches
 * or an argument is NULL. */
VESPIN_API int get_region_id(const char *country_code, uint32_t *region_id);
/* Copies the two letters of the region's code into out WITHOUT a terminator
 * (callers zero the output first): 0, or -1 for an unknown region or NULL out. */
VESPIN_API int get_country(uint32_t region_id, char *out);
/* Copies the region's 2.4 GHz (or 5 GHz) channels, in table order, into out
 * (room for 25 needed); returns their number, or -1 for an unknown region or
 * NULL out. */
VESPIN_API int get_2g_channel_list(uint32_t region_id, uint32_t *out);
VESPIN_API int get_5g_channel_list(uint32_t region_id, uint32_t *out);
/* 1 when the channel is allowed in the region on the 5 GHz band or, failing
 * that, on the 2.4 GHz band; 0 otherwise and for an unknown region. */
VESPIN_API int check_validity_of_channel(uint32_t region_id, int channel);
/* Surveys "wlan1" (radio non-zero, 2.4 GHz) or "wlan0" (radio 0, 5 GHz) and
 * returns the allowed channel with the fewest networks not named own_ssid.
 * Ties go to the later channel when the current second is even. The current
 * channel is kept when its count equals the lowest. Returns 0 when the
 * survey fails ("Fail to scan wlan%d" logged with the radio argument) or no
 * channel qualifies. A NULL own_ssid counts every network as foreign. */
VESPIN_API int select_best_channel(uint32_t region_id, int radio, const char *own_ssid, int current_channel);

#ifdef __cplusplus
}
#endif

#endif
