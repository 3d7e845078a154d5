// Shared state of the test hooks, read by the platform's own files.
#pragma once

#include "platform_testing.h"

#include <sys/time.h>

struct plat_hooks {
    plat_command_script command_script;
    std::vector<plat_command> commands;
    bool fake_clock = false;
    struct timeval clock_now = {0, 0};
    bool capture_log = false;
    std::vector<plat_log_entry> log;
    std::vector<std::pair<int, int>> failing_settings;  // id, bit 1 get, bit 2 set
    std::vector<std::pair<std::string, int>> failing_opens;
    int uci_writes_seen = 0;
    int uci_write_to_fail = 0;  // 1-based; 0: none
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

// errno to report for opening this router path, or 0 to open normally.
int plat_hooks_open_failure(const char* router_path);
