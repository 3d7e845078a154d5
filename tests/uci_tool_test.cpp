// The uci tool of the emulated router, run as a program against a test
// root's files: what it prints, what it writes and how it exits.
#include "platform.h"
#include "test_root.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <spawn.h>
#include <sys/stat.h>
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
    r = uci({"get", "net"});
    EXPECT_EQ("", r.out + r.err) << "a package alone prints nothing";
    EXPECT_EQ(0, r.status);
    r = uci({"get", "net.a.x=1"});
    EXPECT_EQ("", r.out + r.err);
    EXPECT_EQ(1, r.status);
    EXPECT_EQ("net.a.l='p q';'r'\n", uci({"-d", ";", "show", "net.a.l"}).out);
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
    // Printed as sets, without the delta file's marks for add, rename and reorder.
    EXPECT_EQ(
        "net.cfg0492bd='rule'\n"
        "net.a.x='5'\n"
        "net.b='item'\n"
        "net.b.l+='it'\\''s'\n"
        "net.a.l-='r'\n"
        "net.a.x='z'\n"
        "net.b='0'\n"
        "-net.cfg0292bd.y\n",
        uci({"changes"}).out);
    EXPECT_EQ(
        "+net.cfg0492bd='rule'\n"
        "net.a.x='5'\n"
        "net.b='item'\n"
        "|net.b.l='it'\\''s'\n"
        "~net.a.l='r'\n"
        "@net.a.x='z'\n"
        "^net.b='0'\n"
        "-net.cfg0292bd.y\n",
        root.read("/tmp/.uci/net"));
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

    // A delta file with a line that cannot be read is reverted all the same (on purpose).
    root.write("/tmp/.uci/net", "net.a.z='7'\nnot a change\n");
    EXPECT_EQ("7\n", uci({"get", "net.a.z"}).out);
    EXPECT_EQ(0, uci({"revert", "net"}).status);
    EXPECT_EQ("", root.read("/tmp/.uci/net"));
}

const char kUsage[] =
    "Usage: uci [<options>] <command> [<arguments>]\n\n"
    "Commands:\n"
    "\tbatch\n"
    "\texport     [<config>]\n"
    "\timport     [<config>]\n"
    "\tchanges    [<config>]\n"
    "\tcommit     [<config>]\n"
    "\tadd        <config> <section-type>\n"
    "\tadd_list   <config>.<section>.<option>=<string>\n"
    "\tdel_list   <config>.<section>.<option>=<string>\n"
    "\tshow       [<config>[.<section>[.<option>]]]\n"
    "\tget        <config>.<section>[.<option>]\n"
    "\tset        <config>.<section>[.<option>]=<value>\n"
    "\tdelete     <config>[.<section>[[.<option>][=<id>]]]\n"
    "\trename     <config>.<section>[.<option>]=<name>\n"
    "\trevert     <config>[.<section>[.<option>]]\n"
    "\treorder    <config>.<section>=<position>\n"
    "\n"
    "Options:\n"
    "\t-c <path>  set the search path for config files (default: /etc/config)\n"
    "\t-C <path>  set the search path for config override files (default: /var/run/uci)\n"
    "\t-d <str>   set the delimiter for list values in uci show\n"
    "\t-f <file>  use <file> as input instead of stdin\n"
    "\t-m         when importing, merge data into an existing package\n"
    "\t-n         name unnamed sections on export (default)\n"
    "\t-N         don't name unnamed sections\n"
    "\t-p <path>  add a search path for config change files\n"
    "\t-P <path>  add a search path for config change files and use as default\n"
    "\t-t <path>  set save path for config change files\n"
    "\t-q         quiet mode (don't print error messages)\n"
    "\t-s         force strict mode (stop on parser errors, default)\n"
    "\t-S         disable strict mode\n"
    "\t-X         do not use extended syntax on 'show'\n"
    "\n";

TEST_F(UciTool, UsageAndExitStatus) {
    for (auto args : std::vector<std::vector<std::string>>{{}, {"help"}, {"HELP"}}) {
        run_result r = uci(args);
        EXPECT_EQ(kUsage, r.err);
        EXPECT_EQ("", r.out);
        EXPECT_EQ(0, r.status);
    }
    for (auto args : std::vector<std::vector<std::string>>{
             {"frobnicate"}, {"get"}, {"get", "net.a.x", "net.a.x"}, {"add", "net"}, {"show", "net", "net"},
             {"set"}, {"revert"}, {"commit", "net", "net"}}) {
        run_result r = uci(args);
        EXPECT_EQ(kUsage, r.err) << args[0];
        EXPECT_EQ(255, r.status) << args[0];
    }
    run_result r = uci({"-z", "get", "net.a.x"});
    EXPECT_EQ(std::string("uci: invalid option -- 'z'\n") + kUsage, r.err);
    EXPECT_EQ("", r.out);
    EXPECT_EQ(0, r.status);
    EXPECT_EQ(0, uci({"SeT", "net.a.x=3"}).status);
    EXPECT_EQ("3\n", uci({"Get", "net.a.x"}).out) << "command names ignore case";
}

