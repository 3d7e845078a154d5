// IPv6 address texts and their eight 16-bit groups (host order).
#include "config_ipv6.h"

#include "core/log.h"

#include <arpa/inet.h>
#include <string.h>

extern "C" {

int ipv6_addr_from_string(const char* text, uint16_t groups[8]) {
    struct in6_addr a;
    int rv = text && groups ? inet_pton(AF_INET6, text, &a) : 0;
    if (rv != 1) {
        VLOG_ERROR("Fail [%d] to get ipv6 addr from [%s]", rv, text ? text : "(null)");
        return VESPIN_ERR_MISSING_PARAM;
    }
    for (int i = 0; i < 8; i++) groups[i] = (uint16_t)(a.s6_addr[2 * i] << 8 | a.s6_addr[2 * i + 1]);
    return 0;
}

int ipv6_addr_to_string(const uint16_t groups[8], char* text) {
    struct in6_addr a;
    if (groups == nullptr || text == nullptr) {
        VLOG_ERROR("Fail to convert ipv6 addr to string");
        return VESPIN_ERR_MISSING_PARAM;
    }
    for (int i = 0; i < 8; i++) {
        a.s6_addr[2 * i] = (uint8_t)(groups[i] >> 8);
        a.s6_addr[2 * i + 1] = (uint8_t)groups[i];
    }
    if (!inet_ntop(AF_INET6, &a, text, IPV6_ADDR_TEXT_SIZE)) {
        VLOG_ERROR("Fail to convert ipv6 addr to string");
        return VESPIN_ERR_MISSING_PARAM;
    }
    return 0;
}

int ipv6_addr_format_string(const char* text, char* out) {
    uint16_t groups[8];
    int rv = ipv6_addr_from_string(text, groups);
    return rv ? rv : ipv6_addr_to_string(groups, out);
}

int is_valid_ipv6_addr(const ipv6_addr* addr) {
    if (addr == nullptr || addr->prefix_length < 0 || addr->prefix_length > 128) return 0;
    if (strnlen(addr->addr, IPV6_ADDR_TEXT_SIZE) == IPV6_ADDR_TEXT_SIZE) return 0;
    struct in6_addr a;
    return inet_pton(AF_INET6, addr->addr, &a) == 1 ? 1 : 0;
}

}  // extern "C"
