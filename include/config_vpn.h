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

/* 1 when "vpn.globalcfg.enabled" is true and the default item's protocol is
 * "openvpn" (any case), else 0 (also when a value cannot be read). */
VESPIN_API int is_openvpn_enabled(void);
/* 1 when "vpn.globalcfg.enabled" is true and the default item's protocol is
 * "pptp" or "l2tp" (any case), else 0 (also when a value cannot be read). */
VESPIN_API int is_vpn_enabled(void);
/* 1 when "vpn.curstat.status" is "connected" and "/var/run/connectfile.vpn"
 * exists, else 0. */
VESPIN_API int is_vpn_connected(void);

#ifdef __cplusplus
}
#endif

#endif
