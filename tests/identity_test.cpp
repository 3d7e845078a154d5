// Identity and system information of a node: serial number and model,
// device name, lifecycle id, assets, work mode, account, store flush, load
// and interface addresses, on the emulated gateway's factory settings.
#include "apmib.h"
#include "platform.h"
#include "platform_testing.h"
#include "result_codes.h"
#include "test_root.h"
#include "vespin_core.h"

#include <errno.h>
#include <gtest/gtest.h>
#include <stdlib.h>
#include <string.h>
#include <time.h>
#include <unistd.h>

#include <string>
#include <vector>

namespace {

const int kMibDeviceName = 186;
const int kMibSerialNumber = 4001;
const int kMibLifecycle = 2403;
const int kMibInitFlag = 2400;

void store_sn(const char* sn) { ASSERT_TRUE(apmib_set(kMibSerialNumber, (void*)sn)); }

// A buffer with a guard after the given capacity, to see that nothing is
// written past a field.
struct guarded {
    explicit guarded(size_t capacity) : bytes(capacity + 8, '#'), capacity(capacity) {}
    char* data() { return &bytes[0]; }
    std::string text() const { return std::string(bytes.c_str()); }
    bool guard_intact() const { return bytes.compare(capacity, 8, "########") == 0; }
    std::string bytes;
    size_t capacity;
};

}  // namespace

TEST(SerialNumber, FactoryIdentityOfTheGateway) {
    test_root root;
    char sn[VESPIN_SN_SIZE], customer[VESPIN_CUSTOMER_ID_SIZE];
    ASSERT_EQ(0, get_sn(sn));
    EXPECT_STREQ("0224081231A1B2C", sn);
    EXPECT_EQ(15u, strlen(sn));
    ASSERT_EQ(0, get_customer_id(customer));
    EXPECT_STREQ("0100", customer);
    EXPECT_EQ(1, get_work_mode());
    char name[VESPIN_DEVICE_NAME_SIZE];
    ASSERT_EQ(0, get_device_name(name));
    EXPECT_STREQ("Lark-1B2C", name);
    char version[8];
    EXPECT_EQ(0, get_fm_version(version));
    EXPECT_STREQ("1.9.7", version);
    EXPECT_EQ(-1, get_fm_version(nullptr));
}

TEST(SerialNumber, ModelFromTheSerialNumber) {
    EXPECT_STREQ("Q5", sn_2_model("01xxxxxxx"));
    EXPECT_STREQ("Lark", sn_2_model("0224081231A1B2C"));
    EXPECT_STREQ("Unknown", sn_2_model("03xxxxxxx"));
    EXPECT_STREQ("Unknown", sn_2_model("0"));
    EXPECT_STREQ("Unknown", sn_2_model(nullptr));
    const char* first = sn_2_model("01");
    EXPECT_EQ(first, sn_2_model("02"));  // one static buffer
    EXPECT_STREQ("Lark", first);

    sn_model model{};
    EXPECT_EQ(0, model_get_from_sn(&model, "0224081237A1B2C"));
    EXPECT_EQ(2, model.family);
    EXPECT_EQ(7, model.variant);
    EXPECT_EQ(1, model_match_sn(&model, "0299999997ZZZZZ"));
    EXPECT_EQ(0, model_match_sn(&model, "0299999996ZZZZZ"));
    EXPECT_EQ(0, model_match_sn(&model, "0199999997ZZZZZ"));
    EXPECT_EQ(0, model_get_from_sn(&model, "12"));  // no tenth character
    EXPECT_EQ(12, model.family);
    EXPECT_EQ(0, model.variant);
    EXPECT_EQ(-1, model_get_from_sn(nullptr, "02"));
    EXPECT_EQ(-1, model_get_from_sn(&model, nullptr));
    EXPECT_EQ(0, model_match_sn(nullptr, "02"));
    EXPECT_EQ(0, model_match_sn(&model, nullptr));
}

TEST(SerialNumber, CachedSerialNumberReturnsTheNegatedCodeUntilReadable) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_EXIT(
        {
            bool ok;
            {
                test_root root;
                plat_test_fail_setting(kMibSerialNumber, true, false);
                const char* failed = get_sn_2();
                ok = vespin_is_error(failed) && vespin_error_code(failed) == VESPIN_ERR_SETTING;
                plat_test_reset();
                const char* sn = get_sn_2();
                ok = ok && !vespin_is_error(sn) && strcmp(sn, "0224081231A1B2C") == 0;
                store_sn("01ZZZZZZZZZZZZZ");
                plat_test_fail_setting(kMibSerialNumber, true, false);
                ok = ok && get_sn_2() == sn && strcmp(sn, "0224081231A1B2C") == 0;  // filled once
            }
            _exit(ok ? 0 : 1);
        },
        ::testing::ExitedWithCode(0), "");
}

