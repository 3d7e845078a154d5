// Wi-Fi configuration: the JSON forms of bands, ACS and the Wi-Fi record,
// the update rules, ACS defaults in "vespin_wifi", and applying a record to
// the radios with its failure codes and messages.
#include "apmib.h"
#include "channel_list.h"
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

int update(wifi_config* config, const std::string& json) {
    json_object* object = json_tokener_parse(json.c_str());
    int result = wifi_update_from_json(config, object);
    json_object_put(object);
    return result;
}

int radio_int(int radio, int id, int vwlan = 0) {
    set_global_wlan_idx(radio);
    vwlan_idx = vwlan;
    int value = -1;
    EXPECT_TRUE(apmib_get(id, &value)) << id;
    vwlan_idx = 0;
    return value;
}

std::string radio_text(int radio, int id, int vwlan = 0) {
    set_global_wlan_idx(radio);
    vwlan_idx = vwlan;
    char value[80] = {0};
    EXPECT_TRUE(apmib_get(id, value)) << id;
    vwlan_idx = 0;
    return value;
}

const char kBand5g[] =
    "{\"ssid\":\"Vespin-5G\",\"password\":\"vespin1234\",\"encrypt\":\"wpa2\",\"enabled\":true,\"hidden\":false,"
    "\"mode\":\"ap\",\"channel\":{\"mode\":\"manual\",\"number\":36,\"bandwidth\":80,\"acs\":{\"switch_strategy\":"
    "\"in_time\",\"begin_time\":\"00:00\",\"end_time\":\"23:59\",\"interval\":60,\"traffic_threshold\":1000000}}}";

TEST(WifiConfig, FactoryLoadPrintsGoldenJson) {
    test_root root;
    wifi_config config = {};
    ASSERT_EQ(0, wifi_config_load(&config));
    EXPECT_STREQ("Vespin-2.4G", config.ssid);
    EXPECT_EQ(4u, config.encrypt_type);
    EXPECT_EQ(kBand5g, json_text(band_to_json(&config.band_5g)));
    EXPECT_EQ(std::string("{\"ssid\":\"Vespin-2.4G\",\"password\":\"vespin1234\",\"hidden\":false,\"encrypt_type\":4,"
                          "\"bands\":{\"2.4G\":{\"ssid\":\"Vespin-2.4G\",\"password\":\"vespin1234\",\"encrypt\":"
                          "\"wpa2\",\"enabled\":true,\"hidden\":false,\"mode\":\"ap\",\"channel\":{\"mode\":\"manual\","
                          "\"number\":6,\"bandwidth\":20,\"acs\":{\"switch_strategy\":\"in_time\",\"begin_time\":"
                          "\"00:00\",\"end_time\":\"23:59\",\"interval\":60,\"traffic_threshold\":1000000}}},\"5G\":") +
                  kBand5g + "},\"smart_connect\":false}",
              json_text(wifi_config_to_json(&config)));

    acs reboot = {1, 1, "01:00", "02:00", 30, 5};
    EXPECT_EQ("{\"switch_strategy\":\"on_reboot\",\"interval\":30,\"traffic_threshold\":5}", json_text(acs_to_json(&reboot)));

    // Unknown stored numbers: encrypt and mode left out, bandwidth 0 with a log.
    plat_test_capture_log();
    config.band_5g.encrypt = 3;
    config.band_5g.mode = 9;
    config.band_5g.bandwidth = 3;
    config.band_5g.acs.enabled = 1;
    EXPECT_EQ("{\"ssid\":\"Vespin-5G\",\"password\":\"vespin1234\",\"enabled\":true,\"hidden\":false,\"channel\":"
              "{\"mode\":\"auto\",\"number\":36,\"bandwidth\":0,\"acs\":{\"switch_strategy\":\"in_time\",\"begin_time\""
              ":\"00:00\",\"end_time\":\"23:59\",\"interval\":60,\"traffic_threshold\":1000000}}}",
              json_text(band_to_json(&config.band_5g)));
    EXPECT_TRUE(plat_test_logged("Incorrect channel bandwidth from MIB: 3"));
}

