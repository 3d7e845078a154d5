// The node daemon's record methods through its dispatcher: the node record,
// the network record and the node report of an emulated gateway.
#include "core/json_ref.h"
#include "dispatch.h"
#include "platform_testing.h"
#include "test_root.h"

#include <gtest/gtest.h>
#include <json-c/json.h>

#include <string>

namespace {

// The response text of one request without params.
std::string call(const std::string& method) {
    std::string request = "{\"method\":\"" + method + "\"}";
    uintptr_t post = 0;
    std::string response = node_dispatch(request.c_str(), request.size(), &post);
    node_run_post(post);
    return response;
}

}  // namespace

TEST(NodeMethods, RecordsOfTheNodeAsTheMeshSeesThem) {
    test_root root;
    std::string self = call("node.self");
    EXPECT_NE(std::string::npos, self.find(R"("result":{"protocol_version":1,"ip":"192.168.1.1","sn":"0224081231A1B2C")"))
        << self;
    std::string network = call("node.network");
    EXPECT_NE(std::string::npos, network.find(R"("region_id":840,"life_id":")")) << network;
    std::string report = call("node.report");
    EXPECT_NE(std::string::npos, report.find(R"("result":{"meta":{"last_mbd_sync_time":0},"node":{)")) << report;

    // A node record that cannot be built answers with its code.
    plat_test_capture_log();
    plat_test_fail_setting(644, true, false);
    std::string failed = call("node.self");
    EXPECT_NE(std::string::npos, failed.find("600002")) << failed;
    EXPECT_NE(std::string::npos, failed.find("Fail to build the node record")) << failed;
    plat_test_reset();
}
