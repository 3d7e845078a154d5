#include "mesh_agent.h"

#include "core/json_ref.h"
#include "core/log.h"
#include "dispatch.h"
#include "mesh_gateway.h"
#include "mesh_maintainer.h"
#include "platform/platform.h"
#include "mesh_node.h"
#include "network_record_apply.h"
#include "node_client.h"
#include "response.h"
#include "vespin_core.h"

#include <stdlib.h>
#include <string.h>

#include <algorithm>
#include <chrono>

namespace {

// How long a report waits for the gateway's answer at most.
const int kReportTimeoutMs = 3000;

// The node report as request text, with the version replaced when the
// daemon stands in for an older node; "" when it cannot be built.
std::string report_request(const bmd* report, const std::string& version) {
    json_ref json(bmd_to_json(report));
    if (!json) return std::string();
    json_object* node = nullptr;
    if (!version.empty() && json_object_object_get_ex(json.get(), "node", &node))
        json_object_object_add(node, "version", json_object_new_string(version.c_str()));
    return node_request_text("mesh.report", json.get());
}

// Keeps every node the gateway named (but this one) in the node table.
void learn_nodes(json_object* nodes, const char* own_sn) {
    mesh_maintainer* inst = mesh_maintainer_get_inst();
    if (vespin_is_error(inst) || !json_object_is_type(nodes, json_type_array)) return;
    mesh_node* node = (mesh_node*)calloc(1, sizeof *node);
    if (!node) return;
    for (size_t i = 0; i < json_object_array_length(nodes); i++) {
        memset(node, 0, sizeof *node);
        const char* text = json_object_to_json_string_ext(json_object_array_get_idx(nodes, i), JSON_C_TO_STRING_PLAIN);
        if (mesh_node_load_json(node, text) != 0 || strcmp(node->sn, own_sn) == 0) continue;
        int rv = mesh_maintainer_put_node(inst, node);
        if (rv != 0) VLOG_ERROR("Fail to keep node %s: %d", node->sn, rv);
    }
    free(node);
}

}  // namespace

void mesh_agent::start(const mesh_agent_options& options) {
    options_ = options;
    stopping_ = false;
    thread_ = std::thread(&mesh_agent::run, this);
}

void mesh_agent::stop() {
    {
        std::lock_guard<std::mutex> hold(mutex_);
        stopping_ = true;
    }
    wake_.notify_all();
    if (thread_.joinable()) thread_.join();
}

void mesh_agent::run() {
    auto next = std::chrono::steady_clock::now();
    for (;;) {
        round();
        next += std::chrono::seconds(options_.report_period);
        std::unique_lock<std::mutex> hold(mutex_);
        if (wake_.wait_until(hold, next, [this] { return stopping_; })) return;
    }
}

void mesh_agent::round() {
    {
        std::lock_guard<std::mutex> hold(node_library_lock());
        int rv = mesh_node_state_set(mesh_node_state_get());
        if (rv != 0) VLOG_ERROR("Fail to refresh the node state: %d", rv);
        if (options_.gateway.empty()) {
            std::string record;
            int64_t changed;
            gateway_network_record(&record, &changed);
        }
    }
    if (!options_.gateway.empty()) report();
}

void mesh_agent::report() {
    // A node that has just taken over the network record reports again at
    // once, so that the gateway sees the sync without waiting a period.
    int64_t synced = last_sync_;
    send_report();
    if (last_sync_ != synced) send_report();
}

void mesh_agent::send_report() {
    std::string request;
    {
        std::lock_guard<std::mutex> hold(node_library_lock());
        bmd* report = (bmd*)calloc(1, sizeof(bmd));
        if (!report) return;
        int rv = bmd_reload(report);
        report->last_mbd_sync_time = last_sync_;
        if (rv == 0) request = report_request(report, options_.version);
        else VLOG_ERROR("Fail to build the node report: %d", rv);
        free(report);
    }
    if (request.empty()) return;
    std::string reply, why;
    int rv = node_call_nng(options_.gateway, options_.gateway_port, request, kReportTimeoutMs, &reply, &why);
    if (rv != 0) {
        if (reporting_ok_) VLOG_ERROR("Fail to report to the gateway %s: %s", options_.gateway.c_str(), why.c_str());
        reporting_ok_ = false;
        return;
    }
    std::lock_guard<std::mutex> hold(node_library_lock());
    take_answer(reply);
}

void mesh_agent::take_answer(const std::string& reply) {
    vespin_response* response = vespin_response_new_from_json(reply.c_str());
    if (vespin_is_error(response)) {
        VLOG_ERROR("Wrong answer from the gateway: %s", reply.c_str());
        return;
    }
    if (response->code != 0) {
        if (reporting_ok_)
            VLOG_ERROR("The gateway refused the report: %d %s", response->code, response->message);
        reporting_ok_ = false;
        vespin_response_free(response);
        return;
    }
    if (!reporting_ok_) VLOG_INFO("Reporting to the gateway %s again", options_.gateway.c_str());
    reporting_ok_ = true;
    json_object *nodes = nullptr, *record = nullptr, *stamp = nullptr;
    const char* own_sn = get_sn_2();
    if (json_object_object_get_ex(response->result, "nodes", &nodes)) learn_nodes(nodes, own_sn ? own_sn : "");
    if (json_object_object_get_ex(response->result, "mbd", &record) &&
        json_object_object_get_ex(response->result, "mbd_time", &stamp)) {
        mbd* taken = mbd_new_from_json(json_object_to_json_string_ext(record, JSON_C_TO_STRING_PLAIN));
        if (vespin_is_error(taken)) {
            VLOG_ERROR("Fail to read the network record: %d", vespin_error_code(taken));
        } else {
            const char* part = "";
            int rv = apply_network_record(taken, &part);
            if (rv != 0) {
                VLOG_ERROR("Fail to apply the network record (%s): %d", part, rv);
            } else {
                // On this node's clock; never before the record's own time,
                // so that a clock behind the gateway's does not ask for the
                // record again at every report.
                last_sync_ = std::max<int64_t>((int64_t)plat_time(), json_object_get_int64(stamp));
                VLOG_INFO("Took over the network record of %lld", (long long)json_object_get_int64(stamp));
            }
            mbd_free(taken);
        }
    }
    vespin_response_free(response);
}
