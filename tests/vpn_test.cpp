// VPN profiles: the tunnel state other areas ask about, the item parsers,
// add/update/delete with their codes, and what reaches UCI and the shell.
#include "config_vpn.h"
#include "platform_testing.h"
#include "test_root.h"
#include "uciconfig.h"
#include "uci/files.h"

#include <errno.h>
#include <gtest/gtest.h>
#include <stdlib.h>
#include <string.h>

#include <functional>
#include <string>

namespace {

void uci_set(const std::string& assignment) { ASSERT_EQ(0, vespin_uci_set(4, assignment.c_str())) << assignment; }

}  // namespace

TEST(VpnState, FactoryRootHasNoTunnel) {
    test_root root;
    EXPECT_EQ(0, is_vpn_enabled());
    EXPECT_EQ(0, is_openvpn_enabled());
    EXPECT_EQ(0, is_vpn_connected());
    EXPECT_TRUE(root.exists("/etc/vespin_config/openvpn"));
}

TEST(VpnState, SwitchAndDefaultProtocolDecide) {
    test_root root;
    uci_set("vpn.2.protocol=L2TP");
    uci_set("vpn.globalcfg.vpnid=2");
    EXPECT_EQ(0, is_vpn_enabled()) << "switched off";
    uci_set("vpn.globalcfg.enabled=1");
    EXPECT_EQ(1, is_vpn_enabled());
    EXPECT_EQ(0, is_openvpn_enabled());
    uci_set("vpn.2.protocol=pptp");
    EXPECT_EQ(1, is_vpn_enabled());
    uci_set("vpn.2.protocol=OpenVPN");
    EXPECT_EQ(0, is_vpn_enabled());
    EXPECT_EQ(1, is_openvpn_enabled());
    uci_set("vpn.globalcfg.vpnid=3");  // slot 3 has no protocol
    EXPECT_EQ(0, is_openvpn_enabled());
    EXPECT_EQ(0, is_vpn_enabled());
}

TEST(VpnState, ConnectedNeedsStatusAndConnectFile) {
    test_root root;
    uci_set("vpn.curstat.status=connected");
    EXPECT_EQ(0, is_vpn_connected()) << "no connect file";
    root.write("/var/run/connectfile.vpn", "");
    EXPECT_EQ(1, is_vpn_connected());
    uci_set("vpn.curstat.status=connecting");
    EXPECT_EQ(0, is_vpn_connected());
}


namespace {

json_object* parse(const char* text) { return json_tokener_parse(text); }

std::string uci_value(const std::string& path) {
    char out[512] = {0};
    int code = vespin_uci_get(path.c_str(), out);
    return code == 0 ? out : "<" + std::to_string(code) + ">";
}

vpn_item pptp_item(const char* name) {
    vpn_item item;
    memset(&item, 0, sizeof item);
    strcpy(item.name, name);
    strcpy(item.protocol, "pptp");
    strcpy(item.server, "vpn.example.net");
    strcpy(item.username, "user");
    strcpy(item.password, "secret");
    item.mppe = 1;
    return item;
}

vpn_item openvpn_item(const char* name, const char* config) {
    vpn_item item;
    memset(&item, 0, sizeof item);
    strcpy(item.name, name);
    strcpy(item.protocol, "openvpn");
    strcpy(item.username, "ovuser");
    strcpy(item.config, config);
    return item;
}

std::string json_text(json_object* object) {
    std::string text = json_object_to_json_string_ext(object, JSON_C_TO_STRING_PLAIN);
    json_object_put(object);
    return text;
}

bool command_ran(const std::string& text) {
    for (const auto& c : plat_test_commands())
        if (c.text == text) return true;
    return false;
}

}  // namespace

