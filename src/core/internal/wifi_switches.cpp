// The 2.4 GHz mesh switch and the LED schedule in "vespin_wifi", and the
// region of the stored country.
#include "internal_wifi.h"

#include "apmib.h"
#include "channel_list.h"
#include "core/config/wifi/wifi_fields.h"
#include "core/log.h"
#include "core/text.h"
#include "core/uci_ref.h"
#include "platform/platform.h"
#include "result_codes.h"
#include "uciconfig.h"
#include "vespin_core.h"

#include <ctype.h>
#include <string.h>

#include <string>

namespace {

const char kMeshSwitch[] = "vespin_wifi.mesh.band_24g_enabled";

// An option's value, or the fallback when it is not stored: 0 or 600001.
int read_or(uci_context* ctx, const char* path, const char* fallback, char* out, size_t size) {
    int result = uci_ctx_get_text(ctx, path, out, size);
    if (result == VESPIN_ERR_NOT_FOUND) {
        copy_text(out, size, fallback);
        return 0;
    }
    return result == 0 ? 0 : VESPIN_ERR_FAILURE;
}

// Sets the options (section first), commits and restarts the scheduler.
int store_and_restart(std::initializer_list<std::string> texts) {
    uci_context* ctx = vespin_uci_ctx_new();
    if (vespin_is_error(ctx)) return VESPIN_ERR_FAILURE;
    int result = 0;
    for (const std::string& text : texts)
        if (result == 0 && vespin_uci_ctx_cmd(ctx, 4, text.c_str()) != 0) result = VESPIN_ERR_FAILURE;
    if (result == 0 && vespin_uci_ctx_commit(ctx, "vespin_wifi") != 0) result = VESPIN_ERR_FAILURE;
    vespin_uci_ctx_free(ctx);
    if (result == 0) plat_system("/bin/vespin_cron.sh restart");
    return result;
}

bool schedule_time(const char* field) {
    size_t length = strnlen(field, 8);
    for (size_t i = 0; i < length; i++)
        if (!isdigit((unsigned char)field[i]) && field[i] != ':') return false;
    return true;
}

}  // namespace

extern "C" {

int vespin_get_24g_mesh_switch(uint8_t* enabled) {
    if (!enabled) return VESPIN_ERR_FAILURE;
    char value[16];
    uci_context* ctx = vespin_uci_ctx_new();
    int result = read_or(ctx, kMeshSwitch, "1", value, sizeof value);
    vespin_uci_ctx_free(ctx);
    if (result == 0) *enabled = vespin_uci_value_is_true(value) ? 1 : 0;
    return result;
}

int vespin_set_24g_mesh_switch(int enabled) {
    return store_and_restart({"vespin_wifi.mesh=mesh", std::string(kMeshSwitch) + "=" + (enabled ? "1" : "0")});
}

int vespin_mesh_led_time_limit_get(mesh_led_time_limit* config) {
    if (!config) return VESPIN_ERR_FAILURE;
    char enabled[16], begin[16], end[16];
    uci_context* ctx = vespin_uci_ctx_new();
    int result = read_or(ctx, "vespin_wifi.led.enabled", "0", enabled, sizeof enabled);
    if (result == 0) result = read_or(ctx, "vespin_wifi.led.begin_time", "22:00", begin, sizeof begin);
    if (result == 0) result = read_or(ctx, "vespin_wifi.led.end_time", "07:00", end, sizeof end);
    vespin_uci_ctx_free(ctx);
    if (result != 0) return result;
    config->enabled = vespin_uci_value_is_true(enabled) ? 1 : 0;
    memset(config->begin_time, 0, sizeof config->begin_time);
    memset(config->end_time, 0, sizeof config->end_time);
    strncpy(config->begin_time, begin, sizeof config->begin_time);
    strncpy(config->end_time, end, sizeof config->end_time);
    return 0;
}

int vespin_mesh_led_time_limit_set(const mesh_led_time_limit* config) {
    if (!config) return VESPIN_ERR_FAILURE;
    if (!schedule_time(config->begin_time) || !schedule_time(config->end_time)) return VESPIN_ERR_INVALID_PARAM;
    return store_and_restart({"vespin_wifi.led=led", std::string("vespin_wifi.led.enabled=") + (config->enabled ? "1" : "0"),
                              "vespin_wifi.led.begin_time=" + WIFI_FIELD(*config, begin_time),
                              "vespin_wifi.led.end_time=" + WIFI_FIELD(*config, end_time)});
}

int vespin_get_region_id(uint32_t* region_id) {
    if (!region_id) return VESPIN_ERR_FAILURE;
    char country[8] = {0};
    set_global_wlan_idx(0);
    if (!apmib_get(MIB_WLAN_COUNTRY_STRING, country)) {
        set_global_wlan_idx(1);
        memset(country, 0, sizeof country);
        if (!apmib_get(MIB_WLAN_COUNTRY_STRING, country)) return VESPIN_ERR_SETTING;
    }
    return get_region_id(country, region_id) == 0 ? 0 : VESPIN_ERR_FAILURE;
}

}  // extern "C"
