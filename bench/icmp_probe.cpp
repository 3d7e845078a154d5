// What one reachability probe of a loopback check host costs: pingsock (open
// a raw socket, three echo requests 5 ms apart, wait for the first reply)
// against the bare round trip of one echo request on an open raw socket, and
// their ratio. Needs raw sockets (root or CAP_NET_RAW); skips otherwise.
#include "internal_diagnostics.h"

#include <arpa/inet.h>
#include <benchmark/benchmark.h>
#include <linux/icmp.h>
#include <netinet/in.h>
#include <poll.h>
#include <stdio.h>
#include <string.h>
#include <sys/socket.h>
#include <unistd.h>

#include <chrono>

namespace {

double pingsock_ns = 0, raw_ns = 0;

double mean_ns(const benchmark::State& state, std::chrono::steady_clock::duration total) {
    return std::chrono::duration<double, std::nano>(total).count() / (double)state.iterations();
}

void BM_PingsockLoopback(benchmark::State& state) {
    if (pingsock("127.0.0.1") != 0) {
        state.SkipWithError("raw ICMP sockets are not permitted, or loopback does not answer");
        return;
    }
    auto start = std::chrono::steady_clock::now();
    for (auto _ : state)
        if (pingsock("127.0.0.1") != 0) state.SkipWithError("probe failed");
    pingsock_ns = mean_ns(state, std::chrono::steady_clock::now() - start);
}

// The reference: one echo request and its reply on a socket kept open, with
// the same kernel filter against our own requests.
void BM_RawEchoRoundTrip(benchmark::State& state) {
    int sock = socket(AF_INET, SOCK_RAW, IPPROTO_ICMP);
    if (sock < 0) {
        state.SkipWithError("raw ICMP sockets are not permitted");
        return;
    }
    struct icmp_filter filter = {1u << ICMP_ECHO};
    setsockopt(sock, SOL_RAW, ICMP_FILTER, &filter, sizeof filter);
    struct sockaddr_in to;
    memset(&to, 0, sizeof to);
    to.sin_family = AF_INET;
    to.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    unsigned char request[64] = {8, 0, 0xf7, 0xff};  // type 8, checksum of an all-zero rest
    unsigned char reply[1024];
    auto start = std::chrono::steady_clock::now();
    for (auto _ : state) {
        sendto(sock, request, sizeof request, 0, (struct sockaddr*)&to, sizeof to);
        struct pollfd p = {sock, POLLIN, 0};
        if (poll(&p, 1, 2000) != 1 || recv(sock, reply, sizeof reply, 0) < 28) state.SkipWithError("no reply");
    }
    raw_ns = mean_ns(state, std::chrono::steady_clock::now() - start);
    close(sock);
}

BENCHMARK(BM_PingsockLoopback)->Unit(benchmark::kMillisecond)->MinTime(1.0)->UseRealTime();
BENCHMARK(BM_RawEchoRoundTrip)->Unit(benchmark::kMicrosecond)->UseRealTime();

}  // namespace

int main(int argc, char** argv) {
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    if (pingsock_ns > 0 && raw_ns > 0)
        printf("pingsock %.3f ms, bare echo round trip %.1f us, ratio %.0f\n", pingsock_ns / 1e6, raw_ns / 1e3,
               pingsock_ns / raw_ns);
    return 0;
}
