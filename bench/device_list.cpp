// mesh_device_list on a gateway with 64 clients (24 on each radio, 16
// wired) and a vendor table of 30,000 OUIs, against reading and parsing the
// same driver files, ARP table and leases without the list's logic; and the
// vendor table's one-time build against reading its file line by line.
#include "core/internal/devices/vendor_table.h"
#include "core/mesh_maintainer/table_segment.h"
#include "internal_devices.h"
#include "platform.h"

#include <benchmark/benchmark.h>
#include <stdio.h>
#include <stdlib.h>

#include <algorithm>
#include <chrono>
#include <map>
#include <string>
#include <vector>

namespace {

const int kWireless = 24;  // per radio
const int kWired = 16;
const int kVendorLines = 30000;

std::string client_mac(int i, const char* separator) {
    char text[32];
    // OUIs spread over the table; the last octet tells the clients apart.
    snprintf(text, sizeof text, "%02x%s%02x%s%02x%s00%s00%s%02x", 0x10 + (i * 7) % 200, separator, (i * 13) % 256,
             separator, (i * 29) % 256, separator, separator, separator, i);
    return text;
}

std::string station_block(const std::string& mac, int i) {
    char text[1024];
    snprintf(text, sizeof text,
             "%d: stat_info...\n    state: 1\n    hwaddr: %s\n    tx_packets: 100\n    tx_bytes: %d\n"
             "    rx_bytes: %d\n    tx_avarage: 120\n    rx_avarage: 40\n    rssi: 60 (ss 60 58)\n"
             "    expired_time: 30000 (10ms unit)\n    current_tx_rate: VHT NSS2-MCS9 866.7\n"
             "    link_time: 0 day 1 hr %d min 5 sec\n",
             i + 1, mac.c_str(), 1000 * i, 500 * i, i % 60);
    return text;
}

// Fills the gateway's root: ARP table, station files, devices package and
// a vendor file whose lines include every client's OUI.
void make_gateway() {
    std::string arp = "IP address       HW type     Flags       HW address            Mask     Device\n";
    std::string radio[2], devices;
    for (int i = 0; i < 2 * kWireless + kWired; i++) {
        arp += "192.168.1." + std::to_string(10 + i) + " 0x1 0x2 " + client_mac(i, ":") + " * br0\n";
        std::string mac = client_mac(i, "");
        if (i < 2 * kWireless) radio[i % 2] += station_block(mac, i);
        devices += "\nconfig sta '" + mac + "'\n\toption mac '" + mac + "'\n\toption online '1'\n\toption band '" +
                   (i < 2 * kWireless ? (i % 2 ? "2.4g" : "5g") : "wired") + "'\n";
    }
    plat_write_file_atomic("/proc/net/arp", arp);
    plat_write_file_atomic("/proc/wlan0/sta_info", "-- STA info table --\n" + radio[0]);
    plat_write_file_atomic("/proc/wlan1/sta_info", "-- STA info table --\n" + radio[1]);
    plat_write_file_atomic("/etc/config/devices", devices);
    std::string vendors;
    for (int i = 0; i < kVendorLines; i++) {
        char line[64];
        snprintf(line, sizeof line, "%02X:%02X:%02X Vendor number %d\n", (i >> 16) & 0xff, (i >> 8) & 0xff, i & 0xff,
                 i / 3);
        vendors += line;
    }
    for (int i = 0; i < 2 * kWireless + kWired; i++) {
        std::string oui = client_mac(i, ":").substr(0, 8);
        std::transform(oui.begin(), oui.end(), oui.begin(), ::toupper);
        vendors += oui + " Client vendor " + std::to_string(i) + "\n";
    }
    plat_write_file_atomic("/etc/device_mac_brand.txt", vendors);
}

std::vector<double> list_ns, reference_ns, table_ns, lines_ns;

double median(std::vector<double> values) {
    if (values.empty()) return 0;
    std::sort(values.begin(), values.end());
    size_t n = values.size();
    return n % 2 ? values[n / 2] : (values[n / 2 - 1] + values[n / 2]) / 2;
}

template <typename F>
void timed(benchmark::State& state, std::vector<double>* runs, F body) {
    auto start = std::chrono::steady_clock::now();
    for (auto _ : state) body();
    double ns = std::chrono::duration<double, std::nano>(std::chrono::steady_clock::now() - start).count();
    if (state.iterations() > 0) runs->push_back(ns / (double)state.iterations());
}

void BM_MeshDeviceList(benchmark::State& state) {
    int32_t expected = 2 * kWireless + kWired;
    timed(state, &list_ns, [&] {
        lan_device_info* list = nullptr;
        int32_t count = 0;
        if (mesh_device_list(&list, &count, 0) != 0 || count != expected) state.SkipWithError("wrong device list");
        free(list);
    });
}

// The same driver files, ARP table (read twice by the list: once for the
// guest clients) and leases, parsed without merging them.
void BM_ReadSameFiles(benchmark::State& state) {
    timed(state, &reference_ns, [&] {
        arp_entry arp[ARP_ENTRY_MAX];
        lan_device_info stations[LAN_DEVICE_MAX];
        dhcp_client_info leases[DHCP_CLIENT_MAX];
        int32_t lease_count = 0;
        benchmark::DoNotOptimize(get_arp_table_list(arp));
        benchmark::DoNotOptimize(get_arp_table_list(arp));
        for (const char* path : {"/proc/wlan0/sta_info", "/proc/wlan1/sta_info", "/proc/wlan0-va0/sta_info",
                                 "/proc/wlan1-va0/sta_info"})
            benchmark::DoNotOptimize(get_wifi_device_mac_list(path, stations));
        rtk_get_dhcp_client_list(&lease_count, leases);
    });
}

void BM_VendorTableBuild(benchmark::State& state) {
    timed(state, &table_ns, [&] {
        vendor_table_forget();
        if (!vendor_table_get()) state.SkipWithError("no vendor file");
    });
}

void BM_VendorFileLines(benchmark::State& state) {
    timed(state, &lines_ns, [&] {
        FILE* file = plat_fopen("/etc/device_mac_brand.txt", "r");
        char line[128];
        size_t lines = 0;
        while (fgets(line, sizeof line, file)) lines++;
        fclose(file);
        benchmark::DoNotOptimize(lines);
    });
}

BENCHMARK(BM_MeshDeviceList)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(BM_ReadSameFiles)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(BM_VendorTableBuild)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(BM_VendorFileLines)->Unit(benchmark::kMillisecond)->UseRealTime();

}  // namespace

int main(int argc, char** argv) {
    char root[] = "/tmp/vespin-bench-XXXXXX";
    if (!mkdtemp(root)) return 1;
    std::string command = std::string("sh '") + VESPIN_SOURCE_DIR + "/sim/mkroot.sh' '" + root + "' --tools '" +
                          VESPIN_TOOLS_DIR + "'";
    if (system(command.c_str()) != 0) return 1;
    setenv("VESPIN_ROOT", root, 1);
    plat_reload_root();
    make_gateway();
    vendor_table_get();  // built once per process, before the first list
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    double list = median(list_ns), reference = median(reference_ns);
    if (reference > 0)
        printf("mesh_device_list, 64 clients: %.2f ms; reading the same files: %.2f ms; ratio %.2f\n", list / 1e6,
               reference / 1e6, list / reference);
    double table = median(table_ns), lines = median(lines_ns);
    if (lines > 0)
        printf("vendor table of %d lines, built once per process: %.2f ms; reading its lines: %.2f ms; ratio %.2f\n",
               kVendorLines + 2 * kWireless + kWired, table / 1e6, lines / 1e6, table / lines);
    mesh_table::forget_segment(true);
    system((std::string("rm -rf '") + root + "'").c_str());
    return 0;
}
