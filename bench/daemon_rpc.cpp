// Requests per second and median latency of one cheap method
// ("channels.list" of one region) served by the node daemon's own servers
// and dispatch code (tools/daemon, run in-process), over nng request/reply
// and over datagrams; against the raw nng request/reply round trip and the
// raw UDP round trip of the same request and response bytes. The ratios are
// printed at the end.
#include "../tests/support/loopback_udp.h"
#include "node_client.h"
#include "servers.h"

#include <benchmark/benchmark.h>
#include <nng/protocol/reqrep0/rep.h>
#include <stdio.h>
#include <stdlib.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <functional>
#include <map>
#include <string>
#include <thread>
#include <vector>

namespace {

const char kLoopback[] = "127.0.0.1";

struct figures {
    double requests_per_second = 0;
    double median_us = 0;
};
// The figures of every full run, by benchmark; the summary takes the median
// of each figure over the runs (use --benchmark_repetitions on a busy machine).
std::map<std::string, std::vector<figures>> measured;

std::string request_text, response_text;
uint16_t node_port, raw_nng_port, raw_udp_port;

double median(std::vector<double> values) {
    if (values.empty()) return 0;
    std::sort(values.begin(), values.end());
    size_t n = values.size();
    return n % 2 ? values[n / 2] : (values[n / 2 - 1] + values[n / 2]) / 2;
}

// Times every call; keeps the figures of a full run under `name`.
void measure(benchmark::State& state, const char* name, const std::function<bool()>& call) {
    std::vector<double> samples;
    samples.reserve(1 << 16);
    auto start = std::chrono::steady_clock::now();
    for (auto _ : state) {
        auto before = std::chrono::steady_clock::now();
        if (!call()) {
            state.SkipWithError("the call failed");
            return;
        }
        samples.push_back(std::chrono::duration<double, std::micro>(std::chrono::steady_clock::now() - before).count());
    }
    double seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    figures result = {seconds > 0 ? samples.size() / seconds : 0, median(samples)};
    state.counters["rps"] = result.requests_per_second;
    state.counters["median_us"] = result.median_us;
    if (state.iterations() >= 100) measured[name].push_back(result);
}

// Calls over one req0 connection to the port.
void nng_round_trips(benchmark::State& state, const char* name, uint16_t port) {
    nng_client client;
    std::string why, reply;
    if (client.open(kLoopback, port, 2000, &why) != 0) {
        state.SkipWithError(why.c_str());
        return;
    }
    measure(state, name, [&] { return client.call(request_text, &reply, &why) == 0; });
}

void BM_DaemonOverNng(benchmark::State& state) { nng_round_trips(state, "daemon nng", node_port); }
void BM_RawNng(benchmark::State& state) { nng_round_trips(state, "raw nng", raw_nng_port); }

void BM_DaemonOverDatagrams(benchmark::State& state) {
    std::string why, reply;
    measure(state, "daemon udp",
            [&] { return node_call_udp(kLoopback, node_port, request_text, 0, &reply, &why) == 0; });
}

void BM_RawUdp(benchmark::State& state) {
    int client = new_loopback_udp_socket();
    struct sockaddr_in to = loopback_address(raw_udp_port);
    char reply[4096];
    measure(state, "raw udp", [&] {
        send_datagram(client, to, request_text);
        return recv(client, reply, sizeof reply, 0) > 0;
    });
    close(client);
}

BENCHMARK(BM_DaemonOverNng)->UseRealTime();
BENCHMARK(BM_RawNng)->UseRealTime();
BENCHMARK(BM_DaemonOverDatagrams)->UseRealTime();
BENCHMARK(BM_RawUdp)->UseRealTime();

// A bare rep0 socket that answers every request with the daemon's response bytes.
struct raw_nng_server {
    nng_socket socket = NNG_SOCKET_INITIALIZER;
    std::thread thread;

