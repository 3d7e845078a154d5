// JSON forms of the VLAN table, its entries and ports, and the port table.
#include "config_vlan.h"

#include "core/log.h"

#include <string.h>

namespace {

const char* type_name(uint32_t type) {
    switch (type) {
        case VLAN_TYPE_NAT: return "NAT";
        case VLAN_TYPE_HW_NAT: return "HW_NAT";
        case VLAN_TYPE_BRIDGE: return "BRIDGE";
        default: return "UNKNOW";
    }
}

// A member that must be present with a type: "Invalid json" when absent,
// "Invalid json type" when of another type; both 100208.
json_object* required(json_object* json, const char* key, json_type type, int* rv) {
    json_object* member = nullptr;
    if (!json_object_object_get_ex(json, key, &member)) {
        VLOG_ERROR("Invalid json");
        *rv = VESPIN_ERR_INVALID_PARAM;
        return nullptr;
    }
    if (!json_object_is_type(member, type)) {
        VLOG_ERROR("Invalid json type");
        *rv = VESPIN_ERR_INVALID_PARAM;
        return nullptr;
    }
    return member;
}

// An optional member: absent gives NULL with *rv untouched; another type 100208.
json_object* optional(json_object* json, const char* key, json_type type, int* rv) {
    json_object* member = nullptr;
    if (!json_object_object_get_ex(json, key, &member)) return nullptr;
    if (!json_object_is_type(member, type)) {
        VLOG_ERROR("Invalid json type");
        *rv = VESPIN_ERR_INVALID_PARAM;
        return nullptr;
    }
    return member;
}

// One element of "ports": {"port": {...}, "tagged": bool}.
bool vlan_port_from_json(vlan_port* port, json_object* json) {
    int rv = 0;
    if (!json_object_is_type(json, json_type_object)) {
        VLOG_ERROR("Invalid json type");
        return false;
    }
    json_object* tagged = required(json, "tagged", json_type_boolean, &rv);
    if (rv) return false;
    json_object* info = required(json, "port", json_type_object, &rv);
    if (rv) return false;
    memset(port, 0, sizeof *port);
    if (router_port_from_json(&port->port, info) != 0) {
        VLOG_ERROR("Fail to get port info from json");
        return false;
    }
    port->tagged = json_object_get_boolean(tagged) ? 1 : 0;
    return true;
}

}  // namespace