TEST(DeviceName, DefaultIsBuiltFromTheSerialNumber) {
    test_root root;
    char name[VESPIN_DEVICE_NAME_SIZE];
    store_sn("02xxxxxxxxxABCD");
    ASSERT_EQ(0, get_device_name(name));
    EXPECT_STREQ("Lark-ABCD", name);
    store_sn("01xxxxxxxxxABCD");
    ASSERT_EQ(0, get_device_name(name));
    EXPECT_STREQ("Q5-ABCD", name);
    store_sn("11xxxxxxxxxABCD");  // only the second character is tested
    ASSERT_EQ(0, get_device_name(name));
    EXPECT_STREQ("Q5-ABCD", name);
    store_sn("03xxxxxxxxxABCD");
    ASSERT_EQ(0, get_device_name(name));
    EXPECT_STREQ("Lark-ABCD", name);
    store_sn("02short");
    ASSERT_EQ(0, get_device_name(name));
    EXPECT_STREQ("Lark-", name);
    // The default is not stored.
    char stored[VESPIN_DEVICE_NAME_SIZE];
    ASSERT_TRUE(apmib_get(kMibDeviceName, stored));
    EXPECT_STREQ("", stored);
}

TEST(DeviceName, SetAndGetWithLengthLimit) {
    test_root root;
    std::string longest(32, 'n');
    EXPECT_EQ(0, set_device_name(longest.c_str()));
    guarded name(VESPIN_DEVICE_NAME_SIZE);
    ASSERT_EQ(0, get_device_name(name.data()));
    EXPECT_EQ(longest, name.text());
    EXPECT_TRUE(name.guard_intact());

    std::string too_long(33, 'm');
    EXPECT_EQ(VESPIN_ERR_MISSING_PARAM, set_device_name(too_long.c_str()));
    EXPECT_EQ(VESPIN_ERR_MISSING_PARAM, set_device_name(std::string(5000, 'm').c_str()));
    EXPECT_EQ(VESPIN_ERR_MISSING_PARAM, set_device_name(nullptr));
    ASSERT_EQ(0, get_device_name(name.data()));
    EXPECT_EQ(longest, name.text());

    EXPECT_EQ(0, set_device_name("Living room"));
    ASSERT_EQ(0, get_device_name(name.data()));
    EXPECT_EQ("Living room", name.text());
}

TEST(DeviceName, EverySettingFailureGives600002) {
    test_root root;
    char name[VESPIN_DEVICE_NAME_SIZE];
    for (int id : {kMibDeviceName, kMibSerialNumber}) {
        plat_test_fail_setting(id, true, false);
        EXPECT_EQ(VESPIN_ERR_SETTING, get_device_name(name)) << id;
        plat_test_reset();
    }
    plat_test_fail_setting(kMibDeviceName, false, true);
    EXPECT_EQ(VESPIN_ERR_SETTING, set_device_name("x"));
    plat_test_reset();
    EXPECT_EQ(VESPIN_ERR_SETTING, get_device_name(nullptr));
    EXPECT_EQ(VESPIN_ERR_SETTING, get_sn(nullptr));
    EXPECT_EQ(VESPIN_ERR_SETTING, get_customer_id(nullptr));
    plat_test_fail_setting(4009, true, false);
    EXPECT_EQ(VESPIN_ERR_SETTING, get_customer_id(name));
    plat_test_fail_setting(kMibSerialNumber, true, false);
    EXPECT_EQ(VESPIN_ERR_SETTING, get_sn(name));
}

class Lifecycle : public ::testing::Test {
  protected:
    void SetUp() override {
        setenv("TZ", "UTC0", 1);
        tzset();
        // 2026-11-21 08:19:30 UTC
        plat_test_set_clock(1795249170, 0);
        plat_test_capture_log();
    }
    // The id takes the four random bytes as the router's own number, in host
    // order: the bytes a given number has in this process's memory.
    void random_number(uint32_t value) {
        unlink(root.path("/dev/urandom").c_str());
        root.write("/dev/urandom", std::string((const char*)&value, sizeof value));
    }
    test_root root;
};

