// The emulated root a fuzz target writes its input into: made once per
// process in a temporary directory (with one subdirectory), selected with
// VESPIN_ROOT, and removed at exit.
#pragma once

#include "platform.h"

#include <stdlib.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <string>

inline void fuzz_root_once(const char* subdirectory) {
    static std::string root;
    if (!root.empty()) return;
    char pattern[] = "/tmp/vespin-fuzz-XXXXXX";
    root = mkdtemp(pattern);
    mkdir((root + subdirectory).c_str(), 0755);
    atexit([] { std::filesystem::remove_all(root); });
    setenv("VESPIN_ROOT", root.c_str(), 1);
    plat_reload_root();
}
