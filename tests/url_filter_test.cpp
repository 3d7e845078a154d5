// URL filter: the UCI package, the 272-byte message and the emulated module;
// the station blacklist.
#include "core/internal/knet_message.h"
#include "internal_sta_blacklist.h"
#include "internal_url_filter.h"
#include "platform_testing.h"
#include "result_codes.h"
#include "test_root.h"
#include "uci/files.h"

#include <gtest/gtest.h>
#include <stdint.h>
#include <stdlib.h>
#include <string.h>

#include <string>

namespace {

const char kMac[] = "a0b1c2d3e4f5";
const char kRules[] = "/var/run/vespin_knet.rules";

struct url_ctx {
    uci_context* ctx = URL_filter_uci_ctx_new();
    ~url_ctx() { URL_filter_config_free(ctx); }
};

int add_and_commit(const char* host, const char* mac = kMac) {
    url_ctx c;
    int rv = URL_filter_add(c.ctx, nullptr, host, mac);
    URL_filter_config_commit(c.ctx);
    return rv;
}

int enable(int32_t state, const char* mac = kMac) {
    url_ctx c;
    int rv = URL_filter_enable_set(c.ctx, state, mac);
    URL_filter_config_commit(c.ctx);
    return rv;
}

}  // namespace

TEST(KnetMessage, RuleBytesAreFixed) {
    const unsigned char mac[6] = {0xa0, 0xb1, 0xc2, 0xd3, 0xe4, 0xf5};
    unsigned char message[KNET_MESSAGE_SIZE];
    memset(message, 0xee, sizeof message);
    knet_message_build(2, mac, "example.com", message);
    unsigned char expected[KNET_MESSAGE_SIZE] = {0};
    // Length 272, type and flags 0, sequence 0, port id 100, operation 2: all
    // in the host's own byte order, as netlink takes them.
    const uint32_t words[] = {272, 0, 0, 100, 2};
    memcpy(expected, words, sizeof words);
    const unsigned char rule[] = {0xa0, 0xb1, 0xc2, 0xd3, 0xe4, 0xf5, 1};
    memcpy(expected + 20, rule, sizeof rule);
    memcpy(expected + 16 + 11, "example.com", 11);
    EXPECT_EQ(0, memcmp(expected, message, sizeof expected));

    // A host is cut at 63 characters, leaving its 65-byte field zero-terminated.
    std::string long_host(80, 'h');
    knet_message_build(3, mac, long_host.c_str(), message);
    int32_t operation;
    memcpy(&operation, message + 16, sizeof operation);
    EXPECT_EQ(3, operation);
    EXPECT_EQ('h', message[16 + 11 + 62]);
    EXPECT_EQ(0, message[16 + 11 + 63]);
    EXPECT_EQ(0, message[16 + 11 + 64]);
}

TEST(KnetMessage, ReplyNeedsRetAndANumber) {
    unsigned char reply[KNET_MESSAGE_SIZE] = {0};
    int ret = 99;
    std::string text;
    auto answer = [&](const char* body, size_t length = KNET_MESSAGE_SIZE) {
        memset(reply + 16, 0, sizeof reply - 16);
        memcpy(reply + 16, body, strlen(body));
        return knet_reply_result(reply, length, &ret, &text);
    };
    EXPECT_TRUE(answer("ok ret:0"));
    EXPECT_EQ(0, ret);
    EXPECT_EQ("ok ret:0", text);
    EXPECT_TRUE(answer("ret:-2"));
    EXPECT_EQ(-2, ret);
    EXPECT_FALSE(answer("ret:"));
    EXPECT_FALSE(answer("ret:x1"));
    EXPECT_FALSE(answer("done"));
    EXPECT_FALSE(answer("ret:5", 10));  // shorter than the header
    EXPECT_TRUE(answer("ret:99999999999"));
    EXPECT_EQ(2147483647, ret);
}

