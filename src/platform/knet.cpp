// The exchange with the URL-filter kernel module: a raw netlink socket on the
// router, the root's emulated module otherwise.
#include "platform.h"
#include "knet_emulated.h"

#include <errno.h>
#include <linux/netlink.h>
#include <string.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <unistd.h>

namespace {

const int kProtocol = 30;
const unsigned kPortId = 100;

struct socket_owner {
    int fd;
    ~socket_owner() {
        if (fd >= 0) {
            int saved = errno;
            close(fd);
            errno = saved;
        }
    }
};

plat_knet_result router_exchange(const void* message, size_t length, void* reply, size_t reply_size,
                                 size_t* received) {
    socket_owner sock{socket(AF_NETLINK, SOCK_RAW, kProtocol)};
    if (sock.fd < 0) return PLAT_KNET_SOCKET;
    struct sockaddr_nl local;
    memset(&local, 0, sizeof local);
    local.nl_family = AF_NETLINK;
    local.nl_pid = kPortId;
    if (bind(sock.fd, (struct sockaddr*)&local, sizeof local) < 0) return PLAT_KNET_BIND;
    struct sockaddr_nl kernel;
    memset(&kernel, 0, sizeof kernel);
    kernel.nl_family = AF_NETLINK;
    if (sendto(sock.fd, message, length, 0, (struct sockaddr*)&kernel, sizeof kernel) < 0) return PLAT_KNET_SEND;
    // A module that never answers must not hang the caller.
    struct timeval limit = {2, 0};
    setsockopt(sock.fd, SOL_SOCKET, SO_RCVTIMEO, &limit, sizeof limit);
    ssize_t n;
    do {
        n = recv(sock.fd, reply, reply_size, 0);
    } while (n < 0 && errno == EINTR);
    if (n < 0) return PLAT_KNET_RECV;
    *received = (size_t)n;
    return PLAT_KNET_OK;
}

}  // namespace

plat_knet_result plat_knet_exchange(const void* message, size_t length, void* reply, size_t reply_size,
                                    size_t* received) {
    *received = 0;
    if (plat_is_emulated()) return knet_emulated_exchange(message, length, reply, reply_size, received);
    return router_exchange(message, length, reply, reply_size, received);
}
