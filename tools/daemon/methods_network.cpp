// "wan.get", "wan.set", "lan.get", "netinfo.lan", "netinfo.wan",
// "netinfo.vpn", "wan.status" and "wan.gateway": how the node reaches the
// Internet, and the addressing of its LAN, WAN and VPN tunnel.
#include "apmib.h"
#include "config_wan.h"
#include "method_reply.h"
#include "methods.h"
#include "status.h"
#include "vespin_core.h"

#include <string.h>

#include <memory>

namespace {

std::unique_ptr<wan_net_config> new_wan() {
    auto wan = std::make_unique<wan_net_config>();
    memset(wan.get(), 0, sizeof *wan);
    return wan;
}

// {"wan": ..., "lan": ...} as stored now.
vespin_response* wan_and_lan_result() {
    auto wan = new_wan();
    int rv = wan_net_config_load(wan.get());
    if (rv != 0) return method_error(rv, "Fail to load the WAN settings");
    lan_net_config lan;
    rv = lan_net_config_load(&lan);
    if (rv != 0) return method_error(rv, "Fail to load the LAN settings");
    json_object* result = json_object_new_object();
    json_object_object_add(result, "wan", wan_net_config_to_json(wan.get()));
    json_object_object_add(result, "lan", lan_net_config_to_json(&lan));
    return method_result(result);
}

vespin_response* net_info_result(int (*load)(net_info*), const char* what) {
    net_info info;
    memset(&info, 0, sizeof info);
    int rv = load(&info);
    if (rv != 0) return method_error(rv, "Fail to load the %s addressing", what);
    return method_result(net_info_to_json(&info));
}

}  // namespace

vespin_response* wan_get_method(json_object* params) {
    auto wan = new_wan();
    int rv = wan_net_config_load(wan.get());
    if (rv != 0) return method_error(rv, "Fail to load the WAN settings");
    return method_result(wan_net_config_to_json(wan.get()));
}

// Params: the WAN JSON ("type", "pppoe", "static", "dhcp", "vlan"), applied
// over the stored settings and flushed. Answers the WAN and LAN as stored
// afterwards, so that a LAN moved out of a static WAN's way shows.
vespin_response* wan_set_method(json_object* params) {
    if (params == nullptr || !json_object_is_type(params, json_type_object))
        return method_error(VESPIN_ERR_MISSING_PARAM, "Missing params");
    auto wan = new_wan();
    int rv = wan_net_config_load(wan.get());
    if (rv != 0) return method_error(rv, "Fail to load the WAN settings");
    rv = wan_net_config_update_from_json(wan.get(), json_object_to_json_string(params));
    if (rv != 0) return method_error(rv, "Invalid WAN settings");
    rv = config_wan(wan.get());
    if (rv != 0) return method_error(rv, "Fail to apply the WAN settings");
    if (flush_apmib(APMIB_CURRENT_SETTING) != 0) return method_error(VESPIN_ERR_SETTING, "Fail to flush the settings");
    return wan_and_lan_result();
}

vespin_response* lan_get_method(json_object* params) {
    lan_net_config lan;
    int rv = lan_net_config_load(&lan);
    if (rv != 0) return method_error(rv, "Fail to load the LAN settings");
    return method_result(lan_net_config_to_json(&lan));
}

vespin_response* netinfo_lan_method(json_object* params) { return net_info_result(lan_net_info_load, "LAN"); }

vespin_response* netinfo_wan_method(json_object* params) { return net_info_result(wan_net_info_load, "WAN"); }

vespin_response* netinfo_vpn_method(json_object* params) { return net_info_result(vpn_net_info_load, "VPN"); }

vespin_response* wan_status_method(json_object* params) {
    wan_status status;
    memset(&status, 0, sizeof status);
    int rv = get_wan_status(&status);
    if (rv != 0) return method_error(rv, "Fail to read the WAN statistics");
    json_object* result = json_object_new_object();
    json_object_object_add(result, "traffic_dl", json_object_new_double(status.traffic_dl));
    json_object_object_add(result, "traffic_ul", json_object_new_double(status.traffic_ul));
    const std::pair<const char*, int32_t> counters[] = {
        {"average_dl", status.average_dl},   {"average_ul", status.average_ul}, {"peak_dl", status.peak_dl},
        {"peak_ul", status.peak_ul},         {"realtime_dl", status.realtime_dl},
        {"realtime_ul", status.realtime_ul}, {"link", status.link}};
    for (const auto& counter : counters)
        json_object_object_add(result, counter.first, json_object_new_int(counter.second));
    return method_result(result);
}

vespin_response* wan_gateway_method(json_object* params) {
    char gateway[NET_INFO_TEXT_SIZE] = {0};
    int rv = get_gateway(gateway);
    if (rv != 0) return method_error(rv, "Fail to read the default gateway");
    json_object* result = json_object_new_object();
    json_object_object_add(result, "gateway", json_object_new_string(gateway));
    return method_result(result);
}
