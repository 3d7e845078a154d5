// The UCI engine: reading and writing the file format, anonymous names,
// lookups, delta files, commits that never lose a package, and the lock
// between processes.
#include "test_root.h"
#include "uci/context.h"
#include "uci/delta.h"
#include "uci/files.h"
#include "uci/parser.h"
#include "uci/writer.h"

#include <errno.h>
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

// Parses a text as package "demo" and writes it back as a commit would.
std::string round_trip(const std::string& text, int* err = nullptr, std::vector<parse_error>* errors = nullptr,
                       bool strict = true) {
    package p;
    p.name = "demo";
    std::vector<parse_error> ignored;
    int e = parse_package(text, strict, &p, errors ? errors : &ignored);
    if (err) *err = e;
    return write_package(p, false, false);
}

TEST(UciFormat, ReadsEveryFormOfStatementAndWritesTheCanonicalForm) {
    const std::string input =
        "# a comment line\r\n"
        "package demo\n"
        "\n"
        "config item\n"
        "\toption name 'it'\\''s'   # trailing comment\n"
        "\toption plain abc#rest\n"
        "\tlist ports 80\n"
        "\tlist ports \"8\\\"1\"\n"
        "config 'item' named ; option a 1 ; option b 'x'\"y\"z\r\n"
        "c t\n"
        "\to text 'one\n"
        "two\tthree'\n"
        "  l single a;x ; o after 1\n"
        "config item named\n"
        "\toption b replaced\n"
        "\toption empty ''\n"
        "\toption missing\n"
        "\toption a\n"
        "\tlist opt_then_list first\n"
        "\toption opt_then_list second\n"
        "\toption list_then_opt one\n"
        "\tlist list_then_opt two\n";
    int err = -1;
    EXPECT_EQ(
        "\n"
        "config item\n"
        "\toption name 'it'\\''s'\n"
        "\toption plain 'abc'\n"
        "\tlist ports '80'\n"
        "\tlist ports '8\"1'\n"
        "\n"
        "config item 'named'\n"
        "\toption b 'replaced'\n"
        "\toption opt_then_list 'second'\n"
        "\tlist list_then_opt 'two'\n"
        "\n"
        "config t\n"
        "\toption text 'one\ntwo\tthree'\n"
        "\tlist single 'a;x'\n"
        "\toption after '1'\n"
        "\n",
        round_trip(input, &err));
    EXPECT_EQ(OK, err);
}

TEST(UciFormat, AnonymousSectionsAreNamedByCounterAndTypeHash) {
    EXPECT_EQ("cfg019e34", anonymous_name(1, "item"));
    EXPECT_EQ("cfg0192bd", anonymous_name(1, "rule"));
    EXPECT_EQ("cfg01b619", anonymous_name(1, "t"));
    package p;
    p.name = "demo";
    ASSERT_EQ(OK, parse_package("config item\nconfig item named\nconfig rule\nconfig t\n", true, &p, nullptr));
    ASSERT_EQ(4u, p.sections.size());
    EXPECT_EQ("cfg019e34", p.sections[0]->name);
    EXPECT_EQ("named", p.sections[1]->name);
    EXPECT_EQ("cfg0392bd", p.sections[2]->name);
    EXPECT_EQ("cfg04b619", p.sections[3]->name);
    EXPECT_TRUE(p.find("cfg0392bd"));
    // A generated name steps past a section that already carries it.
    package taken;
    ASSERT_EQ(OK, parse_package("config item cfg029e34\nconfig item\n", true, &taken, nullptr));
    EXPECT_EQ("cfg039e34", taken.sections[1]->name);
    // Export names anonymous sections only when asked to.
    package one;
    one.name = "demo";
    one.create("t", "");
    EXPECT_EQ("package demo\n\nconfig t 'cfg01b619'\n\n", write_package(one, true, true));
    EXPECT_EQ("package demo\n\nconfig t\n\n", write_package(one, true, false));
}

