// The WAN speed test and the instantaneous throughput of an interface.
#include "internal_diagnostics.h"

#include "core/internal/diagnostics_parts.h"
#include "core/log.h"
#include "platform.h"

#include <stdio.h>
#include <stdlib.h>
#include <string.h>

namespace {

const size_t kSpeedtestOutput = 100;
const unsigned long kSampleGapUs = 500000;
const int kBitsPerHalfSecondByte = 16;  // bytes per half second to bits per second

// A statistics counter of the interface, truncated to signed 32-bit.
bool read_counter(const char* ifname, const char* counter, int32_t* value) {
    char path[96];
    snprintf(path, sizeof path, "/sys/class/net/%s/statistics/%s", ifname, counter);
    FILE* file = plat_fopen(path, "r");
    if (!file) {
        vespin_perror("popen");
        return false;
    }
    char text[65] = {0};
    size_t n = fread(text, 1, 64, file);
    fclose(file);
    text[n] = 0;
    *value = (int32_t)(uint32_t)strtoull(text, nullptr, 10);
    return true;
}

bool valid_ifname(const char* ifname) {
    if (!ifname || !*ifname || strlen(ifname) > 15 || strchr(ifname, '/')) return false;
    return strcmp(ifname, ".") != 0 && strcmp(ifname, "..") != 0;
}

int32_t rate(int32_t first, int32_t second) {
    int64_t bits = ((int64_t)second - first) * kBitsPerHalfSecondByte;
    if (bits > INT32_MAX) return INT32_MAX;
    if (bits < INT32_MIN) return INT32_MIN;
    return (int32_t)bits;
}

}  // namespace

extern "C" {

int wan_speed_test(int full, int32_t* code, int32_t* up, int32_t* down, int32_t* loss_rate, int32_t* min,
                   int32_t* max, int32_t* avg, int32_t* jitter) {
    char output[kSpeedtestOutput + 1];
    if (plat_run_capture(full ? "speedtest -f" : "speedtest", output, sizeof output, nullptr) < 0) {
        VLOG_ERROR("Fail to run speedtest");
        return VESPIN_ERR_FAILURE;
    }
    int32_t values[8] = {0};
    if (speedtest_output_parse(output, values) < 1) {
        VLOG_ERROR("Fail to read from speedtest");
        return VESPIN_ERR_FAILURE;
    }
    int32_t* outputs[8] = {code, up, down, loss_rate, min, max, avg, jitter};
    for (int i = 0; i < 8; i++)
        if (outputs[i]) *outputs[i] = values[i];
    return 0;
}

int get_realtime_speed(const char* ifname, int32_t* tx_out, int32_t* rx_out) {
    if (!valid_ifname(ifname)) {
        VLOG_ERROR("Invalid interface name");
        return VESPIN_ERR_FAILURE;
    }
    int32_t tx_first = 0, rx_first = 0, tx_second = 0, rx_second = 0;
    if (!read_counter(ifname, "tx_bytes", &tx_first) || !read_counter(ifname, "rx_bytes", &rx_first))
        return VESPIN_ERR_FAILURE;
    plat_usleep(kSampleGapUs);
    if (!read_counter(ifname, "tx_bytes", &tx_second) || !read_counter(ifname, "rx_bytes", &rx_second))
        return VESPIN_ERR_FAILURE;
    if (tx_out) *tx_out = rate(tx_first, tx_second);
    if (rx_out) *rx_out = rate(rx_first, rx_second);
    return 0;
}

}  // extern "C"
