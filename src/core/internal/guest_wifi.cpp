// The guest Wi-Fi list: entries in "multipleap", bands on the radios'
// virtual interfaces.
#include "internal_wifi.h"

#include "apmib.h"
#include "core/config/wifi/wifi_fields.h"
#include "core/log.h"
#include "core/text.h"
#include "core/uci_ref.h"
#include "platform/platform.h"
#include "result_codes.h"
#include "uciconfig.h"
#include "vespin_core.h"

#include <ctype.h>
#include <stdlib.h>
#include <string.h>

#include <string>

namespace {

const char kPackage[] = "multipleap";
// Sections removed before the list is written again; far above any list.
const int kMostStaleSections = 64;

// The radios of an entry's bands: 2.4 GHz is radio 1, 5 GHz radio 0.
struct radio_band {
    int radio;
    band guest_wifi::*member;
};
const radio_band kRadios[] = {{1, &guest_wifi::band_24g}, {0, &guest_wifi::band_5g}};

bool valid_id(const char* id) {
    size_t length = strnlen(id, sizeof(guest_wifi::id));
    if (length == 0 || length >= sizeof(guest_wifi::id)) return false;
    for (size_t i = 0; i < length; i++)
        if (!isalnum((unsigned char)id[i]) && id[i] != '_') return false;
    return true;
}

// Selects a guest interface: entry `index` is virtual interface index + 1.
void select_interface(int radio, int index) {
    set_global_wlan_idx(radio);
    vwlan_idx = index + 1;
}

bool load_band(band* b, int radio, int index) {
    int channel = 0;
    set_global_wlan_idx(radio);
    vwlan_idx = 0;
    if (!apmib_get(MIB_WLAN_CHANNEL, &channel)) return false;
    select_interface(radio, index);
    char ssid[WIFI_SSID_SIZE] = {0};
    char password[WIFI_PASSWORD_SIZE] = {0};
    int encrypt = 0, hidden = 0, disabled = 0;
    bool read = apmib_get(MIB_WLAN_SSID, ssid) && apmib_get(MIB_WLAN_WPA_PSK, password) &&
                apmib_get(MIB_WLAN_ENCRYPT, &encrypt) && apmib_get(MIB_WLAN_HIDDEN_SSID, &hidden) &&
                apmib_get(MIB_WLAN_DISABLED, &disabled);
    vwlan_idx = 0;
    if (!read) return false;
    copy_text(b->ssid, sizeof b->ssid, ssid);
    copy_text(b->password, sizeof b->password, password);
    b->encrypt = (uint32_t)encrypt;
    b->hidden = (uint32_t)hidden;
    b->disabled = disabled ? 0 : 1;  // guest bands keep "enabled" in this word
    b->mode = WIFI_MODE_AP;
    b->channel = (uint32_t)channel;
    return true;
}

int32_t read_number(uci_context* ctx, const std::string& path, int32_t fallback) {
    char value[24];
    return uci_ctx_get_text(ctx, path.c_str(), value, sizeof value) == 0 ? (int32_t)strtol(value, nullptr, 10) : fallback;
}

bool read_flag(uci_context* ctx, const std::string& path) {
    char value[16] = {0};
    return uci_ctx_get_text(ctx, path.c_str(), value, sizeof value) == 0 && vespin_uci_value_is_true(value);
}

int load_entries(uci_context* ctx, guest_wifi_config* list) {
    list->count = 0;
    for (int i = 0; i < GUEST_WIFI_MAX; i++) {
        const std::string section = std::string(kPackage) + ".@item[" + std::to_string(i) + "]";
        guest_wifi& entry = list->entries[i];
        memset(&entry, 0, sizeof entry);
        int result = uci_ctx_get_text(ctx, (section + ".id").c_str(), entry.id, sizeof entry.id);
        if (result == VESPIN_ERR_NOT_FOUND) break;
        if (result != 0) return VESPIN_ERR_FAILURE;
        entry.enabled = read_flag(ctx, section + ".enabled");
        entry.enabled_time = read_number(ctx, section + ".enabled_time", 0);
        entry.duration = read_number(ctx, section + ".duration", -1);
        entry.security = read_flag(ctx, section + ".security");
        entry.smart_connect = read_flag(ctx, section + ".smart_connect");
        list->count++;
    }
    return 0;
}

int32_t remaining_of(const guest_wifi& entry) {
    if (!entry.enabled || entry.duration == -1) return entry.duration;
    long long left = (long long)entry.enabled_time + entry.duration - (long long)plat_time();
    return left < 0 ? 0 : (int32_t)left;
}

// When an enabled entry's time started: its own enabled_time when set,
// else the stored one when the stored entry of that id was enabled already
// (a change of its settings does not restart its time), else now.
int32_t enabled_time_of(uci_context* ctx, const guest_wifi& entry) {
    if (!entry.enabled || entry.enabled_time != 0) return entry.enabled_time;
    const std::string section = std::string(kPackage) + "." + WIFI_FIELD(entry, id);
    int32_t stored = read_number(ctx, section + ".enabled_time", 0);
    return read_flag(ctx, section + ".enabled") && stored != 0 ? stored : (int32_t)plat_time();
}

int write_entries(const guest_wifi_config* list) {
    uci_context* ctx = guest_network_uci_ctx_new();
    if (vespin_is_error(ctx)) return VESPIN_ERR_FAILURE;
    int32_t enabled_times[GUEST_WIFI_MAX] = {0};
    for (uint32_t i = 0; i < list->count; i++) enabled_times[i] = enabled_time_of(ctx, list->entries[i]);
    int result = 0;
    for (int stale = 0; stale < kMostStaleSections; stale++) {
        const std::string first = std::string(kPackage) + ".@item[0]";
        if (uci_ctx_find(ctx, first.c_str(), nullptr, nullptr) != 0) break;
        if (vespin_uci_ctx_cmd(ctx, 2, first.c_str()) != 0) result = VESPIN_ERR_FAILURE;
    }
    for (uint32_t i = 0; i < list->count && result == 0; i++) {
        const guest_wifi& entry = list->entries[i];
        const std::string id = WIFI_FIELD(entry, id);
        const std::string section = std::string(kPackage) + "." + id;
        const std::string texts[] = {
            section + "=item",
            section + ".id=" + id,
            section + ".enabled=" + (entry.enabled ? "1" : "0"),
            section + ".enabled_time=" + std::to_string(enabled_times[i]),
            section + ".duration=" + std::to_string(entry.duration),
            section + ".security=" + (entry.security ? "1" : "0"),
            section + ".smart_connect=" + (entry.smart_connect ? "1" : "0"),
        };
        for (const std::string& text : texts)
            if (result == 0 && vespin_uci_ctx_cmd(ctx, 4, text.c_str()) != 0) result = VESPIN_ERR_FAILURE;
    }
    if (result == 0 && guest_network_config_commit(ctx) != 0) result = VESPIN_ERR_FAILURE;
    if (result != 0) guest_network_config_rollback(ctx);
    guest_network_config_free(ctx);
    return result;
}

// Writes every guest interface: those of the list's entries, the rest off.
int write_interfaces(const guest_wifi_config* list) {
    for (int i = 0; i < GUEST_WIFI_MAX; i++) {
        for (const radio_band& rb : kRadios) {
            select_interface(rb.radio, i);
            int disabled = 1;
            if ((uint32_t)i < list->count) {
                const guest_wifi& entry = list->entries[i];
                const band& b = entry.*rb.member;
                int result = wifi_write_band_identity(&b);
                if (result != 0) return result;
                disabled = entry.enabled && b.disabled ? 0 : 1;
            }
            if (!wifi_set_setting(MIB_WLAN_DISABLED, &disabled)) return VESPIN_ERR_SETTING;
        }
    }
    return 0;
}

}  // namespace

