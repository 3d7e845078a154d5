// Calling a node: one request text out, one response text back, over nng
// (req0 to "tcp4://<address>:<port>") or over datagrams (mesh_call).
#pragma once

#include <json-c/json.h>
#include <nng/nng.h>
#include <nng/protocol/reqrep0/req.h>
#include <stdint.h>

#include <string>

// The port every node serves on, over both transports.
#define NODE_RPC_PORT 10010

// The request text of a method and its params (NULL for none), as sent on the
// wire; "" when the method does not fit a request.
std::string node_request_text(const char* method, json_object* params);

// A req0 connection to one node, kept open for several calls.
class nng_client {
  public:
    nng_client() = default;
    ~nng_client() { close(); }
    nng_client(const nng_client&) = delete;
    nng_client& operator=(const nng_client&) = delete;

    // Starts dialing the node in the background; connecting and sending
    // together, and then the answer, each wait at most timeout_ms (a node
    // that refuses connections is therefore reported after timeout_ms).
    // 0, or 600406 with *why set.
    int open(const std::string& address, uint16_t port, int timeout_ms, std::string* why);
    // Sends the request (with its NUL) and receives the response text:
    // 0, or 600406 with *why set (refused, timed out, connection lost).
    int call(const std::string& request, std::string* reply, std::string* why);
    void close();

  private:
    nng_socket socket_ = NNG_SOCKET_INITIALIZER;
    bool open_ = false;
    std::string url_;
    int timeout_ms_ = 0;
};

// One call on a fresh connection: 0, or 600406 with *why set.
int node_call_nng(const std::string& address, uint16_t port, const std::string& request, int timeout_ms,
                  std::string* reply, std::string* why);
// One call by datagram (mesh_call; each of its three receive tries waits
// timeout_ms / 1000 + 1 seconds): 0, or 600406 with *why set.
int node_call_udp(const std::string& address, uint16_t port, const std::string& request, int timeout_ms,
                  std::string* reply, std::string* why);
