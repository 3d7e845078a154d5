// Fault injection: every allocation of the constructors and loaders, and
// every settings-store access, file open and command of the functions that
// write settings, fails in turn. Each run must end in the documented code,
// keep what is stored intact, and leak nothing (the sanitizer build checks).
#include "apmib.h"
#include "config_assets.h"
#include "config_time_limit.h"
#include "config_vpn.h"
#include "internal_devices.h"
#include "internal_node_blacklist.h"
#include "internal_sta_blacklist.h"
#include "internal_url_filter.h"
#include "mesh.h"
#include "mesh_maintainer.h"
#include "mesh_node.h"
#include "server.h"
#include "avl.h"
#include "md5.h"
#include "msghandle.h"
#include "new_mesh.h"
#include "platform_testing.h"
#include "request.h"
#include "response.h"
#include "test_root.h"
#include "tools.h"
#include "uciconfig.h"
#include "vespin_core.h"

#include "core/json_ref.h"
#include "core/mesh_maintainer/table_segment.h"
#include "core/new_mesh/life_id.h"
#if __has_include("methods.h")  // the daemon's parts are built with the tools
#include "methods.h"
#define HAVE_NODE_METHODS 1
#endif

#include <gtest/gtest.h>
#include <stdlib.h>
#include <string.h>

#include <functional>
#include <string>

namespace {

const int kMibTimeZone = 153;
const int kMibDaylightSaving = 282;
const int kMibUserName = 182;
const int kMibPassword = 183;
const int kMibDeviceName = 186;
const int kMibInitFlag = 2400;
const int kMibWorkMode = 2401;
const int kMibLifecycle = 2403;

struct armed_fault {
    plat_fault_kind kind;
    bool fired;
} armed;

// Ends a run's armed window, so that the checks' own accesses do not count,
// and tells whether the fault fired during the run.
bool settle() {
    armed.fired = armed.fired || plat_test_fault_fired(armed.kind);
    plat_test_fail_nth(armed.kind, 0);
    return armed.fired;
}

// Runs `call` with the Nth event of `kind` failing (and with `persistent`
// every later one too), for N = 1, 2, ... until a run completes without the
// fault firing (`prepare`, when given, runs first each time, unarmed).
// `call` calls settle() right after the function under test. Returns the
// number of runs.
int each_fault(plat_fault_kind kind, const std::function<void()>& call,
               const std::function<void()>& prepare = nullptr, bool persistent = false) {
    const int kLimit = 500;
    for (int n = 1; n <= kLimit; n++) {
        if (prepare) prepare();
        armed = {kind, false};
        plat_test_fail_nth(kind, n, persistent);
        SCOPED_TRACE("event " + std::to_string(n) + (persistent ? " and later ones fail" : " fails"));
        call();
        if (!settle()) return n;
    }
    ADD_FAILURE() << "the fault still fires after " << kLimit << " events";
    return kLimit;
}

std::string json_text(json_object* object) {
    return object ? json_object_to_json_string_ext(object, JSON_C_TO_STRING_PLAIN) : "(null)";
}

std::string stored_text(int id) {
    char value[256] = {0};
    EXPECT_TRUE(apmib_get(id, value));
    return value;
}

int stored_int(int id) {
    int value = -1;
    EXPECT_TRUE(apmib_get(id, &value));
    return value;
}

bool command_ran(const std::string& text) {
    for (const auto& c : plat_test_commands())
        if (c.text == text) return true;
    return false;
}

// A record constructor: makes one (an error value when it fails) and frees it.
struct constructor {
    const char* name;
    std::function<const void*()> make;
    std::function<void(const void*)> drop;
    int code;  // the documented code when memory runs out
    int other = -1;  // another code a failure beneath may answer (0: NULL)
    // false: only the record's own allocation (the first) must answer `code`;
    // a later one (the loaders beneath) ends in an error value or a record.
    bool whole = true;
};

// Makes each allocation of a constructor fail in turn, once and for good:
// every run ends in its code (or a record when nothing failed) and leaks
// nothing.
void check_constructor(const constructor& c) {
    for (bool persistent : {false, true}) {
        SCOPED_TRACE(c.name);
        int n = 0;
        int runs = each_fault(PLAT_FAULT_ALLOC, [&] {
            const void* made = c.make();
            n++;
            if (settle()) {
                int code = vespin_error_code(made);
                if (c.whole || n == 1) {
                    EXPECT_TRUE(code == c.code || (code == c.other && (code || !made))) << code;
                }
            } else {
                EXPECT_NE(nullptr, made);
                EXPECT_FALSE(vespin_is_error(made));
            }
            c.drop(made);
        }, nullptr, persistent);
        EXPECT_GE(runs, 2) << "no allocation went through the seam";
    }
}

}  // namespace

