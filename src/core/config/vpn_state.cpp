// Which tunnel the router runs: the global switch with the default item's
// protocol, and whether the scripts report the tunnel up.
#include "config_vpn.h"

#include "core/config/vpn_store.h"
#include "core/uci_ref.h"
#include "tools.h"

#include <stdlib.h>

#include <string>

namespace {

// The default item's protocol when the VPN is switched on, else "".
std::string enabled_protocol() {
    uci_ref ctx;
    if (!ctx.ok()) return "";
    std::string enabled, vpnid, protocol;
    if (vpn_read(ctx.get(), "vpn.globalcfg.enabled", 0, &enabled) != 0 || !vespin_uci_value_is_true(enabled.c_str()))
        return "";
    if (vpn_read(ctx.get(), "vpn.globalcfg.vpnid", 0, &vpnid) != 0) return "";
    if (vpn_read(ctx.get(), "vpn.%d.protocol", atoi(vpnid.c_str()), &protocol) != 0) return "";
    return protocol;
}

}  // namespace

extern "C" {

int is_openvpn_enabled(void) { return vpn_protocol_is(enabled_protocol().c_str(), "openvpn") ? 1 : 0; }

int is_vpn_enabled(void) {
    std::string protocol = enabled_protocol();
    return vpn_protocol_is(protocol.c_str(), "pptp") || vpn_protocol_is(protocol.c_str(), "l2tp") ? 1 : 0;
}

int is_vpn_connected(void) {
    std::string status;
    uci_ref ctx;
    if (!ctx.ok() || vpn_read(ctx.get(), "vpn.curstat.status", 0, &status) != 0) return 0;
    return status == "connected" && is_file_exist(VPN_CONNECT_FILE) ? 1 : 0;
}

}  // extern "C"
