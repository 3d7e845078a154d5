// Host texts of the diagnostics: which may reach a command line, and their
// IPv4 address.
#include "core/internal/diagnostics_parts.h"

#include "platform.h"

#include <arpa/inet.h>
#include <ctype.h>
#include <string.h>

bool diagnostics_resolve_ipv4(const char* host, uint32_t* address) {
    struct in_addr dotted;
    if (inet_aton(host, &dotted)) {
        *address = dotted.s_addr;
        return true;
    }
    return plat_resolve_ipv4(host, address);
}

bool diagnostics_valid_host(const char* host) {
    if (!host || !*host || *host == '-') return false;
    size_t length = 0;
    for (const char* p = host; *p; p++, length++) {
        if (length >= 255) return false;
        if (!isalnum((unsigned char)*p) && *p != '.' && *p != '-' && *p != ':') return false;
    }
    return true;
}
