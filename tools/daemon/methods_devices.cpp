// Per-device methods: the user's name for a device ("assets.get",
// "assets.set") and its time-limit rules ("timelimit.list", "timelimit.add",
// "timelimit.update", "timelimit.delete", "timelimit.delete_device").
// Devices are named by their MAC text (12 hex digits). Rules travel in
// their text form "ID|ENABLED|BEGIN|END|DAY,DAY" (an empty ID asks for a
// generated one) and come back as JSON; a change is committed and handed
// to the time-limit filter at once.
#include "config_assets.h"
#include "config_time_limit.h"
#include "internal_time_limit.h"
#include "method_reply.h"
#include "methods.h"

#include <stdlib.h>

namespace {

// The rules of a device as a JSON array ([] when it has none).
json_object* rules_json(time_limit_rule_factory* factory, const char* mac, int* code) {
    time_limit* rules = time_limit_rule_factory_get_by_mac(factory, mac);
    *code = vespin_error_code(rules);
    if (*code != 0) return nullptr;
    json_object* array = json_object_new_array();
    for (time_limit* rule = rules; rule && rule->id[0]; rule++) json_object_array_add(array, time_limit_to_json_object(rule));
    free(rules);
    return array;
}

// Commits the factory's changes and reloads the filter: the device's rules, or an error.
vespin_response* commit_rules(time_limit_rule_factory* factory, const char* mac) {
    int rv = time_limit_rule_factory_commit(factory);
    if (rv != 0) return method_error(rv, "Fail to commit the time-limit rules");
    time_limit_restart();
    json_object* rules = rules_json(factory, mac, &rv);
    if (!rules) return method_error(rv, "Fail to read the time-limit rules");
    return method_result(rules);
}

using rule_change = int (*)(time_limit_rule_factory*, const char* mac, const char* text);

// Runs one change through a new factory: params {"mac", key: text}.
vespin_response* change_rules(json_object* params, const char* key, rule_change change, const char* failure) {
    vespin_response* error = nullptr;
    const char *mac, *text;
    if (!param_text(params, "mac", &mac, &error) || !param_text(params, key, &text, &error)) return error;
    time_limit_rule_factory* factory = time_limit_rule_factory_new();
    if (!factory || vespin_is_error(factory)) return method_error(VESPIN_ERR_FAILURE, "No UCI context");
    int rv = change(factory, mac, text);
    vespin_response* response = rv == 0 ? commit_rules(factory, mac) : method_error(rv, "%s", failure);
    time_limit_rule_factory_free(factory);
    return response;
}

int delete_device(time_limit_rule_factory* factory, const char* mac, const char*) {
    return time_limit_rule_factory_delete_device(factory, mac);
}

}  // namespace

// params: {"mac"}: {"mac", "name"}, or null when the device has no name.
vespin_response* assets_get_method(json_object* params) {
    vespin_response* error = nullptr;
    const char* mac;
    if (!param_text(params, "mac", &mac, &error)) return error;
    assets_factory* factory = assets_factory_new();
    if (vespin_is_error(factory)) return method_error(vespin_error_code(factory), "No UCI context");
    device_meta* meta = assets_factory_get(factory, mac);
    assets_factory_free(factory);
    if (vespin_is_error(meta)) return method_error(vespin_error_code(meta), "Fail to read the device name");
    json_object* result = meta ? device_meta_to_json(meta) : nullptr;
    free(meta);
    return method_result(result);
}

// params: {"mac", "name"}.
vespin_response* assets_set_method(json_object* params) {
    device_meta meta = {};
    int rv = device_meta_load_from_json_object(&meta, params);
    if (rv != 0) return method_error(rv, "Invalid device name");
    assets_factory* factory = assets_factory_new();
    if (vespin_is_error(factory)) return method_error(vespin_error_code(factory), "No UCI context");
    rv = assets_factory_set(factory, &meta);
    if (rv == 0) rv = assets_factory_commit(factory);
    assets_factory_free(factory);
    if (rv != 0) return method_error(rv, "Fail to store the device name");
    return method_result(device_meta_to_json(&meta));
}

// params: {"mac"}: the device's rules as JSON.
vespin_response* timelimit_list_method(json_object* params) {
    vespin_response* error = nullptr;
    const char* mac;
    if (!param_text(params, "mac", &mac, &error)) return error;
    time_limit_rule_factory* factory = time_limit_rule_factory_new();
    if (!factory || vespin_is_error(factory)) return method_error(VESPIN_ERR_FAILURE, "No UCI context");
    int rv = 0;
    json_object* rules = rules_json(factory, mac, &rv);
    time_limit_rule_factory_free(factory);
    return rules ? method_result(rules) : method_error(rv, "Fail to read the time-limit rules");
}

// params: {"mac", "rule": text}: the device's rules after the change.
vespin_response* timelimit_add_method(json_object* params) {
    return change_rules(params, "rule", time_limit_rule_factory_add_rule, "Fail to add the rule");
}

vespin_response* timelimit_update_method(json_object* params) {
    return change_rules(params, "rule", time_limit_rule_factory_update_rule, "Fail to update the rule");
}

// params: {"mac", "id"}.
vespin_response* timelimit_delete_method(json_object* params) {
    return change_rules(params, "id", time_limit_rule_factory_delete_rule, "Fail to delete the rule");
}

// params: {"mac"}.
vespin_response* timelimit_delete_device_method(json_object* params) {
    return change_rules(params, "mac", delete_device, "Fail to delete the device");
}
