// The UCI engine: lookups, what gets recorded in delta files, commits that
// never lose a package or another process's change, and the lock between
// processes.
#include "test_root.h"
#include "uci/context.h"
#include "uci/delta.h"
#include "uci/files.h"
#include "uci/writer.h"

#include <errno.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>

namespace {

using namespace vuci;

struct engine {
    test_root root;
    context ctx{root.path("/etc/config"), root.path("/tmp/.uci")};

    void write_package(const std::string& name, const std::string& text) { root.write("/etc/config/" + name, text); }
    std::string package_file(const std::string& name) { return root.read("/etc/config/" + name); }
    std::string delta_file(const std::string& name) { return root.read("/tmp/.uci/" + name); }
    // Looks "pkg.sec.opt=value" up and sets it, pending in memory.
    int set(const std::string& assignment) {
        ref r;
        int err = ctx.lookup(assignment, &r);
        return err ? err : ctx.set(r);
    }
};

TEST(UciLookup, ResolvesExtendedPaths) {
    engine e;
    e.write_package("net", "config item a\n\toption x 1\nconfig rule\nconfig item\n\toption x 3\n");
    ref r;
    ASSERT_EQ(OK, e.ctx.lookup("net.@item[0].x", &r));
    EXPECT_TRUE(r.complete);
    EXPECT_EQ("1", r.o->value);
    ASSERT_EQ(OK, e.ctx.lookup("net.@item[-1].x", &r));
    EXPECT_EQ("3", r.o->value);
    EXPECT_EQ("cfg039e34", r.section_name);
    ASSERT_EQ(OK, e.ctx.lookup("net.@[1]", &r));
    EXPECT_EQ("rule", r.s->type);
    EXPECT_EQ(element::section, r.last);
    ASSERT_EQ(OK, e.ctx.lookup("net.a.missing", &r));
    EXPECT_FALSE(r.complete);
    EXPECT_EQ(element::section, r.last);
    ASSERT_EQ(OK, e.ctx.lookup("net.nosuch.x=5", &r));
    EXPECT_FALSE(r.complete);
    EXPECT_EQ(element::package, r.last);
    EXPECT_EQ("5", r.value);
    EXPECT_EQ(ERR_NOTFOUND, e.ctx.lookup("net.@item[2]", &r));
    EXPECT_EQ(ERR_NOTFOUND, e.ctx.lookup("net.@item[-3]", &r));
    EXPECT_EQ(ERR_NOTFOUND, e.ctx.lookup("nopkg.a", &r));
    // Bad section names and indexes are bad arguments; bad option names,
    // extra parts, empty parts at the ends and control bytes in a value are parse errors.
    for (const char* path : {"net.@item[x]", "net.@item[]", "net.a-b", "net..x", "net.", "net=x"})
        EXPECT_EQ(ERR_INVAL, e.ctx.lookup(path, &r)) << path;
    for (const char* path : {"net.a.my-opt", "net.a.b.c", "net.a.", ".a", "=x", "net.a.x=a\001b", "net.a.x=\033[0m"})
        EXPECT_EQ(ERR_PARSE, e.ctx.lookup(path, &r)) << path;
    EXPECT_TRUE(e.ctx.parse_errors().empty()) << "a bad path has no place in a file";
    ASSERT_EQ(OK, e.ctx.lookup("net.a.x=tab\tnewline\ncr\r;", &r));
    EXPECT_EQ("tab\tnewline\ncr\r;", r.value);
    e.write_package("broken", "config item\n\toption a 'x\n");
    EXPECT_EQ(ERR_PARSE, e.ctx.lookup("broken.x", &r));
    e.ctx.set_strict(false);
    EXPECT_EQ(OK, e.ctx.lookup("broken.@item[0]", &r));
}

TEST(UciDelta, ChangesAreSavedAsLinesAndReplayedOnLoad) {
    engine e;
    e.write_package("net", "config item a\n\toption x 1\n\tlist l p\nconfig item b\n");
    ref r;
    auto run = [&](const std::string& path, int (context::*op)(ref&)) {
        EXPECT_EQ(OK, e.ctx.lookup(path, &r)) << path;
        EXPECT_EQ(OK, (e.ctx.*op)(r)) << path;
    };
    run("net.a.x=2", &context::set);
    run("net.a.x=2", &context::set);  // the same value again records nothing
    run("net.c=rule", &context::set);
    run("net.a.l=q", &context::add_list);
    run("net.a.l=p", &context::del_list);
    run("net.b.y=it's", &context::set);
    run("net.b.y=z", &context::rename);
    run("net.b=0", &context::reorder);
    run("net.c", &context::remove);
    std::string name;
    ASSERT_EQ(OK, e.ctx.add_section(e.ctx.loaded("net"), "item", &name));
    EXPECT_EQ("cfg049e34", name);
    ASSERT_EQ(OK, e.ctx.save(e.ctx.loaded("net")));
    EXPECT_EQ(
        "net.a.x='2'\n"
        "net.c='rule'\n"
        "|net.a.l='q'\n"
        "~net.a.l='p'\n"
        "net.b.y='it'\\''s'\n"
        "@net.b.y='z'\n"
        "^net.b='0'\n"
        "-net.c\n"
        "+net.cfg049e34='item'\n",
        e.delta_file("net"));
    EXPECT_EQ(0644u, file_mode(e.root.path("/tmp/.uci/net"), 0));

    // A second context sees the file and the saved changes.
    context other(e.root.path("/etc/config"), e.root.path("/tmp/.uci"));
    ASSERT_EQ(OK, other.lookup("net.@item[0].z", &r));
    EXPECT_EQ("b", r.section_name);
    EXPECT_EQ("it's", r.o->value);
    ASSERT_EQ(OK, other.commit(r.p, false));
    EXPECT_EQ(
        "\nconfig item 'b'\n\toption z 'it'\\''s'\n"
        "\nconfig item 'a'\n\toption x '2'\n\tlist l 'q'\n"
        "\nconfig item\n\n",
        e.package_file("net"));
    EXPECT_TRUE(e.root.exists("/tmp/.uci/net"));
    EXPECT_EQ("", e.delta_file("net"));

    chmod(e.root.path("/etc/config/net").c_str(), 0660);
    unlink(e.root.path("/tmp/.uci/net").c_str());
    ASSERT_EQ(OK, other.lookup("net.a.x=3", &r));
    ASSERT_EQ(OK, other.set(r));
    ASSERT_EQ(OK, other.save(r.p));
    EXPECT_EQ(0660u, file_mode(e.root.path("/tmp/.uci/net"), 0)) << "delta files take the package's mode";
    ASSERT_EQ(OK, other.commit(r.p, false));
    EXPECT_EQ(0660u, file_mode(e.root.path("/etc/config/net"), 0)) << "a commit keeps the mode";
}

TEST(UciDelta, ReadingSkipsMalformedLinesAndOtherPackages) {
    std::vector<change> changes = parse_delta(
        "net.a.x=bare\n"
        "other.a.x='1'\n"
        "net.a-b.x='1'\n"
        "garbage\n"
        "-net.a.y='not an index'\n"
        "net.a.z=\"dq \\\"x\\\"\"\n"
        "|net.a='list needs an option'\n"
        "@net.a='bad-name'\n"
        "-net.a.w\n"
        "-net.a.l='2'\n",
        "net");
    ASSERT_EQ(4u, changes.size());
    EXPECT_EQ("bare", changes[0].value);
    EXPECT_EQ("dq \"x\"", changes[1].value);
    EXPECT_EQ(change_kind::remove, changes[2].kind);
    EXPECT_EQ("w", changes[2].option);
    EXPECT_EQ("", changes[2].value);
    EXPECT_EQ("2", changes[3].value);
    EXPECT_EQ("-net.a.l='2'\n", format_change("net", changes[3]));
}

TEST(UciDelta, WhatGetsRecorded) {
    engine e;
    e.write_package("net",
                    "config item a\n\toption x 1\n\tlist l p\n\tlist l q\n\tlist l p\n"
                    "config item b\n\toption y v\nconfig t\nconfig rule c\nconfig x\n");
    ref r;
    auto run = [&](const std::string& path, int (context::*op)(ref&)) {
        int err = e.ctx.lookup(path, &r);
        return err ? err : (e.ctx.*op)(r);
    };
    EXPECT_EQ(OK, run("net.a.x=1", &context::set)) << "the current value: nothing recorded";
    EXPECT_EQ(OK, run("net.a.x=", &context::set));
    EXPECT_EQ(OK, run("net.a.nosuch=", &context::set)) << "nothing to delete: nothing recorded";
    EXPECT_EQ(ERR_INVAL, run("net.nosuch.x=1", &context::set));
    EXPECT_EQ(OK, run("net.a.l=absent", &context::del_list));
    EXPECT_EQ(OK, run("net.a.l=p", &context::del_list));
    EXPECT_EQ(OK, run("net.b.y=v", &context::del_list)) << "not a list: nothing recorded";
    EXPECT_EQ(OK, run("net.a.l=1", &context::remove)) << "out of range: nothing recorded";
    EXPECT_EQ(ERR_INVAL, run("net.a.l=x", &context::remove));
    EXPECT_EQ(OK, run("net.a.l=0", &context::remove));
    EXPECT_EQ(OK, run("net.b.y=0", &context::remove)) << "a single value goes whole";
    EXPECT_EQ(OK, run("net.c=-3", &context::reorder));
    EXPECT_EQ(OK, run("net.c=0", &context::reorder)) << "not moved: nothing recorded";
    EXPECT_EQ(OK, run("net.a=99", &context::reorder));
    EXPECT_EQ(OK, run("net.@t[0]=item", &context::set));
    EXPECT_EQ(OK, run("net.@x[0]=y", &context::set));
    ASSERT_EQ(OK, e.ctx.save(e.ctx.loaded("net")));
    EXPECT_EQ(
        "-net.a.x\n"
        "~net.a.l='absent'\n"
        "~net.a.l='p'\n"
        "-net.a.l='0'\n"
        "-net.b.y\n"
        "^net.c='-3'\n"
        "^net.a='99'\n"
        "net.cfg03b619='item'\n"
        "net.cfg05b61d='y'\n",
        e.delta_file("net"));

    // The emptied list stays, empty; it writes nothing. The anonymous
    // section whose type changed length is named from now on.
    ASSERT_EQ(OK, e.ctx.lookup("net.a.l", &r));
    ASSERT_TRUE(r.o);
    EXPECT_TRUE(r.o->is_list && r.o->items.empty());
    context other(e.root.path("/etc/config"), e.root.path("/tmp/.uci"));
    ASSERT_EQ(OK, other.lookup("net", &r));
    ASSERT_EQ(OK, other.commit(r.p, false));
    EXPECT_EQ(
        "\nconfig rule 'c'\n"
        "\nconfig item 'b'\n"
        "\nconfig item 'cfg03b619'\n"
        "\nconfig y\n"
        "\nconfig item 'a'\n\n",
        e.package_file("net"));
}

TEST(UciDelta, ASaveDirectoryIsMadeWithTheConfigurationDirectorysMode) {
    engine e;
    e.write_package("net", "config item a\n");
    chmod(e.root.path("/etc/config").c_str(), 0750);
    chmod(e.root.path("/etc/config/net").c_str(), 0640);
    std::filesystem::remove_all(e.root.path("/tmp/.uci"));
    ASSERT_EQ(OK, e.set("net.a.x=1"));
    ASSERT_EQ(OK, e.ctx.save(e.ctx.loaded("net")));
    EXPECT_EQ(0750u, file_mode(e.root.path("/tmp/.uci"), 0));
    EXPECT_EQ(0640u, file_mode(e.root.path("/tmp/.uci/net"), 0));
}

TEST(UciCommit, RevertAndEmptyCommitLeaveFilesAsTheyWere) {
    engine e;
    const std::string original = "# keep me\nconfig item a   # and me\n\toption x \"1\"\n";
    e.write_package("net", original);
    ref r;
    ASSERT_EQ(OK, e.ctx.lookup("net", &r));
    ASSERT_EQ(OK, e.ctx.commit(r.p, false));
    EXPECT_EQ(original, e.package_file("net"));

    ASSERT_EQ(OK, e.set("net.a.x=2"));
    ASSERT_EQ(OK, e.set("net.a.y=3"));
    ASSERT_EQ(OK, e.ctx.revert("net", "a", "x"));
    EXPECT_EQ("net.a.y='3'\n", e.delta_file("net"));
    ASSERT_EQ(OK, e.ctx.revert("net", "", ""));
    EXPECT_TRUE(e.root.exists("/tmp/.uci/net"));
    EXPECT_EQ("", e.delta_file("net"));
    ASSERT_EQ(OK, e.ctx.lookup("net.a.x", &r));
    EXPECT_EQ("1", r.o->value);
    EXPECT_EQ(original, e.package_file("net"));
    EXPECT_EQ(ERR_NOTFOUND, e.ctx.revert("nopkg", "", ""));
}

TEST(UciCommit, AFailedWriteKeepsThePackageAndItsPendingChanges) {
    engine e;
    const std::string original = "config item a\n\toption x 1\n";
    e.write_package("net", original);
    ASSERT_EQ(OK, e.set("net.a.x=2"));
    ASSERT_EQ(OK, e.ctx.save(e.ctx.loaded("net")));
    ASSERT_EQ(OK, e.set("net.a.y=3"));

    // The factory root has packages of its own: count what the commit adds.
    auto count_files = [&] {
        size_t files = 0;
        for (auto& entry : std::filesystem::directory_iterator(e.root.path("/etc/config"))) {
            (void)entry;
            ++files;
        }
        return files;
    };
    const size_t files_before = count_files();
    set_write_fault(ENOSPC);  // the disk fills up half-way through the temporary file
    EXPECT_EQ(ERR_IO, e.ctx.commit(e.ctx.loaded("net"), false));
    set_write_fault(0);
    EXPECT_EQ(original, e.package_file("net"));
    EXPECT_EQ("net.a.x='2'\n", e.delta_file("net"));
    EXPECT_EQ(files_before, count_files()) << "no temporary file is left behind";

    ASSERT_EQ(OK, e.ctx.commit(e.ctx.loaded("net"), false));
    EXPECT_EQ("\nconfig item 'a'\n\toption x '2'\n\toption y '3'\n\n", e.package_file("net"));

    if (geteuid() != 0) {  // permissions do not stop root
        ASSERT_EQ(OK, e.set("net.a.x=4"));
        std::string before = e.package_file("net");
        chmod(e.root.path("/etc/config").c_str(), 0555);
        EXPECT_EQ(ERR_IO, e.ctx.commit(e.ctx.loaded("net"), false));
        chmod(e.root.path("/etc/config").c_str(), 0755);
        EXPECT_EQ(before, e.package_file("net"));
    }
}

TEST(UciCommit, CommitsOfTwoProcessesAreSerialised) {
    engine e;
    e.write_package("net", "config item a\n");
    const int kProcesses = 4, kCommits = 15;
    std::vector<pid_t> children;
    for (int child = 0; child < kProcesses; ++child) {
        pid_t pid = fork();
        ASSERT_GE(pid, 0);
        if (pid == 0) {
            // Each process has its own save directory, as separate users would.
            context own(e.root.path("/etc/config"), e.root.path("/tmp/.uci" + std::to_string(child)));
            for (int i = 0; i < kCommits; ++i) {
                ref r;
                std::string path = "net.a.p" + std::to_string(child) + "_" + std::to_string(i) + "=1";
                if (own.lookup(path, &r) || own.set(r) || own.commit(r.p, false)) _exit(1);
                own.unload("net");
            }
            _exit(0);
        }
        children.push_back(pid);
    }
    for (pid_t pid : children) {
        int status = 0;
        waitpid(pid, &status, 0);
        EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0);
    }
    ref r;
    ASSERT_EQ(OK, e.ctx.lookup("net.a", &r));
    EXPECT_EQ((size_t)kProcesses * kCommits, r.s->options.size()) << "no commit lost another's change";
}

