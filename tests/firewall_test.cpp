// DoS guard, DMZ and port forwarding: codes, the exact "/proc" writes and
// iptables lines, the chains the iptables stand-in keeps, and the table
// after each settings-store failure.
#include "apmib.h"
#include "core/internal/feature_state.h"
#include "internal_firewall.h"
#include "platform_testing.h"
#include "result_codes.h"
#include "test_root.h"

#include <gtest/gtest.h>
#include <stdlib.h>
#include <string.h>

#include <string>
#include <vector>

namespace {

std::vector<std::string> commands() {
    std::vector<std::string> texts;
    for (const auto& c : plat_test_commands()) texts.push_back(c.text);
    return texts;
}

void set_op_mode(int mode) { ASSERT_TRUE(apmib_set(192, &mode)); }

port_fw_entry rule(const char* name, const char* ip, uint32_t ext_from, uint32_t ext_to, uint8_t protocol = 0,
                   const char* remote = "0.0.0.0") {
    port_fw_entry e;
    memset(&e, 0, sizeof e);
    e.enabled = 1;
    snprintf(e.ip, sizeof e.ip, "%s", ip);
    snprintf(e.remote_ip, sizeof e.remote_ip, "%s", remote);
    e.from_port = 80;
    e.to_port = 80;
    e.ext_from_port = ext_from;
    e.ext_to_port = ext_to;
    e.protocol = protocol;
    snprintf(e.name, sizeof e.name, "%s", name);
    return e;
}

// The stored rules as "name:id" texts, in table order.
std::vector<std::string> stored_rules() {
    port_fw list;
    std::vector<std::string> names;
    if (port_fw_list(&list) != 0) {
        free(list.entry_port_fw);
        return {"<unreadable>"};
    }
    for (int i = 0; i < list.count; i++)
        names.push_back(std::string(list.entry_port_fw[i].name) + ":" + std::to_string(list.entry_port_fw[i].id));
    free(list.entry_port_fw);
    return names;
}

// Answers every command at once: for tests that only count rules.
bool answer_all(const plat_command&, plat_command_reply*) { return true; }

struct fresh_port_fw : test_root {
    fresh_port_fw() { port_fw_forget_state(); }
    ~fresh_port_fw() { port_fw_forget_state(); }
};

}  // namespace

TEST(DosGuard, WritesTheDriverTemplatesAndHardwareNat) {
    test_root root;
    EXPECT_EQ(0, set_firewall(1));
    uint32_t mask = 0;
    EXPECT_EQ(0, get_firewall(&mask));
    EXPECT_EQ(8908289u, mask);
    EXPECT_EQ((std::vector<std::string>{
                  "echo \" 0 C0A80100 FFFFFF00 8908289 0 0 0 0 0 0 0 0 0\" >  /proc/enable_dos",
                  "echo 0 >/proc/hw_nat"}),
              commands());
    EXPECT_EQ(" 0 C0A80100 FFFFFF00 8908289 0 0 0 0 0 0 0 0 0\n", root.read("/proc/enable_dos"));
    EXPECT_EQ("0\n", root.read("/proc/hw_nat"));

    set_op_mode(2);
    plat_test_reset();
    EXPECT_EQ(0, set_firewall(0));
    EXPECT_EQ((std::vector<std::string>{
                  "echo \" 2 C0A80101 FFFFFF00 0 0 0 0 0 0 0 0 0 0\" >  /proc/enable_dos",
                  "echo 3 >/proc/hw_nat"}),
              commands());
    set_op_mode(1);
    plat_test_reset();
    set_firewall(0);
    EXPECT_EQ("echo 2 >/proc/hw_nat", commands().back());
    set_op_mode(0);
    plat_test_reset();
    set_firewall(0);
    EXPECT_EQ("echo 1 >/proc/hw_nat", commands().back());

    // Without the switch file hardware NAT is left alone.
    unlink(root.path("/proc/hw_nat").c_str());
    plat_test_reset();
    set_firewall(1);
    EXPECT_EQ(1u, commands().size());

    plat_test_fail_setting(229, true, true);
    plat_test_capture_log();
    EXPECT_EQ(VESPIN_ERR_FAILURE, set_firewall(1));
    EXPECT_TRUE(plat_test_logged("Fail to set MIB_DOS_ENABLED"));
    EXPECT_EQ(VESPIN_ERR_FAILURE, get_firewall(&mask));
    EXPECT_TRUE(plat_test_logged("Fail to get MIB_DOS_ENABLED"));
}