TEST_F(Lifecycle, MadeFromLocalTimeAndRandomBytesThenKept) {
    random_number(0x12345678);
    guarded id(VESPIN_LIFECYCLE_SIZE);
    ASSERT_EQ(0, get_lifecycle(id.data()));
    EXPECT_EQ("112108193012345678", id.text());
    EXPECT_TRUE(id.guard_intact());
    EXPECT_TRUE(plat_test_logged("Set lifecycle_id: 112108193012345678"));

    // Kept: a later call neither draws random bytes nor makes a new id.
    plat_test_fail_open("/dev/urandom", ENOENT);
    plat_test_advance_clock(3600LL * 1000000);  // an hour: beyond a 32-bit long
    ASSERT_EQ(1795249170 + 3600, plat_time());
    char again[VESPIN_LIFECYCLE_SIZE];
    ASSERT_EQ(0, get_lifecycle(again));
    EXPECT_STREQ("112108193012345678", again);
    EXPECT_TRUE(plat_test_logged("Lifecycle existed: 112108193012345678"));
    EXPECT_FALSE(plat_test_logged("Fail to open: /dev/urandom"));
}

TEST_F(Lifecycle, SmallRandomNumbersArePaddedAndAMissingDeviceGivesZero) {
    random_number(10);
    char id[VESPIN_LIFECYCLE_SIZE];
    ASSERT_EQ(0, get_lifecycle(id));
    EXPECT_STREQ("1121081930000a", id);

    char empty[1] = {0};
    ASSERT_TRUE(apmib_set(kMibLifecycle, empty));
    plat_test_fail_open("/dev/urandom", ENOENT);
    ASSERT_EQ(0, get_lifecycle(id));
    EXPECT_STREQ("11210819300000", id);
    bool logged_under_urandom = false;
    for (const auto& e : plat_test_log())
        if (e.channel == PLAT_LOG_STDERR && e.text == "Fail to open: /dev/urandom" && e.function == "urandom")
            logged_under_urandom = true;
    EXPECT_TRUE(logged_under_urandom);
}

TEST_F(Lifecycle, SettingFailuresGive600002) {
    char id[VESPIN_LIFECYCLE_SIZE];
    plat_test_fail_setting(kMibLifecycle, true, false);
    EXPECT_EQ(VESPIN_ERR_SETTING, get_lifecycle(id));
    plat_test_reset();
    plat_test_capture_log();
    plat_test_fail_setting(kMibLifecycle, false, true);
    EXPECT_EQ(VESPIN_ERR_SETTING, get_lifecycle(id));
    plat_test_reset();
    EXPECT_EQ(VESPIN_ERR_SETTING, get_lifecycle(nullptr));
}

TEST(Assets, RawBlockRoundTripAndFailures) {
    test_root root;
    unsigned char block[VESPIN_ASSETS_SIZE], back[VESPIN_ASSETS_SIZE];
    for (size_t i = 0; i < sizeof block; i++) block[i] = (unsigned char)(i * 7);
    EXPECT_EQ(0, set_assets(block));
    EXPECT_EQ(0, get_assets(back));
    EXPECT_EQ(0, memcmp(block, back, sizeof block));

    plat_test_capture_log();
    plat_test_fail_setting(2404, true, true);
    EXPECT_EQ(VESPIN_ERR_SETTING, get_assets(back));
    EXPECT_TRUE(plat_test_logged("Fail to get MIB_VESPIN_DEVICE_ASSETS"));
    EXPECT_EQ(VESPIN_ERR_SETTING, set_assets(block));
    EXPECT_TRUE(plat_test_logged("Fail to set MIB_VESPIN_DEVICE_ASSETS"));
    plat_test_reset();
    plat_test_capture_log();
    EXPECT_EQ(VESPIN_ERR_SETTING, get_assets(nullptr));
    EXPECT_EQ(VESPIN_ERR_SETTING, set_assets(nullptr));
}

TEST(NodeSettings, WorkModeInitFlagAndMeshConfig) {
    test_root root;
    EXPECT_EQ(0, set_work_mode(3));
    EXPECT_EQ(3, get_work_mode());
    plat_test_fail_setting(2401, true, true);
    EXPECT_EQ(-1, get_work_mode());
    EXPECT_EQ(-1, set_work_mode(1));
    plat_test_reset();

    EXPECT_EQ(0, router_is_init());
    int flag = 5;
    ASSERT_TRUE(apmib_set(kMibInitFlag, &flag));
    EXPECT_EQ(5, router_is_init());
    plat_test_capture_log();
    plat_test_fail_setting(kMibInitFlag, true, false);
    EXPECT_EQ(-VESPIN_ERR_SETTING, router_is_init());
    EXPECT_TRUE(plat_test_logged("Fail to get mib"));
    plat_test_reset();

    int first = 11, second = 22;
    wlan_idx = 0;
    ASSERT_TRUE(apmib_set(554, &first));
    ASSERT_TRUE(apmib_set(561, &second));
    EXPECT_EQ(&wlan_idx, set_global_wlan_idx(1));
    EXPECT_EQ(1, wlan_idx);
    first = second = 0;
    EXPECT_EQ(0, get_mesh_config(&first, &second));
    EXPECT_EQ(0, wlan_idx);  // radio 0 stays selected
    EXPECT_EQ(11, first);
    EXPECT_EQ(22, second);
    EXPECT_EQ(VESPIN_ERR_SETTING, get_mesh_config(nullptr, &second));
    EXPECT_EQ(VESPIN_ERR_SETTING, get_mesh_config(&first, nullptr));
    for (int id : {554, 561}) {
        plat_test_fail_setting(id, true, false);
        EXPECT_EQ(VESPIN_ERR_SETTING, get_mesh_config(&first, &second)) << id;
        plat_test_reset();
    }
}

