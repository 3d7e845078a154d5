// Site survey of a radio and the beacon-information module. The router's
// driver interface is not wired yet, so its face reports failure; the
// emulated face reads "/var/scan/<ifname>", one line per finding:
//   "CHANNEL SSID"            a scanned network (the SSID may hold spaces or be empty)
//   "mesh SN MAC_2.4G MAC_5G" a mesh node waiting to join
#include "platform.h"

#include <stdlib.h>
#include <string.h>

#include <sstream>

namespace {

const size_t kSurveyLimit = 128;  // the driver's result holds at most 128 entries

bool read_joinable(const std::string& line, plat_joinable_node* node) {
    std::istringstream words(line);
    std::string tag;
    return (words >> tag) && tag == "mesh" && (words >> node->sn >> node->mac_24g >> node->mac_5g);
}

}  // namespace

bool plat_site_survey(const char* ifname, std::vector<plat_scan_entry>* out, std::vector<plat_joinable_node>* joinable) {
    out->clear();
    if (joinable) joinable->clear();
    if (!ifname || strchr(ifname, '/') || !plat_is_emulated()) return false;
    std::string results;
    if (!plat_read_file(("/var/scan/" + std::string(ifname)).c_str(), &results)) return false;
    std::istringstream lines(results);
    std::string line;
    while (std::getline(lines, line)) {
        if (!line.empty() && line.back() == '\r') line.pop_back();
        plat_joinable_node node;
        if (line.compare(0, 5, "mesh ") == 0) {
            if (joinable && joinable->size() < kSurveyLimit && read_joinable(line, &node)) joinable->push_back(node);
            continue;
        }
        char* end = nullptr;
        long channel = strtol(line.c_str(), &end, 10);
        if (end == line.c_str() || out->size() >= kSurveyLimit) continue;
        std::string ssid = *end == ' ' ? std::string(end + 1) : std::string(end);
        out->push_back({(int)channel, ssid});
    }
    return true;
}

bool plat_beacon_start(const char* sn) {
    if (!plat_is_emulated() || !sn) return false;
    if (plat_system("insmod /lib/modules/beacon_info.ko") != 0) return false;
    FILE* parameters = plat_fopen("/proc/beacon_info", "w");
    if (!parameters) return false;
    bool written = fprintf(parameters, "%s\n", sn) > 0;
    return fclose(parameters) == 0 && written;
}

bool plat_beacon_stop() {
    if (!plat_is_emulated()) return false;
    plat_unlink("/proc/beacon_info");
    return plat_system("rmmod beacon_info") == 0;
}
