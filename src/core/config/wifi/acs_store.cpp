// The ACS of a band in the UCI package "vespin_wifi", with the defaults
// written back when an option is missing.
#include "config_wifi.h"

#include "core/log.h"
#include "core/text.h"
#include "core/uci_ref.h"
#include "result_codes.h"
#include "uciconfig.h"
#include "wifi_fields.h"

#include <stdio.h>
#include <stdlib.h>

#include <string>

namespace {

const char kPackage[] = "vespin_wifi";

// One option of the ACS table: its name, the word of the failure messages,
// and its default.
struct acs_option {
    const char* option;
    const char* message_word;
    const char* fallback;
};

const acs_option kOptions[] = {
    {"acs_enabled", "acs_enabled", "0"},        {"acs_upon_reboot", "upon_reboot", "0"},
    {"acs_begin_time", "begin_time", "00:00"},  {"acs_end_time", "end_time", "23:59"},
    {"scan_interval", "scan_interval", "60"},   {"traffic_threshold", "traffic_threshold", "1000000"},
};

const char* section_of(int band_24g) { return band_24g ? "2g" : "5g"; }

std::string option_path(const char* section, const acs_option& option) {
    return std::string(kPackage) + "." + section + "." + option.option;
}

void store_value(acs* a, int index, const char* value) {
    switch (index) {
    case 0: a->enabled = vespin_uci_value_is_true(value) ? 1 : 0; break;
    case 1: a->on_reboot = vespin_uci_value_is_true(value) ? 1 : 0; break;
    case 2: copy_text(a->begin_time, sizeof a->begin_time, value); break;
    case 3: copy_text(a->end_time, sizeof a->end_time, value); break;
    case 4: a->interval = (int32_t)strtol(value, nullptr, 10); break;
    case 5: a->traffic_threshold = (int32_t)strtol(value, nullptr, 10); break;
    }
}

std::string value_text(const acs* a, int index) {
    switch (index) {
    case 0: return std::to_string(a->enabled);
    case 1: return std::to_string(a->on_reboot);
    case 2: return WIFI_FIELD(*a, begin_time);
    case 3: return WIFI_FIELD(*a, end_time);
    case 4: return std::to_string(a->interval);
    default: return std::to_string(a->traffic_threshold);
    }
}

// Writes a missing option's default (the section first for acs_enabled).
int write_default(uci_context* ctx, const char* section, int index) {
    const std::string section_path = std::string(kPackage) + "." + section;
    if (index == 0 && vespin_uci_ctx_cmd(ctx, 0, (section_path + "=local").c_str()) != 0) return VESPIN_ERR_FAILURE;
    const std::string text = option_path(section, kOptions[index]) + "=" + kOptions[index].fallback;
    return vespin_uci_ctx_cmd(ctx, 4, text.c_str()) == 0 ? 0 : VESPIN_ERR_FAILURE;
}

// A failure part-way: the pending changes are reverted.
int abandon(uci_context* ctx, int code) {
    vespin_uci_ctx_rollback(ctx, kPackage);
    vespin_uci_ctx_free(ctx);
    return code;
}

int commit_and_free(uci_context* ctx) {
    int committed = vespin_uci_ctx_commit(ctx, kPackage);
    vespin_uci_ctx_free(ctx);
    return committed == 0 ? 0 : VESPIN_ERR_FAILURE;
}

// A context, or null (an error value is freed).
uci_context* open_context() {
    uci_context* ctx = vespin_uci_ctx_new();
    return vespin_is_error(ctx) ? nullptr : ctx;
}

}  // namespace

extern "C" {

int get_acs(acs* a, int band_24g) {
    uci_context* ctx = a ? open_context() : nullptr;
    if (!ctx) return VESPIN_ERR_FAILURE;
    const char* section = section_of(band_24g);
    for (int i = 0; i < 6; i++) {
        char value[64] = {0};
        int result = uci_ctx_get_text(ctx, option_path(section, kOptions[i]).c_str(), value, sizeof value);
        if (result == VESPIN_ERR_NOT_FOUND) {
            copy_text(value, sizeof value, kOptions[i].fallback);
            result = write_default(ctx, section, i);
        }
        if (result != 0) {
            VLOG_ERROR("Fail to get the value of %s %s", section, kOptions[i].message_word);
            return abandon(ctx, result);
        }
        store_value(a, i, value);
    }
    return commit_and_free(ctx);
}

int set_acs(const acs* a, int band_24g) {
    uci_context* ctx = a ? open_context() : nullptr;
    if (!ctx) return VESPIN_ERR_FAILURE;
    const char* section = section_of(band_24g);
    for (int i = 0; i < 6; i++) {
        const std::string text = option_path(section, kOptions[i]) + "=" + value_text(a, i);
        if (vespin_uci_ctx_cmd(ctx, 4, text.c_str()) != 0) {
            VLOG_ERROR("Fail to set the value of %s %s", section, kOptions[i].message_word);
            return abandon(ctx, VESPIN_ERR_FAILURE);
        }
    }
    return commit_and_free(ctx);
}

}  // extern "C"
