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
