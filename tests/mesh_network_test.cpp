// The network record (the settings the gateway hands out, with the boot
// identity) and the node report: rebuild, JSON forms and load checks.
#include "core/new_mesh/life_id.h"
#include "mesh_node.h"
#include "platform_testing.h"
#include "result_codes.h"
#include "test_root.h"

#include <errno.h>
#include <gtest/gtest.h>
#include <json-c/json.h>
#include <string.h>

#include <string>

namespace {

std::string json_text(json_object* object) {
    std::string text = object ? json_object_to_json_string_ext(object, JSON_C_TO_STRING_PLAIN) : "(null)";
    json_object_put(object);
    return text;
}

const char kUuid[] = "5b0e2f1c-8d4a-4c3e-9f71-2a6b8c0d4e15";

// A root whose boot UUID is known, and a process that has not read it yet.
struct network_root : test_root {
    network_root() {
        write("/proc/sys/kernel/random/uuid", std::string(kUuid) + "\n");
        mesh_life_id_forget();
    }
    ~network_root() { mesh_life_id_forget(); }
};

const char kGatewayRecord[] =
    R"({"wifi":{"ssid":"Vespin-2.4G","password":"vespin1234","hidden":false,"encrypt_type":4,"bands":{"2.4G":)"
    R"({"ssid":"Vespin-2.4G","password":"vespin1234","encrypt":"wpa2","enabled":true,"hidden":false,"mode":"ap",)"
    R"("channel":{"mode":"manual","number":6,"bandwidth":20,"acs":{"switch_strategy":"in_time","begin_time":"00:00",)"
    R"("end_time":"23:59","interval":60,"traffic_threshold":1000000}}},"5G":{"ssid":"Vespin-5G","password":"vespin1234",)"
    R"("encrypt":"wpa2","enabled":true,"hidden":false,"mode":"ap","channel":{"mode":"manual","number":36,)"
    R"("bandwidth":80,"acs":{"switch_strategy":"in_time","begin_time":"00:00","end_time":"23:59","interval":60,)"
    R"("traffic_threshold":1000000}}}},"smart_connect":false},"admin":{"username":"admin","password":"admin",)"
    R"("super":{"username":"admin","password":"admin"}},"mesh_band":{"24g_enabled":true,"5g_enabled":true},)"
    R"("led_time_limit":{"enabled":false,"begin_time":"22:00","end_time":"07:00"},"timezone":{"offset":8,)"
    R"("position":1},"guest_wifis":[],"blacklist":[],"region_id":840,)"
    R"("life_id":"5b0e2f1c-8d4a-4c3e-9f71-2a6b8c0d4e15"})";

// The station blacklist package with n devices.
std::string blacklist_package(int n) {
    std::string text;
    for (int i = 0; i < n; ++i) {
        char mac[13];
        snprintf(mac, sizeof mac, "0a00000%05d", i);
        text += std::string("\nconfig sta '") + mac + "'\n\toption mac '" + mac + "'\n\toption name 'device number " +
                std::to_string(i) + " with a name longer than thirty-nine characters'\n";
    }
    return text;
}

}  // namespace

TEST(NetworkRecord, GoldenFormOfTheGatewaysRecordAndItsBootIdentity) {
    network_root root;
    plat_test_set_clock(1700000000, 0);
    mbd* record = mbd_new();
    ASSERT_FALSE(vespin_is_error(record)) << vespin_error_code(record);
    EXPECT_EQ(kGatewayRecord, json_text(mbd_to_json(record)));
    EXPECT_EQ(1700000000, record->reload_time);
    EXPECT_EQ(kUuid, root.read("/tmp/life_id"));
    mbd_free(record);

    // The process keeps its identity; a new process reads the file, which
    // wins over a fresh UUID.
    root.write("/tmp/life_id", "f00d");
    mbd again;
    ASSERT_EQ(0, mbd_reload(&again));
    EXPECT_STREQ(kUuid, again.life_id);
    mesh_life_id_forget();
    ASSERT_EQ(0, mbd_reload(&again));
    EXPECT_STREQ("f00d", again.life_id);
    EXPECT_EQ(nullptr, mbd_to_json(nullptr));
}

TEST(NetworkRecord, FailuresOfTheRebuild) {
    network_root root;
    plat_test_capture_log();
    mbd record;
    unlink(root.path("/proc/sys/kernel/random/uuid").c_str());
    EXPECT_EQ(VESPIN_ERR_FAILURE, mbd_reload(&record));
    EXPECT_TRUE(plat_test_logged("Fail to read uuid"));
    EXPECT_TRUE(plat_test_logged("Fail to get uuid"));
    root.write("/proc/sys/kernel/random/uuid", kUuid);

    plat_test_fail_open("/tmp/life_id", EACCES);
    EXPECT_EQ(VESPIN_ERR_FAILURE, vespin_error_code(mbd_new()));
    EXPECT_TRUE(plat_test_logged("Can't open /tmp/life_id"));
    plat_test_reset();
    plat_test_capture_log();

    plat_test_fail_setting(1, true, false);  // an SSID
    EXPECT_EQ(VESPIN_ERR_SETTING, mbd_reload(&record));
    plat_test_reset();
    plat_test_capture_log();
    plat_test_fail_setting(451, true, false);  // the country
    EXPECT_EQ(VESPIN_ERR_SETTING, mbd_reload(&record));
    EXPECT_TRUE(plat_test_logged("Fail to get region id"));
    plat_test_reset();
    EXPECT_EQ(VESPIN_ERR_FAILURE, mbd_reload(nullptr));
}

