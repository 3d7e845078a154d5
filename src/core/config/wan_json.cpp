// The WAN record's JSON form and its update from a client's JSON text.
#include "config_wan.h"

#include "core/config/pppoe_password.h"
#include "core/json_ref.h"
#include "core/log.h"
#include "core/text.h"

#include <string.h>

namespace {

const char* const kTypes[] = {"pppoe", "static", "dhcp"};

json_object* dns_array(const char dns[WAN_DNS_COUNT][NET_INFO_TEXT_SIZE]) {
    json_object* array = json_object_new_array();
    for (int i = 0; i < WAN_DNS_COUNT; i++)
        if (dns[i][0]) json_object_array_add(array, json_object_new_string(dns[i]));
    return array;
}

bool any_dns(const char dns[WAN_DNS_COUNT][NET_INFO_TEXT_SIZE]) { return dns[0][0] || dns[1][0]; }

// Adds "vlan" when the table converter gives an array.
void add_vlan(json_object* json, const vlan_table* table) {
    json_object* vlan = vlan_table_to_json(table);
    if (vlan) json_object_object_add(json, "vlan", vlan);
}

// The first two elements of a DNS array into the slots (both cleared by the
// caller); a non-string element stops with 100200 after the earlier ones.
int take_dns(json_object* array, char dns[WAN_DNS_COUNT][NET_INFO_TEXT_SIZE]) {
    size_t length = json_object_array_length(array);
    for (size_t i = 0; i < length && i < WAN_DNS_COUNT; i++) {
        json_object* item = json_object_array_get_idx(array, i);
        if (!json_object_is_type(item, json_type_string)) {
            VLOG_ERROR("Invalid json type of dns");
            return VESPIN_ERR_MISSING_PARAM;
        }
        copy_text(dns[i], NET_INFO_TEXT_SIZE, json_object_get_string(item));
    }
    return 0;
}

// A member that may be absent (NULL, 0) but must have the type when present
// (100200 with the message).
int member(json_object* json, const char* key, json_type type, const char* message, json_object** out) {
    *out = nullptr;
    if (!json_object_object_get_ex(json, key, out)) return 0;
    if (!json_object_is_type(*out, type)) {
        VLOG_ERROR("%s", message);
        return VESPIN_ERR_MISSING_PARAM;
    }
    return 0;
}

// A VLAN array into a table: absent zeroes the table.
int take_vlan(json_object* json, const char* message, vlan_table* table) {
    json_object* vlan = nullptr;
    int rv = member(json, "vlan", json_type_array, message, &vlan);
    if (rv) return rv;
    if (vlan == nullptr) {
        memset(table, 0, sizeof *table);
        return 0;
    }
    rv = vlan_table_from_json(table, vlan);
    if (rv) VLOG_ERROR("Invalid json type of vlan");
    return rv;
}

int update_pppoe(json_object* pppoe, wan_net_config* config) {
    json_object* value = nullptr;
    int rv = member(pppoe, "account", json_type_string, "Missing pppoe.account", &value);
    if (rv) return rv;
    if (value) copy_text(config->pppoe.account, WAN_PPPOE_TEXT_SIZE, json_object_get_string(value));
    rv = member(pppoe, "password", json_type_string, "Missing pppoe.password", &value);
    if (rv) return rv;
    if (value) {
        if (!pppoe_password_acceptable(value)) {
            VLOG_ERROR("Invalid password");
            return VESPIN_ERR_INVALID_PARAM;
        }
        copy_text(config->pppoe.password, WAN_PPPOE_TEXT_SIZE, json_object_get_string(value));
    }
    memset(config->pppoe.dns, 0, sizeof config->pppoe.dns);
    rv = member(pppoe, "dns", json_type_array, "Missing pppoe.dns", &value);
    if (rv) return rv;
    if (value) {
        rv = take_dns(value, config->pppoe.dns);
        if (rv) return rv;
    }
    return take_vlan(pppoe, "Missing pppoe.vlan", &config->pppoe.vlan);
}

int update_static(json_object* fixed, wan_net_config* config) {
    json_object* netinfo = nullptr;
    int rv = member(fixed, "netinfo", json_type_object, "Missing static.netinfo", &netinfo);
    if (rv || netinfo == nullptr) return rv;
    rv = net_info_update_from_json(&config->static_.netinfo, json_object_to_json_string(netinfo));
    if (rv) VLOG_ERROR("Fail to parse static.netinfo");
    return rv;
}

int update_dhcp(json_object* dhcp, wan_net_config* config) {
    json_object* dns = nullptr;
    int rv = member(dhcp, "dns", json_type_array, "Invalid dhcp.dns", &dns);
    if (rv || dns == nullptr) return rv;
    return take_dns(dns, config->dhcp.dns);
}

int update(json_object* json, wan_net_config* config) {
    json_object* value = nullptr;
    const char* type = config->type;
    int rv = member(json, "type", json_type_string, "Missing type", &value);
    if (rv) return rv;
    if (value) {
        type = nullptr;
        for (const char* known : kTypes)
            if (strcmp(json_object_get_string(value), known) == 0) type = known;
        if (type == nullptr) {
            VLOG_ERROR("Unknown type:%s", json_object_get_string(value));
            return VESPIN_ERR_MISSING_PARAM;
        }
    }
    rv = member(json, "pppoe", json_type_object, "Missing pppoe", &value);
    if (rv == 0 && value) rv = update_pppoe(value, config);
    if (rv) return rv;
    rv = member(json, "static", json_type_object, "Missing static", &value);
    if (rv == 0 && value) rv = update_static(value, config);
    if (rv) return rv;
    memset(config->dhcp.dns, 0, sizeof config->dhcp.dns);
    rv = member(json, "dhcp", json_type_object, "Invalid dhcp type", &value);
    if (rv == 0 && value) rv = update_dhcp(value, config);
    if (rv) return rv;
    config->type = type;
    return take_vlan(json, "Missing vlan", &config->vlan);
}

}  // namespace

