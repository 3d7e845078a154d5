#include "test_root.h"

#include "core/mesh_maintainer/table_segment.h"
#include "platform.h"
#include "platform_testing.h"

#include <gtest/gtest.h>
#include <signal.h>
#include <stdlib.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <sstream>
#include <vector>

namespace {

// The processes whose working directory lies inside dir: commands started in
// the root that are still running.
std::vector<pid_t> processes_inside(const std::string& dir) {
    std::vector<pid_t> found;
    std::error_code error;
    for (const auto& entry : std::filesystem::directory_iterator("/proc", error)) {
        std::string name = entry.path().filename();
        if (name.find_first_not_of("0123456789") != std::string::npos) continue;
        std::error_code ignored;
        std::string cwd = std::filesystem::read_symlink(entry.path() / "cwd", ignored).string();
        if (cwd == dir || cwd.compare(0, dir.size() + 1, dir + "/") == 0) found.push_back((pid_t)std::stoi(name));
    }
    return found;
}

// Waits for the commands still running in dir (adopted by this process),
// and kills those that take more than two seconds.
void finish_commands_inside(const std::string& dir) {
    for (int round = 0; round < 2; round++) {
        for (int tries = 0; tries < 200; tries++) {
            std::vector<pid_t> running = processes_inside(dir);
            if (running.empty()) return;
            for (pid_t pid : running) waitpid(pid, nullptr, WNOHANG);
            usleep(10 * 1000);
        }
        for (pid_t pid : processes_inside(dir)) kill(pid, SIGKILL);
    }
}

}  // namespace

test_root::test_root(const std::string& extra_options) {
    if (const char* previous = getenv("VESPIN_ROOT")) previous_root_ = previous;
    // Commands left running in the background become this process's children.
    prctl(PR_SET_CHILD_SUBREAPER, 1);
    char pattern[] = "/tmp/vespin-root-XXXXXX";
    const char* made = mkdtemp(pattern);
    if (!made) {
        ADD_FAILURE() << "cannot make a temporary root";
        return;
    }
    dir_ = made;
    std::string command = std::string("sh '") + VESPIN_SOURCE_DIR + "/sim/mkroot.sh' '" + dir_ +
                          "' --tools '" + VESPIN_TOOLS_DIR + "' " + extra_options;
    // The test harness itself runs the root builder on the host; the library never does.
    if (system(command.c_str()) != 0) ADD_FAILURE() << "mkroot failed: " << command;
    setenv("VESPIN_ROOT", dir_.c_str(), 1);
    plat_reload_root();
    plat_test_reset();
}

test_root::~test_root() {
    // The root's node table segment outlives every process (as on a node
    // until it restarts): drop this process's mapping and remove it.
    mesh_table::forget_segment(true);
    plat_test_reset();
    if (previous_root_.empty()) unsetenv("VESPIN_ROOT");
    else setenv("VESPIN_ROOT", previous_root_.c_str(), 1);
    plat_reload_root();
    if (!dir_.empty()) {
        finish_commands_inside(dir_);
        std::error_code ignored;
        std::filesystem::remove_all(dir_, ignored);
    }
}

void test_root::write(const std::string& router_path, const std::string& content) const {
    std::filesystem::create_directories(std::filesystem::path(path(router_path)).parent_path());
    std::ofstream out(path(router_path), std::ios::binary | std::ios::trunc);
    out << content;
}

std::string test_root::read(const std::string& router_path) const {
    std::ifstream in(path(router_path), std::ios::binary);
    std::stringstream content;
    content << in.rdbuf();
    return content.str();
}

bool test_root::exists(const std::string& router_path) const {
    return std::filesystem::exists(path(router_path));
}
