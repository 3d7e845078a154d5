// Datagrams from the mesh. The input's first piece (pieces end at 0xff
// bytes) is a request datagram for a message receiver, whose handler reads
// it as the daemon does (length given, no terminator promised) and answers;
// the other pieces are what a peer sends back to mesh_req: acknowledgements,
// replies, anything. A final datagram "end" lets mesh_req return at once.
#include "fuzz_root.h"
#include "msghandle.h"
#include "request.h"
#include "response.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <stdint.h>
#include <stdlib.h>
#include <string.h>
#include <sys/socket.h>
#include <unistd.h>

#include <string>
#include <thread>
#include <vector>

namespace {

int handle_request(char* buffer, int32_t length, char** reply, uintptr_t, message_post_action*) {
    if (length < 0 || length > MESSAGE_RECEIVER_BUFFER_SIZE) abort();
    std::string text(buffer, strnlen(buffer, (size_t)length));
    vespin_request* request = vespin_request_new_from_json(text.c_str());
    vespin_response* response = vespin_is_error(request)
                                    ? vespin_response_new(vespin_error_code(request), "Invalid request", nullptr)
                                    : vespin_response_new(0, nullptr, request->params);
    vespin_request_free(request);
    json_object* json = vespin_response_to_json(response);
    vespin_response_free(response);
    if (!json) return VESPIN_ERR_NO_MEMORY;
    *reply = strdup(json_object_to_json_string_ext(json, JSON_C_TO_STRING_PLAIN));
    json_object_put(json);
    return *reply ? 0 : VESPIN_ERR_NO_MEMORY;
}

struct sockaddr_in bound_address(int fd) {
    struct sockaddr_in address = {};
    socklen_t length = sizeof address;
    getsockname(fd, reinterpret_cast<struct sockaddr*>(&address), &length);
    return address;
}

int loopback_socket() {
    int fd = socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    struct sockaddr_in any = {};
    any.sin_family = AF_INET;
    any.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    if (fd < 0 || bind(fd, reinterpret_cast<struct sockaddr*>(&any), sizeof any) != 0) abort();
    return fd;
}

void serve_one_request(message_receiver* receiver, int client, const std::string& datagram) {
    struct sockaddr_in to = bound_address(receiver->socket);
    sendto(client, datagram.data(), datagram.size(), 0, reinterpret_cast<struct sockaddr*>(&to), sizeof to);
    if (message_receiver_listen(receiver, 0) != 0) abort();
    char drained[65536];
    while (recv(client, drained, sizeof drained, MSG_DONTWAIT) >= 0) {
    }
}

// Answers mesh_req's datagram with the pieces, then "end".
void peer_answers(int peer, std::vector<std::string> pieces) {
    char request[64];
    struct sockaddr_in from = {};
    socklen_t length = sizeof from;
    if (recvfrom(peer, request, sizeof request, 0, reinterpret_cast<struct sockaddr*>(&from), &length) < 0) return;
    pieces.push_back("end");
    for (const std::string& piece : pieces)
        sendto(peer, piece.data(), piece.size(), 0, reinterpret_cast<struct sockaddr*>(&from), length);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    fuzz_run run;
    static message_receiver* receiver = new_message_receiver(handle_request, 0, 0);
    static int client = loopback_socket();
    static int peer = loopback_socket();
    if (vespin_is_error(receiver)) abort();
    std::vector<std::string> pieces = fuzz_pieces(data, size, 4);
    serve_one_request(receiver, client, pieces[0]);
    pieces.erase(pieces.begin());

    uint16_t port = ntohs(bound_address(peer).sin_port);
    for (bool want_reply : {false, true}) {
        std::thread answering(peer_answers, peer, pieces);
        char reply[MESH_REPLY_MAX + 1 + 8];
        memset(reply, '#', sizeof reply);
        int code = mesh_req("127.0.0.1", port, "ping", 4, want_reply ? reply : nullptr, 0);
        answering.join();
        if (code != 0) abort();
        if (want_reply && strnlen(reply, MESH_REPLY_MAX + 1) > MESH_REPLY_MAX) abort();
    }
    return 0;
}
