// The emulated root contains what the library does: command texts keep the
// text that only looks like a path, ".." never leads out of the root through
// a path-taking function or a command, commands left running do not outlive
// their root, and a test process never runs without a root.
#include "pidfile.h"
#include "platform.h"
#include "root_fence.h"
#include "system.h"
#include "test_root.h"
#include "tools.h"

#include <gtest/gtest.h>
#include <stdlib.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

namespace {

// A directory on the host, outside every root: what no test may touch.
class host_dir {
  public:
    host_dir() {
        char pattern[] = "/tmp/vespin-host-XXXXXX";
        dir_ = mkdtemp(pattern) ? pattern : "";
        // Its path as a command or a path-taking function would name it
        // from the root: up and out, then down again.
        escape_ = "/../../.." + dir_;
    }
    ~host_dir() {
        std::error_code ignored;
        std::filesystem::remove_all(dir_, ignored);
    }
    const std::string& dir() const { return dir_; }
    const std::string& escape() const { return escape_; }
    bool holds(const std::string& name) const { return std::filesystem::exists(dir_ + "/" + name); }

  private:
    std::string dir_, escape_;
};

size_t open_descriptors() {
    std::filesystem::directory_iterator fds("/proc/self/fd");
    return (size_t)std::distance(begin(fds), end(fds));
}

std::string capture(const std::string& command) {
    char out[512];
    int n = mk_popen2(command.c_str(), out, sizeof out);
    return n < 0 ? "(failed)" : out;
}

}  // namespace

TEST(EmulatedRoot, OnlyPathsUnderTheRootsTopLevelAreMoved) {
    test_root root;
    size_t descriptors = open_descriptors();
    root.write("/proc/net/route",
               "Iface\tDestination\tGateway \tFlags\tRefCnt\tUse\tMetric\tMask\t\tMTU\tWindow\tIRTT\n"
               "eth1\t00000000\t0101A8C0\t0003\t0\t0\t0\t00000000\t0\t0\t0\n"
               "br0\t0001A8C0\t00000000\t0001\t0\t0\t0\t00FFFFFF\t0\t0\t0\n");
    EXPECT_EQ("192.168.1.1\n", capture("route -n | awk '/^0.0.0.0/{print $2}'"));

    root.write("/proc/net/arp",
               "IP address       HW type     Flags       HW address            Mask     Device\n"
               "192.168.1.100    0x1         0x2         aa:bb:cc:dd:ee:01     *        br0\n"
               "169.254.10.20    0x1         0x2         aa:bb:cc:dd:ee:02     *        br0\n"
               "192.168.1.101    0x1         0x0         aa:bb:cc:dd:ee:03     *        br0\n"
               "10.0.0.2         0x1         0x2         aa:bb:cc:dd:ee:04     *        eth1\n");
    EXPECT_EQ("", capture("awk '{if ($3==\"0x2\" && $6==\"br0\" && $1 !~ /^169.254/) {gsub(\":\",\"\",$4); "
                          "print $1,$4}}' /proc/net/arp > /tmp/arp_table"));
    EXPECT_EQ("192.168.1.100 aabbccddee01\n", root.read("/tmp/arp_table"));

    // "/" alone, home and the root's own path name the root; "/dev/null" stays the host's.
    EXPECT_EQ(root.dir() + "\n", capture("cd / && pwd"));
    EXPECT_EQ(root.dir() + "\n", capture("cd && pwd"));
    EXPECT_EQ("x\n", capture("echo x > " + root.dir() + "/tmp/direct && cat /tmp/direct 2>/dev/null"));
    EXPECT_EQ(descriptors, open_descriptors());  // nothing of a command stays open here
}

