// Small tools: buffer growth, string helpers, the bit map and its bit-31
// rule, time and address text, command exit statuses, directories,
// interfaces and the DHCP lease list.
#include "tools.h"

#include "platform.h"
#include "platform_testing.h"
#include "test_root.h"

#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <stdlib.h>
#include <string.h>

#include <filesystem>
#include <string>
#include <vector>

namespace {

std::string trimmed(const char* source, int* length) {
    std::vector<char> out(strlen(source) + 1, 'X');
    *length = trim(source, out.data());
    return out.data();
}

// Takes ownership of a NULL-terminated array and returns its pieces.
std::vector<std::string> pieces(char** array) {
    std::vector<std::string> result;
    if (!array) return result;
    for (char** p = array; *p; ++p) {
        result.push_back(*p);
        free(*p);
    }
    free(array);
    return result;
}

std::string joined(char** array, const char* separator, int count) {
    char* text = string_join(array, separator, count);
    std::string result = text ? text : "<null>";
    free(text);
    return result;
}

// The 24-byte record of the DHCP server's lease file.
std::string lease_record(const unsigned char mac[6], const char* ip, uint32_t expires) {
    unsigned char record[24] = {0};
    memcpy(record, mac, 6);
    struct in_addr address;
    inet_aton(ip, &address);
    memcpy(record + 16, &address.s_addr, 4);
    memcpy(record + 20, &expires, 4);
    return std::string((const char*)record, sizeof record);
}

// Answers every command in-process with the given exit code and signal.
void answer_commands(int exit_code, int signal) {
    plat_test_set_command_script([=](const plat_command&, plat_command_reply* reply) {
        reply->exit_code = exit_code;
        reply->signal = signal;
        return true;
    });
}

}  // namespace

TEST(Trim, DropsTabLineFeedAndSpaceOnlyAtTheEnds) {
    int length = -1;
    EXPECT_EQ("ab", trimmed("  ab \t\n", &length));
    EXPECT_EQ(2, length);
    EXPECT_EQ("ab\r", trimmed("ab\r", &length));
    EXPECT_EQ(3, length);
    EXPECT_EQ("a b", trimmed("\ta b ", &length));
    EXPECT_EQ(3, length);
    // Whitespace only trims to its last character.
    EXPECT_EQ(" ", trimmed("   ", &length));
    EXPECT_EQ(1, length);
    EXPECT_EQ("\n", trimmed(" \t\n", &length));
    EXPECT_EQ(1, length);
    EXPECT_EQ("", trimmed("", &length));
    EXPECT_EQ(0, length);

    char out[16];
    EXPECT_EQ(1, trim_cpy(out, " x "));
    EXPECT_STREQ("x", out);
    // Trimming in place works as well.
    char in_place[] = "  yz ";
    EXPECT_EQ(2, trim(in_place, in_place));
    EXPECT_STREQ("yz", in_place);
}

TEST(StringSplit, KeepsEmptyPiecesAndTheRest) {
    using v = std::vector<std::string>;
    EXPECT_EQ((v{"a", "", "b"}), pieces(string_split("a,,b", ",", 0)));
    EXPECT_EQ((v{"abc"}), pieces(string_split("abc", ",", 0)));
    EXPECT_EQ((v{"a", "b", ""}), pieces(string_split("a,b,", ",", 0)));
    EXPECT_EQ((v{""}), pieces(string_split("", ",", 0)));
    EXPECT_EQ((v{"a", "b,c"}), pieces(string_split("a,b,c", ",", 1)));
    EXPECT_EQ((v{"a", "b", "c"}), pieces(string_split("a,b,c", ",", 1000000)));
    EXPECT_EQ((v{"a", "b", ":c"}), pieces(string_split("a::b:::c", "::", 0)));
    EXPECT_EQ((v{"", "", ""}), pieces(string_split(",,", ",", 0)));
    // A delimiter that matches everywhere cannot split anything.
    EXPECT_EQ(nullptr, string_split("abc", "", 0));
    EXPECT_EQ(nullptr, string_split(nullptr, ",", 0));
    EXPECT_EQ(nullptr, string_split("a,b", ",", -1));
}

