// Wi-Fi methods: "wifi.get", "wifi.set" (update, then apply), "wifi.acs";
// "guest.get", "guest.set"; "mesh.bands.get", "mesh.bands.set",
// "mesh.led.get", "mesh.led.set". A change is applied at once; the
// settings are flushed after the reply.
#include "apmib.h"
#include "config_wifi.h"
#include "core/log.h"
#include "dispatch.h"
#include "internal_wifi.h"
#include "method_reply.h"
#include "methods.h"
#include "vespin_core.h"

#include <mutex>

namespace {


vespin_response* loaded_wifi(wifi_config* config) {
    int rv = wifi_config_load(config);
    return rv == 0 ? nullptr : method_error(rv, "Fail to load the Wi-Fi settings");
}

}  // namespace

vespin_response* wifi_get_method(json_object* params) {
    wifi_config config = {};
    if (vespin_response* error = loaded_wifi(&config)) return error;
    return method_result(wifi_config_to_json(&config));
}

// params: a Wi-Fi JSON object ("ssid", "password", "bands", ...).
vespin_response* wifi_set_method(json_object* params) {
    wifi_config config = {};
    if (vespin_response* error = loaded_wifi(&config)) return error;
    int rv = wifi_update_from_json(&config, params);
    if (rv == VESPIN_ERR_NO_CHANGE) return method_error(rv, "Nothing to update");
    if (rv != 0) return method_error(rv, "Invalid Wi-Fi settings");
    rv = config_wifi(&config);
    if (rv != 0) return method_error(rv, "Fail to apply the Wi-Fi settings");
    return method_result(wifi_config_to_json(&config), flush_settings_after_reply);
}

// The ACS of both bands: {"2.4G": ACS, "5G": ACS}.
vespin_response* wifi_acs_method(json_object* params) {
    acs band_24g = {}, band_5g = {};
    int rv = get_acs(&band_24g, 1);
    if (rv == 0) rv = get_acs(&band_5g, 0);
    if (rv != 0) return method_error(rv, "Fail to read the ACS settings");
    json_object* result = json_object_new_object();
    json_object_object_add(result, "2.4G", acs_to_json(&band_24g));
    json_object_object_add(result, "5G", acs_to_json(&band_5g));
    return method_result(result);
}

// params: {"hide": bool} (optional, default false).
vespin_response* guest_get_method(json_object* params) {
    vespin_response* error = nullptr;
    bool hide = false;
    if (!param_bool_or(params, "hide", false, &hide, &error)) return error;
    guest_wifi_config list = {};
    int rv = guest_wifi_config_load(&list);
    if (rv != 0) return method_error(rv, "Fail to load the guest Wi-Fi list");
    return method_result(guest_wifi_to_json_array(&list, hide ? 1 : 0));
}

// params: {"guest_wifis": [entries]}: the whole list.
vespin_response* guest_set_method(json_object* params) {
    vespin_response* error = nullptr;
    json_object* entries = nullptr;
    if (!param_member(params, "guest_wifis", json_type_array, &entries, &error)) return error;
    guest_wifi_config list = {};
    int rv = guest_wifi_config_update_from_json_object(&list, entries);
    if (rv != 0) return method_error(rv, "Invalid guest Wi-Fi list");
    rv = config_guest_wifi(&list);
    if (rv != 0) return method_error(rv, "Fail to apply the guest Wi-Fi list");
    rv = guest_wifi_config_load(&list);
    if (rv != 0) return method_error(rv, "Fail to load the guest Wi-Fi list");
    return method_result(guest_wifi_to_json_array(&list, 0));
}

vespin_response* mesh_bands_get_method(json_object* params) {
    mesh_band_config config = {};
    int rv = mesh_band_config_load(&config);
    if (rv != 0) return method_error(rv, "Fail to load the mesh bands");
    return method_result(mesh_band_config_to_json(&config));
}

// params: {"24g_enabled": bool} (the 5 GHz band always carries the mesh).
vespin_response* mesh_bands_set_method(json_object* params) {
    mesh_band_config config = {};
    int rv = mesh_band_config_load(&config);
    if (rv == 0) rv = mesh_band_config_update_from_json_object(&config, params);
    if (rv != 0) return method_error(rv, "Invalid mesh bands");
    rv = vespin_set_24g_mesh_switch(config.enabled_24g);
    if (rv != 0) return method_error(rv, "Fail to store the mesh bands");
    return method_result(mesh_band_config_to_json(&config));
}

vespin_response* mesh_led_get_method(json_object* params) {
    mesh_led_time_limit config = {};
    int rv = mesh_led_time_limit_load(&config);
    if (rv != 0) return method_error(rv, "Fail to load the LED schedule");
    return method_result(mesh_led_time_limit_to_json(&config));
}

// params: {"enabled", "begin_time", "end_time"}, all required.
vespin_response* mesh_led_set_method(json_object* params) {
    mesh_led_time_limit config = {};
    int rv = mesh_led_time_limit_update_from_json_object(&config, params);
    if (rv != 0) return method_error(rv, "Invalid LED schedule");
    rv = vespin_mesh_led_time_limit_set(&config);
    if (rv != 0) return method_error(rv, "Fail to store the LED schedule");
    return method_result(mesh_led_time_limit_to_json(&config));
}