TEST(UrlFilter, AddCreatesTheSectionAndChecksHosts) {
    test_root root;
    EXPECT_EQ(0, add_and_commit("Example.COM"));
    EXPECT_EQ(std::string("\nconfig global\n\toption mode 'blacklist'\n\n"
                          "config sta 'a0b1c2d3e4f5'\n\toption mac 'a0b1c2d3e4f5'\n\toption enabled 'false'\n"
                          "\tlist host 'example.com'\n\n"),
              root.read("/etc/config/urlfilters"));
    EXPECT_EQ(VESPIN_ERR_EXISTS, add_and_commit("EXAMPLE.com"));
    EXPECT_EQ(VESPIN_ERR_MISSING_PARAM, add_and_commit(std::string(31, 'a').c_str()));
    EXPECT_EQ(VESPIN_ERR_MISSING_PARAM, add_and_commit(nullptr));
    EXPECT_EQ(VESPIN_ERR_FAILURE, add_and_commit("x.com", "a0b1c2d3e4f"));
    EXPECT_EQ(VESPIN_ERR_FAILURE, add_and_commit("x.com", "a0b1c2d3e4fg"));
    for (int i = 1; i < URL_FILTER_MAX_HOSTS - 1; i++)
        EXPECT_EQ(0, add_and_commit(("h" + std::to_string(i) + ".net").c_str()));
    EXPECT_EQ(0, add_and_commit(std::string(30, 'z').c_str()));  // the 15th, of 30 characters
    EXPECT_EQ(VESPIN_ERR_TABLE_FULL, add_and_commit("sixteenth.net"));
    // Disabled: nothing reached the module.
    EXPECT_EQ("", root.read(kRules));
}

TEST(UrlFilter, HostileTextsNeverReachUci) {
    test_root root;
    std::string before = root.read("/etc/config/urlfilters");
    for (const char* host : {"a.com=b", "a com", "x[0]", "a'b", "a;rm -rf", "a\nb", "$(x)"})
        EXPECT_EQ(VESPIN_ERR_INVALID_PARAM, add_and_commit(host)) << host;
    for (const char* mac : {"a0b1c2d3e4.5", "a0b1c2=3e4f5", "a0b1 2d3e4f5", "a0b1[2d3e4f5"})
        EXPECT_EQ(VESPIN_ERR_FAILURE, add_and_commit("ok.com", mac)) << mac;
    EXPECT_EQ(before, root.read("/etc/config/urlfilters"));
    EXPECT_FALSE(root.exists("/tmp/.uci/urlfilters") && !root.read("/tmp/.uci/urlfilters").empty());
}

TEST(UrlFilter, EnableSendsEachHostOnceAndTheModuleHoldsThem) {
    test_root root;
    ASSERT_EQ(0, add_and_commit("a.com"));
    ASSERT_EQ(0, add_and_commit("b.org"));
    int32_t state = -1;
    EXPECT_EQ(0, URL_filter_enable_get(&state, kMac));
    EXPECT_EQ(URL_FILTER_DISABLED, state);
    EXPECT_EQ(0, enable(URL_FILTER_ENABLED));
    EXPECT_EQ(0, URL_filter_enable_get(&state, kMac));
    EXPECT_EQ(URL_FILTER_ENABLED, state);
    EXPECT_EQ("a0b1c2d3e4f5 a.com\na0b1c2d3e4f5 b.org\n", root.read(kRules));
    EXPECT_EQ("2\n", root.read("/proc/fast_nat"));

    // Enabling again sends nothing: the journal gains no fast-NAT flush.
    plat_test_reset();
    EXPECT_EQ(0, enable(1));
    EXPECT_TRUE(plat_test_commands().empty());

    // Adding to an enabled filter sends the rule; deleting takes it back.
    EXPECT_EQ(0, add_and_commit("C.net"));
    EXPECT_EQ("a0b1c2d3e4f5 a.com\na0b1c2d3e4f5 b.org\na0b1c2d3e4f5 c.net\n", root.read(kRules));
    {
        url_ctx c;
        EXPECT_EQ(0, URL_filter_delete(c.ctx, kMac, "b.org"));
        URL_filter_config_commit(c.ctx);
    }
    EXPECT_EQ("a0b1c2d3e4f5 a.com\na0b1c2d3e4f5 c.net\n", root.read(kRules));
    EXPECT_EQ(0, enable(URL_FILTER_DISABLED));
    EXPECT_EQ("", root.read(kRules));
}