TEST(NodeSettings, FlushClearsTheInitFlagAndWritesTheStore) {
    test_root root;
    int flag = 1;
    ASSERT_TRUE(apmib_set(kMibInitFlag, &flag));
    ASSERT_EQ(0, set_device_name("Kitchen"));
    EXPECT_EQ(0, flush_apmib(APMIB_CURRENT_SETTING));
    EXPECT_EQ(0, router_is_init());
    EXPECT_NE(std::string::npos, root.read("/flash/mib.conf").find("Kitchen"));
    ASSERT_EQ(1, reinit_apmib());
    char name[VESPIN_DEVICE_NAME_SIZE];
    ASSERT_EQ(0, get_device_name(name));
    EXPECT_STREQ("Kitchen", name);
    EXPECT_EQ(0, router_is_init());

    plat_test_capture_log();
    plat_test_fail_setting(kMibInitFlag, true, false);
    EXPECT_EQ(-1, flush_apmib(APMIB_CURRENT_SETTING));
    EXPECT_TRUE(plat_test_logged("Fail to get mib"));
    plat_test_reset();
    ASSERT_TRUE(apmib_set(kMibInitFlag, &flag));
    plat_test_capture_log();
    plat_test_fail_setting(kMibInitFlag, false, true);
    EXPECT_EQ(-1, flush_apmib(APMIB_CURRENT_SETTING));
    EXPECT_TRUE(plat_test_logged("Fail to set mib"));
    plat_test_reset();
    // With the flag already clear no write of it is needed.
    flag = 0;
    ASSERT_TRUE(apmib_set(kMibInitFlag, &flag));
    plat_test_fail_setting(kMibInitFlag, false, true);
    EXPECT_EQ(0, flush_apmib(APMIB_CURRENT_SETTING));
    plat_test_reset();
    // The store cannot be written: apmib_update's result.
    plat_test_fail_open("/flash/mib.conf", EROFS);
    EXPECT_EQ(-1, flush_apmib(APMIB_CURRENT_SETTING));
}

TEST(Account, StoredTwiceAndAppliedToTheRemoteShell) {
    test_root root;
    char user[VESPIN_ACCOUNT_SIZE], password[VESPIN_ACCOUNT_SIZE];
    ASSERT_EQ(0, get_user_and_password(1, user, password));
    EXPECT_STREQ("admin", user);
    EXPECT_STREQ("admin", password);
    EXPECT_EQ(0, set_user_and_password(1, "owner", "s3cret pass"));
    ASSERT_EQ(0, get_user_and_password(0, user, password));
    EXPECT_STREQ("owner", user);
    EXPECT_STREQ("s3cret pass", password);
    char copy[VESPIN_ACCOUNT_SIZE];
    ASSERT_TRUE(apmib_get(2406, copy));
    EXPECT_STREQ("s3cret pass", copy);
    EXPECT_EQ("change_password\n", root.read("/var/log/vespin_telnetd.args"));

    plat_test_reset();
    for (int id : {182, 183, 2406}) {
        plat_test_fail_setting(id, false, true);
        EXPECT_EQ(-1, set_user_and_password(1, "u", "p")) << id;
        EXPECT_TRUE(plat_test_commands().empty()) << id;
        plat_test_reset();
    }
    for (int id : {182, 183}) {
        plat_test_fail_setting(id, true, false);
        EXPECT_EQ(-1, get_user_and_password(1, user, password)) << id;
        plat_test_reset();
    }
    EXPECT_EQ(-1, get_user_and_password(1, nullptr, password));
    EXPECT_EQ(-1, get_user_and_password(1, user, nullptr));
    EXPECT_EQ(-1, set_user_and_password(1, nullptr, "p"));
    EXPECT_EQ(-1, set_user_and_password(1, "u", nullptr));
    EXPECT_TRUE(plat_test_commands().empty());
}

