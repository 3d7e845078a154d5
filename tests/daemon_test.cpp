// The node daemon end to end: real vespind processes on emulated roots with
// loopback addresses, called over nng, over datagrams and through the
// control CLI; and the mesh launcher. Every daemon is killed and reaped when
// its test ends, even on failure. Each test uses its own addresses so that
// tests can run in parallel.
#include "msghandle.h"
#include "test_root.h"

#include <gtest/gtest.h>
#include <json-c/json.h>
#include <nng/nng.h>
#include <nng/protocol/reqrep0/req.h>
#include <signal.h>
#include <stdio.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

#include <memory>
#include <string>
#include <thread>
#include <vector>

namespace {

const uint16_t kPort = 10010;
const std::string kDaemon = std::string(VESPIN_TOOLS_DIR) + "/vespind";
const std::string kCli = std::string(VESPIN_TOOLS_DIR) + "/vespinctl";

double seconds_now() {
    struct timespec now;
    clock_gettime(CLOCK_MONOTONIC, &now);
    return now.tv_sec + now.tv_nsec / 1e9;
}

// Starts a program with VESPIN_ROOT set, its output in the given file.
pid_t spawn(const std::vector<std::string>& arguments, const std::string& root, const std::string& output) {
    pid_t pid = fork();
    if (pid == 0) {
        setenv("VESPIN_ROOT", root.c_str(), 1);
        if (!freopen(output.c_str(), "w", stdout) || !freopen(output.c_str(), "a", stderr)) _exit(126);
        setvbuf(stdout, nullptr, _IONBF, 0);
        std::vector<char*> argv;
        for (const auto& argument : arguments) argv.push_back(const_cast<char*>(argument.c_str()));
        argv.push_back(nullptr);
        execv(argv[0], argv.data());
        _exit(127);
    }
    return pid;
}

// Waits at most `seconds` for the child: its exit status, or -1 when it is
// still running (it is then killed and reaped).
int wait_exit(pid_t pid, double seconds) {
    double deadline = seconds_now() + seconds;
    int status = 0;
    while (waitpid(pid, &status, WNOHANG) == 0) {
        if (seconds_now() > deadline) {
            kill(pid, SIGKILL);
            waitpid(pid, nullptr, 0);
            return -1;
        }
        usleep(10 * 1000);
    }
    return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}

std::string read_file(const std::string& path) {
    std::string content;
    FILE* file = fopen(path.c_str(), "r");
    if (!file) return content;
    char chunk[4096];
    size_t n;
    while ((n = fread(chunk, 1, sizeof chunk, file)) > 0) content.append(chunk, n);
    fclose(file);
    return content;
}

// Sends raw bytes over nng and returns the answer text ("" on failure).
std::string nng_exchange(const std::string& address, const std::string& bytes, int timeout_ms = 5000) {
    nng_socket socket;
    if (nng_req0_open(&socket) != 0) return "";
    nng_socket_set_ms(socket, NNG_OPT_RECVTIMEO, timeout_ms);
    nng_socket_set_ms(socket, NNG_OPT_SENDTIMEO, timeout_ms);
    std::string url = "tcp4://" + address + ":" + std::to_string(kPort);
    std::string answer;
    char* data = nullptr;
    size_t size = 0;
    if (nng_dial(socket, url.c_str(), nullptr, 0) == 0 &&
        nng_send(socket, const_cast<char*>(bytes.data()), bytes.size(), 0) == 0 &&
        nng_recv(socket, &data, &size, NNG_FLAG_ALLOC) == 0) {
        answer.assign(data, strnlen(data, size));
        nng_free(data, size);
    }
    nng_close(socket);
    return answer;
}

// A request text sent with its NUL, as mesh RPC sends it.
std::string nng_call(const std::string& address, const std::string& request) {
    return nng_exchange(address, std::string(request.c_str(), request.size() + 1));
}

std::string udp_call(const std::string& address, const std::string& bytes, int* rv = nullptr) {
    char reply[MESH_REPLY_MAX + 48] = {0};
    int result = mesh_call(address.c_str(), bytes.data(), (int)bytes.size(), kPort, reply, 0);
    if (rv) *rv = result;
    return reply;
}

// A member of the response's "result", or of its "error", as text ("" when absent).
std::string field(const std::string& response, const char* part, const char* key) {
    json_object* document = json_tokener_parse(response.c_str());
    json_object *section = nullptr, *value = nullptr;
    std::string text;
    if (document && json_object_object_get_ex(document, part, &section) &&
        json_object_object_get_ex(section, key, &value))
        text = json_object_get_string(value);
    json_object_put(document);
    return text;
}

std::string result_of(const std::string& response, const char* key) { return field(response, "result", key); }
std::string error_code(const std::string& response) { return field(response, "error", "code"); }
std::string error_message(const std::string& response) { return field(response, "error", "message"); }

// One vespind on its own emulated root; killed and reaped at the end.
class node_daemon {
  public:
    node_daemon(const std::string& address, const std::string& sn, const std::string& name)
        : address_(address),
          root_("--address " + address + " --sn " + sn + " --name " + name + " --shm-key " +
                std::to_string(0x7000 + std::stoi(address.substr(address.rfind('.') + 1)))) {}
    ~node_daemon() { kill_now(); }

