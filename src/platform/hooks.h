// Shared state of the test hooks, read by the platform's own files.
#pragma once

#include "platform_testing.h"

#include <sys/time.h>

#include <atomic>

// The countdown faults (plat_test_fail_nth). Atomic because the library's
// threads may count down while a test arms them; assigning a fresh set (as
// plat_test_reset does) disarms every kind.
struct plat_fault_countdowns {
    static constexpr int kinds = PLAT_FAULT_UCI_WRITE + 1;
    std::atomic<int> left[kinds] = {};
    std::atomic<bool> fired[kinds] = {};
    std::atomic<bool> persists[kinds] = {};
    std::atomic<bool> skip_fsync{false};

    plat_fault_countdowns() = default;
    plat_fault_countdowns& operator=(const plat_fault_countdowns& other);
};

struct plat_hooks {
    plat_fault_countdowns faults;
    plat_command_script command_script;
    std::vector<plat_command> commands;
    bool fake_clock = false;
    struct timeval clock_now = {0, 0};
    bool capture_log = false;
    std::vector<plat_log_entry> log;
    std::vector<std::pair<int, int>> failing_settings;  // id, bit 1 get, bit 2 set
    std::vector<std::pair<std::string, int>> failing_opens;
    plat_icmp_script icmp_script;
    std::vector<plat_icmp_sent> icmp_sent;
    std::vector<std::string> resolved;
    long http_transfer_timeout_ms = 0;  // 0: as the core set it
    long http_connect_timeout_ms = 0;
    bool alarm_held = false;           // alarms are kept here instead of armed
    unsigned alarm_seconds = 0;        // the held alarm's delay; 0: none armed
    void (*alarm_handler)(int) = nullptr;
};

plat_hooks& plat_hooks_state();

// True when the armed countdown of this kind reaches its event now; the
// unarmed path is one relaxed load.
bool plat_fault_due(plat_fault_kind kind);

// True when plat_write_file_atomic is to skip its fsync.
bool plat_hooks_skip_fsync();

// errno to report for opening this router path, or 0 to open normally.
int plat_hooks_open_failure(const char* router_path);
