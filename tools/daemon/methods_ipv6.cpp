// "ipv6.get", "ipv6.set" and "ipv6.status": the IPv6 WAN settings and the
// live IPv6 state of the WAN interface.
#include "config_ipv6.h"
#include "method_reply.h"
#include "methods.h"

#include <string.h>

#include <memory>

namespace {

std::unique_ptr<ipv6_wan_netcfg> new_config() {
    auto config = std::make_unique<ipv6_wan_netcfg>();
    memset(config.get(), 0, sizeof *config);
    return config;
}

}  // namespace

vespin_response* ipv6_get_method(json_object* params) {
    auto config = new_config();
    int rv = get_ipv6_wan_net_config(config.get());
    if (rv != 0) return method_error(rv, "Fail to load the IPv6 WAN settings");
    return method_result(ipv6_wan_netcfg_to_json(config.get()));
}

// Params: the IPv6 WAN JSON ({"enabled", "type", "<type>": {...}}), applied
// over the stored settings (set_ipv6_wan_net_config flushes them).
vespin_response* ipv6_set_method(json_object* params) {
    if (params == nullptr) return method_error(VESPIN_ERR_MISSING_PARAM, "Missing params");
    auto config = new_config();
    int rv = get_ipv6_wan_net_config(config.get());
    if (rv != 0) return method_error(rv, "Fail to load the IPv6 WAN settings");
    rv = ipv6_wan_netcfg_from_json(config.get(), params);
    if (rv != 0) return method_error(rv, "Invalid IPv6 WAN settings");
    rv = set_ipv6_wan_net_config(config.get());
    if (rv != 0) return method_error(rv, "Fail to apply the IPv6 WAN settings");
    return ipv6_get_method(nullptr);
}

vespin_response* ipv6_status_method(json_object* params) {
    ipv6_netinfo info;
    memset(&info, 0, sizeof info);
    int rv = get_ipv6_wan_net_info(&info);
    if (rv != 0) return method_error(rv, "Fail to read the IPv6 WAN state");
    return method_result(ipv6_wan_netinfo_to_json(&info));
}
