// Network diagnostics: the echo prober's bytes and reply checks, the
// reachability cache under a fake clock, every branch of the WAN state, and
// the commands the measurements run (with the root's stand-ins).
#include "internal_diagnostics.h"
#include "apmib.h"
#include "platform.h"
#include "platform_testing.h"
#include "test_root.h"

#include <arpa/inet.h>
#include <errno.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <string.h>
#include <sys/socket.h>
#include <unistd.h>

#include <chrono>
#include <string>
#include <thread>

namespace {

// Each test starts its fake clock far beyond the last one, so that the
// process-wide reachability cache of an earlier test has expired.
void fresh_fake_clock() {
    static long next = 1000000000;
    next += 100000;
    plat_test_set_clock(next, 0);
}

uint16_t our_identifier() { return (uint16_t)getpid(); }

// An IPv4 header of `header_words` x 4 bytes followed by an ICMP message.
std::string datagram(uint8_t type, uint16_t identifier, uint16_t sequence, int header_words = 5) {
    std::string d(header_words * 4, '\0');
    d[0] = (char)(0x40 | header_words);
    d += (char)type;
    d += '\0';
    d += std::string(2, '\0');  // checksum, not examined
    d += (char)(identifier >> 8);
    d += (char)identifier;
    d += (char)(sequence >> 8);
    d += (char)sequence;
    d += std::string(56, 'x');
    return d;
}

// Answers every probe with one datagram (or silence when empty).
void answer_probes_with(const std::string& reply) {
    plat_test_set_icmp_script([reply](const std::vector<plat_icmp_sent>&, std::string* out) {
        if (reply.empty()) return false;
        *out = reply;
        return true;
    });
}

void host_answers(bool answers) { answer_probes_with(answers ? datagram(0, our_identifier(), 0) : ""); }

diagnosis_request localhost_request(char* output) {
    diagnosis_request request;
    memset(&request, 0, sizeof request);
    strcpy(request.target, "localhost");
    request.output = output;
    return request;
}

void set_setting(int id, int value) { ASSERT_TRUE(apmib_set(id, &value)); }

}  // namespace

TEST(OpMode, ReadsSetting192) {
    test_root root;
    EXPECT_EQ(0, vespin_get_op_mode());
    set_setting(192, 2);
    EXPECT_EQ(2, vespin_get_op_mode());
    plat_test_fail_setting(192, true, false);
    EXPECT_EQ(600001, vespin_get_op_mode());
}

TEST(Pingsock, SendsThreeEchoRequestsOf64BytesToDottedTextUnresolved) {
    test_root root;
    fresh_fake_clock();
    host_answers(true);
    EXPECT_EQ(0, pingsock("127.0.0.1"));
    EXPECT_TRUE(plat_test_resolved().empty()) << "dotted text must not be resolved";
    const auto& sent = plat_test_icmp_sent();
    ASSERT_EQ(3u, sent.size());
    for (const auto& message : sent) {
        EXPECT_EQ(htonl(INADDR_LOOPBACK), message.address);
        ASSERT_EQ(64u, message.message.size());
        const auto* p = (const uint8_t*)message.message.data();
        EXPECT_EQ(8, p[0]);
        EXPECT_EQ(0, p[1]);
        EXPECT_EQ(our_identifier(), (uint16_t)(p[4] << 8 | p[5])) << "identifier in network order";
        EXPECT_EQ(0, p[6]);
        EXPECT_EQ(0, p[7]);
        for (int i = 0; i < 56; i++) ASSERT_EQ(i, p[8 + i]) << "payload byte " << i;
        // A correct Internet checksum makes the one's-complement sum of the
        // whole message 0xffff.
        uint32_t sum = 0;
        for (int i = 0; i < 64; i += 2) sum += (uint32_t)(p[i] << 8 | p[i + 1]);
        while (sum >> 16) sum = (sum & 0xffff) + (sum >> 16);
        EXPECT_EQ(0xffffu, sum);
    }
}

