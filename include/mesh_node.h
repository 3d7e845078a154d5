/* The three records that travel between the nodes of the mesh:
 *  - mesh_node, what one node reports about itself (identity, addresses,
 *    protocol version, role, state, radio neighbours, stations, load, uptime);
 *  - mbd, the network record the gateway hands to every node (Wi-Fi, guest
 *    Wi-Fi, mesh bands, LED schedule, administrator, time zone, station
 *    blacklist, region and the gateway's boot identity);
 *  - bmd, the node report: a node record and the time its node last took
 *    over a network record.
 * Each is rebuilt from the live system (*_reload), printed as JSON
 * (*_to_json: a new object the caller puts) and read from JSON text
 * (*_load_json). Constructors return the record or its negated code cast to
 * the pointer (vespin_is_error); -600000 when memory runs out. *_free only
 * frees (NULL and error values are ignored).
 *
 * Layout: natural alignment, no packing (the same on the router's 32-bit
 * MIPS, whose 64-bit fields are 8-aligned, and on a 64-bit PC). Text fields
 * hold their longest text and a terminator; every copy into them is cut to
 * fit. Sizes, checked by the tests:
 *   vespin_sta, vespin_guest_sta  72 bytes (ap.h)
 *   mesh_neighbor                 20 bytes
 *   mesh_node                  10432 bytes (name at 108, neighbors at 148,
 *                                     is_gw at 1152, cpu at 1168,
 *                                     stations at 1192, guest_stations at
 *                                     5808, uptime at 10424)
 *   bmd                        10440 bytes (last_mbd_sync_time at 10432)
 *   mbd                         7720 bytes (blacklist at 2059, life_id at 7676)
 * The mesh table (534073 bytes) holds 51 node records: 8 + 10432 for the
 * local node, then 50 entries of 10456 bytes (16-byte key, node, 64-bit
 * time), the count and two words at 533240, and 821 spare bytes. */
#ifndef VESPIN_MESH_NODE_H
#define VESPIN_MESH_NODE_H

#include <stdint.h>

#include "ap.h"
#include "config_admin.h"
#include "config_timezone.h"
#include "config_wifi.h"
#include "new_mesh.h"
#include "result_codes.h"
#include "vespin_export.h"

