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
    {101, "MIB_WAN_IP_ADDR", SETTING_IPV4, 4, SCOPE_GLOBAL, nullptr},
    {102, "MIB_WAN_SUBNET_MASK", SETTING_IPV4, 4, SCOPE_GLOBAL, nullptr},
    {103, "MIB_WAN_DEFAULT_GATEWAY", SETTING_IPV4, 4, SCOPE_GLOBAL, nullptr},
    {104, "MIB_WAN_DHCP", SETTING_INT, 4, SCOPE_GLOBAL, "1"},
    {105, "MIB_DNS_MODE", SETTING_INT, 4, SCOPE_GLOBAL, nullptr},
    {106, "MIB_PPP_USER_NAME", SETTING_TEXT, 40, SCOPE_GLOBAL, nullptr},
    {107, "MIB_PPP_PASSWORD", SETTING_TEXT, 40, SCOPE_GLOBAL, nullptr},
    {140, "MIB_DMZ_ENABLED", SETTING_INT, 4, SCOPE_GLOBAL, nullptr},
    {141, "MIB_DMZ_HOST", SETTING_IPV4, 4, SCOPE_GLOBAL, nullptr},
    {170, "MIB_IP_ADDR", SETTING_IPV4, 4, SCOPE_GLOBAL, "192.168.1.1"},
    {171, "MIB_SUBNET_MASK", SETTING_IPV4, 4, SCOPE_GLOBAL, "255.255.255.0"},
    {172, "MIB_DEFAULT_GATEWAY", SETTING_IPV4, 4, SCOPE_GLOBAL, nullptr},
    {173, "MIB_DHCP", SETTING_INT, 4, SCOPE_GLOBAL, "2"},
    {174, "MIB_DHCP_CLIENT_START", SETTING_IPV4, 4, SCOPE_GLOBAL, "192.168.1.100"},
    {175, "MIB_DHCP_CLIENT_END", SETTING_IPV4, 4, SCOPE_GLOBAL, "192.168.1.200"},
    {176, "MIB_DNS1", SETTING_IPV4, 4, SCOPE_GLOBAL, nullptr},
    {177, "MIB_DNS2", SETTING_IPV4, 4, SCOPE_GLOBAL, nullptr},
    {178, "MIB_DNS3", SETTING_IPV4, 4, SCOPE_GLOBAL, nullptr},
    {192, "MIB_OP_MODE", SETTING_INT, 4, SCOPE_GLOBAL, nullptr},
    {198, "MIB_DOMAIN_NAME", SETTING_TEXT, 64, SCOPE_GLOBAL, nullptr},
    {229, "MIB_DOS_ENABLED", SETTING_INT, 4, SCOPE_GLOBAL, nullptr},
    {945, "MIB_DHCP_LEASE_TIME", SETTING_INT, 4, SCOPE_GLOBAL, "1440"},
    // IPv6: addresses are 20-byte blocks (prefix length, then eight 16-bit
    // groups in host order); 370 is the 156-byte ipv6_radvd_param and 372 the
    // 112-byte ipv6_dhcp6s_param of config_ipv6.h
    {370, "MIB_IPV6_RADVD_PARAM", SETTING_RAW, 156, SCOPE_GLOBAL, nullptr},
    {372, "MIB_IPV6_DHCPV6S_PARAM", SETTING_RAW, 112, SCOPE_GLOBAL, nullptr},
    {378, "MIB_IPV6_ADDR_WAN_PARAM", SETTING_RAW, 20, SCOPE_GLOBAL, nullptr},
    {379, "MIB_IPV6_ADDR_GW_PARAM", SETTING_RAW, 20, SCOPE_GLOBAL, nullptr},
    {381, "MIB_IPV6_ADDR_DNS_PARAM", SETTING_RAW, 20, SCOPE_GLOBAL, nullptr},
    {382, "MIB_IPV6_ORIGIN_TYPE", SETTING_INT, 4, SCOPE_GLOBAL, nullptr},
    {383, "MIB_IPV6_LINK_TYPE", SETTING_INT, 4, SCOPE_GLOBAL, nullptr},
    {384, "MIB_IPV6_WAN_ENABLE", SETTING_INT, 4, SCOPE_GLOBAL, nullptr},
    {385, "MIB_IPV6_DNS_AUTO", SETTING_INT, 4, SCOPE_GLOBAL, "1"},
    {386, "MIB_IPV6_DHCP_PD_ENABLE", SETTING_INT, 4, SCOPE_GLOBAL, nullptr},
    {387, "MIB_IPV6_DHCP_RAPID_COMMIT", SETTING_INT, 4, SCOPE_GLOBAL, nullptr},
    {388, "MIB_IPV6_LAN_AUTO", SETTING_INT, 4, SCOPE_GLOBAL, "1"},
    {408, "MIB_IPV6_LAN_PREFIX_MODE", SETTING_INT, 4, SCOPE_GLOBAL, nullptr},
    {423, "MIB_IPV6_LAN_DHCP_MODE", SETTING_INT, 4, SCOPE_GLOBAL, nullptr},
    {424, "MIB_IPV6_6RD_ENABLE", SETTING_INT, 4, SCOPE_GLOBAL, nullptr},
    {425, "MIB_IPV6_6RD_PREFIX", SETTING_RAW, 20, SCOPE_GLOBAL, nullptr},
    {426, "MIB_IPV6_6RD_BR_ADDR", SETTING_TEXT, 16, SCOPE_GLOBAL, "\"0.0.0.0\""},
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
    // the radio's mesh switch: its peers are listed in "/proc/wlan%d/mesh_assoc_mpinfo"
    {644, "MIB_WLAN_MESH_ENABLE", SETTING_INT, 4, SCOPE_RADIO, nullptr},
    {2255, "MIB_NTP_SERVER_2", SETTING_TEXT, 64, SCOPE_GLOBAL, nullptr},
    {2256, "MIB_NTP_SERVER_3", SETTING_TEXT, 64, SCOPE_GLOBAL, nullptr},
    {2257, "MIB_NTP_SERVER_4", SETTING_TEXT, 64, SCOPE_GLOBAL, nullptr},
    {2258, "MIB_NTP_SERVER_5", SETTING_TEXT, 64, SCOPE_GLOBAL, nullptr},
    {2400, "MIB_VESPIN_INIT", SETTING_INT, 4, SCOPE_GLOBAL, nullptr},
    {2401, "MIB_VESPIN_WORK_MODE", SETTING_INT, 4, SCOPE_GLOBAL, "1"},
    {2403, "MIB_VESPIN_LIFECYCLE", SETTING_TEXT, 32, SCOPE_GLOBAL, nullptr},
    {2404, "MIB_VESPIN_DEVICE_ASSETS", SETTING_RAW, 256, SCOPE_GLOBAL, nullptr},
    {2405, "MIB_VESPIN_WAN_LINK", SETTING_INT, 4, SCOPE_GLOBAL, nullptr},
    {2406, "MIB_VESPIN_PASSWORD_COPY", SETTING_TEXT, 31, SCOPE_GLOBAL, nullptr},
    // VLAN: 3411 holds the 17 hardware ports' PVIDs, 16 bits each
    {3410, "MIB_VLAN_HW_NAT_LAN_VID", SETTING_INT, 4, SCOPE_GLOBAL, nullptr},
    {3411, "MIB_VLAN_PVID_ARRAY", SETTING_RAW, 34, SCOPE_GLOBAL,
     "09000900090008000900090009000900090009000900090009000900090009000900"},
    {3413, "MIB_VLAN_ENABLED", SETTING_INT, 4, SCOPE_GLOBAL, nullptr},
    {4001, "MIB_HW_SERIAL_NUMBER", SETTING_TEXT, 32, SCOPE_GLOBAL, nullptr},
    {4009, "MIB_HW_CUSTOMER_ID", SETTING_TEXT, 32, SCOPE_GLOBAL, nullptr},
};

// Entry sizes are those of the platform's table records.
const setting_table kTables[] = {
    // port forwarding: the 40-byte port_fw_stored of internal_firewall.h
    {"MIB_PORTFW_TBL", 111, 32880, 65649, 131186, 262259, 40, 20, SCOPE_GLOBAL},
    // static leases: the 64-byte static_lease_stored of internal_dhcp.h
    {"MIB_DHCPRSVDIP_TBL", 293, 33062, 65831, 131368, 262441, 64, 20, SCOPE_GLOBAL},
    // the system's own: refused mesh nodes (serial number and MAC, 16 bytes each)
    {"MIB_VESPIN_NODE_BLACKLIST_TBL", 2460, 35229, 67998, 133535, 264608, 32, 32, SCOPE_GLOBAL},
    // 12-byte vlan_mib_entry records (config_vlan.h)
    {"MIB_VLAN_TBL", 3414, 36183, 68952, 134489, 265562, 12, 64, SCOPE_GLOBAL},
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