TEST(Pingsock, OnlyTheFirstDatagramCountsAndMustBeOurEchoReply) {
    test_root root;
    fresh_fake_clock();
    struct {
        std::string reply;
        int expected;
        const char* what;
    } cases[] = {
        {datagram(0, our_identifier(), 0), 0, "our reply"},
        {datagram(0, our_identifier(), 0, 6), 0, "our reply behind a 24-byte IP header"},
        {datagram(0, (uint16_t)(our_identifier() + 1), 0), -1, "another process's reply"},
        {datagram(8, our_identifier(), 0), -1, "an echo request arriving first"},
        {datagram(3, our_identifier(), 0), -1, "destination unreachable"},
        {datagram(0, our_identifier(), 1), -1, "a sequence never sent"},
        {datagram(0, our_identifier(), 0).substr(0, 27), -1, "7 bytes of ICMP"},
        {std::string(1, '\x4f'), -1, "an IP header longer than the datagram"},
        {"", -1, "silence"},
    };
    for (const auto& c : cases) {
        answer_probes_with(c.reply);
        EXPECT_EQ(c.expected, pingsock("127.0.0.1")) << c.what;
    }
    // Silence costs the 2-second wait and the two 5 ms gaps.
    struct timeval before, after;
    plat_gettimeofday(&before);
    answer_probes_with("");
    pingsock("127.0.0.1");
    plat_gettimeofday(&after);
    EXPECT_EQ(2010000, (after.tv_sec - before.tv_sec) * 1000000 + (after.tv_usec - before.tv_usec));
}

TEST(Pingsock, ResolvesNamesFromTheRootOnly) {
    test_root root;
    fresh_fake_clock();
    root.write("/etc/hosts", "127.0.0.1 localhost\n# 127.0.0.8 probe.test\n127.0.0.9 other probe.test\n");
    host_answers(true);
    EXPECT_EQ(0, pingsock("probe.test"));
    ASSERT_EQ(3u, plat_test_icmp_sent().size());
    EXPECT_EQ(inet_addr("127.0.0.9"), plat_test_icmp_sent()[0].address);
    EXPECT_EQ(-1, pingsock("missing.test"));
    EXPECT_EQ(3u, plat_test_icmp_sent().size()) << "nothing sent to an unresolved name";
    EXPECT_EQ(-1, pingsock(nullptr));
}

TEST(Pingsock, ReachesLoopbackThroughARealRawSocket) {
    int probe = socket(AF_INET, SOCK_RAW, IPPROTO_ICMP);
    if (probe < 0) GTEST_SKIP() << "raw ICMP sockets are not permitted here: " << strerror(errno);
    close(probe);
    test_root root;
    // Echo requests to loopback reach our own socket too; the kernel filter
    // keeps them out so that the kernel's echo reply is the first datagram.
    int answered = 0;
    for (int i = 0; i < 3; i++) answered += pingsock("127.0.0.1") == 0;
    EXPECT_GE(answered, 2) << "another process pinging loopback may spoil one probe, not most";
    EXPECT_EQ(-1, pingsock("203.0.113.5")) << "an emulated root reaches loopback only";
}

TEST(Reachability, CachesTheAddressForLessThan61SecondsAndRetriesFourTimes) {
    test_root root;
    fresh_fake_clock();
    root.write("/etc/vespin/check_host", "check.test\n");
    root.write("/etc/hosts", "127.0.0.7 check.test\n");
    host_answers(false);
    EXPECT_EQ(0, is_server_available());
    EXPECT_EQ(12u, plat_test_icmp_sent().size()) << "four probe cycles of three requests";
    EXPECT_EQ(1u, plat_test_resolved().size());

    host_answers(true);
    EXPECT_EQ(1, is_server_available());
    EXPECT_EQ(15u, plat_test_icmp_sent().size()) << "one cycle for a reachable host";
    EXPECT_EQ(inet_addr("127.0.0.7"), plat_test_icmp_sent().back().address);
    EXPECT_EQ(1u, plat_test_resolved().size()) << "the cached address is used";

    // The failed cycles moved the clock by 4 x 2.01 s; go to 60 s after the lookup.
    struct timeval now;
    plat_gettimeofday(&now);
    plat_test_advance_clock((60 - (now.tv_sec % 100000)) * 1000000L);
    EXPECT_EQ(1, is_server_available());
    EXPECT_EQ(1u, plat_test_resolved().size()) << "60 s after the lookup: cached";
    plat_test_advance_clock(1000000);
    EXPECT_EQ(1, is_server_available());
    EXPECT_EQ(2u, plat_test_resolved().size()) << "61 s after the lookup: looked up again";

    // A failed lookup empties the cache: the next call looks up again at once.
    root.write("/etc/hosts", "");
    plat_test_advance_clock(61000000);
    EXPECT_EQ(0, is_server_available());
    root.write("/etc/hosts", "127.0.0.7 check.test\n");
    EXPECT_EQ(1, is_server_available());
    EXPECT_EQ(4u, plat_test_resolved().size());
}

