// What tells one node from another on the same machine: the address its
// servers bind to and the key of its shared mesh table.
#include "platform.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <stdlib.h>

namespace {

std::string first_word(const char* router_path) {
    std::string text;
    if (!plat_read_file(router_path, &text)) return std::string();
    size_t start = text.find_first_not_of(" \t\r\n");
    if (start == std::string::npos) return std::string();
    size_t end = text.find_first_of(" \t\r\n", start);
    return text.substr(start, end == std::string::npos ? std::string::npos : end - start);
}

}  // namespace

uint32_t plat_bind_address() {
    if (!plat_is_emulated()) return htonl(INADDR_ANY);
    struct in_addr a;
    std::string named = first_word("/etc/vespin/bind_address");
    if (!named.empty() && inet_aton(named.c_str(), &a)) return a.s_addr;
    return htonl(INADDR_LOOPBACK);
}

int plat_shm_key() {
    if (!plat_is_emulated()) return 1024;
    std::string named = first_word("/etc/vespin/shm_key");
    if (!named.empty()) return (int)strtol(named.c_str(), nullptr, 0);
    uint32_t h = 5381;  // derived from the root's path: distinct roots, distinct keys
    for (char c : plat_root()) h = h * 33 + (unsigned char)c;
    return (int)(0x56000000u | (h & 0x00ffffffu));
}