TEST(VpnItems, SixthItemIsRefusedAndAFreedSlotIsTakenFirst) {
    test_root root;
    for (int i = 1; i <= 5; i++) {
        vpn_item item = pptp_item(("vpn" + std::to_string(i)).c_str());
        if (i % 2 == 0) strcpy(item.protocol, "l2tp");
        ASSERT_EQ(0, vpn_item_add(&item)) << i;
        EXPECT_EQ(i, item.id);
    }
    vpn_item sixth = pptp_item("vpn6");
    EXPECT_EQ(200201, vpn_item_add(&sixth));
    EXPECT_EQ(0, vpn_item_del(2));
    EXPECT_EQ("0", uci_value("vpn.2.valid"));
    ASSERT_EQ(0, vpn_item_add(&sixth));
    EXPECT_EQ(2, sixth.id);

    vpn_item* items = nullptr;
    int count = -1;
    ASSERT_EQ(0, vpn_item_list(&items, &count));
    ASSERT_EQ(5, count);
    const char* names[] = {"vpn1", "vpn6", "vpn3", "vpn4", "vpn5"};
    for (int i = 0; i < 5; i++) {
        EXPECT_EQ(i + 1, items[i].id);
        EXPECT_STREQ(names[i], items[i].name);
    }
    EXPECT_STREQ("l2tp", items[3].protocol);
    EXPECT_EQ(0, items[3].mppe) << "L2TP stores no mppe";
    EXPECT_EQ(1, items[4].mppe);
    free(items);
}

TEST(VpnItems, StoredOptionsOfAPptpItem) {
    test_root root;
    vpn_item item = pptp_item("office");
    strcpy(item.protocol, "PPTP");  // capitals: still PPTP
    item.password[0] = 0;
    item.mppc = 1;
    ASSERT_EQ(0, vpn_item_add(&item));
    EXPECT_EQ("1", uci_value("vpn.1.valid"));
    EXPECT_EQ("1", uci_value("vpn.1.id"));
    EXPECT_EQ("office", uci_value("vpn.1.name"));
    EXPECT_EQ("PPTP", uci_value("vpn.1.protocol"));
    EXPECT_EQ("vpn.example.net", uci_value("vpn.1.server"));
    EXPECT_EQ("user", uci_value("vpn.1.username"));
    EXPECT_EQ("<600104>", uci_value("vpn.1.password")) << "an empty password is written as \"vpn.1.password=\"";
    EXPECT_EQ("1", uci_value("vpn.1.mppe"));
    EXPECT_EQ("1", uci_value("vpn.1.mppc"));
    EXPECT_EQ("<600104>", uci_value("vpn.1.config"));
    EXPECT_TRUE(plat_test_commands().empty()) << "a PPTP item runs no command";

    vpn_item loaded;
    ASSERT_EQ(0, vpn_item_config_load(&loaded, 1));
    EXPECT_EQ(1, loaded.mppe);
    EXPECT_EQ(1, loaded.mppc);
    EXPECT_STREQ("", loaded.password);
    EXPECT_EQ("{\"id\":\"1\",\"name\":\"office\",\"protocol\":\"PPTP\",\"server\":\"vpn.example.net\","
              "\"username\":\"user\",\"password\":\"\",\"pptp\":{\"mppe\":true,\"mppc\":true}}",
              json_text(vpn_item_cfg2json(&loaded)));
    EXPECT_EQ(600001, vpn_item_config_load(&loaded, 0));
    EXPECT_EQ(600001, vpn_item_config_load(&loaded, 6));
    EXPECT_EQ(600104, vpn_item_config_load(&loaded, 2)) << "a factory slot has no name";
}

TEST(VpnItems, AddRefusesMissingFieldsWithoutCommitting) {
    test_root root;
    std::string factory = root.read("/etc/config/vpn");
    vpn_item item = pptp_item("");
    EXPECT_EQ(100200, vpn_item_add(&item));
    item = pptp_item("x");
    item.server[0] = 0;
    EXPECT_EQ(100200, vpn_item_add(&item));
    item = pptp_item("x");
    item.username[0] = 0;
    EXPECT_EQ(100200, vpn_item_add(&item));
    item = pptp_item("x");
    item.protocol[0] = 0;
    EXPECT_EQ(100200, vpn_item_add(&item));
    EXPECT_EQ(factory, root.read("/etc/config/vpn"));
    EXPECT_EQ("0", uci_value("vpn.1.valid"));
}

