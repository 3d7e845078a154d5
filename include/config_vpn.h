/* VPN profiles: up to five items in the UCI package "vpn" (sections "1" to
 * "5", in use when their option "valid" is true), the global switch and
 * default item ("vpn.globalcfg"), and the tunnel's state as the VPN scripts
 * write it ("vpn.curstat"). Protocols are "pptp", "l2tp" and "openvpn",
 * compared without regard to case. An OpenVPN item's configuration file is
 * uploaded to "/tmp/openvpn.tmp" and moved to
 * "/etc/vespin_config/openvpn/openvpn-<id>.ovpn".
 *
 * Every text field is stored as UCI data and never placed in a command line:
 * quotes, "$(...)", backquotes, ';' and newlines are kept as they are. */
#ifndef VESPIN_CONFIG_VPN_H
#define VESPIN_CONFIG_VPN_H

#include <json-c/json.h>
#include <stdint.h>

#include "result_codes.h"
#include "vespin_export.h"

#ifdef __cplusplus
extern "C" {
#endif

#define VPN_ITEM_MAX 5
#define VPN_OPENVPN_DIR "/etc/vespin_config/openvpn"
#define VPN_OPENVPN_UPLOAD "/tmp/openvpn.tmp"
#define VPN_CONNECT_FILE "/var/run/connectfile.vpn"

/* One VPN profile. Texts are NUL-terminated; a field holds one character
 * fewer than its size. */
typedef struct vpn_item {
    int32_t id;          /* slot number, 1 to 5 */
    char name[33];
    char protocol[17];   /* "pptp", "l2tp" or "openvpn" */
    char server[65];     /* PPTP/L2TP server */
    char username[65];
    char password[65];
    char config[257];    /* OpenVPN: the stored file's path; on input the uploaded file's name */
    int32_t mppe;        /* PPTP: MPPE encryption on (0 or 1) */
    int32_t mppc;        /* PPTP: MPPC compression on (0 or 1) */
} vpn_item;

/* The global VPN settings. */
typedef struct vpn_config {
    int32_t vpnid;   /* default item id ("vpn.globalcfg.vpnid") */
    int32_t enabled; /* "vpn.globalcfg.enabled" */
} vpn_config;

/* The VPN's state. */
typedef struct vpn_status {
    int32_t vpnid;          /* default item id */
    int32_t enabled;
    char status[17];        /* "connected", "connecting", "disconnected", ... */
    int32_t connected_time; /* "vpn.curstat.connected_time" */
    char errcode[9];        /* "vpn.curstat.errcode" */
    char errmsg[65];        /* "vpn.curstat.errmsg" */
} vpn_status;

/* Partial parse of an item's JSON for an update, into a record that holds
 * the stored item: "id" is required, a string holding a decimal 1 to 5.
 * "name" and "protocol" are taken when they are strings (a member of another
 * type is ignored). Then, by the record's protocol: "pptp"/"l2tp" take
 * "server", "username" and "password" likewise, and "pptp" takes the object
 * "pptp" with "mppe" (read as a boolean whatever its type) and "mppc" (taken
 * only when it is a boolean); "openvpn" takes "username" and "password" and,
 * when "openvpn" is present, requires it to be an object with a string "url"
 * (stored in config). 0, or 100208 for a NULL item, an object that is not
 * a JSON object, a bad id, a text too long for its field or a bad "openvpn"
 * member (fields already taken stay changed). */
VESPIN_API int vpn_item_json2cfg(vpn_item *item, json_object *object);
/* Full parse for a new item: "name" and "protocol" are required strings
 * within their limits. PPTP and L2TP require "server" and "username"
 * ("password" optional); PPTP also requires the object "pptp" with booleans
 * "mppe" and "mppc". OpenVPN takes "username" and "password" when present
 * and requires the object "openvpn" with a string "url". Another protocol
 * needs nothing more. 0, or 100208 for anything missing, of the wrong type
 * or too long. "id" is not read. */
VESPIN_API int vpn_item_json2cfg_all(vpn_item *item, json_object *object);
/* New object (caller puts it): "id" (the decimal id as a string), "name",
 * "protocol"; for "pptp"/"l2tp" "server", "username", "password"; for "pptp"
 * "pptp": {"mppe": boolean, "mppc": boolean}; for "openvpn" "username",
 * "password" and "openvpn": {"url": the base name of config}. NULL for a
 * NULL item. */
VESPIN_API json_object *vpn_item_cfg2json(const vpn_item *item);
/* New object: "default_vpn" (decimal id as a string), "enabled" (boolean),
 * "status", "connected_time" (integer, only when the status is
 * "connected"), "error": {"code": text, "message": text}. NULL for NULL. */
VESPIN_API json_object *vpn_statsu_cfg2json(const vpn_status *status);

/* Loads item `id` (1 to 5) from "vpn.<id>", valid or not; the record is
 * cleared first. Required: name, id, protocol; OpenVPN: config (username and
 * password may be missing); PPTP/L2TP: server and username (password may be
 * missing); PPTP: mppe and mppc (decimal). 0, 600001 for an id outside 1-5,
 * NULL item or no UCI context, or the UCI code of the first failed read
 * (600104 for a missing option). Stored texts too long for a field are cut. */
VESPIN_API int vpn_item_config_load(vpn_item *item, int id);
/* Every item in use, in slot order: *items gets a new array of
 * VPN_ITEM_MAX records (caller frees it with free(), also when *count is
 * 0) and *count the number filled. 0, 600001 (NULL argument, no context,
 * no memory), or the UCI code of a failed read (nothing is then returned). */
VESPIN_API int vpn_item_list(vpn_item **items, int *count);
/* Stores a new item in the first slot not in use (and sets item->id to it):
 * 0; 100200 for an empty name or protocol, and for PPTP/L2TP an empty server
 * or user name; 200201 when all five slots are in use; 600001 when there is
 * no UCI context, for an OpenVPN item whose config does not name the
 * uploaded "openvpn.tmp" (logged "Invalid openvpn config"), when moving
 * "/tmp/openvpn.tmp" to the item's file fails ("Fail to run cmd [%s],
 * err[%d]") or a write or the commit fails; the UCI code of a failed read.
 * Nothing is committed on failure. The move always runs on the fixed upload
 * path, never on the caller's text. */
VESPIN_API int vpn_item_add(vpn_item *item);
/* Changes a stored item (item->id): name and protocol when non-empty;
 * OpenVPN: username and password, and a newly uploaded file when config
 * names "openvpn.tmp" (else the stored item must be OpenVPN already);
 * PPTP/L2TP: password, server and username when non-empty, mppe and mppc;
 * an item that was OpenVPN loses its file. 0; 100208 for an id outside
 * 1-5; the code of loading the stored item ("Fail to load orig vpn item [%d]
 * config"); 600104 when the slot is not in use ("Vpn item [%d] doesn't
 * exist"); 600001 for no context, a failed move or "Invalid openvpn config";
 * the UCI code of a failed write. Nothing is committed on failure. */
VESPIN_API int vpn_item_update(vpn_item *item);
/* Marks slot `id` not in use, commits, and removes its OpenVPN file
 * (ovpn_cfgfile_del; its failure is logged, not returned). 0; 600001 without
 * a context or when the commit fails; 100208 for an id outside 1-5; 600702
 * for the default item while the VPN is enabled and its status is not
 * "disconnected"; the UCI code of a failed read or write. */
VESPIN_API int vpn_item_del(int id);
/* Runs "rm /etc/vespin_config/openvpn/openvpn-<id>.ovpn": 0, or 600011
 * ("Fail to run cmd [%s], err[%d]"). */
VESPIN_API int ovpn_cfgfile_del(int id);

/* Reads "vpn.globalcfg.vpnid" and "vpn.globalcfg.enabled" (1 when true, else
 * 0): 0, 600001 (NULL, no context) or the UCI code of a failed read. */
VESPIN_API int vpn_config_load(vpn_config *config);
/* Stores "vpn.globalcfg.vpnid=%d" and "vpn.globalcfg.enabled=%d" (enabled
 * written as 1 or 0) and commits; nothing is started or stopped here. 0;
 * 100208 for a default id outside 1-5; 600001 for NULL, no context or a
 * failed write or commit (nothing is then committed). */
VESPIN_API int vpn_config_update(const vpn_config *config);
/* The VPN's state. When the stored status reads and is not "connecting",
 * first stops OpenVPN ("/bin/vespin_openvpn stop") if the WAN has no link
 * (vespin_is_wan_connected() is 0) and starts the checker in the background
 * ("vespin_vpn_check &"); then reads vpnid, enabled, status, connected_time,
 * errmsg and errcode. 0; 600001 for NULL, no context, or a status of 17
 * characters or more, an errmsg of 65 or more, an errcode of 9 or more; the
 * UCI code of a failed read. */
VESPIN_API int vpn_status_load(vpn_status *status);

/* 1 when "vpn.globalcfg.enabled" is true and the default item's protocol is
 * "openvpn" (any case), else 0 (also when a value cannot be read). */
VESPIN_API int is_openvpn_enabled(void);
/* 1 when "vpn.globalcfg.enabled" is true and the default item's protocol is
 * "pptp" or "l2tp" (any case), else 0 (also when a value cannot be read). */
VESPIN_API int is_vpn_enabled(void);
/* 1 when "vpn.curstat.status" is "connected" and "/var/run/connectfile.vpn"
 * exists, else 0. */
VESPIN_API int is_vpn_connected(void);
/* Runs "/bin/vespin_openvpn restart" (flag non-zero) or
 * "/bin/vespin_openvpn stop"; returns 0 whatever the script does. */
VESPIN_API int set_openvpn_enable(int flag);

#ifdef __cplusplus
}
#endif

#endif
