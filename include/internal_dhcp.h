/* The LAN side: the router's LAN address and netmask, the DHCP pool, lease
 * time and local domain (settings 170, 171, 174, 175, 945, 198), and the
 * table of at most 20 static leases (settings 293 and 33062-262441). The
 * DHCP server is restarted elsewhere; nothing here restarts it.
 *
 * Static leases keep an identifier (0-99, the lowest free one first) in the
 * last two characters of their stored comment; the identifiers in use are
 * kept in a 32-bit map per process (identifiers from 31 up are not tracked;
 * at most 20 leases means new ones stay below 20). */
#ifndef VESPIN_INTERNAL_DHCP_H
#define VESPIN_INTERNAL_DHCP_H

#include <stdint.h>

#include "vespin_export.h"

#ifdef __cplusplus
extern "C" {
#endif

#define STATIC_DHCP_MAX 20

/* The DHCP service. */
typedef struct dhcp_service {
    char domain_name[64];
    int32_t lease_time; /* seconds; stored as whole minutes */
    char lan_ip[16];
    char start_ip[16];
    char end_ip[16];
    char netmask[16];   /* "" on set: keep the stored netmask */
    char reserved[2][16]; /* emptied by get_dhcp_server, ignored by set_dhcp_server */
} dhcp_service;

/* One static lease. */
typedef struct static_lease {
    char name[64]; /* at most 50 characters when stored */
    char mac[16];  /* 12 hex digits (lower case when listed) */
    char ip[16];
    int32_t id;
} static_lease;

/* The static lease list: `count` leases in `dev_bond_info` (the caller frees it). */
typedef struct mac_bond_ip {
    int32_t count;
    static_lease *dev_bond_info;
} mac_bond_ip;

/* A static lease as the settings store holds it (table 33062, 64 bytes). */
typedef struct static_lease_stored {
    uint8_t ip[4];  /* network order */
    uint8_t mac[6];
    char comment[53]; /* name followed by the identifier as "%02d" */
    uint8_t enabled;  /* always 1 */
} static_lease_stored;

/* Commands of set_static_dhcp. */
enum static_dhcp_command { STATIC_DHCP_ADD = 1, STATIC_DHCP_EDIT = 2, STATIC_DHCP_DELETE = 3 };

/* Fills the record from the store (lease time x 60, spare fields empty).
 * 600001 for NULL or a failed read, logged in the setter's words ("Fail to
 * set MIB_IP_ADDR" ...), deliberately. */
VESPIN_API int get_dhcp_server(dhcp_service *service);
/* Checks and stores the LAN and the pool; nothing is committed. Codes:
 * 600001 NULL record or a failed store; 100208 "Invalid pointer:
 * p_dhcp_service->lan_info.lan_ip" when the LAN address, pool start or end
 * is empty or not a dotted address; 600709 when a static lease, moved into
 * the new network (the new LAN address up to its last '.', then the lease's
 * last octet), would fall outside the new pool (leases are only tested, not
 * rewritten), or when the pool leaves the LAN subnet; 600708 "Lan ip cannot
 * be the same as wan ip" when the WAN's live address and mask name the same
 * network (not tested when the WAN has no address, or in operating mode 1
 * where there is no routed WAN). The lease time is stored as seconds / 60. */
VESPIN_API int set_dhcp_server(const dhcp_service *service);
/* Reads every static lease into list (a new array; none when the table is
 * empty): 0, or 600001 (the array read so far stays with the list). */
VESPIN_API int static_dhcp_list(mac_bond_ip *list);
/* Checks an address (network order) and MAC (6 bytes) for a static lease
 * among `count` stored ones. Mode 0 first refuses an address or MAC that a
 * stored lease has (600705; 600001 "Fail to get mib MIB_DHCPRSVDIP_TBL").
 * Then 600706 outside the LAN subnet, 600707 "Do not set ip to local lan
 * ip", 600709 when its host part is outside the pool's or equals the LAN
 * address's. The LAN comes from lan_net_config_load, else settings 170/171.
 * 600001 for NULL arguments. */
VESPIN_API int check_ip_mac(int mode, const uint32_t *ip, const uint8_t *mac, int count);
/* Stores one lease: mode 0 add, 1 re-add during delete, 2 edit (the stored
 * lease with the same identifier is replaced). Codes: 100208 "Invalid mac"
 * (not 12 hex digits) or "Name is too long" (more than 50 characters: the
 * identifier digits would be cut off); 600001 "Fail to get entry number";
 * mode 0: 200201 "Static dhcp address pool is full" (a replacement does not
 * grow the table, so a full table does not refuse it); modes 0 and 2:
 * 600706 "Invalid ip" outside the LAN, or check_ip_mac's code ("Invalid ip
 * or mac"); 600001 "Fail to add table entry", or when an edit cannot remove
 * the lease it replaces. */
VESPIN_API int static_dhcp_add(int mode, const static_lease *lease);
/* Adds (the lowest free identifier), edits or deletes (by request's id) a
 * static lease, then commits the settings (flush_apmib(4)). Codes: 600001
 * "Invalid pointer: p_mac_bond_ip", "Fail to get static dhcp address list",
 * "Fail to delete all table", "Unsupported command type"; 200201 "The
 * number of static dhcp addresses reaches the limit MAX_DHCP_RSVD_IP_NUM:
 * 20"; 600705 "Ip or mac has been occupied" (edit); 600104 an edit of an
 * unknown identifier; static_dhcp_add's codes.
 * Recovery: when an edit or the delete path (delete-all, then the others
 * again) fails part-way the table is left short and is not committed (the
 * durable copy still holds every lease); the process keeps the leases the
 * table held and the next set_static_dhcp writes them back first. */
VESPIN_API int set_static_dhcp(int command, const static_lease *request);

#ifdef __cplusplus
}
#endif

#endif
