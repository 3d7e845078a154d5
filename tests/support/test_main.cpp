// The main of every test program. Before the first test (and so before any
// library call) the process gets a bare emulated root of its own, so that
// whatever runs outside a test_root logs, writes and runs commands there and
// never on the host; it is removed when the tests end. A copy of the program
// started by a test (a death test) shares its parent's process root, named
// by VESPIN_TEST_PROCESS_ROOT, and leaves it to the parent.
#include "platform.h"

#include <gtest/gtest.h>
#include <stdio.h>
#include <stdlib.h>

#include <filesystem>

namespace {

const char kProcessRootVariable[] = "VESPIN_TEST_PROCESS_ROOT";

// The parent's process root, or "" when this is the first test program.
std::string inherited_process_root() {
    const char* inherited = getenv(kProcessRootVariable);
    std::error_code ignored;
    return inherited && std::filesystem::is_directory(inherited, ignored) ? inherited : "";
}

}  // namespace

int main(int argc, char** argv) {
    std::string root = inherited_process_root();
    bool owned = root.empty();
    if (owned) {
        char pattern[] = "/tmp/vespin-process-root-XXXXXX";
        if (!mkdtemp(pattern)) {
            perror("cannot make the process root");
            return 1;
        }
        root = pattern;
        std::error_code ignored;
        for (const char* dir : {"/var/log", "/var/run", "/tmp", "/etc"})
            std::filesystem::create_directories(root + dir, ignored);
        setenv(kProcessRootVariable, root.c_str(), 1);
    }
    setenv("VESPIN_ROOT", root.c_str(), 1);
    plat_reload_root();
    testing::InitGoogleTest(&argc, argv);
    int result = RUN_ALL_TESTS();
    if (owned) {
        std::error_code ignored;
        std::filesystem::remove_all(root, ignored);
    }
    return result;
}
