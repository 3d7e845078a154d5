// The Wi-Fi record: load, JSON form and update from JSON.
#include "config_wifi.h"

#include "apmib.h"
#include "core/log.h"
#include "core/text.h"
#include "core/uci_ref.h"
#include "result_codes.h"
#include "uciconfig.h"
#include "vespin_core.h"
#include "wifi_fields.h"

#include <json-c/json.h>
#include <string.h>

namespace {

// Settings 1, 25, 30, 21, 22, 2, 284 of a radio's own interface, in that order.
bool load_band(band* b, int radio) {
    set_global_wlan_idx(radio);
    vwlan_idx = 0;
    int encrypt = 0, hidden = 0, disabled = 0, channel = 0, bandwidth = 0;
    char ssid[WIFI_SSID_SIZE] = {0};
    char password[WIFI_PASSWORD_SIZE] = {0};
    if (!apmib_get(MIB_WLAN_SSID, ssid) || !apmib_get(MIB_WLAN_ENCRYPT, &encrypt) ||
        !apmib_get(MIB_WLAN_WPA_PSK, password) || !apmib_get(MIB_WLAN_HIDDEN_SSID, &hidden) ||
        !apmib_get(MIB_WLAN_DISABLED, &disabled) || !apmib_get(MIB_WLAN_CHANNEL, &channel) ||
        !apmib_get(MIB_WLAN_CHANNEL_BONDING, &bandwidth))
        return false;
    copy_text(b->ssid, sizeof b->ssid, ssid);
    copy_text(b->password, sizeof b->password, password);
    b->encrypt = (uint32_t)encrypt;
    b->hidden = (uint32_t)hidden;
    b->disabled = (uint32_t)disabled;
    b->channel = (uint32_t)channel;
    b->bandwidth = bandwidth;
    b->mode = WIFI_MODE_AP;
    return true;
}

bool password_length_fits(const band& b) {
    size_t length = strnlen(b.password, sizeof b.password);
    return b.encrypt == WIFI_ENCRYPT_OPEN || (length >= 8 && length <= 63);
}

// The members of a Wi-Fi update, in their order; false on a wrong type.
bool apply_members(wifi_config* c, json_object* object, bool* touched) {
    json_object* member = nullptr;
    if (json_object_object_get_ex(object, "smart_connect", &member)) {
        if (!json_object_is_type(member, json_type_boolean)) return false;
        c->smart_connect = json_object_get_boolean(member) ? 1 : 0;
        *touched = true;
    }
    if (json_object_object_get_ex(object, "ssid", &member)) {
        if (wifi_copy_ssid(member, c->band_24g.ssid) != 0) return false;
        std::string ssid_5g = c->band_24g.ssid;
        if (!c->smart_connect) ssid_5g += "-5G";
        copy_text(c->band_5g.ssid, sizeof c->band_5g.ssid, ssid_5g.c_str());
        *touched = true;
    }
    if (json_object_object_get_ex(object, "encrypt_type", &member)) {
        if (!json_object_is_type(member, json_type_int)) return false;
        c->band_24g.encrypt = c->band_5g.encrypt = (uint32_t)json_object_get_int(member);
        // Deliberately not a change on its own: such an update answers 600100.
    }
    if (json_object_object_get_ex(object, "password", &member)) {
        if (wifi_copy_password(member, c->band_24g.password) != 0) return false;
        memcpy(c->band_5g.password, c->band_24g.password, sizeof c->band_5g.password);
        *touched = true;
    }
    if (json_object_object_get_ex(object, "hidden", &member)) {
        if (!json_object_is_type(member, json_type_boolean)) return false;
        c->band_24g.hidden = c->band_5g.hidden = json_object_get_boolean(member) ? 1 : 0;
        *touched = true;
    }
    if (!json_object_object_get_ex(object, "bands", &member)) return true;
    if (!json_object_is_type(member, json_type_object)) return false;
    json_object* item = nullptr;
    if (json_object_object_get_ex(member, "2.4G", &item) && json_to_band(&c->band_24g, item) != 0) return false;
    if (json_object_object_get_ex(member, "5G", &item)) {
        if (json_to_band(&c->band_5g, item) != 0) return false;
        if (c->smart_connect) memcpy(c->band_5g.ssid, c->band_24g.ssid, sizeof c->band_5g.ssid);
    }
    if (json_object_object_get_ex(member, "disable_2g", &item)) {
        if (!json_object_is_type(item, json_type_boolean)) return false;
        c->band_24g.disabled = json_object_get_boolean(item) ? 1 : 0;
    }
    if (json_object_object_get_ex(member, "disable_5g", &item)) {
        if (!json_object_is_type(item, json_type_boolean)) return false;
        c->band_5g.disabled = json_object_get_boolean(item) ? 1 : 0;
    }
    *touched = true;
    return true;
}

}  // namespace

