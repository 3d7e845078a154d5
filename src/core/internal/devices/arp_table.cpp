// The kernel's ARP table on br0, as the device list reads it.
#include "internal_devices.h"

#include "core/internal/device_text.h"
#include "platform.h"
#include "tools.h"

#include <arpa/inet.h>
#include <stdio.h>
#include <string.h>

#include <string>

namespace {

const char kArpCommand[] =
    "awk '{if ($3==\"0x2\" && $6==\"br0\" && $1 !~ /^169.254/) {gsub(\":\",\"\",$4); print $1,$4}}' "
    "/proc/net/arp > /tmp/arp_table";
const char kArpFile[] = "/tmp/arp_table";

}  // namespace

int get_arp_table_list(arp_entry* entries) {
    if (!entries) return -1;
    plat_system(kArpCommand);
    uint32_t address = 0, netmask = 0;
    get_interface_addr("br0", VESPIN_IF_ADDR, &address);
    get_interface_addr("br0", VESPIN_IF_NETMASK, &netmask);
    FILE* file = plat_fopen(kArpFile, "r");
    if (!file) return -1;
    int count = 0;
    char line[128];
    while (count < ARP_ENTRY_MAX && fgets(line, sizeof line, file)) {
        // The rest of an over-long line is no entry of its own.
        if (!strchr(line, '\n') && !feof(file)) {
            int c;
            while ((c = fgetc(file)) != EOF && c != '\n') {
            }
        }
        char ip_text[32], mac_text[32];
        if (sscanf(line, "%31s %31s", ip_text, mac_text) != 2) continue;
        struct in_addr ip;
        if (inet_pton(AF_INET, ip_text, &ip) != 1 || (ip.s_addr & netmask) != (address & netmask)) continue;
        arp_entry* entry = &entries[count];
        if (!mac_text_to_bytes(mac_text, entry->mac)) continue;
        entry->ip = ip.s_addr;
        count++;
    }
    fclose(file);
    return count;
}
