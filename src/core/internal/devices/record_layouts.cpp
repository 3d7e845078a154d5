// The device records' layouts as the public header states them, checked at
// build time on every target (a 32-bit MIPS build too: its 64-bit fields are
// 8-aligned as on a 64-bit PC).
#include "internal_devices.h"

#include <stddef.h>

static_assert(offsetof(lan_device_info, ip) == 64 && offsetof(lan_device_info, mac) == 68 &&
                  offsetof(lan_device_info, expired_time) == 76 && offsetof(lan_device_info, wireless) == 80 &&
                  offsetof(lan_device_info, brand) == 81 && offsetof(lan_device_info, band) == 98 &&
                  offsetof(lan_device_info, avg_rate_2) == 116 && offsetof(lan_device_info, link_time) == 128 &&
                  offsetof(lan_device_info, bytes_2) == 136 && offsetof(lan_device_info, rssi) == 152 &&
                  offsetof(lan_device_info, tx_rate) == 160 && offsetof(lan_device_info, node_sn) == 168 &&
                  offsetof(lan_device_info, node_name) == 184 && sizeof(lan_device_info) == 224,
              "lan_device_info layout");
static_assert(sizeof(arp_entry) == 12, "arp_entry layout");
static_assert(offsetof(offline_device_info, online_duration) == 80 && sizeof(offline_device_info) == 120,
              "offline_device_info layout");
static_assert(offsetof(dhcp_client_info, ip) == 64 && offsetof(dhcp_client_info, expires) == 76 &&
                  sizeof(dhcp_client_info) == 80,
              "dhcp_client_info layout");
static_assert(offsetof(guest_device_info, avg_rate_2) == 160 && offsetof(guest_device_info, link_time) == 168 &&
                  offsetof(guest_device_info, tx_rate) == 200 && sizeof(guest_device_info) == 264,
              "guest_device_info layout");
