// "url_filter.add/.delete/.enable/.list/.restart" and
// "sta_blacklist.add/.delete/.list": per-device blocked hosts and the
// station blacklist. Each change is committed when it succeeded and dropped
// otherwise.
#include "internal_sta_blacklist.h"
#include "internal_url_filter.h"
#include "method_reply.h"
#include "methods.h"

#include <stdio.h>
#include <stdlib.h>
#include <string.h>

namespace {

// Runs one change in a context of its own: committed with `commit` when it
// returned 0, dropped otherwise.
template <typename Change>
vespin_response* in_context(Change change, int (*commit)(uci_context*), const char* failure) {
    uci_context* ctx = vespin_uci_ctx_new();
    if (vespin_is_error(ctx)) return method_error(VESPIN_ERR_NO_MEMORY, "Fail to alloc uci_context");
    int rv = change(ctx);
    if (rv == 0 && commit(ctx) != 0) rv = VESPIN_ERR_FAILURE;
    vespin_uci_ctx_free(ctx);
    if (rv != 0) return method_error(rv, "%s", failure);
    return method_result(nullptr);
}

bool mac_and_host(json_object* params, const char** mac, const char** host, vespin_response** error) {
    return param_text(params, "mac", mac, error) && param_text(params, "host", host, error);
}

}  // namespace

vespin_response* url_filter_add_method(json_object* params) {
    vespin_response* error = nullptr;
    const char *mac, *host;
    if (!mac_and_host(params, &mac, &host, &error)) return error;
    return in_context([&](uci_context* ctx) { return URL_filter_add(ctx, nullptr, host, mac); },
                      URL_filter_config_commit, "Fail to add the host");
}

vespin_response* url_filter_delete_method(json_object* params) {
    vespin_response* error = nullptr;
    const char *mac, *host;
    if (!mac_and_host(params, &mac, &host, &error)) return error;
    return in_context([&](uci_context* ctx) { return URL_filter_delete(ctx, mac, host); }, URL_filter_config_commit,
                      "Fail to delete the host");
}

vespin_response* url_filter_enable_method(json_object* params) {
    vespin_response* error = nullptr;
    const char* mac;
    bool enabled;
    if (!param_text(params, "mac", &mac, &error) || !param_bool_or(params, "enabled", true, &enabled, &error))
        return error;
    int32_t state = enabled ? URL_FILTER_ENABLED : URL_FILTER_DISABLED;
    return in_context([&](uci_context* ctx) { return URL_filter_enable_set(ctx, state, mac); },
                      URL_filter_config_commit, "Fail to set the URL filter");
}

vespin_response* url_filter_list_method(json_object* params) {
    url_filter_device* devices = nullptr;
    int32_t count = 0;
    int rv = URL_filter_list(&devices, &count);
    if (rv != 0) return method_error(rv, "Fail to list the URL filters");
    json_object* list = json_object_new_array();
    for (int32_t i = 0; i < count; i++) {
        json_object* o = json_object_new_object();
        json_object_object_add(o, "mac", json_object_new_string(devices[i].mac));
        json_object_object_add(o, "enabled", json_object_new_boolean(devices[i].enabled));
        json_object* hosts = json_object_new_array();
        for (int32_t h = 0; h < devices[i].host_count; h++)
            json_object_array_add(hosts, json_object_new_string(devices[i].hosts[h]));
        json_object_object_add(o, "hosts", hosts);
        json_object_array_add(list, o);
    }
    free(devices);
    return method_result(list);
}

// The walk's end (600104) is the normal outcome of a restart.
vespin_response* url_filter_restart_method(json_object* params) {
    int rv = URL_filter_restart();
    if (rv != 0 && rv != VESPIN_ERR_NOT_FOUND) return method_error(rv, "Fail to restart the URL filter");
    return method_result(nullptr);
}

vespin_response* sta_blacklist_add_method(json_object* params) {
    vespin_response* error = nullptr;
    const char *mac, *name;
    if (!param_text(params, "mac", &mac, &error) || !param_text_or(params, "name", "", &name, &error)) return error;
    blacklist_entry entry = {};
    if (strlen(mac) >= sizeof entry.mac || strlen(name) >= sizeof entry.name)
        return method_error(VESPIN_ERR_INVALID_PARAM, "Invalid mac");
    snprintf(entry.mac, sizeof entry.mac, "%s", mac);
    snprintf(entry.name, sizeof entry.name, "%s", name);
    return in_context([&](uci_context* ctx) { return sta_blacklist_add(ctx, &entry); }, sta_blacklist_commit,
                      "Fail to add the station");
}

// Without "mac", every station leaves the list.
vespin_response* sta_blacklist_delete_method(json_object* params) {
    vespin_response* error = nullptr;
    const char* mac;
    if (!param_text_or(params, "mac", "", &mac, &error)) return error;
    return in_context([&](uci_context* ctx) { return sta_blacklist_delete(ctx, mac); }, sta_blacklist_commit,
                      "Fail to delete the station");
}

vespin_response* sta_blacklist_list_method(json_object* params) {
    blacklist_entry* entries = nullptr;
    int32_t count = 0;
    int rv = sta_blacklist_list(&entries, &count);
    if (rv != 0) return method_error(rv, "Fail to list the blacklist");
    json_object* list = json_object_new_array();
    for (int32_t i = 0; i < count; i++) {
        json_object* o = json_object_new_object();
        json_object_object_add(o, "mac", json_object_new_string(entries[i].mac));
        json_object_object_add(o, "name", json_object_new_string(entries[i].name));
        json_object_array_add(list, o);
    }
    free(entries);
    return method_result(list);
}
