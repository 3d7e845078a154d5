// The methods a node serves: one table of {name, handler} (method_table.cpp).
// Adding a method is a handler and one line in that table.
#pragma once

#include <json-c/json.h>

#include "response.h"

// A handler takes the request's params (NULL when the request had none; the
// handler does not own them) and returns a new response (an error value of
// vespin_response_new when memory ran out is answered as 600000).
typedef vespin_response* (*node_method_handler)(json_object* params);

struct node_method {
    const char* name;
    node_method_handler handle;
};

// The method of that name, or NULL.
const node_method* node_method_find(const char* name);

// Handlers, by area.
vespin_response* system_info_method(json_object* params);
vespin_response* system_identity_method(json_object* params);
vespin_response* system_set_name_method(json_object* params);
vespin_response* version_compare_method(json_object* params);
vespin_response* timezone_get_method(json_object* params);
vespin_response* timezone_set_method(json_object* params);
vespin_response* channels_list_method(json_object* params);
vespin_response* channels_best_method(json_object* params);
vespin_response* wifi_get_method(json_object* params);
vespin_response* wifi_set_method(json_object* params);
vespin_response* wifi_acs_method(json_object* params);
vespin_response* guest_get_method(json_object* params);
vespin_response* guest_set_method(json_object* params);
vespin_response* mesh_bands_get_method(json_object* params);
vespin_response* mesh_bands_set_method(json_object* params);
vespin_response* mesh_led_get_method(json_object* params);
vespin_response* mesh_led_set_method(json_object* params);
vespin_response* admin_get_method(json_object* params);
vespin_response* admin_set_method(json_object* params);
vespin_response* user_set_method(json_object* params);
vespin_response* timezone_config_get_method(json_object* params);
vespin_response* timezone_config_set_method(json_object* params);
vespin_response* assets_get_method(json_object* params);
vespin_response* assets_set_method(json_object* params);
vespin_response* timelimit_list_method(json_object* params);
vespin_response* timelimit_add_method(json_object* params);
vespin_response* timelimit_update_method(json_object* params);
vespin_response* timelimit_delete_method(json_object* params);
vespin_response* timelimit_delete_device_method(json_object* params);
vespin_response* vpn_list_method(json_object* params);
vespin_response* vpn_add_method(json_object* params);
vespin_response* vpn_update_method(json_object* params);
vespin_response* vpn_delete_method(json_object* params);
vespin_response* vpn_status_method(json_object* params);
vespin_response* vpn_set_method(json_object* params);
vespin_response* wan_state_method(json_object* params);
vespin_response* network_rtt_method(json_object* params);
vespin_response* network_ping_method(json_object* params);
vespin_response* network_traceroute_method(json_object* params);
vespin_response* network_nslookup_method(json_object* params);
vespin_response* network_speedtest_method(json_object* params);
vespin_response* network_speed_method(json_object* params);
vespin_response* wan_get_method(json_object* params);
vespin_response* wan_set_method(json_object* params);
vespin_response* lan_get_method(json_object* params);
vespin_response* netinfo_lan_method(json_object* params);
vespin_response* netinfo_wan_method(json_object* params);
vespin_response* netinfo_vpn_method(json_object* params);
vespin_response* wan_status_method(json_object* params);
vespin_response* wan_gateway_method(json_object* params);
vespin_response* vlan_get_method(json_object* params);
vespin_response* vlan_set_method(json_object* params);
vespin_response* ports_get_method(json_object* params);
vespin_response* ipv6_get_method(json_object* params);
vespin_response* ipv6_set_method(json_object* params);
vespin_response* ipv6_status_method(json_object* params);
vespin_response* node_methods_method(json_object* params);
vespin_response* node_self_method(json_object* params);
vespin_response* node_network_method(json_object* params);
vespin_response* node_report_method(json_object* params);
vespin_response* mesh_table_method(json_object* params);
vespin_response* mesh_top_method(json_object* params);
vespin_response* mesh_rpc_method(json_object* params);
vespin_response* mesh_notify_all_method(json_object* params);
vespin_response* mesh_node_map_method(json_object* params);
vespin_response* mesh_neighbors_method(json_object* params);
vespin_response* mesh_candidates_method(json_object* params);
vespin_response* firewall_dos_get_method(json_object* params);
vespin_response* firewall_dos_set_method(json_object* params);
vespin_response* dmz_get_method(json_object* params);
vespin_response* dmz_set_method(json_object* params);
vespin_response* portfw_list_method(json_object* params);
vespin_response* portfw_add_method(json_object* params);
vespin_response* portfw_edit_method(json_object* params);
vespin_response* portfw_delete_method(json_object* params);
vespin_response* dhcp_get_method(json_object* params);
vespin_response* dhcp_set_method(json_object* params);
vespin_response* devices_list_method(json_object* params);
vespin_response* devices_offline_method(json_object* params);
vespin_response* devices_delete_method(json_object* params);
vespin_response* devices_guests_method(json_object* params);
vespin_response* devices_dhcp_clients_method(json_object* params);
vespin_response* devices_arp_method(json_object* params);
vespin_response* devices_state_method(json_object* params);
vespin_response* devices_probe_method(json_object* params);
vespin_response* static_lease_list_method(json_object* params);
vespin_response* static_lease_add_method(json_object* params);
vespin_response* static_lease_edit_method(json_object* params);
vespin_response* static_lease_delete_method(json_object* params);
vespin_response* url_filter_add_method(json_object* params);
vespin_response* url_filter_delete_method(json_object* params);
vespin_response* url_filter_enable_method(json_object* params);
vespin_response* url_filter_list_method(json_object* params);
vespin_response* url_filter_restart_method(json_object* params);
vespin_response* sta_blacklist_add_method(json_object* params);
vespin_response* sta_blacklist_delete_method(json_object* params);
vespin_response* sta_blacklist_list_method(json_object* params);
vespin_response* mesh_report_method(json_object* params);
vespin_response* mesh_topo_method(json_object* params);
vespin_response* mesh_convergence_method(json_object* params);
vespin_response* firmware_list_method(json_object* params);