// A commit writes what it loaded without reading again only while nothing
// changed the package file or its delta files since.
TEST(UciCommit, AChangeMadeSinceTheLoadIsNeverLost) {
    engine e;
    e.write_package("net", "config item a\n\toption v 1\n");
    context other(e.root.path("/etc/config"), e.root.path("/tmp/.uci"));
    ref mine, theirs;
    auto set_in = [](context& c, const std::string& path, ref* r) {
        return c.lookup(path, r) == OK && c.set(*r) == OK;
    };

    // Another context commits in between.
    ASSERT_TRUE(set_in(e.ctx, "net.a.x=mine", &mine));
    ASSERT_TRUE(set_in(other, "net.a.y=theirs", &theirs));
    ASSERT_EQ(OK, other.commit(theirs.p, false));
    ASSERT_EQ(OK, e.ctx.commit(mine.p, false));
    EXPECT_EQ("\nconfig item 'a'\n\toption v '1'\n\toption y 'theirs'\n\toption x 'mine'\n\n", e.package_file("net"));

    // Another context saves a change in the shared save directory in between.
    other.unload("net");
    ASSERT_TRUE(set_in(e.ctx, "net.a.x=mine2", &mine));
    ASSERT_TRUE(set_in(other, "net.a.z=saved", &theirs));
    ASSERT_EQ(OK, other.save(theirs.p));
    ASSERT_EQ(OK, e.ctx.commit(mine.p, false));
    EXPECT_EQ("\nconfig item 'a'\n\toption v '1'\n\toption y 'theirs'\n\toption x 'mine2'\n\toption z 'saved'\n\n",
              e.package_file("net"));
    EXPECT_EQ("", e.delta_file("net"));

    // An edit in place that keeps the size and the modification time.
    e.ctx.unload("net");
    e.write_package("net", "config item a\n\toption v 1\n");
    ASSERT_TRUE(set_in(e.ctx, "net.a.w=mine", &mine));
    struct stat before;
    ASSERT_EQ(0, stat(e.root.path("/etc/config/net").c_str(), &before));
    usleep(10000);
    e.write_package("net", "config item a\n\toption v 2\n");
    struct timespec times[2] = {before.st_atim, before.st_mtim};
    ASSERT_EQ(0, utimensat(AT_FDCWD, e.root.path("/etc/config/net").c_str(), times, 0));
    ASSERT_EQ(OK, e.ctx.commit(mine.p, false));
    EXPECT_EQ("\nconfig item 'a'\n\toption v '2'\n\toption w 'mine'\n\n", e.package_file("net"));

    // Our own saves and commits need no reading again, and lose nothing either.
    ASSERT_TRUE(set_in(e.ctx, "net.a.w=again", &mine));
    ASSERT_EQ(OK, e.ctx.save(mine.p));
    ASSERT_TRUE(set_in(e.ctx, "net.a.u=pending", &mine));
    ASSERT_EQ(OK, e.ctx.commit(mine.p, false));
    EXPECT_EQ("\nconfig item 'a'\n\toption v '2'\n\toption w 'again'\n\toption u 'pending'\n\n",
              e.package_file("net"));
    EXPECT_EQ("", e.delta_file("net"));
}

}  // namespace
