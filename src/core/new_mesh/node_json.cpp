// The node record's JSON form: printing, and reading with every check of a
// record that arrives from another node.
#include "node_json.h"

#include "core/json_ref.h"
#include "core/log.h"
#include "core/text.h"

#include <string.h>

namespace {

// Logs the message and returns 600005: the code of every malformed field.
#define NODE_FIELD_FAIL(...)            \
    do {                                \
        VLOG_ERROR(__VA_ARGS__);        \
        return VESPIN_ERR_MISSING_VALUE; \
    } while (0)

// The member as a string of min to max characters, else NULL.
const char* text_member(json_object* object, const char* key, size_t min, size_t max) {
    json_object* member = mesh_json_member(object, key);
    if (!json_object_is_type(member, json_type_string)) return nullptr;
    size_t length = strlen(json_object_get_string(member));  // a text ends at its first NUL, as stored
    return length >= min && length <= max ? json_object_get_string(member) : nullptr;
}

bool is_int(json_object* member) { return json_object_is_type(member, json_type_int); }

int load_macs(mesh_node* node, json_object* object) {
    json_object* macs = mesh_json_member(object, "macs");
    if (!json_object_is_type(macs, json_type_object)) NODE_FIELD_FAIL("Missing macs");
    const char* wlan0 = text_member(macs, "wlan0", 12, 12);
    if (!wlan0) NODE_FIELD_FAIL("Missing macs.wlan0");
    size_t length = strlen(wlan0);
    const char* wlan1 = text_member(macs, "wlan1", length, length);
    if (!wlan1) NODE_FIELD_FAIL("Missing macs.wlan1");
    const char* eth0 = text_member(macs, "eth0", length, length);
    if (!eth0) NODE_FIELD_FAIL("Missing macs.eth0");
    const char* eth1 = text_member(macs, "eth1", 12, 12);
    if (!eth1) NODE_FIELD_FAIL("Missing macs.eth1");
    copy_text(node->mac_wlan0, sizeof node->mac_wlan0, wlan0);
    copy_text(node->mac_wlan1, sizeof node->mac_wlan1, wlan1);
    copy_text(node->mac_eth0, sizeof node->mac_eth0, eth0);
    copy_text(node->mac_eth1, sizeof node->mac_eth1, eth1);
    return 0;
}

// Neighbours beyond the record's 50 are cut.
int load_neighbors(mesh_node* node, json_object* object) {
    json_object* list = mesh_json_member(object, "neighbors");
    if (!json_object_is_type(list, json_type_array)) NODE_FIELD_FAIL("Missing neighbors");
    return mesh_json_read_array(list, MESH_NODE_NEIGHBOR_MAX, &node->neighbor_count, [node](int i, json_object* element) {
        if (!json_object_is_type(element, json_type_object)) NODE_FIELD_FAIL("Invalid neighbor");
        const char* mac = text_member(element, "mac", 0, SIZE_MAX);
        if (!mac) NODE_FIELD_FAIL("Missing neighbors[%d].mac", i);
        json_object* rssi = mesh_json_member(element, "rssi");
        if (!is_int(rssi)) NODE_FIELD_FAIL("Missing neighbors[%d].rssi", i);
        copy_text(node->neighbors[i].mac, sizeof node->neighbors[i].mac, mac);
        node->neighbors[i].rssi = json_object_get_int(rssi);
        return 0;
    });
}

// Stations beyond the record's 64 are cut.
int load_stations(mesh_node* node, json_object* object) {
    json_object* list = mesh_json_member(object, "stations");
    if (!json_object_is_type(list, json_type_array)) NODE_FIELD_FAIL("Missing stations");
    return mesh_json_read_array(list, MESH_NODE_STATION_MAX, &node->station_count, [node](int i, json_object* element) {
        if (!json_object_is_type(element, json_type_object)) NODE_FIELD_FAIL("Invalid station");
        return vespin_sta_update_from_json_object(&node->stations[i], element);
    });
}

int load_guest_stations(mesh_node* node, json_object* object) {
    json_object* list = nullptr;
    if (!json_object_object_get_ex(object, "guest_stations", &list)) return 0;
    if (!json_object_is_type(list, json_type_array)) {
        VLOG_ERROR("Invalid type of guest stations");
        return VESPIN_ERR_INVALID_PARAM;
    }
    return mesh_json_read_array(list, MESH_NODE_STATION_MAX, &node->guest_station_count,
                                [node](int i, json_object* element) {
                                    if (!json_object_is_type(element, json_type_object)) return VESPIN_ERR_MISSING_PARAM;
                                    return vespin_guest_sta_update_from_json_object(&node->guest_stations[i], element);
                                });
}

// Absent values read as 0.
void load_system_info(mesh_node* node, json_object* object) {
    json_object* info = mesh_json_member(object, "system_info");
    json_object* mem = mesh_json_member(info, "mem");
    node->cpu = json_object_get_double(mesh_json_member(info, "cpu"));
    node->mem_used = json_object_get_int64(mesh_json_member(mem, "used"));
    node->mem_total = json_object_get_int64(mesh_json_member(mem, "total"));
}

}  // namespace

