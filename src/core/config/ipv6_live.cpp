// The live IPv6 state of the WAN interface, from the kernel's files.
#include "config_ipv6.h"

#include "apmib.h"
#include "core/config/ipv6_solicit.h"
#include "core/log.h"
#include "core/text.h"
#include "platform/platform.h"

#include <stdio.h>
#include <string.h>

#include <sstream>
#include <string>

namespace {

const int kMibOpMode = 192;
const int kScopeGlobal = 0x00;
bool solicitation = false;

// 32 hex digits as eight groups and then as text.
bool hex_to_text(const char* hex, char* out) {
    uint16_t g[8];
    char tail;
    if (strlen(hex) != 32 || sscanf(hex, "%4hx%4hx%4hx%4hx%4hx%4hx%4hx%4hx%c", &g[0], &g[1], &g[2], &g[3], &g[4],
                                    &g[5], &g[6], &g[7], &tail) != 8)
        return false;
    return ipv6_addr_to_string(g, out) == 0;
}

// Global addresses of the interface from "/proc/net/if_inet6" (lines
// "ADDRESS INDEX PREFIX SCOPE FLAGS NAME"); link-local and host scopes are
// left out.
void read_addresses(const char* ifname, ipv6_addrs* out) {
    memset(out, 0, sizeof *out);
    std::string text;
    if (!plat_read_file("/proc/net/if_inet6", &text)) {
        VLOG_ERROR("Fail to get ipv6 addr of if[%s]", ifname);
        return;
    }
    std::istringstream lines(text);
    std::string line;
    while (std::getline(lines, line) && out->count < IPV6_ADDRS_MAX) {
        char hex[40], name[32];
        unsigned index, prefix, scope, flags;
        if (line.size() > 200 ||
            sscanf(line.c_str(), "%39s %x %x %x %x %31s", hex, &index, &prefix, &scope, &flags, name) != 6)
            continue;
        if (strcmp(name, ifname) != 0 || scope != kScopeGlobal || prefix > 128) continue;
        ipv6_addr* addr = &out->addrs[out->count];
        if (!hex_to_text(hex, addr->addr)) continue;
        addr->prefix_length = (int32_t)prefix;
        out->count++;
    }
}

// The next hop of the interface's default route in "/proc/net/ipv6_route".
void read_gateway(const char* ifname, ipv6_addr* out) {
    memset(out, 0, sizeof *out);
    std::string text;
    bool found = false;
    if (plat_read_file("/proc/net/ipv6_route", &text)) {
        std::istringstream lines(text);
        std::string line;
        while (!found && std::getline(lines, line)) {
            char dest[40], src[40], hop[40], name[32];
            unsigned dest_len, src_len, metric, refs, use, flags;
            if (line.size() > 200 || sscanf(line.c_str(), "%39s %x %39s %x %39s %x %x %x %x %31s", dest, &dest_len,
                                            src, &src_len, hop, &metric, &refs, &use, &flags, name) != 10)
                continue;
            if (strcmp(name, ifname) != 0 || dest_len != 0 || strspn(dest, "0") != 32) continue;
            found = hex_to_text(hop, out->addr) && strspn(hop, "0") != 32;
        }
    }
    if (!found) {
        memset(out, 0, sizeof *out);
        VLOG_ERROR("Fail to get ipv6 gw addr of if[%s]", ifname);
        return;
    }
    out->prefix_length = IPV6_DEFAULT_PREFIX_LENGTH;
}

// "KEYWORD ADDRESS" lines of "/var/resolv_v6.conf"; a "%zone" is cut off.
void read_dns(ipv6_addrs* out) {
    memset(out, 0, sizeof *out);
    std::string text;
    if (!plat_read_file("/var/resolv_v6.conf", &text)) return;
    std::istringstream lines(text);
    std::string line;
    while (std::getline(lines, line) && out->count < IPV6_ADDRS_MAX) {
        char keyword[32], address[64];
        if (line.size() > 200 || sscanf(line.c_str(), "%31s %63s", keyword, address) != 2) continue;
        char* zone = strchr(address, '%');
        if (zone) *zone = '\0';
        ipv6_addr* addr = &out->addrs[out->count];
        copy_text(addr->addr, sizeof addr->addr, address);
        addr->prefix_length = IPV6_DEFAULT_PREFIX_LENGTH;
        if (is_valid_ipv6_addr(addr))
            out->count++;
        else
            memset(addr, 0, sizeof *addr);
    }
}

}  // namespace

void ipv6_solicitation_request(bool raised) { solicitation = raised; }

bool ipv6_solicitation_requested() { return solicitation; }

extern "C" int get_ipv6_wan_net_info(ipv6_netinfo* info) {
    if (info == nullptr) return VESPIN_ERR_FAILURE;
    int op_mode = 0;
    if (!apmib_get(kMibOpMode, &op_mode)) {
        VLOG_ERROR("Fail to get op mode");
        return VESPIN_ERR_SETTING;
    }
    ipv6_wan_netcfg* config = new ipv6_wan_netcfg();
    int rv = get_ipv6_wan_net_config(config);
    bool enabled = config->enabled != 0, pppoe = config->type == IPV6_WAN_PPPOE;
    delete config;
    if (rv) {
        VLOG_ERROR("Fail to get ipv6 wan net config");
        return rv;
    }
    // One of three fixed names: nothing from outside reaches the command.
    const char* ifname = op_mode == 1 ? "br0" : pppoe ? "ppp0" : "eth1";
    read_addresses(ifname, &info->address);
    if (info->address.count == 0 && enabled && solicitation) {
        char command[32];
        snprintf(command, sizeof command, "rdisc6 %s", ifname);
        plat_system(command);
        read_addresses(ifname, &info->address);
        solicitation = false;
    }
    read_gateway(ifname, &info->gateway);
    read_dns(&info->dns);
    return 0;
}