TEST(AllocationFaults, ConstructorsAndLoadersAnswerTheirCode) {
    test_root root;
    plat_test_capture_log();
    json_ref params(json_tokener_parse("{\"zone\":\"8 1\"}"));
    auto drop_request = [](const void* p) { vespin_request_free((vespin_request*)p); };
    auto drop_response = [](const void* p) { vespin_response_free((vespin_response*)p); };
    auto drop_version = [](const void* p) { version_free((version*)p); };
    const constructor constructors[] = {
        {"vespin_request_new", [&] { return vespin_request_new("timezone.set", params.get()); }, drop_request,
         VESPIN_ERR_NO_MEMORY},
        {"vespin_request_new_from_json",
         [] { return vespin_request_new_from_json("{\"method\":\"a\",\"params\":[1,{\"b\":2}]}"); }, drop_request,
         VESPIN_ERR_NO_MEMORY},
        {"vespin_response_new", [&] { return vespin_response_new(0, nullptr, params.get()); }, drop_response,
         VESPIN_ERR_NO_MEMORY},
        {"vespin_response_new_with_post", [] { return vespin_response_new_with_post(600001, "Fail", nullptr, 7); },
         drop_response, VESPIN_ERR_NO_MEMORY},
        {"vespin_response_new_from_json",
         [] { return vespin_response_new_from_json("{\"error\":{\"code\":600002,\"message\":\"m\"},\"result\":[1]}"); },
         drop_response, VESPIN_ERR_NO_MEMORY},
        {"version_new", [] { return version_new(1, 2, 3, 4); }, drop_version, VESPIN_ERR_NO_MEMORY},
        {"version_new_from_string", [] { return version_new_from_string("10.0.7-rc.2"); }, drop_version,
         VESPIN_ERR_NO_MEMORY},
        {"new_message_receiver", [] { return new_message_receiver(nullptr, 0, 0); },
         [](const void* p) { destroy_message_receiver((message_receiver*)p); }, VESPIN_ERR_NO_MEMORY},
        {"vespin_uci_ctx_new", [] { return vespin_uci_ctx_new(); },
         [](const void* p) { vespin_uci_ctx_free((uci_context*)p); }, VESPIN_ERR_FAILURE},
    };
    for (const constructor& c : constructors) check_constructor(c);
    EXPECT_TRUE(plat_test_logged("Fail to alloc uci_context"));
}

