// The daemons as a mesh, end to end: a gateway and two satellites (one of
// them an old node, served over datagrams only), each a real vespind on its
// own emulated root and address of this process's loopback block, reporting
// once a second. The test checks the reports in the gateway's table, the
// convergence after a setting change on the gateway, calls by serial number
// over each transport, the offline rule (a stopped satellite's entry aged
// past 60 s in the gateway's segment) and the table's restore from its
// image when the gateway restarts. Before that, the driver files the mesh
// launcher writes are read back through the library's own parsers.
#include "ap.h"
#include "emulated_drivers.h"
#include "internal_devices.h"
#include "loopback_net.h"
#include "mesh_maintainer.h"
#include "msghandle.h"
#include "platform.h"
#include "test_root.h"

#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <json-c/json.h>
#include <nng/nng.h>
#include <nng/protocol/reqrep0/req.h>
#include <signal.h>
#include <string.h>
#include <sys/ipc.h>
#include <sys/shm.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

#include <fstream>
#include <memory>
#include <string>
#include <vector>

namespace {

const uint16_t kPort = 10010;
const std::string kDaemon = std::string(VESPIN_TOOLS_DIR) + "/vespind";
const std::string kCli = std::string(VESPIN_TOOLS_DIR) + "/vespinctl";
const char kPeriod[] = "1";

double seconds_now() {
    struct timespec now;
    clock_gettime(CLOCK_MONOTONIC, &now);
    return now.tv_sec + now.tv_nsec / 1e9;
}

// The parsed answer of one call (NULL when none came), put at scope end.
struct answer {
    json_object* document = nullptr;
    explicit answer(const std::string& text) : document(text.empty() ? nullptr : json_tokener_parse(text.c_str())) {}
    ~answer() { json_object_put(document); }
    json_object* part(const char* name) const {
        json_object* value = nullptr;
        return document && json_object_object_get_ex(document, name, &value) ? value : nullptr;
    }
    json_object* result() const { return part("result"); }
    int code() const {
        json_object *error = part("error"), *value = nullptr;
        return error && json_object_object_get_ex(error, "code", &value) ? json_object_get_int(value) : 0;
    }
    std::string message() const {
        json_object *error = part("error"), *value = nullptr;
        return error && json_object_object_get_ex(error, "message", &value) ? json_object_get_string(value) : "";
    }
};

std::string member_text(json_object* object, const char* key) {
    json_object* value = nullptr;
    return object && json_object_object_get_ex(object, key, &value) ? json_object_get_string(value) : "";
}

int member_int(json_object* object, const char* key) {
    json_object* value = nullptr;
    return object && json_object_object_get_ex(object, key, &value) ? json_object_get_int(value) : -1;
}

std::string request_text(const std::string& method, json_object* params = nullptr) {
    json_object* request = json_object_new_object();
    json_object_object_add(request, "method", json_object_new_string(method.c_str()));
    if (params) json_object_object_add(request, "params", json_object_get(params));
    std::string text = json_object_to_json_string_ext(request, JSON_C_TO_STRING_PLAIN);
    json_object_put(request);
    return text;
}

// One call over nng (the request with its NUL); "" when no answer came.
std::string nng_request(const std::string& address, const std::string& request, int timeout_ms = 5000) {
    nng_socket socket;
    if (nng_req0_open(&socket) != 0) return "";
    nng_socket_set_ms(socket, NNG_OPT_RECVTIMEO, timeout_ms);
    nng_socket_set_ms(socket, NNG_OPT_SENDTIMEO, timeout_ms);
    std::string url = "tcp4://" + address + ":" + std::to_string(kPort), text;
    char* data = nullptr;
    size_t size = 0;
    if (nng_dial(socket, url.c_str(), nullptr, 0) == 0 &&
        nng_send(socket, const_cast<char*>(request.c_str()), request.size() + 1, 0) == 0 &&
        nng_recv(socket, &data, &size, NNG_FLAG_ALLOC) == 0) {
        text.assign(data, strnlen(data, size));
        nng_free(data, size);
    }
    nng_close(socket);
    return text;
}

std::string udp_request(const std::string& address, const std::string& request) {
    char reply[MESH_REPLY_MAX + 48] = {0};
    if (mesh_call(address.c_str(), request.data(), (int)request.size(), kPort, reply, 0) != 0) return "";
    return reply;
}

// One node: a root of its own and a vespind on it, killed at scope end.
class mesh_daemon {
  public:
    mesh_daemon(const std::string& net, int host, const std::string& sn, const std::string& name, bool gateway)
        : address_(net + "." + std::to_string(host)),
          sn_(sn),
          root_("--address " + address_ + " --sn " + sn + " --name " + name + " --mac-seed " + std::to_string(host) +
                " --work-mode " + (gateway ? "1" : "2") + " --shm-key " +
                std::to_string(0x20000000 + (ntohl(inet_addr(address_.c_str())) & 0xffffff))) {}
    ~mesh_daemon() { kill_now(); }

