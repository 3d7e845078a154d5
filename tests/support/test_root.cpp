#include "test_root.h"

#include "platform.h"
#include "platform_testing.h"

#include <gtest/gtest.h>
#include <stdlib.h>

#include <filesystem>
#include <fstream>
#include <sstream>

test_root::test_root(const std::string& extra_options) {
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
    plat_test_reset();
    unsetenv("VESPIN_ROOT");
    plat_reload_root();
    if (!dir_.empty()) {
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
