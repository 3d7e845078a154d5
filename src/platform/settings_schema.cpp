#include "settings_schema.h"

namespace {

// Sorted by nothing in particular; looked up linearly (a few dozen rows).
const setting_field kFields[] = {
    // Wi-Fi, per radio and virtual interface
    {1, "MIB_WLAN_SSID", SETTING_TEXT, 33, SCOPE_INTERFACE, nullptr},
    {2, "MIB_WLAN_CHANNEL", SETTING_INT, 4, SCOPE_INTERFACE, nullptr},
    {20, "MIB_WLAN_AUTH_TYPE", SETTING_INT, 4, SCOPE_INTERFACE, nullptr},
    {21, "MIB_WLAN_HIDDEN_SSID", SETTING_INT, 4, SCOPE_INTERFACE, nullptr},
    {22, "MIB_WLAN_WLAN_DISABLED", SETTING_INT, 4, SCOPE_INTERFACE, nullptr},
    {25, "MIB_WLAN_ENCRYPT", SETTING_INT, 4, SCOPE_INTERFACE, nullptr},
    {28, "MIB_WLAN_WPA_AUTH", SETTING_INT, 4, SCOPE_INTERFACE, nullptr},
    {29, "MIB_WLAN_WPA_CIPHER_SUITE", SETTING_INT, 4, SCOPE_INTERFACE, nullptr},
    {30, "MIB_WLAN_WPA_PSK", SETTING_TEXT, 65, SCOPE_INTERFACE, nullptr},
    {38, "MIB_WLAN_WPA2_CIPHER_SUITE", SETTING_INT, 4, SCOPE_INTERFACE, nullptr},
    {204, "MIB_HW_REG_DOMAIN", SETTING_INT, 4, SCOPE_RADIO, nullptr},
    {284, "MIB_WLAN_CHANNEL_BONDING", SETTING_INT, 4, SCOPE_INTERFACE, nullptr},
    {451, "MIB_WLAN_COUNTRY_STRING", SETTING_TEXT, 4, SCOPE_RADIO, nullptr},
    // WAN, LAN and DHCP
    {104, "MIB_WAN_DHCP", SETTING_INT, 4, SCOPE_GLOBAL, nullptr},
    {106, "MIB_PPP_USER_NAME", SETTING_TEXT, 40, SCOPE_GLOBAL, nullptr},
    {107, "MIB_PPP_PASSWORD", SETTING_TEXT, 40, SCOPE_GLOBAL, nullptr},
    {140, "MIB_DMZ_ENABLED", SETTING_INT, 4, SCOPE_GLOBAL, nullptr},
    {141, "MIB_DMZ_HOST", SETTING_IPV4, 4, SCOPE_GLOBAL, nullptr},
    {170, "MIB_IP_ADDR", SETTING_IPV4, 4, SCOPE_GLOBAL, "192.168.1.1"},
    {171, "MIB_SUBNET_MASK", SETTING_IPV4, 4, SCOPE_GLOBAL, "255.255.255.0"},
    {174, "MIB_DHCP_CLIENT_START", SETTING_IPV4, 4, SCOPE_GLOBAL, "192.168.1.100"},
    {175, "MIB_DHCP_CLIENT_END", SETTING_IPV4, 4, SCOPE_GLOBAL, "192.168.1.200"},
    {192, "MIB_OP_MODE", SETTING_INT, 4, SCOPE_GLOBAL, nullptr},
    {198, "MIB_DOMAIN_NAME", SETTING_TEXT, 64, SCOPE_GLOBAL, nullptr},
    {229, "MIB_DOS_ENABLED", SETTING_INT, 4, SCOPE_GLOBAL, nullptr},
    {945, "MIB_DHCP_LEASE_TIME", SETTING_INT, 4, SCOPE_GLOBAL, "1440"},
    // accounts, identity, time
    {152, "MIB_NTP_SERVER_ID", SETTING_INT, 4, SCOPE_GLOBAL, nullptr},
    {153, "MIB_NTP_TIMEZONE", SETTING_TEXT, 16, SCOPE_GLOBAL, "\"8 1\""},
    {154, "MIB_NTP_SERVER_0", SETTING_TEXT, 64, SCOPE_GLOBAL, nullptr},
    {155, "MIB_NTP_SERVER_1", SETTING_TEXT, 64, SCOPE_GLOBAL, nullptr},
    {182, "MIB_USER_NAME", SETTING_TEXT, 31, SCOPE_GLOBAL, nullptr},
    {183, "MIB_USER_PASSWORD", SETTING_TEXT, 31, SCOPE_GLOBAL, nullptr},
    {186, "MIB_DEVICE_NAME", SETTING_TEXT, 33, SCOPE_GLOBAL, nullptr},
    {282, "MIB_DAYLIGHT_SAVE", SETTING_INT, 4, SCOPE_GLOBAL, nullptr},
    {554, "MIB_MESH_SETTING_1", SETTING_INT, 4, SCOPE_RADIO, nullptr},
    {561, "MIB_MESH_SETTING_2", SETTING_INT, 4, SCOPE_RADIO, nullptr},
    {2255, "MIB_NTP_SERVER_2", SETTING_TEXT, 64, SCOPE_GLOBAL, nullptr},
    {2256, "MIB_NTP_SERVER_3", SETTING_TEXT, 64, SCOPE_GLOBAL, nullptr},
    {2257, "MIB_NTP_SERVER_4", SETTING_TEXT, 64, SCOPE_GLOBAL, nullptr},
    {2258, "MIB_NTP_SERVER_5", SETTING_TEXT, 64, SCOPE_GLOBAL, nullptr},
    {2400, "MIB_VESPIN_INIT", SETTING_INT, 4, SCOPE_GLOBAL, nullptr},
    {2401, "MIB_VESPIN_WORK_MODE", SETTING_INT, 4, SCOPE_GLOBAL, "1"},
    {2403, "MIB_VESPIN_LIFECYCLE", SETTING_TEXT, 32, SCOPE_GLOBAL, nullptr},
    {2404, "MIB_VESPIN_DEVICE_ASSETS", SETTING_RAW, 256, SCOPE_GLOBAL, nullptr},
    {2406, "MIB_VESPIN_PASSWORD_COPY", SETTING_TEXT, 31, SCOPE_GLOBAL, nullptr},
    {4001, "MIB_HW_SERIAL_NUMBER", SETTING_TEXT, 32, SCOPE_GLOBAL, nullptr},
    {4009, "MIB_HW_CUSTOMER_ID", SETTING_TEXT, 32, SCOPE_GLOBAL, nullptr},
};

// Entry sizes are those of the platform's table records.
const setting_table kTables[] = {
    {"MIB_PORTFW_TBL", 111, 32880, 65649, 131186, 262259, 40, 20, SCOPE_GLOBAL},
    {"MIB_DHCPRSVDIP_TBL", 293, 33062, 65831, 131368, 262441, 64, 20, SCOPE_GLOBAL},
};

}  // namespace

const setting_field* settings_schema_field(int id) {
    for (const auto& f : kFields)
        if (f.id == id) return &f;
    return nullptr;
}

const setting_table* settings_schema_table(int id, setting_table_role* role) {
    for (const auto& t : kTables) {
        const int ids[] = {t.count_id, t.get_id, t.add_id, t.delete_id, t.delete_all_id};
        for (int r = 0; r < 5; r++) {
            if (ids[r] == id) {
                *role = (setting_table_role)r;
                return &t;
            }
        }
    }
    return nullptr;
}

const setting_table* settings_schema_table_by_get_id(int get_id) {
    setting_table_role role;
    const setting_table* t = settings_schema_table(get_id, &role);
    return t && role == TABLE_GET ? t : nullptr;
}
