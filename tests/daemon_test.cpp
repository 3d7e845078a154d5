// The node daemon end to end: real vespind processes on emulated roots with
// loopback addresses, called over nng, over datagrams and through the
// control CLI, and flooded with hostile requests; and the mesh launcher.
// Every daemon is killed and reaped when its test ends, even on failure.
// Each test process takes its own block of loopback addresses
// (test_loopback_net), so that tests, a second run and a main job can run
// side by side.
#include "loopback_net.h"
#include "msghandle.h"
#include "test_root.h"

#include <gtest/gtest.h>
#include <iconv.h>
#include <json-c/json.h>
#include <nng/nng.h>
#include <nng/protocol/reqrep0/req.h>
#include <signal.h>
#include <stdio.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>

#include <atomic>
#include <memory>
#include <string>
#include <thread>
#include <vector>

namespace {

const uint16_t kPort = 10010;
const std::string kDaemon = std::string(VESPIN_TOOLS_DIR) + "/vespind";
const std::string kCli = std::string(VESPIN_TOOLS_DIR) + "/vespinctl";

// The address of node `host` (2, 3, ...) in this process's loopback block.
std::string node_address(int host) { return test_loopback_net(kPort) + "." + std::to_string(host); }

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
        // One descriptor for both, so that neither writes over the other.
        if (!freopen(output.c_str(), "w", stdout) || dup2(STDOUT_FILENO, STDERR_FILENO) < 0) _exit(126);
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

// A process this test started: signalled only while it is known to be
// running and unreaped (a reaped pid may belong to anyone by now), and
// killed and reaped at the end of its scope.
class started_child {
  public:
    explicit started_child(pid_t pid) : pid_(pid) {}
    ~started_child() {
        if (running()) {
            kill(pid_, SIGKILL);
            waitpid(pid_, nullptr, 0);
        }
    }
    started_child(const started_child&) = delete;
    started_child& operator=(const started_child&) = delete;

    pid_t pid() const { return pid_; }
    bool running() {
        if (pid_ <= 0 || reaped_) return false;
        int status = 0;
        if (waitpid(pid_, &status, WNOHANG) != pid_) return true;
        reaped_ = true;
        status_ = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
        return false;
    }
    // The exit status once it has ended, else -1.
    int exit_status() const { return status_; }
    // Sends the signal and waits at most 10 s: the exit status, or -1 (it is
    // then killed).
    int stop(int signal_number) {
        if (!running()) return status_;
        kill(pid_, signal_number);
        status_ = wait_exit(pid_, 10);
        reaped_ = true;
        return status_;
    }

  private:
    pid_t pid_;
    bool reaped_ = false;
    int status_ = -1;
};

// One vespind on its own emulated root; killed and reaped at the end.
class node_daemon {
  public:
    node_daemon(const std::string& address, const std::string& sn, const std::string& name)
        : address_(address),
          root_("--address " + address + " --sn " + sn + " --name " + name + " --shm-key " +
                std::to_string(0x10000000 + (ntohl(inet_addr(address.c_str())) & 0xffffff))) {}
    ~node_daemon() { kill_now(); }

    // Starts the daemon and waits until it answers over nng.
    bool start() {
        process_.reset(new started_child(spawn({kDaemon}, root_.dir(), log_path())));
        double deadline = seconds_now() + 10;
        while (seconds_now() < deadline) {
            if (!nng_exchange(address_, "{}", 300).empty()) return true;
            if (!process_->running()) return false;
            usleep(20 * 1000);
        }
        return false;
    }
    void kill_now() { process_.reset(); }
    // Sends a signal and waits for the exit: the status, or -1.
    int stop(int signal_number) {
        int status = process_ ? process_->stop(signal_number) : -1;
        process_.reset();
        return status;
    }

    pid_t pid() const { return process_ ? process_->pid() : -1; }
    const std::string& address() const { return address_; }
    const test_root& root() const { return root_; }
    std::string log_path() const { return root_.path("/var/log/vespind.log"); }

  private:
    std::string address_;
    test_root root_;
    std::unique_ptr<started_child> process_;
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
    node_daemon gateway(node_address(2), "012411000100001", "gateway");
    node_daemon satellite(node_address(3), "022411000100002", "satellite-1");
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
    node_daemon node(node_address(4), "012411000100001", "malformed");
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
    node_daemon node(node_address(5), "012411000100001", "fullsize");
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
    node_daemon node(node_address(6), "022411000100009", "before");
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
    node_daemon node(node_address(7), "012411000100001", "victim");
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
    node_daemon node(node_address(8), "012411000100001", "first");
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
    node_daemon node(node_address(9), "022411000100007", "cli-node");
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