TEST(WifiConfig, LoadFailures) {
    test_root root;
    wifi_config config = {};
    plat_test_fail_setting(284, true, false);
    EXPECT_EQ(VESPIN_ERR_SETTING, wifi_config_load(&config));
    // Without the smart-connect option the load succeeds with nothing loaded.
    plat_test_reset();
    plat_test_capture_log();
    root.write("/etc/config/vespin_wifi", "\nconfig local '2g'\n");
    wifi_config empty = {};
    EXPECT_EQ(0, wifi_config_load(&empty));
    EXPECT_TRUE(plat_test_logged("Fail to get the value of smart_connect"));
    EXPECT_EQ('\0', empty.band_5g.ssid[0]);
}

TEST(WifiConfig, MissingAcsOptionsAreWrittenBack) {
    test_root root;
    root.write("/etc/config/vespin_wifi",
               "\nconfig global 'global'\n\toption smart_connect '1'\n\nconfig local '5g'\n\toption acs_enabled '1'\n"
               "\toption acs_upon_reboot 'on'\n\toption acs_begin_time '01:00'\n\toption acs_end_time '05:00'\n"
               "\toption traffic_threshold '42'\n");
    acs five = {};
    ASSERT_EQ(0, get_acs(&five, 0));
    EXPECT_EQ(1, five.enabled);
    EXPECT_EQ(1, five.on_reboot);
    EXPECT_STREQ("01:00", five.begin_time);
    EXPECT_EQ(60, five.interval);
    EXPECT_EQ(42, five.traffic_threshold);
    acs two = {};
    ASSERT_EQ(0, get_acs(&two, 1));
    EXPECT_EQ(0, two.enabled);
    EXPECT_STREQ("23:59", two.end_time);
    EXPECT_EQ(1000000, two.traffic_threshold);
    EXPECT_EQ("\nconfig global 'global'\n\toption smart_connect '1'\n\nconfig local '5g'\n\toption acs_enabled '1'\n"
              "\toption acs_upon_reboot 'on'\n\toption acs_begin_time '01:00'\n\toption acs_end_time '05:00'\n"
              "\toption traffic_threshold '42'\n\toption scan_interval '60'\n\nconfig local '2g'\n"
              "\toption acs_enabled '0'\n\toption acs_upon_reboot '0'\n\toption acs_begin_time '00:00'\n"
              "\toption acs_end_time '23:59'\n\toption scan_interval '60'\n\toption traffic_threshold '1000000'\n\n",
              root.read("/etc/config/vespin_wifi"));
}

TEST(WifiConfig, GetAcsFailsCleanlyAtEachUciWrite) {
    test_root root;
    const std::string bare = "\nconfig global 'global'\n\toption smart_connect '0'\n";
    plat_test_capture_log();
    int writes = 0;
    for (int nth = 1;; nth++) {
        root.write("/etc/config/vespin_wifi", bare);
        plat_test_fail_nth(PLAT_FAULT_UCI_WRITE, nth);
        acs a = {};
        int result = get_acs(&a, 0);
        if (result == 0) {
            writes = nth - 1;
            break;
        }
        EXPECT_EQ(VESPIN_ERR_FAILURE, result) << nth;
        EXPECT_EQ(bare, root.read("/etc/config/vespin_wifi")) << nth;
        ASSERT_LT(nth, 20);
    }
    EXPECT_EQ(8, writes);  // the section, six defaults, the commit
    EXPECT_TRUE(plat_test_logged("Fail to get the value of 5g acs_enabled"));
    EXPECT_TRUE(plat_test_logged("Fail to get the value of 5g traffic_threshold"));
}

