// WAN traffic statistics from the platform's "wanstat", and the default gateway.
#include "vespin_core.h"

#include "apmib.h"
#include "core/log.h"
#include "core/mib_ipv4.h"
#include "platform/platform.h"

#include <stdio.h>

namespace {

const int kMibWanMode = 104, kMibWanGateway = 103, kMibWanLink = 2405;
const char kWanstat[] = "wanstat";
const char kDefaultRoute[] = "route -n | awk '/^0.0.0.0/{print $2}'";
const size_t kWanstatBytes = 200;  // at most this much of its output is read
const char kWanstatFormat[] =
    "traffic_dl: %lf\ntraffic_ul: %lf\naverage_dl: %d\naverage_ul: %d\npeak_dl: %d\npeak_ul: %d\n"
    "realtime_dl: %d\nrealtime_ul: %d";

// Runs a command and reads its output; false (logged) when it cannot start.
bool capture(const char* command, char* out, size_t size) {
    if (plat_run_capture(command, out, size, nullptr) < 0) {
        VLOG_ERROR("Fail to execute: `%s`", command);
        vespin_perror("Fail");
        return false;
    }
    return true;
}

}  // namespace

extern "C" {

int get_wan_status(wan_status* status) {
    if (status == nullptr) return VESPIN_ERR_FAILURE;
    char output[kWanstatBytes + 1];
    if (!capture(kWanstat, output, sizeof output)) return VESPIN_ERR_FAILURE;
    if (output[0] == '\0') {
        VLOG_ERROR("Fail to get output of wanstat");
        return VESPIN_ERR_FAILURE;
    }
    int n = sscanf(output, kWanstatFormat, &status->traffic_dl, &status->traffic_ul, &status->average_dl,
                   &status->average_ul, &status->peak_dl, &status->peak_ul, &status->realtime_dl,
                   &status->realtime_ul);
    if (n < 8) {
        VLOG_ERROR("wan status pieces");
        vespin_perror("wan status");
        return VESPIN_ERR_FAILURE;
    }
    if (!apmib_get(kMibWanLink, &status->link)) return VESPIN_ERR_SETTING;
    return 0;
}

int get_gateway(char* out) {
    if (out == nullptr) return VESPIN_ERR_FAILURE;
    int mode = 0;
    if (!apmib_get(kMibWanMode, &mode)) {
        VLOG_ERROR("Fail to get DHCP");
        return VESPIN_ERR_FAILURE;
    }
    if (mode == 0) {
        if (!mib_get_ipv4_text(kMibWanGateway, out)) {
            VLOG_ERROR("Fail to get gateway");
            return VESPIN_ERR_FAILURE;
        }
        return 0;
    }
    char output[256];
    if (!capture(kDefaultRoute, output, sizeof output)) return VESPIN_ERR_FAILURE;
    int a, b, c, d;
    if (sscanf(output, "%d.%d.%d.%d", &a, &b, &c, &d) < 4) {
        VLOG_ERROR("Fail to scanf ip");
        return VESPIN_ERR_FAILURE;
    }
    snprintf(out, NET_INFO_TEXT_SIZE, "%d.%d.%d.%d", a, b, c, d);
    return 0;
}

}  // extern "C"