// The records and maps of the mesh: each allocation of a constructor (its
// record, the scratch lists of the stations, the map's entries) fails in turn.
TEST(AllocationFaults, MeshRecordsAnswerTheirCode) {
    test_root root;
    plat_test_capture_log();
    root.write("/proc/sys/kernel/random/uuid", "5b0e2f1c-8d4a-4c3e-9f71-2a6b8c0d4e15\n");
    mesh_life_id_forget();
    root.write("/tmp/vespin/map", "SN1 192.168.1.2 025600000201 025600000301 10010\n");
    auto texts_of = [](json_object* json) {
        std::string text = json_text(json);
        json_object_put(json);
        return text;
    };
    mesh_node* node = mesh_node_new();
    mbd* network = mbd_new();
    bmd* report = bmd_new();
    ASSERT_FALSE(vespin_is_error(node) || vespin_is_error(network) || vespin_is_error(report));
    const std::string node_json = texts_of(mesh_node_to_json(node));
    const std::string network_json = texts_of(mbd_to_json(network));
    const std::string report_json = texts_of(bmd_to_json(report));
    mesh_node_free(node);
    mbd_free(network);
    bmd_free(report);
    auto drop_node = [](const void* p) { mesh_node_free((mesh_node*)p); };
    auto drop_mbd = [](const void* p) { mbd_free((mbd*)p); };
    auto drop_bmd = [](const void* p) { bmd_free((bmd*)p); };
    auto drop_map = [](const void* p) {
        if (!vespin_is_error(p)) mesh_node_map_free((mesh_node_map*)p);
    };
    // The reloads read the settings through loaders that, by design, log a
    // failure and go on with defaults (the Wi-Fi settings without their UCI
    // context): only their record's own allocation has a code to answer.
    const constructor constructors[] = {
        {"mesh_node_new", [] { return mesh_node_new(); }, drop_node, VESPIN_ERR_NO_MEMORY, -1, false},
        {"mesh_node_new_from_json", [&] { return mesh_node_new_from_json(node_json.c_str()); }, drop_node,
         VESPIN_ERR_NO_MEMORY},
        {"mbd_new", [] { return mbd_new(); }, drop_mbd, VESPIN_ERR_NO_MEMORY, -1, false},
        {"mbd_new_from_json", [&] { return mbd_new_from_json(network_json.c_str()); }, drop_mbd, VESPIN_ERR_NO_MEMORY,
         -1, false},
        {"bmd_new", [] { return bmd_new(); }, drop_bmd, VESPIN_ERR_NO_MEMORY, -1, false},
        {"bmd_new_from_json", [&] { return bmd_new_from_json(report_json.c_str()); }, drop_bmd, VESPIN_ERR_NO_MEMORY},
        {"mesh_node_map_new_from_file", [] { return mesh_node_map_new_from_file(4, "/tmp/vespin/map"); }, drop_map,
         12},
        {"assets_factory_new", [] { return assets_factory_new(); },
         [](const void* p) { assets_factory_free((assets_factory*)p); }, VESPIN_ERR_NO_MEMORY,
         VESPIN_ERR_FAILURE},
        {"time_limit_rule_factory_new", [] { return time_limit_rule_factory_new(); },
         [](const void* p) { time_limit_rule_factory_free((time_limit_rule_factory*)p); }, VESPIN_ERR_NO_MEMORY,
         0},
    };
    for (const constructor& c : constructors) check_constructor(c);
    // A record rebuilt from JSON equals the one it was written from.
    node = mesh_node_new_from_json(node_json.c_str());
    EXPECT_EQ(node_json, texts_of(mesh_node_to_json(node)));
    mesh_node_free(node);
    each_fault(PLAT_FAULT_ALLOC, [] {
        mesh_node_map* map = mesh_node_map_new(3);
        if (settle()) {
            EXPECT_EQ(nullptr, map);
            return;
        }
        ASSERT_NE(nullptr, map);
        EXPECT_EQ(3, map->capacity);
        mesh_node_map_free(map);
    });
    mesh_life_id_forget();
}

// A loader that hands out a new array: on each allocation failing it answers
// its documented code and leaves nothing behind; otherwise it succeeds and
// the test frees what it got.
struct loader {
    const char* name;
    std::function<int()> run;  // frees what it got on success
    int code;                  // the documented code when memory runs out
    int other = -1;            // the code of a UCI context that cannot be made
    bool whole = true;         // false: only the first allocation must answer `code`
};

