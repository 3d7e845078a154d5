/* The older mesh code: the node map (serial number to LAN address, radio MACs
 * and mesh port, kept as a text file), the candidate scan and the adding
 * phase of one candidate, and the driver's mesh peer list in full.
 * These functions return errno-style numbers where stated (5: input/output,
 * 12: memory, or their negations) besides the library's result codes. */
#ifndef VESPIN_MESH_H
#define VESPIN_MESH_H

#include <stdint.h>

#include <json-c/json.h>

#include "result_codes.h"
#include "vespin_export.h"

#ifdef __cplusplus
extern "C" {
#endif

#define MESH_NODE_META_TEXT_SIZE 20
/* The node map's file unless a caller names another. */
#define MESH_NODE_MAP_FILE "/tmp/vespin/mesh_nodes"
/* Room mesh_node_map_to_json needs per entry (every text escaped at worst),
 * and for the array around them: give it MESH_NODE_MAP_JSON_SIZE(capacity). */
#define MESH_NODE_MAP_JSON_ENTRY_MAX 640
#define MESH_NODE_MAP_JSON_SIZE(capacity) ((size_t)(capacity) * MESH_NODE_MAP_JSON_ENTRY_MAX + 8)

typedef struct mesh_node_meta {
    char sn[MESH_NODE_META_TEXT_SIZE];
    char ip_lan[MESH_NODE_META_TEXT_SIZE];
    char mac_wlan0[MESH_NODE_META_TEXT_SIZE];
    char mac_wlan1[MESH_NODE_META_TEXT_SIZE];
    int32_t mesh_port;
} mesh_node_meta;

typedef struct mesh_node_map {
    int32_t capacity;         /* at least 1 */
    int32_t count;            /* entries in use, packed from the start */
    mesh_node_meta *entries;  /* capacity entries, zero-filled when unused */
} mesh_node_map;

/* New empty map (free with mesh_node_map_free), or NULL when capacity < 1 or
 * memory runs out. */
VESPIN_API mesh_node_map *mesh_node_map_new(int capacity);
/* Frees the entries and the map; NULL is ignored. */
VESPIN_API void mesh_node_map_free(mesh_node_map *map);
/* New map with one entry per line "%s %s %s %s %d" (sn, ip_lan, mac_wlan0,
 * mac_wlan1, mesh_port) of the file at path (a router path). Lines beyond
 * the capacity are ignored, as are lines that do not hold the five fields;
 * each text keeps at most 19 characters and a line is read up to 255
 * characters (the rest of a longer line is dropped). -5 as a pointer when the
 * file cannot be opened, -12 when the map cannot be made. */
VESPIN_API mesh_node_map *mesh_node_map_new_from_file(int capacity, const char *path);
/* Writes every entry as a line "%s %s %s %s %d\n" to path: 0, or -5 when the
 * file cannot be created or written. */
VESPIN_API int mesh_node_map_to_file(const mesh_node_map *map, const char *path);
/* Writes the JSON array [{"sn", "ip_lan", "mac_wlan0", "mac_wlan1",
 * "mesh_port"}, ...] in entry order into buffer, which must hold
 * MESH_NODE_MAP_JSON_SIZE(map->capacity) bytes. Returns 0. */
VESPIN_API int mesh_node_map_to_json(const mesh_node_map *map, char *buffer);
/* The first entry whose mac_wlan0 or mac_wlan1 equals mac, or NULL. */
VESPIN_API mesh_node_meta *mesh_node_map_get_by_mac(mesh_node_map *map, const char *mac);
/* The first entry whose ip_lan equals ip, or NULL. */
VESPIN_API mesh_node_meta *mesh_node_map_get_by_ip(mesh_node_map *map, const char *ip);
/* 0 when all five fields are equal (or both are NULL), else 1. */
VESPIN_API int mesh_node_meta_cmp(const mesh_node_meta *a, const mesh_node_meta *b);
/* Copies a whole entry; NULL on either side copies nothing. */
VESPIN_API void mesh_node_meta_copy(mesh_node_meta *destination, const mesh_node_meta *source);
/* Stores an entry by its sn. *changed is set to 1 when the map changed (a new
 * entry, or one whose fields differ), else 0. Returns 0, 12 when a new sn
 * does not fit, or 22 for a NULL argument. */
VESPIN_API int mesh_node_map_put(mesh_node_map *map, const mesh_node_meta *meta, int *changed);

/* ---- candidates --------------------------------------------------------- */

#define MESH_CANDIDATE_TEXT_SIZE 16
#define MESH_CANDIDATE_MAX 128

/* A mesh node waiting to join, as the site survey found it. */
typedef struct mesh_candidate {
    char sn[MESH_CANDIDATE_TEXT_SIZE];
    char mac_24g[MESH_CANDIDATE_TEXT_SIZE]; /* 2.4 GHz radio */
    char mac_5g[MESH_CANDIDATE_TEXT_SIZE];  /* 5 GHz radio */
} mesh_candidate;

/* Surveys each enabled radio (setting 22 of radio 1, then 0) three times,
 * one second apart, and returns the joinable mesh nodes of the last survey
 * of each radio (one per sn): *candidates gets a new array of 128 zeroed
 * records (free it with free), *count the number filled. Returns 0, or
 * 600001 when the settings store cannot be started, both radios are
 * disabled or the array cannot be allocated (nothing is then allocated). */
VESPIN_API int mesh_candidate_scan(mesh_candidate **candidates, int *count);
/* New JSON object {"sn": ..., "mac": {"2.4G": ..., "5G": ...}}; the caller puts it. */
VESPIN_API json_object *mesh_candidate_to_json(const mesh_candidate *candidate);
/* Starts the adding phase of one candidate: loads the beacon module for its
 * sn, sets the node table's beacon flag and arms a 2-second alarm (SIGALRM;
 * the phase takes the signal's handler while it runs). Each tick counts
 * until the candidate shows up valid in the node table, is the local node,
 * or 45 ticks (90 s) have passed; then the alarm is cancelled, the signal's
 * default restored, the flag cleared and the module unloaded.
 * Returns 0; 600008 with "Adding node now" while a phase runs; 600001 with
 * "no interface open" when both radios are disabled (or the settings or the
 * node table cannot be read). When the module fails to load, "Fail to init
 * beacon" is logged, the module is stopped and 600001 returned, but the phase
 * starts all the same (deliberately: the flag and the ticks run their course).
 * The tick runs in the signal handler, as the design has it: a daemon that
 * starts a phase must let SIGALRM reach the thread that called this, and the
 * phase's end (which unloads the module through a command) happens there. */
VESPIN_API int mesh_candidate_add(const mesh_candidate *candidate);

/* ---- the driver's peer list --------------------------------------------- */

#define MESH_PEER_TEXT_SIZE 20

/* One mesh peer of the local radios, from "/proc/wlan%d/mesh_assoc_mpinfo",
 * completed from the node map entry whose MAC equals its hwaddr (sn, ip_lan
 * and mesh_port stay empty and 0 without one). */
typedef struct mesh_peer {
    int32_t radio;                       /* radio index it was heard on */
    int32_t state;
    int32_t tx_packets;
    int32_t rx_packets;
    int32_t operating_ch;
    int32_t r;
    int32_t rssi;
    int32_t expire_sec;                  /* the "(Sec): " value */
    char hwaddr[MESH_PEER_TEXT_SIZE];
    char mode[MESH_PEER_TEXT_SIZE];
    char sn[MESH_NODE_META_TEXT_SIZE];
    char ip_lan[MESH_NODE_META_TEXT_SIZE];
    int32_t mesh_port;
} mesh_peer;

/* At most this many peers are kept over both radios. */
#define MESH_PEER_MAX 64

/* Reads every peer of the radios whose mesh switch (setting 644) is on.
 * *peers gets a new array (free it with free) and *count its length; both are
 * NULL and 0 when there is no peer or no node map ("/tmp/vespin/mesh_nodes",
 * capacity 20; its absence logs "Fail to new from file: %s" and returns 0).
 * Returns 0, 600002 when a mesh switch cannot be read, or 12 when the map or
 * the array cannot be made. A radio whose file cannot be opened logs "Fail to open %s"
 * and is passed over. Values beyond 32 bits are cut as strtol yields them;
 * texts keep 19 characters; peers beyond MESH_PEER_MAX are dropped. */
VESPIN_API int mesh_get_neighbors(mesh_peer **peers, int *count);

#ifdef __cplusplus
}
#endif

#endif
