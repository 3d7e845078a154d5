// vespin-mesh: a mesh on one PC. It makes one emulated root per node from
// sim/ (each with its own serial number, MACs, name, role, loopback address
// 127.0.0.<i+1> and shared-memory key, and the vendor table made from the
// IEEE OUI list), writes every node's driver files (mesh peers with their
// RSSI for the chosen topology, Wi-Fi and guest clients with traffic
// counters, the gateway's ARP table and leases: daemon/emulated_drivers.h),
// starts a vespind on each (the satellites reporting to the gateway once a
// report period), shows them coming up, waits until every node is in the
// gateway's table on its current network record, calls "system.identity"
// and "system.info" on every node and prints the answers as one table, then
// the topology and the connected devices of the whole mesh, and calls every
// satellite by serial number through the gateway. Then it keeps the mesh
// running until Ctrl-C (refreshing the driver files once a period), or stops
// at once with --once, and stops every daemon.
//
//   vespin-mesh [--satellites N | --nodes N] [--topology chain|star] [--old-node]
//               [--report-period S] [--measure] [--once] [--keep] [--net A.B.C]
//               [--sim DIR] [--tools DIR] [--firmware-service]
//
// --nodes: the whole mesh, gateway included (at most 50); --topology: who
// hears whom (a chain by default, or a star around the gateway);
// --old-node: the last satellite stands in for a node older than
// 1.2.0-rc.1 (it reports version 1.1.9 and serves over datagrams only, so
// that calls to it take the datagram path); --report-period: seconds
// between two reports (1 to 59, default 5); --measure: time the mesh's start (every
// satellite started at once) until every node is valid in the gateway's
// table, with the gateway's CPU share and memory, and print the figures;
// --net: the first three numbers of the nodes' addresses (default 127.0.0;
// node i gets A.B.C.<i+1>), so that two meshes can run side by side; --sim:
// the directory holding mkroot.sh (default "sim"); --tools: the directory
// holding vespind (default: this program's own); --keep: leave the roots
// (under /tmp/vespin-mesh-*) in place for inspection; --firmware-service:
// start the local HTTPS firmware service (A.B.C.200), make the gateway use
// it, and print the firmware it offers for each node ("firmware.list").
#include "emulated_drivers.h"
#include "firmware_report.h"
#include "node_client.h"
#include "platform/platform.h"
#include "response.h"
#include "topology_text.h"

#include <arpa/inet.h>
#include <errno.h>
#include <fcntl.h>
#include <signal.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

#include <filesystem>
#include <string>
#include <vector>