    // Starts vespind with the arguments and waits until it answers.
    bool start(const std::vector<std::string>& arguments, bool udp_only = false) {
        udp_only_ = udp_only;
        pid_ = fork();
        if (pid_ == 0) {
            setenv("VESPIN_ROOT", root_.dir().c_str(), 1);
            std::string log = root_.path("/var/log/vespind.log");
            if (!freopen(log.c_str(), "a", stdout) || dup2(STDOUT_FILENO, STDERR_FILENO) < 0) _exit(126);
            std::vector<char*> argv = {const_cast<char*>(kDaemon.c_str())};
            for (const auto& argument : arguments) argv.push_back(const_cast<char*>(argument.c_str()));
            argv.push_back(nullptr);
            execv(argv[0], argv.data());
            _exit(127);
        }
        double deadline = seconds_now() + 10;
        while (seconds_now() < deadline) {
            if (!call("node.methods").empty()) return true;
            if (waitpid(pid_, nullptr, WNOHANG) == pid_) {
                pid_ = -1;
                return false;
            }
            usleep(50 * 1000);
        }
        return false;
    }
    // Stops it with SIGTERM (it saves its table): true when it exited with 0.
    bool stop() {
        if (pid_ <= 0) return false;
        kill(pid_, SIGTERM);
        int status = 0;
        double deadline = seconds_now() + 10;
        while (waitpid(pid_, &status, WNOHANG) == 0) {
            if (seconds_now() > deadline) {
                kill_now();
                return false;
            }
            usleep(10 * 1000);
        }
        pid_ = -1;
        return WIFEXITED(status) && WEXITSTATUS(status) == 0;
    }
    void kill_now() {
        if (pid_ <= 0) return;
        kill(pid_, SIGKILL);
        waitpid(pid_, nullptr, 0);
        pid_ = -1;
    }
    // The answer text to one method, over the node's own transport.
    std::string call(const std::string& method, json_object* params = nullptr) const {
        std::string request = request_text(method, params);
        return udp_only_ ? udp_request(address_, request) : nng_request(address_, request);
    }
    // The node's shared-memory key, as its root names it.
    key_t shm_key() const {
        std::ifstream in(root_.path("/etc/vespin/shm_key"));
        long key = 0;
        in >> key;
        return (key_t)key;
    }
    const std::string& address() const { return address_; }
    const std::string& sn() const { return sn_; }
    const test_root& root() const { return root_; }
    std::string log() const { return root_.read("/var/log/vespind.log"); }

