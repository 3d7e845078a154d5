/* The connected-device list: which clients hang on the mesh, merged from the
 * kernel's ARP table, the Wi-Fi driver's station files, the stations other
 * mesh nodes report, the station blacklist and the per-device UCI package
 * "devices"; the devices that went offline, the removal of a device and
 * everything configured for it, and the guest-network clients.
 *
 * Process-wide state, not locked (callers serialise): the vendor table built
 * on first use from "/etc/device_mac_brand.txt" (kept until exit), the list
 * of known mesh-node MACs and the scratch file "/tmp/arp_table".
 *
 * Functions answering true/false return int (1 or 0), so that a caller may
 * declare them returning int or bool alike.
 *
 * Layouts: natural alignment, no packing, the same on the 32-bit MIPS router
 * (64-bit fields 8-aligned) and a 64-bit PC: lan_device_info 224 bytes,
 * arp_entry 12, offline_device_info 120, dhcp_client_info 80,
 * guest_device_info 264 (statistics from offset 160). */
#ifndef VESPIN_INTERNAL_DEVICES_H
#define VESPIN_INTERNAL_DEVICES_H

#include <stdint.h>

#include "avl.h"
#include "uciconfig.h"
#include "vespin_export.h"

#ifdef __cplusplus
extern "C" {
#endif

/* Records a caller's device buffer holds, and stations read per file. */
#define LAN_DEVICE_MAX 64
/* Entries get_arp_table_list fills at most. */
#define ARP_ENTRY_MAX 64
/* Records of the buffer vespin_get_offline_device allocates. */
#define OFFLINE_DEVICE_MAX 200
/* Records rtk_get_dhcp_client_list fills at most. */
#define DHCP_CLIENT_MAX 64

/* One client device.
 *
 * The driver prints each station's counters as "tx_bytes" then "rx_bytes"
 * and its averages as "tx_avarage" then "rx_avarage"; the record keeps them
 * second first: bytes_2 is the station's "rx_bytes", bytes_1 its
 * "tx_bytes", avg_rate_2 its "rx_avarage" x 8 and avg_rate_1 its
 * "tx_avarage" x 8 (bit/s). */
typedef struct lan_device_info {
    char name[64];          /* display name: the UCI name, else the vendor */
    uint32_t ip;            /* IPv4, network byte order */
    uint8_t mac[6];
    uint32_t expired_time;  /* the driver's "expired_time" */
    uint8_t wireless;       /* 1: found in one of this node's station files */
    char brand[17];         /* vendor, at most 15 characters, or "Unknown Vendor" */
    char band[18];          /* "wired", "5g", "2.4g", or the UCI "devices.<mac>.band" */
    uint32_t avg_rate_2;    /* "rx_avarage" x 8, bit/s */
    uint32_t avg_rate_1;    /* "tx_avarage" x 8, bit/s */
    uint64_t link_time;     /* seconds of association */
    uint64_t bytes_2;       /* "rx_bytes" */
    uint64_t bytes_1;       /* "tx_bytes" */
    int32_t rssi;           /* the driver's value minus 100; 0 when it reports 0 */
    uint64_t tx_rate;       /* current transmit rate, bit/s */
    char node_sn[16];       /* serial number of the mesh node it hangs on */
    char node_name[40];     /* device name of that node */
} lan_device_info;

/* One line of the kernel's ARP table on "br0". */
typedef struct arp_entry {
    uint32_t ip;            /* network byte order */
    uint8_t mac[6];
} arp_entry;

/* One device that went offline. */
typedef struct offline_device_info {
    char mac[16];             /* 12 hex digits, as stored in UCI */
    char name[64];
    uint64_t online_duration; /* seconds */
    uint64_t access_time;     /* milliseconds since the epoch */
    uint64_t tx_bytes;
    uint64_t rx_bytes;
    uint64_t offline_time;    /* milliseconds since the epoch */
} offline_device_info;

/* The offline devices: `count` records in `devices` (a buffer of
 * OFFLINE_DEVICE_MAX records allocated with calloc; the caller frees it). */
typedef struct offline_device_list {
    uint32_t count;
    offline_device_info *devices;
} offline_device_list;

/* One lease of the DHCP server. */
typedef struct dhcp_client_info {
    char name[64];          /* the lease's host name trimmed, or "Unknown Vendor" */
    uint32_t ip;            /* network byte order, as in the lease */
    uint8_t mac[6];
    uint32_t expires;       /* copied unchanged from the lease */
} dhcp_client_info;

/* One guest-network client. */
typedef struct guest_device_info {
    char mac[16];           /* 12 lower-case hex digits */
    char name[64];
    char ip[16];            /* dotted quad, "" when unknown */
    char ssid[64];          /* the guest network's SSID */
    uint32_t avg_rate_2;    /* statistics as in lan_device_info */
    uint32_t avg_rate_1;
    uint64_t link_time;
    uint64_t bytes_2;
    uint64_t bytes_1;
    int32_t rssi;
    uint64_t tx_rate;
    char node_sn[16];
    char node_name[40];
} guest_device_info;

/* The guest clients: on input `count` is the capacity of `devices` (the
 * caller's array), on output the records filled. */
typedef struct guest_device_list {
    int32_t count;
    guest_device_info *devices;
} guest_device_list;

/* Parses a driver station file ("/proc/wlan0/sta_info") into up to 64
 * records (stations), filling mac, the byte counters, the averages, rssi,
 * expired_time, tx_rate and link_time. The file is reduced by the driver's
 * awk pipeline, one line per station (hwaddr, tx_bytes, rx_bytes,
 * tx_avarage, rx_avarage, rssi, expired_time, current_tx_rate, link_time);
 * a line of fewer than 9 fields, a station with expired_time 0 and a MAC
 * that is not 12 hex digits are skipped, so a truncated file, a missing key
 * or an over-long line (more than 255 characters) costs only the stations
 * it spoils. Returns the count (0 for a file that cannot be read), or -1
 * for a NULL argument or when the command cannot be formed or started.
 * Safe paths: a path holding anything but letters, digits, '/', '.', '-'
 * and '_' (it is put into a shell command) cannot be formed: -1; a negative
 * or non-finite rate gives tx_rate 0 and a rate beyond 2^64 bit/s the
 * largest value; rssi - 100 wraps instead of overflowing. */
VESPIN_API int get_wifi_device_mac_list(const char *path, lan_device_info *records);

/* The vendor of a 6-byte MAC: looks its OUI up as "%02X%02X%02X" in `tree`
 * (keys: the six upper-case hex digits as NUL-terminated strings compared
 * with strcmp; values: the index of the vendor in `names` plus 1, cast to a
 * pointer) and writes at most 15 characters of the name into out[16],
 * zero-filled first. 0, or 600001 for a NULL argument or an unknown OUI.
 * The process's own table is built from "/etc/device_mac_brand.txt": lines
 * "A1:B2:C3 Vendor name" (any one separator character between the groups
 * and before the name, upper-case hex), read 127 characters at a time, the
 * last character of each line cut off; a line naming the same vendor as the
 * line before shares its entry (only consecutive repeats are merged). */
VESPIN_API int vespin_get_device_brand(const uint8_t *mac, avl_tree *tree, char **names, char *out);

/* Fills up to 64 entries from the kernel's ARP table: runs "awk '{if
 * ($3=="0x2" && $6=="br0" && $1 !~ /^169.254/) {gsub(":","",$4); print
 * $1,$4}}' /proc/net/arp > /tmp/arp_table" and reads "/tmp/arp_table",
 * keeping lines whose address lies in br0's subnet and whose MAC is exactly
 * 12 hex digits. Returns the count, or -1 for NULL entries or when
 * "/tmp/arp_table" cannot be opened. */
VESPIN_API int get_arp_table_list(arp_entry *entries);

/* 1 when UCI "devices.<mac_text>.online" exists and is true, else 0 (also
 * for a MAC text that is not a UCI name). */
VESPIN_API int is_device_online(const char *mac_text);
/* 1 when UCI "devices.<mac_text>.band" is missing or equals "wired", else 0. */
VESPIN_API int is_real_wired_device(const char *mac_text);
/* Runs "arping -f -c 1 -I br0 <ip_text> > /dev/null": 1 only when it ended
 * normally with exit status 0. Safe path: a text that is not a dotted IPv4
 * address runs nothing and gives 0. */
VESPIN_API int is_lan_ip_available(const char *ip_text);

/* The DHCP server's leases: reads the pid from "/var/run/udhcpd.pid" (a
 * missing file logs "Read pid file error!") and asks the server to write its
 * leases with "kill -SIGUSR1 <pid>" (a failure logs "Fail to send signal"
 * and "Error: ..."), waits 1 ms and walks "/var/lib/misc/udhcpd.leases" in
 * 88-byte records: 16-byte client hardware address (the MAC first), IPv4
 * address in network byte order, 32-bit expiry (copied as stored), 64-byte
 * host name. Records with expiry 0 or an all-zero hardware address are
 * skipped, a trailing partial record is ignored, at most 64 are filled.
 * Always returns 0; *count_out is 0 when the file cannot be read (and is
 * left alone when an argument is NULL). Departures: the signal is sent by
 * the kill command (the library's one command runner), and a pid below 2 is
 * never signalled (1 is init). */
VESPIN_API int rtk_get_dhcp_client_list(int32_t *count_out, dhcp_client_info *records);

/* Runs "/bin/vespin_update_device", then walks "devices.@sta[n]" by position
 * until "online" is missing and lists each device whose "online" is false
 * ("offline_time" and "access_time" are seconds in UCI, milliseconds in the
 * record; online_duration = offline - access seconds, 0 unless access is
 * earlier). list->devices gets a new buffer of 200 records (caller frees),
 * list->count the devices in it. 0; 600001 for a NULL list or when the
 * buffer or the UCI context cannot be allocated (nothing is returned). Safe path: at most 256 sections are walked and
 * 200 devices listed (the router's 8-bit counters would wrap into an endless
 * walk and past the buffer). */
VESPIN_API int vespin_get_offline_device(offline_device_list *list);
/* With a MAC (exactly 12 characters, letters, digits or '_', else 600001)
 * removes that device's configuration (remove_device_related_config) and
 * applies it (take_effect_device_related_servers). With NULL, runs
 * "/bin/vespin_update_device" and removes every device whose "online" is
 * false, its "mac" read through uci_ctx (600001 when uci_ctx is NULL);
 * applies once when at least one was removed. Returns 0. */
VESPIN_API int vespin_del_offline_device(struct uci_context *uci_ctx, const char *mac);
/* Runs, in order, "uci delete devices.%s && uci commit devices", "uci delete
 * devices_extra.%s && uci -c /var/run/config commit devices_extra", "uci
 * delete assets.%s && uci commit assets", "uci delete urlfilters.%s && uci
 * commit urlfilters" and "timelimit flush && uci delete timelimits.%s && uci
 * commit timelimits", then returns mesh_device_speed_limit_delete(mac).
 * Safe path: a MAC that is not a UCI name (letters, digits, '_') runs
 * nothing and gives 600001. */
VESPIN_API int remove_device_related_config(const char *mac);
/* URL_filter_restart, time_limit_restart, device_speed_limit_restart, in
 * this order; returns 0. */
VESPIN_API int take_effect_device_related_servers(void);

/* The connected devices of the whole mesh: allocates a zeroed buffer of 64
 * records and fills it with rtk_get_lan_device_info. With at least one
 * device *list_out gets the buffer (caller frees) and *count_out the count;
 * with none the buffer is freed and both outputs are left as they were.
 * Returns 0; 600000 with "mesh_device_list malloc failed!"; 600001 with
 * "rtk_get_lan_device_info failed!" when the collector fails (the vendor
 * file is missing or the ARP table cannot be read), and 600001 for NULL
 * outputs (nothing done). probe_wired: see rtk_get_lan_device_info. */
VESPIN_API int mesh_device_list(lan_device_info **list_out, int32_t *count_out, uint8_t probe_wired);
/* The collector: fills records (room for 64) and *count_out.
 *  1. the vendor table ("/etc/device_mac_brand.txt"; missing: 600001,
 *     nothing else done);
 *  2. the ARP table (failure: "Fail to get arp table list", 600001) less
 *     the guest clients (vespin_get_guest_device_list);
 *  3. one record per entry: band "wired", brand and name from the vendor,
 *     then the name from UCI "devices.<mac>.name";
 *  4. the statistics of "/proc/wlan0/sta_info" (band "5g") then
 *     "/proc/wlan1/sta_info" ("2.4g"), wireless 1 (a file that cannot be
 *     parsed logs "Fail to get primary 5g devices" / "... 2.4g ..." and
 *     only skips that band);
 *  5. the known mesh-node MACs are brought up from the node table's valid
 *     neighbours (their "eth0" MAC, the one the gateway's ARP table shows):
 *     up to 63 are kept; a collection that finds 63 empties the list and
 *     filters no node by it that time;
 *  6. records of a known mesh node, of a blacklisted station
 *     (sta_blacklist_list) or with address 0 are dropped;
 *  7. each record hangs on the first neighbour that reports it among its
 *     stations (band "2.4g" for band flag 1, else "5g", with that report's
 *     statistics), else on this node (serial number and device name); a
 *     record still "wired" takes UCI "devices.<mac>.band" when set;
 *  8. liveness: a non-wired record with link_time 0 is dropped; a MAC
 *     listed twice stays only when its address answers arping
 *     (is_lan_ip_available); another non-wired record stays; a wired one
 *     stays, with probe_wired non-zero, when it answers arping, else when
 *     is_device_online and is_real_wired_device. Each dropped record's
 *     address is removed with "arp -d <address>".
 * 0, or 600001 (also for NULL arguments). */
VESPIN_API int rtk_get_lan_device_info(int32_t *count_out, lan_device_info *records, uint8_t probe_wired);
/* The guest-network clients: the guest stations each valid neighbour
 * reports (with that node), then this node's "/proc/wlan0-va0/sta_info"
 * and "/proc/wlan1-va0/sta_info"; ssid is the guest SSID (setting 1 of
 * virtual interface 1) of radio 0 for band 0, of radio 1 for band 1;
 * repeats of a MAC are dropped, and stations missing from the ARP table;
 * ip comes from UCI "devices.<mac>.ip", name from the MAC's DHCP lease and
 * then UCI "assets.<mac>.name"; records without a node get this node's
 * serial number and name; an empty name becomes the vendor or "Unknown
 * Vendor". At most list->count records are filled, list->count gets their
 * number. 0; 600001 for a NULL list or array; 600100 when list->count is
 * not positive (no room: nothing is done). */
VESPIN_API int vespin_get_guest_device_list(guest_device_list *list);

#ifdef __cplusplus
}
#endif

#endif
