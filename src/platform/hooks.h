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
};

plat_hooks& plat_hooks_state();

// True when the armed countdown of this kind reaches its event now. Kept out
// of plat_hooks (which plat_test_reset replaces) so that the unarmed path is
// a single relaxed load.
bool plat_fault_due(plat_fault_kind kind);

// True when plat_write_file_atomic is to skip its fsync.
bool plat_hooks_skip_fsync();

// errno to report for opening this router path, or 0 to open normally.
int plat_hooks_open_failure(const char* router_path);