    std::string nobody_address = node_address(10);
    cli_result nobody = run_cli(node, {"--node", nobody_address, "--timeout", "500", "system.info"});
    EXPECT_EQ(2, nobody.status);
    EXPECT_NE(std::string::npos,
              nobody.output.find("transport failure (600406) calling system.info on " + nobody_address +
                                 " over nng: cannot connect to tcp4://" + nobody_address + ":10010"))
        << nobody.output;
}

TEST(MeshLauncher, StartsAGatewayAndTwoSatellitesPrintsOneTableAndStopsThem) {
    test_root scratch;
    std::string output = scratch.path("/tmp/mesh.out");
    std::string net = test_loopback_net(kPort);
    pid_t launcher = spawn({std::string(VESPIN_TOOLS_DIR) + "/vespin-mesh", "--once", "--net", net, "--sim",
                            std::string(VESPIN_SOURCE_DIR) + "/sim", "--tools", VESPIN_TOOLS_DIR},
                           scratch.dir(), output);
    EXPECT_EQ(0, wait_exit(launcher, 60));
    std::string text = read_file(output);
    auto row = [&net](int number, const char* role, int host, const char* serial, const char* model, const char* name) {
        char line[160];
        snprintf(line, sizeof line, "%-4d %-9s %-10s %-16s %-5s %-12s ", number, role,
                 (net + "." + std::to_string(host)).c_str(), serial, model, name);
        return std::string(line);
    };
    EXPECT_NE(std::string::npos, text.find(row(1, "gateway", 2, "012411000100001", "Q5", "gateway"))) << text;
    EXPECT_NE(std::string::npos, text.find(row(2, "satellite", 3, "022411000100002", "Lark", "satellite-1"))) << text;
    EXPECT_NE(std::string::npos, text.find(row(3, "satellite", 4, "022411000100003", "Lark", "satellite-2"))) << text;
    EXPECT_NE(std::string::npos, text.find("satellite-2  stopped (exit status 0)")) << text;
    // The nodes' roots go with the mesh.
    size_t at = text.find("/tmp/vespin-mesh-");
    ASSERT_NE(std::string::npos, at);
    std::string work = text.substr(at, text.find('\n', at) - at);
    EXPECT_NE(0, access(work.c_str(), F_OK)) << work;
}

namespace {

// The resident memory of a process in KiB (VmRSS), or -1.
long resident_kib(pid_t pid) {
    std::string status = read_file("/proc/" + std::to_string(pid) + "/status");
    size_t at = status.find("VmRSS:");
    return at == std::string::npos ? -1 : strtol(status.c_str() + at + 6, nullptr, 10);
}

// True when the text is valid UTF-8, as the C library's converter reads it.
// The converter to UCS-4LE is built into the C library (UTF-32 is a loadable
// module that the big-endian root's C library lacks) but lets code points
// past U+10FFFF through, so those are refused here.
bool valid_utf8(const std::string& text) {
    iconv_t converter = iconv_open("UCS-4LE", "UTF-8");
    if (converter == (iconv_t)-1) return false;
    std::string input = text;
    std::vector<unsigned char> output(text.size() * 4 + 4);
    char* in = &input[0];
    char* out = (char*)output.data();
    size_t in_left = input.size(), out_left = output.size();
    bool ok = iconv(converter, &in, &in_left, &out, &out_left) != (size_t)-1 && in_left == 0;
    iconv_close(converter);
    for (size_t at = 0; ok && at + 4 <= output.size() - out_left; at += 4)
        ok = output[at + 3] == 0 && output[at + 2] <= 0x10;
    return ok;
}

// A raw nng peer over TCP: the SP handshake of a requester, then a message
// header claiming `claimed` bytes followed by only a few of them. true when
// the daemon closed the connection instead of waiting for the rest.
bool claim_a_huge_request(const std::string& address, uint64_t claimed) {
    int fd = socket(AF_INET, SOCK_STREAM, 0);
    struct sockaddr_in where = {};
    where.sin_family = AF_INET;
    where.sin_port = htons(kPort);
    inet_pton(AF_INET, address.c_str(), &where.sin_addr);
    struct timeval timeout = {3, 0};
    setsockopt(fd, SOL_SOCKET, SO_RCVTIMEO, &timeout, sizeof timeout);
    bool closed = false;
    // 0, 'S', 'P', version 0, protocol 0x30 (req0) big-endian, 2 reserved bytes.
    const unsigned char hello[8] = {0, 'S', 'P', 0, 0x00, 0x30, 0, 0};
    unsigned char answer[8];
    if (connect(fd, reinterpret_cast<struct sockaddr*>(&where), sizeof where) == 0 &&
        send(fd, hello, sizeof hello, MSG_NOSIGNAL) == 8 && recv(fd, answer, sizeof answer, MSG_WAITALL) == 8) {
        unsigned char header[8 + 16] = {0};
        for (int i = 0; i < 8; i++) header[i] = (unsigned char)(claimed >> (56 - 8 * i));
        send(fd, header, sizeof header, MSG_NOSIGNAL);
        char byte;
        closed = recv(fd, &byte, 1, 0) == 0;  // end of file: nng dropped the peer
    }
    close(fd);
    return closed;
}

}  // namespace

TEST(NodeDaemon, AnswersEveryLengthFromZeroAndDropsWhatIsOverTheLimit) {
    node_daemon node(node_address(11), "012411000100001", "lengths");
    ASSERT_TRUE(node.start()) << read_file(node.log_path());
    // Every cut of a valid request, from 0 bytes up, without and with its NUL.
    const std::string request = "{\"method\":\"system.identity\"}";
    for (size_t length = 0; length <= request.size(); length++) {
        for (bool nul : {false, true}) {
            std::string bytes = request.substr(0, length) + (nul ? std::string(1, '\0') : "");
            std::string answer = nng_exchange(node.address(), bytes);
            if (length == request.size()) {
                EXPECT_EQ("lengths", result_of(answer, "name")) << answer;
            } else {
                EXPECT_EQ("100209", error_code(answer)) << length << " bytes -> " << answer;
            }
        }
    }

    // Up to the limit a request is read and answered (the padding is a
    // member no method reads); one byte more and nng drops it unread.
    auto padded = [](size_t total) {
        std::string head = "{\"method\":\"system.identity\",\"pad\":\"", tail = "\"}";
        return head + std::string(total - head.size() - tail.size(), 'x') + tail;
    };
    EXPECT_EQ("lengths", result_of(nng_exchange(node.address(), padded(64 * 1024)), "name"));
    EXPECT_EQ("", nng_exchange(node.address(), padded(64 * 1024 + 1), 1000));

    // Neither a 32 MiB request nor a header that claims 1 GiB makes the daemon hold more.
    long before = resident_kib(node.pid());
    ASSERT_GT(before, 0);
    EXPECT_EQ("", nng_exchange(node.address(), padded(32 << 20), 1000));
    EXPECT_TRUE(claim_a_huge_request(node.address(), 1ull << 30));
    EXPECT_TRUE(claim_a_huge_request(node.address(), ~0ull));
    long after = resident_kib(node.pid());
    EXPECT_LT(after - before, 8 * 1024) << before << " KiB before, " << after << " KiB after";
    EXPECT_EQ("lengths", result_of(nng_call(node.address(), request), "name"));
}

TEST(NodeDaemon, RepliesAreValidUtf8WhateverTheRequestHeld) {
    node_daemon node(node_address(12), "012411000100001", "utf8");
    ASSERT_TRUE(node.start()) << read_file(node.log_path());
    const std::string replacement = "\xEF\xBF\xBD";
    struct case_row {
        std::string request, message;
    } cases[] = {
        // Raw bytes that are no UTF-8 at all, and a surrogate and an overlong slash.
        {"{\"method\":\"x\xff\xfe.y\"}", "Unknown method: x" + replacement + replacement + ".y"},
        {"{\"method\":\"\xed\xa0\x80\xc0\xaf\"}", "Unknown method: " + replacement + replacement + replacement +
                                                      replacement + replacement},
        // The method record keeps 79 bytes: the cut falls inside the 2-byte "é".
        {"{\"method\":\"" + std::string(78, 'm') + "\xc3\xa9\"}", "Unknown method: " + std::string(78, 'm')},
        // Above U+10FFFF: a bad lead byte, then three stray continuation bytes.
        {"{\"method\":\"\xf4\x90\x80\x80\"}", "Unknown method: " + replacement + replacement + replacement + replacement},
        // Valid characters of two, three and four bytes pass unchanged.
        {"{\"method\":\"m\xc3\xa9thode\xe2\x82\xac\xf0\x9f\x98\x80\"}",
         "Unknown method: m\xc3\xa9thode\xe2\x82\xac\xf0\x9f\x98\x80"},
        // Params echoed by a method.
        {"{\"method\":\"version.compare\",\"params\":{\"a\":\"1.\xff\",\"b\":\"1.0.0\"}}",
         "Invalid version: 1." + replacement},
    };
    // An echoed text is cut (a version at 64 bytes): never inside a character.
    std::string accents;
    for (int i = 0; i < 200; i++) accents += "\xc3\xa9";
    std::string long_version = "{\"method\":\"version.compare\",\"params\":{\"a\":\"x" + accents + "\",\"b\":\"1.0.0\"}}";
    std::string answer = nng_call(node.address(), long_version);
    EXPECT_TRUE(valid_utf8(answer)) << answer;
    EXPECT_EQ("Invalid version: x" + accents.substr(0, 62), error_message(answer));
    for (const auto& row : cases) {
        for (const std::string& answer : {nng_call(node.address(), row.request), udp_call(node.address(), row.request)}) {
            EXPECT_TRUE(valid_utf8(answer)) << answer;
            EXPECT_EQ(row.message, error_message(answer)) << answer;
        }
    }
}

TEST(NodeDaemon, OnlyTheDaemonThatWonTheRootKeepsAndRemovesThePidFile) {
    node_daemon node(node_address(13), "012411000100001", "race");
    const std::string pid_file = node.root().path("/var/run/vespind.pid");
    // Two daemons started at the same instant: exactly one stays, and the
    // pid file names it (the loser must not remove it on its way out).
    for (int trial = 0; trial < 5; trial++) {
        started_child first(spawn({kDaemon}, node.root().dir(), node.root().path("/var/log/first.log")));
        started_child second(spawn({kDaemon}, node.root().dir(), node.root().path("/var/log/second.log")));
        double deadline = seconds_now() + 10;
        while (first.running() && second.running() && seconds_now() < deadline) usleep(10 * 1000);
        started_child& loser = first.running() ? second : first;
        started_child& winner = first.running() ? first : second;
        ASSERT_FALSE(loser.running()) << "both daemons kept running";
        EXPECT_EQ(1, loser.exit_status());
        usleep(100 * 1000);
        ASSERT_TRUE(winner.running()) << "the winner stopped too";
        EXPECT_EQ(std::to_string(winner.pid()) + "\n", read_file(pid_file)) << "trial " << trial;
        EXPECT_EQ(0, winner.stop(SIGTERM));
        EXPECT_NE(0, access(pid_file.c_str(), F_OK));
    }

    // A pid file that names another process by now is left to it.
    ASSERT_TRUE(node.start()) << read_file(node.log_path());
    node.root().write("/var/run/vespind.pid", "4194000\n");
    EXPECT_EQ(0, node.stop(SIGTERM));
    EXPECT_EQ("4194000\n", read_file(pid_file));
}

TEST(NodeDaemon, SurvivesAFloodOfHostileRequestsOverBothTransports) {
    node_daemon node(node_address(14), "012411000100001", "flood");
    ASSERT_TRUE(node.start()) << read_file(node.log_path());
    const std::string valid = "{\"method\":\"version.compare\",\"params\":{\"a\":\"1.0.0\",\"b\":\"1.0.1\"}}";
    std::vector<std::string> hostile = {
        "", "{", "}", "[[[", "\"method\"", "null", "{\"method\":", std::string(300, '\xff'),
        std::string("{\"method\":\"system.identity\"\0garbage", 35),
        valid.substr(0, valid.size() / 2),                                   // truncated
        std::string(5000, '[') + std::string(5000, ']'),                     // deeply nested
        "{\"method\":{\"a\":" + std::string(100, '{') + std::string(100, '}') + "}}",
        "{\"method\":[\"version.compare\"]}", "{\"method\":true}", "{\"method\":\"\"}",  // wrongly typed
        "{\"method\":\"version.compare\",\"params\":\"a\"}",
        "{\"method\":\"version.compare\",\"params\":{\"a\":[],\"b\":{}}}",
        "{\"method\":\"channels.list\",\"params\":{\"region\":\"840\"}}",
        "{\"method\":\"channels.list\",\"params\":{\"region\":99999999999999999999}}",
        "{\"method\":\"system.set_name\",\"params\":{\"name\":null}}",
        "{\"method\":\"" + std::string(5000, 'u') + "\"}",                  // oversized for a method
        "{\"method\":\"" + std::string(7000, '\x80') + "\"}",
    };
    long before = resident_kib(node.pid());
    std::atomic<int> answered{0}, unanswered{0};
    auto nng_client = [&](int seed) {
        for (int round = 0; round < 3; round++)
            for (size_t i = 0; i < hostile.size(); i++) {
                const std::string& bytes = hostile[(i + seed) % hostile.size()];
                (nng_exchange(node.address(), bytes, 2000).empty() ? unanswered : answered)++;
            }
        // Over the limit: dropped, and the connection with it.
        nng_exchange(node.address(), std::string(200 * 1024, '{'), 300);
    };
    auto udp_client = [&](int seed) {
        int fd = socket(AF_INET, SOCK_DGRAM, 0);
        struct sockaddr_in to = {};
        to.sin_family = AF_INET;
        to.sin_port = htons(kPort);
        inet_pton(AF_INET, node.address().c_str(), &to.sin_addr);
        for (int round = 0; round < 3; round++)
            for (size_t i = 0; i < hostile.size(); i++) {
                const std::string& bytes = hostile[(i + seed) % hostile.size()];
                if (bytes.size() >= MESSAGE_RECEIVER_BUFFER_SIZE) {  // more than the receiver takes: sent raw
                    sendto(fd, bytes.data(), bytes.size(), 0, reinterpret_cast<struct sockaddr*>(&to), sizeof to);
                    continue;
                }
                int rv = -1;
                udp_call(node.address(), bytes, &rv);
                (rv == 0 ? answered : unanswered)++;
            }
        std::string datagram(60000, 'x');  // more than the receiver's buffer, sent without the protocol
        sendto(fd, datagram.data(), datagram.size(), 0, reinterpret_cast<struct sockaddr*>(&to), sizeof to);
        close(fd);
    };
    double started = seconds_now();
    std::vector<std::thread> clients;
    for (int i = 0; i < 3; i++) clients.emplace_back(nng_client, i * 5);
    for (int i = 0; i < 3; i++) clients.emplace_back(udp_client, i * 7);
    for (auto& client : clients) client.join();
    EXPECT_LT(seconds_now() - started, 60);

    // Every request that fit got its answer, and the daemon still serves.
    EXPECT_EQ(0, unanswered.load());
    EXPECT_GT(answered.load(), 100);
    EXPECT_EQ("-1", result_of(nng_call(node.address(), valid), "compare"));
    EXPECT_EQ("-1", result_of(udp_call(node.address(), valid), "compare"));
    long after = resident_kib(node.pid());
    EXPECT_LT(after - before, 32 * 1024) << before << " KiB before, " << after << " KiB after";

    // Hundreds of malformed requests, ten lines in the log.
    std::string log = read_file(node.log_path());
    size_t lines = 0;
    for (const char* kind : {"Request is not JSON", "Unknown method: "})
        for (size_t at = log.find(kind); at != std::string::npos; at = log.find(kind, at + 1)) lines++;
    EXPECT_EQ(10u, lines) << log;

    // A clean stop: under the leak checker a leak on any of those paths fails the exit.
    EXPECT_EQ(0, node.stop(SIGTERM)) << read_file(node.log_path());
}


TEST(NodeDaemon, WifiGuestDeviceAndRuleMethodsApplyOnTheGateway) {
    node_daemon node(node_address(15), "012411000100012", "wifi-gw");
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
    node_daemon gateway(node_address(16), "022411000100013", "features");
    ASSERT_TRUE(gateway.start()) << read_file(gateway.log_path());
    const test_root& root = gateway.root();

    std::string added = nng_call(gateway.address(),
                                 "{\"method\":\"portfw.add\",\"params\":{\"name\":\"web\",\"ip\":\"" + node_address(50) + "\","
                                 "\"from_port\":80,\"ext_from_port\":8080,\"protocol\":\"tcp\"}}");
    EXPECT_EQ("", error_code(added)) << added;
    EXPECT_NE(std::string::npos,
              root.read("/var/lib/iptables/nat")
                  .find("-A vespin_nat_port_fw -d 10.0.0.2/32 -i eth1 -p tcp -m tcp --dport 8080 -j DNAT "
                        "--to-destination " + node_address(50) + ":80\n"))
        << root.read("/var/lib/iptables/nat");
    std::string list = nng_call(gateway.address(), "{\"method\":\"portfw.list\"}");
    EXPECT_NE(std::string::npos, list.find("\"name\":\"web\"")) << list;
    std::string refused = nng_call(gateway.address(),
                                   "{\"method\":\"portfw.add\",\"params\":{\"name\":\"x\",\"ip\":\"" + node_address(51) + "\","
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
    node_daemon node(node_address(17), "022411000100010", "vpn-node");
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