TEST(StringJoin, JoinsTheFirstElementsWithTheSeparatorBetween) {
    char a[] = "a", b[] = "bb", c[] = "c";
    char* three[] = {a, b, c, nullptr};
    char* none[] = {nullptr};
    EXPECT_EQ("a, bb, c", joined(three, ", ", 0));
    EXPECT_EQ("a-bb", joined(three, "-", 2));
    EXPECT_EQ("abbc", joined(three, nullptr, 0));
    EXPECT_EQ("a+bb+c", joined(three, "+", 7));  // stops at the terminator
    EXPECT_EQ("", joined(none, ",", 0));
    EXPECT_EQ("<null>", joined(nullptr, ",", 0));
}

TEST(EscapeChar, ReplacesEveryOccurrence) {
    char* out = nullptr;
    EXPECT_EQ(6, escape_char("a'b", &out, '\'', "'\\''"));
    EXPECT_STREQ("a'\\''b", out);
    free(out);

    out = nullptr;
    EXPECT_EQ(3, escape_char("a.b.c", &out, '.', ""));
    EXPECT_STREQ("abc", out);
    free(out);

    out = nullptr;
    EXPECT_EQ(8, escape_char("''''", &out, '\'', "\\'"));
    EXPECT_STREQ("\\'\\'\\'\\'", out);
    free(out);

    char sentinel = 0;
    out = &sentinel;
    EXPECT_EQ(0, escape_char("", &out, '\'', "x"));
    EXPECT_EQ(&sentinel, out);
}

TEST(StringHelpers, ContainsIsExactAndLowerCaseIsInPlace) {
    char one[] = "wlan0", two[] = "br0";
    char* list[] = {one, two, nullptr};
    EXPECT_EQ(1, strings_contains(list, "br0"));
    EXPECT_EQ(0, strings_contains(list, "BR0"));
    EXPECT_EQ(0, strings_contains(list, "br"));
    EXPECT_EQ(0, strings_contains(list, nullptr));

    char text[] = "AbC-12:FF";
    str_tolower(text);
    EXPECT_STREQ("abc-12:ff", text);
}

TEST(Buffer, DoublesUntilTheBytesFit) {
    Buffer* buffer = buffer_new(4);
    ASSERT_NE(nullptr, buffer);
    EXPECT_EQ(4, buffer->capacity);
    EXPECT_EQ(0, buffer->length);
    EXPECT_STREQ("", buffer_get_content(buffer));

    buffer_nappend(buffer, "abcd", 4);
    EXPECT_EQ(4, buffer->capacity);
    EXPECT_EQ(4, buffer->length);

    buffer_append(buffer, "0123456789");  // 14 needed: 8 is too small, 16 fits
    EXPECT_EQ(16, buffer->capacity);
    EXPECT_EQ(14, buffer->length);
    EXPECT_STREQ("abcd0123456789", buffer_get_content(buffer));

    // Bytes with a NUL inside are taken by count.
    buffer_nappend(buffer, "x\0y", 3);
    EXPECT_EQ(17, buffer->length);
    EXPECT_EQ(32, buffer->capacity);
    EXPECT_EQ(0, memcmp(buffer_get_content(buffer) + 14, "x\0y\0", 4));
    buffer_destroy(buffer);

    buffer = buffer_new(4);
    buffer_nappend(buffer, "0123456789", 10);
    EXPECT_EQ(16, buffer->capacity);
    buffer_destroy(buffer);
}

TEST(Buffer, RefusesCapacitiesThatAreNotPositiveTimesFour) {
    EXPECT_EQ(nullptr, buffer_new(0));
    EXPECT_EQ(nullptr, buffer_new((unsigned int)-1));
    EXPECT_EQ(nullptr, buffer_new(0x40000000u));  // x4 wraps to 0
    EXPECT_EQ(nullptr, buffer_new(0x20000000u));  // x4 is negative
    buffer_destroy(nullptr);
}