// Runs a loader of a new array and frees it; `expected` >= 0: the count a
// successful run must give.
template <typename Record, typename Count>
std::function<int()> array_loader(std::function<int(Record**, Count*)> load, int expected = -1) {
    return [load, expected] {
        Record* list = nullptr;
        Count count = 0;
        int code = load(&list, &count);
        if (code == 0 && expected >= 0) {
            EXPECT_EQ(expected, (int)count);
        }
        free(list);
        return code;
    };
}

TEST(AllocationFaults, ListLoadersAnswerTheirCode) {
    test_root root;
    plat_test_capture_log();
    plat_test_set_clock(1700000000, 0);
    root.write("/etc/config/mac_filter_black",
               "\nconfig sta '0a0000000001'\n\toption mac '0a0000000001'\n\toption name 'phone'\n");
    const loader loaders[] = {
        {"remote_firmware_load_from_json",
         [] {
             remote_firmware firmware = {};
             int code = remote_firmware_load_from_json(
                 &firmware, "{\"model\":{\"id\":\"7\",\"version\":{\"id\":\"3\"}},\"url\":\"https://a/b\","
                            "\"version\":\"1.9.8\",\"size\":10,\"released_time\":5,\"changelog\":\"fixes\"}");
             if (code == 0) {
                 EXPECT_STREQ("fixes", firmware.changelog);
             }
             free(firmware.changelog);
             return code;
         },
         VESPIN_ERR_FAILURE},
        {"vpn_item_list", array_loader<vpn_item, int>(vpn_item_list), VESPIN_ERR_FAILURE},
        {"sta_blacklist_list", array_loader<blacklist_entry, int32_t>(sta_blacklist_list, 1), VESPIN_ERR_NO_MEMORY},
        {"URL_filter_list", array_loader<url_filter_device, int32_t>(URL_filter_list), VESPIN_ERR_NO_MEMORY,
         VESPIN_ERR_FAILURE},
        {"node_blacklist_list", array_loader<node_blacklist, int32_t>(node_blacklist_list, 1), VESPIN_ERR_SETTING},
        {"vespin_get_offline_device",
         [] {
             offline_device_list list = {};
             int code = vespin_get_offline_device(&list);
             free(list.devices);
             return code;
         },
         VESPIN_ERR_FAILURE},
        // Without a UCI context the list still forms, without the names given.
        {"mesh_device_list",
         array_loader<lan_device_info, int32_t>([](lan_device_info** list, int32_t* count) {
             return mesh_device_list(list, count, 0);
         }),
         VESPIN_ERR_NO_MEMORY, -1, false},
        {"mesh_candidate_scan", array_loader<mesh_candidate, int>(mesh_candidate_scan), VESPIN_ERR_FAILURE},
        // The emulated radios list no peer in the form this reader takes: the
        // node map's allocations are the ones that fail.
        {"mesh_get_neighbors", array_loader<mesh_peer, int>(mesh_get_neighbors, 0), 12},
        // Its self record is rebuilt by a reload (see MeshRecordsAnswerTheirCode).
        {"mesh_maintainer_network_top_all",
         array_loader<mesh_node*, int>([](mesh_node*** nodes, int* count) {
             return mesh_maintainer_network_top_all(mesh_maintainer_get_inst(), nodes, count);
         }, 2),
         VESPIN_ERR_NO_MEMORY, -1, false},
    };
    // A node map, and one node in the table.
    root.write(MESH_NODE_MAP_FILE, "0224081231A1002 192.168.1.3 025600000202 025600000302 10010\n");
    mesh_maintainer* table = mesh_maintainer_get_inst();
    ASSERT_FALSE(vespin_is_error(table));
    mesh_node satellite = {};
    strcpy(satellite.sn, "0224081231A1002");
    satellite.rpc_port = MESH_NODE_RPC_PORT;
    ASSERT_EQ(0, mesh_maintainer_put_node(table, &satellite));
    node_blacklist refused = {"SN1", "025600000201"};
    ASSERT_EQ(0, node_blacklist_add(&refused));
    // The vendor table is read once per process, and its exhaustion ends the
    // process by design: it is read here, unarmed.
    lan_device_info* warm = nullptr;
    int32_t warm_count = 0;
    mesh_device_list(&warm, &warm_count, 0);
    free(warm);
    for (const loader& l : loaders) {
        SCOPED_TRACE(l.name);
        int n = 0;
        int runs = each_fault(PLAT_FAULT_ALLOC, [&] {
            int code = l.run();
            if (settle()) {
                if (l.whole || ++n == 1) {
                    EXPECT_TRUE(code == l.code || code == l.other) << code;
                }
            } else {
                EXPECT_EQ(0, code);
            }
        });
        EXPECT_GE(runs, 2) << "no allocation went through the seam";
    }
    mesh_table::forget_segment(true);
}

