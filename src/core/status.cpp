// The live IPv4 addressing of the LAN, WAN and VPN interfaces, and the
// net_info record's JSON input.
#include "status.h"

#include "apmib.h"
#include "config_vpn.h"
#include "core/json_ref.h"
#include "core/log.h"
#include "core/text.h"
#include "internal_diagnostics.h"
#include "platform/platform.h"
#include "vespin_core.h"

#include <stdio.h>
#include <string.h>

namespace {

const int kMibWanType = 104;
const int kMibOpMode = 192;
const int kWanPppoe = 3;
const char kDnsCommand[] = "awk '{if($1==\"nameserver\") print $2}' /etc/resolv.conf";
const size_t kDnsLine = 200;

// Nameservers of resolv.conf into info->dns; false when none was found.
bool get_dns_list(net_info* info) {
    char output[4096];
    int n = plat_run_capture(kDnsCommand, output, sizeof output, nullptr);
    if (n < 0) {
        VLOG_ERROR("Fail to execute: `%s`", kDnsCommand);
        return false;
    }
    int found = 0;
    for (char* line = output; *line && found < NET_INFO_DNS_COUNT;) {
        char* end = strchr(line, '\n');
        if (end) *end = '\0';
        char bounded[kDnsLine + 1];
        copy_text(bounded, sizeof bounded, line);
        int a, b, c, d;
        if (sscanf(bounded, "%d.%d.%d.%d", &a, &b, &c, &d) == 4)
            snprintf(info->dns[found++], NET_INFO_TEXT_SIZE, "%d.%d.%d.%d", a, b, c, d);
        if (!end) break;
        line = end + 1;
    }
    return found > 0;
}

int read_int(int id, int* value) { return apmib_get(id, value) ? 0 : VESPIN_ERR_SETTING; }

// One optional string member into a 16-byte field: 0 (also when absent, with
// *present false), or 100200 with "Missing <key>".
int take_text(json_object* json, const char* key, char* field, bool* present) {
    json_object* member = nullptr;
    *present = json_object_object_get_ex(json, key, &member);
    if (!*present) return 0;
    if (!json_object_is_type(member, json_type_string)) {
        VLOG_ERROR("Missing %s", key);
        return VESPIN_ERR_MISSING_PARAM;
    }
    copy_text(field, NET_INFO_TEXT_SIZE, json_object_get_string(member));
    return 0;
}

// "dns" when present: the first three strings, later entries cleared.
int take_dns(json_object* json, net_info* info, bool* present) {
    json_object* dns = nullptr;
    *present = json_object_object_get_ex(json, "dns", &dns);
    if (!*present) return 0;
    if (!json_object_is_type(dns, json_type_array)) {
        VLOG_ERROR("Invalid dns");
        return VESPIN_ERR_MISSING_PARAM;
    }
    size_t length = json_object_array_length(dns);
    size_t i = 0;
    for (; i < length && i < NET_INFO_DNS_COUNT; i++) {
        json_object* item = json_object_array_get_idx(dns, i);
        if (!json_object_is_type(item, json_type_string)) {
            VLOG_ERROR("Invalid type of dns");
            return VESPIN_ERR_MISSING_PARAM;
        }
        copy_text(info->dns[i], NET_INFO_TEXT_SIZE, json_object_get_string(item));
    }
    for (; i < NET_INFO_DNS_COUNT; i++) info->dns[i][0] = '\0';
    return 0;
}

// The shared body of the full load and the partial update.
int net_info_from_json(net_info* info, const char* text, bool partial) {
    json_ref json(text ? json_tokener_parse(text) : nullptr);
    if (!json || !json_object_is_type(json.get(), json_type_object)) {
        VLOG_ERROR("Fail to parse: %s", text ? text : "(null)");
        return partial ? VESPIN_ERR_INVALID_JSON : VESPIN_ERR_MISSING_PARAM;
    }
    const char* keys[] = {"ip", "mask", "gateway"};
    char* fields[] = {info->ip, info->mask, info->gateway};
    bool any = false;
    for (int k = 0; k < 3; k++) {
        bool present = false;
        int rv = take_text(json.get(), keys[k], fields[k], &present);
        if (rv) return rv;
        if (!present && !partial) {
            VLOG_ERROR("Missing %s", keys[k]);
            return VESPIN_ERR_MISSING_PARAM;
        }
        any = any || present;
    }
    bool dns = false;
    int rv = take_dns(json.get(), info, &dns);
    if (rv) return rv;
    return partial && !any && !dns ? VESPIN_ERR_NO_CHANGE : 0;
}

}  // namespace

extern "C" {

int net_info_load(net_info* info, const char* ifname) {
    if (info == nullptr || ifname == nullptr) return VESPIN_ERR_FAILURE;
    if (!get_ip(ifname, info->ip) || !get_subnetmask(ifname, info->mask)) {
        VLOG_ERROR("Fail ");
        vespin_perror("ioctl failed");
        return VESPIN_ERR_FAILURE;
    }
    if (get_gateway(info->gateway) != 0) {
        VLOG_ERROR("Fail to get gateway");
        copy_text(info->gateway, NET_INFO_TEXT_SIZE, "0.0.0.0");
    }
    if (!get_dns_list(info)) {
        VLOG_ERROR("Fail to get dns");
        info->dns[0][0] = '\0';
    }
    return 0;
}

int lan_net_info_load(net_info* info) { return net_info_load(info, "br0"); }

int wan_net_info_load(net_info* info) {
    int op_mode = 0, wan_type = 0;
    if (read_int(kMibOpMode, &op_mode)) {
        VLOG_ERROR("Fail to get op mode");
        return VESPIN_ERR_SETTING;
    }
    if (op_mode == 1) return net_info_load(info, "br0");
    if (read_int(kMibWanType, &wan_type)) {
        VLOG_ERROR("Fail to get DHCP");
        return VESPIN_ERR_SETTING;
    }
    return net_info_load(info, wan_type == kWanPppoe ? "ppp0" : "eth1");
}

int vpn_net_info_load(net_info* info) {
    if (is_vpn_enabled()) {
        int wan_type = 0;
        if (read_int(kMibWanType, &wan_type)) {
            VLOG_ERROR("Fail to get WAN type");
            return VESPIN_ERR_SETTING;
        }
        return net_info_load(info, wan_type == kWanPppoe ? "ppp1" : "ppp0");
    }
    if (is_openvpn_enabled()) return net_info_load(info, "tun0");
    return 0;
}

int net_info_load_from_json(net_info* info, const char* text) {
    if (info == nullptr) return VESPIN_ERR_FAILURE;
    return net_info_from_json(info, text, false);
}

int net_info_update_from_json(net_info* info, const char* text) {
    if (info == nullptr) return VESPIN_ERR_FAILURE;
    return net_info_from_json(info, text, true);
}

}  // extern "C"