TEST(Buffer, WriteBufferTakesEveryByteOfADownloadChunk) {
    Buffer* buffer = buffer_new(1);
    char chunk[] = {'a', 'b', 'c', 'd', 'e', 'f'};  // not NUL-terminated
    EXPECT_EQ(6u, write_buffer(chunk, 2, 3, buffer));
    EXPECT_EQ(0u, write_buffer(chunk, 0, 3, buffer));
    EXPECT_EQ(6, buffer->length);
    EXPECT_EQ(8, buffer->capacity);
    EXPECT_STREQ("abcdef", buffer_get_content(buffer));
    buffer_destroy(buffer);
}

TEST(BitMap, SetsClearsAndScansWithTheBit31Rule) {
    uint32_t map = 0xffffffffu;
    init_bit_map(&map);
    EXPECT_EQ(0u, map);
    set_bit_map_bit(&map, 3);
    set_bit_map_bit(&map, 35);  // bit 35 is bit 3
    set_bit_map_bit(&map, 7);
    EXPECT_EQ(0x88u, map);
    EXPECT_EQ(1, get_bit_map_bit(map, 7));
    EXPECT_EQ(1, get_bit_map_bit(map, 39));
    EXPECT_EQ(0, get_bit_map_bit(map, 6));
    EXPECT_EQ(7, get_bit_map_first_setting(map));
    EXPECT_EQ(0, get_bit_map_first_zero(map));
    clear_bit_map_bit(&map, 7);
    EXPECT_EQ(0x08u, map);
    EXPECT_EQ(3, get_bit_map_first_setting(map));

    // Bit 31 is stored but always reads as clear.
    set_bit_map_bit(&map, 31);
    EXPECT_EQ(0x80000008u, map);
    EXPECT_EQ(0, get_bit_map_bit(map, 31));
    EXPECT_EQ(3, get_bit_map_first_setting(map));

    // Nothing set below bit 31: the scan reports -1 instead of going round forever.
    EXPECT_EQ(-1, get_bit_map_first_setting(0x80000000u));
    EXPECT_EQ(-1, get_bit_map_first_setting(0));
    EXPECT_EQ(0, get_bit_map_first_setting(1));

    EXPECT_EQ(31, get_bit_map_first_zero(0xffffffffu));
    EXPECT_EQ(31, get_bit_map_first_zero(0x7fffffffu));
    EXPECT_EQ(4, get_bit_map_first_zero(0x0fu));
    clear_bit_map(&map);
    EXPECT_EQ(0u, map);
}

TEST(Formatting, CurrentTimeIsUtcWithTruncatedMilliseconds) {
    plat_test_reset();
    plat_test_set_clock(1556965321, 12345);
    EXPECT_STREQ("2019-05-04 10:22:01.012", vespin_current_time());
    plat_test_set_clock(1556965321, 999999);
    char* text = vespin_current_time();
    EXPECT_STREQ("2019-05-04 10:22:01.999", text);
    plat_test_set_clock(0, 0);
    EXPECT_EQ(text, vespin_current_time());  // one static buffer
    EXPECT_STREQ("1970-01-01 00:00:00.000", text);
    plat_test_reset();
}

TEST(Formatting, MacAndIpv4Text) {
    const unsigned char mac[6] = {0x02, 0xAB, 0x00, 0x9f, 0x10, 0xff};
    char text[20];
    memset(text, 'X', sizeof text);
    EXPECT_EQ(0, system_mac_to_string(mac, text));
    EXPECT_STREQ("02ab009f10ff", text);

    EXPECT_EQ(0, ip_int_to_string(htonl(0xc0a80001u), text));
    EXPECT_STREQ("192.168.0.1", text);
    EXPECT_EQ(0, ip_int_to_string(0xffffffffu, text));
    EXPECT_STREQ("255.255.255.255", text);
}

