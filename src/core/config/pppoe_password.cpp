// The PPPoE password check shared by the IPv4 and IPv6 WAN parsers.
#include "core/config/pppoe_password.h"

bool pppoe_password_acceptable(json_object* value) {
    const unsigned char* text = (const unsigned char*)json_object_get_string(value);
    int length = json_object_get_string_len(value);
    for (int i = 0; i < length; i++)
        if (text[i] < 0x20 || text[i] >= 0x7f) return false;
    return true;
}