TEST(WanState, EveryBranchOfWorkModeLinkAndOpMode) {
    test_root root;
    const int kUnreadable = -1;
    struct {
        int work_mode, op_mode;
        const char* link;  // null: no link-status file
        bool reachable;
        int expected;
        bool probes;
    } cases[] = {
        {1, 0, "1\n", true, 2, true},   {1, 0, "1\n", false, 1, true}, {1, 1, "1\n", true, 1, false},
        {1, 2, "1\n", true, 1, false},  {1, kUnreadable, "1", true, 1, false},
        {1, 0, "0\n", true, 0, false},  {1, 2, "0\n", true, 0, false}, {1, 1, "0\n", true, 2, true},
        {1, 1, "0\n", false, 0, true},  {1, 0, "7\n", true, 7, false}, {1, 1, "12", true, 12, false},
        {1, 0, nullptr, true, 0, false}, {0, 0, "0\n", true, 2, true}, {0, 0, nullptr, false, 1, true},
        {0, 1, "0\n", true, 1, false},
    };
    for (const auto& c : cases) {
        plat_test_reset();
        fresh_fake_clock();
        set_setting(2401, c.work_mode);
        if (c.op_mode == kUnreadable) plat_test_fail_setting(192, true, false);
        else set_setting(192, c.op_mode);
        if (c.link) root.write("/proc/eth1/link_status", c.link);
        else unlink(root.path("/proc/eth1/link_status").c_str());
        host_answers(c.reachable);
        EXPECT_EQ(c.expected, vespin_is_wan_connected())
            << "work mode " << c.work_mode << ", op mode " << c.op_mode << ", link " << (c.link ? c.link : "none");
        EXPECT_EQ(c.probes, !plat_test_icmp_sent().empty()) << "probing, op mode " << c.op_mode;
    }
}

TEST(NetworkMs, RefusesBadHostsAndRunsPingOnlyWithInternet) {
    test_root root;
    fresh_fake_clock();
    host_answers(true);
    uint32_t ms = 99;
    EXPECT_EQ(600001, get_network_ms(nullptr, &ms));
    EXPECT_EQ(600001, get_network_ms("127.0.0.1", nullptr));
    for (const char* bad : {"", "a;reboot", "$(reboot)", "`id`", "a b", "-f", "a\nb", "a'b", "x|y", "a/b"})
        EXPECT_EQ(100208, get_network_ms(bad, &ms)) << bad;
    std::string too_long(256, 'a');
    EXPECT_EQ(100208, get_network_ms(too_long.c_str(), &ms));
    EXPECT_TRUE(plat_test_commands().empty());
    EXPECT_TRUE(plat_test_icmp_sent().empty()) << "a refused host costs no probe";

    ASSERT_EQ(0, get_network_ms("127.0.0.1", &ms));
    EXPECT_EQ(12u, ms) << "average 12.640 ms, truncated";
    ASSERT_EQ(1u, plat_test_commands().size());
    EXPECT_EQ("ping -4 127.0.0.1 -c 5 2>&1", plat_test_commands()[0].text);
    EXPECT_EQ("-4 127.0.0.1 -c 5\n", root.read("/var/log/ping.args"));
    EXPECT_EQ(0, get_network_ms("localhost", &ms));
    // IPv6 text passes the check and reaches ping, whose failure is 100208.
    EXPECT_EQ(100208, get_network_ms("::1", &ms));
    EXPECT_EQ("ping -4 ::1 -c 5 2>&1", plat_test_commands().back().text);
    EXPECT_EQ(100208, get_network_ms("10.9.9.9", &ms)) << "100% loss: ping exits 1";
}