TEST(UrlFilter, ModuleFailuresAreReported) {
    test_root root;
    plat_test_capture_log();
    EXPECT_EQ(0, take_effect_URL_filter_rule(7, kMac, "a.com"));
    EXPECT_EQ(VESPIN_ERR_FAILURE, take_effect_URL_filter_rule(3, kMac, "never.added"));  // ret:-2
    bool printed = false;
    for (const auto& e : plat_test_log())
        if (e.text == "Optype error!\n") printed = true;
    EXPECT_TRUE(printed);
    root.write("/proc/modules", "");
    EXPECT_EQ(VESPIN_ERR_FAILURE, take_effect_URL_filter_rule(2, kMac, "a.com"));
    bool perror_seen = false;
    for (const auto& e : plat_test_log())
        if (e.channel == PLAT_LOG_PERROR && e.text.rfind("Create socket error: ", 0) == 0) perror_seen = true;
    EXPECT_TRUE(perror_seen);
}

TEST(UrlFilter, RestartReloadsTheModuleAndDropsEmptyDisabledDevices) {
    test_root root;
    root.write("/etc/config/urlfilters",
               "config global\n\toption mode 'blacklist'\n"
               "config sta 'aaaaaaaaaaaa'\n\toption mac 'aaaaaaaaaaaa'\n\toption enabled 'false'\n"
               "config sta 'bbbbbbbbbbbb'\n\toption mac 'bbbbbbbbbbbb'\n\toption enabled 'false'\n"
               "config sta 'cccccccccccc'\n\toption mac 'cccccccccccc'\n\toption enabled 'true'\n"
               "\tlist host 'c1.com'\n\tlist host 'c2.com'\n"
               "config sta 'dddddddddddd'\n\toption mac 'dddddddddddd'\n\toption enabled 'false'\n"
               "\tlist host 'd.com'\n");
    root.write(kRules, "ffffffffffff stale.com\n");
    EXPECT_EQ(VESPIN_ERR_NOT_FOUND, URL_filter_restart());  // the end of the walk
    EXPECT_EQ("cccccccccccc c1.com\ncccccccccccc c2.com\n", root.read(kRules));
    std::string config = root.read("/etc/config/urlfilters");
    EXPECT_EQ(std::string::npos, config.find("aaaaaaaaaaaa"));
    EXPECT_EQ(std::string::npos, config.find("bbbbbbbbbbbb"));
    EXPECT_NE(std::string::npos, config.find("dddddddddddd"));

    url_filter_device* devices = nullptr;
    int32_t count = 0;
    ASSERT_EQ(0, URL_filter_list(&devices, &count));
    ASSERT_EQ(2, count);
    EXPECT_STREQ("cccccccccccc", devices[0].mac);
    EXPECT_EQ(1, devices[0].enabled);
    EXPECT_EQ(2, devices[0].host_count);
    EXPECT_STREQ("c2.com", devices[0].hosts[1]);
    EXPECT_EQ(0, devices[1].enabled);
    free(devices);

    // With the module not loaded, rmmod fails and the restart leaves it out.
    root.write("/proc/modules", "");
    URL_filter_restart();
    EXPECT_EQ("", root.read("/proc/modules"));
}

