// The connected-device list: the driver's station files, the ARP table, the
// vendor table, the leases and the merged list with its liveness rules.
#include "core/internal/devices/vendor_table.h"
#include "internal_devices.h"
#include "platform.h"
#include "platform_testing.h"
#include "result_codes.h"
#include "test_root.h"

#include <arpa/inet.h>
#include <errno.h>
#include <gtest/gtest.h>
#include <stdio.h>
#include <stdlib.h>
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

namespace {

// The texts of the commands asked for since the last reset.
std::vector<std::string> command_texts() {
    std::vector<std::string> texts;
    for (auto& command : plat_test_commands()) texts.push_back(command.text);
    return texts;
}

std::string ip_text(uint32_t address) {
    char text[16];
    inet_ntop(AF_INET, &address, text, sizeof text);
    return text;
}

// One 88-byte lease: hardware address, IPv4 (network order), expiry as the
// server stores it, host name.
std::string lease(const std::string& mac_hex, const char* ip, uint32_t expires, const std::string& host) {
    unsigned char record[88] = {0};
    for (size_t i = 0; i + 1 < mac_hex.size() && i / 2 < 16; i += 2)
        record[i / 2] = (unsigned char)strtoul(mac_hex.substr(i, 2).c_str(), nullptr, 16);
    struct in_addr address;
    inet_pton(AF_INET, ip, &address);
    memcpy(record + 16, &address.s_addr, 4);
    memcpy(record + 20, &expires, 4);
    memcpy(record + 24, host.data(), host.size() < 64 ? host.size() : 64);
    return std::string((const char*)record, sizeof record);
}

struct vendor_file : test_root {
    vendor_file() { vendor_table_forget(); }
    ~vendor_file() { vendor_table_forget(); }
};

}  // namespace

TEST(VendorTable, MergesOnlyConsecutiveRepeatsAndCutsNames) {
    vendor_file root;
    root.write("/etc/device_mac_brand.txt",
               "00:11:22 Alpha Widgets\n00-11-23 Alpha Widgets\nAA:BB:CC Beta\n00:11:24 Alpha Widgets\n"
               "DE:AD:BE A vendor name far longer than fifteen\nshort\nF0:F0:F0 Last line without newline");
    vendor_table* table = vendor_table_get();
    ASSERT_NE(nullptr, table);
    // A, A, B, A: the first two share one entry, the fourth line adds A again.
    ASSERT_EQ(5, table->count);
    EXPECT_STREQ("Alpha Widgets", table->names[0]);
    EXPECT_STREQ("Beta", table->names[1]);
    EXPECT_STREQ("Alpha Widgets", table->names[2]);
    EXPECT_STREQ("Last line without newlin", table->names[4]);  // the last character is always cut

    char out[16];
    const uint8_t second[6] = {0x00, 0x11, 0x23, 1, 2, 3};
    EXPECT_EQ(0, vespin_get_device_brand(second, &table->tree, table->names, out));
    EXPECT_STREQ("Alpha Widgets", out);
    const uint8_t long_name[6] = {0xde, 0xad, 0xbe, 0, 0, 0};
    EXPECT_EQ(0, vespin_get_device_brand(long_name, &table->tree, table->names, out));
    EXPECT_STREQ("A vendor name f", out);
    // Lower-case MAC bytes print as upper-case keys; an unknown OUI leaves out zeroed.
    const uint8_t unknown[6] = {0x12, 0x34, 0x56, 0, 0, 0};
    memset(out, 'x', sizeof out);
    EXPECT_EQ(VESPIN_ERR_FAILURE, vespin_get_device_brand(unknown, &table->tree, table->names, out));
    EXPECT_EQ(std::string(16, '\0'), std::string(out, 16));
    EXPECT_EQ(VESPIN_ERR_FAILURE, vespin_get_device_brand(nullptr, &table->tree, table->names, out));
    EXPECT_EQ(VESPIN_ERR_FAILURE, vespin_get_device_brand(second, nullptr, table->names, out));
    EXPECT_EQ(VESPIN_ERR_FAILURE, vespin_get_device_brand(second, &table->tree, nullptr, out));
    EXPECT_EQ(VESPIN_ERR_FAILURE, vespin_get_device_brand(second, &table->tree, table->names, nullptr));
    char brand[16];
    vendor_brand(table, unknown, brand);
    EXPECT_STREQ("Unknown Vendor", brand);

    // A missing file builds nothing, and is tried again on the next use.
    vendor_table_forget();
    plat_unlink("/etc/device_mac_brand.txt");
    EXPECT_EQ(nullptr, vendor_table_get());
    root.write("/etc/device_mac_brand.txt", "00:11:22 Alpha\n");
    EXPECT_NE(nullptr, vendor_table_get());
}