TEST(RunCommand, ReportsTheExitCodeOrAChildError) {
    plat_test_reset();
    plat_test_capture_log();
    answer_commands(3, 0);
    int status = -1;
    EXPECT_EQ(0, run_command(&status, "some command"));
    EXPECT_EQ(3, status);
    EXPECT_FALSE(plat_test_logged("Child process error"));

    answer_commands(0, SIGKILL);
    status = 42;
    EXPECT_EQ(VESPIN_ERR_CHILD, run_command(&status, "killed command"));
    EXPECT_EQ(42, status);
    EXPECT_TRUE(plat_test_logged("Child process error"));
    ASSERT_EQ(2u, plat_test_commands().size());
    EXPECT_EQ("killed command", plat_test_commands()[1].text);
    EXPECT_EQ(PLAT_CMD_SYSTEM, plat_test_commands()[1].kind);

    EXPECT_EQ(VESPIN_ERR_CHILD, run_command(&status, nullptr));
    plat_test_reset();
}

TEST(RunCommand, RunsThroughTheShellOfTheEmulatedRoot) {
    test_root root;
    int status = -1;
    EXPECT_EQ(0, run_command(&status, "exit 7"));
    EXPECT_EQ(7, status);
    EXPECT_EQ(0, run_command(&status, "echo hi > /tmp/out"));
    EXPECT_EQ(0, status);
    EXPECT_EQ("hi\n", root.read("/tmp/out"));
}

TEST(Mkrdir, MakesParentsAndRefusesQuotes) {
    test_root root;
    plat_test_capture_log();
    EXPECT_EQ(0, mkrdir("/tmp/a b/c"));
    EXPECT_TRUE(root.exists("/tmp/a b/c"));
    ASSERT_EQ(1u, plat_test_commands().size());
    EXPECT_EQ("mkdir -p '/tmp/a b/c'", plat_test_commands()[0].text);

    EXPECT_EQ(VESPIN_ERR_FAILURE, mkrdir("/tmp/x'; touch /tmp/owned; '"));
    EXPECT_EQ(VESPIN_ERR_FAILURE, mkrdir(nullptr));
    EXPECT_EQ(VESPIN_ERR_FAILURE, mkrdir(("/tmp/" + std::string(250, 'd')).c_str()));
    EXPECT_EQ(1u, plat_test_commands().size());  // none of them ran
    EXPECT_FALSE(root.exists("/tmp/owned"));
    EXPECT_TRUE(plat_test_logged("Refuse to make directory (null)"));

    // The longest path that fits the command: 256 - strlen("mkdir -p ''") - 1.
    std::string longest = "/tmp/" + std::string(244 - 5, 'e');
    EXPECT_EQ(0, mkrdir(longest.c_str()));
    EXPECT_TRUE(root.exists(longest));

    answer_commands(1, 0);
    EXPECT_EQ(VESPIN_ERR_FAILURE, mkrdir("/tmp/failing"));
    answer_commands(0, SIGTERM);
    EXPECT_EQ(VESPIN_ERR_FAILURE, mkrdir("/tmp/killed"));
}

TEST(Files, ExistenceIsCheckedInTheRoot) {
    test_root root;
    root.write("/tmp/present", "x");
    EXPECT_EQ(1, is_file_exist("/tmp/present"));
    EXPECT_EQ(1, is_file_exist("/tmp"));
    EXPECT_EQ(0, is_file_exist("/tmp/absent"));
    EXPECT_EQ(0, is_file_exist(nullptr));
    EXPECT_EQ(0, download_file());
    EXPECT_EQ(0, mesh_device_update());
}

