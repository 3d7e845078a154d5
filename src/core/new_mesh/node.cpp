// The node record: made, rebuilt from the live system and freed.
#include "mesh_node.h"

#include "apmib.h"
#include "core/log.h"
#include "core/text.h"
#include "mesh_maintainer.h"
#include "node_json.h"
#include "peer_list.h"
#include "platform.h"
#include "record_new.h"
#include "vespin_core.h"

#include <stddef.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

// The records cross the C boundary and fill the shared mesh table: their
// layout is the same on the router (32-bit MIPS) and on a PC.
static_assert(sizeof(vespin_sta) == 72 && sizeof(vespin_guest_sta) == 72, "station records");
static_assert(offsetof(vespin_sta, rssi) == 56 && offsetof(vespin_guest_sta, rssi) == 60, "station rssi");
static_assert(sizeof(mesh_neighbor) == 20, "neighbour");
static_assert(sizeof(mesh_node) == 10432, "node record");
static_assert(offsetof(mesh_node, name) == 108 && offsetof(mesh_node, neighbors) == 148, "node head");
static_assert(offsetof(mesh_node, is_gw) == 1152 && offsetof(mesh_node, cpu) == 1168, "node middle");
static_assert(offsetof(mesh_node, stations) == 1192 && offsetof(mesh_node, guest_stations) == 5808, "stations");
static_assert(offsetof(mesh_node, uptime) == 10424, "node tail");
static_assert(sizeof(bmd) == 10440 && offsetof(bmd, last_mbd_sync_time) == 10432, "node report");
static_assert(sizeof(mbd) == 7720 && offsetof(mbd, blacklist) == 2059 && offsetof(mbd, life_id) == 7676,
              "network record");

namespace {

const int kMeshSwitchSetting = 644;  // the radio's mesh switch (per radio)

// Adds the peers of both radios whose mesh switch is on. The platform's
// radio index is left on radio 1, as the firmware has always left it.
int load_neighbors(mesh_node* node) {
    node->neighbor_count = 0;
    for (int radio = 0; radio < 2; ++radio) {
        set_global_wlan_idx(radio);
        int enabled = 0;
        if (!apmib_get(kMeshSwitchSetting, &enabled)) {
            VLOG_ERROR("Fail to get MIB");
            return VESPIN_ERR_SETTING;
        }
        if (!enabled) continue;
        char path[64];
        snprintf(path, sizeof path, "/proc/wlan%d/mesh_assoc_mpinfo", radio);
        FILE* file = plat_fopen(path, "r");
        if (!file) {
            VLOG_ERROR("Fail to open: %s", path);
            continue;
        }
        mesh_peer_list_parse(file, node->neighbors, &node->neighbor_count, MESH_NODE_NEIGHBOR_MAX);
        fclose(file);
    }
    return 0;
}

// Loads stations into scratch room for every file the loader reads (it has
// no bound of its own) and keeps the first 64 in *kept_count (0 when the
// files cannot be read). Out of memory fails the reload: a report without
// its stations would tell the gateway they left.
template <typename Station>
int load_stations_cut(Station* kept, int32_t* kept_count, size_t room, int (*load)(Station*, int32_t*)) {
    *kept_count = 0;
    Station* stations = static_cast<Station*>(plat_calloc(room, sizeof(Station)));
    if (!stations) return VESPIN_ERR_NO_MEMORY;
    int32_t count = 0;
    if (load(stations, &count) == 0) {
        if (count > MESH_NODE_STATION_MAX) count = MESH_NODE_STATION_MAX;
        memcpy(kept, stations, (size_t)count * sizeof *stations);
        *kept_count = count;
    }
    free(stations);
    return 0;
}

}  // namespace

mesh_node* mesh_node_new(void) { return mesh_record_new<mesh_node>([](auto* record) { return mesh_node_reload(record); }); }

mesh_node* mesh_node_new_from_json(const char* text) {
    return mesh_record_new<mesh_node>([text](auto* record) { return mesh_node_load_json(record, text); });
}

int mesh_node_reload(mesh_node* node) {
    if (!node || vespin_is_error(node)) return VESPIN_ERR_FAILURE;
    memset(node, 0, sizeof *node);
    char sn[VESPIN_SN_SIZE] = "", customer_id[VESPIN_CUSTOMER_ID_SIZE] = "";
    int code = get_sn(sn);
    if (code != 0) return code;
    if ((code = get_customer_id(customer_id)) != 0) return code;

    char ip[VESPIN_IP_TEXT_SIZE] = "";
    char wlan0[VESPIN_MAC_TEXT_SIZE] = "", wlan1[VESPIN_MAC_TEXT_SIZE] = "";
    char eth0[VESPIN_MAC_TEXT_SIZE] = "", eth1[VESPIN_MAC_TEXT_SIZE] = "";
    if (!get_ip("br0", ip)) {
        VLOG_ERROR("Fail to get ip of br0");
        return VESPIN_ERR_FAILURE;
    }
    if (!get_mac("wlan0", wlan0)) {
        VLOG_ERROR("Fail to get mac of wlan0");
        return VESPIN_ERR_FAILURE;
    }
    if (!get_mac("wlan1", wlan1)) {
        VLOG_ERROR("Fail to get mac of wlan1");
        return VESPIN_ERR_FAILURE;
    }
    if (!get_mac("eth0", eth0)) VLOG_ERROR("Fail to get mac of eth0");
    if (!get_mac("eth1", eth1)) VLOG_ERROR("Fail to get mac of eth1");

    char name[VESPIN_DEVICE_NAME_SIZE] = "";
    if ((code = get_device_name(name)) != 0) return code;
    if ((code = load_neighbors(node)) != 0) return code;

    copy_text(node->ip, sizeof node->ip, ip);
    copy_text(node->sn, sizeof node->sn, sn);
    copy_text(node->customer_id, sizeof node->customer_id, customer_id);
    copy_text(node->mac_wlan0, sizeof node->mac_wlan0, wlan0);
    copy_text(node->mac_wlan1, sizeof node->mac_wlan1, wlan1);
    copy_text(node->mac_eth0, sizeof node->mac_eth0, eth0);
    copy_text(node->mac_eth1, sizeof node->mac_eth1, eth1);
    copy_text(node->name, sizeof node->name, name);
    node->rpc_port = MESH_NODE_RPC_PORT;
    version_from_string(&node->version, MESH_NODE_VERSION);
    node->is_gw = get_work_mode() == 1;
    node->state = mesh_node_state_get();
    system_info info{};
    vespin_get_system_info(&info);
    node->cpu = info.cpu;
    node->mem_total = (int64_t)info.mem_total;
    node->mem_used = (int64_t)info.mem_used;
    if ((code = load_stations_cut(node->stations, &node->station_count, 2 * VESPIN_STA_FILE_MAX, vespin_sta_load)) != 0)
        return code;
    if ((code = load_stations_cut(node->guest_stations, &node->guest_station_count, 8 * VESPIN_STA_FILE_MAX,
                                  vespin_guest_sta_load)) != 0)
        return code;
    node->uptime = vespin_get_uptime();
    return 0;
}

void mesh_node_free(mesh_node* record) { mesh_record_free(record); }