TEST(NetworkMs, WithoutInternetRunsNothingAndOutputWithoutSummaryFails) {
    test_root root;
    fresh_fake_clock();
    host_answers(true);
    set_setting(192, 2);  // WAN state 1: a link, Internet not probed
    uint32_t ms = 0;
    EXPECT_EQ(600101, get_network_ms("127.0.0.1", &ms));
    EXPECT_TRUE(plat_test_commands().empty());

    set_setting(192, 0);
    plat_test_set_command_script([](const plat_command&, plat_command_reply* reply) {
        reply->output = "PING 127.0.0.1 (127.0.0.1) 56(84) bytes of data.\n64 bytes from 127.0.0.1: time=0.05 ms\n";
        return true;
    });
    plat_test_capture_log();
    EXPECT_EQ(100208, get_network_ms("127.0.0.1", &ms));
    EXPECT_TRUE(plat_test_logged("Fail to ping 127.0.0.1"));
    plat_test_set_command_script([](const plat_command&, plat_command_reply* reply) {
        reply->output = "rtt min/avg/max/mdev = 1.0/nan/3.0/0.1 ms\n";
        return true;
    });
    EXPECT_EQ(100208, get_network_ms("127.0.0.1", &ms)) << "an average that is not a number";
}

TEST(Diagnosis, RunsTheChosenToolWithItsExactCommand) {
    test_root root;
    char output[4096];
    diagnosis_request request = localhost_request(output);
    const char* expected[] = {"ping localhost -c 5 2>&1", "traceroute -I localhost -q 1 -w 2 2>&1",
                              "nslookup localhost 2>&1"};
    const char* first_line[] = {"PING localhost (127.0.0.1) 56(84) bytes of data.\n",
                                "traceroute to localhost (127.0.0.1), 30 hops max, 38 byte packets\n",
                                "Server:\t\t127.0.0.1\n"};
    for (uint8_t type = 0; type < 3; type++) {
        request.type = type;
        ASSERT_EQ(0, get_network_diagnosis_msg(&request, sizeof output));
        EXPECT_EQ(expected[type], plat_test_commands().back().text);
        EXPECT_EQ(0, strncmp(output, first_line[type], strlen(first_line[type]))) << output;
    }
    // A failing tool is not an error: its output says what happened.
    strcpy(request.target, "nosuch.test");
    request.type = 2;
    ASSERT_EQ(0, get_network_diagnosis_msg(&request, sizeof output));
    EXPECT_NE(nullptr, strstr(output, "** server can't find nosuch.test: NXDOMAIN\n")) << output;
    strcpy(request.target, "localhost");
    // The output is cut to size - 1 bytes and terminated.
    request.type = 2;
    memset(output, 'z', sizeof output);
    ASSERT_EQ(0, get_network_diagnosis_msg(&request, 8));
    EXPECT_STREQ("Server:", output);
    EXPECT_EQ('z', output[8]);
}

TEST(Diagnosis, RefusesUnknownTypesBadTargetsAndMissingBuffers) {
    test_root root;
    char output[64];
    diagnosis_request request = localhost_request(output);
    request.type = 3;
    EXPECT_EQ(600001, get_network_diagnosis_msg(&request, sizeof output));
    request.type = 0;
    EXPECT_EQ(600001, get_network_diagnosis_msg(&request, 0));
    EXPECT_EQ(600001, get_network_diagnosis_msg(nullptr, sizeof output));
    request.output = nullptr;
    EXPECT_EQ(600001, get_network_diagnosis_msg(&request, sizeof output));
    request.output = output;
    for (const char* bad : {"localhost; reboot", "$(reboot)", "-c", "", "a&b"}) {
        strcpy(request.target, bad);
        EXPECT_EQ(100208, get_network_diagnosis_msg(&request, sizeof output)) << bad;
    }
    memset(request.target, 'a', sizeof request.target);  // no terminator
    EXPECT_EQ(100208, get_network_diagnosis_msg(&request, sizeof output));
    EXPECT_TRUE(plat_test_commands().empty());
}