TEST(VpnItems, OpenvpnUploadIsMovedFromTheFixedPathOnly) {
    test_root root;
    plat_test_capture_log();
    std::string factory = root.read("/etc/config/vpn");
    vpn_item item = openvpn_item("home", "client.conf");
    EXPECT_EQ(600001, vpn_item_add(&item));
    EXPECT_TRUE(plat_test_logged("Invalid openvpn config"));
    item = openvpn_item("home", "openvpn.tmp");
    EXPECT_EQ(600001, vpn_item_add(&item)) << "nothing uploaded";
    EXPECT_TRUE(plat_test_logged("Fail to run cmd [mv -f /tmp/openvpn.tmp /etc/vespin_config/openvpn/openvpn-1.ovpn], err[1]"));
    EXPECT_EQ(factory, root.read("/etc/config/vpn"));

    root.write("/tmp/openvpn.tmp", "client\nremote vpn.example.net 1194\n");
    // The caller's text only has to name the upload; it never reaches the command.
    item = openvpn_item("home", "/x/openvpn.tmp; reboot");
    ASSERT_EQ(0, vpn_item_add(&item));
    EXPECT_EQ("mv -f /tmp/openvpn.tmp /etc/vespin_config/openvpn/openvpn-1.ovpn", plat_test_commands().back().text);
    EXPECT_EQ("client\nremote vpn.example.net 1194\n", root.read("/etc/vespin_config/openvpn/openvpn-1.ovpn"));
    EXPECT_FALSE(root.exists("/tmp/openvpn.tmp"));
    EXPECT_EQ("/etc/vespin_config/openvpn/openvpn-1.ovpn", uci_value("vpn.1.config"));
    vpn_item loaded;
    ASSERT_EQ(0, vpn_item_config_load(&loaded, 1));
    EXPECT_EQ("{\"id\":\"1\",\"name\":\"home\",\"protocol\":\"openvpn\",\"username\":\"ovuser\",\"password\":\"\","
              "\"openvpn\":{\"url\":\"openvpn-1.ovpn\"}}",
              json_text(vpn_item_cfg2json(&loaded)));
}

TEST(VpnItems, UpdateChecksTheSlotAndSwitchesProtocols) {
    test_root root;
    plat_test_capture_log();
    vpn_item item = pptp_item("x");
    item.id = 0;
    EXPECT_EQ(100208, vpn_item_update(&item));
    item.id = 3;
    EXPECT_EQ(600104, vpn_item_update(&item));
    EXPECT_TRUE(plat_test_logged("Fail to load orig vpn item [3] config"));

    root.write("/tmp/openvpn.tmp", "client\n");
    vpn_item ovpn = openvpn_item("home", "openvpn.tmp");
    ASSERT_EQ(0, vpn_item_add(&ovpn));
    // OpenVPN to PPTP: the file goes, and so does the config option.
    vpn_item change = pptp_item("");
    change.id = 1;
    ASSERT_EQ(0, vpn_item_update(&change));
    EXPECT_TRUE(command_ran("rm /etc/vespin_config/openvpn/openvpn-1.ovpn"));
    EXPECT_FALSE(root.exists("/etc/vespin_config/openvpn/openvpn-1.ovpn"));
    EXPECT_EQ("<600104>", uci_value("vpn.1.config"));
    EXPECT_EQ("home", uci_value("vpn.1.name")) << "an empty name is left alone";
    EXPECT_EQ("pptp", uci_value("vpn.1.protocol"));
    EXPECT_EQ("vpn.example.net", uci_value("vpn.1.server"));

    // PPTP to OpenVPN needs an upload.
    change = openvpn_item("", "none");
    change.id = 1;
    EXPECT_EQ(600001, vpn_item_update(&change));
    EXPECT_EQ("pptp", uci_value("vpn.1.protocol")) << "nothing committed";
    root.write("/tmp/openvpn.tmp", "client 2\n");
    strcpy(change.config, "openvpn.tmp");
    ASSERT_EQ(0, vpn_item_update(&change));
    EXPECT_EQ("client 2\n", root.read("/etc/vespin_config/openvpn/openvpn-1.ovpn"));
    // OpenVPN to OpenVPN keeps the stored file when nothing new was uploaded.
    strcpy(change.config, "");
    strcpy(change.name, "renamed");
    ASSERT_EQ(0, vpn_item_update(&change));
    EXPECT_EQ("renamed", uci_value("vpn.1.name"));
    EXPECT_EQ("/etc/vespin_config/openvpn/openvpn-1.ovpn", uci_value("vpn.1.config"));

    // A deleted slot keeps its options but is not in use.
    ASSERT_EQ(0, vpn_item_del(1));
    EXPECT_EQ(600104, vpn_item_update(&change));
    EXPECT_TRUE(plat_test_logged("Vpn item [1] doesn't exist"));
}

