#include "emulated_drivers.h"

#include <arpa/inet.h>
#include <stdint.h>
#include <stdio.h>
#include <string.h>

#include <filesystem>
#include <fstream>

namespace {

// Vendors of the emulated clients (OUIs of the IEEE list, also in the
// fallback vendor table sim/vendors-fallback.txt).
const uint8_t kClientOuis[][3] = {
    {0xa4, 0xc3, 0xf0}, {0x28, 0x6c, 0x07}, {0x3c, 0x5a, 0xb4}, {0xf0, 0x18, 0x98},
    {0xdc, 0xa6, 0x32}, {0xb8, 0x27, 0xeb}, {0x00, 0x1a, 0x11}, {0x00, 0x0c, 0x29},
};
const size_t kOuiCount = sizeof kClientOuis / sizeof kClientOuis[0];

// Clients get <net>.100 and up; those past .249 stay off the ARP table.
const int kFirstClientHost = 100;
const int kLastClientHost = 249;

enum client_kind { CLIENT_5G, CLIENT_24G, CLIENT_GUEST, CLIENT_WIRED };

struct client {
    uint8_t mac[6];
    int host;  // last number of the address, 0 when it has none
    client_kind kind;
    std::string name;
    unsigned link_seconds;
    unsigned long long tx_bytes, rx_bytes;
    unsigned tx_average, rx_average, rssi;
    double rate;
};

// Node i (0-based) has two 5 GHz clients, one 2.4 GHz client and one guest;
// the gateway also a wired one. Counters grow with tick.
std::vector<client> clients_of(size_t index, bool gateway, int tick) {
    static const client_kind kinds[] = {CLIENT_5G, CLIENT_5G, CLIENT_24G, CLIENT_GUEST, CLIENT_WIRED};
    static const char* names[] = {"laptop", "phone", "tv", "guest-phone", "desktop"};
    std::vector<client> out;
    size_t count = gateway ? 5 : 4;
    for (size_t j = 0; j < count; j++) {
        client c = {};
        const uint8_t* oui = kClientOuis[(index * 3 + j) % kOuiCount];
        uint8_t tail[3] = {(uint8_t)(0x10 + j), (uint8_t)(index >> 8), (uint8_t)index};
        memcpy(c.mac, oui, 3);
        memcpy(c.mac + 3, tail, 3);
        int host = kFirstClientHost + (int)(index * 5 + j);
        c.host = host <= kLastClientHost ? host : 0;
        c.kind = kinds[j];
        c.name = std::string(names[j]) + "-" + std::to_string(index + 1);
        unsigned seed = (unsigned)(index * 7 + j * 13);
        c.link_seconds = 600 + seed * 37 + (unsigned)tick * 5;
        c.tx_bytes = 1000000ull * (j + 1) + 250000ull * (unsigned)tick + seed * 1000ull;
        c.rx_bytes = 300000ull * (j + 1) + 60000ull * (unsigned)tick + seed * 100ull;
        c.tx_average = 2000 + seed * 10 + (unsigned)(tick % 7) * 100;
        c.rx_average = 600 + seed * 3 + (unsigned)(tick % 5) * 40;
        c.rssi = 40 + seed % 30;
        c.rate = c.kind == CLIENT_24G ? 144.4 : 866.7;
        out.push_back(c);
    }
    return out;
}

std::string mac_text(const uint8_t* mac, const char* separator) {
    char text[32];
    snprintf(text, sizeof text, "%02x%s%02x%s%02x%s%02x%s%02x%s%02x", mac[0], separator, mac[1], separator, mac[2],
             separator, mac[3], separator, mac[4], separator, mac[5]);
    return text;
}

// Replaces root/relative with content (written beside it, then renamed).
bool replace_file(const std::string& root, const std::string& relative, const std::string& content,
                  std::string* why) {
    std::filesystem::path path = root + "/" + relative;
    std::error_code error;
    std::filesystem::create_directories(path.parent_path(), error);
    std::string temporary = path.string() + ".new";
    {
        std::ofstream out(temporary, std::ios::binary | std::ios::trunc);
        out << content;
        if (!out.flush()) {
            *why = "cannot write " + temporary;
            return false;
        }
    }
    std::filesystem::rename(temporary, path, error);
    if (error) {
        *why = "cannot replace " + path.string() + ": " + error.message();
        return false;
    }
    return true;
}

// The driver's station table, one block per station in the order the
// driver prints its keys.
std::string station_file(const std::vector<client>& clients, client_kind kind) {
    std::string body;
    int active = 0;
    for (const auto& c : clients) {
        if (c.kind != kind) continue;
        active++;
        unsigned seconds = c.link_seconds % 60, minutes = c.link_seconds / 60 % 60, hours = c.link_seconds / 3600;
        char block[1024];
        snprintf(block, sizeof block,
                 "%d: stat_info...\n"
                 "    state: 1\n    AuthState: 2\n    AID: %d\n"
                 "    hwaddr: %s\n"
                 "    idle_time: 1\n"
                 "    tx_bytes: %llu\n    rx_bytes: %llu\n"
                 "    sleep: no\n"
                 "    tx_avarage: %u\n    rx_avarage: %u\n"
                 "    rssi: %u (ss %u %u)\n"
                 "    expired_time: 30000 (10ms unit)\n"
                 "    current_tx_rate: %s %.1f\n"
                 "    link_time: %u hr %u min %u sec\n",
                 active, active, mac_text(c.mac, "").c_str(), c.tx_bytes, c.rx_bytes, c.tx_average, c.rx_average,
                 c.rssi, c.rssi, c.rssi - 1, kind == CLIENT_24G ? "HT MCS15" : "VHT NSS2-MCS9", c.rate, hours,
                 minutes, seconds);
        body += block;
    }
    return "-- STA info table -- (active: " + std::to_string(active) + ")\n" + body;
}

// The mesh peers a radio hears, one "Mesh MP_info" block each with the
// driver's twenty keys in its order.
std::string peer_file(const std::vector<emulated_node>& nodes, size_t index, mesh_topology topology, int radio,
                      int tick) {
    std::string out;
    for (size_t peer : emulated_peers(nodes.size(), index, topology)) {
        int rssi = (radio == 0 ? 62 : 70) - (int)((index + peer) % 7) - tick % 3;
        char block[1024];
        snprintf(block, sizeof block,
                 " -- Mesh MP_info --\n"
                 "state: 4\nhwaddr: %s\nmode: 1\n"
                 "Tx Packets: %d\nRx Packets: %d\n"
                 "Authentication: 1\nAssocation: 1\n"
                 "LocalLinkID: %zu\nPeerLinkID: %zu\n"
                 "operating_CH: %d\nCH_precedence: 0\n"
                 "R: %d\nEpt: 0\nrssi: %d\nmatric: %d\n"
                 "expire_Establish(jiffies): 30000\n(Sec): 300\n"
                 "expire_BootSeq & LLSA(jiffies): 0\n(mSec): 0\nretry: 0\n",
                 emulated_mac(nodes[peer].number, 2 + radio).c_str(), 10000 + tick * 120, 9000 + tick * 110,
                 index + 1, peer + 1, radio == 0 ? 36 : 6, radio == 0 ? 866 : 144, rssi, 100 - rssi);
        out += block;
    }
    return out;
}

// One 88-byte udhcpd lease: hardware address (16), address and expiry
// (network order), host name (64).
void append_lease(std::string* out, const client& c, uint32_t address) {
    unsigned char record[88] = {0};
    memcpy(record, c.mac, 6);
    uint32_t expires = htonl(86000);
    memcpy(record + 16, &address, 4);
    memcpy(record + 20, &expires, 4);
    snprintf(reinterpret_cast<char*>(record + 24), 64, "%s", c.name.c_str());
    out->append(reinterpret_cast<char*>(record), sizeof record);
}

}  // namespace

