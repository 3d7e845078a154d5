// "timezone.get" and "timezone.set": the stored time zone (setting 153, an
// hour offset token and an index, "8 1") and daylight saving (setting 282).
// Setting them writes "/etc/TZ" at once; after the reply the settings are
// flushed and the NTP client restarted.
#include "apmib.h"
#include "core/log.h"
#include "dispatch.h"
#include "method_reply.h"
#include "methods.h"
#include "vespin_core.h"

#include <ctype.h>
#include <stdio.h>

#include <mutex>

namespace {

const int kZoneSetting = 153;
const int kDaylightSetting = 282;

// "H", "-H", "H I" or "-H I" with one- or two-digit numbers.
bool valid_zone(const char* zone) {
    const char* p = zone;
    if (*p == '-') p++;
    int digits = 0;
    while (isdigit((unsigned char)*p) && digits < 3) p++, digits++;
    if (digits < 1 || digits > 2) return false;
    if (*p == '\0') return true;
    if (*p++ != ' ') return false;
    digits = 0;
    while (isdigit((unsigned char)*p) && digits < 3) p++, digits++;
    return digits >= 1 && digits <= 2 && *p == '\0';
}

void apply_time_zone(void) {
    std::lock_guard<std::mutex> hold(node_library_lock());
    int rv = flush_apmib(APMIB_CURRENT_SETTING);
    if (rv != 0) VLOG_ERROR("Fail to flush the settings: %d", rv);
    restart_ntp();
}

json_object* zone_json(const char* zone, bool daylight_saving) {
    json_object* result = json_object_new_object();
    json_object_object_add(result, "zone", json_object_new_string(zone));
    json_object_object_add(result, "daylight_saving", json_object_new_boolean(daylight_saving));
    return result;
}

}  // namespace

vespin_response* timezone_get_method(json_object* params) {
    char zone[64] = {0};
    int daylight = 0;
    if (!apmib_get(kZoneSetting, zone)) return method_error(VESPIN_ERR_SETTING, "Fail to get MIB_NTP_TIMEZONE");
    if (!apmib_get(kDaylightSetting, &daylight))
        return method_error(VESPIN_ERR_SETTING, "Fail to get MIB_DAYLIGHT_SAVE");
    return method_result(zone_json(zone, daylight != 0));
}

vespin_response* timezone_set_method(json_object* params) {
    vespin_response* error = nullptr;
    const char* zone;
    int daylight = 0;
    if (!param_text(params, "zone", &zone, &error)) return error;
    if (!apmib_get(kDaylightSetting, &daylight))
        return method_error(VESPIN_ERR_SETTING, "Fail to get MIB_DAYLIGHT_SAVE");
    bool daylight_saving = daylight != 0;
    if (!param_bool_or(params, "daylight_saving", daylight_saving, &daylight_saving, &error)) return error;
    if (!valid_zone(zone)) return method_error(VESPIN_ERR_INVALID_PARAM, "Invalid zone: %.32s", zone);
    char stored[16] = {0};
    snprintf(stored, sizeof stored, "%s", zone);
    daylight = daylight_saving ? 1 : 0;
    if (!apmib_set(kZoneSetting, stored)) return method_error(VESPIN_ERR_SETTING, "Fail to set MIB_NTP_TIMEZONE");
    if (!apmib_set(kDaylightSetting, &daylight))
        return method_error(VESPIN_ERR_SETTING, "Fail to set MIB_DAYLIGHT_SAVE");
    int status = setTimeZone();
    if (status != 0) return method_error(VESPIN_ERR_COMMAND, "Fail to write the time zone: status %d", status);
    return method_result(zone_json(stored, daylight_saving), apply_time_zone);
}
