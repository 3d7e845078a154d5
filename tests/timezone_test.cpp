// The stored time zone becomes the POSIX rule in "/etc/TZ", and the NTP
// client restarts with the chosen server after the time-limit rules reload.
#include "apmib.h"
#include "platform_testing.h"
#include "result_codes.h"
#include "test_root.h"
#include "vespin_core.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

const int kMibServerIndex = 152;
const int kMibTimeZone = 153;
const int kMibDaylightSaving = 282;

void store_zone(const std::string& zone, int daylight_saving) {
    ASSERT_TRUE(apmib_set(kMibTimeZone, (void*)zone.c_str()));
    ASSERT_TRUE(apmib_set(kMibDaylightSaving, &daylight_saving));
}

void store_server(int index) { ASSERT_TRUE(apmib_set(kMibServerIndex, &index)); }

// Answers every command with success and keeps only their texts.
void answer_everything() {
    plat_test_set_command_script([](const plat_command&, plat_command_reply*) { return true; });
}

std::vector<std::string> command_texts() {
    std::vector<std::string> texts;
    for (const auto& c : plat_test_commands()) texts.push_back(c.text);
    return texts;
}

// The TZ text setTimeZone hands to echo.
std::string tz_of(const std::string& zone, int daylight_saving) {
    store_zone(zone, daylight_saving);
    plat_test_reset();
    answer_everything();
    EXPECT_EQ(0, setTimeZone()) << zone;
    std::vector<std::string> texts = command_texts();
    if (texts.size() != 1) return "<" + std::to_string(texts.size()) + " commands>";
    const std::string& echo = texts[0];
    const std::string head = "echo ", tail = " >/etc/TZ";
    if (echo.compare(0, head.size(), head) != 0 || echo.size() < head.size() + tail.size() ||
        echo.compare(echo.size() - tail.size(), tail.size(), tail) != 0)
        return "<" + echo + ">";
    return echo.substr(head.size(), echo.size() - head.size() - tail.size());
}

struct zone_case {
    const char* zone;
    const char* with_daylight_saving;
};

// Every zone text with a summer-time rule, the half-hour zones and a few
// plain ones, with the TZ text each gives when daylight saving is on.
const zone_case kZones[] = {
    {"9 1", "GMT9PDT,M4.1.0/02:00:00,M10.5.0/02:00:00"},
    {"8 1", "GMT8PDT,M4.1.0/02:00:00,M10.5.0/02:00:00"},
    {"7 2", "GMT7PDT,M4.1.0/02:00:00,M10.5.0/02:00:00"},
    {"6 1", "GMT6PDT,M4.1.0/02:00:00,M10.5.0/02:00:00"},
    {"6 2", "GMT6PDT,M4.1.0/02:00:00,M10.5.0/02:00:00"},
    {"5 2", "GMT5PDT,M4.1.0/02:00:00,M10.5.0/02:00:00"},
    {"5 3", "GMT5PDT,M4.1.0/02:00:00,M10.5.0/02:00:00"},
    {"4 3", "GMT4PDT,M10.2.0/00:00:00,M3.2.0/00:00:00"},
    {"3 1", "GMT3:30PDT,M4.1.0/00:00:00,M10.5.0/00:00:00"},
    {"3 2", "GMT3PDT,M2.2.0/00:00:00,M10.2.0/00:00:00"},
    {"1 1", "GMT1PDT,M3.5.0/00:00:00,M10.5.0/01:00:00"},
    {"0 2", "GMT0PDT,M3.5.0/01:00:00,M10.5.0/02:00:00"},
    {"-1", "GMT-1PDT,M3.5.0/02:00:00,M10.5.0/03:00:00"},
    {"-2 1", "GMT-2PDT,M3.5.0/02:00:00,M10.5.0/03:00:00"},
    {"-3 2", "GMT-3PDT,M3.5.0/02:00:00,M10.5.0/03:00:00"},
    {"-10 5", "GMT-10PDT,M3.5.0/02:00:00,M10.5.0/03:00:00"},
    {"-2 2", "GMT-2PDT,M3.5.0/03:00:00,M10.5.0/04:00:00"},
    {"-2 3", "GMT-2PDT,M4.5.5/00:00:00,M9.5.5/00:00:00"},
    {"-2 5", "GMT-2PDT,M3.5.0/03:00:00,M10.5.5/04:00:00"},
    {"-2 6", "GMT-2PDT,M3.5.5/02:00:00,M10.1.0/02:00:00"},
    {"-4 2", "GMT-4PDT,M3.5.0/04:00:00,M10.5.0/05:00:00"},
    {"-9 4", "GMT-9:30PDT,M10.5.0/02:00:00,M4.1.0/03:00:00"},
    {"-10 2", "GMT-10PDT,M10.5.0/02:00:00,M4.1.0/03:00:00"},
    {"-10 4", "GMT-10PDT,M10.1.0/02:00:00,M4.1.0/03:00:00"},
    {"-12 1", "GMT-12PDT,M3.2.0/03:00:00,M10.1.0/02:00:00"},
    {"-3 4", "GMT-3:30"},
    {"-4 3", "GMT-4:30"},
    {"-5 3", "GMT-5:30"},
    {"-9 5", "GMT-9:30"},
    {"-1 1", "GMT-1"},  // only the whole text "-1" has a rule
    {"8 2", "GMT8"},
    {"-8 1", "GMT-8"},
    {"12 1", "GMT12"},
};

}  // namespace