TEST(AllocationFaults, JsonFormsAreWholeOrNull) {
    test_root root;
    json_ref params(json_tokener_parse("{\"zone\":\"-3 4\"}"));
    vespin_request* request = vespin_request_new("timezone.set", params.get());
    vespin_response* error = vespin_response_new(600002, "Fail to set MIB_NTP_TIMEZONE", nullptr);
    vespin_response* result = vespin_response_new(0, nullptr, params.get());
    const std::pair<std::function<json_object*()>, std::string> forms[] = {
        {[&] { return vespin_request_to_json(request); }, "{\"method\":\"timezone.set\",\"params\":{\"zone\":\"-3 4\"}}"},
        {[&] { return vespin_response_to_json(error); },
         "{\"error\":{\"code\":600002,\"message\":\"Fail to set MIB_NTP_TIMEZONE\"}}"},
        {[&] { return vespin_response_to_json(result); }, "{\"result\":{\"zone\":\"-3 4\"}}"},
    };
    for (const auto& form : forms) {
        SCOPED_TRACE(form.second);
        int runs = each_fault(PLAT_FAULT_ALLOC, [&] {
            json_object* json = form.first();
            EXPECT_EQ(settle() ? "(null)" : form.second, json_text(json));
            json_object_put(json);
        });
        EXPECT_GE(runs, 2);
    }
    vespin_request_free(request);
    vespin_response_free(error);
    vespin_response_free(result);
    // The records still hold their reference, and only that one.
    EXPECT_EQ(1, json_object_put(params.release()));
}

TEST(AllocationFaults, ToolsFailWithoutPartialResults) {
    test_root root;
    each_fault(PLAT_FAULT_ALLOC, [] {
        Buffer* buffer = buffer_new(4);
        if (settle()) {
            EXPECT_EQ(nullptr, buffer);
            return;
        }
        ASSERT_NE(nullptr, buffer);
        buffer_destroy(buffer);
    });
    // A failed growth leaves the buffer as it was.
    Buffer* buffer = buffer_new(4);
    buffer_append(buffer, "mesh");
    plat_test_fail_nth(PLAT_FAULT_ALLOC, 1);
    buffer_append(buffer, "-node");
    EXPECT_TRUE(plat_test_fault_fired(PLAT_FAULT_ALLOC));
    EXPECT_STREQ("mesh", buffer_get_content(buffer));
    EXPECT_EQ(4, buffer->length);
    buffer_append(buffer, "-node");
    EXPECT_STREQ("mesh-node", buffer_get_content(buffer));
    buffer_destroy(buffer);

    int runs = each_fault(PLAT_FAULT_ALLOC, [] {
        char** pieces = string_split("wan,lan,,guest", ",", 0);
        if (settle()) {
            EXPECT_EQ(nullptr, pieces);
            return;
        }
        ASSERT_NE(nullptr, pieces);
        char* joined = string_join(pieces, "+", 0);
        EXPECT_STREQ("wan+lan++guest", joined);
        free(joined);
        for (char** p = pieces; *p; p++) free(*p);
        free(pieces);
    });
    EXPECT_EQ(6, runs);  // the array and four pieces
    char* parts[] = {(char*)"a", (char*)"b", nullptr};
    plat_test_fail_nth(PLAT_FAULT_ALLOC, 1);
    EXPECT_EQ(nullptr, string_join(parts, ",", 0));
    each_fault(PLAT_FAULT_ALLOC, [] {
        char* escaped = nullptr;
        int length = escape_char("it's", &escaped, '\'', "'\\''");
        if (settle()) {
            EXPECT_EQ(-1, length);
            return;
        }
        EXPECT_STREQ("it'\\''s", escaped);
        free(escaped);
    });
    std::string big(20000, 'x');
    each_fault(PLAT_FAULT_ALLOC, [&] {
        char* hex = md5sum(big.data(), big.size());
        EXPECT_EQ(settle() ? "(null)" : "e5d2c6fe7777b38038eb8315e1f5c734",
                  std::string(hex ? hex : "(null)"));
    });
    each_fault(PLAT_FAULT_ALLOC, [] {
        avl_tree tree;
        avl_initialize(&tree, avl_intcmp, nullptr);
        int keys[] = {5, 3, 8};
        int stored = 0;
        for (int& k : keys) {
            avl_insert(&tree, &k, &k);
            stored += avl_search(&tree, &k) ? 1 : 0;
        }
        EXPECT_EQ(settle() ? 2 : 3, stored);
        avl_destroy(&tree, nullptr);
    });
}

