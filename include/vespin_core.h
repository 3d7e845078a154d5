/* Who and what this device is and how it is doing: uptime, CPU and memory
 * load, serial number and model, customer id, device name, lifecycle id,
 * assets, work mode, the initialisation flag, the administrator account,
 * the firmware version and interface addresses; the settings store's start,
 * reload and flush; and the time zone ("/etc/TZ") with the NTP client.
 *
 * Text outputs are written by the settings store up to the size of their
 * setting: callers give the sizes below (VESPIN_*_SIZE). */
#ifndef VESPIN_CORE_H
#define VESPIN_CORE_H

#include <stdint.h>

#include "config_wan.h"
#include "status.h"
#include "vespin_export.h"

#ifdef __cplusplus
extern "C" {
#endif

#define VESPIN_SN_SIZE 32           /* serial number (15 characters on a real device) */
#define VESPIN_CUSTOMER_ID_SIZE 32  /* customer id (4 characters on a real device) */
#define VESPIN_DEVICE_NAME_SIZE 33  /* device name: at most 32 characters */
#define VESPIN_LIFECYCLE_SIZE 32    /* lifecycle id: at most 18 characters */
#define VESPIN_ACCOUNT_SIZE 31      /* administrator user name and password */
#define VESPIN_ASSETS_SIZE 256      /* the stored device assets block */
#define VESPIN_IP_TEXT_SIZE 16      /* dotted quad */
#define VESPIN_MAC_TEXT_SIZE 13     /* twelve lower-case hex digits */
#define VESPIN_FM_VERSION "1.9.7"

/* CPU and memory load, filled by vespin_get_system_info. */
typedef struct system_info {
    double cpu;         /* percent busy */
    uint64_t mem_total; /* KiB x 1000 (the router's own scale, not bytes x 1024) */
    uint64_t mem_used;  /* KiB x 1000 */
} system_info;

/* The model a serial number encodes. */
typedef struct sn_model {
    int32_t family;  /* the number formed by the first two characters ("02" is 2) */
    int32_t variant; /* the number formed by the tenth character (index 9) */
} sn_model;

/* Selects the radio (0: 5 GHz, 1: 2.4 GHz) of later per-radio settings, for
 * the whole process; returns the address of the platform's wlan_idx. */
VESPIN_API int *set_global_wlan_idx(int radio);
/* apmib_init and apmib_reinit: non-zero on success. */
VESPIN_API int init_apmib(void);
VESPIN_API int reinit_apmib(void);
/* Clears the initialisation flag (2400) and writes the store with these
 * apmib_update flags; with bit 4 also saves the current settings file.
 * 0, apmib_update's non-zero result, or -1 ("Fail to get mib" / "Fail to set
 * mib") when the flag cannot be read or cleared. */
VESPIN_API int flush_apmib(int flags);

/* Seconds since boot. */
VESPIN_API long vespin_get_uptime(void);
/* Runs top through awk (memory line, then 100 minus the idle share) and
 * fills the record. Returns the command's wait status; 0 with the record
 * untouched when the command cannot be started; -1 for a NULL record. */
VESPIN_API int vespin_get_system_info(system_info *info);

/* Serial number (setting 4001) into out: 0, or 600002 (also for NULL out). */
VESPIN_API int get_sn(char *out);
/* The serial number, read once per process and kept. When it cannot be read
 * the result is the negated 600002 cast to a pointer (vespin_is_error); the
 * next call tries again. */
VESPIN_API const char *get_sn_2(void);
/* Customer id (setting 4009): 0, or 600002. */
VESPIN_API int get_customer_id(char *out);
/* Fills the model of a serial number; 0, or -1 for a NULL argument.
 * Characters missing from a short serial number count as none (0). */
VESPIN_API int model_get_from_sn(sn_model *model, const char *sn);
/* 1 when both fields of model equal those of the serial number, else 0. */
VESPIN_API int model_match_sn(const sn_model *model, const char *sn);
/* "Q5" for a serial number beginning "01", "Lark" for "02", else "Unknown";
 * the text lives in one static buffer that the next call overwrites. */
VESPIN_API const char *sn_2_model(const char *sn);
/* The stored device name (setting 186), or when it is empty the default
 * "<model>-<sn[11..14]>" ("Q5" when the serial number's second character is
 * '1', else "Lark"; not stored). 0, or 600002 when a read fails or out is NULL. */
VESPIN_API int get_device_name(char *out);
/* Stores the device name: 100200 for a NULL name or one of 33 characters or
 * more; 600002 when storing fails; else 0. */
VESPIN_API int set_device_name(const char *name);
/* The lifecycle id (setting 2403). The first call on a device makes one from
 * the local time and four random bytes, "%02d%02d%02d%02d%02d%04x" (month,
 * day, hour, minute, second, random), and stores it. 0, or 600002. */
VESPIN_API int get_lifecycle(char *out);
/* The device assets block (setting 2404, VESPIN_ASSETS_SIZE bytes): 0, or
 * 600002 with "Fail to get/set MIB_VESPIN_DEVICE_ASSETS" logged. */
VESPIN_API int get_assets(void *assets);
VESPIN_API int set_assets(const void *assets);
/* Work mode (setting 2401), or -1 when it cannot be read. */
VESPIN_API int get_work_mode(void);
/* Stores the work mode: 0, or -1. */
VESPIN_API int set_work_mode(int mode);
/* The initialisation flag (setting 2400), or -600002 with "Fail to get mib". */
VESPIN_API int router_is_init(void);
/* Selects radio 0, then reads the mesh settings 554 and 561: 0, or 600002
 * when an output is NULL or a read fails. */
VESPIN_API int get_mesh_config(int *first, int *second);
/* The administrator account (settings 182 and 183); the first argument is
 * ignored. 0, or -1 when an output is NULL or a read fails. */
VESPIN_API int get_user_and_password(int account, char *user, char *password);
/* Stores the account (182, 183, and the password again in 2406), then runs
 * "vespin_telnetd change_password". 0, or -1 when an argument is NULL or a
 * store fails (the command is then not run). */
VESPIN_API int set_user_and_password(int account, const char *user, const char *password);
/* Copies "1.9.7" into out: 0, or -1 for a NULL out. */
VESPIN_API int get_fm_version(char *out);

/* One property of an interface: kind 0 address, 1 peer address, 2 netmask
 * (4 bytes, network order), 4 hardware address (the 16-byte socket address;
 * the MAC is in its data bytes 0 to 5). 1 when it was answered and written,
 * else 0 (unknown interface or kind, NULL argument). */
VESPIN_API int get_addr(const char *ifname, int kind, void *out);
/* Dotted-quad address or netmask of an interface into out (16 bytes): 1 or 0. */
VESPIN_API int get_ip(const char *ifname, char *out);
VESPIN_API int get_subnetmask(const char *ifname, char *out);
/* MAC of an interface as twelve lower-case hex digits (13 bytes): 1 or 0. */
VESPIN_API int get_mac(const char *ifname, char *out);

/* Writes the POSIX time zone of settings 153 (zone text) and 282 (daylight
 * saving) with "echo %s >/etc/TZ" and returns that command's result. The
 * zone's hour token must be a signed number of at most two digits: any other
 * stored text logs "Wrong format of MIB_NTP_TIMEZONE: `%s`" and returns
 * 109999 without running a command (it would reach the shell unchecked). */
VESPIN_API int setTimeZone(void);
/* Stops the NTP client, writes the time zone, reloads the time-limit rules
 * ("timelimit flush", "timelimit add") and starts "ntp_inet -x SERVER" with
 * the server of setting 152 (0 to 5: settings 154, 155, 2255-2258). Returns
 * the last command's result. An index outside 0 to 5, an unreadable server
 * or one whose name holds anything but letters, digits, '.', '-', '_' and
 * ':', or that starts with '-' (ntp_inet would take it for an option),
 * gives an empty name: an unchecked name would reach the shell. Every other
 * stored name is passed as it stands. */
VESPIN_API int restart_ntp(void);

/* ---- WAN setup ----------------------------------------------------------
 * Writes a WAN configuration into the settings store (the caller flushes
 * with flush_apmib and restarts the services). A failure part-way leaves
 * what was stored before it: nothing is rolled back. */

/* WAN traffic statistics, as the platform's "wanstat" prints them. */
typedef struct wan_status {
    double traffic_dl;
    double traffic_ul;
    int32_t average_dl;
    int32_t average_ul;
    int32_t peak_dl;
    int32_t peak_ul;
    int32_t realtime_dl;
    int32_t realtime_ul;
    int32_t link; /* setting 2405 (MIB_VESPIN_WAN_LINK) */
} wan_status;

/* Applies the record's VLAN table with vlan_table_set (pppoe.vlan for a
 * "pppoe" record, else vlan: see config_wan.h), then the type's setter.
 * Another type only applies the VLAN table and returns 0. */
VESPIN_API int config_wan(wan_net_config *config);
/* WAN type 1; an empty primary DNS sets the DNS mode to automatic (176-178
 * untouched), else mode 1 and DNS 1 / 2, an empty secondary being written
 * back into dns[1] as "0.0.0.0". 0 or 600002. An address text that does not
 * parse gives 100208 "Invalid dns: %s" before anything of it is stored (it
 * used to be stored unchecked). */
VESPIN_API int config_wan_enable_dhcp(char dns[2][16]);
/* WAN type 0 with address, mask, gateway and DNS 1-3 (an empty second DNS
 * is written back into the record as "0.0.0.0"). When the WAN and LAN
 * networks agree under the wider of the two masks the LAN moves: first
 * octet neither 192 nor 172 -> 192.168.x.y, else first octet 10; udhcpd is
 * stopped ("killall udhcpd &") and the pool (174, 175) and 172 (when not 0)
 * are rebased into the new network. 0, 100208 for an invalid address text,
 * or 600002. */
VESPIN_API int config_wan_static(net_info *info);
/* WAN type 3 with the account (106, 107; each cut to 39 characters) and the
 * DNS as for DHCP; then the IPv6 PPPoE account ("ipv6" UCI package) takes
 * the same user and password when it shares the IPv4 credentials. 0 or a
 * code (100208 from the IPv6 save for a text outside printable ASCII). */
VESPIN_API int config_wan_pppoe(const char *user, const char *password, char dns[2][16]);
/* Runs "wanstat" and parses its eight lines, then reads 2405: 0, 600001
 * when the tool fails or prints fewer than eight values, 600002. */
VESPIN_API int get_wan_status(wan_status *status);
/* The default gateway into out (16 bytes): for a dynamic WAN the first
 * default route of "route -n", for a static one setting 103. 0 or 600001. */
VESPIN_API int get_gateway(char *out);

#ifdef __cplusplus
}
#endif

#endif