std::string emulated_mac(int number, int kind) {
    uint8_t mac[6] = {0x02, 0x56, 0x00, 0x00, (uint8_t)kind, (uint8_t)number};
    return mac_text(mac, "");
}

std::vector<size_t> emulated_peers(size_t count, size_t index, mesh_topology topology) {
    std::vector<size_t> peers;
    if (topology == mesh_topology::star) {
        if (index != 0) {
            peers.push_back(0);
        } else {
            for (size_t i = 1; i < count; i++) peers.push_back(i);
        }
        return peers;
    }
    if (index > 0) peers.push_back(index - 1);
    if (index + 1 < count) peers.push_back(index + 1);
    return peers;
}

bool write_driver_files(const std::vector<emulated_node>& nodes, const std::string& net, mesh_topology topology,
                        int tick, std::string* why) {
    std::vector<client> everyone;
    for (size_t i = 0; i < nodes.size(); i++) {
        const std::string& root = nodes[i].root;
        std::vector<client> clients = clients_of(i, i == 0, tick);
        everyone.insert(everyone.end(), clients.begin(), clients.end());
        if (!replace_file(root, "proc/wlan0/sta_info", station_file(clients, CLIENT_5G), why) ||
            !replace_file(root, "proc/wlan1/sta_info", station_file(clients, CLIENT_24G), why) ||
            !replace_file(root, "proc/wlan0-va0/sta_info", station_file(clients, CLIENT_GUEST), why))
            return false;
        for (int radio = 0; radio < 2; radio++) {
            std::string path = "proc/wlan" + std::to_string(radio) + "/mesh_assoc_mpinfo";
            if (!replace_file(root, path, peer_file(nodes, i, topology, radio, tick), why)) return false;
        }
    }
    std::string arp = "IP address       HW type     Flags       HW address            Mask     Device\n", leases;
    std::string known;  // the device tracker's sections of the main network's clients
    for (const auto& c : everyone) {
        if (c.host == 0) continue;
        std::string address = net + "." + std::to_string(c.host);
        char line[160];
        snprintf(line, sizeof line, "%-16s 0x1         0x2         %s     *        br0\n", address.c_str(),
                 mac_text(c.mac, ":").c_str());
        arp += line;
        append_lease(&leases, c, inet_addr(address.c_str()));
        if (c.kind != CLIENT_GUEST) {
            static const char* bands[] = {"5g", "2.4g", "", "wired"};
            std::string mac = mac_text(c.mac, "");
            known += "\nconfig sta '" + mac + "'\n\toption mac '" + mac + "'\n\toption name '" + c.name +
                     "'\n\toption online '1'\n\toption band '" + bands[c.kind] + "'\n\toption ip '" + address +
                     "'\n";
        }
    }
    const std::string& gateway = nodes.front().root;
    return replace_file(gateway, "proc/net/arp", arp, why) &&
           replace_file(gateway, "var/lib/misc/udhcpd.leases", leases, why) &&
           (tick > 0 || replace_file(gateway, "etc/config/devices", known, why));
}
