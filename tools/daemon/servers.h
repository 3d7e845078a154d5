// The node's two servers, each serving on its own thread and answering every
// request through node_dispatch:
//   - rep_server: an nng rep0 listener ("tcp4://<address>:<port>"); requests
//     and responses travel with their terminating NUL; a request larger than
//     kRequestLimit is dropped by nng with its connection, before it is read;
//   - datagram_server: the library's message receiver on a UDP port, which
//     acknowledges, answers and then runs the response's after-reply action.
#pragma once

#include <netinet/in.h>
#include <nng/nng.h>
#include <nng/protocol/reqrep0/rep.h>
#include <stdint.h>

#include <atomic>
#include <string>
#include <thread>

#include "msghandle.h"

// The largest request the nng listener takes: far above any request of this
// system, and all a hostile peer can make the daemon hold per connection.
const size_t kRequestLimit = 64 * 1024;

class rep_server {
  public:
    rep_server() = default;
    ~rep_server() { stop(); }
    rep_server(const rep_server&) = delete;
    rep_server& operator=(const rep_server&) = delete;

    // Listens at url and starts serving: 0, or an nng error number with *why set.
    int start(const std::string& url, std::string* why);
    // Closes the socket (a call in progress finishes first) and joins the thread.
    void stop();

  private:
    void serve();

    nng_socket socket_ = NNG_SOCKET_INITIALIZER;
    bool open_ = false;
    std::thread thread_;
};

class datagram_server {
  public:
    datagram_server() = default;
    ~datagram_server() { stop(); }
    datagram_server(const datagram_server&) = delete;
    datagram_server& operator=(const datagram_server&) = delete;

    // Binds the receiver (to the node's bind address) and starts serving: 0,
    // or the code of new_message_receiver with *why set.
    int start(uint16_t port, std::string* why);
    // The address and port the receiver is bound to (network order).
    struct sockaddr_in address() const;
    // Wakes the receiver with a datagram of its own, joins the thread and
    // destroys the receiver.
    void stop();

  private:
    static int handle(char* buffer, int32_t length, char** reply, uintptr_t context, message_post_action* post);
    void serve();

    message_receiver* receiver_ = nullptr;
    struct sockaddr_in address_ = {};
    std::atomic<bool> stopping_{false};
    std::thread thread_;
};