  private:
    std::string address_, sn_;
    test_root root_;
    pid_t pid_ = -1;
    bool udp_only_ = false;
};

// Polls until check() holds, at most `seconds`: the seconds it took, or -1.
template <typename Check>
double wait_for(double seconds, Check check) {
    double start = seconds_now(), deadline = start + seconds;
    while (seconds_now() < deadline) {
        if (check()) return seconds_now() - start;
        usleep(100 * 1000);
    }
    return -1;
}

// The gateway's convergence summary (its "summary" text), "" when it does not answer.
std::string convergence(const mesh_daemon& gateway) {
    answer a(gateway.call("mesh.convergence"));
    return member_text(a.result(), "summary");
}

// The answer to `method` on the node `sn`, through `via`'s "mesh.rpc".
std::string by_serial(const mesh_daemon& via, const std::string& sn, const char* method) {
    json_object* params = json_object_new_object();
    json_object_object_add(params, "sn", json_object_new_string(sn.c_str()));
    json_object_object_add(params, "method", json_object_new_string(method));
    std::string text = via.call("mesh.rpc", params);
    json_object_put(params);
    return text;
}

std::string ssid_of(const mesh_daemon& node) {
    answer a(node.call("wifi.get"));
    return member_text(a.result(), "ssid");
}

// Backdates a node's entry in a daemon's table by `seconds`, as if it had
// been silent that long: the entry's time is the only thing the age rules read.
bool age_entry(const mesh_daemon& owner, const std::string& sn, int seconds) {
    int id = shmget(owner.shm_key(), 0, 0);
    if (id < 0) return false;
    void* mapped = shmat(id, nullptr, 0);
    if (mapped == (void*)-1) return false;
    auto* table = static_cast<mesh_maintainer*>(mapped);
    bool found = false;
    for (int i = 0; i < table->count && i < MESH_MAINTAINER_NODE_MAX; i++) {
        if (sn == table->entries[i].key) {
            table->entries[i].updated -= seconds;
            found = true;
        }
    }
    shmdt(mapped);
    return found;
}

json_object* find_by_sn(json_object* list, const std::string& sn) {
    for (size_t i = 0; list && i < json_object_array_length(list); i++) {
        json_object* item = json_object_array_get_idx(list, i);
        if (member_text(item, "sn") == sn) return item;
    }
    return nullptr;
}

}  // namespace

