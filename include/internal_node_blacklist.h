/* The mesh-node blacklist: nodes this mesh refuses to take in, kept in a
 * settings-store table of the system's own, "MIB_VESPIN_NODE_BLACKLIST_TBL":
 * entry count 2460, get entry 35229, add 67998, delete 133535 (by content),
 * delete all 264608; at most 32 entries of 32 bytes (the record below). */
#ifndef VESPIN_INTERNAL_NODE_BLACKLIST_H
#define VESPIN_INTERNAL_NODE_BLACKLIST_H

#include <stdint.h>

#include "vespin_export.h"

#ifdef __cplusplus
extern "C" {
#endif

#define NODE_BLACKLIST_MAX 32

/* One refused node, as stored. */
typedef struct node_blacklist {
    char sn[16];  /* serial number: 1 to 15 letters and digits */
    char mac[16]; /* 12 hex digits, or "" when unknown */
} node_blacklist;

/* Adds a node and commits the settings (flush_apmib(4)). 100208 for a
 * serial number that is not 1-15 letters and digits or a MAC that is
 * neither empty nor 12 hex digits; 600200 when the serial number is listed;
 * 200201 with 32 entries; 600002 when the store fails. */
VESPIN_API int node_blacklist_add(const node_blacklist *node);
/* Removes the node with this serial number and commits: 0, 600104 when it is
 * not listed, 100208 for a NULL text, 600002 when the store fails. */
VESPIN_API int node_blacklist_delete(const char *sn);
/* A new array of the listed nodes in *list (caller frees; NULL when none)
 * and their number in *count: 0, or 600002 (the store fails or memory runs
 * out). */
VESPIN_API int node_blacklist_list(node_blacklist **list, int32_t *count);

#ifdef __cplusplus
}
#endif

#endif
