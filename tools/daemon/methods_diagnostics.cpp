// "wan.state", "network.rtt", "network.ping", "network.traceroute",
// "network.nslookup", "network.speedtest" and "network.speed": whether the
// node reaches the Internet and the measurements a user asks for.
#include "internal_diagnostics.h"
#include "method_reply.h"
#include "methods.h"

#include <string.h>

namespace {

const size_t kDiagnosisOutput = 4096;  // fits a datagram answer with room to spare

vespin_response* diagnose(json_object* params, uint8_t type) {
    vespin_response* error = nullptr;
    const char* host;
    if (!param_text(params, "host", &host, &error)) return error;
    diagnosis_request request;
    memset(&request, 0, sizeof request);
    request.type = type;
    if (strlen(host) >= sizeof request.target) return method_error(VESPIN_ERR_INVALID_PARAM, "Host name too long");
    strcpy(request.target, host);
    char output[kDiagnosisOutput];
    request.output = output;
    int rv = get_network_diagnosis_msg(&request, (int)sizeof output);
    if (rv == VESPIN_ERR_INVALID_PARAM)
        return method_error(rv, "Invalid host: a host name or an IPv4 or IPv6 address");
    if (rv != 0) return method_error(rv, "Fail to run the diagnosis");
    json_object* result = json_object_new_object();
    json_object_object_add(result, "output", json_object_new_string(output));
    return method_result(result);
}

}  // namespace

vespin_response* wan_state_method(json_object* params) {
    json_object* result = json_object_new_object();
    json_object_object_add(result, "state", json_object_new_int(vespin_is_wan_connected()));
    return method_result(result);
}

vespin_response* network_rtt_method(json_object* params) {
    vespin_response* error = nullptr;
    const char* host;
    if (!param_text(params, "host", &host, &error)) return error;
    uint32_t ms = 0;
    int rv = get_network_ms(host, &ms);
    if (rv == VESPIN_ERR_HTTP_PERFORM) return method_error(rv, "No Internet connection");
    if (rv == VESPIN_ERR_INVALID_PARAM) return method_error(rv, "Invalid host, or no answer from it");
    if (rv != 0) return method_error(rv, "Fail to run ping");
    json_object* result = json_object_new_object();
    json_object_object_add(result, "host", json_object_new_string(host));
    json_object_object_add(result, "ms", json_object_new_int64(ms));
    return method_result(result);
}

vespin_response* network_ping_method(json_object* params) { return diagnose(params, VESPIN_DIAGNOSIS_PING); }

vespin_response* network_traceroute_method(json_object* params) {
    return diagnose(params, VESPIN_DIAGNOSIS_TRACEROUTE);
}

vespin_response* network_nslookup_method(json_object* params) { return diagnose(params, VESPIN_DIAGNOSIS_NSLOOKUP); }

vespin_response* network_speedtest_method(json_object* params) {
    vespin_response* error = nullptr;
    bool full = false;
    if (!param_bool_or(params, "full", false, &full, &error)) return error;
    int32_t v[8] = {0};
    int rv = wan_speed_test(full ? 1 : 0, &v[0], &v[1], &v[2], &v[3], &v[4], &v[5], &v[6], &v[7]);
    if (rv != 0) return method_error(rv, "Fail to run the speed test");
    static const char* const kKeys[8] = {"code", "up", "down", "loss_rate", "min", "max", "avg", "jitter"};
    json_object* result = json_object_new_object();
    for (int i = 0; i < 8; i++) json_object_object_add(result, kKeys[i], json_object_new_int(v[i]));
    return method_result(result);
}

vespin_response* network_speed_method(json_object* params) {
    vespin_response* error = nullptr;
    const char* ifname;
    if (!param_text_or(params, "ifname", "eth1", &ifname, &error)) return error;
    int32_t tx = 0, rx = 0;
    int rv = get_realtime_speed(ifname, &tx, &rx);
    if (rv != 0) return method_error(rv, "Fail to read the counters of %.32s", ifname);
    json_object* result = json_object_new_object();
    json_object_object_add(result, "ifname", json_object_new_string(ifname));
    json_object_object_add(result, "tx", json_object_new_int(tx));
    json_object_object_add(result, "rx", json_object_new_int(rx));
    return method_result(result);
}
