#include "fuzz_root.h"

#include "platform.h"
#include "platform_testing.h"

#include <stdlib.h>
#include <sys/stat.h>

#include <filesystem>
#include <vector>

namespace {

std::string& root_dir() {
    static std::string* dir = new std::string();
    return *dir;
}

const char* const kRouterDirs[] = {"/flash", "/tmp", "/etc", "/etc/vespin", "/var", "/var/log", "/var/run",
                                   "/var/lib", "/var/lib/misc", "/var/scan", "/proc", "/proc/net"};

}  // namespace

const std::string& fuzz_root() {
    std::string& dir = root_dir();
    if (!dir.empty()) return dir;
    // In memory where the host offers it: the file targets replace a file or
    // two per run, and a disk under load makes that the whole cost.
    char in_memory[] = "/dev/shm/vespin-fuzz-XXXXXX";
    char on_disk[] = "/tmp/vespin-fuzz-XXXXXX";
    const char* made = mkdtemp(in_memory);
    if (!made) made = mkdtemp(on_disk);
    if (!made) abort();
    dir = made;
    for (const char* d : kRouterDirs) mkdir((dir + d).c_str(), 0755);
    setenv("VESPIN_ROOT", dir.c_str(), 1);
    plat_reload_root();
    // The WAN port, for the targets that read an interface's address.
    plat_write_file_atomic("/etc/vespin/interfaces", "eth1 addr=10.0.0.2 netmask=255.255.255.0\n");
    atexit(fuzz_root_remove);
    return dir;
}

void fuzz_root_remove() {
    std::string& dir = root_dir();
    if (dir.empty()) return;
    std::error_code ignored;
    std::filesystem::remove_all(dir, ignored);
    dir.clear();
}

void fuzz_write(const char* router_path, const uint8_t* data, size_t size) {
    plat_write_file_atomic(router_path, std::string((const char*)data, size));
}

fuzz_run::fuzz_run(std::string command_output) {
    fuzz_root();
    plat_test_capture_log();
    plat_test_skip_fsync(true);
    plat_test_set_clock(1700000000, 0);
    plat_test_set_command_script([command_output](const plat_command&, plat_command_reply* reply) {
        reply->output = command_output;
        return true;
    });
}

fuzz_run::~fuzz_run() { plat_test_reset(); }

std::vector<std::string> fuzz_pieces(const uint8_t* data, size_t size, size_t most) {
    std::vector<std::string> pieces(1);
    for (size_t i = 0; i < size; i++) {
        if (data[i] == 0xff && pieces.size() < most) pieces.emplace_back();
        else pieces.back() += (char)data[i];
    }
    return pieces;
}

// libFuzzer calls this once before the first input; the replay runner too.
extern "C" int LLVMFuzzerInitialize(int*, char***) {
    fuzz_root();
    return 0;
}
