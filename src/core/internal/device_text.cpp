#include "device_text.h"

#include "core/text.h"

#include <arpa/inet.h>
#include <ctype.h>
#include <stdlib.h>
#include <string.h>

namespace {

bool all_of(const char* text, bool (*allowed)(unsigned char)) {
    if (!text || !*text) return false;
    for (const char* p = text; *p; p++)
        if (!allowed((unsigned char)*p)) return false;
    return true;
}

}  // namespace

bool mac_text_to_bytes(const char* text, unsigned char mac[6]) {
    if (!is_device_mac_text(text)) return false;
    for (int i = 0; i < 6; i++) {
        char pair[3] = {text[2 * i], text[2 * i + 1], 0};
        mac[i] = (unsigned char)strtoul(pair, nullptr, 16);
    }
    return true;
}

bool is_uci_name_text(const char* text) {
    return all_of(text, [](unsigned char c) { return isalnum(c) != 0 || c == '_'; });
}

bool is_host_text(const char* text) {
    return all_of(text, [](unsigned char c) { return isalnum(c) != 0 || c == '.' || c == '-' || c == '_'; });
}

bool ipv4_from_field(const char* field, size_t capacity, uint32_t* address) {
    char copy[16];
    copy_text(copy, capacity < sizeof copy ? capacity : sizeof copy, field);
    struct in_addr a;
    *address = inet_aton(copy, &a) ? a.s_addr : 0;
    return *address != 0 || strcmp(copy, "0.0.0.0") == 0;
}