namespace {

const int kMaxNodes = 50;
const char kOldVersion[] = "1.1.9";
const int kStartSeconds = 10;
const int kStopSeconds = 5;
const int kShmKeyBase = 0x56000000;

// The node's shared-memory key: the base plus the last three numbers of its
// address, so that meshes on different --net blocks never share a segment.
int shm_key_of(const std::string& address) {
    return kShmKeyBase + (int)(ntohl(inet_addr(address.c_str())) & 0xffffff);
}

struct node {
    int number;  // 1 for the gateway, 2.. for the satellites
    std::string role, address, serial, name, root;
    bool old = false;  // serves over datagrams only
    pid_t pid = -1;
    int exit_status = -1;
};

struct options {
    int satellites = 2;
    bool once = false, keep = false, old_node = false, measure = false, firmware_service = false;
    int report_period = 5;
    mesh_topology topology = mesh_topology::chain;
    std::string net = "127.0.0", sim = "sim", tools;
};

double seconds_now() {
    struct timespec now;
    clock_gettime(CLOCK_MONOTONIC, &now);
    return now.tv_sec + now.tv_nsec / 1e9;
}

std::string own_directory() {
    std::error_code error;
    auto self = std::filesystem::read_symlink("/proc/self/exe", error);
    return error ? std::string(".") : self.parent_path().string();
}

bool parse_options(int argc, char** argv, options* out) {
    for (int i = 1; i < argc; i++) {
        std::string option = argv[i];
        bool has_value = i + 1 < argc;
        if (option == "--once") {
            out->once = true;
        } else if (option == "--keep") {
            out->keep = true;
        } else if (option == "--old-node") {
            out->old_node = true;
        } else if (option == "--measure") {
            out->measure = true;
        } else if (option == "--firmware-service") {
            out->firmware_service = true;
        } else if (option == "--satellites" && has_value) {
            out->satellites = atoi(argv[++i]);
            if (out->satellites < 0 || out->satellites > kMaxNodes - 1) return false;
        } else if (option == "--nodes" && has_value) {
            out->satellites = atoi(argv[++i]) - 1;
            if (out->satellites < 0 || out->satellites > kMaxNodes - 1) return false;
        } else if (option == "--report-period" && has_value) {
            out->report_period = atoi(argv[++i]);
            // Within the 60 s a report keeps a node valid (as vespind requires).
            if (out->report_period < 1 || out->report_period > 59) return false;
        } else if (option == "--topology" && has_value) {
            std::string topology = argv[++i];
            if (topology != "chain" && topology != "star") return false;
            out->topology = topology == "star" ? mesh_topology::star : mesh_topology::chain;
        } else if (option == "--net" && has_value) {
            out->net = argv[++i];
        } else if (option == "--sim" && has_value) {
            out->sim = argv[++i];
        } else if (option == "--tools" && has_value) {
            out->tools = argv[++i];
        } else {
            return false;
        }
    }
    if (out->tools.empty()) out->tools = own_directory();
    if (out->old_node && out->satellites == 0) return false;
    struct in_addr check;
    return inet_pton(AF_INET, (out->net + ".1").c_str(), &check) == 1;
}

// Runs a program and waits for it; true when it exits with 0.
bool run(const std::vector<std::string>& arguments) {
    std::vector<char*> argv;
    for (const auto& argument : arguments) argv.push_back(const_cast<char*>(argument.c_str()));
    argv.push_back(nullptr);
    pid_t pid = fork();
    if (pid < 0) return false;
    if (pid == 0) {
        execvp(argv[0], argv.data());
        _exit(127);
    }
    int status = 0;
    while (waitpid(pid, &status, 0) < 0 && errno == EINTR) {
    }
    return WIFEXITED(status) && WEXITSTATUS(status) == 0;
}

bool make_root(const options& opts, const std::string& vendors, node* n) {
    return run({"sh", opts.sim + "/mkroot.sh", n->root, "--tools", opts.tools, "--address", n->address, "--shm-key",
                std::to_string(shm_key_of(n->address)), "--sn", n->serial, "--name", n->name, "--mac-seed",
                std::to_string(n->number), "--work-mode", n->number == 1 ? "1" : "2", "--vendors", vendors});
}

// The node's shared-memory segment goes with the node, as it would when a
// router is switched off (the daemon removes it itself when it stops
// cleanly; this covers one that was killed).
void remove_segment(const node& n) {
    plat_shm_remove(shm_key_of(n.address));
}

// Starts the node's daemon in its own process group (so that Ctrl-C reaches
// the launcher only), with its log in the root's var/log/vespind.log.
bool start_daemon(const options& opts, const std::string& gateway, node* n) {
    std::string program = opts.tools + "/vespind";
    std::vector<std::string> arguments = {"vespind", "--report-period", std::to_string(opts.report_period)};
    if (n->number != 1) arguments.insert(arguments.end(), {"--gateway", gateway});
    if (n->old) arguments.insert(arguments.end(), {"--mesh-version", kOldVersion, "--udp-only"});
    std::string log = n->root + "/var/log/vespind.log";
    n->pid = fork();
    if (n->pid < 0) return false;
    if (n->pid == 0) {
        setpgid(0, 0);
        sigset_t none;
        sigemptyset(&none);
        sigprocmask(SIG_SETMASK, &none, nullptr);
        setenv("VESPIN_ROOT", n->root.c_str(), 1);
        int fd = open(log.c_str(), O_WRONLY | O_CREAT | O_APPEND, 0644);
        if (fd >= 0) {
            dup2(fd, STDOUT_FILENO);
            dup2(fd, STDERR_FILENO);
            close(fd);
        }
        std::vector<char*> argv;
        for (auto& argument : arguments) argv.push_back(const_cast<char*>(argument.c_str()));
        argv.push_back(nullptr);
        execv(program.c_str(), argv.data());
        _exit(127);
    }
    return true;
}

bool exited(node* n) {
    if (n->pid <= 0) return true;
    int status;
    if (waitpid(n->pid, &status, WNOHANG) != n->pid) return false;
    n->exit_status = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
    n->pid = -1;
    return true;
}

bool interrupted(const sigset_t& stop_signals) {
    struct timespec zero = {0, 0};
    return sigtimedwait(&stop_signals, nullptr, &zero) > 0;
}

// Calls a method over nng (over datagrams on an old node); the response, or
// NULL with *problem set.
vespin_response* call(const node& n, const char* method, std::string* problem, json_object* params = nullptr,
                      int timeout_ms = 2000) {
    std::string reply, request = node_request_text(method, params);
    int rv = n.old ? node_call_udp(n.address, NODE_RPC_PORT, request, 0, &reply, problem)
                   : node_call_nng(n.address, NODE_RPC_PORT, request, timeout_ms, &reply, problem);
    if (rv != 0) return nullptr;
    vespin_response* response = vespin_response_new_from_json(reply.c_str());
    if (vespin_is_error(response)) {
        *problem = "not a response";
        return nullptr;
    }
    return response;
}

// Waits until the daemon answers; false when it exits, the time runs out or
// the user interrupts.
bool wait_until_up(node* n, const sigset_t& stop_signals, std::string* problem) {
    double deadline = seconds_now() + kStartSeconds;
    while (seconds_now() < deadline) {
        if (interrupted(stop_signals)) {
            *problem = "interrupted";
            return false;
        }
        if (exited(n)) {
            *problem = "vespind exited with status " + std::to_string(n->exit_status) + " (see " + n->root +
                       "/var/log/vespind.log)";
            return false;
        }
        std::string why;
        vespin_response* answer = call(*n, "node.methods", &why, nullptr, 500);
        vespin_response_free(answer);
        if (answer) return true;
        fputc('.', stdout);
        fflush(stdout);
        usleep(100 * 1000);
    }
    *problem = "no answer within " + std::to_string(kStartSeconds) + " s";
    return false;
}

void stop_daemons(std::vector<node>& nodes) {
    for (auto& n : nodes)
        if (n.pid > 0) kill(n.pid, SIGTERM);
    int stopped = 0;
    for (auto& n : nodes) {
        if (n.pid <= 0) continue;
        double deadline = seconds_now() + kStopSeconds;
        while (!exited(&n) && seconds_now() < deadline) usleep(20 * 1000);
        if (n.pid > 0) {
            kill(n.pid, SIGKILL);
            waitpid(n.pid, nullptr, 0);
            n.pid = -1;
            printf("  %-12s killed (it did not stop within %d s)\n", n.name.c_str(), kStopSeconds);
        } else {
            if (nodes.size() <= 10) printf("  %-12s stopped (exit status %d)\n", n.name.c_str(), n.exit_status);
            stopped++;
        }
        remove_segment(n);
    }
    if (nodes.size() > 10) printf("  %d nodes stopped\n", stopped);
}

// A member of a result as table text.
std::string cell(vespin_response* response, const char* key) {
    if (!response) return "-";
    if (response->code != 0) return "error " + std::to_string(response->code);
    json_object* value = nullptr;
    if (!response->result || !json_object_object_get_ex(response->result, key, &value)) return "?";
    return json_object_get_string(value);
}

std::string memory_cell(vespin_response* info) {
    if (!info || info->code != 0 || !info->result) return cell(info, "memory_used");
    json_object *used = nullptr, *total = nullptr;
    json_object_object_get_ex(info->result, "memory_used", &used);
    json_object_object_get_ex(info->result, "memory_total", &total);
    char text[64];
    snprintf(text, sizeof text, "%.0f/%.0f MB", json_object_get_double(used) / 1e6,
             json_object_get_double(total) / 1e6);
    return text;
}

// Asks every node for its identity and load and prints one table; false
// when a call failed.
bool print_table(const std::vector<node>& nodes) {
    bool all = true;
    printf("\n%-4s %-9s %-10s %-16s %-5s %-12s %-9s %-8s %-8s %-6s %s\n", "NODE", "ROLE", "ADDRESS", "SERIAL", "MODEL",
           "NAME", "CUSTOMER", "FIRMWARE", "UPTIME", "CPU%", "MEMORY");
    for (const auto& n : nodes) {
        std::string identity_problem, info_problem;
        vespin_response* identity = call(n, "system.identity", &identity_problem);
        vespin_response* info = call(n, "system.info", &info_problem);
        all = all && identity && info && identity->code == 0 && info->code == 0;
        std::string uptime = cell(info, "uptime");
        if (info && info->code == 0) uptime += " s";
        printf("%-4d %-9s %-10s %-16s %-5s %-12s %-9s %-8s %-8s %-6s %s\n", n.number, n.role.c_str(),
               n.address.c_str(), cell(identity, "sn").c_str(), cell(identity, "model").c_str(),
               cell(identity, "name").c_str(), cell(identity, "customer_id").c_str(),
               cell(identity, "firmware").c_str(), uptime.c_str(), cell(info, "cpu").c_str(),
               memory_cell(info).c_str());
        if (!identity) printf("     system.identity: %s\n", identity_problem.c_str());
        if (!info) printf("     system.info: %s\n", info_problem.c_str());
        if (identity && identity->code != 0) printf("     system.identity: %s\n", identity->message);
        if (info && info->code != 0) printf("     system.info: %s\n", info->message);
        vespin_response_free(identity);
        vespin_response_free(info);
    }
    return all;
}

std::vector<emulated_node> emulated(const std::vector<node>& nodes) {
    std::vector<emulated_node> out;
    for (const auto& n : nodes) out.push_back({n.number, n.address, n.root});
    return out;
}

// Calls a method on the gateway; its result (a new reference), or NULL with
// the reason printed.
json_object* gateway_result(const node& gateway, const char* method, json_object* params = nullptr,
                            int timeout_ms = 5000) {
    std::string problem;
    vespin_response* response = call(gateway, method, &problem, params, timeout_ms);
    if (!response) {
        printf("  %s: %s\n", method, problem.c_str());
        return nullptr;
    }
    json_object* result = nullptr;
    if (response->code != 0)
        printf("  %s: error %d %s\n", method, response->code, response->message);
    else
        result = json_object_get(response->result);
    vespin_response_free(response);
    return result;
}

int int_member(json_object* object, const char* key) {
    json_object* value = nullptr;
    return json_object_object_get_ex(object, key, &value) ? json_object_get_int(value) : 0;
}

// The gateway's convergence report: nodes valid in its table and nodes on
// its current network record; false when it does not answer.
bool convergence(const node& gateway, int* valid, int* current, std::string* summary) {
    std::string problem;
    vespin_response* response = call(gateway, "mesh.convergence", &problem);
    bool ok = response && response->code == 0 && response->result;
    if (ok) {
        *valid = int_member(response->result, "total");
        *current = int_member(response->result, "current");
        json_object* text = nullptr;
        json_object_object_get_ex(response->result, "summary", &text);
        *summary = text ? json_object_get_string(text) : "";
    }
    vespin_response_free(response);
    return ok;
}

// Waits until every node is valid in the gateway's table and on its current
// record: the seconds it took from `since`, or -1 when the time ran out.
double wait_until_converged(const std::vector<node>& nodes, const options& opts, double since,
                            const sigset_t& stop_signals, bool measure) {
    double deadline = seconds_now() + 3 * opts.report_period + 20;
    int want = (int)nodes.size(), valid = 0, current = 0;
    std::string summary;
    while (seconds_now() < deadline && !interrupted(stop_signals)) {
        if (convergence(nodes[0], &valid, &current, &summary) && valid == want && (measure || current == want))
            return seconds_now() - since;
        usleep(measure ? 50 * 1000 : 200 * 1000);
    }
    printf("  not converged: %s\n", summary.empty() ? "no convergence report" : summary.c_str());
    return -1;
}

// CPU seconds (user and system) a process has used, from /proc.
double cpu_seconds(pid_t pid) {
    std::string path = "/proc/" + std::to_string(pid) + "/stat";
    FILE* file = fopen(path.c_str(), "r");
    if (!file) return 0;
    char text[1024] = {0};
    size_t length = fread(text, 1, sizeof text - 1, file);
    fclose(file);
    text[length] = 0;
    // Fields after the command's closing parenthesis: state is field 3,
    // utime and stime are 14 and 15.
    const char* rest = strrchr(text, ')');
    unsigned long user = 0, system = 0;
    if (!rest || sscanf(rest + 2, "%*c %*d %*d %*d %*d %*d %*u %*u %*u %*u %*u %lu %lu", &user, &system) != 2)
        return 0;
    return (double)(user + system) / sysconf(_SC_CLK_TCK);
}

// A "VmRSS:"-style line of /proc/<pid>/status, in MiB.
double status_mib(pid_t pid, const char* key) {
    std::string path = "/proc/" + std::to_string(pid) + "/status";
    FILE* file = fopen(path.c_str(), "r");
    if (!file) return 0;
    char line[256];
    double kib = 0;
    while (fgets(line, sizeof line, file))
        if (strncmp(line, key, strlen(key)) == 0) kib = atof(line + strlen(key));
    fclose(file);
    return kib / 1024;
}

void print_topology(const node& gateway) {
    json_object* topo = gateway_result(gateway, "mesh.topo");
    if (topo) printf("\nTopology, as the gateway sees it:\n%s", topology_text(topo).c_str());
    json_object_put(topo);
    json_object* devices = gateway_result(gateway, "devices.list");
    if (devices)
        printf("\nConnected devices of the whole mesh (%zu):\n%s", json_object_array_length(devices),
               device_list_text(devices).c_str());
    json_object_put(devices);
}

// Calls system.identity on every satellite by serial number, through the
// gateway's mesh_rpc: over nng, or over datagrams to an old node.
bool call_by_serial(const std::vector<node>& nodes) {
    bool all = true;
    printf("\nCalls by serial number through the gateway:\n");
    for (size_t i = 1; i < nodes.size(); i++) {
        json_object* params = json_object_new_object();
        json_object_object_add(params, "sn", json_object_new_string(nodes[i].serial.c_str()));
        json_object_object_add(params, "method", json_object_new_string("system.identity"));
        json_object* result = gateway_result(nodes[0], "mesh.rpc", params, 15000);
        json_object_put(params);
        json_object* name = nullptr;
        if (result) json_object_object_get_ex(result, "name", &name);
        printf("  %s %s: %s (over %s)\n", nodes[i].serial.c_str(), name ? "answers" : "does not answer",
               name ? json_object_get_string(name) : "-", nodes[i].old ? "datagrams" : "nng");
        all = all && name;
        json_object_put(result);
    }
    return all;
}

// Keeps the mesh up until Ctrl-C, refreshing the driver files (the clients'
// counters grow) once a report period.
void wait_for_stop(std::vector<node>& nodes, const options& opts, const sigset_t& stop_signals) {
    printf("\nThe mesh is running. Try: vespinctl --node %s topo\nPress Ctrl-C to stop it.\n",
           nodes[0].address.c_str());
    fflush(stdout);
    double next_refresh = seconds_now() + opts.report_period;
    for (int tick = 1;;) {
        struct timespec second = {1, 0};
        if (sigtimedwait(&stop_signals, nullptr, &second) > 0) return;
        for (auto& n : nodes) {
            if (n.pid > 0 && exited(&n))
                printf("  %s (%s) exited with status %d\n", n.name.c_str(), n.address.c_str(), n.exit_status);
        }
        if (seconds_now() >= next_refresh) {
            std::string why;
            if (!write_driver_files(emulated(nodes), opts.net, opts.topology, tick++, &why))
                printf("  cannot refresh the driver files: %s\n", why.c_str());
            next_refresh += opts.report_period;
        }
    }
}

// Starts every daemon: the gateway first (waited for), then every satellite
// at once, then (unless measuring, when the convergence poll starts at once)
// waits until each answers. *satellites_started: when the satellites were
// started; *gateway_cpu: the gateway's CPU seconds at that moment.
bool start_mesh(std::vector<node>& nodes, const options& opts, const sigset_t& stop_signals,
                double* satellites_started, double* gateway_cpu) {
    bool quiet = nodes.size() > 10;
    for (size_t i = 0; i < nodes.size(); i++) {
        node& n = nodes[i];
        if (!start_daemon(opts, nodes[0].address, &n)) {
            printf("  %-12s cannot start vespind\n", n.name.c_str());
            return false;
        }
        if (i == 0) {
            std::string problem;
            if (!wait_until_up(&n, stop_signals, &problem)) {
                printf("  %-12s failed: %s\n", n.name.c_str(), problem.c_str());
                return false;
            }
            printf("  %-12s %-10s up (pid %d)\n", n.name.c_str(), n.address.c_str(), (int)n.pid);
            *gateway_cpu = cpu_seconds(n.pid);
            *satellites_started = seconds_now();
        }
    }
    if (opts.measure) {
        printf("  %zu satellites started\n", nodes.size() - 1);
        return true;
    }
    for (size_t i = 1; i < nodes.size(); i++) {
        node& n = nodes[i];
        std::string problem;
        if (!wait_until_up(&n, stop_signals, &problem)) {
            printf("  %-12s failed: %s\n", n.name.c_str(), problem.c_str());
            return false;
        }
        if (!quiet)
            printf("  %-12s %-10s up in %.2f s (pid %d%s)\n", n.name.c_str(), n.address.c_str(),
                   seconds_now() - *satellites_started, (int)n.pid, n.old ? ", an old node: datagrams only" : "");
    }
    if (quiet) printf("  %zu satellites up in %.2f s\n", nodes.size() - 1, seconds_now() - *satellites_started);
    return true;
}

// --measure: the figures of one start of the mesh.
bool measure(const std::vector<node>& nodes, const options& opts, double since, double cpu_before,
             const sigset_t& stop_signals) {
    pid_t gateway = nodes[0].pid;
    double seconds = wait_until_converged(nodes, opts, since, stop_signals, true);
    double wall = seconds_now() - since;
    double cpu = cpu_seconds(gateway) - cpu_before;
    if (seconds < 0) return false;
    printf("\nAll %zu nodes valid in the gateway's table %.2f s after the satellites started: %.2f report periods "
           "of %d s\n",
           nodes.size(), seconds, seconds / opts.report_period, opts.report_period);
    printf("Gateway during that run: CPU %.1f%% of one core (%.2f s in %.2f s), memory %.1f MiB resident "
           "(peak %.1f MiB)\n",
           100 * cpu / wall, cpu, wall, status_mib(gateway, "VmRSS:"), status_mib(gateway, "VmHWM:"));
    // One more period of steady reporting.
    double steady_start = seconds_now(), steady_cpu = cpu_seconds(gateway);
    struct timespec period = {opts.report_period, 0};
    nanosleep(&period, nullptr);
    double steady_wall = seconds_now() - steady_start;
    printf("Gateway in the next report period: CPU %.1f%% of one core, memory %.1f MiB resident\n",
           100 * (cpu_seconds(gateway) - steady_cpu) / steady_wall, status_mib(gateway, "VmRSS:"));
    printf("MEASURE nodes=%zu seconds=%.3f periods=%.3f gateway_cpu_percent=%.2f gateway_rss_mib=%.2f\n",
           nodes.size(), seconds, seconds / opts.report_period, 100 * cpu / wall, status_mib(gateway, "VmRSS:"));
    return true;
}

}  // namespace

