// The driver's station files ("/proc/wlan0/sta_info" and the guest ones),
// reduced to one line per station by the driver's own awk pipeline.
#include "internal_devices.h"

#include "core/internal/device_text.h"
#include "platform.h"

#include <ctype.h>
#include <math.h>
#include <stdio.h>
#include <string.h>

#include <vector>

namespace {

// The first awk picks the nine keys of each station in the order the driver
// prints them (link_time as "sec min hr day"); the second joins every nine
// output lines into one. Deliberate: a key missing from a station, or a
// value of -99 (not printed), shifts every later line, which is how the
// driver's tools have always read these files.
const char kStationCommand[] =
    "awk '{if ($0 ~ /^[[:blank:]]+(current_tx_rate):/) print $NF;if ($0~/^[[:blank:]]+(link_time):/) "
    "{if (NF==9) print $8,$6,$4,$2; if (NF==7) print $6,$4,$2,0; if (NF==5) print $4,$2,0,0;if (NF==3) "
    "print $2,0,0,0};if($0 ~ /^[[:blank:]]+(hwaddr|rx_bytes|tx_bytes|tx_avarage|rx_avarage|rssi|expired_time):/ "
    "&& $2 !=\"-99\") print $2}' %s | awk 'NR%%9 {printf(\"%%s \", $0); next} {print}'";

// Lines longer than this are not station lines (a station's fields fill
// well under a hundred characters).
const size_t kLineMax = 255;
// Output read from the pipeline: 64 stations fill a few kilobytes.
const size_t kOutputMax = 64 * 1024;

bool is_path_text(const char* path) {
    if (!*path) return false;
    for (const char* p = path; *p; p++)
        if (!isalnum((unsigned char)*p) && !strchr("/._-", *p)) return false;
    return true;
}

// Mbit/s as the driver prints it, to bit/s; values C cannot convert are clamped.
uint64_t rate_bits(double mbits) {
    if (!(mbits > 0)) return 0;
    double bits = mbits * 1000 * 1000;
    if (bits >= 18446744073709551615.0) return UINT64_MAX;
    return (uint64_t)bits;
}

// One joined station line into *device; false for a line that is skipped.
bool parse_station_line(const char* line, lan_device_info* device) {
    char mac[32] = "";
    unsigned long long first_bytes = 0, second_bytes = 0;
    unsigned first_average = 0, second_average = 0, expired = 0;
    int rssi = 0;
    double rate = 0;
    unsigned seconds = 0, minutes = 0, hours = 0, days = 0;
    int fields = sscanf(line, "%31s %llu %llu %u %u %d %u %lf %u %u %u %u", mac, &first_bytes, &second_bytes,
                        &first_average, &second_average, &rssi, &expired, &rate, &seconds, &minutes, &hours, &days);
    if (fields < 9 || expired == 0) return false;
    uint8_t bytes[6];
    if (!mac_text_to_bytes(mac, bytes)) return false;
    memset(device, 0, sizeof *device);
    memcpy(device->mac, bytes, sizeof bytes);
    device->bytes_2 = second_bytes;
    device->bytes_1 = first_bytes;
    device->avg_rate_2 = second_average * 8u;
    device->avg_rate_1 = first_average * 8u;
    device->rssi = rssi ? (int32_t)((uint32_t)rssi - 100u) : 0;
    device->expired_time = expired;
    device->tx_rate = rate_bits(rate);
    device->link_time = (uint64_t)days * 86400 + (uint64_t)hours * 3600 + (uint64_t)minutes * 60 + seconds;
    return true;
}

}  // namespace

int get_wifi_device_mac_list(const char* path, lan_device_info* records) {
    if (!path || !records || !is_path_text(path)) return -1;
    char command[sizeof kStationCommand + 256];
    int length = snprintf(command, sizeof command, kStationCommand, path);
    if (length < 0 || (size_t)length >= sizeof command) return -1;
    std::vector<char> output(kOutputMax);
    if (plat_run_capture(command, output.data(), output.size(), nullptr) < 0) return -1;

    int count = 0;
    for (char* line = output.data(); *line && count < LAN_DEVICE_MAX;) {
        char* end = strchr(line, '\n');
        size_t size = end ? (size_t)(end - line) : strlen(line);
        if (end) *end = '\0';
        if (size <= kLineMax && parse_station_line(line, &records[count])) count++;
        if (!end) break;
        line = end + 1;
    }
    return count;
}
