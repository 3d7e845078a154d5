// Station records and their JSON forms. Both record kinds are read and
// written through one table of their fields, in the order of the JSON keys.
#include "ap.h"

#include "json_ref.h"
#include "result_codes.h"
#include "text.h"

#include <stddef.h>
#include <string.h>

namespace {

enum station_field_kind { STATION_TEXT, STATION_INT32, STATION_INT64 };

// One field: its JSON key, its offset in the record and its kind.
struct station_field {
    const char* key;
    size_t offset;
    station_field_kind kind;
};

#define STA_FIELD(record, name, kind) {#name, offsetof(record, name), kind}

const station_field kStationFields[] = {
    STA_FIELD(vespin_sta, mac, STATION_TEXT),          STA_FIELD(vespin_sta, band, STATION_INT32),
    STA_FIELD(vespin_sta, onlinetime, STATION_INT64),  STA_FIELD(vespin_sta, rtspeedup, STATION_INT32),
    STA_FIELD(vespin_sta, rtspeeddown, STATION_INT32), STA_FIELD(vespin_sta, rx_bytes, STATION_INT64),
    STA_FIELD(vespin_sta, tx_bytes, STATION_INT64),    STA_FIELD(vespin_sta, rssi, STATION_INT32),
    STA_FIELD(vespin_sta, negotiation_rate, STATION_INT64),
};

const station_field kGuestStationFields[] = {
    STA_FIELD(vespin_guest_sta, mac, STATION_TEXT),          STA_FIELD(vespin_guest_sta, band, STATION_INT32),
    STA_FIELD(vespin_guest_sta, onlinetime, STATION_INT64),  STA_FIELD(vespin_guest_sta, rtspeedup, STATION_INT32),
    STA_FIELD(vespin_guest_sta, rtspeeddown, STATION_INT32), STA_FIELD(vespin_guest_sta, rx_bytes, STATION_INT64),
    STA_FIELD(vespin_guest_sta, tx_bytes, STATION_INT64),    STA_FIELD(vespin_guest_sta, guest_ap_id, STATION_INT32),
    STA_FIELD(vespin_guest_sta, rssi, STATION_INT32),        STA_FIELD(vespin_guest_sta, negotiation_rate, STATION_INT64),
};

#undef STA_FIELD

template <size_t N>
json_object* fields_to_json(const void* record, const station_field (&fields)[N]) {
    if (!record) return nullptr;
    json_object* object = json_object_new_object();
    if (!object) return nullptr;
    const char* base = static_cast<const char*>(record);
    for (const station_field& field : fields) {
        const char* at = base + field.offset;
        json_object* value = nullptr;
        if (field.kind == STATION_TEXT) {
            value = json_object_new_string_len(at, (int)strnlen(at, VESPIN_STA_MAC_SIZE));
        } else if (field.kind == STATION_INT32) {
            int32_t number;
            memcpy(&number, at, sizeof number);
            value = json_object_new_int(number);
        } else {
            int64_t number;
            memcpy(&number, at, sizeof number);
            value = json_object_new_int64(number);
        }
        json_add_new_key(object, field.key, value);
    }
    return object;
}

// Finds the members of the object's own keys in one pass over them (a
// station's keys mostly come in table order, so the search starts after the
// last match), then changes the fields in table order.
template <size_t N>
int fields_update_from_json(void* record, json_object* object, const station_field (&fields)[N]) {
    if (!record || !json_object_is_type(object, json_type_object)) return VESPIN_ERR_INVALID_JSON;
    json_object* members[N] = {};
    bool present[N] = {};
    size_t next = 0;
    json_object_object_foreach(object, key, value) {
        for (size_t k = 0; k < N; ++k) {
            size_t at = (next + k) % N;
            if (strcmp(fields[at].key, key) != 0) continue;
            members[at] = value;
            present[at] = true;
            next = at + 1;
            break;
        }
    }
    char* base = static_cast<char*>(record);
    for (size_t i = 0; i < N; ++i) {
        if (!present[i]) continue;
        const station_field& field = fields[i];
        json_object* member = members[i];
        char* at = base + field.offset;
        if (field.kind == STATION_TEXT) {
            if (!json_object_is_type(member, json_type_string)) return VESPIN_ERR_INVALID_JSON;
            copy_text(at, VESPIN_STA_MAC_SIZE, json_object_get_string(member));
            continue;
        }
        if (!json_object_is_type(member, json_type_int)) return VESPIN_ERR_INVALID_JSON;
        if (field.kind == STATION_INT32) {
            int32_t number = json_object_get_int(member);
            memcpy(at, &number, sizeof number);
        } else {
            int64_t number = json_object_get_int64(member);
            memcpy(at, &number, sizeof number);
        }
    }
    return 0;
}

}  // namespace

json_object* vespin_sta_to_json(const vespin_sta* station) { return fields_to_json(station, kStationFields); }

json_object* vespin_guest_sta_to_json(const vespin_guest_sta* station) {
    return fields_to_json(station, kGuestStationFields);
}

int vespin_sta_update_from_json_object(vespin_sta* station, json_object* object) {
    return fields_update_from_json(station, object, kStationFields);
}

int vespin_guest_sta_update_from_json_object(vespin_guest_sta* station, json_object* object) {
    return fields_update_from_json(station, object, kGuestStationFields);
}
