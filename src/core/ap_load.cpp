// Station records loaded from the driver's station files of this node.
#include "ap.h"

#include "internal_devices.h"
#include "log.h"
#include "platform.h"
#include "result_codes.h"

#include <stdio.h>
#include <string.h>
#include <unistd.h>

#include <type_traits>

namespace {

// Fills the fields both record kinds share from one parsed device.
template <typename Station>
void fill_station(Station* station, const lan_device_info& device, int radio) {
    memset(station, 0, sizeof *station);
    snprintf(station->mac, sizeof station->mac, "%02x%02x%02x%02x%02x%02x", device.mac[0], device.mac[1],
             device.mac[2], device.mac[3], device.mac[4], device.mac[5]);
    station->band = radio;
    station->onlinetime = (int64_t)device.link_time;
    station->rtspeedup = (int32_t)device.avg_rate_2;
    station->rtspeeddown = (int32_t)device.avg_rate_1;
    station->rx_bytes = (int64_t)device.bytes_2;
    station->tx_bytes = (int64_t)device.bytes_1;
    station->rssi = device.rssi;
    station->negotiation_rate = (int64_t)device.tx_rate;
}

// Parses one station file and appends its stations: the number appended,
// or -1 ("Fail to load station info") when the file cannot be parsed.
template <typename Station>
int append_file(const char* path, int radio, int32_t guest_ap_id, Station* stations, int32_t count) {
    lan_device_info devices[LAN_DEVICE_MAX];
    memset(devices, 0, sizeof devices);
    int parsed = get_wifi_device_mac_list(path, devices);
    if (parsed < 0) {
        VLOG_ERROR("Fail to load station info");
        return -1;
    }
    if (parsed > LAN_DEVICE_MAX) parsed = LAN_DEVICE_MAX;
    for (int i = 0; i < parsed; ++i) {
        Station* station = &stations[count + i];
        fill_station(station, devices[i], radio);
        if constexpr (std::is_same_v<Station, vespin_guest_sta>) station->guest_ap_id = guest_ap_id;
    }
    return parsed;
}

}  // namespace

int vespin_sta_load(vespin_sta* stations, int32_t* count) {
    if (!stations || !count) return VESPIN_ERR_FAILURE;
    int32_t total = 0;
    for (int radio = 0; radio < 2; ++radio) {
        char path[32];
        snprintf(path, sizeof path, "/proc/wlan%d/sta_info", radio);
        int added = append_file(path, radio, 0, stations, total);
        if (added < 0) return VESPIN_ERR_FAILURE;
        total += added;
    }
    *count = total;
    return 0;
}

int vespin_guest_sta_load(vespin_guest_sta* stations, int32_t* count) {
    if (!stations || !count) return VESPIN_ERR_FAILURE;
    int32_t total = 0;
    for (int radio = 0; radio < 2; ++radio) {
        for (int guest = 0; guest < 4; ++guest) {
            char path[32];
            snprintf(path, sizeof path, "/proc/wlan%d-va%d/sta_info", radio, guest);
            if (plat_access(path, F_OK) != 0) continue;  // an interface that is not up
            int added = append_file(path, radio, guest + 1, stations, total);
            if (added < 0) return VESPIN_ERR_FAILURE;
            total += added;
        }
    }
    *count = total;
    return 0;
}
