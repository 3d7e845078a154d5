// "channels.list" and "channels.best": the channels a region allows and the
// least crowded of them. A region is named by "region" (ISO 3166-1 numeric
// id) or "country" (two upper-case letters).
#include "channel_list.h"
#include "method_reply.h"
#include "methods.h"

#include <string.h>

namespace {

bool region_param(json_object* params, uint32_t* region, vespin_response** error) {
    const char* country;
    if (!param_text_or(params, "country", nullptr, &country, error)) return false;
    if (country) {
        if (strlen(country) != 2 || get_region_id(country, region) != 0) {
            *error = method_error(VESPIN_ERR_INVALID_PARAM, "Unknown country: %.16s", country);
            return false;
        }
        return true;
    }
    int32_t id;
    if (!param_int(params, "region", &id, error)) return false;
    uint32_t domain_2g, domain_5g;
    if (id < 0 || get_regulatory_domain_id((uint32_t)id, &domain_2g, &domain_5g) != 0) {
        *error = method_error(VESPIN_ERR_INVALID_PARAM, "Unknown region: %d", id);
        return false;
    }
    *region = (uint32_t)id;
    return true;
}

json_object* channel_array(const uint32_t* channels, int count) {
    json_object* array = json_object_new_array();
    for (int i = 0; i < count; i++) json_object_array_add(array, json_object_new_int64(channels[i]));
    return array;
}

}  // namespace

vespin_response* channels_list_method(json_object* params) {
    vespin_response* error = nullptr;
    uint32_t region;
    if (!region_param(params, &region, &error)) return error;
    uint32_t channels_2g[VESPIN_MAX_CHANNELS] = {0};
    uint32_t channels_5g[VESPIN_MAX_CHANNELS] = {0};
    int count_2g = get_2g_channel_list(region, channels_2g);
    int count_5g = get_5g_channel_list(region, channels_5g);
    char country[3] = {0};
    get_country(region, country);
    json_object* result = json_object_new_object();
    json_object_object_add(result, "region", json_object_new_int64(region));
    json_object_object_add(result, "country", json_object_new_string(country));
    json_object_object_add(result, "2g", channel_array(channels_2g, count_2g));
    json_object_object_add(result, "5g", channel_array(channels_5g, count_5g));
    return method_result(result);
}

vespin_response* channels_best_method(json_object* params) {
    vespin_response* error = nullptr;
    uint32_t region;
    int32_t radio, current;
    const char* ssid;
    if (!region_param(params, &region, &error) || !param_int(params, "radio", &radio, &error) ||
        !param_text_or(params, "ssid", nullptr, &ssid, &error) ||
        !param_int_or(params, "channel", 0, &current, &error))
        return error;
    if (radio != 0 && radio != 1)
        return method_error(VESPIN_ERR_INVALID_PARAM, "Invalid radio: %d (0 is 5 GHz, 1 is 2.4 GHz)", radio);
    int best = select_best_channel(region, radio, ssid, current);
    if (best == 0)
        return method_error(VESPIN_ERR_FAILURE, "No channel chosen: the survey of wlan%d failed or no channel is allowed",
                            radio);
    json_object* result = json_object_new_object();
    json_object_object_add(result, "channel", json_object_new_int(best));
    return method_result(result);
}
