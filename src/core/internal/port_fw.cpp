// The port-forwarding table: checks, storage, identifiers and iptables lines.
#include "internal_firewall.h"

#include "apmib.h"
#include "core/log.h"
#include "core/text.h"
#include "device_text.h"
#include "feature_state.h"
#include "settings_table.h"
#include "tagged_comment.h"
#include "platform/platform.h"
#include "result_codes.h"
#include "tools.h"
#include "vespin_core.h"
#include "wan_interface.h"

#include <arpa/inet.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include <string>
#include <vector>

namespace {

const int kMibCount = 111;
const int kMibGet = 32880;
const int kMibAdd = 65649;
const int kMibDelete = 131186;
const int kMibDeleteAll = 262259;
const int kMaxRules = 20;
const int kMaxPort = 65535;
const size_t kCommentMax = 20;
static_assert(sizeof(port_fw_stored) == 40, "the table entry is 40 bytes");

// Process-wide state (callers serialise).
port_fw port_fw_save = {0, nullptr};
identifier_map g_port_fw_map;  // with its flag: filled on first use
int g_port_fw_update_num = -1;
// The rules of the table before a failed edit or delete, written back first by the next call.
std::vector<port_fw_entry> g_port_fw_pending;
bool g_port_fw_restore = false;

uint32_t parse_address(const char* field, size_t capacity) {
    uint32_t address = 0;
    ipv4_from_field(field, capacity, &address);
    return address;
}

std::string dotted(const uint8_t address[4]) {
    char text[16];
    snprintf(text, sizeof text, "%u.%u.%u.%u", address[0], address[1], address[2], address[3]);
    return text;
}

uint32_t word(const uint8_t bytes[4]) {
    uint32_t w;
    memcpy(&w, bytes, 4);
    return w;
}

void release(port_fw* list) {
    free(list->entry_port_fw);
    list->entry_port_fw = nullptr;
    list->count = 0;
}

// Stored protocol (3 both, 1 TCP, 2 UDP) from the callers' (0 both, 1, 2); 0 for none.
uint8_t stored_protocol(uint8_t protocol) { return protocol == 0 ? 3 : protocol <= 2 ? protocol : 0; }

bool read_stored(int index, port_fw_stored* stored) { return settings_table_entry(kMibGet, index, stored); }

void to_entry(const port_fw_stored& stored, port_fw_entry* entry) {
    memset(entry, 0, sizeof *entry);
    entry->enabled = stored.enabled > 0 ? 1 : 0;
    copy_text(entry->ip, sizeof entry->ip, dotted(stored.ip).c_str());
    copy_text(entry->remote_ip, sizeof entry->remote_ip, dotted(stored.remote_ip).c_str());
    entry->from_port = stored.from_port;
    entry->to_port = stored.to_port;
    entry->ext_from_port = stored.ext_from_port;
    entry->ext_to_port = stored.ext_to_port;
    entry->protocol = stored.protocol == 3 ? 0 : stored.protocol == 1 ? 1 : 2;
    tagged_comment comment = tagged_comment_split(stored.comment, sizeof stored.comment);
    entry->id = comment.id;
    copy_text(entry->name, sizeof entry->name, comment.name.c_str());
    VLOG_INFO("Entry.comment is %s, name is %s, id is %s ", comment.text.c_str(), entry->name,
              comment.id_text.c_str());
}

bool ranges_overlap(uint32_t a_from, uint32_t a_to, uint32_t b_from, uint32_t b_to) {
    return a_from <= b_to && b_from <= a_to;
}

// 600710 when a stored rule catches some of the same external ports from the
// same sources for a shared protocol; the entry being replaced is skipped.
int conflict(const port_fw_stored& rule, int count, int skip) {
    for (int n = 1; n <= count; n++) {
        if (n - 1 == skip) continue;
        port_fw_stored other;
        if (!read_stored(n, &other)) continue;
        uint32_t a = word(rule.remote_ip), b = word(other.remote_ip);
        bool same_sources = a == b || a == 0 || b == 0;
        bool shared_protocol = (rule.protocol & other.protocol) != 0;
        if (same_sources && shared_protocol &&
            ranges_overlap(rule.ext_from_port, rule.ext_to_port, other.ext_from_port, other.ext_to_port))
            return VESPIN_ERR_PORTFW_FULL;
    }
    return 0;
}

bool valid_port(uint32_t port) { return port >= 1 && port <= (uint32_t)kMaxPort; }

int check_ports(const port_fw_entry& e) {
    const char* problem = nullptr;
    if (!valid_port(e.from_port)) problem = "Invalid value of from-port";
    else if (!valid_port(e.to_port)) problem = "Invalid value of to-port";
    else if (e.to_port < e.from_port) problem = "Invalid port range";
    else if (!valid_port(e.ext_from_port)) problem = "Invalid value of external from-port";
    else if (!valid_port(e.ext_to_port)) problem = "Invalid value of external to-port";
    else if (e.ext_to_port < e.ext_from_port) problem = "Invalid port range";
    if (!problem) return 0;
    VLOG_INFO("%s", problem);
    return VESPIN_ERR_INVALID_PARAM;
}

// "%d", or "%d:%d" (separator ':') / "%d-%d" (separator '-') for a range.
std::string port_text(uint32_t from, uint32_t to, char separator) {
    char text[32];
    if (to != from) snprintf(text, sizeof text, "%u%c%u", from, separator, to);
    else snprintf(text, sizeof text, "%u", from);
    return text;
}

void run_rule_lines(const port_fw_entry& rule, const char* wan_if, const std::string& wan) {
    uint32_t internal = parse_address(rule.ip, sizeof rule.ip);
    uint32_t remote = parse_address(rule.remote_ip, sizeof rule.remote_ip);
    uint8_t internal_bytes[4], remote_bytes[4];
    memcpy(internal_bytes, &internal, 4);
    memcpy(remote_bytes, &remote, 4);
    std::string host = dotted(internal_bytes);
    std::string dport = port_text(rule.ext_from_port, rule.ext_to_port, ':');
    std::string internal_ports = port_text(rule.from_port, rule.to_port, ':');
    std::string target = host + ":" + port_text(rule.from_port, rule.to_port, '-');
    for (const char* protocol : {"tcp", "udp"}) {
        bool wanted = protocol[0] == 't' ? rule.protocol != 2 : rule.protocol != 1;
        if (!wanted) continue;
        char command[512];
        if (remote != 0)
            snprintf(command, sizeof command,
                     "iptables -A vespin_nat_port_fw -t nat -p %s --dport %s -s %s -i %s -d %s -j DNAT --to %s "
                     "> /dev/null 2> /dev/null",
                     protocol, dport.c_str(), dotted(remote_bytes).c_str(), wan_if, wan.c_str(), target.c_str());
        else
            snprintf(command, sizeof command,
                     "iptables -A vespin_nat_port_fw -t nat -p %s --dport %s -i %s -d %s -j DNAT --to %s "
                     "> /dev/null 2> /dev/null",
                     protocol, dport.c_str(), wan_if, wan.c_str(), target.c_str());
        plat_system(command);
        snprintf(command, sizeof command,
                 "iptables -A vespin_filter_port_fw -p %s --dport %s -i %s -d %s -j ACCEPT > /dev/null 2> /dev/null",
                 protocol, internal_ports.c_str(), wan_if, host.c_str());
        plat_system(command);
    }
}

void rebuild_chains(const port_fw& rules) {
    plat_system("iptables -F vespin_filter_port_fw > /dev/null 2> /dev/null");
    plat_system("iptables -t nat -F vespin_nat_port_fw > /dev/null 2> /dev/null");
    uint32_t wan = 0;
    if (!wan_interface_address(&wan)) return;
    const char* wan_if = wan_interface_name();
    uint8_t wan_bytes[4];
    memcpy(wan_bytes, &wan, 4);
    for (int i = 0; i < rules.count; i++)
        if (rules.entry_port_fw[i].enabled) run_rule_lines(rules.entry_port_fw[i], wan_if, dotted(wan_bytes));
}

// Delete-all, then every rule of `rules` but the one with `skip_id` again.
int rewrite_table(const std::vector<port_fw_entry>& rules, int skip_id) {
    port_fw_stored nothing;  // the store reads a whole entry for every table id
    memset(&nothing, 0, sizeof nothing);
    if (!apmib_set(kMibDeleteAll, &nothing)) {
        VLOG_INFO("Fail to delete all table");
        return VESPIN_ERR_FAILURE;
    }
    g_port_fw_update_num = -1;
    for (const port_fw_entry& rule : rules) {
        if (rule.id == skip_id) continue;
        if (add_port_fw(1, rule) != 0) {
            VLOG_INFO("Fail to add portfw rule");
            return VESPIN_ERR_FAILURE;
        }
    }
    return 0;
}

// After a failed edit or delete the table may be short: the next call puts
// back the rules that were there before it.
void remember_for_restore(const port_fw& rules) {
    g_port_fw_pending.assign(rules.entry_port_fw, rules.entry_port_fw + rules.count);
    g_port_fw_restore = true;
}

int position_of(int id) {
    for (int i = 0; i < port_fw_save.count; i++)
        if (port_fw_save.entry_port_fw[i].id == id) return i;
    return -1;
}

}  // namespace

