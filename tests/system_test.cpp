// Router state, service restarts, program capture and the delayed companions.
// The router state is cached once per process, so each state scenario runs
// in a fresh process of its own.
#include "system.h"
#include "platform_testing.h"
#include "result_codes.h"
#include "test_root.h"

#include <errno.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <stdio.h>
#include <string.h>
#include <unistd.h>

#include <sstream>

namespace {

// Collects what went wrong inside a fresh process; the process exits 0 only
// when nothing did.
struct verdict {
    std::ostringstream failures;
    template <typename A, typename B>
    void equal(const A& expected, const B& actual, const char* what) {
        if (!(expected == actual)) failures << what << ": expected " << expected << ", got " << actual << "\n";
    }
    void truth(bool ok, const char* what) {
        if (!ok) failures << what << "\n";
    }
    [[noreturn]] void finish() {
        std::string text = failures.str();
        fprintf(stderr, "%s", text.c_str());
        _exit(text.empty() ? 0 : 1);
    }
};

// Runs a scenario in a newly started copy of this test program, with its
// own root and an untouched router-state cache.
#define IN_FRESH_PROCESS(...)                                     \
    do {                                                           \
        GTEST_FLAG_SET(death_test_style, "threadsafe");            \
        EXPECT_EXIT(                                               \
            {                                                      \
                verdict v;                                         \
                {                                                  \
                    test_root root;                                \
                    __VA_ARGS__                                    \
                }                                                  \
                v.finish();                                        \
            },                                                     \
            ::testing::ExitedWithCode(0), "");                     \
    } while (0)

const char kStateFile[] = "/tmp/router_state";

plat_command_script answer_with(const std::string& program, int exit_code, int signal = 0) {
    return [=](const plat_command& c, plat_command_reply* reply) {
        if (c.text.compare(0, program.size(), program) != 0) return false;
        reply->exit_code = exit_code;
        reply->signal = signal;
        return true;
    };
}

std::vector<std::string> command_texts() {
    std::vector<std::string> texts;
    for (const auto& c : plat_test_commands()) texts.push_back(c.text);
    return texts;
}

}  // namespace

TEST(RouterState, ValidStatesAreZeroToThree) {
    EXPECT_EQ(1, validate_state(0));
    EXPECT_EQ(1, validate_state(3));
    EXPECT_EQ(0, validate_state(4));
    EXPECT_EQ(0, validate_state(-1));
    EXPECT_EQ(0, validate_state(0x7fffffff));
}

TEST(RouterState, AMissingFileGivesZeroOnceAndForAll) {
    IN_FRESH_PROCESS({
        plat_test_capture_log();
        v.equal(0, router_state_get(), "state without a file");
        v.truth(plat_test_logged("No file: /tmp/router_state"), "missing-file message");
        bool perror_seen = false;
        for (const auto& e : plat_test_log())
            if (e.channel == PLAT_LOG_PERROR && e.text.rfind("Fail to open: ", 0) == 0) perror_seen = true;
        v.truth(perror_seen, "perror with Fail to open");
        root.write(kStateFile, "3");
        v.equal(0, router_state_get(), "the file is not tried again");
    });
}

TEST(RouterState, AReadStateIsKeptUntilThisProcessSetsOne) {
    IN_FRESH_PROCESS({
        root.write(kStateFile, "1");
        v.equal(1, router_state_get(), "state from the file");
        root.write(kStateFile, "3");
        v.equal(1, router_state_get(), "cached state");
        v.equal(0, router_state_set(2), "set 2");
        v.equal(std::string("2"), root.read(kStateFile), "file after set");
        v.equal(2, router_state_get(), "state after set");
    });
}

TEST(RouterState, AFileHoldingFourOrNothingIsReadAgain) {
    IN_FRESH_PROCESS({
        root.write(kStateFile, "4");
        v.equal(4, router_state_get(), "state 4");
        root.write(kStateFile, "");
        v.equal(4, router_state_get(), "nothing readable after 4");
        root.write(kStateFile, "1\n");
        v.equal(1, router_state_get(), "read again");
    });
}

TEST(RouterState, InvalidStatesAndUnwritableFileAreRefused) {
    IN_FRESH_PROCESS({
        root.write(kStateFile, "1");
        v.equal(1, router_state_get(), "state from the file");
        v.equal(VESPIN_ERR_MISSING_VALUE, router_state_set(4), "set 4");
        v.equal(VESPIN_ERR_MISSING_VALUE, router_state_set(-1), "set -1");
        v.equal(std::string("1"), root.read(kStateFile), "file untouched");
        plat_test_fail_open(kStateFile, EACCES);
        v.equal(VESPIN_ERR_FAILURE, router_state_set(3), "unwritable file");
        v.equal(1, router_state_get(), "cache unchanged by a failed set");
        v.equal(std::string("1"), root.read(kStateFile), "file still untouched");
    });
}

