/* Wi-Fi handlers behind the configuration model: the 2.4 GHz mesh switch,
 * the mesh LED schedule, the region of the stored country, and the guest
 * Wi-Fi list.
 *
 * Choices of this platform:
 * - The mesh switch and the LED schedule live in the UCI package
 *   "vespin_wifi": option "band_24g_enabled" of section "mesh" (type
 *   "mesh"; default 1) and options "enabled", "begin_time", "end_time" of
 *   section "led" (type "led"; defaults 0, "22:00", "07:00"). A setter
 *   commits and runs "/bin/vespin_cron.sh restart", which restarts the
 *   radios and installs the schedules.
 * - The guest list: one "multipleap" section of type "item" per entry,
 *   named by its id (1 to 3 letters, digits or '_'), with options "id",
 *   "enabled", "enabled_time", "duration", "security", "smart_connect".
 *   Entry i's bands are virtual interface i + 1 (vwlan_idx; "wlan0-va<i>"
 *   and "wlan1-va<i>") of each radio in the settings store: 1 SSID, 30
 *   password, 25 encryption (with 38, 29, 20, 28 as for a main band), 21
 *   hidden, 22 disabled. An interface is on when its entry and its band are
 *   enabled; interfaces without an entry are switched off. */
#ifndef VESPIN_INTERNAL_WIFI_H
#define VESPIN_INTERNAL_WIFI_H

#include <stdint.h>

#include "config_wifi.h"
#include "vespin_export.h"

#ifdef __cplusplus
extern "C" {
#endif

/* The 2.4 GHz mesh switch into *enabled (0 or 1): 0, or 600001 when UCI
 * cannot be read. */
VESPIN_API int vespin_get_24g_mesh_switch(uint8_t *enabled);
/* Stores the switch and restarts the radios: 0 or 600001. */
VESPIN_API int vespin_set_24g_mesh_switch(int enabled);
/* The LED schedule: 0, or 600001. */
VESPIN_API int vespin_mesh_led_time_limit_get(mesh_led_time_limit *config);
/* Stores the schedule and restarts the scheduler: 0, 600001, or 100208 for
 * a time holding anything but digits and ':' (it would reach the
 * scheduler's table). */
VESPIN_API int vespin_mesh_led_time_limit_set(const mesh_led_time_limit *config);
/* The region id of the stored country (setting 451 of radio 0, else radio
 * 1) through get_region_id: 0, 600002 when neither reads, 600001 for an
 * unknown country. */
VESPIN_API int vespin_get_region_id(uint32_t *region_id);

/* Loads the guest list: entries from "multipleap" (at most GUEST_WIFI_MAX),
 * bands from their virtual interfaces; channel from the radio's own
 * interface; remaining_duration = enabled_time + duration - now (at least
 * 0) for an enabled entry with a limited duration, the duration otherwise.
 * 0, 600001 (UCI), 600002 (settings). */
VESPIN_API int guest_wifi_config_load(guest_wifi_config *list);
/* Replaces the "multipleap" items with the list (an enabled entry without
 * an enabled_time keeps the stored one when it was enabled already, else
 * gets the current time), writes every guest interface,
 * flushes the settings and runs "/bin/vespin_cron.sh restart". 0, 100208
 * (a bad id or count; nothing written), 600001 (UCI), 600002 (settings). */
VESPIN_API int config_guest_wifi(const guest_wifi_config *list);

#ifdef __cplusplus
}
#endif

#endif
