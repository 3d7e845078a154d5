// mesh_rpc over nng to a live node on loopback (a rep0 server in this
// process that answers a fixed response), against raw nng req/rep round trips
// of the same request and response bytes, measured in the same run:
//   - BM_RawNngDialPerCall: open, dial, send, receive, close per call, the
//     work a call by serial number must do;
//   - BM_RawNngRoundTrip: one send and receive on a connection kept open.
// The ratios of mesh_rpc's wall time to each are printed at the end.
#include "core/mesh_maintainer/table_segment.h"
#include "mesh_maintainer.h"
#include "mesh_rpc.h"
#include "platform.h"
#include "ratio_reporter.h"

#include <benchmark/benchmark.h>
#include <nng/nng.h>
#include <nng/protocol/reqrep0/rep.h>
#include <nng/protocol/reqrep0/req.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/stat.h>

#include <filesystem>
#include <string>
#include <thread>

namespace {

const char kSn[] = "0224081231A1002";
const char kResponse[] = "{\"result\":{\"status\":true}}";
std::string request_text;
std::string url;
vespin_request* request = nullptr;

// The live node: answers every request with kResponse (its NUL included).
void serve(nng_socket socket) {
    for (;;) {
        char* text = nullptr;
        size_t size = 0;
        if (nng_recv(socket, &text, &size, NNG_FLAG_ALLOC) != 0) return;
        nng_free(text, size);
        if (nng_send(socket, const_cast<char*>(kResponse), sizeof kResponse, 0) != 0) return;
    }
}

bool raw_exchange(nng_socket socket) {
    if (nng_send(socket, const_cast<char*>(request_text.c_str()), request_text.size() + 1, 0) != 0) return false;
    char* reply = nullptr;
    size_t size = 0;
    if (nng_recv(socket, &reply, &size, NNG_FLAG_ALLOC) != 0) return false;
    nng_free(reply, size);
    return true;
}

void BM_MeshRpc(benchmark::State& state) {
    for (auto _ : state) {
        vespin_response* response = mesh_rpc(kSn, request, 0);
        bool ok = !vespin_is_error(response) && response->code == 0;
        vespin_response_free(response);
        if (!ok) {
            state.SkipWithError("mesh_rpc failed");
            return;
        }
    }
}

void BM_RawNngDialPerCall(benchmark::State& state) {
    for (auto _ : state) {
        nng_socket socket;
        bool ok = nng_req0_open(&socket) == 0 && nng_dial(socket, url.c_str(), nullptr, 0) == 0 && raw_exchange(socket);
        nng_close(socket);
        if (!ok) {
            state.SkipWithError("raw exchange failed");
            return;
        }
    }
}

void BM_RawNngRoundTrip(benchmark::State& state) {
    nng_socket socket;
    if (nng_req0_open(&socket) != 0 || nng_dial(socket, url.c_str(), nullptr, 0) != 0) {
        state.SkipWithError("no connection");
        return;
    }
    for (auto _ : state)
        if (!raw_exchange(socket)) {
            state.SkipWithError("raw exchange failed");
            break;
        }
    nng_close(socket);
}

BENCHMARK(BM_MeshRpc)->UseRealTime();
BENCHMARK(BM_RawNngDialPerCall)->UseRealTime();
BENCHMARK(BM_RawNngRoundTrip)->UseRealTime();

}  // namespace

int main(int argc, char** argv) {
    benchmark::Initialize(&argc, argv);
    char pattern[] = "/tmp/vespin-bench-XXXXXX";
    std::string root = mkdtemp(pattern);
    for (const char* dir : {"/vespin", "/vespin/mesh", "/tmp", "/var", "/var/log", "/etc", "/etc/vespin"})
        mkdir((root + dir).c_str(), 0755);
    setenv("VESPIN_ROOT", root.c_str(), 1);
    plat_reload_root();

    nng_socket server;
    nng_listener listener;
    int port = 0;
    if (nng_rep0_open(&server) != 0 || nng_listen(server, "tcp4://127.0.0.1:0", &listener, 0) != 0 ||
        nng_listener_get_int(listener, NNG_OPT_TCP_BOUND_PORT, &port) != 0) {
        fprintf(stderr, "cannot listen on loopback\n");
        return 1;
    }
    url = "tcp4://127.0.0.1:" + std::to_string(port);
    std::thread serving(serve, server);

    mesh_maintainer* inst = mesh_maintainer_get_inst();
    mesh_node node = {};
    strcpy(node.sn, kSn);
    strcpy(node.ip, "127.0.0.1");
    strcpy(node.name, "bench");
    node.rpc_port = port;
    version_from_string(&node.version, "1.2.0");
    if (vespin_is_error(inst) || mesh_maintainer_put_node(inst, &node) != 0) {
        fprintf(stderr, "no node table\n");
        return 1;
    }
    json_object* params = json_tokener_parse("{\"radio\":1}");
    request = vespin_request_new("channels.list", params);
    json_object_put(params);
    json_object* json = vespin_request_to_json(request);
    request_text = json_object_to_json_string_ext(json, JSON_C_TO_STRING_PLAIN);
    json_object_put(json);

    ratio_reporter reporter;
    benchmark::RunSpecifiedBenchmarks(&reporter);
    double per_call = reporter.ratio("BM_MeshRpc/real_time", "BM_RawNngDialPerCall/real_time");
    double kept = reporter.ratio("BM_MeshRpc/real_time", "BM_RawNngRoundTrip/real_time");
    if (per_call > 0) printf("\nratio (mesh_rpc / raw nng open+dial+round trip+close, wall time): %.2f\n", per_call);
    if (kept > 0) printf("ratio (mesh_rpc / raw nng round trip on an open connection, wall time): %.2f\n", kept);

    vespin_request_free(request);
    nng_close(server);
    serving.join();
    mesh_table::forget_segment(true);
    std::filesystem::remove_all(root);
    benchmark::Shutdown();
    return 0;
}
