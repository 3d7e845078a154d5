// "firewall.dos_get/_set", "dmz.get/.set" and "portfw.list/.add/.edit/.delete":
// the WAN-side protections. DoS guard and DMZ settings are flushed after the
// reply; port forwarding commits on its own.
#include "internal_firewall.h"
#include "method_reply.h"
#include "methods.h"

#include <stdio.h>
#include <stdlib.h>
#include <string.h>

namespace {

const char* protocol_name(uint8_t protocol) { return protocol == 0 ? "both" : protocol == 1 ? "tcp" : "udp"; }

json_object* rule_json(const port_fw_entry& e) {
    json_object* o = json_object_new_object();
    json_object_object_add(o, "id", json_object_new_int(e.id));
    json_object_object_add(o, "name", json_object_new_string(e.name));
    json_object_object_add(o, "enabled", json_object_new_boolean(e.enabled));
    json_object_object_add(o, "ip", json_object_new_string(e.ip));
    json_object_object_add(o, "remote_ip", json_object_new_string(e.remote_ip));
    json_object_object_add(o, "from_port", json_object_new_int64(e.from_port));
    json_object_object_add(o, "to_port", json_object_new_int64(e.to_port));
    json_object_object_add(o, "ext_from_port", json_object_new_int64(e.ext_from_port));
    json_object_object_add(o, "ext_to_port", json_object_new_int64(e.ext_to_port));
    json_object_object_add(o, "protocol", json_object_new_string(protocol_name(e.protocol)));
    return o;
}

// A rule from params: "name", "ip", "from_port", "ext_from_port" required;
// "to_port" and "ext_to_port" default to their from ports, "remote_ip" to
// "0.0.0.0", "protocol" ("tcp", "udp", "both") to "both", "enabled" to true.
bool rule_from(json_object* params, port_fw_entry* e, vespin_response** error) {
    memset(e, 0, sizeof *e);
    const char *name, *ip, *remote, *protocol;
    int32_t from, to, ext_from, ext_to;
    bool enabled;
    if (!param_text(params, "name", &name, error) || !param_text(params, "ip", &ip, error) ||
        !param_text_or(params, "remote_ip", "0.0.0.0", &remote, error) ||
        !param_int(params, "from_port", &from, error) || !param_int_or(params, "to_port", from, &to, error) ||
        !param_int(params, "ext_from_port", &ext_from, error) ||
        !param_int_or(params, "ext_to_port", ext_from, &ext_to, error) ||
        !param_text_or(params, "protocol", "both", &protocol, error) ||
        !param_bool_or(params, "enabled", true, &enabled, error))
        return false;
    if (strlen(name) >= sizeof e->name) {
        *error = method_error(VESPIN_ERR_INVALID_PARAM, "Name is too long");
        return false;
    }
    uint8_t code = strcmp(protocol, "both") == 0 ? 0 : strcmp(protocol, "tcp") == 0 ? 1 : strcmp(protocol, "udp") == 0 ? 2 : 9;
    snprintf(e->name, sizeof e->name, "%s", name);
    snprintf(e->ip, sizeof e->ip, "%s", ip);
    snprintf(e->remote_ip, sizeof e->remote_ip, "%s", remote);
    // Negative numbers become large unsigned ones, which the range checks refuse.
    e->from_port = (uint32_t)from;
    e->to_port = (uint32_t)to;
    e->ext_from_port = (uint32_t)ext_from;
    e->ext_to_port = (uint32_t)ext_to;
    e->protocol = code;
    e->enabled = enabled ? 1 : 0;
    return true;
}

vespin_response* apply_port_fw(int command, const port_fw_entry& e) {
    int rv = set_port_fw(command, &e);
    if (rv != 0) return method_error(rv, "Fail to change the port forwarding rules");
    return method_result(nullptr);
}

}  // namespace

vespin_response* firewall_dos_get_method(json_object* params) {
    uint32_t mask = 0;
    int rv = get_firewall(&mask);
    if (rv != 0) return method_error(rv, "Fail to get MIB_DOS_ENABLED");
    json_object* result = json_object_new_object();
    json_object_object_add(result, "enabled", json_object_new_boolean(mask != 0));
    json_object_object_add(result, "mask", json_object_new_int64(mask));
    return method_result(result);
}

vespin_response* firewall_dos_set_method(json_object* params) {
    vespin_response* error = nullptr;
    bool enabled = false;
    if (!param_bool_or(params, "enabled", false, &enabled, &error)) return error;
    int rv = set_firewall(enabled ? 1 : 0);
    if (rv != 0) return method_error(rv, "Fail to set MIB_DOS_ENABLED");
    return method_result(nullptr, flush_settings_after_reply);
}

vespin_response* dmz_get_method(json_object* params) {
    dmz_config dmz = {};
    int rv = get_dmz(&dmz);
    if (rv != 0) return method_error(rv, "Fail to get the DMZ");
    json_object* result = json_object_new_object();
    json_object_object_add(result, "enabled", json_object_new_boolean(dmz.enabled));
    json_object_object_add(result, "host", json_object_new_string(dmz.host_ip));
    return method_result(result);
}

vespin_response* dmz_set_method(json_object* params) {
    vespin_response* error = nullptr;
    bool enabled;
    const char* host;
    if (!param_bool_or(params, "enabled", true, &enabled, &error) || !param_text(params, "host", &host, &error))
        return error;
    dmz_config dmz = {};
    dmz.enabled = enabled ? 1 : 0;
    snprintf(dmz.host_ip, sizeof dmz.host_ip, "%s", host);
    int rv = set_dmz(&dmz);
    if (rv != 0) return method_error(rv, "Invalid ip");
    return method_result(nullptr, flush_settings_after_reply);
}

vespin_response* portfw_list_method(json_object* params) {
    port_fw list = {0, nullptr};
    int rv = port_fw_list(&list);
    if (rv != 0) {
        free(list.entry_port_fw);
        return method_error(rv, "Fail to get portfw list");
    }
    json_object* rules = json_object_new_array();
    for (int i = 0; i < list.count; i++) json_object_array_add(rules, rule_json(list.entry_port_fw[i]));
    free(list.entry_port_fw);
    return method_result(rules);
}

vespin_response* portfw_add_method(json_object* params) {
    vespin_response* error = nullptr;
    port_fw_entry e;
    if (!rule_from(params, &e, &error)) return error;
    return apply_port_fw(PORT_FW_ADD, e);
}

vespin_response* portfw_edit_method(json_object* params) {
    vespin_response* error = nullptr;
    port_fw_entry e;
    int32_t id;
    if (!param_int(params, "id", &id, &error) || !rule_from(params, &e, &error)) return error;
    e.id = id;
    return apply_port_fw(PORT_FW_EDIT, e);
}

vespin_response* portfw_delete_method(json_object* params) {
    vespin_response* error = nullptr;
    port_fw_entry e = {};
    int32_t id;
    if (!param_int(params, "id", &id, &error)) return error;
    e.id = id;
    return apply_port_fw(PORT_FW_DELETE, e);
}