TEST(AllocationFaults, LeaseListAndUciOneShots) {
    test_root root;
    plat_test_capture_log();
    plat_test_set_command_script([](const plat_command&, plat_command_reply*) { return true; });
    std::string record(24, '\0');
    record[0] = 0x02;
    record[16] = (char)192, record[17] = (char)168, record[18] = 1, record[19] = 20;
    record[20] = 60;  // expires in 60 s
    root.write("/var/lib/misc/udhcpd.leases", record + record);
    int runs = each_fault(PLAT_FAULT_ALLOC, [] {
        dhcp_lease_entry* list = nullptr;
        int count = -1;
        int code = get_dhcp_client_list(&list, &count);
        if (settle()) {
            EXPECT_EQ(12, code);
            return;
        }
        ASSERT_EQ(0, code);
        ASSERT_EQ(2, count);
        EXPECT_STREQ("192.168.1.20", list[1].ip);
        free(list);
    });
    EXPECT_EQ(3, runs);

    root.write("/etc/config/network", "config interface 'lan'\n\toption proto 'static'\n");
    each_fault(PLAT_FAULT_ALLOC, [] {
        char value[64] = {0};
        int code = vespin_uci_get("network.lan.proto", value);
        if (settle()) {
            EXPECT_EQ(VESPIN_ERR_NO_MEMORY, code);
            return;
        }
        EXPECT_EQ(0, code);
        EXPECT_STREQ("static", value);
    });
    each_fault(PLAT_FAULT_ALLOC, [] {
        int code = vespin_uci_set(3, "network.lan.mtu=1400");
        EXPECT_EQ(settle() ? VESPIN_ERR_NO_MEMORY : 0, code);
    });
    EXPECT_NE(std::string::npos, root.read("/etc/config/network").find("1400"));
}

// ---- the functions that write settings --------------------------------------

const plat_fault_kind kWriterFaults[] = {PLAT_FAULT_SETTING, PLAT_FAULT_OPEN, PLAT_FAULT_COMMAND};