TEST(Restart, FirewallAndWifiRunTheirCommandsThroughTheStandIns) {
    test_root root;
    EXPECT_EQ(0, restart_wifi_module());
    EXPECT_EQ((std::vector<std::string>{"killall -9 udhcpd", "sysconf init gw all"}), command_texts());
    EXPECT_EQ("-9 udhcpd\n", root.read("/var/log/killall.args"));
    EXPECT_EQ("init gw all\n", root.read("/var/log/sysconf.args"));

    plat_test_reset();
    EXPECT_EQ(0, restart_firewall());
    // The firmware's own text: standard error goes to a file named 1.
    EXPECT_EQ((std::vector<std::string>{"killall -9 udhcpd", "sysconf firewall > /dev/null 2>1 &"}),
              command_texts());
}

TEST(Restart, AFailingOrKilledCommandGives600001) {
    test_root root;
    plat_test_capture_log();
    plat_test_set_command_script(answer_with("sysconf", 1));
    EXPECT_EQ(VESPIN_ERR_FAILURE, restart_firewall());
    EXPECT_TRUE(plat_test_logged("Fail to restart wifi module"));
    EXPECT_EQ(VESPIN_ERR_FAILURE, restart_wifi_module());
    plat_test_set_command_script(answer_with("sysconf", 0, SIGKILL));
    EXPECT_EQ(VESPIN_ERR_FAILURE, restart_wifi_module());
    // The DHCP server's kill failing changes nothing.
    plat_test_set_command_script(answer_with("killall", 1));
    EXPECT_EQ(0, restart_wifi_module());
}

TEST(Capture, ProgramsWithoutAShell) {
    test_root root;
    char out[64];
    int status = -7;
    char* echo[] = {(char*)"echo", (char*)"hello", (char*)"world", nullptr};
    EXPECT_EQ(0, mk_popen("echo", echo, &status, out, sizeof out));
    EXPECT_STREQ("hello world\n", out);
    EXPECT_EQ(0, status);

    char small[5];
    memset(small, 'x', sizeof small);
    EXPECT_EQ(0, mk_popen("echo", echo, &status, small, sizeof small));
    EXPECT_STREQ("hell", small);

    char* missing[] = {(char*)"no-such-program", nullptr};
    EXPECT_EQ(0, mk_popen("no-such-program", missing, &status, out, sizeof out));
    EXPECT_EQ(2, status);
    EXPECT_STREQ("", out);

    char* failing[] = {(char*)"false", nullptr};
    EXPECT_EQ(0, mk_popen("false", failing, nullptr, out, sizeof out));
    EXPECT_EQ(-1, mk_popen(nullptr, echo, &status, out, sizeof out));
    EXPECT_EQ(-1, mk_popen("echo", nullptr, &status, out, sizeof out));

    plat_test_set_command_script(answer_with("echo", 0, SIGTERM));
    EXPECT_EQ(0, mk_popen("echo", echo, &status, out, sizeof out));
    EXPECT_EQ(-SIGTERM, status);
}

TEST(Capture, CommandsThroughTheShell) {
    test_root root;
    char out[16];
    EXPECT_EQ(6, mk_popen2("echo one; echo two", out, 7));
    EXPECT_STREQ("one\ntw", out);
    EXPECT_EQ(0, mk_popen2("echo one", out, 1));
    EXPECT_STREQ("", out);
    EXPECT_EQ(0, mk_popen2("exit 3", out, sizeof out));
    EXPECT_EQ(-1, mk_popen2(nullptr, out, sizeof out));
}

TEST(Delayed, RunAndRebootHandOverToTheCompanions) {
    test_root root;
    EXPECT_EQ(0, system_delay_run(5, "sysconf init gw all"));
    EXPECT_EQ("5 sysconf init gw all\n", root.read("/var/log/vespin_delay_run.args"));
    EXPECT_EQ(0, delay_reboot(10));
    EXPECT_EQ("10\n", root.read("/var/log/vespin_reboot.args"));
    EXPECT_EQ("10\n", root.read("/var/run/reboot"));
    EXPECT_EQ("2", root.read(kStateFile));  // marked before the reboot happens
    EXPECT_EQ(2, router_state_get());
    EXPECT_EQ((std::vector<std::string>{"vespin_delay_run 5 sysconf init gw all", "vespin_reboot 10"}),
              command_texts());
}

TEST(Delayed, TheCompanionsExitCodeIsTheResult) {
    test_root root;
    plat_test_capture_log();
    plat_test_set_command_script(answer_with("vespin_delay_run", 3));
    EXPECT_EQ(3, system_delay_run(-1, "echo"));
    EXPECT_EQ(VESPIN_ERR_FAILURE, system_delay_run(1, nullptr));
    EXPECT_TRUE(plat_test_logged("Fail to run"));
    plat_test_set_command_script(answer_with("vespin_reboot", 4));
    EXPECT_EQ(4, delay_reboot(0));
    // A companion missing from the firmware: execvp's error number.
    plat_test_set_command_script(nullptr);
    unlink(root.path("/bin/vespin_reboot").c_str());
    EXPECT_EQ(ENOENT, delay_reboot(1));
}
