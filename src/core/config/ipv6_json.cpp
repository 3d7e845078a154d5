// JSON forms of the IPv6 WAN settings: addresses, net info, the three modes.
#include "config_ipv6.h"

#include "config_json.h"
#include "core/config/pppoe_password.h"
#include "core/log.h"
#include "core/text.h"

#include <string.h>

namespace {

// json_object_check with the failure logged; NULL when *rv was set.
json_object* need(json_object* json, const char* key, json_type type, int* rv) {
    char message[JSON_CHECK_MESSAGE_SIZE];
    json_object* member = json_object_check(json, rv, key, message, type);
    if (*rv) {
        VLOG_ERROR("%s", message);
        return nullptr;
    }
    return member;
}

// An address array; `at_least_one` for "address", not for DNS.
int addrs_from_json(ipv6_addrs* addrs, json_object* json, bool at_least_one) {
    if (addrs == nullptr || json == nullptr) return VESPIN_ERR_FAILURE;
    if (!json_object_is_type(json, json_type_array)) return VESPIN_ERR_INVALID_PARAM;
    memset(addrs, 0, sizeof *addrs);
    size_t length = json_object_array_length(json);
    for (size_t i = 0; i < length && addrs->count < IPV6_ADDRS_MAX; i++) {
        ipv6_addr* slot = &addrs->addrs[addrs->count];
        if (ipv6_addr_from_json(slot, json_object_array_get_idx(json, i)) == 0)
            addrs->count++;
        else
            memset(slot, 0, sizeof *slot);  // an invalid element is skipped
    }
    if (at_least_one && addrs->count == 0) {
        VLOG_ERROR("No valid ipv6 address");
        return VESPIN_ERR_INVALID_JSON;
    }
    return 0;
}

const char* type_name(uint32_t type) {
    switch (type) {
        case IPV6_WAN_AUTO: return "auto";
        case IPV6_WAN_STATIC: return "static";
        case IPV6_WAN_PPPOE: return "pppoe";
        default: return nullptr;
    }
}

}  // namespace