TEST(TimeZone, EveryZoneWithAndWithoutDaylightSaving) {
    test_root root;
    for (const zone_case& z : kZones) {
        std::string with = z.with_daylight_saving;
        EXPECT_EQ(with, tz_of(z.zone, 1)) << z.zone;
        EXPECT_EQ(with.substr(0, with.find("PDT")), tz_of(z.zone, 0)) << z.zone;
    }
}

TEST(TimeZone, WritesTheRootsEtcTz) {
    test_root root;
    store_zone("8 1", 1);
    EXPECT_EQ(0, setTimeZone());
    EXPECT_EQ("GMT8PDT,M4.1.0/02:00:00,M10.5.0/02:00:00\n", root.read("/etc/TZ"));
    store_zone("-5 3", 1);
    EXPECT_EQ(0, setTimeZone());
    EXPECT_EQ("GMT-5:30\n", root.read("/etc/TZ"));
    // The factory zone: "8 1" without daylight saving.
    plat_test_reset();
    ASSERT_EQ(1, reinit_apmib());
    EXPECT_EQ(0, setTimeZone());
    EXPECT_EQ("GMT8\n", root.read("/etc/TZ"));
}

TEST(TimeZone, AStoredZoneThatDoesNotParseRunsNothing) {
    test_root root;
    for (const char* zone : {"", " 8", "abc", "8;reboot 1", "$(reboot) 1", "123 1", "- 1", "--1 1", "+8 1"}) {
        store_zone(zone, 1);
        plat_test_reset();
        plat_test_capture_log();
        EXPECT_EQ(VESPIN_ERR_INTERNAL, setTimeZone()) << zone;
        EXPECT_TRUE(plat_test_logged(std::string("Wrong format of MIB_NTP_TIMEZONE: `") + zone + "`")) << zone;
        EXPECT_TRUE(plat_test_commands().empty()) << zone;
    }
    EXPECT_FALSE(root.exists("/etc/TZ"));
}

TEST(TimeZone, UnreadableSettings) {
    test_root root;
    store_zone("-10 4", 0);
    // The daylight-saving flag reads as on when it cannot be read.
    plat_test_fail_setting(kMibDaylightSaving, true, false);
    answer_everything();
    EXPECT_EQ(0, setTimeZone());
    EXPECT_EQ("echo GMT-10PDT,M10.1.0/02:00:00,M4.1.0/03:00:00 >/etc/TZ", command_texts().at(0));
    plat_test_reset();
    plat_test_capture_log();
    plat_test_fail_setting(kMibTimeZone, true, false);
    EXPECT_EQ(VESPIN_ERR_INTERNAL, setTimeZone());
    EXPECT_TRUE(plat_test_logged("Wrong format of MIB_NTP_TIMEZONE: ``"));
}

