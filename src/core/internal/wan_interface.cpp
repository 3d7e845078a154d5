#include "wan_interface.h"

#include "apmib.h"
#include "config_vpn.h"
#include "core/log.h"
#include "result_codes.h"
#include "vespin_core.h"

namespace {

const int kMibWanType = 104;
const int kWanTypePpp = 3;

}  // namespace

const char* wan_interface_name() {
    int wan_type = 0;
    apmib_get(kMibWanType, &wan_type);
    bool connected = is_vpn_connected() != 0;
    bool vpn = connected && is_vpn_enabled();
    bool openvpn = connected && is_openvpn_enabled();
    if (wan_type == kWanTypePpp) return vpn ? "ppp1" : openvpn ? "tun0" : "ppp0";
    return vpn ? "ppp0" : openvpn ? "tun0" : "eth1";
}

bool wan_interface_address(uint32_t* address) {
    *address = 0;
    return get_addr(wan_interface_name(), 0, address) && *address != 0;
}

int br0_network(uint32_t* address, uint32_t* netmask) {
    if (!get_addr("br0", 0, address)) {
        VLOG_INFO("Fail to get br0 ip");
        return VESPIN_ERR_FAILURE;
    }
    if (!get_addr("br0", 2, netmask)) {
        VLOG_INFO("Fail to get br0 mask");
        return VESPIN_ERR_FAILURE;
    }
    return 0;
}