    bool start() {
        nng_listener listener;
        nng_sockaddr address;
        if (nng_rep0_open(&socket) != 0 || nng_listen(socket, "tcp4://127.0.0.1:0", &listener, 0) != 0 ||
            nng_listener_get_addr(listener, NNG_OPT_LOCADDR, &address) != 0)
            return false;
        raw_nng_port = ntohs(address.s_in.sa_port);
        thread = std::thread([this] {
            for (;;) {
                char* data = nullptr;
                size_t size = 0;
                if (nng_recv(socket, &data, &size, NNG_FLAG_ALLOC) != 0) return;
                nng_free(data, size);
                nng_send(socket, const_cast<char*>(response_text.c_str()), response_text.size() + 1, 0);
            }
        });
        return true;
    }
    void stop() {
        nng_close(socket);
        if (thread.joinable()) thread.join();
    }
};

// A bare UDP socket that answers every datagram with the response bytes; an
// empty datagram stops it.
struct raw_udp_server {
    int fd = new_loopback_udp_socket();
    std::thread thread;

    void start() {
        raw_udp_port = bound_port(fd);
        thread = std::thread([this] {
            char buffer[8192];
            struct sockaddr_in from = {};
            for (;;) {
                socklen_t length = sizeof from;
                ssize_t n = recvfrom(fd, buffer, sizeof buffer, 0, reinterpret_cast<struct sockaddr*>(&from), &length);
                if (n <= 0) return;
                send_datagram(fd, from, response_text);
            }
        });
    }
    void stop() {
        send_datagram(fd, loopback_address(raw_udp_port), "");
        thread.join();
        close(fd);
    }
};

figures median_figures(const std::vector<figures>& runs) {
    std::vector<double> rates, medians;
    for (const auto& run : runs) {
        rates.push_back(run.requests_per_second);
        medians.push_back(run.median_us);
    }
    return {median(rates), median(medians)};
}

void print_ratio(const char* transport, const char* node_name, const char* raw_name) {
    if (!measured.count(node_name) || !measured.count(raw_name)) return;
    figures node = median_figures(measured[node_name]), raw = median_figures(measured[raw_name]);
    printf("%-9s daemon %8.0f req/s, median %6.1f us | raw %8.0f req/s, median %6.1f us | "
           "latency x%.2f, throughput x%.2f of raw (%zu runs)\n",
           transport, node.requests_per_second, node.median_us, raw.requests_per_second, raw.median_us,
           raw.median_us > 0 ? node.median_us / raw.median_us : 0,
           raw.requests_per_second > 0 ? node.requests_per_second / raw.requests_per_second : 0,
           measured[node_name].size());
}

}  // namespace

int main(int argc, char** argv) {
    json_object* params = json_tokener_parse("{\"region\": 840}");
    request_text = node_request_text("channels.list", params);
    json_object_put(params);

    std::string why;
    datagram_server datagrams;
    rep_server requests;
    if (datagrams.start(0, &why) != 0) {
        fprintf(stderr, "bench_daemon_rpc: %s\n", why.c_str());
        return 1;
    }
    node_port = ntohs(datagrams.address().sin_port);
    if (requests.start("tcp4://127.0.0.1:" + std::to_string(node_port), &why) != 0 ||
        node_call_nng(kLoopback, node_port, request_text, 2000, &response_text, &why) != 0) {
        fprintf(stderr, "bench_daemon_rpc: %s\n", why.c_str());
        return 1;
    }
    raw_nng_server raw_nng;
    raw_udp_server raw_udp;
    if (!raw_nng.start()) {
        fprintf(stderr, "bench_daemon_rpc: cannot start the raw nng server\n");
        return 1;
    }
    raw_udp.start();
    printf("request %zu bytes: %s\nresponse %zu bytes: %s\n", request_text.size(), request_text.c_str(),
           response_text.size(), response_text.c_str());

    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();

    print_ratio("nng", "daemon nng", "raw nng");
    print_ratio("datagrams", "daemon udp", "raw udp");

    raw_udp.stop();
    raw_nng.stop();
    requests.stop();
    datagrams.stop();
    return 0;
}