    // Starts the daemon and waits until it answers over nng.
    bool start() {
        pid_ = spawn({kDaemon}, root_.dir(), log_path());
        double deadline = seconds_now() + 10;
        while (seconds_now() < deadline) {
            if (!nng_exchange(address_, "{}", 300).empty()) return true;
            if (waitpid(pid_, nullptr, WNOHANG) == pid_) {
                pid_ = -1;
                return false;
            }
            usleep(20 * 1000);
        }
        return false;
    }
    void kill_now() {
        if (pid_ <= 0) return;
        kill(pid_, SIGKILL);
        waitpid(pid_, nullptr, 0);
        pid_ = -1;
    }
    // Sends a signal and waits for the exit: the status, or -1.
    int stop(int signal_number) {
        kill(pid_, signal_number);
        int status = wait_exit(pid_, 10);
        pid_ = -1;
        return status;
    }

    pid_t pid() const { return pid_; }
    const std::string& address() const { return address_; }
    const test_root& root() const { return root_; }
    std::string log_path() const { return root_.path("/var/log/vespind.log"); }

  private:
    std::string address_;
    test_root root_;
    pid_t pid_ = -1;
};

struct cli_result {
    int status;
    std::string output;
};

// Runs vespinctl with the arguments and waits at most `seconds`.
cli_result run_cli(const node_daemon& node, std::vector<std::string> arguments, double seconds = 20) {
    arguments.insert(arguments.begin(), kCli);
    std::string output = node.root().path("/tmp/vespinctl.out");
    pid_t pid = spawn(arguments, node.root().dir(), output);
    int status = wait_exit(pid, seconds);
    return {status, read_file(output)};
}

}  // namespace

