/* The router's IPv4 WAN and LAN settings as records: loaded from the
 * settings store, printed as JSON, and (the WAN) updated from a client's
 * JSON text. Writing the WAN back is config_wan's (vespin_core.h).
 *
 * Settings read: 101-103 static WAN address, mask, gateway; 104 WAN mode (0
 * static, 1 DHCP, 3 PPPoE); 105 DNS mode (0 automatic); 106/107 PPPoE user
 * and password; 170-172 LAN address, mask, gateway; 173 LAN DHCP mode (0
 * disabled, 1 client, 2 server); 174/175 DHCP pool; 176-178 DNS servers; 198
 * DHCP domain; 945 lease minutes. */
#ifndef VESPIN_CONFIG_WAN_H
#define VESPIN_CONFIG_WAN_H

#include <json-c/json.h>

#include "config_json.h"
#include "config_vlan.h"
#include "result_codes.h"
#include "status.h"
#include "vespin_export.h"

#ifdef __cplusplus
extern "C" {
#endif

#define WAN_PPPOE_TEXT_SIZE 40 /* PPPoE account and password */
#define WAN_DNS_COUNT 2
#define LAN_DOMAIN_SIZE 40

/* The WAN record. `type` points at one of the library's fixed texts "dhcp",
 * "static", "pppoe", "unknown" (never an owned copy; a zeroed record has
 * NULL, which the update keeps and the JSON prints as "unknown").
 *
 * Its VLAN flag (which of the two tables config_wan applies) is the type
 * itself: a "pppoe" record applies pppoe.vlan, every other type the
 * top-level vlan. The record therefore has no separate flag field. */
typedef struct wan_net_config {
    const char *type;
    struct {
        char account[WAN_PPPOE_TEXT_SIZE];
        char password[WAN_PPPOE_TEXT_SIZE];
        char dns[WAN_DNS_COUNT][NET_INFO_TEXT_SIZE]; /* "" = unset */
        vlan_table vlan;
    } pppoe;
    struct {
        char dns[WAN_DNS_COUNT][NET_INFO_TEXT_SIZE];
    } dhcp;
    struct {
        net_info netinfo;
    } static_; /* "static" in JSON (a C keyword, hence the underscore) */
    vlan_table vlan;
} wan_net_config;

/* The LAN record; `type` is one of "dhcp_server", "dhcp_disabled",
 * "dhcp_client", "unknown". */
typedef struct lan_net_config {
    const char *type;
    char ip_start[NET_INFO_TEXT_SIZE];
    char ip_end[NET_INFO_TEXT_SIZE];
    uint32_t lease; /* seconds (stored in minutes) */
    char domain[LAN_DOMAIN_SIZE];
    struct {
        net_info netinfo;
    } dhcp_server;
    struct {
        net_info netinfo;
    } dhcp_disabled;
} lan_net_config;

/* Fills the WAN record from the store: 0, 600002 when a needed setting
 * cannot be read, or the VLAN loader's code ("Fail to get vlan config").
 * In operating mode 1 the type is "dhcp" and only the VLAN table is read.
 * A static WAN's unreadable field is logged and left empty, by design not
 * reported. DNS servers stored as 0.0.0.0 are empty slots. */
VESPIN_API int wan_net_config_load(wan_net_config *config);
/* New object: "type", the type's object ("pppoe", "static" or "dhcp", the
 * last left out without DNS) and "vlan" when the table prints one. */
VESPIN_API json_object *wan_net_config_to_json(const wan_net_config *config);
/* Updates the record in place from a JSON text (nothing is stored). Codes:
 * 100209 not JSON, 100200 missing or mistyped member, 100208 a PPPoE
 * password with a byte outside 0x20-0x7E, or the VLAN parser's code. The
 * first failure stops; members already applied stay. An absent "type"
 * keeps the current one; the DHCP DNS slots are always cleared first and an
 * absent "vlan" empties the WAN VLAN table. Texts are cut to their fields
 * (39 characters for account and password, 15 for addresses). */
VESPIN_API int wan_net_config_update_from_json(wan_net_config *config, const char *text);
/* Zeroes and fills the LAN record: 0 or 600002. Lease = minutes x 60. */
VESPIN_API int lan_net_config_load(lan_net_config *config);
/* New object: "type" and, for "dhcp_server" / "dhcp_disabled", its object. */
VESPIN_API json_object *lan_net_config_to_json(const lan_net_config *config);
/* Stores the PPPoE user (106) then password (107), without flushing: 0, or
 * 600002 ("Fail to set MIB_PPP_USER_NAME" / "Fail to set MIB_PPP_PASSWORD").
 * Texts are cut to 39 characters; NULL gives 600001. */
VESPIN_API int set_ipv4_pppoe(const char *user, const char *password);

#ifdef __cplusplus
}
#endif

#endif
