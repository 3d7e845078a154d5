// The time-limit rule: its text form, its JSON form, and the rule factory
// that stores rules through the time-limit handlers.
#include "config_time_limit.h"

#include "core/json_ref.h"
#include "core/log.h"
#include "platform/platform.h"
#include "core/text.h"
#include "internal_time_limit.h"
#include "tools.h"
#include "uciconfig.h"

#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include <memory>
#include <string>

namespace {

// The pieces of string_split, freed together.
struct split_pieces {
    char** pieces;
    explicit split_pieces(char** p) : pieces(p) {}
    ~split_pieces() {
        if (!pieces) return;
        for (char** p = pieces; *p; p++) free(*p);
        free(pieces);
    }
    int count() const {
        int n = 0;
        while (pieces && pieces[n]) n++;
        return n;
    }
};

// A day entry: up to 4 characters, unterminated when it has 4.
std::string day_entry(const time_limit* rule, int day) { return std::string(rule->schedule[day], strnlen(rule->schedule[day], 4)); }

int clamped_count(const time_limit* rule) {
    return rule->schedule_count < 0 ? 0 : rule->schedule_count > TIME_LIMIT_DAYS ? TIME_LIMIT_DAYS : rule->schedule_count;
}

bool factory_ready(const time_limit_rule_factory* factory) {
    return factory && factory->ctx && !vespin_is_error(factory->ctx);
}

}  // namespace

