// "vlan.get", "vlan.set" and "ports.get": the VLAN table and the router ports.
#include "apmib.h"
#include "config_vlan.h"
#include "method_reply.h"
#include "methods.h"
#include "vespin_core.h"

#include <memory>

vespin_response* vlan_get_method(json_object* params) {
    auto table = std::make_unique<vlan_table>();
    int rv = vlan_table_load(table.get());
    if (rv != 0) return method_error(rv, "Fail to load the VLAN table");
    // Every entry is shown here (the table converter keeps only the first).
    json_object* entries = json_object_new_array();
    for (int i = 0; i < table->count; i++) {
        json_object* entry = vlan_config_to_json(&table->entries[i]);
        if (entry) json_object_array_add(entries, entry);
    }
    json_object* result = json_object_new_object();
    json_object_object_add(result, "enabled", json_object_new_boolean(table->count > 0 && table->entries[0].enabled));
    json_object_object_add(result, "vlan", entries);
    return method_result(result);
}

// Params: {"vlan": [entry]} replaces the stored table (one entry, as the
// table parser keeps) and flushes; {"vlan": []} turns VLANs off.
vespin_response* vlan_set_method(json_object* params) {
    json_object* list = nullptr;
    if (params == nullptr || !json_object_object_get_ex(params, "vlan", &list))
        return method_error(VESPIN_ERR_MISSING_PARAM, "Missing vlan");
    auto table = std::make_unique<vlan_table>();
    int rv = vlan_table_from_json(table.get(), list);
    if (rv != 0) return method_error(rv, "Invalid type of vlan");
    rv = vlan_table_set(table.get());
    if (rv != 0) return method_error(rv, "Fail to set the VLAN table");
    if (flush_apmib(APMIB_CURRENT_SETTING) != 0) return method_error(VESPIN_ERR_SETTING, "Fail to flush the settings");
    return vlan_get_method(nullptr);
}

vespin_response* ports_get_method(json_object* params) {
    port_table ports;
    port_table_load(&ports);
    return method_result(port_table_to_json(&ports));
}
