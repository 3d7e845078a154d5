// The mesh agent inside one process: the gateway's answer to node reports
// (its network record only to a node whose sync is older, the nodes of the
// mesh), the convergence report and the topology under the fake clock, and
// a satellite applying a network record part by part.
#include "dispatch.h"
#include "network_record_apply.h"
#include "test_root.h"

#include "apmib.h"
#include "core/json_ref.h"
#include "internal_sta_blacklist.h"
#include "mesh_node.h"
#include "platform_testing.h"

#include <gtest/gtest.h>
#include <json-c/json.h>
#include <stdlib.h>
#include <string.h>

#include <string>

namespace {

const long kStart = 1763800000;

json_ref call(const std::string& method, const std::string& params = "") {
    std::string request = "{\"method\":\"" + method + "\"" + (params.empty() ? "" : ",\"params\":" + params) + "}";
    uintptr_t post = 0;
    std::string response = node_dispatch(request.c_str(), request.size(), &post);
    node_run_post(post);
    return json_ref(json_tokener_parse(response.c_str()));
}

json_object* member(json_object* object, const char* key) {
    json_object* value = nullptr;
    return object && json_object_object_get_ex(object, key, &value) ? value : nullptr;
}

std::string text(json_object* object, const char* key) {
    json_object* value = member(object, key);
    return value ? json_object_get_string(value) : "";
}

// This node's own report, under another serial number and name.
std::string report(const char* sn, const char* name, int64_t last_sync) {
    bmd* b = (bmd*)calloc(1, sizeof(bmd));
    mesh_node* node = mesh_node_new();
    EXPECT_FALSE(vespin_is_error(node));
    if (!vespin_is_error(node)) b->node = *node;
    mesh_node_free(node);
    snprintf(b->node.sn, sizeof b->node.sn, "%s", sn);
    snprintf(b->node.name, sizeof b->node.name, "%s", name);
    b->node.is_gw = 0;
    b->last_mbd_sync_time = last_sync;
    json_ref json(bmd_to_json(b));
    free(b);
    return json_object_to_json_string_ext(json.get(), JSON_C_TO_STRING_PLAIN);
}

std::string summary() { return text(member(call("mesh.convergence").get(), "result"), "summary"); }

}  // namespace

TEST(MeshAgentMethods, GatewayHandsItsRecordToNodesBehindItAndReportsConvergence) {
    test_root root;
    plat_test_set_clock(kStart, 0);

    json_ref first = call("mesh.report", report("022411000100002", "satellite-1", 0));
    json_object* answer = member(first.get(), "result");
    ASSERT_NE(nullptr, answer) << json_object_to_json_string(first.get());
    EXPECT_EQ(kStart, json_object_get_int64(member(answer, "mbd_time")));
    ASSERT_NE(nullptr, member(answer, "mbd"));
    EXPECT_NE("", text(member(member(answer, "mbd"), "wifi"), "ssid"));
    // The nodes a reporter learns: the gateway (slim: no neighbours, no
    // stations), never the reporter itself.
    json_object* nodes = member(answer, "nodes");
    ASSERT_EQ(1u, json_object_array_length(nodes));
    json_object* gateway = json_object_array_get_idx(nodes, 0);
    EXPECT_EQ("true", text(gateway, "is_gw"));
    EXPECT_EQ(0u, json_object_array_length(member(gateway, "neighbors")));
    EXPECT_EQ(0u, json_object_array_length(member(gateway, "stations")));

    // In step: no record.
    json_ref second = call("mesh.report", report("022411000100002", "satellite-1", kStart));
    EXPECT_EQ(nullptr, member(member(second.get(), "result"), "mbd"));
    EXPECT_EQ("2/2 nodes on the current network record", summary());

    // A new SSID 50 s later makes a new record; a node that synced before
    // it gets it, and both lag until they report the sync.
    plat_test_advance_clock(50 * 1000000L);
    json_ref changed = call("wifi.set", R"({"ssid": "Garden"})");
    ASSERT_NE(nullptr, member(changed.get(), "result")) << json_object_to_json_string(changed.get());
    json_ref third = call("mesh.report", report("022411000100003", "satellite-3", kStart + 8));
    answer = member(third.get(), "result");
    EXPECT_EQ(kStart + 50, json_object_get_int64(member(answer, "mbd_time")));
    EXPECT_EQ("Garden", text(member(member(answer, "mbd"), "wifi"), "ssid"));
    EXPECT_EQ(2u, json_object_array_length(member(answer, "nodes")));
    EXPECT_EQ("1/3 nodes on the current network record; satellite-1 last synced 50 s ago; satellite-3 last synced "
              "42 s ago",
              summary());

    // 61 s after its last report satellite-1 is out of the topology, offline.
    plat_test_advance_clock(11 * 1000000L);
    EXPECT_EQ("1/2 nodes on the current network record; satellite-3 last synced 53 s ago", summary());
    json_ref topo = call("mesh.topo");
    json_object* offline = member(member(topo.get(), "result"), "offline");
    ASSERT_EQ(1u, json_object_array_length(offline)) << json_object_to_json_string(topo.get());
    EXPECT_EQ("satellite-1", text(json_object_array_get_idx(offline, 0), "name"));
    EXPECT_EQ("6", text(json_object_array_get_idx(offline, 0), "state"));
    json_object* live = member(member(topo.get(), "result"), "nodes");
    ASSERT_EQ(2u, json_object_array_length(live));
    EXPECT_EQ("gateway", text(json_object_array_get_idx(live, 0), "role"));
    EXPECT_EQ("last synced 53 s ago", text(json_object_array_get_idx(live, 1), "sync"));

    // A report that does not load, and a report to a node that is not the gateway.
    json_ref broken = call("mesh.report", R"({"meta": {"last_mbd_sync_time": 0}, "node": {"ip": "1.2.3.4"}})");
    EXPECT_EQ("600005", text(member(broken.get(), "error"), "code"));
    EXPECT_EQ("Invalid node report", text(member(broken.get(), "error"), "message"));
    int satellite = 2;
    ASSERT_TRUE(apmib_set(2401, &satellite));
    json_ref refused = call("mesh.report", report("022411000100002", "satellite-1", 0));
    EXPECT_EQ("Not the gateway", text(member(refused.get(), "error"), "message"));
}

