// The uci tool of the emulated router, run as a program against a test
// root's files: what it prints, what it writes and how it exits.
#include "platform.h"
#include "test_root.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <vector>

extern char** environ;

namespace {

struct run_result {
    std::string out;
    std::string err;
    int status = -1;
};

const char kNet[] =
    "config item 'a'\n"
    "\toption x '1'\n"
    "\tlist l 'p q'\n"
    "\tlist l 'r'\n"
    "\n"
    "config rule\n"
    "\toption y '2'\n"
    "\n"
    "config item\n";

class UciTool : public ::testing::Test {
  protected:
    void SetUp() override { root.write("/etc/config/net", kNet); }

    // Runs the root's bin/uci (or another name for it) with arguments.
    run_result uci(std::vector<std::string> args, const std::string& input = "",
                   const std::string& program = "/bin/uci") {
        root.write("/tmp/tool.in", input);
        std::vector<char*> argv;
        args.insert(args.begin(), root.path(program));
        for (auto& a : args) argv.push_back(&a[0]);
        argv.push_back(nullptr);
        posix_spawn_file_actions_t files;
        posix_spawn_file_actions_init(&files);
        posix_spawn_file_actions_addopen(&files, 0, root.path("/tmp/tool.in").c_str(), O_RDONLY, 0);
        posix_spawn_file_actions_addopen(&files, 1, root.path("/tmp/tool.out").c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
        posix_spawn_file_actions_addopen(&files, 2, root.path("/tmp/tool.err").c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
        run_result r;
        pid_t pid;
        if (posix_spawn(&pid, argv[0], &files, nullptr, argv.data(), environ) == 0) {
            int status = 0;
            waitpid(pid, &status, 0);
            r.status = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
        }
        posix_spawn_file_actions_destroy(&files);
        r.out = root.read("/tmp/tool.out");
        r.err = root.read("/tmp/tool.err");
        return r;
    }

    test_root root;
};

TEST_F(UciTool, ReadsValuesSectionsAndPackages) {
    run_result r = uci({"get", "net.a.x"});
    EXPECT_EQ("1\n", r.out);
    EXPECT_EQ(0, r.status);
    EXPECT_EQ("'p q' r\n", uci({"get", "net.a.l"}).out);
    EXPECT_EQ("'p q',r\n", uci({"-d", ",", "get", "net.a.l"}).out);
    EXPECT_EQ("rule\n", uci({"GET", "net.@rule[-1]"}).out);
    EXPECT_EQ(
        "net.a=item\n"
        "net.a.x='1'\n"
        "net.a.l='p q' 'r'\n"
        "net.@rule[0]=rule\n"
        "net.@rule[0].y='2'\n"
        "net.@item[1]=item\n",
        uci({"show", "net"}).out);
    EXPECT_EQ("net.cfg0292bd=rule\nnet.cfg0292bd.y='2'\n", uci({"show", "net.@rule[0]"}).out);
    std::string named = uci({"-X", "show", "net"}).out;
    EXPECT_NE(std::string::npos, named.find("\nnet.cfg0292bd.y='2'\nnet.cfg039e34=item\n")) << named;
    EXPECT_EQ(
        "package net\n\nconfig item 'a'\n\toption x '1'\n\tlist l 'p q'\n\tlist l 'r'\n\n"
        "config rule\n\toption y '2'\n\nconfig item\n\n",
        uci({"export", "net"}).out);
}

TEST_F(UciTool, ChangesArePendingUntilCommitted) {
    EXPECT_EQ("cfg0492bd\n", uci({"add", "net", "rule"}).out);
    for (auto args : std::vector<std::vector<std::string>>{
             {"set", "net.a.x=5"}, {"set", "net.b=item"}, {"add_list", "net.b.l=it's"},
             {"del_list", "net.a.l=r"}, {"rename", "net.a.x=z"}, {"reorder", "net.b=0"},
             {"delete", "net.@rule[0].y"}}) {
        run_result r = uci(args);
        EXPECT_EQ(0, r.status) << args[0] << " " << r.err;
    }
    EXPECT_EQ(
        "+net.cfg0492bd='rule'\n"
        "net.a.x='5'\n"
        "net.b='item'\n"
        "net.b.l+='it'\\''s'\n"
        "net.a.l-='r'\n"
        "@net.a.x='z'\n"
        "^net.b='0'\n"
        "-net.cfg0292bd.y\n",
        uci({"changes"}).out);
    EXPECT_EQ(kNet, root.read("/etc/config/net"));
    EXPECT_EQ("5\n", uci({"get", "net.a.z"}).out);

    EXPECT_EQ(0, uci({"commit", "net"}).status);
    EXPECT_EQ(
        "\nconfig item 'b'\n\tlist l 'it'\\''s'\n"
        "\nconfig item 'a'\n\toption z '5'\n\tlist l 'p q'\n"
        "\nconfig rule\n"
        "\nconfig item\n"
        "\nconfig rule\n\n",
        root.read("/etc/config/net"));
    EXPECT_EQ("", root.read("/tmp/.uci/net"));
    EXPECT_EQ("", uci({"changes", "net"}).out);

    EXPECT_EQ(0, uci({"set", "net.a.z=6"}).status);
    EXPECT_EQ(0, uci({"revert", "net.a.nosuch"}).status);
    EXPECT_EQ(0, uci({"revert", "net.nosuch"}).status);
    EXPECT_EQ("net.a.z='6'\n", uci({"changes"}).out);
    EXPECT_EQ(0, uci({"revert", "net"}).status);
    EXPECT_EQ("", root.read("/tmp/.uci/net"));
    EXPECT_EQ("5\n", uci({"get", "net.a.z"}).out);
}

TEST_F(UciTool, ErrorsAndExitStatus) {
    run_result r = uci({"get", "net.a.nosuch"});
    EXPECT_EQ("", r.out);
    EXPECT_EQ("uci: Entry not found\n", r.err);
    EXPECT_EQ(1, r.status);
    r = uci({"-q", "get", "net.@item[2]"});
    EXPECT_EQ("", r.err);
    EXPECT_EQ(1, r.status);
    EXPECT_EQ(1, uci({"get", "nopkg.a"}).status);
    ASSERT_EQ(0, symlink(root.path("/bin/uci").c_str(), root.path("/bin/myuci").c_str()));
    EXPECT_EQ("myuci: Entry not found\n", uci({"get", "net.x"}, "", "/bin/myuci").err);

    for (auto args : std::vector<std::vector<std::string>>{
             {"get", "net.a-b"}, {"get", "net.@item[x]"}, {"rename", "net.a=bad-name"},
             {"rename", "net.a=cfg039e34"}, {"rename", "net.a.x=l"}, {"add", "net", "bad type"}}) {
        r = uci(args);
        EXPECT_EQ("uci: Invalid argument\n", r.err) << args[1];
        EXPECT_EQ(1, r.status);
    }
    EXPECT_EQ("", uci({"changes"}).out) << "refused changes leave nothing pending";

    r = uci({"frobnicate"});
    EXPECT_EQ(255, r.status);
    EXPECT_NE(std::string::npos, r.err.find("Usage: uci"));
    r = uci({});
    EXPECT_EQ(0, r.status);
    EXPECT_NE(std::string::npos, r.err.find("Usage: uci"));
    EXPECT_EQ(0, uci({"-Z", "get", "net.a.x"}).status);
    EXPECT_EQ(1, uci({"revert", "nopkg"}).status);

    // A configuration directory that cannot be listed is an error, never an
    // empty listing (a failed readdir looks like the end of the directory).
    for (auto command : {"show", "changes", "export", "commit"}) {
        r = uci({"-c", "/etc/config/net", command});
        EXPECT_EQ("", r.out) << command;
        EXPECT_EQ("uci: I/O error\n", r.err) << command;
        EXPECT_EQ(1, r.status) << command;
    }
    EXPECT_EQ(0, uci({"-c", "/etc/no-such-dir", "show"}).status) << "a missing directory holds no packages";
}

TEST_F(UciTool, BrokenPackagesAreReportedNotFatal) {
    root.write("/etc/config/broken", "config item a\n\toption x 'open\n\toption y 2\n");
    run_result r = uci({"show", "broken"});
    EXPECT_EQ("uci: Parse error (unterminated ') at line 2, byte 15\n", r.err);
    EXPECT_EQ(1, r.status);
    r = uci({"show"});
    EXPECT_EQ("uci: Parse error (unterminated ') at line 2, byte 15\n", r.err);
    EXPECT_EQ(0, r.status);
    EXPECT_NE(std::string::npos, r.out.find("net.a.x='1'\n"));
    r = uci({"-S", "show", "broken"});
    EXPECT_EQ("Parse error (unterminated ') at line 2, byte 15\n", r.err);
    EXPECT_EQ("broken.a=item\nbroken.a.y='2'\n", r.out);
    EXPECT_EQ(0, r.status);
}

TEST_F(UciTool, DirectoriesImportAndTheLibrarysCommandLines) {
    root.write("/var/run/config/devices_extra", "config device aabbccddeeff\n\toption online 1\n");
    EXPECT_EQ(0, uci({"-c", "/var/run/config", "set", "devices_extra.aabbccddeeff.online=0"}).status);
    EXPECT_EQ(0, uci({"-c", "/var/run/config", "commit", "devices_extra"}).status);
    EXPECT_EQ("\nconfig device 'aabbccddeeff'\n\toption online '0'\n\n", root.read("/var/run/config/devices_extra"));

    // State values (-P) are kept apart and never committed.
    EXPECT_EQ(0, uci({"-P", "/var/state", "set", "net.a.up=1"}).status);
    EXPECT_EQ(0, uci({"-P", "/var/state", "commit", "net"}).status);
    EXPECT_EQ("1\n", uci({"-P", "/var/state", "get", "net.a.up"}).out);
    EXPECT_EQ(1, uci({"get", "net.a.up"}).status);
    EXPECT_EQ(kNet, root.read("/etc/config/net"));

    EXPECT_EQ(0, uci({"import", "fresh"}, "config t one\n\toption v 'w'\n").status);
    EXPECT_EQ("\nconfig t 'one'\n\toption v 'w'\n\n", root.read("/etc/config/fresh"));

    // The library runs these lines through the emulated router's shell.
    root.write("/etc/config/devices", "config device aabbccddeeff\nconfig device 112233445566\n");
    EXPECT_EQ(0, plat_system("uci delete devices.aabbccddeeff && uci commit devices"));
    EXPECT_EQ("\nconfig device '112233445566'\n\n", root.read("/etc/config/devices"));
}

}  // namespace
