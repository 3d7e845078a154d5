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
    {"wifi.get", wifi_get_method},
    {"wifi.set", wifi_set_method},
    {"wifi.acs", wifi_acs_method},
    {"guest.get", guest_get_method},
    {"guest.set", guest_set_method},
    {"mesh.bands.get", mesh_bands_get_method},
    {"mesh.bands.set", mesh_bands_set_method},
    {"mesh.led.get", mesh_led_get_method},
    {"mesh.led.set", mesh_led_set_method},
    {"admin.get", admin_get_method},
    {"admin.set", admin_set_method},
    {"user.set", user_set_method},
    {"timezone.config.get", timezone_config_get_method},
    {"timezone.config.set", timezone_config_set_method},
    {"assets.get", assets_get_method},
    {"assets.set", assets_set_method},
    {"timelimit.list", timelimit_list_method},
    {"timelimit.add", timelimit_add_method},
    {"timelimit.update", timelimit_update_method},
    {"timelimit.delete", timelimit_delete_method},
    {"timelimit.delete_device", timelimit_delete_device_method},
    {"firewall.dos_get", firewall_dos_get_method},
    {"firewall.dos_set", firewall_dos_set_method},
    {"dmz.get", dmz_get_method},
    {"dmz.set", dmz_set_method},
    {"portfw.list", portfw_list_method},
    {"portfw.add", portfw_add_method},
    {"portfw.edit", portfw_edit_method},
    {"portfw.delete", portfw_delete_method},
    {"dhcp.get", dhcp_get_method},
    {"dhcp.set", dhcp_set_method},
    {"devices.list", devices_list_method},
    {"devices.offline", devices_offline_method},
    {"devices.delete", devices_delete_method},
    {"devices.guests", devices_guests_method},
    {"devices.dhcp_clients", devices_dhcp_clients_method},
    {"devices.arp", devices_arp_method},
    {"devices.state", devices_state_method},
    {"devices.probe", devices_probe_method},
    {"static_lease.list", static_lease_list_method},
    {"static_lease.add", static_lease_add_method},
    {"static_lease.edit", static_lease_edit_method},
    {"static_lease.delete", static_lease_delete_method},
    {"url_filter.add", url_filter_add_method},
    {"url_filter.delete", url_filter_delete_method},
    {"url_filter.enable", url_filter_enable_method},
    {"url_filter.list", url_filter_list_method},
    {"url_filter.restart", url_filter_restart_method},
    {"sta_blacklist.add", sta_blacklist_add_method},
    {"sta_blacklist.delete", sta_blacklist_delete_method},
    {"sta_blacklist.list", sta_blacklist_list_method},
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
    {"firmware.list", firmware_list_method},
    {"node.methods", node_methods_method},
    {"node.self", node_self_method},
    {"node.network", node_network_method},
    {"node.report", node_report_method},
    {"mesh.table", mesh_table_method},
    {"mesh.top", mesh_top_method},
    {"mesh.rpc", mesh_rpc_method},
    {"mesh.notify_all", mesh_notify_all_method},
    {"mesh.node_map", mesh_node_map_method},
    {"mesh.neighbors", mesh_neighbors_method},
    {"mesh.candidates", mesh_candidates_method},
    {"mesh.report", mesh_report_method},
    {"mesh.topo", mesh_topo_method},
    {"mesh.convergence", mesh_convergence_method},
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
