// The guest-network clients of the whole mesh.
#include "internal_devices.h"

#include "apmib.h"
#include "core/internal/device_text.h"
#include "core/internal/devices/device_options.h"
#include "core/internal/devices/mesh_view.h"
#include "core/internal/devices/vendor_table.h"
#include "core/text.h"
#include "core/uci_ref.h"
#include "result_codes.h"
#include "tools.h"
#include "vespin_core.h"

#include <stdio.h>
#include <string.h>
#include <strings.h>

#include <string>
#include <vector>

namespace {

const int kGuestSsidSetting = 1;  // the SSID of a virtual interface
const int kGuestInterface = 1;    // the first guest interface of a radio ("-va0")

// One guest station before it becomes a record: where it was seen.
struct guest_station {
    guest_device_info info;
    int band;  // radio: 0 5 GHz, 1 2.4 GHz
};

void take_statistics(guest_device_info* info, const lan_device_info& device) {
    info->avg_rate_2 = device.avg_rate_2;
    info->avg_rate_1 = device.avg_rate_1;
    info->link_time = device.link_time;
    info->bytes_2 = device.bytes_2;
    info->bytes_1 = device.bytes_1;
    info->rssi = device.rssi;
    info->tx_rate = device.tx_rate;
}

// The guest stations each neighbour reports, with that neighbour as node.
void add_reported(const mesh_view& mesh, std::vector<guest_station>* stations) {
    for (int n = 0; n < mesh.count; n++) {
        const mesh_node* node = mesh.neighbours[n];
        int count = node->guest_station_count < MESH_NODE_STATION_MAX ? node->guest_station_count : MESH_NODE_STATION_MAX;
        for (int i = 0; i < count; i++) {
            const vespin_guest_sta& sta = node->guest_stations[i];
            guest_station station = {};
            copy_text(station.info.mac, sizeof station.info.mac, sta.mac);
            station.info.avg_rate_2 = (uint32_t)sta.rtspeedup;
            station.info.avg_rate_1 = (uint32_t)sta.rtspeeddown;
            station.info.link_time = (uint64_t)sta.onlinetime;
            station.info.bytes_2 = (uint64_t)sta.rx_bytes;
            station.info.bytes_1 = (uint64_t)sta.tx_bytes;
            station.info.rssi = sta.rssi;
            station.info.tx_rate = (uint64_t)sta.negotiation_rate;
            copy_text(station.info.node_sn, sizeof station.info.node_sn, node->sn);
            copy_text(station.info.node_name, sizeof station.info.node_name, node->name);
            station.band = sta.band;
            stations->push_back(station);
        }
    }
}

// The stations of this node's guest interfaces, without a node yet.
void add_local(std::vector<guest_station>* stations) {
    static const char* const kFiles[] = {"/proc/wlan0-va0/sta_info", "/proc/wlan1-va0/sta_info"};
    for (int band = 0; band < 2; band++) {
        lan_device_info devices[LAN_DEVICE_MAX];
        int count = get_wifi_device_mac_list(kFiles[band], devices);
        for (int i = 0; i < count; i++) {
            guest_station station = {};
            system_mac_to_string(devices[i].mac, station.info.mac);
            take_statistics(&station.info, devices[i]);
            station.band = band;
            stations->push_back(station);
        }
    }
}

// The guest SSID of a radio: setting 1 of its first guest interface.
std::string guest_ssid(int radio) {
    apmib_save_wlanIdx();
    set_global_wlan_idx(radio);
    vwlan_idx = kGuestInterface;
    char ssid[64] = "";
    if (!apmib_get(kGuestSsidSetting, ssid)) ssid[0] = '\0';
    apmib_recov_wlanIdx();
    return ssid;
}

bool in_arp_table(const char* mac, const arp_entry* entries, int count) {
    for (int i = 0; i < count; i++) {
        char text[13];
        system_mac_to_string(entries[i].mac, text);
        if (strcasecmp(text, mac) == 0) return true;
    }
    return false;
}

}  // namespace

int vespin_get_guest_device_list(guest_device_list* list) {
    if (!list || !list->devices) return VESPIN_ERR_FAILURE;
    if (list->count <= 0) return VESPIN_ERR_NO_CHANGE;
    mesh_view mesh;
    std::vector<guest_station> stations;
    add_reported(mesh, &stations);
    add_local(&stations);
    const std::string ssids[2] = {guest_ssid(0), guest_ssid(1)};

    arp_entry arp[ARP_ENTRY_MAX];
    int arp_count = get_arp_table_list(arp);
    if (arp_count < 0) arp_count = 0;
    dhcp_client_info leases[DHCP_CLIENT_MAX];
    int32_t lease_count = 0;
    rtk_get_dhcp_client_list(&lease_count, leases);
    uci_ref uci;

    int capacity = list->count;
    int count = 0;
    for (size_t i = 0; i < stations.size() && count < capacity; i++) {
        guest_station& station = stations[i];
        bool repeated = false;
        for (size_t j = 0; j < i && !repeated; j++) repeated = strcasecmp(stations[j].info.mac, station.info.mac) == 0;
        if (repeated || !in_arp_table(station.info.mac, arp, arp_count)) continue;
        guest_device_info* info = &list->devices[count++];
        *info = station.info;
        copy_text(info->ssid, sizeof info->ssid, ssids[station.band ? 1 : 0].c_str());
        std::string text;
        if (uci.ok() && device_option(uci.get(), info->mac, "ip", &text)) copy_text(info->ip, sizeof info->ip, text.c_str());
        for (int l = 0; l < lease_count; l++) {
            char mac[13];
            system_mac_to_string(leases[l].mac, mac);
            if (strcasecmp(mac, info->mac) == 0) {
                copy_text(info->name, sizeof info->name, leases[l].name);
                break;
            }
        }
        char path[64];
        snprintf(path, sizeof path, "assets.%s.name", info->mac);
        if (uci.ok() && is_uci_name_text(info->mac) && uci_ctx_get_text(uci.get(), path, &text) == 0)
            copy_text(info->name, sizeof info->name, text.c_str());
        if (!info->node_sn[0]) {
            copy_text(info->node_sn, sizeof info->node_sn, mesh.local_sn);
            copy_text(info->node_name, sizeof info->node_name, mesh.local_name);
        }
        if (!info->name[0]) {
            unsigned char mac[6] = {0};
            char brand[16] = "Unknown Vendor";
            if (mac_text_to_bytes(info->mac, mac)) vendor_brand(vendor_table_get(), mac, brand);
            copy_text(info->name, sizeof info->name, brand);
        }
    }
    list->count = count;
    return VESPIN_OK;
}
