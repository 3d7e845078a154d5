// Writing a WAN configuration into the settings store: DHCP, static (moving
// the LAN out of the way) and PPPoE, with the manual DNS servers.
#include "vespin_core.h"

#include "apmib.h"
#include "config_ipv6.h"
#include "core/log.h"
#include "core/mib_ipv4.h"
#include "core/text.h"
#include "platform/platform.h"

#include <arpa/inet.h>
#include <string.h>

#include <string>

namespace {

const int kMibWanIp = 101, kMibWanMask = 102, kMibWanGateway = 103;
const int kMibWanMode = 104, kMibDnsMode = 105;
const int kMibPppUser = 106, kMibPppPassword = 107;
const int kMibLanIp = 170, kMibLanMask = 171, kMibLanGateway = 172;
const int kMibPoolStart = 174, kMibPoolEnd = 175;
const int kMibDns[3] = {176, 177, 178};
const int kWanStatic = 0, kWanDhcp = 1, kWanPppoe = 3;
const char kStopDhcpServer[] = "killall udhcpd &";
const char kNoAddress[] = "0.0.0.0";

// A 16-byte field as a text, even when the caller left it unterminated.
std::string field(const char* text) { return std::string(text, strnlen(text, NET_INFO_TEXT_SIZE)); }

bool parse(const std::string& text, uint32_t* address) {
    struct in_addr a;
    if (!inet_aton(text.c_str(), &a)) return false;
    *address = a.s_addr;
    return true;
}

int set_int(int id, int value) {
    if (!apmib_set(id, &value)) {
        VLOG_ERROR("Fail to set apmib");
        vespin_perror("Fail to set apmib");
        return VESPIN_ERR_SETTING;
    }
    return 0;
}

int set_address(int id, uint32_t address) {
    if (!mib_set_ipv4(id, address)) {
        VLOG_ERROR("Fail to set apmib");
        vespin_perror("Fail to set apmib");
        return VESPIN_ERR_SETTING;
    }
    return 0;
}

// The DNS mode and servers of the DHCP and PPPoE variants.
int store_dns_pair(char dns[2][16]) {
    int mode = dns[0][0] ? 1 : 0;
    uint32_t primary = 0, secondary = 0;
    if (mode) {
        if (!dns[1][0]) copy_text(dns[1], NET_INFO_TEXT_SIZE, kNoAddress);
        // The servers were once stored unconverted when they did not parse:
        // such a text is refused before anything of the pair is stored.
        for (int i = 0; i < 2; i++) {
            if (!parse(field(dns[i]), i ? &secondary : &primary)) {
                VLOG_ERROR("Invalid dns: %s", field(dns[i]).c_str());
                return VESPIN_ERR_INVALID_PARAM;
            }
        }
    }
    if (!apmib_set(kMibDnsMode, &mode)) {
        VLOG_ERROR("Fail to set MIB_DNS_MODE");
        return VESPIN_ERR_SETTING;
    }
    if (!mode) return 0;
    if (!mib_set_ipv4(kMibDns[0], primary)) {
        VLOG_ERROR("Fail to set MIB_DNS1");
        return VESPIN_ERR_SETTING;
    }
    if (!mib_set_ipv4(kMibDns[1], secondary)) {
        VLOG_ERROR("Fail to set MIB_DNS2");
        return VESPIN_ERR_SETTING;
    }
    return 0;
}

// The LAN address after a collision: 192.168.x.y unless the first octet is
// 192 or 172, which becomes 10 (network order throughout).
uint32_t moved_lan(uint32_t lan) {
    uint32_t host = ntohl(lan);
    uint32_t first = host >> 24;
    if (first != 192 && first != 172) return htonl((192u << 24) | (168u << 16) | (host & 0xffffu));
    return htonl((10u << 24) | (host & 0xffffffu));
}

uint32_t rebase(uint32_t address, uint32_t network, uint32_t mask) { return (address & ~mask) | (network & mask); }

int fail_lan_move() {
    VLOG_ERROR("Fail to set/get apmib ");
    vespin_perror("Fail to set/get apmib");
    return VESPIN_ERR_SETTING;
}

// Moves the LAN (and its pool) out of the WAN's network when they collide.
int move_lan_if_colliding(uint32_t wan, uint32_t wan_mask) {
    uint32_t lan = 0, lan_mask = 0;
    if (!mib_get_ipv4(kMibLanIp, &lan) || !mib_get_ipv4(kMibLanMask, &lan_mask)) return fail_lan_move();
    uint32_t mask = wan_mask & lan_mask;  // the wider of two netmasks
    if ((wan & mask) != (lan & mask)) return 0;
    uint32_t new_lan = moved_lan(lan);
    plat_system(kStopDhcpServer);
    if (!mib_set_ipv4(kMibLanIp, new_lan)) return fail_lan_move();
    uint32_t start = 0, end = 0, gateway = 0;
    if (!mib_get_ipv4(kMibPoolStart, &start) || !mib_get_ipv4(kMibPoolEnd, &end) ||
        !mib_get_ipv4(kMibLanGateway, &gateway))
        return fail_lan_move();
    if (!mib_set_ipv4(kMibPoolStart, rebase(start, new_lan, mask)) ||
        !mib_set_ipv4(kMibPoolEnd, rebase(end, new_lan, mask)))
        return fail_lan_move();
    if (gateway != 0 && !mib_set_ipv4(kMibLanGateway, rebase(gateway, new_lan, mask))) return fail_lan_move();
    return 0;
}

int invalid(const char* format, const std::string& text) {
    VLOG_ERROR(format, text.c_str());
    return VESPIN_ERR_INVALID_PARAM;
}

// DNS 1-3 of a static WAN: an empty second server becomes "0.0.0.0" in the
// record, and a failure to store that one is remembered in *deferred.
int store_static_dns(net_info* info, int* deferred) {
    for (int i = 0; i < 3; i++) {
        std::string text = field(info->dns[i]);
        uint32_t address = 0;
        if (text.empty()) {
            if (i != 1) continue;
            copy_text(info->dns[1], NET_INFO_TEXT_SIZE, kNoAddress);
            if (!mib_set_ipv4(kMibDns[1], 0)) *deferred = VESPIN_ERR_SETTING;
            continue;
        }
        if (!parse(text, &address)) return invalid("Invalid dns: %s", text);
        int rv = set_address(kMibDns[i], address);
        if (rv) return rv;
    }
    return 0;
}

}  // namespace

