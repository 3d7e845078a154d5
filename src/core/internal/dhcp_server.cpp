// The LAN address, the DHCP pool, lease time and domain.
#include "internal_dhcp.h"

#include "apmib.h"
#include "core/log.h"
#include "core/mib_ipv4.h"
#include "core/text.h"
#include "device_text.h"
#include "internal_diagnostics.h"
#include "result_codes.h"
#include "status.h"

#include <arpa/inet.h>
#include <stdlib.h>
#include <string.h>

#include <string>

namespace {

const int kMibLanIp = 170;
const int kMibNetmask = 171;
const int kMibPoolStart = 174;
const int kMibPoolEnd = 175;
const int kMibLeaseMinutes = 945;
const int kMibDomain = 198;

bool parse(const char* field, size_t capacity, uint32_t* address) {
    uint32_t parsed = 0;
    bool ok = ipv4_from_field(field, capacity, &parsed) && parsed != 0;
    *address = parsed;
    return ok;
}

bool in_range(uint32_t address, uint32_t first, uint32_t last) {
    return ntohl(address) >= ntohl(first) && ntohl(address) <= ntohl(last);
}

// The lease's address moved into the network of lan_ip: lan_ip up to its
// last '.', then the lease's last '.' and octet.
bool moved_lease(const char* lan_ip, const char* lease_ip, uint32_t* moved) {
    std::string lan(lan_ip), lease(lease_ip);
    size_t lan_dot = lan.rfind('.'), lease_dot = lease.rfind('.');
    if (lan_dot == std::string::npos || lease_dot == std::string::npos) return false;
    std::string text = lan.substr(0, lan_dot) + lease.substr(lease_dot);
    return parse(text.c_str(), text.size() + 1, moved);
}

int leases_fit_pool(const char* lan_ip, uint32_t start, uint32_t end) {
    mac_bond_ip leases = {0, nullptr};
    int rv = static_dhcp_list(&leases);
    for (int i = 0; rv == 0 && i < leases.count; i++) {
        uint32_t moved = 0;
        if (!moved_lease(lan_ip, leases.dev_bond_info[i].ip, &moved) || !in_range(moved, start, end))
            rv = VESPIN_ERR_OUTSIDE_POOL;
    }
    free(leases.dev_bond_info);
    return rv == VESPIN_ERR_OUTSIDE_POOL || rv == 0 ? rv : VESPIN_ERR_FAILURE;
}

// The routed WAN's live network, when there is one.
bool wan_network(uint32_t* address, uint32_t* netmask) {
    if (vespin_get_op_mode() == 1) return false;
    net_info wan;
    memset(&wan, 0, sizeof wan);
    return wan_net_info_load(&wan) == 0 && parse(wan.ip, sizeof wan.ip, address) &&
           parse(wan.mask, sizeof wan.mask, netmask);
}

bool store(int id, uint32_t address, const char* failure) {
    if (mib_set_ipv4(id, address)) return true;
    VLOG_INFO("%s", failure);
    return false;
}

}  // namespace

extern "C" {

int get_dhcp_server(dhcp_service* service) {
    if (!service) return VESPIN_ERR_FAILURE;
    // Deliberate: a failed read is logged in the setter's words.
    const struct {
        int id;
        char* out;
        const char* failure;
    } addresses[] = {
        {kMibLanIp, service->lan_ip, "Fail to set MIB_IP_ADDR"},
        {kMibPoolStart, service->start_ip, "Fail to set MIB_DHCP_CLIENT_START"},
        {kMibPoolEnd, service->end_ip, "Fail to set MIB_DHCP_CLIENT_END"},
        {kMibNetmask, service->netmask, "Fail to set MIB_SUBNET_MASK"},
    };
    for (const auto& a : addresses) {
        if (!mib_get_ipv4_text(a.id, a.out)) {
            VLOG_INFO("%s", a.failure);
            return VESPIN_ERR_FAILURE;
        }
    }
    memset(service->reserved, 0, sizeof service->reserved);
    int minutes = 0;
    if (!apmib_get(kMibLeaseMinutes, &minutes)) {
        VLOG_INFO("Fail to set MIB_DHCP_LEASE_TIME");
        return VESPIN_ERR_FAILURE;
    }
    service->lease_time = minutes * 60;
    char domain[64] = {0};
    if (!apmib_get(kMibDomain, domain)) {
        VLOG_INFO("Fail to set MIB_DOMAIN_NAME");
        return VESPIN_ERR_FAILURE;
    }
    copy_text(service->domain_name, sizeof service->domain_name, domain);
    return 0;
}

int set_dhcp_server(const dhcp_service* service) {
    if (!service) return VESPIN_ERR_FAILURE;
    uint32_t lan = 0, start = 0, end = 0, netmask = 0;
    if (!parse(service->lan_ip, sizeof service->lan_ip, &lan) ||
        !parse(service->start_ip, sizeof service->start_ip, &start) ||
        !parse(service->end_ip, sizeof service->end_ip, &end)) {
        VLOG_INFO("Invalid pointer: p_dhcp_service->lan_info.lan_ip");
        return VESPIN_ERR_INVALID_PARAM;
    }
    char lan_text[16];
    copy_text(lan_text, sizeof lan_text, service->lan_ip);
    if (int rv = leases_fit_pool(lan_text, start, end)) return rv;
    bool mask_given = service->netmask[0] != 0;
    if (mask_given ? !parse(service->netmask, sizeof service->netmask, &netmask)
                   : !mib_get_ipv4(kMibNetmask, &netmask))
        return mask_given ? VESPIN_ERR_INVALID_PARAM : VESPIN_ERR_FAILURE;
    uint32_t wan = 0, wan_mask = 0;
    if (wan_network(&wan, &wan_mask) && (wan & wan_mask) == (lan & netmask)) {
        VLOG_INFO("Lan ip cannot be the same as wan ip");
        return VESPIN_ERR_IP_CONFLICT;
    }
    if ((start & netmask) != (lan & netmask) || (end & netmask) != (lan & netmask)) return VESPIN_ERR_OUTSIDE_POOL;
    if (!store(kMibLanIp, lan, "Fail to set MIB_IP_ADDR") ||
        !store(kMibPoolStart, start, "Fail to set MIB_DHCP_CLIENT_START") ||
        !store(kMibPoolEnd, end, "Fail to set MIB_DHCP_CLIENT_END") ||
        (mask_given && !store(kMibNetmask, netmask, "Fail to set MIB_SUBNET_MASK")))
        return VESPIN_ERR_FAILURE;
    VLOG_INFO("Pointer p_dhcp_service->timer is %d", service->lease_time);
    int minutes = service->lease_time / 60;
    if (!apmib_set(kMibLeaseMinutes, &minutes)) {
        VLOG_INFO("Fail to set MIB_DHCP_LEASE_TIME");
        return VESPIN_ERR_FAILURE;
    }
    if (service->domain_name[0]) {
        char domain[sizeof service->domain_name];
        copy_text(domain, sizeof domain, service->domain_name);
        if (!apmib_set(kMibDomain, domain)) {
            VLOG_INFO("Fail to set MIB_DOMAIN_NAME");
            return VESPIN_ERR_FAILURE;
        }
    }
    return 0;
}

}  // extern "C"
