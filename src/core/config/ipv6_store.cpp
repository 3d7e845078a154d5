// The IPv6 WAN settings in the settings store, and the PPPoE account in UCI.
#include "config_ipv6.h"

#include "apmib.h"
#include "config_wan.h"
#include "core/config/ipv6_solicit.h"
#include "core/config/pppoe_password.h"
#include "core/log.h"
#include "core/text.h"
#include "core/uci_ref.h"
#include "vespin_core.h"

#include <stdio.h>
#include <string.h>

#include <string>

namespace {

const int kMibWanAddr = 378, kMibGateway = 379, kMibDns = 381;
const int kMibOrigin = 382, kMibLink = 383, kMibEnable = 384, kMibDnsAuto = 385;
const char kPackage[] = "ipv6";

int set_int(int id, int value) { return apmib_set(id, &value) ? 0 : VESPIN_ERR_SETTING; }

// A text address with its prefix into a stored address setting; a text that
// does not parse gives 100200.
int store_addr(int id, const ipv6_addr& addr) {
    ipv6_mib_addr stored;
    memset(&stored, 0, sizeof stored);
    char text[IPV6_ADDR_TEXT_SIZE];
    copy_text(text, sizeof text, addr.addr);
    int rv = ipv6_addr_from_string(text, stored.groups);
    if (rv) return rv;
    stored.prefix_length = addr.prefix_length;
    return apmib_set(id, &stored) ? 0 : VESPIN_ERR_SETTING;
}

int load_addr(int id, ipv6_addr* addr) {
    ipv6_mib_addr stored;
    if (!apmib_get(id, &stored)) return VESPIN_ERR_SETTING;
    memset(addr, 0, sizeof *addr);
    addr->prefix_length = stored.prefix_length;
    return ipv6_addr_to_string(stored.groups, addr->addr);
}

int uci_text(uci_context* ctx, const char* option, char* out, size_t size) {
    std::string value;
    std::string path = std::string(kPackage) + ".pppoe." + option;
    int rv = uci_ctx_get_text(ctx, path.c_str(), &value);
    if (rv == VESPIN_ERR_NOT_FOUND) value.clear();
    else if (rv) return rv;
    copy_text(out, size, value.c_str());
    return 0;
}

}  // namespace

