// The band and ACS records as JSON, and the band parser.
#include "config_wifi.h"

#include "core/log.h"
#include "core/text.h"
#include "result_codes.h"
#include "wifi_fields.h"

#include <json-c/json.h>
#include <string.h>

namespace {

int bandwidth_mhz(int32_t stored) {
    switch (stored) {
    case 0: return 20;
    case 1: return 40;
    case 2: return 80;
    }
    VLOG_ERROR("Incorrect channel bandwidth from MIB: %d", (int)stored);
    return 0;
}

// "ssid", "password", "encrypt" (when known), "enabled" as given, "hidden",
// "mode" (when known): the head that main and guest bands share.
json_object* band_head_json(const band* b, bool enabled) {
    json_object* object = json_object_new_object();
    json_object_object_add(object, "ssid", json_object_new_string(WIFI_FIELD(*b, ssid).c_str()));
    json_object_object_add(object, "password", json_object_new_string(WIFI_FIELD(*b, password).c_str()));
    if (const char* name = wifi_encrypt_name(b->encrypt)) json_object_object_add(object, "encrypt", json_object_new_string(name));
    json_object_object_add(object, "enabled", json_object_new_boolean(enabled));
    json_object_object_add(object, "hidden", json_object_new_boolean(b->hidden != 0));
    if (const char* name = wifi_mode_name(b->mode)) json_object_object_add(object, "mode", json_object_new_string(name));
    return object;
}

const char* text_of(json_object* member) {
    const char* text = json_object_get_string(member);
    return text ? text : "";
}

// The "acs" member of a band's channel: not type-tested, but
// "switch_strategy" and "traffic_threshold" must be there.
int parse_acs(acs* a, json_object* object) {
    json_object* member = nullptr;
    if (!json_object_object_get_ex(object, "switch_strategy", &member)) return VESPIN_ERR_INVALID_PARAM;
    a->on_reboot = strcmp(text_of(member), "on_reboot") == 0;
    if (json_object_object_get_ex(object, "begin_time", &member))
        copy_text(a->begin_time, sizeof a->begin_time, text_of(member));
    if (json_object_object_get_ex(object, "end_time", &member))
        copy_text(a->end_time, sizeof a->end_time, text_of(member));
    if (json_object_object_get_ex(object, "interval", &member)) a->interval = json_object_get_int(member);
    if (!json_object_object_get_ex(object, "traffic_threshold", &member)) return VESPIN_ERR_INVALID_PARAM;
    a->traffic_threshold = json_object_get_int(member);
    return 0;
}

int parse_channel(band* b, json_object* channel) {
    json_object* member = nullptr;
    b->acs.enabled = json_object_object_get_ex(channel, "mode", &member) && strcmp(text_of(member), "auto") == 0;
    if (json_object_object_get_ex(channel, "acs", &member)) {
        int result = parse_acs(&b->acs, member);
        if (result != 0) return result;
    }
    if (json_object_object_get_ex(channel, "number", &member)) b->channel = (uint32_t)json_object_get_int(member);
    if (json_object_object_get_ex(channel, "bandwidth", &member)) {
        switch (json_object_get_int(member)) {
        case 20: b->bandwidth = 0; break;
        case 40: b->bandwidth = 1; break;
        case 80: b->bandwidth = 2; break;
        default: VLOG_ERROR("Unknown bandwidth");
        }
    }
    return 0;
}

}  // namespace

extern "C" {

json_object* acs_to_json(const acs* a) {
    if (!a) return nullptr;
    json_object* object = json_object_new_object();
    if (a->on_reboot) {
        json_object_object_add(object, "switch_strategy", json_object_new_string("on_reboot"));
    } else {
        json_object_object_add(object, "switch_strategy", json_object_new_string("in_time"));
        json_object_object_add(object, "begin_time", json_object_new_string(WIFI_FIELD(*a, begin_time).c_str()));
        json_object_object_add(object, "end_time", json_object_new_string(WIFI_FIELD(*a, end_time).c_str()));
    }
    json_object_object_add(object, "interval", json_object_new_int(a->interval));
    json_object_object_add(object, "traffic_threshold", json_object_new_int(a->traffic_threshold));
    return object;
}

json_object* band_to_json(const band* b) {
    if (!b) return nullptr;
    json_object* object = band_head_json(b, b->disabled == 0);
    json_object* channel = json_object_new_object();
    json_object_object_add(channel, "mode", json_object_new_string(b->acs.enabled ? "auto" : "manual"));
    json_object_object_add(channel, "number", json_object_new_int((int32_t)b->channel));
    json_object_object_add(channel, "bandwidth", json_object_new_int(bandwidth_mhz(b->bandwidth)));
    json_object_object_add(channel, "acs", acs_to_json(&b->acs));
    json_object_object_add(object, "channel", channel);
    return object;
}

json_object* guest_band_to_json(const band* b) {
    if (!b) return nullptr;
    // The fourth word is printed as it stands: guest bands keep "enabled" there.
    json_object* object = band_head_json(b, b->disabled != 0);
    json_object* channel = json_object_new_object();
    json_object_object_add(channel, "mode", json_object_new_string("manual"));
    json_object_object_add(channel, "number", json_object_new_int((int32_t)b->channel));
    json_object_object_add(object, "channel", channel);
    return object;
}

int json_to_band(band* b, json_object* object) {
    if (!b) return VESPIN_ERR_INVALID_PARAM;
    int result = wifi_parse_band_head(b, object, false);
    if (result != 0) return result;
    json_object* channel = nullptr;
    if (!json_object_object_get_ex(object, "channel", &channel)) return 0;
    if (!json_object_is_type(channel, json_type_object)) return VESPIN_ERR_INVALID_PARAM;
    return parse_channel(b, channel);
}

}  // extern "C"
