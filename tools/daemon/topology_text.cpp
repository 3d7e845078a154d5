#include "topology_text.h"

#include <stdio.h>

namespace {

std::string text_of(json_object* object, const char* key) {
    json_object* value = nullptr;
    if (!json_object_object_get_ex(object, key, &value) || !value) return "-";
    return json_object_get_string(value);
}

int int_of(json_object* object, const char* key) {
    json_object* value = nullptr;
    return json_object_object_get_ex(object, key, &value) ? json_object_get_int(value) : 0;
}

json_object* array_of(json_object* object, const char* key) {
    json_object* value = nullptr;
    if (!json_object_object_get_ex(object, key, &value) || !json_object_is_type(value, json_type_array))
        return nullptr;
    return value;
}

std::string neighbours_text(json_object* node) {
    std::string out;
    json_object* neighbours = array_of(node, "neighbors");
    for (size_t i = 0; neighbours && i < json_object_array_length(neighbours); i++) {
        json_object* n = json_object_array_get_idx(neighbours, i);
        std::string name = text_of(n, "name");
        if (name.empty()) name = text_of(n, "mac");
        std::string band = text_of(n, "band");
        if (!out.empty()) out += ", ";
        out += name + (band.empty() ? "" : "/" + band) + " " + std::to_string(int_of(n, "rssi"));
    }
    return out.empty() ? "-" : out;
}

}  // namespace

std::string topology_text(json_object* topo) {
    std::string out;
    char line[512];
    json_object* nodes = array_of(topo, "nodes");
    size_t count = nodes ? json_object_array_length(nodes) : 0;
    snprintf(line, sizeof line, "%-13s %-9s %-15s %-16s %-5s %-7s %-21s %s\n", "NODE", "ROLE", "ADDRESS", "SERIAL",
             "STATE", "CLIENTS", "LAST SYNC", "NEIGHBOURS (RSSI)");
    out += line;
    for (size_t i = 0; i < count; i++) {
        json_object* node = json_object_array_get_idx(nodes, i);
        std::string clients = std::to_string(int_of(node, "clients")) + "+" + std::to_string(int_of(node, "guest_clients"));
        std::string sync = text_of(node, "sync");
        snprintf(line, sizeof line, "%-13s %-9s %-15s %-16s %-5d %-7s %-21s %s\n", text_of(node, "name").c_str(),
                 text_of(node, "role").c_str(), text_of(node, "ip").c_str(), text_of(node, "sn").c_str(),
                 int_of(node, "state"), clients.c_str(), sync.c_str(), neighbours_text(node).c_str());
        out += line;
    }
    json_object* offline = array_of(topo, "offline");
    for (size_t i = 0; offline && i < json_object_array_length(offline); i++) {
        json_object* node = json_object_array_get_idx(offline, i);
        int state = int_of(node, "state");
        snprintf(line, sizeof line, "%-13s %s (%s) %s, state %d, silent for %d s\n", text_of(node, "name").c_str(),
                 text_of(node, "sn").c_str(), text_of(node, "ip").c_str(),
                 state == 6 ? "is offline" : "is out of the topology", state, int_of(node, "silent"));
        out += line;
    }
    return out;
}

std::string device_list_text(json_object* devices) {
    std::string out;
    char line[512];
    snprintf(line, sizeof line, "%-16s %-15s %-13s %-16s %-6s %s\n", "DEVICE", "ADDRESS", "MAC", "VENDOR", "BAND",
             "NODE");
    out += line;
    json_object* list = json_object_is_type(devices, json_type_array) ? devices : nullptr;
    for (size_t i = 0; list && i < json_object_array_length(list); i++) {
        json_object* d = json_object_array_get_idx(list, i);
        snprintf(line, sizeof line, "%-16s %-15s %-13s %-16s %-6s %s (%s)\n", text_of(d, "name").c_str(),
                 text_of(d, "ip").c_str(), text_of(d, "mac").c_str(), text_of(d, "brand").c_str(),
                 text_of(d, "band").c_str(), text_of(d, "node_name").c_str(), text_of(d, "node_sn").c_str());
        out += line;
    }
    return out;
}