TEST(NodeDaemon, AnswersTheSameMethodsOverNngAndDatagrams) {
    node_daemon gateway("127.0.0.2", "012411000100001", "gateway");
    node_daemon satellite("127.0.0.3", "022411000100002", "satellite-1");
    ASSERT_TRUE(gateway.start()) << read_file(gateway.log_path());
    ASSERT_TRUE(satellite.start()) << read_file(satellite.log_path());

    const std::string identity = "{\"method\":\"system.identity\"}";
    for (const std::string& answer : {nng_call(gateway.address(), identity), udp_call(gateway.address(), identity)}) {
        EXPECT_EQ("012411000100001", result_of(answer, "sn")) << answer;
        EXPECT_EQ("Q5", result_of(answer, "model"));
        EXPECT_EQ("gateway", result_of(answer, "name"));
        EXPECT_EQ("1.9.7", result_of(answer, "firmware"));
    }
    std::string satellite_identity = udp_call(satellite.address(), identity);
    EXPECT_EQ("022411000100002", result_of(satellite_identity, "sn")) << satellite_identity;
    EXPECT_EQ("Lark", result_of(satellite_identity, "model"));

    std::string info = nng_call(satellite.address(), "{\"method\":\"system.info\"}");
    EXPECT_NE("", result_of(info, "uptime")) << info;
    EXPECT_NE("", result_of(info, "memory_total"));

    const std::string compare =
        "{\"method\":\"version.compare\",\"params\":{\"a\":\"1.2.0\",\"b\":\"1.2.0-rc.1\"}}";
    EXPECT_EQ("{\"result\":{\"a\":\"1.2.0\",\"b\":\"1.2.0-rc.1\",\"compare\":1}}", nng_call(gateway.address(), compare));
    EXPECT_EQ("{\"result\":{\"a\":\"1.2.0\",\"b\":\"1.2.0-rc.1\",\"compare\":1}}", udp_call(satellite.address(), compare));

    std::string channels = udp_call(gateway.address(), "{\"method\":\"channels.list\",\"params\":{\"region\":840}}");
    EXPECT_EQ("[ 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11 ]", result_of(channels, "2g")) << channels;
    EXPECT_EQ("[ 36, 40, 44, 48, 149, 153, 157, 161 ]", result_of(channels, "5g"));
    EXPECT_EQ("US", result_of(channels, "country"));
}

TEST(NodeDaemon, AnswersMalformedRequestsWithACodeAndMessage) {
    node_daemon node("127.0.1.2", "012411000100001", "malformed");
    ASSERT_TRUE(node.start()) << read_file(node.log_path());
    struct case_row {
        std::string request, code, message;
    } cases[] = {
        {"this is not json", "100209", "Invalid request: not JSON"},
        {"{\"params\":{}}", "100200", "Missing method"},
        {"{\"method\":7}", "100200", "Missing method"},
        {"{\"method\":\"system.reboot_now\"}", "100208", "Unknown method: system.reboot_now"},
        {"{\"method\":\"version.compare\",\"params\":[1]}", "100208", "Invalid type of params"},
        {"{\"method\":\"version.compare\",\"params\":{\"a\":\"1.2.0\"}}", "100200", "Missing b"},
        {"{\"method\":\"version.compare\",\"params\":{\"a\":1,\"b\":\"1.0.0\"}}", "100208", "Invalid type of a"},
        {"{\"method\":\"version.compare\",\"params\":{\"a\":\"1.2\",\"b\":\"1.0.0\"}}", "600005",
         "Invalid version: 1.2"},
        {"{\"method\":\"channels.list\",\"params\":{\"region\":1}}", "100208", "Unknown region: 1"},
        {"{\"method\":\"timezone.set\",\"params\":{\"zone\":\"8 1; reboot\"}}", "100208",
         "Invalid zone: 8 1; reboot"},
        {"{\"method\":\"system.set_name\",\"params\":{\"name\":\"" + std::string(33, 'n') + "\"}}", "100200",
         "Name too long: at most 32 characters"},
    };
    for (const auto& row : cases) {
        for (const std::string& answer : {nng_call(node.address(), row.request), udp_call(node.address(), row.request)}) {
            EXPECT_EQ(row.code, error_code(answer)) << row.request << " -> " << answer;
            EXPECT_EQ(row.message, error_message(answer)) << row.request;
        }
    }
    // Without its NUL over nng, and an empty datagram, are answered too.
    EXPECT_EQ("100208", error_code(nng_exchange(node.address(), "{\"method\":\"nope\"}")));
    EXPECT_EQ("100209", error_code(udp_call(node.address(), "")));
    EXPECT_NE(std::string::npos, read_file(node.log_path()).find("Unknown method: system.reboot_now"));
}