TEST(ArpTable, KeepsCompleteBr0EntriesOfTheSubnet) {
    test_root root;
    root.write("/proc/net/arp",
               "IP address       HW type     Flags       HW address            Mask     Device\n"
               "192.168.1.101    0x1         0x2         6c:5a:b5:a1:c2:d3     *        br0\n"
               "192.168.1.104    0x1         0x0         00:00:00:00:00:00     *        br0\n"
               "169.254.1.9      0x1         0x2         00:11:22:33:44:55     *        br0\n"
               "192.168.2.7      0x1         0x2         00:11:22:33:44:56     *        br0\n"
               "10.0.0.1         0x1         0x2         02:56:00:00:0a:01     *        eth1\n"
               "192.168.1.105    0x1         0x2         00:11:22:33:44        *        br0\n"
               "192.168.1.106    0x1         0x2         00:E0:4C:68:01:02     *        br0\n");
    arp_entry entries[ARP_ENTRY_MAX];
    ASSERT_EQ(2, get_arp_table_list(entries));
    EXPECT_EQ("192.168.1.101", ip_text(entries[0].ip));
    EXPECT_EQ("6c5ab5a1c2d3", mac_text(entries[0].mac));
    EXPECT_EQ("192.168.1.106", ip_text(entries[1].ip));
    EXPECT_EQ("00e04c680102", mac_text(entries[1].mac));
    EXPECT_EQ("awk '{if ($3==\"0x2\" && $6==\"br0\" && $1 !~ /^169.254/) {gsub(\":\",\"\",$4); print $1,$4}}' "
              "/proc/net/arp > /tmp/arp_table",
              command_texts().at(0));
    EXPECT_EQ("192.168.1.101 6c5ab5a1c2d3\n192.168.2.7 001122334456\n192.168.1.105 0011223344\n"
              "192.168.1.106 00E04C680102\n",
              root.read("/tmp/arp_table"));

    // At most 64; an over-long line is no entry; the file that cannot be opened is -1.
    std::string table = "IP address HW type Flags HW address Mask Device\n";
    table += "192.168.1.2 0x1 0x2 00:11:22:33:44:" + std::string(200, '5') + " * br0\n";
    for (int i = 0; i < 70; i++) table += "192.168.1." + std::to_string(10 + i) + " 0x1 0x2 00:11:22:33:44:55 * br0\n";
    root.write("/proc/net/arp", table);
    arp_entry many[ARP_ENTRY_MAX + 1];
    memset(&many[ARP_ENTRY_MAX], 0x5a, sizeof many[0]);
    ASSERT_EQ(ARP_ENTRY_MAX, get_arp_table_list(many));
    EXPECT_EQ("192.168.1.10", ip_text(many[0].ip));
    EXPECT_EQ(0x5a, many[ARP_ENTRY_MAX].mac[0]);
    EXPECT_EQ(-1, get_arp_table_list(nullptr));
    plat_test_fail_open("/tmp/arp_table", EACCES);
    EXPECT_EQ(-1, get_arp_table_list(entries));
}