TEST(Dmz, ChecksStoresAndWritesItsChains) {
    test_root root;
    dmz_config dmz = {1, ""};
    EXPECT_EQ(0, set_dmz(&dmz));  // empty: nothing stored, nothing run
    dmz = {0, "not an ip"};
    EXPECT_EQ(0, set_dmz(&dmz));
    EXPECT_TRUE(commands().empty());
    dmz_config stored;
    ASSERT_EQ(0, get_dmz(&stored));
    EXPECT_EQ(0, stored.enabled);
    EXPECT_STREQ("0.0.0.0", stored.host_ip);

    dmz = {1, "192.168.1.1"};
    EXPECT_EQ(VESPIN_ERR_IP_IS_LAN, set_dmz(&dmz));
    dmz = {1, "192.168.2.9"};
    EXPECT_EQ(VESPIN_ERR_INVALID_IP, set_dmz(&dmz));

    dmz = {1, "192.168.1.50"};
    EXPECT_EQ(0, set_dmz(&dmz));
    EXPECT_EQ((std::vector<std::string>{
                  "iptables -t nat -F vespin_nat_dmz > /dev/null 2> /dev/null",
                  "iptables -F vespin_filter_dmz > /dev/null 2> /dev/null",
                  "iptables -A vespin_nat_dmz -t nat -i eth1 -d 10.0.0.2 -j DNAT --to 192.168.1.50 > /dev/null 2> /dev/null",
                  "iptables -A vespin_filter_dmz -i eth1 -d 192.168.1.50 -j ACCEPT > /dev/null 2> /dev/null",
                  "echo 2 > /proc/fast_nat"}),
              commands());
    ASSERT_EQ(0, get_dmz(&stored));
    EXPECT_EQ(1, stored.enabled);
    EXPECT_STREQ("192.168.1.50", stored.host_ip);
    EXPECT_NE(std::string::npos,
              root.read("/var/lib/iptables/nat")
                  .find("-A vespin_nat_dmz -d 10.0.0.2/32 -i eth1 -j DNAT --to-destination 192.168.1.50\n"));

    // Disabling flushes the chains; without a WAN address it only stores.
    dmz.enabled = 0;
    EXPECT_EQ(0, set_dmz(&dmz));
    EXPECT_EQ(std::string::npos, root.read("/var/lib/iptables/nat").find("-A vespin_nat_dmz -d"));
    root.write("/etc/vespin/interfaces", "br0 addr=192.168.1.1 netmask=255.255.255.0\neth1\n");
    plat_test_reset();
    dmz.enabled = 1;
    EXPECT_EQ(0, set_dmz(&dmz));
    EXPECT_TRUE(commands().empty());

    plat_test_capture_log();
    plat_test_fail_setting(141, false, true);
    EXPECT_EQ(VESPIN_ERR_FAILURE, set_dmz(&dmz));
    EXPECT_TRUE(plat_test_logged("Failed to set ip"));
    root.write("/etc/vespin/interfaces", "eth1 addr=10.0.0.2\n");
    EXPECT_EQ(VESPIN_ERR_FAILURE, set_dmz(&dmz));
    EXPECT_TRUE(plat_test_logged("Fail to get br0 ip"));
}