extern "C" {

int time_limit_to_string(const time_limit* rule, char* out) {
    if (!rule || !out) return 0;
    std::string days;
    for (int day = 0; day < clamped_count(rule); day++) {
        if (day) days += ",";
        days += day_entry(rule, day);
    }
    snprintf(out, TIME_LIMIT_TEXT_SIZE, "%.5s|%d|%.7s|%.7s|%s", rule->id, (int)rule->enabled, rule->time_begin,
             rule->time_end, days.c_str());
    return 0;
}

int time_limit_from_string(time_limit* rule, const char* text) {
    if (!rule || !text) return VESPIN_ERR_INVALID_PARAM;
    split_pieces parts(string_split(text, "|", 4));
    if (parts.count() != 5) {
        VLOG_ERROR("Invalid time limit string, %d %s", parts.count(), text);
        return VESPIN_ERR_INVALID_PARAM;
    }
    split_pieces days(string_split(parts.pieces[4], ",", TIME_LIMIT_DAYS - 1));
    if (!days.pieces) return VESPIN_ERR_INVALID_PARAM;
    copy_text(rule->id, sizeof rule->id, parts.pieces[0]);
    rule->enabled = (uint32_t)strtol(parts.pieces[1], nullptr, 10);
    copy_text(rule->time_begin, sizeof rule->time_begin, parts.pieces[2]);
    copy_text(rule->time_end, sizeof rule->time_end, parts.pieces[3]);
    memset(rule->schedule, 0, sizeof rule->schedule);
    rule->schedule_count = days.count();
    for (int day = 0; day < rule->schedule_count; day++) strncpy(rule->schedule[day], days.pieces[day], 4);
    return 0;
}

json_object* time_limit_to_json_object(const time_limit* rule) {
    if (!rule) return nullptr;
    json_object* object = json_object_new_object();
    json_object_object_add(object, "id", json_object_new_string_len(rule->id, (int)strnlen(rule->id, 5)));
    json_object_object_add(object, "time_begin", json_object_new_string(rule->time_begin));
    json_object_object_add(object, "time_end", json_object_new_string(rule->time_end));
    json_object* days = json_object_new_array();
    for (int day = 0; day < clamped_count(rule); day++) {
        std::string entry = day_entry(rule, day);
        json_object_array_add(days, json_object_new_string_len(entry.data(), (int)entry.size()));
    }
    json_object_object_add(object, "schedule", days);
    json_object_object_add(object, "enabled", json_object_new_boolean(rule->enabled != 0));
    return object;
}

time_limit_rule_factory* time_limit_rule_factory_new(void) {
    auto* factory = static_cast<time_limit_rule_factory*>(plat_calloc(1, sizeof(time_limit_rule_factory)));
    if (!factory) return VESPIN_ERROR_PTR(time_limit_rule_factory*, VESPIN_ERR_NO_MEMORY);
    factory->ctx = time_limit_uci_ctx_new();
    if (vespin_is_error(factory->ctx)) {
        free(factory);
        return nullptr;
    }
    return factory;
}

void time_limit_rule_factory_free(time_limit_rule_factory* factory) {
    if (!factory || vespin_is_error(factory)) return;
    time_limit_config_free(factory->ctx);
    free(factory);
}

int time_limit_rule_factory_add_rule(time_limit_rule_factory* factory, const char* mac, const char* rule) {
    time_limit parsed = {};
    int result = factory_ready(factory) ? time_limit_from_string(&parsed, rule) : VESPIN_ERR_FAILURE;
    if (result == 0) result = time_limit_add(factory->ctx, mac, &parsed);
    if (result != 0) VLOG_ERROR("Fail to add time limit");
    return result;
}

int time_limit_rule_factory_update_rule(time_limit_rule_factory* factory, const char* mac, const char* rule) {
    time_limit parsed = {};
    int result = factory_ready(factory) ? time_limit_from_string(&parsed, rule) : VESPIN_ERR_FAILURE;
    if (result == 0) {
        result = time_limit_delete(factory->ctx, mac, parsed.id);
        if (result != 0 && result != VESPIN_ERR_NO_CHANGE) {
            VLOG_ERROR("Fail to delete time limit");
            return result;
        }
        result = time_limit_add(factory->ctx, mac, &parsed);
    }
    if (result != 0) VLOG_ERROR("Fail to add time limit");
    return result;
}

int time_limit_rule_factory_delete_rule(time_limit_rule_factory* factory, const char* mac, const char* rule_id) {
    int result = factory_ready(factory) ? time_limit_delete(factory->ctx, mac, rule_id) : VESPIN_ERR_FAILURE;
    if (result != 0) VLOG_ERROR("Fail to delete time limit");
    return result;
}

int time_limit_rule_factory_delete_device(time_limit_rule_factory* factory, const char* mac) {
    int result = factory_ready(factory) ? time_limit_delete_device(factory->ctx, mac) : VESPIN_ERR_FAILURE;
    if (result != 0) VLOG_ERROR("Fail to delete device from time limit");
    return result;
}

time_limit* time_limit_rule_factory_get_rule(time_limit_rule_factory* factory, const char* mac, const char* rule_id) {
    if (!factory_ready(factory)) return VESPIN_ERROR_PTR(time_limit*, VESPIN_ERR_FAILURE);
    return time_limit_get_rule(factory->ctx, mac, rule_id);
}

time_limit* time_limit_rule_factory_get_by_mac(time_limit_rule_factory* factory, const char* mac) {
    if (!factory_ready(factory)) return VESPIN_ERROR_PTR(time_limit*, VESPIN_ERR_FAILURE);
    time_limit* rules = nullptr;
    int count = 0;
    int result = time_limit_get(factory->ctx, mac, &rules, &count);
    if (result == VESPIN_ERR_NOT_FOUND) return nullptr;
    return result == 0 ? rules : VESPIN_ERROR_PTR(time_limit*, result);
}

int time_limit_rule_factory_commit(time_limit_rule_factory* factory) {
    return factory_ready(factory) ? time_limit_config_commit(factory->ctx) : VESPIN_ERR_FAILURE;
}

int time_limit_rule_factory_rollback(time_limit_rule_factory* factory) {
    return factory_ready(factory) ? time_limit_config_rollback(factory->ctx) : VESPIN_ERR_FAILURE;
}

}  // extern "C"
