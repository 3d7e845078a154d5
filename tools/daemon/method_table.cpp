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
    {"vpn.list", vpn_list_method},
    {"vpn.add", vpn_add_method},
    {"vpn.update", vpn_update_method},
    {"vpn.delete", vpn_delete_method},
    {"vpn.status", vpn_status_method},
    {"vpn.set", vpn_set_method},
    {"wan.state", wan_state_method},
    {"network.rtt", network_rtt_method},
    {"network.ping", network_ping_method},
    {"network.traceroute", network_traceroute_method},
    {"network.nslookup", network_nslookup_method},
    {"network.speedtest", network_speedtest_method},
    {"network.speed", network_speed_method},
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