TEST(PortForwarding, ChecksInOrder) {
    fresh_port_fw root;
    plat_test_capture_log();
    auto add = [](port_fw_entry e) { return add_port_fw(0, e); };
    EXPECT_EQ(VESPIN_ERR_INVALID_IP, add(rule("a", "192.168.2.5", 80, 80)));
    EXPECT_TRUE(plat_test_logged("This ip doesn not belong to the current subnet"));
    EXPECT_EQ(VESPIN_ERR_IP_IS_LAN, add(rule("a", "192.168.1.1", 80, 80)));
    EXPECT_EQ(VESPIN_ERR_INVALID_PARAM, add(rule("a", "192.168.1.5", 0, 80)));
    EXPECT_TRUE(plat_test_logged("Invalid value of external from-port"));
    EXPECT_EQ(VESPIN_ERR_INVALID_PARAM, add(rule("a", "192.168.1.5", 80, 65536)));
    EXPECT_EQ(VESPIN_ERR_INVALID_PARAM, add(rule("a", "192.168.1.5", 90, 80)));
    EXPECT_TRUE(plat_test_logged("Invalid port range"));
    port_fw_entry e = rule("a", "192.168.1.5", 80, 80);
    e.to_port = 65536;
    EXPECT_EQ(VESPIN_ERR_INVALID_PARAM, add(e));
    EXPECT_TRUE(plat_test_logged("Invalid value of to-port"));
    EXPECT_EQ(VESPIN_ERR_IP_CONFLICT, add(rule("a", "192.168.1.5", 80, 80, 0, "192.168.1.77")));
    EXPECT_EQ(VESPIN_ERR_INVALID_PARAM, add(rule("a", "192.168.1.5", 80, 80, 3)));
    EXPECT_TRUE(plat_test_logged("Invalid protocol type"));
    EXPECT_EQ(VESPIN_ERR_INVALID_PARAM, add(rule("nineteen-characters", "192.168.1.5", 80, 80)));
    EXPECT_TRUE(plat_test_logged("Name is too long"));
    EXPECT_EQ(0, add(rule("eighteen-character", "192.168.1.5", 80, 80)));
    EXPECT_EQ((std::vector<std::string>{"eighteen-character:0"}), stored_rules());
}

TEST(PortForwarding, OverlappingExternalRangesConflict) {
    fresh_port_fw root;
    plat_test_set_command_script(answer_all);
    ASSERT_EQ(0, set_port_fw(PORT_FW_ADD, &(const port_fw_entry&)rule("web", "192.168.1.5", 8000, 8100, 1)));
    struct {
        port_fw_entry entry;
        int code;
    } cases[] = {
        {rule("b", "192.168.1.6", 8100, 8200, 1), VESPIN_ERR_PORTFW_FULL},  // TCP overlaps TCP
        {rule("c", "192.168.1.6", 8050, 8050, 0), VESPIN_ERR_PORTFW_FULL},  // both overlaps TCP
        {rule("d", "192.168.1.6", 8000, 8100, 2), 0},                      // UDP beside TCP
        {rule("e", "192.168.1.6", 8101, 8200, 1), 0},                      // next to it
        {rule("f", "192.168.1.6", 9000, 9000, 1, "8.8.8.8"), 0},
        {rule("g", "192.168.1.7", 9000, 9000, 1, "9.9.9.9"), 0},           // other source
        {rule("h", "192.168.1.7", 9000, 9000, 1, "8.8.8.8"), VESPIN_ERR_PORTFW_FULL},
        {rule("i", "192.168.1.7", 9000, 9000, 1), VESPIN_ERR_PORTFW_FULL}, // any source
    };
    for (auto& c : cases) EXPECT_EQ(c.code, set_port_fw(PORT_FW_ADD, &c.entry)) << c.entry.name;
    EXPECT_EQ((std::vector<std::string>{"web:0", "d:1", "e:2", "f:3", "g:4"}), stored_rules());
}

