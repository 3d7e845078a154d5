// "firmware.list" through the daemon's dispatcher: the validated topology's
// serial numbers go to the local HTTPS firmware service, its records come back.
#include "firmware_service.h"
#include "node_call.h"
#include "platform_testing.h"
#include "test_root.h"

#include "core/mesh_maintainer/table_segment.h"
#include "mesh_maintainer.h"

#include <gtest/gtest.h>
#include <string.h>
#include <time.h>

#include <string>

namespace {

void put_node(const char* sn, time_t updated) {
    mesh_maintainer* inst = mesh_maintainer_get_inst();
    ASSERT_FALSE(vespin_is_error(inst));
    mesh_node node = {};
    strcpy(node.sn, sn);
    strcpy(node.ip, "127.0.0.1");
    ASSERT_EQ(0, mesh_maintainer_put_node(inst, &node));
    inst->entries[inst->count - 1].updated = updated;
}

class FirmwareMethods : public ::testing::Test {
  protected:
    void TearDown() override { mesh_table::forget_segment(true); }
    test_root root_;
};

TEST_F(FirmwareMethods, AsksForEveryValidNodeOfTheTopology) {
    firmware_service& service = firmware_service::shared();
    service.serve(root_);
    service.clear_requests();
    plat_test_capture_log();
    put_node("0124081231A1001", time(nullptr));
    put_node("0224081231A1002", time(nullptr) - 100);  // silent for 100 s: not in the topology

    EXPECT_EQ(
        "{\"result\":{\"sns\":[\"0224081231A1B2C\",\"0124081231A1001\"],\"firmware\":[{\"model_id\":2,"
        "\"model_version_id\":1,\"version\":\"1.9.8\",\"url\":\"https:\\/\\/firmware.vespin.test\\/lark\\/1.9.8\\/"
        "firmware.bin\",\"size\":13893632,\"released_time\":1763683200,\"sns\":[\"0224081231A1B2C\"]},"
        "{\"model_id\":1,\"model_version_id\":2,\"version\":\"1.9.8\",\"url\":\"https:\\/\\/firmware.vespin.test\\/"
        "q5\\/1.9.8\\/firmware.bin\",\"size\":15990784,\"released_time\":1763683200,\"changelog\":\"Faster roaming "
        "between nodes; fixes the LED schedule.\",\"sns\":[\"0124081231A1001\"]}]}}",
        node_call("firmware.list"));
    ASSERT_EQ(1u, service.requests().size());
    EXPECT_EQ(R"({ "method": "firmware.get", "params": { "sns": [ "0224081231A1B2C", "0124081231A1001" ] } })",
              service.requests()[0].body);

    // The service failing: its code and a message.
    firmware_service::set_url(root_, service.url("/status-500"));
    EXPECT_EQ("{\"error\":{\"code\":600103,\"message\":\"Fail to get the firmware list\"}}",
              node_call("firmware.list"));
}

}  // namespace
