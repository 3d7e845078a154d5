// "dhcp.get", "dhcp.set" and "static_lease.list/.add/.edit/.delete": the LAN,
// its DHCP pool and the static leases. DHCP settings are flushed after the
// reply; static leases commit on their own.
#include "internal_dhcp.h"
#include "method_reply.h"
#include "methods.h"

#include <stdio.h>
#include <stdlib.h>
#include <string.h>

namespace {

bool lease_from(json_object* params, bool need_id, static_lease* lease, vespin_response** error) {
    memset(lease, 0, sizeof *lease);
    const char *name, *mac, *ip;
    int32_t id = 0;
    if (!param_text_or(params, "name", "", &name, error) || !param_text(params, "mac", &mac, error) ||
        !param_text(params, "ip", &ip, error) || (need_id && !param_int(params, "id", &id, error)))
        return false;
    if (strlen(name) >= sizeof lease->name || strlen(mac) >= sizeof lease->mac || strlen(ip) >= sizeof lease->ip) {
        *error = method_error(VESPIN_ERR_INVALID_PARAM, "Invalid static lease");
        return false;
    }
    snprintf(lease->name, sizeof lease->name, "%s", name);
    snprintf(lease->mac, sizeof lease->mac, "%s", mac);
    snprintf(lease->ip, sizeof lease->ip, "%s", ip);
    lease->id = id;
    return true;
}

vespin_response* lease_command(int command, const static_lease& lease) {
    int rv = set_static_dhcp(command, &lease);
    if (rv != 0) return method_error(rv, "Fail to change the static leases");
    return method_result(nullptr);
}

void put_text(json_object* o, const char* key, const char* value) {
    json_object_object_add(o, key, json_object_new_string(value));
}

bool copy_param(json_object* params, const char* key, const char* fallback, char* out, size_t size,
                vespin_response** error) {
    const char* value;
    bool ok = fallback ? param_text_or(params, key, fallback, &value, error) : param_text(params, key, &value, error);
    if (!ok) return false;
    if (strlen(value) >= size) {
        *error = method_error(VESPIN_ERR_INVALID_PARAM, "Invalid value of %s", key);
        return false;
    }
    snprintf(out, size, "%s", value);
    return true;
}

}  // namespace

vespin_response* dhcp_get_method(json_object* params) {
    dhcp_service s;
    int rv = get_dhcp_server(&s);
    if (rv != 0) return method_error(rv, "Fail to get the DHCP server");
    json_object* result = json_object_new_object();
    put_text(result, "lan_ip", s.lan_ip);
    put_text(result, "netmask", s.netmask);
    put_text(result, "start_ip", s.start_ip);
    put_text(result, "end_ip", s.end_ip);
    json_object_object_add(result, "lease_time", json_object_new_int(s.lease_time));
    put_text(result, "domain_name", s.domain_name);
    return method_result(result);
}

// "lan_ip", "start_ip", "end_ip" required; "netmask" and "domain_name"
// optional (kept when absent); "lease_time" in seconds, kept when absent.
vespin_response* dhcp_set_method(json_object* params) {
    vespin_response* error = nullptr;
    dhcp_service current;
    int rv = get_dhcp_server(&current);
    if (rv != 0) return method_error(rv, "Fail to get the DHCP server");
    dhcp_service s;
    memset(&s, 0, sizeof s);
    int32_t lease_time;
    if (!copy_param(params, "lan_ip", nullptr, s.lan_ip, sizeof s.lan_ip, &error) ||
        !copy_param(params, "start_ip", nullptr, s.start_ip, sizeof s.start_ip, &error) ||
        !copy_param(params, "end_ip", nullptr, s.end_ip, sizeof s.end_ip, &error) ||
        !copy_param(params, "netmask", "", s.netmask, sizeof s.netmask, &error) ||
        !copy_param(params, "domain_name", "", s.domain_name, sizeof s.domain_name, &error) ||
        !param_int_or(params, "lease_time", current.lease_time, &lease_time, &error))
        return error;
    s.lease_time = lease_time;
    rv = set_dhcp_server(&s);
    if (rv != 0) return method_error(rv, "Fail to set the DHCP server");
    return method_result(nullptr, flush_settings_after_reply);
}

vespin_response* static_lease_list_method(json_object* params) {
    mac_bond_ip list = {0, nullptr};
    int rv = static_dhcp_list(&list);
    if (rv != 0) {
        free(list.dev_bond_info);
        return method_error(rv, "Fail to get static dhcp address list");
    }
    json_object* leases = json_object_new_array();
    for (int i = 0; i < list.count; i++) {
        json_object* o = json_object_new_object();
        json_object_object_add(o, "id", json_object_new_int(list.dev_bond_info[i].id));
        put_text(o, "name", list.dev_bond_info[i].name);
        put_text(o, "mac", list.dev_bond_info[i].mac);
        put_text(o, "ip", list.dev_bond_info[i].ip);
        json_object_array_add(leases, o);
    }
    free(list.dev_bond_info);
    return method_result(leases);
}

vespin_response* static_lease_add_method(json_object* params) {
    vespin_response* error = nullptr;
    static_lease lease;
    if (!lease_from(params, false, &lease, &error)) return error;
    return lease_command(STATIC_DHCP_ADD, lease);
}

vespin_response* static_lease_edit_method(json_object* params) {
    vespin_response* error = nullptr;
    static_lease lease;
    if (!lease_from(params, true, &lease, &error)) return error;
    return lease_command(STATIC_DHCP_EDIT, lease);
}

vespin_response* static_lease_delete_method(json_object* params) {
    vespin_response* error = nullptr;
    static_lease lease = {};
    int32_t id;
    if (!param_int(params, "id", &id, &error)) return error;
    lease.id = id;
    return lease_command(STATIC_DHCP_DELETE, lease);
}
