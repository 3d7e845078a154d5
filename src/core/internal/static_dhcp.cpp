// The static-lease table: checks, storage and identifiers.
#include "internal_dhcp.h"

#include "apmib.h"
#include "config_wan.h"
#include "core/log.h"
#include "core/mib_ipv4.h"
#include "core/text.h"
#include "device_text.h"
#include "feature_state.h"
#include "settings_table.h"
#include "tagged_comment.h"
#include "result_codes.h"
#include "tools.h"
#include "vespin_core.h"

#include <arpa/inet.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <strings.h>

#include <vector>

namespace {

const int kMibLanIp = 170;
const int kMibNetmask = 171;
const int kMibPoolStart = 174;
const int kMibPoolEnd = 175;
const int kMibCount = 293;
const int kMibGet = 33062;
const int kMibAdd = 65831;
const int kMibDelete = 131368;
const int kMibDeleteAll = 262441;
static_assert(sizeof(static_lease_stored) == 64, "the table entry is 64 bytes");

// Process-wide state (callers serialise).
identifier_map g_static_dhcp_map;  // with its flag: filled on first use
// The leases of the table before a failed edit or delete, written back first by the next call.
std::vector<static_lease> g_static_dhcp_pending;
bool g_static_dhcp_restore = false;

bool read_stored(int index, static_lease_stored* stored) { return settings_table_entry(kMibGet, index, stored); }

int comment_id(const static_lease_stored& stored) {
    return tagged_comment_split(stored.comment, sizeof stored.comment).id;
}

void to_lease(const static_lease_stored& stored, static_lease* lease) {
    memset(lease, 0, sizeof *lease);
    system_mac_to_string(stored.mac, lease->mac);
    VLOG_INFO("Static dhcp macaddr is %s", lease->mac);
    uint32_t ip;
    memcpy(&ip, stored.ip, 4);
    ip_int_to_string(ip, lease->ip);
    tagged_comment comment = tagged_comment_split(stored.comment, sizeof stored.comment);
    lease->id = comment.id;
    copy_text(lease->name, sizeof lease->name, comment.name.c_str());
    VLOG_INFO("Entry.hostName is %s, id is %s ,name is %s", comment.text.c_str(), comment.id_text.c_str(),
              lease->name);
}

// The LAN's address and netmask: the LAN record, else settings 170/171.
bool lan_network(uint32_t* address, uint32_t* netmask) {
    lan_net_config lan;
    if (lan_net_config_load(&lan) == 0) {
        const net_info* info = strcmp(lan.type ? lan.type : "", "dhcp_server") == 0 ? &lan.dhcp_server.netinfo
                                                                                      : &lan.dhcp_disabled.netinfo;
        struct in_addr a, m;
        if (inet_aton(info->ip, &a) && inet_aton(info->mask, &m)) {
            *address = a.s_addr;
            *netmask = m.s_addr;
            return true;
        }
    }
    return mib_get_ipv4(kMibLanIp, address) && mib_get_ipv4(kMibNetmask, netmask);
}

void remember_for_restore(const mac_bond_ip& leases) {
    g_static_dhcp_pending.assign(leases.dev_bond_info, leases.dev_bond_info + leases.count);
    g_static_dhcp_restore = true;
}

// Delete-all, then every lease but the one with skip_id again.
int rewrite_table(const std::vector<static_lease>& leases, int skip_id) {
    static_lease_stored nothing;  // the store reads a whole entry for every table id
    memset(&nothing, 0, sizeof nothing);
    if (!apmib_set(kMibDeleteAll, &nothing)) {
        VLOG_INFO("Fail to delete all table");
        return VESPIN_ERR_FAILURE;
    }
    for (const static_lease& lease : leases)
        if (lease.id != skip_id)
            if (int rv = static_dhcp_add(1, &lease)) return rv;
    return 0;
}

// Another lease than `id` with the same address or MAC.
bool occupied(const mac_bond_ip& leases, const static_lease& request) {
    for (int i = 0; i < leases.count; i++) {
        const static_lease& other = leases.dev_bond_info[i];
        if (other.id == request.id) continue;
        if (strcmp(other.ip, request.ip) == 0 || strcasecmp(other.mac, request.mac) == 0) return true;
    }
    return false;
}

bool known_id(const mac_bond_ip& leases, int id) {
    for (int i = 0; i < leases.count; i++)
        if (leases.dev_bond_info[i].id == id) return true;
    return false;
}

// Removes the stored lease with this identifier (an edit's old entry).
bool delete_by_id(int id) {
    int count = 0;
    if (!apmib_get(kMibCount, &count)) return false;
    for (int n = 1; n <= count; n++) {
        static_lease_stored stored;
        if (read_stored(n, &stored) && comment_id(stored) == id) return apmib_set(kMibDelete, &stored) != 0;
    }
    return false;
}

int edit(const mac_bond_ip& leases, const static_lease& request) {
    if (!known_id(leases, request.id)) return VESPIN_ERR_NOT_FOUND;
    if (occupied(leases, request)) {
        VLOG_INFO("Ip or mac has been occupied");
        return VESPIN_ERR_LEASE_TABLE;
    }
    return static_dhcp_add(2, &request);
}

}  // namespace