TEST(PortForwarding, RulesReachTheChainsWithTheirIdentifiers) {
    fresh_port_fw root;
    port_fw_entry both = rule("game; rm -rf /", "192.168.1.20", 3000, 3010, 0);
    both.from_port = 4000;
    both.to_port = 4010;
    ASSERT_EQ(0, set_port_fw(PORT_FW_ADD, &both));
    plat_test_reset();
    port_fw_entry remote = rule("ssh", "192.168.1.21", 2222, 2222, 1, "203.0.113.9");
    remote.from_port = remote.to_port = 22;
    ASSERT_EQ(0, set_port_fw(PORT_FW_ADD, &remote));
    EXPECT_EQ((std::vector<std::string>{
                  "iptables -F vespin_filter_port_fw > /dev/null 2> /dev/null",
                  "iptables -t nat -F vespin_nat_port_fw > /dev/null 2> /dev/null",
                  "iptables -A vespin_nat_port_fw -t nat -p tcp --dport 3000:3010 -i eth1 -d 10.0.0.2 -j DNAT --to "
                  "192.168.1.20:4000-4010 > /dev/null 2> /dev/null",
                  "iptables -A vespin_filter_port_fw -p tcp --dport 4000:4010 -i eth1 -d 192.168.1.20 -j ACCEPT > "
                  "/dev/null 2> /dev/null",
                  "iptables -A vespin_nat_port_fw -t nat -p udp --dport 3000:3010 -i eth1 -d 10.0.0.2 -j DNAT --to "
                  "192.168.1.20:4000-4010 > /dev/null 2> /dev/null",
                  "iptables -A vespin_filter_port_fw -p udp --dport 4000:4010 -i eth1 -d 192.168.1.20 -j ACCEPT > "
                  "/dev/null 2> /dev/null",
                  "iptables -A vespin_nat_port_fw -t nat -p tcp --dport 2222 -s 203.0.113.9 -i eth1 -d 10.0.0.2 -j "
                  "DNAT --to 192.168.1.21:22 > /dev/null 2> /dev/null",
                  "iptables -A vespin_filter_port_fw -p tcp --dport 22 -i eth1 -d 192.168.1.21 -j ACCEPT > /dev/null "
                  "2> /dev/null"}),
              commands());
    EXPECT_EQ("-P PREROUTING ACCEPT\n-P INPUT ACCEPT\n-P OUTPUT ACCEPT\n-P POSTROUTING ACCEPT\n"
              "-N vespin_nat_dmz\n-N vespin_nat_port_fw\n-A PREROUTING -j vespin_nat_port_fw\n"
              "-A PREROUTING -j vespin_nat_dmz\n"
              "-A vespin_nat_port_fw -d 10.0.0.2/32 -i eth1 -p tcp -m tcp --dport 3000:3010 -j DNAT "
              "--to-destination 192.168.1.20:4000-4010\n"
              "-A vespin_nat_port_fw -d 10.0.0.2/32 -i eth1 -p udp -m udp --dport 3000:3010 -j DNAT "
              "--to-destination 192.168.1.20:4000-4010\n"
              "-A vespin_nat_port_fw -s 203.0.113.9/32 -d 10.0.0.2/32 -i eth1 -p tcp -m tcp --dport 2222 -j DNAT "
              "--to-destination 192.168.1.21:22\n",
              root.read("/var/lib/iptables/nat"));

    // Edit keeps the identifier; delete frees it for the next add.
    port_fw_entry edited = remote;
    edited.id = 1;
    edited.ext_from_port = edited.ext_to_port = 2200;
    snprintf(edited.name, sizeof edited.name, "ssh2");
    ASSERT_EQ(0, set_port_fw(PORT_FW_EDIT, &edited));
    EXPECT_EQ((std::vector<std::string>{"game; rm -rf /:0", "ssh2:1"}), stored_rules());
    port_fw_entry first = both;
    first.id = 0;
    ASSERT_EQ(0, set_port_fw(PORT_FW_DELETE, &first));
    EXPECT_EQ((std::vector<std::string>{"ssh2:1"}), stored_rules());
    ASSERT_EQ(0, set_port_fw(PORT_FW_ADD, &(const port_fw_entry&)rule("new", "192.168.1.30", 5000, 5000)));
    EXPECT_EQ((std::vector<std::string>{"ssh2:1", "new:0"}), stored_rules());
    EXPECT_EQ(VESPIN_ERR_FAILURE, set_port_fw(9, &first));
    edited.id = 42;
    EXPECT_EQ(VESPIN_ERR_NOT_FOUND, set_port_fw(PORT_FW_EDIT, &edited));
    // The change is durable.
    EXPECT_NE(std::string::npos, root.read("/flash/mib.conf").find("32880 = "));
}

