// vespinctl: calls one method on one node and prints the response.
//
//   vespinctl [--node ADDRESS] [--port N] [--udp] [--json] [--timeout MS] METHOD [JSON-PARAMS]
//
// --node: the node's IPv4 address (default 127.0.0.1); --udp: datagrams
// instead of nng; --json: print the response text as received; --timeout: how
// long nng waits for the answer (default 5000 ms; over datagrams each of the
// three receive tries waits MS / 1000 + 1 s).
// Exit status: 0 success, 1 the node answered with an error, 2 transport
// failure (no answer, or an answer that is not a response), 64 bad usage.
#include "node_client.h"
#include "response.h"

#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include <string>

namespace {

enum { EXIT_ERROR_RESPONSE = 1, EXIT_TRANSPORT = 2, EXIT_USAGE = 64 };

int usage(const char* problem) {
    if (problem) fprintf(stderr, "vespinctl: %s\n", problem);
    fprintf(stderr,
            "usage: vespinctl [--node ADDRESS] [--port N] [--udp] [--json] [--timeout MS] METHOD [JSON-PARAMS]\n");
    return EXIT_USAGE;
}

bool number_argument(const char* text, long low, long high, long* out) {
    char* end;
    *out = strtol(text, &end, 10);
    return *text && !*end && *out >= low && *out <= high;
}

// One line per member of an object result; anything else as indented JSON.
void print_result(json_object* result) {
    if (!result) {
        printf("ok\n");
        return;
    }
    if (!json_object_is_type(result, json_type_object)) {
        printf("%s\n", json_object_to_json_string_ext(result, JSON_C_TO_STRING_PRETTY));
        return;
    }
    json_object_object_foreach(result, key, value) {
        if (json_object_is_type(value, json_type_string))
            printf("%s: %s\n", key, json_object_get_string(value));
        else
            printf("%s: %s\n", key, json_object_to_json_string_ext(value, JSON_C_TO_STRING_SPACED));
    }
}

}  // namespace

int main(int argc, char** argv) {
    std::string node = "127.0.0.1";
    long port = NODE_RPC_PORT, timeout_ms = 5000;
    bool udp = false, raw = false;
    int i = 1;
    for (; i < argc && strncmp(argv[i], "--", 2) == 0; i++) {
        const char* option = argv[i];
        bool has_value = i + 1 < argc;
        if (strcmp(option, "--udp") == 0) {
            udp = true;
        } else if (strcmp(option, "--json") == 0) {
            raw = true;
        } else if (strcmp(option, "--node") == 0 && has_value) {
            node = argv[++i];
        } else if (strcmp(option, "--port") == 0 && has_value) {
            if (!number_argument(argv[++i], 1, 65535, &port)) return usage("--port takes a number from 1 to 65535");
        } else if (strcmp(option, "--timeout") == 0 && has_value) {
            if (!number_argument(argv[++i], 0, 3600000, &timeout_ms)) return usage("--timeout takes milliseconds");
        } else {
            return usage(nullptr);
        }
    }
    if (i >= argc || i + 2 < argc) return usage(nullptr);
    const char* method = argv[i];
    json_object* params = nullptr;
    if (i + 1 < argc) {
        params = json_tokener_parse(argv[i + 1]);
        if (!params) return usage("the params are not JSON");
    }
    std::string request = node_request_text(method, params);
    json_object_put(params);
    if (request.empty()) return usage("cannot build the request");

    std::string reply, why;
    const char* transport = udp ? "datagrams" : "nng";
    int rv = udp ? node_call_udp(node, (uint16_t)port, request, (int)timeout_ms, &reply, &why)
                 : node_call_nng(node, (uint16_t)port, request, (int)timeout_ms, &reply, &why);
    if (rv != 0) {
        fprintf(stderr, "vespinctl: transport failure (%d) calling %s on %s over %s: %s\n", rv, method, node.c_str(),
                transport, why.c_str());
        return EXIT_TRANSPORT;
    }
    vespin_response* response = vespin_response_new_from_json(reply.c_str());
    if (vespin_is_error(response)) {
        fprintf(stderr, "vespinctl: transport failure (%d) calling %s on %s over %s: the answer is not a response: %s\n",
                VESPIN_ERR_TRANSPORT, method, node.c_str(), transport, reply.c_str());
        return EXIT_TRANSPORT;
    }
    if (raw) printf("%s\n", reply.c_str());
    int status = 0;
    if (response->code != 0) {
        fprintf(stderr, "vespinctl: %s on %s answered error %d: %s\n", method, node.c_str(), response->code,
                response->message[0] ? response->message : "(no message)");
        status = EXIT_ERROR_RESPONSE;
    } else if (!raw) {
        print_result(response->result);
    }
    vespin_response_free(response);
    return status;
}
