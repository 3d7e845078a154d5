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
vespin_response* node_methods_method(json_object* params);
