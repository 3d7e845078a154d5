// The platform seam: the emulated root keeps commands away from the host,
// the settings store is durable, commands can be answered in-process, and
// the fake clock drives time.
#include "apmib.h"
#include "platform.h"
#include "platform_testing.h"
#include "root_fence.h"
#include "test_root.h"

#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <string.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

bool journal_has(const test_root& root, const std::string& line) {
    std::string journal = root.read("/var/log/commands");
    return journal.find(line + "\n") != std::string::npos;
}

bool alive(pid_t pid) { return waitpid(pid, nullptr, WNOHANG) == 0 && kill(pid, 0) == 0; }

}  // namespace

TEST(EmulatedCommands, CannotSignalOrKillAHostProcess) {
    test_root root;
    pid_t sentinel = fork();
    ASSERT_GE(sentinel, 0);
    if (sentinel == 0) {
        execlp("sleep", "sleep", "30", (char*)nullptr);
        _exit(127);
    }
    std::string pid = std::to_string(sentinel);
    std::string signal_it = "kill -SIGUSR1 " + pid;
    std::string kill_by_name = "killall -9 sleep";
    std::string kill_by_path = "/bin/kill -9 " + pid;
    std::string builtin_kill = "command kill -9 " + pid + "; builtin kill -9 " + pid;
    std::string enabled_kill = "enable kill; builtin enable kill; kill -15 " + pid;
    EXPECT_EQ(0, plat_system(signal_it.c_str()));
    EXPECT_EQ(0, plat_system(kill_by_name.c_str()));
    EXPECT_EQ(0, plat_system(kill_by_path.c_str()));
    plat_system(builtin_kill.c_str());
    plat_system(enabled_kill.c_str());
    // The host's kill reached through a path built at run time: only the fence holds it.
    if (root_fence_available()) plat_system(("$(printf '\\057')bin$(printf '\\057')kill -9 " + pid).c_str());
    usleep(100000);
    EXPECT_TRUE(alive(sentinel));
    EXPECT_TRUE(journal_has(root, signal_it));
    EXPECT_TRUE(journal_has(root, kill_by_name));
    // "command kill" finds the stand-in too; "builtin kill" finds nothing;
    // "enable" is gone, so "enable kill" cannot bring the shell's kill back.
    EXPECT_EQ("-SIGUSR1 " + pid + "\n-9 " + pid + "\n-9 " + pid + "\n-15 " + pid + "\n",
              root.read("/var/log/kill.args"));
    EXPECT_EQ("-9 sleep\n", root.read("/var/log/killall.args"));
    kill(sentinel, SIGKILL);
    waitpid(sentinel, nullptr, 0);
}

TEST(EmulatedCommands, AbsolutePathsAndUnknownProgramsStayInTheRoot) {
    test_root root;
    EXPECT_EQ(0, plat_system("echo GMT8 >/etc/TZ"));
    EXPECT_EQ("GMT8\n", root.read("/etc/TZ"));
    EXPECT_EQ(0, plat_system("mkdir -p '/tmp/a b' && echo x > \"/tmp/a b/c\""));
    EXPECT_EQ("x\n", root.read("/tmp/a b/c"));
    int status = plat_system("reboot");
    EXPECT_TRUE(WIFEXITED(status));
    EXPECT_EQ(127, WEXITSTATUS(status));
    char out[64];
    int wait_status = -1;
    EXPECT_EQ(5, plat_run_capture("cat /etc/vespin/bind_address 2>/dev/null || echo none", out, sizeof out, &wait_status));
    EXPECT_STREQ("none\n", out);
}

TEST(EmulatedCommands, CaptureStopsAtTheBufferAndSpawnReportsExecErrors) {
    test_root root;
    char out[8];
    int wait_status = 0;
    EXPECT_EQ(7, plat_run_capture("yes | head -c 100000", out, sizeof out, &wait_status));
    EXPECT_STREQ("y\ny\ny\ny", out);
    char* argv[] = {(char*)"no_such_program", nullptr};
    int status = 0;
    EXPECT_EQ(0, plat_spawn_capture("no_such_program", argv, &status, out, sizeof out));
    EXPECT_EQ(2, status);
    char* echo_argv[] = {(char*)"echo", (char*)"hello", (char*)"world", nullptr};
    EXPECT_EQ(0, plat_spawn_capture("echo", echo_argv, &status, out, sizeof out));
    EXPECT_EQ(0, status);
    EXPECT_STREQ("hello w", out);
    EXPECT_TRUE(journal_has(root, "echo hello world"));
}

