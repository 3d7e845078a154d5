// Accounts, time zone record, speed limit and device names (assets): JSON
// forms, the update rules with their codes, and how each is stored.
#include "apmib.h"
#include "config_admin.h"
#include "config_assets.h"
#include "config_speed_limit.h"
#include "config_timezone.h"
#include "platform_testing.h"
#include "result_codes.h"
#include "test_root.h"
#include "uci/files.h"
#include "uciconfig.h"

#include <errno.h>
#include <gtest/gtest.h>
#include <json-c/json.h>
#include <stdlib.h>
#include <sys/stat.h>

#include <string>

namespace {

std::string json_text(json_object* object) {
    std::string text = json_object_to_json_string_ext(object, JSON_C_TO_STRING_PLAIN);
    json_object_put(object);
    return text;
}

std::string stored_text(int id) {
    char text[80] = {0};
    EXPECT_TRUE(apmib_get(id, text));
    return text;
}

TEST(AdminConfig, LoadsBothAccountsAndPrintsGoldenJson) {
    test_root root;
    admin_config config = {};
    ASSERT_EQ(0, admin_config_load(&config));
    EXPECT_EQ("{\"username\":\"admin\",\"password\":\"admin\",\"super\":{\"username\":\"admin\",\"password\":\"admin\"}}",
              json_text(admin_config_to_json(&config)));
    plat_test_fail_setting(183, true, false);
    EXPECT_EQ(VESPIN_ERR_SETTING, admin_config_load(&config));
}

TEST(AdminConfig, UpdateRulesAndTheSharedPassword) {
    admin_config config = {};
    EXPECT_EQ(VESPIN_ERR_INVALID_JSON, admin_config_update_from_json(&config, "{not json"));
    EXPECT_EQ(VESPIN_ERR_INVALID_JSON, admin_config_update_from_json(&config, "[1]"));
    EXPECT_EQ(VESPIN_ERR_NO_CHANGE, admin_config_update_from_json(&config, "{}"));
    EXPECT_EQ(0, admin_config_update_from_json(&config, "{\"username\":\"boss\"}"));
    EXPECT_STREQ("boss", config.username);
    EXPECT_EQ(VESPIN_ERR_MISSING_PARAM, admin_config_update_from_json(&config, "{\"username\":5}"));
    EXPECT_EQ(VESPIN_ERR_INVALID_PARAM,
              admin_config_update_from_json(&config, ("{\"username\":\"" + std::string(31, 'u') + "\"}").c_str()));
    EXPECT_EQ(0, admin_config_update_from_json(&config, ("{\"username\":\"" + std::string(30, 'u') + "\"}").c_str()));

    const std::string p24(24, '~'), p25(25, 'x');
    EXPECT_EQ(0, admin_config_update_from_json(&config, ("{\"password\":\"" + p24 + "\"}").c_str()));
    EXPECT_EQ(p24, config.password);
    EXPECT_EQ(p24, config.super_password);  // the root account shares it
    EXPECT_EQ(VESPIN_ERR_MISSING_PARAM, admin_config_update_from_json(&config, ("{\"password\":\"" + p25 + "\"}").c_str()));
    EXPECT_EQ(VESPIN_ERR_MISSING_PARAM, admin_config_update_from_json(&config, "{\"password\":12345678}"));
    test_root root;
    plat_test_capture_log();
    EXPECT_EQ(VESPIN_ERR_INVALID_PARAM, admin_config_update_from_json(&config, "{\"password\":\"tab\\there\"}"));
    EXPECT_TRUE(plat_test_logged("Invalid password"));
    EXPECT_EQ(VESPIN_ERR_INVALID_PARAM, admin_config_update_from_json(&config, "{\"password\":\"caf\xc3\xa9\"}"));
    EXPECT_EQ(VESPIN_ERR_INVALID_PARAM, admin_config_update_from_json(&config, "{\"password\":\"a\\u0000b\"}"));
    EXPECT_EQ(p24, config.password);
}

TEST(AdminConfig, UserInfoKeepsTheSuperAccountApart) {
    test_root root;
    plat_test_capture_log();
    admin_config config = {};
    json_object* object = json_tokener_parse(
        "{\"username\":\"web\",\"password\":\"webpass1\",\"super\":{\"username\":\"su\",\"password\":\"rootpass\"}}");
    ASSERT_EQ(0, user_info_config_update_from_json_object(&config, object));
    json_object_put(object);
    EXPECT_STREQ("webpass1", config.password);
    EXPECT_STREQ("rootpass", config.super_password);
    EXPECT_STREQ("su", config.super_username);
    for (const char* bad : {"{\"super\":[]}", "{\"super\":{\"password\":\"\\u0007bell\"}}"}) {
        json_object* o = json_tokener_parse(bad);
        EXPECT_NE(0, user_info_config_update_from_json_object(&config, o)) << bad;
        json_object_put(o);
    }
    EXPECT_TRUE(plat_test_logged("Invalid super password"));
    json_object* empty = json_object_new_object();
    EXPECT_EQ(VESPIN_ERR_NO_CHANGE, user_info_config_update_from_json_object(&config, empty));
    json_object_put(empty);

    // The root account is applied first, so the web account is what stays stored.
    ASSERT_EQ(0, config_user_info(&config));
    EXPECT_EQ("web", stored_text(182));
    EXPECT_EQ("webpass1", stored_text(183));
}

TEST(AdminConfig, ConfigAdminAppliesBothAccountsAndReportsEachFailedSetting) {
    test_root root;
    admin_config config = {};
    ASSERT_EQ(0, admin_config_update_from_json(&config, "{\"password\":\"newpass99\"}"));
    ASSERT_EQ(0, config_admin(&config));
    EXPECT_EQ("newpass99", stored_text(183));
    EXPECT_EQ("newpass99", stored_text(2406));
    for (int id : {182, 183, 2406}) {
        plat_test_reset();
        plat_test_fail_setting(id, false, true);
        EXPECT_EQ(VESPIN_ERR_SETTING, config_admin(&config)) << id;
        EXPECT_EQ(VESPIN_ERR_SETTING, config_user_info(&config)) << id;
    }
}

TEST(TimezoneConfig, LoadUpdateAndApply) {
    test_root root;
    plat_test_capture_log();
    timezone_config config = {};
    ASSERT_EQ(0, timezone_config_load(&config));
    EXPECT_EQ("{\"offset\":8,\"position\":1}", json_text(timezone_config_to_json(&config)));

    ASSERT_TRUE(apmib_set(153, (void*)"-5"));
    EXPECT_EQ(VESPIN_ERR_INTERNAL, timezone_config_load(&config));
    EXPECT_TRUE(plat_test_logged("Wrong format of MIB_NTP_TIMEZONE: `-5`"));
    EXPECT_EQ(8, config.offset);
    plat_test_fail_setting(153, true, false);
    EXPECT_EQ(VESPIN_ERR_SETTING, timezone_config_load(&config));
    plat_test_reset();

    EXPECT_EQ(VESPIN_ERR_INVALID_JSON, timezone_config_update_from_json(&config, "nope"));
    EXPECT_EQ(VESPIN_ERR_INVALID_JSON, timezone_config_update_from_json(&config, "3"));
    EXPECT_EQ(VESPIN_ERR_NO_CHANGE, timezone_config_update_from_json(&config, "{}"));
    EXPECT_EQ(VESPIN_ERR_MISSING_PARAM, timezone_config_update_from_json(&config, "{\"offset\":\"-5\"}"));
    ASSERT_EQ(0, timezone_config_update_from_json(&config, "{\"offset\":-5,\"position\":12}"));

    plat_test_capture_log();
    plat_test_fail_setting(153, false, true);
    EXPECT_EQ(VESPIN_ERR_SETTING, config_timezone(&config));
    EXPECT_TRUE(plat_test_logged("Fail to set MIB_NTP_TIMEZONE: -5 12"));
    plat_test_reset();
    plat_test_set_command_script([](const plat_command&, plat_command_reply*) { return true; });
    ASSERT_EQ(0, config_timezone(&config));
    EXPECT_EQ("-5 12", stored_text(153));
    ASSERT_FALSE(plat_test_commands().empty());
    EXPECT_EQ("timelimit flush", plat_test_commands()[plat_test_commands().size() - 3].text);
}

TEST(SpeedLimit, MarkerAndUpdateCodes) {
    test_root root;
    plat_test_capture_log();
    speed_limit limit = {100, 200, SPEED_LIMIT_MARKER};
    EXPECT_EQ("{\"enabled\":true}", json_text(speed_limit_to_json(&limit)));
    limit.enabled = 1;
    EXPECT_EQ("{\"enabled\":true,\"up\":100,\"down\":200}", json_text(speed_limit_to_json(&limit)));
    struct { const char* json; const char* message; } bad[] = {
        {"{\"up\":\"1\"}", "Invalid upload rate"},
        {"{\"down\":1.5}", "Invalid download rate"},
        {"{\"enabled\":1}", "Invalid json field:'enabled'"},
    };
    for (const auto& b : bad) {
        json_object* o = json_tokener_parse(b.json);
        EXPECT_EQ(VESPIN_ERR_INVALID_JSON, speed_limit_update_from_json_object(&limit, o)) << b.json;
        EXPECT_TRUE(plat_test_logged(b.message)) << b.message;
        json_object_put(o);
    }
    EXPECT_EQ(VESPIN_ERR_INVALID_JSON, speed_limit_update_from_json_object(&limit, nullptr));
    json_object* o = json_tokener_parse("{\"up\":5,\"enabled\":false}");
    ASSERT_EQ(0, speed_limit_update_from_json_object(&limit, o));
    json_object_put(o);
    EXPECT_EQ(5, limit.up);
    EXPECT_EQ(0u, limit.enabled);
}

TEST(Assets, DeviceMetaJson) {
    device_meta meta = {};
    json_object* o = json_tokener_parse("{\"mac\":\"a0b1c2d3e4f5a0b1c2\",\"name\":\"Kitchen\"}");
    ASSERT_EQ(0, device_meta_load_from_json_object(&meta, o));
    json_object_put(o);
    EXPECT_STREQ("a0b1c2d3e4f5a0b", meta.mac);
    EXPECT_EQ("{\"mac\":\"a0b1c2d3e4f5a0b\",\"name\":\"Kitchen\"}", json_text(device_meta_to_json(&meta)));
    for (const char* bad : {"{\"mac\":\"a\"}", "{\"mac\":1,\"name\":\"x\"}", "[]"}) {
        json_object* b = json_tokener_parse(bad);
        EXPECT_EQ(VESPIN_ERR_INVALID_JSON, device_meta_load_from_json_object(&meta, b)) << bad;
        json_object_put(b);
    }
    json_object* long_name = json_object_new_object();
    json_object_object_add(long_name, "mac", json_object_new_string("a0b1c2d3e4f5"));
    json_object_object_add(long_name, "name", json_object_new_string(std::string(40, 'n').c_str()));
    EXPECT_EQ(VESPIN_ERR_INVALID_PARAM, device_meta_load_from_json_object(&meta, long_name));
    json_object_put(long_name);
}

TEST(Assets, FactoryTouchesTheFileWritesThroughTheLinkAndCommitsAsOne) {
    test_root root;
    unlink(root.path("/vespin/config/assets").c_str());
    assets_factory* factory = assets_factory_new();
    ASSERT_FALSE(vespin_is_error(factory));
    EXPECT_STREQ("assets", factory->package);
    EXPECT_EQ(nullptr, assets_factory_get(factory, "a0b1c2d3e4f5"));  // unknown: null, not an error
    EXPECT_EQ(VESPIN_ERROR_PTR(device_meta*, VESPIN_ERR_INVALID_PARAM), assets_factory_get(factory, "a0b1;reboot"));

    device_meta meta = {"a0b1c2d3e4f5", "Kitchen 'tablet'"};
    ASSERT_EQ(0, assets_factory_set(factory, &meta));
    bool touched = false;
    for (const auto& c : plat_test_commands()) touched |= c.text == "touch /vespin/config/assets";
    EXPECT_TRUE(touched);
    device_meta* got = assets_factory_get(factory, "a0b1c2d3e4f5");
    ASSERT_NE(nullptr, got);
    ASSERT_FALSE(vespin_is_error(got));
    EXPECT_STREQ("Kitchen 'tablet'", got->name);
    free(got);
    ASSERT_EQ(0, assets_factory_commit(factory));
    const std::string committed =
        "\nconfig sta 'a0b1c2d3e4f5'\n\toption mac 'a0b1c2d3e4f5'\n\toption name 'Kitchen '\\''tablet'\\'''\n\n";
    EXPECT_EQ(committed, root.read("/vespin/config/assets"));
    struct stat st;
    ASSERT_EQ(0, lstat(root.path("/etc/config/assets").c_str(), &st));
    EXPECT_TRUE(S_ISLNK(st.st_mode));

    // A failed commit leaves the file as it was; a rollback drops the change.
    device_meta other = {"0000000000ff", "Printer"};
    ASSERT_EQ(0, assets_factory_set(factory, &other));
    vuci::set_write_fault(ENOSPC);
    EXPECT_EQ(VESPIN_ERR_FAILURE, assets_factory_commit(factory));
    vuci::set_write_fault(0);
    EXPECT_EQ(committed, root.read("/vespin/config/assets"));
    EXPECT_EQ(0, assets_factory_rollback(factory));
    ASSERT_EQ(0, assets_factory_commit(factory));
    EXPECT_EQ(committed, root.read("/vespin/config/assets"));
    device_meta bad_mac = {"A0B1C2D3E4F", "x"};
    EXPECT_EQ(VESPIN_ERR_INVALID_PARAM, assets_factory_set(factory, &bad_mac));
    assets_factory_free(factory);
}

TEST(Assets, DeviceListName) {
    test_root root;
    root.write("/etc/config/devices", "\nconfig sta 'a0b1c2d3e4f5'\n\toption mac 'a0b1c2d3e4f5'\n");
    uci_context* ctx = vespin_uci_ctx_new();
    device_meta meta = {"a0b1c2d3e4f5", "Phone"};
    EXPECT_EQ(0, set_device_list_name(ctx, &meta));
    EXPECT_EQ(VESPIN_ERR_FAILURE, set_device_list_name(nullptr, &meta));
    device_meta bad = {"a0b1c2d3e4f5 x", "Phone"};
    EXPECT_EQ(VESPIN_ERR_INVALID_PARAM, set_device_list_name(ctx, &bad));
    vespin_uci_ctx_free(ctx);
    EXPECT_EQ("\nconfig sta 'a0b1c2d3e4f5'\n\toption mac 'a0b1c2d3e4f5'\n\toption name 'Phone'\n\n",
              root.read("/etc/config/devices"));
}

}  // namespace
