// The connected-device list: the driver's station files, the ARP table, the
// vendor table, the leases and the merged list with its liveness rules.
#include "device_gateway.h"
#include "internal_sta_blacklist.h"
#include "internal_devices.h"
#include "mesh_maintainer.h"
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

#include <memory>
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

}  // namespace

TEST(VendorTable, MergesOnlyConsecutiveRepeatsAndCutsNames) {
    device_gateway root;
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

namespace {

std::vector<std::string> arp_deletions() {
    std::vector<std::string> texts;
    for (auto& text : command_texts())
        if (text.rfind("arp -d ", 0) == 0) texts.push_back(text);
    return texts;
}

struct device_list {
    lan_device_info* records = nullptr;
    int32_t count = 0;
    int rv = -1;
    explicit device_list(uint8_t probe_wired = 0) { rv = mesh_device_list(&records, &count, probe_wired); }
    ~device_list() { free(records); }
    std::vector<std::string> macs() const {
        std::vector<std::string> texts;
        for (int32_t i = 0; i < count; i++) texts.push_back(mac_text(records[i].mac));
        return texts;
    }
};

}  // namespace

TEST(DeviceList, MergesArpStationsVendorsAndUci) {
    device_gateway root;
    device_list list;
    ASSERT_EQ(0, list.rv);
    // The guest 3c22fb445566 is in the ARP table but no LAN client.
    ASSERT_EQ((std::vector<std::string>{"6c5ab5a1c2d3", "a483e7112233", "00e04c680102"}), list.macs());
    const lan_device_info& phone = list.records[0];
    EXPECT_STREQ("Pixel phone", phone.name);  // devices.<mac>.name
    EXPECT_STREQ("Tallwave Mobile", phone.brand);
    EXPECT_EQ("192.168.1.101", ip_text(phone.ip));
    EXPECT_STREQ("5g", phone.band);
    EXPECT_EQ(1, phone.wireless);
    EXPECT_EQ(2u * 3600 + 13 * 60 + 5, phone.link_time);
    EXPECT_EQ(3452210u, phone.bytes_2);
    EXPECT_EQ(18432650u, phone.bytes_1);
    EXPECT_EQ(3120u * 8, phone.avg_rate_2);
    EXPECT_EQ(15200u * 8, phone.avg_rate_1);
    EXPECT_EQ(-38, phone.rssi);
    EXPECT_EQ(866700000u, phone.tx_rate);
    EXPECT_STREQ("0224081231A1B2C", phone.node_sn);
    EXPECT_STREQ("Lark-1B2C", phone.node_name);
    const lan_device_info& tablet = list.records[1];
    EXPECT_STREQ("Orchard Devices", tablet.name);  // no UCI name: the vendor
    EXPECT_STREQ("2.4g", tablet.band);
    EXPECT_EQ(41u * 60 + 17, tablet.link_time);
    const lan_device_info& desk = list.records[2];
    EXPECT_STREQ("Desk PC", desk.name);
    EXPECT_STREQ("Lanport Systems", desk.brand);
    EXPECT_STREQ("wired", desk.band);
    EXPECT_EQ(0, desk.wireless);
    EXPECT_TRUE(arp_deletions().empty());

    guest_device_info guests[4];
    guest_device_list guest_list = {4, guests};
    ASSERT_EQ(0, vespin_get_guest_device_list(&guest_list));
    ASSERT_EQ(1, guest_list.count);
    EXPECT_STREQ("3c22fb445566", guests[0].mac);
    EXPECT_STREQ("Vespin-Guest-5G", guests[0].ssid);
    EXPECT_STREQ("192.168.1.120", guests[0].ip);
    EXPECT_STREQ("visitor-laptop", guests[0].name);  // the lease's host name
    EXPECT_EQ(5u * 60 + 2, guests[0].link_time);
    EXPECT_STREQ("0224081231A1B2C", guests[0].node_sn);
    guest_list.count = 0;
    EXPECT_EQ(VESPIN_ERR_NO_CHANGE, vespin_get_guest_device_list(&guest_list));
    EXPECT_EQ(VESPIN_ERR_FAILURE, vespin_get_guest_device_list(nullptr));
}

TEST(DeviceList, DeadClientsAreDroppedWithTheirArpEntries) {
    device_gateway root;
    // The phone's association is 0 seconds old; the tablet shows up at a
    // second address too and answers arping only there; the desk PC is
    // offline in UCI.
    std::string stations = root.read("/proc/wlan0/sta_info");
    stations.replace(stations.find("0 day 2 hr 13 min 5 sec"), 23, "0 sec");
    root.write("/proc/wlan0/sta_info", stations);
    root.write("/proc/net/arp", root.read("/proc/net/arp") +
                                    "192.168.1.105    0x1         0x2         a4:83:e7:11:22:33     *        br0\n");
    root.write("/var/run/arping_silent", "192.168.1.102\n");
    std::string devices = root.read("/etc/config/devices");
    devices.replace(devices.find("option online '1'\n\toption band 'wired'"), 17, "option online '0'");
    root.write("/etc/config/devices", devices);

    device_list list;
    ASSERT_EQ(0, list.rv);
    EXPECT_EQ((std::vector<std::string>{"a483e7112233"}), list.macs());
    EXPECT_EQ("192.168.1.105", ip_text(list.records[0].ip));
    EXPECT_EQ((std::vector<std::string>{"arp -d 192.168.1.101", "arp -d 192.168.1.102", "arp -d 192.168.1.103"}),
              arp_deletions());
    std::string arp = root.read("/proc/net/arp");
    EXPECT_EQ(std::string::npos, arp.find("192.168.1.101 "));
    EXPECT_NE(std::string::npos, arp.find("192.168.1.105 "));

    // Probing wired devices: the desk PC (back in the table) counts when it answers.
    root.write("/proc/net/arp", arp + "192.168.1.103    0x1         0x2         00:e0:4c:68:01:02     *        br0\n");
    device_list probed(1);
    EXPECT_EQ((std::vector<std::string>{"a483e7112233", "00e04c680102"}), probed.macs());
    root.write("/var/run/arping_silent", "192.168.1.103\n");
    device_list silent(1);
    EXPECT_EQ((std::vector<std::string>{"a483e7112233"}), silent.macs());
}

TEST(DeviceList, FailuresAndEmptyLists) {
    device_gateway root;
    plat_test_capture_log();
    // Zero devices: 0, and the outputs stay as they were.
    root.write("/proc/net/arp", "IP address       HW type     Flags       HW address            Mask     Device\n");
    lan_device_info sentinel;
    lan_device_info* records = &sentinel;
    int32_t count = 77;
    EXPECT_EQ(0, mesh_device_list(&records, &count, 0));
    EXPECT_EQ(&sentinel, records);
    EXPECT_EQ(77, count);

    // The ARP table cannot be read.
    plat_test_fail_open("/tmp/arp_table", EACCES);
    EXPECT_EQ(VESPIN_ERR_FAILURE, mesh_device_list(&records, &count, 0));
    EXPECT_TRUE(plat_test_logged("Fail to get arp table list"));
    EXPECT_TRUE(plat_test_logged("rtk_get_lan_device_info failed!"));
    EXPECT_EQ(&sentinel, records);

    // Without the vendor file nothing else is done.
    device_gateway::forget();
    plat_unlink("/etc/device_mac_brand.txt");
    plat_test_reset();
    plat_test_capture_log();
    EXPECT_EQ(VESPIN_ERR_FAILURE, mesh_device_list(&records, &count, 0));
    EXPECT_TRUE(plat_test_logged("rtk_get_lan_device_info failed!"));
    EXPECT_TRUE(plat_test_commands().empty());
    EXPECT_EQ(VESPIN_ERR_FAILURE, mesh_device_list(nullptr, &count, 0));
}

TEST(DeviceList, EachFileThatCannotBeOpenedHasItsOwnOutcome) {
    // What the list reads, and what is left when that one file cannot be
    // opened: the vendor table and the ARP table are needed; without the
    // leases or the DHCP server's pid nothing changes; without the
    // blacklist (which holds the tablet) nobody is barred; without the
    // devices package the defaults apply (no UCI name, so the vendor; no
    // "online", so the wired desk PC is gone).
    struct fault {
        const char* path;
        int code;
        std::vector<std::string> macs;
    };
    const std::vector<std::string> all = {"6c5ab5a1c2d3", "a483e7112233", "00e04c680102"};
    const std::vector<fault> faults = {
        {"/etc/device_mac_brand.txt", VESPIN_ERR_FAILURE, {}},
        {"/tmp/arp_table", VESPIN_ERR_FAILURE, {}},
        {"/var/lib/misc/udhcpd.leases", 0, {"6c5ab5a1c2d3", "00e04c680102"}},
        {"/var/run/udhcpd.pid", 0, {"6c5ab5a1c2d3", "00e04c680102"}},
        {"/etc/config/mac_filter_black", 0, all},
        {"/etc/config/devices", 0, {"6c5ab5a1c2d3"}},
    };
    device_gateway root;
    uci_context* ctx = vespin_uci_ctx_new();
    blacklist_entry entry = {"a483e7112233", "tablet"};
    ASSERT_EQ(0, sta_blacklist_add(ctx, &entry));
    ASSERT_EQ(0, sta_blacklist_commit(ctx));
    vespin_uci_ctx_free(ctx);
    for (const fault& f : faults) {
        SCOPED_TRACE(f.path);
        device_gateway::forget();
        plat_test_reset();
        plat_test_capture_log();
        // The UCI engine opens its packages by their path inside the root.
        bool package = std::string(f.path).rfind("/etc/config/", 0) == 0;
        plat_test_fail_open(package ? root.path(f.path) : f.path, EACCES);
        device_list list;
        EXPECT_EQ(f.code, list.rv);
        EXPECT_EQ(f.macs, list.macs());
        if (f.code == 0 && list.count > 0 && std::string(f.path) == "/etc/config/devices")
            EXPECT_STREQ("Tallwave Mobile", list.records[0].name);
    }
}

TEST(DeviceList, MeshNodesAreNeverClientsAndStationsHangOnTheirNode) {
    device_gateway root;
    plat_test_set_clock(1763700000, 0);
    // A satellite's bridge shows in the gateway's ARP table; the satellite
    // reports the tablet (5 GHz there) and a guest.
    root.write("/proc/net/arp", root.read("/proc/net/arp") +
                                    "192.168.1.2      0x1         0x2         02:56:00:00:00:02     *        br0\n"
                                    "192.168.1.121    0x1         0x2         3c:22:fb:44:55:77     *        br0\n");
    mesh_maintainer* inst = mesh_maintainer_get_inst();
    ASSERT_FALSE(vespin_is_error(inst));
    std::unique_ptr<mesh_node> satellite(new mesh_node());
    snprintf(satellite->sn, sizeof satellite->sn, "0224081231A1B3D");
    snprintf(satellite->name, sizeof satellite->name, "satellite-1");
    snprintf(satellite->ip, sizeof satellite->ip, "192.168.1.2");
    snprintf(satellite->mac_eth0, sizeof satellite->mac_eth0, "025600000002");
    satellite->station_count = 1;
    vespin_sta& tablet = satellite->stations[0];
    snprintf(tablet.mac, sizeof tablet.mac, "a483e7112233");
    tablet.band = 0;
    tablet.onlinetime = 600;
    tablet.rtspeedup = 11;
    tablet.rtspeeddown = 22;
    tablet.rx_bytes = 33;
    tablet.tx_bytes = 44;
    tablet.rssi = -50;
    tablet.negotiation_rate = 400000000;
    satellite->guest_station_count = 1;
    snprintf(satellite->guest_stations[0].mac, sizeof satellite->guest_stations[0].mac, "3c22fb445577");
    satellite->guest_stations[0].band = 1;
    satellite->guest_stations[0].onlinetime = 90;
    ASSERT_EQ(0, mesh_maintainer_put_node(inst, satellite.get()));

    {
        device_list list;
        ASSERT_EQ((std::vector<std::string>{"6c5ab5a1c2d3", "a483e7112233", "00e04c680102"}), list.macs());
        const lan_device_info& record = list.records[1];
        EXPECT_STREQ("5g", record.band);  // as the satellite hears it
        EXPECT_STREQ("0224081231A1B3D", record.node_sn);
        EXPECT_STREQ("satellite-1", record.node_name);
        EXPECT_EQ(600u, record.link_time);
        EXPECT_EQ(11u, record.avg_rate_2);
        EXPECT_EQ(22u, record.avg_rate_1);
        EXPECT_EQ(33u, record.bytes_2);
        EXPECT_EQ(44u, record.bytes_1);
        EXPECT_EQ(-50, record.rssi);
        EXPECT_EQ(400000000u, record.tx_rate);
        EXPECT_STREQ("0224081231A1B2C", list.records[0].node_sn);  // the gateway's own station

        guest_device_info guests[4];
        guest_device_list guest_list = {4, guests};
        ASSERT_EQ(0, vespin_get_guest_device_list(&guest_list));
        ASSERT_EQ(2, guest_list.count);
        EXPECT_STREQ("3c22fb445577", guests[0].mac);  // the satellite's reports come first
        EXPECT_STREQ("Vespin-Guest", guests[0].ssid);
        EXPECT_STREQ("satellite-1", guests[0].node_name);
        EXPECT_STREQ("Orchard Devices", guests[0].name);  // no lease, no asset name: the vendor
        EXPECT_STREQ("3c22fb445566", guests[1].mac);
    }
    // Deliberate: the satellite is still no client after it left the table
    // (probed, its address would answer); its guest, reported by nobody
    // now, is one.
    mesh_maintainer_delete_node(inst, "0224081231A1B3D");
    device_list after(1);
    EXPECT_EQ((std::vector<std::string>{"6c5ab5a1c2d3", "a483e7112233", "00e04c680102", "3c22fb445577"}),
              after.macs());
    EXPECT_STREQ("2.4g", after.records[1].band);  // back on the gateway's own radio
    EXPECT_EQ(1, known_mesh_macs_count());
}

TEST(KnownMeshMacs, SixtyThreeEntriesEmptyTheListForOneCollection) {
    known_mesh_macs_forget();
    std::vector<mesh_node> nodes(63);
    std::vector<mesh_node*> pointers;
    for (int i = 0; i < 63; i++) {
        memset(&nodes[i], 0, sizeof nodes[i]);
        snprintf(nodes[i].mac_eth0, sizeof nodes[i].mac_eth0, "0256000000%02x", i);
        pointers.push_back(&nodes[i]);
    }
    known_mesh_macs_update(pointers.data(), 40);
    EXPECT_EQ(40, known_mesh_macs_count());
    known_mesh_macs_update(pointers.data(), 40);  // nothing new
    EXPECT_EQ(40, known_mesh_macs_count());
    known_mesh_macs_update(pointers.data() + 30, 33);  // 23 new ones reach 63
    EXPECT_EQ(63, known_mesh_macs_count());
    EXPECT_TRUE(known_mesh_macs_contains("025600000000"));
    EXPECT_TRUE(known_mesh_macs_contains("02560000003E"));
    // Deliberate: the collection that finds 63 empties the list and filters nothing.
    known_mesh_macs_update(pointers.data(), 5);
    EXPECT_EQ(0, known_mesh_macs_count());
    EXPECT_FALSE(known_mesh_macs_contains("025600000000"));
    // The next one fills it from the neighbours of its time only.
    known_mesh_macs_update(pointers.data() + 10, 2);
    EXPECT_EQ(2, known_mesh_macs_count());
    EXPECT_FALSE(known_mesh_macs_contains("025600000000"));
    known_mesh_macs_forget();
}