TEST(SettingFaults, DeviceNameAssetsWorkModeAndAccount) {
    test_root root;
    plat_test_capture_log();
    for (plat_fault_kind kind : kWriterFaults) {
        SCOPED_TRACE("fault kind " + std::to_string(kind));
        apmib_reinit();
        each_fault(kind, [&] {
            int code = set_device_name("Attic");
            bool failed = settle() && kind == PLAT_FAULT_SETTING;
            EXPECT_EQ(failed ? VESPIN_ERR_SETTING : 0, code);
            EXPECT_EQ(failed ? "" : "Attic", stored_text(kMibDeviceName));
        }, [] { apmib_set(kMibDeviceName, (void*)""); });
        each_fault(kind, [&] {
            int code = set_work_mode(3);
            bool failed = settle() && kind == PLAT_FAULT_SETTING;
            EXPECT_EQ(failed ? -1 : 0, code);
            EXPECT_EQ(failed ? 1 : 3, stored_int(kMibWorkMode));
        }, [] { int mode = 1; apmib_set(kMibWorkMode, &mode); });
        each_fault(kind, [&] {
            unsigned char assets[VESPIN_ASSETS_SIZE];
            memset(assets, 0xa5, sizeof assets);
            int code = set_assets(assets);
            bool failed = settle() && kind == PLAT_FAULT_SETTING;
            EXPECT_EQ(failed ? VESPIN_ERR_SETTING : 0, code);
            EXPECT_EQ(failed, plat_test_logged("Fail to set MIB_VESPIN_DEVICE_ASSETS"));
            unsigned char stored[VESPIN_ASSETS_SIZE];
            ASSERT_EQ(0, get_assets(stored));
            EXPECT_EQ(failed ? 0x00 : 0xa5, stored[VESPIN_ASSETS_SIZE - 1]);
        }, [] {
            unsigned char zeros[VESPIN_ASSETS_SIZE] = {0};
            set_assets(zeros);
            plat_test_reset();
            plat_test_capture_log();
        });
        each_fault(kind, [&] {
            int code = set_user_and_password(0, "root", "s3cret");
            bool failed = settle() && kind == PLAT_FAULT_SETTING;
            bool command_failed = settle() && kind == PLAT_FAULT_COMMAND;
            // The remote shell learns the password only once all three are stored;
            // the command's own failure is not reported.
            EXPECT_EQ(failed ? -1 : 0, code);
            EXPECT_EQ(!failed && !command_failed, command_ran("vespin_telnetd change_password"));
            if (!failed) {
                EXPECT_EQ("s3cret", stored_text(kMibPassword));
            }
        }, [] { plat_test_reset(); plat_test_capture_log(); });
        EXPECT_EQ("root", stored_text(kMibUserName));
    }
}

TEST(SettingFaults, LifecycleIsStoredWholeOrNotAtAll) {
    test_root root;
    plat_test_capture_log();
    plat_test_set_clock(1700000000, 0);
    for (plat_fault_kind kind : kWriterFaults) {
        SCOPED_TRACE("fault kind " + std::to_string(kind));
        each_fault(kind, [&] {
            char id[VESPIN_LIFECYCLE_SIZE] = {0};
            int code = get_lifecycle(id);
            bool fired = settle();
            if (kind == PLAT_FAULT_SETTING && fired) {
                EXPECT_EQ(VESPIN_ERR_SETTING, code);
                EXPECT_EQ("", stored_text(kMibLifecycle));
                return;
            }
            EXPECT_EQ(0, code);
            EXPECT_GE(strlen(id), 14u);
            EXPECT_EQ(id, stored_text(kMibLifecycle));
            // Without the random device the id still forms, with 0 as its random part.
            if (kind == PLAT_FAULT_OPEN && fired) {
                EXPECT_STREQ("0000", id + 10);  // 14 characters
                EXPECT_TRUE(plat_test_logged("Fail to open: /dev/urandom"));
            }
        }, [] { apmib_set(kMibLifecycle, (void*)""); });
    }
}

