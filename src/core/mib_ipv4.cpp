// IPv4 address settings as dotted-quad texts.
#include "core/mib_ipv4.h"

#include "apmib.h"

#include <arpa/inet.h>

bool mib_get_ipv4(int id, uint32_t* address) {
    struct in_addr a = {0};
    if (!apmib_get(id, &a)) return false;
    *address = a.s_addr;
    return true;
}

bool mib_set_ipv4(int id, uint32_t address) {
    struct in_addr a;
    a.s_addr = address;
    return apmib_set(id, &a) != 0;
}

bool mib_get_ipv4_text(int id, char* out) {
    struct in_addr a = {0};
    if (!mib_get_ipv4(id, &a.s_addr)) return false;
    return inet_ntop(AF_INET, &a, out, 16) != nullptr;
}