TEST(DhcpClients, ReadsEightyEightByteLeases) {
    test_root root;
    plat_test_capture_log();
    root.write("/var/lib/misc/udhcpd.leases",
               lease("6c5ab5a1c2d3", "192.168.1.101", 0x01020304, "  pixel-phone \n") +
                   lease("a483e7112233", "192.168.1.102", 0, "gone") +
                   lease("000000000000", "192.168.1.103", 5, "no-address") +
                   lease("00e04c680102", "192.168.1.104", 7, "") + lease("00e04c680103", "192.168.1.105", 9, "   ") +
                   std::string(87, '\x7f'));  // a partial record
    dhcp_client_info clients[DHCP_CLIENT_MAX];
    int32_t count = -1;
    EXPECT_EQ(0, rtk_get_dhcp_client_list(&count, clients));
    EXPECT_EQ((std::vector<std::string>{"kill -SIGUSR1 812"}), command_texts());
    ASSERT_EQ(3, count);
    EXPECT_STREQ("pixel-phone", clients[0].name);
    const unsigned char address[4] = {192, 168, 1, 101};
    EXPECT_EQ(0, memcmp(address, &clients[0].ip, 4));  // network byte order, as stored
    EXPECT_EQ(0x01020304u, clients[0].expires);          // copied unchanged
    EXPECT_EQ("6c5ab5a1c2d3", mac_text(clients[0].mac));
    EXPECT_STREQ("Unknown Vendor", clients[1].name);
    EXPECT_STREQ("Unknown Vendor", clients[2].name);

    // The sixty-fifth lease is not read.
    std::string many;
    for (int i = 0; i < 70; i++) many += lease("00e04c6801" + std::to_string(10 + i), "192.168.1.9", 1, "h");
    root.write("/var/lib/misc/udhcpd.leases", many);
    dhcp_client_info more[DHCP_CLIENT_MAX + 1];
    memset(&more[DHCP_CLIENT_MAX], 0x5a, sizeof more[0]);
    EXPECT_EQ(0, rtk_get_dhcp_client_list(&count, more));
    EXPECT_EQ(DHCP_CLIENT_MAX, count);
    EXPECT_EQ(0x5a, more[DHCP_CLIENT_MAX].name[0]);
}

TEST(DhcpClients, SignalFailuresAreOnlyReported) {
    test_root root;
    plat_test_capture_log();
    plat_test_set_command_script([](const plat_command&, plat_command_reply* reply) {
        reply->exit_code = 1;
        return true;
    });
    dhcp_client_info clients[DHCP_CLIENT_MAX];
    int32_t count = -1;
    EXPECT_EQ(0, rtk_get_dhcp_client_list(&count, clients));
    EXPECT_EQ(4, count);  // the root's leases
    EXPECT_TRUE(plat_test_logged("Fail to send signal"));
    plat_unlink("/var/run/udhcpd.pid");
    plat_unlink("/var/lib/misc/udhcpd.leases");
    EXPECT_EQ(0, rtk_get_dhcp_client_list(&count, clients));
    EXPECT_EQ(0, count);
    EXPECT_TRUE(plat_test_logged("Read pid file error!"));
    EXPECT_EQ(1u, plat_test_commands().size());
    // init is never signalled.
    root.write("/var/run/udhcpd.pid", "1\n");
    EXPECT_EQ(0, rtk_get_dhcp_client_list(&count, clients));
    EXPECT_EQ(1u, plat_test_commands().size());
}

TEST(DeviceState, ReadsTheDevicesPackageAndProbesWithArping) {
    test_root root;
    EXPECT_EQ(1, is_device_online("6c5ab5a1c2d3"));
    EXPECT_EQ(0, is_device_online("8c1645aa0101"));  // "online" is 0
    EXPECT_EQ(0, is_device_online("001122334455"));  // no section
    EXPECT_EQ(0, is_device_online("6c5ab5a1c2d3.x"));
    EXPECT_EQ(1, is_real_wired_device("00e04c680102"));
    EXPECT_EQ(0, is_real_wired_device("6c5ab5a1c2d3"));
    EXPECT_EQ(1, is_real_wired_device("001122334455"));  // no band: wired

    // The root's arping answers for complete entries of its ARP table.
    EXPECT_EQ(1, is_lan_ip_available("192.168.1.101"));
    EXPECT_EQ(0, is_lan_ip_available("192.168.1.104"));
    EXPECT_EQ((std::vector<std::string>{"arping -f -c 1 -I br0 192.168.1.101 > /dev/null",
                                        "arping -f -c 1 -I br0 192.168.1.104 > /dev/null"}),
              command_texts());
    plat_test_set_command_script([](const plat_command&, plat_command_reply* reply) {
        reply->signal = 9;
        return true;
    });
    EXPECT_EQ(0, is_lan_ip_available("192.168.1.101"));
    EXPECT_EQ(0, is_lan_ip_available("192.168.1.101; reboot"));
    EXPECT_EQ(0, is_lan_ip_available(nullptr));
    EXPECT_EQ(3u, plat_test_commands().size());
}

