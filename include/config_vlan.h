/* The VLAN table (up to 64 802.1Q entries of up to 6 member ports each), the
 * fixed table of router ports, their JSON forms, and the operations that
 * read the table from the settings store, write it back, merge changes into
 * it and set each hardware port's PVID.
 *
 * Router ports (id: name, kind, hardware port of the switch):
 *   0 "wan" wan 3, 1 "eth0" lan 2, 2 "5g" lan 5, 3 "2g" lan 11,
 *   4 "5g_vap1" lan 6, 5 "2g_vap1" lan 12. Hardware ports run 0 to 16.
 *
 * Settings: 3410 LAN hardware-NAT VLAN id, 3411 the 17 PVIDs (16-bit each),
 * 3413 VLAN enable flag, 3414 entry count; table ids 36183 get (1-based
 * index in the entry's first byte), 68952 add, 134489 delete, 265562 delete
 * all, with vlan_mib_entry records.
 *
 * Results are 0 or a code: 600001 bad argument, 600002 settings store,
 * 100200 / 100208 bad JSON. A failing table write leaves the stored table
 * partly rewritten; the caller flushes or reloads the store. */
#ifndef VESPIN_CONFIG_VLAN_H
#define VESPIN_CONFIG_VLAN_H

#include <json-c/json.h>
#include <stdint.h>

#include "result_codes.h"
#include "vespin_export.h"