TEST(Ntp, RestartSequenceWithTheChosenServer) {
    test_root root;
    answer_everything();
    EXPECT_EQ(0, restart_ntp());
    EXPECT_EQ((std::vector<std::string>{"killall -9 ntp_inet >/dev/null 2>&1", "echo GMT8 >/etc/TZ", "timelimit flush",
                                        "timelimit add", "ntp_inet -x pool.ntp.org >/dev/null 2>&1"}),
              command_texts());
    const char* servers[] = {"pool.ntp.org", "time.nist.gov", "ntp1.aliyun.com",
                             "time.windows.com", "time.apple.com", "ntp.ubuntu.com"};
    for (int index = 0; index < 6; index++) {
        store_server(index);
        plat_test_reset();
        answer_everything();
        restart_ntp();
        EXPECT_EQ(std::string("ntp_inet -x ") + servers[index] + " >/dev/null 2>&1", command_texts().back());
    }
}

TEST(Ntp, UnusableServersGiveAnEmptyName) {
    test_root root;
    const std::string empty_name = "ntp_inet -x  >/dev/null 2>&1";
    for (int index : {-1, 6, 1000}) {
        store_server(index);
        plat_test_reset();
        answer_everything();
        restart_ntp();
        EXPECT_EQ(empty_name, command_texts().back()) << index;
    }
    // Shell characters, and a leading '-' that ntp_inet would read as an option.
    store_server(2);
    for (const char* name : {"ntp.example.com; reboot", "-x", "--help", "-q.pool.ntp.org"}) {
        ASSERT_TRUE(apmib_set(2255, (void*)name));
        plat_test_reset();
        answer_everything();
        restart_ntp();
        EXPECT_EQ(empty_name, command_texts().back()) << name;
    }
    ASSERT_TRUE(apmib_set(2255, (void*)"ntp-1.example.com"));
    plat_test_reset();
    answer_everything();
    restart_ntp();
    EXPECT_EQ("ntp_inet -x ntp-1.example.com >/dev/null 2>&1", command_texts().back());
    for (int id : {kMibServerIndex, 2255}) {
        plat_test_reset();
        plat_test_fail_setting(id, true, false);
        answer_everything();
        restart_ntp();
        EXPECT_EQ(empty_name, command_texts().back()) << id;
    }
}

TEST(Ntp, ReturnsTheLastCommandsResultAndRunsTheStandIns) {
    test_root root;
    plat_test_set_command_script([](const plat_command& c, plat_command_reply* reply) {
        if (c.text.compare(0, 8, "ntp_inet") != 0) return false;
        reply->exit_code = 3;
        return true;
    });
    EXPECT_EQ(3 << 8, restart_ntp());
    plat_test_reset();
    EXPECT_EQ(0, restart_ntp());
    EXPECT_EQ("-9 ntp_inet\n-9 ntp_inet\n", root.read("/var/log/killall.args"));
    EXPECT_EQ("flush\nadd\nflush\nadd\n", root.read("/var/log/timelimit.args"));
    EXPECT_EQ("-x pool.ntp.org\n", root.read("/var/log/ntp_inet.args"));
    EXPECT_EQ("GMT8\n", root.read("/etc/TZ"));
    // A zone that does not parse leaves /etc/TZ alone but NTP still restarts.
    store_zone("bad", 0);
    EXPECT_EQ(0, restart_ntp());
    EXPECT_EQ("GMT8\n", root.read("/etc/TZ"));
    EXPECT_EQ("-x pool.ntp.org\n-x pool.ntp.org\n", root.read("/var/log/ntp_inet.args"));
}