TEST(CommandScript, AnswersInProcessWithoutSpawning) {
    test_root root;
    plat_test_set_command_script([](const plat_command& cmd, plat_command_reply* reply) {
        if (cmd.text.rfind("touch", 0) == 0) {
            reply->exit_code = 3;
            return true;
        }
        if (cmd.text == "top -bn 1") {
            reply->output = "Mem: 1000K used\n";
            return true;
        }
        if (cmd.text == "sysconf init") {
            reply->signal = 9;
            return true;
        }
        return false;
    });
    int status = plat_system("touch /tmp/ran");
    EXPECT_TRUE(WIFEXITED(status));
    EXPECT_EQ(3, WEXITSTATUS(status));
    EXPECT_FALSE(root.exists("/tmp/ran"));
    EXPECT_TRUE(WIFSIGNALED(plat_system("sysconf init")));
    char out[6];
    EXPECT_EQ(5, plat_run_capture("top -bn 1", out, sizeof out, nullptr));
    EXPECT_STREQ("Mem: ", out);
    ASSERT_EQ(3u, plat_test_commands().size());
    EXPECT_EQ(PLAT_CMD_CAPTURE, plat_test_commands()[2].kind);
    EXPECT_EQ("top -bn 1", plat_test_commands()[2].text);
}

TEST(FakeClock, DrivesTimeAndSleeps) {
    test_root root;
    plat_test_set_clock(1000, 999999);
    struct timeval tv;
    plat_gettimeofday(&tv);
    EXPECT_EQ(1000, tv.tv_sec);
    EXPECT_EQ(999999, tv.tv_usec);
    plat_usleep(2);
    plat_gettimeofday(&tv);
    EXPECT_EQ(1001, tv.tv_sec);
    EXPECT_EQ(1, tv.tv_usec);
    EXPECT_EQ(1001, plat_time());
}

TEST(SettingsStore, EveryKindRoundTripsThroughTheFileAndSurvivesReopen) {
    test_root root;
    int mode = 7;
    ASSERT_TRUE(apmib_set(2401, &mode));
    struct in_addr lan;
    inet_aton("10.1.2.3", &lan);
    ASSERT_TRUE(apmib_set(170, &lan));
    char name[] = "quote\" back\\ tab\t end";
    ASSERT_TRUE(apmib_set(186, name));
    unsigned char assets[256];
    for (int i = 0; i < 256; i++) assets[i] = (unsigned char)(255 - i);
    ASSERT_TRUE(apmib_set(2404, assets));
    wlan_idx = 1;
    vwlan_idx = 2;
    char ssid[] = "guest-2.4";
    ASSERT_TRUE(apmib_set(1, ssid));
    wlan_idx = 0;
    vwlan_idx = 0;
    unsigned char lease[64] = {1, 2, 3};
    ASSERT_TRUE(apmib_set(65831, lease));
    lease[0] = 9;
    ASSERT_TRUE(apmib_set(65831, lease));
    ASSERT_EQ(0, apmib_update(APMIB_CURRENT_SETTING));
    ASSERT_TRUE(apmib_reinit());

    int got = 0;
    EXPECT_TRUE(apmib_get(2401, &got));
    EXPECT_EQ(7, got);
    struct in_addr got_lan;
    EXPECT_TRUE(apmib_get(170, &got_lan));
    EXPECT_EQ(lan.s_addr, got_lan.s_addr);
    char got_name[33];
    EXPECT_TRUE(apmib_get(186, got_name));
    EXPECT_STREQ(name, got_name);
    unsigned char got_assets[256];
    EXPECT_TRUE(apmib_get(2404, got_assets));
    EXPECT_EQ(0, memcmp(assets, got_assets, 256));
    char got_ssid[33];
    EXPECT_TRUE(apmib_get(1, got_ssid));
    EXPECT_STREQ("Vespin-5G", got_ssid);  // radio 0, interface 0: the factory value
    wlan_idx = 1;
    vwlan_idx = 2;
    EXPECT_TRUE(apmib_get(1, got_ssid));
    EXPECT_STREQ("guest-2.4", got_ssid);
    wlan_idx = 0;
    vwlan_idx = 0;
    int count = 0;
    EXPECT_TRUE(apmib_get(293, &count));
    EXPECT_EQ(2, count);
    unsigned char entry[64] = {2};
    EXPECT_TRUE(apmib_get(33062, entry));
    EXPECT_EQ(9, entry[0]);
    EXPECT_TRUE(apmib_set(131368, lease));  // delete the second by content
    EXPECT_TRUE(apmib_get(293, &count));
    EXPECT_EQ(1, count);
    EXPECT_TRUE(apmib_set(262441, lease));
    EXPECT_TRUE(apmib_get(293, &count));
    EXPECT_EQ(0, count);
}