TEST(NodeDaemon, AnswersADatagramOfTheReceiversFullSize) {
    node_daemon node("127.0.1.3", "012411000100001", "fullsize");
    ASSERT_TRUE(node.start()) << read_file(node.log_path());
    std::string head = "{\"method\":\"version.compare\",\"params\":{\"a\":\"1.1.9\",\"b\":\"1.2.0\",\"pad\":\"";
    std::string tail = "\"}}";
    std::string request = head + std::string(MESSAGE_RECEIVER_BUFFER_SIZE - head.size() - tail.size(), 'x') + tail;
    ASSERT_EQ(8192u, request.size());
    int rv = -1;
    std::string answer = udp_call(node.address(), request, &rv);
    EXPECT_EQ(0, rv);
    EXPECT_EQ("-1", result_of(answer, "compare")) << answer;

    // The same size of garbage fills the buffer with no NUL after it.
    answer = udp_call(node.address(), std::string(MESSAGE_RECEIVER_BUFFER_SIZE, '{'), &rv);
    EXPECT_EQ(0, rv);
    EXPECT_EQ("100209", error_code(answer)) << answer;
}

TEST(NodeDaemon, RunsTheAfterReplyActionOnceTheCallerHasItsAnswer) {
    node_daemon node("127.0.1.4", "022411000100009", "before");
    ASSERT_TRUE(node.start()) << read_file(node.log_path());
    std::string answer = udp_call(node.address(), "{\"method\":\"system.set_name\",\"params\":{\"name\":\"after\"}}");
    EXPECT_EQ("after", result_of(answer, "name")) << answer;
    EXPECT_EQ("after", result_of(nng_call(node.address(), "{\"method\":\"system.identity\"}"), "name"));

    answer = nng_call(node.address(),
                      "{\"method\":\"timezone.set\",\"params\":{\"zone\":\"-10 4\",\"daylight_saving\":true}}");
    EXPECT_EQ("-10 4", result_of(answer, "zone")) << answer;
    EXPECT_EQ("GMT-10PDT,M10.1.0/02:00:00,M4.1.0/03:00:00\n", node.root().read("/etc/TZ"));
    std::string zone = udp_call(node.address(), "{\"method\":\"timezone.get\"}");
    EXPECT_EQ("-10 4", result_of(zone, "zone")) << zone;
    EXPECT_EQ("true", result_of(zone, "daylight_saving"));

    // The actions flush the settings store and restart the NTP client.
    double deadline = seconds_now() + 5;
    while (seconds_now() < deadline && node.root().read("/var/log/commands").find("ntp_inet -x") == std::string::npos)
        usleep(20 * 1000);
    EXPECT_NE(std::string::npos, node.root().read("/var/log/commands").find("ntp_inet -x pool.ntp.org"));
    std::string settings = node.root().read("/flash/mib.conf");
    EXPECT_NE(std::string::npos, settings.find("\"after\"")) << settings;
    EXPECT_NE(std::string::npos, settings.find("\"-10 4\"")) << settings;
}

TEST(NodeDaemon, CallerGetsTheTransportFailureWhenTheDaemonDiesMidCall) {
    node_daemon node("127.0.1.5", "012411000100001", "victim");
    // "system.info" runs top: this one takes its time, so the daemon can be
    // killed while it is answering.
    node.root().write("/bin/top", "#!/bin/sh\nsleep 2\n");
    auto kill_once_answering = [&node](size_t calls_before) {
        double deadline = seconds_now() + 10;
        auto top_calls = [&node] {
            std::string journal = node.root().read("/var/log/commands");
            size_t count = 0;
            for (size_t at = journal.find("top -bn 1"); at != std::string::npos; at = journal.find("top -bn 1", at + 1))
                count++;
            return count;
        };
        while (top_calls() <= calls_before && seconds_now() < deadline) usleep(10 * 1000);
        node.kill_now();
    };

    ASSERT_TRUE(node.start()) << read_file(node.log_path());
    std::string output = node.root().path("/tmp/vespinctl.out");
    double started = seconds_now();
    pid_t cli = spawn({kCli, "--node", node.address(), "--timeout", "1500", "system.info"}, node.root().dir(), output);
    kill_once_answering(0);
    EXPECT_EQ(2, wait_exit(cli, 15));
    EXPECT_LT(seconds_now() - started, 15);
    EXPECT_NE(std::string::npos, read_file(output).find("transport failure (600406) calling system.info on " +
                                                        node.address() + " over nng: no answer"))
        << read_file(output);

    // Over datagrams the request is acknowledged, then no answer comes:
    // three receive timeouts of one second, then 600406.
    ASSERT_TRUE(node.start()) << read_file(node.log_path());
    started = seconds_now();
    std::thread killer(kill_once_answering, 1);
    int rv = 0;
    udp_call(node.address(), "{\"method\":\"system.info\"}", &rv);
    killer.join();
    EXPECT_EQ(600406, rv);
    EXPECT_LT(seconds_now() - started, 10);
}

