#include "methods.h"

#include "method_reply.h"

#include <string.h>

namespace {

const node_method kMethods[] = {
    {"system.info", system_info_method},
    {"system.identity", system_identity_method},
    {"system.set_name", system_set_name_method},
    {"version.compare", version_compare_method},
    {"timezone.get", timezone_get_method},
    {"timezone.set", timezone_set_method},
    {"channels.list", channels_list_method},
    {"channels.best", channels_best_method},
    {"wan.get", wan_get_method},
    {"wan.set", wan_set_method},
    {"wan.status", wan_status_method},
    {"wan.gateway", wan_gateway_method},
    {"lan.get", lan_get_method},
    {"netinfo.lan", netinfo_lan_method},
    {"netinfo.wan", netinfo_wan_method},
    {"netinfo.vpn", netinfo_vpn_method},
    {"vlan.get", vlan_get_method},
    {"vlan.set", vlan_set_method},
    {"ports.get", ports_get_method},
    {"ipv6.get", ipv6_get_method},
    {"ipv6.set", ipv6_set_method},
    {"ipv6.status", ipv6_status_method},
    {"node.methods", node_methods_method},
};

}  // namespace

const node_method* node_method_find(const char* name) {
    for (const auto& method : kMethods)
        if (strcmp(method.name, name) == 0) return &method;
    return nullptr;
}


// "node.methods": the names this node serves, in table order.
vespin_response* node_methods_method(json_object* params) {
    json_object* names = json_object_new_array();
    for (const auto& method : kMethods) json_object_array_add(names, json_object_new_string(method.name));
    return method_result(names);
}
