// The station blacklist in UCI.
#include "internal_sta_blacklist.h"

#include "core/log.h"
#include "platform/platform.h"
#include "core/text.h"
#include "core/uci_ref.h"
#include "device_text.h"
#include "result_codes.h"
#include "vespin_core.h"

#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include <string>
#include <vector>

namespace {

const int kUciDelete = 2;
const int kUciSet = 4;
const int kDeleteAllBound = 1000;  // a bound on a package edited by hand

bool exists(uci_context* ctx, const std::string& path) {
    std::string value;
    return uci_ctx_get_text(ctx, path.c_str(), &value) == 0;
}

int set(uci_context* ctx, const std::string& text) { return vespin_uci_ctx_cmd(ctx, (unsigned)kUciSet, text.c_str()); }

bool refused_mac(const char* mac) {
    if (is_uci_name_text(mac) && strlen(mac) < sizeof(blacklist_entry::mac)) return false;
    VLOG_INFO("Invalid mac");
    return true;
}

// Work mode 1: the device leaves the device list too.
void forget_device(const char* mac) {
    uci_ref devices;
    if (!devices.ok()) return;
    std::string path = std::string("devices.") + mac;
    if (vespin_uci_ctx_cmd(devices.get(), (unsigned)kUciDelete, path.c_str()) == 0) vespin_device_list_commit(devices.get());
}

}  // namespace

extern "C" {

int sta_blacklist_add(uci_context* ctx, const blacklist_entry* entry) {
    if (!entry) return -VESPIN_ERR_FAILURE;  // deliberate: the one negative code of this family
    char mac[sizeof entry->mac];
    char name[sizeof entry->name];
    copy_text(mac, sizeof mac, entry->mac);
    copy_text(name, sizeof name, entry->name);
    if (strlen(mac) < 10) return 0;
    if (refused_mac(mac)) return VESPIN_ERR_INVALID_PARAM;
    char last[64];
    snprintf(last, sizeof last, "mac_filter_black.@sta[%d].mac", STA_BLACKLIST_MAX - 1);
    if (exists(ctx, "mac_filter_black.@sta[0].mac") && exists(ctx, last)) return VESPIN_ERR_TABLE_FULL;
    std::string section = std::string("mac_filter_black.") + mac;
    if (exists(ctx, section + ".mac")) return VESPIN_ERR_NO_CHANGE;
    set(ctx, section + "=sta");
    set(ctx, section + ".mac=" + mac);
    int rv = set(ctx, section + ".name=" + name);
    if (get_work_mode() == 1) forget_device(mac);
    return rv;
}

int sta_blacklist_delete(uci_context* ctx, const char* mac) {
    if (!mac || !*mac) {
        for (int i = 0; i < kDeleteAllBound; i++)
            if (!exists(ctx, "mac_filter_black.@sta[0]") ||
                vespin_uci_ctx_cmd(ctx, (unsigned)kUciDelete, "mac_filter_black.@sta[0]") != 0)
                break;
        return 0;
    }
    if (strlen(mac) < 11) return 0;
    if (refused_mac(mac)) return VESPIN_ERR_INVALID_PARAM;
    std::string section = std::string("mac_filter_black.") + mac;
    if (!exists(ctx, section + ".mac")) return VESPIN_ERR_NOT_FOUND;
    return vespin_uci_ctx_cmd(ctx, (unsigned)kUciDelete, section.c_str());
}

int sta_blacklist_list(blacklist_entry** list, int32_t* count) {
    if (!list || !count) return VESPIN_ERR_FAILURE;
    uci_ref owner;
    if (!owner.ok()) return VESPIN_ERR_NO_MEMORY;  // an empty list would unblock every station
    std::vector<blacklist_entry> entries;
    char path[64];
    for (int index = 0; owner.ok(); index++) {
        std::string mac, name;
        snprintf(path, sizeof path, "mac_filter_black.@sta[%d].mac", index);
        if (uci_ctx_get_text(owner.get(), path, &mac) != 0) break;
        snprintf(path, sizeof path, "mac_filter_black.@sta[%d].name", index);
        uci_ctx_get_text(owner.get(), path, &name);
        blacklist_entry entry;
        memset(&entry, 0, sizeof entry);
        copy_text(entry.mac, sizeof entry.mac, mac.c_str());
        copy_text(entry.name, sizeof entry.name, name.c_str());
        entries.push_back(entry);
    }
    *count = (int32_t)entries.size();
    if (entries.empty()) return 0;
    auto* out = (blacklist_entry*)plat_calloc(entries.size(), sizeof(blacklist_entry));
    if (!out) {
        *count = 0;
        return VESPIN_ERR_NO_MEMORY;
    }
    memcpy(out, entries.data(), entries.size() * sizeof(blacklist_entry));
    *list = out;
    return 0;
}

int sta_blacklist_commit(uci_context* ctx) { return vespin_uci_ctx_commit(ctx, "mac_filter_black"); }

}  // extern "C"
