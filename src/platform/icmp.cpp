// Raw ICMP sockets for the echo prober, and the in-process sockets of tests.
#include "platform.h"
#include "hooks.h"

#include <errno.h>
#include <fcntl.h>
#include <linux/icmp.h>
#include <netinet/in.h>
#include <poll.h>
#include <string.h>
#include <sys/socket.h>
#include <unistd.h>

#include <map>

namespace {

const int kReceiveBuffer = 131072;
// Scripted sockets get numbers no real descriptor reaches.
const int kFirstScriptedSocket = 1 << 24;

struct scripted_socket {
    std::vector<plat_icmp_sent> sent;
    bool has_datagram = false;
    std::string datagram;
};

std::map<int, scripted_socket>& scripted_sockets() {
    static auto* sockets = new std::map<int, scripted_socket>();
    return *sockets;
}

scripted_socket* scripted(int sock) {
    auto found = scripted_sockets().find(sock);
    return found == scripted_sockets().end() ? nullptr : &found->second;
}

bool is_loopback(uint32_t address) { return (ntohl(address) >> 24) == 127; }

}  // namespace

int plat_icmp_open() {
    if (plat_hooks_state().icmp_script) {
        static int next = kFirstScriptedSocket;
        scripted_sockets()[next] = scripted_socket();
        return next++;
    }
    int sock = socket(AF_INET, SOCK_RAW, IPPROTO_ICMP);
    if (sock < 0) return -1;
    int size = kReceiveBuffer;
    setsockopt(sock, SOL_SOCKET, SO_RCVBUF, &size, sizeof size);
    int flags = fcntl(sock, F_GETFL);
    if (flags < 0 || fcntl(sock, F_SETFL, flags | O_NONBLOCK) < 0) {
        int saved = errno;
        close(sock);
        errno = saved;
        return -1;
    }
    return sock;
}

void plat_icmp_drop_echo_requests(int sock) {
    if (scripted(sock)) return;
    struct icmp_filter filter;
    filter.data = 1u << ICMP_ECHO;  // a set bit drops that type
    setsockopt(sock, SOL_RAW, ICMP_FILTER, &filter, sizeof filter);
}

int plat_icmp_send(int sock, const void* message, size_t size, uint32_t address) {
    if (scripted_socket* s = scripted(sock)) {
        plat_icmp_sent sent = {address, std::string((const char*)message, size)};
        s->sent.push_back(sent);
        plat_hooks_state().icmp_sent.push_back(sent);
        return (int)size;
    }
    if (plat_is_emulated() && !is_loopback(address)) {
        errno = ENETUNREACH;
        return -1;
    }
    struct sockaddr_in to;
    memset(&to, 0, sizeof to);
    to.sin_family = AF_INET;
    to.sin_addr.s_addr = address;
    return (int)sendto(sock, message, size, 0, (struct sockaddr*)&to, sizeof to);
}

int plat_icmp_wait(int sock, int timeout_ms) {
    if (scripted_socket* s = scripted(sock)) {
        auto& script = plat_hooks_state().icmp_script;
        s->has_datagram = script && script(s->sent, &s->datagram);
        if (!s->has_datagram && plat_hooks_state().fake_clock) plat_test_advance_clock(timeout_ms * 1000L);
        return s->has_datagram ? 1 : 0;
    }
    struct pollfd p = {sock, POLLIN, 0};
    for (;;) {
        int n = poll(&p, 1, timeout_ms);
        if (n >= 0 || errno != EINTR) return n > 0 ? 1 : n;
    }
}

int plat_icmp_receive(int sock, void* buffer, size_t size) {
    if (scripted_socket* s = scripted(sock)) {
        if (!s->has_datagram) {
            errno = EAGAIN;
            return -1;
        }
        s->has_datagram = false;
        size_t n = s->datagram.size() < size ? s->datagram.size() : size;
        memcpy(buffer, s->datagram.data(), n);
        return (int)n;
    }
    return (int)recv(sock, buffer, size, 0);
}

void plat_icmp_close(int sock) {
    if (scripted_sockets().erase(sock)) return;
    if (sock >= 0) close(sock);
}
