// The datagram transport's round trip (mesh_call to a receiver on loopback)
// against a plain UDP echo of the same payload, and their ratio: what the
// acknowledgement, the per-call socket and the receiver's work cost.
#include "../tests/support/loopback_udp.h"
#include "msghandle.h"
#include "platform.h"

#include <benchmark/benchmark.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <map>
#include <string>
#include <thread>
#include <vector>

namespace {

const char kLoopback[] = "127.0.0.1";

const char kStop[] = "stop";

// Echoes the payload; the payload "stop" ends the serving loop (context: its flag).
int echo_handler(char* buffer, int32_t length, char** reply, uintptr_t context, message_post_action*) {
    if (length == (int32_t)strlen(kStop) && memcmp(buffer, kStop, strlen(kStop)) == 0)
        *reinterpret_cast<std::atomic<bool>*>(context) = true;
    *reply = strndup(buffer, (size_t)length);
    return 0;
}

// Mean nanoseconds per round trip of every run of each benchmark, by payload
// size; the ratio printed at the end compares their medians, which holds up
// better than one run on a busy machine (use --benchmark_repetitions).
std::map<int64_t, std::vector<double>> mesh_call_ns;
std::map<int64_t, std::vector<double>> raw_udp_ns;

double median(std::vector<double> values) {
    std::sort(values.begin(), values.end());
    size_t n = values.size();
    return n % 2 ? values[n / 2] : (values[n / 2 - 1] + values[n / 2]) / 2;
}

// Keeps the mean of one run; the library's short sizing runs are left out.
void record_run(std::map<int64_t, std::vector<double>>* runs, const benchmark::State& state,
                std::chrono::steady_clock::duration total) {
    if (state.iterations() < 100) return;
    (*runs)[state.range(0)].push_back(std::chrono::duration<double, std::nano>(total).count() /
                                      (double)state.iterations());
}

void BM_MeshCallRoundTrip(benchmark::State& state) {
    std::atomic<bool> stop{false};
    message_receiver* receiver = new_message_receiver(echo_handler, reinterpret_cast<uintptr_t>(&stop), 0);
    if (vespin_is_error(receiver)) {
        state.SkipWithError("no receiver");
        return;
    }
    uint16_t port = bound_port(receiver->socket);
    std::thread server([&] {
        while (!stop) message_receiver_listen(receiver, 0);
    });
    std::string payload(state.range(0), 'p');
    char reply[4096];
    auto start = std::chrono::steady_clock::now();
    for (auto _ : state) {
        if (mesh_call(kLoopback, payload.data(), (int)payload.size(), port, reply, 0) != 0)
            state.SkipWithError("mesh_call failed");
    }
    record_run(&mesh_call_ns, state, std::chrono::steady_clock::now() - start);
    mesh_message(kLoopback, kStop, (int)strlen(kStop), port);
    server.join();
    destroy_message_receiver(receiver);
    state.SetBytesProcessed(state.iterations() * state.range(0));
}

void BM_RawUdpRoundTrip(benchmark::State& state) {
    int echo = new_loopback_udp_socket();
    int client = new_loopback_udp_socket();
    uint16_t echo_port = bound_port(echo);
    std::thread server([echo] {
        char buffer[8192];
        struct sockaddr_in from = {};
        for (;;) {
            socklen_t length = sizeof from;
            ssize_t n = recvfrom(echo, buffer, sizeof buffer, 0, reinterpret_cast<struct sockaddr*>(&from), &length);
            if (n <= 0) return;  // an empty datagram ends the echo
            send_datagram(echo, from, std::string(buffer, (size_t)n));
        }
    });
    std::string payload(state.range(0), 'p');
    struct sockaddr_in to = loopback_address(echo_port);
    char reply[4096];
    auto start = std::chrono::steady_clock::now();
    for (auto _ : state) {
        send_datagram(client, to, payload);
        benchmark::DoNotOptimize(recv(client, reply, sizeof reply, 0));
    }
    record_run(&raw_udp_ns, state, std::chrono::steady_clock::now() - start);
    send_datagram(client, to, "");
    server.join();
    close(client);
    close(echo);
    state.SetBytesProcessed(state.iterations() * state.range(0));
}

BENCHMARK(BM_MeshCallRoundTrip)->Arg(64)->Arg(1900)->UseRealTime();
BENCHMARK(BM_RawUdpRoundTrip)->Arg(64)->Arg(1900)->UseRealTime();

}  // namespace

int main(int argc, char** argv) {
    // An empty emulated root makes the receiver bind to 127.0.0.1 only.
    char root[] = "/tmp/vespin-bench-XXXXXX";
    if (!mkdtemp(root)) return 1;
    setenv("VESPIN_ROOT", root, 1);
    plat_reload_root();
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    for (const auto& [size, mesh_runs] : mesh_call_ns) {
        auto raw_runs = raw_udp_ns.find(size);
        if (raw_runs == raw_udp_ns.end()) continue;
        double mesh_ns = median(mesh_runs), raw_ns = median(raw_runs->second);
        if (raw_ns <= 0) continue;
        printf("payload %lld bytes (median of %zu runs): mesh_call %.1f us, raw UDP %.1f us, ratio %.2f\n",
               (long long)size, mesh_runs.size(), mesh_ns / 1000, raw_ns / 1000, mesh_ns / raw_ns);
    }
    rmdir(root);
    return 0;
}