extern "C" {

int wifi_config_load(wifi_config* c) {
    if (!c) return VESPIN_ERR_SETTING;
    char smart_connect[16] = {0};
    uci_context* ctx = vespin_uci_ctx_new();
    int read = uci_ctx_get_text(ctx, "vespin_wifi.global.smart_connect", smart_connect, sizeof smart_connect);
    vespin_uci_ctx_free(ctx);
    // The log-only failures below return success with the rest unloaded, as
    // the management daemons have always been answered.
    if (read != 0) {
        VLOG_ERROR("Fail to get the value of smart_connect");
        return 0;
    }
    c->smart_connect = vespin_uci_value_is_true(smart_connect) ? 1 : 0;
    if (get_acs(&c->band_24g.acs, 1) != 0) {
        VLOG_ERROR("Fail to get 2.4G acs");
        return 0;
    }
    if (get_acs(&c->band_5g.acs, 0) != 0) {
        VLOG_ERROR("Fail to get 5G acs");
        return 0;
    }
    if (!load_band(&c->band_5g, 0) || !load_band(&c->band_24g, 1)) return VESPIN_ERR_SETTING;
    memcpy(c->ssid, c->band_24g.ssid, sizeof c->ssid);
    copy_text(c->password, sizeof c->password, WIFI_FIELD(c->band_24g, password).c_str());
    c->encrypt_type = c->band_24g.encrypt;
    c->hidden = c->band_24g.hidden;
    return 0;
}

json_object* wifi_config_to_json(const wifi_config* c) {
    if (!c) return nullptr;
    json_object* object = json_object_new_object();
    json_object_object_add(object, "ssid", json_object_new_string(WIFI_FIELD(c->band_24g, ssid).c_str()));
    json_object_object_add(object, "password", json_object_new_string(WIFI_FIELD(c->band_24g, password).c_str()));
    json_object_object_add(object, "hidden", json_object_new_boolean(c->band_24g.hidden != 0));
    json_object_object_add(object, "encrypt_type", json_object_new_int((int32_t)c->band_24g.encrypt));
    json_object* bands = json_object_new_object();
    json_object_object_add(bands, "2.4G", band_to_json(&c->band_24g));
    json_object_object_add(bands, "5G", band_to_json(&c->band_5g));
    json_object_object_add(object, "bands", bands);
    json_object_object_add(object, "smart_connect", json_object_new_boolean(c->smart_connect != 0));
    return object;
}

int wifi_update_from_json(wifi_config* c, json_object* object) {
    if (!c || !json_object_is_type(object, json_type_object)) return VESPIN_ERR_INVALID_PARAM;
    bool touched = false;
    if (!apply_members(c, object, &touched)) return VESPIN_ERR_INVALID_PARAM;
    if (!password_length_fits(c->band_24g) || !password_length_fits(c->band_5g)) return VESPIN_ERR_INVALID_PARAM;
    return touched ? 0 : VESPIN_ERR_NO_CHANGE;
}

}  // extern "C"
