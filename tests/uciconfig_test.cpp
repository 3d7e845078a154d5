// UCI access through the public API: one-shot get and set, contexts that
// batch changes until commit or rollback, and their codes and messages.
// Written against the public functions only, so it runs over either backend.
#include "uciconfig.h"

#include "platform_testing.h"
#include "test_root.h"

#include <gtest/gtest.h>
#include <string.h>

namespace {

const char kGuest[] =
    "config item 'guest'\n"
    "\toption ssid 'Guest'\n"
    "\tlist hosts 'a'\n"
    "\tlist hosts 'b c'\n"
    "\tlist hosts 'd'\n"
    "\n"
    "config sta\n"
    "\toption mac '001122334455'\n";

class UciAccess : public ::testing::Test {
  protected:
    void SetUp() override {
        root.write("/etc/config/multipleap", kGuest);
        plat_test_capture_log();
    }

    std::string get(const char* path, int expected = 0) {
        char out[256] = "";
        EXPECT_EQ(expected, vespin_uci_get(path, out)) << path;
        return out;
    }

    test_root root;
};

TEST_F(UciAccess, GetReadsOptionsAndSectionTypes) {
    EXPECT_EQ("Guest", get("multipleap.guest.ssid"));
    EXPECT_EQ("item", get("multipleap.guest"));
    EXPECT_EQ("001122334455", get("multipleap.@sta[0].mac"));
    EXPECT_EQ("sta", get("multipleap.@sta[-1]"));

    char out[16];
    memset(out, 'x', sizeof out);
    EXPECT_EQ(600104, vespin_uci_get("multipleap.guest.nosuch", out));
    EXPECT_EQ(600104, vespin_uci_get("multipleap.nosuch", out));
    EXPECT_EQ(600104, vespin_uci_get("multipleap.@sta[1]", out));
    EXPECT_EQ(600104, vespin_uci_get("nosuch.guest.ssid", out));
    EXPECT_EQ(std::string(16, 'x'), std::string(out, 16)) << "the output is left alone";

    EXPECT_EQ(600005, vespin_uci_get("multipleap", out));
    EXPECT_TRUE(plat_test_logged("Invalid type of ptr.last"));
    EXPECT_EQ(600001, vespin_uci_get("multipleap.bad-name", out));
    EXPECT_TRUE(plat_test_logged("Uci not found, errcode: 2"));
    root.write("/etc/config/broken", "config item a\n\toption x 'open\n");
    EXPECT_EQ(600001, vespin_uci_get("broken.a.x", out));
    EXPECT_TRUE(plat_test_logged("Uci not found, errcode: 5"));
}

TEST_F(UciAccess, ListsArePackedWithoutValuesHoldingWhitespace) {
    char out[16];
    memset(out, 'x', sizeof out);
    EXPECT_EQ(0, vespin_uci_get("multipleap.guest.hosts", out));
    // "a\0d\0", the byte behind left alone, a zero two bytes beyond.
    EXPECT_EQ(std::string("a\0d\0x\0x", 7), std::string(out, 7));
}

TEST_F(UciAccess, LongPathsAreCutAt127Characters) {
    std::string name(121, 'o');
    root.write("/etc/config/p", "config item s\n\toption " + name + " short\n\toption " + name + "zz long\n");
    std::string path = "p.s." + name;  // 125 characters
    EXPECT_EQ("short", get(path.c_str()));
    EXPECT_EQ("long", get((path + "zz").c_str())) << "127 characters: whole";
    EXPECT_EQ("long", get((path + "zzz").c_str())) << "128 characters: cut to 127";
    EXPECT_EQ("long", get((path + "zzzzzzzz").c_str()));
}

TEST_F(UciAccess, AContextKeepsChangesUntilCommit) {
    uci_context* ctx = guest_network_uci_ctx_new();
    ASSERT_FALSE(vespin_is_error(ctx));
    EXPECT_EQ(0, vespin_uci_ctx_cmd(ctx, 4, "multipleap.guest.ssid=Cafe"));
    EXPECT_EQ(0, vespin_uci_ctx_cmd(ctx, 0, "multipleap.guest2=item"));
    EXPECT_EQ(0, vespin_uci_ctx_cmd(ctx, 3, "multipleap.guest2.ssid=Two"));
    EXPECT_EQ(0, vespin_uci_ctx_cmd(ctx, 6, "multipleap.guest2.hosts=e"));
    EXPECT_EQ(0, vespin_uci_ctx_cmd(ctx, 7, "multipleap.guest.hosts=a"));
    EXPECT_EQ(0, vespin_uci_ctx_delete_section(ctx, "multipleap.@sta[0]"));
    EXPECT_EQ(600001, vespin_uci_ctx_cmd(ctx, 5, "multipleap.guest2.gone")) << "deleting what is not there fails";

    char out[64] = "";
    EXPECT_EQ(0, vespin_uci_ctx_get(ctx, "multipleap.guest.ssid", out));
    EXPECT_STREQ("Cafe", out);
    EXPECT_EQ(kGuest, root.read("/etc/config/multipleap")) << "nothing written before commit";
    EXPECT_EQ("Guest", get("multipleap.guest.ssid")) << "another context does not see them";

    EXPECT_EQ(0, guest_network_config_commit(ctx));
    EXPECT_EQ(
        "\nconfig item 'guest'\n\toption ssid 'Cafe'\n\tlist hosts 'b c'\n\tlist hosts 'd'\n"
        "\nconfig item 'guest2'\n\toption ssid 'Two'\n\tlist hosts 'e'\n\n",
        root.read("/etc/config/multipleap"));
    // The commit unloaded the package: the context reads the file again.
    EXPECT_EQ(0, vespin_uci_ctx_get(ctx, "multipleap.guest2.ssid", out));
    EXPECT_STREQ("Two", out);

    EXPECT_EQ(0, vespin_uci_ctx_cmd(ctx, 4, "multipleap.guest.ssid=Lost"));
    guest_network_config_free(ctx);
    EXPECT_EQ("Cafe", get("multipleap.guest.ssid")) << "freed without commit: lost";
}

TEST_F(UciAccess, ContextCommandKindsAndTheirFailures) {
    root.write("/etc/config/timelimits", "");
    uci_context* ctx = time_limit_uci_ctx_new();
    ASSERT_FALSE(vespin_is_error(ctx));
    // Kind 1 adds a section whose type is the package's name.
    EXPECT_EQ(0, vespin_uci_ctx_cmd(ctx, 1, "timelimits"));
    EXPECT_EQ(0, vespin_uci_ctx_cmd(ctx, 1, "timelimits.rule"));
    char out[64] = "";
    EXPECT_EQ(0, vespin_uci_ctx_get(ctx, "timelimits.@timelimits[1]", out));
    EXPECT_STREQ("timelimits", out);

    EXPECT_EQ(600001, vespin_uci_ctx_cmd(ctx, 8, "timelimits.x=item"));
    EXPECT_TRUE(plat_test_logged("Unsupported uci cmd type"));
    EXPECT_EQ(600001, vespin_uci_ctx_cmd(ctx, 4, "timelimits.bad-name.x=1"));
    EXPECT_TRUE(plat_test_logged("Uci not found"));
    EXPECT_EQ(600001, vespin_uci_ctx_cmd(ctx, 4, "timelimits.nosuch.x=1")) << "no section to hold the option";
    EXPECT_EQ(600001, vespin_uci_ctx_cmd(ctx, 4, "nosuch.a=item")) << "not found is accepted, the set fails";
    EXPECT_EQ(600001, vespin_uci_ctx_cmd(ctx, 2, "timelimits.nosuch"));
    EXPECT_EQ(600001, vespin_uci_ctx_cmd(ctx, 4, nullptr));
    EXPECT_EQ(0, time_limit_config_rollback(ctx));
    EXPECT_EQ(600001, vespin_uci_ctx_rollback(ctx, "nosuch"));
    EXPECT_EQ(-600001, vespin_uci_ctx_commit(ctx, "nosuch"));
    time_limit_config_free(ctx);

    uci_context* failed = VESPIN_ERROR_PTR(uci_context*, 600001);
    EXPECT_EQ(600001, vespin_uci_ctx_cmd(failed, 4, "timelimits.a=item"));
    EXPECT_EQ(600001, vespin_uci_ctx_get(failed, "timelimits", out));
    EXPECT_EQ(-600001, vespin_uci_ctx_commit(failed, "timelimits"));
    vespin_uci_ctx_free(failed);
    vespin_uci_ctx_free(nullptr);
}

TEST_F(UciAccess, OneShotSetCommitsAtOnce) {
    EXPECT_EQ(0, vespin_uci_set(4, "multipleap.guest.ssid=Shop"));
    EXPECT_EQ("Shop", get("multipleap.guest.ssid"));
    EXPECT_NE(std::string::npos, root.read("/etc/config/multipleap").find("\toption ssid 'Shop'\n"));
    EXPECT_EQ(0, vespin_uci_set(6, "multipleap.guest.hosts=z"));
    EXPECT_EQ(0, vespin_uci_set(7, "multipleap.guest.hosts=d"));
    char out[32];
    memset(out, 0, sizeof out);
    ASSERT_EQ(0, vespin_uci_get("multipleap.guest.hosts", out));
    EXPECT_EQ(std::string("a\0z\0", 4), std::string(out, 4));
    EXPECT_EQ(0, vespin_uci_set(2, "multipleap.@sta[0]"));
    EXPECT_EQ(600104, vespin_uci_get("multipleap.@sta[0]", out));
    EXPECT_EQ(600001, vespin_uci_set(5, "multipleap.nosuch")) << "found the package, not the section";
    EXPECT_EQ("", root.read("/tmp/.uci/multipleap"));
}

TEST_F(UciAccess, OneShotSetOfWhatCannotBeFoundSucceedsAndChangesNothing) {
    const std::string before = root.read("/etc/config/multipleap");
    EXPECT_EQ(0, vespin_uci_set(4, "nosuch.a.b=c"));
    EXPECT_TRUE(plat_test_logged("Uci not found"));
    EXPECT_EQ(0, vespin_uci_set(4, "multipleap.@sta[5].mac=x"));
    EXPECT_EQ(0, vespin_uci_set(4, "multipleap.bad-name.x=1"));
    EXPECT_EQ(0, vespin_uci_set(1, "multipleap.guest.ssid=x"));
    EXPECT_TRUE(plat_test_logged("Unsupported uci cmd type"));
    EXPECT_EQ(0, vespin_uci_set(8, "multipleap.guest.ssid=x"));
    EXPECT_EQ(before, root.read("/etc/config/multipleap"));
    EXPECT_EQ(600001, vespin_uci_set(4, ""));
    EXPECT_EQ(600001, vespin_uci_set(4, nullptr));
}

TEST_F(UciAccess, OneShotAddLeavesTheSectionPendingForCommitOrRollback) {
    EXPECT_EQ(0, vespin_uci_set(0, "multipleap sta"));
    EXPECT_EQ(kGuest, root.read("/etc/config/multipleap"));
    EXPECT_EQ("+multipleap.cfg03ab6d='sta'\n", root.read("/tmp/.uci/multipleap"));
    EXPECT_EQ("sta", get("multipleap.@sta[1]")) << "pending changes are seen";

    uci_context* ctx = vespin_uci_ctx_new();
    EXPECT_EQ(0, guest_network_config_rollback(ctx));
    vespin_uci_ctx_free(ctx);
    EXPECT_EQ("", root.read("/tmp/.uci/multipleap"));
    get("multipleap.@sta[1]", 600104);

    EXPECT_EQ(0, vespin_uci_set(0, "multipleap sta"));
    EXPECT_EQ(0, vespin_uci_set(0, "multipleap"));
    EXPECT_NE(std::string::npos, root.read("/etc/config/multipleap").find("'001122334455'\n\nconfig sta\n\n"));
    EXPECT_EQ("", root.read("/tmp/.uci/multipleap"));
    EXPECT_EQ(600001, vespin_uci_set(0, "nosuch sta"));
    EXPECT_EQ(600001, vespin_uci_set(0, "multipleap bad!type"));
}

TEST(UciValue, TrueWords) {
    for (const char* yes : {"1", "on", "ON", "true", "True", "enabled", "Enabled"}) EXPECT_EQ(1, vespin_uci_value_is_true(yes)) << yes;
    for (const char* no : {"yes", "", "0", "off", "2", " on"}) EXPECT_EQ(0, vespin_uci_value_is_true(no)) << no;
    EXPECT_EQ(0, vespin_uci_value_is_true(nullptr));
}

}  // namespace
