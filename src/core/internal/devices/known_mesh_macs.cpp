#include "known_mesh_macs.h"

#include "core/text.h"

#include <string.h>
#include <strings.h>

namespace {

char g_macs[KNOWN_MESH_MACS_MAX][16];
int g_count = 0;

// A node's MAC on the LAN side: the one its bridge, and so the gateway's
// ARP table, shows.
const char* node_mac(const mesh_node* node) { return node->mac_eth0; }

}  // namespace

void known_mesh_macs_update(mesh_node* const* neighbours, int count) {
    // Deliberate: a full list is emptied instead of refilled, so for one
    // collection no node that left the neighbour list is filtered by it.
    if (g_count == KNOWN_MESH_MACS_MAX) {
        g_count = 0;
        return;
    }
    bool was_empty = g_count == 0;
    for (int i = 0; i < count && g_count < KNOWN_MESH_MACS_MAX; i++) {
        const char* mac = node_mac(neighbours[i]);
        if (!was_empty && known_mesh_macs_contains(mac)) continue;
        copy_text(g_macs[g_count++], sizeof g_macs[0], mac);
    }
}

bool known_mesh_macs_contains(const char* mac_text) {
    for (int i = 0; i < g_count; i++)
        if (strcasecmp(g_macs[i], mac_text) == 0) return true;
    return false;
}

int known_mesh_macs_count() { return g_count; }

void known_mesh_macs_forget() { g_count = 0; }
