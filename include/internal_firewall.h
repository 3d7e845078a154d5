/* The WAN-side protections: the driver's denial-of-service guard, one DMZ
 * host and the port-forwarding table (at most 20 rules). Each setter stores
 * its setting and applies it at once: writes to "/proc/enable_dos",
 * "/proc/hw_nat" and "/proc/fast_nat", and iptables lines in the chains
 * "vespin_nat_dmz", "vespin_filter_dmz", "vespin_nat_port_fw" and
 * "vespin_filter_port_fw" (made by the firewall start-up). Every iptables
 * line ends in "> /dev/null 2> /dev/null" and its status is ignored.
 *
 * Safety: iptables lines hold only values that were parsed and printed
 * again: addresses in dotted form from their 32-bit value, ports as numbers
 * and the WAN interface from a fixed list. Rule names never reach a command.
 *
 * The rules go out on the WAN interface: "ppp1", "tun0" or "ppp0" with WAN
 * type 3 (PPP), and "ppp0", "tun0" or "eth1" otherwise, by the VPN state.
 * When that interface has no IPv4 address, rules are stored but not applied. */
#ifndef VESPIN_INTERNAL_FIREWALL_H
#define VESPIN_INTERNAL_FIREWALL_H

#include <stdint.h>

#include "vespin_export.h"

#ifdef __cplusplus
extern "C" {
#endif

/* The guards set_firewall turns on. */
#define FIREWALL_DOS_GUARDS 8908289 /* 0x87EE01 */

/* The DMZ host. */
typedef struct dmz_config {
    uint8_t enabled;
    char host_ip[16]; /* dotted text */
} dmz_config;

/* Port-forwarding rule as callers see it. */
typedef struct port_fw_entry {
    uint8_t enabled;       /* 1 when the stored flag is positive */
    char ip[16];           /* internal host */
    char remote_ip[16];    /* source restriction, "0.0.0.0" for any */
    uint32_t from_port, to_port;         /* internal range */
    uint32_t ext_from_port, ext_to_port; /* external range */
    uint8_t protocol;      /* 0 both, 1 TCP, 2 UDP */
    char name[23];         /* at most 18 characters */
    int32_t id;            /* 0..99, kept by set_port_fw */
} port_fw_entry;

/* The list port_fw_list fills: `count` rules in `entry_port_fw` (the caller frees it). */
typedef struct port_fw {
    int32_t count;
    port_fw_entry *entry_port_fw;
} port_fw;

/* Port-forwarding rule as the settings store holds it (table 32880, 40
 * bytes, little-endian on the router's MIPS): protocol 1 TCP, 2 UDP, 3
 * both; comment = name followed by the identifier as "%02d". */
typedef struct port_fw_stored {
    uint8_t ip[4];           /* internal address, network order */
    uint16_t from_port;
    uint16_t to_port;
    uint8_t protocol;
    char comment[21];
    uint8_t enabled;
    uint8_t remote_ip[4];    /* network order, 0 for any source */
    uint16_t ext_from_port;  /* at offset 36 */
    uint16_t ext_to_port;
} port_fw_stored;

/* Commands of set_port_fw. */
enum port_fw_command { PORT_FW_ADD = 1, PORT_FW_EDIT = 2, PORT_FW_DELETE = 3 };

/* The guard mask (setting 229) into *out: 0, or 600001 "Fail to get MIB_DOS_ENABLED". */
VESPIN_API int get_firewall(uint32_t *out);
/* Stores 8908289 (enable non-zero) or 0 in setting 229 (600001 "Fail to set
 * MIB_DOS_ENABLED"), then writes "/proc/enable_dos" with br0's address and
 * mask and the mask, mode 0 or (op mode 2) mode 2, and, when "/proc/hw_nat"
 * exists, turns hardware NAT off (guard on) or back to 2 (op mode 1), 3 (op
 * mode 2) or 1. Returns 0. */
VESPIN_API int set_firewall(int enable);
/* The DMZ switch (setting 140) and host (141, as dotted text): 0, or 600001
 * "Fail to get dmz enable state" / "Fail to get dmz host ip". */
VESPIN_API int get_dmz(dmz_config *out);
/* Checks and stores the DMZ, then rebuilds its iptables lines and flushes
 * the fast-NAT cache. An empty or unparsable host returns 0 with nothing
 * stored, whatever `enabled` says. 600706 outside br0's subnet, 600707 br0's
 * own address ("Invalid ip"), 600001 when br0 cannot be read or a store fails. */
VESPIN_API int set_dmz(const dmz_config *config);
/* Reads every stored rule into list (count and a new array; none when the
 * table is empty). 600001 "Fail to get table entry", "Invalid pointer:
 * p_port_fw->entry_port_fw" or "Fail to get MIB_PORTFW_TBL" (the array read
 * so far stays with the list: free it). */
VESPIN_API int port_fw_list(port_fw *list);
/* Checks one rule and stores it: mode 0 adds, 1 and 2 replace (the stored
 * entry at the position set_port_fw is editing, or an equal entry, is
 * deleted and the new one added). Codes in order: 600001 br0 unreadable;
 * mode 0: 600706 "This ip doesn not belong to the current subnet", 600707
 * "Do not set ip to local lan ip"; 100208 for ports outside 1..65535 or a
 * reversed range; mode 0: 600708 "IP address is illegal" for a remote
 * address in the LAN; 100208 "Invalid protocol type"; 100208 "Name is too
 * long" (name and two identifier digits reach 21 characters); mode 0:
 * 200201 "Portfw pool is full" with 20 rules stored (a replacement does not
 * grow the table, so a full table does not refuse it); 600710 an external
 * range that overlaps a rule of a shared protocol for the same sources;
 * 600001 "Fail to delete table entry" when an edit cannot remove the entry
 * it replaces (the rule would be stored twice), "Fail to add table entry". */
VESPIN_API int add_port_fw(int mode, port_fw_entry entry);
/* Adds (a new identifier, the lowest free), edits (the rule with entry's id;
 * 600104 when there is none) or deletes (the rule with entry's id) a rule,
 * commits the settings (flush_apmib(4)) and rebuilds the port-forwarding
 * chains. Codes: those of add_port_fw, 600001 "Fail to get portfw list",
 * "Fail to delete all table", "Fail to add portfw rule", "Unsupported
 * command type", 600001 for a NULL entry.
 * A delete rewrites the table: delete-all, then every other rule again; an
 * edit deletes the old entry before it adds the new one. When either fails
 * part-way the table is left short and nothing is committed (the durable
 * copy still holds every rule). Recovery: the process keeps the rules the
 * table held before the failed call, and the next set_port_fw writes them
 * back (delete-all and re-add) before its own change; apmib_reinit also
 * brings back the durable copy. Identifiers live in a 32-bit map (process-wide, filled from the
 * stored comments on first use); identifiers from 31 up are not tracked. */
VESPIN_API int set_port_fw(int command, const port_fw_entry *entry);

#ifdef __cplusplus
}
#endif

#endif