#ifdef __cplusplus
extern "C" {
#endif

struct json_object;

#define MESH_NODE_NEIGHBOR_MAX 50  /* neighbours a node record holds */
#define MESH_NODE_STATION_MAX 64   /* stations of each kind a node record holds */
#define MBD_BLACKLIST_MAX 100      /* blacklist entries a network record holds */
#define MESH_NODE_RPC_PORT 10010   /* every node built by this library serves here */
#define MESH_NODE_VERSION "1.9.7"  /* the mesh protocol version this library speaks */
#define MESH_NODE_IP_SIZE 16       /* at most 15 characters */
#define MESH_NODE_SN_SIZE 16       /* exactly 15 characters */
#define MESH_NODE_CUSTOMER_ID_SIZE 5 /* exactly 4 characters */
#define MESH_NODE_MAC_SIZE 13      /* 12 hexadecimal digits */
#define MESH_NODE_NAME_SIZE 40     /* at most 39 characters */
#define MESH_NEIGHBOR_MAC_SIZE 16  /* at most 15 characters */
#define MBD_BLACKLIST_NAME_SIZE 40 /* at most 39 characters */
#define MBD_LIFE_ID_SIZE 37        /* at most 36 characters (a UUID) */

/* A mesh peer one of the node's radios hears. */
typedef struct mesh_neighbor {
    char mac[MESH_NEIGHBOR_MAC_SIZE];
    int32_t rssi;
} mesh_neighbor;

/* JSON: {"protocol_version": 1, "ip", "sn", "customer_id", "rpc_port",
 * "state", "macs": {"wlan0", "wlan1", "eth0", "eth1"}, "is_gw", "version"
 * (text), "name", "neighbors": [{"mac", "rssi"}], "stations",
 * "guest_stations", "system_info": {"cpu", "mem": {"used", "total"}},
 * "uptime"}, in this order. */
typedef struct mesh_node {
    char ip[MESH_NODE_IP_SIZE];                   /* address of "br0" */
    char sn[MESH_NODE_SN_SIZE];
    char customer_id[MESH_NODE_CUSTOMER_ID_SIZE]; /* "0001" when the sender predates it */
    char mac_wlan0[MESH_NODE_MAC_SIZE];
    char mac_wlan1[MESH_NODE_MAC_SIZE];
    char mac_eth0[MESH_NODE_MAC_SIZE];
    char mac_eth1[MESH_NODE_MAC_SIZE];
    version version;                              /* mesh protocol version */
    char name[MESH_NODE_NAME_SIZE];               /* device name, not empty */
    mesh_neighbor neighbors[MESH_NODE_NEIGHBOR_MAX];
    int32_t neighbor_count;
    uint8_t is_gw;                                /* 1: the gateway (work mode 1) */
    int32_t rpc_port;
    int32_t state;                                /* node state, 0 to 6 */
    double cpu;                                   /* processor load, percent */
    int64_t mem_total;
    int64_t mem_used;
    vespin_sta stations[MESH_NODE_STATION_MAX];
    int32_t station_count;
    vespin_guest_sta guest_stations[MESH_NODE_STATION_MAX];
    int32_t guest_station_count;
    int64_t uptime;                               /* seconds since boot */
} mesh_node;

/* A station barred from the Wi-Fi of the whole mesh. */
typedef struct mbd_blacklist_entry {
    char mac[MESH_NEIGHBOR_MAC_SIZE];
    char name[MBD_BLACKLIST_NAME_SIZE];
} mbd_blacklist_entry;

/* The network record. JSON keys in order: "wifi", "admin", "mesh_band",
 * "led_time_limit", "timezone", "guest_wifis", "blacklist": [{"mac",
 * "name"}], "region_id", "life_id"; reload_time is not serialised. */
typedef struct mbd {
    wifi_config wifi;
    admin_config admin;
    timezone_config timezone;
    guest_wifi_config guest_wifis;
    mesh_band_config mesh_band;
    mesh_led_time_limit led_time_limit;
    mbd_blacklist_entry blacklist[MBD_BLACKLIST_MAX];
    int32_t blacklist_count;
    int64_t reload_time;                          /* seconds since the epoch (a 64-bit time_t) */
    int32_t region_id;
    char life_id[MBD_LIFE_ID_SIZE];               /* the gateway's boot identity */
} mbd;

/* The node report. JSON: {"meta": {"last_mbd_sync_time"}, "node": {...}}. */
typedef struct bmd {
    mesh_node node;
    int64_t last_mbd_sync_time;                   /* seconds since the epoch */
} bmd;

/* Zeroed record filled by mesh_node_reload; on failure freed and the
 * negated code returned. */
VESPIN_API mesh_node *mesh_node_new(void);
/* Zeroed record filled by mesh_node_load_json; on failure freed and the
 * negated code returned. */
VESPIN_API mesh_node *mesh_node_new_from_json(const char *text);
/* Zeroes the record and fills it from the live system: serial number and
 * customer id (their codes), the address of "br0" ("Fail to get ip of br0",
 * 600001), the MACs of "wlan0" and "wlan1" ("Fail to get mac of wlan0" /
 * "wlan1", 600001) and of "eth0" and "eth1" (a failure only logged), the
 * device name (its code), then for radio 0 and radio 1 the mesh switch
 * (setting 644 of that radio; unreadable: "Fail to get MIB", 600002) and,
 * when it is on, the driver's peer list "/proc/wlan%d/mesh_assoc_mpinfo"
 * ("Fail to open: %s" when missing, and the next radio is read): at most 50
 * neighbours over both radios. Then rpc_port 10010, version "1.9.7", is_gw
 * (work mode 1), the local node state (mesh_node_state_get), load, uptime
 * and the stations of both kinds, each cut to 64 (a station file that cannot
 * be parsed leaves its kind empty; no memory for the scratch list: 600000).
 * 0 or the first failure's code. The platform's radio index (wlan_idx) is
 * left on radio 1, as the firmware always left it. */
VESPIN_API int mesh_node_reload(mesh_node *node);
/* Reads a node record from JSON text. The record is zeroed first (when the
 * text is JSON), so that what the text leaves out reads as 0. Checks, in
 * this order, each logging its message and giving 600005 unless said:
 *   not JSON: "Invalid json: %s";
 *   "ip" a string of 1 to 15 characters ("Missing ip"); "sn" of exactly 15
 *   ("Missing sn");
 *   "protocol_version" absent: customer_id "0001"; not an integer: 100208;
 *   1 or more: "customer_id" a string of 4 ("Missing customer id"); below 1:
 *   customer_id empty;
 *   "name" a non-empty string, 39 characters kept ("Missing name"); "is_gw"
 *   a boolean; "rpc_port", "state" integers ("Missing is_gw", ...);
 *   "macs" an object; "wlan0" 12 characters, "wlan1" and "eth0" as long as
 *   "wlan0", "eth1" 12 ("Missing macs.wlan0", ...);
 *   "version" a string ("Invalid version") that parses (version_from_string's
 *   code after "Wrong version: `%s`");
 *   "neighbors" an array ("Missing neighbors") of objects ("Invalid
 *   neighbor") with a string "mac" (15 kept) and an integer "rssi"
 *   ("Missing neighbors[%d].mac" / ".rssi"); beyond 50 elements cut;
 *   "stations" an array ("Missing stations") of objects ("Invalid station")
 *   read by vespin_sta_update_from_json_object (its 100209); beyond 64 cut;
 *   "guest_stations" optional: not an array 100208 ("Invalid type of guest
 *   stations"), a null or non-object element 100200; beyond 64 cut;
 *   "system_info" ("cpu", "mem"."used", "mem"."total") and "uptime"
 *   optional, absent values 0.
 * Text lengths count to the first NUL, as the record stores them. The record
 * keeps what was read before a failure. */
VESPIN_API int mesh_node_load_json(mesh_node *node, const char *text);
/* New JSON object (NULL for a NULL record); "protocol_version" is always 1. */
VESPIN_API struct json_object *mesh_node_to_json(const mesh_node *node);
VESPIN_API void mesh_node_free(mesh_node *node);

/* Zeroed network record filled by mbd_reload, or the negated code. */
VESPIN_API mbd *mbd_new(void);
/* Zeroed network record filled by mbd_load_json, or the negated code. */
VESPIN_API mbd *mbd_new_from_json(const char *text);
/* Rebuilds the network record: the life identity (below); then, on the
 * zeroed record, the Wi-Fi, administrator, time-zone, guest Wi-Fi and
 * mesh-band configuration (the first failure's code), "2.4g: %d" logged
 * (information), the LED schedule (a failure leaves it zero: it is not one
 * of the stopping readers), the region ("Fail to get region id", its code),
 * the station blacklist ("Fail to list blacklist", its code; at most 100
 * entries kept, mac cut to 15 and name to 39 characters), the life identity
 * and the reload time. 0 or a code.
 * Life identity: one text per process, read from "/tmp/life_id" on first
 * need; when the file is missing (or holds no word) it is created with one
 * word read from "/proc/sys/kernel/random/uuid". "Can't open /tmp/life_id"
 * (it cannot be created), or "Fail to read uuid" and "Fail to get uuid":
 * 600001. The file lies in the temporary file system: a new boot, a new
 * identity. */
VESPIN_API int mbd_reload(mbd *record);
/* Reads a network record from JSON text. Not a JSON object: "Fail to parse
 * json: `%s`", 600005. The record is zeroed, the local Wi-Fi configuration
 * loaded and "wifi" applied on top (keys the sender leaves out keep the local
 * values; a "wifi" that changes nothing is no failure); then, each when
 * present, "guest_wifis", "mesh_band", "led_time_limit"; then "admin" and
 * "timezone" always, through their readers (config_admin.h,
 * config_timezone.h), which refuse an absent one (100209) or one without
 * any known key (600100). A reader's failure logs "Fail to parse json:
 * `%s`" and returns its code. "blacklist" when present: an array ("Invalid
 * type of blacklist") of objects with a string "mac" (15 kept) and a string
 * "name" shorter than 40 ("Invalid blacklist"), beyond 100 cut; "region_id"
 * an integer, "life_id" a string (36 kept); each failure 600005. */
VESPIN_API int mbd_load_json(mbd *record, const char *text);
/* New JSON object (NULL for a NULL record). */
VESPIN_API struct json_object *mbd_to_json(const mbd *record);
VESPIN_API void mbd_free(mbd *record);

/* Zeroed node report filled by bmd_reload, or the negated code. */
VESPIN_API bmd *bmd_new(void);
/* Zeroed node report filled by bmd_load_json, or the negated code. */
VESPIN_API bmd *bmd_new_from_json(const char *text);
/* Rebuilds the node part (mesh_node_reload); last_mbd_sync_time stays. */
VESPIN_API int bmd_reload(bmd *report);
/* Reads {"meta": {"last_mbd_sync_time"}, "node"}: "Missing meta", "Missing
 * meta.last_mbd_sync_time" (an integer, read as 64 bits), "Missing node"
 * (600005), or the node reader's code (mesh_node_load_json) followed by
 * "Missing node". The node object is read as it stands rather than printed
 * and parsed again: the values read are the same. */
VESPIN_API int bmd_load_json(bmd *report, const char *text);
/* New JSON object; the sync time is written as a 32-bit integer. */
VESPIN_API struct json_object *bmd_to_json(const bmd *report);
VESPIN_API void bmd_free(bmd *report);

#ifdef __cplusplus
}
#endif

#endif