TEST(NetworkRecord, ALongBlacklistIsCutToTheRecord) {
    network_root root;
    root.write("/etc/config/mac_filter_black", blacklist_package(150));
    mbd record;
    ASSERT_EQ(0, mbd_reload(&record));
    ASSERT_EQ(MBD_BLACKLIST_MAX, record.blacklist_count);
    EXPECT_STREQ("0a0000000099", record.blacklist[99].mac);
    EXPECT_STREQ("device number 99 with a name longer tha", record.blacklist[99].name);

    // The same cut on a received record; a name of 40 characters is refused.
    std::string text = json_text(mbd_to_json(&record));
    json_object* object = json_tokener_parse(text.c_str());
    json_object* list = json_object_object_get(object, "blacklist");
    for (int i = 0; i < 50; ++i) json_object_array_add(list, json_object_get(json_object_array_get_idx(list, i)));
    mbd back;
    ASSERT_EQ(0, mbd_load_json(&back, json_text(json_object_get(object)).c_str()));
    EXPECT_EQ(MBD_BLACKLIST_MAX, back.blacklist_count);
    json_object_object_add(json_object_array_get_idx(list, 3), "name", json_object_new_string(std::string(40, 'n').c_str()));
    plat_test_capture_log();
    EXPECT_EQ(VESPIN_ERR_MISSING_VALUE, mbd_load_json(&back, json_text(object).c_str()));
    EXPECT_TRUE(plat_test_logged("Invalid blacklist"));
}

TEST(NetworkRecord, ReadsTheSendersSettingsOverTheLocalWifi) {
    network_root root;
    plat_test_capture_log();
    mbd record;
    // Printed and read back: the same record, but for the root account's
    // name, which the administrator reader does not take from the network.
    ASSERT_EQ(0, mbd_load_json(&record, kGatewayRecord));
    std::string expected = kGatewayRecord;
    expected.replace(expected.find(R"("super":{"username":"admin")"), 27, R"("super":{"username":"")");
    EXPECT_EQ(expected, json_text(mbd_to_json(&record)));

    // Keys the sender leaves out keep the local Wi-Fi.
    const char partial[] =
        R"({"wifi":{"bands":{"5G":{"ssid":"Remote-5G","password":"remote-pass"}}},"admin":{"username":"root",)"
        R"("password":"secret1"},"timezone":{"offset":-5},"mesh_band":{"24g_enabled":false},"region_id":392})";
    ASSERT_EQ(0, mbd_load_json(&record, partial));
    EXPECT_STREQ("Remote-5G", record.wifi.band_5g.ssid);
    EXPECT_STREQ("remote-pass", record.wifi.band_5g.password);
    EXPECT_STREQ("Vespin-2.4G", record.wifi.band_24g.ssid);
    EXPECT_EQ(6u, record.wifi.band_24g.channel);
    EXPECT_STREQ("root", record.admin.username);
    EXPECT_EQ(-5, record.timezone.offset);
    EXPECT_EQ(0, record.mesh_band.enabled_24g);
    EXPECT_EQ(0, record.blacklist_count);
    EXPECT_EQ(392, record.region_id);
    EXPECT_STREQ("", record.life_id);

    struct check {
        const char* text;
        int code;
        const char* message;
    };
    const check checks[] = {
        {"not json", VESPIN_ERR_MISSING_VALUE, "Fail to parse json: `not json`"},
        {"[1,2]", VESPIN_ERR_MISSING_VALUE, "Fail to parse json: `[1,2]`"},
        {R"({"timezone":{"offset":1}})", VESPIN_ERR_INVALID_JSON, R"(Fail to parse json: `{"timezone":{"offset":1}}`)"},
        {R"({"admin":{"username":"a"}})", VESPIN_ERR_INVALID_JSON, nullptr},
        {R"({"admin":{"username":"a"},"timezone":{}})", VESPIN_ERR_NO_CHANGE, nullptr},
        {R"({"wifi":{"hidden":"no"},"admin":{"username":"a"},"timezone":{"offset":1}})", VESPIN_ERR_INVALID_PARAM,
         nullptr},
        {R"({"guest_wifis":{},"admin":{"username":"a"},"timezone":{"offset":1}})", VESPIN_ERR_INVALID_PARAM, nullptr},
        {R"({"led_time_limit":{},"admin":{"username":"a"},"timezone":{"offset":1}})", VESPIN_ERR_FAILURE, nullptr},
        {R"({"admin":{"username":"a"},"timezone":{"offset":1},"blacklist":{}})", VESPIN_ERR_MISSING_VALUE,
         "Invalid type of blacklist"},
        {R"({"admin":{"username":"a"},"timezone":{"offset":1},"blacklist":[{"mac":"a"}]})", VESPIN_ERR_MISSING_VALUE,
         "Invalid blacklist"},
        {R"({"admin":{"username":"a"},"timezone":{"offset":1},"region_id":"840"})", VESPIN_ERR_MISSING_VALUE, nullptr},
        {R"({"admin":{"username":"a"},"timezone":{"offset":1},"life_id":7})", VESPIN_ERR_MISSING_VALUE, nullptr},
    };
    for (const check& c : checks) {
        plat_test_capture_log();
        EXPECT_EQ(c.code, vespin_error_code(mbd_new_from_json(c.text))) << c.text;
        if (c.message) EXPECT_TRUE(plat_test_logged(c.message)) << c.message;
    }
    mbd* minimal = mbd_new_from_json(
        R"({"admin":{"username":"a"},"timezone":{"offset":1},"blacklist":[{"mac":"0123456789abcdefgh","name":""}],)"
        R"("life_id":"0123456789012345678901234567890123456789"})");
    ASSERT_FALSE(vespin_is_error(minimal));
    EXPECT_STREQ("0123456789abcde", minimal->blacklist[0].mac);
    EXPECT_STREQ("012345678901234567890123456789012345", minimal->life_id);
    mbd_free(minimal);
}