TEST(StaBlacklist, LimitsAndMacRules) {
    test_root root;
    uci_context* ctx = vespin_uci_ctx_new();
    EXPECT_EQ(-VESPIN_ERR_FAILURE, sta_blacklist_add(ctx, nullptr));
    blacklist_entry entry = {"a0b1c2d3e4", "short"};
    EXPECT_EQ(0, sta_blacklist_add(ctx, &entry));  // 10 characters: added
    EXPECT_EQ(VESPIN_ERR_NO_CHANGE, sta_blacklist_add(ctx, &entry));
    EXPECT_EQ(0, sta_blacklist_delete(ctx, "a0b1c2d3e4"));  // deleting needs 11: ignored
    blacklist_entry tiny = {"a0b1c2d3e", "x"};
    EXPECT_EQ(0, sta_blacklist_add(ctx, &tiny));  // ignored
    blacklist_entry hostile = {"a0b1c2.3e4f5", "x"};
    EXPECT_EQ(VESPIN_ERR_INVALID_PARAM, sta_blacklist_add(ctx, &hostile));
    for (int i = 1; i < STA_BLACKLIST_MAX; i++) {
        blacklist_entry e;
        snprintf(e.mac, sizeof e.mac, "0000000000%02d", i);
        snprintf(e.name, sizeof e.name, "device %d", i);
        ASSERT_EQ(0, sta_blacklist_add(ctx, &e)) << i;
    }
    blacklist_entry extra = {"ffffffffffff", "31st"};
    EXPECT_EQ(VESPIN_ERR_TABLE_FULL, sta_blacklist_add(ctx, &extra));
    ASSERT_EQ(0, sta_blacklist_commit(ctx));
    vespin_uci_ctx_free(ctx);

    blacklist_entry* list = nullptr;
    int32_t count = 0;
    ASSERT_EQ(0, sta_blacklist_list(&list, &count));
    ASSERT_EQ(STA_BLACKLIST_MAX, count);
    EXPECT_STREQ("a0b1c2d3e4", list[0].mac);
    EXPECT_STREQ("device 29", list[29].name);
    free(list);

    ctx = vespin_uci_ctx_new();
    EXPECT_EQ(VESPIN_ERR_NOT_FOUND, sta_blacklist_delete(ctx, "ffffffffffff"));
    EXPECT_EQ(0, sta_blacklist_delete(ctx, "000000000005"));
    EXPECT_EQ(0, sta_blacklist_delete(ctx, nullptr));
    ASSERT_EQ(0, sta_blacklist_commit(ctx));
    vespin_uci_ctx_free(ctx);
    list = nullptr;
    EXPECT_EQ(0, sta_blacklist_list(&list, &count));
    EXPECT_EQ(0, count);
    EXPECT_EQ(nullptr, list);
}

TEST(StaBlacklist, WorkModeOneForgetsTheDevice) {
    test_root root;
    root.write("/etc/config/devices", "config sta 'a0b1c2d3e4f5'\n\toption name 'tv'\n");
    uci_context* ctx = vespin_uci_ctx_new();
    blacklist_entry entry = {"a0b1c2d3e4f5", "tv"};
    EXPECT_EQ(0, sta_blacklist_add(ctx, &entry));
    EXPECT_EQ(0, sta_blacklist_rollback(ctx));
    vespin_uci_ctx_free(ctx);
    EXPECT_EQ(std::string::npos, root.read("/etc/config/devices").find("a0b1c2d3e4f5"));
    EXPECT_EQ("", root.read("/etc/config/mac_filter_black"));
}

// The package cannot be read, or its commit cannot be written: the add ends
// in its code, the package file and the module keep what they held.
TEST(UrlFilter, UciFaultsLeaveThePackageAndTheModuleAlone) {
    test_root root;
    ASSERT_EQ(0, enable(URL_FILTER_ENABLED));
    const std::string before = root.read("/etc/config/urlfilters");
    const std::string rules_before = root.read(kRules);

    plat_test_fail_open(root.path("/etc/config/urlfilters"), EIO);
    {
        url_ctx c;
        EXPECT_EQ(VESPIN_ERR_FAILURE, URL_filter_add(c.ctx, nullptr, "a.com", kMac));
    }
    plat_test_reset();
    EXPECT_EQ(before, root.read("/etc/config/urlfilters"));
    EXPECT_EQ(rules_before, root.read(kRules));

    url_ctx c;
    ASSERT_EQ(0, URL_filter_add(c.ctx, nullptr, "a.com", kMac));  // sent: the filter is on
    vuci::set_write_fault(ENOSPC);
    EXPECT_EQ(-VESPIN_ERR_FAILURE, URL_filter_config_commit(c.ctx));
    vuci::set_write_fault(0);
    EXPECT_EQ(before, root.read("/etc/config/urlfilters"));
    // A restart brings the module back to what the package holds.
    EXPECT_EQ(VESPIN_ERR_NOT_FOUND, URL_filter_restart());
    EXPECT_EQ(rules_before, root.read(kRules));
}
