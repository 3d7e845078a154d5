// The VPN's global switch and default item, its state, and starting or
// stopping the OpenVPN client.
#include "config_vpn.h"

#include "core/config/vpn_store.h"
#include "core/log.h"
#include "core/text.h"
#include "core/uci_ref.h"
#include "internal_diagnostics.h"
#include "platform.h"
#include "tools.h"

#include <stdlib.h>

#include <string>

namespace {

// Reads a text into a fixed field; 600001 when it does not fit.
template <size_t N>
int load_bounded(uci_context* ctx, const char* path, char (&out)[N]) {
    std::string value;
    int code = vpn_read(ctx, path, 0, &value);
    if (code != 0) return code;
    if (value.size() >= N) {
        VLOG_ERROR("Invalid value of %s", path);
        return VESPIN_ERR_FAILURE;
    }
    copy_text(out, N, value.c_str());
    return 0;
}

int load_global(uci_context* ctx, int32_t* vpnid, int32_t* enabled) {
    std::string id, on;
    int code = 0;
    if ((code = vpn_read(ctx, "vpn.globalcfg.vpnid", 0, &id)) || (code = vpn_read(ctx, "vpn.globalcfg.enabled", 0, &on)))
        return code;
    *vpnid = (int32_t)strtol(id.c_str(), nullptr, 10);
    *enabled = vespin_uci_value_is_true(on.c_str());
    return 0;
}

// Before reporting a settled state: a tunnel cannot run without a WAN link,
// and the checker corrects what the scripts reported.
void refresh_tunnel(uci_context* ctx) {
    std::string status;
    if (vpn_read(ctx, "vpn.curstat.status", 0, &status) != 0 || status == "connecting") return;
    if (vespin_is_wan_connected() == VESPIN_WAN_NO_LINK) set_openvpn_enable(0);
    plat_system("vespin_vpn_check &");
}

}  // namespace

extern "C" {

int vpn_config_load(vpn_config* config) {
    if (!config) return VESPIN_ERR_FAILURE;
    uci_ref ctx;
    if (!ctx.ok()) return VESPIN_ERR_FAILURE;
    return load_global(ctx.get(), &config->vpnid, &config->enabled);
}

int vpn_config_update(const vpn_config* config) {
    if (!config) return VESPIN_ERR_FAILURE;
    if (config->vpnid < 1 || config->vpnid > VPN_ITEM_MAX) {
        VLOG_ERROR("Invalid vpn id %d", config->vpnid);
        return VESPIN_ERR_INVALID_PARAM;
    }
    uci_ref ctx;
    if (!ctx.ok()) return VESPIN_ERR_FAILURE;
    int code = 0;
    if ((code = vpn_write(ctx.get(), "vpn.globalcfg.vpnid=%d", config->vpnid)) ||
        (code = vpn_write(ctx.get(), "vpn.globalcfg.enabled=%d", config->enabled ? 1 : 0)))
        return code;
    return vpn_commit(ctx.get());
}

int vpn_status_load(vpn_status* status) {
    if (!status) return VESPIN_ERR_FAILURE;
    {
        uci_ref ctx;
        if (!ctx.ok()) return VESPIN_ERR_FAILURE;
        refresh_tunnel(ctx.get());
    }
    // A fresh context: the scripts may have changed the package meanwhile.
    uci_ref ctx;
    if (!ctx.ok()) return VESPIN_ERR_FAILURE;
    std::string connected_time;
    int code = 0;
    if ((code = load_global(ctx.get(), &status->vpnid, &status->enabled)) ||
        (code = load_bounded(ctx.get(), "vpn.curstat.status", status->status)) ||
        (code = vpn_read(ctx.get(), "vpn.curstat.connected_time", 0, &connected_time)))
        return code;
    status->connected_time = (int32_t)strtol(connected_time.c_str(), nullptr, 10);
    if ((code = load_bounded(ctx.get(), "vpn.curstat.errmsg", status->errmsg)) ||
        (code = load_bounded(ctx.get(), "vpn.curstat.errcode", status->errcode)))
        return code;
    return 0;
}

int set_openvpn_enable(int flag) {
    int exit_status = 0;
    run_command(&exit_status, flag ? "/bin/vespin_openvpn restart" : "/bin/vespin_openvpn stop");
    return 0;
}

}  // extern "C"
