// Per-device speed limits (UCI and the QoS stand-in) and the mesh-node
// blacklist (its settings-store table).
#include "apmib.h"
#include "internal_node_blacklist.h"
#include "internal_speed_limit.h"
#include "platform_testing.h"
#include "result_codes.h"
#include "test_root.h"

#include <gtest/gtest.h>
#include <stdlib.h>

TEST(SpeedLimit, StoredPerDeviceAndAppliedThroughQos) {
    test_root root;
    const char kRules[] = "/var/run/vespin_qos.rules";
    EXPECT_EQ(0, mesh_device_speed_limit_set("a0b1c2d3e4f5", 1000, 5000, 1));
    EXPECT_EQ(0, mesh_device_speed_limit_set("a0b1c2d3e4f6", 200, 300, 0));
    EXPECT_EQ("a0b1c2d3e4f5 1000 5000\n", root.read(kRules));
    int32_t up = 0, down = 0;
    uint32_t enabled = 9;
    ASSERT_EQ(0, mesh_device_speed_limit_get("a0b1c2d3e4f6", &up, &down, &enabled));
    EXPECT_EQ(200, up);
    EXPECT_EQ(300, down);
    EXPECT_EQ(0u, enabled);
    EXPECT_EQ(VESPIN_ERR_NOT_FOUND, mesh_device_speed_limit_get("ffffffffffff", &up, &down, &enabled));

    root.write(kRules, "stale 1 1\n");
    EXPECT_EQ(0, device_speed_limit_restart());
    EXPECT_EQ("a0b1c2d3e4f5 1000 5000\n", root.read(kRules));
    EXPECT_EQ(0, mesh_device_speed_limit_delete("a0b1c2d3e4f5"));
    EXPECT_EQ("", root.read(kRules));
    EXPECT_EQ(0, mesh_device_speed_limit_delete("a0b1c2d3e4f5"));  // none left: no error
    EXPECT_EQ(VESPIN_ERR_NOT_FOUND, mesh_device_speed_limit_get("a0b1c2d3e4f5", &up, &down, &enabled));
    for (const char* hostile : {"a0b1c2d3e4f5; reboot", "a0b1c2.3e4f5", ""})
        EXPECT_EQ(VESPIN_ERR_FAILURE, mesh_device_speed_limit_set(hostile, 1, 1, 1)) << hostile;
    EXPECT_EQ(VESPIN_ERR_INVALID_PARAM, mesh_device_speed_limit_set("a0b1c2d3e4f5", -1, 1, 1));
}

TEST(NodeBlacklist, AddListDelete) {
    test_root root;
    node_blacklist node = {"0224081231A1B2D", "02560000000f"};
    EXPECT_EQ(0, node_blacklist_add(&node));
    EXPECT_EQ(VESPIN_ERR_EXISTS, node_blacklist_add(&node));
    node_blacklist bad = {"02240812-1A1B2D", ""};
    EXPECT_EQ(VESPIN_ERR_INVALID_PARAM, node_blacklist_add(&bad));
    node_blacklist bad_mac = {"X1", "0256"};
    EXPECT_EQ(VESPIN_ERR_INVALID_PARAM, node_blacklist_add(&bad_mac));
    for (int i = 1; i < NODE_BLACKLIST_MAX; i++) {
        node_blacklist n = {};
        snprintf(n.sn, sizeof n.sn, "N%d", i);
        ASSERT_EQ(0, node_blacklist_add(&n)) << i;
    }
    node_blacklist extra = {"EXTRA", ""};
    EXPECT_EQ(VESPIN_ERR_TABLE_FULL, node_blacklist_add(&extra));
    EXPECT_EQ(0, node_blacklist_delete("N5"));
    EXPECT_EQ(VESPIN_ERR_NOT_FOUND, node_blacklist_delete("N5"));
    // Durable: a fresh load of the store still lists them.
    apmib_reinit();
    node_blacklist* list = nullptr;
    int32_t count = 0;
    ASSERT_EQ(0, node_blacklist_list(&list, &count));
    ASSERT_EQ(NODE_BLACKLIST_MAX - 1, count);
    EXPECT_STREQ("0224081231A1B2D", list[0].sn);
    EXPECT_STREQ("02560000000f", list[0].mac);
    free(list);
    plat_test_fail_setting(67998, false, true);
    EXPECT_EQ(VESPIN_ERR_SETTING, node_blacklist_add(&extra));
}