TEST(NodeReport, GoldenFormAndTheSyncTimeAsA32BitInteger) {
    bmd report = {};
    strcpy(report.node.ip, "192.168.1.3");
    strcpy(report.node.sn, "0224081231A1B2E");
    strcpy(report.node.customer_id, "0100");
    strcpy(report.node.mac_wlan0, "025600000203");
    strcpy(report.node.mac_wlan1, "025600000303");
    strcpy(report.node.mac_eth1, "025600000103");
    report.node.version = {1, 2, 0, 1};
    strcpy(report.node.name, "Lark-1B2E");
    report.node.rpc_port = 10010;
    report.last_mbd_sync_time = 1700000000;
    const char golden[] =
        R"({"meta":{"last_mbd_sync_time":1700000000},"node":{"protocol_version":1,"ip":"192.168.1.3",)"
        R"("sn":"0224081231A1B2E","customer_id":"0100","rpc_port":10010,"state":0,"macs":{"wlan0":"025600000203",)"
        R"("wlan1":"025600000303","eth0":"","eth1":"025600000103"},"is_gw":false,"version":"1.2.0-rc.1",)"
        R"("name":"Lark-1B2E","neighbors":[],"stations":[],"guest_stations":[],)"
        R"("system_info":{"cpu":0.0,"mem":{"used":0,"total":0}},"uptime":0}})";
    EXPECT_EQ(golden, json_text(bmd_to_json(&report)));
    // A time past 32 bits goes out cut to them, and is read back whole.
    report.last_mbd_sync_time = 5000000000LL;
    EXPECT_NE(std::string::npos, json_text(bmd_to_json(&report)).find(R"("last_mbd_sync_time":705032704})"));
    EXPECT_EQ(nullptr, bmd_to_json(nullptr));
}

TEST(NodeReport, LoadChecksAndReload) {
    network_root root;
    plat_test_capture_log();
    bmd* report = bmd_new();
    ASSERT_FALSE(vespin_is_error(report));
    std::string node_text = json_text(mesh_node_to_json(&report->node));
    std::string text = R"({"meta":{"last_mbd_sync_time":5000000000},"node":)" + node_text + "}";
    ASSERT_EQ(0, bmd_load_json(report, text.c_str()));
    EXPECT_EQ(5000000000LL, report->last_mbd_sync_time);
    EXPECT_STREQ("0224081231A1B2C", report->node.sn);
    // The rebuild leaves the sync time alone.
    ASSERT_EQ(0, bmd_reload(report));
    EXPECT_EQ(5000000000LL, report->last_mbd_sync_time);
    bmd_free(report);

    struct check {
        std::string text;
        int code;
        const char* message;
    };
    const check checks[] = {
        {"nonsense", VESPIN_ERR_MISSING_VALUE, "Missing meta"},
        {R"({"meta":[],"node":{}})", VESPIN_ERR_MISSING_VALUE, "Missing meta"},
        {R"({"meta":{"last_mbd_sync_time":"1"},"node":{}})", VESPIN_ERR_MISSING_VALUE, "Missing meta.last_mbd_sync_time"},
        {R"({"meta":{"last_mbd_sync_time":1},"node":"x"})", VESPIN_ERR_MISSING_VALUE, "Missing node"},
        {R"({"meta":{"last_mbd_sync_time":1},"node":{"ip":"1.2.3.4"}})", VESPIN_ERR_MISSING_VALUE, "Missing sn"},
    };
    for (const check& c : checks) {
        plat_test_capture_log();
        EXPECT_EQ(c.code, vespin_error_code(bmd_new_from_json(c.text.c_str()))) << c.text;
        EXPECT_TRUE(plat_test_logged(c.message)) << c.message;
    }
    // The node's own failure is followed by "Missing node".
    EXPECT_TRUE(plat_test_logged("Missing node"));
}