extern "C" {

json_object* wan_net_config_to_json(const wan_net_config* config) {
    if (config == nullptr) return nullptr;
    const char* type = config->type ? config->type : "unknown";
    json_object* json = json_object_new_object();
    json_object_object_add(json, "type", json_object_new_string(type));
    if (strcmp(type, "pppoe") == 0) {
        json_object* pppoe = json_object_new_object();
        json_object_object_add(pppoe, "account", json_object_new_string(config->pppoe.account));
        json_object_object_add(pppoe, "password", json_object_new_string(config->pppoe.password));
        if (any_dns(config->pppoe.dns)) json_object_object_add(pppoe, "dns", dns_array(config->pppoe.dns));
        add_vlan(pppoe, &config->pppoe.vlan);
        json_object_object_add(json, "pppoe", pppoe);
    } else if (strcmp(type, "static") == 0) {
        json_object* fixed = json_object_new_object();
        json_object_object_add(fixed, "netinfo", net_info_to_json(&config->static_.netinfo));
        json_object_object_add(json, "static", fixed);
    } else if (strcmp(type, "dhcp") == 0 && any_dns(config->dhcp.dns)) {
        json_object* dhcp = json_object_new_object();
        json_object_object_add(dhcp, "dns", dns_array(config->dhcp.dns));
        json_object_object_add(json, "dhcp", dhcp);
    }
    add_vlan(json, &config->vlan);
    return json;
}

int wan_net_config_update_from_json(wan_net_config* config, const char* text) {
    if (config == nullptr) return VESPIN_ERR_FAILURE;
    json_ref json(text ? json_tokener_parse(text) : nullptr);
    if (!json || !json_object_is_type(json.get(), json_type_object)) {
        VLOG_ERROR("Fail to parse json: `%s`", text ? text : "(null)");
        return VESPIN_ERR_INVALID_JSON;
    }
    return update(json.get(), config);
}

}  // extern "C"