TEST(VpnItems, TheConnectedDefaultItemCannotBeDeleted) {
    test_root root;
    vpn_item item = pptp_item("a");
    ASSERT_EQ(0, vpn_item_add(&item));
    uci_set("vpn.globalcfg.enabled=1");
    uci_set("vpn.globalcfg.vpnid=1");
    uci_set("vpn.curstat.status=connected");
    EXPECT_EQ(600702, vpn_item_del(1));
    uci_set("vpn.curstat.status=connecting");
    EXPECT_EQ(600702, vpn_item_del(1));
    EXPECT_EQ("1", uci_value("vpn.1.valid"));
    uci_set("vpn.curstat.status=disconnected");
    EXPECT_EQ(0, vpn_item_del(1));
    EXPECT_EQ("0", uci_value("vpn.1.valid"));
    EXPECT_EQ(100208, vpn_item_del(0));
    EXPECT_EQ(100208, vpn_item_del(6));
}

TEST(VpnItems, HostileTextsAreStoredAsDataAndNeverReachAShell) {
    test_root root;
    const char* hostile[] = {"a'b\"c", "$(reboot)", "`reboot`", "x;reboot", "line1\nline2", "p=q.r s"};
    for (const char* text : hostile) {
        plat_test_reset();
        uci_set("vpn.1.valid=0");
        vpn_item item = pptp_item(text);
        strcpy(item.server, text);
        strcpy(item.username, text);
        strcpy(item.password, text);
        ASSERT_EQ(0, vpn_item_add(&item)) << text;
        vpn_item loaded;
        ASSERT_EQ(0, vpn_item_config_load(&loaded, 1));
        EXPECT_STREQ(text, loaded.name);
        EXPECT_STREQ(text, loaded.server);
        EXPECT_STREQ(text, loaded.username);
        EXPECT_STREQ(text, loaded.password);
        EXPECT_TRUE(plat_test_commands().empty()) << text;
    }
    EXPECT_FALSE(root.exists("/var/log/vespin_reboot.args"));
}

TEST(VpnJson, PartialParseTakesWhatTheProtocolNeeds) {
    vpn_item item;
    memset(&item, 0, sizeof item);
    strcpy(item.protocol, "pptp");
    json_object* object = parse(
        "{\"id\":\"2\",\"name\":\"n\",\"server\":\"s\",\"username\":7,\"pptp\":{\"mppe\":\"no\",\"mppc\":1}}");
    ASSERT_EQ(0, vpn_item_json2cfg(&item, object));
    json_object_put(object);
    EXPECT_EQ(2, item.id);
    EXPECT_STREQ("n", item.name);
    EXPECT_STREQ("s", item.server);
    EXPECT_STREQ("", item.username) << "another type is ignored";
    // Deliberate: mppe is read as a boolean whatever its type (a non-empty
    // string is true); mppc only when it is a boolean.
    EXPECT_EQ(1, item.mppe);
    EXPECT_EQ(0, item.mppc);

    const char* refused[] = {
        "{\"name\":\"n\"}",
        "{\"id\":2}",
        "{\"id\":\"6\"}",
        "{\"id\":\"0\"}",
        "{\"id\":\"1x\"}",
        "{\"id\":\"1\",\"name\":\"123456789012345678901234567890123\"}",
        "{\"id\":\"1\",\"protocol\":\"openvpn\",\"openvpn\":\"x\"}",
        "{\"id\":\"1\",\"protocol\":\"openvpn\",\"openvpn\":{\"url\":3}}",
    };
    for (const char* text : refused) {
        memset(&item, 0, sizeof item);
        object = parse(text);
        EXPECT_EQ(100208, vpn_item_json2cfg(&item, object)) << text;
        json_object_put(object);
    }
    memset(&item, 0, sizeof item);
    object = parse("{\"id\":\"1\",\"name\":\"12345678901234567890123456789012\",\"protocol\":\"OpenVPN\","
                   "\"openvpn\":{\"url\":\"openvpn.tmp\"}}");
    EXPECT_EQ(0, vpn_item_json2cfg(&item, object)) << "32 characters fit";
    json_object_put(object);
    EXPECT_STREQ("openvpn.tmp", item.config);
}

