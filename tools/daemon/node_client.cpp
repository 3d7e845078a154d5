#include "node_client.h"

#include "msghandle.h"
#include "request.h"

int nng_client::open(const std::string& address, uint16_t port, int timeout_ms, std::string* why) {
    std::string url = "tcp4://" + address + ":" + std::to_string(port);
    int rv = nng_req0_open(&socket_);
    if (rv != 0) {
        *why = std::string("cannot open an nng request socket: ") + nng_strerror(rv);
        return VESPIN_ERR_TRANSPORT;
    }
    open_ = true;
    nng_socket_set_ms(socket_, NNG_OPT_SENDTIMEO, timeout_ms);
    nng_socket_set_ms(socket_, NNG_OPT_RECVTIMEO, timeout_ms);
    // A blocking dial would wait out nng's own 10-second handshake with a
    // frozen node; dialing in the background lets the send timeout bound it.
    rv = nng_dial(socket_, url.c_str(), nullptr, NNG_FLAG_NONBLOCK);
    if (rv != 0) {
        *why = "cannot connect to " + url + ": " + nng_strerror(rv);
        close();
        return VESPIN_ERR_TRANSPORT;
    }
    url_ = url;
    timeout_ms_ = timeout_ms;
    return 0;
}

int nng_client::call(const std::string& request, std::string* reply, std::string* why) {
    int rv = nng_send(socket_, const_cast<char*>(request.c_str()), request.size() + 1, 0);
    if (rv == NNG_ETIMEDOUT) {
        *why = "cannot connect to " + url_ + " within " + std::to_string(timeout_ms_) + " ms";
        return VESPIN_ERR_TRANSPORT;
    }
    if (rv != 0) {
        *why = std::string("cannot send the request: ") + nng_strerror(rv);
        return VESPIN_ERR_TRANSPORT;
    }
    char* data = nullptr;
    size_t size = 0;
    rv = nng_recv(socket_, &data, &size, NNG_FLAG_ALLOC);
    if (rv != 0) {
        *why = "no answer from " + url_ + ": " + nng_strerror(rv);
        return VESPIN_ERR_TRANSPORT;
    }
    // The answer carries its NUL; stop at the first one in any case.
    size_t length = 0;
    while (length < size && data[length]) length++;
    reply->assign(data, length);
    nng_free(data, size);
    return 0;
}

void nng_client::close() {
    if (open_) nng_close(socket_);
    open_ = false;
}

std::string node_request_text(const char* method, json_object* params) {
    vespin_request* request = vespin_request_new(method, params);
    json_object* json = vespin_request_to_json(request);
    vespin_request_free(request);
    if (!json) return std::string();
    std::string text = json_object_to_json_string_ext(json, JSON_C_TO_STRING_PLAIN);
    json_object_put(json);
    return text;
}

int node_call_nng(const std::string& address, uint16_t port, const std::string& request, int timeout_ms,
                  std::string* reply, std::string* why) {
    nng_client client;
    int rv = client.open(address, port, timeout_ms, why);
    return rv != 0 ? rv : client.call(request, reply, why);
}

int node_call_udp(const std::string& address, uint16_t port, const std::string& request, int timeout_ms,
                  std::string* reply, std::string* why) {
    char answer[MESH_REPLY_MAX + 48] = {0};
    int rv = mesh_call(address.c_str(), request.data(), (int)request.size(), port, answer, timeout_ms);
    if (rv != 0) {
        *why = "no answer by datagram from " + address + ":" + std::to_string(port);
        return rv;
    }
    reply->assign(answer);
    return 0;
}
