// The VLAN table in the settings store: load, write, update, single entries,
// the enable flag and the hardware ports' PVIDs.
#include "config_vlan.h"

#include "apmib.h"
#include "core/config/router_port_table.h"
#include "core/log.h"
#include "internal_diagnostics.h"

#include <string.h>

namespace {

const int kMibHwNatLanVid = 3410;
const int kMibPvids = 3411;
const int kMibVlanEnable = 3413;
const int kMibVlanCount = 3414;
const int kMibVlanGet = 36183;
const int kMibVlanAdd = 68952;
const int kMibVlanDelete = 134489;
const int kMibVlanDeleteAll = 265562;
const int kWanHwPort = 3;

int mib_vid(const vlan_mib_entry& e) {
    uint16_t vid;
    memcpy(&vid, e.vid, sizeof vid);
    return vid;
}

void set_mib_vid(vlan_mib_entry* e, int vid) {
    uint16_t v = (uint16_t)vid;
    memcpy(e->vid, &v, sizeof v);
}

uint16_t default_pvid(int hw_port) { return hw_port == kWanHwPort ? VLAN_WAN_DEFAULT_PVID : VLAN_DEFAULT_PVID; }

// Reads stored entry `index` (1-based) into *entry.
bool get_mib_entry(int index, vlan_mib_entry* entry) {
    memset(entry, 0, sizeof *entry);
    entry->forward_rule = (uint8_t)index;
    return apmib_get(kMibVlanGet, entry) != 0;
}

uint32_t entry_type(int op_mode, const vlan_mib_entry& e, int hw_nat_vid, uint32_t previous) {
    if (op_mode == 1) return VLAN_TYPE_BRIDGE;
    if (op_mode != 0) return previous;
    if (e.forward_rule == 1) return VLAN_TYPE_BRIDGE;
    if (e.forward_rule == 0) return mib_vid(e) == hw_nat_vid ? VLAN_TYPE_HW_NAT : VLAN_TYPE_NAT;
    return 0;
}

void load_ports(const vlan_mib_entry& e, vlan_config* entry) {
    for (int bit = 0; bit < 32; bit++) {
        if (!(e.member_mask & (1u << bit))) continue;
        if (bit >= VLAN_HW_PORTS) {
            VLOG_ERROR("Invalid router hw port id[%d]", bit);
            continue;
        }
        int id = router_port_of_hw_port(bit);
        if (id < 0) {
            VLOG_ERROR("Invalid router port id[%d]", bit);
            continue;
        }
        if (entry->port_count >= VLAN_PORTS_MAX) break;
        vlan_port* port = &entry->ports[entry->port_count++];
        router_port_info_get(&port->port, id);
        port->tagged = (e.tagged_mask >> bit) & 1u;
    }
}

// Deletes all, adds each entry of the table in order, counting enabled ones.
int add_entries(const vlan_table* table, int* enabled) {
    *enabled = 0;
    for (int i = 0; i < table->count && i < VLAN_TABLE_MAX; i++) {
        const vlan_config* entry = &table->entries[i];
        int rv = vlan_config_add(entry);
        if (rv != 0) {
            VLOG_ERROR("Fail to add vlan table idx[%d], vid[%d]", i, entry->id);
            return rv;
        }
        if (entry->enabled) (*enabled)++;
    }
    return 0;
}

}  // namespace

