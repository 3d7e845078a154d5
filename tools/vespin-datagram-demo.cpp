// Shows one request travelling between two processes over the datagram
// transport on 127.0.0.1: a child serves a message receiver whose handler
// parses the request and answers a response; the parent sends a notification
// (acknowledgement only) and then a call, and prints every step.
// Uses the library's public headers only.
#include "msghandle.h"
#include "request.h"
#include "response.h"

#include <arpa/inet.h>
#include <errno.h>
#include <poll.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <string>

namespace {

const char kAddress[] = "127.0.0.1";
const uint16_t kRpcPort = 10010;
const int kDatagramsServed = 2;
const unsigned kReceiverLifetimeSeconds = 30;  // the child never outlives a failed parent by long

void after_reply() { printf("[receiver] after-reply action: runs now that the reply has been sent\n"); }

// Parses the datagram as a request and answers {"result": {"echo": method,
// "params": params}}, or the request's error code.
int echo_handler(char* buffer, int32_t length, char** reply, uintptr_t, message_post_action* post) {
    std::string text(buffer, (size_t)length);  // a full buffer carries no NUL
    printf("[receiver] datagram of %d bytes: %s\n", (int)length, text.c_str());
    vespin_request* request = vespin_request_new_from_json(text.c_str());
    vespin_response* response;
    if (vespin_is_error(request)) {
        response = vespin_response_new(vespin_error_code(request), "Invalid request", nullptr);
    } else {
        printf("[receiver] parsed request: method \"%s\"\n", request->method);
        json_object* result = json_object_new_object();
        json_object_object_add(result, "echo", json_object_new_string(request->method));
        json_object_object_add(result, "params", json_object_get(request->params));
        response = vespin_response_new(0, nullptr, result);
        json_object_put(result);
    }
    vespin_request_free(request);
    if (vespin_is_error(response)) return vespin_error_code(response);
    json_object* answer = vespin_response_to_json(response);
    *reply = strdup(json_object_to_json_string_ext(answer, JSON_C_TO_STRING_PLAIN));
    printf("[receiver] acknowledged with \"RECVED!\"; replying %s\n", *reply);
    json_object_put(answer);
    vespin_response_free(response);
    *post = after_reply;
    return 0;
}

// The child: serves kDatagramsServed datagrams, telling the parent its port
// through the pipe first. Port 10010 when it is free, else any free port.
int run_receiver(int port_pipe) {
    alarm(kReceiverLifetimeSeconds);
    message_receiver* receiver = new_message_receiver(echo_handler, 0, kRpcPort);
    if (vespin_is_error(receiver)) {
        printf("[receiver] port %d is taken (%d); using a free port\n", kRpcPort, vespin_error_code(receiver));
        receiver = new_message_receiver(echo_handler, 0, 0);
    }
    uint16_t port = 0;
    if (!vespin_is_error(receiver)) {
        struct sockaddr_in bound = {};
        socklen_t length = sizeof bound;
        getsockname(receiver->socket, reinterpret_cast<struct sockaddr*>(&bound), &length);
        port = ntohs(bound.sin_port);
        printf("[receiver] listening on %s:%d (UDP)\n", inet_ntoa(bound.sin_addr), port);
    }
    if (write(port_pipe, &port, sizeof port) != (ssize_t)sizeof port || port == 0) return 1;
    close(port_pipe);
    int failures = 0;
    for (int i = 0; i < kDatagramsServed; i++) {
        int code = message_receiver_listen(receiver, 1000);
        printf("[receiver] message_receiver_listen returned %d\n", code);
        failures += code != 0;
    }
    destroy_message_receiver(receiver);
    return failures ? 1 : 0;
}

// The port the child reports, or 0 when it reports none within 5 seconds.
uint16_t receiver_port(int port_pipe) {
    struct pollfd ready = {port_pipe, POLLIN, 0};
    uint16_t port = 0;
    if (poll(&ready, 1, 5000) == 1 && read(port_pipe, &port, sizeof port) == (ssize_t)sizeof port) return port;
    return 0;
}

std::string request_text(const char* method, const char* params_json) {
    json_object* params = json_tokener_parse(params_json);
    vespin_request* request = vespin_request_new(method, params);
    json_object_put(params);
    if (vespin_is_error(request)) return std::string();
    json_object* object = vespin_request_to_json(request);
    std::string text = json_object_to_json_string_ext(object, JSON_C_TO_STRING_PLAIN);
    json_object_put(object);
    vespin_request_free(request);
    return text;
}

// The parent: a notification, then a call whose reply becomes a response record.
int run_caller(uint16_t port) {
    std::string notify = request_text("system.notify", R"({"event":"demo started"})");
    printf("[caller] mesh_message to %s:%d: %s\n", kAddress, port, notify.c_str());
    int code = mesh_message(kAddress, notify.c_str(), (int)notify.size(), port);
    printf("[caller] mesh_message returned %d (0: the receiver acknowledged with \"RECVED!\")\n", code);
    if (code != 0) return 1;

    std::string call = request_text("system.echo", R"({"greeting":"hello mesh","hops":1})");
    printf("[caller] request JSON: %s\n", call.c_str());
    printf("[caller] mesh_call to %s:%d, timeout 1000 ms\n", kAddress, port);
    char reply[4096] = {};
    code = mesh_call(kAddress, call.c_str(), (int)call.size(), port, reply, 1000);
    printf("[caller] mesh_call returned %d; the acknowledgement was passed over; reply: %s\n", code, reply);
    if (code != 0) return 1;

    vespin_response* response = vespin_response_new_from_json(reply);
    if (vespin_is_error(response)) {
        printf("[caller] the reply is not a response: %d\n", vespin_error_code(response));
        return 1;
    }
    printf("[caller] response record: code %d, message \"%s\", result %s\n", response->code, response->message,
           response->result ? json_object_to_json_string_ext(response->result, JSON_C_TO_STRING_PLAIN) : "none");
    int failed = response->code != 0;
    vespin_response_free(response);
    return failed;
}

}  // namespace

int main() {
    setvbuf(stdout, nullptr, _IOLBF, 0);
    int port_pipe[2];
    if (pipe(port_pipe) != 0) {
        perror("pipe");
        return 1;
    }
    pid_t child = fork();
    if (child < 0) {
        perror("fork");
        return 1;
    }
    if (child == 0) {
        close(port_pipe[0]);
        _exit(run_receiver(port_pipe[1]));
    }
    close(port_pipe[1]);
    uint16_t port = receiver_port(port_pipe[0]);
    close(port_pipe[0]);
    int failed = port ? run_caller(port) : 1;
    if (!port) printf("[caller] the receiver did not start\n");
    if (failed && port) mesh_message(kAddress, "stop", 4, port);  // release a receiver still waiting
    int status = 0;
    while (waitpid(child, &status, 0) < 0 && errno == EINTR) {
    }
    bool child_ok = WIFEXITED(status) && WEXITSTATUS(status) == 0;
    printf("[caller] receiver process %d ended %s\n", (int)child, child_ok ? "cleanly" : "with a failure");
    printf("%s\n", !failed && child_ok ? "demo: OK" : "demo: FAILED");
    return !failed && child_ok ? 0 : 1;
}
