#include "device_mac.h"

#include <ctype.h>

bool is_device_mac_text(const char* text) {
    if (!text) return false;
    int digits = 0;
    for (; text[digits]; digits++)
        if (digits == 12 || !isxdigit((unsigned char)text[digits])) return false;
    return digits == 12;
}