extern "C" {

int guest_wifi_config_load(guest_wifi_config* list) {
    if (!list) return VESPIN_ERR_FAILURE;
    uci_context* ctx = guest_network_uci_ctx_new();
    if (vespin_is_error(ctx)) return VESPIN_ERR_FAILURE;
    int result = load_entries(ctx, list);
    guest_network_config_free(ctx);
    for (uint32_t i = 0; i < list->count && result == 0; i++) {
        guest_wifi& entry = list->entries[i];
        for (const radio_band& rb : kRadios)
            if (!load_band(&(entry.*rb.member), rb.radio, (int)i)) result = VESPIN_ERR_SETTING;
        entry.remaining_duration = remaining_of(entry);
    }
    return result;
}

int config_guest_wifi(const guest_wifi_config* list) {
    if (!list || list->count > GUEST_WIFI_MAX) return VESPIN_ERR_INVALID_PARAM;
    for (uint32_t i = 0; i < list->count; i++) {
        const guest_wifi& entry = list->entries[i];
        if (!valid_id(entry.id)) return VESPIN_ERR_INVALID_PARAM;
        for (uint32_t j = 0; j < i; j++)
            if (WIFI_FIELD(list->entries[j], id) == WIFI_FIELD(entry, id)) return VESPIN_ERR_INVALID_PARAM;
    }
    int result = write_entries(list);
    if (result == 0) result = write_interfaces(list);
    vwlan_idx = 0;
    if (result != 0) return result;
    if (flush_apmib(APMIB_CURRENT_SETTING) != 0) return VESPIN_ERR_SETTING;
    plat_system("/bin/vespin_cron.sh restart");
    return 0;
}

}  // extern "C"
