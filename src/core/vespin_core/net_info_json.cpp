// The JSON form of a net_info record.
#include "status.h"

#include <string.h>

namespace {

// A 16-byte field as a JSON string, even when it lacks its terminator.
json_object* field_string(const char* field) {
    return json_object_new_string_len(field, (int)strnlen(field, NET_INFO_TEXT_SIZE));
}

}  // namespace

extern "C" json_object* net_info_to_json(const net_info* info) {
    if (info == nullptr) return nullptr;
    json_object* json = json_object_new_object();
    json_object_object_add(json, "ip", field_string(info->ip));
    json_object_object_add(json, "mask", field_string(info->mask));
    json_object_object_add(json, "gateway", field_string(info->gateway));
    json_object* dns = json_object_new_array();
    for (int i = 0; i < NET_INFO_DNS_COUNT && info->dns[i][0]; i++) json_object_array_add(dns, field_string(info->dns[i]));
    json_object_object_add(json, "dns", dns);
    return json;
}
