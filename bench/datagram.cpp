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

#include <atomic>
#include <chrono>
#include <map>
#include <string>
#include <thread>

namespace {

const char kLoopback[] = "127.0.0.1";

int echo_handler(char* buffer, int32_t length, char** reply, uintptr_t, message_post_action*) {
    *reply = strndup(buffer, (size_t)length);
    return 0;
}

// Mean nanoseconds per round trip of the last run of each benchmark, by payload size.
std::map<int64_t, double> mesh_call_ns;
std::map<int64_t, double> raw_udp_ns;

double mean_ns(std::chrono::steady_clock::duration total, int64_t iterations) {
    return iterations ? std::chrono::duration<double, std::nano>(total).count() / (double)iterations : 0;
}

void BM_MeshCallRoundTrip(benchmark::State& state) {
    message_receiver* receiver = new_message_receiver(echo_handler, 0, 0);
    if (vespin_is_error(receiver)) {
        state.SkipWithError("no receiver");
        return;
    }
    uint16_t port = bound_port(receiver->socket);
    std::atomic<bool> stop{false};
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
    mesh_call_ns[state.range(0)] = mean_ns(std::chrono::steady_clock::now() - start, state.iterations());
    stop = true;
    mesh_message(kLoopback, "stop", 4, port);
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
    raw_udp_ns[state.range(0)] = mean_ns(std::chrono::steady_clock::now() - start, state.iterations());
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
    for (const auto& [size, mesh_ns] : mesh_call_ns) {
        auto raw = raw_udp_ns.find(size);
        if (raw == raw_udp_ns.end() || raw->second <= 0) continue;
        printf("payload %lld bytes: mesh_call %.1f us, raw UDP %.1f us, ratio %.2f\n", (long long)size,
               mesh_ns / 1000, raw->second / 1000, mesh_ns / raw->second);
    }
    rmdir(root);
    return 0;
}
