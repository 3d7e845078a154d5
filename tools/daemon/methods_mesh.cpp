// The mesh as this node sees it, and calls into it:
//   "mesh.table"      the shared node table: each entry with its state, the
//                     seconds since its last report and whether it is valid
//   "mesh.top"        the validated topology, this node first
//   "mesh.rpc"        {"sn", "method", "params"?, "oneway"?}: a method on
//                     another node; its response is handed back as it came
//   "mesh.notify_all" {"method", "params"?, "oneway"?}: the same on every
//                     other valid node
//   "mesh.node_map"   the node map file ([] when there is none)
//   "mesh.neighbors"  the driver's mesh peers, completed from the node map
//   "mesh.candidates" nodes waiting to join, from a site survey (takes a few seconds)
#include "mesh.h"
#include "mesh_maintainer.h"
#include "mesh_node.h"
#include "mesh_rpc.h"
#include "method_reply.h"
#include "methods.h"

#include <stdlib.h>
#include <string.h>
#include <time.h>

#include <memory>
#include <string>

namespace {

const int kNodeMapCapacity = 50;

mesh_maintainer* table(vespin_response** error) {
    mesh_maintainer* inst = mesh_maintainer_get_inst();
    if (!vespin_is_error(inst)) return inst;
    *error = method_error(vespin_error_code(inst), "Fail to map the node table");
    return nullptr;
}

json_object* entry_json(mesh_maintainer* inst, const mesh_node_entry& entry, time_t now) {
    json_object* object = json_object_new_object();
    char key[MESH_MAINTAINER_KEY_SIZE] = {0};
    memcpy(key, entry.key, sizeof key - 1);
    json_object_object_add(object, "sn", json_object_new_string(key));
    json_object_object_add(object, "state", json_object_new_int(entry.node.state));
    json_object_object_add(object, "age", json_object_new_int64((int64_t)now - entry.updated));
    bool valid = mesh_maintainer_get_neighbor_by_sn_nodebug(inst, key) != nullptr;
    json_object_object_add(object, "valid", json_object_new_boolean(valid));
    json_object_object_add(object, "node", mesh_node_to_json(&entry.node));
    return object;
}

// Params {"method", "params"?, "oneway"?} as a request and a flag.
vespin_request* request_param(json_object* params, bool* oneway, vespin_response** error) {
    const char* method;
    json_object* inner = nullptr;
    if (!param_text(params, "method", &method, error) || !param_bool_or(params, "oneway", false, oneway, error))
        return nullptr;
    if (params) json_object_object_get_ex(params, "params", &inner);
    vespin_request* request = vespin_request_new(method, inner);
    if (vespin_is_error(request)) {
        *error = method_error(VESPIN_ERR_NO_MEMORY, "Out of memory");
        return nullptr;
    }
    return request;
}

}  // namespace

// Result: {"count", "beacon_loaded", "nodes": [{"sn", "state", "age", "valid", "node"}]},
// read as one consistent copy of the table.
vespin_response* mesh_table_method(json_object*) {
    vespin_response* error = nullptr;
    mesh_maintainer* inst = table(&error);
    if (!inst) return error;
    std::unique_ptr<mesh_maintainer> copy(new (std::nothrow) mesh_maintainer());
    if (!copy) return method_error(VESPIN_ERR_NO_MEMORY, "Out of memory");
    mesh_maintainer_snapshot(inst, copy.get());
    time_t now = time(nullptr);
    json_object* nodes = json_object_new_array();
    int count = copy->count < 0 ? 0 : (copy->count > MESH_MAINTAINER_NODE_MAX ? MESH_MAINTAINER_NODE_MAX : copy->count);
    for (int i = 0; i < count; i++) json_object_array_add(nodes, entry_json(inst, copy->entries[i], now));
    json_object* result = json_object_new_object();
    json_object_object_add(result, "count", json_object_new_int(count));
    json_object_object_add(result, "beacon_loaded", json_object_new_boolean(copy->beacon_loaded != 0));
    json_object_object_add(result, "nodes", nodes);
    return method_result(result);
}