TEST(SpeedTest, QuickAndFullRunsAndTheirOutput) {
    test_root root;
    int32_t v[8];
    memset(v, 0x55, sizeof v);
    ASSERT_EQ(0, wan_speed_test(0, &v[0], &v[1], &v[2], &v[3], &v[4], &v[5], &v[6], &v[7]));
    EXPECT_EQ("speedtest", plat_test_commands().back().text);
    int32_t quick[8] = {0, 52340, 187650, 0, 0, 0, 0, 0};
    for (int i = 0; i < 8; i++) EXPECT_EQ(quick[i], v[i]) << "value " << i;
    ASSERT_EQ(0, wan_speed_test(1, &v[0], &v[1], &v[2], &v[3], &v[4], &v[5], &v[6], &v[7]));
    EXPECT_EQ("speedtest -f", plat_test_commands().back().text);
    int32_t full[8] = {0, 52340, 187650, 0, 11, 19, 14, 2};
    for (int i = 0; i < 8; i++) EXPECT_EQ(full[i], v[i]) << "value " << i;
}

TEST(SpeedTest, OutputWithoutValuesFailsAndOnly100BytesAreRead) {
    test_root root;
    std::string output;
    plat_test_set_command_script([&output](const plat_command&, plat_command_reply* reply) {
        reply->output = output;
        return true;
    });
    plat_test_capture_log();
    int32_t v[8] = {0};
    output = "speedtest: server unreachable\n";
    EXPECT_EQ(600001, wan_speed_test(0, &v[0], &v[1], &v[2], &v[3], &v[4], &v[5], &v[6], &v[7]));
    EXPECT_TRUE(plat_test_logged("Fail to read from speedtest"));
    // Blanks before a number are skipped, as scanf does; the output is cut
    // after 100 bytes, so the tenth digit of "up" is never read.
    output = "code:-7\nup:" + std::string(80, ' ') + "1234567890\ndown:5\n";
    ASSERT_EQ(0, wan_speed_test(0, &v[0], &v[1], &v[2], &v[3], &v[4], &v[5], &v[6], &v[7]));
    EXPECT_EQ(-7, v[0]);
    EXPECT_EQ(123456789, v[1]);
    EXPECT_EQ(0, v[2]);
    output = " code:1\n";
    EXPECT_EQ(600001, wan_speed_test(0, &v[0], &v[1], &v[2], &v[3], &v[4], &v[5], &v[6], &v[7]))
        << "the template starts with the literal \"code:\"";
    output = "code:1\nup:99999999999\n";
    ASSERT_EQ(0, wan_speed_test(0, &v[0], &v[1], &v[2], &v[3], &v[4], &v[5], &v[6], &v[7]));
    EXPECT_EQ(2147483647, v[1]) << "clamped";
    output = "code:1 up: 2147483648\n";
    ASSERT_EQ(0, wan_speed_test(0, &v[0], nullptr, &v[2], &v[3], &v[4], &v[5], &v[6], &v[7]));
    EXPECT_EQ(1, v[0]);
}

TEST(RealtimeSpeed, RatesFromTwoSamplesHalfASecondApart) {
    test_root root;
    const std::string stats = "/sys/class/net/eth1/statistics/";
    root.write(stats + "tx_bytes", "1000\n");
    root.write(stats + "rx_bytes", "2147483000\n");
    std::thread traffic([&root, &stats] {
        std::this_thread::sleep_for(std::chrono::milliseconds(200));
        root.write(stats + "tx_bytes", "4000\n");
        root.write(stats + "rx_bytes", "2147484000\n");  // past 2^31: truncated to signed 32-bit
    });
    int32_t tx = 0, rx = 0;
    int result = get_realtime_speed("eth1", &tx, &rx);
    traffic.join();
    ASSERT_EQ(0, result);
    EXPECT_EQ(3000 * 16, tx);
    // 2147484000 reads as -2147483296: the difference is meaningless, as
    // accepted, and its rate is clamped to the 32-bit range.
    EXPECT_EQ(INT32_MIN, rx);
}

TEST(RealtimeSpeed, RefusesBadNamesAndMissingCounters) {
    test_root root;
    plat_test_capture_log();
    int32_t tx = 0, rx = 0;
    for (const char* bad : {"", "../../etc", ".", "..", "averyveryverylongname"})
        EXPECT_EQ(600001, get_realtime_speed(bad, &tx, &rx)) << bad;
    EXPECT_EQ(600001, get_realtime_speed(nullptr, &tx, &rx));
    EXPECT_EQ(600001, get_realtime_speed("nosuch0", &tx, &rx));
    bool printed = false;
    for (const auto& e : plat_test_log())
        printed |= e.channel == PLAT_LOG_PERROR && e.text == "popen: No such file or directory";
    EXPECT_TRUE(printed);
}