TEST(UciFormat, MalformedFilesGiveAParseErrorWithItsPlace) {
    struct bad_case {
        std::string text;
        std::string reason;
        int line;
    } cases[] = {
        {"config item\n\toption a 'open\n", "unterminated '", 2},
        {"config item\n\toption a \"open\\\"\n", "unterminated \"", 2},
        {"option a b\nconfig item\n", "option/list command found before the first section", 1},
        {"config item\nbogus a b\n", "invalid command", 2},
        {"config item\n\toption a b c\n", "too many arguments", 2},
        {"config item bad-name\n", "invalid character in name field", 1},
        {"config item\n\toption n\xff x\n", "invalid character in name field", 2},
        {"config item\n\toption a 'x\0y'\n", "unterminated '", 2},
        {std::string("config item\n\toption a x\0y\n", 25), "unterminated '", 2},
        {"config item s\nconfig rule s\n", "section of different type overwrites prior section with same name", 2},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.text);
        int err = 0;
        std::vector<parse_error> errors;
        round_trip(c.text, &err, &errors);
        EXPECT_EQ(ERR_PARSE, err);
        ASSERT_EQ(1u, errors.size());
        EXPECT_EQ(c.reason, errors[0].reason);
        EXPECT_EQ(c.line, errors[0].line);
    }
    // Lenient reading drops the broken line and keeps the rest.
    int err = -1;
    std::vector<parse_error> errors;
    EXPECT_EQ("\nconfig item\n\toption b '2'\n\n",
              round_trip("config item\n\toption a 'open\n\toption b 2\n", &err, &errors, false));
    EXPECT_EQ(OK, err);
    EXPECT_EQ(1u, errors.size());
    // Bytes that are not text are kept as they are inside values.
    EXPECT_EQ("\nconfig item\n\toption v '\xff\xfe\x01'\n\n", round_trip("config item\noption v '\xff\xfe\x01'\n"));
}

TEST(UciFormat, LargePackagesAndValuesParse) {
    std::string text;
    for (int i = 0; i < 10000; ++i) text += "config item s" + std::to_string(i) + "\n\toption v " + std::to_string(i) + "\n";
    package p;
    p.name = "big";
    ASSERT_EQ(OK, parse_package(text, true, &p, nullptr));
    ASSERT_EQ(10000u, p.sections.size());
    EXPECT_EQ("9999", p.find("s9999")->find("v")->value);

    std::string value(64 * 1024, 'v');
    value[100] = '\'';
    value[200] = '\n';
    package big;
    big.name = "big";
    big.create("item", "one")->options.push_back(option{"v", false, value, {}});
    package back;
    ASSERT_EQ(OK, parse_package(write_package(big, false, false), true, &back, nullptr));
    EXPECT_EQ(value, back.find("one")->find("v")->value);
}

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
    EXPECT_EQ(ERR_INVAL, e.ctx.lookup("net.@item[x]", &r));
    EXPECT_EQ(ERR_INVAL, e.ctx.lookup("net.a-b", &r));
    EXPECT_EQ(ERR_INVAL, e.ctx.lookup("net.a.b.c", &r));
    EXPECT_EQ(ERR_INVAL, e.ctx.lookup("net=x", &r));
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
        "-net.a.y='value not allowed'\n"
        "net.a.z=\"dq \\\"x\\\"\"\n"
        "|net.a='list needs an option'\n"
        "-net.a.w\n",
        "net");
    ASSERT_EQ(3u, changes.size());
    EXPECT_EQ("bare", changes[0].value);
    EXPECT_EQ("dq \"x\"", changes[1].value);
    EXPECT_EQ(change_kind::remove, changes[2].kind);
    EXPECT_EQ("w", changes[2].option);
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

    // The root's factory packages share the directory: count against them.
    auto count_files = [&e] {
        size_t files = 0;
        for (auto& entry : std::filesystem::directory_iterator(e.root.path("/etc/config"))) {
            (void)entry;
            ++files;
        }
        return files;
    };
    const size_t before = count_files();
    set_write_fault(ENOSPC);  // the disk fills up half-way through the temporary file
    EXPECT_EQ(ERR_IO, e.ctx.commit(e.ctx.loaded("net"), false));
    set_write_fault(0);
    EXPECT_EQ(original, e.package_file("net"));
    EXPECT_EQ("net.a.x='2'\n", e.delta_file("net"));
    EXPECT_EQ(before, count_files()) << "no temporary file is left behind";

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

}  // namespace