TEST(MeshAgent, GatewayAndTwoSatellitesReportConvergeCallBySerialAndDropASilentNode) {
    std::string net = test_loopback_net(kPort);
    mesh_daemon gateway(net, 2, "012411000100001", "gateway", true);
    mesh_daemon satellite(net, 3, "022411000100002", "satellite-1", false);
    mesh_daemon old_node(net, 4, "022411000100003", "satellite-2", false);
    ASSERT_TRUE(gateway.start({"--report-period", kPeriod})) << gateway.log();
    ASSERT_TRUE(satellite.start({"--gateway", gateway.address(), "--report-period", kPeriod})) << satellite.log();
    ASSERT_TRUE(old_node.start({"--gateway", gateway.address(), "--report-period", kPeriod, "--mesh-version", "1.1.9",
                                "--udp-only"},
                               true))
        << old_node.log();
    // An old node has no nng listener.
    EXPECT_EQ("", nng_request(old_node.address(), request_text("node.methods"), 500));

    // Reports: both satellites in the gateway's table, with the versions
    // they reported, all on the gateway's network record.
    ASSERT_LE(0, wait_for(10, [&] { return convergence(gateway) == "3/3 nodes on the current network record"; }))
        << convergence(gateway) << gateway.log() << satellite.log() << old_node.log();
    {
        answer table(gateway.call("mesh.table"));
        json_object* nodes = nullptr;
        json_object_object_get_ex(table.result(), "nodes", &nodes);
        json_object* mine = find_by_sn(nodes, satellite.sn());
        json_object* old = find_by_sn(nodes, old_node.sn());
        ASSERT_TRUE(mine && old) << json_object_to_json_string(table.document);
        json_object *mine_node = nullptr, *old_node_json = nullptr;
        json_object_object_get_ex(mine, "node", &mine_node);
        json_object_object_get_ex(old, "node", &old_node_json);
        EXPECT_EQ("1.9.7", member_text(mine_node, "version"));
        EXPECT_EQ("1.1.9", member_text(old_node_json, "version"));
        EXPECT_EQ(satellite.address(), member_text(mine_node, "ip"));
        EXPECT_EQ("true", member_text(mine, "valid"));
    }

    // A new SSID on the gateway reaches both satellites within two report
    // periods (and the second the gateway may take to notice it).
    std::string ssid = "Garden-" + std::to_string(getpid());
    json_object* wifi = json_object_new_object();
    json_object_object_add(wifi, "ssid", json_object_new_string(ssid.c_str()));
    answer changed(gateway.call("wifi.set", wifi));
    json_object_put(wifi);
    ASSERT_EQ(0, changed.code()) << changed.message();
    double took = wait_for(10, [&] { return ssid_of(satellite) == ssid && ssid_of(old_node) == ssid; });
    EXPECT_LE(0, took) << ssid_of(satellite) << " " << ssid_of(old_node) << satellite.log();
    EXPECT_GE(2 * 1 + 1.5, took);
    EXPECT_LE(0, wait_for(5, [&] { return convergence(gateway) == "3/3 nodes on the current network record"; }))
        << convergence(gateway);

    // Calls by serial number: through the gateway over nng and over
    // datagrams, from a satellite to the old node (it learned it from the
    // gateway), and through the control CLI.
    {
        answer over_nng(by_serial(gateway, satellite.sn(), "system.identity"));
        EXPECT_EQ("satellite-1", member_text(over_nng.result(), "name")) << over_nng.message();
        answer over_datagrams(by_serial(gateway, old_node.sn(), "system.identity"));
        EXPECT_EQ("satellite-2", member_text(over_datagrams.result(), "name")) << over_datagrams.message();
        answer sideways(by_serial(satellite, old_node.sn(), "system.identity"));
        EXPECT_EQ("satellite-2", member_text(sideways.result(), "name")) << sideways.message();
        answer to_gateway(by_serial(old_node, gateway.sn(), "system.identity"));
        EXPECT_EQ("gateway", member_text(to_gateway.result(), "name")) << to_gateway.message();
        answer remote_error(by_serial(gateway, satellite.sn(), "no.such.method"));
        EXPECT_EQ(100208, remote_error.code());
        answer unknown(by_serial(gateway, "099999999999999", "system.identity"));
        EXPECT_EQ(300401, unknown.code());
        EXPECT_EQ("Unknown sn", unknown.message());
    }
    std::string cli_out = gateway.root().path("/tmp/cli.out");
    std::string command = kCli + " --node " + gateway.address() + " --sn " + old_node.sn() + " system.identity > " +
                          cli_out + " 2>&1";
    EXPECT_EQ(0, system(command.c_str()));
    EXPECT_NE(std::string::npos, gateway.root().read("/tmp/cli.out").find("name: satellite-2"))
        << gateway.root().read("/tmp/cli.out");
    // The topology on demand: each node with its role, address and serial,
    // then the connected devices.
    command = kCli + " --node " + gateway.address() + " topo > " + cli_out + " 2>&1";
    EXPECT_EQ(0, system(command.c_str()));
    std::string topo = gateway.root().read("/tmp/cli.out");
    char row[160];
    snprintf(row, sizeof row, "%-13s %-9s %-15s %-16s ", "satellite-2", "satellite", old_node.address().c_str(),
             old_node.sn().c_str());
    EXPECT_NE(std::string::npos, topo.find(row)) << topo;
    EXPECT_NE(std::string::npos, topo.find("\nConnected devices (")) << topo;

    // The offline rule: a stopped satellite, silent for 61 s in the
    // gateway's table, leaves the validated topology with state 6 and can
    // no longer be called.
    ASSERT_TRUE(satellite.stop());
    ASSERT_TRUE(age_entry(gateway, satellite.sn(), 61));
    {
        answer topo(gateway.call("mesh.topo"));
        json_object *nodes = nullptr, *offline = nullptr;
        json_object_object_get_ex(topo.result(), "nodes", &nodes);
        json_object_object_get_ex(topo.result(), "offline", &offline);
        EXPECT_EQ(nullptr, find_by_sn(nodes, satellite.sn())) << json_object_to_json_string(topo.document);
        json_object* dropped = find_by_sn(offline, satellite.sn());
        ASSERT_NE(nullptr, dropped) << json_object_to_json_string(topo.document);
        EXPECT_EQ(6, member_int(dropped, "state"));
        EXPECT_LE(61, member_int(dropped, "silent"));
        EXPECT_NE(nullptr, find_by_sn(nodes, old_node.sn()));
        answer gone(by_serial(gateway, satellite.sn(), "system.identity"));
        EXPECT_EQ(300401, gone.code());
        EXPECT_EQ("2/2 nodes on the current network record", convergence(gateway));
    }
    EXPECT_NE(std::string::npos, gateway.log().find("is offline")) << gateway.log();

    // Restarting the gateway: its image holds the table, the stopped
    // satellite's entry included, and it is back before anyone reports it.
    ASSERT_TRUE(gateway.stop());
    EXPECT_EQ(534073u, gateway.root().read("/vespin/mesh/mesh_topo").size());
    EXPECT_GT(0, shmget(gateway.shm_key(), 0, 0)) << "the segment goes with the stopped node";
    ASSERT_TRUE(gateway.start({"--report-period", kPeriod})) << gateway.log();
    answer restored(gateway.call("mesh.table"));
    json_object* restored_nodes = nullptr;
    json_object_object_get_ex(restored.result(), "nodes", &restored_nodes);
    json_object* entry = find_by_sn(restored_nodes, satellite.sn());
    ASSERT_NE(nullptr, entry) << json_object_to_json_string(restored.document);
    EXPECT_EQ(6, member_int(entry, "state"));
    EXPECT_EQ("false", member_text(entry, "valid"));
}

