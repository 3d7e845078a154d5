// vespin-mesh: a mesh on one PC. It makes one emulated root per node from
// sim/ (each with its own serial number, MACs, name, loopback address
// 127.0.0.<i+1> and shared-memory key), starts a vespind on each, shows them
// coming up, calls "system.identity" and "system.info" on every node and
// prints the answers as one table. Then it keeps the mesh running until
// Ctrl-C (or stops at once with --once) and stops every daemon.
//
//   vespin-mesh [--satellites N] [--once] [--keep] [--net A.B.C] [--sim DIR] [--tools DIR]
//               [--firmware-service]
//
// --net: the first three numbers of the nodes' addresses (default 127.0.0;
// node i gets A.B.C.<i+1>), so that two meshes can run side by side; --sim: the directory holding mkroot.sh (default "sim"); --tools: the
// directory holding vespind (default: this program's own); --keep: leave the
// roots (under /tmp/vespin-mesh-*) in place for inspection; --firmware-service:
// start the local HTTPS firmware service (A.B.C.200), make the gateway use
// it, and print the firmware it offers for each node ("firmware.list").
#include "firmware_report.h"
#include "node_client.h"
#include "response.h"

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

const int kMaxSatellites = 8;
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
    pid_t pid = -1;
    int exit_status = -1;
};

struct options {
    int satellites = 2;
    bool once = false, keep = false, firmware_service = false;
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
        } else if (option == "--firmware-service") {
            out->firmware_service = true;
        } else if (option == "--satellites" && has_value) {
            out->satellites = atoi(argv[++i]);
            if (out->satellites < 0 || out->satellites > kMaxSatellites) return false;
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

bool make_root(const options& opts, node* n) {
    return run({"sh", opts.sim + "/mkroot.sh", n->root, "--tools", opts.tools, "--address", n->address, "--shm-key",
                std::to_string(shm_key_of(n->address)), "--sn", n->serial, "--name", n->name, "--mac-seed",
                std::to_string(n->number)});
}

// Starts the node's daemon in its own process group (so that Ctrl-C reaches
// the launcher only), with its log in the root's var/log/vespind.log.
bool start_daemon(const options& opts, node* n) {
    std::string program = opts.tools + "/vespind";
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
        execl(program.c_str(), "vespind", (char*)nullptr);
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

// Calls a method over nng; the response, or NULL with *problem set.
vespin_response* call(const node& n, const char* method, std::string* problem) {
    std::string reply;
    int rv = node_call_nng(n.address, NODE_RPC_PORT, node_request_text(method, nullptr), 2000, &reply, problem);
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
        std::string reply, why;
        if (node_call_nng(n->address, NODE_RPC_PORT, node_request_text("node.methods", nullptr), 500, &reply, &why) ==
            0)
            return true;
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
            printf("  %-12s stopped (exit status %d)\n", n.name.c_str(), n.exit_status);
        }
    }
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

void wait_for_stop(std::vector<node>& nodes, const sigset_t& stop_signals) {
    printf("\nThe mesh is running. Try: vespinctl --node %s system.identity\nPress Ctrl-C to stop it.\n",
           nodes[0].address.c_str());
    fflush(stdout);
    for (;;) {
        struct timespec second = {1, 0};
        if (sigtimedwait(&stop_signals, nullptr, &second) > 0) return;
        for (auto& n : nodes) {
            if (n.pid > 0 && exited(&n))
                printf("  %s (%s) exited with status %d\n", n.name.c_str(), n.address.c_str(), n.exit_status);
        }
    }
}

}  // namespace

int main(int argc, char** argv) {
    options opts;
    if (!parse_options(argc, argv, &opts)) {
        fprintf(stderr,
                "usage: vespin-mesh [--satellites N (0..%d)] [--once] [--keep] [--net A.B.C] [--sim DIR] "
                "[--tools DIR] [--firmware-service]\n",
                kMaxSatellites);
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
        // "01..." is a Q5, "02..." a Lark; 16 characters each.
        char serial[32];
        snprintf(serial, sizeof serial, "%s241100010%04d", i == 1 ? "01" : "02", i);
        n.serial = serial;
        n.name = i == 1 ? "gateway" : "satellite-" + std::to_string(i - 1);
        n.root = work + "/node" + std::to_string(i);
        nodes.push_back(n);
    }

    bool ok = true;
    printf("Starting a mesh of %zu nodes in %s\n", nodes.size(), work.c_str());
    for (auto& n : nodes) {
        printf("  %-12s %-10s making its root", n.name.c_str(), n.address.c_str());
        fflush(stdout);
        if (!make_root(opts, &n)) {
            printf(" failed\n");
            ok = false;
            break;
        }
        printf(", starting vespind");
        fflush(stdout);
        double started = seconds_now();
        std::string problem;
        if (!start_daemon(opts, &n) || !wait_until_up(&n, stop_signals, &problem)) {
            printf(" failed: %s\n", problem.empty() ? "cannot start vespind" : problem.c_str());
            ok = false;
            break;
        }
        printf(" up in %.2f s (pid %d)\n", seconds_now() - started, (int)n.pid);
    }
    local_firmware_service firmware;
    if (ok) {
        ok = print_table(nodes);
        if (opts.firmware_service) {
            std::vector<std::pair<std::string, std::string>> names;
            for (const auto& n : nodes) names.emplace_back(n.name, n.serial);
            ok = show_firmware(opts.sim, work + "/firmware-service", opts.net + ".200", nodes[0].address,
                               nodes[0].root, names, &firmware) && ok;
        }
        if (!opts.once) wait_for_stop(nodes, stop_signals);
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
