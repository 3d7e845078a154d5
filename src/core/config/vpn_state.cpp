// Which tunnel the router runs: the global switch with the default item's
// protocol, and whether the scripts report the tunnel up.
#include "config_vpn.h"

#include "core/uci_ref.h"
#include "tools.h"

#include <stdio.h>
#include <stdlib.h>
#include <strings.h>

#include <string>

namespace {

// The default item's protocol when the VPN is switched on, else "".
std::string enabled_protocol() {
    uci_ref ctx;
    if (!ctx.ok()) return "";
    std::string enabled, vpnid, protocol;
    if (uci_ctx_get_text(ctx.get(), "vpn.globalcfg.enabled", &enabled) != 0 ||
        !vespin_uci_value_is_true(enabled.c_str()))
        return "";
    if (uci_ctx_get_text(ctx.get(), "vpn.globalcfg.vpnid", &vpnid) != 0) return "";
    char path[64];
    snprintf(path, sizeof path, "vpn.%d.protocol", atoi(vpnid.c_str()));
    if (uci_ctx_get_text(ctx.get(), path, &protocol) != 0) return "";
    return protocol;
}

}  // namespace

extern "C" {

int is_openvpn_enabled(void) { return strcasecmp(enabled_protocol().c_str(), "openvpn") == 0 ? 1 : 0; }

int is_vpn_enabled(void) {
    std::string protocol = enabled_protocol();
    return strcasecmp(protocol.c_str(), "pptp") == 0 || strcasecmp(protocol.c_str(), "l2tp") == 0 ? 1 : 0;
}

int is_vpn_connected(void) {
    std::string status;
    uci_ref ctx;
    if (!ctx.ok() || uci_ctx_get_text(ctx.get(), "vpn.curstat.status", &status) != 0) return 0;
    return status == "connected" && is_file_exist(VPN_CONNECT_FILE) ? 1 : 0;
}

}  // extern "C"
