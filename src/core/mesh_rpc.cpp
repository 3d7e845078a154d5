// Calls from one mesh node to another by serial number: nng req0 for nodes
// at 1.2.0-rc.1 or newer, one datagram for older ones.
#include "mesh_rpc.h"

#include "core/json_ref.h"
#include "core/log.h"
#include "core/mesh_maintainer/table_lock.h"
#include "core/text.h"
#include "mesh_maintainer.h"
#include "msghandle.h"
#include "platform.h"
#include "vespin_core.h"

#include <nng/nng.h>
#include <nng/protocol/reqrep0/req.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <string>
#include <vector>

namespace {

const version kNngSince = {1, 2, 0, 1};  // 1.2.0-rc.1
const int kDatagramTimeoutMs = 3000;
const int kTries = 3;
const int kReplyWaitMs = 1000;
const unsigned long kSendRetryPauseMicroseconds = 20000;

// Where and how to reach one node, copied from the table under its lock.
struct target {
    char ip[MESH_NODE_IP_SIZE];
    int32_t rpc_port;
    version protocol;
};

vespin_response* response_of(int code, const char* message) { return vespin_response_new(code, message, nullptr); }

// The reply's bytes as text in the reply area, cut to leave its terminator.
void keep_reply(char* reply, const void* bytes, size_t size) {
    size_t kept = size < MESH_RPC_REPLY_SIZE - 1 ? size : MESH_RPC_REPLY_SIZE - 1;
    memcpy(reply, bytes, kept);
    reply[kept] = 0;
}

int call_by_datagram(const target& node, const std::string& text, char* reply) {
    // mesh_call writes up to 2000 bytes and a terminator: give it the room
    // it needs, then keep what fits the reply area.
    char received[MESH_REPLY_MAX + 1] = {0};
    int rv = mesh_call(node.ip, text.c_str(), (int)text.size(), (uint16_t)node.rpc_port, received, kDatagramTimeoutMs);
    if (rv == 0) keep_reply(reply, received, strlen(received));
    return rv;
}

// The reply's arrival, told by nng's callback to the caller's wait.
class reply_wait {
  public:
    static void arrived(void* self) {
        auto* wait = static_cast<reply_wait*>(self);
        std::lock_guard<std::mutex> hold(wait->mutex_);
        wait->done_ = true;
        wait->signal_.notify_all();
    }
    // True once the receive has ended (with the reply or an error), waiting
    // at most `ms` for it.
    bool wait_for(int ms) {
        std::unique_lock<std::mutex> hold(mutex_);
        return signal_.wait_for(hold, std::chrono::milliseconds(ms), [this] { return done_; });
    }

  private:
    std::mutex mutex_;
    std::condition_variable signal_;
    bool done_ = false;
};

// Up to three tries of a second each for the reply, taken as soon as it
// arrives. A try that ends without it logs nng's "try again" (what a
// non-blocking take reports), or the receive's own error once it failed.
int receive_reply(nng_socket socket, char* reply) {
    reply_wait wait;
    nng_aio* aio = nullptr;
    int rv = nng_aio_alloc(&aio, reply_wait::arrived, &wait);
    if (rv != 0) {
        VLOG_ERROR("Fail to receive data after %d retries, errcode: %d(%s)", 1, rv, nng_strerror(rv));
        return VESPIN_ERR_TRANSPORT;
    }
    nng_recv_aio(socket, aio);
    for (int attempt = 1; attempt <= kTries; attempt++) {
        bool ended = wait.wait_for(kReplyWaitMs);
        rv = ended ? nng_aio_result(aio) : NNG_EAGAIN;
        if (rv == 0) {
            nng_msg* message = nng_aio_get_msg(aio);
            keep_reply(reply, nng_msg_body(message), nng_msg_len(message));
            nng_msg_free(message);
            nng_aio_free(aio);
            return 0;
        }
        VLOG_ERROR("Fail to receive data after %d retries, errcode: %d(%s)", attempt, rv, nng_strerror(rv));
    }
    VLOG_ERROR("Fail to receive data after %d retries", kTries);
    nng_aio_cancel(aio);
    nng_aio_wait(aio);
    if (nng_aio_result(aio) == 0) nng_msg_free(nng_aio_get_msg(aio));  // came in as the wait ended
    nng_aio_free(aio);
    return VESPIN_ERR_TRANSPORT;
}

int call_by_nng(const target& node, const std::string& text, bool oneway, char* reply) {
    int flags = oneway ? NNG_FLAG_NONBLOCK : 0;
    nng_socket socket;
    int rv = nng_req0_open(&socket);
    if (rv != 0) {
        VLOG_ERROR("Fail to open socket, errcode: %d(%s)", rv, nng_strerror(rv));
        return VESPIN_ERR_TRANSPORT;
    }
    // A call that waits never blocks for good: a send that cannot go out in
    // the time of the reply's tries fails like any other send.
    if (!oneway) nng_socket_set_ms(socket, NNG_OPT_SENDTIMEO, kTries * kReplyWaitMs);
    char url[200];
    snprintf(url, sizeof url, "tcp4://%s:%d", node.ip, node.rpc_port);
    rv = nng_dial(socket, url, nullptr, flags);
    if (rv != 0) {
        VLOG_ERROR("Fail to dial %s, errcode: %d(%s)", url, rv, nng_strerror(rv));
        nng_close(socket);
        return VESPIN_ERR_TRANSPORT;
    }
    for (int attempt = 1;; attempt++) {
        rv = nng_send(socket, const_cast<char*>(text.c_str()), text.size() + 1, flags);
        if (rv == 0) break;
        if (rv == NNG_EAGAIN && oneway) {
            plat_usleep(kSendRetryPauseMicroseconds);
            VLOG_ERROR("Fail to send request after %d retries", attempt);
            if (attempt >= kTries) return 0;  // counts as sent; the socket stays open on purpose
            continue;
        }
        VLOG_ERROR("Fail to send request, errcode: %d(%s)", rv, nng_strerror(rv));
        nng_close(socket);
        return VESPIN_ERR_TRANSPORT;
    }
    // One-way: no reply is awaited, and the socket is deliberately left
    // open so that closing it cannot discard the request still queued.
    if (oneway) return 0;
    rv = receive_reply(socket, reply);
    nng_close(socket);
    return rv;
}

// The target's address, port and version when sn names a valid entry.
bool find_target(const char* sn, target* out) {
    mesh_maintainer* inst = mesh_maintainer_get_inst();
    if (vespin_is_error(inst)) return false;
    mesh_node* node = mesh_maintainer_get_neighbor_by_sn(inst, sn);
    if (!node) return false;
    mesh_table::read_consistent(inst, [&] {
        copy_text(out->ip, sizeof out->ip, node->ip);
        out->rpc_port = node->rpc_port;
        out->protocol = node->version;
    });
    return true;
}

}  // namespace