json_object* mesh_json_member(json_object* object, const char* key) {
    json_object* member = nullptr;
    return json_object_object_get_ex(object, key, &member) ? member : nullptr;
}

int32_t mesh_held_count(int32_t count, int32_t capacity) {
    return count < 0 ? 0 : (count > capacity ? capacity : count);
}

json_object* mesh_json_field_string(const char* field, size_t capacity) {
    return json_object_new_string_len(field, (int)strnlen(field, capacity));
}

int mesh_node_load_json_object(mesh_node* node, json_object* object) {
    if (!node || vespin_is_error(node)) return VESPIN_ERR_MISSING_VALUE;
    // Every field comes from this document: what it leaves out reads as 0.
    memset(node, 0, sizeof *node);
    const char* ip = text_member(object, "ip", 1, MESH_NODE_IP_SIZE - 1);
    if (!ip) NODE_FIELD_FAIL("Missing ip");
    const char* sn = text_member(object, "sn", MESH_NODE_SN_SIZE - 1, MESH_NODE_SN_SIZE - 1);
    if (!sn) NODE_FIELD_FAIL("Missing sn");
    copy_text(node->ip, sizeof node->ip, ip);
    copy_text(node->sn, sizeof node->sn, sn);

    // A sender that predates the customer id sends no protocol version.
    json_object* protocol = nullptr;
    if (!json_object_object_get_ex(object, "protocol_version", &protocol)) {
        copy_text(node->customer_id, sizeof node->customer_id, "0001");
    } else if (!is_int(protocol)) {
        VLOG_ERROR("Invalid type of protocol_version");
        return VESPIN_ERR_INVALID_PARAM;
    } else if (json_object_get_int64(protocol) >= 1) {
        const char* customer = text_member(object, "customer_id", 4, 4);
        if (!customer) NODE_FIELD_FAIL("Missing customer id");
        copy_text(node->customer_id, sizeof node->customer_id, customer);
    }

    const char* name = text_member(object, "name", 1, SIZE_MAX);
    if (!name) NODE_FIELD_FAIL("Missing name");
    copy_text(node->name, sizeof node->name, name);
    json_object* is_gw = mesh_json_member(object, "is_gw");
    if (!json_object_is_type(is_gw, json_type_boolean)) NODE_FIELD_FAIL("Missing is_gw");
    node->is_gw = json_object_get_boolean(is_gw) ? 1 : 0;
    json_object* rpc_port = mesh_json_member(object, "rpc_port");
    if (!is_int(rpc_port)) NODE_FIELD_FAIL("Missing rpc_port");
    node->rpc_port = json_object_get_int(rpc_port);
    json_object* state = mesh_json_member(object, "state");
    if (!is_int(state)) NODE_FIELD_FAIL("Missing state");
    node->state = json_object_get_int(state);

    int code = load_macs(node, object);
    if (code != 0) return code;
    const char* version_text = text_member(object, "version", 0, SIZE_MAX);
    if (!version_text) NODE_FIELD_FAIL("Invalid version");
    code = version_from_string(&node->version, version_text);
    if (code != 0) {
        VLOG_ERROR("Wrong version: `%s`", version_text);
        return code;
    }
    if ((code = load_neighbors(node, object)) != 0) return code;
    if ((code = load_stations(node, object)) != 0) return code;
    if ((code = load_guest_stations(node, object)) != 0) return code;
    load_system_info(node, object);
    node->uptime = json_object_get_int64(mesh_json_member(object, "uptime"));
    return 0;
}

