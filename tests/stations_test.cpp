// Station records: loaded from the driver's station files of both radios and
// the guest interfaces, printed as JSON and changed from JSON.
#include "ap.h"
#include "platform_testing.h"
#include "result_codes.h"
#include "test_root.h"

#include <gtest/gtest.h>
#include <json-c/json.h>
#include <string.h>

#include <string>

namespace {

// One station block in the driver's format: the MAC, the rssi, and values
// derived from a seed so that every field differs.
std::string station_block(const std::string& mac, int seed) {
    std::string n = std::to_string(seed);
    return "1: stat_info...\n    state: 1\n    hwaddr: " + mac + "\n    tx_packets: 9\n    tx_bytes: " + n +
           "000\n    rx_bytes: " + n + "00\n    tx_avarage: " + n + "0\n    rx_avarage: " + n +
           "\n    rssi: 6" + n + " (ss 1 2)\n    expired_time: 30000 (10ms unit)\n    current_tx_rate: HT MCS7 7" + n +
           "\n    link_time: 0 day " + n + " hr 2 min 3 sec\n";
}

std::string header() { return "-- STA info table -- (active: 1)\n"; }

std::string json_text(json_object* object) {
    std::string text = object ? json_object_to_json_string_ext(object, JSON_C_TO_STRING_PLAIN) : "(null)";
    json_object_put(object);
    return text;
}

}  // namespace

TEST(Stations, MainStationsOfBothRadiosIn5GHzThen24GHzOrder) {
    test_root root;
    root.write("/proc/wlan0/sta_info", header() + station_block("0a0000000001", 1) + station_block("0a0000000002", 2));
    root.write("/proc/wlan1/sta_info", header() + station_block("0b0000000003", 3));
    vespin_sta stations[2 * VESPIN_STA_FILE_MAX] = {};
    int32_t count = -1;
    ASSERT_EQ(0, vespin_sta_load(stations, &count));
    ASSERT_EQ(3, count);
    EXPECT_STREQ("0a0000000001", stations[0].mac);
    EXPECT_EQ(0, stations[0].band);
    EXPECT_EQ(0, stations[1].band);
    EXPECT_STREQ("0b0000000003", stations[2].mac);
    EXPECT_EQ(1, stations[2].band);
    // The driver's second counter and average are the first fields.
    const vespin_sta& s = stations[2];
    EXPECT_EQ(3 * 3600 + 2 * 60 + 3, s.onlinetime);
    EXPECT_EQ(3 * 8, s.rtspeedup);      // rx_avarage x 8
    EXPECT_EQ(30 * 8, s.rtspeeddown);   // tx_avarage x 8
    EXPECT_EQ(300, s.rx_bytes);
    EXPECT_EQ(3000, s.tx_bytes);
    EXPECT_EQ(63 - 100, s.rssi);
    EXPECT_EQ(73000000, s.negotiation_rate);
}

TEST(Stations, NoStationsLoadsACountOfZero) {
    test_root root;
    root.write("/proc/wlan0/sta_info", header());
    root.write("/proc/wlan1/sta_info", "");
    vespin_sta stations[2 * VESPIN_STA_FILE_MAX];
    int32_t count = -1;
    EXPECT_EQ(0, vespin_sta_load(stations, &count));
    EXPECT_EQ(0, count);
    EXPECT_EQ(VESPIN_ERR_FAILURE, vespin_sta_load(stations, nullptr));
}

TEST(Stations, GuestInterfacesInOrderAMissingFileSkipped) {
    test_root root;
    unlink(root.path("/proc/wlan0-va0/sta_info").c_str());
    unlink(root.path("/proc/wlan1-va0/sta_info").c_str());
    root.write("/proc/wlan0-va1/sta_info", header() + station_block("0c0000000001", 4));
    root.write("/proc/wlan1-va3/sta_info", header() + station_block("0c0000000002", 5));
    vespin_guest_sta stations[8 * VESPIN_STA_FILE_MAX] = {};
    int32_t count = -1;
    ASSERT_EQ(0, vespin_guest_sta_load(stations, &count));
    ASSERT_EQ(2, count);
    EXPECT_STREQ("0c0000000001", stations[0].mac);
    EXPECT_EQ(0, stations[0].band);
    EXPECT_EQ(2, stations[0].guest_ap_id);  // va1
    EXPECT_EQ(1, stations[1].band);
    EXPECT_EQ(4, stations[1].guest_ap_id);  // va3
    EXPECT_EQ(65 - 100, stations[1].rssi);
}

