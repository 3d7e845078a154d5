// "vpn.list", "vpn.add", "vpn.update", "vpn.delete", "vpn.status" and
// "vpn.set": the node's VPN profiles, its default profile and switch.
// Profiles travel in the item JSON of the library ("id" is a decimal string).
// Switching the VPN restarts or stops the OpenVPN client once the caller has
// its answer.
#include "config_vpn.h"
#include "core/log.h"
#include "dispatch.h"
#include "method_reply.h"
#include "methods.h"

#include <stdlib.h>
#include <string.h>

#include <mutex>

namespace {

// After-reply action of "vpn.set": the OpenVPN client follows the switch.
void apply_openvpn(void) {
    std::lock_guard<std::mutex> hold(node_library_lock());
    set_openvpn_enable(is_openvpn_enabled());
}

// A profile id: a decimal string 1 to 5, as in the item JSON.
bool param_vpn_id(json_object* params, const char* key, int* id, vespin_response** error) {
    const char* text;
    if (!param_text(params, key, &text, error)) return false;
    if (strlen(text) != 1 || text[0] < '1' || text[0] > '0' + VPN_ITEM_MAX) {
        *error = method_error(VESPIN_ERR_INVALID_PARAM, "Invalid %s: a profile is \"1\" to \"5\"", key);
        return false;
    }
    *id = text[0] - '0';
    return true;
}

vespin_response* item_reply(const vpn_item& item) {
    json_object* result = json_object_new_object();
    json_object_object_add(result, "id", json_object_new_string(std::to_string(item.id).c_str()));
    return method_result(result);
}

}  // namespace

vespin_response* vpn_list_method(json_object* params) {
    vpn_item* items = nullptr;
    int count = 0;
    int rv = vpn_item_list(&items, &count);
    if (rv != 0) return method_error(rv, "Fail to list the VPN profiles");
    json_object* result = json_object_new_array();
    for (int i = 0; i < count; i++) json_object_array_add(result, vpn_item_cfg2json(&items[i]));
    free(items);
    return method_result(result);
}

vespin_response* vpn_add_method(json_object* params) {
    vpn_item item;
    memset(&item, 0, sizeof item);
    int rv = vpn_item_json2cfg_all(&item, params);
    if (rv != 0) return method_error(rv, "Invalid VPN profile");
    rv = vpn_item_add(&item);
    if (rv == VESPIN_ERR_TABLE_FULL) return method_error(rv, "All five VPN profiles are in use");
    if (rv != 0) return method_error(rv, "Fail to add the VPN profile");
    return item_reply(item);
}

vespin_response* vpn_update_method(json_object* params) {
    vespin_response* error = nullptr;
    int id = 0;
    if (!param_vpn_id(params, "id", &id, &error)) return error;
    vpn_item item;
    int rv = vpn_item_config_load(&item, id);
    if (rv != 0) return method_error(rv, "No VPN profile %d", id);
    rv = vpn_item_json2cfg(&item, params);
    if (rv != 0) return method_error(rv, "Invalid VPN profile");
    rv = vpn_item_update(&item);
    if (rv != 0) return method_error(rv, "Fail to update VPN profile %d", id);
    return item_reply(item);
}

vespin_response* vpn_delete_method(json_object* params) {
    vespin_response* error = nullptr;
    int id = 0;
    if (!param_vpn_id(params, "id", &id, &error)) return error;
    int rv = vpn_item_del(id);
    if (rv == VESPIN_ERR_VPN_DISCONNECTED) return method_error(rv, "VPN profile %d is in use", id);
    if (rv != 0) return method_error(rv, "Fail to delete VPN profile %d", id);
    vpn_item deleted;
    deleted.id = id;
    return item_reply(deleted);
}

vespin_response* vpn_status_method(json_object* params) {
    vpn_status status;
    memset(&status, 0, sizeof status);
    int rv = vpn_status_load(&status);
    if (rv != 0) return method_error(rv, "Fail to read the VPN status");
    return method_result(vpn_statsu_cfg2json(&status));
}

vespin_response* vpn_set_method(json_object* params) {
    vespin_response* error = nullptr;
    vpn_config config = {0, 0};
    int rv = vpn_config_load(&config);
    if (rv != 0) return method_error(rv, "Fail to read the VPN settings");
    bool enabled = config.enabled != 0;
    if (!param_bool_or(params, "enabled", enabled, &enabled, &error)) return error;
    if (json_object_object_get_ex(params, "default_vpn", nullptr)) {
        int id = 0;
        if (!param_vpn_id(params, "default_vpn", &id, &error)) return error;
        config.vpnid = id;
    }
    config.enabled = enabled ? 1 : 0;
    rv = vpn_config_update(&config);
    if (rv != 0) return method_error(rv, "Fail to store the VPN settings");
    json_object* result = json_object_new_object();
    json_object_object_add(result, "default_vpn", json_object_new_string(std::to_string(config.vpnid).c_str()));
    json_object_object_add(result, "enabled", json_object_new_boolean(enabled));
    return method_result(result, apply_openvpn);
}