TEST(InterfaceAddress, ReadsEachKindAndLeavesOutAloneWhenUnanswered) {
    test_root root;
    root.write("/etc/vespin/interfaces",
               "br0 addr=192.168.1.1 netmask=255.255.255.0 hwaddr=02:56:00:00:00:01\n"
               "ppp0 addr=10.64.0.7 dstaddr=10.64.0.1\n"
               "wlan0 hwaddr=02:56:00:00:02:01\n");
    uint32_t address = 0;
    EXPECT_EQ(0, get_interface_addr("br0", VESPIN_IF_ADDR, &address));
    EXPECT_EQ(htonl(0xc0a80101u), address);
    EXPECT_EQ(0, get_interface_addr("br0", VESPIN_IF_NETMASK, &address));
    EXPECT_EQ(htonl(0xffffff00u), address);
    EXPECT_EQ(0, get_interface_addr("ppp0", VESPIN_IF_DSTADDR, &address));
    EXPECT_EQ(htonl(0x0a400001u), address);

    unsigned char hw[16];
    memset(hw, 0xee, sizeof hw);
    EXPECT_EQ(0, get_interface_addr("wlan0", VESPIN_IF_HWADDR, hw));
    const unsigned char mac[6] = {0x02, 0x56, 0x00, 0x00, 0x02, 0x01};
    EXPECT_EQ(0, memcmp(hw + 2, mac, 6));

    // The interface exists but has no address, or the kind is unknown: 0, out untouched.
    address = 0x12345678u;
    EXPECT_EQ(0, get_interface_addr("wlan0", VESPIN_IF_ADDR, &address));
    EXPECT_EQ(0x12345678u, address);
    EXPECT_EQ(0, get_interface_addr("br0", 3, &address));
    EXPECT_EQ(0x12345678u, address);

    EXPECT_EQ(-1, get_interface_addr("eth9", VESPIN_IF_ADDR, &address));
    EXPECT_EQ(-1, get_interface_addr("an-interface-name-too-long", VESPIN_IF_ADDR, &address));
    EXPECT_EQ(-1, get_interface_addr(nullptr, VESPIN_IF_ADDR, &address));
    EXPECT_EQ(0x12345678u, address);
}

TEST(DhcpClientList, SignalsTheServerAndListsLeasesWithAnExpiry) {
    test_root root;
    plat_test_set_clock(1000, 0);
    answer_commands(0, 0);
    root.write("/var/run/udhcpd.pid", "1234\nrest\n");
    const unsigned char first[6] = {0x00, 0x11, 0x22, 0xAA, 0xBB, 0xCC};
    const unsigned char gone[6] = {0x00, 0x11, 0x22, 0x00, 0x00, 0x01};
    const unsigned char second[6] = {0xf0, 0x0d, 0x00, 0x00, 0x00, 0x02};
    root.write("/var/lib/misc/udhcpd.leases", lease_record(first, "192.168.1.100", 86400) +
                                                  lease_record(gone, "192.168.1.101", 0) +
                                                  lease_record(second, "192.168.1.102", 0xfffffffeu) +
                                                  std::string(10, '\x7f'));  // partial record

    dhcp_lease_entry* list = nullptr;
    int count = -1;
    ASSERT_EQ(0, get_dhcp_client_list(&list, &count));
    ASSERT_EQ(2, count);
    EXPECT_STREQ("192.168.1.100", list[0].ip);
    EXPECT_STREQ("001122aabbcc", list[0].mac);
    EXPECT_EQ(86400u, list[0].expires);
    EXPECT_STREQ("192.168.1.102", list[1].ip);
    EXPECT_STREQ("f00d00000002", list[1].mac);
    EXPECT_EQ(0xfffffffeu, list[1].expires);
    const char zero[20] = {0};
    EXPECT_EQ(0, memcmp(zero, list[0].unused, sizeof zero));
    EXPECT_EQ(64u, sizeof(dhcp_lease_entry));
    free(list);

    ASSERT_EQ(1u, plat_test_commands().size());
    EXPECT_EQ("kill -SIGUSR1 1234\n", plat_test_commands()[0].text);
    struct timeval now;
    plat_gettimeofday(&now);
    EXPECT_EQ(1000, now.tv_sec);
    EXPECT_EQ(1000, now.tv_usec);  // the 1 ms pause
}