void static_dhcp_forget_state() {
    g_static_dhcp_map = identifier_map();
    g_static_dhcp_pending.clear();
    g_static_dhcp_restore = false;
}

extern "C" {

int static_dhcp_list(mac_bond_ip* list) {
    if (!list) return VESPIN_ERR_FAILURE;
    static const settings_table_messages messages = {"Fail to get entry number",
                                                     "Fail to malloc p_mac_bond_ip->dev_bond_info",
                                                     "Fail to get mib MIB_DHCPRSVDIP_TBL"};
    return settings_table_read(kMibCount, kMibGet, to_lease, messages, &list->dev_bond_info, &list->count);
}

int check_ip_mac(int mode, const uint32_t* ip, const uint8_t* mac, int count) {
    if (!ip || !mac) return VESPIN_ERR_FAILURE;
    for (int n = 1; mode == 0 && n <= count; n++) {
        static_lease_stored stored;
        if (!read_stored(n, &stored)) {
            VLOG_INFO("Fail to get mib MIB_DHCPRSVDIP_TBL");
            return VESPIN_ERR_FAILURE;
        }
        if (memcmp(stored.ip, ip, 4) == 0 || memcmp(stored.mac, mac, 6) == 0) return VESPIN_ERR_LEASE_TABLE;
    }
    uint32_t start = 0, end = 0, lan = 0, netmask = 0;
    if (!mib_get_ipv4(kMibPoolStart, &start) || !mib_get_ipv4(kMibPoolEnd, &end) || !lan_network(&lan, &netmask))
        return VESPIN_ERR_FAILURE;
    if ((*ip & netmask) != (lan & netmask)) return VESPIN_ERR_INVALID_IP;
    if (*ip == lan) {
        VLOG_INFO("Do not set ip to local lan ip");
        return VESPIN_ERR_IP_IS_LAN;
    }
    uint32_t host = ntohl(*ip & ~netmask);
    if (host < ntohl(start & ~netmask) || host > ntohl(end & ~netmask) || host == ntohl(lan & ~netmask))
        return VESPIN_ERR_OUTSIDE_POOL;
    return 0;
}

int static_dhcp_add(int mode, const static_lease* lease) {
    if (!lease) return VESPIN_ERR_FAILURE;
    static_lease_stored stored;
    memset(&stored, 0, sizeof stored);
    char name[sizeof lease->name];
    copy_text(name, sizeof name, lease->name);
    char comment[sizeof name + 16];
    snprintf(comment, sizeof comment, "%s%02d", name, (int)lease->id);
    char mac[sizeof lease->mac];
    copy_text(mac, sizeof mac, lease->mac);
    if (!mac_text_to_bytes(mac, stored.mac)) {
        VLOG_INFO("Invalid mac");
        return VESPIN_ERR_INVALID_PARAM;
    }
    if (strlen(comment) >= sizeof stored.comment) {
        VLOG_INFO("Name is too long");
        return VESPIN_ERR_INVALID_PARAM;
    }
    int count = 0;
    if (!apmib_get(kMibCount, &count)) {
        VLOG_INFO("Fail to get entry number");
        return VESPIN_ERR_FAILURE;
    }
    if (mode == 0 && count >= STATIC_DHCP_MAX) {
        VLOG_INFO("Static dhcp address pool is full");
        return VESPIN_ERR_TABLE_FULL;
    }
    uint32_t ip = 0;
    ipv4_from_field(lease->ip, sizeof lease->ip, &ip);
    if (mode == 0 || mode == 2) {
        uint32_t lan = 0, netmask = 0;
        if (!lan_network(&lan, &netmask) || (ip & netmask) != (lan & netmask)) {
            VLOG_INFO("Invalid ip");
            return VESPIN_ERR_INVALID_IP;
        }
        if (int rv = check_ip_mac(mode, &ip, stored.mac, count)) {
            VLOG_INFO("Invalid ip or mac");
            return rv;
        }
    }
    memcpy(stored.ip, &ip, 4);
    copy_text(stored.comment, sizeof stored.comment, comment);
    stored.enabled = 1;
    if (mode == 2) {
        if (!delete_by_id(lease->id)) {
            VLOG_INFO("Fail to delete table entry");
            return VESPIN_ERR_FAILURE;
        }
    } else {
        apmib_set(kMibDelete, &stored);  // an equal entry goes first; none is fine
    }
    if (!apmib_set(kMibAdd, &stored)) {
        VLOG_INFO("Fail to add table entry");
        return VESPIN_ERR_FAILURE;
    }
    return 0;
}

int set_static_dhcp(int command, const static_lease* request) {
    if (!request) {
        VLOG_INFO("Invalid pointer: p_mac_bond_ip");
        return VESPIN_ERR_FAILURE;
    }
    if (g_static_dhcp_restore) {
        if (rewrite_table(g_static_dhcp_pending, -1) != 0) return VESPIN_ERR_FAILURE;
        g_static_dhcp_restore = false;
        g_static_dhcp_pending.clear();
    }
    mac_bond_ip leases = {0, nullptr};
    if (static_dhcp_list(&leases) != 0) {
        free(leases.dev_bond_info);
        VLOG_INFO("Fail to get static dhcp address list");
        return VESPIN_ERR_FAILURE;
    }
    if (!g_static_dhcp_map.filled) {
        std::vector<int> ids;
        for (int i = 0; i < leases.count; i++) ids.push_back(leases.dev_bond_info[i].id);
        g_static_dhcp_map.fill(ids);
    }
    static_lease lease = *request;
    int rv = 0;
    bool table_touched = false;
    if (command == STATIC_DHCP_ADD) {
        if (leases.count >= STATIC_DHCP_MAX) {
            VLOG_INFO("The number of static dhcp addresses reaches the limit MAX_DHCP_RSVD_IP_NUM: %d",
                      STATIC_DHCP_MAX);
            rv = VESPIN_ERR_TABLE_FULL;
        } else {
            lease.id = g_static_dhcp_map.lowest_free();
            if ((rv = static_dhcp_add(0, &lease)) == 0) g_static_dhcp_map.take(lease.id);
            else VLOG_INFO("Fail to add static dhcp address");
        }
    } else if (command == STATIC_DHCP_EDIT) {
        rv = edit(leases, lease);
        table_touched = rv == VESPIN_ERR_FAILURE;
    } else if (command == STATIC_DHCP_DELETE) {
        std::vector<static_lease> kept(leases.dev_bond_info, leases.dev_bond_info + leases.count);
        rv = rewrite_table(kept, lease.id);
        table_touched = rv != 0;
        if (rv == 0) g_static_dhcp_map.release(lease.id);
    } else {
        VLOG_INFO("Unsupported command type");
        rv = VESPIN_ERR_FAILURE;
    }
    // A table left short is not made durable: the next call writes it back.
    if (table_touched) remember_for_restore(leases);
    else flush_apmib(APMIB_CURRENT_SETTING);
    free(leases.dev_bond_info);
    return rv;
}

}  // extern "C"
