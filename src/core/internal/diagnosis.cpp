// The round-trip time and the user-facing ping, traceroute and nslookup: a
// caller's host text in a command line, so it is checked first.
#include "internal_diagnostics.h"

#include "core/internal/diagnostics_parts.h"
#include "core/log.h"
#include "platform.h"

#include <stdio.h>
#include <string.h>
#include <sys/wait.h>

namespace {

const size_t kPingOutputSize = 2048;

const char* const kDiagnosisCommands[] = {
    "ping %s -c 5 2>&1",
    "traceroute -I %s -q 1 -w 2 2>&1",
    "nslookup %s 2>&1",
};

}  // namespace

extern "C" {

int get_network_ms(const char* host, uint32_t* ms_out) {
    if (!host || !ms_out) {
        VLOG_ERROR("Invalid host");
        return VESPIN_ERR_FAILURE;
    }
    if (!diagnostics_valid_host(host)) {
        VLOG_ERROR("Invalid host: %.64s", host);
        return VESPIN_ERR_INVALID_PARAM;
    }
    if (vespin_is_wan_connected() != VESPIN_WAN_INTERNET) {
        VLOG_ERROR("Wan is not connected");
        return VESPIN_ERR_HTTP_PERFORM;
    }
    char command[320];
    snprintf(command, sizeof command, "ping -4 %s -c 5 2>&1", host);
    char output[kPingOutputSize];
    int status = 0;
    if (plat_run_capture(command, output, sizeof output, &status) < 0) {
        VLOG_ERROR("Fail to run cmd");
        return VESPIN_ERR_FAILURE;
    }
    if (!WIFEXITED(status) || WEXITSTATUS(status) != 0 || !ping_summary_average_ms(output, ms_out)) {
        VLOG_ERROR("Fail to ping %s", host);
        return VESPIN_ERR_INVALID_PARAM;
    }
    return 0;
}

int get_network_diagnosis_msg(diagnosis_request* request, int size) {
    if (!request || !request->output || size < 1) {
        VLOG_ERROR("Invalid output buffer");
        return VESPIN_ERR_FAILURE;
    }
    if (request->type > VESPIN_DIAGNOSIS_NSLOOKUP) {
        VLOG_ERROR("Unknown diagnosis type %d", request->type);
        return VESPIN_ERR_FAILURE;
    }
    if (!memchr(request->target, 0, sizeof request->target) || !diagnostics_valid_host(request->target)) {
        VLOG_ERROR("Invalid host");
        return VESPIN_ERR_INVALID_PARAM;
    }
    char command[320];
    snprintf(command, sizeof command, kDiagnosisCommands[request->type], request->target);
    if (plat_run_capture(command, request->output, (size_t)size, nullptr) < 0) {
        VLOG_ERROR("Fail to run cmd");
        return VESPIN_ERR_FAILURE;
    }
    return 0;
}

}  // extern "C"