TEST_F(UciTool, ErrorsAndExitStatus) {
    run_result r = uci({"get", "net.a.nosuch"});
    EXPECT_EQ("", r.out);
    EXPECT_EQ("uci: Entry not found\n", r.err);
    EXPECT_EQ(1, r.status);
    r = uci({"-q", "get", "net.@item[2]"});
    EXPECT_EQ("", r.err);
    EXPECT_EQ(1, r.status);
    EXPECT_EQ("uci: Entry not found\n", uci({"get", "net.@item[-3]"}).err);
    EXPECT_EQ(1, uci({"get", "nopkg.a"}).status);
    ASSERT_EQ(0, symlink(root.path("/bin/uci").c_str(), root.path("/bin/myuci").c_str()));
    EXPECT_EQ("myuci: Entry not found\n", uci({"get", "net.x"}, "", "/bin/myuci").err);

    // Bad arguments, and the refusals we make on purpose: a rename to a
    // bad or taken name, an add with a bad type.
    for (auto args : std::vector<std::vector<std::string>>{
             {"get", "net.a-b"}, {"get", "net..x"}, {"get", "net.@item[x]"}, {"set", "net.@item[5].x=1"},
             {"set", "net.nosuch.x=1"}, {"rename", "net.a=bad-name"}, {"rename", "net.a=cfg039e34"},
             {"rename", "net.a.x=l"}, {"add", "net", "bad type"}}) {
        r = uci(args);
        EXPECT_EQ("uci: Invalid argument\n", r.err) << args[1];
        EXPECT_EQ(1, r.status);
    }
    // Bad paths and control bytes in values are plain parse errors.
    for (auto args : std::vector<std::vector<std::string>>{
             {"get", "net.a.my-opt"}, {"get", "net.a.x.y"}, {"get", "net.a."}, {"get", ".a"},
             {"set", "net.a.x=bell\a"}, {"set", "net.a.x=esc\x1b"}, {"add_list", "net.a.l=\x01"}}) {
        r = uci(args);
        EXPECT_EQ("uci: Parse error\n", r.err) << args[1];
        EXPECT_EQ(1, r.status);
    }
    EXPECT_EQ("", uci({"changes"}).out) << "refused changes leave nothing pending";
    EXPECT_EQ(0, uci({"set", "net.a.x=tab\there\r\nnext; line"}).status);
    EXPECT_EQ("tab\there\r\nnext; line\n", uci({"get", "net.a.x"}).out);

    // add exits with the error's number.
    r = uci({"add", "nopkg", "item"});
    EXPECT_EQ("uci: Entry not found\n", r.err);
    EXPECT_EQ(3, r.status);
    // revert fails only for a missing package; a value has no place there.
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
    r = uci({"revert", "net.a.x=1"});
    EXPECT_EQ("", r.out + r.err);
    EXPECT_EQ(1, r.status);
    r = uci({"changes", "nopkg"});
    EXPECT_EQ("uci: Entry not found\n", r.err);
    EXPECT_EQ(1, r.status);
}

TEST_F(UciTool, DeletesEmptyValuesAndListItems) {
    root.write("/etc/config/lists", "config item s\n\tlist l a\n\tlist l b\n\tlist l a\n\toption o 1\n\toption p 2\n");
    EXPECT_EQ(0, uci({"set", "lists.s.o="}).status);
    EXPECT_EQ(0, uci({"set", "lists.s.nosuch="}).status);
    EXPECT_EQ(0, uci({"delete", "lists.s.l=5"}).status) << "an index out of range does nothing";
    run_result r = uci({"delete", "lists.s.l=x"});
    EXPECT_EQ("", r.err) << "a value that is not a number fails without a message";
    EXPECT_EQ(1, r.status);
    EXPECT_EQ(0, uci({"delete", "lists.s.l=1"}).status);
    EXPECT_EQ("a a\n", uci({"get", "lists.s.l"}).out);
    EXPECT_EQ(0, uci({"del_list", "lists.s.l=zz"}).status);
    EXPECT_EQ(0, uci({"del_list", "lists.s.l=a"}).status);
    EXPECT_EQ(0, uci({"delete", "lists.s.p=0"}).status) << "a single value goes whole";
    EXPECT_EQ("-lists.s.o\n-lists.s.l='1'\n~lists.s.l='zz'\n~lists.s.l='a'\n-lists.s.p\n", root.read("/tmp/.uci/lists"));
    EXPECT_EQ("-lists.s.o\n-lists.s.l\nlists.s.l-='zz'\nlists.s.l-='a'\n-lists.s.p\n", uci({"changes", "lists"}).out);
    // The emptied list stays, empty.
    r = uci({"get", "lists.s.l"});
    EXPECT_EQ("\n", r.out);
    EXPECT_EQ(0, r.status);
    EXPECT_EQ("lists.s=item\nlists.s.l=\n", uci({"show", "lists"}).out);
    EXPECT_EQ(0, uci({"commit", "lists"}).status);
    EXPECT_EQ("\nconfig item 's'\n\n", root.read("/etc/config/lists"));
}