int mesh_node_load_json(mesh_node* node, const char* text) {
    json_ref object(text ? json_tokener_parse(text) : nullptr);
    if (!object) NODE_FIELD_FAIL("Invalid json: %s", text ? text : "(null)");
    return mesh_node_load_json_object(node, object.get());
}

json_object* mesh_node_to_json(const mesh_node* node) {
    if (!node || vespin_is_error(node)) return nullptr;
    json_object* object = json_object_new_object();
    if (!object) return nullptr;
    json_add_new_key(object, "protocol_version", json_object_new_int(1));
    json_add_new_key(object, "ip", mesh_json_field_string(node->ip, sizeof node->ip));
    json_add_new_key(object, "sn", mesh_json_field_string(node->sn, sizeof node->sn));
    json_add_new_key(object, "customer_id", mesh_json_field_string(node->customer_id, sizeof node->customer_id));
    json_add_new_key(object, "rpc_port", json_object_new_int(node->rpc_port));
    json_add_new_key(object, "state", json_object_new_int(node->state));
    json_object* macs = json_object_new_object();
    json_add_new_key(macs, "wlan0", mesh_json_field_string(node->mac_wlan0, sizeof node->mac_wlan0));
    json_add_new_key(macs, "wlan1", mesh_json_field_string(node->mac_wlan1, sizeof node->mac_wlan1));
    json_add_new_key(macs, "eth0", mesh_json_field_string(node->mac_eth0, sizeof node->mac_eth0));
    json_add_new_key(macs, "eth1", mesh_json_field_string(node->mac_eth1, sizeof node->mac_eth1));
    json_add_new_key(object, "macs", macs);
    json_add_new_key(object, "is_gw", json_object_new_boolean(node->is_gw != 0));
    char version_text[VESPIN_VERSION_TEXT_SIZE];
    json_add_new_key(object, "version", json_object_new_string(version_to_string(&node->version, version_text)));
    json_add_new_key(object, "name", mesh_json_field_string(node->name, sizeof node->name));

    json_object* neighbors = json_object_new_array();
    int32_t count = mesh_held_count(node->neighbor_count, MESH_NODE_NEIGHBOR_MAX);
    for (int32_t i = 0; i < count; ++i) {
        json_object* neighbor = json_object_new_object();
        json_add_new_key(neighbor, "mac", mesh_json_field_string(node->neighbors[i].mac, sizeof node->neighbors[i].mac));
        json_add_new_key(neighbor, "rssi", json_object_new_int(node->neighbors[i].rssi));
        json_object_array_add(neighbors, neighbor);
    }
    json_add_new_key(object, "neighbors", neighbors);
    json_object* stations = json_object_new_array();
    count = mesh_held_count(node->station_count, MESH_NODE_STATION_MAX);
    for (int32_t i = 0; i < count; ++i) json_object_array_add(stations, vespin_sta_to_json(&node->stations[i]));
    json_add_new_key(object, "stations", stations);
    json_object* guests = json_object_new_array();
    count = mesh_held_count(node->guest_station_count, MESH_NODE_STATION_MAX);
    for (int32_t i = 0; i < count; ++i)
        json_object_array_add(guests, vespin_guest_sta_to_json(&node->guest_stations[i]));
    json_add_new_key(object, "guest_stations", guests);

    json_object* info = json_object_new_object();
    json_add_new_key(info, "cpu", json_object_new_double(node->cpu));
    json_object* mem = json_object_new_object();
    json_add_new_key(mem, "used", json_object_new_int64(node->mem_used));
    json_add_new_key(mem, "total", json_object_new_int64(node->mem_total));
    json_add_new_key(info, "mem", mem);
    json_add_new_key(object, "system_info", info);
    json_add_new_key(object, "uptime", json_object_new_int64(node->uptime));
    return object;
}