extern "C" {

int set_ipv6_dns(const ipv6_addrs* dns) {
    if (dns == nullptr) return VESPIN_ERR_FAILURE;
    if (dns->count < 1) return set_int(kMibDnsAuto, 1) ? VESPIN_ERR_FAILURE : 0;
    if (store_addr(kMibDns, dns->addrs[0]) != 0) return VESPIN_ERR_FAILURE;
    return set_int(kMibDnsAuto, 0) ? VESPIN_ERR_FAILURE : 0;
}

int set_ipv6_atuo(const ipv6_auto_netcfg* config) {
    if (config == nullptr) return VESPIN_ERR_FAILURE;
    set_int(kMibOrigin, 0);  // the results of these two writes are not checked
    set_int(kMibLink, 0);
    return set_ipv6_dns(&config->dns);
}

int set_ipv6_static(const ipv6_static_netcfg* config) {
    if (config == nullptr) return VESPIN_ERR_FAILURE;
    set_int(kMibOrigin, 1);
    set_int(kMibLink, 0);
    if (config->netinfo.address.count < 1) return VESPIN_ERR_INVALID_JSON;
    int rv = store_addr(kMibWanAddr, config->netinfo.address.addrs[0]);
    if (rv == 0) rv = store_addr(kMibGateway, config->netinfo.gateway);
    return rv ? rv : set_ipv6_dns(&config->netinfo.dns);
}

int set_ipv6_pppoe(const ipv6_pppoe_netcfg* config) {
    if (config == nullptr) return VESPIN_ERR_FAILURE;
    set_int(kMibOrigin, 0);
    set_int(kMibLink, 1);
    char account[IPV6_PPPOE_TEXT_SIZE], password[IPV6_PPPOE_TEXT_SIZE];
    copy_text(account, sizeof account, config->account);
    copy_text(password, sizeof password, config->password);
    int rv = config->share_ipv4_credentials ? set_ipv4_pppoe(account, password) : 0;
    if (rv) {
        VLOG_ERROR("Fail to set pppoe");
        return rv;
    }
    rv = save_ipv6_pppoe_to_uci(config);
    if (rv) {
        VLOG_ERROR("Fail to save PPPoE");
        return rv;
    }
    rv = set_ipv6_dns(&config->dns);
    if (rv) VLOG_ERROR("Fail to set dns");
    return rv;
}

int set_ipv6_wan_net_config(const ipv6_wan_netcfg* config) {
    if (config == nullptr) return VESPIN_ERR_FAILURE;
    int rv;
    switch (config->type) {
        case IPV6_WAN_STATIC: rv = set_ipv6_static(&config->static_); break;
        case IPV6_WAN_AUTO: rv = set_ipv6_atuo(&config->auto_); break;
        case IPV6_WAN_PPPOE: rv = set_ipv6_pppoe(&config->pppoe); break;
        default:
            VLOG_ERROR("Unknown wan6 type");
            rv = VESPIN_ERR_INVALID_PARAM;
    }
    if (rv) {
        VLOG_ERROR("Fail to set ipv6 net config");
        return rv;
    }
    if (config->type != IPV6_WAN_STATIC) ipv6_solicitation_request(true);
    if (set_int(kMibEnable, config->enabled ? 1 : 0)) {
        VLOG_ERROR("Fail to set MIB_IPV6_WAN_ENABLE");
        return VESPIN_ERR_SETTING;
    }
    if (config->enabled) {
        rv = set_ipv6_default_config();
        if (rv) {
            VLOG_ERROR("Fail to set ipv6 default config");
            return rv;
        }
    }
    if (flush_apmib(APMIB_CURRENT_SETTING) != 0) {
        VLOG_ERROR("Fail to flush apmib");
        return VESPIN_ERR_SETTING;
    }
    return 0;
}

int get_ipv6_dns(ipv6_addrs* dns) {
    if (dns == nullptr) return VESPIN_ERR_FAILURE;
    memset(dns, 0, sizeof *dns);
    int automatic = 0;
    if (!apmib_get(kMibDnsAuto, &automatic)) {
        VLOG_ERROR("Fail to get MIB_IPV6_DNS_AUTO");
        return 0;
    }
    if (automatic == 1) return 0;
    int rv = load_addr(kMibDns, &dns->addrs[0]);
    if (rv == 0) dns->count = 1;
    return rv;
}

int get_ipv6_atuo(ipv6_auto_netcfg* config) {
    if (config == nullptr) return VESPIN_ERR_FAILURE;
    return get_ipv6_dns(&config->dns);
}

int get_ipv6_static(ipv6_static_netcfg* config) {
    if (config == nullptr) return VESPIN_ERR_FAILURE;
    memset(config, 0, sizeof *config);
    int rv = load_addr(kMibWanAddr, &config->netinfo.address.addrs[0]);
    if (rv) return rv;
    config->netinfo.address.count = 1;
    rv = load_addr(kMibGateway, &config->netinfo.gateway);
    return rv ? rv : get_ipv6_dns(&config->netinfo.dns);
}

int get_ipv6_pppoe(ipv6_pppoe_netcfg* config) {
    if (config == nullptr) return VESPIN_ERR_FAILURE;
    int rv = get_ipv6_pppoe_from_uci(config);
    return rv ? rv : get_ipv6_dns(&config->dns);
}

int get_ipv6_wan_net_config(ipv6_wan_netcfg* config) {
    if (config == nullptr) return VESPIN_ERR_FAILURE;
    int origin = 0, link = 0, enabled = 0;
    if (!apmib_get(kMibOrigin, &origin)) {
        VLOG_ERROR("Fail to get MIB_IPV6_ORIGIN_TYPE");
        return VESPIN_ERR_SETTING;
    }
    if (!apmib_get(kMibLink, &link)) {
        VLOG_ERROR("Fail to get MIB_IPV6_LINK_TYPE");
        return VESPIN_ERR_SETTING;
    }
    config->type = origin == 1 ? IPV6_WAN_STATIC : link == 1 ? IPV6_WAN_PPPOE : IPV6_WAN_AUTO;
    if (!apmib_get(kMibEnable, &enabled)) {
        VLOG_ERROR("Fail to get MIB_IPV6_WAN_ENABLE");
        return VESPIN_ERR_SETTING;
    }
    config->enabled = enabled ? 1 : 0;
    int rv = config->type == IPV6_WAN_STATIC ? get_ipv6_static(&config->static_)
             : config->type == IPV6_WAN_PPPOE ? get_ipv6_pppoe(&config->pppoe)
                                              : get_ipv6_atuo(&config->auto_);
    if (rv) VLOG_ERROR("Fail to get ipv6 type");
    return rv;
}

int save_ipv6_pppoe_to_uci(const ipv6_pppoe_netcfg* config) {
    if (config == nullptr) return VESPIN_ERR_FAILURE;
    uci_ref ctx;
    if (!ctx.ok()) return VESPIN_ERR_FAILURE;
    char account[IPV6_PPPOE_TEXT_SIZE], password[IPV6_PPPOE_TEXT_SIZE];
    copy_text(account, sizeof account, config->account);
    copy_text(password, sizeof password, config->password);
    if (!pppoe_text_printable(account, strlen(account)) || !pppoe_text_printable(password, strlen(password))) {
        VLOG_ERROR("Invalid pppoe account");
        return VESPIN_ERR_INVALID_PARAM;
    }
    char text[3][128];
    snprintf(text[0], sizeof text[0], "%s.pppoe.share_credentials=%d", kPackage, config->share_ipv4_credentials ? 1 : 0);
    snprintf(text[1], sizeof text[1], "%s.pppoe.username=%s", kPackage, account);
    snprintf(text[2], sizeof text[2], "%s.pppoe.password=%s", kPackage, password);
    for (const auto& line : text) {
        if (vespin_uci_ctx_cmd(ctx.get(), 0, line) != 0) {
            vespin_uci_ctx_rollback(ctx.get(), kPackage);
            return VESPIN_ERR_FAILURE;
        }
    }
    if (vespin_uci_ctx_commit(ctx.get(), kPackage) != 0) {
        vespin_uci_ctx_rollback(ctx.get(), kPackage);
        return VESPIN_ERR_FAILURE;
    }
    return 0;
}

int get_ipv6_pppoe_from_uci(ipv6_pppoe_netcfg* config) {
    if (config == nullptr) return VESPIN_ERR_FAILURE;
    uci_ref ctx;
    if (!ctx.ok()) return VESPIN_ERR_FAILURE;
    char share[8];
    int rv = uci_text(ctx.get(), "share_credentials", share, sizeof share);
    if (rv == 0) rv = uci_text(ctx.get(), "username", config->account, sizeof config->account);
    if (rv == 0) rv = uci_text(ctx.get(), "password", config->password, sizeof config->password);
    if (rv == 0) config->share_ipv4_credentials = vespin_uci_value_is_true(share) ? 1 : 0;
    return rv;
}

}  // extern "C"