TEST(WifiUpdate, SsidRuleEncryptOnlyAndPasswordLengths) {
    wifi_config config = {};
    strcpy(config.band_24g.password, "12345678");
    strcpy(config.band_5g.password, "12345678");
    ASSERT_EQ(0, update(&config, "{\"ssid\":\"Home\"}"));
    EXPECT_STREQ("Home-5G", config.band_5g.ssid);
    ASSERT_EQ(0, update(&config, "{\"smart_connect\":true,\"ssid\":\"Home\"}"));
    EXPECT_STREQ("Home", config.band_5g.ssid);
    // The suffix is cut at the field's 32 characters.
    ASSERT_EQ(0, update(&config, "{\"smart_connect\":false,\"ssid\":\"" + std::string(30, 's') + "\"}"));
    EXPECT_EQ(std::string(30, 's') + "-5", config.band_5g.ssid);

    // encrypt_type alone changes both bands yet answers "nothing changed".
    EXPECT_EQ(VESPIN_ERR_NO_CHANGE, update(&config, "{\"encrypt_type\":6}"));
    EXPECT_EQ(6u, config.band_24g.encrypt);
    EXPECT_EQ(6u, config.band_5g.encrypt);
    EXPECT_EQ(VESPIN_ERR_NO_CHANGE, update(&config, "{}"));

    EXPECT_EQ(VESPIN_ERR_INVALID_PARAM, update(&config, "{\"password\":\"1234567\"}"));
    EXPECT_EQ(VESPIN_ERR_INVALID_PARAM, update(&config, "{\"password\":\"" + std::string(64, 'p') + "\"}"));
    EXPECT_EQ(0, update(&config, "{\"password\":\"" + std::string(63, 'p') + "\"}"));
    EXPECT_EQ(0, update(&config, "{\"password\":\"12345678\"}"));
    // An open band's password is not tested.
    EXPECT_EQ(0, update(&config, "{\"encrypt_type\":0,\"password\":\"abc\"}"));
    EXPECT_EQ(VESPIN_ERR_INVALID_PARAM, update(&config, "{\"password\":\"" + std::string(65, 'p') + "\"}"));
    EXPECT_STREQ("abc", config.band_5g.password);

    // A band without "encrypt" becomes WPA2 and then needs its password.
    EXPECT_EQ(VESPIN_ERR_INVALID_PARAM, update(&config, "{\"bands\":{\"2.4G\":{\"ssid\":\"x\"}}}"));
    EXPECT_EQ(4u, config.band_24g.encrypt);
    ASSERT_EQ(0, update(&config, "{\"bands\":{\"2.4G\":{\"password\":\"longenough\"},\"5G\":{\"encrypt\":\"open\","
                                 "\"enabled\":false,\"channel\":{\"mode\":\"auto\",\"number\":149,\"bandwidth\":40,"
                                 "\"acs\":{\"switch_strategy\":\"on_reboot\",\"traffic_threshold\":7}}},"
                                 "\"disable_2g\":true}}"));
    EXPECT_EQ(1u, config.band_24g.disabled);
    EXPECT_EQ(1u, config.band_5g.disabled);
    EXPECT_EQ(1, config.band_5g.acs.enabled);
    EXPECT_EQ(1, config.band_5g.acs.on_reboot);
    EXPECT_EQ(149u, config.band_5g.channel);
    EXPECT_EQ(1, config.band_5g.bandwidth);
    EXPECT_EQ(7, config.band_5g.acs.traffic_threshold);
}

TEST(WifiUpdate, WrongTypesAndBadTextsGive100208) {
    test_root root;
    plat_test_capture_log();
    const char* bad[] = {
        "[]", "{\"smart_connect\":1}", "{\"ssid\":5}", "{\"encrypt_type\":\"4\"}", "{\"password\":true}",
        "{\"hidden\":\"no\"}", "{\"bands\":[]}", "{\"bands\":{\"2.4G\":1}}", "{\"bands\":{\"5G\":\"x\"}}",
        "{\"bands\":{\"disable_2g\":0}}", "{\"bands\":{\"disable_5g\":null}}",
        "{\"bands\":{\"2.4G\":{\"ssid\":1}}}", "{\"bands\":{\"2.4G\":{\"encrypt\":4}}}",
        "{\"bands\":{\"2.4G\":{\"enabled\":1}}}", "{\"bands\":{\"2.4G\":{\"hidden\":1}}}",
        "{\"bands\":{\"2.4G\":{\"mode\":1}}}", "{\"bands\":{\"2.4G\":{\"channel\":36}}}",
        "{\"bands\":{\"2.4G\":{\"channel\":{\"acs\":{\"traffic_threshold\":1}}}}}",
        "{\"bands\":{\"2.4G\":{\"channel\":{\"acs\":{\"switch_strategy\":\"in_time\"}}}}}",
        "{\"ssid\":\"123456789012345678901234567890123\"}", "{\"ssid\":\"line\\nfeed\"}",
        "{\"password\":\"tab\\tinside\"}", "{\"password\":\"caf\xc3\xa9\xc3\xa9\xc3\xa9\"}",
    };
    for (const char* json : bad) {
        wifi_config config = {};
        EXPECT_EQ(VESPIN_ERR_INVALID_PARAM, update(&config, json)) << json;
    }
    EXPECT_EQ(VESPIN_ERR_INVALID_PARAM, wifi_update_from_json(nullptr, nullptr));
    wifi_config config = {};
    strcpy(config.band_24g.password, "12345678");
    strcpy(config.band_5g.password, "12345678");
    EXPECT_EQ(0, update(&config, "{\"bands\":{\"2.4G\":{\"encrypt\":\"wpawpa2\",\"channel\":{\"bandwidth\":30}}}}"));
    EXPECT_TRUE(plat_test_logged("Unknown bandwidth"));
    EXPECT_EQ(6u, config.band_24g.encrypt);
}