// The lease record's address is in network order on every router; its expiry
// is the DHCP server's own number, in the byte order of the router it runs on.
TEST(DhcpClientList, LeaseRecordBytesOnEitherByteOrder) {
    test_root root;
    plat_test_set_clock(1000, 0);
    answer_commands(0, 0);
    const unsigned char record[24] = {0x02, 0x11, 0x22, 0x33, 0x44, 0x55, 0, 0, 0, 0, 0, 0,
                                      0,    0,    0,    0,    0xc0, 0xa8, 0x01, 0x64,  // 192.168.1.100
                                      0x00, 0x01, 0x51, 0x80};
    root.write("/var/lib/misc/udhcpd.leases", std::string((const char*)record, sizeof record));
    dhcp_lease_entry* list = nullptr;
    int count = -1;
    ASSERT_EQ(0, get_dhcp_client_list(&list, &count));
    ASSERT_EQ(1, count);
    EXPECT_STREQ("192.168.1.100", list[0].ip);
    EXPECT_STREQ("021122334455", list[0].mac);
#if __BYTE_ORDER__ == __ORDER_BIG_ENDIAN__
    EXPECT_EQ(86400u, list[0].expires);
#else
    EXPECT_EQ(0x80510100u, list[0].expires);
#endif
    free(list);
}

TEST(DhcpClientList, SignalsTwoOrFiveWithoutAPidAndNothingForZero) {
    test_root root;
    plat_test_set_clock(1000, 0);
    answer_commands(0, 0);
    dhcp_lease_entry* list = nullptr;
    int count = -1;

    // No pid file, no lease file.
    std::filesystem::remove(root.path("/var/run/udhcpd.pid"));
    std::filesystem::remove(root.path("/var/lib/misc/udhcpd.leases"));
    EXPECT_EQ(2, get_dhcp_client_list(&list, &count));
    EXPECT_EQ(nullptr, list);
    // A pid file that cannot be opened.
    root.write("/var/run/udhcpd.pid", "77\n");
    plat_test_fail_open("/var/run/udhcpd.pid", EACCES);
    root.write("/var/lib/misc/udhcpd.leases", "");
    EXPECT_EQ(0, get_dhcp_client_list(&list, &count));
    EXPECT_EQ(0, count);
    free(list);
    list = nullptr;
    ASSERT_EQ(2u, plat_test_commands().size());
    EXPECT_EQ("kill -SIGUSR1 2\n", plat_test_commands()[0].text);
    EXPECT_EQ("kill -SIGUSR1 5\n", plat_test_commands()[1].text);

    // A lease file that cannot be opened.
    plat_test_fail_open("/var/lib/misc/udhcpd.leases", EACCES);
    EXPECT_EQ(5, get_dhcp_client_list(&list, &count));
    EXPECT_EQ(nullptr, list);

    EXPECT_EQ(22, get_dhcp_client_list(nullptr, &count));

    // A pid of 0 skips the signal and the pause; so do 1 (init) and
    // negative numbers (process groups), which the file must never make us signal.
    for (const char* number : {"0\n", "1\n", "-1\n", "-1234\n", "1junk"}) {
        plat_test_reset();
        plat_test_set_clock(2000, 0);
        answer_commands(0, 0);
        root.write("/var/run/udhcpd.pid", number);
        EXPECT_EQ(0, get_dhcp_client_list(&list, &count));
        free(list);
        EXPECT_TRUE(plat_test_commands().empty()) << number;
        struct timeval now;
        plat_gettimeofday(&now);
        EXPECT_EQ(0, now.tv_usec) << number;
    }
    // 2 from the file is a pid like any other.
    plat_test_reset();
    answer_commands(0, 0);
    root.write("/var/run/udhcpd.pid", "2\n");
    EXPECT_EQ(0, get_dhcp_client_list(&list, &count));
    free(list);
    ASSERT_EQ(1u, plat_test_commands().size());
    EXPECT_EQ("kill -SIGUSR1 2\n", plat_test_commands()[0].text);
}
