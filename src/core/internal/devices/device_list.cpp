// The connected-device list: the ARP table merged with the station files,
// the stations the other nodes report, the blacklist and UCI, then checked
// for liveness.
#include "internal_devices.h"

#include "core/internal/devices/device_options.h"
#include "core/internal/devices/known_mesh_macs.h"
#include "core/internal/devices/mesh_view.h"
#include "core/internal/devices/vendor_table.h"
#include "core/log.h"
#include "core/text.h"
#include "core/uci_ref.h"
#include "internal_sta_blacklist.h"
#include "platform.h"
#include "result_codes.h"
#include "tools.h"

#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <strings.h>

#include <string>
#include <vector>

namespace {

struct device_record {
    lan_device_info info;
    char mac_text[13];
};

// Step 2: the ARP table less the guest-network clients.
int lan_arp_entries(arp_entry* entries) {
    int count = get_arp_table_list(entries);
    if (count < 0) return count;
    guest_device_info guests[LAN_DEVICE_MAX];
    guest_device_list list = {LAN_DEVICE_MAX, guests};
    if (vespin_get_guest_device_list(&list) != 0) list.count = 0;
    int kept = 0;
    for (int i = 0; i < count; i++) {
        char mac[13];
        system_mac_to_string(entries[i].mac, mac);
        bool guest = false;
        for (int g = 0; g < list.count && !guest; g++) guest = strcasecmp(guests[g].mac, mac) == 0;
        if (!guest) entries[kept++] = entries[i];
    }
    return kept;
}

// Step 3: one wired record per ARP entry, named by its vendor or by UCI.
std::vector<device_record> wired_records(const arp_entry* entries, int count, vendor_table* vendors, uci_context* uci) {
    std::vector<device_record> records;
    for (int i = 0; i < count; i++) {
        if (entries[i].ip == 0) continue;
        device_record record = {};
        record.info.ip = entries[i].ip;
        memcpy(record.info.mac, entries[i].mac, 6);
        system_mac_to_string(record.info.mac, record.mac_text);
        copy_text(record.info.band, sizeof record.info.band, "wired");
        vendor_brand(vendors, record.info.mac, record.info.brand);
        copy_text(record.info.name, sizeof record.info.name, record.info.brand);
        std::string name;
        if (uci && device_option(uci, record.mac_text, "name", &name))
            copy_text(record.info.name, sizeof record.info.name, name.c_str());
        records.push_back(record);
    }
    return records;
}

// Step 4: the statistics of this node's stations of one radio.
void apply_station_file(std::vector<device_record>* records, const char* path, const char* band, const char* failure) {
    lan_device_info stations[LAN_DEVICE_MAX];
    int count = get_wifi_device_mac_list(path, stations);
    if (count < 0) {
        VLOG_ERROR("%s", failure);
        return;
    }
    for (device_record& record : *records) {
        for (int i = 0; i < count; i++) {
            if (memcmp(stations[i].mac, record.info.mac, 6) != 0) continue;
            lan_device_info& info = record.info;
            const lan_device_info& station = stations[i];
            info.expired_time = station.expired_time;
            info.avg_rate_2 = station.avg_rate_2;
            info.avg_rate_1 = station.avg_rate_1;
            info.link_time = station.link_time;
            info.bytes_2 = station.bytes_2;
            info.bytes_1 = station.bytes_1;
            info.rssi = station.rssi;
            info.tx_rate = station.tx_rate;
            info.wireless = 1;
            copy_text(info.band, sizeof info.band, band);
            break;
        }
    }
}

bool blacklisted(const char* mac, const blacklist_entry* list, int32_t count) {
    for (int32_t i = 0; i < count; i++)
        if (strcasecmp(list[i].mac, mac) == 0) return true;
    return false;
}

// Step 7: the node a record hangs on: the first neighbour reporting it, else this node.
void attach(device_record* record, const mesh_view& mesh) {
    lan_device_info& info = record->info;
    size_t length = strlen(record->mac_text);
    for (int n = 0; n < mesh.count; n++) {
        const mesh_node* node = mesh.neighbours[n];
        int count = node->station_count < MESH_NODE_STATION_MAX ? node->station_count : MESH_NODE_STATION_MAX;
        for (int i = 0; i < count; i++) {
            const vespin_sta& sta = node->stations[i];
            if (strncmp(sta.mac, record->mac_text, length) != 0) continue;
            copy_text(info.band, sizeof info.band, sta.band ? "2.4g" : "5g");
            info.avg_rate_2 = (uint32_t)sta.rtspeedup;
            info.avg_rate_1 = (uint32_t)sta.rtspeeddown;
            info.link_time = (uint64_t)sta.onlinetime;
            info.bytes_2 = (uint64_t)sta.rx_bytes;
            info.bytes_1 = (uint64_t)sta.tx_bytes;
            info.rssi = sta.rssi;
            info.tx_rate = (uint64_t)sta.negotiation_rate;
            copy_text(info.node_name, sizeof info.node_name, node->name);
            copy_text(info.node_sn, sizeof info.node_sn, node->sn);
            return;
        }
    }
    copy_text(info.node_name, sizeof info.node_name, mesh.local_name);
    copy_text(info.node_sn, sizeof info.node_sn, mesh.local_sn);
}

// Step 8: whether a record stays in the list.
bool is_alive(const device_record& record, const std::vector<device_record>& all, bool probe_wired) {
    char ip_text[16];
    ip_int_to_string(record.info.ip, ip_text);
    bool wired = strcmp(record.info.band, "wired") == 0;
    if (!wired && record.info.link_time == 0) return false;
    int seen = 0;
    for (const device_record& other : all) seen += strcmp(other.mac_text, record.mac_text) == 0;
    if (seen >= 2) return is_lan_ip_available(ip_text) != 0;
    if (!wired) return true;
    if (probe_wired) return is_lan_ip_available(ip_text) != 0;
    if (!is_device_online(record.mac_text)) return false;
    return is_real_wired_device(record.mac_text) != 0;
}

}  // namespace

