// A throw-away emulated root for fuzz targets that read settings, files or
// command output: made once per process, removed at exit, every command
// answered in-process with the fuzz input (nothing is run).
#pragma once

#include "platform.h"
#include "platform_testing.h"

#include <stdlib.h>
#include <sys/stat.h>

#include <filesystem>
#include <string>

// Makes the root on first use and answers every command with `output`.
inline void fuzz_root_with_output(const std::string& output) {
    static std::string root;
    if (root.empty()) {
        char pattern[] = "/tmp/vespin-fuzz-XXXXXX";
        root = mkdtemp(pattern);
        for (const char* dir : {"/flash", "/etc", "/etc/vespin", "/proc", "/proc/net", "/var"})
            mkdir((root + dir).c_str(), 0755);
        atexit([] { std::filesystem::remove_all(root); });
        setenv("VESPIN_ROOT", root.c_str(), 1);
        plat_reload_root();
        plat_write_file_atomic("/etc/vespin/interfaces", "eth1 addr=10.0.0.2 netmask=255.255.255.0\n");
    }
    // A fresh hook state each run: the command list and the captured log
    // would otherwise grow with every input.
    plat_test_reset();
    plat_test_capture_log();
    plat_test_set_command_script([output](const plat_command&, plat_command_reply* reply) {
        reply->output = output;
        return true;
    });
}