// Result: the node records of mesh_maintainer_network_top, this node first.
vespin_response* mesh_top_method(json_object*) {
    vespin_response* error = nullptr;
    mesh_maintainer* inst = table(&error);
    if (!inst) return error;
    mesh_node** nodes = nullptr;
    int count = 0;
    int rv = mesh_maintainer_network_top(inst, &nodes, &count);
    if (rv != 0) return method_error(rv, "Fail to load network top");
    json_object* result = json_object_new_array();
    for (int i = 0; i < count; i++) json_object_array_add(result, mesh_node_to_json(nodes[i]));
    free(nodes);
    return method_result(result);
}

vespin_response* mesh_rpc_method(json_object* params) {
    vespin_response* error = nullptr;
    const char* sn;
    bool oneway = false;
    if (!param_text(params, "sn", &sn, &error)) return error;
    vespin_request* request = request_param(params, &oneway, &error);
    if (!request) return error;
    vespin_response* response = mesh_rpc(sn, request, oneway ? 1 : 0);
    vespin_request_free(request);
    return response;
}

vespin_response* mesh_notify_all_method(json_object* params) {
    vespin_response* error = nullptr;
    bool oneway = false;
    vespin_request* request = request_param(params, &oneway, &error);
    if (!request) return error;
    vespin_response* response = notify_all_nodes(request, oneway ? 1 : 0);
    vespin_request_free(request);
    return response;
}

vespin_response* mesh_node_map_method(json_object*) {
    mesh_node_map* map = mesh_node_map_new_from_file(kNodeMapCapacity, MESH_NODE_MAP_FILE);
    if (!map || vespin_error_code(map) == 5) return method_result(json_object_new_array());
    if (vespin_is_error(map)) return method_error(VESPIN_ERR_NO_MEMORY, "Fail to make the node map");
    std::string text(MESH_NODE_MAP_JSON_SIZE(map->capacity), '\0');
    mesh_node_map_to_json(map, &text[0]);
    mesh_node_map_free(map);
    return method_result(json_tokener_parse(text.c_str()));
}

// Result: [{"radio", "hwaddr", "mode", "state", "rssi", "operating_ch", "r",
// "tx_packets", "rx_packets", "expire_sec", "sn", "ip_lan", "mesh_port"}].
vespin_response* mesh_neighbors_method(json_object*) {
    mesh_peer* peers = nullptr;
    int count = 0;
    int rv = mesh_get_neighbors(&peers, &count);
    if (rv != 0) return method_error(rv == 12 ? VESPIN_ERR_NO_MEMORY : rv, "Fail to read the mesh peers");
    json_object* result = json_object_new_array();
    for (int i = 0; i < count; i++) {
        const mesh_peer& p = peers[i];
        json_object* peer = json_object_new_object();
        json_object_object_add(peer, "radio", json_object_new_int(p.radio));
        json_object_object_add(peer, "hwaddr", json_object_new_string(p.hwaddr));
        json_object_object_add(peer, "mode", json_object_new_string(p.mode));
        json_object_object_add(peer, "state", json_object_new_int(p.state));
        json_object_object_add(peer, "rssi", json_object_new_int(p.rssi));
        json_object_object_add(peer, "operating_ch", json_object_new_int(p.operating_ch));
        json_object_object_add(peer, "r", json_object_new_int(p.r));
        json_object_object_add(peer, "tx_packets", json_object_new_int(p.tx_packets));
        json_object_object_add(peer, "rx_packets", json_object_new_int(p.rx_packets));
        json_object_object_add(peer, "expire_sec", json_object_new_int(p.expire_sec));
        json_object_object_add(peer, "sn", json_object_new_string(p.sn));
        json_object_object_add(peer, "ip_lan", json_object_new_string(p.ip_lan));
        json_object_object_add(peer, "mesh_port", json_object_new_int(p.mesh_port));
        json_object_array_add(result, peer);
    }
    free(peers);
    return method_result(result);
}

// Result: [{"sn", "mac": {"2.4G", "5G"}}].
vespin_response* mesh_candidates_method(json_object*) {
    mesh_candidate* candidates = nullptr;
    int count = 0;
    int rv = mesh_candidate_scan(&candidates, &count);
    if (rv != 0) return method_error(rv, "Fail to scan for candidates");
    json_object* result = json_object_new_array();
    for (int i = 0; i < count; i++) json_object_array_add(result, mesh_candidate_to_json(&candidates[i]));
    free(candidates);
    return method_result(result);
}