TEST(SettingFaults, FlushWritesTheWholeFileOrLeavesIt) {
    test_root root;
    plat_test_capture_log();
    ASSERT_EQ(0, flush_apmib(APMIB_CURRENT_SETTING));
    const std::string before = root.read("/flash/mib.conf");
    for (plat_fault_kind kind : kWriterFaults) for (bool persistent : {false, true}) {
        SCOPED_TRACE("fault kind " + std::to_string(kind));
        int runs = each_fault(kind, [&] {
            int code = flush_apmib(APMIB_CURRENT_SETTING);
            bool fired = settle();
            std::string after = root.read("/flash/mib.conf");
            bool written = after.find("186 = \"Flushed\"") != std::string::npos;
            if (code != 0) {
                EXPECT_TRUE(fired);
                EXPECT_EQ(-1, code);
                EXPECT_EQ(before, after) << "a failed flush changed the file";
                return;
            }
            // Only the second write of the current file (save_cs_to_file) may
            // fail unreported: the first one has written everything.
            EXPECT_TRUE(written);
            EXPECT_EQ(0, stored_int(kMibInitFlag));
        }, [&] {
            root.write("/flash/mib.conf", before);
            apmib_reinit();
            int flag = 1;
            apmib_set(kMibInitFlag, &flag);
            apmib_set(kMibDeviceName, (void*)"Flushed");
        }, persistent);
        EXPECT_GE(runs, kind == PLAT_FAULT_COMMAND ? 1 : 3);
    }
    EXPECT_TRUE(plat_test_logged("Fail to get mib"));
    EXPECT_TRUE(plat_test_logged("Fail to set mib"));
}

TEST(SettingFaults, TimeZone) {
    test_root root;
    plat_test_capture_log();
    const std::string tz_before = "GMT9\n";
    for (plat_fault_kind kind : kWriterFaults) {
        SCOPED_TRACE("fault kind " + std::to_string(kind));
#ifdef HAVE_NODE_METHODS
        // timezone.set stores the zone and writes /etc/TZ at once.
        each_fault(kind, [&] {
            json_ref params(json_tokener_parse("{\"zone\":\"-3 4\",\"daylight_saving\":true}"));
            vespin_response* response = timezone_set_method(params.get());
            bool fired = settle();
            ASSERT_FALSE(vespin_is_error(response));
            std::string zone = stored_text(kMibTimeZone);
            if (response->code == 0) {
                EXPECT_EQ("-3 4", zone);
                EXPECT_EQ(1, stored_int(kMibDaylightSaving));
                EXPECT_EQ("GMT-3:30\n", root.read("/etc/TZ"));
            } else if (response->code == VESPIN_ERR_SETTING) {
                EXPECT_EQ(PLAT_FAULT_SETTING, kind);
                EXPECT_EQ(0, strncmp(response->message, "Fail to ", 8)) << response->message;
            } else if (kind == PLAT_FAULT_SETTING) {
                // setTimeZone could not read the zone back: nothing reaches /etc/TZ.
                EXPECT_EQ(VESPIN_ERR_COMMAND, response->code);
                EXPECT_STREQ("Fail to write the time zone: status 109999", response->message);
                EXPECT_EQ(tz_before, root.read("/etc/TZ"));
            } else {
                // The settings are stored; only /etc/TZ could not be written.
                EXPECT_EQ(VESPIN_ERR_COMMAND, response->code);
                EXPECT_STREQ("Fail to write the time zone: status -1", response->message);
                EXPECT_EQ(tz_before, root.read("/etc/TZ"));
            }
            if (response->code != 0) {
                EXPECT_TRUE(fired);
            }
            vespin_response_free(response);
        }, [&] {
            apmib_set(kMibTimeZone, (void*)"9");
            int daylight = 0;
            apmib_set(kMibDaylightSaving, &daylight);
            root.write("/etc/TZ", tz_before);
        });
#endif
        // restart_ntp reports its last command.
        each_fault(kind, [&] {
            int status = restart_ntp();
            // A command that fails to start is not journaled: the last one is ntp_inet.
            bool fired = settle();
            const auto& commands = plat_test_commands();
            bool last_failed = fired && kind == PLAT_FAULT_COMMAND && !commands.empty() &&
                               commands.back().text.compare(0, 8, "ntp_inet") != 0;
            EXPECT_EQ(last_failed ? -1 : 0, status);
        }, [] { plat_test_reset(); plat_test_capture_log(); });
    }
}
