// The connected-device list: the driver's station files, the ARP table, the
// vendor table, the leases and the merged list with its liveness rules.
#include "internal_devices.h"
#include "platform_testing.h"
#include "result_codes.h"
#include "test_root.h"

#include <gtest/gtest.h>
#include <string.h>

#include <string>
#include <vector>

namespace {

// One station block as the driver prints it; keys can be left out.
std::string station(const std::string& mac, const std::string& link_time, const std::string& rssi = "62",
                    const std::string& expired = "30000", const std::vector<std::string>& omit = {}) {
    std::vector<std::pair<std::string, std::string>> keys = {
        {"hwaddr", mac},           {"tx_packets", "14"},       {"tx_bytes", "1000"},
        {"rx_bytes", "2000"},      {"tx_avarage", "300"},      {"rx_avarage", "40"},
        {"rssi", rssi + " (ss 1 2)"}, {"expired_time", expired + " (10ms unit)"},
        {"current_tx_rate", "VHT NSS2-MCS9 866.7"}, {"link_time", link_time}};
    std::string text = "1: stat_info...\n";
    for (auto& key : keys) {
        bool skip = false;
        for (auto& o : omit) skip = skip || o == key.first;
        if (!skip) text += "    " + key.first + ": " + key.second + "\n";
    }
    return text;
}

std::string mac_text(const uint8_t mac[6]) {
    char text[13];
    snprintf(text, sizeof text, "%02x%02x%02x%02x%02x%02x", mac[0], mac[1], mac[2], mac[3], mac[4], mac[5]);
    return text;
}

}  // namespace

TEST(StationFile, RunsTheDriverPipelineOverThePath) {
    test_root root;
    plat_test_set_command_script([](const plat_command&, plat_command_reply*) { return true; });
    lan_device_info records[LAN_DEVICE_MAX];
    EXPECT_EQ(0, get_wifi_device_mac_list("/proc/wlan1/sta_info", records));
    ASSERT_EQ(1u, plat_test_commands().size());
    EXPECT_EQ("awk '{if ($0 ~ /^[[:blank:]]+(current_tx_rate):/) print $NF;if ($0~/^[[:blank:]]+(link_time):/) "
              "{if (NF==9) print $8,$6,$4,$2; if (NF==7) print $6,$4,$2,0; if (NF==5) print $4,$2,0,0;if (NF==3) "
              "print $2,0,0,0};if($0 ~ /^[[:blank:]]+(hwaddr|rx_bytes|tx_bytes|tx_avarage|rx_avarage|rssi|"
              "expired_time):/ && $2 !=\"-99\") print $2}' /proc/wlan1/sta_info | awk 'NR%9 {printf(\"%s \", $0); "
              "next} {print}'",
              plat_test_commands()[0].text);
    // Nothing reaches a shell from a path that could change the command, or from NULL.
    EXPECT_EQ(-1, get_wifi_device_mac_list("/proc/x;reboot", records));
    EXPECT_EQ(-1, get_wifi_device_mac_list("/proc/x y", records));
    EXPECT_EQ(-1, get_wifi_device_mac_list("", records));
    EXPECT_EQ(-1, get_wifi_device_mac_list(nullptr, records));
    EXPECT_EQ(-1, get_wifi_device_mac_list("/proc/wlan0/sta_info", nullptr));
    EXPECT_EQ(1u, plat_test_commands().size());
}