TEST(NodeDaemon, SecondDaemonOnTheSameRootRefusesToStart) {
    node_daemon node("127.0.1.6", "012411000100001", "first");
    ASSERT_TRUE(node.start()) << read_file(node.log_path());
    std::string output = node.root().path("/var/log/second.log");
    pid_t second = spawn({kDaemon}, node.root().dir(), output);
    EXPECT_EQ(1, wait_exit(second, 10));
    EXPECT_NE(std::string::npos, read_file(output).find("Another vespind (pid " + std::to_string(node.pid()) +
                                                        ") is running on this root: /var/run/vespind.pid is taken"))
        << read_file(output);
    EXPECT_EQ(std::to_string(node.pid()) + "\n", node.root().read("/var/run/vespind.pid"));
    EXPECT_EQ("first", result_of(nng_call(node.address(), "{\"method\":\"system.identity\"}"), "name"));

    // SIGTERM stops it cleanly and frees the pid file for the next start.
    EXPECT_EQ(0, node.stop(SIGTERM));
    EXPECT_FALSE(node.root().exists("/var/run/vespind.pid"));
    EXPECT_NE(std::string::npos, read_file(node.log_path()).find("Stopping on signal 15"));
    ASSERT_TRUE(node.start()) << read_file(node.log_path());
}

TEST(NodeDaemon, ControlCliPrintsAnswersAndSaysWhatFailed) {
    node_daemon node("127.0.1.7", "022411000100007", "cli-node");
    ASSERT_TRUE(node.start()) << read_file(node.log_path());

    cli_result ok = run_cli(node, {"--node", node.address(), "system.identity"});
    EXPECT_EQ(0, ok.status);
    EXPECT_NE(std::string::npos, ok.output.find("sn: 022411000100007\nmodel: Lark\nname: cli-node\n")) << ok.output;

    cli_result raw = run_cli(node, {"--node", node.address(), "--udp", "--json", "version.compare",
                                    "{\"a\":\"1.0.0\",\"b\":\"1.0.0\"}"});
    EXPECT_EQ(0, raw.status);
    EXPECT_EQ("{\"result\":{\"a\":\"1.0.0\",\"b\":\"1.0.0\",\"compare\":0}}\n", raw.output);

    cli_result unknown = run_cli(node, {"--node", node.address(), "--udp", "no.such"});
    EXPECT_EQ(1, unknown.status);
    EXPECT_NE(std::string::npos, unknown.output.find("no.such on " + node.address() +
                                                     " answered error 100208: Unknown method: no.such"))
        << unknown.output;

    cli_result bad_params = run_cli(node, {"--node", node.address(), "channels.list", "{region"});
    EXPECT_EQ(64, bad_params.status);
    EXPECT_NE(std::string::npos, bad_params.output.find("the params are not JSON")) << bad_params.output;

    cli_result nobody = run_cli(node, {"--node", "127.0.1.8", "--timeout", "500", "system.info"});
    EXPECT_EQ(2, nobody.status);
    EXPECT_NE(std::string::npos, nobody.output.find("transport failure (600406) calling system.info on 127.0.1.8 "
                                                    "over nng: cannot connect to tcp4://127.0.1.8:10010"))
        << nobody.output;
}