void port_fw_forget_state() {
    release(&port_fw_save);
    g_port_fw_map = identifier_map();
    g_port_fw_update_num = -1;
    g_port_fw_pending.clear();
    g_port_fw_restore = false;
}

extern "C" {

int port_fw_list(port_fw* list) {
    if (!list) return VESPIN_ERR_FAILURE;
    static const settings_table_messages messages = {"Fail to get table entry",
                                                     "Invalid pointer: p_port_fw->entry_port_fw",
                                                     "Fail to get MIB_PORTFW_TBL"};
    return settings_table_read(kMibCount, kMibGet, to_entry, messages, &list->entry_port_fw, &list->count);
}

int add_port_fw(int mode, port_fw_entry entry) {
    uint32_t lan = 0, netmask = 0;
    if (int rv = br0_network(&lan, &netmask)) return rv;
    uint32_t internal = parse_address(entry.ip, sizeof entry.ip);
    uint32_t remote = parse_address(entry.remote_ip, sizeof entry.remote_ip);
    if (mode == 0) {
        if ((internal & netmask) != (lan & netmask)) {
            VLOG_INFO("This ip doesn not belong to the current subnet");  // deliberate spelling
            return VESPIN_ERR_INVALID_IP;
        }
        if (internal == lan) {
            VLOG_INFO("Do not set ip to local lan ip");
            return VESPIN_ERR_IP_IS_LAN;
        }
    }
    if (int rv = check_ports(entry)) return rv;
    if (mode == 0 && (remote & netmask) == (lan & netmask)) {
        VLOG_INFO("IP address is illegal");
        return VESPIN_ERR_IP_CONFLICT;
    }
    port_fw_stored stored;
    memset(&stored, 0, sizeof stored);
    stored.protocol = stored_protocol(entry.protocol);
    if (stored.protocol == 0) {
        VLOG_INFO("Invalid protocol type");
        return VESPIN_ERR_INVALID_PARAM;
    }
    char name[sizeof entry.name];
    copy_text(name, sizeof name, entry.name);
    char comment[64];
    snprintf(comment, sizeof comment, "%s%02d", name, (int)entry.id);
    if (strlen(comment) > kCommentMax) {
        VLOG_INFO("Name is too long");
        return VESPIN_ERR_INVALID_PARAM;
    }
    int count = 0;
    if (!apmib_get(kMibCount, &count)) {
        VLOG_INFO("Fail to get table entry");
        return VESPIN_ERR_FAILURE;
    }
    if (mode == 0 && count >= kMaxRules) {
        VLOG_INFO("Portfw pool is full");
        return VESPIN_ERR_TABLE_FULL;
    }
    memcpy(stored.ip, &internal, 4);
    memcpy(stored.remote_ip, &remote, 4);
    stored.from_port = (uint16_t)entry.from_port;
    stored.to_port = (uint16_t)entry.to_port;
    stored.ext_from_port = (uint16_t)entry.ext_from_port;
    stored.ext_to_port = (uint16_t)entry.ext_to_port;
    stored.enabled = entry.enabled ? 1 : 0;
    copy_text(stored.comment, sizeof stored.comment, comment);
    if (int rv = conflict(stored, count, mode == 0 ? -1 : g_port_fw_update_num)) return rv;
    if (mode != 0) {
        port_fw_stored old;
        bool editing = g_port_fw_update_num >= 0 && read_stored(g_port_fw_update_num + 1, &old);
        if (!editing) old = stored;
        // Re-adding after delete-all finds nothing to delete; an edit that kept
        // its old entry would leave the rule twice.
        if (!apmib_set(kMibDelete, &old) && editing) {
            VLOG_INFO("Fail to delete table entry");
            return VESPIN_ERR_FAILURE;
        }
    }
    if (!apmib_set(kMibAdd, &stored)) {
        VLOG_INFO("Fail to add table entry");
        return VESPIN_ERR_FAILURE;
    }
    return 0;
}

int set_port_fw(int command, const port_fw_entry* entry) {
    if (!entry) return VESPIN_ERR_FAILURE;
    if (g_port_fw_restore) {
        if (rewrite_table(g_port_fw_pending, -1) != 0) return VESPIN_ERR_FAILURE;
        g_port_fw_restore = false;
        g_port_fw_pending.clear();
    }
    release(&port_fw_save);
    if (port_fw_list(&port_fw_save) != 0) {
        VLOG_INFO("Fail to get portfw list");
        return VESPIN_ERR_FAILURE;
    }
    if (!g_port_fw_map.filled) {
        std::vector<int> ids;
        for (int i = 0; i < port_fw_save.count; i++) ids.push_back(port_fw_save.entry_port_fw[i].id);
        g_port_fw_map.fill(ids);
    }
    port_fw_entry rule = *entry;
    int rv = 0;
    if (command == PORT_FW_ADD) {
        rule.id = g_port_fw_map.lowest_free();
        if ((rv = add_port_fw(0, rule)) != 0) return rv;
        g_port_fw_map.take(rule.id);
    } else if (command == PORT_FW_EDIT) {
        g_port_fw_update_num = position_of(rule.id);
        if (g_port_fw_update_num < 0) return VESPIN_ERR_NOT_FOUND;
        rv = add_port_fw(2, rule);
        g_port_fw_update_num = -1;
        if (rv != 0) {
            remember_for_restore(port_fw_save);  // the old entry may be gone already
            return rv;
        }
    } else if (command == PORT_FW_DELETE) {
        std::vector<port_fw_entry> rules(port_fw_save.entry_port_fw, port_fw_save.entry_port_fw + port_fw_save.count);
        if ((rv = rewrite_table(rules, rule.id)) != 0) {
            remember_for_restore(port_fw_save);
            return rv;
        }
        g_port_fw_map.release(rule.id);
    } else {
        VLOG_INFO("Unsupported command type");
        return VESPIN_ERR_FAILURE;
    }
    flush_apmib(APMIB_CURRENT_SETTING);
    release(&port_fw_save);
    port_fw_list(&port_fw_save);
    rebuild_chains(port_fw_save);
    return 0;
}

}  // extern "C"
