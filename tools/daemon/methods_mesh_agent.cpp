// The mesh agent's methods: "mesh.report" (a satellite's report, answered
// by the gateway), "mesh.topo" (the validated topology for people, and the
// entries that dropped out of it) and "mesh.convergence" (which nodes run
// on the gateway's current network record).
#include "core/json_ref.h"
#include "mesh_gateway.h"
#include "mesh_maintainer.h"
#include "platform/platform.h"
#include "method_reply.h"
#include "methods.h"
#include "vespin_core.h"

#include <stdlib.h>
#include <string.h>

#include <map>
#include <set>
#include <string>

namespace {

// A listing of the node table (self first), freed with its array.
struct node_listing {
    mesh_node** nodes = nullptr;
    int count = 0;
    ~node_listing() { free(nodes); }
};

// The platform clock, which the node table's own times come from.
int64_t now() { return (int64_t)plat_time(); }

vespin_response* table(mesh_maintainer** inst) {
    *inst = mesh_maintainer_get_inst();
    if (vespin_is_error(*inst)) return method_error(vespin_error_code(*inst), "Fail to map the node table");
    return nullptr;
}

// Both listings: the validated topology and every entry.
vespin_response* listings(mesh_maintainer* inst, node_listing* valid, node_listing* all) {
    int rv = mesh_maintainer_network_top(inst, &valid->nodes, &valid->count);
    if (rv == 0) rv = mesh_maintainer_network_top_all(inst, &all->nodes, &all->count);
    return rv == 0 ? nullptr : method_error(rv, "Fail to load network top");
}

int64_t updated_of(mesh_maintainer* inst, const mesh_node* node) {
    mesh_node_entry* entry = mesh_maintainer_get_node_by_sn(inst, node->sn);
    return entry ? entry->updated : 0;
}

// "synced" (on the current record), "never synced", or "last synced N s ago".
std::string sync_text(const mesh_node* node, int64_t record_changed, bool* current) {
    int64_t last = 0;
    *current = node->is_gw;
    if (node->is_gw) return "source";
    if (!gateway_last_sync(node->sn, &last) || last == 0) return "never synced";
    *current = last >= record_changed;
    return "last synced " + std::to_string(now() - last) + " s ago";
}

// The node and band a radio MAC belongs to.
struct radio_owner {
    std::string name, band;
};

json_object* topo_node_json(const mesh_node* node, const std::map<std::string, radio_owner>& names,
                            int64_t record_changed, bool gateway) {
    json_object* o = json_object_new_object();
    char version_text[VESPIN_VERSION_TEXT_SIZE];
    json_object_object_add(o, "role", json_object_new_string(node->is_gw ? "gateway" : "satellite"));
    json_object_object_add(o, "ip", json_object_new_string(node->ip));
    json_object_object_add(o, "sn", json_object_new_string(node->sn));
    json_object_object_add(o, "name", json_object_new_string(node->name));
    json_object_object_add(o, "state", json_object_new_int(node->state));
    json_object_object_add(o, "version", json_object_new_string(version_to_string(&node->version, version_text)));
    json_object* neighbors = json_object_new_array();
    for (int32_t i = 0; i < node->neighbor_count && i < MESH_NODE_NEIGHBOR_MAX; i++) {
        json_object* n = json_object_new_object();
        auto name = names.find(node->neighbors[i].mac);
        json_object_object_add(n, "mac", json_object_new_string(node->neighbors[i].mac));
        json_object_object_add(n, "rssi", json_object_new_int(node->neighbors[i].rssi));
        json_object_object_add(n, "name", json_object_new_string(name == names.end() ? "" : name->second.name.c_str()));
        json_object_object_add(n, "band", json_object_new_string(name == names.end() ? "" : name->second.band.c_str()));
        json_object_array_add(neighbors, n);
    }
    json_object_object_add(o, "neighbors", neighbors);
    json_object_object_add(o, "clients", json_object_new_int(node->station_count));
    json_object_object_add(o, "guest_clients", json_object_new_int(node->guest_station_count));
    if (gateway) {
        bool current = false;
        json_object_object_add(o, "sync", json_object_new_string(sync_text(node, record_changed, &current).c_str()));
        json_object_object_add(o, "current", json_object_new_boolean(current));
    }
    return o;
}

}  // namespace

// params: a node report {"meta": {"last_mbd_sync_time"}, "node": {...}}.
vespin_response* mesh_report_method(json_object* params) {
    if (get_work_mode() != 1) return method_error(VESPIN_ERR_FAILURE, "Not the gateway");
    if (!params || !json_object_is_type(params, json_type_object))
        return method_error(VESPIN_ERR_MISSING_PARAM, "Missing node report");
    bmd* report = bmd_new_from_json(json_object_to_json_string_ext(params, JSON_C_TO_STRING_PLAIN));
    if (vespin_is_error(report)) return method_error(vespin_error_code(report), "Invalid node report");
    json_object* result = nullptr;
    std::string message;
    int rv = gateway_take_report(report, &result, &message);
    bmd_free(report);
    if (rv != 0) return method_error(rv, "%s", message.c_str());
    return method_result(result);
}

