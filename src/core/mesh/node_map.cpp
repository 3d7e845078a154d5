// The node map: serial number to LAN address, radio MACs and mesh port, kept
// as a text file of one "%s %s %s %s %d" line per node.
#include "mesh.h"

#include "core/json_ref.h"
#include "core/text.h"
#include "platform.h"

#include <errno.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

namespace {

const size_t kLineLimit = 256;  // lines of at most 255 characters

bool same_text(const char* a, const char* b) {
    return strncmp(a, b, MESH_NODE_META_TEXT_SIZE) == 0;
}

// Reads one line of at most 255 characters; the rest of a longer line is
// dropped so that it never becomes an entry of its own.
bool read_line(FILE* file, char* line) {
    if (!fgets(line, kLineLimit, file)) return false;
    if (!strchr(line, '\n')) {
        int c;
        while ((c = fgetc(file)) != EOF && c != '\n') {
        }
    }
    return true;
}

void add_text(json_object* object, const char* key, const char* field) {
    char text[MESH_NODE_META_TEXT_SIZE];
    copy_text(text, sizeof text, field);
    json_object_object_add(object, key, json_object_new_string(text));
}

}  // namespace

extern "C" {

mesh_node_map* mesh_node_map_new(int capacity) {
    if (capacity < 1) return nullptr;
    auto* map = static_cast<mesh_node_map*>(plat_calloc(1, sizeof(mesh_node_map)));
    if (!map) return nullptr;
    map->entries = static_cast<mesh_node_meta*>(plat_calloc((size_t)capacity, sizeof(mesh_node_meta)));
    if (!map->entries) {
        free(map);
        return nullptr;
    }
    map->capacity = capacity;
    return map;
}

void mesh_node_map_free(mesh_node_map* map) {
    if (!map || vespin_is_error(map)) return;
    free(map->entries);
    free(map);
}

mesh_node_map* mesh_node_map_new_from_file(int capacity, const char* path) {
    FILE* file = plat_fopen(path, "r");
    if (!file) return VESPIN_ERROR_PTR(mesh_node_map*, EIO);
    mesh_node_map* map = mesh_node_map_new(capacity);
    if (!map) {
        fclose(file);
        return VESPIN_ERROR_PTR(mesh_node_map*, ENOMEM);
    }
    char line[kLineLimit];
    while (map->count < map->capacity && read_line(file, line)) {
        mesh_node_meta* meta = &map->entries[map->count];
        if (sscanf(line, "%19s %19s %19s %19s %d", meta->sn, meta->ip_lan, meta->mac_wlan0, meta->mac_wlan1,
                   &meta->mesh_port) == 5)
            map->count++;
        else
            memset(meta, 0, sizeof *meta);
    }
    fclose(file);
    return map;
}

int mesh_node_map_to_file(const mesh_node_map* map, const char* path) {
    FILE* file = plat_fopen(path, "w");
    if (!file) return -EIO;
    bool written = true;
    for (int i = 0; map && i < map->count; i++) {
        const mesh_node_meta* m = &map->entries[i];
        if (fprintf(file, "%.19s %.19s %.19s %.19s %d\n", m->sn, m->ip_lan, m->mac_wlan0, m->mac_wlan1,
                    m->mesh_port) < 0)
            written = false;
    }
    if (fclose(file) != 0) written = false;
    return written ? 0 : -EIO;
}

int mesh_node_map_to_json(const mesh_node_map* map, char* buffer) {
    if (!buffer) return 0;
    json_ref array(json_object_new_array());
    for (int i = 0; map && i < map->count; i++) {
        const mesh_node_meta* m = &map->entries[i];
        json_object* entry = json_object_new_object();
        add_text(entry, "sn", m->sn);
        add_text(entry, "ip_lan", m->ip_lan);
        add_text(entry, "mac_wlan0", m->mac_wlan0);
        add_text(entry, "mac_wlan1", m->mac_wlan1);
        json_object_object_add(entry, "mesh_port", json_object_new_int(m->mesh_port));
        json_object_array_add(array.get(), entry);
    }
    const char* text = json_object_to_json_string_ext(array.get(), JSON_C_TO_STRING_PLAIN);
    copy_text(buffer, MESH_NODE_MAP_JSON_SIZE(map ? map->capacity : 0), text);
    return 0;
}

mesh_node_meta* mesh_node_map_get_by_mac(mesh_node_map* map, const char* mac) {
    if (!map || !mac) return nullptr;
    for (int i = 0; i < map->count; i++)
        if (same_text(map->entries[i].mac_wlan0, mac) || same_text(map->entries[i].mac_wlan1, mac))
            return &map->entries[i];
    return nullptr;
}

mesh_node_meta* mesh_node_map_get_by_ip(mesh_node_map* map, const char* ip) {
    if (!map || !ip) return nullptr;
    for (int i = 0; i < map->count; i++)
        if (same_text(map->entries[i].ip_lan, ip)) return &map->entries[i];
    return nullptr;
}

int mesh_node_meta_cmp(const mesh_node_meta* a, const mesh_node_meta* b) {
    if (!a || !b) return a == b ? 0 : 1;
    bool equal = same_text(a->sn, b->sn) && same_text(a->ip_lan, b->ip_lan) &&
                 same_text(a->mac_wlan0, b->mac_wlan0) && same_text(a->mac_wlan1, b->mac_wlan1) &&
                 a->mesh_port == b->mesh_port;
    return equal ? 0 : 1;
}

void mesh_node_meta_copy(mesh_node_meta* destination, const mesh_node_meta* source) {
    if (destination && source && destination != source) memmove(destination, source, sizeof *destination);
}

int mesh_node_map_put(mesh_node_map* map, const mesh_node_meta* meta, int* changed) {
    if (changed) *changed = 0;
    if (!map || !meta || !changed) return EINVAL;
    for (int i = 0; i < map->count; i++) {
        if (!same_text(map->entries[i].sn, meta->sn)) continue;
        if (mesh_node_meta_cmp(&map->entries[i], meta) == 0) return 0;
        mesh_node_meta_copy(&map->entries[i], meta);
        *changed = 1;
        return 0;
    }
    if (map->count >= map->capacity) return ENOMEM;
    mesh_node_meta_copy(&map->entries[map->count++], meta);
    *changed = 1;
    return 0;
}

}  // extern "C"
