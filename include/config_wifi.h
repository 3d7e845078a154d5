/* Wi-Fi settings of the two radios (index 0: 5 GHz "wlan0", 1: 2.4 GHz
 * "wlan1"), the guest Wi-Fi list, the mesh band switches and the mesh LED
 * time limit: records, JSON forms, loading and applying.
 *
 * Storage: per-radio settings in the settings store (1 SSID, 30 password,
 * 25 encryption, 21 hidden, 22 disabled, 2 channel, 284 bandwidth, 451
 * country, 204 regulatory domain; 20, 28, 29, 38 the key management and
 * cipher words that follow from the encryption); automatic channel
 * selection (ACS) and smart connect in the UCI package "vespin_wifi":
 * sections "2g" and "5g" (type "local") and "global".
 *
 * Text input: SSIDs longer than 32 characters or holding control bytes, and
 * passwords longer than 64 characters or holding bytes outside 0x20-0x7E,
 * are refused with 100208 by every parser (none of them reaches a shell).
 * Texts of the records may fill their field without a terminator only where
 * said (the LED times); every reader bounds them. */
#ifndef VESPIN_CONFIG_WIFI_H
#define VESPIN_CONFIG_WIFI_H

#include <stdint.h>

#include "vespin_export.h"

#ifdef __cplusplus
extern "C" {
#endif

struct json_object;

#define WIFI_SSID_SIZE 33
#define WIFI_PASSWORD_SIZE 65
/* Guest networks: virtual interfaces 1 to 4 of each radio. */
#define GUEST_WIFI_MAX 4

/* Encryption numbers (setting 25). */
#define WIFI_ENCRYPT_OPEN 0
#define WIFI_ENCRYPT_WEP 1
#define WIFI_ENCRYPT_WPA 2
#define WIFI_ENCRYPT_WPA2 4
#define WIFI_ENCRYPT_WPA_WPA2 6
/* Band modes (not stored; 0 on load). */
#define WIFI_MODE_AP 0
#define WIFI_MODE_APMESH 4
#define WIFI_MODE_MESH 5

/* Automatic channel selection of one band. */
typedef struct acs {
    uint8_t enabled;
    uint8_t on_reboot;      /* switch channel only at reboot */
    char begin_time[16];    /* "HH:MM" */
    char end_time[16];
    int32_t interval;       /* scan interval */
    int32_t traffic_threshold;
} acs;

/* One radio (also the layout of a guest network's band). */
typedef struct band {
    char ssid[WIFI_SSID_SIZE];
    char password[WIFI_PASSWORD_SIZE];
    uint32_t encrypt;
    uint32_t disabled;  /* guest bands keep "enabled" here as it stands (see json_to_guest_wifi) */
    uint32_t hidden;
    uint32_t mode;
    uint32_t channel;   /* 0 when none */
    int32_t bandwidth;  /* 0: 20 MHz, 1: 40 MHz, 2: 80 MHz */
    acs acs;
} band;

typedef struct wifi_config {
    char ssid[WIFI_SSID_SIZE];  /* the 2.4 GHz band's, filled by the load only */
    uint32_t encrypt_type;
    char password[64];
    uint32_t hidden;
    band band_24g;
    band band_5g;
    uint8_t smart_connect;      /* one SSID for both bands */
} wifi_config;

typedef struct guest_wifi {
    char id[4];
    uint8_t enabled;
    int32_t enabled_time;        /* output only: set when the entry is applied enabled */
    int32_t duration;            /* -1: unlimited */
    int32_t remaining_duration;
    uint8_t security;
    band band_24g;               /* ssid, password, encrypt, the fourth word, hidden, mode, channel */
    band band_5g;
    uint8_t smart_connect;
} guest_wifi;

typedef struct guest_wifi_config {
    uint32_t count;
    guest_wifi entries[GUEST_WIFI_MAX];
} guest_wifi_config;

typedef struct mesh_band_config {
    uint8_t enabled_24g;  /* JSON "24g_enabled" */
    uint8_t enabled_5g;   /* JSON "5g_enabled" */
} mesh_band_config;

/* The LED schedule. The times hold up to 8 characters: 8 fill the field
 * without a terminator. */
typedef struct mesh_led_time_limit {
    uint8_t enabled;
    char begin_time[8];
    char end_time[8];
} mesh_led_time_limit;

/* Smart connect ("vespin_wifi.global.smart_connect"), both bands' ACS, then
 * settings 1, 25, 30, 21, 22, 2, 284 of radio 0 into band_5g and radio 1
 * into band_24g (mode 0), and the 2.4 GHz summary fields. 0, or 600002 when
 * a setting cannot be read. When smart connect cannot be read ("Fail to get
 * the value of smart_connect") or an ACS ("Fail to get 2.4G acs", "Fail to
 * get 5G acs"), it returns 0 with the rest unloaded: a deliberate quirk. */
VESPIN_API int wifi_config_load(wifi_config *config);
/* {"ssid", "password", "hidden", "encrypt_type" (from the 2.4 GHz band),
 * "bands": {"2.4G", "5G"}, "smart_connect"}; new object. */
VESPIN_API struct json_object *wifi_config_to_json(const wifi_config *config);
/* {"ssid", "password", "encrypt" (left out for unknown numbers), "enabled",
 * "hidden", "mode" (left out for unknown), "channel": {"mode": "auto" or
 * "manual", "number", "bandwidth": 20/40/80 (0 with "Incorrect channel
 * bandwidth from MIB: %d" for anything else), "acs"}}; new object. */
VESPIN_API struct json_object *band_to_json(const band *band);
/* {"switch_strategy": "on_reboot"} or {"switch_strategy": "in_time",
 * "begin_time", "end_time"}, then "interval", "traffic_threshold". */
VESPIN_API struct json_object *acs_to_json(const acs *acs);

/* Reads the ACS of section "2g" (band_24g non-zero) or "5g". A missing
 * option is set to its default and written back ("local" section, 0, 0,
 * "00:00", "23:59", 60, 1000000); any other failure logs "Fail to get the
 * value of %s <option>", reverts and returns the code. Commits
 * "vespin_wifi" at the end. 0, 600001 (no context, a failed write or
 * commit) or the UCI code. */
VESPIN_API int get_acs(acs *acs, int band_24g);
/* Sets the six options and commits; a failure logs "Fail to set the value
 * of %s <option>", reverts and returns 600001. */
VESPIN_API int set_acs(const acs *acs, int band_24g);

/* Updates from a Wi-Fi JSON object: "smart_connect", "ssid" (the 5 GHz SSID
 * gets "-5G" appended unless smart connect is on), "encrypt_type" (both
 * bands; this key alone counts as no change), "password", "hidden",
 * "bands" ("2.4G", "5G" through json_to_band, "disable_2g", "disable_5g").
 * A wrong type gives 100208 at once (earlier fields stay set); an encrypted
 * band whose password is not 8 to 63 characters gives 100208. 0 when
 * something was changed, else 600100 (also after an encrypt_type-only
 * update, which did change both bands: a deliberate quirk). */
VESPIN_API int wifi_update_from_json(wifi_config *config, struct json_object *object);
/* The band parser: "ssid", "password", "encrypt" (a name; an unknown name
 * leaves the value; absent sets WPA2), "enabled" (stored negated in
 * disabled), "hidden", "mode", "channel" ("mode" "auto" switches ACS on;
 * "acs" must hold "switch_strategy" and "traffic_threshold"; "number";
 * "bandwidth" 20/40/80, else "Unknown bandwidth" logged and the field
 * kept). 0 or 100208. */
VESPIN_API int json_to_band(band *band, struct json_object *object);
/* Applies the record: smart connect copies the 2.4 GHz texts and switches
 * to the 5 GHz band; smart connect and both ACS go to UCI ("Fail to set
 * smart_connect to uci", "Fail to get 2.4g acs", "Fail to get 5g acs"; the
 * pending changes are reverted); the country (setting 451 of radio 0, else
 * radio 1; when neither reads, "Fail to get country string" and 0) gives
 * the region ("Fail to get region id", 600001); a band with ACS gets the
 * best channel of a fresh survey; both bands are applied
 * (vespin_set_wifi_idx: "Fail to set band_5g", "Fail to set band_24g ", the
 * latter with its trailing blank); then "/bin/vespin_cron.sh restart".
 * Every failure path ends by logging "Fail to set band_24g " once more.
 * 0, 600001, 600002 or a UCI code. The settings are not flushed for the
 * current configuration: callers flush with flush_apmib. */
VESPIN_API int config_wifi(wifi_config *config);
/* Writes one band to a radio (virtual interface 0): 25, then when
 * encrypted 38 (3 for WPA/WPA2 else 2), 29 (3 or 1), 20 = 2, 28 = 2; then
 * 30, 1, 21, 22 (a failed 22 is not logged). Stops with 0 when the country
 * (451) cannot be read. 284; the channel must be valid in the country's
 * region ("Unsupported channel", 600001; channel 0 included); 2; the
 * regulatory domain of this band, when not 0, goes to 204 and the settings
 * are flushed (flush_apmib(1)). A failed set logs "Fail to set mib": 600002. */
VESPIN_API int vespin_set_wifi_idx(const band *band, int radio);

/* Strict guest parser: "id" (string, cut to 3 characters), "enabled"
 * (boolean), "duration" (integer), "security" (an integer read as a
 * boolean), "bands" with "2.4G" and "5G" through json_to_band, and
 * "smart_connect": the first failure returns json_object_check's code
 * (100200 missing, 100208 wrong type). json_to_band stores the negation of a
 * band's "enabled", which guest_band_to_json prints as it stands, so a
 * strictly parsed entry prints back with each band's "enabled" inverted: a
 * deliberate quirk. */
VESPIN_API int json_to_guest_wifi(guest_wifi *entry, struct json_object *object);
/* Lenient guest parser: "id" required (string); "enabled", "duration",
 * "remaining_duration", "security" (boolean), "bands" (guest bands:
 * "ssid", "password", "encrypt" without default, "enabled" as it stands,
 * "hidden", "mode") and "smart_connect" when present. 0, 100200 or 100208. */
VESPIN_API int json_to_guest_wifi_option(guest_wifi *entry, struct json_object *object);
/* NULL: 100200; not an array: 100208; more than GUEST_WIFI_MAX elements:
 * 100208 (the list cannot hold them; nothing changed). Otherwise the count
 * becomes the length and each element (an object, else 100208) is parsed
 * leniently into the entry of its index; the first failure is returned. */
VESPIN_API int guest_wifi_config_update_from_json_object(guest_wifi_config *list, struct json_object *array);
/* {"id", "enabled_time", "duration", "remaining_duration", "security",
 * "enabled", "bands": {"2.4G", "5G"}, "smart_connect"}. With hide set, an
 * entry with remaining_duration below 61 and a duration other than -1 shows
 * "enabled": false. */
VESPIN_API struct json_object *guest_wifi_to_json(const guest_wifi *entry, int hide);
/* The first count entries (at most GUEST_WIFI_MAX) as a JSON array. */
VESPIN_API struct json_object *guest_wifi_to_json_array(const guest_wifi_config *list, int hide);
/* {"ssid", "password", "encrypt", "enabled" (the fourth word as it stands),
 * "hidden", "mode", "channel": {"mode": "manual", "number"}}. */
VESPIN_API struct json_object *guest_band_to_json(const band *band);

/* 5 GHz on; 2.4 GHz from vespin_get_24g_mesh_switch, whose result it returns. */
VESPIN_API int mesh_band_config_load(mesh_band_config *config);
VESPIN_API struct json_object *mesh_band_config_to_json(const mesh_band_config *config);
/* "24g_enabled", "5g_enabled": each optional, a non-boolean 100208 (also a
 * non-object). */
VESPIN_API int mesh_band_config_update_from_json_object(mesh_band_config *config, struct json_object *object);

/* = vespin_mesh_led_time_limit_get. */
VESPIN_API int mesh_led_time_limit_load(mesh_led_time_limit *config);
/* {"enabled", "begin_time", "end_time"}. */
VESPIN_API struct json_object *mesh_led_time_limit_to_json(const mesh_led_time_limit *config);
/* NULL object, a missing or non-boolean "enabled", a missing or non-string
 * "begin_time" or "end_time": 600001. Times keep their first 8 characters. */
VESPIN_API int mesh_led_time_limit_update_from_json_object(mesh_led_time_limit *config, struct json_object *object);

#ifdef __cplusplus
}
#endif

#endif