// Every command answered in-process, except the survey, which reads the root.
void answer_commands() {
    plat_test_set_command_script([](const plat_command&, plat_command_reply*) { return true; });
}

bool ran(const std::string& text) {
    for (const auto& c : plat_test_commands())
        if (c.text == text) return true;
    return false;
}

int trailing_blank_messages() {
    int n = 0;
    for (const auto& e : plat_test_log()) n += e.channel == PLAT_LOG_STDERR && e.text == "Fail to set band_24g ";
    return n;
}

TEST(ConfigWifi, AppliesBothRadiosAndRestartsTheScheduler) {
    test_root root;
    answer_commands();
    wifi_config config = {};
    ASSERT_EQ(0, wifi_config_load(&config));
    ASSERT_EQ(0, update(&config, "{\"ssid\":\"Attic\",\"password\":\"secret-pass\",\"smart_connect\":true,"
                                 "\"bands\":{\"2.4G\":{\"encrypt\":\"wpawpa2\",\"channel\":{\"number\":11}}}}"));
    ASSERT_EQ(0, config_wifi(&config));
    EXPECT_TRUE(ran("/bin/vespin_cron.sh restart"));
    EXPECT_EQ("Attic", radio_text(1, 1));
    EXPECT_EQ("Attic", radio_text(0, 1));  // smart connect: one SSID
    EXPECT_EQ("secret-pass", radio_text(0, 30));
    EXPECT_EQ(11, radio_int(1, 2));
    EXPECT_EQ(6, radio_int(0, 25));
    for (int radio : {0, 1}) {
        EXPECT_EQ(3, radio_int(radio, 38));
        EXPECT_EQ(3, radio_int(radio, 29));
        EXPECT_EQ(2, radio_int(radio, 20));
        EXPECT_EQ(2, radio_int(radio, 28));
    }
    EXPECT_NE(std::string::npos, root.read("/etc/config/vespin_wifi").find("option smart_connect '1'"));
    wifi_config back = {};
    ASSERT_EQ(0, wifi_config_load(&back));
    EXPECT_EQ(1, back.smart_connect);
    EXPECT_STREQ("Attic", back.band_5g.ssid);
}

TEST(ConfigWifi, RegionChannelAndCountryRules) {
    test_root root;
    answer_commands();
    plat_test_capture_log();
    wifi_config config = {};
    ASSERT_EQ(0, wifi_config_load(&config));

    // A channel the region does not allow.
    config.band_24g.channel = 14;
    EXPECT_EQ(VESPIN_ERR_FAILURE, config_wifi(&config));
    EXPECT_TRUE(plat_test_logged("Unsupported channel"));
    EXPECT_EQ(2, trailing_blank_messages());  // the band's own message, then the closing one
    EXPECT_FALSE(ran("/bin/vespin_cron.sh restart"));

    // An unknown country.
    plat_test_reset();
    answer_commands();
    plat_test_capture_log();
    config.band_24g.channel = 6;
    set_global_wlan_idx(0);
    ASSERT_TRUE(apmib_set(451, (void*)"ZZ"));
    EXPECT_EQ(VESPIN_ERR_FAILURE, config_wifi(&config));
    EXPECT_TRUE(plat_test_logged("Fail to get region id"));
    EXPECT_EQ(1, trailing_blank_messages());

    // No country on either radio: nothing applied, and success.
    plat_test_reset();
    answer_commands();
    plat_test_capture_log();
    plat_test_fail_setting(451, true, false);
    EXPECT_EQ(0, config_wifi(&config));
    EXPECT_TRUE(plat_test_logged("Fail to get country string"));
    EXPECT_FALSE(ran("/bin/vespin_cron.sh restart"));

    // A known country writes its regulatory domain.
    plat_test_reset();
    answer_commands();
    set_global_wlan_idx(0);
    ASSERT_TRUE(apmib_set(451, (void*)"JP"));
    set_global_wlan_idx(1);
    ASSERT_TRUE(apmib_set(451, (void*)"JP"));
    ASSERT_EQ(0, config_wifi(&config));
    uint32_t region = 0, d2 = 0, d5 = 0;
    ASSERT_EQ(0, vespin_get_region_id(&region));
    EXPECT_EQ(392u, region);
    ASSERT_EQ(0, get_regulatory_domain_id(region, &d2, &d5));
    EXPECT_EQ((int)d5, radio_int(0, 204));
}

