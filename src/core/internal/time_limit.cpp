// The time-limit handlers over the UCI package "timelimits".
#include "internal_time_limit.h"

#include "core/device_mac.h"
#include "core/log.h"
#include "core/uci_ref.h"
#include "platform/platform.h"
#include "uciconfig.h"

#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include <string>
#include <vector>

namespace {

bool usable(uci_context* ctx) { return ctx && !vespin_is_error(ctx); }

// A rule text must survive as one UCI list value: no blanks, no control bytes.
bool storable_rule_text(const char* text) {
    for (const unsigned char* p = (const unsigned char*)text; *p; p++)
        if (*p <= 0x20 || *p == 0x7f) return false;
    return true;
}

int command(uci_context* ctx, unsigned int kind, const std::string& text) {
    return vespin_uci_ctx_cmd(ctx, kind, text.c_str()) == 0 ? 0 : VESPIN_ERR_FAILURE;
}

// The device's stored rule texts: 0, 600104 or 600001.
int stored_entries(uci_context* ctx, const char* mac, std::vector<std::string>* entries) {
    std::string path = std::string("timelimits.") + mac + ".entry";
    int result = uci_ctx_find(ctx, path.c_str(), nullptr, entries);
    return result == VESPIN_ERR_MISSING_VALUE ? VESPIN_ERR_FAILURE : result;
}

bool same_rule(const std::string& entry, const char* rule_id) { return strncmp(entry.c_str(), rule_id, 5) == 0; }

// The id of a new rule, from the generator seeded with the clock.
void generate_rule_id(char* id) {
    srand((unsigned)plat_time());
    uint32_t r = (uint32_t)(rand() % 99999);
    uint32_t square = r * r;  // wraps for r above 65535, as the stored ids always have
    snprintf(id, 6, "%05u", square % 99999);
}

int checked(uci_context* ctx, const char* mac) {
    if (!usable(ctx)) return VESPIN_ERR_FAILURE;
    return is_device_mac_text(mac) ? 0 : VESPIN_ERR_INVALID_PARAM;
}

}  // namespace

extern "C" {

int time_limit_add(uci_context* ctx, const char* mac, time_limit* rule) {
    int result = checked(ctx, mac);
    if (result != 0) return result;
    if (!rule) return VESPIN_ERR_INVALID_PARAM;
    std::vector<std::string> entries;
    result = stored_entries(ctx, mac, &entries);
    if (result == VESPIN_ERR_NOT_FOUND) {
        entries.clear();
        const std::string section = std::string("timelimits.") + mac;
        result = command(ctx, 0, section + "=sta");
        if (result == 0) result = command(ctx, 4, section + ".mac=" + mac);
        if (result == 0) result = command(ctx, 4, section + ".enabled=true");
    }
    if (result != 0) return result;
    if (entries.size() >= TIME_LIMIT_MAX_RULES) return VESPIN_ERR_TABLE_FULL;
    time_limit stored = *rule;
    if (stored.id[0] == 0) generate_rule_id(stored.id);
    char text[TIME_LIMIT_TEXT_SIZE];
    time_limit_to_string(&stored, text);
    if (!storable_rule_text(text)) return VESPIN_ERR_INVALID_PARAM;
    result = command(ctx, 6, std::string("timelimits.") + mac + ".entry=" + text);
    if (result == 0) memcpy(rule->id, stored.id, sizeof rule->id);
    return result;
}

int time_limit_delete(uci_context* ctx, const char* mac, const char* rule_id) {
    int result = checked(ctx, mac);
    if (result != 0) return result;
    if (!rule_id) return VESPIN_ERR_INVALID_PARAM;
    std::vector<std::string> entries;
    result = stored_entries(ctx, mac, &entries);
    if (result == VESPIN_ERR_NOT_FOUND) return VESPIN_ERR_NO_CHANGE;
    if (result != 0) return result;
    for (const std::string& entry : entries)
        if (same_rule(entry, rule_id)) return command(ctx, 7, std::string("timelimits.") + mac + ".entry=" + entry);
    return VESPIN_ERR_NO_CHANGE;
}

time_limit* time_limit_get_rule(uci_context* ctx, const char* mac, const char* rule_id) {
    int result = checked(ctx, mac);
    if (result == 0 && !rule_id) result = VESPIN_ERR_INVALID_PARAM;
    std::vector<std::string> entries;
    if (result == 0) result = stored_entries(ctx, mac, &entries);
    if (result == VESPIN_ERR_NOT_FOUND) return nullptr;
    if (result != 0) return VESPIN_ERROR_PTR(time_limit*, result);
    for (const std::string& entry : entries) {
        if (!same_rule(entry, rule_id)) continue;
        auto* rule = static_cast<time_limit*>(plat_calloc(1, sizeof(time_limit)));
        if (!rule) return VESPIN_ERROR_PTR(time_limit*, VESPIN_ERR_NO_MEMORY);
        if (time_limit_from_string(rule, entry.c_str()) == 0) return rule;
        free(rule);
    }
    return nullptr;
}

int time_limit_get(uci_context* ctx, const char* mac, time_limit** rules, int* count) {
    int result = checked(ctx, mac);
    if (result != 0) return result;
    if (!rules || !count) return VESPIN_ERR_INVALID_PARAM;
    std::vector<std::string> entries;
    result = stored_entries(ctx, mac, &entries);
    if (result == 0 && entries.empty()) result = VESPIN_ERR_NOT_FOUND;  // a list emptied in this context
    if (result != 0) return result;
    auto* list = static_cast<time_limit*>(plat_calloc(entries.size() + 1, sizeof(time_limit)));
    if (!list) return VESPIN_ERR_NO_MEMORY;
    int used = 0;
    for (const std::string& entry : entries)
        if (time_limit_from_string(&list[used], entry.c_str()) == 0 && list[used].id[0]) used++;
    memset(&list[used], 0, sizeof(time_limit));
    *rules = list;
    *count = used;
    return 0;
}

int time_limit_delete_device(uci_context* ctx, const char* mac) {
    int result = checked(ctx, mac);
    if (result != 0) return result;
    const std::string section = std::string("timelimits.") + mac;
    result = uci_ctx_find(ctx, section.c_str(), nullptr, nullptr);
    if (result != 0) return result == VESPIN_ERR_NOT_FOUND ? result : VESPIN_ERR_FAILURE;
    return command(ctx, 2, section);
}

int time_limit_config_commit(uci_context* ctx) {
    return usable(ctx) && vespin_uci_ctx_commit(ctx, "timelimits") == 0 ? 0 : VESPIN_ERR_FAILURE;
}

int time_limit_restart(void) {
    plat_system("timelimit flush");
    return plat_system("timelimit add");
}

}  // extern "C"
