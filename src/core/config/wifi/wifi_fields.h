// Pieces the Wi-Fi records share: the names of encryptions and modes, the
// checks and bounded copies of SSIDs and passwords from JSON, and the
// settings of one band's interface.
#pragma once

#include "config_wifi.h"

#include <json-c/json.h>
#include <stddef.h>
#include <stdint.h>

#include <string>

// Setting ids of a Wi-Fi interface.
enum wifi_setting {
    MIB_WLAN_SSID = 1,
    MIB_WLAN_CHANNEL = 2,
    MIB_WLAN_AUTH_TYPE = 20,
    MIB_WLAN_HIDDEN_SSID = 21,
    MIB_WLAN_DISABLED = 22,
    MIB_WLAN_ENCRYPT = 25,
    MIB_WLAN_WPA_AUTH = 28,
    MIB_WLAN_WPA_CIPHER = 29,
    MIB_WLAN_WPA_PSK = 30,
    MIB_WLAN_WPA2_CIPHER = 38,
    MIB_HW_REG_DOMAIN = 204,
    MIB_WLAN_CHANNEL_BONDING = 284,
    MIB_WLAN_COUNTRY_STRING = 451,
};

// A fixed text field as a string, bounded by the field's size.
std::string wifi_field_text(const char* field, size_t size);
#define WIFI_FIELD(record, field) wifi_field_text((record).field, sizeof (record).field)

// "open", "wep", "wpa", "wpa2", "wpawpa2", or null for other numbers.
const char* wifi_encrypt_name(uint32_t encrypt);
bool wifi_encrypt_from_name(const char* name, uint32_t* encrypt);
// "ap", "apmesh", "mesh", or null for other numbers.
const char* wifi_mode_name(uint32_t mode);
bool wifi_mode_from_name(const char* name, uint32_t* mode);

// Copies a JSON string member into an SSID or password field after the
// checks of config_wifi.h: 0, or 100208 for a wrong type, an over-long text
// or a forbidden byte (the field is then untouched).
int wifi_copy_ssid(json_object* member, char* ssid);
int wifi_copy_password(json_object* member, char* password);

// The members main and guest bands share: "ssid", "password", "encrypt"
// (a name; an unknown one leaves the value; absent: WPA2 for a main band,
// unchanged for a guest band), "enabled" (main: stored negated in disabled;
// guest: stored as it stands), "hidden", "mode". 0 or 100208.
int wifi_parse_band_head(band* b, json_object* object, bool guest);

// apmib_set, logging "Fail to set mib" when it fails.
bool wifi_set_setting(int id, const void* value);

// Writes the security and identity settings of the interface that
// wlan_idx and vwlan_idx select: 25, then when encrypted 38, 29, 20, 28;
// then 30, 1, 21. 0, or 600002 after logging "Fail to set mib".
int wifi_write_band_identity(const band* band);
