/* The router's IPv6 WAN: on or off, and one of three modes (automatic,
 * static, PPPoE) with addresses, gateway and DNS servers. JSON in and out,
 * the settings store (the PPPoE credentials in the UCI package "ipv6"), the
 * LAN side's IPv6 defaults (router advertisement) and the live IPv6 state of
 * the WAN interface.
 *
 * Settings: 382 origin (1 static, 0 dynamic), 383 link (1 PPPoE, 0 IP), 384
 * IPv6 on, 385 DNS from the network (1) or manual (0); 378 static address,
 * 379 gateway, 381 the one stored DNS server, each an ipv6_mib_addr; 370
 * the router-advertisement block ipv6_radvd_param; 372 the DHCPv6 server
 * block ipv6_dhcp6s_param; 386-388, 408, 423-426 further LAN-side settings
 * reset by set_ipv6_default_config; 192 operating mode.
 *
 * Codes: 100200 missing member or bad address text, 100208 wrong type or
 * unknown mode, 100209 invalid address, 600001 NULL argument or DNS write,
 * 600002 settings store. Accounts, passwords and addresses are data: nothing
 * here puts them into a shell command. */
#ifndef VESPIN_CONFIG_IPV6_H
#define VESPIN_CONFIG_IPV6_H

#include <json-c/json.h>
#include <stdint.h>

#include "result_codes.h"
#include "vespin_export.h"