#ifdef __cplusplus
extern "C" {
#endif

#define ROUTER_PORT_COUNT 6        /* router ports 0-5 */
#define ROUTER_PORT_NAME_SIZE 36   /* at most 32 characters are copied */
#define VLAN_PORTS_MAX 6           /* member ports of one VLAN entry */
#define VLAN_TABLE_MAX 64          /* entries of a VLAN table */
#define VLAN_HW_PORTS 17           /* hardware ports 0-16, one PVID each */
#define VLAN_DEFAULT_PVID 9        /* PVID of a LAN hardware port without VLAN */
#define VLAN_WAN_DEFAULT_PVID 8    /* PVID of hardware port 3 (the WAN port) */

/* VLAN entry types */
#define VLAN_TYPE_NAT 1
#define VLAN_TYPE_HW_NAT 2
#define VLAN_TYPE_BRIDGE 3

typedef struct router_port {
    int32_t id;
    char name[ROUTER_PORT_NAME_SIZE];
    uint32_t is_lan; /* 1 lan, 0 wan */
} router_port;

typedef struct port_table {
    router_port ports[ROUTER_PORT_COUNT];
    int32_t count;
} port_table;

typedef struct vlan_port {
    router_port port;
    uint8_t tagged; /* boolean */
} vlan_port;

typedef struct vlan_config {
    uint32_t enabled;
    int32_t id;       /* VLAN id 1-4095 */
    int32_t priority; /* 802.1p */
    uint32_t type;    /* 1 "NAT", 2 "HW_NAT", 3 "BRIDGE", else "UNKNOW" */
    vlan_port ports[VLAN_PORTS_MAX];
    int32_t port_count;
} vlan_config;

typedef struct vlan_table {
    vlan_config entries[VLAN_TABLE_MAX];
    int32_t count;
} vlan_table;

/* The settings store's 12-byte VLAN entry. The VLAN id is 16 bits in host
 * order at bytes 1-2 (unaligned, hence two bytes: use memcpy). */
typedef struct vlan_mib_entry {
    uint8_t forward_rule; /* 0 NAT, 1 bridge */
    uint8_t vid[2];
    uint8_t priority;
    uint32_t member_mask; /* bit n: hardware port n is a member */
    uint32_t tagged_mask; /* bit n: hardware port n sends tagged */
} vlan_mib_entry;

/* ---- settings store -------------------------------------------------- */

/* Reads the stored table. Each entry takes the global enable flag; its type
 * is 3 in operating mode 1; in mode 0 rule 1 gives 3, rule 0 gives 2 when
 * the id is the hardware-NAT id else 1, other rules 0; in other modes the
 * previous entry's type (0 for the first). Member bits are scanned from 0
 * upward; bits of hardware ports without a router port are skipped. */
VESPIN_API int vlan_table_load(vlan_table *table);
/* Merges the given table (count > 0, else 600001) into the stored one, then
 * deletes all stored entries, adds the merged ones and sets the enable flag.
 * The PVIDs are not reset first. */
VESPIN_API int vlan_table_update(vlan_table *table);
/* Replaces the stored table: delete all, PVIDs to their defaults, add each
 * entry in order (disabled ones are skipped), then the enable flag = any
 * enabled entry. A failure stops at once; what was written stays. */
VESPIN_API int vlan_table_set(vlan_table *table);
/* Merges each new entry into the old table by VLAN id; unknown ids are
 * appended while there is room ("Vlan table is full" stops the merge, 0). */
VESPIN_API int vlan_table_merge(vlan_table *old_table, const vlan_table *new_table);
/* Copies enabled, priority and type, then merges the ports by router id.
 * Deliberately only the router port part is copied: a merged port keeps the
 * stored entry's tagged flag (false for an appended one). */
VESPIN_API int vlan_config_merge(vlan_config *old_entry, const vlan_config *new_entry);
/* Adds one enabled entry to the store and updates its ports' PVIDs; a
 * disabled entry is skipped (0); VLAN id 0 gives 100200. */
VESPIN_API int vlan_config_add(const vlan_config *entry);
/* Finds the stored entry of a VLAN id into *mib_entry: 0 or 600002. */
VESPIN_API int vlan_entry_load(int vid, vlan_mib_entry *mib_entry);
/* Deletes the stored entry of a VLAN id (> 0, else 600001): 0 or 600002. */
VESPIN_API int vlan_entry_delete(int vid);
/* Deletes every stored entry: 0 or 600002. */
VESPIN_API int vlan_delete_all(void);
/* Writes the enable flag (3413); flag 0 also resets the PVIDs. 0 or 600002. */
VESPIN_API int vlan_set_enable(int flag);
/* Disables VLANs, then deletes every entry; the first failure's code. */
VESPIN_API int vlan_all_disable(void);
/* Sets the PVID of each port of an entry of 1 to 5 ports: the VLAN id for an
 * untagged port of an enabled entry with a positive id, else the default.
 * An entry of 6 ports changes nothing (kept as it stands). 0 or 600002. */
VESPIN_API int vlan_pvid_update(const vlan_config *entry);
/* Every PVID to 9, hardware port 3 to 8: 0 or 600002. */
VESPIN_API int vlan_pvid_default(void);
/* Index of the entry with that VLAN id, or -1. */
VESPIN_API int vlan_is_in_vtable(int vid, const vlan_table *table);
/* Index of the router port in the entry, or -1. */
VESPIN_API int port_is_in_vconf(int port_id, const vlan_config *entry);

/* ---- router ports ---------------------------------------------------- */

/* Fills name and kind for ids 0-5; a larger id stores only the id; a
 * negative id or NULL record gives 600001. */
VESPIN_API int router_port_info_get(router_port *port, int id);
/* Fills ports 0-5 in order (count 6): 0 or 600001. */
VESPIN_API int port_table_load(port_table *table);

/* ---- JSON (new objects owned by the caller; NULL on failure) ---------- */
/* Entry JSON: "enabled", "id", "priority", "type" ("NAT", "HW_NAT",
 * "BRIDGE", "UNKNOW"), "is_bridged", "ports" ([{"port": {"id", "name",
 * "type"}, "tagged"}]).
 *
 * Table converters handle only the first entry of a table faithfully (a
 * table sent through JSON holds one entry in practice); this is deliberate.
 * Later entries are dropped: vlan_table_to_json prints at most the first
 * entry, vlan_table_from_json checks later elements but stores only the
 * first accepted one (count 0 or 1), logging "Vlan table keeps its first
 * entry only" for each dropped element. */
VESPIN_API json_object *vlan_table_to_json(const vlan_table *table);
/* NULL for an id <= 0 or a port count outside 1-6. */
VESPIN_API json_object *vlan_config_to_json(const vlan_config *entry);
/* Array of the entry's ports; a port that cannot be converted is skipped. */
VESPIN_API json_object *vlan_ports_to_json(const vlan_config *entry);
/* Name and kind are taken from the port table before printing. */
VESPIN_API json_object *router_port_to_json(const router_port *port);
VESPIN_API json_object *port_table_to_json(const port_table *table);
/* An array (else 100208): entries as above; bad elements are skipped; 0. */
VESPIN_API int vlan_table_from_json(vlan_table *table, json_object *json);
/* Requires "id", "enabled" and a non-empty "ports" (100208); "priority"
 * defaults to 0; "is_bridged" true gives type 3, else 1. */
VESPIN_API int vlan_config_from_json(vlan_config *entry, json_object *json);
/* The "ports" array into the entry; bad elements are skipped; no accepted
 * port gives 100208. */
VESPIN_API int vlan_ports_from_json(vlan_config *entry, json_object *json);
/* A router port object: its optional "id" (integer) selects the port. */
VESPIN_API int router_port_from_json(router_port *port, json_object *json);

#ifdef __cplusplus
}
#endif

#endif
