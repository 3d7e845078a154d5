/* The mesh maintainer: the one table of mesh nodes that every process on a
 * node shares. It lives in a System V shared-memory segment (key 1024 on the
 * router; an emulated root names its own) and is restored at the first use
 * after a restart from its byte image "/vespin/mesh/mesh_topo". It holds the
 * local node's record, the last reports of up to 50 other nodes keyed by
 * serial number with the local time each arrived, and the beacon flag.
 * The local node's state lives in "/tmp/mesh_node_state".
 *
 * Layout: natural alignment, no packing; the segment and the image are
 * MESH_MAINTAINER_SEGMENT_SIZE (534073) bytes, of which the record below
 * takes the first sizeof(mesh_maintainer) (533256); the rest stays zero. The
 * image is the segment byte for byte, in the host's byte order by design: it
 * is only ever read back by the node that wrote it.
 *
 * Liveness: an entry is valid when its last report is 0 to 60 seconds old; a
 * node in state 3 (upgrading) stays valid until 159 seconds of silence. A
 * negative age (the clock went back) is invalid. Lookups and listings that
 * name validation log "Node(%s: %s) sync timeout" and "... is upgrading" or
 * "... is offline" for entries older than 60 seconds.
 *
 * Concurrency (a departure from the lock-free design): the reserved word
 * after the magic is a sequence lock. A writer (put, delete, rename, state
 * change, cleaning, the rebuilt local record) makes it odd, changes the table
 * and makes it even again, so each change becomes visible at once; the
 * library's own readers of the table (lookups, validation, listings' tests,
 * the image writer, mesh_maintainer_snapshot) retry while it is odd or
 * changed under them, and so never act on a half-copied entry. Writers are
 * serialised by the same word. Records reached through the returned pointers
 * are read without the lock: a process that reads them while another writes
 * uses mesh_maintainer_snapshot. A writer that died mid-change (the word odd
 * and still for two seconds) is taken over. The layout and sizes are unchanged.
 *
 * Node states: 0 none, 1 and 3 upgrading, 5 set here when a node in state 3
 * stays silent for 161 seconds or more, 6 offline (set on entries that fail
 * validation, and on restored entries whose state was 0); 2 and 4 are set by
 * a node's own software. Values of 7 and above are refused. */
#ifndef VESPIN_MESH_MAINTAINER_H
#define VESPIN_MESH_MAINTAINER_H

#include <stdint.h>

#include "mesh_node.h"
#include "result_codes.h"
#include "vespin_export.h"