TEST(MeshLauncher, StartsAGatewayAndTwoSatellitesPrintsOneTableAndStopsThem) {
    test_root scratch;
    std::string output = scratch.path("/tmp/mesh.out");
    pid_t launcher = spawn({std::string(VESPIN_TOOLS_DIR) + "/vespin-mesh", "--once", "--net", "127.0.2", "--sim",
                            std::string(VESPIN_SOURCE_DIR) + "/sim", "--tools", VESPIN_TOOLS_DIR},
                           scratch.dir(), output);
    EXPECT_EQ(0, wait_exit(launcher, 60));
    std::string text = read_file(output);
    EXPECT_NE(std::string::npos, text.find("1    gateway   127.0.2.2  012411000100001  Q5    gateway      ")) << text;
    EXPECT_NE(std::string::npos, text.find("2    satellite 127.0.2.3  022411000100002  Lark  satellite-1  ")) << text;
    EXPECT_NE(std::string::npos, text.find("3    satellite 127.0.2.4  022411000100003  Lark  satellite-2  ")) << text;
    EXPECT_NE(std::string::npos, text.find("satellite-2  stopped (exit status 0)")) << text;
    // The nodes' roots go with the mesh.
    size_t at = text.find("/tmp/vespin-mesh-");
    ASSERT_NE(std::string::npos, at);
    std::string work = text.substr(at, text.find('\n', at) - at);
    EXPECT_NE(0, access(work.c_str(), F_OK)) << work;
}

TEST(NodeDaemon, WifiGuestDeviceAndRuleMethodsApplyOnTheGateway) {
    node_daemon node("127.0.12.2", "012411000100012", "wifi-gw");
    ASSERT_TRUE(node.start()) << read_file(node.log_path());

    cli_result set = run_cli(node, {"--node", node.address(), "--json", "wifi.set",
                                    "{\"ssid\":\"Garden\",\"password\":\"garden-pass\"}"});
    EXPECT_EQ(0, set.status) << set.output;
    EXPECT_NE(std::string::npos, set.output.find("\"ssid\":\"Garden\"")) << set.output;
    std::string wifi = nng_call(node.address(), "{\"method\":\"wifi.get\"}");
    EXPECT_EQ("garden-pass", result_of(wifi, "password")) << wifi;
    EXPECT_EQ("100208", error_code(nng_call(node.address(), "{\"method\":\"wifi.set\",\"params\":{\"password\":\"short\"}}")));
    EXPECT_EQ("600100", error_code(udp_call(node.address(), "{\"method\":\"wifi.set\",\"params\":{\"encrypt_type\":4}}")));

    // The change is in the command journal at once and in the store after the reply.
    EXPECT_NE(std::string::npos, node.root().read("/var/log/commands").find("/bin/vespin_cron.sh restart\n"));
    double deadline = seconds_now() + 5;
    while (seconds_now() < deadline && node.root().read("/flash/mib.conf").find("\"Garden-5G\"") == std::string::npos)
        usleep(20 * 1000);
    std::string settings = node.root().read("/flash/mib.conf");
    EXPECT_NE(std::string::npos, settings.find("1@1.0 = \"Garden\"")) << settings;
    EXPECT_NE(std::string::npos, settings.find("1@0.0 = \"Garden-5G\"")) << settings;

    std::string guest = nng_call(node.address(),
                                 "{\"method\":\"guest.set\",\"params\":{\"guest_wifis\":[{\"id\":\"1\",\"enabled\":true,"
                                 "\"duration\":-1,\"bands\":{\"2.4G\":{\"ssid\":\"Visit\",\"encrypt\":\"open\","
                                 "\"enabled\":true}}}]}}");
    EXPECT_NE(std::string::npos, guest.find("\"ssid\":\"Visit\"")) << guest;
    EXPECT_NE(std::string::npos, node.root().read("/etc/config/multipleap").find("config item '1'"));

    std::string assets = nng_call(node.address(),
                                  "{\"method\":\"assets.set\",\"params\":{\"mac\":\"a0b1c2d3e4f5\",\"name\":\"TV\"}}");
    EXPECT_EQ("TV", result_of(assets, "name")) << assets;
    EXPECT_EQ("TV", result_of(udp_call(node.address(), "{\"method\":\"assets.get\",\"params\":{\"mac\":\"a0b1c2d3e4f5\"}}"), "name"));
    EXPECT_EQ("100208", error_code(nng_call(node.address(),
                                            "{\"method\":\"assets.set\",\"params\":{\"mac\":\"a0;reboot\",\"name\":\"x\"}}")));

    std::string rules = nng_call(node.address(), "{\"method\":\"timelimit.add\",\"params\":{\"mac\":\"a0b1c2d3e4f5\","
                                                 "\"rule\":\"00001|1|08:00|20:00|1,2\"}}");
    EXPECT_EQ("{\"result\":[{\"id\":\"00001\",\"time_begin\":\"08:00\",\"time_end\":\"20:00\",\"schedule\":[\"1\",\"2\"],"
              "\"enabled\":true}]}",
              rules);
    EXPECT_EQ("a0b1c2d3e4f5 00001|1|08:00|20:00|1,2\n", node.root().read("/var/run/timelimit.rules"));
    rules = nng_call(node.address(), "{\"method\":\"timelimit.delete_device\",\"params\":{\"mac\":\"a0b1c2d3e4f5\"}}");
    EXPECT_EQ("{\"result\":[]}", rules);
    EXPECT_EQ("", node.root().read("/var/run/timelimit.rules"));

    std::string admin = nng_call(node.address(), "{\"method\":\"admin.set\",\"params\":{\"password\":\"new-secret\"}}");
    EXPECT_EQ("new-secret", result_of(admin, "password")) << admin;
    std::string zone = nng_call(node.address(), "{\"method\":\"timezone.config.set\",\"params\":{\"offset\":-5}}");
    EXPECT_EQ("-5", result_of(zone, "offset")) << zone;
    EXPECT_EQ("1", result_of(zone, "position"));
}