TEST(OfflineDevices, ListsWhatTheTrackerMarkedOffline) {
    test_root root;
    offline_device_list list = {0, nullptr};
    ASSERT_EQ(0, vespin_get_offline_device(&list));
    EXPECT_EQ("/bin/vespin_update_device", command_texts().at(0));
    ASSERT_EQ(1u, list.count);
    const offline_device_info& device = list.devices[0];
    EXPECT_STREQ("8c1645aa0101", device.mac);
    EXPECT_STREQ("Old laptop", device.name);
    EXPECT_EQ(1763600000000u, device.access_time);
    EXPECT_EQ(1763607200000u, device.offline_time);
    EXPECT_EQ(7200u, device.online_duration);
    EXPECT_EQ(5120000u, device.tx_bytes);
    EXPECT_EQ(20480000u, device.rx_bytes);
    free(list.devices);

    // The tracker takes a device that left the ARP table offline; a device
    // that went offline before it came online has no duration.
    plat_system("arp -d 192.168.1.103");
    root.write("/etc/config/devices", root.read("/etc/config/devices") +
                                          "\nconfig sta 'aa0000000001'\n\toption mac 'aa0000000001'\n"
                                          "\toption online '0'\n\toption access_time '200'\n\toption offline_time '100'\n");
    ASSERT_EQ(0, vespin_get_offline_device(&list));
    ASSERT_EQ(3u, list.count);
    EXPECT_STREQ("00e04c680102", list.devices[0].mac);
    EXPECT_STREQ("aa0000000001", list.devices[2].mac);
    EXPECT_EQ(0u, list.devices[2].online_duration);
    free(list.devices);
    EXPECT_EQ(VESPIN_ERR_FAILURE, vespin_get_offline_device(nullptr));
}

TEST(OfflineDevices, RemovalCleansEveryPackageAndReapplies) {
    test_root root;
    ASSERT_EQ(0, vespin_del_offline_device(nullptr, "8c1645aa0101"));
    std::vector<std::string> texts = command_texts();
    std::vector<std::string> expected = {
        "uci delete devices.8c1645aa0101 && uci commit devices",
        "uci delete devices_extra.8c1645aa0101 && uci -c /var/run/config commit devices_extra",
        "uci delete assets.8c1645aa0101 && uci commit assets",
        "uci delete urlfilters.8c1645aa0101 && uci commit urlfilters",
        "timelimit flush && uci delete timelimits.8c1645aa0101 && uci commit timelimits"};
    ASSERT_GE(texts.size(), expected.size());
    EXPECT_EQ(expected, std::vector<std::string>(texts.begin(), texts.begin() + expected.size()));
    EXPECT_EQ(std::string::npos, root.read("/etc/config/devices").find("8c1645aa0101"));
    // The restarts follow in order: URL filter, time limits, speed limits.
    auto at = [&](const std::string& text) {
        for (size_t i = expected.size(); i < texts.size(); i++)
            if (texts[i] == text) return (int)i;
        return -1;
    };
    EXPECT_LT(0, at("rmmod vespin_knet && insmod /lib/vespin_knet.ko"));
    EXPECT_LT(at("rmmod vespin_knet && insmod /lib/vespin_knet.ko"), at("timelimit add"));
    EXPECT_LT(at("timelimit add"), at("vespin_qos flush"));

    plat_test_reset();
    EXPECT_EQ(VESPIN_ERR_FAILURE, vespin_del_offline_device(nullptr, "8c1645aa010"));
    EXPECT_EQ(VESPIN_ERR_FAILURE, vespin_del_offline_device(nullptr, "8c1645aa;ls;"));
    EXPECT_EQ(VESPIN_ERR_FAILURE, remove_device_related_config("a.b"));
    EXPECT_TRUE(plat_test_commands().empty());
}

TEST(OfflineDevices, RemovingAllOfflineDevicesReadsThroughTheContext) {
    test_root root;
    // Two more offline devices besides the root's; the tracker sees none of them in ARP.
    root.write("/etc/config/devices", root.read("/etc/config/devices") +
                                          "\nconfig sta 'aa0000000001'\n\toption mac 'aa0000000001'\n\toption online '0'\n");
    uci_context* ctx = vespin_uci_ctx_new();
    ASSERT_EQ(0, vespin_del_offline_device(ctx, nullptr));
    vespin_uci_ctx_free(ctx);
    std::string devices = root.read("/etc/config/devices");
    EXPECT_EQ(std::string::npos, devices.find("8c1645aa0101"));
    EXPECT_EQ(std::string::npos, devices.find("aa0000000001"));
    EXPECT_NE(std::string::npos, devices.find("6c5ab5a1c2d3"));
    EXPECT_EQ(VESPIN_ERR_FAILURE, vespin_del_offline_device(nullptr, nullptr));
}
