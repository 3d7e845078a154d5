// The VLAN table: loading stored entries, writing and merging tables, the
// PVIDs, the JSON converters (first entry only, by design) and a failing
// settings store under every id the table writer uses.
#include "config_vlan.h"

#include "apmib.h"
#include "platform_testing.h"
#include "test_root.h"

#include <gtest/gtest.h>
#include <string.h>

#include <memory>
#include <string>
#include <vector>

#include "core/json_ref.h"

namespace {

const int kMibPvids = 3411, kMibEnable = 3413, kMibCount = 3414, kMibGet = 36183, kMibAdd = 68952;
const int kMibDeleteAll = 265562;

vlan_mib_entry mib_entry(int rule, int vid, int priority, uint32_t members, uint32_t tagged) {
    vlan_mib_entry e;
    memset(&e, 0, sizeof e);
    e.forward_rule = (uint8_t)rule;
    uint16_t v = (uint16_t)vid;
    memcpy(e.vid, &v, 2);
    e.priority = (uint8_t)priority;
    e.member_mask = members;
    e.tagged_mask = tagged;
    return e;
}

std::vector<int> pvids() {
    uint16_t stored[VLAN_HW_PORTS];
    EXPECT_NE(0, apmib_get(kMibPvids, stored));
    return std::vector<int>(stored, stored + VLAN_HW_PORTS);
}

std::vector<int> default_pvids() {
    std::vector<int> expected(VLAN_HW_PORTS, 9);
    expected[3] = 8;
    return expected;
}

int stored_int(int id) {
    int value = -1;
    EXPECT_NE(0, apmib_get(id, &value));
    return value;
}

// One entry of the given ports (router ids), untagged unless listed.
void fill_entry(vlan_config* entry, int vid, std::vector<int> ports, std::vector<int> tagged = {}) {
    memset(entry, 0, sizeof *entry);
    entry->enabled = 1;
    entry->id = vid;
    entry->type = VLAN_TYPE_NAT;
    for (int id : ports) {
        vlan_port* port = &entry->ports[entry->port_count++];
        router_port_info_get(&port->port, id);
        for (int t : tagged)
            if (t == id) port->tagged = 1;
    }
}

std::string text(json_object* json) {
    json_ref owned(json);
    return json ? json_object_to_json_string_ext(json, JSON_C_TO_STRING_PLAIN) : "(null)";
}

}  // namespace

TEST(VlanTable, LoadScansMemberBitsUpwardAndDerivesTypes) {
    test_root root;
    vlan_mib_entry e = mib_entry(0, 100, 5, (1u << 2) | (1u << 3), 1u << 3);
    ASSERT_NE(0, apmib_set(kMibAdd, &e));
    vlan_mib_entry bridged = mib_entry(1, 200, 0, (1u << 5) | (1u << 7) | (1u << 20), 0);
    ASSERT_NE(0, apmib_set(kMibAdd, &bridged));
    int hw_nat_vid = 100, on = 1;
    ASSERT_NE(0, apmib_set(3410, &hw_nat_vid));
    ASSERT_NE(0, apmib_set(kMibEnable, &on));
    plat_test_capture_log();

    auto table = std::make_unique<vlan_table>();
    ASSERT_EQ(0, vlan_table_load(table.get()));
    ASSERT_EQ(2, table->count);
    const vlan_config& first = table->entries[0];
    EXPECT_EQ(100, first.id);
    EXPECT_EQ(5, first.priority);
    EXPECT_EQ(1u, first.enabled);
    EXPECT_EQ((uint32_t)VLAN_TYPE_HW_NAT, first.type) << "rule 0 with the hardware-NAT id";
    ASSERT_EQ(2, first.port_count);
    EXPECT_STREQ("eth0", first.ports[0].port.name) << "hardware port 2 comes first";
    EXPECT_EQ(0, first.ports[0].tagged);
    EXPECT_STREQ("wan", first.ports[1].port.name);
    EXPECT_EQ(1, first.ports[1].tagged);
    const vlan_config& second = table->entries[1];
    EXPECT_EQ((uint32_t)VLAN_TYPE_BRIDGE, second.type);
    ASSERT_EQ(1, second.port_count) << "hardware port 7 has no router port, 20 is out of range";
    EXPECT_STREQ("5g", second.ports[0].port.name);
    EXPECT_TRUE(plat_test_logged("Invalid router port id[7]"));
    EXPECT_TRUE(plat_test_logged("Invalid router hw port id[20]"));

    // In operating mode 1 every entry is a bridge.
    int bridge_mode = 1;
    ASSERT_NE(0, apmib_set(192, &bridge_mode));
    ASSERT_EQ(0, vlan_table_load(table.get()));
    EXPECT_EQ((uint32_t)VLAN_TYPE_BRIDGE, table->entries[0].type);

    EXPECT_EQ(VESPIN_ERR_FAILURE, vlan_table_load(nullptr));
    plat_test_fail_setting(kMibGet, true, false);
    EXPECT_EQ(VESPIN_ERR_SETTING, vlan_table_load(table.get()));
    EXPECT_TRUE(plat_test_logged("Get vlan table entry [1] error"));
}