extern "C" {

int vlan_table_load(vlan_table* table) {
    if (table == nullptr) {
        VLOG_ERROR("Parameter error");
        return VESPIN_ERR_FAILURE;
    }
    int enable = 0, count = 0, hw_nat_vid = 0;
    if (!apmib_get(kMibVlanEnable, &enable)) {
        VLOG_ERROR("Get vlan enable flag error");
        return VESPIN_ERR_SETTING;
    }
    if (!apmib_get(kMibVlanCount, &count)) {
        VLOG_ERROR("Get vlan entry number error");
        return VESPIN_ERR_SETTING;
    }
    if (!apmib_get(kMibHwNatLanVid, &hw_nat_vid)) {
        VLOG_ERROR("Get hw nat lan vid error");
        return VESPIN_ERR_SETTING;
    }
    int op_mode = vespin_get_op_mode();
    if (op_mode == VESPIN_ERR_FAILURE) {
        VLOG_ERROR("Fail to get op_mode");
        return VESPIN_ERR_SETTING;
    }
    if (count < 0) count = 0;
    if (count > VLAN_TABLE_MAX) count = VLAN_TABLE_MAX;
    uint32_t type = 0;
    for (int index = 1; index <= count; index++) {
        vlan_mib_entry e;
        if (!get_mib_entry(index, &e)) {
            VLOG_ERROR("Get vlan table entry [%d] error", index);
            return VESPIN_ERR_SETTING;
        }
        vlan_config* entry = &table->entries[index - 1];
        memset(entry, 0, sizeof *entry);
        type = entry_type(op_mode, e, hw_nat_vid, type);
        entry->type = type;
        entry->enabled = (uint32_t)enable;
        entry->id = mib_vid(e);
        entry->priority = e.priority;
        load_ports(e, entry);
    }
    table->count = count;
    return 0;
}

int vlan_table_set(vlan_table* table) {
    if (table == nullptr) {
        VLOG_ERROR("Parameter error");
        return VESPIN_ERR_FAILURE;
    }
    int rv = vlan_delete_all();
    if (rv != 0) {
        VLOG_ERROR("Fail to delete all vlan table");
        return rv;
    }
    rv = vlan_pvid_default();
    if (rv != 0) {
        VLOG_ERROR("Fail to set vlan pvid to default");
        return rv;
    }
    int enabled = 0;
    rv = add_entries(table, &enabled);
    if (rv != 0) return rv;
    rv = vlan_set_enable(enabled > 0);
    if (rv != 0) VLOG_ERROR("Fail to set vlan enable flag");
    return rv;
}

int vlan_table_update(vlan_table* table) {
    if (table == nullptr || table->count <= 0) {
        VLOG_ERROR("Parameter error");
        return VESPIN_ERR_FAILURE;
    }
    vlan_table* merged = new vlan_table();
    int rv = vlan_table_load(merged);
    if (rv != 0) {
        VLOG_ERROR("Error to load orig vlan table");
    } else {
        vlan_table_merge(merged, table);
        int enabled = 0;
        rv = vlan_delete_all();
        if (rv == 0) rv = add_entries(merged, &enabled);
        if (rv == 0) rv = vlan_set_enable(enabled > 0);
    }
    delete merged;
    return rv;
}

int vlan_table_merge(vlan_table* old_table, const vlan_table* new_table) {
    if (old_table == nullptr || new_table == nullptr) {
        VLOG_ERROR("Parameter error");
        return VESPIN_ERR_FAILURE;
    }
    for (int i = 0; i < new_table->count && i < VLAN_TABLE_MAX; i++) {
        const vlan_config* entry = &new_table->entries[i];
        int at = vlan_is_in_vtable(entry->id, old_table);
        if (at >= 0) {
            vlan_config_merge(&old_table->entries[at], entry);
            continue;
        }
        if (old_table->count >= VLAN_TABLE_MAX) {
            VLOG_ERROR("Vlan table is full");
            break;
        }
        vlan_config* added = &old_table->entries[old_table->count++];
        memset(added, 0, sizeof *added);
        added->id = entry->id;
        vlan_config_merge(added, entry);
    }
    return 0;
}

int vlan_config_merge(vlan_config* old_entry, const vlan_config* new_entry) {
    if (old_entry == nullptr || new_entry == nullptr) {
        VLOG_ERROR("Parameter error");
        return VESPIN_ERR_FAILURE;
    }
    old_entry->enabled = new_entry->enabled;
    old_entry->priority = new_entry->priority;
    old_entry->type = new_entry->type;
    for (int i = 0; i < new_entry->port_count && i < VLAN_PORTS_MAX; i++) {
        const router_port* port = &new_entry->ports[i].port;
        int at = port_is_in_vconf(port->id, old_entry);
        if (at < 0) {
            if (old_entry->port_count >= VLAN_PORTS_MAX) {
                VLOG_ERROR("Vlan entry vid[%d] port is full", old_entry->id);
                break;
            }
            at = old_entry->port_count++;
            old_entry->ports[at].tagged = 0;
        }
        // Deliberately only the router port: the tagged flag stays the stored one.
        old_entry->ports[at].port = *port;
    }
    return 0;
}

int vlan_config_add(const vlan_config* entry) {
    if (entry == nullptr) {
        VLOG_ERROR("Parameter error");
        return VESPIN_ERR_FAILURE;
    }
    if (!entry->enabled) return 0;
    if (entry->id == 0) {
        VLOG_ERROR("Invalid vlan id [%d]", entry->id);
        return VESPIN_ERR_MISSING_PARAM;
    }
    vlan_mib_entry e;
    memset(&e, 0, sizeof e);
    e.forward_rule = entry->type == VLAN_TYPE_NAT ? 0 : 1;
    set_mib_vid(&e, entry->id);
    e.priority = (uint8_t)entry->priority;
    for (int i = 0; i < entry->port_count && i < VLAN_PORTS_MAX; i++) {
        int id = entry->ports[i].port.id;
        if (id < 0 || id >= ROUTER_PORT_COUNT) {
            VLOG_ERROR("Invalid port id[%d]", id);
            continue;
        }
        int hw = router_port_hw_port(id);
        if (hw >= VLAN_HW_PORTS) {
            VLOG_ERROR("Invalid hw port id[%d]", hw);
            continue;
        }
        e.member_mask |= 1u << hw;
        if (entry->ports[i].tagged) e.tagged_mask |= 1u << hw;
    }
    if (!apmib_set(kMibVlanAdd, &e)) {
        VLOG_ERROR("Fail to add wan vlan table entry");
        return VESPIN_ERR_SETTING;
    }
    int rv = vlan_pvid_update(entry);
    if (rv != 0) VLOG_ERROR("Fail to update port pvid");
    return rv;
}

int vlan_entry_load(int vid, vlan_mib_entry* mib_entry) {
    if (mib_entry == nullptr) {
        VLOG_ERROR("Parameter error");
        return VESPIN_ERR_FAILURE;
    }
    int count = 0;
    if (!apmib_get(kMibVlanCount, &count)) {
        VLOG_ERROR("Fail to get vlan entry number");
        return VESPIN_ERR_SETTING;
    }
    for (int index = 1; index <= count && index <= VLAN_TABLE_MAX; index++) {
        vlan_mib_entry e;
        if (!get_mib_entry(index, &e)) {
            VLOG_ERROR("Fail to get vlan table entry");
            return VESPIN_ERR_SETTING;
        }
        if (mib_vid(e) == vid) {
            VLOG_ERROR("Find vlan entry, vid[%d]", vid);
            *mib_entry = e;
            return 0;
        }
    }
    VLOG_ERROR("Can't find vlan entry, vid[%d]", vid);
    return VESPIN_ERR_SETTING;
}

int vlan_entry_delete(int vid) {
    if (vid <= 0) {
        VLOG_ERROR("Parameter error");
        return VESPIN_ERR_FAILURE;
    }
    vlan_mib_entry e;
    int rv = vlan_entry_load(vid, &e);
    if (rv != 0) return rv;
    if (!apmib_set(kMibVlanDelete, &e)) {
        VLOG_ERROR("Fail to delete vlan table entry, vid[%d]", vid);
        return VESPIN_ERR_SETTING;
    }
    return 0;
}

int vlan_delete_all(void) {
    vlan_mib_entry e;
    memset(&e, 0, sizeof e);
    if (!apmib_set(kMibVlanDeleteAll, &e)) {
        VLOG_ERROR("Fail to delete all vlan table entry");
        return VESPIN_ERR_SETTING;
    }
    return 0;
}

int vlan_set_enable(int flag) {
    if (!apmib_set(kMibVlanEnable, &flag)) {
        VLOG_ERROR("Fail to set vlan enable flag");
        return VESPIN_ERR_SETTING;
    }
    return flag == 0 ? vlan_pvid_default() : 0;
}

int vlan_all_disable(void) {
    int rv = vlan_set_enable(0);
    if (rv != 0) {
        VLOG_ERROR("Fail to disable vlan config, err[%d]", rv);
        return rv;
    }
    rv = vlan_delete_all();
    if (rv != 0) VLOG_ERROR("Fail to delete all vlan config, err[%d]", rv);
    return rv;
}

int vlan_pvid_default(void) {
    uint16_t pvids[VLAN_HW_PORTS];
    for (int hw = 0; hw < VLAN_HW_PORTS; hw++) pvids[hw] = default_pvid(hw);
    if (!apmib_set(kMibPvids, pvids)) {
        VLOG_ERROR("Fail to set port default pvid");
        return VESPIN_ERR_SETTING;
    }
    return 0;
}

int vlan_pvid_update(const vlan_config* entry) {
    if (entry == nullptr) {
        VLOG_ERROR("Parameter error");
        return VESPIN_ERR_FAILURE;
    }
    // An entry of all 6 ports leaves the PVIDs alone, as it always has.
    if (entry->port_count < 1 || entry->port_count >= VLAN_PORTS_MAX) return 0;
    uint16_t pvids[VLAN_HW_PORTS];
    if (!apmib_get(kMibPvids, pvids)) {
        VLOG_ERROR("Fail to get port pvid");
        return VESPIN_ERR_SETTING;
    }
    for (int i = 0; i < entry->port_count; i++) {
        int hw = router_port_hw_port(entry->ports[i].port.id);
        if (hw < 0) continue;
        bool own = entry->enabled && entry->id > 0 && !entry->ports[i].tagged;
        pvids[hw] = own ? (uint16_t)entry->id : default_pvid(hw);
    }
    if (!apmib_set(kMibPvids, pvids)) {
        VLOG_ERROR("Fail to set port pvid");
        return VESPIN_ERR_SETTING;
    }
    return 0;
}

int vlan_is_in_vtable(int vid, const vlan_table* table) {
    if (table == nullptr) return -1;
    for (int i = 0; i < table->count && i < VLAN_TABLE_MAX; i++)
        if (table->entries[i].id == vid) return i;
    return -1;
}

int port_is_in_vconf(int port_id, const vlan_config* entry) {
    if (entry == nullptr) return -1;
    for (int i = 0; i < entry->port_count && i < VLAN_PORTS_MAX; i++)
        if (entry->ports[i].port.id == port_id) return i;
    return -1;
}

}  // extern "C"
