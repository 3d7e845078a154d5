// Host names to IPv4 addresses: the system resolver on the router, the
// root's "/etc/hosts" when emulated.
#include "platform.h"
#include "hooks.h"

#include <arpa/inet.h>
#include <netdb.h>
#include <string.h>
#include <strings.h>

#include <sstream>

namespace {

// "/etc/hosts" lines: ADDRESS NAME [ALIAS...], '#' starts a comment.
bool lookup_hosts_file(const char* host, uint32_t* address) {
    std::string text;
    if (!plat_read_file("/etc/hosts", &text)) return false;
    std::istringstream lines(text);
    std::string line;
    while (std::getline(lines, line)) {
        line = line.substr(0, line.find('#'));
        std::istringstream words(line);
        std::string ip, name;
        struct in_addr parsed;
        if (!(words >> ip) || inet_pton(AF_INET, ip.c_str(), &parsed) != 1) continue;
        while (words >> name) {
            if (strcasecmp(name.c_str(), host) == 0) {
                *address = parsed.s_addr;
                return true;
            }
        }
    }
    return false;
}

bool lookup_system(const char* host, uint32_t* address) {
    struct addrinfo hints;
    memset(&hints, 0, sizeof hints);
    hints.ai_family = AF_INET;
    struct addrinfo* found = nullptr;
    if (getaddrinfo(host, nullptr, &hints, &found) != 0 || !found) return false;
    *address = ((struct sockaddr_in*)found->ai_addr)->sin_addr.s_addr;
    freeaddrinfo(found);
    return true;
}

}  // namespace

bool plat_resolve_ipv4(const char* host, uint32_t* address) {
    if (!host || !*host || !address) return false;
    plat_hooks_state().resolved.push_back(host);
    return plat_is_emulated() ? lookup_hosts_file(host, address) : lookup_system(host, address);
}