extern "C" {

int config_wan(wan_net_config* config) {
    if (config == nullptr) return VESPIN_ERR_FAILURE;
    const char* type = config->type ? config->type : "";
    bool pppoe = strcmp(type, "pppoe") == 0;
    int rv = vlan_table_set(pppoe ? &config->pppoe.vlan : &config->vlan);
    if (rv != 0) {
        VLOG_ERROR("Fail to update vlan config, errcode: [%d]", rv);
        return rv;
    }
    if (pppoe) return config_wan_pppoe(config->pppoe.account, config->pppoe.password, config->pppoe.dns);
    if (strcmp(type, "static") == 0) return config_wan_static(&config->static_.netinfo);
    if (strcmp(type, "dhcp") == 0) return config_wan_enable_dhcp(config->dhcp.dns);
    return 0;
}

int config_wan_enable_dhcp(char dns[2][16]) {
    if (dns == nullptr) return VESPIN_ERR_FAILURE;
    int rv = set_int(kMibWanMode, kWanDhcp);
    return rv ? rv : store_dns_pair(dns);
}

int config_wan_pppoe(const char* user, const char* password, char dns[2][16]) {
    if (user == nullptr || password == nullptr || dns == nullptr) return VESPIN_ERR_FAILURE;
    char account[IPV6_PPPOE_TEXT_SIZE], secret[IPV6_PPPOE_TEXT_SIZE];
    copy_text(account, sizeof account, user);
    copy_text(secret, sizeof secret, password);
    if (!apmib_set(kMibPppUser, account) || !apmib_set(kMibPppPassword, secret)) {
        VLOG_ERROR("Fail to set apmib");
        vespin_perror("Fail to set apmib");
        return VESPIN_ERR_SETTING;
    }
    int rv = set_int(kMibWanMode, kWanPppoe);
    if (rv == 0) rv = store_dns_pair(dns);
    if (rv) return rv;
    ipv6_pppoe_netcfg ipv6 = {};
    rv = get_ipv6_pppoe_from_uci(&ipv6);
    if (rv) {
        VLOG_ERROR("Fail to get ipv6 pppoe");
        return rv;
    }
    memcpy(ipv6.account, account, sizeof account);
    memcpy(ipv6.password, secret, sizeof secret);
    if (!ipv6.share_ipv4_credentials) return 0;
    rv = save_ipv6_pppoe_to_uci(&ipv6);
    if (rv) VLOG_ERROR("Fail to save ipv6 pppoe");
    return rv;
}

int config_wan_static(net_info* info) {
    if (info == nullptr) return VESPIN_ERR_FAILURE;
    uint32_t ip = 0, mask = 0, gateway = 0;
    if (!parse(field(info->ip), &ip)) {
        VLOG_ERROR("Invalid ip: %s", field(info->ip).c_str());
        vespin_perror("Fail to set apmib");
        return VESPIN_ERR_INVALID_PARAM;
    }
    if (!parse(field(info->mask), &mask)) return invalid("INVALID mask: %s", field(info->mask));
    int rv = move_lan_if_colliding(ip, mask);
    if (rv == 0) rv = set_address(kMibWanIp, ip);
    if (rv == 0) rv = set_address(kMibWanMask, mask);
    if (rv) return rv;
    if (!parse(field(info->gateway), &gateway)) return invalid("Invalid gateway: %s", field(info->gateway));
    rv = set_address(kMibWanGateway, gateway);
    if (rv) return rv;
    int deferred = 0;
    rv = store_static_dns(info, &deferred);
    if (rv == 0) rv = set_int(kMibWanMode, kWanStatic);
    return rv ? rv : deferred;
}

}  // extern "C"