int main(int argc, char** argv) {
    options opts;
    if (!parse_options(argc, argv, &opts)) {
        fprintf(stderr,
                "usage: vespin-mesh [--satellites N (0..%d) | --nodes N (1..%d)] [--topology chain|star] "
                "[--old-node] [--report-period S] [--measure] [--once] [--keep] [--net A.B.C] [--sim DIR] "
                "[--tools DIR] [--firmware-service]\n",
                kMaxNodes - 1, kMaxNodes);
        return 64;
    }
    if (access((opts.sim + "/mkroot.sh").c_str(), R_OK) != 0 || access((opts.tools + "/vespind").c_str(), X_OK) != 0) {
        fprintf(stderr, "vespin-mesh: need %s/mkroot.sh and %s/vespind (see --sim and --tools)\n", opts.sim.c_str(),
                opts.tools.c_str());
        return 64;
    }
    sigset_t stop_signals;
    sigemptyset(&stop_signals);
    sigaddset(&stop_signals, SIGINT);
    sigaddset(&stop_signals, SIGTERM);
    sigprocmask(SIG_BLOCK, &stop_signals, nullptr);

    char work_pattern[] = "/tmp/vespin-mesh-XXXXXX";
    if (!mkdtemp(work_pattern)) {
        perror("vespin-mesh: cannot make a work directory");
        return 1;
    }
    std::string work = work_pattern;

    std::vector<node> nodes;
    for (int i = 1; i <= 1 + opts.satellites; i++) {
        node n;
        n.number = i;
        n.role = i == 1 ? "gateway" : "satellite";
        n.address = opts.net + "." + std::to_string(i + 1);
        // "01..." is a Q5, "02..." a Lark; 15 characters each.
        char serial[32];
        snprintf(serial, sizeof serial, "%s241100010%04d", i == 1 ? "01" : "02", i);
        n.serial = serial;
        n.name = i == 1 ? "gateway" : "satellite-" + std::to_string(i - 1);
        n.root = work + "/node" + std::to_string(i);
        n.old = opts.old_node && i == 1 + opts.satellites;
        nodes.push_back(n);
    }

    bool ok = true;
    const char* topology = opts.topology == mesh_topology::star ? "star" : "chain";
    printf("Starting a mesh of %zu nodes (a %s, reports every %d s) in %s\n", nodes.size(), topology,
           opts.report_period, work.c_str());
    std::string vendors = work + "/device_mac_brand.txt";
    if (!run({"sh", opts.sim + "/vendor_table.sh", vendors})) {
        printf("  cannot make the vendor table\n");
        ok = false;
    }
    for (size_t i = 0; ok && i < nodes.size(); i++) {
        if (!make_root(opts, vendors, &nodes[i])) {
            printf("  %-12s cannot make its root\n", nodes[i].name.c_str());
            ok = false;
        }
    }
    std::string why;
    if (ok && !write_driver_files(emulated(nodes), opts.net, opts.topology, 0, &why)) {
        printf("  cannot write the driver files: %s\n", why.c_str());
        ok = false;
    }
    double satellites_started = 0, gateway_cpu = 0;
    local_firmware_service firmware;
    if (ok) ok = start_mesh(nodes, opts, stop_signals, &satellites_started, &gateway_cpu);
    if (ok && opts.measure) {
        ok = measure(nodes, opts, satellites_started, gateway_cpu, stop_signals);
    } else if (ok) {
        double seconds = wait_until_converged(nodes, opts, satellites_started, stop_signals, false);
        if (seconds >= 0) {
            int valid = 0, current = 0;
            std::string summary;
            convergence(nodes[0], &valid, &current, &summary);
            printf("\nThe mesh converged %.1f s after the satellites started: %s\n", seconds, summary.c_str());
        }
        ok = seconds >= 0 && print_table(nodes);
        print_topology(nodes[0]);
        if (nodes.size() > 1) ok = call_by_serial(nodes) && ok;
        if (opts.firmware_service) {
            std::vector<std::pair<std::string, std::string>> names;
            for (const auto& n : nodes) names.emplace_back(n.name, n.serial);
            ok = show_firmware(opts.sim, work + "/firmware-service", opts.net + ".200", nodes[0].address,
                               nodes[0].root, names, &firmware) &&
                 ok;
        }
        if (!opts.once) wait_for_stop(nodes, opts, stop_signals);
    }
    printf("\nStopping the mesh\n");
    stop_daemons(nodes);
    local_firmware_service_stop(&firmware);
    if (opts.keep) {
        printf("The roots stay in %s\n", work.c_str());
    } else {
        std::error_code ignored;
        std::filesystem::remove_all(work, ignored);
    }
    return ok ? 0 : 1;
}
