// vespinctl: calls one method on one node and prints the response.
//
//   vespinctl [--node ADDRESS] [--port N] [--udp] [--json] [--timeout MS] [--sn SERIAL] METHOD [JSON-PARAMS]
//   vespinctl [--node ADDRESS] [--port N] [--udp] [--timeout MS] topo
//
// --sn: call the node of that serial number through the node named by
// --node (the gateway), whose mesh RPC carries the call ("mesh.rpc"); the
// answer is the remote node's. "topo": the topology as the node sees it
// ("mesh.topo": every node with its role, address, serial, state, clients,
// last sync and neighbours with RSSI) and the connected devices of the whole
// mesh ("devices.list": vendor, band and the node each hangs on).
// --node: the node's IPv4 address (default 127.0.0.1); --udp: datagrams
// instead of nng; --json: print the response text as received; --timeout: how
// long nng waits for the answer (default 5000 ms; over datagrams each of the
// three receive tries waits MS / 1000 + 1 s).
// Exit status: 0 success, 1 the node answered with an error, 2 transport
// failure (no answer, or an answer that is not a response), 64 bad usage.
#include "node_client.h"
#include "response.h"
#include "topology_text.h"

#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include <string>

namespace {

enum { EXIT_ERROR_RESPONSE = 1, EXIT_TRANSPORT = 2, EXIT_USAGE = 64 };

int usage(const char* problem) {
    if (problem) fprintf(stderr, "vespinctl: %s\n", problem);
    fprintf(stderr,
            "usage: vespinctl [--node ADDRESS] [--port N] [--udp] [--json] [--timeout MS] [--sn SERIAL] METHOD "
            "[JSON-PARAMS]\n       vespinctl [--node ADDRESS] [--port N] [--udp] [--timeout MS] topo\n");
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

struct target {
    std::string node;
    uint16_t port;
    bool udp;
    int timeout_ms;
};

// Calls one method: the response, or NULL with the failure printed (*status
// set to EXIT_TRANSPORT).
vespin_response* call(const target& to, const char* method, json_object* params, std::string* reply, int* status) {
    std::string request = node_request_text(method, params), why;
    *status = EXIT_TRANSPORT;
    if (request.empty()) {
        *status = usage("cannot build the request");
        return nullptr;
    }
    const char* transport = to.udp ? "datagrams" : "nng";
    int rv = to.udp ? node_call_udp(to.node, to.port, request, to.timeout_ms, reply, &why)
                    : node_call_nng(to.node, to.port, request, to.timeout_ms, reply, &why);
    if (rv != 0) {
        fprintf(stderr, "vespinctl: transport failure (%d) calling %s on %s over %s: %s\n", rv, method,
                to.node.c_str(), transport, why.c_str());
        return nullptr;
    }
    vespin_response* response = vespin_response_new_from_json(reply->c_str());
    if (vespin_is_error(response)) {
        fprintf(stderr, "vespinctl: transport failure (%d) calling %s on %s over %s: the answer is not a response: %s\n",
                VESPIN_ERR_TRANSPORT, method, to.node.c_str(), transport, reply->c_str());
        return nullptr;
    }
    *status = 0;
    return response;
}

// A response's result, or NULL with the error printed (*status set).
json_object* result_of(vespin_response* response, const target& to, const char* method, int* status) {
    if (!response) return nullptr;
    if (response->code == 0) return response->result;
    fprintf(stderr, "vespinctl: %s on %s answered error %d: %s\n", method, to.node.c_str(), response->code,
            response->message[0] ? response->message : "(no message)");
    *status = EXIT_ERROR_RESPONSE;
    return nullptr;
}

// "topo": the topology, then the connected devices.
int print_topology(const target& to) {
    std::string reply;
    int status = 0;
    vespin_response* topo = call(to, "mesh.topo", nullptr, &reply, &status);
    if (json_object* result = result_of(topo, to, "mesh.topo", &status)) printf("%s", topology_text(result).c_str());
    vespin_response_free(topo);
    if (status != 0) return status;
    vespin_response* devices = call(to, "devices.list", nullptr, &reply, &status);
    if (json_object* result = result_of(devices, to, "devices.list", &status))
        printf("\nConnected devices (%zu):\n%s", json_object_array_length(result), device_list_text(result).c_str());
    vespin_response_free(devices);
    return status;
}

}  // namespace

int main(int argc, char** argv) {
    std::string node = "127.0.0.1";
    long port = NODE_RPC_PORT, timeout_ms = 5000;
    bool udp = false, raw = false;
    const char* serial = nullptr;
    int i = 1;
    for (; i < argc && strncmp(argv[i], "--", 2) == 0; i++) {
        const char* option = argv[i];
        bool has_value = i + 1 < argc;
        if (strcmp(option, "--udp") == 0) {
            udp = true;
        } else if (strcmp(option, "--json") == 0) {
            raw = true;
        } else if (strcmp(option, "--sn") == 0 && has_value) {
            serial = argv[++i];
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
    target to = {node, (uint16_t)port, udp, (int)timeout_ms};
    const char* method = argv[i];
    if (strcmp(method, "topo") == 0 && i + 1 == argc && !serial) return print_topology(to);
    json_object* params = nullptr;
    if (i + 1 < argc) {
        params = json_tokener_parse(argv[i + 1]);
        if (!params) return usage("the params are not JSON");
    }
    if (serial) {
        // The gateway's mesh RPC carries the call: {"sn", "method", "params"}.
        json_object* relay = json_object_new_object();
        json_object_object_add(relay, "sn", json_object_new_string(serial));
        json_object_object_add(relay, "method", json_object_new_string(method));
        if (params) json_object_object_add(relay, "params", params);
        params = relay;
        method = "mesh.rpc";
    }
    std::string reply;
    int status = 0;
    vespin_response* response = call(to, method, params, &reply, &status);
    json_object_put(params);
    if (!response) return status;
    if (raw) printf("%s\n", reply.c_str());
    if (response->code != 0) {
        fprintf(stderr, "vespinctl: %s on %s answered error %d: %s\n", serial ? serial : method,
                serial ? ("the mesh through " + node).c_str() : node.c_str(), response->code,
                response->message[0] ? response->message : "(no message)");
        status = EXIT_ERROR_RESPONSE;
    } else if (!raw) {
        print_result(response->result);
    }
    vespin_response_free(response);
    return status;
}