int rtk_get_lan_device_info(int32_t* count_out, lan_device_info* records, uint8_t probe_wired) {
    if (!count_out || !records) return VESPIN_ERR_FAILURE;
    vendor_table* vendors = vendor_table_get();
    if (!vendors) return VESPIN_ERR_FAILURE;

    arp_entry entries[ARP_ENTRY_MAX];
    int arp_count = lan_arp_entries(entries);
    if (arp_count < 0) {
        VLOG_ERROR("Fail to get arp table list");
        return VESPIN_ERR_FAILURE;
    }
    uci_ref uci;
    std::vector<device_record> found = wired_records(entries, arp_count, vendors, uci.ok() ? uci.get() : nullptr);
    apply_station_file(&found, "/proc/wlan0/sta_info", "5g", "Fail to get primary 5g devices");
    apply_station_file(&found, "/proc/wlan1/sta_info", "2.4g", "Fail to get primary 2.4g devices");

    mesh_view mesh;
    blacklist_entry* blacklist = nullptr;
    int32_t blacklist_count = 0;
    if (sta_blacklist_list(&blacklist, &blacklist_count) != 0) blacklist_count = 0;
    known_mesh_macs_update(mesh.neighbours, mesh.count);

    std::vector<device_record> kept;
    for (const device_record& record : found) {
        if (known_mesh_macs_contains(record.mac_text) || blacklisted(record.mac_text, blacklist, blacklist_count) ||
            record.info.ip == 0)
            continue;
        kept.push_back(record);
    }
    free(blacklist);

    for (device_record& record : kept) {
        attach(&record, mesh);
        std::string band;
        if (strcmp(record.info.band, "wired") == 0 && uci.ok() && device_option(uci.get(), record.mac_text, "band", &band))
            copy_text(record.info.band, sizeof record.info.band, band.c_str());
    }

    int32_t count = 0;
    for (const device_record& record : kept) {
        if (is_alive(record, kept, probe_wired != 0)) {
            records[count++] = record.info;
            continue;
        }
        char command[64];
        char ip_text[16];
        ip_int_to_string(record.info.ip, ip_text);
        snprintf(command, sizeof command, "arp -d %s", ip_text);
        plat_system(command);
    }
    *count_out = count;
    return VESPIN_OK;
}

int mesh_device_list(lan_device_info** list_out, int32_t* count_out, uint8_t probe_wired) {
    if (!list_out || !count_out) return VESPIN_ERR_FAILURE;
    lan_device_info* list = (lan_device_info*)plat_calloc(LAN_DEVICE_MAX, sizeof *list);
    if (!list) {
        VLOG_ERROR("mesh_device_list malloc failed!");
        return VESPIN_ERR_NO_MEMORY;
    }
    int32_t count = 0;
    if (rtk_get_lan_device_info(&count, list, probe_wired) != 0) {
        free(list);
        VLOG_ERROR("rtk_get_lan_device_info failed!");
        return VESPIN_ERR_FAILURE;
    }
    if (count > 0) {
        *list_out = list;
        *count_out = count;
    } else {
        free(list);
    }
    return VESPIN_OK;
}
