// UCI get, set and commit on a package of 1,000 sections, against the bare
// cost of reading and of reading-and-replacing the same file. After the run
// it prints the ratios of each UCI operation to the matching file cost.
#include "platform.h"
#include "uci/context.h"
#include "uci/files.h"
#include "uciconfig.h"

#include <benchmark/benchmark.h>

#include "ratio_reporter.h"
#include <stdlib.h>

#include <filesystem>
#include <map>
#include <string>

namespace {

const int kSections = 1000;

std::string g_root;

std::string package_path() { return g_root + "/etc/config/bench"; }

void make_root() {
    char pattern[] = "/tmp/vespin-bench-uci-XXXXXX";
    g_root = mkdtemp(pattern);
    std::filesystem::create_directories(g_root + "/etc/config");
    std::filesystem::create_directories(g_root + "/tmp/.uci");
    std::string text;
    for (int i = 0; i < kSections; ++i)
        text += "\nconfig device 's" + std::to_string(i) + "'\n\toption mac '0011223344" + std::to_string(i % 100) +
                "'\n\toption name 'Device " + std::to_string(i) + "'\n\tlist hosts 'a.example'\n\tlist hosts 'b.example'\n";
    vuci::replace_file(package_path(), text + "\n", 0644);
    setenv("VESPIN_ROOT", g_root.c_str(), 1);
    plat_reload_root();
}

// Bare file costs of the same package file.
void BM_FileRead(benchmark::State& state) {
    std::string text;
    for (auto _ : state) benchmark::DoNotOptimize(vuci::read_file(package_path(), &text));
}
BENCHMARK(BM_FileRead);

void BM_FileReadWrite(benchmark::State& state) {
    std::string text;
    for (auto _ : state) {
        vuci::read_file(package_path(), &text);
        vuci::replace_file(package_path(), text, 0644);
    }
}
BENCHMARK(BM_FileReadWrite);

// One-shot get: load, parse and look up.
void BM_UciGet(benchmark::State& state) {
    char out[256];
    for (auto _ : state) benchmark::DoNotOptimize(vespin_uci_get("bench.s500.name", out));
}
BENCHMARK(BM_UciGet);

// Lookups in a package already loaded.
void BM_UciGetLoaded(benchmark::State& state) {
    uci_context* ctx = vespin_uci_ctx_new();
    char out[256];
    int i = 0;
    for (auto _ : state) {
        std::string path = "bench.s" + std::to_string(i++ % kSections) + ".name";
        benchmark::DoNotOptimize(vespin_uci_ctx_get(ctx, path.c_str(), out));
    }
    vespin_uci_ctx_free(ctx);
}
BENCHMARK(BM_UciGetLoaded);

// Sets in a context, kept pending in memory.
void BM_UciSet(benchmark::State& state) {
    uci_context* ctx = vespin_uci_ctx_new();
    int i = 0;
    for (auto _ : state) {
        std::string text = "bench.s" + std::to_string(i % kSections) + ".name=n" + std::to_string(i);
        ++i;
        benchmark::DoNotOptimize(vespin_uci_ctx_cmd(ctx, 4, text.c_str()));
    }
    vespin_uci_ctx_free(ctx);
}
BENCHMARK(BM_UciSet);

// One-shot set: load, set, then commit (re-read under the lock, write, rename).
void BM_UciSetCommit(benchmark::State& state) {
    int i = 0;
    for (auto _ : state) {
        std::string text = "bench.s" + std::to_string(i % kSections) + ".name=c" + std::to_string(i);
        ++i;
        benchmark::DoNotOptimize(vespin_uci_set(4, text.c_str()));
    }
}
BENCHMARK(BM_UciSetCommit);

// Collects each benchmark's real time per iteration for the ratios.
}  // namespace

int main(int argc, char** argv) {
    make_root();
    benchmark::Initialize(&argc, argv);
    ratio_reporter reporter;
    benchmark::RunSpecifiedBenchmarks(&reporter);
    auto& t = reporter.seconds;
    auto ratio = [&](const char* what, const char* uci, const char* file) {
        if (t.count(uci) && t.count(file) && t[file] > 0)
            printf("%-44s %8.2f\n", what, t[uci] / t[file]);
    };
    printf("\nratios (UCI operation / bare file cost, %d sections):\n", kSections);
    ratio("get (one-shot) / read file", "BM_UciGet", "BM_FileRead");
    ratio("get (loaded) / read file", "BM_UciGetLoaded", "BM_FileRead");
    ratio("set (pending) / read file", "BM_UciSet", "BM_FileRead");
    ratio("set + commit (one-shot) / read + write file", "BM_UciSetCommit", "BM_FileReadWrite");
    benchmark::Shutdown();
    std::filesystem::remove_all(g_root);
    return 0;
}