TEST(VpnJson, FullParseRequiresEachProtocolsFields) {
    struct {
        const char* json;
        int expected;
    } cases[] = {
        {"{\"name\":\"a\",\"protocol\":\"l2tp\",\"server\":\"s\",\"username\":\"u\"}", 0},
        {"{\"name\":\"a\",\"protocol\":\"l2tp\",\"server\":\"s\"}", 100208},
        {"{\"name\":\"a\",\"protocol\":\"PPTP\",\"server\":\"s\",\"username\":\"u\"}", 100208},
        {"{\"name\":\"a\",\"protocol\":\"pptp\",\"server\":\"s\",\"username\":\"u\",\"pptp\":{\"mppe\":true}}", 100208},
        {"{\"name\":\"a\",\"protocol\":\"pptp\",\"server\":\"s\",\"username\":\"u\",\"pptp\":{\"mppe\":true,\"mppc\":false}}", 0},
        {"{\"name\":\"a\",\"protocol\":\"openvpn\"}", 100208},
        {"{\"name\":\"a\",\"protocol\":\"openvpn\",\"openvpn\":{\"url\":\"openvpn.tmp\"}}", 0},
        {"{\"name\":\"a\",\"protocol\":\"ipsec\"}", 0},
        {"{\"protocol\":\"l2tp\"}", 100208},
        {"{\"name\":\"a\",\"protocol\":\"12345678901234567\"}", 100208},
        {"{\"name\":\"123456789012345678901234567890123\",\"protocol\":\"l2tp\"}", 100208},
        {"[1]", 100208},
    };
    for (const auto& c : cases) {
        vpn_item item;
        memset(&item, 0, sizeof item);
        json_object* object = parse(c.json);
        EXPECT_EQ(c.expected, vpn_item_json2cfg_all(&item, object)) << c.json;
        json_object_put(object);
    }
}

TEST(VpnStatus, LoadStartsTheCheckerAndJsonShowsTimeOnlyWhenConnected) {
    test_root root;
    uci_set("vpn.curstat.status=connected");
    uci_set("vpn.curstat.connected_time=360");
    uci_set("vpn.curstat.errcode=0");
    uci_set("vpn.curstat.errmsg=OK");
    root.write("/var/run/connectfile.vpn", "");
    plat_test_set_command_script([](const plat_command& c, plat_command_reply*) { return c.text == "vespin_vpn_check &"; });
    vpn_status status;
    memset(&status, 0, sizeof status);
    ASSERT_EQ(0, vpn_status_load(&status));
    EXPECT_TRUE(command_ran("vespin_vpn_check &"));
    EXPECT_FALSE(command_ran("/bin/vespin_openvpn stop")) << "the WAN has a link";
    EXPECT_EQ("{\"default_vpn\":\"1\",\"enabled\":false,\"status\":\"connected\",\"connected_time\":360,"
              "\"error\":{\"code\":\"0\",\"message\":\"OK\"}}",
              json_text(vpn_statsu_cfg2json(&status)));
    strcpy(status.status, "disconnected");
    EXPECT_EQ("{\"default_vpn\":\"1\",\"enabled\":false,\"status\":\"disconnected\","
              "\"error\":{\"code\":\"0\",\"message\":\"OK\"}}",
              json_text(vpn_statsu_cfg2json(&status)));

    // No WAN link: OpenVPN is stopped first.
    root.write("/proc/eth1/link_status", "0\n");
    ASSERT_EQ(0, vpn_status_load(&status));
    EXPECT_TRUE(command_ran("/bin/vespin_openvpn stop"));
    EXPECT_STREQ("disconnected", status.status);
    EXPECT_FALSE(root.exists("/var/run/connectfile.vpn"));

    // While connecting nothing runs; oversized texts are refused.
    plat_test_reset();
    uci_set("vpn.curstat.status=connecting");
    uci_set("vpn.curstat.errcode=123456789");
    EXPECT_EQ(600001, vpn_status_load(&status));
    EXPECT_TRUE(plat_test_commands().empty());
    uci_set("vpn.curstat.errcode=12345678");
    EXPECT_EQ(0, vpn_status_load(&status));
    EXPECT_STREQ("12345678", status.errcode);
    plat_test_set_command_script([](const plat_command&, plat_command_reply*) { return true; });
    uci_set("vpn.curstat.status=12345678901234567");
    EXPECT_EQ(600001, vpn_status_load(&status));
    uci_set("vpn.curstat.status=disconnected");
    uci_set("vpn.curstat.errmsg=" + std::string(65, 'm'));
    EXPECT_EQ(600001, vpn_status_load(&status));
}