extern "C" {

vespin_response* mesh_rpc(const char* sn, vespin_request* request, int oneway) {
    target node;
    if (!sn || !find_target(sn, &node)) {
        VLOG_ERROR("Invalid sn: %s", sn ? sn : "(null)");
        return response_of(VESPIN_ERR_UNKNOWN_SN, "Unknown sn");
    }
    json_ref json(vespin_request_to_json(request));
    if (!json) return response_of(VESPIN_ERR_MISSING_PARAM, "Missing request");
    std::string text = json_object_to_json_string_ext(json.get(), JSON_C_TO_STRING_PLAIN);
    json.reset();
    bool one_way = (oneway & 0xff) != 0;
    char reply[MESH_RPC_REPLY_SIZE] = {0};
    int rv = version_compare(&node.protocol, &kNngSince) < 0 ? call_by_datagram(node, text, reply)
                                                              : call_by_nng(node, text, one_way, reply);
    if (rv != 0) return response_of(rv, nullptr);
    vespin_response* response = vespin_response_new_from_json(reply);
    if (vespin_is_error(response)) return response_of(VESPIN_ERR_TRANSPORT, "Wrong response from node");
    return response;
}

vespin_response* notify_all_nodes(vespin_request* request, int oneway) {
    const char* local = get_sn_2();
    if (vespin_is_error(local)) {
        VLOG_ERROR("Fail to load network top");
        return response_of(vespin_error_code(local), nullptr);
    }
    mesh_maintainer* inst = mesh_maintainer_get_inst();
    mesh_node** nodes = nullptr;
    int count = 0;
    int rv = vespin_is_error(inst) ? vespin_error_code(inst) : mesh_maintainer_network_top(inst, &nodes, &count);
    if (rv != 0) {
        VLOG_ERROR("Fail to load network top");
        return response_of(rv, nullptr);
    }
    // The serial numbers are taken at once: the records live in the shared table.
    std::vector<std::string> others;
    mesh_table::read_consistent(inst, [&] {
        others.clear();
        for (int i = 0; i < count; i++) {
            char sn[MESH_NODE_SN_SIZE];
            copy_text(sn, sizeof sn, nodes[i]->sn);
            if (strcmp(sn, local) != 0) others.push_back(sn);
        }
    });
    free(nodes);
    bool one_way = (oneway & 0xff) != 0;
    for (const std::string& sn : others) {
        vespin_response* response = mesh_rpc(sn.c_str(), request, oneway);
        int code = vespin_is_error(response) ? vespin_error_code(response) : response->code;
        vespin_response_free(response);
        if (!one_way && code != 0) return response_of(code, "Fail to mesh_rpc");
    }
    json_ref result(json_object_new_object());
    json_object_object_add(result.get(), "status", json_object_new_boolean(1));
    return vespin_response_new(0, nullptr, result.get());
}

}  // extern "C"