namespace {

// Makes the root the process's emulated router.
void select_root(const test_root& root) {
    setenv("VESPIN_ROOT", root.dir().c_str(), 1);
    plat_reload_root();
}

}  // namespace

TEST(EmulatedDrivers, PeersStationsArpTableAndLeasesReadBackThroughTheLibrary) {
    test_root gateway("--address 127.0.0.2 --mac-seed 1"), middle("--address 127.0.0.3 --mac-seed 2"),
        last("--address 127.0.0.4 --mac-seed 3");
    std::vector<emulated_node> nodes = {{1, "127.0.0.2", gateway.dir()}, {2, "127.0.0.3", middle.dir()},
                                        {3, "127.0.0.4", last.dir()}};
    std::string why;
    ASSERT_TRUE(write_driver_files(nodes, "127.0.0", mesh_topology::chain, 0, &why)) << why;

    // The middle of a chain hears both ends on each radio, 5 GHz first.
    select_root(middle);
    mesh_node* node = mesh_node_new();
    ASSERT_FALSE(vespin_is_error(node)) << vespin_error_code(node);
    ASSERT_EQ(4, node->neighbor_count);
    EXPECT_STREQ("025600000201", node->neighbors[0].mac);
    EXPECT_STREQ("025600000203", node->neighbors[1].mac);
    EXPECT_STREQ("025600000301", node->neighbors[2].mac);
    EXPECT_STREQ("025600000303", node->neighbors[3].mac);
    EXPECT_EQ(62 - 1, node->neighbors[0].rssi);
    // Two 5 GHz clients, then one on 2.4 GHz, one guest on wlan0-va0.
    ASSERT_EQ(3, node->station_count);
    EXPECT_EQ(0, node->stations[0].band);
    EXPECT_EQ(1, node->stations[2].band);
    EXPECT_STREQ("f01898100001", node->stations[0].mac);
    EXPECT_EQ(2020000, node->stations[1].tx_bytes);
    ASSERT_EQ(1, node->guest_station_count);
    EXPECT_EQ(1, node->guest_stations[0].guest_ap_id);
    mesh_node_free(node);

    // The gateway's ARP table holds every client of the mesh (4 per node
    // and its wired one), its leases their host names.
    select_root(gateway);
    arp_entry arp[ARP_ENTRY_MAX];
    ASSERT_EQ(13, get_arp_table_list(arp));
    EXPECT_EQ(inet_addr("127.0.0.100"), arp[0].ip);
    dhcp_client_info leases[DHCP_CLIENT_MAX];
    int32_t count = 0;
    ASSERT_EQ(0, rtk_get_dhcp_client_list(&count, leases));
    ASSERT_EQ(13, count);
    EXPECT_STREQ("laptop-1", leases[0].name);
    EXPECT_STREQ("desktop-1", leases[4].name);
    EXPECT_STREQ("tv-3", leases[11].name);
    EXPECT_EQ(1, is_device_online("dca632140000"));

    // A star: the gateway hears every satellite, each satellite the gateway.
    EXPECT_EQ((std::vector<size_t>{1, 2, 3}), emulated_peers(4, 0, mesh_topology::star));
    EXPECT_EQ((std::vector<size_t>{0}), emulated_peers(4, 2, mesh_topology::star));
    EXPECT_EQ((std::vector<size_t>{1}), emulated_peers(4, 0, mesh_topology::chain));
    select_root(last);
}
