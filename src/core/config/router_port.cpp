// The fixed table of router ports: names, kinds and switch hardware ports.
#include "core/config/router_port_table.h"

#include "config_vlan.h"
#include "core/log.h"
#include "core/text.h"

#include <string.h>

namespace {

struct port_row {
    const char* name;
    bool is_lan;
    int hw_port;
};

const port_row kPorts[ROUTER_PORT_COUNT] = {
    {"wan", false, 3}, {"eth0", true, 2}, {"5g", true, 5}, {"2g", true, 11}, {"5g_vap1", true, 6}, {"2g_vap1", true, 12},
};

const size_t kNameCopy = 33;  // at most 32 characters of a name are copied

}  // namespace

int router_port_hw_port(int id) { return id >= 0 && id < ROUTER_PORT_COUNT ? kPorts[id].hw_port : -1; }

int router_port_of_hw_port(int hw_port) {
    for (int id = 0; id < ROUTER_PORT_COUNT; id++)
        if (kPorts[id].hw_port == hw_port) return id;
    return -1;
}

extern "C" {

int router_port_info_get(router_port* port, int id) {
    if (port == nullptr || id < 0) return VESPIN_ERR_FAILURE;
    port->id = id;
    if (id < ROUTER_PORT_COUNT) {
        copy_text(port->name, kNameCopy, kPorts[id].name);
        port->is_lan = kPorts[id].is_lan ? 1 : 0;
    }
    return 0;
}

int port_table_load(port_table* table) {
    if (table == nullptr) return VESPIN_ERR_FAILURE;
    memset(table, 0, sizeof *table);
    for (int id = 0; id < ROUTER_PORT_COUNT; id++) router_port_info_get(&table->ports[id], id);
    table->count = ROUTER_PORT_COUNT;
    return 0;
}

}  // extern "C"
