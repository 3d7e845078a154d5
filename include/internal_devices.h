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
 * declare them returning int or bool alike. */
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

/* One client device, 224 bytes with natural alignment.
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

/* One device that went offline, 120 bytes. */
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

/* One lease of the DHCP server, 80 bytes. */
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

#ifdef __cplusplus
}
#endif

#endif