TEST(StationFile, ReadsEveryLinkTimeFormAndTheStatistics) {
    test_root root;
    root.write("/proc/wlan0/sta_info", "-- STA info table -- (active: 4)\n" +
                                           station("0011223344aa", "1 day 2 hr 3 min 4 sec") +
                                           station("0011223344bb", "2 hr 3 min 4 sec", "0") +
                                           station("0011223344CC", "3 min 4 sec") + station("0011223344dd", "4 sec"));
    lan_device_info records[LAN_DEVICE_MAX];
    memset(records, 0, sizeof records);
    ASSERT_EQ(4, get_wifi_device_mac_list("/proc/wlan0/sta_info", records));
    EXPECT_EQ("0011223344aa", mac_text(records[0].mac));
    EXPECT_EQ(86400u + 7200 + 180 + 4, records[0].link_time);
    EXPECT_EQ(7200u + 180 + 4, records[1].link_time);
    EXPECT_EQ(184u, records[2].link_time);
    EXPECT_EQ("0011223344cc", mac_text(records[2].mac));
    EXPECT_EQ(4u, records[3].link_time);
    // The driver prints tx before rx; the record keeps the second first.
    EXPECT_EQ(2000u, records[0].bytes_2);
    EXPECT_EQ(1000u, records[0].bytes_1);
    EXPECT_EQ(40u * 8, records[0].avg_rate_2);
    EXPECT_EQ(300u * 8, records[0].avg_rate_1);
    EXPECT_EQ(-38, records[0].rssi);
    EXPECT_EQ(0, records[1].rssi);  // a reported 0 stays 0
    EXPECT_EQ(30000u, records[0].expired_time);
    EXPECT_EQ(866700000u, records[0].tx_rate);
    EXPECT_EQ(0, records[0].wireless);  // the collector decides the band, not the parser
}

TEST(StationFile, SpoiledStationsAreSkipped) {
    test_root root;
    // A station with expired_time 0 is gone; a MAC that does not convert is
    // skipped; a station without its link_time falls short of nine fields.
    root.write("/proc/wlan0/sta_info", station("0011223344aa", "4 sec", "62", "0") +
                                           station("00112233zzzz", "4 sec") + station("0011223344bb", "5 sec") +
                                           station("0011223344cc", "6 sec", "62", "300", {"link_time"}));
    lan_device_info records[LAN_DEVICE_MAX];
    ASSERT_EQ(1, get_wifi_device_mac_list("/proc/wlan0/sta_info", records));
    EXPECT_EQ("0011223344bb", mac_text(records[0].mac));
    // Deliberate: a value of -99 is not printed at all, so the station's
    // later values slide one place (its expired_time is read as rssi) and the
    // next station's MAC closes its line; the next station is lost.
    root.write("/proc/wlan0/sta_info", station("0011223344aa", "4 sec", "-99") + station("0011223344bb", "5 sec"));
    ASSERT_EQ(1, get_wifi_device_mac_list("/proc/wlan0/sta_info", records));
    EXPECT_EQ("0011223344aa", mac_text(records[0].mac));
    EXPECT_EQ(30000 - 100, records[0].rssi);
    EXPECT_EQ(866u, records[0].expired_time);
    // A file cut in the middle of its last station keeps the whole ones.
    std::string whole = station("0011223344aa", "4 sec") + station("0011223344bb", "5 sec");
    root.write("/proc/wlan0/sta_info", whole.substr(0, whole.size() - 40));
    ASSERT_EQ(1, get_wifi_device_mac_list("/proc/wlan0/sta_info", records));
    EXPECT_EQ("0011223344aa", mac_text(records[0].mac));
    // A file that does not exist holds no station.
    EXPECT_EQ(0, get_wifi_device_mac_list("/proc/wlan3/sta_info", records));
}

TEST(StationFile, KeepsAtMost64AndSkipsOverlongLines) {
    test_root root;
    std::string output = "0011223344aa 1 2 3 4 60 300 1e30 1 0 0 0" + std::string(300, ' ') + "7\n";
    output += "0011223344aa 1 2 3 4 60 300 -5 1 0 0 0\n";
    for (int i = 0; i < 70; i++) output += "0011223344bb 1 2 3 4 60 300 1 1 0 0 0\n";
    plat_test_set_command_script([&](const plat_command&, plat_command_reply* reply) {
        reply->output = output;
        return true;
    });
    lan_device_info records[LAN_DEVICE_MAX + 1];
    memset(&records[LAN_DEVICE_MAX], 0x5a, sizeof records[0]);
    ASSERT_EQ(LAN_DEVICE_MAX, get_wifi_device_mac_list("/proc/wlan0/sta_info", records));
    EXPECT_EQ(0u, records[0].tx_rate);  // a negative rate is no rate
    EXPECT_EQ("0011223344bb", mac_text(records[1].mac));
    EXPECT_EQ(0x5a, records[LAN_DEVICE_MAX].name[0]);
}