// The store file is the same on either byte order where its format says so:
// numbers in decimal, addresses as dotted quads (network order in memory).
// Table entries are the entry's bytes as the router keeps them, in memory
// order: numbers inside an entry are in host order by design.
TEST(SettingsStore, FileFormatIsIndependentOfTheByteOrderAndEntriesKeepTheirBytes) {
    test_root root;
    int mode = 0x01020304;
    ASSERT_TRUE(apmib_set(2401, &mode));
    const unsigned char lan[4] = {192, 168, 1, 254};
    ASSERT_TRUE(apmib_set(170, (void*)lan));
    unsigned char entry[64];
    for (int i = 0; i < 64; i++) entry[i] = (unsigned char)i;
    ASSERT_TRUE(apmib_set(65831, entry));
    ASSERT_EQ(0, apmib_update(APMIB_CURRENT_SETTING));
    std::string file = root.read("/flash/mib.conf");
    EXPECT_NE(std::string::npos, file.find("\n170 = 192.168.1.254\n")) << file;
    EXPECT_NE(std::string::npos, file.find("\n2401 = 16909060\n")) << file;
    std::string hex;
    for (int i = 0; i < 64; i++) hex += "0123456789abcdef"[i >> 4], hex += "0123456789abcdef"[i & 15];
    EXPECT_NE(std::string::npos, file.find("\n33062 = " + hex + "\n")) << file;

    // Read back from a file written by hand: the same values in memory.
    root.write("/flash/mib.conf", "2401 = 16909060\n170 = 10.0.0.1\n33062 = " + hex + "\n");
    ASSERT_TRUE(apmib_reinit());
    int got = 0;
    EXPECT_TRUE(apmib_get(2401, &got));
    EXPECT_EQ(0x01020304, got);
    unsigned char address[4];
    EXPECT_TRUE(apmib_get(170, address));
    EXPECT_EQ(0, memcmp("\x0a\x00\x00\x01", address, 4));
    int count = 0;
    EXPECT_TRUE(apmib_get(293, &count));
    EXPECT_EQ(1, count);
    unsigned char got_entry[64] = {1};  // the index goes in the first byte, whatever the byte order
    EXPECT_TRUE(apmib_get(33062, got_entry));
    EXPECT_EQ(0, memcmp(entry, got_entry, 64));
}

TEST(SettingsStore, TextIsCutToItsFieldAndDefaultsComeFromTheFactoryFile) {
    test_root root;
    std::string long_name(100, 'n');
    ASSERT_TRUE(apmib_set(186, &long_name[0]));
    char got[200];
    memset(got, 'x', sizeof got);
    EXPECT_TRUE(apmib_get(186, got));
    EXPECT_EQ(std::string(32, 'n'), std::string(got));
    char sn[32];
    EXPECT_TRUE(apmib_getDef(4001, sn));
    EXPECT_STREQ("0224081231A1B2C", sn);
    int mode = 3;
    apmib_set(2401, &mode);
    EXPECT_TRUE(apmib_getDef(2401, &mode));
    EXPECT_EQ(1, mode);
    EXPECT_FALSE(apmib_get(999999, got));
    wlan_idx = 5;
    EXPECT_FALSE(apmib_get(1, got));
    wlan_idx = 0;
}

TEST(SettingsStore, InjectedFailuresHitOneIdOnly) {
    test_root root;
    plat_test_fail_setting(4001, true, false);
    plat_test_fail_setting(186, false, true);
    char text[64] = "x";
    EXPECT_FALSE(apmib_get(4001, text));
    EXPECT_TRUE(apmib_set(4001, text));
    EXPECT_FALSE(apmib_set(186, text));
    EXPECT_TRUE(apmib_get(186, text));
    EXPECT_TRUE(apmib_get(4009, text));
}

TEST(SettingsStore, FailedUpdateLeavesTheOldFileIntact) {
    test_root root;
    int mode = 5;
    apmib_set(2401, &mode);
    ASSERT_EQ(0, apmib_update(APMIB_CURRENT_SETTING));
    std::string before = root.read("/flash/mib.conf");
    mode = 6;
    apmib_set(2401, &mode);
    plat_test_fail_open("/flash/mib.conf", ENOSPC);
    EXPECT_EQ(-1, apmib_update(APMIB_CURRENT_SETTING));
    EXPECT_EQ(before, root.read("/flash/mib.conf"));
}

TEST(Interfaces, TheRootsTableAnswersIoctlQuestions) {
    test_root root;
    unsigned char out[16];
    bool found = false;
    EXPECT_EQ(0, plat_if_query("br0", PLAT_IF_ADDR, out, &found));
    EXPECT_TRUE(found);
    EXPECT_EQ(0, memcmp(out, "\xc0\xa8\x01\x01", 4));
    EXPECT_EQ(0, plat_if_query("wlan0", PLAT_IF_HWADDR, out, &found));
    EXPECT_TRUE(found);
    EXPECT_EQ(0, memcmp(out + 2, "\x02\x56\x00\x00\x02\x01", 6));
    EXPECT_EQ(0, plat_if_query("wlan0", PLAT_IF_ADDR, out, &found));
    EXPECT_FALSE(found);
    EXPECT_EQ(-1, plat_if_query("eth9", PLAT_IF_ADDR, out, &found));
    EXPECT_EQ(-1, plat_if_query("a-name-longer-than-ifnamsiz", PLAT_IF_ADDR, out, &found));
}

TEST(NodeSettings, EachRootHasItsOwnKeyAndAddress) {
    int first_key;
    {
        test_root root("--address 127.0.0.3");
        first_key = plat_shm_key();
        EXPECT_EQ(inet_addr("127.0.0.3"), plat_bind_address());
    }
    test_root other("--shm-key 4242");
    EXPECT_EQ(4242, plat_shm_key());
    EXPECT_NE(first_key, plat_shm_key());
    EXPECT_EQ(htonl(INADDR_LOOPBACK), plat_bind_address());
}
