/* Station records: the Wi-Fi clients associated with this node, one record
 * kind for the main networks and one for the guest networks, loaded from the
 * driver's station files ("/proc/wlan%d/sta_info", "/proc/wlan%d-va%d/sta_info")
 * and converted to and from JSON. The records are plain values; arrays of
 * them belong to the caller.
 *
 * Layout (natural alignment, the same on the 32-bit router and a 64-bit PC):
 * both records are 72 bytes; mac at 0, band at 16, onlinetime at 24,
 * tx_bytes at 48, negotiation_rate at 64. The main record's rssi sits at 56
 * followed by 4 bytes of padding; in the guest record guest_ap_id takes 56
 * and rssi the 4 bytes at 60. */
#ifndef VESPIN_AP_H
#define VESPIN_AP_H

#include <stdint.h>

#include "vespin_export.h"

#ifdef __cplusplus
extern "C" {
#endif

struct json_object;

/* Room of a station's MAC text: 12 digits on the wire, at most 15 kept. */
#define VESPIN_STA_MAC_SIZE 16
/* Records one station file yields at most. */
#define VESPIN_STA_FILE_MAX 64

/* One client of the main Wi-Fi. JSON keys in field order: "mac", "band",
 * "onlinetime", "rtspeedup", "rtspeeddown", "rx_bytes", "tx_bytes", "rssi",
 * "negotiation_rate". */
typedef struct vespin_sta {
    char mac[VESPIN_STA_MAC_SIZE]; /* 12 lower-case hex digits, no separators */
    int32_t band;                  /* radio index: 0 "wlan0" (5 GHz), 1 "wlan1" (2.4 GHz) */
    int64_t onlinetime;            /* seconds associated */
    int32_t rtspeedup;             /* the driver's first average rate */
    int32_t rtspeeddown;           /* the driver's second average rate */
    int64_t rx_bytes;              /* the driver's first byte counter */
    int64_t tx_bytes;              /* the driver's second byte counter */
    int32_t rssi;                  /* driver value minus 100 */
    int64_t negotiation_rate;      /* current transmit rate, bits per second */
} vespin_sta;

/* One client of a guest Wi-Fi: the same fields, with "guest_ap_id" after
 * "tx_bytes". */
typedef struct vespin_guest_sta {
    char mac[VESPIN_STA_MAC_SIZE];
    int32_t band;
    int64_t onlinetime;
    int32_t rtspeedup;
    int32_t rtspeeddown;
    int64_t rx_bytes;
    int64_t tx_bytes;
    int32_t guest_ap_id;           /* 1 to 4: guest interface va0 to va3 */
    int32_t rssi;
    int64_t negotiation_rate;
} vespin_guest_sta;

/* Loads the stations of "/proc/wlan0/sta_info", then "/proc/wlan1/sta_info"
 * (band 0, then 1) into stations and writes their number to *count. The
 * array must hold 2 x VESPIN_STA_FILE_MAX records: the loader has no bound
 * of its own. 0, or 600001 ("Fail to load station info") when a file cannot
 * be parsed: then the count is not written and the records already filled
 * stay. */
VESPIN_API int vespin_sta_load(vespin_sta *stations, int32_t *count);
/* The same for the guest interfaces va0 to va3 of radio 0, then radio 1
 * (8 x VESPIN_STA_FILE_MAX records at most); a missing file is skipped. */
VESPIN_API int vespin_guest_sta_load(vespin_guest_sta *stations, int32_t *count);
/* All nine keys in field order; new object (NULL for a NULL record). */
VESPIN_API struct json_object *vespin_sta_to_json(const vespin_sta *station);
/* All ten keys, "guest_ap_id" after "tx_bytes"; new object. */
VESPIN_API struct json_object *vespin_guest_sta_to_json(const vespin_guest_sta *station);
/* Changes the fields whose keys are present, in field order: "mac" a string
 * (15 characters kept), the others integers. Not an object, or a present key
 * of another type: 100209 at once, the fields changed before it keep their
 * new values. 0 otherwise. */
VESPIN_API int vespin_sta_update_from_json_object(vespin_sta *station, struct json_object *object);
/* The same, with "guest_ap_id". */
VESPIN_API int vespin_guest_sta_update_from_json_object(vespin_guest_sta *station, struct json_object *object);

#ifdef __cplusplus
}
#endif

#endif
