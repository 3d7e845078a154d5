// The WAN JSON round trip (wan_net_config_update_from_json, then
// wan_net_config_to_json printed to text) against json-c's own parse and
// print of the same text, measured in the same run. After the run it
// prints the ratio of the two.
#include "config_wan.h"

#include <benchmark/benchmark.h>

#include "ratio_reporter.h"
#include <stdio.h>
#include <string.h>

#include <map>
#include <memory>
#include <string>

namespace {

// A static WAN with DNS servers and one VLAN entry, as a client sends it.
const char kWanText[] =
    "{\"type\":\"static\",\"static\":{\"netinfo\":{\"ip\":\"203.0.113.20\",\"mask\":\"255.255.255.0\","
    "\"gateway\":\"203.0.113.1\",\"dns\":[\"8.8.8.8\",\"8.8.4.4\"]}},\"dhcp\":{\"dns\":[]},"
    "\"vlan\":[{\"enabled\":true,\"id\":35,\"priority\":3,\"is_bridged\":false,\"ports\":"
    "[{\"tagged\":true,\"port\":{\"id\":0}},{\"tagged\":false,\"port\":{\"id\":1}}]}]}";

void BM_JsonParsePrint(benchmark::State& state) {
    for (auto _ : state) {
        json_object* doc = json_tokener_parse(kWanText);
        benchmark::DoNotOptimize(json_object_to_json_string(doc));
        json_object_put(doc);
    }
}
BENCHMARK(BM_JsonParsePrint);

void BM_WanJsonRoundTrip(benchmark::State& state) {
    auto wan = std::make_unique<wan_net_config>();
    memset(wan.get(), 0, sizeof *wan);
    for (auto _ : state) {
        if (wan_net_config_update_from_json(wan.get(), kWanText) != 0) state.SkipWithError("update failed");
        json_object* out = wan_net_config_to_json(wan.get());
        benchmark::DoNotOptimize(json_object_to_json_string(out));
        json_object_put(out);
    }
}
BENCHMARK(BM_WanJsonRoundTrip);

}  // namespace

int main(int argc, char** argv) {
    benchmark::Initialize(&argc, argv);
    ratio_reporter reporter;
    benchmark::RunSpecifiedBenchmarks(&reporter);
    auto& t = reporter.seconds;
    if (t.count("BM_WanJsonRoundTrip") && t.count("BM_JsonParsePrint") && t["BM_JsonParsePrint"] > 0)
        printf("\nratio (WAN JSON round trip / json-c parse + print of the same text): %.2f\n",
               t["BM_WanJsonRoundTrip"] / t["BM_JsonParsePrint"]);
    benchmark::Shutdown();
    return 0;
}
