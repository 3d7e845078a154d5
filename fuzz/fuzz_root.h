// A private emulated root for a fuzz target, made on first use and removed
// at exit, so that what the library writes and logs stays inside it.
#pragma once

#include "platform.h"

#include <stdlib.h>
#include <sys/stat.h>

#include <filesystem>
#include <string>

inline const std::string& fuzz_root() {
    static std::string root;
    if (root.empty()) {
        char pattern[] = "/tmp/vespin-fuzz-XXXXXX";
        root = mkdtemp(pattern);
        for (const char* dir : {"/etc", "/flash", "/var", "/var/log"}) mkdir((root + dir).c_str(), 0755);
        atexit([] { std::filesystem::remove_all(root); });
        setenv("VESPIN_ROOT", root.c_str(), 1);
        plat_reload_root();
    }
    return root;
}
