#include "msghandle.h"

#include "log.h"
#include "platform.h"
#include "text.h"

#include <arpa/inet.h>
#include <errno.h>
#include <stdlib.h>
#include <string.h>
#include <sys/socket.h>
#include <unistd.h>

namespace {

const char kAcknowledgement[] = "RECVED!";  // sent as 7 bytes, without the NUL
const size_t kAcknowledgementPrefix = 6;    // a caller only compares "RECVED"
const int kReceiveTries = 3;
const unsigned long kRetryPauseMicroseconds = 3000;
const size_t kReplyArea = 2048;

// Closes the descriptor it holds when it goes out of scope.
class socket_owner {
  public:
    explicit socket_owner(int fd) : fd_(fd) {}
    ~socket_owner() {
        if (fd_ >= 0) close(fd_);
    }
    socket_owner(const socket_owner&) = delete;
    socket_owner& operator=(const socket_owner&) = delete;
    int get() const { return fd_; }
    int release() {
        int fd = fd_;
        fd_ = -1;
        return fd;
    }

  private:
    int fd_;
};

// Close-on-exec keeps the socket out of the commands the daemon runs.
int new_datagram_socket() { return socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0); }

// Receive timeout of (timeout_ms / 1000) + 1 whole seconds; a negative
// timeout counts as 0, so the socket always gets a valid, non-zero timeout.
void set_receive_timeout(int fd, int timeout_ms) {
    struct timeval tv = {};
    tv.tv_sec = (timeout_ms < 0 ? 0 : timeout_ms / 1000) + 1;
    setsockopt(fd, SOL_SOCKET, SO_RCVTIMEO, &tv, sizeof tv);
}

bool woken_without_data(int error) { return error == EINTR || error == EAGAIN || error == EWOULDBLOCK; }

// Prints the system error of a failure that was logged just before (the log
// may have changed errno).
void perror_of(const char* prefix, int error) {
    errno = error;
    vespin_perror(prefix);
}

}  // namespace

message_receiver* new_message_receiver(message_handler handler, uintptr_t context, uint16_t port) {
    auto* receiver = static_cast<message_receiver*>(plat_calloc(1, sizeof(message_receiver)));
    if (!receiver) return VESPIN_ERROR_PTR(message_receiver*, VESPIN_ERR_NO_MEMORY);
    socket_owner fd(new_datagram_socket());
    if (fd.get() < 0) {
        vespin_perror("create socket error");
        free(receiver);
        return VESPIN_ERROR_PTR(message_receiver*, VESPIN_ERR_FAILURE);
    }
    int reuse = 1;
    setsockopt(fd.get(), SOL_SOCKET, SO_REUSEADDR, &reuse, sizeof reuse);
    receiver->address.sin_family = AF_INET;
    receiver->address.sin_addr.s_addr = plat_bind_address();
    receiver->address.sin_port = htons(port);
    if (bind(fd.get(), reinterpret_cast<struct sockaddr*>(&receiver->address), sizeof receiver->address) != 0) {
        int error = errno;
        VLOG_ERROR("bind");
        perror_of("Bind fail", error);
        free(receiver);
        return VESPIN_ERROR_PTR(message_receiver*, VESPIN_ERR_FAILURE);
    }
    receiver->socket = fd.release();
    receiver->handler = handler;
    receiver->context = context;
    return receiver;
}

int message_receiver_listen(message_receiver* receiver, int timeout_ms) {
    if (!receiver || vespin_is_error(receiver)) return VESPIN_ERR_FAILURE;
    set_receive_timeout(receiver->socket, timeout_ms);
    memset(receiver->buffer, 0, sizeof receiver->buffer);
    ssize_t received;
    do {
        socklen_t address_length = sizeof receiver->address;
        received = recvfrom(receiver->socket, receiver->buffer, sizeof receiver->buffer, 0,
                            reinterpret_cast<struct sockaddr*>(&receiver->address), &address_length);
    } while (received < 0 && woken_without_data(errno));
    if (received < 0) {
        int error = errno;
        VLOG_ERROR("Fail to receive data: %d", error);
        perror_of("Fail", error);
        return VESPIN_ERR_FAILURE;
    }
    const auto* peer = reinterpret_cast<const struct sockaddr*>(&receiver->address);
    if (sendto(receiver->socket, kAcknowledgement, sizeof kAcknowledgement - 1, 0, peer, sizeof receiver->address) < 0)
        vespin_print("send reply error:\n");

    char* reply = nullptr;
    message_post_action post = nullptr;
    int code = receiver->handler
                   ? receiver->handler(receiver->buffer, (int32_t)received, &reply, receiver->context, &post)
                   : 0;
    if (code != 0) {
        free(reply);
        return code;
    }
    if (reply) {
        if (sendto(receiver->socket, reply, strlen(reply), 0, peer, sizeof receiver->address) < 0)
            vespin_print("sendto error:\n");
        free(reply);
    }
    if (post) post();
    return 0;
}

void destroy_message_receiver(message_receiver* receiver) {
    if (!receiver || vespin_is_error(receiver)) return;
    close(receiver->socket);
    free(receiver);
}

int mesh_req(const char* address, uint16_t port, const char* payload, int length, char* reply, int timeout_ms) {
    char area[kReplyArea] = {};
    socket_owner fd(new_datagram_socket());
    if (fd.get() < 0) return VESPIN_ERR_TRANSPORT;

    struct sockaddr_in destination = {};
    destination.sin_family = AF_INET;
    destination.sin_port = htons(port);
    bool addressable = address && inet_pton(AF_INET, address, &destination.sin_addr) == 1;
    if (!addressable || !payload || length < 0) errno = EINVAL;
    if (!addressable || !payload || length < 0 ||
        sendto(fd.get(), payload, (size_t)length, 0, reinterpret_cast<struct sockaddr*>(&destination),
               sizeof destination) < 0) {
        int error = errno;
        VLOG_ERROR("....");
        perror_of("sendto error", error);
        return VESPIN_ERR_TRANSPORT;
    }
    set_receive_timeout(fd.get(), timeout_ms);

    int tries = 0;
    while (tries < kReceiveTries) {
        ssize_t received = recv(fd.get(), area, MESH_REPLY_MAX, 0);
        if (received < 0 && woken_without_data(errno)) {
            if (++tries < kReceiveTries) plat_usleep(kRetryPauseMicroseconds);
            continue;
        }
        if (received < 0) {
            vespin_print("recvform error\n");
            // The unchanged area stands for what was received. When it still
            // holds an acknowledgement, the failure counts as a try so that a
            // lasting error cannot keep the caller here forever.
            if (reply && strncmp(area, kAcknowledgement, kAcknowledgementPrefix) == 0) ++tries;
        } else {
            area[received] = 0;  // the area is larger than the 2000 bytes read
        }
        if (strncmp(area, kAcknowledgement, kAcknowledgementPrefix) == 0) {
            if (!reply) return 0;
            continue;
        }
        if (reply) copy_text(reply, MESH_REPLY_MAX + 1, area);
        return 0;
    }
    int error = errno;
    VLOG_ERROR("not recved msg!");
    perror_of("fail to receive", error);
    return VESPIN_ERR_TRANSPORT;
}

int mesh_message(const char* address, const char* payload, int length, uint16_t port) {
    return mesh_req(address, port, payload, length, nullptr, 0);
}

int mesh_call(const char* address, const char* payload, int length, uint16_t port, char* reply, int timeout_ms) {
    return mesh_req(address, port, payload, length, reply, timeout_ms);
}
