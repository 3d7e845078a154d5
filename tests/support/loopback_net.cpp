#include "loopback_net.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

namespace {

// Blocks 127.10.0 to 127.249.255: 240 × 256 of them.
const int kFirstA = 10, kBlocks = 240 * 256;

std::string block_name(int index) {
    return "127." + std::to_string(kFirstA + index / 256) + "." + std::to_string(index % 256);
}

bool can_bind(const std::string& address, uint16_t port, int type) {
    int fd = socket(AF_INET, type, 0);
    if (fd < 0) return false;
    struct sockaddr_in where = {};
    where.sin_family = AF_INET;
    where.sin_port = htons(port);
    inet_pton(AF_INET, address.c_str(), &where.sin_addr);
    bool ok = bind(fd, reinterpret_cast<struct sockaddr*>(&where), sizeof where) == 0;
    close(fd);
    return ok;
}

}  // namespace

std::string test_loopback_net(uint16_t port) {
    static std::string chosen;
    if (!chosen.empty()) return chosen;
    int start = (int)(getpid() % kBlocks);
    for (int step = 0; step < 64; step++) {
        std::string net = block_name((start + step * 7919) % kBlocks);
        if (can_bind(net + ".2", port, SOCK_DGRAM) && can_bind(net + ".2", port, SOCK_STREAM)) {
            chosen = net;
            break;
        }
    }
    if (chosen.empty()) chosen = block_name(start);
    return chosen;
}
