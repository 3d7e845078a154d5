// UCI get, set and commit on a package of 1,000 sections, against the bare
// cost of reading and of reading-and-replacing the same file. After the run
// it prints the ratios of each UCI operation to the matching file cost (real
// and CPU time), and of set + commit to read + write taking turns.
#include "platform.h"
#include "uci/context.h"
#include "uci/files.h"
#include "uci/parser.h"
#include "uciconfig.h"

#include "ratio_reporter.h"

#include <benchmark/benchmark.h>
#include <stdlib.h>
#include <time.h>

#include <chrono>
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

// Parsing the package text alone, from memory (the part a commit no longer repeats).
void BM_UciParse(benchmark::State& state) {
    std::string text;
    vuci::read_file(package_path(), &text);
    for (auto _ : state) {
        vuci::package p;
        benchmark::DoNotOptimize(vuci::parse_package(text, true, &p, nullptr));
    }
}
BENCHMARK(BM_UciParse);

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

// A new assignment each time, in every run and repetition: a commit with
// nothing to change would write nothing.
std::string next_assignment() {
    static int i = 0;
    std::string text = "bench.s" + std::to_string(i % kSections) + ".name=c" + std::to_string(i);
    ++i;
    return text;
}

// One-shot set: load, set, then commit (under the lock: write, rename).
void BM_UciSetCommit(benchmark::State& state) {
    for (auto _ : state) benchmark::DoNotOptimize(vespin_uci_set(4, next_assignment().c_str()));
}
BENCHMARK(BM_UciSetCommit);

// The one-shot set + commit and the bare read + write of the same file,
// taking turns in every iteration: both meet the same state of the file
// system (each replaced file leaves a deleted inode behind, and those make
// the next new inode slower to allocate), and the same load of the machine.
struct turn_totals {
    double uci_real = 0, uci_cpu = 0, file_real = 0, file_cpu = 0;
};
turn_totals g_turns;

double real_seconds() {
    return std::chrono::duration<double>(std::chrono::steady_clock::now().time_since_epoch()).count();
}

double cpu_seconds() {
    struct timespec ts;
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &ts);
    return (double)ts.tv_sec + (double)ts.tv_nsec * 1e-9;
}

void BM_UciSetCommitTakingTurns(benchmark::State& state) {
    std::string text;
    for (auto _ : state) {
        double real0 = real_seconds(), cpu0 = cpu_seconds();
        benchmark::DoNotOptimize(vespin_uci_set(4, next_assignment().c_str()));
        double real1 = real_seconds(), cpu1 = cpu_seconds();
        vuci::read_file(package_path(), &text);
        vuci::replace_file(package_path(), text, 0644);
        double real2 = real_seconds(), cpu2 = cpu_seconds();
        g_turns.uci_real += real1 - real0;
        g_turns.uci_cpu += cpu1 - cpu0;
        g_turns.file_real += real2 - real1;
        g_turns.file_cpu += cpu2 - cpu1;
    }
}
BENCHMARK(BM_UciSetCommitTakingTurns);

}  // namespace

int main(int argc, char** argv) {
    make_root();
    benchmark::Initialize(&argc, argv);
    ratio_reporter reporter;
    benchmark::RunSpecifiedBenchmarks(&reporter);
    // Real time is what a caller waits; on a busy disk the fsync of every
    // replaced file dominates it, so the CPU time ratio is shown beside it.
    auto& t = reporter.real_seconds;
    auto& cpu = reporter.cpu_seconds;
    // With --benchmark_repetitions the medians are used.
    auto ratio = [&](const char* what, std::string uci, std::string file) {
        if (t.count(uci + "_median") && t.count(file + "_median")) {
            uci += "_median";
            file += "_median";
        }
        if (t.count(uci) && t.count(file) && t[file] > 0 && cpu[file] > 0)
            printf("%-44s %8.2f %8.2f\n", what, t[uci] / t[file], cpu[uci] / cpu[file]);
    };
    printf("\nratios (UCI operation / bare file cost, %d sections):  real      cpu\n", kSections);
    ratio("get (one-shot) / read file", "BM_UciGet", "BM_FileRead");
    ratio("get (loaded) / read file", "BM_UciGetLoaded", "BM_FileRead");
    ratio("set (pending) / read file", "BM_UciSet", "BM_FileRead");
    ratio("set + commit (one-shot) / read + write file", "BM_UciSetCommit", "BM_FileReadWrite");
    if (g_turns.file_real > 0 && g_turns.file_cpu > 0)
        printf("%-44s %8.2f %8.2f\n", "the same, taking turns", g_turns.uci_real / g_turns.file_real,
               g_turns.uci_cpu / g_turns.file_cpu);
    benchmark::Shutdown();
    std::filesystem::remove_all(g_root);
    return 0;
}
