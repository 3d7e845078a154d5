#include "wifi_fields.h"

#include "apmib.h"
#include "core/log.h"
#include "core/text.h"
#include "result_codes.h"

#include <string.h>

namespace {

struct named_number {
    const char* name;
    uint32_t number;
};

const named_number kEncryptions[] = {
    {"open", WIFI_ENCRYPT_OPEN}, {"wep", WIFI_ENCRYPT_WEP}, {"wpa", WIFI_ENCRYPT_WPA},
    {"wpa2", WIFI_ENCRYPT_WPA2}, {"wpawpa2", WIFI_ENCRYPT_WPA_WPA2},
};
const named_number kModes[] = {{"ap", WIFI_MODE_AP}, {"apmesh", WIFI_MODE_APMESH}, {"mesh", WIFI_MODE_MESH}};

template <size_t N>
const char* name_of(const named_number (&table)[N], uint32_t number) {
    for (const auto& row : table)
        if (row.number == number) return row.name;
    return nullptr;
}

template <size_t N>
bool number_of(const named_number (&table)[N], const char* name, uint32_t* number) {
    for (const auto& row : table)
        if (name && strcmp(row.name, name) == 0) return *number = row.number, true;
    return false;
}

// A JSON string of at most `longest` bytes, none below `lowest` or above
// `highest` (and no NUL inside).
bool acceptable_text(json_object* member, size_t longest, unsigned char lowest, unsigned char highest) {
    if (!json_object_is_type(member, json_type_string)) return false;
    size_t length = (size_t)json_object_get_string_len(member);
    const unsigned char* text = (const unsigned char*)json_object_get_string(member);
    if (length > longest) return false;
    for (size_t i = 0; i < length; i++)
        if (text[i] < lowest || text[i] > highest) return false;
    return true;
}

}  // namespace

bool wifi_set_setting(int id, const void* value) {
    if (apmib_set(id, const_cast<void*>(value))) return true;
    VLOG_ERROR("Fail to set mib");
    return false;
}

std::string wifi_field_text(const char* field, size_t size) { return std::string(field, strnlen(field, size)); }

const char* wifi_encrypt_name(uint32_t encrypt) { return name_of(kEncryptions, encrypt); }
bool wifi_encrypt_from_name(const char* name, uint32_t* encrypt) { return number_of(kEncryptions, name, encrypt); }
const char* wifi_mode_name(uint32_t mode) { return name_of(kModes, mode); }
bool wifi_mode_from_name(const char* name, uint32_t* mode) { return number_of(kModes, name, mode); }

int wifi_copy_ssid(json_object* member, char* ssid) {
    if (!acceptable_text(member, WIFI_SSID_SIZE - 1, 0x20, 0xff)) return VESPIN_ERR_INVALID_PARAM;
    copy_text(ssid, WIFI_SSID_SIZE, json_object_get_string(member));
    return 0;
}

int wifi_copy_password(json_object* member, char* password) {
    if (!acceptable_text(member, WIFI_PASSWORD_SIZE - 1, 0x20, 0x7e)) return VESPIN_ERR_INVALID_PARAM;
    copy_text(password, WIFI_PASSWORD_SIZE, json_object_get_string(member));
    return 0;
}

int wifi_write_band_identity(const band* band) {
    int encrypt = (int)band->encrypt;
    if (!wifi_set_setting(MIB_WLAN_ENCRYPT, &encrypt)) return VESPIN_ERR_SETTING;
    if (encrypt != 0) {
        const bool mixed = encrypt == WIFI_ENCRYPT_WPA_WPA2;
        const int wpa2_cipher = mixed ? 3 : 2, wpa_cipher = mixed ? 3 : 1, auth_type = 2, wpa_auth = 2;
        if (!wifi_set_setting(MIB_WLAN_WPA2_CIPHER, &wpa2_cipher) || !wifi_set_setting(MIB_WLAN_WPA_CIPHER, &wpa_cipher) ||
            !wifi_set_setting(MIB_WLAN_AUTH_TYPE, &auth_type) || !wifi_set_setting(MIB_WLAN_WPA_AUTH, &wpa_auth))
            return VESPIN_ERR_SETTING;
    }
    const std::string password = wifi_field_text(band->password, sizeof band->password);
    const std::string ssid = wifi_field_text(band->ssid, sizeof band->ssid);
    int hidden = (int)band->hidden;
    if (!wifi_set_setting(MIB_WLAN_WPA_PSK, password.c_str()) || !wifi_set_setting(MIB_WLAN_SSID, ssid.c_str()) ||
        !wifi_set_setting(MIB_WLAN_HIDDEN_SSID, &hidden))
        return VESPIN_ERR_SETTING;
    return 0;
}

int wifi_parse_band_head(band* b, json_object* object, bool guest) {
    if (!json_object_is_type(object, json_type_object)) return VESPIN_ERR_INVALID_PARAM;
    json_object* member = nullptr;
    if (json_object_object_get_ex(object, "ssid", &member) && wifi_copy_ssid(member, b->ssid) != 0)
        return VESPIN_ERR_INVALID_PARAM;
    if (json_object_object_get_ex(object, "password", &member) && wifi_copy_password(member, b->password) != 0)
        return VESPIN_ERR_INVALID_PARAM;
    if (json_object_object_get_ex(object, "encrypt", &member)) {
        if (!json_object_is_type(member, json_type_string)) return VESPIN_ERR_INVALID_PARAM;
        wifi_encrypt_from_name(json_object_get_string(member), &b->encrypt);
    } else if (!guest) {
        b->encrypt = WIFI_ENCRYPT_WPA2;
    }
    if (json_object_object_get_ex(object, "enabled", &member)) {
        if (!json_object_is_type(member, json_type_boolean)) return VESPIN_ERR_INVALID_PARAM;
        bool enabled = json_object_get_boolean(member);
        b->disabled = (guest ? enabled : !enabled) ? 1 : 0;
    }
    if (json_object_object_get_ex(object, "hidden", &member)) {
        if (!json_object_is_type(member, json_type_boolean)) return VESPIN_ERR_INVALID_PARAM;
        b->hidden = json_object_get_boolean(member) ? 1 : 0;
    }
    if (json_object_object_get_ex(object, "mode", &member)) {
        if (!json_object_is_type(member, json_type_string)) return VESPIN_ERR_INVALID_PARAM;
        wifi_mode_from_name(json_object_get_string(member), &b->mode);
    }
    return 0;
}