TEST(VlanTable, SetWritesEntriesPvidsAndTheEnableFlag) {
    test_root root;
    auto table = std::make_unique<vlan_table>();
    fill_entry(&table->entries[0], 300, {0, 1}, {0});  // wan tagged, eth0 untagged
    fill_entry(&table->entries[1], 400, {0, 1, 2, 3, 4, 5});
    table->count = 2;
    ASSERT_EQ(0, vlan_table_set(table.get()));
    EXPECT_EQ(1, stored_int(kMibEnable));
    EXPECT_EQ(2, stored_int(kMibCount));
    vlan_mib_entry stored;
    ASSERT_EQ(0, vlan_entry_load(300, &stored));
    EXPECT_EQ(0, stored.forward_rule);
    EXPECT_EQ((1u << 3) | (1u << 2), stored.member_mask);
    EXPECT_EQ(1u << 3, stored.tagged_mask);
    ASSERT_EQ(0, vlan_entry_load(400, &stored));
    EXPECT_EQ((1u << 2) | (1u << 3) | (1u << 5) | (1u << 6) | (1u << 11) | (1u << 12), stored.member_mask);
    // The untagged eth0 (hardware 2) takes VLAN 300; the all-ports entry changes nothing.
    std::vector<int> expected = default_pvids();
    expected[2] = 300;
    EXPECT_EQ(expected, pvids());

    // All entries disabled: nothing stored, VLAN off, PVIDs at their defaults.
    table->entries[0].enabled = table->entries[1].enabled = 0;
    ASSERT_EQ(0, vlan_table_set(table.get()));
    EXPECT_EQ(0, stored_int(kMibEnable));
    EXPECT_EQ(0, stored_int(kMibCount));
    EXPECT_EQ(default_pvids(), pvids());

    // Single entries: delete by id, VLAN id 0 refused.
    table->entries[0].enabled = 1;
    table->count = 1;
    ASSERT_EQ(0, vlan_table_set(table.get()));
    EXPECT_EQ(0, vlan_entry_delete(300));
    EXPECT_EQ(0, stored_int(kMibCount));
    EXPECT_EQ(VESPIN_ERR_SETTING, vlan_entry_delete(300));
    EXPECT_EQ(VESPIN_ERR_FAILURE, vlan_entry_delete(0));
    table->entries[0].id = 0;
    EXPECT_EQ(VESPIN_ERR_MISSING_PARAM, vlan_config_add(&table->entries[0]));

    // Disabling all: flag off, entries gone, PVIDs back to their defaults.
    table->entries[0].id = 500;
    ASSERT_EQ(0, vlan_table_set(table.get()));
    EXPECT_NE(default_pvids(), pvids());
    ASSERT_EQ(0, vlan_all_disable());
    EXPECT_EQ(0, stored_int(kMibEnable));
    EXPECT_EQ(0, stored_int(kMibCount));
    EXPECT_EQ(default_pvids(), pvids());
}