TEST(NodeDaemon, FeatureMethodsReachTheGatewaysChainsAndUrlFilterModule) {
    node_daemon gateway("127.0.3.13", "022411000100013", "features");
    ASSERT_TRUE(gateway.start()) << read_file(gateway.log_path());
    const test_root& root = gateway.root();

    std::string added = nng_call(gateway.address(),
                                 "{\"method\":\"portfw.add\",\"params\":{\"name\":\"web\",\"ip\":\"127.0.3.50\","
                                 "\"from_port\":80,\"ext_from_port\":8080,\"protocol\":\"tcp\"}}");
    EXPECT_EQ("", error_code(added)) << added;
    EXPECT_NE(std::string::npos,
              root.read("/var/lib/iptables/nat")
                  .find("-A vespin_nat_port_fw -d 10.0.0.2/32 -i eth1 -p tcp -m tcp --dport 8080 -j DNAT "
                        "--to-destination 127.0.3.50:80\n"))
        << root.read("/var/lib/iptables/nat");
    std::string list = nng_call(gateway.address(), "{\"method\":\"portfw.list\"}");
    EXPECT_NE(std::string::npos, list.find("\"name\":\"web\"")) << list;
    std::string refused = nng_call(gateway.address(),
                                   "{\"method\":\"portfw.add\",\"params\":{\"name\":\"x\",\"ip\":\"127.0.3.51\","
                                   "\"from_port\":80,\"ext_from_port\":8080}}");
    EXPECT_EQ("600710", error_code(refused)) << refused;

    const std::string mac = "\"mac\":\"a0b1c2d3e4f5\"";
    EXPECT_EQ("", error_code(nng_call(gateway.address(), "{\"method\":\"url_filter.add\",\"params\":{" + mac +
                                                             ",\"host\":\"Ads.Example.com\"}}")));
    EXPECT_EQ("", error_code(nng_call(gateway.address(),
                                      "{\"method\":\"url_filter.enable\",\"params\":{" + mac + ",\"enabled\":true}}")));
    EXPECT_EQ("a0b1c2d3e4f5 ads.example.com\n", root.read("/var/run/vespin_knet.rules"));
    EXPECT_EQ("", error_code(nng_call(gateway.address(), "{\"method\":\"url_filter.restart\"}")));
    EXPECT_EQ("a0b1c2d3e4f5 ads.example.com\n", root.read("/var/run/vespin_knet.rules"));

    std::string dhcp = nng_call(gateway.address(), "{\"method\":\"dhcp.get\"}");
    EXPECT_EQ("86400", result_of(dhcp, "lease_time")) << dhcp;
    std::string blocked = nng_call(gateway.address(),
                                   "{\"method\":\"sta_blacklist.add\",\"params\":{\"mac\":\"a0b1c2d3e4f6\",\"name\":\"tv\"}}");
    EXPECT_EQ("", error_code(blocked)) << blocked;
    std::string stations = nng_call(gateway.address(), "{\"method\":\"sta_blacklist.list\"}");
    EXPECT_NE(std::string::npos, stations.find("\"mac\":\"a0b1c2d3e4f6\"")) << stations;
}

