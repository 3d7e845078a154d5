// An emulated root's /etc/hosts, which people edit by hand, as the resolver reads it.
#include "platform.h"
#include "platform_testing.h"

#include <stdint.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <string>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    static std::string root;
    if (root.empty()) {
        char pattern[] = "/tmp/vespin-fuzz-XXXXXX";
        root = mkdtemp(pattern);
        mkdir((root + "/etc").c_str(), 0755);
        atexit([] { std::filesystem::remove_all(root); });
        setenv("VESPIN_ROOT", root.c_str(), 1);
        plat_reload_root();
    }
    plat_write_file_atomic("/etc/hosts", std::string((const char*)data, size));
    uint32_t address = 0;
    for (const char* name : {"localhost", "check.test", "a", ""}) plat_resolve_ipv4(name, &address);
    plat_test_reset();  // the resolver records every name it is asked
    return 0;
}