TEST(VlanTable, MergeKeepsTheStoredTaggedFlag) {
    test_root root;
    auto stored = std::make_unique<vlan_table>();
    auto change = std::make_unique<vlan_table>();
    fill_entry(&stored->entries[0], 10, {1});
    stored->count = 1;
    fill_entry(&change->entries[0], 10, {1, 2}, {1, 2});
    change->entries[0].priority = 6;
    fill_entry(&change->entries[1], 20, {3}, {3});
    change->count = 2;
    ASSERT_EQ(0, vlan_table_merge(stored.get(), change.get()));
    ASSERT_EQ(2, stored->count);
    const vlan_config& merged = stored->entries[0];
    EXPECT_EQ(6, merged.priority);
    ASSERT_EQ(2, merged.port_count);
    // Deliberate: only the router port part is merged, the stored flag stays.
    EXPECT_EQ(0, merged.ports[0].tagged) << "eth0 was untagged and stays so";
    EXPECT_EQ(0, merged.ports[1].tagged) << "an appended port starts untagged";
    EXPECT_EQ(0, stored->entries[1].ports[0].tagged);
    EXPECT_EQ(1, vlan_is_in_vtable(20, stored.get()));
    EXPECT_EQ(-1, vlan_is_in_vtable(30, stored.get()));
    EXPECT_EQ(1, port_is_in_vconf(2, &merged));
    EXPECT_EQ(-1, port_is_in_vconf(5, &merged));

    // A full table stops the merge with 0.
    stored->count = VLAN_TABLE_MAX;
    change->entries[0].id = 4000;
    plat_test_capture_log();
    EXPECT_EQ(0, vlan_table_merge(stored.get(), change.get()));
    EXPECT_TRUE(plat_test_logged("Vlan table is full"));

    // vlan_table_update merges into the stored table.
    auto update = std::make_unique<vlan_table>();
    EXPECT_EQ(VESPIN_ERR_FAILURE, vlan_table_update(update.get()));
    fill_entry(&update->entries[0], 50, {1});
    update->count = 1;
    ASSERT_EQ(0, vlan_table_update(update.get()));
    fill_entry(&update->entries[0], 60, {2});
    ASSERT_EQ(0, vlan_table_update(update.get()));
    EXPECT_EQ(2, stored_int(kMibCount));
}