namespace {

// This node's network record with another SSID and `count` blacklisted
// stations, numbered from `first`.
mbd* record_with(const char* ssid, int count, int first = 0) {
    mbd* local = mbd_new();
    EXPECT_FALSE(vespin_is_error(local));
    json_ref json(mbd_to_json(local));
    mbd_free(local);
    // The receiver lays "wifi" over its own Wi-Fi settings.
    json_object* wifi = json_object_new_object();
    json_object_object_add(wifi, "ssid", json_object_new_string(ssid));
    json_object_object_add(json.get(), "wifi", wifi);
    json_object* blacklist = json_object_new_array();
    for (int i = 0; i < count; i++) {
        char mac[16];
        snprintf(mac, sizeof mac, "a0b1c2d3e4%02x", first + i);
        json_object* entry = json_object_new_object();
        json_object_object_add(entry, "mac", json_object_new_string(mac));
        json_object_object_add(entry, "name", json_object_new_string("barred"));
        json_object_array_add(blacklist, entry);
    }
    json_object_object_add(json.get(), "blacklist", blacklist);
    return mbd_new_from_json(json_object_to_json_string(json.get()));
}

int blacklisted() {
    blacklist_entry* list = nullptr;
    int32_t count = 0;
    EXPECT_EQ(0, sta_blacklist_list(&list, &count));
    free(list);
    return count;
}

std::string ssid() {
    wifi_config config = {};
    EXPECT_EQ(0, wifi_config_load(&config));
    return config.band_24g.ssid;
}

}  // namespace

TEST(NetworkRecordApply, AppliesThePartsThatDifferAndNothingElse) {
    test_root root("--work-mode 2");  // a satellite
    const char* part = "";
    mbd* record = record_with("Garden", 40);
    ASSERT_FALSE(vespin_is_error(record));
    ASSERT_EQ(0, apply_network_record(record, &part)) << part;
    EXPECT_EQ("Garden", ssid());
    // The node's list holds 30: the rest of the gateway's is left out.
    EXPECT_EQ(STA_BLACKLIST_MAX, blacklisted());
    std::string restarts = root.read("/var/run/wifi_restarts");

    // The same record again: nothing differs, nothing restarts.
    ASSERT_EQ(0, apply_network_record(record, &part)) << part;
    EXPECT_EQ(restarts, root.read("/var/run/wifi_restarts"));

    mbd_free(record);

    // Each UCI write of the blacklist's replacement (six stations leave,
    // three others come) fails in turn. Success means the node holds the
    // gateway's list; a failure is reported for the blacklist whenever it
    // does not, and the next try brings it in step.
    record = record_with("Garden", 6);
    mbd* shorter = record_with("Garden", 3, 10);
    ASSERT_FALSE(vespin_is_error(record) || vespin_is_error(shorter));
    int failures = 0;
    for (int nth = 1; nth < 200; nth++) {
        plat_test_fail_nth(PLAT_FAULT_UCI_WRITE, 0);
        ASSERT_EQ(0, apply_network_record(record, &part)) << part;
        plat_test_fail_nth(PLAT_FAULT_UCI_WRITE, nth);
        int rv = apply_network_record(shorter, &part);
        bool fired = plat_test_fault_fired(PLAT_FAULT_UCI_WRITE);
        plat_test_fail_nth(PLAT_FAULT_UCI_WRITE, 0);
        if (rv != 0) {
            failures++;
            EXPECT_STREQ("blacklist", part) << nth;
            EXPECT_EQ(0, apply_network_record(shorter, &part)) << nth;
        }
        EXPECT_EQ(3, blacklisted()) << nth;
        if (!fired) break;
    }
    EXPECT_LE(1, failures);
    mbd_free(shorter);
    mbd_free(record);
}
