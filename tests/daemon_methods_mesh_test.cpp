// The node daemon's mesh methods through its dispatcher: the node table, the
// topology, calls by serial number and the node map.
#include "dispatch.h"
#include "test_root.h"

#include "core/json_ref.h"
#include "core/mesh_maintainer/table_segment.h"
#include "mesh_maintainer.h"

#include <gtest/gtest.h>
#include <json-c/json.h>
#include <string.h>
#include <time.h>

#include <string>

namespace {

std::string call(const std::string& method, const std::string& params = "") {
    std::string request = "{\"method\":\"" + method + "\"" + (params.empty() ? "" : ",\"params\":" + params) + "}";
    uintptr_t post = 0;
    std::string response = node_dispatch(request.c_str(), request.size(), &post);
    node_run_post(post);
    return response;
}

class MeshMethods : public ::testing::Test {
  protected:
    void TearDown() override { mesh_table::forget_segment(true); }
    test_root root_;
};

TEST_F(MeshMethods, TableShowsEntriesWithStateAgeAndValidity) {
    mesh_maintainer* inst = mesh_maintainer_get_inst();
    mesh_node node = {};
    strcpy(node.sn, "0224081231A1001");
    strcpy(node.ip, "127.0.0.1");
    node.state = 2;
    ASSERT_EQ(0, mesh_maintainer_put_node(inst, &node));
    inst->entries[0].updated = time(nullptr) - 100;  // silent for 100 s
    json_ref table(json_tokener_parse(call("mesh.table").c_str()));
    json_object *result, *nodes;
    ASSERT_TRUE(json_object_object_get_ex(table.get(), "result", &result));
    ASSERT_TRUE(json_object_object_get_ex(result, "nodes", &nodes));
    ASSERT_EQ(1u, json_object_array_length(nodes));
    json_object* entry = json_object_array_get_idx(nodes, 0);
    json_object* value;
    json_object_object_get_ex(entry, "sn", &value);
    EXPECT_STREQ("0224081231A1001", json_object_get_string(value));
    json_object_object_get_ex(entry, "state", &value);
    EXPECT_EQ(2, json_object_get_int(value));
    json_object_object_get_ex(entry, "age", &value);
    EXPECT_GE(json_object_get_int(value), 100);
    json_object_object_get_ex(entry, "valid", &value);
    EXPECT_FALSE(json_object_get_boolean(value));

    std::string top = call("mesh.top");
    EXPECT_EQ(0u, top.find("{\"result\":[{\"protocol_version\":1,")) << top;
    EXPECT_EQ(std::string::npos, top.find("0224081231A1001"));  // silent: not in the topology
}

TEST_F(MeshMethods, RpcAndNotifyAllAnswerWithTheLibrarysResponses) {
    EXPECT_EQ("{\"error\":{\"code\":300401,\"message\":\"Unknown sn\"}}",
              call("mesh.rpc", "{\"sn\":\"0224081231A1999\",\"method\":\"system.info\"}"));
    EXPECT_EQ("{\"error\":{\"code\":100200,\"message\":\"Missing sn\"}}", call("mesh.rpc", "{\"method\":\"x\"}"));
    EXPECT_EQ("{\"result\":{\"status\":true}}", call("mesh.notify_all", "{\"method\":\"system.info\"}"));
}

TEST_F(MeshMethods, NodeMapIsEmptyWithoutItsFile) {
    EXPECT_EQ("{\"result\":[]}", call("mesh.node_map"));
    root_.write("/tmp/vespin/mesh_nodes", "0224081231A1002 192.168.5.3 025600000201 025600000202 2\n");
    EXPECT_EQ("{\"result\":[{\"sn\":\"0224081231A1002\",\"ip_lan\":\"192.168.5.3\",\"mac_wlan0\":\"025600000201\","
              "\"mac_wlan1\":\"025600000202\",\"mesh_port\":2}]}",
              call("mesh.node_map"));
}

}  // namespace