extern "C" {

json_object* router_port_to_json(const router_port* port) {
    if (port == nullptr) {
        VLOG_ERROR("Parameter error");
        return nullptr;
    }
    router_port fresh = *port;
    if (router_port_info_get(&fresh, port->id) != 0) return nullptr;
    fresh.name[ROUTER_PORT_NAME_SIZE - 1] = '\0';
    json_object* json = json_object_new_object();
    json_object_object_add(json, "id", json_object_new_int(fresh.id));
    json_object_object_add(json, "name", json_object_new_string(fresh.name));
    json_object_object_add(json, "type", json_object_new_string(fresh.is_lan ? "lan" : "wan"));
    return json;
}

json_object* port_table_to_json(const port_table* table) {
    if (table == nullptr) {
        VLOG_ERROR("Parameter error");
        return nullptr;
    }
    json_object* json = json_object_new_array();
    for (int i = 0; i < table->count && i < ROUTER_PORT_COUNT; i++) {
        json_object* port = router_port_to_json(&table->ports[i]);
        if (port) json_object_array_add(json, port);
    }
    return json;
}

json_object* vlan_ports_to_json(const vlan_config* entry) {
    if (entry == nullptr) {
        VLOG_ERROR("Parameter error");
        return nullptr;
    }
    json_object* json = json_object_new_array();
    for (int i = 0; i < entry->port_count && i < VLAN_PORTS_MAX; i++) {
        json_object* port = router_port_to_json(&entry->ports[i].port);
        if (port == nullptr) {
            VLOG_ERROR("Fail to convert port info to json");
            continue;
        }
        json_object* item = json_object_new_object();
        json_object_object_add(item, "port", port);
        json_object_object_add(item, "tagged", json_object_new_boolean(entry->ports[i].tagged != 0));
        json_object_array_add(json, item);
    }
    return json;
}

json_object* vlan_config_to_json(const vlan_config* entry) {
    if (entry == nullptr) {
        VLOG_ERROR("Parameter error");
        return nullptr;
    }
    if (entry->id <= 0) return nullptr;
    if (entry->port_count < 1 || entry->port_count > VLAN_PORTS_MAX) {
        VLOG_ERROR("Invalid vlan port num [%d]", entry->port_count);
        return nullptr;
    }
    json_object* json = json_object_new_object();
    json_object_object_add(json, "enabled", json_object_new_boolean(entry->enabled != 0));
    json_object_object_add(json, "id", json_object_new_int(entry->id));
    json_object_object_add(json, "priority", json_object_new_int(entry->priority));
    json_object_object_add(json, "type", json_object_new_string(type_name(entry->type)));
    json_object_object_add(json, "is_bridged", json_object_new_boolean(entry->type == VLAN_TYPE_BRIDGE));
    json_object* ports = vlan_ports_to_json(entry);
    if (ports == nullptr)
        VLOG_ERROR("Fail to convert vlan port to json");
    else
        json_object_object_add(json, "ports", ports);
    return json;
}

json_object* vlan_table_to_json(const vlan_table* table) {
    if (table == nullptr) {
        VLOG_ERROR("Parameter error");
        return nullptr;
    }
    json_object* json = json_object_new_array();
    // Deliberately only the first entry: see the header.
    for (int i = 0; i < table->count && i < VLAN_TABLE_MAX; i++) {
        if (i > 0) {
            VLOG_ERROR("Vlan table keeps its first entry only");
            continue;
        }
        json_object* entry = vlan_config_to_json(&table->entries[i]);
        if (entry == nullptr) {
            VLOG_ERROR("Fail to convert vlan config [%d] to json", i);
            continue;
        }
        json_object_array_add(json, entry);
    }
    return json;
}

int router_port_from_json(router_port* port, json_object* json) {
    if (port == nullptr || !json_object_is_type(json, json_type_object)) {
        VLOG_ERROR("Parameter error");
        return VESPIN_ERR_FAILURE;
    }
    int rv = 0;
    json_object* id = optional(json, "id", json_type_int, &rv);
    if (rv) return rv;
    int value = id ? json_object_get_int(id) : port->id;
    return router_port_info_get(port, value);
}

int vlan_ports_from_json(vlan_config* entry, json_object* json) {
    if (entry == nullptr) {
        VLOG_ERROR("Parameter error");
        return VESPIN_ERR_FAILURE;
    }
    if (!json_object_is_type(json, json_type_array)) {
        VLOG_ERROR("Invalid json type");
        return VESPIN_ERR_INVALID_PARAM;
    }
    size_t length = json_object_array_length(json);
    if (length == 0) {
        VLOG_ERROR("Invalid json array length");
        return VESPIN_ERR_INVALID_PARAM;
    }
    entry->port_count = 0;
    for (size_t i = 0; i < length && entry->port_count < VLAN_PORTS_MAX; i++) {
        vlan_port port;
        if (vlan_port_from_json(&port, json_object_array_get_idx(json, i))) entry->ports[entry->port_count++] = port;
    }
    if (entry->port_count == 0) {
        VLOG_ERROR("Invalid json");
        return VESPIN_ERR_INVALID_PARAM;
    }
    return 0;
}

int vlan_config_from_json(vlan_config* entry, json_object* json) {
    if (entry == nullptr || !json_object_is_type(json, json_type_object)) {
        VLOG_ERROR("Parameter error");
        return VESPIN_ERR_FAILURE;
    }
    int rv = 0;
    json_object* id = required(json, "id", json_type_int, &rv);
    if (rv) return rv;
    json_object* enabled = required(json, "enabled", json_type_boolean, &rv);
    if (rv) return rv;
    json_object* priority = optional(json, "priority", json_type_int, &rv);
    if (rv) return rv;
    json_object* bridged = optional(json, "is_bridged", json_type_boolean, &rv);
    if (rv) return rv;
    json_object* ports = required(json, "ports", json_type_array, &rv);
    if (rv) return rv;
    memset(entry, 0, sizeof *entry);
    entry->id = json_object_get_int(id);
    entry->enabled = json_object_get_boolean(enabled) ? 1 : 0;
    entry->priority = priority ? json_object_get_int(priority) : 0;
    entry->type = bridged && json_object_get_boolean(bridged) ? VLAN_TYPE_BRIDGE : VLAN_TYPE_NAT;
    return vlan_ports_from_json(entry, ports);
}

int vlan_table_from_json(vlan_table* table, json_object* json) {
    if (table == nullptr) {
        VLOG_ERROR("Parameter error");
        return VESPIN_ERR_FAILURE;
    }
    if (!json_object_is_type(json, json_type_array)) {
        VLOG_ERROR("Invalid json type");
        return VESPIN_ERR_INVALID_PARAM;
    }
    table->count = 0;
    vlan_config* scratch = new vlan_config();
    size_t length = json_object_array_length(json);
    for (size_t i = 0; i < length; i++) {
        json_object* element = json_object_array_get_idx(json, i);
        if (!json_object_is_type(element, json_type_object)) {
            VLOG_ERROR("Invalid json type");
            continue;
        }
        // Deliberately only the first accepted entry is stored: see the header.
        vlan_config* target = table->count == 0 ? &table->entries[0] : scratch;
        if (vlan_config_from_json(target, element) != 0) {
            VLOG_ERROR("Fail to get vlan config from json");
            continue;
        }
        if (table->count == 0)
            table->count = 1;
        else
            VLOG_ERROR("Vlan table keeps its first entry only");
    }
    delete scratch;
    return 0;
}

}  // extern "C"