TEST(NodeDaemon, ServesVpnProfilesAndNetworkDiagnostics) {
    node_daemon node("127.0.10.2", "022411000100010", "vpn-node");
    node.root().write("/tmp/openvpn.tmp", "client\n");
    ASSERT_TRUE(node.start()) << read_file(node.log_path());

    std::string added = nng_call(node.address(), "{\"method\":\"vpn.add\",\"params\":{\"name\":\"home\","
                                                  "\"protocol\":\"openvpn\",\"openvpn\":{\"url\":\"openvpn.tmp\"}}}");
    EXPECT_EQ("{\"result\":{\"id\":\"1\"}}", added);
    EXPECT_EQ("{\"result\":[{\"id\":\"1\",\"name\":\"home\",\"protocol\":\"openvpn\",\"username\":\"\","
              "\"password\":\"\",\"openvpn\":{\"url\":\"openvpn-1.ovpn\"}}]}",
              udp_call(node.address(), "{\"method\":\"vpn.list\"}"));
    EXPECT_EQ("{\"result\":{\"default_vpn\":\"1\",\"enabled\":true}}",
              nng_call(node.address(), "{\"method\":\"vpn.set\",\"params\":{\"enabled\":true,\"default_vpn\":\"1\"}}"));
    // The OpenVPN client restarts after the answer; the status follows it.
    std::string status;
    for (int i = 0; i < 100 && result_of(status, "status") != "connected"; i++) {
        usleep(50 * 1000);
        status = nng_call(node.address(), "{\"method\":\"vpn.status\"}");
    }
    EXPECT_EQ("connected", result_of(status, "status")) << status;
    std::string busy = nng_call(node.address(), "{\"method\":\"vpn.delete\",\"params\":{\"id\":\"1\"}}");
    EXPECT_EQ("600702", error_code(busy)) << busy;
    EXPECT_EQ("100208", error_code(nng_call(node.address(), "{\"method\":\"vpn.delete\",\"params\":{\"id\":\"9\"}}")));

    std::string ping = nng_call(node.address(), "{\"method\":\"network.ping\",\"params\":{\"host\":\"localhost\"}}");
    EXPECT_NE(std::string::npos, result_of(ping, "output").find("rtt min/avg/max/mdev = ")) << ping;
    std::string refused = udp_call(node.address(), "{\"method\":\"network.nslookup\",\"params\":{\"host\":\"a;reboot\"}}");
    EXPECT_EQ("100208", error_code(refused)) << refused;
    EXPECT_EQ("", read_file(node.root().path("/var/log/nslookup.args")));
    std::string speed = nng_call(node.address(), "{\"method\":\"network.speedtest\",\"params\":{\"full\":true}}");
    EXPECT_EQ("{\"result\":{\"code\":0,\"up\":52340,\"down\":187650,\"loss_rate\":0,\"min\":11,\"max\":19,"
              "\"avg\":14,\"jitter\":2}}",
              speed);
    std::string rate = nng_call(node.address(), "{\"method\":\"network.speed\",\"params\":{\"ifname\":\"wlan0\"}}");
    EXPECT_EQ("0", result_of(rate, "tx")) << rate;
    std::string state = result_of(nng_call(node.address(), "{\"method\":\"wan.state\"}"), "state");
    EXPECT_TRUE(state == "1" || state == "2") << "a link; Internet when raw sockets are permitted: " << state;
}
