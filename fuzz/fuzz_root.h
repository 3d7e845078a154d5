// A private emulated root for a fuzz target, made on first use and removed
// at exit, so that what the library writes and logs stays inside it.
#pragma once

#include "platform.h"
#include "platform_testing.h"

#include <stdlib.h>
#include <sys/stat.h>

#include <filesystem>
#include <string>

inline const std::string& fuzz_root() {
    static std::string root;
    if (root.empty()) {
        char pattern[] = "/tmp/vespin-fuzz-XXXXXX";
        root = mkdtemp(pattern);
        for (const char* dir : {"/flash", "/etc", "/etc/vespin", "/proc", "/proc/net", "/var", "/var/log"})
            mkdir((root + dir).c_str(), 0755);
        atexit([] { std::filesystem::remove_all(root); });
        setenv("VESPIN_ROOT", root.c_str(), 1);
        plat_reload_root();
        plat_write_file_atomic("/etc/vespin/interfaces", "eth1 addr=10.0.0.2 netmask=255.255.255.0\n");
    }
    return root;
}

// The root, with every command answered in-process with `output` (nothing
// is run). The hook state is fresh each run: the command list and the
// captured log would otherwise grow with every input.
inline void fuzz_root_with_output(const std::string& output) {
    fuzz_root();
    plat_test_reset();
    plat_test_capture_log();
    plat_test_set_command_script([output](const plat_command&, plat_command_reply* reply) {
        reply->output = output;
        return true;
    });
}
