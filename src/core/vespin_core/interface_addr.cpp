// An interface's IPv4 address, peer address, netmask or MAC.
#include "vespin_core.h"

#include "platform/platform.h"

#include <arpa/inet.h>
#include <stdio.h>
#include <string.h>
#include <sys/socket.h>

namespace {

bool known_kind(int kind) {
    return kind == PLAT_IF_ADDR || kind == PLAT_IF_DSTADDR || kind == PLAT_IF_NETMASK || kind == PLAT_IF_HWADDR;
}

int dotted_quad(const char* ifname, int kind, char* out) {
    unsigned char address[4];
    if (!out || !get_addr(ifname, kind, address)) return 0;
    return inet_ntop(AF_INET, address, out, VESPIN_IP_TEXT_SIZE) ? 1 : 0;
}

}  // namespace

extern "C" {

int get_addr(const char* ifname, int kind, void* out) {
    if (!ifname || !out || !known_kind(kind)) return 0;
    struct sockaddr answer;  // large enough for every kind
    bool found = false;
    if (plat_if_query(ifname, kind, &answer, &found) != 0 || !found) return 0;
    memcpy(out, &answer, kind == PLAT_IF_HWADDR ? sizeof answer : 4);
    return 1;
}

int get_ip(const char* ifname, char* out) { return dotted_quad(ifname, PLAT_IF_ADDR, out); }

int get_subnetmask(const char* ifname, char* out) { return dotted_quad(ifname, PLAT_IF_NETMASK, out); }

int get_mac(const char* ifname, char* out) {
    struct sockaddr hw;
    if (!out || !get_addr(ifname, PLAT_IF_HWADDR, &hw)) return 0;
    const unsigned char* mac = (const unsigned char*)hw.sa_data;
    snprintf(out, VESPIN_MAC_TEXT_SIZE, "%02x%02x%02x%02x%02x%02x", mac[0], mac[1], mac[2], mac[3], mac[4], mac[5]);
    return 1;
}

}  // extern "C"