TEST(SystemInfo, TopThroughAwkEndToEnd) {
    test_root root;
    system_info info{};
    EXPECT_EQ(0, vespin_get_system_info(&info));
    // The stand-in's screen: 26712K used, 97384K free, 96% idle.
    EXPECT_EQ(26712000u, info.mem_used);
    EXPECT_EQ(124096000u, info.mem_total);
    EXPECT_DOUBLE_EQ(4.0, info.cpu);
    EXPECT_EQ("-bn 1\n", root.read("/var/log/top.args"));
    ASSERT_EQ(1u, plat_test_commands().size());
    EXPECT_EQ("top -bn 1 | awk '$1~/CPU:/ || $1~/Mem:/ {if($1==\"CPU:\") print 100-$8; else if($1==\"Mem:\") "
              "print $2/1,($2+$4) }'",
              plat_test_commands()[0].text);
    EXPECT_EQ(PLAT_CMD_CAPTURE, plat_test_commands()[0].kind);
    EXPECT_EQ(-1, vespin_get_system_info(nullptr));
}

TEST(SystemInfo, LinesAreScannedAsTheRouterPrintsThem) {
    test_root root;
    std::string output;
    int exit_code = 0;
    plat_test_set_command_script([&](const plat_command&, plat_command_reply* reply) {
        reply->output = output;
        reply->exit_code = exit_code;
        return true;
    });
    system_info info{};
    output = "1000 3000\n12.5\n";
    EXPECT_EQ(0, vespin_get_system_info(&info));
    EXPECT_EQ(1000000u, info.mem_used);
    EXPECT_EQ(3000000u, info.mem_total);
    EXPECT_DOUBLE_EQ(12.5, info.cpu);

    output = "4000000000 4294967295\n";  // KiB x 1000 needs 64 bits; no CPU line keeps the CPU figure
    EXPECT_EQ(0, vespin_get_system_info(&info));
    EXPECT_EQ(4000000000000ull, info.mem_used);
    EXPECT_EQ(4294967295000ull, info.mem_total);
    EXPECT_DOUBLE_EQ(12.5, info.cpu);

    output = "1000\nbusy\n";
    exit_code = 1;
    EXPECT_EQ(1 << 8, vespin_get_system_info(&info));  // the wait status
    EXPECT_EQ(0u, info.mem_used);
    EXPECT_EQ(0u, info.mem_total);
    EXPECT_DOUBLE_EQ(0.0, info.cpu);

    // A first line of 127 characters: its rest is read as the second line.
    output = "5 6" + std::string(124, ' ') + "7.5\n9\n";
    EXPECT_EQ(1 << 8, vespin_get_system_info(&info));
    EXPECT_EQ(5000u, info.mem_used);
    EXPECT_DOUBLE_EQ(7.5, info.cpu);
}

TEST(SystemInfo, UptimeFromTheRoot) {
    test_root root;
    root.write("/proc/uptime", "12345.67 54321.00\n");
    EXPECT_EQ(12345, vespin_get_uptime());
}

TEST(InterfaceAddress, AddressNetmaskAndMacFromTheInterfaceTable) {
    test_root root;
    char ip[VESPIN_IP_TEXT_SIZE], mask[VESPIN_IP_TEXT_SIZE];
    guarded mac(VESPIN_MAC_TEXT_SIZE);
    EXPECT_EQ(1, get_ip("br0", ip));
    EXPECT_STREQ("192.168.1.1", ip);
    EXPECT_EQ(1, get_subnetmask("br0", mask));
    EXPECT_STREQ("255.255.255.0", mask);
    EXPECT_EQ(1, get_mac("wlan1", mac.data()));
    EXPECT_EQ("025600000301", mac.text());
    EXPECT_TRUE(mac.guard_intact());

    unsigned char raw[16];
    EXPECT_EQ(1, get_addr("eth1", 0, raw));
    EXPECT_EQ(0, memcmp(raw, "\x0a\x00\x00\x02", 4));
    EXPECT_EQ(0, get_addr("eth1", 1, raw));  // no peer address
    EXPECT_EQ(0, get_addr("eth1", 3, raw));  // no such kind
    EXPECT_EQ(0, get_ip("wlan0", ip));       // no IPv4 address
    EXPECT_EQ(0, get_ip("nosuch0", ip));
    EXPECT_EQ(0, get_mac("nosuch0", mac.data()));
    EXPECT_EQ(0, get_ip(nullptr, ip));
    EXPECT_EQ(0, get_ip("br0", nullptr));
    EXPECT_EQ(0, get_addr("br0", 0, nullptr));
}