TEST(EmulatedRoot, DotDotNeverLeadsOutOfTheRoot) {
    test_root root;
    host_dir host;
    ASSERT_FALSE(host.dir().empty());
    root.write("/var/run/inside.pid", "1\n");
    std::string victim = host.dir() + "/victim";
    ASSERT_TRUE(std::ofstream(victim) << "host\n");

    // Each path-taking function reads its path from the root's "/".
    EXPECT_EQ(0, is_file_exist((host.escape() + "/victim").c_str()));
    EXPECT_EQ(0, read_pid((host.escape() + "/victim").c_str()));
    EXPECT_EQ(-1, remove_pid((host.escape() + "/victim").c_str()));
    EXPECT_TRUE(host.holds("victim"));
    EXPECT_EQ(0, remove_pid("/tmp/../../../var/run/inside.pid"));
    EXPECT_FALSE(root.exists("/var/run/inside.pid"));
    EXPECT_EQ((int)getpid(), write_pid("/../../var/run/../../escaped.pid"));
    EXPECT_TRUE(root.exists("/escaped.pid"));
    EXPECT_EQ(0, write_pid((host.escape() + "/made.pid").c_str()));  // no such directory in the root
    EXPECT_FALSE(host.holds("made.pid"));
    EXPECT_EQ(0, mkrdir((host.escape() + "/made").c_str()));
    EXPECT_FALSE(host.holds("made"));
    EXPECT_TRUE(root.exists(host.dir() + "/made"));

    // A relative program is the root's, whatever the caller's working directory.
    root.write("/prog", "#!/bin/sh\necho root program \"$@\"\n");
    std::filesystem::permissions(root.path("/prog"), std::filesystem::perms::owner_all);
    char out[64];
    int status = -1;
    char* argv[] = {(char*)"prog", (char*)"one", nullptr};
    for (const char* program : {"./prog", "../../prog", "prog/../prog"}) {
        EXPECT_EQ(0, mk_popen(program, argv, &status, out, sizeof out)) << program;
        EXPECT_EQ(0, status) << program;
        EXPECT_STREQ("root program one\n", out) << program;
    }

    if (!root_fence_available()) {
        GTEST_SKIP() << "this kernel has no Landlock: run-time escapes are not fenced";
    }
    // What the text does at run time: only the fence holds it.
    std::string slash = "$(printf \"\\057\")";
    std::string host_name = host.dir().substr(5);  // after "/tmp/"
    std::string built = slash + "tmp" + slash + host_name + slash;
    std::string relative = "../" + host_name;  // from the root, which lies in /tmp too
    plat_system(("echo x > " + built + "by-printf").c_str());
    plat_system(("cd .. && echo x > " + host_name + "/by-cd").c_str());
    plat_system(("cd " + relative + " && touch by-cd-touch; rm -f " + built + "victim").c_str());
    EXPECT_NE(0, mkrdir((relative + "/made-relative").c_str()));
    for (const char* name : {"by-printf", "by-cd", "by-cd-touch", "made-relative"}) EXPECT_FALSE(host.holds(name)) << name;
    EXPECT_TRUE(host.holds("victim"));
    // Inside the root the same commands work.
    EXPECT_EQ(0, plat_system("cd /tmp && echo y > inside && cd .. && echo z > tmp/inside2"));
    EXPECT_EQ("y\n", root.read("/tmp/inside"));
    EXPECT_EQ("z\n", root.read("/tmp/inside2"));
}

TEST(EmulatedRoot, CommandsLeftRunningDoNotOutliveTheirRoot) {
    std::string dir;
    {
        test_root root;
        dir = root.dir();
        // A slow firewall: the background command is still running when the test ends.
        root.write("/bin/sysconf", "#!/bin/sh\nsleep 0.3\necho \"$*\" >> \"$VESPIN_ROOT/var/log/sysconf.args\"\n");
        std::filesystem::permissions(root.path("/bin/sysconf"), std::filesystem::perms::owner_all);
        EXPECT_EQ(0, restart_firewall());
        EXPECT_FALSE(root.exists("/var/log/sysconf.args"));
    }
    EXPECT_FALSE(std::filesystem::exists(dir)) << dir;
}

TEST(EmulatedRoot, ATestProcessAlwaysHasARoot) {
    const char* process_root = getenv("VESPIN_ROOT");
    ASSERT_NE(nullptr, process_root);
    std::string before = process_root;
    EXPECT_EQ(0u, before.find("/tmp/vespin-process-root-"));
    EXPECT_TRUE(plat_is_emulated());
    {
        test_root root;
        EXPECT_EQ(root.dir(), plat_root());
    }
    EXPECT_EQ(before, plat_root());
    EXPECT_EQ(before, getenv("VESPIN_ROOT"));
    // A command run outside any test_root runs, and is recorded, in the process root.
    int status = 0;
    EXPECT_EQ(0, run_command(&status, "definitely-not-a-program"));
    EXPECT_EQ(127, status);
    EXPECT_TRUE(std::filesystem::exists(before + "/var/log/commands"));
}
