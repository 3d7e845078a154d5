// The LAN record loaded from the settings store, and its JSON form.
#include "config_wan.h"

#include "apmib.h"
#include "core/log.h"
#include "core/mib_ipv4.h"
#include "core/text.h"

#include <string.h>

namespace {

const int kMibLanIp = 170, kMibLanMask = 171, kMibLanGateway = 172;
const int kMibLanDhcp = 173, kMibPoolStart = 174, kMibPoolEnd = 175;
const int kMibDomain = 198, kMibLease = 945;
const int kDomainSetting = 64;  // the stored domain is cut to the record's 40 bytes

int get_lan_ip_conf(net_info* info) {
    if (!mib_get_ipv4_text(kMibLanIp, info->ip)) {
        VLOG_ERROR("Fail to get ip");
        return VESPIN_ERR_SETTING;
    }
    if (!mib_get_ipv4_text(kMibLanMask, info->mask)) {
        VLOG_ERROR("Fail to get subnet");
        return VESPIN_ERR_SETTING;
    }
    if (!mib_get_ipv4_text(kMibLanGateway, info->gateway)) {
        VLOG_ERROR("Fail to get gateway ip");
        return VESPIN_ERR_SETTING;
    }
    return 0;
}

int load_dhcp_server(lan_net_config* config) {
    // Both pool reads report "Fail to get DHCP_START": the second message
    // deliberately stays as it has always been.
    if (!mib_get_ipv4_text(kMibPoolStart, config->ip_start)) {
        VLOG_ERROR("Fail to get DHCP_START");
        return VESPIN_ERR_SETTING;
    }
    if (!mib_get_ipv4_text(kMibPoolEnd, config->ip_end)) {
        VLOG_ERROR("Fail to get DHCP_START");
        return VESPIN_ERR_SETTING;
    }
    int minutes = 0;
    if (!apmib_get(kMibLease, &minutes)) {
        VLOG_ERROR("Fail to get DHCP_LEASE_TIME");
        return VESPIN_ERR_SETTING;
    }
    config->lease = (uint32_t)minutes * 60u;
    char domain[kDomainSetting] = {0};
    if (!apmib_get(kMibDomain, domain)) {
        VLOG_ERROR("Fail to get DHCP domain");
        return VESPIN_ERR_SETTING;
    }
    copy_text(config->domain, sizeof config->domain, domain);
    return get_lan_ip_conf(&config->dhcp_server.netinfo);
}

}  // namespace

extern "C" {

int lan_net_config_load(lan_net_config* config) {
    if (config == nullptr) return VESPIN_ERR_FAILURE;
    memset(config, 0, sizeof *config);
    int mode = 0;
    if (!apmib_get(kMibLanDhcp, &mode)) {
        VLOG_ERROR("Fail to get DHCP");
        return VESPIN_ERR_SETTING;
    }
    switch (mode) {
        case 1:
            config->type = "dhcp_client";
            return 0;
        case 2:
            config->type = "dhcp_server";
            return load_dhcp_server(config);
        case 0:
            config->type = "dhcp_disabled";
            return get_lan_ip_conf(&config->dhcp_disabled.netinfo);
        default:
            config->type = "unknown";
            return 0;
    }
}

json_object* lan_net_config_to_json(const lan_net_config* config) {
    if (config == nullptr) return nullptr;
    const char* type = config->type ? config->type : "unknown";
    json_object* json = json_object_new_object();
    json_object_object_add(json, "type", json_object_new_string(type));
    if (strcmp(type, "dhcp_server") == 0) {
        json_object* server = json_object_new_object();
        json_object_object_add(server, "ip_start", json_object_new_string(config->ip_start));
        json_object_object_add(server, "ip_end", json_object_new_string(config->ip_end));
        json_object_object_add(server, "lease", json_object_new_int64(config->lease));
        json_object_object_add(server, "domain", json_object_new_string(config->domain));
        json_object_object_add(server, "netinfo", net_info_to_json(&config->dhcp_server.netinfo));
        json_object_object_add(json, "dhcp_server", server);
    } else if (strcmp(type, "dhcp_disabled") == 0) {
        json_object* disabled = json_object_new_object();
        json_object_object_add(disabled, "netinfo", net_info_to_json(&config->dhcp_disabled.netinfo));
        json_object_object_add(json, "dhcp_disabled", disabled);
    }
    return json;
}

}  // extern "C"