#ifdef __cplusplus
extern "C" {
#endif

#define IPV6_ADDR_TEXT_SIZE 46
#define IPV6_ADDRS_MAX 5
#define IPV6_PPPOE_TEXT_SIZE 40
#define IPV6_DEFAULT_PREFIX_LENGTH 64

/* IPv6 WAN types */
#define IPV6_WAN_AUTO 0
#define IPV6_WAN_STATIC 1
#define IPV6_WAN_PPPOE 2

/* Valid when the text parses as IPv6 and the prefix length is 0-128. */
typedef struct ipv6_addr {
    int32_t prefix_length;
    char addr[IPV6_ADDR_TEXT_SIZE];
} ipv6_addr;

/* Address list (also DNS servers). */
typedef struct ipv6_addrs {
    ipv6_addr addrs[IPV6_ADDRS_MAX];
    int32_t count;
} ipv6_addrs;

typedef struct ipv6_netinfo {
    ipv6_addrs address;
    ipv6_addr gateway;
    ipv6_addrs dns;
} ipv6_netinfo;

typedef struct ipv6_pppoe_netcfg {
    uint8_t share_ipv4_credentials; /* boolean: the IPv4 PPPoE account is the same */
    char account[IPV6_PPPOE_TEXT_SIZE];
    char password[IPV6_PPPOE_TEXT_SIZE];
    ipv6_addrs dns;
} ipv6_pppoe_netcfg;

typedef struct ipv6_static_netcfg {
    ipv6_netinfo netinfo;
} ipv6_static_netcfg;

typedef struct ipv6_auto_netcfg {
    ipv6_addrs dns;
} ipv6_auto_netcfg;

typedef struct ipv6_wan_netcfg {
    uint8_t enabled;
    uint32_t type; /* IPV6_WAN_* */
    ipv6_pppoe_netcfg pppoe;
    ipv6_static_netcfg static_; /* "static" in JSON */
    ipv6_auto_netcfg auto_;     /* "auto" in JSON */
} ipv6_wan_netcfg;

/* An address setting (378, 379, 381), 20 bytes. */
typedef struct ipv6_mib_addr {
    int32_t prefix_length;
    uint16_t groups[8]; /* host order */
} ipv6_mib_addr;

/* One prefix of the router advertisement, 40 bytes. */
typedef struct ipv6_radvd_prefix {
    uint32_t enabled;
    uint16_t prefix[8]; /* host order */
    uint32_t prefix_length;
    uint32_t on_link;
    uint32_t autonomous;
    uint32_t valid_lifetime;     /* seconds */
    uint32_t preferred_lifetime; /* seconds */
} ipv6_radvd_prefix;

/* The router-advertisement block (setting 370), 156 bytes. Defaults written
 * by radvd_default_config in brackets. */
typedef struct ipv6_radvd_param {
    uint32_t enabled;                  /* [1] */
    char interface[16];                /* ["br0"] */
    uint32_t max_adv_interval;         /* [600] seconds */
    uint32_t min_adv_interval;         /* [198] seconds */
    uint32_t min_delay_between_ras;    /* [3] seconds */
    uint32_t managed_flag;             /* [1] */
    uint32_t other_config_flag;        /* [0] */
    uint32_t link_mtu;                 /* [0] */
    uint32_t reachable_time;           /* [0] */
    uint32_t retrans_timer;            /* [0] */
    uint32_t cur_hop_limit;            /* [64] */
    uint32_t default_lifetime;         /* [1800] seconds */
    char default_preference[8];        /* ["medium"] */
    uint32_t source_lladdr;            /* [1] */
    uint32_t unicast_only;             /* [0] */
    ipv6_radvd_prefix prefixes[2];     /* [cleared] */
} ipv6_radvd_param;

/* The DHCPv6 server block (setting 372), 112 bytes; its first field is
 * set to 1 by set_ipv6_default_config, the rest come from the factory. */
typedef struct ipv6_dhcp6s_param {
    uint32_t enabled;
    char interface[16];
    char addr_pool_start[IPV6_ADDR_TEXT_SIZE];
    char addr_pool_end[IPV6_ADDR_TEXT_SIZE];
} ipv6_dhcp6s_param;

/* ---- addresses ------------------------------------------------------- */

/* Text to eight groups (host order): 0, or 100200 with "Fail [%d] to get
 * ipv6 addr from [%s]". */
VESPIN_API int ipv6_addr_from_string(const char *text, uint16_t groups[8]);
/* Eight groups to text (46 bytes): 0, or 100200. */
VESPIN_API int ipv6_addr_to_string(const uint16_t groups[8], char *text);
/* Normalises an address text into out (46 bytes): 0 or 100200. */
VESPIN_API int ipv6_addr_format_string(const char *text, char *out);
/* 1 when valid, else 0. */
VESPIN_API int is_valid_ipv6_addr(const ipv6_addr *addr);

/* ---- JSON in: 0 or a code; NULL arguments 600001 ---------------------- */
/* Address {"ip", "prefix_length" (default 64)}: 100200 missing or empty
 * "ip", 100208 wrong type, 100209 bad address or prefix outside 0-128. */
VESPIN_API int ipv6_addr_from_json(ipv6_addr *addr, json_object *json);
/* Address array: invalid elements are skipped (their slot cleared), at most
 * 5 kept; at least one valid element needed (100209). */
VESPIN_API int ipv6_addrs_from_json(ipv6_addrs *addrs, json_object *json);
/* DNS array: as above, but it may end up empty. */
VESPIN_API int ipv6_netdns_from_json(ipv6_addrs *dns, json_object *json);
/* {"address" (array), "gateway" (object), "dns" (array)}, all required. */
VESPIN_API int ipv6_netinfo_from_json(ipv6_netinfo *info, json_object *json);
/* {"dns"} required. */
VESPIN_API int ipv6_auto_netcfg_from_json(ipv6_auto_netcfg *config, json_object *json);
/* {"netinfo"} required. */
VESPIN_API int ipv6_static_netcfg_from_json(ipv6_static_netcfg *config, json_object *json);
/* "share_ipv4_credentials", "account", "password" (cut to 39), "dns". */
VESPIN_API int ipv6_pppoe_netcfg_from_json(ipv6_pppoe_netcfg *config, json_object *json);
/* "enabled" required; false stops with 0. "type" "auto", "static" or
 * "pppoe" with the object of that name; another text: 0, nothing read, type
 * unchanged. */
VESPIN_API int ipv6_wan_netcfg_from_json(ipv6_wan_netcfg *config, json_object *json);

/* ---- JSON out: new objects owned by the caller, NULL for NULL --------- */
VESPIN_API json_object *ipv6_addr_to_json(const ipv6_addr *addr);     /* {} when invalid */
VESPIN_API json_object *ipv6_addrs_to_json(const ipv6_addrs *addrs); /* valid ones only */
/* DNS array: the valid servers, possibly none (the form of "dns" below). */
VESPIN_API json_object *ipv6_netdns_to_json(const ipv6_addrs *dns);
VESPIN_API json_object *ipv6_netinfo_to_json(const ipv6_netinfo *info);
VESPIN_API json_object *ipv6_auto_netcfg_to_json(const ipv6_auto_netcfg *config);
VESPIN_API json_object *ipv6_static_netcfg_to_json(const ipv6_static_netcfg *config);
VESPIN_API json_object *ipv6_pppoe_netcfg_to_json(const ipv6_pppoe_netcfg *config);
VESPIN_API json_object *ipv6_wan_netcfg_to_json(const ipv6_wan_netcfg *config);
/* {"netinfo": net info} of the live state. */
VESPIN_API json_object *ipv6_wan_netinfo_to_json(const ipv6_netinfo *info);

/* ---- settings store -------------------------------------------------- */

/* Applies the type's settings, writes 384, and when enabled the LAN-side
 * defaults, then flushes (flush_apmib(4)). Unknown type: 100208. After an
 * automatic or PPPoE setting, the next live-state read solicits a router
 * advertisement once. Nothing is rolled back on failure. */
VESPIN_API int set_ipv6_wan_net_config(const ipv6_wan_netcfg *config);
/* Reads type, enable flag and the type's settings. */
VESPIN_API int get_ipv6_wan_net_config(ipv6_wan_netcfg *config);
VESPIN_API int set_ipv6_atuo(const ipv6_auto_netcfg *config);
VESPIN_API int set_ipv6_static(const ipv6_static_netcfg *config);
/* With share_ipv4_credentials also set_ipv4_pppoe(account, password). */
VESPIN_API int set_ipv6_pppoe(const ipv6_pppoe_netcfg *config);
/* With a server: the first to 381 (only one is stored) and 385 = 0; with
 * none, 385 = 1. 600001 when a write fails. */
VESPIN_API int set_ipv6_dns(const ipv6_addrs *dns);
VESPIN_API int get_ipv6_atuo(ipv6_auto_netcfg *config);
VESPIN_API int get_ipv6_static(ipv6_static_netcfg *config);
VESPIN_API int get_ipv6_pppoe(ipv6_pppoe_netcfg *config);
/* The one stored DNS server unless 385 is 1; an unreadable 385 gives 0
 * with no DNS. */
VESPIN_API int get_ipv6_dns(ipv6_addrs *dns);
/* "ipv6.pppoe.share_credentials", ".username", ".password", committed as
 * one; a failure rolls back. 600001 without a context or on failure. An
 * account or password with a byte outside printable ASCII (a line break
 * would cut the package file's line) gives 100208 with nothing written. */
VESPIN_API int save_ipv6_pppoe_to_uci(const ipv6_pppoe_netcfg *config);
/* Missing options read as false / empty. */
VESPIN_API int get_ipv6_pppoe_from_uci(ipv6_pppoe_netcfg *config);
/* Writes the router-advertisement defaults into 370 when they differ from
 * what is stored: 0 or 600002. */
VESPIN_API int radvd_default_config(void);
/* Resets the LAN-side IPv6 settings and the router advertisement: 0 or 600002. */
VESPIN_API int set_ipv6_default_config(void);

/* ---- live state ------------------------------------------------------ */

/* The WAN interface's IPv6 addresses ("/proc/net/if_inet6"), default
 * gateway ("/proc/net/ipv6_route") and DNS servers ("/var/resolv_v6.conf").
 * Interface: "br0" in operating mode 1, else "ppp0" for PPPoE, else "eth1".
 * Without an address while IPv6 is on and a solicitation is pending, runs
 * "rdisc6 <interface>" once and reads again. 0 or a code. */
VESPIN_API int get_ipv6_wan_net_info(ipv6_netinfo *info);

#ifdef __cplusplus
}
#endif

#endif
