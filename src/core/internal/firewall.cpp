// The denial-of-service guard and the DMZ host.
#include "internal_firewall.h"

#include "apmib.h"
#include "core/log.h"
#include "core/text.h"
#include "internal_diagnostics.h"
#include "platform/platform.h"
#include "result_codes.h"
#include "vespin_core.h"
#include "wan_interface.h"

#include <arpa/inet.h>
#include <stdio.h>
#include <unistd.h>

#include <string>

namespace {

const int kMibDosEnabled = 229;
const int kMibDmzEnabled = 140;
const int kMibDmzHost = 141;

std::string dotted(uint32_t address) {
    struct in_addr a;
    a.s_addr = address;
    return inet_ntoa(a);
}

// The guard's driver switch and, where the chip has one, hardware NAT (which
// would bypass the guard).
void apply_dos(uint32_t mask) {
    int op_mode = vespin_get_op_mode();
    uint32_t address = 0, netmask = 0;
    get_addr("br0", 0, &address);
    get_addr("br0", 2, &netmask);
    uint32_t host_address = ntohl(address), host_netmask = ntohl(netmask);
    char command[256];
    // Deliberate: the inner quotes and the two spaces after '>' are the driver's expected form.
    if (op_mode != 2)
        snprintf(command, sizeof command, "echo \" 0 %X %X %ld %d %d %d %d %d %d %d %d %d\" >  /proc/enable_dos",
                 host_address & 0xFFFFFF00u, host_netmask, (long)mask, 0, 0, 0, 0, 0, 0, 0, 0, 0);
    else
        snprintf(command, sizeof command, "echo \" 2 %X %X %ld %d %d %d %d %d %d %d %d %d\" >  /proc/enable_dos",
                 host_address, host_netmask, (long)mask, 0, 0, 0, 0, 0, 0, 0, 0, 0);
    plat_system(command);
    if (plat_access("/proc/hw_nat", F_OK) != 0) return;
    if (mask != 0) plat_system("echo 0 >/proc/hw_nat");
    else if (op_mode == 1) plat_system("echo 2 >/proc/hw_nat");
    else if (op_mode == 2) plat_system("echo 3 >/proc/hw_nat");
    else plat_system("echo 1 >/proc/hw_nat");
}

}  // namespace

extern "C" {

int get_firewall(uint32_t* out) {
    if (!out || !apmib_get(kMibDosEnabled, out)) {
        VLOG_INFO("Fail to get MIB_DOS_ENABLED");
        return VESPIN_ERR_FAILURE;
    }
    return 0;
}

int set_firewall(int enable) {
    uint32_t mask = enable ? FIREWALL_DOS_GUARDS : 0;
    if (!apmib_set(kMibDosEnabled, &mask)) {
        VLOG_INFO("Fail to set MIB_DOS_ENABLED");
        return VESPIN_ERR_FAILURE;
    }
    apply_dos(mask);
    return 0;
}

int get_dmz(dmz_config* out) {
    int enabled = 0;
    if (!out || !apmib_get(kMibDmzEnabled, &enabled)) {
        VLOG_INFO("Fail to get dmz enable state");
        return VESPIN_ERR_FAILURE;
    }
    out->enabled = (uint8_t)enabled;
    uint32_t host = 0;
    if (!apmib_get(kMibDmzHost, &host)) {
        VLOG_INFO("Fail to get dmz host ip");
        return VESPIN_ERR_FAILURE;
    }
    copy_text(out->host_ip, sizeof out->host_ip, dotted(host).c_str());
    return 0;
}

int set_dmz(const dmz_config* config) {
    if (!config) return VESPIN_ERR_FAILURE;
    uint32_t lan = 0, netmask = 0;
    if (int rv = br0_network(&lan, &netmask)) return rv;
    char text[sizeof config->host_ip];
    copy_text(text, sizeof text, config->host_ip);
    struct in_addr parsed;
    uint32_t host = inet_aton(text, &parsed) ? parsed.s_addr : 0;
    if (host == 0) return 0;  // deliberate: an empty address changes nothing, also when disabling
    if ((host & netmask) != (lan & netmask)) {
        VLOG_INFO("Invalid ip");
        return VESPIN_ERR_INVALID_IP;
    }
    if (host == lan) {
        VLOG_INFO("Invalid ip");
        return VESPIN_ERR_IP_IS_LAN;
    }
    int enabled = config->enabled;
    if (!apmib_set(kMibDmzEnabled, &enabled)) {
        VLOG_INFO("Fail to set enabled flag");
        return VESPIN_ERR_FAILURE;
    }
    if (!apmib_set(kMibDmzHost, &host)) {
        VLOG_INFO("Failed to set ip");
        return VESPIN_ERR_FAILURE;
    }
    uint32_t wan = 0;
    if (!wan_interface_address(&wan)) return 0;
    const char* wan_if = wan_interface_name();
    plat_system("iptables -t nat -F vespin_nat_dmz > /dev/null 2> /dev/null");
    plat_system("iptables -F vespin_filter_dmz > /dev/null 2> /dev/null");
    if (config->enabled) {
        char command[256];
        snprintf(command, sizeof command,
                 "iptables -A vespin_nat_dmz -t nat -i %s -d %s -j DNAT --to %s > /dev/null 2> /dev/null", wan_if,
                 dotted(wan).c_str(), dotted(host).c_str());
        plat_system(command);
        snprintf(command, sizeof command, "iptables -A vespin_filter_dmz -i %s -d %s -j ACCEPT > /dev/null 2> /dev/null",
                 wan_if, dotted(host).c_str());
        plat_system(command);
    }
    plat_system("echo 2 > /proc/fast_nat");
    return 0;
}

}  // extern "C"