// {"nodes": [validated topology, self first: role, ip, sn, name, state,
// version, neighbours with RSSI and the node and band they belong to, clients,
// guest clients; on the gateway also "sync" and "current"], "offline":
// [entries that dropped out: sn, name, ip, state, "silent" seconds]}. On
// the gateway, entries that fail validation are first set to state 6.
vespin_response* mesh_topo_method(json_object* params) {
    mesh_maintainer* inst;
    if (vespin_response* error = table(&inst)) return error;
    bool gateway = get_work_mode() == 1;
    if (gateway) mesh_maintainer_check_node_status(inst);
    node_listing valid, all;
    if (vespin_response* error = listings(inst, &valid, &all)) return error;
    std::string record;
    int64_t changed = 0;
    if (gateway && gateway_network_record(&record, &changed) != 0) changed = 0;
    std::map<std::string, radio_owner> names;
    for (int i = 0; i < all.count; i++) {
        names[all.nodes[i]->mac_wlan0] = {all.nodes[i]->name, "5g"};
        names[all.nodes[i]->mac_wlan1] = {all.nodes[i]->name, "2.4g"};
    }
    json_object* result = json_object_new_object();
    json_object* nodes = json_object_new_array();
    std::set<std::string> live;
    for (int i = 0; i < valid.count; i++) {
        live.insert(valid.nodes[i]->sn);
        json_object_array_add(nodes, topo_node_json(valid.nodes[i], names, changed, gateway));
    }
    json_object* offline = json_object_new_array();
    for (int i = 1; i < all.count; i++) {
        if (live.count(all.nodes[i]->sn)) continue;
        json_object* o = json_object_new_object();
        json_object_object_add(o, "sn", json_object_new_string(all.nodes[i]->sn));
        json_object_object_add(o, "name", json_object_new_string(all.nodes[i]->name));
        json_object_object_add(o, "ip", json_object_new_string(all.nodes[i]->ip));
        json_object_object_add(o, "state", json_object_new_int(all.nodes[i]->state));
        json_object_object_add(o, "silent", json_object_new_int64(now() - updated_of(inst, all.nodes[i])));
        json_object_array_add(offline, o);
    }
    json_object_object_add(result, "nodes", nodes);
    json_object_object_add(result, "offline", offline);
    return method_result(result);
}

// On the gateway: {"current": n, "total": m, "record_time": T, "lagging":
// [{"sn", "name", "sync"}], "summary": "3/4 nodes on the current network
// record; satellite-3 last synced 42 s ago"}. The gateway and every valid
// node count; a node is current when its last reported sync is not older
// than the record.
vespin_response* mesh_convergence_method(json_object* params) {
    if (get_work_mode() != 1) return method_error(VESPIN_ERR_FAILURE, "Not the gateway");
    mesh_maintainer* inst;
    if (vespin_response* error = table(&inst)) return error;
    node_listing valid;
    int rv = mesh_maintainer_network_top(inst, &valid.nodes, &valid.count);
    if (rv != 0) return method_error(rv, "Fail to load network top");
    std::string record;
    int64_t changed = 0;
    rv = gateway_network_record(&record, &changed);
    if (rv != 0) return method_error(rv, "Fail to load the network record");
    int current = 0;
    std::string summary;
    json_object* lagging = json_object_new_array();
    for (int i = 0; i < valid.count; i++) {
        const mesh_node* node = valid.nodes[i];
        bool on_record = false;
        std::string sync = i == 0 ? std::string("source") : sync_text(node, changed, &on_record);
        if (i == 0 || on_record) {
            current++;
            continue;
        }
        summary += std::string("; ") + node->name + " " + sync;
        json_object* o = json_object_new_object();
        json_object_object_add(o, "sn", json_object_new_string(node->sn));
        json_object_object_add(o, "name", json_object_new_string(node->name));
        json_object_object_add(o, "sync", json_object_new_string(sync.c_str()));
        json_object_array_add(lagging, o);
    }
    summary = std::to_string(current) + "/" + std::to_string(valid.count) + " nodes on the current network record" +
              summary;
    json_object* result = json_object_new_object();
    json_object_object_add(result, "current", json_object_new_int(current));
    json_object_object_add(result, "total", json_object_new_int(valid.count));
    json_object_object_add(result, "record_time", json_object_new_int64(changed));
    json_object_object_add(result, "lagging", lagging);
    json_object_object_add(result, "summary", json_object_new_string(summary.c_str()));
    return method_result(result);
}
