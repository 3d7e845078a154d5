// Network interface properties: ioctls on the router, the root's interface
// table when emulated. The table has one line per interface:
//   NAME [addr=A.B.C.D] [dstaddr=A.B.C.D] [netmask=A.B.C.D] [hwaddr=aa:bb:cc:dd:ee:ff]
#include "platform.h"

#include <arpa/inet.h>
#include <net/if.h>
#include <netinet/in.h>
#include <string.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <sstream>

namespace {

int router_query(const char* ifname, int kind, void* out, bool* found) {
    int sock = socket(AF_INET, SOCK_DGRAM, 0);
    if (sock < 0) return -1;
    struct ifreq req;
    memset(&req, 0, sizeof req);
    strncpy(req.ifr_name, ifname, IFNAMSIZ - 1);
    if (ioctl(sock, SIOCGIFFLAGS, &req) < 0) {
        close(sock);
        return -1;
    }
    unsigned long request = 0;
    switch (kind) {
        case PLAT_IF_ADDR: request = SIOCGIFADDR; break;
        case PLAT_IF_DSTADDR: request = SIOCGIFDSTADDR; break;
        case PLAT_IF_NETMASK: request = SIOCGIFNETMASK; break;
        case PLAT_IF_HWADDR: request = SIOCGIFHWADDR; break;
        default: close(sock); return 0;
    }
    if (ioctl(sock, request, &req) == 0) {
        if (kind == PLAT_IF_HWADDR) {
            memcpy(out, &req.ifr_hwaddr, sizeof(struct sockaddr));
        } else {
            memcpy(out, &((struct sockaddr_in*)&req.ifr_addr)->sin_addr, 4);
        }
        *found = true;
    }
    close(sock);
    return 0;
}

bool parse_mac(const std::string& text, unsigned char mac[6]) {
    unsigned int b[6];
    if (sscanf(text.c_str(), "%2x:%2x:%2x:%2x:%2x:%2x", &b[0], &b[1], &b[2], &b[3], &b[4], &b[5]) != 6)
        return false;
    for (int i = 0; i < 6; i++) mac[i] = (unsigned char)b[i];
    return true;
}

int emulated_query(const char* ifname, int kind, void* out, bool* found) {
    std::string table;
    if (!plat_read_file("/etc/vespin/interfaces", &table)) return -1;
    std::istringstream lines(table);
    std::string line;
    while (std::getline(lines, line)) {
        std::istringstream words(line);
        std::string name, word;
        if (!(words >> name) || name[0] == '#' || name != ifname) continue;
        const char* key = kind == PLAT_IF_ADDR      ? "addr="
                          : kind == PLAT_IF_DSTADDR ? "dstaddr="
                          : kind == PLAT_IF_NETMASK ? "netmask="
                          : kind == PLAT_IF_HWADDR  ? "hwaddr="
                                                    : nullptr;
        while (key && words >> word) {
            if (word.compare(0, strlen(key), key) != 0) continue;
            std::string value = word.substr(strlen(key));
            if (kind == PLAT_IF_HWADDR) {
                struct sockaddr hw;
                memset(&hw, 0, sizeof hw);
                hw.sa_family = 1;  // ARPHRD_ETHER
                if (parse_mac(value, (unsigned char*)hw.sa_data)) {
                    memcpy(out, &hw, sizeof hw);
                    *found = true;
                }
            } else {
                struct in_addr a;
                if (inet_aton(value.c_str(), &a)) {
                    memcpy(out, &a, 4);
                    *found = true;
                }
            }
            break;
        }
        return 0;
    }
    return -1;
}

}  // namespace

int plat_if_query(const char* ifname, int kind, void* out, bool* found) {
    *found = false;
    if (!ifname || !out) return -1;
    if (strlen(ifname) >= IFNAMSIZ) return -1;  // no such interface can exist
    return plat_is_emulated() ? emulated_query(ifname, kind, out, found)
                              : router_query(ifname, kind, out, found);
}