TEST(VlanJson, GoldenFormsAndFirstEntryOnly) {
    test_root root;
    port_table ports;
    ASSERT_EQ(0, port_table_load(&ports));
    EXPECT_EQ(
        "[{\"id\":0,\"name\":\"wan\",\"type\":\"wan\"},{\"id\":1,\"name\":\"eth0\",\"type\":\"lan\"},"
        "{\"id\":2,\"name\":\"5g\",\"type\":\"lan\"},{\"id\":3,\"name\":\"2g\",\"type\":\"lan\"},"
        "{\"id\":4,\"name\":\"5g_vap1\",\"type\":\"lan\"},{\"id\":5,\"name\":\"2g_vap1\",\"type\":\"lan\"}]",
        text(port_table_to_json(&ports)));
    router_port odd;
    EXPECT_EQ(0, router_port_info_get(&odd, 9));
    EXPECT_EQ(VESPIN_ERR_FAILURE, router_port_info_get(&odd, -1));

    auto table = std::make_unique<vlan_table>();
    fill_entry(&table->entries[0], 7, {0}, {0});
    fill_entry(&table->entries[1], 8, {1});
    table->count = 2;
    // Deliberately only the first entry is printed.
    EXPECT_EQ(
        "[{\"enabled\":true,\"id\":7,\"priority\":0,\"type\":\"NAT\",\"is_bridged\":false,"
        "\"ports\":[{\"port\":{\"id\":0,\"name\":\"wan\",\"type\":\"wan\"},\"tagged\":true}]}]",
        text(vlan_table_to_json(table.get())));
    table->entries[0].type = 9;
    EXPECT_NE(std::string::npos, text(vlan_config_to_json(&table->entries[0])).find("\"type\":\"UNKNOW\""));
    table->entries[0].port_count = 0;
    EXPECT_EQ(nullptr, vlan_config_to_json(&table->entries[0]));
    table->entries[0].id = 0;
    EXPECT_EQ(nullptr, vlan_config_to_json(&table->entries[0]));
    EXPECT_EQ(nullptr, vlan_table_to_json(nullptr));

    // Input: defaults, skipped elements and only the first accepted entry kept.
    json_ref input(json_tokener_parse(
        "[1, {\"id\":5}, {\"id\":9,\"enabled\":true,\"ports\":[{\"tagged\":false,\"port\":{\"id\":2}},"
        "{\"tagged\":1,\"port\":{}}, 3]}, {\"id\":10,\"enabled\":true,\"is_bridged\":true,"
        "\"ports\":[{\"tagged\":true,\"port\":{\"id\":1}}]}]"));
    ASSERT_EQ(0, vlan_table_from_json(table.get(), input.get()));
    ASSERT_EQ(1, table->count);
    const vlan_config& parsed = table->entries[0];
    EXPECT_EQ(9, parsed.id);
    EXPECT_EQ(0, parsed.priority);
    EXPECT_EQ((uint32_t)VLAN_TYPE_NAT, parsed.type);
    ASSERT_EQ(1, parsed.port_count) << "a non-boolean tag and a non-object element are skipped";
    EXPECT_STREQ("5g", parsed.ports[0].port.name);

    json_ref not_array(json_tokener_parse("{}"));
    EXPECT_EQ(VESPIN_ERR_INVALID_PARAM, vlan_table_from_json(table.get(), not_array.get()));
    vlan_config entry;
    const char* refused[] = {
        "{\"enabled\":true,\"ports\":[]}",           "{\"id\":\"5\",\"enabled\":true,\"ports\":[]}",
        "{\"id\":5,\"enabled\":1,\"ports\":[]}",      "{\"id\":5,\"enabled\":true}",
        "{\"id\":5,\"enabled\":true,\"ports\":[]}",   "{\"id\":5,\"enabled\":true,\"ports\":{}}",
        "{\"id\":5,\"enabled\":true,\"ports\":[7]}", "{\"id\":5,\"enabled\":true,\"priority\":\"x\",\"ports\":[]}",
    };
    for (const char* json : refused) {
        json_ref doc(json_tokener_parse(json));
        EXPECT_EQ(VESPIN_ERR_INVALID_PARAM, vlan_config_from_json(&entry, doc.get())) << json;
    }
}

TEST(VlanTable, EveryFailingSettingOfTheWriterEndsWithItsCode) {
    // Each id vlan_table_set touches fails in turn, on get and on set.
    const int ids[] = {kMibDeleteAll, kMibPvids, kMibAdd, kMibEnable};
    test_root root;
    for (int id : ids) {
        for (int side = 0; side < 2; side++) {
            plat_test_reset();
            ASSERT_NE(0, apmib_reinit()) << "back to the factory settings (nothing was flushed)";
            auto table = std::make_unique<vlan_table>();
            fill_entry(&table->entries[0], 300, {1});
            table->count = 1;
            ASSERT_EQ(0, vlan_table_set(table.get()));
            table->entries[0].id = 301;
            plat_test_fail_setting(id, side == 0, side == 1);
            int rv = vlan_table_set(table.get());
            if (side == 0 && id != kMibPvids) {
                EXPECT_EQ(0, rv) << id << " is never read by the writer";
                continue;
            }
            EXPECT_EQ(VESPIN_ERR_SETTING, rv) << id << " side " << side;
            plat_test_fail_setting(id, false, false);
            plat_test_reset();
            // Nothing is rolled back: what was written before the failure stays.
            vlan_mib_entry stored;
            int count = stored_int(kMibCount);
            if (id == kMibDeleteAll) {
                EXPECT_EQ(1, count);
                EXPECT_EQ(0, vlan_entry_load(300, &stored)) << "the old table is intact";
            } else if (id == kMibAdd || id == kMibPvids) {
                // A failing PVID read comes after the entry was added; a
                // failing PVID write (the reset) right after delete-all.
                EXPECT_EQ(id == kMibPvids && side == 0 ? 1 : 0, count) << id << " side " << side;
            } else {
                EXPECT_EQ(1, count);
                EXPECT_EQ(0, vlan_entry_load(301, &stored));
                EXPECT_EQ(1, stored_int(kMibEnable)) << "the old flag stays";
            }
        }
    }
}
