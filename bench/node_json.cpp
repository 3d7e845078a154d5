// The full node record (50 neighbours, 64 main and 64 guest stations): to
// JSON, printed, and loaded back from the text (mesh_node_to_json,
// json_object_to_json_string, mesh_node_load_json), against json-c's own
// parse and print of the same text, measured in the same run. After the run
// it prints the ratio of the two, on processor time (the machine is shared:
// wall time waits for other processes as well).
#include "mesh_node.h"

#include <benchmark/benchmark.h>
#include <json-c/json.h>

#include "ratio_reporter.h"
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include <string>

namespace {

// The text of a full node record, as a satellite sends it.
std::string full_node_text() {
    std::string text =
        R"({"protocol_version":1,"ip":"192.168.1.2","sn":"0224081231A1B2D","customer_id":"0100","rpc_port":10010,)"
        R"("state":0,"macs":{"wlan0":"025600000202","wlan1":"025600000302","eth0":"025600000602",)"
        R"("eth1":"025600000102"},"is_gw":false,"version":"1.9.7","name":"Lark-1B2D","neighbors":[)";
    char item[512];
    for (int i = 0; i < MESH_NODE_NEIGHBOR_MAX; ++i) {
        snprintf(item, sizeof item, R"(%s{"mac":"0256000002%02x","rssi":%d})", i ? "," : "", i, 30 + i);
        text += item;
    }
    for (const char* kind : {"stations", "guest_stations"}) {
        text += std::string("],\"") + kind + "\":[";
        bool guest = kind[0] == 'g';
        for (int i = 0; i < MESH_NODE_STATION_MAX; ++i) {
            snprintf(item, sizeof item,
                     R"(%s{"mac":"%s%02x","band":%d,"onlinetime":%d,"rtspeedup":%d,"rtspeeddown":%d,)"
                     R"("rx_bytes":%lld,"tx_bytes":%lld,%s"rssi":%d,"negotiation_rate":866700000})",
                     i ? "," : "", guest ? "3c22fb4455" : "6c5ab5a1c2", i, i % 2, 7985 + i, 24960 + i, 121600 + i,
                     3452210LL * (i + 1), 18432650LL * (i + 1), guest ? "\"guest_ap_id\":1," : "", -38 - i / 4);
            text += item;
        }
    }
    text += R"(],"system_info":{"cpu":23.75,"mem":{"used":61000,"total":124000}},"uptime":86461})";
    // The record's own print of it, as the benchmark prints.
    mesh_node* node = mesh_node_new_from_json(text.c_str());
    if (vespin_is_error(node)) return text;
    json_object* object = mesh_node_to_json(node);
    text = json_object_to_json_string(object);
    json_object_put(object);
    mesh_node_free(node);
    return text;
}

void BM_JsonParsePrint(benchmark::State& state) {
    std::string text = full_node_text();
    for (auto _ : state) {
        json_object* doc = json_tokener_parse(text.c_str());
        benchmark::DoNotOptimize(json_object_to_json_string(doc));
        json_object_put(doc);
    }
    state.SetLabel(std::to_string(text.size()) + " bytes");
}
BENCHMARK(BM_JsonParsePrint);

void BM_NodeRecordRoundTrip(benchmark::State& state) {
    mesh_node* node = mesh_node_new_from_json(full_node_text().c_str());
    if (vespin_is_error(node)) {
        state.SkipWithError("the node text does not load");
        return;
    }
    mesh_node* back = static_cast<mesh_node*>(calloc(1, sizeof(mesh_node)));
    for (auto _ : state) {
        json_object* object = mesh_node_to_json(node);
        const char* text = json_object_to_json_string(object);
        if (mesh_node_load_json(back, text) != 0) state.SkipWithError("load failed");
        json_object_put(object);
    }
    free(back);
    mesh_node_free(node);
}
BENCHMARK(BM_NodeRecordRoundTrip);

}  // namespace

int main(int argc, char** argv) {
    benchmark::Initialize(&argc, argv);
    ratio_reporter reporter(true);
    benchmark::RunSpecifiedBenchmarks(&reporter);
    double ratio = reporter.ratio("BM_NodeRecordRoundTrip", "BM_JsonParsePrint");
    if (ratio > 0)
        printf("\nratio (node record to JSON, print, load / json-c parse + print of the same text, CPU time): %.2f\n",
               ratio);
    benchmark::Shutdown();
    return 0;
}