TEST_F(UciTool, BrokenPackagesAreReportedNotFatal) {
    root.write("/etc/config/broken", "config item a\n\toption x 'open\n\toption y 2\n");
    root.write("/etc/config/alsobroken", "config item a\nbogus\n");
    run_result r = uci({"show", "broken"});
    EXPECT_EQ("uci: Parse error (EOF with unterminated ') at line 2, byte 28\n", r.err);
    EXPECT_EQ(1, r.status);
    // Without a package: one line per broken package, in name order, and the others.
    const std::string both =
        "uci: Parse error (invalid command) at line 2, byte 0\n"
        "uci: Parse error (EOF with unterminated ') at line 2, byte 28\n";
    r = uci({"show"});
    EXPECT_EQ(both, r.err);
    EXPECT_EQ(0, r.status);
    EXPECT_NE(std::string::npos, r.out.find("net.a.x='1'\n"));
    EXPECT_EQ(0, uci({"set", "net.a.x=2"}).status);
    r = uci({"changes"});
    EXPECT_EQ(both, r.err);
    EXPECT_EQ("net.a.x='2'\n", r.out);
    EXPECT_EQ(0, r.status);
    r = uci({"commit"});
    EXPECT_EQ(both, r.err);
    EXPECT_EQ(0, r.status);
    EXPECT_NE(std::string::npos, root.read("/etc/config/net").find("option x '2'")) << "the others are committed";
    // Lenient reading prints the errors without the prefix and reads on.
    r = uci({"-S", "show", "alsobroken"});
    EXPECT_EQ("Parse error (invalid command) at line 2, byte 0\n", r.err);
    EXPECT_EQ("alsobroken.a=item\n", r.out);
    EXPECT_EQ(0, r.status);
}

TEST_F(UciTool, BatchRunsEveryLine) {
    run_result r = uci({"batch"},
                       "set net.a.x='two words'\n"
                       "get net.a.x\n"
                       "frobnicate\n"
                       "get net.a.nosuch\n"
                       "import net\n"
                       "add_list net.a.l=\"s t\"\n"
                       "commit net\n"
                       "exit\n"
                       "set net.a.x=never\n");
    EXPECT_EQ("two words\n", r.out);
    EXPECT_EQ("Unknown command\nuci: Entry not found\nUnknown command\n", r.err);
    EXPECT_EQ(0, r.status);
    EXPECT_EQ("'p q' r 's t'\n", uci({"get", "net.a.l"}).out);
    EXPECT_EQ("two words\n", uci({"get", "net.a.x"}).out);
    EXPECT_EQ("", root.read("/tmp/.uci/net")) << "committed in the batch";
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
    struct stat st;
    ASSERT_EQ(0, stat(root.path("/etc/config/fresh").c_str(), &st));
    EXPECT_EQ(0600u, st.st_mode & 07777) << "a package file the tool creates";

    // A merge leaves the file alone and adds the input as pending changes.
    const std::string input = "config t one\n\toption v 'w'\n\toption n x\n\tlist l i\nconfig t\n\toption a b\n";
    EXPECT_EQ(0, uci({"-m", "import", "fresh"}, input).status);
    EXPECT_EQ("\nconfig t 'one'\n\toption v 'w'\n\n", root.read("/etc/config/fresh"));
    EXPECT_EQ("fresh.one.n='x'\nfresh.one.l+='i'\nfresh.cfg02b619='t'\nfresh.cfg02b619.a='b'\n",
              uci({"changes", "fresh"}).out);
    run_result r = uci({"-m", "import"}, input);
    EXPECT_EQ(kUsage, r.err);
    EXPECT_EQ(255, r.status);

    // The library runs these lines through the emulated router's shell.
    root.write("/etc/config/devices", "config device aabbccddeeff\nconfig device 112233445566\n");
    EXPECT_EQ(0, plat_system("uci delete devices.aabbccddeeff && uci commit devices"));
    EXPECT_EQ("\nconfig device '112233445566'\n\n", root.read("/etc/config/devices"));
}

}  // namespace