TEST(VpnGlobal, SwitchingOpenvpnDrivesTheClientScript) {
    test_root root;
    root.write("/tmp/openvpn.tmp", "client\n");
    vpn_item item = openvpn_item("home", "openvpn.tmp");
    ASSERT_EQ(0, vpn_item_add(&item));
    vpn_config config = {1, 1};
    ASSERT_EQ(0, vpn_config_update(&config));
    EXPECT_EQ("1", uci_value("vpn.globalcfg.enabled"));
    vpn_config loaded = {0, 0};
    ASSERT_EQ(0, vpn_config_load(&loaded));
    EXPECT_EQ(1, loaded.vpnid);
    EXPECT_EQ(1, loaded.enabled);
    EXPECT_EQ(1, is_openvpn_enabled());

    EXPECT_EQ(0, set_openvpn_enable(1));
    EXPECT_EQ("/bin/vespin_openvpn restart", plat_test_commands().back().text);
    EXPECT_EQ("connected", uci_value("vpn.curstat.status"));
    EXPECT_EQ(1, is_vpn_connected());
    EXPECT_EQ(0, set_openvpn_enable(0));
    EXPECT_EQ("/bin/vespin_openvpn stop", plat_test_commands().back().text);
    EXPECT_EQ("disconnected", uci_value("vpn.curstat.status"));
    EXPECT_EQ(0, is_vpn_connected());
    EXPECT_EQ("restart\nstop\n", root.read("/var/log/vespin_openvpn.args"));

    config.vpnid = 6;
    EXPECT_EQ(100208, vpn_config_update(&config));
    config = {2, 7};
    ASSERT_EQ(0, vpn_config_update(&config));
    EXPECT_EQ("1", uci_value("vpn.globalcfg.enabled")) << "any non-zero flag is stored as 1";
}

TEST(VpnFaults, EveryWriterFailsCleanlyWhenThePackageCannotBeReadOrWritten) {
    struct writer {
        const char* name;
        std::function<int()> run;
    };
    const writer writers[] = {
        {"add", [] { vpn_item item = pptp_item("new"); return vpn_item_add(&item); }},
        {"update", [] { vpn_item item = pptp_item("changed"); item.id = 1; return vpn_item_update(&item); }},
        {"delete", [] { return vpn_item_del(1); }},
        {"global", [] { vpn_config config = {2, 1}; return vpn_config_update(&config); }},
    };
    for (const writer& w : writers) {
        for (int fault = 0; fault < 2; fault++) {
            test_root root;
            vpn_item stored = pptp_item("kept");
            ASSERT_EQ(0, vpn_item_add(&stored));
            std::string before = root.read("/etc/config/vpn");
            if (fault == 0) plat_test_fail_open(root.path("/etc/config/vpn"), EIO);  // the engine opens host paths
            else vuci::set_write_fault(ENOSPC);
            int code = w.run();
            vuci::set_write_fault(0);
            plat_test_reset();
            EXPECT_TRUE(code == 600001 || code == 600104) << w.name << " fault " << fault << ": " << code;
            EXPECT_EQ(before, root.read("/etc/config/vpn")) << w.name << " fault " << fault;
            vpn_item loaded;
            ASSERT_EQ(0, vpn_item_config_load(&loaded, 1)) << w.name;
            EXPECT_STREQ("kept", loaded.name) << w.name << ": nothing pending either";
        }
    }
}

TEST(VpnFaults, ReadersReportAnUnreadablePackage) {
    test_root root;
    plat_test_fail_open(root.path("/etc/config/vpn"), EIO);
    vpn_status status;
    EXPECT_EQ(600001, vpn_status_load(&status));
    vpn_config config;
    EXPECT_EQ(600001, vpn_config_load(&config));
    vpn_item* items = nullptr;
    int count = 0;
    EXPECT_EQ(600001, vpn_item_list(&items, &count));
    EXPECT_EQ(nullptr, items);
    EXPECT_EQ(0, is_vpn_enabled());
    EXPECT_EQ(0, is_openvpn_enabled());
}