TEST(PortForwarding, TwentyFirstRuleIsRefused) {
    fresh_port_fw root;
    plat_test_set_command_script(answer_all);
    for (int i = 0; i < 20; i++) {
        port_fw_entry e = rule(("r" + std::to_string(i)).c_str(), "192.168.1.5", 1000 + i, 1000 + i);
        ASSERT_EQ(0, set_port_fw(PORT_FW_ADD, &e)) << i;
    }
    port_fw_entry extra = rule("extra", "192.168.1.5", 2000, 2000);
    EXPECT_EQ(VESPIN_ERR_TABLE_FULL, set_port_fw(PORT_FW_ADD, &extra));
    extra.id = 19;
    EXPECT_EQ(0, set_port_fw(PORT_FW_EDIT, &extra));  // a replacement fits a full table
}

// Each settings-store access of set_port_fw fails in turn, for each command.
// A failed call ends in 600001 and the next call restores what the table held.
TEST(PortForwarding, EachSettingsFailureEndsInItsCodeAndTheTableIsRecovered) {
    struct {
        int command;
        std::vector<std::string> success;
    } commands_tried[] = {
        {PORT_FW_ADD, {"a:0", "b:1", "c:2"}},
        {PORT_FW_EDIT, {"b:1", "c:0"}},
        {PORT_FW_DELETE, {"b:1"}},
    };
    test_root root;
    for (const auto& tried : commands_tried) {
        for (int id : {111, 32880, 65649, 131186, 262259}) {
            for (bool on_get : {true, false}) {
                port_fw_forget_state();
                port_fw_stored none = {};
                ASSERT_TRUE(apmib_set(262259, &none));
                plat_test_set_command_script(answer_all);
                port_fw_entry a = rule("a", "192.168.1.5", 1000, 1000), b = rule("b", "192.168.1.6", 2000, 2000);
                ASSERT_EQ(0, set_port_fw(PORT_FW_ADD, &a));
                ASSERT_EQ(0, set_port_fw(PORT_FW_ADD, &b));
                port_fw_entry target = rule("c", "192.168.1.7", 3000, 3000);
                target.id = 0;
                plat_test_fail_setting(id, on_get, !on_get);
                int rv = set_port_fw(tried.command, &target);
                std::vector<std::string> after = stored_rules();
                plat_test_reset();
                plat_test_set_command_script(answer_all);
                std::string what = "command " + std::to_string(tried.command) + " id " + std::to_string(id) +
                                   (on_get ? " get" : " set");
                if (rv == 0) {
                    EXPECT_EQ(tried.success, after) << what;
                    continue;
                }
                EXPECT_EQ(VESPIN_ERR_FAILURE, rv) << what;
                if (id == 65649 && !on_get && tried.command != PORT_FW_ADD) {
                    EXPECT_GT(2u, after.size()) << what << ": the table is left short";
                }
                port_fw_entry d = rule("d", "192.168.1.8", 4000, 4000);
                ASSERT_EQ(0, set_port_fw(PORT_FW_ADD, &d)) << what;
                EXPECT_EQ((std::vector<std::string>{"a:0", "b:1", "d:2"}), stored_rules()) << what;
            }
        }
    }    port_fw_forget_state();
}

// The DMZ's two stores fail in turn: 600001 with its message, the switch
// stored before the host survives, and nothing is applied.
TEST(Dmz, EachFailedStoreEndsTheCall) {
    test_root root;
    const struct {
        int id;
        const char* message;
        int enabled_after;
    } cases[] = {{140, "Fail to set enabled flag", 0}, {141, "Failed to set ip", 1}};
    for (const auto& c : cases) {
        apmib_reinit();
        plat_test_reset();
        plat_test_capture_log();
        plat_test_fail_setting(c.id, false, true);
        dmz_config dmz = {1, "192.168.1.60"};
        EXPECT_EQ(VESPIN_ERR_FAILURE, set_dmz(&dmz)) << c.id;
        EXPECT_TRUE(plat_test_logged(c.message)) << c.id;
        EXPECT_TRUE(commands().empty()) << c.id;
        plat_test_reset();
        dmz_config stored;
        ASSERT_EQ(0, get_dmz(&stored));
        EXPECT_EQ(c.enabled_after, stored.enabled) << c.id;
        EXPECT_STREQ("0.0.0.0", stored.host_ip) << c.id;
    }
}
