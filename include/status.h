/* The IPv4 addressing of one interface (net_info): filled from the live
 * system for the LAN, the WAN or the VPN tunnel, converted to and from JSON
 * ("ip", "mask", "gateway", "dns"), and updated from a partial JSON text. */
#ifndef VESPIN_STATUS_H
#define VESPIN_STATUS_H

#include <json-c/json.h>

#include "result_codes.h"
#include "vespin_export.h"

#ifdef __cplusplus
extern "C" {
#endif

#define NET_INFO_TEXT_SIZE 16 /* dotted quad and terminator */
#define NET_INFO_DNS_COUNT 3

typedef struct net_info {
    char ip[NET_INFO_TEXT_SIZE];
    char mask[NET_INFO_TEXT_SIZE];
    char gateway[NET_INFO_TEXT_SIZE];
    char dns[NET_INFO_DNS_COUNT][NET_INFO_TEXT_SIZE]; /* an empty entry ends the list */
} net_info;

/* Fills address and netmask of the interface, the system's default gateway
 * (get_gateway; "0.0.0.0" when it fails) and up to three IPv4 nameservers of
 * "/etc/resolv.conf" (other lines skipped; none: dns[0] empty). Entries not
 * written keep their content: pass a zeroed record. 0, or 600001 when the
 * interface has no address or netmask. */
VESPIN_API int net_info_load(net_info *info, const char *ifname);
/* "br0". */
VESPIN_API int lan_net_info_load(net_info *info);
/* "br0" in operating mode 1 (setting 192), else "ppp0" for a PPPoE WAN
 * (setting 104 = 3), else "eth1"; 600002 when a setting cannot be read. */
VESPIN_API int wan_net_info_load(net_info *info);
/* PPTP/L2TP VPN on: "ppp1" over a PPPoE WAN, else "ppp0"; else OpenVPN on:
 * "tun0"; else 0 with the record untouched. 600002 when the WAN type cannot
 * be read. */
VESPIN_API int vpn_net_info_load(net_info *info);
/* New object with the four keys; "dns" stops at the first empty entry. */
VESPIN_API json_object *net_info_to_json(const net_info *info);
/* Full replacement: "ip", "mask", "gateway" required strings (100200, "Missing
 * ip"...), "dns" optional array of strings of which the first three are
 * taken and later entries cleared. Text that is not JSON: 100200. Fields are
 * copied as they arrive (no rollback). Texts longer than 15 characters are
 * cut to 15 (the fields hold 16 bytes). */
VESPIN_API int net_info_load_from_json(net_info *info, const char *text);
/* Partial update: only the keys present change (same rules and cutting);
 * not JSON: 100209; no key at all: 600100. */
VESPIN_API int net_info_update_from_json(net_info *info, const char *text);

#ifdef __cplusplus
}
#endif

#endif
