// The WAN record loaded from the settings store, and the PPPoE account writer.
#include "config_wan.h"

#include "apmib.h"
#include "core/log.h"
#include "core/mib_ipv4.h"
#include "core/text.h"
#include "internal_diagnostics.h"
#include "tools.h"

#include <string.h>

namespace {

const int kMibWanIp = 101, kMibWanMask = 102, kMibWanGateway = 103;
const int kMibWanMode = 104, kMibDnsMode = 105;
const int kMibPppUser = 106, kMibPppPassword = 107;
const int kMibDns1 = 176, kMibDns2 = 177, kMibDns3 = 178;

// The stored DNS mode and, when manual, DNS 1 and 2 into the slots; an
// address stored as 0.0.0.0 is an empty slot.
int load_dns_pair(char dns[WAN_DNS_COUNT][NET_INFO_TEXT_SIZE]) {
    int mode = 0;
    if (!apmib_get(kMibDnsMode, &mode)) {
        VLOG_ERROR("Fail to get MIB_DNS_MODE");
        return VESPIN_ERR_SETTING;
    }
    dns[0][0] = dns[1][0] = '\0';
    if (mode == 0) return 0;
    if (!mib_get_ipv4_text(kMibDns1, dns[0])) {
        VLOG_ERROR("Fail to get MIB_DNS1");
        return VESPIN_ERR_SETTING;
    }
    if (!mib_get_ipv4_text(kMibDns2, dns[1])) {
        VLOG_ERROR("Fail to get MIB_DNS2");
        return VESPIN_ERR_SETTING;
    }
    for (int i = 0; i < WAN_DNS_COUNT; i++)
        if (strcmp(dns[i], "0.0.0.0") == 0) dns[i][0] = '\0';
    return 0;
}

// A static WAN: every unreadable field is logged and left empty; by design
// the load carries on and does not report it.
void get_wan_conf_static(net_info* info) {
    memset(info, 0, sizeof *info);
    if (!mib_get_ipv4_text(kMibWanIp, info->ip)) VLOG_ERROR("Fail to read ip");
    if (!mib_get_ipv4_text(kMibWanMask, info->mask)) VLOG_ERROR("Fail to read mask");
    if (!mib_get_ipv4_text(kMibWanGateway, info->gateway)) VLOG_ERROR("Fail to read gateway");
    const int ids[] = {kMibDns1, kMibDns2, kMibDns3};
    const char* messages[] = {"Fail to read 1st dns", "Fail to read 2nd dns", "Fail to read 3rd dns"};
    for (int i = 0; i < NET_INFO_DNS_COUNT; i++) {
        uint32_t address = 0;
        if (!mib_get_ipv4(ids[i], &address)) {
            VLOG_ERROR("%s", messages[i]);
            continue;
        }
        if (address != 0) ip_int_to_string(address, info->dns[i]);
    }
}

int load_pppoe(wan_net_config* config) {
    char text[WAN_PPPOE_TEXT_SIZE];
    if (!apmib_get(kMibPppUser, text)) {
        VLOG_ERROR("Fail to get PPPoE name");
        return VESPIN_ERR_SETTING;
    }
    copy_text(config->pppoe.account, sizeof config->pppoe.account, text);
    if (!apmib_get(kMibPppPassword, text)) {
        VLOG_ERROR("Fail to get PPPoE password");
        return VESPIN_ERR_SETTING;
    }
    copy_text(config->pppoe.password, sizeof config->pppoe.password, text);
    int rv = load_dns_pair(config->pppoe.dns);
    if (rv) return rv;
    rv = vlan_table_load(&config->pppoe.vlan);
    if (rv) VLOG_ERROR("Fail to get vlan config");
    return rv;
}

}  // namespace

extern "C" {

int wan_net_config_load(wan_net_config* config) {
    if (config == nullptr) return VESPIN_ERR_FAILURE;
    int mode = 0;
    if (!apmib_get(kMibWanMode, &mode)) {
        VLOG_ERROR("Fail to get DHCP");
        return VESPIN_ERR_SETTING;
    }
    int op_mode = vespin_get_op_mode();
    if (op_mode == VESPIN_ERR_FAILURE) {
        VLOG_ERROR("Fail to get op_mode");
        return VESPIN_ERR_SETTING;
    }
    int rv = 0;
    if (op_mode == 1) {
        config->type = "dhcp";
    } else if (mode == 3) {
        config->type = "pppoe";
        rv = load_pppoe(config);
    } else if (mode == 1) {
        config->type = "dhcp";
        rv = load_dns_pair(config->dhcp.dns);
    } else if (mode == 0) {
        config->type = "static";
        get_wan_conf_static(&config->static_.netinfo);
    } else {
        config->type = "unknown";
        VLOG_ERROR("Unknown type of MIB_WAN_DHCP");
    }
    if (rv) return rv;
    rv = vlan_table_load(&config->vlan);
    if (rv) VLOG_ERROR("Fail to get vlan config");
    return rv;
}

int set_ipv4_pppoe(const char* user, const char* password) {
    if (user == nullptr || password == nullptr) return VESPIN_ERR_FAILURE;
    char text[WAN_PPPOE_TEXT_SIZE];
    copy_text(text, sizeof text, user);
    if (!apmib_set(kMibPppUser, text)) {
        VLOG_ERROR("Fail to set MIB_PPP_USER_NAME");
        return VESPIN_ERR_SETTING;
    }
    copy_text(text, sizeof text, password);
    if (!apmib_set(kMibPppPassword, text)) {
        VLOG_ERROR("Fail to set MIB_PPP_PASSWORD");
        return VESPIN_ERR_SETTING;
    }
    return 0;
}

}  // extern "C"
