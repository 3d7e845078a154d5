#include "peer_list.h"

#include "core/text.h"
#include "tools.h"

#include <stdlib.h>
#include <string.h>

namespace mesh_peers {

namespace {

// The keys of one peer, in the order the driver writes them.
const char* const kKeys[] = {"state: ",
                             "hwaddr: ",
                             "mode: ",
                             "Tx Packets: ",
                             "Rx Packets: ",
                             "Authentication: ",
                             "Assocation: ",  // the driver's own spelling
                             "LocalLinkID: ",
                             "PeerLinkID: ",
                             "operating_CH: ",
                             "CH_precedence: ",
                             "R: ",
                             "Ept: ",
                             "rssi: ",
                             "matric: ",
                             "expire_Establish(jiffies): ",
                             "(Sec): ",
                             "expire_BootSeq & LLSA(jiffies): ",
                             "(mSec): ",
                             "retry: "};
const int kKeyCount = sizeof kKeys / sizeof kKeys[0];
const int kSecondsKey = 16;  // "(Sec): ": the peer is complete
const size_t kLineSize = 512;

// The text after the key, or "" when the line does not begin with it.
const char* value_of(const char* line, const char* key) {
    while (*line == ' ' || *line == '\t') line++;
    size_t length = strlen(key);
    return strncmp(line, key, length) == 0 ? line + length : "";
}

int32_t number(const char* value) { return (int32_t)strtol(value, nullptr, 10); }

void set_text(char* field, size_t size, const char* value) {
    char line[kLineSize];
    trim(value, line);
    size_t end = strcspn(line, "\r\n");
    line[end] = 0;
    copy_text(field, size, line);
}

void set_field(mesh_peer* peer, int key, const char* value) {
    switch (key) {
        case 0: peer->state = number(value); break;
        case 1: set_text(peer->hwaddr, sizeof peer->hwaddr, value); break;
        case 2: set_text(peer->mode, sizeof peer->mode, value); break;
        case 3: peer->tx_packets = number(value); break;
        case 4: peer->rx_packets = number(value); break;
        case 9: peer->operating_ch = number(value); break;
        case 11: peer->r = number(value); break;
        case 13: peer->rssi = number(value); break;
        case 16: peer->expire_sec = number(value); break;
        default: break;  // read and dropped
    }
}

}  // namespace

void read_peer_list(FILE* file, int radio, std::vector<mesh_peer>* peers) {
    char line[kLineSize];
    int key = -1;  // -1: looking for "Mesh MP_info"
    mesh_peer peer = {};
    while (peers->size() < MESH_PEER_MAX && fgets(line, sizeof line, file)) {
        if (key < 0) {
            if (!strstr(line, "Mesh MP_info")) continue;
            peer = mesh_peer();
            peer.radio = radio;
            key = 0;
            continue;
        }
        set_field(&peer, key, value_of(line, kKeys[key]));
        if (key == kSecondsKey) peers->push_back(peer);
        key = key + 1 == kKeyCount ? -1 : key + 1;
    }
}

}  // namespace mesh_peers
