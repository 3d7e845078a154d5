// Devices that went offline, and the removal of a device with everything
// configured for it.
#include "internal_devices.h"

#include "core/internal/device_text.h"
#include "core/uci_ref.h"
#include "internal_speed_limit.h"
#include "internal_time_limit.h"
#include "internal_url_filter.h"
#include "platform.h"
#include "result_codes.h"

#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include <string>

namespace {

const char kUpdateDevices[] = "/bin/vespin_update_device";
// Section positions walked at most: the router counts them in 8 bits, so a
// 257th section would lead back to the first one for ever.
const int kSectionMax = 256;

// "devices.@sta[n].<option>" through the context; true when it exists.
bool positional_option(uci_context* ctx, int n, const char* option, std::string* value) {
    char path[64];
    snprintf(path, sizeof path, "devices.@sta[%d].%s", n, option);
    return uci_ctx_get_text(ctx, path, value) == 0;
}

uint64_t positional_number(uci_context* ctx, int n, const char* option) {
    std::string text;
    return positional_option(ctx, n, option, &text) ? strtoull(text.c_str(), nullptr, 10) : 0;
}

}  // namespace

int vespin_get_offline_device(offline_device_list* list) {
    if (!list) return VESPIN_ERR_FAILURE;
    plat_system(kUpdateDevices);
    offline_device_info* devices = (offline_device_info*)plat_calloc(OFFLINE_DEVICE_MAX, sizeof *devices);
    if (!devices) return VESPIN_ERR_FAILURE;
    uint32_t count = 0;
    uci_ref uci;
    if (!uci.ok()) {  // an empty list would say every device is online
        free(devices);
        return VESPIN_ERR_FAILURE;
    }
    std::string online;
    for (int n = 0; uci.ok() && n < kSectionMax && count < OFFLINE_DEVICE_MAX &&
                    positional_option(uci.get(), n, "online", &online);
         n++) {
        if (vespin_uci_value_is_true(online.c_str())) continue;
        offline_device_info* device = &devices[count++];
        std::string text;
        if (positional_option(uci.get(), n, "mac", &text)) snprintf(device->mac, sizeof device->mac, "%s", text.c_str());
        if (positional_option(uci.get(), n, "name", &text))
            snprintf(device->name, sizeof device->name, "%s", text.c_str());
        uint64_t offline_time = positional_number(uci.get(), n, "offline_time");
        uint64_t access_time = positional_number(uci.get(), n, "access_time");
        device->offline_time = offline_time * 1000;
        device->access_time = access_time * 1000;
        device->online_duration = access_time < offline_time ? offline_time - access_time : 0;
        device->tx_bytes = positional_number(uci.get(), n, "tx_bytes");
        device->rx_bytes = positional_number(uci.get(), n, "rx_bytes");
    }
    list->count = count;
    list->devices = devices;
    return VESPIN_OK;
}

int vespin_del_offline_device(uci_context* uci_ctx, const char* mac) {
    if (mac) {
        if (strlen(mac) != 12 || !is_uci_name_text(mac)) return VESPIN_ERR_FAILURE;
        remove_device_related_config(mac);
        take_effect_device_related_servers();
        return VESPIN_OK;
    }
    if (!uci_ctx || vespin_is_error(uci_ctx)) return VESPIN_ERR_FAILURE;
    plat_system(kUpdateDevices);
    int removed = 0;
    std::string online, device_mac;
    // The context keeps the package as it was first read, so positions stay
    // put while the commands below delete sections from the file.
    for (int n = 0; n < kSectionMax && positional_option(uci_ctx, n, "online", &online); n++) {
        if (vespin_uci_value_is_true(online.c_str())) continue;
        if (!positional_option(uci_ctx, n, "mac", &device_mac) || !is_uci_name_text(device_mac.c_str())) continue;
        remove_device_related_config(device_mac.c_str());
        removed++;
    }
    if (removed) take_effect_device_related_servers();
    return VESPIN_OK;
}

int remove_device_related_config(const char* mac) {
    if (!is_uci_name_text(mac)) return VESPIN_ERR_FAILURE;
    static const char* const kCommands[] = {
        "uci delete devices.%s && uci commit devices",
        "uci delete devices_extra.%s && uci -c /var/run/config commit devices_extra",
        "uci delete assets.%s && uci commit assets",
        "uci delete urlfilters.%s && uci commit urlfilters",
        "timelimit flush && uci delete timelimits.%s && uci commit timelimits",
    };
    for (const char* format : kCommands) {
        char command[256];
        snprintf(command, sizeof command, format, mac);
        plat_system(command);
    }
    return mesh_device_speed_limit_delete(mac);
}

int take_effect_device_related_servers(void) {
    URL_filter_restart();
    time_limit_restart();
    device_speed_limit_restart();
    return VESPIN_OK;
}
