// The PPPoE text check shared by the IPv4 and IPv6 WAN parsers and writers.
#include "core/config/pppoe_password.h"

bool pppoe_text_printable(const char* text, size_t length) {
    for (size_t i = 0; i < length; i++)
        if ((unsigned char)text[i] < 0x20 || (unsigned char)text[i] >= 0x7f) return false;
    return true;
}

bool pppoe_password_acceptable(json_object* value) {
    return pppoe_text_printable(json_object_get_string(value), (size_t)json_object_get_string_len(value));
}
