// A console reporter that also keeps each benchmark's time per iteration, so
// that a program can print the ratio of a measurement to its reference run.
#pragma once

#include <benchmark/benchmark.h>

#include <map>
#include <string>
#include <vector>

class ratio_reporter : public benchmark::ConsoleReporter {
  public:
    // cpu_time: keep processor time instead of wall time (on a shared machine
    // wall time also waits for other processes).
    explicit ratio_reporter(bool cpu_time = false) : cpu_time_(cpu_time) {}
    std::map<std::string, double> seconds;  // by the choice above
    std::map<std::string, double> real_seconds, cpu_seconds;
    void ReportRuns(const std::vector<Run>& runs) override {
        for (const Run& run : runs) {
            real_seconds[run.benchmark_name()] = run.GetAdjustedRealTime();
            cpu_seconds[run.benchmark_name()] = run.GetAdjustedCPUTime();
            seconds[run.benchmark_name()] = cpu_time_ ? run.GetAdjustedCPUTime() : run.GetAdjustedRealTime();
        }
        ConsoleReporter::ReportRuns(runs);
    }
    // Time of a over time of b, or -1 when either is missing.
    double ratio(const std::string& a, const std::string& b) {
        return seconds.count(a) && seconds.count(b) && seconds[b] > 0 ? seconds[a] / seconds[b] : -1;
    }

  private:
    bool cpu_time_;
};
