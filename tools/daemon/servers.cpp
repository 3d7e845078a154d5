#include "servers.h"

#include "core/log.h"
#include "dispatch.h"

#include <arpa/inet.h>
#include <stdlib.h>
#include <string.h>
#include <sys/socket.h>
#include <unistd.h>

#include <chrono>

int rep_server::start(const std::string& url, std::string* why) {
    int rv = nng_rep0_open(&socket_);
    if (rv != 0) {
        *why = std::string("cannot open an nng reply socket: ") + nng_strerror(rv);
        return rv;
    }
    open_ = true;
    // Without a limit nng reserves whatever size a peer's header claims. nng
    // counts the request's 4-byte id (one hop: callers dial the daemon directly).
    rv = nng_socket_set_size(socket_, NNG_OPT_RECVMAXSZ, kRequestLimit + 4);
    if (rv != 0) {
        *why = std::string("cannot limit the request size: ") + nng_strerror(rv);
        stop();
        return rv;
    }
    rv = nng_listen(socket_, url.c_str(), nullptr, 0);
    if (rv != 0) {
        *why = "cannot listen at " + url + ": " + nng_strerror(rv);
        stop();
        return rv;
    }
    thread_ = std::thread(&rep_server::serve, this);
    return 0;
}

void rep_server::stop() {
    if (open_) nng_close(socket_);
    open_ = false;
    if (thread_.joinable()) thread_.join();
}

void rep_server::serve() {
    for (;;) {
        char* data = nullptr;
        size_t size = 0;
        int rv = nng_recv(socket_, &data, &size, NNG_FLAG_ALLOC);
        if (rv == NNG_ECLOSED) return;
        if (rv != 0) {
            VLOG_ERROR("Fail to receive request, errcode: %d(%s)", rv, nng_strerror(rv));
            continue;
        }
        uintptr_t post = 0;
        std::string reply = node_dispatch(data, size, &post);
        nng_free(data, size);
        rv = nng_send(socket_, const_cast<char*>(reply.c_str()), reply.size() + 1, 0);
        if (rv == NNG_ECLOSED) return;
        if (rv != 0) VLOG_ERROR("Fail to send reply, errcode: %d(%s)", rv, nng_strerror(rv));
        node_run_post(post);
    }
}

int datagram_server::start(uint16_t port, std::string* why) {
    message_receiver* receiver = new_message_receiver(&datagram_server::handle, (uintptr_t)this, port);
    if (vespin_is_error(receiver)) {
        *why = "cannot bind the datagram receiver to UDP port " + std::to_string(port);
        return vespin_error_code(receiver);
    }
    receiver_ = receiver;
    socklen_t length = sizeof address_;
    if (getsockname(receiver_->socket, reinterpret_cast<struct sockaddr*>(&address_), &length) != 0) {
        address_ = receiver_->address;
    }
    stopping_ = false;
    thread_ = std::thread(&datagram_server::serve, this);
    return 0;
}

struct sockaddr_in datagram_server::address() const { return address_; }

void datagram_server::stop() {
    if (!receiver_) return;
    stopping_ = true;
    if (thread_.joinable()) {
        // The receiver waits for a datagram however long it takes: send it one.
        struct sockaddr_in wake = address_;
        if (wake.sin_addr.s_addr == htonl(INADDR_ANY)) wake.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        int fd = socket(AF_INET, SOCK_DGRAM, 0);
        if (fd >= 0) {
            sendto(fd, "", 0, 0, reinterpret_cast<struct sockaddr*>(&wake), sizeof wake);
            close(fd);
        }
        thread_.join();
    }
    destroy_message_receiver(receiver_);
    receiver_ = nullptr;
}

int datagram_server::handle(char* buffer, int32_t length, char** reply, uintptr_t context,
                            message_post_action* post) {
    auto* self = reinterpret_cast<datagram_server*>(context);
    if (self->stopping_) return VESPIN_ERR_FAILURE;
    uintptr_t action = 0;
    std::string text = node_dispatch(buffer, length > 0 ? (size_t)length : 0, &action);
    *reply = strdup(text.c_str());
    if (!*reply) return VESPIN_ERR_NO_MEMORY;
    *post = reinterpret_cast<message_post_action>(action);
    return 0;
}

void datagram_server::serve() {
    while (!stopping_) {
        int rv = message_receiver_listen(receiver_, 1000);
        if (rv == VESPIN_ERR_FAILURE && !stopping_) std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
}
