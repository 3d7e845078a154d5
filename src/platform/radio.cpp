// Site survey of a radio. The router's driver interface is not wired yet, so
// its face reports failure; the emulated face reads "/var/scan/<ifname>",
// one scanned network per line: "CHANNEL SSID" (the SSID may hold spaces or
// be empty).
#include "platform.h"

#include <stdlib.h>
#include <string.h>

#include <sstream>

bool plat_site_survey(const char* ifname, std::vector<plat_scan_entry>* out) {
    out->clear();
    if (!ifname || strchr(ifname, '/') || !plat_is_emulated()) return false;
    std::string results;
    if (!plat_read_file(("/var/scan/" + std::string(ifname)).c_str(), &results)) return false;
    std::istringstream lines(results);
    std::string line;
    while (std::getline(lines, line) && out->size() < 128) {
        if (!line.empty() && line.back() == '\r') line.pop_back();
        char* end = nullptr;
        long channel = strtol(line.c_str(), &end, 10);
        if (end == line.c_str()) continue;
        std::string ssid = *end == ' ' ? std::string(end + 1) : std::string(end);
        out->push_back({(int)channel, ssid});
    }
    return true;
}