TEST(Stations, JsonFormsListEveryKeyInOrder) {
    vespin_sta station = {"a1b2c3d4e5f6", 1, 7445, 24, 240, 884120, 2210044, -52, 72200000};
    EXPECT_EQ(R"({"mac":"a1b2c3d4e5f6","band":1,"onlinetime":7445,"rtspeedup":24,"rtspeeddown":240,)"
              R"("rx_bytes":884120,"tx_bytes":2210044,"rssi":-52,"negotiation_rate":72200000})",
              json_text(vespin_sta_to_json(&station)));
    vespin_guest_sta guest = {"3c22fb445566", 0, 302, 248, 768, 40210, 120440, 1, -45, 325000000};
    EXPECT_EQ(R"({"mac":"3c22fb445566","band":0,"onlinetime":302,"rtspeedup":248,"rtspeeddown":768,)"
              R"("rx_bytes":40210,"tx_bytes":120440,"guest_ap_id":1,"rssi":-45,"negotiation_rate":325000000})",
              json_text(vespin_guest_sta_to_json(&guest)));
    EXPECT_EQ(nullptr, vespin_sta_to_json(nullptr));
    // A MAC field filled to its end without a terminator prints its 16 bytes only.
    memset(station.mac, 'f', sizeof station.mac);
    EXPECT_NE(std::string::npos, json_text(vespin_sta_to_json(&station)).find("\"ffffffffffffffff\","));
}

TEST(Stations, UpdateChangesOnlyPresentKeysAndStopsAtAWrongType) {
    vespin_sta station = {"a1b2c3d4e5f6", 1, 7445, 24, 240, 884120, 2210044, -52, 72200000};
    vespin_sta before = station;
    json_object* only_rssi = json_tokener_parse(R"({"rssi":-70})");
    EXPECT_EQ(0, vespin_sta_update_from_json_object(&station, only_rssi));
    json_object_put(only_rssi);
    before.rssi = -70;
    EXPECT_EQ(0, memcmp(&before, &station, sizeof station));

    json_object* bad_band = json_tokener_parse(R"({"mac":"0123456789abcdefXYZ","band":"5","rssi":-1})");
    EXPECT_EQ(VESPIN_ERR_INVALID_JSON, vespin_sta_update_from_json_object(&station, bad_band));
    json_object_put(bad_band);
    EXPECT_STREQ("0123456789abcde", station.mac);  // changed before the failure, cut to 15
    EXPECT_EQ(1, station.band);
    EXPECT_EQ(-70, station.rssi);

    // Keys in any order are read in the table's order; a null is a wrong type.
    json_object* reordered = json_tokener_parse(R"({"rssi":-2,"mac":"aa","band":null})");
    EXPECT_EQ(VESPIN_ERR_INVALID_JSON, vespin_sta_update_from_json_object(&station, reordered));
    json_object_put(reordered);
    EXPECT_STREQ("aa", station.mac);
    EXPECT_EQ(-70, station.rssi);

    json_object* array = json_tokener_parse("[]");
    EXPECT_EQ(VESPIN_ERR_INVALID_JSON, vespin_sta_update_from_json_object(&station, array));
    json_object_put(array);
    EXPECT_EQ(VESPIN_ERR_INVALID_JSON, vespin_sta_update_from_json_object(&station, nullptr));

    vespin_guest_sta guest = {};
    json_object* big = json_tokener_parse(R"({"guest_ap_id":3,"tx_bytes":9000000000,"rtspeedup":9000000000})");
    EXPECT_EQ(0, vespin_guest_sta_update_from_json_object(&guest, big));
    json_object_put(big);
    EXPECT_EQ(3, guest.guest_ap_id);
    EXPECT_EQ(9000000000LL, guest.tx_bytes);
    EXPECT_EQ(INT32_MAX, guest.rtspeedup);  // a 32-bit field reads a 32-bit value
    json_object* bad_id = json_tokener_parse(R"({"guest_ap_id":1.5})");
    EXPECT_EQ(VESPIN_ERR_INVALID_JSON, vespin_guest_sta_update_from_json_object(&guest, bad_id));
    json_object_put(bad_id);
}
