// Guest Wi-Fi entries (strict and lenient parsers, the hide rule, the list
// stored in "multipleap" and on the guest interfaces), the mesh band
// switches and the LED schedule.
#include "apmib.h"
#include "config_wifi.h"
#include "internal_wifi.h"
#include "platform_testing.h"
#include "result_codes.h"
#include "test_root.h"
#include "vespin_core.h"

#include <gtest/gtest.h>
#include <json-c/json.h>
#include <string.h>

#include <string>

namespace {

std::string json_text(json_object* object) {
    std::string text = json_object_to_json_string_ext(object, JSON_C_TO_STRING_PLAIN);
    json_object_put(object);
    return text;
}

template <typename Parser, typename Record>
int parse(Parser parser, Record* record, const std::string& json) {
    json_object* object = json_tokener_parse(json.c_str());
    int result = parser(record, object);
    json_object_put(object);
    return result;
}

const char kStrictEntry[] =
    "{\"id\":\"1\",\"enabled\":true,\"duration\":3600,\"security\":1,\"bands\":{\"2.4G\":{\"ssid\":\"Guest\","
    "\"password\":\"guestpass\",\"encrypt\":\"wpa2\",\"enabled\":true},\"5G\":{\"ssid\":\"Guest-5G\","
    "\"password\":\"guestpass\",\"encrypt\":\"open\",\"enabled\":false}},\"smart_connect\":false}";

TEST(GuestWifi, StrictEntryPrintsBackWithInvertedBandEnabled) {
    guest_wifi entry = {};
    ASSERT_EQ(0, parse(json_to_guest_wifi, &entry, kStrictEntry));
    entry.remaining_duration = 1200;
    entry.band_24g.channel = 6;
    EXPECT_EQ("{\"id\":\"1\",\"enabled_time\":0,\"duration\":3600,\"remaining_duration\":1200,\"security\":true,"
              "\"enabled\":true,\"bands\":{\"2.4G\":{\"ssid\":\"Guest\",\"password\":\"guestpass\",\"encrypt\":\"wpa2\","
              "\"enabled\":false,\"hidden\":false,\"mode\":\"ap\",\"channel\":{\"mode\":\"manual\",\"number\":6}},"
              "\"5G\":{\"ssid\":\"Guest-5G\",\"password\":\"guestpass\",\"encrypt\":\"open\",\"enabled\":true,"
              "\"hidden\":false,\"mode\":\"ap\",\"channel\":{\"mode\":\"manual\",\"number\":0}}},"
              "\"smart_connect\":false}",
              json_text(guest_wifi_to_json(&entry, 0)));
}

TEST(GuestWifi, StrictParserCodesInOrder) {
    struct { std::string json; int code; } cases[] = {
        {"{}", VESPIN_ERR_MISSING_PARAM},
        {"{\"id\":1}", VESPIN_ERR_INVALID_PARAM},
        {"{\"id\":\"1\"}", VESPIN_ERR_MISSING_PARAM},
        {"{\"id\":\"1\",\"enabled\":true,\"duration\":5,\"security\":true}", VESPIN_ERR_INVALID_PARAM},
        {"{\"id\":\"1\",\"enabled\":true,\"duration\":5,\"security\":0,\"bands\":{\"2.4G\":{}}}", VESPIN_ERR_MISSING_PARAM},
        {"{\"id\":\"1\",\"enabled\":true,\"duration\":5,\"security\":0,\"bands\":{\"2.4G\":{},\"5G\":[]}}",
         VESPIN_ERR_INVALID_PARAM},
        {"{\"id\":\"1\",\"enabled\":true,\"duration\":5,\"security\":0,\"bands\":{\"2.4G\":{},\"5G\":{}}}",
         VESPIN_ERR_MISSING_PARAM},
        {"{\"id\":\"1\",\"enabled\":true,\"duration\":5,\"security\":0,\"bands\":{\"2.4G\":{\"ssid\":\"" +
             std::string(33, 'x') + "\"},\"5G\":{}},\"smart_connect\":true}",
         VESPIN_ERR_INVALID_PARAM},
    };
    for (const auto& c : cases) {
        guest_wifi entry = {};
        EXPECT_EQ(c.code, parse(json_to_guest_wifi, &entry, c.json)) << c.json;
    }
    guest_wifi entry = {};
    EXPECT_EQ(VESPIN_ERR_MISSING_PARAM, json_to_guest_wifi(&entry, nullptr));
}

TEST(GuestWifi, LenientParserAndListUpdate) {
    guest_wifi entry = {};
    entry.band_24g.encrypt = 2;
    ASSERT_EQ(0, parse(json_to_guest_wifi_option, &entry,
                       "{\"id\":\"long-id\",\"remaining_duration\":30,\"security\":true,\"bands\":{\"2.4G\":"
                       "{\"enabled\":true,\"mode\":\"mesh\"}}}"));
    EXPECT_STREQ("lon", entry.id);
    EXPECT_EQ(2u, entry.band_24g.encrypt);  // no default encryption for guest bands
    EXPECT_EQ(1u, entry.band_24g.disabled);  // "enabled" kept as it stands
    EXPECT_EQ(5u, entry.band_24g.mode);
    EXPECT_EQ(30, entry.remaining_duration);
    for (const char* bad : {"{\"id\":\"1\",\"security\":1}", "{\"id\":\"1\",\"duration\":\"5\"}",
                            "{\"id\":\"1\",\"bands\":{\"5G\":{\"hidden\":0}}}",
                            "{\"id\":\"1\",\"bands\":{\"5G\":{\"password\":\"bad\\u0001\"}}}"})
        EXPECT_EQ(VESPIN_ERR_INVALID_PARAM, parse(json_to_guest_wifi_option, &entry, bad)) << bad;
    EXPECT_EQ(VESPIN_ERR_MISSING_PARAM, parse(json_to_guest_wifi_option, &entry, "{\"enabled\":true}"));

    guest_wifi_config list = {};
    EXPECT_EQ(VESPIN_ERR_MISSING_PARAM, guest_wifi_config_update_from_json_object(&list, nullptr));
    EXPECT_EQ(VESPIN_ERR_INVALID_PARAM, parse(guest_wifi_config_update_from_json_object, &list, "{}"));
    EXPECT_EQ(VESPIN_ERR_INVALID_PARAM, parse(guest_wifi_config_update_from_json_object, &list, "[{\"id\":\"1\"},2]"));
    EXPECT_EQ(VESPIN_ERR_INVALID_PARAM,
              parse(guest_wifi_config_update_from_json_object, &list, "[{},{},{},{},{\"id\":\"5\"}]"));
    ASSERT_EQ(0, parse(guest_wifi_config_update_from_json_object, &list, "[{\"id\":\"1\"},{\"id\":\"2\"}]"));
    EXPECT_EQ(2u, list.count);
    EXPECT_STREQ("2", list.entries[1].id);
    ASSERT_EQ(0, parse(guest_wifi_config_update_from_json_object, &list, "[]"));
    EXPECT_EQ(0u, list.count);
    EXPECT_EQ("[]", json_text(guest_wifi_to_json_array(&list, 1)));
}

TEST(GuestWifi, HideRuleAt61Seconds) {
    guest_wifi entry = {};
    strcpy(entry.id, "1");
    entry.enabled = 1;
    auto shown = [&](int remaining, int duration, int hide) {
        entry.remaining_duration = remaining;
        entry.duration = duration;
        json_object* object = guest_wifi_to_json(&entry, hide);
        json_object* enabled = nullptr;
        json_object_object_get_ex(object, "enabled", &enabled);
        bool result = json_object_get_boolean(enabled);
        json_object_put(object);
        return result;
    };
    EXPECT_FALSE(shown(60, 3600, 1));
    EXPECT_TRUE(shown(61, 3600, 1));
    EXPECT_TRUE(shown(60, -1, 1));
    EXPECT_TRUE(shown(60, 3600, 0));
    EXPECT_FALSE(shown(-5, 3600, 1));
    entry.enabled = 0;
    EXPECT_FALSE(shown(600, -1, 1));
}

TEST(GuestWifi, ListIsStoredInMultipleapAndOnTheGuestInterfaces) {
    test_root root;
    plat_test_set_clock(1700000000, 0);
    guest_wifi_config list = {};
    ASSERT_EQ(0, parse(guest_wifi_config_update_from_json_object, &list,
                       "[{\"id\":\"g1\",\"enabled\":true,\"duration\":3600,\"security\":true,\"bands\":{\"2.4G\":"
                       "{\"ssid\":\"Visitors\",\"password\":\"visitor-pass\",\"encrypt\":\"wpa2\",\"enabled\":true},"
                       "\"5G\":{\"ssid\":\"Visitors-5G\",\"encrypt\":\"open\",\"enabled\":false}}}]"));
    ASSERT_EQ(0, config_guest_wifi(&list));
    EXPECT_EQ("\nconfig item 'g1'\n\toption id 'g1'\n\toption enabled '1'\n\toption enabled_time '1700000000'\n"
              "\toption duration '3600'\n\toption security '1'\n\toption smart_connect '0'\n\n",
              root.read("/etc/config/multipleap"));
    EXPECT_NE(std::string::npos, root.read("/flash/mib.conf").find("1@1.1 = \"Visitors\""));
    EXPECT_NE(std::string::npos, root.read("/var/log/vespin_cron.sh.args").find("restart"));

    plat_test_advance_clock(3550LL * 1000000);
    guest_wifi_config back = {};
    ASSERT_EQ(0, guest_wifi_config_load(&back));
    ASSERT_EQ(1u, back.count);
    EXPECT_EQ(50, back.entries[0].remaining_duration);
    EXPECT_STREQ("Visitors", back.entries[0].band_24g.ssid);
    EXPECT_EQ(1u, back.entries[0].band_24g.disabled);  // guest bands: "enabled" in this word
    EXPECT_EQ(0u, back.entries[0].band_5g.disabled);
    EXPECT_EQ(36u, back.entries[0].band_5g.channel);
    EXPECT_EQ(0u, back.entries[0].band_5g.encrypt);
    json_object* shown = guest_wifi_to_json_array(&back, 1);
    EXPECT_NE(std::string::npos, json_text(shown).find("\"remaining_duration\":50,\"security\":true,\"enabled\":false"));

    // Bad ids are refused before anything is written; a failed setting gives 600002.
    const std::string stored = root.read("/etc/config/multipleap");
    strcpy(list.entries[0].id, "a.b");
    EXPECT_EQ(VESPIN_ERR_INVALID_PARAM, config_guest_wifi(&list));
    strcpy(list.entries[0].id, "");
    EXPECT_EQ(VESPIN_ERR_INVALID_PARAM, config_guest_wifi(&list));
    EXPECT_EQ(stored, root.read("/etc/config/multipleap"));
    strcpy(list.entries[0].id, "g1");
    plat_test_fail_setting(22, false, true);
    EXPECT_EQ(VESPIN_ERR_SETTING, config_guest_wifi(&list));
    plat_test_reset();
    plat_test_fail_nth(PLAT_FAULT_UCI_WRITE, 1);
    EXPECT_EQ(VESPIN_ERR_FAILURE, config_guest_wifi(&list));
    EXPECT_EQ(stored, root.read("/etc/config/multipleap"));

    // An empty list removes the items and switches every guest interface off.
    plat_test_reset();
    list.count = 0;
    ASSERT_EQ(0, config_guest_wifi(&list));
    EXPECT_EQ("\n", root.read("/etc/config/multipleap"));
    ASSERT_EQ(0, guest_wifi_config_load(&back));
    EXPECT_EQ(0u, back.count);
}

TEST(MeshSettings, BandSwitchesAndLedScheduleRoundTrip) {
    test_root root;
    mesh_band_config bands = {};
    ASSERT_EQ(0, mesh_band_config_load(&bands));
    EXPECT_EQ("{\"24g_enabled\":true,\"5g_enabled\":true}", json_text(mesh_band_config_to_json(&bands)));
    EXPECT_EQ(VESPIN_ERR_INVALID_PARAM, parse(mesh_band_config_update_from_json_object, &bands, "{\"24g_enabled\":0}"));
    ASSERT_EQ(0, parse(mesh_band_config_update_from_json_object, &bands, "{\"24g_enabled\":false}"));
    ASSERT_EQ(0, vespin_set_24g_mesh_switch(bands.enabled_24g));
    mesh_band_config back = {};
    ASSERT_EQ(0, mesh_band_config_load(&back));
    EXPECT_EQ(0, back.enabled_24g);
    EXPECT_EQ(1, back.enabled_5g);

    mesh_led_time_limit led = {};
    ASSERT_EQ(0, mesh_led_time_limit_load(&led));
    EXPECT_EQ("{\"enabled\":false,\"begin_time\":\"22:00\",\"end_time\":\"07:00\"}",
              json_text(mesh_led_time_limit_to_json(&led)));
    for (const char* bad : {"{\"begin_time\":\"1\",\"end_time\":\"2\"}", "{\"enabled\":1,\"begin_time\":\"1\",\"end_time\":\"2\"}",
                            "{\"enabled\":true,\"end_time\":\"2\"}", "{\"enabled\":true,\"begin_time\":\"1\",\"end_time\":2}"})
        EXPECT_EQ(VESPIN_ERR_FAILURE, parse(mesh_led_time_limit_update_from_json_object, &led, bad)) << bad;
    EXPECT_EQ(VESPIN_ERR_FAILURE, mesh_led_time_limit_update_from_json_object(&led, nullptr));
    ASSERT_EQ(0, parse(mesh_led_time_limit_update_from_json_object, &led,
                       "{\"enabled\":true,\"begin_time\":\"23:30:001\",\"end_time\":\"06:15\"}"));
    EXPECT_EQ("23:30:00", std::string(led.begin_time, 8));  // the first 8 characters, no terminator
    EXPECT_EQ("{\"enabled\":true,\"begin_time\":\"23:30:00\",\"end_time\":\"06:15\"}",
              json_text(mesh_led_time_limit_to_json(&led)));
    ASSERT_EQ(0, vespin_mesh_led_time_limit_set(&led));
    EXPECT_EQ("led off 23:30:00-06:15\n", root.read("/var/run/vespin_cron.tab"));
    mesh_led_time_limit stored = {};
    ASSERT_EQ(0, mesh_led_time_limit_load(&stored));
    EXPECT_EQ(0, memcmp(&led, &stored, sizeof led));
    memcpy(stored.end_time, "6;reboot", 8);
    EXPECT_EQ(VESPIN_ERR_INVALID_PARAM, vespin_mesh_led_time_limit_set(&stored));
}

}  // namespace