TEST(ConfigWifi, AcsPicksTheLeastCrowdedChannel) {
    test_root root;
    answer_commands();
    root.write("/var/scan/wlan0", "36 a\n36 b\n40 c\n44 d\n48 e\n149 f\n153 g\n157 h\n161 i\n165 j\n");
    wifi_config config = {};
    ASSERT_EQ(0, wifi_config_load(&config));
    config.band_5g.acs.enabled = 1;
    ASSERT_EQ(0, config_wifi(&config));
    EXPECT_NE(36, radio_int(0, 2));
    EXPECT_NE(std::string::npos, root.read("/etc/config/vespin_wifi").find("config local '5g'\n\toption acs_enabled '1'"));
}

TEST(ConfigWifi, EachFailedSettingGivesItsCode) {
    test_root root;
    wifi_config config = {};
    ASSERT_EQ(0, wifi_config_load(&config));
    config.band_24g.encrypt = config.band_5g.encrypt = 4;
    struct { int id; bool on_get; int code; } faults[] = {
        {25, false, VESPIN_ERR_SETTING}, {38, false, VESPIN_ERR_SETTING}, {29, false, VESPIN_ERR_SETTING},
        {20, false, VESPIN_ERR_SETTING}, {28, false, VESPIN_ERR_SETTING}, {30, false, VESPIN_ERR_SETTING},
        {1, false, VESPIN_ERR_SETTING},  {21, false, VESPIN_ERR_SETTING}, {22, false, VESPIN_ERR_SETTING},
        {284, false, VESPIN_ERR_SETTING}, {2, false, VESPIN_ERR_SETTING}, {204, false, VESPIN_ERR_SETTING},
        {2400, true, VESPIN_ERR_SETTING}, {204, true, 0}, {451, true, 0},
    };
    for (const auto& f : faults) {
        plat_test_reset();
        answer_commands();
        plat_test_capture_log();
        ASSERT_TRUE(apmib_reinit());  // drop what the last trial changed in memory
        plat_test_fail_setting(f.id, f.on_get, !f.on_get);
        wifi_config copy = config;
        EXPECT_EQ(f.code, config_wifi(&copy)) << f.id;
        // Failures end with the closing message; an unreadable domain is no failure.
        EXPECT_EQ(f.id == 204 && f.on_get, trailing_blank_messages() == 0) << f.id;
        EXPECT_EQ(f.code == 0, ran("/bin/vespin_cron.sh restart") || f.id == 451) << f.id;
        if (f.code != 0 && f.id != 22 && f.id != 2400) {
            EXPECT_TRUE(plat_test_logged("Fail to set mib")) << f.id;
        }
    }
}

TEST(ConfigWifi, EachFailedUciWriteGivesItsCodeAndTouchesNoRadio) {
    test_root root;
    wifi_config config = {};
    ASSERT_EQ(0, wifi_config_load(&config));
    config.smart_connect = 1;
    const std::string stored = root.read("/etc/config/vespin_wifi");
    int nth = 1;
    for (;; nth++) {
        plat_test_reset();
        answer_commands();
        plat_test_capture_log();
        root.write("/etc/config/vespin_wifi", stored);
        ASSERT_TRUE(apmib_reinit());
        plat_test_fail_nth(PLAT_FAULT_UCI_WRITE, nth);
        wifi_config copy = config;
        strcpy(copy.band_24g.ssid, "Changed");
        int result = config_wifi(&copy);
        if (!plat_test_fault_fired(PLAT_FAULT_UCI_WRITE)) {
            EXPECT_EQ(0, result);
            break;
        }
        EXPECT_EQ(VESPIN_ERR_FAILURE, result) << nth;
        EXPECT_EQ(1, trailing_blank_messages()) << nth;
        EXPECT_EQ("Vespin-2.4G", radio_text(1, 1)) << nth;
        EXPECT_FALSE(ran("/bin/vespin_cron.sh restart")) << nth;
        ASSERT_LT(nth, 40);
    }
    EXPECT_EQ(17, nth);  // smart connect, 2 x (six options and a commit), the commit: 16 writes
}

}  // namespace