#ifdef __cplusplus
extern "C" {
#endif

#define MESH_MAINTAINER_MAGIC 1024
#define MESH_MAINTAINER_SEGMENT_SIZE 534073
#define MESH_MAINTAINER_NODE_MAX 50
#define MESH_MAINTAINER_KEY_SIZE 16 /* at most 15 characters */
#define MESH_TOPO_FILE "/vespin/mesh/mesh_topo"
#define MESH_NODE_STATE_FILE "/tmp/mesh_node_state"

#define MESH_NODE_STATE_NONE 0
#define MESH_NODE_STATE_UPGRADING 1
#define MESH_NODE_STATE_UPGRADING_2 3
#define MESH_NODE_STATE_UPGRADE_LOST 5
#define MESH_NODE_STATE_OFFLINE 6
#define MESH_NODE_STATE_LIMIT 7 /* states from here on are refused */

/* One other node: its last report behind its serial number (the shape of a
 * node report with the update time in place of the sync time). */
typedef struct mesh_node_entry {
    char key[MESH_MAINTAINER_KEY_SIZE]; /* serial number */
    mesh_node node;                     /* the last report */
    int64_t updated;                    /* local time it was stored; the low 32 bits are compared */
} mesh_node_entry;

typedef struct mesh_maintainer {
    uint32_t magic;    /* MESH_MAINTAINER_MAGIC once initialised */
    uint32_t sequence; /* the reserved word: the sequence lock (odd while a writer changes the table) */
    mesh_node self;    /* the local node; rebuilt on every topology listing */
    mesh_node_entry entries[MESH_MAINTAINER_NODE_MAX]; /* packed from the start, in order of arrival */
    int32_t count;     /* entries in use, 0 to 50 */
    int32_t reserved;
    int32_t beacon_loaded; /* 1 while candidate discovery has the beacon module loaded */
} mesh_maintainer;

/* The process's mapping of the table, created (0666) and restored on first
 * use: a fresh segment is zeroed, given the magic and filled from the image;
 * then self's is_gw follows the work mode, the beacon flag and self's
 * rpc_port are 0, and every entry's state 0 becomes 6 and its rpc_port 0.
 * An image that cannot be restored is deleted and the table starts empty.
 * -600001 as a pointer when the segment cannot be had ("shmget" printed) or
 * mapped ("Fail to map the share memory"). */
VESPIN_API mesh_maintainer *mesh_maintainer_get_inst(void);
/* Stores a report by its sn: an existing entry is replaced in place (the
 * image is not written); a new one is appended (after cleaning dead entries
 * when 50 are held) and the image saved. 0, or 200201 with "Too many nodes
 * now: %d" when 50 entries remain. */
VESPIN_API int mesh_maintainer_put_node(mesh_maintainer *inst, const mesh_node *node);
/* Removes the first entry with that key (later ones move forward) and saves
 * the image; an unknown sn changes nothing. */
VESPIN_API void mesh_maintainer_delete_node(mesh_maintainer *inst, const char *sn);
/* Removes every entry that fails validation ("Node(%s) is invalid" each). 0. */
VESPIN_API int mesh_maintainer_clean_dead_node(mesh_maintainer *inst);
/* Sets state 6 on every entry that fails validation. */
VESPIN_API void mesh_maintainer_check_node_status(mesh_maintainer *inst);
/* Sets the state of the first entry with that key: 0, or 600005 when none. */
VESPIN_API int mesh_maintainer_set_node_state(mesh_maintainer *inst, const char *sn, int state);
/* Renames the first entry with that key (at most 39 characters kept) and
 * saves the image: 0, or 600005 when none. */
VESPIN_API int mesh_maintainer_set_name(mesh_maintainer *inst, const char *sn, const char *name);
/* The first entry with that key, whatever its state, or NULL. */
VESPIN_API mesh_node_entry *mesh_maintainer_get_node_by_sn(mesh_maintainer *inst, const char *sn);
/* The node record of the first entry with that key when it passes
 * validation, else NULL. */
VESPIN_API mesh_node *mesh_maintainer_get_neighbor_by_sn(mesh_maintainer *inst, const char *sn);
/* The last entry with that key when it passes validation (tested without log
 * lines), else NULL. */
VESPIN_API mesh_node_entry *mesh_maintainer_get_neighbor_by_sn_nodebug(mesh_maintainer *inst, const char *sn);
/* 1 when mac equals the mac of one of the record's neighbours, else 0. */
VESPIN_API int mesh_node_mac_is_neighbor(const mesh_node *node, const char *mac);
/* *nodes gets a new array (free it with free) of pointers to the records of
 * the entries that pass validation, *count their number; an empty table
 * gives NULL and 0. 0, or 600000 when memory runs out. */
VESPIN_API int mesh_maintainer_list_neighbors(mesh_maintainer *inst, mesh_node ***nodes, int *count);
/* Rebuilds self (mesh_node_reload; its failure code is returned) and gives a
 * new array (free it with free): self, then every valid entry's record;
 * *count = 1 + valid entries. 0, the reload's code, or 600000. */
VESPIN_API int mesh_maintainer_network_top(mesh_maintainer *inst, mesh_node ***nodes, int *count);
/* As mesh_maintainer_network_top with every entry, valid or not. */
VESPIN_API int mesh_maintainer_network_top_all(mesh_maintainer *inst, mesh_node ***nodes, int *count);
/* 1 when the local node is upgrading or an entry in state 3 reported less
 * than 161 seconds ago; an entry in state 3 that is older is set to 5 on the
 * way. Else 0. */
VESPIN_API int mesh_maintainer_is_anynode_upgrading(mesh_maintainer *inst);
/* Set the beacon flag to 1 or 0 (both return 0), or return it. */
VESPIN_API int mesh_maintainer_set_beacon_load_flag(mesh_maintainer *inst);
VESPIN_API int mesh_maintainer_clear_beacon_load_flag(mesh_maintainer *inst);
VESPIN_API int mesh_maintainer_is_beacon_loaded(mesh_maintainer *inst);
/* Copies the whole record consistently (retrying while a writer changes it)
 * into copy, which belongs to the caller. 0, or 600001 for a NULL or error
 * argument. An addition of this library for readers in other processes. */
VESPIN_API int mesh_maintainer_snapshot(const mesh_maintainer *inst, mesh_maintainer *copy);

/* Marks dead entries (mesh_maintainer_check_node_status) and writes all
 * 534073 bytes of the table to "/vespin/mesh/mesh_topo" (mode "wb+"):
 * 0, or 600001 when the table cannot be had or the file cannot be written
 * (the system error is printed). */
VESPIN_API int mesh_topo_state_save(void);
/* Fills buffer (534073 bytes) from "/vespin/mesh/mesh_topo" and returns it;
 * NULL when the file is missing, of any other size, or short. */
VESPIN_API void *mesh_topo_state_reload(void *buffer);
/* Does nothing. */
VESPIN_API void mesh_topo_state_debug(void);

/* The local node's state from "/tmp/mesh_node_state" when it was written
 * less than 160 seconds ago; an older file is deleted. 0 otherwise. */
VESPIN_API int mesh_node_state_get(void);
/* Writes the state ("%d", replacing the file): 0; 600005 for 7 and above
 * (compared unsigned, so negative states too); 600001 with "Fail to set node
 * state" when the file cannot be written. The daemon in charge rewrites it
 * at least every 160 seconds for it to stay in force. */
VESPIN_API int mesh_node_state_set(int state);
/* 1 when the local state is 1 or 3, else 0. */
VESPIN_API int mesh_node_state_is_upgrading(void);

#ifdef __cplusplus
}
#endif

#endif