extern "C" {

int ipv6_addr_from_json(ipv6_addr* addr, json_object* json) {
    if (addr == nullptr || json == nullptr) return VESPIN_ERR_FAILURE;
    int rv = 0;
    json_object* ip = need(json, "ip", json_type_string, &rv);
    if (rv) return rv;
    int32_t prefix = IPV6_DEFAULT_PREFIX_LENGTH;
    json_object* length = nullptr;
    if (json_object_object_get_ex(json, "prefix_length", &length)) {
        if (!json_object_is_type(length, json_type_int)) {
            VLOG_ERROR("Invalid type of prefix_length");
            return VESPIN_ERR_INVALID_PARAM;
        }
        int64_t value = json_object_get_int64(length);
        prefix = value < 0 || value > 128 ? -1 : (int32_t)value;
    }
    ipv6_addr parsed;
    memset(&parsed, 0, sizeof parsed);
    parsed.prefix_length = prefix;
    const char* text = json_object_get_string(ip);
    bool fits = (size_t)json_object_get_string_len(ip) < sizeof parsed.addr;
    if (fits) copy_text(parsed.addr, sizeof parsed.addr, text);
    if (!fits || !is_valid_ipv6_addr(&parsed)) {
        VLOG_ERROR("Invalid ipv6 addr [%.64s/%d]", text, prefix);
        return VESPIN_ERR_INVALID_JSON;
    }
    *addr = parsed;
    return 0;
}

int ipv6_addrs_from_json(ipv6_addrs* addrs, json_object* json) { return addrs_from_json(addrs, json, true); }

int ipv6_netdns_from_json(ipv6_addrs* dns, json_object* json) { return addrs_from_json(dns, json, false); }

int ipv6_netinfo_from_json(ipv6_netinfo* info, json_object* json) {
    if (info == nullptr || json == nullptr) return VESPIN_ERR_FAILURE;
    int rv = 0;
    json_object* address = need(json, "address", json_type_array, &rv);
    json_object* gateway = rv ? nullptr : need(json, "gateway", json_type_object, &rv);
    json_object* dns = rv ? nullptr : need(json, "dns", json_type_array, &rv);
    if (rv) return rv;
    rv = ipv6_addrs_from_json(&info->address, address);
    if (rv == 0) rv = ipv6_addr_from_json(&info->gateway, gateway);
    if (rv == 0) rv = ipv6_netdns_from_json(&info->dns, dns);
    return rv;
}

int ipv6_auto_netcfg_from_json(ipv6_auto_netcfg* config, json_object* json) {
    if (config == nullptr || json == nullptr) return VESPIN_ERR_FAILURE;
    int rv = 0;
    json_object* dns = need(json, "dns", json_type_array, &rv);
    return rv ? rv : ipv6_netdns_from_json(&config->dns, dns);
}

int ipv6_static_netcfg_from_json(ipv6_static_netcfg* config, json_object* json) {
    if (config == nullptr || json == nullptr) return VESPIN_ERR_FAILURE;
    int rv = 0;
    json_object* netinfo = need(json, "netinfo", json_type_object, &rv);
    return rv ? rv : ipv6_netinfo_from_json(&config->netinfo, netinfo);
}

int ipv6_pppoe_netcfg_from_json(ipv6_pppoe_netcfg* config, json_object* json) {
    if (config == nullptr || json == nullptr) return VESPIN_ERR_FAILURE;
    int rv = 0;
    json_object* share = need(json, "share_ipv4_credentials", json_type_boolean, &rv);
    json_object* account = rv ? nullptr : need(json, "account", json_type_string, &rv);
    json_object* password = rv ? nullptr : need(json, "password", json_type_string, &rv);
    json_object* dns = rv ? nullptr : need(json, "dns", json_type_array, &rv);
    if (rv) return rv;
    if (!pppoe_password_acceptable(password)) {
        VLOG_ERROR("Invalid password");
        return VESPIN_ERR_INVALID_PARAM;
    }
    config->share_ipv4_credentials = json_object_get_boolean(share) ? 1 : 0;
    copy_text(config->account, sizeof config->account, json_object_get_string(account));
    copy_text(config->password, sizeof config->password, json_object_get_string(password));
    return ipv6_netdns_from_json(&config->dns, dns);
}

int ipv6_wan_netcfg_from_json(ipv6_wan_netcfg* config, json_object* json) {
    if (config == nullptr || json == nullptr) return VESPIN_ERR_FAILURE;
    int rv = 0;
    json_object* enabled = need(json, "enabled", json_type_boolean, &rv);
    if (rv) return rv;
    config->enabled = json_object_get_boolean(enabled) ? 1 : 0;
    if (!config->enabled) return 0;
    json_object* type = need(json, "type", json_type_string, &rv);
    if (rv) return rv;
    const char* name = json_object_get_string(type);
    for (uint32_t t = IPV6_WAN_AUTO; t <= IPV6_WAN_PPPOE; t++) {
        if (strcmp(name, type_name(t)) != 0) continue;
        json_object* body = need(json, name, json_type_object, &rv);
        if (rv) return rv;
        config->type = t;
        if (t == IPV6_WAN_AUTO) return ipv6_auto_netcfg_from_json(&config->auto_, body);
        if (t == IPV6_WAN_STATIC) return ipv6_static_netcfg_from_json(&config->static_, body);
        return ipv6_pppoe_netcfg_from_json(&config->pppoe, body);
    }
    return 0;  // another type: nothing more is read, the type stays
}

json_object* ipv6_addr_to_json(const ipv6_addr* addr) {
    if (addr == nullptr) return nullptr;
    json_object* json = json_object_new_object();
    if (!is_valid_ipv6_addr(addr)) return json;
    json_object_object_add(json, "ip", json_object_new_string(addr->addr));
    json_object_object_add(json, "prefix_length", json_object_new_int(addr->prefix_length));
    return json;
}

json_object* ipv6_addrs_to_json(const ipv6_addrs* addrs) {
    if (addrs == nullptr) return nullptr;
    json_object* json = json_object_new_array();
    for (int i = 0; i < addrs->count && i < IPV6_ADDRS_MAX; i++)
        if (is_valid_ipv6_addr(&addrs->addrs[i])) json_object_array_add(json, ipv6_addr_to_json(&addrs->addrs[i]));
    return json;
}

json_object* ipv6_netdns_to_json(const ipv6_addrs* dns) { return ipv6_addrs_to_json(dns); }

json_object* ipv6_netinfo_to_json(const ipv6_netinfo* info) {
    if (info == nullptr) return nullptr;
    json_object* json = json_object_new_object();
    json_object_object_add(json, "family", json_object_new_string("ipv6"));
    json_object_object_add(json, "address", ipv6_addrs_to_json(&info->address));
    json_object_object_add(json, "gateway", ipv6_addr_to_json(&info->gateway));
    json_object_object_add(json, "dns", ipv6_netdns_to_json(&info->dns));
    return json;
}

json_object* ipv6_auto_netcfg_to_json(const ipv6_auto_netcfg* config) {
    if (config == nullptr) return nullptr;
    json_object* json = json_object_new_object();
    json_object_object_add(json, "dns", ipv6_netdns_to_json(&config->dns));
    return json;
}

json_object* ipv6_static_netcfg_to_json(const ipv6_static_netcfg* config) {
    if (config == nullptr) return nullptr;
    json_object* json = json_object_new_object();
    json_object_object_add(json, "netinfo", ipv6_netinfo_to_json(&config->netinfo));
    return json;
}

json_object* ipv6_pppoe_netcfg_to_json(const ipv6_pppoe_netcfg* config) {
    if (config == nullptr) return nullptr;
    char account[IPV6_PPPOE_TEXT_SIZE], password[IPV6_PPPOE_TEXT_SIZE];
    copy_text(account, sizeof account, config->account);
    copy_text(password, sizeof password, config->password);
    json_object* json = json_object_new_object();
    json_object_object_add(json, "share_ipv4_credentials", json_object_new_boolean(config->share_ipv4_credentials));
    json_object_object_add(json, "account", json_object_new_string(account));
    json_object_object_add(json, "password", json_object_new_string(password));
    json_object_object_add(json, "dns", ipv6_netdns_to_json(&config->dns));
    return json;
}

json_object* ipv6_wan_netcfg_to_json(const ipv6_wan_netcfg* config) {
    if (config == nullptr) return nullptr;
    json_object* json = json_object_new_object();
    json_object_object_add(json, "enabled", json_object_new_boolean(config->enabled));
    const char* name = type_name(config->type);
    if (name == nullptr) return json;
    json_object_object_add(json, "type", json_object_new_string(name));
    json_object* body = config->type == IPV6_WAN_AUTO     ? ipv6_auto_netcfg_to_json(&config->auto_)
                        : config->type == IPV6_WAN_STATIC ? ipv6_static_netcfg_to_json(&config->static_)
                                                          : ipv6_pppoe_netcfg_to_json(&config->pppoe);
    json_object_object_add(json, name, body);
    return json;
}

json_object* ipv6_wan_netinfo_to_json(const ipv6_netinfo* info) {
    if (info == nullptr) return nullptr;
    json_object* json = json_object_new_object();
    json_object_object_add(json, "netinfo", ipv6_netinfo_to_json(info));
    return json;
}

}  // extern "C"
